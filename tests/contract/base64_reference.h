// SPDX-License-Identifier: Apache-2.0
// Base 64 as RFC 4648 tells it, slowly: a row of bits, cut into sixes.
#pragma once

#include <bitset>
#include <string>

namespace plexor::tests
{

inline std::string base64(const std::string &bytes)
{
    const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string bits;
    for (const char byte : bytes)
        bits += std::bitset<8>(static_cast<unsigned char>(byte)).to_string();
    while (bits.size() % 6 != 0)
        bits += '0';
    std::string text;
    for (std::size_t i = 0; i < bits.size(); i += 6)
        text += alphabet[std::stoul(bits.substr(i, 6), nullptr, 2)];
    while (text.size() % 4 != 0)
        text += '=';
    return text;
}

// In lines of 76 characters, each ended by CR LF.
inline std::string base64_lines(const std::string &bytes)
{
    const std::string text = base64(bytes);
    std::string lines;
    for (std::size_t i = 0; i < text.size(); i += 76)
        lines += text.substr(i, 76) + "\r\n";
    return lines;
}

// Bytes of all values, the same each time.
inline std::string some_bytes(std::size_t count)
{
    std::string bytes;
    unsigned state = 12345;
    for (; bytes.size() < count; state = state * 1103515245 + 12345)
        bytes += static_cast<char>(state >> 16U);
    return bytes;
}

} // namespace plexor::tests
