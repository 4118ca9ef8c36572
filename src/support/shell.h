// SPDX-License-Identifier: Apache-2.0
// Values on their way into a shell command. Plain ones stand there as they are, which is what the programs at
// the other end and the people who read the logs are used to; others are escaped so far that the shell takes
// them for one argument and nothing more.
#pragma once

#include <cstring>

#include "support/text.h"

namespace plexor
{

namespace shell
{

inline void append_char(TextBuilder &command, char c)
{
    const char text[] = {c, '\0'};
    command.append(text);
}

// A value between double quotes that stand in the command already.
inline void append_quoted(TextBuilder &command, const char *value)
{
    for (; *value != '\0'; ++value) {
        if (std::strchr("\"\\$`", *value) != nullptr)
            command.append("\\");
        append_char(command, *value);
    }
}

constexpr bool is_plain(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || is_digit(c) || c == '.' || c == ':' ||
           c == '-' || c == '_' || c == '/' || c == '@' || c == '%' || c == '+' || c == '=' || c == ',' ||
           c == '[' || c == ']';
}

// A value that stands in the command without quotes.
inline void append_word(TextBuilder &command, const char *value)
{
    bool plain = true;
    for (const char *c = value; *c != '\0'; ++c)
        plain = plain && is_plain(*c);
    if (plain) {
        command.append(value);
        return;
    }
    command.append("'");
    for (; *value != '\0'; ++value) {
        if (*value == '\'')
            command.append("'\\''");
        else
            append_char(command, *value);
    }
    command.append("'");
}

} // namespace shell
} // namespace plexor
