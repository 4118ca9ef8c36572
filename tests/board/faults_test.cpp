// SPDX-License-Identifier: Apache-2.0
#include "tests/board/test_board.h"

namespace plexor::tests
{

namespace
{

class Faults : public ::testing::Test
{
  protected:
    TestBoard board{2, latching};

    // errnos with which opening /dev/gpio, /dev/spiS0 and /dev/i2cM0 fails
    std::vector<int> opening()
    {
        return {board.open(Device::gpio, process), board.open(Device::relays, process),
                board.open(Device::i2c, process)};
    }

    // the same for one request to each, which would drive a line, close contacts and write a register
    std::vector<int> asking()
    {
        return {board.gpio(18, 1U << 5).error, board.group(0, 0x55).error,
                board.write_i2c(0xA0, 1, {0x0F}).error};
    }
};

TEST_F(Faults, AreTheseAndNoneIsOnAtFirst)
{
    const Texts expected{"gpio-absent",          "relays-absent",   "i2c-absent", "gpio-fails",
                         "relays-fail",          "i2c-fails",       "i2c-stuck",  "i2c-corrupt",
                         "io-controller-absent", "ethernet-address"};
    EXPECT_EQ(board::Board::fault_names(), expected);
    for (const std::string &name : expected) {
        EXPECT_FALSE(board.fault(name));
    }
}

TEST_F(Faults, AreSetAndClearedByName)
{
    for (const std::string &name : board::Board::fault_names()) {
        EXPECT_TRUE(board.set_fault(name, true));
        EXPECT_TRUE(board.fault(name));
        EXPECT_TRUE(board.set_fault(name, false));
        EXPECT_FALSE(board.fault(name));
    }
    EXPECT_EQ(opening(), (std::vector<int>{0, 0, 0}));
    EXPECT_EQ(asking(), (std::vector<int>{0, 0, 0}));
}

TEST_F(Faults, AnUnknownNameIsRefused)
{
    EXPECT_FALSE(board.set_fault("gpio", true));
    EXPECT_FALSE(board.set_fault("", true));
    EXPECT_FALSE(board.fault("gpio"));
    EXPECT_EQ(board.news(), Texts{});
}

TEST_F(Faults, EachChangeIsAnEvent)
{
    board.set_fault("i2c-stuck", true);
    board.set_fault("i2c-stuck", true);
    board.set_fault("i2c-stuck", false);
    board.set_fault("i2c-stuck", false);
    EXPECT_EQ(board.news(), (Texts{"fault i2c-stuck: on", "fault i2c-stuck: off"}));
}

TEST_F(Faults, AnAbsentDeviceDoesNotOpen)
{
    board.set_fault("gpio-absent", true);
    EXPECT_EQ(opening(), (std::vector<int>{ENOENT, 0, 0}));
    board.set_fault("gpio-absent", false);
    board.set_fault("relays-absent", true);
    EXPECT_EQ(opening(), (std::vector<int>{0, ENOENT, 0}));
    board.set_fault("relays-absent", false);
    board.set_fault("i2c-absent", true);
    EXPECT_EQ(opening(), (std::vector<int>{0, 0, ENOENT}));
}

TEST_F(Faults, FailingGpioOpensButDoesNothing)
{
    board.set_fault("gpio-fails", true);
    EXPECT_EQ(opening(), (std::vector<int>{0, 0, 0}));
    EXPECT_EQ(asking(), (std::vector<int>{EIO, 0, 0}));
    EXPECT_EQ(board.gpio_outputs(0), 0U);
    EXPECT_TRUE(board.gpio(2).data.empty());
}

TEST_F(Faults, FailingRelaysOpenButDoNothing)
{
    board.set_fault("relays-fail", true);
    EXPECT_EQ(opening(), (std::vector<int>{0, 0, 0}));
    EXPECT_EQ(asking(), (std::vector<int>{0, EIO, 0}));
    EXPECT_EQ(board.contacts(), "00000000");
}

TEST_F(Faults, FailingI2cOpensButDoesNothing)
{
    board.set_fault("i2c-fails", true);
    board.news();
    EXPECT_EQ(opening(), (std::vector<int>{0, 0, 0}));
    EXPECT_EQ(board.write_i2c(0xA0, 1, {0x0F}).error, EIO);
    EXPECT_EQ(board.scan().error, EIO);
    EXPECT_EQ(board.controller(1), 0);
    EXPECT_EQ(board.news(), Texts{});
}

TEST_F(Faults, AStuckBusTimesOut)
{
    board.set_fault("i2c-stuck", true);
    EXPECT_EQ(opening(), (std::vector<int>{0, 0, 0}));
    EXPECT_EQ(asking(), (std::vector<int>{0, 0, ETIMEDOUT}));
    EXPECT_EQ(board.controller(1), 0);
}

TEST_F(Faults, ACorruptBusInvertsWhatIsReadButNotWhatIsWritten)
{
    board.set_fault("i2c-corrupt", true);
    board.write_i2c(0xA0, 1, {0x0F, 0xA5});
    EXPECT_EQ(board.controller(1), 0x0F);
    EXPECT_EQ(board.read_i2c(0xA0, 1, 2).data, (Bytes{0xF0, 0x5A}));
    board.set_fault("i2c-corrupt", false);
    EXPECT_EQ(board.read_i2c(0xA0, 1, 2).data, (Bytes{0x0F, 0xA5}));
}

TEST_F(Faults, TheEthernetAddressFaultLeavesTheDevicesAlone)
{
    board.set_fault("ethernet-address", true);
    EXPECT_EQ(opening(), (std::vector<int>{0, 0, 0}));
    EXPECT_EQ(asking(), (std::vector<int>{0, 0, 0}));
}

TEST_F(Faults, OutliveAPowerLoss)
{
    board.set_fault("gpio-absent", true);
    board.power_loss();
    EXPECT_EQ(opening(), (std::vector<int>{ENODEV, ENODEV, ENODEV}));
    board.power_up();
    EXPECT_EQ(opening(), (std::vector<int>{ENOENT, 0, 0}));
}

} // namespace

} // namespace plexor::tests
