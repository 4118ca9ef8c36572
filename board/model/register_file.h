// SPDX-License-Identifier: Apache-2.0
// A chip on the I2C bus whose byte registers are all readable; a transfer goes on with the next register.
#pragma once

#include <array>

#include "board/model/i2c_bus.h"

namespace plexor::board
{

template <std::size_t count>
class RegisterFile : public I2cDevice
{
  public:
    bool has(std::uint32_t reg, std::uint32_t length) const override
    {
        return reg < count && length <= count - reg;
    }
    std::vector<std::uint8_t> read(std::uint32_t reg, std::uint32_t length) const override
    {
        const auto bytes = std::span(registers_).subspan(reg, length);
        return {bytes.begin(), bytes.end()};
    }

  protected:
    std::array<std::uint8_t, count> registers_{};
};

} // namespace plexor::board
