// SPDX-License-Identifier: Apache-2.0
#include "board/daemon/log_line.h"

#include <algorithm>

namespace plexor::board
{

namespace
{

constexpr std::size_t longest_ident = 64;
constexpr std::string_view date = "Jan  2 03:04:05 ";

std::string_view without_priority(std::string_view line)
{
    const auto end = line.find('>');
    const bool present = line.starts_with('<') && end != std::string_view::npos && end <= sizeof "<191" - 1;
    return present ? line.substr(end + 1) : line;
}

std::string_view without_date(std::string_view line)
{
    const bool present =
        line.size() >= date.size() && line[date.size() - 1] == ' ' && line[9] == ':' && line[12] == ':';
    return present ? line.substr(date.size()) : line;
}

std::string printable(std::string_view text)
{
    std::string result(text);
    while (!result.empty() && (result.back() == '\n' || result.back() == '\0'))
        result.pop_back();
    const auto control = [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; };
    std::replace_if(result.begin(), result.end(), control, '?');
    return result;
}

} // namespace

LogLine parse_log_line(std::string_view datagram)
{
    const std::string_view line = without_date(without_priority(datagram));
    const auto colon = line.find(": ");
    const std::string_view head = line.substr(0, std::min(colon, line.size()));
    if (colon == std::string_view::npos || head.size() > longest_ident ||
        head.find(' ') != std::string_view::npos)
        return {"", printable(line)};
    return {printable(head.substr(0, head.find('['))), printable(line.substr(colon + 2))};
}

} // namespace plexor::board
