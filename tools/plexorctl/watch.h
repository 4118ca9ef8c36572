// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <csignal>
#include <cstdio>
#include <ctime>
#include <unistd.h>

#include "tools/plexorctl/command.h"
#include "tools/support/console.h"

namespace plexor::ctl
{

// SIGINT and SIGTERM, which from here on wait until somebody looks.
inline sigset_t hold_interruptions()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

// False when one came.
inline bool sleep_uninterrupted(const sigset_t &interruptions)
{
    const timespec second{1, 0};
    return sigtimedwait(&interruptions, nullptr, &second) < 0;
}

// Moves a terminal's cursor back over lines that were printed; elsewhere an empty line parts what was
// printed from what will be.
inline void start_over(const Context &context, int lines)
{
    if (context.json)
        return;
    if (isatty(fileno(results())) != 0)
        std::fprintf(results(), "\033[%dA\033[J", lines);
    else
        std::fputc('\n', results());
}

// Calls show once, or with --watch every second until SIGINT or SIGTERM. Show returns how many lines it
// printed, or -1 after a line on standard error.
template <typename Show>
int show_or_watch(const Context &context, Show show)
{
    if (!context.watch)
        return show() < 0 ? failed : done;
    const sigset_t interruptions = hold_interruptions();
    for (;;) {
        const int lines = show();
        if (lines < 0)
            return failed;
        if (std::fflush(results()) != 0 || !sleep_uninterrupted(interruptions))
            return done; // a result that cannot be written is told at the end
        start_over(context, lines);
    }
}

} // namespace plexor::ctl
