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

// All zeros for a time that no calendar has.
inline tm local_time(time_t time)
{
    tm local{};
    tzset(); // the time zone may have been changed since this process began
    return localtime_r(&time, &local) == nullptr ? tm{} : local;
}

} // namespace plexor
