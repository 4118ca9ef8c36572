// SPDX-License-Identifier: Apache-2.0
// The two bits an outlet that go to the relay shift register.
//
//                    on   off  leave alone
//   latching relay   01   10   00           a pulse on the set or the reset coil
//   ordinary relay   11   10                a level
#pragma once

#include <cstdint>

#include "support/bits.h"

namespace plexor
{

inline constexpr unsigned outlets_per_byte = 4;

enum class Wanted : std::uint8_t { off, on, unchanged };

constexpr Wanted wanted_if(bool on)
{
    return on ? Wanted::on : Wanted::off;
}

// Patterns of all outlets at once: the low byte for outlets 0 to 3, the high byte for 4 to 7.
struct Patterns {
    std::uint16_t coil{};
    std::uint16_t level{};
    unsigned on_mask{};
    unsigned off_mask{};

    constexpr void add(unsigned outlet, Wanted wanted)
    {
        if (wanted == Wanted::unchanged)
            return;
        const bool on = wanted == Wanted::on;
        coil = static_cast<std::uint16_t>(coil | (on ? 0b01U : 0b10U) << 2 * outlet);
        level = static_cast<std::uint16_t>(level | (on ? 0b11U : 0b10U) << 2 * outlet);
        (on ? on_mask : off_mask) |= 1U << outlet;
    }
};

constexpr std::uint8_t low_byte(std::uint16_t word)
{
    return static_cast<std::uint8_t>(word & 0xFFU);
}

constexpr std::uint8_t high_byte(std::uint16_t word)
{
    return static_cast<std::uint8_t>(word >> 8);
}

// Level byte of the four outlets that share a byte with outlet: the others as in off_mask, this one as
// wanted.
constexpr std::uint8_t group_level(unsigned off_mask, unsigned outlet, bool on)
{
    const unsigned group = outlet / outlets_per_byte * outlets_per_byte;
    Patterns levels;
    for (unsigned k = 0; k < outlets_per_byte; ++k)
        levels.add(k, wanted_if(group + k == outlet ? on : !bit_set(off_mask, group + k)));
    return low_byte(levels.level);
}

// The driver's command: one outlet (request 4) or the four outlets of a byte (request 6).
struct RelayCommand {
    std::uint8_t outlet; // request 6: the first outlet that the pattern covers, 0 or 4
    std::uint8_t pattern;
    std::uint8_t switching_off; // request 4: 1 for off; request 6: 0
    std::uint8_t model;
    std::uint8_t latch; // 8 or 0
};
static_assert(sizeof(RelayCommand) == 5);

} // namespace plexor
