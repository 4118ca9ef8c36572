// SPDX-License-Identifier: Apache-2.0
#include "tests/board/test_board.h"

namespace plexor::tests
{

namespace
{

constexpr std::uint32_t all_high = 0xFFFFFFFF;

struct Numbers {
    int group;
    std::uint32_t read, write, input, output;
};

class GpioBanks : public ::testing::TestWithParam<Numbers>
{
  protected:
    TestBoard board{4, latching};
};

TEST_P(GpioBanks, AllLinesAreInputsPulledUpAtFirst)
{
    EXPECT_EQ(board.gpio_outputs(GetParam().group), 0U);
    EXPECT_EQ(board.gpio_levels(GetParam().group), all_high);
    EXPECT_EQ(board.read_bank(GetParam().read), all_high);
}

TEST_P(GpioBanks, AnOutputTakesItsBitOfTheWordWritten)
{
    EXPECT_EQ(board.gpio(GetParam().output, 0x00008100).error, 0);
    EXPECT_EQ(board.gpio(GetParam().write, all_high ^ 0x8000).error, 0);
    EXPECT_EQ(board.gpio_outputs(GetParam().group), 0x00008100U);
    EXPECT_EQ(board.read_bank(GetParam().read), all_high ^ 0x8000);
}

TEST_P(GpioBanks, OtherBanksStayAsTheyAre)
{
    board.gpio(GetParam().output, 0x8000);
    board.gpio(GetParam().write, all_high ^ 0x8000);
    for (const int other : {(GetParam().group + 1) % 3, (GetParam().group + 2) % 3}) {
        EXPECT_EQ(board.gpio_outputs(other), 0U);
        EXPECT_EQ(board.gpio_levels(other), all_high);
    }
}

TEST_P(GpioBanks, ALineMadeInputShowsTheOutsideLevelAgain)
{
    board.gpio(GetParam().output, 0x8000);
    board.gpio(GetParam().write, all_high ^ 0x8000);
    EXPECT_EQ(board.gpio(GetParam().input, 0x8000).error, 0);
    EXPECT_EQ(board.gpio_outputs(GetParam().group), 0U);
    EXPECT_EQ(board.read_bank(GetParam().read), all_high);
}

TEST_P(GpioBanks, TheOutsideSetsInputsButNotOutputs)
{
    board.gpio(GetParam().output, 1U << 15);
    board.set_input(GetParam().group * 32 + 15, false);
    board.set_input(GetParam().group * 32 + 31, false);
    EXPECT_EQ(board.read_bank(GetParam().read), 0x7FFFFFFFU);
    board.set_input(GetParam().group * 32 + 31, true);
    EXPECT_EQ(board.read_bank(GetParam().read), all_high);
}

TEST_P(GpioBanks, AWriteToAnInputChangesNothingAndIsAViolation)
{
    const std::string line = "line " + std::to_string(GetParam().group * 32 + 9);
    EXPECT_EQ(board.gpio(GetParam().write, all_high ^ (1U << 9)).error, 0);
    EXPECT_EQ(board.read_bank(GetParam().read), all_high);
    EXPECT_EQ(board.news(), Texts{"violation " + line + ": written low while input"});

    board.set_input(GetParam().group * 32 + 9, false);
    board.gpio(GetParam().write, all_high);
    EXPECT_EQ(board.news(), Texts{"violation " + line + ": written high while input"});
}

TEST_P(GpioBanks, WritingInputsBackAsTheyWereReadIsFine)
{
    board.set_input(GetParam().group * 32 + 9, false);
    board.gpio(GetParam().write, board.read_bank(GetParam().read));
    EXPECT_EQ(board.news(), Texts{});
}

TEST_P(GpioBanks, DirectionAndLevelChangesAreEvents)
{
    const std::string line = "gpio line " + std::to_string(GetParam().group * 32 + 13) + ": ";
    board.gpio(GetParam().output, 0x2000);
    board.gpio(GetParam().output, 0x2000);
    board.gpio(GetParam().write, all_high ^ 0x2000);
    board.gpio(GetParam().write, all_high ^ 0x2000);
    board.gpio(GetParam().write, all_high);
    board.gpio(GetParam().input, 0x2000);
    EXPECT_EQ(board.news(), (Texts{line + "output", line + "low", line + "high", line + "input"}));
}

INSTANTIATE_TEST_SUITE_P(Each, GpioBanks,
                         ::testing::Values(Numbers{0, 2, 3, 17, 18}, Numbers{1, 82, 83, 19, 20},
                                           Numbers{2, 98, 99, 21, 22}),
                         [](const auto &numbers) { return "Group" + std::to_string(numbers.param.group); });

TEST(Gpio, TheStrapLineIsHighOnALatchingBoardAndLowOnAnOrdinaryOne)
{
    EXPECT_EQ((TestBoard{2, latching}.read_bank(2) & 8), 8U);
    EXPECT_EQ((TestBoard{2, ordinary}.read_bank(2) & 8), 0U);
}

TEST(Gpio, AnOutputKeepsItsLevelThroughATimeAsInputWhateverIsWrittenThen)
{
    TestBoard board{4, latching};
    board.gpio(18, 1U << 22);
    board.gpio(3, all_high ^ (1U << 22));
    board.gpio(17, 1U << 22);
    board.gpio(3, all_high);
    board.news();
    board.gpio(18, 1U << 22);
    EXPECT_EQ(board.gpio_levels(0), all_high ^ (1U << 22));
    EXPECT_EQ(board.news(), (Texts{"gpio line 22: output", "gpio line 22: low", "led outlet 1: lit"}));
}

TEST(Gpio, ALineTurnedIntoAnOutputStartsHighSoThatNothingFlashes)
{
    TestBoard board{4, latching};
    board.set_input(22, false);
    board.gpio(18, 1U << 22);
    EXPECT_EQ(board.gpio_levels(0), all_high);
    EXPECT_FALSE(board.led(0));
}

TEST(Gpio, EventsNameTheProcessThatAsked)
{
    TestBoard board{4, latching};
    board.time = 77;
    board.gpio(18, 1);
    EXPECT_EQ(board.timeline().events().front().pid, process);
    EXPECT_EQ(board.timeline().events().front().time, 77);
}

TEST(Gpio, AnUnknownRequestIsRefusedAndAViolation)
{
    TestBoard board{4, latching};
    for (const std::uint32_t number : {0U, 4U, 16U, 23U, 53U, 56U, 100U}) {
        EXPECT_EQ(board.gpio(number, 1).error, EINVAL);
        EXPECT_EQ(board.news(), Texts{"violation gpio: unknown request " + std::to_string(number)});
    }
}

TEST(Gpio, TheOutsideCannotSetALineThatDoesNotExist)
{
    TestBoard board{4, latching};
    board.set_input(-1, false);
    board.set_input(96, false);
    for (const int group : {0, 1, 2}) {
        EXPECT_EQ(board.gpio_levels(group), all_high);
    }
}

} // namespace

} // namespace plexor::tests
