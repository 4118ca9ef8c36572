// SPDX-License-Identifier: Apache-2.0
// Starting a power cycle.
#include <climits>

#include "tests/contract/cycle_story.h"
#include "tests/contract/time_zone.h"

namespace plexor::tests
{
namespace
{

// --- what a request leaves behind ---

class CycleRequest : public BegunCycleStory
{
  protected:
    // The record after a request at noon for an outlet from 0.
    static CycleRecord started(unsigned outlet, int seconds, int mode)
    {
        CycleRecord record = idle_record();
        record.active = 1U << outlet;
        record.mode[outlet] = mode;
        record.table = table_of({{outlet, seconds}});
        ListFields durations{"11", "12", "13", "14", "15", "16", "17", "18"};
        durations[outlet] = std::to_string(seconds);
        record.durations = join(durations);
        record.started = list_of("0:0:0", {{outlet, "12:00:00"}});
        return record;
    }
};

TEST_F(CycleRequest, ConcernsItsOutletAndNoOther)
{
    for (unsigned outlet = 1; outlet <= 8; ++outlet) {
        powercycleget();
        clear_modes();
        switch_all(true);
        start(outlet, 5);
        EXPECT_EQ(record(), started(outlet - 1, 5, 1));
        EXPECT_EQ(contacts(), 0xFFU & ~(1U << (outlet - 1)));
    }
}

TEST_F(CycleRequest, IsCarriedOutInOrder)
{
    start(3, 5);
    EXPECT_EQ(
        calls_that_start_with({"shmget 0x4C10", "ioctl /dev/gpio 3", "syslog", "shmget 0x4C50", "time"}),
        story({look_up_record,
               {"ioctl /dev/gpio 3 0xFFFFFFF7", "syslog 6 " + report("power-cycle", 2, 0),
                "shmget 0x4C504F4C 0 0", "time"}}));
    EXPECT_EQ(calls().back(), detach.front());
}

TEST_F(CycleRequest, StoresTheModeAndNothingElseBeforeItSwitches)
{
    watch("syslog 6 ###");
    EXPECT_EQ(SnmpTimeCycle(3, 5, 1, 1), 1);
    CycleRecord expected = idle_record();
    expected.busy = 1;
    expected.mode[2] = 1;
    EXPECT_EQ(seen(), std::vector{expected});
}

TEST_F(CycleRequest, StoresTableAndDurationBeforeItTakesTheTime)
{
    watch("time");
    EXPECT_EQ(SnmpTimeCycle(3, 5, 1, 1), 1);
    CycleRecord expected = started(2, 5, 1);
    expected.busy = 1;
    expected.active = 0;
    expected.started = idle_started;
    EXPECT_EQ(seen(), std::vector{expected});
}

TEST_F(CycleRequest, IsNoLongerBusyWhenItDetaches)
{
    watch("shmdt");
    EXPECT_EQ(SnmpTimeCycle(3, 5, 1, 1), 1);
    CycleRecord expected = started(2, 5, 1);
    expected.notify = 2;
    EXPECT_EQ(seen().back(), expected);
    EXPECT_EQ(record(), expected);
}

TEST_F(CycleRequest, IsStampedAndReportedLikeAnySwitch)
{
    set("beep_alarm_PX", "0;0;1");
    start(3, 5);
    EXPECT_EQ(calls("nanosleep"), Calls{"nanosleep 0.150000000"});
    EXPECT_EQ(calls("syslog"), Calls{"syslog 6 " + report("power-cycle", 2, 0)});
    EXPECT_EQ(calls("shmget 0x4C504F4C"), Calls{"shmget 0x4C504F4C 0 0"});
}

TEST_F(CycleRequest, SwitchesOffFirstForModeOneAlone)
{
    for (const unsigned mode : {0U, 1U, 2U, 0x80000001U, UINT_MAX}) {
        powercycleget();
        start(4, 5, mode);
        EXPECT_EQ(board().contact(3), mode != 1) << mode;
        EXPECT_EQ(record().mode[3], static_cast<int>(mode));
    }
    EXPECT_EQ(switched(), (Calls{"3=1", "3=0", "3=1", "3=1", "3=1"}));
}

TEST_F(CycleRequest, GoesByTheModeItBringsAlong)
{
    start(4, 0, 1);
    start(4, 5, 0);
    EXPECT_EQ(switched(), Calls{"3=1"});
}

TEST_F(CycleRequest, StoresTheLocalTime)
{
    const TimeZone zone("XXX-5:30");
    set_time("07:08:09");
    start(1, 5);
    EXPECT_EQ(record().started, list_of("0:0:0", {{0, "07:08:09"}}));
}

TEST_F(CycleRequest, LeavesTheElapsedTimesToTheTick)
{
    write_list(at_elapsed, "as it was");
    start(1, 5);
    EXPECT_EQ(record().elapsed, "as it was");
}

TEST_F(CycleRequest, JoinsThoseThatRun)
{
    start(1, 50);
    pass(2);
    start(8, 9999);
    CycleRecord expected = idle_record();
    expected.active = 0x81;
    expected.mode = {1, 0, 0, 0, 0, 0, 0, 1};
    expected.table = table_of({{0, 50}, {7, 9999}});
    expected.durations = "50;12;13;14;15;16;17;9999";
    expected.started = list_of("0:0:0", {{0, "12:00:00"}, {7, "12:00:02"}});
    EXPECT_EQ(record(), expected);
}

TEST_F(CycleRequest, TurnsTheOtherFieldsOfTheTableIntoNumbers)
{
    write_list(at_table, "x; 7seconds;0;-0;+3;007");
    start(1, 5);
    EXPECT_EQ(record().table, "5;7;0;0;3;7;0;0;2;2;0;0;2;2;0;0");
}

TEST_F(CycleRequest, OfManySecondsIsANumberWithItsSign)
{
    start(1, 100000);
    start(2, INT_MAX);
    EXPECT_EQ(record().table, table_of({{0, 100000}, {1, INT_MAX}}));
    start(3, UINT_MAX);
    EXPECT_EQ(record().table, table_of({{0, 100000}, {1, INT_MAX}}));
    EXPECT_EQ(record().durations, "100000;2147483647;-1;14;15;16;17;18");
    EXPECT_EQ(record().active, 3U);
}

TEST_F(CycleRequest, AllocatesNothing)
{
    start(3, 5);
    EXPECT_EQ(calls("malloc"), Calls{});
    EXPECT_EQ(lookups().size(), 1U);
}

// --- the mode alone ---

TEST_F(CycleRequest, OfNoSecondsStoresTheModeAlone)
{
    start(3, 0, 77);
    CycleRecord expected = idle_record();
    expected.mode[2] = 77;
    EXPECT_EQ(record(), expected);
    EXPECT_EQ(calls(), story({attach_record, detach}));
    EXPECT_EQ(debug_print(), "");
}

TEST_F(CycleRequest, OfNoSecondsLeavesARunningCycleAlone)
{
    start(3, 50);
    forget_calls();
    EXPECT_EQ(SnmpTimeCycle(3, 0, 1, 0), 1);
    EXPECT_EQ(record(), started(2, 50, 0));
    EXPECT_EQ(switched(), Calls{});
}

TEST_F(CycleRequest, OfNoSecondsIsBusyNoLonger)
{
    write_word(at_busy, 2);
    start(3, 0);
    EXPECT_EQ(record().busy, 0U);
}

TEST_F(CycleRequest, OfNoSecondsDecidesHowARunningCycleEnds)
{
    start(3, 5, 1);
    start(3, 0, 0);
    tick_after(5);
    EXPECT_EQ(switched(), (Calls{"2=0", "2=0"}));
}

// --- the selector ---

TEST_F(CycleRequest, NotifiesForASelectorAboveZero)
{
    for (const int selector : {INT_MIN, -1, 0, 1, 2, INT_MAX}) {
        powercycleget();
        SnmpTimeCycle(3, 5, selector, 1);
        EXPECT_EQ(record().notify, selector > 0 ? 2U : 0U) << selector;
    }
}

TEST_F(CycleRequest, NotifiesOfNoModeAlone)
{
    EXPECT_EQ(SnmpTimeCycle(3, 0, 1, 1), 1);
    EXPECT_EQ(SnmpTimeCycle(3, 0, 2, 1), 0);
    EXPECT_EQ(record().notify, 0U);
}

TEST_F(CycleRequest, LeavesANotificationThatIsUnderWay)
{
    for (const unsigned notify : {1U, 2U, 7U}) {
        powercycleget();
        write_word(at_notify, notify);
        start(3, 5);
        EXPECT_EQ(record().notify, notify);
    }
}

TEST_F(CycleRequest, AnswersWithTheRemainingTimeFromSelectorTwo)
{
    start(3, 50);
    tick_after(8);
    for (const int selector : {INT_MIN, -1, 0, 1})
        EXPECT_EQ(SnmpTimeCycle(3, 0, selector, 1), 1) << selector;
    for (const int selector : {2, 3, INT_MAX})
        EXPECT_EQ(SnmpTimeCycle(3, 0, selector, 1), 42) << selector;
    EXPECT_EQ(SnmpTimeCycle(2, 0, 2, 1), 0);
}

TEST_F(CycleRequest, AnswersAsTheTableSaysAndNotTheClock)
{
    start(3, 50);
    pass(8);
    EXPECT_EQ(SnmpTimeCycle(3, 0, 2, 1), 50);
}

TEST_F(CycleRequest, AnswersWithWhatWasLeftBeforeIt)
{
    EXPECT_EQ(SnmpTimeCycle(3, 50, 2, 1), 0);
    EXPECT_EQ(SnmpTimeCycle(4, 60, 2, 1), 0);
    tick_after(8);
    EXPECT_EQ(SnmpTimeCycle(3, 9, 2, 1), 42);
}

TEST_F(CycleRequest, AnswersWithTheNumberThatAFieldStartsWith)
{
    write_list(at_table, "12s; 34;-5;x;2147483647;00012");
    const std::array expected{12, 34, -5, 0, INT_MAX, 12, 0, 0};
    for (unsigned outlet = 1; outlet <= 8; ++outlet)
        EXPECT_EQ(SnmpTimeCycle(outlet, 0, 2, 1), expected[outlet - 1]) << outlet;
}

TEST_F(CycleRequest, PassesOverEmptyFieldsOfTheTable)
{
    write_list(at_table, ";;1;;2;");
    EXPECT_EQ(SnmpTimeCycle(1, 0, 2, 1), 1);
    EXPECT_EQ(SnmpTimeCycle(2, 0, 2, 1), 2);
    EXPECT_EQ(SnmpTimeCycle(3, 0, 2, 1), 0);
}

// --- what is no outlet ---

TEST_F(CycleRequest, OfWhatIsNoOutletChangesNothing)
{
    start(3, 50);
    forget_calls();
    const CycleRecord before = record();
    for (const unsigned outlet : {0U, 9U, 16U, 33U, 0x80000000U, UINT_MAX}) {
        for (const unsigned seconds : {0U, 5U}) {
            EXPECT_EQ(SnmpTimeCycle(outlet, seconds, 1, 1), 1) << outlet;
            EXPECT_EQ(SnmpTimeCycle(outlet, seconds, 2, 1), 0) << outlet;
        }
    }
    EXPECT_EQ(record(), before);
    EXPECT_EQ(debug_print(), "");
}

TEST_F(CycleRequest, OfWhatIsNoOutletIsDroppedByABusyRecordToo)
{
    write_word(at_busy, 1);
    EXPECT_EQ(SnmpTimeCycle(9, 5, 2, 1), 1);
    EXPECT_EQ(calls("nanosleep"), wait_a_second);
}

// --- a busy record ---

TEST_F(CycleRequest, IsDroppedAfterASecondByABusyRecord)
{
    start(3, 50);
    write_word(at_busy, 1);
    const CycleRecord before = record();
    for (const int selector : {0, 1, 2}) {
        forget_calls();
        EXPECT_EQ(SnmpTimeCycle(3, 5, selector, 7), 1);
        EXPECT_EQ(calls(), story({attach_record, wait_a_second, detach}));
    }
    EXPECT_EQ(record(), before);
    EXPECT_EQ(debug_print(), "");
}

TEST_F(CycleRequest, IsDroppedThoughTheRecordIsFreeAgainByThen)
{
    write_word(at_busy, 1);
    at_call("nanosleep", [this] { write_word(at_busy, 0); });
    start(3, 5);
    EXPECT_EQ(record(), idle_record());
}

TEST_F(CycleRequest, TakesNothingButOneForBusy)
{
    for (const unsigned busy : {2U, 3U, 0x101U, UINT_MAX}) {
        powercycleget();
        write_word(at_busy, busy);
        start(3, 5);
        EXPECT_EQ(record().active, 4U) << busy;
        EXPECT_EQ(record().busy, 0U) << busy;
    }
}

TEST_F(CycleRequest, OfAnotherProcessIsDroppedWhileOneSwitches)
{
    bool asked = false;
    at_call("syslog 6 ###", [&] {
        if (!std::exchange(asked, true))
            start(4, 9);
    });
    start(3, 5);
    CycleRecord expected = started(2, 5, 1);
    expected.started = list_of("0:0:0", {{2, "12:00:01"}}); // the other one took a second
    EXPECT_EQ(record(), expected);
    EXPECT_EQ(switched(), Calls{"2=0"});
}

// --- a record that cannot be had, or that nobody filled ---

TEST_F(CycleRequest, WithoutTheRecordSwitchesNothing)
{
    for (const int selector : {-1, 0, 1, 2}) {
        forget_calls();
        fail_call("shmat", EACCES);
        EXPECT_EQ(SnmpTimeCycle(3, 5, selector, 1), selector < 2 ? 1 : 0);
        EXPECT_EQ(calls(), attach_record);
    }
    EXPECT_EQ(record(), idle_record());
}

TEST_F(CycleRequest, DoesNotMindAFailureToDetach)
{
    fail_call_after("shmdt", 1, EINVAL);
    start(3, 5);
    EXPECT_EQ(record(), started(2, 5, 1));
}

class EarlyCycleRequest : public CycleStory
{
};

TEST_F(EarlyCycleRequest, FillsNothingButItsOwnFields)
{
    start(3, 5);
    EXPECT_EQ(record(), (CycleRecord{.active = 4,
                                     .mode = {0, 0, 1},
                                     .table = table_of({{2, 5}}),
                                     .durations = "0;0;5;0;0;0;0;0",
                                     .started = ";;12:00:00;;;;;"}));
}

TEST_F(EarlyCycleRequest, IsForgottenByTheFirstTick)
{
    start(3, 5);
    tick_after(5);
    CycleRecord expected = idle_record();
    expected.mode[2] = 1;
    EXPECT_EQ(record(), expected);
    EXPECT_EQ(switched(), Calls{"2=0"});
}

// --- a second request ---

class SecondCycleRequest : public BegunCycleStory
{
};

TEST_F(SecondCycleRequest, GivesUpTheFirstAndAllOthers)
{
    start(3, 50);
    start(8, 60);
    tick_after(2);
    EXPECT_EQ(SnmpTimeCycle(3, 9, 1, 0), 1);
    CycleRecord expected = idle_record();
    expected.notify = 2;
    expected.mode = {0, 0, 0, 0, 0, 0, 0, 1};
    expected.durations = "11;12;9;14;15;16;17;60";
    expected.started = list_of("0:0:0", {{2, "12:00:02"}, {7, "12:00:00"}});
    EXPECT_EQ(record(), expected);
}

TEST_F(SecondCycleRequest, SwitchesAndTellsOfTheError)
{
    start(3, 50);
    forget_calls();
    start(3, 9, 0);
    EXPECT_EQ(debug_print(), report("power-cycle", 2, 1) + "\nport error  8, Check[ 4]\n");
    EXPECT_TRUE(board().contact(2));
}

TEST_F(SecondCycleRequest, TellsTheMaskAsItWasCarried)
{
    start(1, 50);
    start(2, 50);
    start(8, 50);
    forget_calls();
    start(8, 9);
    EXPECT_TRUE(debug_print().ends_with("\nport error 103, Check[83]\n")) << debug_print();
}

TEST_F(SecondCycleRequest, LeavesTheOutletsAsTheyAre)
{
    start(3, 5);
    start(8, 5);
    start(3, 5);
    forget_calls();
    tick_after(5);
    tick_after(1);
    EXPECT_EQ(switched(), Calls{});
    EXPECT_FALSE(board().contact(2));
    EXPECT_FALSE(board().contact(7));
}

TEST_F(SecondCycleRequest, OfAnOutletWhoseCycleEndedIsAFirst)
{
    start(3, 5);
    tick_after(5);
    start(3, 6);
    EXPECT_EQ(record().active, 4U);
    EXPECT_EQ(record().table, table_of({{2, 6}}));
    tick_after(6);
    EXPECT_EQ(switched(), (Calls{"2=0", "2=1", "2=0", "2=1"}));
}

TEST_F(SecondCycleRequest, AfterTheErrorIsAFirstAgain)
{
    start(3, 5);
    start(3, 5);
    start(3, 5);
    EXPECT_EQ(record().active, 4U);
    EXPECT_EQ(record().table, table_of({{2, 5}}));
}

} // namespace
} // namespace plexor::tests
