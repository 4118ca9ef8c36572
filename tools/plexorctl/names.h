// SPDX-License-Identifier: Apache-2.0
// Names of the command language in a row, as messages and help show them.
#pragma once

#include <cstdio>
#include <cstring>

#include "tools/plexorctl/command.h"

namespace plexor::ctl
{

// "info, outlet, led, ..." or the names within a group.
struct Names {
    char text[256] = {};

    void add(const char *name, const char *more = "")
    {
        const std::size_t used = std::strlen(text);
        std::snprintf(text + used, sizeof text - used, "%s%s%s%s", used != 0 ? ", " : "", name,
                      *more != '\0' ? " " : "", more);
    }
};

// The commands that list an option, as in "outlet on, outlet off"; no names for a general one.
inline Names takers_of(const Option &option)
{
    Names names;
    for (const Command &command : commands()) {
        if (std::strchr(command.options, option.letter) != nullptr)
            names.add(command.group, command.name);
    }
    return names;
}

} // namespace plexor::ctl
