// SPDX-License-Identifier: Apache-2.0
// The clocks of an appliance: a file in the board's folder that plexor-board writes and every process of the
// appliance maps. A page of zeros, or none, means that they are the machine's.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>

namespace plexor::board
{

// In nanoseconds: what the appliance's clocks say at one moment of the machine's monotonic clock, and how
// they go on from there.
struct Timebase {
    std::int64_t machine{};
    std::int64_t monotonic{};
    std::int64_t calendar{};
    std::int64_t rate{}; // as many times as fast as the machine's; 0: the clocks are not driven

    bool driven() const { return rate != 0; }
    std::int64_t monotonic_at(std::int64_t now) const { return monotonic + (now - machine) * rate; }
    std::int64_t calendar_at(std::int64_t now) const { return calendar + (now - machine) * rate; }

    // How long the machine takes for so much of the appliance's time, rounded up.
    std::int64_t machine_span(std::int64_t span) const { return span / rate + (span % rate > 0 ? 1 : 0); }
};

// Two timebases, of which the count of changes tells the one in force. The other one is written, so a reader
// never waits, not even for a writer that was killed.
class ClockPage
{
  public:
    Timebase read() const
    {
        while (true) {
            const std::uint32_t count = changes_.load(std::memory_order_acquire);
            const Timebase timebase = slots_[count % slots_.size()].load();
            std::atomic_thread_fence(std::memory_order_acquire);
            if (changes_.load(std::memory_order_relaxed) == count)
                return timebase;
        }
    }

    // By one writer. Who sleeps on changes() is to be woken then.
    void write(const Timebase &timebase)
    {
        const std::uint32_t count = changes_.load(std::memory_order_relaxed) + 1;
        std::atomic_thread_fence(std::memory_order_release);
        slots_[count % slots_.size()].store(timebase);
        changes_.store(count, std::memory_order_release);
    }

    const std::atomic<std::uint32_t> &changes() const { return changes_; }

  private:
    struct Slot {
        Timebase load() const
        {
            constexpr auto order = std::memory_order_relaxed;
            return {machine.load(order), monotonic.load(order), calendar.load(order), rate.load(order)};
        }
        void store(const Timebase &timebase)
        {
            constexpr auto order = std::memory_order_relaxed;
            machine.store(timebase.machine, order);
            monotonic.store(timebase.monotonic, order);
            calendar.store(timebase.calendar, order);
            rate.store(timebase.rate, order);
        }

        std::atomic<std::int64_t> machine{};
        std::atomic<std::int64_t> monotonic{};
        std::atomic<std::int64_t> calendar{};
        std::atomic<std::int64_t> rate{};
    };

    std::atomic<std::uint32_t> changes_{};
    std::array<Slot, 2> slots_{};
};
static_assert(std::atomic<std::int64_t>::is_always_lock_free); // it works between processes
static_assert(std::is_standard_layout_v<ClockPage> && sizeof(ClockPage) == 8 + 2 * 32);

// The file's mapping, or null; it is never undone. A writer's file is made when there is none.
const ClockPage *map_clock(const std::string &path);
ClockPage *map_clock_to_write(const std::string &path);

} // namespace plexor::board
