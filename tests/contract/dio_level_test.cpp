// SPDX-License-Identifier: Apache-2.0
// Setting a digital output to a plain level.
#include <cerrno>
#include <climits>

#include "tests/contract/dio_outputs.h"
#include "tests/contract/relay_story.h"

namespace plexor::tests
{
namespace
{

class SettingALevel : public DigitalOutputs
{
  protected:
    Calls steps_of_level(unsigned output, unsigned level)
    {
        forget_calls();
        EXPECT_EQ(SetDOByIdx(output, level), 0);
        return steps();
    }
    void expect_unset(unsigned output, unsigned level, const std::string &line)
    {
        forget_calls();
        EXPECT_EQ(SetDOByIdx(output, level), 0);
        EXPECT_EQ(calls(), Calls{});
        EXPECT_EQ(debug_print(), line);
    }
};

TEST_F(SettingALevel, WritesItTwiceThenTheMarkThenRecordsIt)
{
    for (unsigned output = 0; output < 4; ++output) {
        for (const unsigned level : {1U, 0U}) {
            set("sDOMode_PX", "0;0;0;0");
            const auto &its = registers_of[output].level;
            EXPECT_EQ(steps_of_level(output, level),
                      (Calls{put(its[0], level), put(its[1], level), put(its[2], 0xFF),
                             mode_recorded(output, level)}));
        }
    }
}

TEST_F(SettingALevel, MakesTheseCallsAndNoOther)
{
    EXPECT_EQ(SetDOByIdx(1, 1), 0);
    EXPECT_EQ(calls(), story({transfer("17 32 22 [01]"),
                              transfer("17 32 6 [01]"),
                              transfer("17 32 10 [FF]"),
                              {"nvram_kget_str sDOMode_PX 512", "nvram_kget_str sDOMode_PX 512"},
                              {"nvram_bufset 0 sDOMode_PX=;1;0;0"}}));
    EXPECT_EQ(complaints(), "");
}

TEST_F(SettingALevel, ShowsAtThatOutputAlone)
{
    for (unsigned output = 0; output < 4; ++output) {
        SetDOByIdx(output, 0);
        EXPECT_EQ(signals(), only_signal(output, "level 0"));
        SetDOByIdx(output, 1);
        EXPECT_EQ(signals(), Levels(4, "level 1"));
    }
}

TEST_F(SettingALevel, TellsNobody)
{
    SetDOByIdx(0, 1);
    EXPECT_EQ(calls("sigqueue"), Calls{});
    EXPECT_EQ(calls("nvram_kget_int mqtt"), Calls{});
}

TEST_F(SettingALevel, RecordsZeroWhereTheListHasNoField)
{
    const std::map<std::string, std::string> lists{{"1", "1;0;1;0"},       {"5;6", "5;6;1;0"},
                                                   {"", ";0;1;0"},         {"a;;x;4;5", "a;;1;4"},
                                                   {"1;2;3;4", "1;2;1;4"}, {";;;", ";;1;"}};
    for (const auto &[before, after] : lists) {
        set("sDOMode_PX", before);
        SetDOByIdx(2, 1);
        EXPECT_EQ(get("sDOMode_PX"), after);
    }
}

TEST_F(SettingALevel, IsRecordedAmongFieldsOfAnyLength)
{
    set("sDOMode_PX", "1111111111;2222222222;3333333333;4444444444");
    SetDOByIdx(3, 1);
    EXPECT_EQ(get("sDOMode_PX"), "1111111111;2222222222;3333333333;1");
}

TEST_F(SettingALevel, BeyondTheFourthOutputIsRefused)
{
    expect_unset(4, 0, "SetDOByIdx idx:4 Err!\r\n");
    expect_unset(255, 1, "SetDOByIdx idx:255 Err!\r\n");
    expect_unset(UINT_MAX, 1, "SetDOByIdx idx:-1 Err!\r\n");
}

TEST_F(SettingALevel, OfTwoOrMoreIsRefused)
{
    for (unsigned output = 0; output < 4; ++output) {
        expect_unset(output, 2, "SetDOByIdx bShowDCTTL:2 Err!\r\n");
        expect_unset(output, 255, "SetDOByIdx bShowDCTTL:255 Err!\r\n");
    }
}

TEST_F(SettingALevel, NamesTheOutputWhenBothAreWrong)
{
    expect_unset(4, 2, "SetDOByIdx idx:4 Err!\r\n");
}

TEST_F(SettingALevel, IsRecordedThoughTheBusFails)
{
    fail_ioctl("/dev/i2cM0", 17, EIO);
    EXPECT_EQ(steps_of_level(0, 1), (Calls{"0D:01", "05:01", "09:FF", "sDOMode_PX=1;0;0;0"}));
    EXPECT_EQ(board().io_register(13), 0);
}

TEST_F(SettingALevel, EndsTheProcessWithoutTheBus)
{
    fail_open("/dev/i2cM0", ENOENT);
    EXPECT_EXIT(SetDOByIdx(0, 1), testing::ExitedWithCode(255), "/dev/i2cM0: No such file or directory");
}

} // namespace
} // namespace plexor::tests
