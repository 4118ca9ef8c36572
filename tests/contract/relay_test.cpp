// SPDX-License-Identifier: Apache-2.0
// Switching one outlet.
#include <climits>

#include <plexor/relay.h>

#include "tests/contract/relay_story.h"

namespace plexor::tests
{
namespace
{

class SwitchingOneOutlet : public RelayStory
{
};

// --- everything that happens, in order, on each kind of board ---

TEST_F(SwitchingOneOutlet, OnAnOrdinaryEightOutletBoardRecordsThenMovesThenLightsThenNotifies)
{
    use_model(2, ordinary);
    set("SPI_buf_1", "0");
    EXPECT_EQ(ContorlSpiPower(5, 0), 1);
    EXPECT_EQ(calls(), story({ask_model, read_off_mask, write_controller("20"), store_off_mask("20"),
                              open_chain, read_strap, move_one("05FB010200"), close_chain,
                              set_expander("36", "WrLed:36[08]=22", "22"), find_nobody_to_notify}));
    EXPECT_EQ(debug_print(), "index:5 value:fb  is_Latch:0 \n");
}

TEST_F(SwitchingOneOutlet, OnALatchingEightOutletBoardPulsesOneCoil)
{
    use_model(11, latching);
    set("SPI_buf_1", "ff");
    EXPECT_EQ(ContorlSpiPower(2, 1), 1);
    EXPECT_EQ(calls(), story({ask_model, read_off_mask, write_controller("FB"), store_off_mask("fb"),
                              open_chain, read_strap, move_one("0210000B08"), close_chain,
                              set_expander("34", "WrLed:34[08]=40", "40"), find_nobody_to_notify}));
    EXPECT_EQ(debug_print(), "index:2 value:10  is_Latch:8 \n");
}

TEST_F(SwitchingOneOutlet, OnAFourOutletBoardLeavesTheLedLinesAlone)
{
    use_model(4, latching);
    set("SPI_buf_1", "0");
    EXPECT_EQ(ContorlSpiPower(2, 0), 1);
    EXPECT_EQ(calls(),
              story({ask_model, read_off_mask, write_controller("04"), store_off_mask("4"), open_chain,
                     read_strap, move_one("0220010408"), close_chain, find_nobody_to_notify}));
    EXPECT_EQ(debug_print(), "index:2 value:20  is_Latch:8 \n");
}

TEST_F(SwitchingOneOutlet, OnATwoOutletBoardLeavesTheLedLinesAlone)
{
    use_model(8, ordinary);
    set("SPI_buf_1", "e");
    EXPECT_EQ(ContorlSpiPower(1, 1), 1);
    EXPECT_EQ(calls(),
              story({ask_model, read_off_mask, write_controller("0C"), store_off_mask("c"), open_chain,
                     read_strap, move_one("01AF000800"), close_chain, find_nobody_to_notify}));
}

TEST_F(SwitchingOneOutlet, OnTheGpioModelWritesTheLineAndRecordsNothing)
{
    use_model(10, latching);
    EXPECT_EQ(ContorlSpiPower(5, 1), 1);
    EXPECT_EQ(calls(), story({ask_model, read_group_0, make_output(0x20000000), write_group_0(0xDFFFFFFF),
                              find_nobody_to_notify}));
    EXPECT_EQ(debug_print(), "");
}

TEST_F(SwitchingOneOutlet, OnTheUnknownBoardIsAsOnAFourOutletBoard)
{
    use_model(0, latching);
    EXPECT_EQ(ContorlSpiPower(3, 1), 1);
    EXPECT_EQ(calls(),
              story({ask_model, read_off_mask, write_controller("00"), store_off_mask("0"), open_chain,
                     read_strap, move_one("0340000008"), close_chain, find_nobody_to_notify}));
}

TEST_F(SwitchingOneOutlet, TakesEveryModelByTheParameterStoreAndNotByItsAddress)
{
    for (const int stored : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 255}) {
        forget_calls();
        set("IO_number", std::to_string(stored));
        ContorlSpiPower(0, 1);
        EXPECT_EQ(records(), Calls{"4 000100" + print("%02X", static_cast<unsigned>(stored)) + "08"});
        EXPECT_TRUE(calls("flash_read_br0_mac").empty());
    }
}

TEST_F(SwitchingOneOutlet, SetsTheExpanderLedOfEightOutletModelsOnly)
{
    for (int stored = 0; stored < 12; ++stored) {
        forget_calls();
        set("IO_number", std::to_string(stored));
        ContorlSpiPower(6, 0);
        const bool has_expanders = stored == 2 || stored == 3 || stored == 11;
        EXPECT_EQ(calls("ioctl /dev/i2cM0 17 36"),
                  has_expanders ? Calls{"ioctl /dev/i2cM0 17 36 8 [44]"} : Calls{})
            << "model " << stored;
        let_i2c_cache_expire();
    }
}

TEST_F(SwitchingOneOutlet, HandsAnOutletBeyondTheFirstFourOnEvenOnAFourOutletBoard)
{
    use_model(4, ordinary);
    set("SPI_buf_1", "60");
    EXPECT_EQ(ContorlSpiPower(6, 1), 1);
    EXPECT_EQ(records(), Calls{"4 06FB000400"});
    EXPECT_EQ(recorded(), "20");
}

TEST_F(SwitchingOneOutlet, MakesNoBeepAndNoTimeStamp)
{
    ContorlSpiPower(0, 0);
    EXPECT_TRUE(calls("shmget 0x4C504F4C").empty());
    EXPECT_TRUE(calls("nanosleep").empty());
    EXPECT_EQ(segment(last_switch), std::vector<std::uint8_t>(8));
}

TEST_F(SwitchingOneOutlet, NotifiesTheConnectorWithValueOne)
{
    connect_mqtt();
    EXPECT_EQ(ContorlSpiPower(0, 0), 1);
    EXPECT_EQ(notifications(), one_notification());
    EXPECT_EQ(debug_print(), "index:0 value:2  is_Latch:8 \n#### libplexor sending " +
                                 std::to_string(SIGRTMAX - 10) + " signal to cnt3, val=1......\n");
}

TEST_F(SwitchingOneOutlet, NotifiesAfterTheRelayAndTheLed)
{
    connect_mqtt();
    ContorlSpiPower(0, 0);
    EXPECT_EQ(calls().back(), one_notification().front());
}

TEST_F(SwitchingOneOutlet, OfTheGpioModelNotifiesToo)
{
    use_model(10, ordinary);
    connect_mqtt();
    EXPECT_EQ(ContorlSpiPower(7, 1), 1);
    EXPECT_EQ(notifications(), one_notification());
}

// --- records ---

TEST_F(SwitchingOneOutlet, KeepsTheBitsOfAMaskWiderThanAByteInTheStoreAlone)
{
    set("SPI_buf_1", "1ff");
    ContorlSpiPower(0, 1);
    EXPECT_EQ(recorded(), "1fe");
    EXPECT_EQ(controller_record(), 0xFE);
}

TEST_F(SwitchingOneOutlet, DoesNotCommitTheRecordToFlash)
{
    ContorlSpiPower(3, 0);
    EXPECT_TRUE(calls("nvram_commit").empty());
    EXPECT_FALSE(flash().contains("SPI_buf_1"));
}

TEST_F(SwitchingOneOutlet, CountsAnyValueButZeroAsOnInTheRecord)
{
    for (const int value : {2, -1, INT_MAX, INT_MIN}) {
        set("SPI_buf_1", "ff");
        ContorlSpiPower(4, value);
        EXPECT_EQ(recorded(), "ef") << value;
        let_i2c_cache_expire();
    }
}

TEST_F(SwitchingOneOutlet, ClosesAndLightsNoOutletButItself)
{
    ContorlSpiAllPower(0, nullptr);
    ContorlSpiPower(4, 1);
    for (int outlet = 0; outlet < 8; ++outlet) {
        EXPECT_EQ(board().contact(outlet), outlet == 4) << outlet;
        EXPECT_EQ(board().led(outlet), outlet == 4) << outlet;
    }
}

// --- what can go wrong ---

TEST_F(SwitchingOneOutlet, OutsideItsRangeIsRefusedBeforeAnythingHappens)
{
    for (const int index : {-1, 8, INT_MAX, INT_MIN}) {
        forget_calls();
        EXPECT_EQ(ContorlSpiPower(index, 1), -1);
        EXPECT_EQ(debug_print(), "relayidx:" + std::to_string(index) + " error\n");
        EXPECT_EQ(calls(), Calls{});
    }
}

TEST_F(SwitchingOneOutlet, WithoutTheDriverIsRecordedAndNothingElse)
{
    connect_mqtt();
    remove_driver();
    set("SPI_buf_1", "0");
    EXPECT_EQ(ContorlSpiPower(1, 0), -1);
    EXPECT_EQ(calls(),
              story({ask_model, read_off_mask, write_controller("02"), store_off_mask("2"), open_chain}));
    EXPECT_EQ(debug_print(), driver_missing);
    EXPECT_EQ(controller_record(), 0x02);
}

TEST_F(SwitchingOneOutlet, TakesDescriptorZeroForAMissingDriverAndClosesIt)
{
    connect_mqtt();
    open_returns("/dev/spiS0", 0);
    EXPECT_EQ(ContorlSpiPower(1, 0), -1);
    EXPECT_EQ(debug_print(), driver_missing);
    EXPECT_EQ(calls("ioctl /dev/spiS0"), Calls{});
    EXPECT_EQ(calls("close /dev/spiS0"), close_chain);
    EXPECT_EQ(notifications(), Calls{});
}

TEST_F(SwitchingOneOutlet, OfTheGpioModelNeedsNoDriver)
{
    use_model(10, latching);
    remove_driver();
    EXPECT_EQ(ContorlSpiPower(0, 1), 1);
    EXPECT_EQ(calls("open /dev/spiS0"), Calls{});
}

TEST_F(SwitchingOneOutlet, PassesOverARefusedRequest)
{
    connect_mqtt();
    fail_ioctl("/dev/spiS0", 4, EIO);
    const auto complaint = standard_error_of([] { EXPECT_EQ(ContorlSpiPower(0, 0), 1); });
    EXPECT_EQ(complaint, "");
    EXPECT_EQ(calls("ioctl /dev/i2cM0 17 34"), Calls{"ioctl /dev/i2cM0 17 34 8 [11]"});
    EXPECT_EQ(notifications(), one_notification());
}

TEST_F(SwitchingOneOutlet, PassesOverAFailingI2cBus)
{
    connect_mqtt();
    fail_ioctl("/dev/i2cM0", 17, EIO);
    EXPECT_EQ(ContorlSpiPower(0, 0), 1);
    EXPECT_FALSE(board().contact(0));
    EXPECT_EQ(recorded(), "1");
    EXPECT_EQ(notifications(), one_notification());
}

TEST_F(SwitchingOneOutlet, EndsTheProcessWithoutTheI2cDriver)
{
    fail_open("/dev/i2cM0", ENOENT);
    EXPECT_EXIT(ContorlSpiPower(0, 0), testing::ExitedWithCode(255), "/dev/i2cM0: No such file or directory");
}

TEST_F(SwitchingOneOutlet, WithoutGpioTakesTheRelaysForOrdinaryOnes)
{
    fail_open("/dev/gpio", ENOENT);
    set("SPI_buf_1", "0");
    const auto complaint = standard_error_of([] { EXPECT_EQ(ContorlSpiPower(0, 0), 1); });
    EXPECT_EQ(complaint, "/dev/gpio: No such file or directory\n");
    EXPECT_EQ(records(), Calls{"4 00FE010200"});
}

// --- the line of one outlet ---

class GpioRelay : public RelayStory
{
  protected:
    GpioRelay() { use_model(10, ordinary); }
};

TEST_F(GpioRelay, IsDrivenLowForOnAndHighForOff)
{
    const std::array lines{22U, 23U, 24U, 25U, 26U, 29U, 27U, 28U};
    for (unsigned outlet = 0; outlet < 8; ++outlet) {
        forget_calls();
        const unsigned bit = 1U << lines[outlet];
        EXPECT_EQ(ContorlgpioPower(outlet, 1), 1);
        EXPECT_TRUE(board().contact(static_cast<int>(outlet)));
        EXPECT_EQ(ContorlgpioPower(outlet, 0), 1);
        EXPECT_FALSE(board().contact(static_cast<int>(outlet)));
        EXPECT_EQ(calls(), story({read_group_0, make_output(bit), write_group_0(0xFFFFFFF7U & ~bit),
                                  read_group_0, make_output(bit), write_group_0(0xFFFFFFF7)}));
    }
}

TEST_F(GpioRelay, TakesAnyValueButZeroForOn)
{
    for (const int value : {2, -1, INT_MIN}) {
        ContorlgpioPower(3, 0);
        ContorlgpioPower(3, value);
        EXPECT_TRUE(board().contact(3)) << value;
    }
}

TEST_F(GpioRelay, LeavesTheOtherLinesOfTheBankAsTheyWere)
{
    board().set_input(5, false);
    ContorlgpioPower(2, 1);
    forget_calls();
    ContorlgpioPower(6, 1);
    EXPECT_EQ(calls("ioctl /dev/gpio 3"), Calls{"ioctl /dev/gpio 3 0xF6FFFFD7"});
    EXPECT_TRUE(board().contact(2));
}

TEST_F(GpioRelay, RecordsAndNotifiesNothing)
{
    connect_mqtt();
    set("SPI_buf_1", "5");
    ContorlgpioPower(0, 0);
    EXPECT_EQ(calls(), story({read_group_0, make_output(0x00400000), write_group_0(0xFFFFFFF7)}));
    EXPECT_EQ(recorded(), "5");
    EXPECT_EQ(debug_print(), "");
}

TEST_F(GpioRelay, OutsideItsRangeDoesNothing)
{
    EXPECT_EQ(ContorlgpioPower(8, 1), 1);
    EXPECT_EQ(ContorlgpioPower(UINT_MAX, 1), 1);
    EXPECT_EQ(calls(), Calls{});
}

TEST_F(GpioRelay, AfterAFailedReadWritesTheBankAsIfItHadBeenZero)
{
    fail_ioctl("/dev/gpio", 2, EIO);
    standard_error_of([] { EXPECT_EQ(ContorlgpioPower(0, 0), 1); });
    EXPECT_EQ(calls("ioctl /dev/gpio 3"), Calls{"ioctl /dev/gpio 3 0x00400000"});
}

TEST_F(GpioRelay, AnswersOneEvenWithoutTheDevice)
{
    fail_open("/dev/gpio", ENODEV);
    const auto complaints = standard_error_of([] { EXPECT_EQ(ContorlgpioPower(0, 1), 1); });
    EXPECT_EQ(complaints,
              "/dev/gpio: No such device\n/dev/gpio: No such device\n/dev/gpio: No such device\n");
}

// --- the strap ---

class LatchStrap : public RelayStory
{
};

TEST_F(LatchStrap, IsTheEightOfGroupZeroOnEveryModel)
{
    for (int model = 0; model < 12; ++model) {
        use_model(model, latching);
        EXPECT_EQ(is_latch(), 8U);
        use_model(model, ordinary);
        EXPECT_EQ(is_latch(), 0U);
        EXPECT_EQ(calls(), read_group_0);
    }
}

TEST_F(LatchStrap, IsNoOtherLine)
{
    for (int line = 0; line < 96; ++line)
        board().set_input(line, line == 3);
    EXPECT_EQ(is_latch(), 8U);
    for (int line = 0; line < 96; ++line)
        board().set_input(line, line != 3);
    EXPECT_EQ(is_latch(), 0U);
}

TEST_F(LatchStrap, ReadsAsNotLatchingWhenItCannotBeRead)
{
    fail_ioctl("/dev/gpio", 2, EIO);
    const auto complaint = standard_error_of([] { EXPECT_EQ(is_latch(), 0U); });
    EXPECT_EQ(complaint, "ioctl: Input/output error\n");
}

// --- recording one outlet ---

class RecordingOneOutlet : public RelayStory
{
};

TEST_F(RecordingOneOutlet, WritesTheControllerThenTheStore)
{
    set("SPI_buf_1", "f0");
    EXPECT_EQ(Record_Status(0, 0), 0xF0);
    EXPECT_EQ(calls(), story({read_off_mask, write_controller("F1"), store_off_mask("f1")}));
}

TEST_F(RecordingOneOutlet, SetsTheBitForOffAndClearsItForAnythingElse)
{
    had_recorded(0x0F);
    EXPECT_EQ(Record_Status(7, 0), 0x0F);
    EXPECT_EQ(recorded(), "8f");
    EXPECT_EQ(Record_Status(0, 1), 0x8F);
    EXPECT_EQ(Record_Status(1, 2), 0x8E);
    EXPECT_EQ(Record_Status(2, UINT_MAX), 0x8C);
    EXPECT_EQ(recorded(), "88");
    EXPECT_EQ(controller_record(), 0x88);
}

TEST_F(RecordingOneOutlet, ReturnsTheLowByteOfWhatWasThere)
{
    set("SPI_buf_1", "12345");
    EXPECT_EQ(Record_Status(1, 0), 0x45);
    EXPECT_EQ(recorded(), "12347");
    EXPECT_EQ(controller_record(), 0x47);
}

TEST_F(RecordingOneOutlet, StartsFromNothingOffWhenNothingWasRecorded)
{
    EXPECT_EQ(Record_Status(4, 0), 0);
    EXPECT_EQ(recorded(), "10");
}

TEST_F(RecordingOneOutlet, OutsideItsRangeChangesNothing)
{
    had_recorded(0x5A);
    EXPECT_EQ(Record_Status(8, 0), 0x5A);
    EXPECT_EQ(Record_Status(32, 0), 0x5A);
    EXPECT_EQ(Record_Status(UINT_MAX, 1), 0x5A);
    EXPECT_EQ(calls(), story({read_off_mask, read_off_mask, read_off_mask}));
}

TEST_F(RecordingOneOutlet, ReadsWhateverTextIsThere)
{
    const std::map<std::string, int> texts{{"", 0},
                                           {"a", 0x0A},
                                           {"ff", 0xFF},
                                           {"FF", 0xFF},
                                           {"xyz", 0},
                                           {"5g7", 0x05},
                                           {" 3", 0x03},
                                           {"0x7", 0x07},
                                           {"-1", 0xFF},
                                           {"00000c", 0x0C},
                                           {std::string(600, 'f'), 0xFF}};
    for (const auto &[text, mask] : texts) {
        set("SPI_buf_1", text);
        EXPECT_EQ(Record_Status(8, 0), mask) << text;
    }
}

TEST_F(RecordingOneOutlet, WritesTheMaskInLowerCaseWithoutPrefix)
{
    set("SPI_buf_1", "FF");
    Record_Status(0, 1);
    EXPECT_EQ(recorded(), "fe");
}

} // namespace
} // namespace plexor::tests
