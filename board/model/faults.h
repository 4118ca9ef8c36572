// SPDX-License-Identifier: Apache-2.0
// What can be broken on purpose, by name.
#pragma once

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "board/model/device.h"
#include "board/model/timeline.h"

namespace plexor::board
{

class Faults
{
  public:
    explicit Faults(Timeline &timeline) : timeline_(timeline) {}

    static const std::vector<std::string> &names();
    bool set(std::string_view name, bool on); // false: no such fault
    bool on(std::string_view name) const { return active_.contains(name); }

    // 0, or the errno that the faults in force give.
    int open_error(Device device) const;
    int request_error(Device device) const;

  private:
    Timeline &timeline_;
    std::set<std::string, std::less<>> active_{};
};

} // namespace plexor::board
