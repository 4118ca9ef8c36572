// SPDX-License-Identifier: Apache-2.0
#include <plexor/model.h>

#include <climits>
#include <cstring>

#include "tests/contract/appliance.h"
#include "tests/contract/time_zone.h"

namespace plexor::tests
{
namespace
{

// --- identification ---

struct Identity {
    unsigned model;
    unsigned outlets;
    bool operator==(const Identity &) const = default;
};

void PrintTo(const Identity &identity, std::ostream *stream)
{
    *stream << "model " << identity.model << ", " << identity.outlets << " outlets";
}

const std::map<unsigned, Identity> identities{
    {0x41, {1, 4}}, {0x40, {1, 4}}, {0x02, {2, 8}}, {0x17, {3, 8}}, {0x35, {4, 4}},  {0x18, {5, 4}},
    {0x19, {6, 4}}, {0x06, {7, 4}}, {0x09, {8, 2}}, {0x24, {9, 2}}, {0x47, {10, 8}}, {0x52, {11, 8}}};

class Identification : public Appliance
{
  protected:
    Identity identify(std::uint8_t first, std::uint8_t second, std::uint8_t third, std::uint8_t rest = 0)
    {
        set_ethernet_address({first, second, third, rest, rest, rest});
        unsigned model = 99;
        const unsigned outlets = getPowerPortNum(&model);
        return {model, outlets};
    }
};

TEST_F(Identification, KnowsTheTwelveCodesOfTheFamilyAndNoOther)
{
    for (unsigned third = 0; third < 256; ++third) {
        const auto known = identities.find(third);
        const Identity expected = known == identities.end() ? Identity{0, 0} : known->second;
        EXPECT_EQ(identify(0x00, 0xC3, static_cast<std::uint8_t>(third)), expected) << third;
    }
}

TEST_F(Identification, KnowsNoOtherMaker)
{
    for (const auto &[third, identity] : identities) {
        const auto code = static_cast<std::uint8_t>(third);
        EXPECT_EQ(identify(0x01, 0xC3, code), (Identity{0, 0}));
        EXPECT_EQ(identify(0x00, 0xC2, code), (Identity{0, 0}));
        EXPECT_EQ(identify(0xC3, 0x00, code), (Identity{0, 0}));
    }
}

TEST_F(Identification, LooksAtTheFirstThreeBytesOnly)
{
    EXPECT_EQ(identify(0x00, 0xC3, 0x41, 0xFF), (Identity{1, 4}));
    EXPECT_EQ(identify(0xFF, 0xFF, 0xFF, 0x41), (Identity{0, 0}));
}

TEST_F(Identification, CountsOutletsWithoutAPlaceForTheModel)
{
    set_ethernet_address({0x00, 0xC3, 0x02, 1, 2, 3});
    EXPECT_EQ(getPowerPortNum(nullptr), 8U);
    set_ethernet_address({0x00, 0xC3, 0x03, 1, 2, 3});
    EXPECT_EQ(getPowerPortNum(nullptr), 0U);
}

TEST_F(Identification, LeavesTheModelAloneWhenFlashCannotBeRead)
{
    lose_ethernet_address();
    unsigned model = 99;
    EXPECT_EQ(getPowerPortNum(&model), 0U);
    EXPECT_EQ(model, 99U);
    EXPECT_EQ(debug_print(), "### Failed to read mac from flash\n");
    EXPECT_EQ(getPowerPortNum(nullptr), 0U);
}

TEST_F(Identification, ReadsFlashAtEveryCallAndNothingElse)
{
    EXPECT_EQ(identify(0x00, 0xC3, 0x41), (Identity{1, 4}));
    EXPECT_EQ(identify(0x00, 0xC3, 0x52), (Identity{11, 8}));
    EXPECT_EQ(calls(), (Calls{"flash_read_br0_mac", "flash_read_br0_mac"}));
    EXPECT_EQ(debug_print(), "");
}

TEST_F(Identification, OffersFlashAHundredClearedBytes)
{
    for (int round = 0; round < 2; ++round) {
        identify(0x00, 0xC3, 0x41, 0xFF);
        EXPECT_EQ(last_buffer_offered(), std::vector<std::uint8_t>(100));
    }
}

TEST_F(Identification, DoesNotAskTheStoreWhichModelItIs)
{
    set("IO_number", "7");
    EXPECT_EQ(identify(0x00, 0xC3, 0x09), (Identity{8, 2}));
}

// --- names ---

class ModelName : public Appliance
{
};

TEST_F(ModelName, IsTheNameOnTheBox)
{
    const std::vector<std::string> names{"VOLTARA",      "VOLTARA 7341",  "VOLTARA 7302",  "VOLTARA 7302S",
                                         "VOLTARA 7335", "VOLTARA 7318A", "VOLTARA 7318B", "VOLTARA 7306",
                                         "VOLTARA 7309", "VOLTARA 7324",  "VOLTARA 7347",  "VOLTARA 7352"};
    for (std::size_t index = 0; index < names.size(); ++index)
        EXPECT_EQ(getModelName(static_cast<int>(index)), names[index]);
}

TEST_F(ModelName, IsTheFamilysForAnyOtherNumber)
{
    for (const int index : {-1, 12, 13, 256 + 1, INT_MAX, INT_MIN}) {
        getModelName(2);
        EXPECT_STREQ(getModelName(index), "VOLTARA") << index;
    }
}

TEST_F(ModelName, StandsInOneBufferThatTheNextCallOverwrites)
{
    char *const first = getModelName(3);
    char *const second = getModelName(8);
    EXPECT_EQ(first, second);
    EXPECT_STREQ(first, "VOLTARA 7309");
}

TEST_F(ModelName, MayBeChangedByTheCallerUpTo32BytesWithoutHarm)
{
    std::memset(getModelName(3), 'x', 32);
    EXPECT_STREQ(getModelName(3), "VOLTARA 7302S");
}

TEST_F(ModelName, AsksNobody)
{
    getModelName(3);
    EXPECT_EQ(calls(), Calls{});
}

// --- digital inputs and outputs ---

class DigitalCounts : public Appliance
{
  protected:
    static std::vector<unsigned> counts(unsigned index)
    {
        std::vector<unsigned> places{99, 99, 99};
        EXPECT_EQ(getDiDoNum(index, &places[0], &places[1], &places[2]), 1);
        return places;
    }
};

TEST_F(DigitalCounts, DependOnTheModel)
{
    const std::vector<unsigned> none{0, 0, 0};
    const std::map<unsigned, std::vector<unsigned>> some{
        {2, {1, 0, 0}}, {11, {1, 0, 0}}, {5, {4, 4, 2}}, {6, {4, 0, 0}}};
    for (unsigned index = 0; index < 14; ++index)
        EXPECT_EQ(counts(index), some.contains(index) ? some.at(index) : none) << index;
    EXPECT_EQ(counts(UINT_MAX), none);
}

TEST_F(DigitalCounts, AreLeftOutWhereThereIsNoPlaceForThem)
{
    unsigned count = 99;
    EXPECT_EQ(getDiDoNum(5, nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(getDiDoNum(5, nullptr, nullptr, &count), 1);
    EXPECT_EQ(count, 2U);
}

TEST_F(DigitalCounts, AskNobody)
{
    counts(5);
    EXPECT_EQ(calls(), Calls{});
}

// --- the time of day in words ---

class Uptime : public Appliance
{
  protected:
    // At this time of 2 January 2026 in universal time.
    std::string at(int hour, int minute, int second)
    {
        constexpr std::int64_t midnight = 1'767'312'000;
        set_calendar(midnight + hour * 3600 + minute * 60 + second);
        char text[64];
        const int length = getUptime(text, sizeof text);
        EXPECT_EQ(length, static_cast<int>(std::strlen(text)));
        return text;
    }
    // What stands in a buffer of ten dots when size of them are offered at 01:01:01.
    std::string cut_to(unsigned size)
    {
        at(1, 1, 1);
        std::string buffer(10, '.');
        EXPECT_EQ(getUptime(buffer.data(), size), 20);
        return buffer;
    }

  private:
    const TimeZone zone_{"UTC0"};
};

TEST_F(Uptime, CountsSecondsInTheFirstMinuteOfTheDay)
{
    EXPECT_EQ(at(0, 0, 0), "0 secs");
    EXPECT_EQ(at(0, 0, 1), "1 sec");
    EXPECT_EQ(at(0, 0, 5), "5 secs");
    EXPECT_EQ(at(0, 0, 59), "59 secs");
}

TEST_F(Uptime, CountsMinutesAndSecondsInTheFirstHourOfTheDay)
{
    EXPECT_EQ(at(0, 1, 0), "1 min, 0 secs");
    EXPECT_EQ(at(0, 1, 1), "1 min, 1 sec");
    EXPECT_EQ(at(0, 2, 1), "2 mins, 1 sec");
    EXPECT_EQ(at(0, 59, 59), "59 mins, 59 secs");
}

TEST_F(Uptime, CountsHoursMinutesAndSecondsAfterwards)
{
    EXPECT_EQ(at(1, 0, 0), "1 hour, 0 mins, 0 secs");
    EXPECT_EQ(at(1, 1, 1), "1 hour, 1 min, 1 sec");
    EXPECT_EQ(at(2, 0, 1), "2 hours, 0 mins, 1 sec");
    EXPECT_EQ(at(11, 1, 21), "11 hours, 1 min, 21 secs");
    EXPECT_EQ(at(23, 59, 59), "23 hours, 59 mins, 59 secs");
}

TEST_F(Uptime, StartsAgainAtMidnight)
{
    EXPECT_EQ(at(23, 59, 60), "0 secs");
}

TEST_F(Uptime, IsTheLocalTimeOfTheProcess)
{
    const TimeZone east("XST-5:30");
    EXPECT_EQ(at(18, 30, 0), "0 secs");
    const TimeZone west("YST3");
    EXPECT_EQ(at(18, 30, 0), "15 hours, 30 mins, 0 secs");
}

TEST_F(Uptime, FollowsTheCalendarClock)
{
    at(0, 0, 59);
    advance(1'000'000'000);
    char text[64];
    getUptime(text, sizeof text);
    EXPECT_STREQ(text, "1 min, 0 secs");
}

TEST_F(Uptime, IsCutToTheSizeOfTheBuffer)
{
    EXPECT_EQ(cut_to(8), std::string("1 hour,\0..", 10));
    EXPECT_EQ(cut_to(1), std::string("\0.........", 10));
    EXPECT_EQ(cut_to(0), "..........");
}

TEST_F(Uptime, AsksForTheTimeOnce)
{
    at(1, 1, 1);
    EXPECT_EQ(calls(), Calls{"time"});
}

// --- USB sensors ---

class UsbSensors : public Appliance
{
  protected:
    static constexpr float no_number = 77.5F;
    struct Readings {
        float amps[8];
        int humidity[8];
        float celsius[8];
        bool operator==(const Readings &) const = default;
    };
    static Readings untouched()
    {
        Readings readings{};
        for (int i = 0; i < 8; ++i) {
            readings.amps[i] = no_number;
            readings.humidity[i] = 77;
            readings.celsius[i] = no_number;
        }
        return readings;
    }
    void connect(int port, const std::string &type, const std::string &reading)
    {
        set("CDC_type_" + std::to_string(port), type);
        set("CDC_buf_" + std::to_string(port), reading);
    }
    static Readings read()
    {
        Readings readings = untouched();
        EXPECT_EQ(GetUsbPortData(readings.amps, readings.humidity, readings.celsius), 1);
        return readings;
    }
    float amperes(const std::string &reading)
    {
        connect(1, "8870", reading);
        return read().amps[0];
    }
    std::pair<int, float> climate(const std::string &reading)
    {
        connect(1, "8871", reading);
        const Readings readings = read();
        return {readings.humidity[0], readings.celsius[0]};
    }
    // The types of the ports that fit into size bytes, in a buffer of ten.
    static std::vector<int> types(int size)
    {
        std::vector<int> codes(10, 77);
        EXPECT_EQ(GetUsbPortType(codes.data(), size), 1);
        return codes;
    }
};

TEST_F(UsbSensors, HaveTheirTypeCodesInEightParameters)
{
    for (int port = 1; port <= 8; ++port)
        connect(port, std::to_string(1000 + port), "");
    EXPECT_EQ(types(32), (std::vector<int>{1001, 1002, 1003, 1004, 1005, 1006, 1007, 1008, 77, 77}));
}

TEST_F(UsbSensors, HaveTypeZeroWhereNoneIsSet)
{
    connect(3, "8870", "");
    EXPECT_EQ(types(16), (std::vector<int>{0, 0, 8870, 0, 77, 77, 77, 77, 77, 77}));
}

TEST_F(UsbSensors, AreAskedForInOrderAsFarAsTheBufferReaches)
{
    types(12);
    EXPECT_EQ(calls(), (Calls{"nvram_kget_int CDC_type_1 0", "nvram_kget_int CDC_type_2 0",
                              "nvram_kget_int CDC_type_3 0"}));
}

TEST_F(UsbSensors, AreNotAskedForAnEntryThatDoesNotFitWhole)
{
    connect(1, "5", "");
    connect(2, "6", "");
    EXPECT_EQ(types(7), (std::vector<int>{5, 77, 77, 77, 77, 77, 77, 77, 77, 77}));
}

TEST_F(UsbSensors, LeaveAZeroInTheFirstEntryWhateverTheSize)
{
    connect(1, "5", "");
    for (const int size : {0, 3, -4})
        EXPECT_EQ(types(size), (std::vector<int>{0, 77, 77, 77, 77, 77, 77, 77, 77, 77}));
    EXPECT_EQ(calls(), Calls{});
}

TEST_F(UsbSensors, BeyondTheNinthHaveKeysWithTwoDigits)
{
    connect(10, "5", "");
    EXPECT_EQ(types(40).back(), 5);
}

TEST_F(UsbSensors, AreReadAfterAllTheirTypes)
{
    read();
    Calls expected;
    for (int port = 1; port <= 8; ++port)
        expected.push_back("nvram_kget_int CDC_type_" + std::to_string(port) + " 0");
    for (int port = 1; port <= 8; ++port)
        expected.push_back("nvram_kget_str CDC_buf_" + std::to_string(port) + " 32");
    EXPECT_EQ(calls(), expected);
    EXPECT_EQ(debug_print(), "");
}

TEST_F(UsbSensors, OfType8870MeasureCurrent)
{
    connect(3, "8870", "1.25A");
    Readings expected = untouched();
    expected.amps[2] = 1.25F;
    EXPECT_EQ(read(), expected);
}

TEST_F(UsbSensors, OfType8871MeasureHumidityAndTemperature)
{
    connect(8, "8871", "45%+23.5c");
    Readings expected = untouched();
    expected.humidity[7] = 45;
    expected.celsius[7] = 23.5F;
    EXPECT_EQ(read(), expected);
}

TEST_F(UsbSensors, OfOtherTypesMeasureNothing)
{
    for (const char *type : {"0", "8869", "8872", "-8870", "1"}) {
        for (int port = 1; port <= 8; ++port)
            connect(port, type, "45%+23.5c");
        EXPECT_EQ(read(), untouched()) << type;
    }
}

TEST_F(UsbSensors, OnAllPortsAreReadEachIntoItsEntry)
{
    Readings expected = untouched();
    for (int i = 0; i < 8; i += 2) {
        connect(i + 1, "8870", std::to_string(i) + ".5A");
        connect(i + 2, "8871", std::to_string(40 + i) + "%+" + std::to_string(20 + i) + ".25c");
        expected.amps[i] = static_cast<float>(i) + 0.5F;
        expected.humidity[i + 1] = 40 + i;
        expected.celsius[i + 1] = static_cast<float>(20 + i) + 0.25F;
    }
    EXPECT_EQ(read(), expected);
}

TEST_F(UsbSensors, GiveTheNumberBeforeAMissingUnit)
{
    EXPECT_EQ(amperes("2.5"), 2.5F);
    EXPECT_EQ(amperes("-0.25A"), -0.25F);
    EXPECT_EQ(amperes("2.5 mA"), 2.5F);
    EXPECT_EQ(climate("45%+23.5"), (std::pair{45, 23.5F}));
}

TEST_F(UsbSensors, LeaveTheEntryAsItWasWithoutANumber)
{
    EXPECT_EQ(amperes("A"), no_number);
    EXPECT_EQ(amperes(""), no_number);
    EXPECT_EQ(climate("wet"), (std::pair{77, no_number}));
    EXPECT_EQ(climate(""), (std::pair{77, no_number}));
}

TEST_F(UsbSensors, GiveTheHumidityThatStandsBeforeABrokenTemperature)
{
    EXPECT_EQ(climate("45"), (std::pair{45, no_number}));
    EXPECT_EQ(climate("45%"), (std::pair{45, no_number}));
    EXPECT_EQ(climate("45%23.5c"), (std::pair{45, no_number}));
    EXPECT_EQ(climate("45%-3.5c"), (std::pair{45, no_number}));
    EXPECT_EQ(climate("45%+c"), (std::pair{45, no_number}));
}

TEST_F(UsbSensors, ReadATemperatureBelowZeroBehindThePlusSign)
{
    EXPECT_EQ(climate("45%+-3.5c"), (std::pair{45, -3.5F}));
}

TEST_F(UsbSensors, HaveReadingsOfAtMost31Characters)
{
    EXPECT_EQ(amperes(std::string(29, '0') + "1.5A"), 1.0F); // "1." are the last two that are seen
    EXPECT_EQ(amperes(std::string(28, '0') + "1.5A"), 1.5F);
}

TEST_F(UsbSensors, WhoseReadingCannotBeFetchedLeaveTheirEntriesAsTheyWere)
{
    connect(1, "8870", "1.25A");
    connect(8, "8870", "2.5A");
    read();
    unplug_store(true);
    EXPECT_EQ(read(), untouched());
    EXPECT_EQ(last_buffer_offered(), std::vector<std::uint8_t>(32));
}

TEST_F(UsbSensors, AreNotReadWhenAPlaceIsMissing)
{
    float fractions[8] = {};
    int numbers[8] = {};
    EXPECT_EQ(GetUsbPortData(nullptr, numbers, fractions), 1);
    EXPECT_EQ(GetUsbPortData(fractions, nullptr, fractions), 1);
    EXPECT_EQ(GetUsbPortData(fractions, numbers, nullptr), 1);
    EXPECT_EQ(calls(), Calls{});
}

} // namespace
} // namespace plexor::tests
