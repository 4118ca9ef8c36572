// SPDX-License-Identifier: Apache-2.0
// MD5 as RFC 1321 tells it, slowly: the message padded as a whole, the constants from their sines.
#pragma once

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <string>

namespace plexor::tests
{

using Md5Words = std::array<std::uint32_t, 4>;

// The low bytes of a number, the lowest first.
inline std::string low_bytes(std::uint64_t number, int count)
{
    std::string bytes;
    for (; count > 0; --count, number >>= 8U)
        bytes += static_cast<char>(number);
    return bytes;
}

inline std::string md5_padded(std::string message)
{
    const std::uint64_t bits = message.size() * 8;
    message += '\x80';
    while (message.size() % 64 != 56)
        message += '\0';
    return message + low_bytes(bits, 8);
}

inline std::uint32_t md5_mixed(unsigned round, std::uint32_t x, std::uint32_t y, std::uint32_t z)
{
    switch (round) {
    case 0:
        return (x & y) | (~x & z);
    case 1:
        return (x & z) | (y & ~z);
    case 2:
        return x ^ y ^ z;
    default:
        return y ^ (x | ~z);
    }
}

inline std::uint32_t md5_word(const std::string &bytes, std::size_t at)
{
    std::uint32_t word = 0;
    for (std::size_t i = 4; i > 0; --i)
        word = word << 8U | static_cast<unsigned char>(bytes.at(at + i - 1));
    return word;
}

// The words after one more block, which starts at a byte of the message.
inline Md5Words md5_after_block(const Md5Words &before, const std::string &message, std::size_t at)
{
    constexpr unsigned factors[4] = {1, 5, 3, 7};
    constexpr unsigned firsts[4] = {0, 1, 5, 0};
    constexpr int shifts[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};
    auto [a, b, c, d] = before;
    for (unsigned i = 0; i < 64; ++i) {
        const unsigned round = i / 16;
        const auto sine = static_cast<std::uint32_t>(std::floor(std::fabs(std::sin(i + 1.0)) * 4294967296.0));
        const std::uint32_t word = md5_word(message, at + (factors[round] * i + firsts[round]) % 16 * 4);
        const std::uint32_t sum = a + md5_mixed(round, b, c, d) + word + sine;
        a = d;
        d = c;
        c = b;
        b += std::rotl(sum, shifts[round][i % 4]);
    }
    return {before[0] + a, before[1] + b, before[2] + c, before[3] + d};
}

// The words after the message's whole blocks.
inline Md5Words md5_words(const std::string &message)
{
    Md5Words words = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476};
    for (std::size_t at = 0; at + 64 <= message.size(); at += 64)
        words = md5_after_block(words, message, at);
    return words;
}

// The digest's 16 bytes.
inline std::string md5(const std::string &message)
{
    std::string digest;
    for (const std::uint32_t word : md5_words(md5_padded(message)))
        digest += low_bytes(word, 4);
    return digest;
}

} // namespace plexor::tests
