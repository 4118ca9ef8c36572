// SPDX-License-Identifier: Apache-2.0
#include "tools/plexord/signals.h"

#include <algorithm>
#include <csignal>
#include <ctime>
#include <initializer_list>

#include "tools/support/board.h"
#include "tools/support/running_daemon.h"

namespace plexor::ctl
{
namespace
{

constexpr std::int64_t second = 1'000'000'000;

volatile std::sig_atomic_t ended_by;
volatile std::sig_atomic_t asked_for[max_outlets];

void remember(int signal, const siginfo_t &info)
{
    if (signal != arm_signal()) {
        ended_by = signal;
        return;
    }
    const auto index = static_cast<unsigned>(info.si_value.sival_int) - 1;
    if (info.si_code == SI_QUEUE && index < max_outlets)
        asked_for[index] = 1;
}

void handle(int signal, siginfo_t *info, void *)
{
    remember(signal, *info);
}

sigset_t heard_signals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGTERM, SIGINT, arm_signal()})
        sigaddset(&signals, signal);
    return signals;
}

class BlockedSignals
{
  public:
    BlockedSignals() { sigprocmask(SIG_BLOCK, &signals_, &before_); }
    BlockedSignals(const BlockedSignals &) = delete;
    BlockedSignals &operator=(const BlockedSignals &) = delete;
    ~BlockedSignals() { sigprocmask(SIG_SETMASK, &before_, nullptr); }

    // False when the time is up.
    bool take_one(std::int64_t deadline) const
    {
        const std::int64_t left = std::max<std::int64_t>(deadline - monotonic_now(), 0);
        const timespec limit{static_cast<time_t>(left / second), static_cast<long>(left % second)};
        siginfo_t info{};
        const int signal = sigtimedwait(&signals_, &info, &limit);
        if (signal > 0)
            remember(signal, info);
        return signal > 0 || left > 0;
    }

  private:
    sigset_t signals_ = heard_signals();
    sigset_t before_{};
};

void take_requests(void (*arm)(int outlet))
{
    for (unsigned index = 0; index < max_outlets; ++index) {
        if (asked_for[index] == 0)
            continue;
        asked_for[index] = 0;
        arm(static_cast<int>(index) + 1);
    }
}

} // namespace

void listen_to_signals()
{
    struct sigaction action = {};
    action.sa_sigaction = handle;
    action.sa_mask = heard_signals();
    action.sa_flags = SA_SIGINFO | SA_RESTART;
    for (const int signal : {SIGTERM, SIGINT, arm_signal()})
        sigaction(signal, &action, nullptr);
    const sigset_t signals = heard_signals();
    sigprocmask(SIG_UNBLOCK, &signals, nullptr); // whoever started plexord may have blocked them
}

int ending_signal()
{
    return ended_by;
}

void wait_until(std::int64_t deadline, void (*arm)(int outlet))
{
    const BlockedSignals blocked;
    do
        take_requests(arm);
    while (ended_by == 0 && blocked.take_one(deadline));
}

std::int64_t monotonic_now()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * second + now.tv_nsec;
}

} // namespace plexor::ctl
