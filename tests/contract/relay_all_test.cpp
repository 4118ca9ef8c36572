// SPDX-License-Identifier: Apache-2.0
// Switching all outlets, and several, at once.
#include <plexor/relay.h>

#include "tests/contract/relay_story.h"

namespace plexor::tests
{
namespace
{

class SwitchingAll : public RelayStory
{
  protected:
    // The part of the call that follows once the relays and LEDs have been set.
    Calls beep_record_notify_stamp(const Calls &beep, const std::string &off_mask)
    {
        return story({beep, write_controller(off_mask), find_nobody_to_notify, stamp_last_switch});
    }
};

// --- everything that happens, in order, on each kind of board ---

TEST_F(SwitchingAll, OnALatchingEightOutletBoardSendsTwoBytes20MsApartThenLightsBeepsRecordsAndNotifies)
{
    EXPECT_EQ(ContorlSpiAllPower(0x0F, "web"), 0);
    EXPECT_EQ(calls(),
              story({identify_board, read_strap, store_off_mask("f0"), open_chain, move_all("0055000208"),
                     wait_20_ms, move_all("04AA000208"), set_all_expander_leds("F0", "FF"), close_chain,
                     beep_record_notify_stamp(beep_on_line_45(0xFFFFDFFF, 0xFFFFFFFF), "F0")}));
    EXPECT_EQ(debug_print(), "ContorlSpiAllPower:nSPIVal=aa55 ,value:55 nHwVal=f0\n");
}

TEST_F(SwitchingAll, OnAnOrdinaryEightOutletBoardSendsCoilPatternsToo)
{
    use_model(3, ordinary);
    EXPECT_EQ(ContorlSpiAllPower(0x81, "web"), 0);
    EXPECT_EQ(calls(),
              story({identify_board, read_strap, store_off_mask("7e"), open_chain, move_all("00A9000300"),
                     wait_20_ms, move_all("046A000300"), set_all_expander_leds("FE", "F7"), close_chain,
                     beep_record_notify_stamp(beep_on_line_45(0xFFFFDFFF, 0xFFFFFFFF), "7E")}));
    EXPECT_EQ(debug_print(), "ContorlSpiAllPower:nSPIVal=6aa9 ,value:a9 nHwVal=7e\n");
}

TEST_F(SwitchingAll, OnAnOrdinaryFourOutletBoardSendsOneByteOfLevelsAndSetsTheLedLines)
{
    use_model(4, ordinary);
    const Calls led_lines =
        story({ask_model, read_group_0, make_output(0x00400000), write_group_0(0xFFBFFFF7),
               make_output(0x00800000), write_group_0(0xFFBFFFF7), make_output(0x01000000),
               write_group_0(0xFEBFFFF7), make_output(0x02000000), write_group_0(0xFEBFFFF7)});
    EXPECT_EQ(ContorlSpiAllPower(0x05, "web"), 0);
    EXPECT_EQ(calls(), story({identify_board, read_strap, store_off_mask("a"), open_chain,
                              move_all("00BB000400"), led_lines, close_chain,
                              beep_record_notify_stamp(beep_on_line_0(0xFEBFFFF6, 0xFEBFFFF7), "0A")}));
    EXPECT_EQ(debug_print(), "ContorlSpiAllPower:nSPIVal=99 ,value:bb nHwVal=a\n");
}

TEST_F(SwitchingAll, OnATwoOutletBoardCountsFourOutletsAndSetsTwoLedLines)
{
    use_model(8, latching);
    const Calls led_lines = story({ask_model, read_group_1, each_opened({gpio_request(20, 0x00000100)}),
                                   write_group_1(0xFFFFFEFF), each_opened({gpio_request(20, 0x00000080)}),
                                   write_group_1(0xFFFFFEFF)});
    EXPECT_EQ(ContorlSpiAllPower(0x01, "web"), 0);
    EXPECT_EQ(calls(), story({identify_board, read_strap, store_off_mask("e"), open_chain,
                              move_all("00A9000808"), led_lines, close_chain,
                              beep_record_notify_stamp(beep_on_line_0(0xFFFFFFFE, 0xFFFFFFFF), "0E")}));
}

TEST_F(SwitchingAll, OnTheGpioModelSendsFourOutletsToTheShiftRegisterAndToTheLedLines)
{
    use_model(10, latching);
    const Calls led_lines =
        story({ask_model, read_group_0, make_output(0x00400000), write_group_0(0xFFBFFFFF),
               make_output(0x00800000), write_group_0(0xFF3FFFFF), make_output(0x01000000),
               write_group_0(0xFF3FFFFF), make_output(0x02000000), write_group_0(0xFF3FFFFF)});
    EXPECT_EQ(ContorlSpiAllPower(0xF3, "web"), 0);
    EXPECT_EQ(calls(), story({identify_board, read_strap, store_off_mask("c"), open_chain,
                              move_all("00A5000A08"), led_lines, close_chain,
                              beep_record_notify_stamp(beep_on_line_0(0xFF3FFFFE, 0xFF3FFFFF), "0C")}));
}

TEST_F(SwitchingAll, OnABoardWhoseAddressCannotBeReadIsAsOnAnUnknownFourOutletBoard)
{
    use_model(0, ordinary);
    lose_ethernet_address();
    EXPECT_EQ(ContorlSpiAllPower(0xFF, "web"), 0);
    EXPECT_EQ(records(), Calls{"6 00FF000000"});
    EXPECT_EQ(recorded(), "0");
    EXPECT_EQ(debug_print(),
              "### Failed to read mac from flash\nContorlSpiAllPower:nSPIVal=55 ,value:ff nHwVal=0\n");
}

TEST_F(SwitchingAll, ForTheFirstTimeMakesBothSegments)
{
    remove_segment(i2c_cache);
    remove_segment(last_switch);
    EXPECT_EQ(ContorlSpiAllPower(0xFF, nullptr), 0);
    EXPECT_EQ(debug_print(), "ContorlSpiAllPower:nSPIVal=5555 ,value:55 nHwVal=0\ninit shm\n");
    EXPECT_EQ(segment_mode(i2c_cache), 0666);
    EXPECT_EQ(segment(last_switch).size(), 8U);
    EXPECT_EQ(segment_mode(last_switch), 0);
}

// --- which board it is ---

TEST_F(SwitchingAll, TakesTheModelByItsAddressAndTheIndicatorsByTheParameterStore)
{
    set("IO_number", "4");
    EXPECT_EQ(ContorlSpiAllPower(0x00, nullptr), 0);
    EXPECT_EQ(records(), (Calls{"6 00AA000208", "6 04AA000208"}));
    EXPECT_EQ(calls("ioctl /dev/i2cM0 17 34").size(), 1U);
    EXPECT_EQ(calls("ioctl /dev/gpio 17"), Calls{"ioctl /dev/gpio 17 0x00000001"}) << "the beeper of model 4";
}

TEST_F(SwitchingAll, SendsTheBytesThatEachModelNeeds)
{
    for (int model = 0; model < 12; ++model) {
        use_model(model, latching);
        ContorlSpiAllPower(0xFF, nullptr);
        const bool two_bytes = model == 2 || model == 3 || model == 11;
        const std::string rest = "5500" + print("%02X", static_cast<unsigned>(model)) + "08";
        EXPECT_EQ(records(), two_bytes ? (Calls{"6 00" + rest, "6 04" + rest}) : Calls{"6 00" + rest});
        let_i2c_cache_expire();
    }
}

TEST_F(SwitchingAll, IgnoresOutletsThatAreNotDriven)
{
    use_model(1, latching);
    EXPECT_EQ(ContorlSpiAllPower(0xFFFFFFF0, nullptr), 0);
    EXPECT_EQ(records(), Calls{"6 00AA000108"});
    EXPECT_EQ(recorded(), "f");
    use_model(2, latching);
    EXPECT_EQ(ContorlSpiAllPower(0xFFFFFF00, nullptr), 0);
    EXPECT_EQ(recorded(), "ff");
}

TEST_F(SwitchingAll, NotifiesOnceAndStampsTheTimeLast)
{
    connect_mqtt();
    EXPECT_EQ(ContorlSpiAllPower(0xFF, nullptr), 0);
    EXPECT_EQ(notifications(), one_notification());
    const Calls all = calls();
    EXPECT_EQ(Calls(all.end() - 4, all.end()), stamp_last_switch);
    // 1000 s and 190,000,000 ns: two gaps of 20 ms and the beep have passed.
    EXPECT_EQ(segment(last_switch), (std::vector<std::uint8_t>{0xE8, 0x03, 0, 0, 0x80, 0x2B, 0x53, 0x0B}));
}

// --- what can go wrong ---

TEST_F(SwitchingAll, WithoutTheDriverIsRecordedInTheStoreAndNothingElse)
{
    for (const int model : {2, 4, 8, 10}) {
        use_model(model, latching);
        connect_mqtt();
        board().set_controller(1, 0x33);
        remove_driver();
        EXPECT_EQ(ContorlSpiAllPower(0x0C, nullptr), -1);
        EXPECT_EQ(calls(),
                  story({identify_board, read_strap, store_off_mask(model == 2 ? "f3" : "3"), open_chain}));
        EXPECT_EQ(debug_print(), driver_missing);
        EXPECT_EQ(controller_record(), 0x33);
    }
}

TEST_F(SwitchingAll, TakesDescriptorZeroForAMissingDriverAndClosesIt)
{
    open_returns("/dev/spiS0", 0);
    EXPECT_EQ(ContorlSpiAllPower(0xFF, nullptr), -1);
    EXPECT_EQ(debug_print(), driver_missing);
    EXPECT_EQ(calls(), story({identify_board, read_strap, store_off_mask("0"), open_chain, close_chain}));
}

TEST_F(SwitchingAll, PassesOverRefusedRequestsAndAFailingI2cBus)
{
    connect_mqtt();
    fail_ioctl("/dev/spiS0", 6, EIO);
    fail_ioctl("/dev/i2cM0", 17, EIO);
    const auto complaint = standard_error_of([] { EXPECT_EQ(ContorlSpiAllPower(0, nullptr), 0); });
    EXPECT_EQ(complaint, "");
    EXPECT_EQ(records(), (Calls{"6 00AA000208", "6 04AA000208"}));
    EXPECT_EQ(notifications(), one_notification());
}

TEST_F(SwitchingAll, WithoutGpioTakesTheRelaysForOrdinaryOnes)
{
    use_model(5, latching);
    fail_open("/dev/gpio", ENOENT);
    const auto complaints = standard_error_of([] { EXPECT_EQ(ContorlSpiAllPower(0x0F, nullptr), 0); });
    EXPECT_EQ(records(), Calls{"6 00FF000500"});
    EXPECT_TRUE(complaints.starts_with("/dev/gpio: No such file or directory\n"));
    EXPECT_EQ(recorded(), "0");
}

// --- several at once ---

class SwitchingSeveral : public SwitchingAll
{
  protected:
    int switch_to(std::array<int, 8> states) { return SetPowerSimul(states.data()); }
};

TEST_F(SwitchingSeveral, OnALatchingFourOutletBoardPulsesTheChangedOnesAndLeavesTheControllerAlone)
{
    use_model(4, latching);
    const Calls led_lines =
        story({ask_model, read_group_0, make_output(0x00400000), write_group_0(0xFFBFFFFF),
               make_output(0x00800000), write_group_0(0xFFBFFFFF), make_output(0x01000000),
               write_group_0(0xFEBFFFFF), make_output(0x02000000), write_group_0(0xFCBFFFFF)});
    EXPECT_EQ(switch_to({1, 0, 2, 2, 2, 2, 2, 2}), 1);
    EXPECT_EQ(calls(),
              story({identify_board, read_strap, store_off_mask("2"), open_chain, move_all("0009000408"),
                     led_lines, close_chain, beep_on_line_0(0xFCBFFFFE, 0xFCBFFFFF), find_nobody_to_notify,
                     stamp_last_switch}));
    EXPECT_EQ(debug_print(), "SetPowerSimul:nSPIVal=9,nHwVal=2\n");
}

TEST_F(SwitchingSeveral, OnALatchingEightOutletBoardShowsUnchangedOutletsDark)
{
    use_model(11, latching);
    EXPECT_EQ(switch_to({1, 0, 2, 2, 0, 1, 1, 3}), 1);
    EXPECT_EQ(calls(),
              story({identify_board, read_strap, store_off_mask("12"), open_chain, move_all("0009000B08"),
                     wait_20_ms, move_all("0416000B08"), set_all_expander_leds("FE", "F9"), close_chain,
                     beep_on_line_45(0xFFFFDFFF, 0xFFFFFFFF), find_nobody_to_notify, stamp_last_switch}));
    EXPECT_EQ(debug_print(), "SetPowerSimul:nSPIVal=1609,nHwVal=12\n");
}

TEST_F(SwitchingSeveral, OnAnOrdinaryFourOutletBoardSendsLevels)
{
    use_model(7, ordinary);
    EXPECT_EQ(switch_to({1, 0, 1, 0, 0, 0, 0, 0}), 1);
    EXPECT_EQ(records(), Calls{"6 00BB000700"});
    EXPECT_EQ(debug_print(), "SetPowerSimul:nSPIVal=99,nHwVal=a\n");
}

TEST_F(SwitchingSeveral, OnTheGpioModelSendsFourOutletsToTheShiftRegisterAndToTheLedLines)
{
    use_model(10, ordinary);
    EXPECT_EQ(switch_to({0, 1, 2, 0, 0, 0, 0, 0}), 1);
    EXPECT_EQ(records(), Calls{"6 008E000A00"});
    EXPECT_EQ(recorded(), "9");
    EXPECT_EQ(calls("ioctl /dev/gpio 3").at(3), "ioctl /dev/gpio 3 0xFE7FFFF7");
}

TEST_F(SwitchingSeveral, TakesTheModelByItsAddress)
{
    set("IO_number", "4");
    EXPECT_EQ(switch_to({1, 1, 1, 1, 1, 1, 1, 1}), 1);
    EXPECT_EQ(records(), (Calls{"6 0055000208", "6 0455000208"}));
}

TEST_F(SwitchingSeveral, LeavesAnOutletAloneForAnyStateButZeroAndOne)
{
    for (const int state : {2, 3, -1, 256, -256}) {
        forget_calls();
        switch_to({state, 1, 1, 1, 0, 0, 0, 0});
        EXPECT_EQ(records(), (Calls{"6 0054000208", "6 04AA000208"})) << state;
        EXPECT_EQ(recorded(), "f0");
    }
}

TEST_F(SwitchingSeveral, ForgetsThatAnUnchangedOutletWasOff)
{
    had_recorded(0xFF);
    switch_to({2, 2, 2, 2, 2, 2, 2, 0});
    EXPECT_EQ(recorded(), "80");
    EXPECT_EQ(controller_record(), 0xFF);
}

TEST_F(SwitchingSeveral, NotifiesOnceAndStampsTheTimeLast)
{
    connect_mqtt();
    EXPECT_EQ(switch_to({}), 1);
    EXPECT_EQ(notifications(), one_notification());
    const Calls all = calls();
    EXPECT_EQ(Calls(all.end() - 4, all.end()), stamp_last_switch);
    EXPECT_EQ(segment(last_switch).front(), 0xE8);
}

TEST_F(SwitchingSeveral, WithoutTheDriverIsRecordedInTheStoreAndAnswersZero)
{
    connect_mqtt();
    remove_driver();
    EXPECT_EQ(switch_to({0, 2, 1, 0, 1, 1, 1, 1}), 0);
    EXPECT_EQ(calls(), story({identify_board, read_strap, store_off_mask("9"), open_chain}));
    EXPECT_EQ(debug_print(), driver_missing);
}

TEST_F(SwitchingSeveral, TakesDescriptorZeroForAMissingDriverAndClosesIt)
{
    open_returns("/dev/spiS0", 0);
    EXPECT_EQ(switch_to({}), 0);
    EXPECT_EQ(debug_print(), driver_missing);
    EXPECT_EQ(calls(), story({identify_board, read_strap, store_off_mask("ff"), open_chain, close_chain}));
}

TEST_F(SwitchingSeveral, PassesOverRefusedRequests)
{
    fail_ioctl("/dev/spiS0", 6, EIO);
    EXPECT_EQ(standard_error_of([] { EXPECT_EQ(SetPowerSimul(std::array<int, 8>{}.data()), 1); }), "");
    EXPECT_EQ(records().size(), 2U);
}

TEST_F(SwitchingSeveral, WithoutStatesDoesNothing)
{
    EXPECT_EQ(SetPowerSimul(nullptr), 0);
    EXPECT_EQ(calls(), Calls{});
}

} // namespace
} // namespace plexor::tests
