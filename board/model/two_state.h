// SPDX-License-Identifier: Apache-2.0
// A contact, an LED, a beeper: two states that the outside world sees; each change is an event.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "board/model/timeline.h"

namespace plexor::board
{

class TwoState
{
  public:
    struct Words {
        const char *on;
        const char *off;
    };

    TwoState(Timeline &timeline, std::string kind, std::string subject, Words words);

    void set(bool on, std::int32_t pid);
    bool on() const { return on_; }

  private:
    Timeline *timeline_;
    std::string kind_;
    std::string subject_;
    Words words_;
    bool on_{false};
};

std::string outlet_name(std::size_t outlet); // "outlet 1" for outlet 0

} // namespace plexor::board
