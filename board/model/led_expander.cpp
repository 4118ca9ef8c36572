// SPDX-License-Identifier: Apache-2.0
#include "board/model/led_expander.h"

namespace plexor::board
{

namespace
{

constexpr std::uint32_t led_register = 8;
constexpr std::uint8_t all_dark = 0xFF;

} // namespace

std::uint8_t LedExpander::state() const
{
    unsigned bits = 0;
    for (std::size_t k = 0; k < leds; ++k)
        bits |= leds_[k].on() ? 0U : 1U << k;
    return static_cast<std::uint8_t>(bits);
}

void LedExpander::reset()
{
    set(all_dark, 0);
}

bool LedExpander::has(std::uint32_t reg, std::uint32_t length) const
{
    return reg == led_register && length == 1;
}

std::vector<std::uint8_t> LedExpander::read(std::uint32_t, std::uint32_t) const
{
    return {state()};
}

void LedExpander::write(std::uint32_t, std::span<const std::uint8_t> bytes, std::int32_t pid)
{
    set(bytes.front(), pid);
}

void LedExpander::set(std::uint8_t byte, std::int32_t pid)
{
    for (std::size_t k = 0; k < leds; ++k) {
        const bool chosen = (byte >> (k + leds) & 1) != 0;
        if (chosen)
            leds_[k].set((byte >> k & 1) == 0, pid);
    }
}

} // namespace plexor::board
