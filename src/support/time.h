// SPDX-License-Identifier: Apache-2.0
// The monotonic clock in the 32-bit form that the appliance's processes share, and the local calendar.
#pragma once

#include <cstdint>
#include <ctime>

namespace plexor
{

struct MonotonicTime {
    std::int32_t seconds;
    std::int32_t nanoseconds;
};
static_assert(sizeof(MonotonicTime) == 8);

inline MonotonicTime monotonic_time()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return {static_cast<std::int32_t>(now.tv_sec), static_cast<std::int32_t>(now.tv_nsec)};
}

// Milliseconds that wrap after about 49.7 days.
constexpr std::uint32_t milliseconds(MonotonicTime time)
{
    return static_cast<std::uint32_t>(time.seconds) * 1000U +
           static_cast<std::uint32_t>(time.nanoseconds / 1'000'000);
}

// All zeros for a time that no calendar has. In the time zone that the process has known since it began or
// last called tzset.
inline tm local_time_as_known(time_t time)
{
    tm local{};
    return localtime_r(&time, &local) == nullptr ? tm{} : local;
}

// In the time zone of now, which takes a heap block to find out.
inline tm local_time(time_t time)
{
    tzset();
    return local_time_as_known(time);
}

} // namespace plexor
