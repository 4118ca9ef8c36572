// SPDX-License-Identifier: Apache-2.0
// The battery-backed clock at 0xD0: seconds, minutes, hours, day of the week, day, month and year in BCD.
// Bit 6 of the hours means 12-hour mode, with bit 5 for PM; bit 7 of the month is the century, 20 or 21. It
// stands still until it is set, and while its registers hold what is no time.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "board/model/register_file.h"

namespace plexor::board
{

class Ds1337 : public RegisterFile<7>
{
  public:
    using Registers = std::array<std::uint8_t, 7>;

    explicit Ds1337(std::function<std::int64_t()> now);

    std::vector<std::uint8_t> read(std::uint32_t reg, std::uint32_t length) const override;
    void write(std::uint32_t reg, std::span<const std::uint8_t> bytes, std::int32_t pid) override;

    Registers registers() const;
    std::string text() const;        // "2026-03-04 05:06:07", or "no time"
    bool set(std::string_view text); // false: no such time from 2000 to 2199

  private:
    std::int64_t seconds_since_set() const;

    std::function<std::int64_t()> now_;
    std::int64_t set_at_{};
    bool running_{false};
};

} // namespace plexor::board
