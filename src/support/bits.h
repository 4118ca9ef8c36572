// SPDX-License-Identifier: Apache-2.0
// Bits of masks and GPIO banks.
#pragma once

namespace plexor
{

inline constexpr unsigned lines_per_bank = 32;

constexpr bool bit_set(unsigned word, unsigned bit)
{
    return (word >> bit & 1U) != 0;
}

constexpr unsigned with_bit(unsigned word, unsigned bit, bool set)
{
    return set ? word | 1U << bit : word & ~(1U << bit);
}

} // namespace plexor
