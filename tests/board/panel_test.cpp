// SPDX-License-Identifier: Apache-2.0
#include "tests/board/test_board.h"

namespace plexor::tests
{

namespace
{

constexpr std::uint32_t all_high = 0xFFFFFFFF;

std::uint32_t bit(int line)
{
    return 1U << (line % 32);
}

// Makes the line an output and drives it.
void drive(TestBoard &board, int line, bool high)
{
    const bool second = line >= 32;
    const std::uint32_t word = board.read_bank(second ? 82 : 2);
    board.gpio(second ? 20 : 18, bit(line));
    board.gpio(second ? 83 : 3, high ? word | bit(line) : word & ~bit(line));
}

TEST(OutletLeds, OnFourOutletBoardsLines22To25LightThemWhenLow)
{
    for (const int model : {1, 4, 5, 6, 7}) {
        TestBoard board{model, latching};
        drive(board, 22, false);
        drive(board, 25, false);
        EXPECT_EQ(board.leds(), "1001") << model;
        drive(board, 22, true);
        drive(board, 23, false);
        EXPECT_EQ(board.leds(), "0101") << model;
    }
}

TEST(OutletLeds, OnTwoOutletBoardsLines40And39LightThemWhenLow)
{
    for (const int model : {8, 9}) {
        TestBoard board{model, latching};
        drive(board, 40, false);
        EXPECT_EQ(board.leds(), "10") << model;
        drive(board, 39, false);
        drive(board, 40, true);
        EXPECT_EQ(board.leds(), "01") << model;
    }
}

TEST(OutletLeds, AnInputLightsNothingEvenWhenLow)
{
    TestBoard board{4, latching};
    drive(board, 22, false);
    board.gpio(17, bit(22));
    board.set_input(22, false);
    EXPECT_EQ(board.leds(), "0000");
}

TEST(OutletLeds, EachChangeIsAnEvent)
{
    TestBoard board{4, latching};
    board.gpio(18, bit(24));
    board.news();
    board.gpio(3, all_high ^ bit(24));
    EXPECT_EQ(board.news(), (Texts{"gpio line 24: low", "led outlet 3: lit"}));
    board.gpio(17, bit(24));
    EXPECT_EQ(board.news(), (Texts{"gpio line 24: input", "led outlet 3: dark"}));
}

TEST(OutletLeds, BoardsWithExpandersIgnoreTheLines)
{
    for (const int model : {2, 3, 11}) {
        TestBoard board{model, latching};
        for (const int line : {22, 23, 24, 25, 40, 39}) {
            drive(board, line, false);
        }
        EXPECT_EQ(board.leds(), "00000000") << model;
    }
}

TEST(OutletLeds, NoLedIsDrivenOnTheGpioRelayModel)
{
    TestBoard board{10, ordinary};
    drive(board, 22, false);
    EXPECT_EQ(board.leds(), "00000000");
}

TEST(OutletLeds, AnOutletThatDoesNotExistIsDark)
{
    const TestBoard board{4, latching};
    EXPECT_FALSE(board.led(-1));
    EXPECT_FALSE(board.led(4));
}

TEST(Beeper, SoundsWhileItsLineIsAnOutputAtLowLevel)
{
    for (int model = 0; model <= 11; ++model) {
        TestBoard board{model, latching};
        const int line = board.hardware().beeper_line;
        EXPECT_FALSE(board.beeping()) << model;
        drive(board, line, false);
        EXPECT_TRUE(board.beeping()) << model;
        board.gpio(line == 45 ? 19 : 17, bit(line));
        EXPECT_FALSE(board.beeping()) << model;
        drive(board, line, true);
        EXPECT_FALSE(board.beeping()) << model;
    }
}

TEST(Beeper, IsDeafToTheLineOfOtherModels)
{
    TestBoard first{1, latching};
    drive(first, 0, false);
    EXPECT_FALSE(first.beeping());
    TestBoard fourth{4, latching};
    drive(fourth, 45, false);
    EXPECT_FALSE(fourth.beeping());
}

TEST(Beeper, EachSoundStandsInTheTimelineWithItsTimes)
{
    TestBoard board{1, latching};
    board.gpio(20, bit(45));
    board.timeline().clear();
    board.time = 1'000'000'000;
    drive(board, 45, false);
    board.time = 1'150'000'000;
    drive(board, 45, true);

    const auto &events = board.timeline().events();
    ASSERT_EQ(events.size(), 4U);
    EXPECT_EQ(to_text(events[1]), "1.000000000 [431] beeper line 45: on");
    EXPECT_EQ(to_text(events[3]), "1.150000000 [431] beeper line 45: off");
}

TEST(WifiLed, IsLitWhileLine44IsAnOutputAtLowLevelOnTheModelsThatHaveIt)
{
    for (int model = 0; model <= 11; ++model) {
        TestBoard board{model, latching};
        drive(board, 44, false);
        EXPECT_EQ(board.wifi_led(), model == 1 || model == 2 || model == 10 || model == 11) << model;
        drive(board, 44, true);
        EXPECT_FALSE(board.wifi_led()) << model;
    }
}

TEST(WifiLed, TheDriverRequestIsRecordedButTheLineDecides)
{
    TestBoard board{1, latching};
    EXPECT_EQ(board.gpio(54, 1).error, 0);
    EXPECT_FALSE(board.wifi_led());
    drive(board, 44, false);
    EXPECT_EQ(board.news(),
              (Texts{"led wifi: request 1", "gpio line 44: output", "gpio line 44: low", "led wifi: lit"}));
}

TEST(UsbLed, FollowsTheLastDriverRequestOnTheModelsThatHaveIt)
{
    for (int model = 0; model <= 11; ++model) {
        TestBoard board{model, latching};
        EXPECT_EQ(board.gpio(55, 1).error, 0);
        EXPECT_EQ(board.usb_led(), model == 2 || model == 11) << model;
        board.gpio(55, 2);
        EXPECT_FALSE(board.usb_led()) << model;
    }
}

TEST(UsbLed, RequestsAndChangesAreEvents)
{
    TestBoard board{2, latching};
    board.gpio(55, 1);
    board.gpio(55, 1);
    board.gpio(55, 0);
    EXPECT_EQ(board.news(), (Texts{"led usb: request 1", "led usb: lit", "led usb: request 1",
                                   "led usb: request 0", "led usb: dark"}));
}

TEST(DriverLeds, ARequestForAnLedThatIsNotFittedIsRecordedAsSuch)
{
    TestBoard board{4, latching};
    board.gpio(54, 1);
    board.gpio(55, 1);
    EXPECT_EQ(board.news(), (Texts{"led wifi: not fitted", "led usb: not fitted"}));
}

} // namespace

} // namespace plexor::tests
