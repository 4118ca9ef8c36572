// SPDX-License-Identifier: Apache-2.0
// The record of cycles, looked at without leaving a trace: the library's own readers create the segment, and
// take the notification away from those who wait for it.
#pragma once

#include <plexor/cycle.h>

namespace plexor::ctl
{

// 0 with a copy of the record, or an errno: ENOENT when there never was a cycle or a tick. A copy is
// busy when somebody wrote before or after it was taken; then it can hold parts of two states. So can one that
// is not busy, if a writer came and went while it was taken.
int read_cycles(plexor_cycles &copy);

struct OutletCycle {
    bool runs;
    bool off_first;
    int seconds;
    int remaining;
    struct {
        int hour, minute, second;
    } started;

    // Not from the list of elapsed seconds, where other numbers stand for a second when a cycle has ended.
    long long elapsed() const { return static_cast<long long>(seconds) - remaining; }
};

OutletCycle cycle_of(const plexor_cycles &record, unsigned index);

} // namespace plexor::ctl
