// SPDX-License-Identifier: Apache-2.0
// Everything that happened on the board, in order, with times; bounded, oldest first to go.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>

namespace plexor::board
{

struct Event {
    std::uint64_t sequence{}; // 1, 2, ...
    std::int64_t time{};      // nanoseconds of the board's clock
    std::int32_t pid{};       // the process that caused it, 0 for the outside world
    std::string kind{};    // "relay", "led", "beeper", "gpio", "i2c", "input", "output", "sensor", "power",
                           // "clock", "fault", "violation", "log"
    std::string subject{}; // "outlet 3", "line 45", "0xA0", "DO 1", ...
    std::string detail{};  // "closed", "lit", "write 1: 0F", ...
};

class Timeline
{
  public:
    static constexpr std::size_t capacity = 100'000;
    using Listener = std::function<void(const Event &)>;

    explicit Timeline(std::function<std::int64_t()> now);

    void add(std::int32_t pid, std::string kind, std::string subject, std::string detail);
    const std::deque<Event> &events() const { return events_; }
    void listen(Listener listener); // called with each event added from now on; an empty function ends it
    void clear();

  private:
    std::function<std::int64_t()> now_;
    std::deque<Event> events_{};
    Listener listener_{};
    std::uint64_t next_{1};
};

// "12.345678901 [431] relay outlet 3: closed"
std::string to_text(const Event &event);
// {"sequence":1,"time":12.345678901,"pid":431,"kind":"relay","subject":"outlet 3","detail":"closed"}
std::string to_json(const Event &event);

} // namespace plexor::board
