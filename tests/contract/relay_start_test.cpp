// SPDX-License-Identifier: Apache-2.0
// The states at start-up: applied, stored and read.
#include <climits>

#include <plexor/relay.h>

#include "tests/contract/relay_story.h"

namespace plexor::tests
{
namespace
{

const Calls read_start_up_list{"nvram_kget_str default_status_PX 512"};
const Calls read_gpio_start_up_list{"nvram_kget_str default_status_PX1 512"};

Calls set_four_led_lines(const std::array<unsigned, 4> &words)
{
    return story({ask_model, read_group_0, make_output(0x00400000), write_group_0(words[0]),
                  make_output(0x00800000), write_group_0(words[1]), make_output(0x01000000),
                  write_group_0(words[2]), make_output(0x02000000), write_group_0(words[3])});
}

class StartUp : public RelayStory
{
};

// --- everything that happens, in order, on each kind of board ---

TEST_F(StartUp, OfALatchingEightOutletBoardSetsExpandersThenRecordsAndSetsTheLedLinesToo)
{
    set("default_status_PX", "2;2;2;2;2;2;2;2");
    board().set_controller(1, 0x03);
    EXPECT_EQ(init_io(), 0);
    EXPECT_EQ(calls(), story({identify_board, read_strap, read_controller, open_chain, read_start_up_list,
                              move_all("005A000208"), wait_20_ms, move_all("0455000208"),
                              set_all_expander_leds("F3", "F0"), close_chain, store_off_mask("3"),
                              set_four_led_lines({0xFFFFFFFF, 0xFFFFFFFF, 0xFEFFFFFF, 0xFCFFFFFF}),
                              write_controller("03")}));
    EXPECT_EQ(debug_print(), "init_io:nSPIVal=555a,nHwEE=3,nHwLED=3\n");
}

TEST_F(StartUp, OfAnOrdinaryEightOutletBoardSendsCoilPatternsToo)
{
    use_model(3, ordinary);
    set("default_status_PX", "1;0;1;1;1;1;1;0");
    EXPECT_EQ(init_io(), 0);
    EXPECT_EQ(records(), (Calls{"6 0059000300", "6 0495000300"}));
    EXPECT_EQ(recorded(), "82");
    EXPECT_EQ(debug_print(), "init_io:nSPIVal=9559,nHwEE=0,nHwLED=82\n");
}

TEST_F(StartUp, OfAnOrdinaryFourOutletBoardSetsTheLedLinesAfterClosing)
{
    use_model(4, ordinary);
    set("default_status_PX", "1;0;2;2");
    board().set_controller(1, 0x04);
    EXPECT_EQ(init_io(), 0);
    EXPECT_EQ(calls(), story({identify_board, read_strap, read_controller, open_chain, read_start_up_list,
                              move_all("00EB000400"), close_chain, store_off_mask("6"),
                              set_four_led_lines({0xFFBFFFF7, 0xFFBFFFF7, 0xFFBFFFF7, 0xFDBFFFF7}),
                              write_controller("06")}));
    EXPECT_EQ(debug_print(), "init_io:nSPIVal=69,nHwEE=4,nHwLED=6\n");
}

TEST_F(StartUp, OfATwoOutletBoardCountsFourOutlets)
{
    use_model(9, latching);
    set("default_status_PX", "0;1;1;0");
    const Calls led_lines = story({ask_model, read_group_1, each_opened({gpio_request(20, 0x00000100)}),
                                   write_group_1(0xFFFFFFFF), each_opened({gpio_request(20, 0x00000080)}),
                                   write_group_1(0xFFFFFF7F)});
    EXPECT_EQ(init_io(), 0);
    EXPECT_EQ(calls(), story({identify_board, read_strap, read_controller, open_chain, read_start_up_list,
                              move_all("0096000908"), close_chain, store_off_mask("9"), led_lines,
                              write_controller("09")}));
}

TEST_F(StartUp, OfTheGpioModelSwitchesLinesAndNothingElse)
{
    use_model(10, latching);
    set("default_status_PX1", "2;1;2;2;2;0;2;2");
    EXPECT_EQ(init_io(), 0);
    EXPECT_EQ(calls(), story({identify_board, read_gpio_start_up_list, read_group_0, make_output(0x00800000),
                              write_group_0(0xFF7FFFFF), read_group_0, make_output(0x20000000),
                              write_group_0(0xFF7FFFFF)}));
    EXPECT_EQ(debug_print(), "");
}

TEST_F(StartUp, OfABoardWhoseAddressCannotBeReadIsAsOfAFourOutletBoard)
{
    use_model(0, latching);
    lose_ethernet_address();
    set("default_status_PX", "1;1;1;0;0;0;0;0");
    EXPECT_EQ(init_io(), 0);
    EXPECT_EQ(records(), Calls{"6 0095000008"});
    EXPECT_EQ(recorded(), "8");
    EXPECT_EQ(debug_print(), "### Failed to read mac from flash\ninit_io:nSPIVal=95,nHwEE=0,nHwLED=8\n");
}

TEST_F(StartUp, MakesNoBeepNoNotificationAndNoTimeStamp)
{
    for (const int model : {2, 4, 8, 10}) {
        use_model(model, latching);
        connect_mqtt();
        init_io();
        EXPECT_EQ(notifications(), Calls{});
        EXPECT_EQ(calls("nvram_kget_int mqtt_enable"), Calls{});
        EXPECT_EQ(calls("nanosleep 0.150000000"), Calls{});
        EXPECT_EQ(calls("shmget 0x4C504F4C"), Calls{});
        let_i2c_cache_expire();
    }
}

TEST_F(StartUp, TakesTheModelByItsAddressAndTheLedLinesByTheParameterStore)
{
    set("IO_number", "8");
    EXPECT_EQ(init_io(), 0);
    EXPECT_EQ(records().size(), 2U);
    EXPECT_EQ(calls("ioctl /dev/gpio 83").size(), 2U);
    EXPECT_EQ(calls("ioctl /dev/gpio 3 "), Calls{});
}

// --- every value at every outlet with every saved byte ---

class StartUpValues : public RelayStory
{
  protected:
    static constexpr std::array values{"0", "1", "2", "3", "-1", ""};

