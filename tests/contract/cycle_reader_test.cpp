// SPDX-License-Identifier: Apache-2.0
// Reading the record of the power cycles.
#include "tests/contract/cycle_story.h"

namespace plexor::tests
{
namespace
{

class CycleReader : public BegunCycleStory
{
};

TEST_F(CycleReader, GetsTheMaskOrTheNotification)
{
    write_word(at_active, 0x80000012);
    write_word(at_notify, 0xFFFFFFFF);
    EXPECT_EQ(getcycleflag(this), 0x80000012U);
    EXPECT_EQ(getcycleflag(reinterpret_cast<const void *>(1)), 0x80000012U);
    EXPECT_EQ(getcycleflag(nullptr), 0xFFFFFFFFU);
}

TEST_F(CycleReader, OfAWordChangesNothing)
{
    make_elsewhere_strange();
    const CycleRecord before = record();
    getcycleflag(this);
    getcycleflag(nullptr);
    EXPECT_EQ(record(), before);
    EXPECT_EQ(calls(), story({attach_record, detach, attach_record, detach}));
}

TEST_F(CycleReader, OfAWordWithoutTheRecordGetsZero)
{
    write_word(at_active, 5);
    write_word(at_notify, 6);
    fail_call("shmat", EACCES);
    EXPECT_EQ(getcycleflag(this), 0U);
    fail_call("shmget", EACCES);
    EXPECT_EQ(getcycleflag(nullptr), 0U);
}

TEST_F(CycleReader, GetsTheElapsedTimesAndTakesTheNotification)
{
    make_elsewhere_strange();
    CycleRecord expected = record();
    expected.notify = 0;
    EXPECT_EQ(s_getcycle(reinterpret_cast<const void *>(1)), expected.elapsed);
    EXPECT_EQ(record(), expected);
    EXPECT_EQ(calls(), story({attach_record, detach}));
}

TEST_F(CycleReader, GetsTheDurationsAndLeavesTheNotification)
{
    make_elsewhere_strange();
    const CycleRecord before = record();
    EXPECT_EQ(s_getcycle(nullptr), before.durations);
    EXPECT_EQ(record(), before);
    EXPECT_EQ(calls(), story({attach_record, detach}));
}

TEST_F(CycleReader, GetsACopyThatTheNextOneOverwrites)
{
    char *const first = s_getcycle(nullptr);
    write_list(at_durations, "changed");
    EXPECT_EQ(first, usual_durations);
    EXPECT_EQ(s_getcycle(this), first);
    EXPECT_EQ(first, idle_elapsed);
}

TEST_F(CycleReader, OfAListWithoutTheRecordGetsTheLastOneAgain)
{
    s_getcycle(nullptr);
    write_word(at_notify, 2);
    for (const char *call : {"shmget", "shmat"}) {
        fail_call(call, EACCES);
        EXPECT_EQ(s_getcycle(this), usual_durations);
    }
    EXPECT_EQ(record().notify, 2U);
}

TEST_F(CycleReader, GetsTextsAsTheyAre)
{
    for (const std::string text : {"", ";;;", "100%s%n;\n", "\xFF\x01"}) {
        write_list(at_elapsed, text);
        EXPECT_EQ(s_getcycle(this), text);
    }
}

TEST_F(CycleReader, GetsAtMost255Characters)
{
    for (const auto list : {at_durations, at_elapsed}) {
        for (const std::size_t length : {254U, 255U, 256U}) {
            write_list(list, std::string(length, '7'));
            EXPECT_EQ(s_getcycle(list == at_elapsed ? this : nullptr),
                      std::string(std::min<std::size_t>(length, 255), '7'));
        }
    }
}

TEST_F(CycleReader, DoesNotWaitForABusyRecord)
{
    write_word(at_busy, 1);
    getcycleflag(this);
    s_getcycle(this);
    EXPECT_EQ(calls("nanosleep"), Calls{});
    EXPECT_EQ(record().busy, 1U);
}

} // namespace
} // namespace plexor::tests
