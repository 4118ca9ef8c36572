// SPDX-License-Identifier: Apache-2.0
// A line as the C library's syslog sends it: "<14>Jan  2 03:04:05 ident[431]: text".
#pragma once

#include <string>
#include <string_view>

namespace plexor::board
{

struct LogLine {
    std::string ident{};
    std::string text{};
};

// Whatever the datagram holds, there is a line: without an ident the whole of it is text. Control characters
// are replaced, for the line ends up in terminals.
LogLine parse_log_line(std::string_view datagram);

} // namespace plexor::board