    // Boots once for each saved byte and each turn of the list of values.
    void try_all(int outlets)
    {
        for (unsigned saved = 0; saved < 256; ++saved) {
            for (std::size_t turn = 0; turn < values.size(); ++turn)
                boot(outlets, saved, turn);
        }
    }

    static std::string pair_for(const std::string &value, bool was_off)
    {
        if (value == "1" || (value == "2" && !was_off))
            return "01";
        return value == "3" || value == "-1" ? "00" : "10"; // an empty field reads as 0
    }

    void boot(int outlets, unsigned saved, std::size_t turn)
    {
        std::string list;
        std::string pairs;
        unsigned off = 0;
        for (int k = 0; k < outlets; ++k) {
            const std::string value = values[(static_cast<std::size_t>(k) + turn) % values.size()];
            const std::string pair = pair_for(value, saved >> k & 1U);
            list += (k == 0 ? "" : ";") + value;
            pairs.insert(0, pair);
            off |= pair == "10" ? 1U << k : 0U;
        }
        set("default_status_PX", list);
        expect_boot(saved, std::stoul(pairs, nullptr, 2), off);
    }

    void expect_boot(unsigned saved, unsigned long coils, unsigned off)
    {
        let_i2c_cache_expire();
        forget_calls();
        board().set_controller(1, static_cast<std::uint8_t>(saved));
        ASSERT_EQ(init_io(), 0);
        ASSERT_EQ(debug_print(), "init_io:nSPIVal=" + print("%x", static_cast<unsigned>(coils)) +
                                     ",nHwEE=" + print("%x", saved) + ",nHwLED=" + print("%x", off) + "\n")
            << get("default_status_PX");
        ASSERT_EQ(records().front().substr(4, 2), print("%02X", static_cast<unsigned>(coils) & 0xFFU));
        ASSERT_EQ(recorded(), print("%x", off));
        ASSERT_EQ(controller_record(), off);
    }
};

TEST_F(StartUpValues, AreAppliedOutletByOutletOnEightOutletBoards)
{
    try_all(8);
}

TEST_F(StartUpValues, AreAppliedOutletByOutletOnFourOutletBoards)
{
    use_model(5, latching);
    try_all(4);
}

TEST_F(StartUpValues, ThatAreMissingTurnOutletsOff)
{
    set("default_status_PX", "1;1");
    init_io();
    EXPECT_EQ(recorded(), "fc");
}

TEST_F(StartUpValues, BeyondTheOutletsOfTheBoardAreIgnored)
{
    use_model(1, latching);
    board().set_controller(1, 0xF0);
    set("default_status_PX", "2;2;2;2;0;0;2;2");
    init_io();
    EXPECT_EQ(recorded(), "0");
    EXPECT_EQ(controller_record(), 0x00);
}

TEST_F(StartUpValues, OfTheGpioModelLeaveLinesAloneUnlessZeroOrOne)
{
    use_model(10, ordinary);
    set("default_status_PX", "1;1;1;1;1;1;1;1");
    set("default_status_PX1", "1;0;2;3;-1;7;1;0");
    init_io();
    EXPECT_EQ(board().gpio_outputs(0), 1U << 22 | 1U << 23 | 1U << 27 | 1U << 28);
    EXPECT_EQ(board().gpio_levels(0), 0xFFFFFFF7U & ~(1U << 22 | 1U << 27));
}

TEST_F(StartUpValues, OfTheGpioModelThatAreEmptyOrMissingTurnOutletsOff)
{
    use_model(10, ordinary);
    set("default_status_PX1", "1;;1");
    init_io();
    EXPECT_EQ(board().gpio_outputs(0), 0x3FC00000U);
    EXPECT_TRUE(board().contact(0) && board().contact(2));
    EXPECT_FALSE(board().contact(1) || board().contact(3) || board().contact(7));
}

TEST_F(StartUpValues, OfTheGpioModelRecordNothing)
{
    use_model(10, ordinary);
    had_recorded(0x5A);
    set("default_status_PX1", "0;0;0;0;0;0;0;0");
    init_io();
    EXPECT_EQ(recorded(), "5a");
    EXPECT_EQ(controller_record(), 0x5A);
    EXPECT_EQ(calls("ioctl /dev/i2cM0"), Calls{});
}

// --- what can go wrong ---

TEST_F(StartUp, WithoutTheDriverChangesNothing)
{
    for (const int model : {2, 4, 8}) {
        use_model(model, latching);
        had_recorded(0x02);
        remove_driver();
        EXPECT_EQ(init_io(), -1);
        EXPECT_EQ(calls(), story({identify_board, read_strap, read_controller, open_chain}));
        EXPECT_EQ(debug_print(), driver_missing);
        let_i2c_cache_expire();
    }
}

TEST_F(StartUp, TakesDescriptorZeroForAMissingDriverAndClosesIt)
{
    open_returns("/dev/spiS0", 0);
    EXPECT_EQ(init_io(), -1);
    EXPECT_EQ(debug_print(), driver_missing);
    EXPECT_EQ(calls(), story({identify_board, read_strap, read_controller, open_chain, close_chain}));
}

TEST_F(StartUp, OfTheGpioModelNeedsNoDriver)
{
    use_model(10, latching);
    remove_driver();
    EXPECT_EQ(init_io(), 0);
}

TEST_F(StartUp, RestoresEverythingOnWhenTheControllerDoesNotAnswer)
{
    set("default_status_PX", "2;2;2;2;2;2;2;2");
    board().set_controller(1, 0xFF);
    fail_ioctl("/dev/i2cM0", 16, EIO);
    EXPECT_EQ(init_io(), 0);
    EXPECT_EQ(recorded(), "0");
}

TEST_F(StartUp, PassesOverRefusedRequests)
{
    fail_ioctl("/dev/spiS0", 6, EIO);
    fail_ioctl("/dev/i2cM0", 17, EIO);
    EXPECT_EQ(standard_error_of([] { EXPECT_EQ(init_io(), 0); }), "");
    EXPECT_EQ(records().size(), 2U);
    EXPECT_EQ(recorded(), "ff");
}

TEST_F(StartUp, WithoutGpioTakesTheRelaysForOrdinaryOnes)
{
    use_model(4, latching);
    fail_open("/dev/gpio", ENOENT);
    set("default_status_PX", "1;1;1;0");
    standard_error_of([] { EXPECT_EQ(init_io(), 0); });
    EXPECT_EQ(records(), Calls{"6 00BF000400"});
}

// --- storing and reading the list ---

class StartUpList : public RelayStory
{
  protected:
    int store(std::array<int, 8> states) { return SetPowerDefaultStatus(states.data()); }

