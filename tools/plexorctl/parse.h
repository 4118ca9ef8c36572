// SPDX-License-Identifier: Apache-2.0
// Words of the command line as values. Each gives nothing for a word that is not wholly such a value.
#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>

namespace plexor::ctl
{

// Decimal, or hexadecimal after 0x.
inline std::optional<std::uint32_t> parse_number(std::string_view text, std::uint32_t lowest,
                                                 std::uint32_t highest)
{
    const bool hexadecimal = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    if (hexadecimal)
        text.remove_prefix(2);
    std::uint32_t value = 0;
    const char *end = text.data() + text.size();
    const std::from_chars_result result = std::from_chars(text.data(), end, value, hexadecimal ? 16 : 10);
    if (result.ec != std::errc() || result.ptr != end || value < lowest || value > highest)
        return std::nullopt;
    return value;
}

inline std::optional<bool> parse_switch(std::string_view text)
{
    if (text == "on")
        return true;
    if (text == "off")
        return false;
    return std::nullopt;
}

// Whether a text has so many bytes and none of them is a control character.
inline bool is_line(std::string_view text, std::size_t least, std::size_t most)
{
    for (const char c : text) {
        if (static_cast<unsigned char>(c) < ' ' || c == '\x7f')
            return false;
    }
    return text.size() >= least && text.size() <= most;
}

} // namespace plexor::ctl
