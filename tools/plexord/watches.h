// SPDX-License-Identifier: Apache-2.0
// What plexord keeps an eye on from tick to tick.
#pragma once

#include <optional>
#include <sys/types.h>

namespace plexor::ctl
{

// The dry contact, on whatever model: one without it has no samples of it, and nothing is seen. Its actions
// take seconds, so they run in a child, one at a time; what changes meanwhile is seen when that has ended.
class DryContactWatch
{
  public:
    // In the child, let_go is called before the actions.
    explicit DryContactWatch(void (*let_go)()) : let_go_(let_go) {}

    void look();
    void wait_for_action();

  private:
    bool is_acting();
    bool act(bool opened);

    void (*let_go_)();
    std::optional<bool> open_; // as far as it was acted on
    pid_t child_ = 0;
};

// A record of cycles that stays busy: its writer was killed, and no cycle would ever end.
class BusyWatch
{
  public:
    bool finds_dead_writer(); // once a tick

  private:
    int ticks_ = 0;
};

} // namespace plexor::ctl
