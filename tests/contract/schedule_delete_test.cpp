// SPDX-License-Identifier: Apache-2.0
// Deleting a schedule from the parameter store, and the tables that say where schedules are kept.
#include <algorithm>
#include <cerrno>
#include <climits>

#include "tests/contract/schedule_story.h"

namespace plexor::tests
{
namespace
{

TEST(ScheduleTables, NameTheRegistersOfTheCopy)
{
    EXPECT_TRUE(std::ranges::equal(pindex, std::array{272, 320, 368, 416, 464}));
    EXPECT_TRUE(std::ranges::equal(scheduletindex, std::array{608, 640, 672, 704, 736}));
    EXPECT_TRUE(std::ranges::equal(parmindex, std::array{256, 257}));
    EXPECT_TRUE(std::ranges::equal(admindex, std::array{544, 576}));
    static_assert(sizeof pindex == 20 && sizeof scheduletindex == 20);
    static_assert(sizeof parmindex == 8 && sizeof admindex == 8);
}

TEST(ScheduleTables, HaveEmptyRecordsWithoutATerminator)
{
    EXPECT_EQ(std::string(delSchedule, sizeof delSchedule), "00000000000000000000000000000000000");
    EXPECT_EQ(std::string(delschedule0t, sizeof delschedule0t), "000;000;000;000;000;000;000;000");
    static_assert(sizeof delSchedule == 35 && sizeof delschedule0t == 31);
}

class DeletingASchedule : public ScheduleStory
{
  protected:
    void store_all()
    {
        for (int i = 0; i < 30; ++i) {
            set(schedule_key(i), schedule(i, static_cast<char>('A' + i)));
            set(companion_key(i), companion(i));
        }
    }
    // What the record before it becomes.
    std::string moved(const std::string &record)
    {
        set("schedule29", record);
        EXPECT_EQ(DelPowerSchedule(28), 0);
        return get("schedule28");
    }
    std::string moved_companion(const std::string &record)
    {
        set("schedule29t", record);
        EXPECT_EQ(DelPowerSchedule(28), 0);
        return get("schedule28t");
    }
    // The record after those that were not moved.
    std::string expected_schedule(int record, int deleted) const
    {
        if (record < deleted)
            return schedule(record, static_cast<char>('A' + record));
        return record == 29 ? no_schedule
                            : print("%02d", record + 1) + std::string(33, static_cast<char>('B' + record));
    }
    static std::string expected_companion(int record, int deleted)
    {
        if (record < deleted)
            return companion(record);
        return record == 29 ? no_companion : companion(record + 1);
    }
};

// --- which records move ---

TEST_F(DeletingASchedule, MovesTheLaterOnesDownAndEmptiesTheLast)
{
    for (int deleted = 0; deleted < 30; ++deleted) {
        store_all();
        EXPECT_EQ(DelPowerSchedule(deleted), 0);
        for (int i = 0; i < 30; ++i) {
            ASSERT_EQ(get(schedule_key(i)), expected_schedule(i, deleted)) << deleted << " " << i;
            ASSERT_EQ(get(companion_key(i)), expected_companion(i, deleted)) << deleted << " " << i;
        }
    }
}

TEST_F(DeletingASchedule, ReadsAndWritesRecordThenCompanionOneAfterTheOtherAndCommitsOnce)
{
    store_all();
    DelPowerSchedule(27);
    EXPECT_EQ(calls(), story({{"nvram_kget_str schedule28 128"},
                              stored("schedule27", schedule(27, 'A' + 28)),
                              {"nvram_kget_str schedule28t 128"},
                              stored("schedule27t", companion(28)),
                              {"nvram_kget_str schedule29 128"},
                              stored("schedule28", schedule(28, 'A' + 29)),
                              {"nvram_kget_str schedule29t 128"},
                              stored("schedule28t", companion(29)),
                              stored("schedule29", no_schedule),
                              stored("schedule29t", no_companion),
                              {"nvram_commit 0"}}));
    EXPECT_EQ(debug_print(), "");
}

TEST_F(DeletingASchedule, ThatIsTheLastWritesTheEmptyPairAlone)
{
    DelPowerSchedule(29);
    EXPECT_EQ(
        calls(),
        story({stored("schedule29", no_schedule), stored("schedule29t", no_companion), {"nvram_commit 0"}}));
}

TEST_F(DeletingASchedule, FromTheFirstTouchesEachRecordOnce)
{
    DelPowerSchedule(0);
    EXPECT_EQ(calls("nvram_kget_str").size(), 58U);
    EXPECT_EQ(calls("nvram_bufset").size(), 60U);
    EXPECT_EQ(calls("nvram_commit"), Calls{"nvram_commit 0"});
    EXPECT_EQ(calls().at(118), "nvram_commit 0");
}

TEST_F(DeletingASchedule, BeyondTheLastCommitsAndMovesNothing)
{
    for (const int beyond : {30, 31, 1000, INT_MAX}) {
        forget_calls();
        EXPECT_EQ(DelPowerSchedule(beyond), 0);
        EXPECT_EQ(calls(), Calls{"nvram_commit 0"}) << beyond;
    }
}

TEST_F(DeletingASchedule, BeforeTheFirstDoesNothing)
{
    for (const int before : {-1, -29, INT_MIN}) {
        EXPECT_EQ(DelPowerSchedule(before), 0);
        EXPECT_EQ(calls(), Calls{}) << before;
    }
}

TEST_F(DeletingASchedule, CommitsWhatItMoved)
{
    store_all();
    DelPowerSchedule(3);
    EXPECT_EQ(flash().at("schedule3"), schedule(3, 'A' + 4));
    EXPECT_EQ(flash().at("schedule29"), no_schedule);
    EXPECT_EQ(flash().at("schedule29t"), no_companion);
}

TEST_F(DeletingASchedule, LeavesTheCopyAndItsFlagAlone)
{
    set("reflash", "1");
    hold_copy();
    DelPowerSchedule(0);
    EXPECT_EQ(calls("open"), Calls{});
    EXPECT_EQ(calls("shmget"), Calls{});
    EXPECT_EQ(get("reflash"), "1");
    EXPECT_EQ(held(pindex[0], 35), schedule(0));
}

// --- what becomes of a record that moves ---

TEST_F(DeletingASchedule, LowersTheOrdinalByOneUnlessItIsZero)
{
    for (const auto &[before, after] : std::map<std::string, std::string>{{"00", "00"},
                                                                          {"01", "00"},
                                                                          {"02", "01"},
                                                                          {"05", "04"},
                                                                          {"10", "09"},
                                                                          {"11", "10"},
                                                                          {"30", "29"},
                                                                          {"99", "98"}})
        EXPECT_EQ(moved(before + rest_of_schedule), after + rest_of_schedule) << before;
}

TEST_F(DeletingASchedule, TakesTwoCharactersForTheOrdinalHoweverItIsWritten)
{
    for (const auto &[before, after] : std::map<std::string, std::string>{
             {"+5", "04"}, {"+0", "00"}, {"-0", "00"}, {"-1", "-2"}, {"-9", "-10"}})
        EXPECT_EQ(moved(before + rest_of_schedule), after + rest_of_schedule) << before;
}

TEST_F(DeletingASchedule, SkipsBlanksBeforeTheOrdinalAndTheRest)
{
    EXPECT_EQ(moved(" 12" + rest_of_schedule), "11" + rest_of_schedule);
    EXPECT_EQ(moved("5 " + rest_of_schedule), "04" + rest_of_schedule);
    EXPECT_EQ(moved("\t\n 07 \t" + rest_of_schedule), "06" + rest_of_schedule);
}

TEST_F(DeletingASchedule, CountsALetterToTheRest)
{
    const std::string cut = rest_of_schedule.substr(0, 32);
    EXPECT_EQ(moved("5a" + rest_of_schedule), "04a" + cut);
    EXPECT_EQ(moved("0x" + rest_of_schedule), "00x" + cut);
    EXPECT_EQ(moved("123" + rest_of_schedule), "113" + cut);
}

TEST_F(DeletingASchedule, KeepsNothingOfARecordWithoutAnOrdinal)
{
    const std::string blank = "00" + std::string(33, ' ');
    for (const char *ordinal : {"ab", "a1", "++", "+-", "-+", "%d", ";;"})
        EXPECT_EQ(moved(ordinal + rest_of_schedule), blank) << ordinal;
}

TEST_F(DeletingASchedule, FillsAShortRecordWithBlanksFromTheLeft)
{
    for (const auto &[before, number, rest] : std::vector<std::array<std::string, 3>>{
             {"", "00", ""},
             {"   ", "00", ""},
             {"0", "00", ""},
             {"7", "06", ""},
             {"07", "06", ""},
             {"07x", "06", "x"},
             {"07xy z", "06", "xy"},
             {"07" + rest_of_schedule.substr(0, 32), "06", rest_of_schedule.substr(0, 32)}})
        EXPECT_EQ(moved(before), number + std::string(33 - rest.size(), ' ').append(rest)) << before;
}

TEST_F(DeletingASchedule, CutsALongRecord)
{
    for (const std::size_t more : {1U, 90U, 91U, 92U, 93U, 94U, 1000U})
        EXPECT_EQ(moved("07" + rest_of_schedule + std::string(more, 'x')), "06" + rest_of_schedule) << more;
}

TEST_F(DeletingASchedule, Sees127CharactersOfARecord)
{
    const std::string after_100_blanks = std::string(100, ' ') + "07" + rest_of_schedule;
    EXPECT_EQ(moved(after_100_blanks), "06" + std::string(8, ' ') + rest_of_schedule.substr(0, 25));
    EXPECT_EQ(moved(std::string(126, ' ') + "75"), "06" + std::string(33, ' '));
    EXPECT_EQ(moved(std::string(127, ' ') + "75"), "00" + std::string(33, ' '));
}

TEST_F(DeletingASchedule, TakesPercentSignsForWhatTheyAre)
{
    const std::string rest = "%n%s%d%99999d%hhn%%" + std::string(14, '%');
    EXPECT_EQ(moved("07" + rest), "06" + rest);
    EXPECT_EQ(moved_companion("%n%s%d%99999d%hhn%%%%%%%%%%%%%%"), "%n%s%d%99999d%hhn%%%%%%%%%%%%%%");
}

TEST_F(DeletingASchedule, ReadsACompanionUpToABlankAndFillsItFromTheLeft)
{
    for (const auto &[before, after] : std::map<std::string, std::string>{
             {"", ""}, {" ", ""}, {"123", "123"}, {"123 456", "123"}, {" \t123", "123"}, {"a;b\nc", "a;b"}})
        EXPECT_EQ(moved_companion(before), std::string(31 - after.size(), ' ') + after) << before;
    EXPECT_EQ(moved_companion(companion(7)), companion(7));
}

TEST_F(DeletingASchedule, CutsALongCompanion)
{
    for (const std::size_t more : {1U, 95U, 96U, 97U, 1000U})
        EXPECT_EQ(moved_companion(companion(7) + std::string(more, 'x')), companion(7)) << more;
    EXPECT_EQ(moved_companion(std::string(120, ' ') + companion(7)),
              std::string(24, ' ') + companion(7).substr(0, 7));
}

TEST_F(DeletingASchedule, LeavesZeroAndBlanksOfRecordsThatAreNotSet)
{
    DelPowerSchedule(0);
    for (int i = 0; i < 29; ++i) {
        ASSERT_EQ(get(schedule_key(i)), "00" + std::string(33, ' ')) << i;
        ASSERT_EQ(get(companion_key(i)), std::string(31, ' ')) << i;
    }
    EXPECT_EQ(get("schedule29"), no_schedule);
}

// --- a store in trouble ---

TEST_F(DeletingASchedule, TakesRecordsThatCannotBeReadForNotSet)
{
    store_all();
    unplug_store(true);
    EXPECT_EQ(DelPowerSchedule(28), 0);
    EXPECT_EQ(get("schedule28"), "00" + std::string(33, ' '));
    EXPECT_EQ(get("schedule28t"), std::string(31, ' '));
}

TEST_F(DeletingASchedule, PassesOverAStoreThatRefuses)
{
    store_all();
    refuse_writes(-1);
    fail_call("nvram_commit", EIO);
    EXPECT_EQ(DelPowerSchedule(28), 0);
    EXPECT_EQ(get("schedule28"), schedule(28, 'A' + 28));
    EXPECT_EQ(calls("nvram_bufset").size(), 4U);
    EXPECT_EQ(calls("nvram_commit").size(), 1U);
}

} // namespace
} // namespace plexor::tests
