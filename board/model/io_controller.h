// SPDX-License-Identifier: Apache-2.0
// The I/O controller at 0x32: a microcontroller that runs the digital outputs DO 1 to 4 by 256 byte
// registers.
//
// Modelled: a mode register's code, with what the other registers hold at that moment, decides what its
// output does from then on; an output told so by its apply register is a plain level. A pulse train is over
// at once, so none is left to go. The registers stay as they were written.
//
// The firmware's own business: the registers without a wire to an output, and what the modes 10, 12, 13 and
// 14 are. The former are memory here, the latter have a number and no more.
#pragma once

#include <array>
#include <string>

#include "board/model/register_file.h"

namespace plexor::board
{

class IoController : public RegisterFile<256>
{
  public:
    static constexpr std::size_t outputs = 4;

    explicit IoController(Timeline &timeline) : timeline_(timeline) { signals_.fill(at_rest); }

    const std::string &signal(std::size_t output) const { return signals_[output]; }
    std::uint32_t pulses(std::size_t output) const { return pulses_[output]; }     // since power-up
    void preset(std::uint8_t reg, std::uint8_t value) { registers_[reg] = value; } // no output follows
    void power_loss();

    void write(std::uint32_t reg, std::span<const std::uint8_t> bytes, std::int32_t pid) override;

  private:
    static constexpr const char *at_rest = "level 1"; // what mode code 0 says

    void react(std::uint32_t reg, std::int32_t pid);
    void run_mode(std::size_t output, std::int32_t pid);
    void apply_level(std::size_t output, std::int32_t pid);
    std::string signal_of(std::size_t output, std::uint8_t code) const;
    std::string objection_to(std::size_t output, std::uint8_t code) const;
    std::uint32_t edges(std::size_t output) const;
    std::uint32_t frequency(std::size_t output) const;
    void object(std::size_t output, std::string why, std::int32_t pid);
    void show(std::size_t output, std::string signal, std::int32_t pid);

    Timeline &timeline_;
    std::array<std::string, outputs> signals_{};
    std::array<std::uint32_t, outputs> pulses_{};
};

} // namespace plexor::board
