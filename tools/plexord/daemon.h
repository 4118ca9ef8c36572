// SPDX-License-Identifier: Apache-2.0
// plexord's life after the boot: one tick a second until a signal ends it.
#pragma once

#include <cstdint>

#include "tools/plexord/pid_file.h"

namespace plexor::ctl
{

// The moment of the next tick, in nanoseconds. Seconds that were missed whole are left out, not made up for;
// the one that has begun gets its tick at once, as after a tick that found the record of cycles busy.
constexpr std::int64_t next_tick(std::int64_t last, std::int64_t now)
{
    constexpr std::int64_t second = 1'000'000'000;
    const std::int64_t passed = (now - last) / second;
    return last + (passed > 1 ? passed : 1) * second;
}
static_assert(next_tick(5'000'000'000, 5'000'000'000) == 6'000'000'000);
static_assert(next_tick(5'000'000'000, 5'999'999'999) == 6'000'000'000);
static_assert(next_tick(5'000'000'000, 6'000'000'001) == 6'000'000'000);
static_assert(next_tick(5'000'000'000, 8'300'000'000) == 8'000'000'000);

// Each returns plexord's exit status.
int serve_in_foreground(PidFile &file);
int serve_in_background(PidFile &file); // returns in the parent as well, when the child is ready

} // namespace plexor::ctl
