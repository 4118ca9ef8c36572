// SPDX-License-Identifier: Apache-2.0
#include <plexor/process.h>

#include <cerrno>
#include <climits>

#include "tests/contract/appliance.h"

namespace plexor::tests
{
namespace
{

// --- ticks ---

class Ticks : public Appliance
{
  protected:
    unsigned at(std::int64_t seconds, std::int64_t nanoseconds)
    {
        set_monotonic(seconds, nanoseconds);
        const unsigned ticks = GetTickCountMS();
        EXPECT_EQ(GetTickCount(), ticks);
        return ticks;
    }
};

TEST_F(Ticks, AreMillisecondsOfTheMonotonicClock)
{
    EXPECT_EQ(at(0, 0), 0U);
    EXPECT_EQ(at(1, 0), 1000U);
    EXPECT_EQ(at(12, 345'000'000), 12'345U);
}

TEST_F(Ticks, DropPartsOfAMillisecond)
{
    EXPECT_EQ(at(0, 999'999), 0U);
    EXPECT_EQ(at(7, 1'999'999), 7001U);
    EXPECT_EQ(at(7, 999'999'999), 7999U);
}

TEST_F(Ticks, WrapToZeroAfterThirtyTwoBits)
{
    EXPECT_EQ(at(4'294'967, 295'999'999), 4'294'967'295U);
    EXPECT_EQ(at(4'294'967, 296'000'000), 0U);
    EXPECT_EQ(at(4'294'968, 0), 704U);
}

TEST_F(Ticks, WrapAgainAndAgain)
{
    EXPECT_EQ(at(8'589'934, 591'000'000), 4'294'967'295U);
    EXPECT_EQ(at(8'589'934, 592'000'000), 0U);
    EXPECT_EQ(at(1'000'000'000, 1'000'000), 3'567'587'329U);
}

TEST_F(Ticks, MeasureTimeAcrossTheWrap)
{
    const unsigned before = at(4'294'967, 200'000'000);
    advance(500'000'000);
    EXPECT_EQ(GetTickCountMS() - before, 500U);
}

TEST_F(Ticks, DoNotFollowTheCalendar)
{
    const unsigned before = GetTickCountMS();
    set_calendar(0);
    EXPECT_EQ(GetTickCountMS(), before);
}

TEST_F(Ticks, AskTheClockOnceAndNothingElse)
{
    GetTickCountMS();
    GetTickCount();
    EXPECT_EQ(calls(), (Calls{"clock_gettime monotonic", "clock_gettime monotonic"}));
}

// --- sleeps ---

class Sleeping : public Appliance
{
};

TEST_F(Sleeping, TakesWholeSeconds)
{
    const unsigned before = GetTickCountMS();
    EXPECT_EQ(Sleep(5), 0);
    EXPECT_EQ(GetTickCountMS() - before, 5000U);
    EXPECT_EQ(calls("nanosleep"), Calls{"nanosleep 5.000000000"});
}

TEST_F(Sleeping, TakesMicroseconds)
{
    EXPECT_EQ(USleep(1'500'000), 0);
    EXPECT_EQ(USleep(1), 0);
    EXPECT_EQ(USleep(999'999), 0);
    EXPECT_EQ(USleep(UINT_MAX), 0);
    EXPECT_EQ(calls(), (Calls{"nanosleep 1.500000000", "nanosleep 0.000001000", "nanosleep 0.999999000",
                              "nanosleep 4294.967295000"}));
}

TEST_F(Sleeping, IsCutToTheSecondsThatThirtyTwoBitsHold)
{
    EXPECT_EQ(Sleep(UINT_MAX), 0);
    EXPECT_EQ(calls("nanosleep"), Calls{"nanosleep 2147483647.000000000"});
}

TEST_F(Sleeping, OfNoTimeStillAsksTheKernel)
{
    EXPECT_EQ(Sleep(0), 0);
    EXPECT_EQ(USleep(0), 0);
    EXPECT_EQ(calls(), (Calls{"nanosleep 0.000000000", "nanosleep 0.000000000"}));
}

TEST_F(Sleeping, ForSecondsIsTakenUpAgainAfterASignal)
{
    const unsigned before = GetTickCountMS();
    interrupt_next_sleep_after(1'250'000'000);
    EXPECT_EQ(Sleep(5), 0);
    EXPECT_EQ(GetTickCountMS() - before, 5000U);
    EXPECT_EQ(calls("nanosleep"), (Calls{"nanosleep 5.000000000", "nanosleep 3.750000000"}));
}

TEST_F(Sleeping, ForMicrosecondsIsTakenUpAgainAfterASignal)
{
    interrupt_next_sleep_after(400'000'000);
    EXPECT_EQ(USleep(1'500'000), 0);
    EXPECT_EQ(calls(), (Calls{"nanosleep 1.500000000", "nanosleep 1.100000000"}));
}

TEST_F(Sleeping, SurvivesOneSignalAfterTheOther)
{
    interrupt_next_sleep_after(100'000'000);
    at_call("nanosleep 0.900000000", [this] { interrupt_next_sleep_after(200'000'000); });
    EXPECT_EQ(USleep(1'000'000), 0);
    EXPECT_EQ(calls(), (Calls{"nanosleep 1.000000000", "nanosleep 0.900000000", "nanosleep 0.700000000"}));
}

TEST_F(Sleeping, ForSecondsEndsQuietlyAtAFailure)
{
    fail_call("nanosleep", EINVAL);
    EXPECT_EQ(Sleep(5), 0);
    EXPECT_EQ(calls(), Calls{"nanosleep 5.000000000"});
}

TEST_F(Sleeping, ForMicrosecondsTellsTheFailure)
{
    for (const int error : {EINVAL, EFAULT, ENOSYS}) {
        fail_call("nanosleep", error);
        EXPECT_EQ(USleep(1'500'000), error);
    }
    EXPECT_EQ(calls().size(), 3U);
}

TEST_F(Sleeping, TellsAFailureThatFollowsASignal)
{
    interrupt_next_sleep_after(400'000'000);
    fail_call_after("nanosleep", 1, EFAULT);
    EXPECT_EQ(USleep(1'500'000), EFAULT);
    EXPECT_EQ(calls(), (Calls{"nanosleep 1.500000000", "nanosleep 1.100000000"}));
}

} // namespace
} // namespace plexor::tests
