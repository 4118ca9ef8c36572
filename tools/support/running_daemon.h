// SPDX-License-Identifier: Apache-2.0
// How other programs find plexord, and what they ask of it.
#pragma once

#include <csignal>
#include <optional>

namespace plexor::ctl
{

constexpr const char *daemon_name = "plexord";
constexpr const char *daemon_pid_path = "/var/run/plexord.pid";

// Queued to plexord with an outlet as people count: arm its off delay.
inline int arm_signal()
{
    return SIGRTMIN;
}

// The process in the pid file, if it is a plexord: another one that has its number now would die of a signal.
std::optional<int> running_daemon();

} // namespace plexor::ctl
