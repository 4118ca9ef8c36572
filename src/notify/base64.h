// SPDX-License-Identifier: Apache-2.0
// Base 64 of memory, RFC 4648, section 4.
#pragma once

#include <arpa/inet.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace plexor
{

inline constexpr std::size_t characters_per_line = 76; // of a mail

inline constexpr char base64_alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr std::size_t base64_length(std::size_t bytes)
{
    return (bytes + 2) / 3 * 4;
}

inline unsigned char base64_digit(unsigned bits)
{
    return static_cast<unsigned char>(base64_alphabet[bits & 0x3FU]);
}

// The last group, of one to three bytes; returns the end of the text.
inline unsigned char *encode_last(const unsigned char *in, std::size_t n, unsigned char *out)
{
    const unsigned first = in[0];
    const unsigned second = n > 1 ? in[1] : 0;
    const unsigned third = n > 2 ? in[2] : 0;
    *out++ = base64_digit(first >> 2U);
    *out++ = base64_digit(first << 4U | second >> 4U);
    *out++ = n > 1 ? base64_digit(second << 2U | third >> 6U) : '=';
    *out++ = n > 2 ? base64_digit(third) : '=';
    return out;
}

// Writes base64_length(n) characters and a zero; returns where the zero is. Groups of three bytes are loaded
// as one word with the byte behind them, which is faster than three loads.
inline unsigned char *base64_encode(const unsigned char *in, std::size_t n, unsigned char *out)
{
    for (; n > 3; n -= 3, in += 3, out += 4) {
        std::uint32_t word = 0;
        std::memcpy(&word, in, sizeof word);
        word = ntohl(word);
        out[0] = base64_digit(word >> 26U);
        out[1] = base64_digit(word >> 20U);
        out[2] = base64_digit(word >> 14U);
        out[3] = base64_digit(word >> 8U);
    }
    if (n != 0)
        out = encode_last(in, n, out);
    *out = '\0';
    return out;
}

} // namespace plexor
