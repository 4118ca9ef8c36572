// SPDX-License-Identifier: Apache-2.0
// Raw readings in the parameter store become amperes, degrees, volts and per cent.
#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <memory>
#include <utility>

#include <plexor/sense.h>

#include "tests/contract/appliance.h"

namespace plexor::tests
{
namespace
{

class Sense : public Appliance
{
  protected:
    std::string amperes_text()
    {
        char text[128];
        std::memset(text, 'x', sizeof text);
        EXPECT_EQ(IICADCTransAmpPX(text, nullptr), 0);
        return text;
    }
    std::array<float, 8> currents()
    {
        std::array<float, 8> amperes;
        amperes.fill(-1);
        EXPECT_EQ(GetPowerCurrent(amperes.data()), 1);
        return amperes;
    }
    int board_temperature(const std::string &reading, const std::string &correction)
    {
        set("sIICTemp", reading);
        set("correction_temp", correction);
        return IICADCTransTemp(nullptr);
    }
    float degrees(float before = -77)
    {
        EXPECT_EQ(GetPowerTemp(&before), 1);
        return before;
    }
    int volts(const std::string &reading, const std::string &correction)
    {
        set("sIICVolt", reading);
        set("correction_vlot", correction);
        return IICADCTransVolt(nullptr);
    }
};

// --- current ---

TEST_F(Sense, ARawCurrentBelow88UsesTheLowRange)
{
    EXPECT_FLOAT_EQ(CurrentADC_convert7302(87, 100, 0), 4.8285F);
    EXPECT_FLOAT_EQ(CurrentADC_convert7302(87, 100, 0.25F), 5.0785F);
    EXPECT_EQ(CurrentADC_convert7302(0, 100, 0), 0.0F);
}

TEST_F(Sense, ARawCurrentFrom88OnUsesTheHighRange)
{
    EXPECT_FLOAT_EQ(CurrentADC_convert7302(88, 0, 100), 4.8488F);
    EXPECT_FLOAT_EQ(CurrentADC_convert7302(255, -0.5F, 100), 13.5505F);
}

TEST_F(Sense, EveryRawCurrentIsReckonedInDoublePrecisionAndNarrowed)
{
    for (unsigned raw = 0; raw < 256; ++raw) {
        const double amperes = raw >= 88 ? raw * 0.0551 + double{0.1F} : raw * 0.0555 + double{0.3F};
        EXPECT_EQ(CurrentADC_convert7302(raw, 0.1F, 0.3F), static_cast<float>(amperes)) << raw;
    }
}

TEST_F(Sense, OnlyTheLowByteOfARawCurrentCounts)
{
    EXPECT_EQ(CurrentADC_convert7302(0xFFFFFF57, 0, 0), CurrentADC_convert7302(87, 0, 0));
    set("sIICAmp_PX", "343;-169");
    EXPECT_EQ(amperes_text().substr(0, 10), "4.83;4.83;");
}

TEST_F(Sense, AnUnconfiguredApplianceMeasuresNothingOnEightOutlets)
{
    EXPECT_EQ(amperes_text(), "0.00;0.00;0.00;0.00;0.00;0.00;0.00;0.00");
}

TEST_F(Sense, EachOutletHasItsOwnCorrections)
{
    set("sIICAmp_PX", "87;88;87;88;10;200;0;255");
    set("correction_ampL_Px", "0;9;0.5;9;1;9;-1;9");
    set("correction_ampH_Px", "9;0;9;0.5;9;-1;9;2.25");
    EXPECT_EQ(amperes_text(), "4.83;4.85;5.33;5.35;1.55;10.02;-1.00;16.30");
}

TEST_F(Sense, TheCurrentsAreReadThroughThePerPortLists)
{
    amperes_text();
    EXPECT_EQ(calls(), (Calls{"nvram_kget_str sIICAmp_PX 512", "nvram_kget_str correction_ampL_Px 512",
                              "nvram_kget_str correction_ampH_Px 512"}));
}

TEST_F(Sense, TheRawCurrentsAreEightIntegers)
{
    unsigned char bytes[32];
    set("sIICAmp_PX", "1;2;3;4;5;6;7;300");
    EXPECT_EQ(IICADCTransAmpPX(nullptr, bytes), 0);
    std::array<std::int32_t, 8> readings;
    std::memcpy(readings.data(), bytes, sizeof bytes);
    EXPECT_EQ(readings, (std::array<std::int32_t, 8>{1, 2, 3, 4, 5, 6, 7, 300}));
    EXPECT_EQ(IICADCTransAmpPX(nullptr, nullptr), 0);
}

TEST_F(Sense, HugeCorrectionsStayInTheTextOf128Bytes)
{
    set("correction_ampL_Px", "1e38;1e38;1e38;1e38;1e38;1e38;1e38;1e38");
    const std::unique_ptr<char[]> text(new char[128]); // on the heap, where a step past its end is seen
    IICADCTransAmpPX(text.get(), nullptr);
    EXPECT_LT(std::strlen(text.get()), 128U);
    EXPECT_FLOAT_EQ(currents()[0], 1e38F);
}

TEST_F(Sense, TheOutletCurrentsAreRoundedToTwoDecimals)
{
    set("sIICAmp_PX", "87;88;0;0;0;0;0;1");
    const auto amperes = currents();
    EXPECT_EQ(amperes[0], 4.83F);
    EXPECT_EQ(amperes[1], 4.85F);
    EXPECT_EQ(amperes[2], 0.0F);
    EXPECT_EQ(amperes[7], 0.06F);
}

TEST_F(Sense, Model8HasOneCurrentFromTheExternalMeter)
{
    use_model(8, false);
    set("sAmp_PX", "7;3");
    set("sIICAmp_PX", "200;200;200;200;200;200;200;200");
    const auto amperes = currents();
    EXPECT_EQ(amperes[0], 7.3F);
    EXPECT_TRUE(std::all_of(amperes.begin() + 1, amperes.end(), [](float a) { return a == -1.0F; }));
}

TEST_F(Sense, OnlyModel8HasTheExternalMeter)
{
    for (int model = 0; model < 13; ++model) {
        set("IO_number", std::to_string(model));
        set("sAmp_PX", "7;3");
        EXPECT_EQ(currents()[0], model == 8 ? 7.3F : 0.0F) << model;
    }
}

// --- temperature ---

TEST_F(Sense, TheTemperatureTableHasTheMeasuredRows)
{
    const std::vector<std::pair<int, int>> rows{
        {0, -5000},   {1, -5000},   {2, -5000},   {3, -4739},   {10, -3199},  {20, -2111},  {32, -1221},
        {50, -273},   {57, -21},    {58, 17},     {64, 317},    {80, 898},    {96, 1501},   {112, 1987},
        {128, 2539},  {144, 3129},  {160, 3762},  {176, 4448},  {192, 5219},  {208, 6209},  {224, 7619},
        {240, 10089}, {250, 14360}, {251, 15000}, {252, 15000}, {253, 15000}, {254, 15000}, {255, 15000}};
    for (const auto &[reading, hundredths] : rows)
        EXPECT_EQ(arNTCtoTempTbl[reading], hundredths) << reading;
}

TEST_F(Sense, TheTemperatureTableNeverFalls)
{
    EXPECT_TRUE(std::is_sorted(std::begin(arNTCtoTempTbl), std::end(arNTCtoTempTbl)));
}

// A Steinhart-Hart curve with rounded coefficients: the table follows it within 0.7 degrees everywhere.
TEST_F(Sense, TheTemperatureTableFollowsTheThermistorsCurve)
{
    for (int reading = 3; reading <= 250; ++reading) {
        const double x = std::log((255.0 - reading) / reading);
        const double celsius = 1 / (3.35171e-3 + 2.486488e-4 * x - 3.32657e-7 * x * x * x) - 273.15;
        EXPECT_NEAR(arNTCtoTempTbl[reading], 100 * celsius, 70) << reading;
    }
}

TEST_F(Sense, TheBoardTemperatureIsTheTablesPlusTheCorrection)
{
    EXPECT_EQ(board_temperature("128", "0.5"), 2589);
    EXPECT_EQ(board_temperature("128", ""), 2539);
    EXPECT_EQ(board_temperature("", ""), -5000);
}

TEST_F(Sense, TheLowByteOfTheTemperatureReadingCounts)
{
    unsigned char raw = 0;
    set("sIICTemp", "300");
    EXPECT_EQ(IICADCTransTemp(&raw), arNTCtoTempTbl[44]);
    EXPECT_EQ(raw, 44);
}

TEST_F(Sense, TheTemperatureIsTruncatedTowardZero)
{
    EXPECT_EQ(board_temperature("57", "0.015"), -19); // -21 + 1.5
    EXPECT_EQ(board_temperature("58", "0.019"), 18);  // 17 + 1.9
}

TEST_F(Sense, TheTemperatureIsReckonedInSinglePrecision)
{
    EXPECT_EQ(board_temperature("128", "167772.17"), static_cast<int>(2539.0F + 167772.17F * 100.0F));
}

TEST_F(Sense, ACorrectionBeyondAllMeasureGivesTheLargestNumber)
{
    EXPECT_EQ(board_temperature("128", "1e30"), INT_MAX);
    EXPECT_EQ(board_temperature("128", "-1e30"), INT_MIN);
    EXPECT_EQ(board_temperature("128", "nan"), 0);
}

TEST_F(Sense, TheTemperatureComesFromTheSensorThatTheModelHas)
{
    for (int model = -1; model < 13; ++model) {
        set("IO_number", std::to_string(model));
        set("sIICTemp", "128");
        set("sTEmp_PX", "45;6;23;4");
        const bool external = model >= 5 && model <= 9;
        const bool board = model == 2 || model == 11;
        EXPECT_EQ(degrees(), external ? 23.4F : board ? 25.0F : -77.0F) << model;
    }
}

TEST_F(Sense, TheBoardsTemperatureLosesItsHundredths)
{
    set("sIICTemp", "57");
    set("correction_temp", "-1.7");
    EXPECT_EQ(degrees(), -1.0F); // -191 hundredths
}

TEST_F(Sense, MissingFieldsOfTheExternalSensorAreZero)
{
    use_model(5, false);
    set("sTEmp_PX", "45;6;23");
    EXPECT_EQ(degrees(), 23.0F);
    set("sTEmp_PX", "");
    EXPECT_EQ(degrees(), 0.0F);
}

// --- voltage ---

TEST_F(Sense, TheVoltageIsEven)
{
    EXPECT_EQ(volts("150", "0"), 222); // 223.828
    EXPECT_EQ(volts("150", "1"), 224); // 224.828
    EXPECT_EQ(volts("", ""), 0);
}

TEST_F(Sense, EveryVoltageReadingIsAShareOf382Volts)
{
    for (int raw = 0; raw < 256; ++raw)
        EXPECT_EQ(volts(std::to_string(raw), "0"), static_cast<int>(raw * 382.0 / 256) / 2 * 2) << raw;
}

TEST_F(Sense, TheLowByteOfTheVoltageReadingCounts)
{
    unsigned char raw = 0;
    set("sIICVolt", "406");
    EXPECT_EQ(IICADCTransVolt(&raw), 222);
    EXPECT_EQ(raw, 150);
}

TEST_F(Sense, ANegativeVoltageKeepsSixteenBits)
{
    EXPECT_EQ(volts("0", "-5.5"), 65530);
    EXPECT_EQ(volts("0", "70000"), 70000 & 0xFFFE);
    EXPECT_EQ(volts("0", "1e30"), 65534);
}

TEST_F(Sense, ThePowerVoltageIsTheSameAsAFraction)
{
    float voltage = 0;
    set("sIICVolt", "150");
    EXPECT_EQ(GetPowerVolt(&voltage), 1);
    EXPECT_EQ(voltage, 222.0F);
}

// --- humidity ---

TEST_F(Sense, TheHumidityIsReadOnEveryModel)
{
    for (int model = 0; model < 12; ++model) {
        float humidity = 0;
        set("IO_number", std::to_string(model));
        set("sTEmp_PX", "45;6;23;4");
        EXPECT_EQ(GetPowerHumi(&humidity), 1);
        EXPECT_EQ(humidity, 45.6F);
    }
    EXPECT_TRUE(calls("nvram_kget_int").empty());
}

// --- all of them ---

TEST_F(Sense, TouchesNoHardwareAndPrintsNothing)
{
    amperes_text(), currents(), degrees(), volts("1", "1");
    EXPECT_TRUE(calls("open").empty());
    EXPECT_TRUE(calls("nvram_bufset").empty());
    EXPECT_EQ(debug_print(), "");
}

TEST_F(Sense, NullPointersAreLeftAlone)
{
    EXPECT_EQ(GetPowerCurrent(nullptr), 1);
    EXPECT_EQ(GetPowerTemp(nullptr), 1);
    EXPECT_EQ(GetPowerVolt(nullptr), 1);
    EXPECT_EQ(GetPowerHumi(nullptr), 1);
}

} // namespace
} // namespace plexor::tests
