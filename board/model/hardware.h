// SPDX-License-Identifier: Apache-2.0
// What differs between the models of the family, seen from the board: what is soldered where.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace plexor::board
{

enum class RelayPath : std::uint8_t { none, chain_one_byte, chain_two_bytes, gpio };
enum class LedPath : std::uint8_t { none, gpio_low, gpio_high, expanders }; // lines 22..25; lines 40, 39; I2C

struct Hardware {
    std::uint32_t code;    // first three bytes of the Ethernet address, 0x00C302
    int index;             // model index 0..11
    std::string_view name; // "VOLTARA 7302"
    int outlets;           // 0, 2, 4 or 8
    RelayPath relays;
    LedPath leds;
    int beeper_line; // 45 or 0
    bool wifi_led;
    bool usb_led;
    bool digital_io; // terminals for DI 1 to 4 and DO 1 to 4
    bool rtc;        // a battery-backed clock
};

// Every model code of the family in ascending model index (the first of two codes of index 1 is 0x00C341),
// then the unknown board, code 0x000000 with index 0.
const std::array<Hardware, 13> &all_hardware();

const Hardware &hardware_by_code(std::uint32_t code); // the unknown board for a code that is not in the table
const Hardware &hardware_by_index(int index);

} // namespace plexor::board
