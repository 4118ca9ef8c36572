// SPDX-License-Identifier: Apache-2.0
// The appliance's clocks, from the side that sets them. They are the machine's until somebody does; from then
// on they go on by themselves, from where they were.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "board/interpose/clock_page.h"

namespace plexor::board
{

class Clock
{
  public:
    static constexpr int fastest = 1000;
    using Read = std::function<std::int64_t()>; // in nanoseconds

    Clock(); // on the machine's clocks
    Clock(Read machine_monotonic, Read machine_calendar);

    // Lets the appliance's processes have the clocks: they read the file at path. Throws Refusal.
    void publish(const std::string &path);

    std::int64_t monotonic() const;
    std::int64_t calendar() const; // since the epoch
    int rate() const;
    bool driven() const { return timebase_.driven(); }

    void set_calendar(std::int64_t nanoseconds); // the monotonic clock goes on undisturbed
    void set_rate(int rate);                     // 1 to fastest

  private:
    Timebase now() const; // with the rate in force
    void take(const Timebase &timebase);

    Read machine_monotonic_;
    Read machine_calendar_;
    Timebase timebase_{};
    ClockPage *page_{};
};

// "2026-11-21 23:59:50" in the time zone of this process, and back; the latter throws Refusal.
std::string date_text(std::int64_t calendar);
std::int64_t date_in(std::string_view text);

} // namespace plexor::board
