// SPDX-License-Identifier: Apache-2.0
// The entry that switches an outlet or starts its power cycle.
#include <climits>

#include "tests/contract/cycle_story.h"

namespace plexor::tests
{
namespace
{

class SwitchOrCycle : public BegunCycleStory
{
};

TEST_F(SwitchOrCycle, OfAnIndexThatIsNoOutletIsRefusedInSilence)
{
    for (const unsigned index : {8U, 9U, 0x80000000U, UINT_MAX}) {
        for (const int action : {0, 1, 2, -1})
            EXPECT_EQ(SetPower(index, action, 5, 1, "web"), 0) << index << ", " << action;
    }
    EXPECT_EQ(calls(), Calls{});
    EXPECT_EQ(debug_print(), "");
}

TEST_F(SwitchOrCycle, SwitchesAsItIsToldBelowTwo)
{
    for (const int action : {0, 1, -1, INT_MIN}) {
        forget_calls();
        EXPECT_EQ(SetPower(7, action, 5, 1, "web"), 1);
        EXPECT_EQ(debug_print(), report("web", 7, action));
        EXPECT_EQ(board().contact(7), action != 0) << action;
    }
    EXPECT_EQ(lookups(), Calls{});
}

TEST_F(SwitchOrCycle, SwitchesWhateverTheSeconds)
{
    for (const unsigned seconds : {0U, 10000U, UINT_MAX}) {
        forget_calls();
        EXPECT_EQ(SetPower(0, 1, seconds, 1, "web"), 1);
        EXPECT_EQ(debug_print(), report("web", 0, 1));
    }
}

TEST_F(SwitchOrCycle, SwitchesForNobody)
{
    EXPECT_EQ(SetPower(0, 1, 0, 0, nullptr), 1);
    EXPECT_EQ(debug_print(), report("", 0, 1));
}

TEST_F(SwitchOrCycle, CyclesForOneTo9999Seconds)
{
    for (const unsigned seconds : {0U, 10000U, 0x80000000U, UINT_MAX}) {
        for (const int action : {2, 3, INT_MAX})
            EXPECT_EQ(SetPower(3, action, seconds, 0, "web"), 0) << seconds;
    }
    EXPECT_EQ(calls(), Calls{});
    EXPECT_EQ(debug_print(), "");
    EXPECT_EQ(SetPower(0, 2, 1, 0, "web"), 1);
    EXPECT_EQ(SetPower(3, 2, 9999, 0, "web"), 1);
    EXPECT_EQ(record().table, table_of({{0, 1}, {3, 9999}}));
}

TEST_F(SwitchOrCycle, CyclesForAnyActionFromTwo)
{
    unsigned index = 0;
    for (const int action : {2, 3, 1000, INT_MAX})
        EXPECT_EQ(SetPower(index++, action, 5, 1, "web"), 1);
    EXPECT_EQ(record().active, 0x0FU);
}

TEST_F(SwitchOrCycle, CyclesUnderTheCyclesNameWithoutNotifying)
{
    EXPECT_EQ(SetPower(7, 2, 5, 1, "web"), 1);
    EXPECT_EQ(debug_print(), report("power-cycle", 7, 0));
    EXPECT_EQ(record().notify, 0U);
}

TEST_F(SwitchOrCycle, HandsTheModeOnAsItIs)
{
    for (const unsigned mode : {0U, 1U, 2U, 0x7FFFFFFFU, UINT_MAX})
        EXPECT_EQ(SetPower(mode & 7U, 2, 5, mode, "web"), 1);
    EXPECT_EQ(record().mode, (std::array{0, 1, 2, 0, 0, 0, 0, -1}));
}

TEST_F(SwitchOrCycle, AnswersOneForACycleThatIsDropped)
{
    write_word(at_busy, 1);
    EXPECT_EQ(SetPower(0, 2, 5, 1, "web"), 1);
    EXPECT_EQ(switched(), Calls{});
}

TEST_F(SwitchOrCycle, AnswersOneForACycleWithoutARecord)
{
    fail_call("shmat", EACCES);
    EXPECT_EQ(SetPower(0, 2, 5, 1, "web"), 1);
    EXPECT_EQ(switched(), Calls{});
}

// --- on every model but the unknown one, whose outlets nobody knows ---

class CycleOnEveryModel : public CycleStory, public ::testing::WithParamInterface<int>
{
  protected:
    CycleOnEveryModel() { use_model(GetParam(), latching); }
};

INSTANTIATE_TEST_SUITE_P(All, CycleOnEveryModel, ::testing::Range(1, 12),
                         [](const auto &model) { return "Model" + std::to_string(model.param); });

TEST_P(CycleOnEveryModel, IsOffInBetweenAndOnAfterwards)
{
    snmppowercycle();
    ContorlSpiPower(0, 1);
    EXPECT_EQ(SetPower(0, 2, 5, 1, "web"), 1);
    EXPECT_FALSE(board().contact(0));
    tick_after(4);
    EXPECT_FALSE(board().contact(0));
    tick_after(1);
    EXPECT_TRUE(board().contact(0));
}

TEST_P(CycleOnEveryModel, IsOnInBetweenAndOffAfterwards)
{
    snmppowercycle();
    ContorlSpiPower(0, 0);
    EXPECT_EQ(SetPower(0, 2, 5, 0, "web"), 1);
    EXPECT_TRUE(board().contact(0));
    tick_after(5);
    EXPECT_FALSE(board().contact(0));
}

} // namespace
} // namespace plexor::tests
