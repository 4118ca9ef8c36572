// SPDX-License-Identifier: Apache-2.0
#include "board/model/two_state.h"

#include <utility>

namespace plexor::board
{

TwoState::TwoState(Timeline &timeline, std::string kind, std::string subject, Words words)
    : timeline_(&timeline), kind_(std::move(kind)), subject_(std::move(subject)), words_(words)
{
}

void TwoState::set(bool on, std::int32_t pid)
{
    if (on == on_)
        return;
    on_ = on;
    timeline_->add(pid, kind_, subject_, on ? words_.on : words_.off);
}

std::string outlet_name(std::size_t outlet)
{
    return "outlet " + std::to_string(outlet + 1);
}

} // namespace plexor::board
