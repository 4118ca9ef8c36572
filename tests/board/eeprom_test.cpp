// SPDX-License-Identifier: Apache-2.0
#include "tests/board/test_board.h"

namespace plexor::tests
{

namespace
{

TEST(Eeprom, IsErasedAtFirst)
{
    TestBoard board{2, latching};
    EXPECT_EQ(board.read_byte(0).data, Bytes{0xFF});
    EXPECT_EQ(board.eeprom(65535), 0xFF);
}

TEST(Eeprom, IsOnEveryBoard)
{
    for (int model = 0; model <= 11; ++model) {
        TestBoard board{model, latching};
        EXPECT_EQ(board.write_byte(272, 0xC3).error, 0) << model;
        EXPECT_EQ(board.read_byte(272).data, Bytes{0xC3}) << model;
    }
}

TEST(Eeprom, TakesOneByteAtAnAddress)
{
    TestBoard board{2, latching};
    EXPECT_EQ(board.write_byte(256, 0x5A).error, 0);
    EXPECT_EQ(board.eeprom(255), 0xFF);
    EXPECT_EQ(board.eeprom(256), 0x5A);
    EXPECT_EQ(board.eeprom(257), 0xFF);
    EXPECT_EQ(board.eeprom(0), 0xFF);
}

TEST(Eeprom, IsSetFromOutside)
{
    TestBoard board{2, latching};
    board.set_eeprom(65535, 0x11);
    board.set_eeprom(65536, 0x22);
    board.set_eeprom(-1, 0x33);
    EXPECT_EQ(board.read_byte(65535).data, Bytes{0x11});
    EXPECT_EQ(board.eeprom(65536), 0);
    EXPECT_EQ(board.eeprom(-1), 0);
}

TEST(Eeprom, IsNotTheBoardController)
{
    TestBoard board{2, latching};
    board.write_byte(1, 0x5A);
    EXPECT_EQ(board.controller(1), 0);
}

TEST(Eeprom, EachRequestIsAnEvent)
{
    TestBoard board{2, latching};
    board.write_byte(272, 0x0F);
    board.read_byte(272);
    EXPECT_EQ(board.news(), (Texts{"i2c EEPROM: write 272: 0F", "i2c EEPROM: read 272: 0F"}));
}

TEST(Eeprom, KeepsItsBytesWithoutPower)
{
    TestBoard board{2, latching};
    board.write_byte(9, 0x42);
    board.power_loss();
    EXPECT_EQ(board.read_byte(9).error, ENODEV);
    board.power_up();
    EXPECT_EQ(board.read_byte(9).data, Bytes{0x42});
}

TEST(Eeprom, HasNothingBeyondItsLastAddress)
{
    TestBoard board{2, latching};
    EXPECT_EQ(board.write_byte(65536, 1).error, EINVAL);
    EXPECT_EQ(board.read_byte(0xFFFFFFFF).error, EINVAL);
    EXPECT_EQ(board.news(), (Texts{"violation EEPROM: no register 65536 of length 1",
                                   "violation EEPROM: no register 4294967295 of length 1"}));
}

TEST(Eeprom, RefusesAllLengthsButOne)
{
    TestBoard board{2, latching};
    const auto request = [&board](std::uint32_t number, std::uint32_t length) {
        return board
            .handle({.device = Device::i2c, .number = number, .length = length, .data = Bytes(length)})
            .error;
    };
    for (const std::uint32_t length : {0U, 2U}) {
        EXPECT_EQ(request(3, length), EINVAL) << length;
        EXPECT_EQ(request(5, length), EINVAL) << length;
    }
    EXPECT_EQ(board.news().front(), "violation EEPROM: length 0");
    EXPECT_EQ(board.eeprom(0), 0xFF);
}

TEST(Eeprom, WritesCountTowardsAPowerCut)
{
    TestBoard board{2, latching};
    board.cut_power_at_write(2);
    EXPECT_EQ(board.write_byte(1, 1).error, 0);
    EXPECT_EQ(board.write_byte(2, 2).error, ENODEV);
    EXPECT_FALSE(board.powered());
    EXPECT_EQ(board.eeprom(2), 0xFF);
}

TEST(Eeprom, FailsAndGarblesWithTheBus)
{
    TestBoard board{2, latching};
    board.set_fault("i2c-corrupt", true);
    EXPECT_EQ(board.read_byte(0).data, Bytes{0});
    board.set_fault("i2c-fails", true);
    EXPECT_EQ(board.write_byte(0, 1).error, EIO);
    EXPECT_EQ(board.eeprom(0), 0xFF);
}

} // namespace

} // namespace plexor::tests
