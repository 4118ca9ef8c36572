// SPDX-License-Identifier: Apache-2.0
// What other processes ask of plexord: to end, or to arm off delays.
//
// Signals are blocked only while plexord waits for them. What a tick starts, such as a mail client or the
// network monitor, inherits the mask, and with SIGTERM blocked nobody could end it.
#pragma once

#include <cstdint>

namespace plexor::ctl
{

void listen_to_signals();

int ending_signal(); // 0: plexord is to go on

// Waits until a moment of the monotonic clock, in nanoseconds. Calls arm for each outlet, as people count,
// that somebody asks for; ends early when plexord is to end.
void wait_until(std::int64_t deadline, void (*arm)(int outlet));

std::int64_t monotonic_now();

} // namespace plexor::ctl
