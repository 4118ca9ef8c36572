// SPDX-License-Identifier: Apache-2.0
// The segment of the power cycles: who creates it, with what, and what the first tick writes into it.
#include "tests/contract/cycle_story.h"

namespace plexor::tests
{
namespace
{

using Action = void (*)();

struct User {
    const char *name;
    Action action;
};

std::string name_of(const ::testing::TestParamInfo<User> &user)
{
    return user.param.name;
}

void ask_by(const User &user)
{
    user.action();
}

const std::array creators{
    User{"TheTick", [] { EXPECT_EQ(snmppowercycle(), 1); }},
    User{"StartingOver", [] { EXPECT_EQ(powercycleget(), 1); }},
    User{"ARequest", [] { EXPECT_EQ(SnmpTimeCycle(1, 0, 0, 0), 1); }},
    User{"ASwitch", [] { EXPECT_EQ(SetPower(0, 2, 1, 0, "web"), 1); }},
    User{"TheFlagReader", [] { EXPECT_EQ(getcycleflag(nullptr), 0U); }},
    User{"TheListReader", [] { EXPECT_NE(s_getcycle(nullptr), nullptr); }},
};

class CycleSegmentCreator : public CycleStory, public ::testing::WithParamInterface<User>
{
  protected:
    // One after the other. Starting over needs twice as many as the others.
    void fail_lookups(const std::vector<int> &errors)
    {
        for (std::size_t i = 0; i < errors.size(); ++i)
            fail_call_after("shmget", static_cast<int>(i), errors[i]);
    }
};

INSTANTIATE_TEST_SUITE_P(Each, CycleSegmentCreator, ::testing::ValuesIn(creators), name_of);

TEST_P(CycleSegmentCreator, LooksItUpThenMakesItWithoutPermissionBits)
{
    ask_by(GetParam());
    const Calls first = calls();
    EXPECT_EQ(Calls(first.begin(), first.begin() + 3), create_record);
    EXPECT_EQ(segment(cycle_key).size(), cycle_size);
    EXPECT_EQ(segment_mode(cycle_key), 0);
    EXPECT_EQ(segments_attached(), 0);
}

TEST_P(CycleSegmentCreator, TakesOneThatIsThere)
{
    make_segment(cycle_key, cycle_size, 0640);
    ask_by(GetParam());
    for (const auto &lookup : lookups())
        EXPECT_EQ(lookup, look_up_record.front());
    EXPECT_EQ(segment_mode(cycle_key), 0640);
}

TEST_P(CycleSegmentCreator, MakesNoneWhenItIsKeptFromLookingItUp)
{
    make_segment(cycle_key, cycle_size, 0);
    fail_lookups({EACCES, EACCES});
    ask_by(GetParam());
    for (const auto &lookup : lookups())
        EXPECT_EQ(lookup, look_up_record.front());
    EXPECT_EQ(segment(cycle_key), CycleBytes(cycle_size));
}

TEST_P(CycleSegmentCreator, DoesWithoutOneThatCannotBeMade)
{
    fail_lookups({ENOENT, ENOSPC, ENOENT, ENOSPC});
    ask_by(GetParam());
    EXPECT_EQ(calls("shmat"), Calls{});
    EXPECT_EQ(calls("shmdt"), Calls{});
    EXPECT_EQ(segment_mode(cycle_key), -1);
}

// --- who does not ---

class CycleSegment : public CycleStory
{
};

TEST_F(CycleSegment, IsMadeByNeitherBookkeeper)
{
    EXPECT_EQ(action_count(1), -1);
    EXPECT_EQ(diff_time(), -1);
    EXPECT_EQ(calls(), story({look_up_record, look_up_record}));
    EXPECT_EQ(segment_mode(cycle_key), -1);
}

TEST_F(CycleSegment, IsNotNeededByWhatKeepsNoRecord)
{
    std::string list(cycle_list_size, '\0');
    snmpTimeset(1, 5, list.data());
    SetPower(0, 1, 5, 1, "web");
    SetPower(0, 2, 0, 1, "web");
    SetPowerCycle(1, 1, "web");
    EXPECT_EQ(lookups(), Calls{});
    EXPECT_EQ(segment_mode(cycle_key), -1);
}

TEST_F(CycleSegment, IsZerosForWhoeverComesBeforeTheFirstTick)
{
    getcycleflag(nullptr);
    s_getcycle(this);
    EXPECT_EQ(segment(cycle_key), CycleBytes(cycle_size));
    SnmpTimeCycle(1, 0, 0, 0);
    EXPECT_EQ(segment(cycle_key), CycleBytes(cycle_size));
}

TEST_F(CycleSegment, IsNeverRemoved)
{
    begin();
    powercycleget();
    start(1, 1);
    tick_after(1);
    EXPECT_EQ(segment(cycle_key).size(), cycle_size);
}

// --- the first tick ---

TEST_F(CycleSegment, IsFilledByTheFirstTick)
{
    snmppowercycle();
    EXPECT_EQ(calls(),
              story({create_record, {"nvram_kget_str cycle_time_PX 256"}, ask_ping_manager, detach}));
    EXPECT_EQ(record(), idle_record());
    EXPECT_EQ(debug_print(), "");
}

TEST_F(CycleSegment, KeepsTheModesThatWereThereBefore)
{
    make_strange_record();
    write_word(at_initialised, 0);
    snmppowercycle();
    CycleRecord expected = idle_record();
    expected.mode.fill(0x39393939);
    EXPECT_EQ(record(), expected);
}

TEST_F(CycleSegment, IsFilledThoughItSaysThatItIsBusy)
{
    make_strange_record();
    write_word(at_initialised, 0);
    write_word(at_busy, 1);
    snmppowercycle();
    EXPECT_EQ(calls("nanosleep"), Calls{});
    EXPECT_EQ(record().busy, 0U);
}

TEST_F(CycleSegment, IsFilledOnceOnly)
{
    begin();
    write_list(at_durations, "1;2;3;4;5;6;7;8");
    tick_after(1);
    EXPECT_EQ(calls("nvram"), Calls{});
    EXPECT_EQ(record().durations, "1;2;3;4;5;6;7;8");
}

TEST_F(CycleSegment, CountsAsFilledForAnyWordButZero)
{
    make_strange_record();
    write_word(at_busy, 0);
    snmppowercycle();
    EXPECT_EQ(calls("nvram"), Calls{});
    EXPECT_EQ(record().initialised, 0x39393939U);
}

TEST_F(CycleSegment, IsFilledWithoutDurationsThatNobodySet)
{
    make_strange_record();
    write_word(at_initialised, 0);
    unset("cycle_time_PX");
    snmppowercycle();
    EXPECT_EQ(record().durations, "");
}

TEST_F(CycleSegment, IsFilledWithoutDurationsWhenTheStoreIsGone)
{
    make_strange_record();
    write_word(at_initialised, 0);
    unplug_store(true);
    snmppowercycle();
    EXPECT_EQ(record().durations, "");
}

TEST_F(CycleSegment, TakesDurationsOf255Characters)
{
    for (const std::size_t length : {254U, 255U, 256U, 600U}) {
        set("cycle_time_PX", std::string(length, '7'));
        powercycleget();
        EXPECT_EQ(record().durations, std::string(std::min<std::size_t>(length, 255), '7')) << length;
        EXPECT_EQ(record().started, idle_started) << length;
    }
}

TEST_F(CycleSegment, IsFilledBeforeThePingManagerIsLookedFor)
{
    watch("kill 77 0");
    snmppowercycle();
    EXPECT_EQ(seen(), std::vector{idle_record()});
}

TEST_F(CycleSegment, SaysThatItIsFilledOnlyWhenItIs)
{
    make_strange_record();
    write_word(at_initialised, 0);
    watch("nvram_kget_str cycle_time_PX");
    snmppowercycle();
    EXPECT_EQ(seen().at(0).initialised, 0U);
}

// --- starting over ---

class StartingOver : public BegunCycleStory
{
};

TEST_F(StartingOver, FillsTheRecordAgain)
{
    start(2, 50);
    set("cycle_time_PX", "1;2");
    EXPECT_EQ(powercycleget(), 1);
    CycleRecord expected = idle_record();
    expected.mode[1] = 1;
    expected.durations = "1;2";
    EXPECT_EQ(record(), expected);
}

TEST_F(StartingOver, IsATick)
{
    EXPECT_EQ(powercycleget(), 1);
    EXPECT_EQ(calls("kill"), ask_ping_manager);
    EXPECT_EQ(calls("shmdt").size(), calls("shmat").size());
}

TEST_F(StartingOver, GivesUpCyclesWithoutSwitchingBack)
{
    start(2, 50);
    forget_calls();
    powercycleget();
    tick_after(50);
    EXPECT_EQ(switched(), Calls{});
    EXPECT_FALSE(board().contact(1));
}

TEST_F(StartingOver, FreesARecordWhoseWriterDied)
{
    write_word(at_busy, 1);
    EXPECT_EQ(powercycleget(), 1);
    EXPECT_EQ(calls("nanosleep"), Calls{});
    EXPECT_EQ(record(), idle_record());
}

TEST_F(StartingOver, IsATickStillWhenTheRecordCannotBeClearedFirst)
{
    start(2, 50);
    fail_call("shmat", EACCES);
    EXPECT_EQ(powercycleget(), 1);
    EXPECT_EQ(record().active, 2U);
    EXPECT_EQ(calls("kill"), ask_ping_manager);
}

} // namespace
} // namespace plexor::tests
