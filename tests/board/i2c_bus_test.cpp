// SPDX-License-Identifier: Apache-2.0
#include "tests/board/test_board.h"

namespace plexor::tests
{

namespace
{

TEST(I2cBus, ABoardControllerIsOnEveryBoard)
{
    for (int model = 0; model <= 11; ++model) {
        EXPECT_EQ((TestBoard{model, latching}.write_i2c(0xA0, 1, {0x0F}).error), 0) << model;
    }
}

TEST(I2cBus, LedExpandersAreOnTheModelsThatHaveThem)
{
    for (int model = 0; model <= 11; ++model) {
        const bool fitted = model == 2 || model == 3 || model == 11;
        TestBoard board{model, latching};
        EXPECT_EQ(board.write_i2c(0x34, 8, {0xF0}).error, fitted ? 0 : ENXIO) << model;
        EXPECT_EQ(board.write_i2c(0x36, 8, {0xF0}).error, fitted ? 0 : ENXIO) << model;
        EXPECT_EQ(board.leds(), fitted ? "11111111" : std::string(board.leds().size(), '0')) << model;
    }
}

TEST(I2cBus, AnAddressWithoutADeviceDoesNotAnswer)
{
    TestBoard board{2, latching};
    EXPECT_EQ(board.read_i2c(0xD2, 0, 7).error, ENXIO);
    EXPECT_EQ(board.write_i2c(0xA1, 1, {0}).error, ENXIO);
    EXPECT_EQ(board.news(), (Texts{"i2c 0xD2: no answer", "i2c 0xA1: no answer"}));
}

TEST(I2cBus, EachTransferIsAnEventWithRegisterAndBytes)
{
    TestBoard board{2, latching};
    board.write_i2c(0xA0, 1, {0x0F});
    board.read_i2c(0xA0, 1, 1);
    board.write_i2c(0xA0, 256, {0x01, 0xFE});
    EXPECT_EQ(board.news(),
              (Texts{"i2c 0xA0: write 1: 0F", "i2c 0xA0: read 1: 0F", "i2c 0xA0: write 256: 01FE"}));
}

TEST(I2cBus, ATransferOfMoreThan4096BytesIsRefused)
{
    TestBoard board{2, latching};
    EXPECT_EQ(board.read_i2c(0xA0, 0, 4097).error, EINVAL);
    EXPECT_EQ(board.write_i2c(0xD2, 0, Bytes(4097)).error, EINVAL);
    EXPECT_EQ(board.read_i2c(0xD2, 0, 4096).error, ENXIO);
    EXPECT_EQ(board.news(),
              (Texts{"violation 0xA0: length 4097", "violation 0xD2: length 4097", "i2c 0xD2: no answer"}));
}

TEST(I2cBus, AWriteWhoseLengthIsNotThatOfItsBytesIsRefused)
{
    TestBoard board{2, latching};
    const Reply reply = board.handle(
        {.device = Device::i2c, .number = 17, .address = 0xA0, .reg = 1, .length = 2, .data = {0x0F}});
    EXPECT_EQ(reply.error, EINVAL);
    EXPECT_EQ(board.controller(1), 0);
    EXPECT_EQ(board.news(), Texts{"violation 0xA0: length 2"});
}

TEST(I2cBus, AnUnknownRequestIsRefused)
{
    TestBoard board{2, latching};
    EXPECT_EQ(board.handle({.device = Device::i2c, .number = 19, .address = 0xA0}).error, EINVAL);
    EXPECT_EQ(board.news(), Texts{"violation i2c: unknown request 19"});
}

TEST(I2cBus, AScanFindsNothingByDefault)
{
    TestBoard board{2, latching};
    const Reply reply = board.scan();
    EXPECT_EQ(reply.error, 0);
    EXPECT_EQ(reply.data, Bytes{0});
}

TEST(I2cBus, ScansGiveTheAnswersInOrderAndStayWithTheLast)
{
    TestBoard board{2, latching};
    board.set_scan_answers({0x12, 0x4E});
    EXPECT_EQ(board.scan().data, Bytes{0x12});
    EXPECT_EQ(board.scan().data, Bytes{0x4E});
    EXPECT_EQ(board.scan().data, Bytes{0x4E});
    EXPECT_EQ(board.news(), (Texts{"i2c bus: scan: 12", "i2c bus: scan: 4E", "i2c bus: scan: 4E"}));
    board.set_scan_answers({});
    EXPECT_EQ(board.scan().data, Bytes{0});
}

TEST(BoardController, IsReadBackAsItWasWrittenFromTheRegisterOn)
{
    TestBoard board{4, latching};
    EXPECT_EQ(board.write_i2c(0xA0, 254, {1, 2, 3, 4}).error, 0);
    EXPECT_EQ(board.read_i2c(0xA0, 256, 2).data, (Bytes{3, 4}));
    EXPECT_EQ(board.controller(254), 1);
    EXPECT_EQ(board.controller(255), 2);
    EXPECT_EQ(board.controller(258), 0);
}

TEST(BoardController, IsSetFromOutsideAsFoundAtPowerUp)
{
    TestBoard board{4, latching};
    board.set_controller(1, 0x03);
    EXPECT_EQ(board.read_i2c(0xA0, 1, 1).data, Bytes{0x03});
}

TEST(BoardController, HasNothingBeyondItsLastRegister)
{
    TestBoard board{4, latching};
    EXPECT_EQ(board.write_i2c(0xA0, 1023, {0x5A}).error, 0);
    EXPECT_EQ(board.write_i2c(0xA0, 1023, {0x11, 0x22}).error, EINVAL);
    EXPECT_EQ(board.read_i2c(0xA0, 1020, 5).error, EINVAL);
    EXPECT_EQ(board.read_i2c(0xA0, 0xFFFFFFFF, 1).error, EINVAL);
    EXPECT_EQ(board.controller(1023), 0x5A);
    const Texts news = board.news();
    EXPECT_EQ(news.size(), 4U);
    EXPECT_EQ(news.back(), "violation 0xA0: no register 4294967295 of length 1");
}

TEST(BoardController, RegistersThatDoNotExistReadZeroFromOutsideAndTakeNothing)
{
    TestBoard board{4, latching};
    board.set_controller(1024, 0xFF);
    board.set_controller(-1, 0xFF);
    EXPECT_EQ(board.controller(1024), 0);
    EXPECT_EQ(board.controller(-1), 0);
}

TEST(LedExpander, AllLedsAreDarkAtFirst)
{
    TestBoard board{2, latching};
    EXPECT_EQ(board.leds(), "00000000");
    EXPECT_EQ(board.expander(0), 0x0F);
    EXPECT_EQ(board.expander(1), 0x0F);
}

TEST(LedExpander, AWriteChangesOnlyTheSelectedLeds)
{
    TestBoard board{2, latching};
    board.write_i2c(0x34, 8, {0xF0});
    board.write_i2c(0x34, 8, {0x42});
    EXPECT_EQ(board.leds(), "11110000");
    board.write_i2c(0x34, 8, {0x44});
    EXPECT_EQ(board.leds(), "11010000");
    EXPECT_EQ(board.expander(0), 0x04);
    EXPECT_EQ(board.expander(1), 0x0F);
}

TEST(LedExpander, TheSecondOneHasOutletsFiveToEight)
{
    TestBoard board{2, latching};
    board.write_i2c(0x36, 8, {0x40});
    EXPECT_EQ(board.leds(), "00000010");
    EXPECT_EQ(board.expander(1), 0x0B);
}

TEST(LedExpander, EachChangeIsAnEventAfterItsTransfer)
{
    TestBoard board{2, latching};
    board.write_i2c(0x36, 8, {0x10});
    board.write_i2c(0x36, 8, {0x10});
    board.write_i2c(0x36, 8, {0x11});
    EXPECT_EQ(board.news(), (Texts{"i2c 0x36: write 8: 10", "led outlet 5: lit", "i2c 0x36: write 8: 10",
                                   "i2c 0x36: write 8: 11", "led outlet 5: dark"}));
}

TEST(LedExpander, ReadsBackItsStates)
{
    TestBoard board{2, latching};
    board.write_i2c(0x34, 8, {0x90});
    EXPECT_EQ(board.read_i2c(0x34, 8, 1).data, Bytes{0x06});
}

TEST(LedExpander, HasOneRegisterOfOneByte)
{
    TestBoard board{2, latching};
    EXPECT_EQ(board.write_i2c(0x34, 7, {0xF0}).error, EINVAL);
    EXPECT_EQ(board.read_i2c(0x36, 9, 1).error, EINVAL);
    EXPECT_EQ(board.write_i2c(0x34, 8, {0xF0, 0xF0}).error, EINVAL);
    EXPECT_EQ(board.write_i2c(0x34, 8, {}).error, EINVAL);
    EXPECT_EQ(board.leds(), "00000000");
    EXPECT_EQ(
        board.news(),
        (Texts{"violation 0x34: no register 7 of length 1", "violation 0x36: no register 9 of length 1",
               "violation 0x34: no register 8 of length 2", "violation 0x34: no register 8 of length 0"}));
}

TEST(LedExpander, OneThatIsNotFittedShowsAllDark)
{
    EXPECT_EQ((TestBoard{4, latching}.expander(0)), 0x0F);
    EXPECT_EQ((TestBoard{2, latching}.expander(2)), 0x0F);
    EXPECT_EQ((TestBoard{2, latching}.expander(-1)), 0x0F);
}

} // namespace

} // namespace plexor::tests
