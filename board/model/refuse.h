// SPDX-License-Identifier: Apache-2.0
// How every device answers a request that no correct program makes: EINVAL, and an entry in the timeline.
#pragma once

#include <cerrno>
#include <string>
#include <utility>

#include "board/model/device.h"
#include "board/model/timeline.h"

namespace plexor::board
{

inline Reply refuse(Timeline &timeline, const Request &request, std::string subject, std::string detail)
{
    timeline.add(request.pid, "violation", std::move(subject), std::move(detail));
    return {EINVAL, {}};
}

inline Reply refuse_number(Timeline &timeline, const Request &request, std::string subject)
{
    return refuse(timeline, request, std::move(subject), "unknown request " + std::to_string(request.number));
}

} // namespace plexor::board
