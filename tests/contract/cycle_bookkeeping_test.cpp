// SPDX-License-Identifier: Apache-2.0
// What keeps mask, table and times of the power cycles together.
#include <climits>

#include "tests/contract/cycle_story.h"

namespace plexor::tests
{
namespace
{

// --- the active mask ---

class CycleMask : public BegunCycleStory
{
  protected:
    // The record after the mask was checked against this table.
    CycleRecord counted(const std::string &table, unsigned active, int delta)
    {
        powercycleget();
        write_list(at_table, table);
        write_list(at_elapsed, "not looked at");
        write_word(at_active, active);
        forget_calls();
        EXPECT_EQ(action_count(delta), 0);
        return record();
    }
    static CycleRecord left(const std::string &table, unsigned active)
    {
        CycleRecord expected = idle_record();
        expected.table = table;
        expected.active = active;
        expected.elapsed = "not looked at";
        return expected;
    }
    static std::string modified(const std::string &mask, const std::string &table)
    {
        return "\n[" + mask + "/" + mask + "]modify[" + table + "]\n";
    }
};

TEST_F(CycleMask, IsLeftWhenItAgrees)
{
    EXPECT_EQ(counted(table_of({{2, 5}}), 4, 0), left(table_of({{2, 5}}), 4));
    EXPECT_EQ(calls(), story({attach_record, detach}));
    EXPECT_EQ(debug_print(), "");
}

TEST_F(CycleMask, GrowsByWhatStarts)
{
    EXPECT_EQ(counted(table_of({{0, 5}, {7, 9}}), 0x80, 1).active, 0x81U);
    EXPECT_EQ(counted(table_of({{0, 5}, {7, 9}}), 1, 0x80).active, 0x81U);
    EXPECT_EQ(debug_print(), "");
}

TEST_F(CycleMask, ShrinksByWhatEnds)
{
    EXPECT_EQ(counted(table_of({{7, 9}}), 0x87, -7).active, 0x80U);
    EXPECT_EQ(counted(idle_table, 0xFF, -0xFF).active, 0U);
    EXPECT_EQ(debug_print(), "");
}

TEST_F(CycleMask, CarriesIntoTheNextBit)
{
    EXPECT_EQ(counted(table_of({{1, 5}}), 1, 1), left(table_of({{1, 5}}), 2));
    EXPECT_EQ(counted(table_of({{1, 5}}), 4, -2), left(table_of({{1, 5}}), 2));
}

TEST_F(CycleMask, ThatDisagreesResetsTheRecord)
{
    CycleRecord expected = idle_record();
    EXPECT_EQ(counted(table_of({{2, 5}, {4, 6}}), 0x14, 4), expected);
    EXPECT_EQ(debug_print(), "\nport error 18, Check[14]\n");
    EXPECT_EQ(switched(), Calls{});
}

TEST_F(CycleMask, ThatDisagreesIsPrintedAtLeastTwoWide)
{
    const std::map<std::pair<unsigned, int>, std::string> texts{
        {{0, 1}, "\nport error  1, Check[ 4]\n"},
        {{0xFF, 0}, "\nport error FF, Check[ 4]\n"},
        {{0xFF, 1}, "\nport error 100, Check[ 4]\n"},
        {{0, -1}, "\nport error FFFFFFFF, Check[ 4]\n"},
        {{4, INT_MIN}, "\nport error 80000004, Check[ 4]\n"},
        {{UINT_MAX, INT_MAX}, "\nport error 7FFFFFFE, Check[ 4]\n"}};
    for (const auto &[sum, text] : texts) {
        EXPECT_EQ(counted(table_of({{2, 5}}), sum.first, sum.second), idle_record());
        EXPECT_EQ(debug_print(), text);
    }
}

TEST_F(CycleMask, ThatDisagreesWithAnIdleTableResetsTheElapsedTimes)
{
    EXPECT_EQ(counted(idle_table, 0, 1), idle_record());
    EXPECT_EQ(debug_print(), "\nport error  1, Check[ 0]\n");
}

TEST_F(CycleMask, CountsAnOutletAsRunningByItsStateAlone)
{
    const std::string table = "0;0;0;0;0;0;0;0;0;2;0;0;0;0;0;0";
    EXPECT_EQ(counted(table, 2, 0), left(table, 2));
    EXPECT_EQ(debug_print(), "");
}

TEST_F(CycleMask, IsThatOfTheTableOnceTheTableWasMended)
{
    const std::string mended = "0;0;5;0;0;0;0;0;0;2;2;0;0;0;0;0";
    EXPECT_EQ(counted("0;0;5;0;0;0;0;0;0;2;0;0;0;0;0;0", 0x51, 9), left(mended, 6));
    EXPECT_EQ(debug_print(), modified(" 6", mended));
}

TEST_F(CycleMask, MakesAnOutletRunThatHasTimeLeft)
{
    for (const char *state : {"0", "1", "3", "-2", "22", "x"}) {
        const auto before = "0;0;0;0;0;0;0;1;0;0;0;0;0;0;0;" + std::string(state);
        EXPECT_EQ(counted(before, 0, 0), left(table_of({{7, 1}}), 0x80)) << state;
        EXPECT_EQ(debug_print(), modified("80", table_of({{7, 1}})));
    }
}

TEST_F(CycleMask, MakesAnOutletIdleThatHasLessThanNothingLeft)
{
    for (const char *state : {"0", "1", "2", "-2"}) {
        const auto before = "-1;0;0;0;0;0;0;7;" + std::string(state) + ";0;0;0;0;0;0;2";
        EXPECT_EQ(counted(before, 1, 0), left(table_of({{7, 7}}), 0x80)) << state;
        EXPECT_EQ(debug_print(), modified("80", table_of({{7, 7}})));
    }
}

TEST_F(CycleMask, LeavesStatesWithoutTimeLeftAsTheyAre)
{
    const std::string table = "0;0;0;0;0;0;0;0;1;3;-1;x;22;0;0;0";
    EXPECT_EQ(counted(table, 0, 0), left(table, 0));
    EXPECT_EQ(debug_print(), "");
}

TEST_F(CycleMask, MendsSeveralAtOnceAndTheWholeTable)
{
    const std::string mended = "3;0;0;0;0;0;0;9;2;0;0;0;0;0;0;2";
    EXPECT_EQ(counted("3s;-4; 0;00;+0;z;0;9;0;2", 7, 0), left(mended, 0x81));
    EXPECT_EQ(debug_print(), modified("81", mended));
}

TEST_F(CycleMask, OfAShortTableHasNoBitsForWhatIsMissing)
{
    EXPECT_EQ(counted("", 0, 0), left("", 0));
    EXPECT_EQ(counted("0;0;0;0;0;0;0;0;2", 1, 0), left("0;0;0;0;0;0;0;0;2", 1));
}

TEST_F(CycleMask, PassesOverEmptyFields)
{
    EXPECT_EQ(counted(";0;;0;0;0;0;0;0;0;2;", 1, 0), left(";0;;0;0;0;0;0;0;0;2;", 1));
}

TEST_F(CycleMask, LooksAtSixteenFieldsOnly)
{
    const std::string table = table_of({{7, 5}}) + ";2;7;9";
    EXPECT_EQ(counted(table, 0x80, 0), left(table, 0x80));
}

TEST_F(CycleMask, DoesNotLookAtBusy)
{
    write_word(at_busy, 1);
    EXPECT_EQ(action_count(1), 0);
    EXPECT_EQ(record().busy, 1U);
    EXPECT_EQ(record().active, 0U);
    EXPECT_EQ(calls("nanosleep"), Calls{});
}

TEST_F(CycleMask, LeavesNotifyAndModesAndTheOtherListsThroughAReset)
{
    make_elsewhere_strange();
    CycleRecord expected = record();
    expected.active = 0;
    expected.table = idle_table;
    expected.elapsed = idle_elapsed;
    write_word(at_active, 3);
    EXPECT_EQ(action_count(0), 0);
    EXPECT_EQ(record(), expected);
}

TEST_F(CycleMask, CannotBeCountedWithoutTheRecord)
{
    fail_call("shmget", EACCES);
    EXPECT_EQ(action_count(1), -1);
    fail_call("shmat", EACCES);
    EXPECT_EQ(action_count(1), -1);
    EXPECT_EQ(calls(), story({look_up_record, attach_record}));
    EXPECT_EQ(record(), idle_record());
}

TEST_F(CycleMask, IsCountedThoughDetachingFails)
{
    write_list(at_table, table_of({{0, 5}}));
    fail_call("shmdt", EINVAL);
    EXPECT_EQ(action_count(1), -1);
    EXPECT_EQ(record().active, 1U);
    EXPECT_EQ(calls("shmdt"), detach);
}

TEST_F(CycleMask, IsCountedWithoutInitialising)
{
    powercycleget();
    write_word(at_initialised, 0);
    EXPECT_EQ(action_count(0), 0);
    EXPECT_EQ(record().initialised, 0U);
}

// --- elapsed and remaining times ---

class CycleTimes : public BegunCycleStory
{
  protected:
    // Remaining times and run states, then elapsed times, at noon.
    std::string worked_out(const std::string &table, const std::string &durations, const std::string &started)
    {
        write_list(at_table, table);
        write_list(at_durations, durations);
        write_list(at_started, started);
        EXPECT_EQ(diff_time(), 0);
        return record().table + "\n" + record().elapsed;
    }
    // The same of the first outlet alone, which runs for 100 seconds.
    std::string since(const std::string &start)
    {
        worked_out("7;0;0;0;0;0;0;0;2", "100", start);
        const std::string remaining = record().table;
        const std::string elapsed = record().elapsed;
        return remaining.substr(0, remaining.find(';')) + " " + elapsed.substr(0, elapsed.find(';'));
    }
};

TEST_F(CycleTimes, OfAnIdleRecordAreIdle)
{
    write_list(at_elapsed, "1;2;3");
    EXPECT_EQ(diff_time(), 0);
    EXPECT_EQ(record(), idle_record());
    EXPECT_EQ(calls(), story({attach_record, detach}));
    EXPECT_EQ(debug_print(), "");
}

TEST_F(CycleTimes, OfAllOutletsAreWorkedOut)
{
    EXPECT_EQ(worked_out("1;2;3;4;5;6;7;8;2;2;2;2;2;2;2;2", "10;100;1000;9999;1;60;3600;7200",
                         "11:59:59;11:59:00;11:59:58;11:00:00;12:00:00;11:59:00;11:00:01;10:00:00"),
              "9;40;998;6399;1;0;1;0;2;2;2;2;2;2;2;2\n1;60;2;3600;0;60;3599;7200");
}

TEST_F(CycleTimes, OfOutletsThatRunLeaveThoseThatDoNot)
{
    EXPECT_EQ(worked_out("1;2;3;4;5;6;7;8;0;2;0;0;0;0;-1;x", "9;50;9;9;9;9;9;9", idle_started),
              "1;-43150;3;4;5;6;7;8;0;2;0;0;0;0;-1;0\n10000;43200;10000;10000;10000;10000;10000;10000");
}

TEST_F(CycleTimes, AreThoseOfAnyStateAboveZero)
{
    EXPECT_EQ(
        worked_out("0;0;0;0;0;0;0;0;1;3;10;2147483647;0;-1;0;0", "9;9;9;9", "12:0:0;12:0:0;12:0:0;12:0:0"),
        "9;9;9;9;0;0;0;0;1;3;10;2147483647;0;-1;0;0\n0;0;0;0;10000;10000;10000;10000");
}

TEST_F(CycleTimes, GrowAndShrinkWithoutTouchingTheNextField)
{
    EXPECT_EQ(worked_out("5;1;0;0;0;0;0;0;2;0;0;0;0;0;0;0", "1", "11:58:20"),
              "-99;1;0;0;0;0;0;0;2;0;0;0;0;0;0;0\n100;10000;10000;10000;10000;10000;10000;10000");
    EXPECT_EQ(worked_out("12345;1;0;0;0;0;0;0;2;0;0;0;0;0;0;0", "101", "11:58:20"),
              "1;1;0;0;0;0;0;0;2;0;0;0;0;0;0;0\n100;10000;10000;10000;10000;10000;10000;10000");
}

TEST_F(CycleTimes, CountFromAStartThatIsReadFieldByField)
{
    const std::map<std::string, std::string> times{{"12:00:00", "100 0"},      {"11:59:01", "41 59"},
                                                   {"11:0:0", "-3500 3600"},   {"12", "100 0"},
                                                   {"11:59", "40 60"},         {"::11:59:30", "70 30"},
                                                   {"11::59", "40 60"},        {"11:59:30:7", "70 30"},
                                                   {" 11: 59: 30", "70 30"},   {"x", "-43100 43200"},
                                                   {"", "-43100 43200"},       {"11:60:00", "100 0"},
                                                   {"-1:0:0", "-46700 46800"}, {"11x:59y:30z", "70 30"},
                                                   {"011:059:030", "70 30"}};
    for (const auto &[start, expected] : times)
        EXPECT_EQ(since(start), expected) << start;
}

TEST_F(CycleTimes, AreNotNegative)
{
    for (const char *later : {"12:00:01", "23:59:59", "99:99:99", "12:00:2147483", "500000:0:0"})
        EXPECT_EQ(since(later), "100 0") << later;
}

TEST_F(CycleTimes, TakeAMissingDurationForNone)
{
    EXPECT_EQ(worked_out("9;9;0;0;0;0;0;0;2;2;0;0;0;0;0;0", "x", "11:59:59;11:59:58"),
              "-1;-2;0;0;0;0;0;0;2;2;0;0;0;0;0;0\n1;2;10000;10000;10000;10000;10000;10000");
}

TEST_F(CycleTimes, LeaveATableAsItIsWhenNothingRuns)
{
    const std::string table = " 7;x;;0;0;0;0;0;0;0";
    EXPECT_EQ(worked_out(table, "", ""), table + "\n" + idle_elapsed);
}

TEST_F(CycleTimes, MakeATableNumbersWhenSomethingRuns)
{
    EXPECT_EQ(worked_out(" 1;x;+3;9s;;5;-0;007;8;2", "60", "12:0:0"), // the empty field does not count
              "60;0;3;9;5;0;7;8;2;0;0;0;0;0;0;0\n0;10000;10000;10000;10000;10000;10000;10000");
}

TEST_F(CycleTimes, NoticeANotificationWhileSomethingRuns)
{
    for (const unsigned notify : {0U, 1U, 2U, 3U, UINT_MAX}) {
        write_word(at_notify, notify);
        worked_out(idle_table, "", "");
        EXPECT_EQ(record().notify, notify);
        worked_out(table_of({{7, 5}}), "", "");
        EXPECT_EQ(record().notify, notify == 2 ? 1 : notify);
    }
}

TEST_F(CycleTimes, EndNothing)
{
    start(3, 5);
    forget_calls();
    pass(7);
    EXPECT_EQ(diff_time(), 0);
    EXPECT_EQ(record().table, table_of({{2, -2}}));
    EXPECT_EQ(record().active, 4U);
    EXPECT_EQ(switched(), Calls{});
}

TEST_F(CycleTimes, AreWorkedOutWhileTheRecordIsBusy)
{
    start(3, 5);
    write_word(at_busy, 1);
    pass(1);
    EXPECT_EQ(diff_time(), 0);
    EXPECT_EQ(record().table, table_of({{2, 4}}));
    EXPECT_EQ(record().busy, 1U);
    EXPECT_EQ(calls("nanosleep"), Calls{});
}

TEST_F(CycleTimes, LeaveAllElseAlone)
{
    make_elsewhere_strange();
    CycleRecord expected = record();
    expected.elapsed = idle_elapsed;
    EXPECT_EQ(diff_time(), 0);
    EXPECT_EQ(record(), expected);
}

TEST_F(CycleTimes, CannotBeWorkedOutWithoutTheRecord)
{
    fail_call("shmget", EACCES);
    EXPECT_EQ(diff_time(), -1);
    fail_call("shmat", EACCES);
    EXPECT_EQ(diff_time(), -1);
    EXPECT_EQ(calls(), story({look_up_record, attach_record}));
}

TEST_F(CycleTimes, AreWorkedOutThoughDetachingFails)
{
    write_list(at_elapsed, "x");
    fail_call("shmdt", EINVAL);
    EXPECT_EQ(diff_time(), -1);
    EXPECT_EQ(record().elapsed, idle_elapsed);
    EXPECT_EQ(calls("shmdt"), detach);
}

} // namespace
} // namespace plexor::tests
