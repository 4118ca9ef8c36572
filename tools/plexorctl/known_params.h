// SPDX-License-Identifier: Apache-2.0
// The parameters that the product knows.
#pragma once

#include <span>

namespace plexor::ctl
{

struct KnownParam {
    const char *key;     // '#' stands for a number
    const char *meaning; // one line
    int first = 0;       // numbers that '#' takes
    int last = 0;
};

std::span<const KnownParam> known_params();

} // namespace plexor::ctl
