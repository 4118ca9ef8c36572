// SPDX-License-Identifier: Apache-2.0
// The tick of the power cycles.
#include <climits>

#include "tests/contract/cycle_story.h"
#include "tests/contract/time_zone.h"

namespace plexor::tests
{
namespace
{

class CycleTick : public BegunCycleStory
{
  protected:
    // What the tick is to leave of a record in which these outlets, from 0, run.
    CycleRecord with(const std::map<unsigned, int> &remaining, const std::string &elapsed)
    {
        CycleRecord expected = record();
        expected.table = table_of(remaining);
        expected.elapsed = elapsed;
        return expected;
    }
};

// --- every tick ---

TEST_F(CycleTick, OfAnIdleRecordChangesNothing)
{
    EXPECT_EQ(snmppowercycle(), 1);
    EXPECT_EQ(calls(), story({attach_record, ask_ping_manager, detach}));
    EXPECT_EQ(record(), idle_record());
    EXPECT_EQ(debug_print(), "");
}

TEST_F(CycleTick, OfARunningRecordTakesTheTimeAndNothingElse)
{
    start(3, 5);
    forget_calls();
    tick_after(1);
    EXPECT_EQ(calls(), story({attach_record, ask_ping_manager, {"time"}, detach}));
    EXPECT_EQ(debug_print(), "");
}

TEST_F(CycleTick, RestartsThePingManagerAtTheThirdMiss)
{
    remove_process(77);
    for (int i = 0; i < 6; ++i)
        snmppowercycle();
    EXPECT_EQ(calls("system"), (Calls{"system pingmgr &", "system pingmgr &"}));
    EXPECT_EQ(debug_print(), "\n#### Warning: pingmgr lost... \n\n#### Warning: pingmgr lost... \n");
}

TEST_F(CycleTick, WithoutTheRecordDoesNothing)
{
    start(3, 5);
    const CycleRecord before = record();
    forget_calls();
    fail_call("shmat", EACCES);
    tick_after(5);
    EXPECT_EQ(calls(), attach_record);
    EXPECT_EQ(record(), before);
}

TEST_F(CycleTick, AllocatesNothingAndAttachesOnce)
{
    for (unsigned outlet = 1; outlet <= 8; ++outlet)
        start(outlet, 5);
    for (const int seconds : {1, 4, 1}) {
        forget_calls();
        tick_after(seconds);
        EXPECT_EQ(calls("malloc"), Calls{});
        EXPECT_EQ(lookups(), look_up_record);
    }
}

// --- a busy record ---

TEST_F(CycleTick, OfABusyRecordTakesASecondAfterThePingManager)
{
    start(3, 5);
    write_word(at_busy, 1);
    const CycleRecord before = record();
    forget_calls();
    tick_after(5);
    EXPECT_EQ(calls(), story({attach_record, ask_ping_manager, wait_a_second, detach}));
    EXPECT_EQ(record(), before);
}

TEST_F(CycleTick, OfABusyRecordEndsThoughTheRecordIsFreeByThen)
{
    start(3, 5);
    write_word(at_busy, 1);
    at_call("nanosleep", [this] { write_word(at_busy, 0); });
    forget_calls();
    tick_after(5);
    EXPECT_EQ(switched(), Calls{});
    EXPECT_EQ(record().elapsed, idle_elapsed);
}

TEST_F(CycleTick, TakesNothingButOneForBusy)
{
    for (const unsigned busy : {2U, 0x101U, UINT_MAX}) {
        write_word(at_busy, busy);
        tick_after(1);
        EXPECT_EQ(record().busy, 0U);
    }
    EXPECT_EQ(calls("nanosleep"), Calls{});
}

TEST_F(CycleTick, IsBusyWhileItSwitchesAndTakesTheTime)
{
    start(3, 5);
    watch("time");
    watch("syslog 6 ###");
    tick_after(5);
    ASSERT_EQ(seen().size(), 2U);
    EXPECT_EQ(seen()[0].busy, 1U);
    EXPECT_EQ(seen()[1].busy, 1U);
}

TEST_F(CycleTick, IsNotBusyWhileItLooksForThePingManager)
{
    watch("kill");
    snmppowercycle();
    EXPECT_EQ(seen(), std::vector{idle_record()});
}

TEST_F(CycleTick, IsNoLongerBusyWhenItDetaches)
{
    start(3, 5);
    watch("shmdt");
    tick_after(5);
    EXPECT_EQ(seen().back(), record());
    EXPECT_EQ(record().busy, 0U);
}

TEST_F(CycleTick, DropsWhatIsAskedForWhileItSwitches)
{
    start(3, 5);
    bool asked = false;
    at_call("syslog 6 ###", [&] {
        if (!std::exchange(asked, true))
            start(4, 9);
    });
    forget_calls();
    tick_after(5);
    EXPECT_EQ(switched(), Calls{"2=1"});
    EXPECT_EQ(record().active, 0U);
}

// --- the time that is left ---

TEST_F(CycleTick, CountsDown)
{
    start(3, 5);
    for (int elapsed = 0; elapsed < 5; ++elapsed) {
        const std::string text = std::to_string(elapsed);
        EXPECT_EQ(snmppowercycle(), 1);
        EXPECT_EQ(record(), with({{2, 5 - elapsed}}, list_of("10000", {{2, text}})));
        EXPECT_EQ(record().active, 4U);
        pass(1);
    }
    EXPECT_EQ(switched(), Calls{"2=0"});
}

TEST_F(CycleTick, CountsDownBeforeItLooksForTheEnd)
{
    start(3, 5);
    watch("syslog 6 ###");
    tick_after(7);
    ASSERT_EQ(seen().size(), 1U);
    EXPECT_EQ(seen()[0].table, table_of({{2, -2}}));
    EXPECT_EQ(seen()[0].elapsed, list_of("10000", {{2, "7"}}));
    EXPECT_EQ(seen()[0].active, 4U);
}

TEST_F(CycleTick, CountsEachOutletFromItsOwnStart)
{
    start(1, 100);
    pass(3);
    start(8, 9999);
    tick_after(4);
    EXPECT_EQ(record(), with({{0, 93}, {7, 9995}}, list_of("10000", {{0, "7"}, {7, "4"}})));
}

TEST_F(CycleTick, NoticesANotificationOnce)
{
    EXPECT_EQ(SnmpTimeCycle(3, 5, 1, 1), 1);
    EXPECT_EQ(record().notify, 2U);
    tick_after(1);
    EXPECT_EQ(record().notify, 1U);
    s_getcycle(this);
    tick_after(1);
    EXPECT_EQ(record().notify, 0U);
}

TEST_F(CycleTick, NoticesTheNotificationOfACycleThatEndsInIt)
{
    SnmpTimeCycle(3, 5, 1, 1);
    tick_after(5);
    EXPECT_EQ(record().notify, 1U);
}

// --- the end ---

TEST_F(CycleTick, SwitchesBackAndClearsTheOutlet)
{
    start(3, 5);
    forget_calls();
    tick_after(5);
    CycleRecord expected = idle_record();
    expected.mode[2] = 1;
    expected.durations = "11;12;5;14;15;16;17;18";
    expected.started = list_of("0:0:0", {{2, "12:00:00"}});
    expected.elapsed = idle_table;
    EXPECT_EQ(record(), expected);
    EXPECT_EQ(switched(), Calls{"2=1"});
    EXPECT_EQ(debug_print(), "###SetPowerByIdx[power-cycle]:[2]=1\n");
}

TEST_F(CycleTick, ShowsTheTableAsElapsedUntilTheNextOne)
{
    start(3, 5);
    start(6, 100);
    tick_after(5);
    EXPECT_EQ(record().table, table_of({{5, 95}}));
    EXPECT_EQ(record().elapsed, table_of({{5, 95}}));
    tick_after(1);
    EXPECT_EQ(record().elapsed, list_of("10000", {{5, "6"}}));
}

TEST_F(CycleTick, ShowsTheTableAsElapsedUntilTheTimesAreWorkedOut)
{
    start(3, 5);
    tick_after(5);
    EXPECT_STREQ(s_getcycle(this), idle_table.c_str());
    EXPECT_EQ(diff_time(), 0);
    EXPECT_STREQ(s_getcycle(this), idle_elapsed.c_str());
}

TEST_F(CycleTick, EndsNoCycleTwice)
{
    start(3, 5);
    tick_after(5);
    forget_calls();
    tick_after(1);
    EXPECT_EQ(switched(), Calls{});
}

TEST_F(CycleTick, EndsWhatIsLongOverdue)
{
    start(3, 5);
    forget_calls();
    tick_after(3600);
    EXPECT_EQ(switched(), Calls{"2=1"});
    EXPECT_EQ(debug_print(), "###SetPowerByIdx[power-cycle]:[2]=1\n");
}

TEST_F(CycleTick, SwitchesOnInTheEndForModeOneAlone)
{
    unsigned outlet = 0;
    for (const unsigned mode : {0U, 1U, 2U, UINT_MAX, 0x101U})
        start(++outlet, 5, mode);
    forget_calls();
    tick_after(5);
    EXPECT_EQ(switched(), (Calls{"0=0", "1=1", "2=0", "3=0", "4=0"}));
}

TEST_F(CycleTick, EndsSeveralFromTheFirstOutletToTheLast)
{
    for (const unsigned outlet : {8U, 2U, 5U})
        start(outlet, 5);
    start(3, 6);
    forget_calls();
    switch_all(false);
    tick_after(5);
    EXPECT_EQ(switched(), (Calls{"1=1", "4=1", "7=1"}));
    EXPECT_EQ(contacts(), 0x92U);
    EXPECT_EQ(record().active, 4U);
    EXPECT_EQ(record().table, table_of({{2, 1}}));
    EXPECT_EQ(record().elapsed, table_of({{2, 1}}));
}

TEST_F(CycleTick, StoresNothingUntilAllThatEndAreSwitched)
{
    start(2, 5);
    start(8, 5);
    watch("syslog 6 ###");
    tick_after(5);
    ASSERT_EQ(seen().size(), 2U);
    EXPECT_EQ(seen()[1], seen()[0]);
    EXPECT_EQ(seen()[1].table, table_of({{1, 0}, {7, 0}}));
    EXPECT_EQ(seen()[1].active, 0x82U);
}

TEST_F(CycleTick, EndsAllEight)
{
    for (unsigned outlet = 1; outlet <= 8; ++outlet)
        start(outlet, 5, 0);
    EXPECT_EQ(record().active, 0xFFU);
    tick_after(5);
    EXPECT_EQ(contacts(), 0U);
    EXPECT_EQ(record().active, 0U);
    EXPECT_EQ(record().table, idle_table);
    EXPECT_EQ(debug_print().find("port error"), std::string::npos);
}

TEST_F(CycleTick, EndsByTheModeThatIsStoredNow)
{
    start(3, 5, 1);
    write_word(at_mode + 8, 0);
    forget_calls();
    tick_after(5);
    EXPECT_EQ(switched(), Calls{"2=0"});
}

TEST_F(CycleTick, EndsByTheDurationThatIsStoredNow)
{
    start(3, 50);
    write_list(at_durations, "0;0;4");
    tick_after(3);
    EXPECT_EQ(record().table, table_of({{2, 1}}));
    tick_after(1);
    EXPECT_EQ(record().table, idle_table);
}

TEST_F(CycleTick, EndsNoneThatIsInAnotherState)
{
    write_list(at_table, "0;0;0;0;0;0;0;0;1;3;-2;0;x;;2");
    write_list(at_durations, "0;0;0;0;0;0;0;0");
    write_word(at_active, 0x20);
    snmppowercycle();
    EXPECT_EQ(switched(), Calls{"5=0"}); // the empty field does not count
    EXPECT_EQ(record().active, 0U);
}

TEST_F(CycleTick, LeavesAMaskThatDisagreesUntilACycleEnds)
{
    start(3, 5);
    write_word(at_active, 0x44);
    tick_after(4);
    EXPECT_EQ(record().active, 0x44U);
    forget_calls();
    tick_after(1);
    EXPECT_EQ(debug_print(), "###SetPowerByIdx[power-cycle]:[2]=1\n\nport error 40, Check[ 0]\n");
    EXPECT_EQ(record().active, 0U);
    EXPECT_EQ(record().elapsed, idle_elapsed);
}

TEST_F(CycleTick, BorrowsFromOtherBitsOfAMaskThatMissesTheOutlet)
{
    start(3, 5);
    start(6, 50);
    write_word(at_active, 0x20);
    forget_calls();
    tick_after(5);
    EXPECT_TRUE(debug_print().ends_with("\nport error 1C, Check[20]\n")) << debug_print();
    EXPECT_EQ(record().table, idle_table);
}

TEST_F(CycleTick, GivesNoRemainingTimeToAnotherWhoseTimeRanOut)
{
    start(3, 5);
    write_list(at_table, "-4;0;5;0;0;0;0;0;0;0;2"); // outlet 1 is not said to run
    forget_calls();
    tick_after(5);
    EXPECT_EQ(debug_print(), "###SetPowerByIdx[power-cycle]:[2]=1\n\n[ 0/ 0]modify[" + idle_table + "]\n");
    EXPECT_EQ(record().active, 0U);
}

// --- a record that was tampered with ---

TEST_F(CycleTick, CopesWithListsThatDoNotEnd)
{
    for (const auto list : {at_table, at_durations, at_started, at_elapsed})
        write_list(list, std::string(300, '2'));
    tick_after(1);
    EXPECT_EQ(record().elapsed, idle_elapsed);
    EXPECT_EQ(record().busy, 0U);
    EXPECT_EQ(switched(), Calls{});
}

TEST_F(CycleTick, CopesWithEmptyLists)
{
    for (const auto list : {at_table, at_durations, at_started, at_elapsed})
        write_list(list, "");
    tick_after(1);
    EXPECT_EQ(record().table, "");
    EXPECT_EQ(record().elapsed, idle_elapsed);
}

// --- midnight ---

class CycleAtMidnight : public BegunCycleStory
{
  protected:
    void start_at(const std::string &time, unsigned seconds)
    {
        set_time(time);
        start(3, seconds);
        forget_calls();
    }
    int left() { return SnmpTimeCycle(3, 0, 2, 1); }
    std::string elapsed() { return s_getcycle(this); }
};

TEST_F(CycleAtMidnight, StartsAgainAndAgain)
{
    start_at("23:59:55", 10);
    tick_after(4);
    EXPECT_EQ(left(), 6);
    for (const int seconds : {1, 1, 20, 40000}) {
        tick_after(seconds);
        EXPECT_EQ(left(), 10);
        EXPECT_EQ(elapsed(), list_of("10000", {{2, "0"}}));
    }
    set_time("23:59:56");
    tick_after(0);
    EXPECT_EQ(left(), 9);
    EXPECT_EQ(switched(), Calls{});
}

TEST_F(CycleAtMidnight, EndsWhatEndsBefore)
{
    start_at("23:59:50", 5);
    tick_after(4);
    EXPECT_EQ(switched(), Calls{});
    tick_after(1);
    EXPECT_EQ(switched(), Calls{"2=1"});
}

TEST_F(CycleAtMidnight, EndsInTheLastSecondOfTheDay)
{
    start_at("23:59:50", 9);
    tick_after(9);
    EXPECT_EQ(switched(), Calls{"2=1"});
}

TEST_F(CycleAtMidnight, DoesNotEndAtMidnightItself)
{
    start_at("23:59:50", 10);
    tick_after(10);
    EXPECT_EQ(switched(), Calls{});
    EXPECT_EQ(left(), 10);
}

TEST_F(CycleAtMidnight, BeginsTheDayWithZeros)
{
    start_at("00:00:00", 9999);
    tick_after(9998);
    EXPECT_EQ(left(), 1);
    tick_after(1);
    EXPECT_EQ(switched(), Calls{"2=1"});
}

TEST_F(CycleAtMidnight, IsThatOfTheTimeZone)
{
    const TimeZone zone("XXX-5:30");
    start_at("23:59:55", 10);
    tick_after(5);
    EXPECT_EQ(left(), 10);
}

TEST_F(CycleAtMidnight, OfUtcIsAnHourLikeOthersElsewhere)
{
    const TimeZone zone("XXX-5:30");
    start_at("05:29:55", 10);
    tick_after(9);
    EXPECT_EQ(left(), 1);
    tick_after(1);
    EXPECT_EQ(switched(), Calls{"2=1"});
}

TEST_F(CycleAtMidnight, CountsAClockThatWasPutBackAsJustStarted)
{
    start_at("12:00:00", 10);
    set_time("11:00:00");
    tick_after(0);
    EXPECT_EQ(left(), 10);
    set_time("12:00:10");
    tick_after(0);
    EXPECT_EQ(switched(), Calls{"2=1"});
}

} // namespace
} // namespace plexor::tests
