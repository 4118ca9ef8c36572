// SPDX-License-Identifier: Apache-2.0
#include <set>

#include "tests/board/test_board.h"

namespace plexor::tests
{

namespace
{

using board::LedPath;
using board::RelayPath;

TEST(Hardware, ListsTwelveCodesInAscendingIndexThenTheUnknownBoard)
{
    std::vector<int> indices;
    std::set<std::uint32_t> codes;
    for (const board::Hardware &hardware : board::all_hardware()) {
        indices.push_back(hardware.index);
        codes.insert(hardware.code);
    }
    EXPECT_EQ(indices, (std::vector<int>{1, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 0}));
    EXPECT_EQ(codes.size(), 13U);
}

TEST(Hardware, TwoCodesNameTheSameModel)
{
    EXPECT_EQ(board::hardware_by_code(0x00C341).index, 1);
    EXPECT_EQ(board::hardware_by_code(0x00C340).index, 1);
    EXPECT_EQ(board::hardware_by_index(1).code, 0x00C341U);
}

TEST(Hardware, EachCodeHasItsIndexNameAndOutlets)
{
    struct Row {
        std::uint32_t code;
        int index;
        const char *name;
        int outlets;
    };
    const Row rows[] = {
        {0x00C341, 1, "VOLTARA 7341", 4},  {0x00C340, 1, "VOLTARA 7341", 4},
        {0x00C302, 2, "VOLTARA 7302", 8},  {0x00C317, 3, "VOLTARA 7302S", 8},
        {0x00C335, 4, "VOLTARA 7335", 4},  {0x00C318, 5, "VOLTARA 7318A", 4},
        {0x00C319, 6, "VOLTARA 7318B", 4}, {0x00C306, 7, "VOLTARA 7306", 4},
        {0x00C309, 8, "VOLTARA 7309", 2},  {0x00C324, 9, "VOLTARA 7324", 2},
        {0x00C347, 10, "VOLTARA 7347", 8}, {0x00C352, 11, "VOLTARA 7352", 8},
    };
    for (const Row &row : rows) {
        const board::Hardware &hardware = board::hardware_by_code(row.code);
        EXPECT_EQ(hardware.code, row.code);
        EXPECT_EQ(hardware.index, row.index) << row.name;
        EXPECT_EQ(hardware.name, row.name);
        EXPECT_EQ(hardware.outlets, row.outlets) << row.name;
    }
}

TEST(Hardware, EachIndexHasItsWiring)
{
    struct Row {
        int index;
        int beeper;
        RelayPath relays;
        LedPath leds;
        bool wifi, usb;
    };
    const Row rows[] = {
        {0, 0, RelayPath::none, LedPath::none, false, false},
        {1, 45, RelayPath::chain_one_byte, LedPath::gpio_low, true, false},
        {2, 45, RelayPath::chain_two_bytes, LedPath::expanders, true, true},
        {3, 45, RelayPath::chain_two_bytes, LedPath::expanders, false, false},
        {4, 0, RelayPath::chain_one_byte, LedPath::gpio_low, false, false},
        {5, 0, RelayPath::chain_one_byte, LedPath::gpio_low, false, false},
        {6, 0, RelayPath::chain_one_byte, LedPath::gpio_low, false, false},
        {7, 0, RelayPath::chain_one_byte, LedPath::gpio_low, false, false},
        {8, 0, RelayPath::chain_one_byte, LedPath::gpio_high, false, false},
        {9, 0, RelayPath::chain_one_byte, LedPath::gpio_high, false, false},
        {10, 0, RelayPath::gpio, LedPath::none, true, false},
        {11, 45, RelayPath::chain_two_bytes, LedPath::expanders, true, true},
    };
    for (const Row &row : rows) {
        const board::Hardware &hardware = board::hardware_by_index(row.index);
        EXPECT_EQ(hardware.index, row.index);
        EXPECT_EQ(hardware.relays, row.relays) << row.index;
        EXPECT_EQ(hardware.leds, row.leds) << row.index;
        EXPECT_EQ(hardware.beeper_line, row.beeper) << row.index;
        EXPECT_EQ(hardware.wifi_led, row.wifi) << row.index;
        EXPECT_EQ(hardware.usb_led, row.usb) << row.index;
    }
}

TEST(Hardware, OneModelHasTerminalsForDigitalInputsAndOutputs)
{
    for (const board::Hardware &hardware : board::all_hardware()) {
        EXPECT_EQ(hardware.digital_io, hardware.index == 5) << hardware.name;
    }
}

TEST(Hardware, TwoModelsHaveNoClock)
{
    for (const board::Hardware &hardware : board::all_hardware()) {
        EXPECT_EQ(hardware.rtc, hardware.index != 1 && hardware.index != 10) << hardware.name;
    }
}

TEST(Hardware, AnythingElseIsTheUnknownBoard)
{
    EXPECT_EQ(board::hardware_by_code(0x00C399).index, 0);
    EXPECT_EQ(board::hardware_by_index(12).name, "VOLTARA");
    EXPECT_EQ(board::hardware_by_index(-1).outlets, 0);
}

} // namespace

} // namespace plexor::tests
