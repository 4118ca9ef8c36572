// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <climits>

#include "tests/contract/indicator_story.h"

namespace plexor::tests
{
namespace
{

class BeeperOfEveryModel : public IndicatorsOfEveryModel
{
};

INSTANTIATE_TEST_SUITE_P(All, BeeperOfEveryModel, ::testing::Range(0, 12),
                         [](const auto &model) { return "Model" + std::to_string(model.param); });

TEST_P(BeeperOfEveryModel, TheBeeperHasItsLine)
{
    Calls expected = beeper().taking();
    expected.insert(expected.end(), {beeper().low(), "nanosleep 0.150000000", beeper().high()});
    EXPECT_EQ(::beep(1), 0);
    EXPECT_EQ(requests(), expected);
    EXPECT_EQ(calls("nvram"), io_number_read);
}

TEST_P(BeeperOfEveryModel, TheBeeperIsHeardAndIsSilentAfterwards)
{
    int heard = 0;
    board().timeline().listen([&](const auto &) { heard += board().beeping(); });
    ::beep(1);
    EXPECT_GT(heard, 0);
    EXPECT_FALSE(board().beeping());
}

class BeepPatterns : public Indicators
{
  protected:
    // What follows the taking of the beeper's line.
    Calls tune(unsigned pattern)
    {
        EXPECT_EQ(::beep(pattern), 0);
        const Calls all = requests();
        EXPECT_EQ((Calls{all.begin(), all.begin() + 3}), line_45.taking());
        EXPECT_FALSE(board().beeping());
        return {all.begin() + 3, all.end()};
    }
    static std::string pause(int milliseconds) { return print("nanosleep 0.%03d000000", milliseconds); }
    // The time that a pattern blocks its caller for.
    int duration(unsigned pattern)
    {
        forget_calls();
        ::beep(pattern);
        int milliseconds = 0;
        for (const auto &sleep : calls("nanosleep 0."))
            milliseconds += std::stoi(sleep.substr(std::string("nanosleep 0.").size(), 3));
        return milliseconds;
    }

    const std::string low{line_45.low()};
    const std::string high{line_45.high()};
};

TEST_F(BeepPatterns, ZeroIsSilenceAtOnce)
{
    EXPECT_EQ(tune(0), Calls{high});
}

TEST_F(BeepPatterns, OneIsAShortBeep)
{
    EXPECT_EQ(tune(1), (Calls{low, pause(150), high}));
}

TEST_F(BeepPatterns, TwoIsThreeBeepsEachWithAPause)
{
    EXPECT_EQ(tune(2), (Calls{low, pause(150), high, pause(150), low, pause(150), high, pause(150), low,
                              pause(150), high, pause(150)}));
}

TEST_F(BeepPatterns, ThreeIsThreeLongBeeps)
{
    EXPECT_EQ(tune(3), (Calls{low, pause(250), high, pause(250), low, pause(250), high, pause(250), low,
                              pause(250), high}));
}

TEST_F(BeepPatterns, FourIsThreeChirps)
{
    EXPECT_EQ(tune(4), (Calls{low, pause(60), high, pause(25), low, pause(60), high, pause(25), low,
                              pause(60), high}));
}

TEST_F(BeepPatterns, OthersOnlyTakeTheLine)
{
    for (const unsigned pattern : {5U, 6U, 7U, 256U, UINT_MAX}) {
        forget_calls();
        EXPECT_EQ(tune(pattern), Calls{}) << pattern;
    }
    EXPECT_EQ(board().gpio_outputs(1), 0x2000U);
}

TEST_F(BeepPatterns, BlockForTheirTime)
{
    const int milliseconds[] = {0, 150, 900, 1250, 230, 0};
    for (unsigned pattern = 0; pattern < 6; ++pattern)
        EXPECT_EQ(duration(pattern), milliseconds[pattern]) << pattern;
}

TEST_F(BeepPatterns, OpenTheDeviceForEachRequest)
{
    ::beep(0);
    EXPECT_EQ(calls(), after_reading_the_model(each_opened(requests())));
}

TEST_F(BeepPatterns, KeepTheRestOfTheBankAsItWasBefore)
{
    board().set_input(40, false);
    board().set_input(45, false);
    EXPECT_EQ(tune(1), (Calls{gpio_request(83, 0xFFFFDEFF), pause(150), gpio_request(83, 0xFFFFFEFF)}));
}

TEST_F(BeepPatterns, ResultInTheirLastWrite)
{
    const int writes[] = {1, 2, 0, 6, 6};
    for (const unsigned pattern : {0U, 1U, 3U, 4U}) {
        fail_call_after("ioctl", 3 + writes[pattern] - 1, EIO);
        standard_error_of([pattern] { EXPECT_EQ(::beep(pattern), -1) << pattern; });
        EXPECT_EQ(::beep(pattern), 0);
    }
}

TEST_F(BeepPatterns, DoNotResultInTheirOtherCalls)
{
    for (const unsigned pattern : {1U, 3U, 4U}) {
        for (const int call : {0, 1, 2, 3})
            fail_call_after("ioctl", call, EIO);
        fail_call("nanosleep", EINVAL);
        standard_error_of([pattern] { EXPECT_EQ(::beep(pattern), 0) << pattern; });
    }
}

TEST_F(BeepPatterns, ThatEndWithASleepResultInIt)
{
    fail_call_after("nanosleep", 5, EINVAL);
    EXPECT_EQ(::beep(2), EINVAL);
    fail_call_after("nanosleep", 4, EINVAL);
    fail_ioctl("/dev/gpio", 83, EIO);
    standard_error_of([] { EXPECT_EQ(::beep(2), 0); });
}

TEST_F(BeepPatterns, OthersResultInZeroThoughTheDeviceFails)
{
    fail_open("/dev/gpio", ENOENT);
    standard_error_of([] { EXPECT_EQ(::beep(7), 0); });
}

TEST_F(BeepPatterns, ArePlayedWithoutTheDeviceToo)
{
    fail_open("/dev/gpio", ENOENT);
    standard_error_of([] { EXPECT_EQ(::beep(1), -1); });
    EXPECT_EQ(calls("nanosleep"), Calls{pause(150)});
    EXPECT_EQ(calls("open"), Calls(5, "open /dev/gpio"));
}

TEST_F(BeepPatterns, AreNotShortenedBySignals)
{
    interrupt_next_sleep_after(100'000'000);
    EXPECT_EQ(tune(1), (Calls{low, pause(150), pause(50), high}));
}

} // namespace
} // namespace plexor::tests
