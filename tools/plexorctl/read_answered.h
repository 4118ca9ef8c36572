// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <array>
#include <span>

#include <plexor/i2c.h>

#include "tools/plexorctl/command.h"

namespace plexor::ctl
{

// Reads up to most_bytes_read bytes past the cache. The library does not tell of a failed transfer, which
// leaves the buffer as it was: false when a byte kept what was put there before, two times.
inline bool read_answered(unsigned device, unsigned reg, std::span<unsigned char> bytes)
{
    std::array<unsigned char, most_bytes_read> again;
    again.fill(0xFF);
    std::fill(bytes.begin(), bytes.end(), static_cast<unsigned char>(0x00));
    const auto length = static_cast<unsigned>(bytes.size());
    I2CRead(device, reg, bytes.data(), length);
    I2CRead(device, reg, again.data(), length);
    for (unsigned i = 0; i < length; ++i) {
        if (bytes[i] == 0x00 && again[i] == 0xFF)
            return false;
    }
    return true;
}

} // namespace plexor::ctl
