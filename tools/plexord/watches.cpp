// SPDX-License-Identifier: Apache-2.0
#include "tools/plexord/watches.h"

#include <cerrno>
#include <sys/wait.h>
#include <unistd.h>

#include <plexor/dio.h>
#include <plexor/dry_contact.h>

#include "nvram.h"
#include "tools/support/cycles.h"

namespace plexor::ctl
{
namespace
{

// Nothing before the first sample: the library would take that for an open contact.
std::optional<bool> contact_is_open()
{
    const char *sample = nvram_bufget(0, "sIICDi");
    if (sample == nullptr || *sample == '\0')
        return std::nullopt;
    return GetIICDi() != 0;
}

} // namespace

void DryContactWatch::look()
{
    if (is_acting())
        return;
    const std::optional<bool> open = contact_is_open();
    if (!open || open == open_)
        return;
    if (!open_ || act(*open))
        open_ = open;
}

bool DryContactWatch::is_acting()
{
    if (child_ != 0 && waitpid(child_, nullptr, WNOHANG) != 0)
        child_ = 0;
    return child_ != 0;
}

// False when there is no process to be had; the next tick tries again.
bool DryContactWatch::act(bool opened)
{
    const pid_t child = fork();
    if (child == 0) {
        let_go_();
        dry_action(opened ? 1 : 0);
        _exit(0);
    }
    child_ = child > 0 ? child : 0;
    return child > 0;
}

void DryContactWatch::wait_for_action()
{
    while (child_ != 0 && waitpid(child_, nullptr, 0) < 0 && errno == EINTR) {
    }
}

bool BusyWatch::finds_dead_writer()
{
    // A writer holds the word while it switches an outlet, which with a trap and a mail can take seconds.
    constexpr int most_ticks = 30;
    plexor_cycles record;
    ticks_ = read_cycles(record) == 0 && record.busy == 1 ? ticks_ + 1 : 0;
    if (ticks_ < most_ticks)
        return false;
    ticks_ = 0;
    return true;
}

} // namespace plexor::ctl
