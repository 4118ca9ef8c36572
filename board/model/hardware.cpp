// SPDX-License-Identifier: Apache-2.0
#include "board/model/hardware.h"

#include <algorithm>

namespace plexor::board
{

namespace
{

constexpr auto one_byte = RelayPath::chain_one_byte;
constexpr auto two_bytes = RelayPath::chain_two_bytes;
constexpr auto low = LedPath::gpio_low;
constexpr auto high = LedPath::gpio_high;
constexpr auto expanders = LedPath::expanders;

// clang-format off
constexpr std::array<Hardware, 13> table{{
    // code  index  name            outlets  relays           leds       beeper  wifi   usb    I/O    clock
    {0x00C341, 1, "VOLTARA 7341",   4, one_byte,        low,           45, true,  false, false, false},
    {0x00C340, 1, "VOLTARA 7341",   4, one_byte,        low,           45, true,  false, false, false},
    {0x00C302, 2, "VOLTARA 7302",   8, two_bytes,       expanders,     45, true,  true,  false, true},
    {0x00C317, 3, "VOLTARA 7302S",  8, two_bytes,       expanders,     45, false, false, false, true},
    {0x00C335, 4, "VOLTARA 7335",   4, one_byte,        low,           0,  false, false, false, true},
    {0x00C318, 5, "VOLTARA 7318A",  4, one_byte,        low,           0,  false, false, true,  true},
    {0x00C319, 6, "VOLTARA 7318B",  4, one_byte,        low,           0,  false, false, false, true},
    {0x00C306, 7, "VOLTARA 7306",   4, one_byte,        low,           0,  false, false, false, true},
    {0x00C309, 8, "VOLTARA 7309",   2, one_byte,        high,          0,  false, false, false, true},
    {0x00C324, 9, "VOLTARA 7324",   2, one_byte,        high,          0,  false, false, false, true},
    {0x00C347, 10, "VOLTARA 7347",  8, RelayPath::gpio, LedPath::none, 0,  true,  false, false, false},
    {0x00C352, 11, "VOLTARA 7352",  8, two_bytes,       expanders,     45, true,  true,  false, true},
    {0x000000, 0, "VOLTARA",        0, RelayPath::none, LedPath::none, 0,  false, false, false, true},
}};
// clang-format on

template <typename Predicate>
const Hardware &first_or_unknown(Predicate predicate)
{
    const auto found = std::find_if(table.begin(), table.end(), predicate);
    return found == table.end() ? table.back() : *found;
}

} // namespace

const std::array<Hardware, 13> &all_hardware()
{
    return table;
}

const Hardware &hardware_by_code(std::uint32_t code)
{
    return first_or_unknown([code](const Hardware &hardware) { return hardware.code == code; });
}

const Hardware &hardware_by_index(int index)
{
    return first_or_unknown([index](const Hardware &hardware) { return hardware.index == index; });
}

} // namespace plexor::board
