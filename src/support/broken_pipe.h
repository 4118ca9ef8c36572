// SPDX-License-Identifier: Apache-2.0
// A program that the library writes to may end before it has read everything. Its caller is not to die of
// that: SIGPIPE is held back from this thread, and taken off it if it came.
#pragma once

#include <csignal>
#include <ctime>

namespace plexor
{

class BrokenPipeHeld
{
  public:
    BrokenPipeHeld()
    {
        sigemptyset(&signal_);
        sigaddset(&signal_, SIGPIPE);
        was_pending_ = is_pending();
        pthread_sigmask(SIG_BLOCK, &signal_, &before_);
    }
    BrokenPipeHeld(const BrokenPipeHeld &) = delete;
    BrokenPipeHeld &operator=(const BrokenPipeHeld &) = delete;
    ~BrokenPipeHeld()
    {
        constexpr timespec at_once{};
        if (!was_pending_ && is_pending())
            sigtimedwait(&signal_, nullptr, &at_once);
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }

  private:
    static bool is_pending()
    {
        sigset_t pending;
        sigpending(&pending);
        return sigismember(&pending, SIGPIPE) == 1;
    }

    sigset_t signal_{};
    sigset_t before_{};
    bool was_pending_{};
};

} // namespace plexor
