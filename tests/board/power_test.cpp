// SPDX-License-Identifier: Apache-2.0
#include "tests/board/test_board.h"

namespace plexor::tests
{

namespace
{

constexpr Device devices[] = {Device::gpio, Device::relays, Device::i2c};

TEST(Power, IsThereAtFirst)
{
    TestBoard board{2, latching};
    EXPECT_TRUE(board.powered());
    for (const Device device : devices) {
        EXPECT_EQ(board.open(device, process), 0);
    }
    EXPECT_EQ(board.news(), Texts{});
}

TEST(Power, WithoutItNoDeviceOpensAndNoRequestIsServed)
{
    TestBoard board{2, latching};
    board.power_loss();
    board.news();
    for (const Device device : devices) {
        EXPECT_EQ(board.open(device, process), ENODEV);
    }
    EXPECT_EQ(board.gpio(18, 1).error, ENODEV);
    EXPECT_EQ(board.group(0, 0x55).error, ENODEV);
    EXPECT_EQ(board.write_i2c(0xA0, 1, {7}).error, ENODEV);
    EXPECT_EQ(board.gpio_outputs(0), 0U);
    EXPECT_EQ(board.contacts(), "00000000");
    EXPECT_EQ(board.controller(1), 0);
    EXPECT_EQ(board.news(), Texts{});
}

TEST(Power, BackAgainDevicesOpen)
{
    TestBoard board{2, latching};
    board.power_loss();
    board.power_up();
    EXPECT_TRUE(board.powered());
    EXPECT_EQ(board.open(Device::gpio, process), 0);
    EXPECT_EQ(board.gpio(18, 1).error, 0);
}

TEST(Power, LosingOrGivingItTwiceHasNoEffect)
{
    TestBoard board{2, latching};
    board.power_up();
    EXPECT_EQ(board.news(), Texts{});
    board.power_loss();
    board.power_loss();
    EXPECT_EQ(board.news(), Texts{"power mains: lost"});
    board.power_up();
    board.power_up();
    EXPECT_EQ(board.news(), Texts{"power mains: up"});
}

TEST(Power, LatchingContactsStayClosedWithoutItButAreNotLive)
{
    TestBoard board{2, latching};
    board.group(0, 0x01);
    EXPECT_TRUE(board.contact(0));
    board.power_loss();
    EXPECT_TRUE(board.contact_closed(0));
    EXPECT_FALSE(board.contact(0));
    board.power_up();
    EXPECT_TRUE(board.contact(0));
    EXPECT_FALSE(board.contact(1));
}

TEST(Power, OrdinaryContactsOpenWithoutItAndStayOpen)
{
    TestBoard board{1, ordinary};
    board.group(0, 0b10'11'10'11);
    board.news();
    board.power_loss();
    EXPECT_EQ(board.contacts(), "0000");
    EXPECT_EQ(board.news(), (Texts{"power mains: lost", "relay outlet 1: open", "relay outlet 3: open"}));
    board.power_up();
    EXPECT_EQ(board.contacts(), "0000");
}

TEST(Power, WithoutItEveryLineIsAnInputAgain)
{
    TestBoard board{4, ordinary};
    for (const std::uint32_t group : {0U, 1U, 2U}) {
        board.gpio(18 + 2 * group, 0x0000FF00);
    }
    board.gpio(3, 0xFFFF00F7);
    board.power_loss();
    board.power_up();
    EXPECT_EQ(board.gpio_outputs(0) | board.gpio_outputs(1) | board.gpio_outputs(2), 0U);
    EXPECT_EQ(board.read_bank(2), 0xFFFFFFF7U);
    board.gpio(18, 0x0000FF00);
    EXPECT_EQ(board.read_bank(2), 0xFFFFFFF7U);
}

TEST(Power, OutsideLevelsDoNotDependOnIt)
{
    TestBoard board{4, latching};
    board.set_input(26, false);
    board.power_loss();
    board.set_input(27, false);
    board.power_up();
    EXPECT_EQ(board.read_bank(2), 0xFFFFFFFFU ^ (3U << 26));
}

TEST(Power, LossDarkensLineLedsAndSilencesTheBeeper)
{
    TestBoard board{1, latching};
    board.gpio(18, 1U << 23);
    board.gpio(3, 0xFFFFFFFF ^ (1U << 23));
    board.gpio(20, 0x3000);
    board.gpio(83, 0xFFFFFFFF ^ 0x3000U);
    ASSERT_TRUE(board.led(1) && board.wifi_led() && board.beeping());
    board.news();
    board.power_loss();
    EXPECT_EQ(board.leds(), "0000");
    EXPECT_FALSE(board.wifi_led());
    EXPECT_FALSE(board.beeping());
    EXPECT_EQ(board.news(),
              (Texts{"power mains: lost", "led outlet 2: dark", "led wifi: dark", "beeper line 45: off"}));
}

TEST(Power, LossResetsTheExpandersAndTheUsbLed)
{
    TestBoard board{2, latching};
    board.write_i2c(0x34, 8, {0x10});
    board.write_i2c(0x36, 8, {0x80});
    board.gpio(55, 1);
    ASSERT_EQ(board.leds(), "10000001");
    board.news();
    board.power_loss();
    EXPECT_EQ(board.leds(), "00000000");
    EXPECT_EQ(board.expander(0), 0x0F);
    EXPECT_FALSE(board.usb_led());
    board.power_up();
    EXPECT_EQ(board.read_i2c(0x36, 8, 1).data, Bytes{0x0F});
}

TEST(Power, TheBoardControllerKeepsItsRegistersWithoutIt)
{
    TestBoard board{2, latching};
    board.write_i2c(0xA0, 1, {0x2A});
    board.write_i2c(0xA0, 736, {0x99});
    board.power_loss();
    EXPECT_EQ(board.controller(1), 0x2A);
    board.power_up();
    EXPECT_EQ(board.read_i2c(0xA0, 1, 1).data, Bytes{0x2A});
    EXPECT_EQ(board.read_i2c(0xA0, 736, 1).data, Bytes{0x99});
}

TEST(Power, CanGoAtAWriteOnTheI2cBusWhichThenDoesNotHappen)
{
    TestBoard board{2, latching};
    board.cut_power_at_write(3);
    EXPECT_EQ(board.write_i2c(0xA0, 272, {1}).error, 0);
    EXPECT_EQ(board.read_i2c(0xA0, 4, 1).error, 0);
    EXPECT_EQ(board.gpio(55, 1).error, 0);
    EXPECT_EQ(board.write_i2c(0x34, 8, {0x10}).error, 0);
    EXPECT_EQ(board.writes_until_cut(), 1U);
    EXPECT_EQ(board.write_i2c(0xA0, 4, {9}).error, ENODEV);
    EXPECT_FALSE(board.powered());
    EXPECT_EQ(board.write_i2c(0xA0, 5, {1}).error, ENODEV);
    EXPECT_EQ(board.read_i2c(0xA0, 4, 1).error, ENODEV);
    EXPECT_EQ(board.open(Device::gpio, process), ENODEV);
}

TEST(Power, IsCutAtAWriteOnlyOnce)
{
    TestBoard board{2, latching};
    board.cut_power_at_write(1);
    board.write_i2c(0xA0, 4, {9});
    board.power_up();
    EXPECT_EQ(board.controller(4), 0);
    EXPECT_EQ(board.write_i2c(0xA0, 4, {9}).error, 0);
    EXPECT_EQ(board.controller(4), 9);
    EXPECT_EQ(board.writes_until_cut(), 0U);
}

TEST(Power, IsCutByWhoKnowsWhatElseHangsOnIt)
{
    TestBoard board{2, latching};
    int cuts = 0;
    board.cut_power_at_write(1, [&] { ++cuts, board.power_loss(); });
    EXPECT_EQ(board.write_i2c(0xA0, 4, {9}).error, ENODEV);
    EXPECT_EQ(cuts, 1);
    EXPECT_FALSE(board.powered());
}

TEST(Power, WhatItsLossDoesIsCausedByTheOutsideWorld)
{
    TestBoard board{1, ordinary};
    board.group(0, 0xFF);
    board.timeline().clear();
    board.power_loss();
    EXPECT_EQ(board.timeline().events().size(), 5U);
    for (const board::Event &event : board.timeline().events()) {
        EXPECT_EQ(event.pid, 0);
    }
}

TEST(Board, KnowsItsModelAndItsStrap)
{
    const TestBoard board{3, ordinary};
    EXPECT_EQ(board.hardware().code, 0x00C317U);
    EXPECT_FALSE(board.latching());
    EXPECT_TRUE((TestBoard{3, latching}.latching()));
}

TEST(Board, ARequestForNoKnownDeviceIsRefused)
{
    TestBoard board{3, ordinary};
    EXPECT_EQ(board.handle({.device = static_cast<Device>(200), .number = 2}).error, ENODEV);
}

} // namespace

} // namespace plexor::tests
