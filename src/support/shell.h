// SPDX-License-Identifier: Apache-2.0
// Values on their way into a shell command. Plain ones stand there as they are, which is what the programs at
// the other end and the people who read the logs are used to; others are escaped so far that the shell takes
// them for one argument and nothing more.
#pragma once

#include <algorithm>
#include <cstring>

#include "support/text.h"

namespace plexor
{

namespace shell
{

// A value between double quotes that stand in the command already.
inline void append_quoted(TextBuilder &command, const char *value)
{
    for (; *value != '\0'; ++value) {
        if (std::strchr("\"\\$`", *value) != nullptr)
            command.append('\\');
        command.append(*value);
    }
}

// Whether a shell could take it for more than itself: separators, quotes, expansions, patterns, comments.
inline bool is_special(char c)
{
    return std::strchr(" \t\n\"'\\$`;&|<>()*?[#~{}", c) != nullptr;
}

// A value that stands in the command without quotes; an empty one is no argument.
inline void append_word(TextBuilder &command, const char *value)
{
    if (std::none_of(value, value + std::strlen(value), is_special)) {
        command.append(value);
        return;
    }
    command.append('\'');
    for (; *value != '\0'; ++value) {
        if (*value == '\'')
            command.append("'\\''");
        else
            command.append(*value);
    }
    command.append('\'');
}

} // namespace shell
} // namespace plexor
