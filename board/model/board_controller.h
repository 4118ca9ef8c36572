// SPDX-License-Identifier: Apache-2.0
// The board controller at 0xA0: a plain memory to its users, kept without power.
#pragma once

#include <array>

#include "board/model/i2c_bus.h"

namespace plexor::board
{

class BoardController : public I2cDevice
{
  public:
    bool has(std::uint32_t reg, std::uint32_t length) const override;
    std::vector<std::uint8_t> read(std::uint32_t reg, std::uint32_t length) const override;
    void write(std::uint32_t reg, std::span<const std::uint8_t> bytes, std::int32_t pid) override;

  private:
    std::array<std::uint8_t, 1024> registers_{};
};

} // namespace plexor::board
