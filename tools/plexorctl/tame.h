// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <string_view>

#include "support/text.h"
#include "tools/support/console.h"

namespace plexor::ctl
{

// What somebody put into a file or parameter must not move the cursor of whoever reads it.
inline void print_tame(std::string_view text)
{
    for (const char c : text)
        std::fputc(is_control(c) ? '?' : c, results());
}

} // namespace plexor::ctl
