// SPDX-License-Identifier: Apache-2.0
#include "tests/board/test_board.h"

namespace plexor::tests
{

namespace
{

constexpr std::uint32_t all_high = 0xFFFFFFFF;

class DigitalInputs : public ::testing::Test
{
  protected:
    std::string active() const
    {
        std::string text;
        for (int input = 0; input < 4; ++input) {
            text += board.digital_input(input) ? '1' : '0';
        }
        return text;
    }

    TestBoard board{5, latching};
};

TEST_F(DigitalInputs, ArePulledUpAndIdleAtFirst)
{
    EXPECT_EQ(active(), "0000");
    EXPECT_EQ(board.read_bank(2), all_high);
}

TEST_F(DigitalInputs, AreLines26To29AndActiveWhenLow)
{
    for (int input = 0; input < 4; ++input) {
        board.set_digital_input(input, true);
        EXPECT_EQ(board.read_bank(2), all_high ^ (1U << (26 + input)));
        EXPECT_EQ(active(), std::string("0000").replace(static_cast<std::size_t>(input), 1, "1"));
        board.set_digital_input(input, false);
        EXPECT_EQ(board.read_bank(2), all_high);
    }
}

TEST_F(DigitalInputs, EachChangeIsAnEventHoweverTheLineIsPulled)
{
    board.set_digital_input(0, true);
    board.set_input(26, false);
    board.set_input(29, false);
    board.set_input(25, false);
    board.set_digital_input(3, false);
    EXPECT_EQ(board.news(), (Texts{"input DI 1: active", "input DI 4: active", "input DI 4: idle"}));
}

TEST_F(DigitalInputs, ComeFromOutsideAndOutliveAPowerLoss)
{
    board.set_digital_input(1, true);
    EXPECT_EQ(board.timeline().events().back().pid, 0);
    board.power_loss();
    board.power_up();
    EXPECT_EQ(active(), "0100");
}

TEST_F(DigitalInputs, ThatDoNotExistAreIdleAndCannotBePulled)
{
    board.set_digital_input(-1, true);
    board.set_digital_input(4, true);
    EXPECT_EQ(board.gpio_levels(0), all_high);
    EXPECT_FALSE(board.digital_input(-1));
    EXPECT_FALSE(board.digital_input(4));
    EXPECT_EQ(board.news(), Texts{});
}

} // namespace

} // namespace plexor::tests
