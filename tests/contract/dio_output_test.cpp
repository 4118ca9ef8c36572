// SPDX-License-Identifier: Apache-2.0
// Setting the mode of a digital output.
#include <cerrno>
#include <climits>

#include "tests/contract/dio_outputs.h"
#include "tests/contract/relay_story.h"

namespace plexor::tests
{
namespace
{

const std::string too_many_pulses = "Errors setDoX PLUSE_OUT range 0~999999 \n";
const std::string not_the_first = "only one DO1 PWM Mode ";
const std::string too_fast = "Errors setDoX PWM_OUT range 1~10 \n";

// --- what is written, recorded and told, in order ---

class SettingAnOutput : public DigitalOutputs
{
};

TEST_F(SettingAnOutput, ToAPlainModeWritesItsCodeAndRecordsItsNumber)
{
    for (const unsigned mode : {0U, 1U, 10U, 12U, 13U, 14U}) {
        for (unsigned output = 0; output < 4; ++output) {
            unset("sDOMode_PX");
            const unsigned code = mode <= 1 ? 1 - mode : mode;
            EXPECT_EQ(steps_of(output, mode),
                      (Calls{put(registers_of[output].mode, code), mode_recorded(output, mode), "notify 5"}));
        }
    }
}

TEST_F(SettingAnOutput, MakesTheseCallsAndNoOther)
{
    EXPECT_EQ(set_mode(3, 0), 1);
    EXPECT_EQ(calls(), story({transfer("17 32 83 [01]"),
                              {"nvram_kget_str sDOMode_PX 512", "nvram_bufset 0 sDOMode_PX=0;0;0;0",
                               "nvram_kget_int mqtt_enable 0", "nvram_kget_int mqtt_connect 0"},
                              {print("sigqueue 431 %d 5", SIGRTMAX - 10)}}));
}

TEST_F(SettingAnOutput, ToALevelShowsAtThatOutputAlone)
{
    for (unsigned output = 0; output < 4; ++output) {
        set_mode(output, 0);
        EXPECT_EQ(signals(), only_signal(output, "level 0"));
        set_mode(output, 1);
        EXPECT_EQ(signals(), Levels(4, "level 1"));
    }
}

TEST_F(SettingAnOutput, ToPulsesWritesTwiceTheCountBetweenTwoModes)
{
    for (unsigned output = 0; output < 4; ++output) {
        const auto &[mode, count, frequency, level] = registers_of[output];
        unset("sDOMode_PX");
        unset("Pulse_PX");
        EXPECT_EQ(steps_of(output, 2, {999'999}), // 0x1E847E edges
                  (Calls{put(mode, 0), put(count[0], 0x00), put(count[1], 0x1E), put(count[2], 0x84),
                         put(count[3], 0x7E), "Pulse_PX=" + only(output, 999'999), put(mode, 2),
                         mode_recorded(output, 2), "notify 5"}));
    }
}

TEST_F(SettingAnOutput, ToPulsesGivesThemOnce)
{
    for (unsigned output = 0; output < 4; ++output) {
        set_mode(output, 2, {5});
        EXPECT_EQ(signals()[output], "pulse train 5");
        EXPECT_EQ(board().pulses(static_cast<int>(output)), 5U);
    }
}

TEST_F(SettingAnOutput, ToFivePulsesCountsTenEdges)
{
    EXPECT_EQ(steps_of(0, 2, {5}), (Calls{"50:00", "33:00", "34:00", "01:00", "02:0A", "Pulse_PX=5;0;0;0",
                                          "50:02", "sDOMode_PX=2;0;0;0", "notify 5"}));
}

TEST_F(SettingAnOutput, ToPulsesTakesNone)
{
    EXPECT_EQ(steps_of(1, 2, {0}), (Calls{"51:00", "35:00", "36:00", "03:00", "04:00", "Pulse_PX=0;0;0;0",
                                          "51:02", "sDOMode_PX=0;2;0;0", "notify 5"}));
}

TEST_F(SettingAnOutput, ToAFrequencyWritesItBeforeTheMode)
{
    for (unsigned output = 0; output < 4; ++output) {
        const auto &[mode, count, frequency, level] = registers_of[output];
        unset("sDOMode_PX");
        unset("FREQ_PX");
        EXPECT_EQ(steps_of(output, 3, {0x1234}),
                  (Calls{put(frequency[0], 0x12), put(frequency[1], 0x34), "FREQ_PX=" + only(output, 0x1234),
                         put(mode, 3), mode_recorded(output, 3), "notify 5"}));
        EXPECT_EQ(signals()[output], "4660 Hz");
    }
}

TEST_F(SettingAnOutput, ToAFrequencyRecordsAllBitsAndSetsSixteen)
{
    EXPECT_EQ(steps_of(2, 3, {0x12345678}), (Calls{"05:56", "06:78", "FREQ_PX=0;0;305419896;0", "52:03",
                                                   "sDOMode_PX=0;0;3;0", "notify 5"}));
}

TEST_F(SettingAnOutput, ToAFrequencyRecordsItAsASignedNumber)
{
    EXPECT_EQ(steps_of(1, 3, {UINT_MAX})[2], "FREQ_PX=0;-1;0;0");
    EXPECT_EQ(steps_of(1, 3, {0x80000000})[2], "FREQ_PX=0;-2147483648;0;0");
}

TEST_F(SettingAnOutput, ToAFrequencyTakesZero)
{
    EXPECT_EQ(steps_of(3, 3, {0}),
              (Calls{"07:00", "08:00", "FREQ_PX=0;0;0;0", "53:03", "sDOMode_PX=0;0;0;3", "notify 5"}));
}

TEST_F(SettingAnOutput, ToPwmSetsItUpAndRunsIt)
{
    EXPECT_EQ(steps_of(0, 4, {5, 50}),
              (Calls{"50:04", "10:05", "11:32", "01:FF", "02:FF", "50:03", "PFREQ_PX=5;0;0;0",
                     "PWidth_PX=50;0;0;0", "sDOMode_PX=4;0;0;0", "notify 5"}));
    EXPECT_EQ(signals(), only_signal(0, "PWM 5/50"));
}

TEST_F(SettingAnOutput, ToPwmTakesZeroToTen)
{
    for (const unsigned frequency : {0U, 1U, 10U}) {
        EXPECT_EQ(set_mode(0, 4, {frequency, 50}), 1) << frequency;
        EXPECT_EQ(get("PFREQ_PX"), only(0, frequency));
    }
}

TEST_F(SettingAnOutput, ToPwmTakesTheLowByteOfAnyWidth)
{
    const std::map<unsigned, unsigned> widths{{0, 0}, {255, 255}, {256, 0}, {0x1FE, 0xFE}, {UINT_MAX, 0xFF}};
    for (const auto &[width, byte] : widths) {
        EXPECT_EQ(steps_of(0, 4, {1, width})[2], put(0x11, byte)) << width;
        EXPECT_EQ(get("PWidth_PX"), only(0, byte));
    }
}

TEST_F(SettingAnOutput, ToAnUnknownModeIsRecordedAsLevelOneAndNotWritten)
{
    for (const unsigned mode : {5U, 6U, 7U, 8U, 9U, 11U, 15U, 16U, UINT_MAX}) {
        for (unsigned output = 0; output < 4; ++output) {
            unset("sDOMode_PX");
            EXPECT_EQ(steps_of(output, mode), (Calls{mode_recorded(output, 1), "notify 5"}));
            EXPECT_TRUE(debug_print().starts_with(print("Errors setDoX model :%02X\n####", mode)));
        }
    }
    EXPECT_EQ(signals(), Levels(4, "level 1"));
}

TEST_F(SettingAnOutput, ToAnUnknownModeSaysSoOnce)
{
    set("mqtt_enable", "0");
    set_mode(0, 7);
    EXPECT_EQ(debug_print(), "Errors setDoX model :07\n");
}

TEST_F(SettingAnOutput, ToAKnownModeSaysNothing)
{
    set("mqtt_enable", "0");
    for (const unsigned mode : {0U, 1U, 2U, 3U, 4U, 10U, 12U, 13U, 14U})
        set_mode(0, mode, {1, 1});
    EXPECT_EQ(complaints(), "");
}

TEST_F(SettingAnOutput, NeedsNoParametersForAModeWithoutAny)
{
    for (unsigned mode = 0; mode <= 16; ++mode) {
        const bool has_some = mode >= 2 && mode <= 4;
        EXPECT_EQ(setDoX(0, mode, nullptr), has_some ? 0 : 1) << mode;
    }
}

TEST_F(SettingAnOutput, TellsTheConnectorInItsOwnName)
{
    set_mode(0, 7);
    EXPECT_EQ(debug_print(), print("Errors setDoX model :07\n#### libplexor sending %d signal to cnt3, "
                                   "val=5......\n",
                                   SIGRTMAX - 10));
}

TEST_F(SettingAnOutput, TellsNobodyWhereMqttIsNotEnabledOrConnected)
{
    for (const char *key : {"mqtt_enable", "mqtt_connect"}) {
        set(key, "0");
        EXPECT_EQ(steps_of(0, 0), (Calls{"50:01", "sDOMode_PX=0;0;0;0"}));
        set(key, "1");
    }
}

TEST_F(SettingAnOutput, IsDoneThoughTheConnectorIsGone)
{
    remove_process(431);
    EXPECT_EQ(steps_of(0, 0), (Calls{"50:01", "sDOMode_PX=0;0;0;0", "notify 5"}));
}

TEST_F(SettingAnOutput, IsRecordedAndToldThoughTheBusFails)
{
    fail_ioctl("/dev/i2cM0", 17, EIO);
    const Calls steps = steps_of(0, 3, {1});
    EXPECT_EQ(steps, (Calls{"01:00", "02:01", "FREQ_PX=1;0;0;0", "50:03", "sDOMode_PX=3;0;0;0", "notify 5"}));
    EXPECT_EQ(signals(), Levels(4, "level 1"));
}

TEST_F(SettingAnOutput, IsDoneThoughTheStoreTakesNothing)
{
    refuse_writes(-1);
    EXPECT_EQ(steps_of(0, 2, {1}).size(), 9U);
    EXPECT_EQ(signals(), only_signal(0, "pulse train 1"));
    EXPECT_EQ(get("sDOMode_PX") + get("Pulse_PX"), "");
}

TEST_F(SettingAnOutput, EndsTheProcessWithoutTheBus)
{
    fail_open("/dev/i2cM0", ENOENT);
    EXPECT_EXIT(set_mode(0, 0), testing::ExitedWithCode(255), "/dev/i2cM0: No such file or directory");
}

TEST_F(SettingAnOutput, WritesTheSameAgainWhenAskedAgain)
{
    const Calls first = steps_of(0, 2, {5});
    EXPECT_EQ(steps_of(0, 2, {5}), first);
    EXPECT_EQ(board().pulses(0), 10U);
}

TEST_F(SettingAnOutput, CommitsNothingAndAsksForNoModel)
{
    for (int model = 0; model < 12; ++model) {
        use_model(model, true);
        EXPECT_EQ(steps_of(1, 0), (Calls{"51:01", "sDOMode_PX=0;0;0;0"}));
        EXPECT_EQ(calls("nvram_commit"), Calls{});
        EXPECT_EQ(calls("nvram_kget_int IO_number"), Calls{});
    }
}

TEST_F(SettingAnOutput, DoesNothingThatTheControllerObjectsTo)
{
    for (unsigned output = 0; output < 4; ++output) {
        for (unsigned mode = 0; mode <= 16; ++mode)
            set_mode(output, mode, {1, 1});
    }
    for (const auto &event : board().timeline().events())
        EXPECT_NE(event.kind, "violation") << board::to_text(event);
}

// --- what is refused ---

class RefusedOutput : public DigitalOutputs
{
  protected:
    void expect_no_such_output(unsigned output)
    {
        for (unsigned mode = 0; mode <= 16; ++mode)
            expect_refused(output, mode, {1'000'000, 1}, print("Errors setDoX idx:%02X\n", output));
    }
};

TEST_F(RefusedOutput, BeyondTheFourthIsNamedWhateverTheMode)
{
    for (const unsigned output : {4U, 5U, 0xFFU, 0x100U, UINT_MAX})
        expect_no_such_output(output);
}

TEST_F(RefusedOutput, IsNamedInAtLeastTwoDigits)
{
    expect_refused(4, 0, {}, "Errors setDoX idx:04\n");
    expect_refused(UINT_MAX, 0, {}, "Errors setDoX idx:FFFFFFFF\n");
}

TEST_F(RefusedOutput, OfAMillionPulsesOrMore)
{
    for (const unsigned count : {1'000'000U, 1'000'001U, 0x80000001U, UINT_MAX}) {
        for (unsigned output = 0; output < 4; ++output)
            expect_refused(output, 2, {count}, too_many_pulses);
    }
}

TEST_F(RefusedOutput, ThatIsToRunPwmAndIsNotTheFirst)
{
    for (unsigned output = 1; output < 4; ++output) {
        expect_refused(output, 4, {5, 50}, not_the_first);
        expect_refused(output, 4, {11, 50}, not_the_first);
    }
}

TEST_F(RefusedOutput, OfAPwmFrequencyAboveTen)
{
    for (const unsigned frequency : {11U, 12U, 256U, 261U, UINT_MAX})
        expect_refused(0, 4, {frequency, 50}, too_fast);
}

TEST_F(RefusedOutput, WithoutTheParametersOfItsMode)
{
    for (const unsigned mode : {2U, 3U, 4U})
        expect_refused(0, mode, {}, "");
}

TEST_F(RefusedOutput, WithoutParametersIsNamedWhenItHasNoPwm)
{
    expect_refused(3, 4, {}, not_the_first);
}

// --- the lists ---

class OutputLists : public DigitalOutputs
{
  protected:
    std::string after_setting(const std::string &key, const std::string &list, unsigned output, unsigned mode)
    {
        set(key, list);
        set_mode(output, mode, {7, 7});
        return get(key);
    }
    std::string modes_after(const std::string &list) { return after_setting("sDOMode_PX", list, 1, 3); }
};

TEST_F(OutputLists, KeepTheirOtherFields)
{
    EXPECT_EQ(after_setting("sDOMode_PX", "1;2;3;4", 0, 10), "10;2;3;4");
    EXPECT_EQ(after_setting("sDOMode_PX", "1;2;3;4", 3, 10), "1;2;3;10");
    EXPECT_EQ(after_setting("Pulse_PX", "1;2;3;4", 2, 2), "1;2;7;4");
    EXPECT_EQ(after_setting("FREQ_PX", "1;2;3;4", 1, 3), "1;7;3;4");
    EXPECT_EQ(after_setting("PFREQ_PX", "1;2;3;4", 0, 4), "7;2;3;4");
    EXPECT_EQ(after_setting("PWidth_PX", "1;2;3;4", 0, 4), "7;2;3;4");
}

TEST_F(OutputLists, BecomeFourNumbersWhateverTheyWere)
{
    EXPECT_EQ(modes_after(""), "0;3;0;0");
    EXPECT_EQ(modes_after("1"), "1;3;0;0");
    EXPECT_EQ(modes_after("1;2"), "1;3;0;0");
    EXPECT_EQ(modes_after(";;;"), "0;3;0;0");
    EXPECT_EQ(modes_after("1;2;3;4;5;6"), "1;3;3;4");
    EXPECT_EQ(modes_after("a;b; 2;+3x"), "0;3;2;3");
    EXPECT_EQ(modes_after("-1;%n;007;-2147483648"), "-1;3;7;-2147483648");
}

TEST_F(OutputLists, OfAsMuchAs32CharactersAreWritten)
{
    EXPECT_EQ(modes_after("1234567890;9;1234567890;12345678"), "1234567890;3;1234567890;12345678");
    EXPECT_EQ(complaints().find("Errors"), std::string::npos);
}

TEST_F(OutputLists, OfMoreThan32CharactersAreLeftAndNamed)
{
    const std::string list = "1234567890;9;1234567890;123456789";
    set("mqtt_enable", "0");
    EXPECT_EQ(modes_after(list), list);
    EXPECT_EQ(complaints(), "Errors setDoX sDOMode_PX\n");
}

TEST_F(OutputLists, OfTenDigitsAreLeftAndTheRestIsDone)
{
    const std::string list = "1111111111;2111111111;-1111111111;1999999999";
    for (const char *key : {"sDOMode_PX", "Pulse_PX"}) {
        set(key, list);
        const Calls steps = steps_of(0, 2, {5});
        EXPECT_EQ(steps.size(), 8U);
        EXPECT_EQ(get(key), list);
        EXPECT_NE(debug_print().find(print("Errors setDoX %s\n", key)), std::string::npos);
        EXPECT_EQ(signals(), only_signal(0, "pulse train 5"));
        unset(key);
    }
}

TEST_F(OutputLists, OfPwmAreLeftOneByOne)
{
    const std::string list = "1;1111111111;1111111111;1111111111";
    set("PFREQ_PX", list);
    EXPECT_EQ(steps_of(0, 4, {5, 50})[6], "PWidth_PX=50;0;0;0");
    EXPECT_EQ(get("PFREQ_PX"), list);
    set("PWidth_PX", list);
    unset("PFREQ_PX");
    EXPECT_EQ(steps_of(0, 4, {5, 50})[6], "PFREQ_PX=5;0;0;0");
    EXPECT_EQ(get("PWidth_PX"), list);
}

TEST_F(OutputLists, OfAnEndlessTextAreReadAsFarAsTheyGo)
{
    EXPECT_EQ(modes_after("5;" + std::string(600, ' ') + "7"), "5;3;0;0");
    EXPECT_EQ(modes_after(std::string(600, ';')), "0;3;0;0");
}

TEST_F(OutputLists, OfOneModeAreNotThoseOfAnother)
{
    set_mode(0, 2, {5});
    EXPECT_EQ(get("FREQ_PX") + get("PFREQ_PX") + get("PWidth_PX"), "");
    set_mode(0, 3, {6});
    EXPECT_EQ(get("Pulse_PX"), "5;0;0;0");
    EXPECT_EQ(get("PFREQ_PX") + get("PWidth_PX"), "");
    set_mode(0, 4, {7, 8});
    EXPECT_EQ(get("Pulse_PX") + " " + get("FREQ_PX"), "5;0;0;0 6;0;0;0");
}

} // namespace
} // namespace plexor::tests
