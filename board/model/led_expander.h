// SPDX-License-Identifier: Apache-2.0
// An LED expander at 0x34 or 0x36: four outlet LEDs behind one register. Bits 4..7 of a byte written choose
// the LEDs that change, bits 0..3 are their states, set = dark.
#pragma once

#include "board/model/i2c_bus.h"
#include "board/model/two_state.h"

namespace plexor::board
{

class LedExpander : public I2cDevice
{
  public:
    static constexpr std::size_t leds = 4;

    explicit LedExpander(std::span<TwoState, leds> its) : leds_(its) {}

    std::uint8_t state() const;
    void reset();

    bool has(std::uint32_t reg, std::uint32_t length) const override;
    std::vector<std::uint8_t> read(std::uint32_t reg, std::uint32_t length) const override;
    void write(std::uint32_t reg, std::span<const std::uint8_t> bytes, std::int32_t pid) override;

  private:
    void set(std::uint8_t byte, std::int32_t pid);

    std::span<TwoState, leds> leds_;
};

} // namespace plexor::board
