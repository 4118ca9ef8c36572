// SPDX-License-Identifier: Apache-2.0
// The general-purpose lines of the system-on-chip behind /dev/gpio: three banks of 32.
#pragma once

#include <array>
#include <cstdint>

#include "board/model/device.h"
#include "board/model/timeline.h"

namespace plexor::board
{

class Gpio
{
  public:
    explicit Gpio(Timeline &timeline) : timeline_(timeline) {}

    Reply handle(const Request &request);
    void reset(); // as after power-up; the levels given from outside stay

    void set_input(int line, bool high);
    std::uint32_t levels(int group) const { return bank(group).levels(); }
    std::uint32_t outputs(int group) const { return bank(group).outputs; }
    bool driven_low(int line) const; // an output at low level: what lights, sounds and switches

  private:
    struct Bank {
        std::uint32_t outputs{0};
        // High after power-up, so that a line turned into an output does not flash what hangs on it.
        std::uint32_t latch{~0U};
        std::uint32_t outside{~0U}; // every line has a pull-up

        std::uint32_t levels() const { return (latch & outputs) | (outside & ~outputs); }
    };

    const Bank &bank(int group) const;
    void direct(std::size_t group, std::uint32_t mask, bool output, std::int32_t pid);
    void write(std::size_t group, std::uint32_t word, std::int32_t pid);
    void change(std::size_t group, const Bank &next, std::int32_t pid);

    Timeline &timeline_;
    std::array<Bank, 3> banks_{};
};

} // namespace plexor::board