    static std::array<int, 8> read()
    {
        std::array<int, 8> states{-7, -7, -7, -7, -7, -7, -7, -7};
        EXPECT_EQ(GetPowerDefaultStatus(states.data()), 1);
        return states;
    }
};

TEST_F(StartUpList, IsStoredThenCommittedThenTheModelIsAskedFor)
{
    EXPECT_EQ(store({0, 1, 2, 0, 1, 2, 0, 1}), 1);
    EXPECT_EQ(calls(), (Calls{"nvram_bufset 0 default_status_PX=0;1;2;0;1;2;0;1", "nvram_commit 0",
                              "nvram_kget_int IO_number 0"}));
    EXPECT_EQ(flash()["default_status_PX"], "0;1;2;0;1;2;0;1");
    EXPECT_EQ(debug_print(), "");
}

TEST_F(StartUpList, HoldsUpTo31Characters)
{
    EXPECT_EQ(store({100, 200, 300, -40, 500, 600, 700, 800}), 1);
    EXPECT_EQ(get("default_status_PX"), "100;200;300;-40;500;600;700;800");
}

TEST_F(StartUpList, RefusesMoreThan31Characters)
{
    set("default_status_PX", "1;1");
    for (const std::array<int, 8> &states : {std::array{100, 200, 300, 400, 500, 600, 700, 8000},
                                             std::array{INT_MIN, 0, 0, 0, 0, 0, 0, INT_MIN}}) {
        forget_calls();
        EXPECT_EQ(store(states), 1);
        EXPECT_EQ(debug_print(), "SetPowerDefaultStatus error\n");
        EXPECT_EQ(calls(), Calls{});
    }
    EXPECT_EQ(get("default_status_PX"), "1;1");
}

TEST_F(StartUpList, OfNothingIsNotStored)
{
    EXPECT_EQ(SetPowerDefaultStatus(nullptr), 1);
    EXPECT_EQ(calls(), Calls{});
}

TEST_F(StartUpList, IsReadBackAsStored)
{
    store({2, 1, 0, -1, 2, 1, 0, 3});
    EXPECT_EQ(read(), (std::array{2, 1, 0, -1, 2, 1, 0, 3}));
}

TEST_F(StartUpList, IsReadFromTheStoreAndNothingElseHappens)
{
    set("default_status_PX", "1");
    read();
    EXPECT_EQ(calls(), Calls{"nvram_kget_str default_status_PX 32"});
    EXPECT_EQ(get("default_status_PX"), "1");
}

TEST_F(StartUpList, SkipsEmptyFieldsAndLeavesTheRestOfTheStatesAlone)
{
    set("default_status_PX", ";;1;;2;x;");
    EXPECT_EQ(read(), (std::array{1, 2, 0, -7, -7, -7, -7, -7}));
}

TEST_F(StartUpList, ThatIsEmptyLeavesEveryStateAlone)
{
    EXPECT_EQ(read(), (std::array{-7, -7, -7, -7, -7, -7, -7, -7}));
    set("default_status_PX", ";;;;");
    EXPECT_EQ(read(), (std::array{-7, -7, -7, -7, -7, -7, -7, -7}));
}

TEST_F(StartUpList, OfMoreThanEightFieldsGivesTheFirstEight)
{
    set("default_status_PX", "1;0;1;0;1;0;1;0;9;9;9;9");
    std::array<int, 10> states{};
    GetPowerDefaultStatus(states.data());
    EXPECT_EQ(states, (std::array{1, 0, 1, 0, 1, 0, 1, 0, 0, 0}));
}

TEST_F(StartUpList, IsReadUpToIts31stCharacter)
{
    set("default_status_PX", "1000;1000;1000;1000;1000;1000;2345;1000");
    EXPECT_EQ(read(), (std::array{1000, 1000, 1000, 1000, 1000, 1000, 2, -7}));
}

TEST_F(StartUpList, IsNotReadIntoNothing)
{
    EXPECT_EQ(GetPowerDefaultStatus(nullptr), 1);
}

} // namespace
} // namespace plexor::tests
