// SPDX-License-Identifier: Apache-2.0
// The text of one parameter, and the ";" lists in it.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "nvram.h"

namespace plexor
{

// The longest list has 511 characters; every list is read and built in a buffer of this size.
inline constexpr std::size_t list_size = 512;
using ListBuffer = char[list_size];

// Fetches a parameter into a buffer, ended whatever the store does.
template <std::size_t size>
void fetch(const char *key, char (&buffer)[size])
{
    nvram_kget_str(key, buffer, static_cast<int>(size));
    buffer[size - 1] = '\0';
}

// Builds a text in a fixed buffer. What does not fit is not appended, and full() tells.
class TextBuilder
{
  public:
    TextBuilder(char *buffer, std::size_t size) : end_(buffer), room_(size - 1) { *end_ = '\0'; }
    template <std::size_t size>
    explicit TextBuilder(char (&buffer)[size]) : TextBuilder(buffer, size)
    {
    }

    void append(const char *text)
    {
        const std::size_t length = std::strlen(text);
        full_ = full_ || length > room_;
        if (full_)
            return;
        std::memcpy(end_, text, length + 1);
        end_ += length;
        room_ -= length;
    }

    bool full() const { return full_; }

  private:
    char *end_;
    std::size_t room_;
    bool full_{};
};

constexpr bool is_space(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

constexpr bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

constexpr bool ends_field(char c)
{
    return c == ';' || c == '\0';
}

// Reads the field at text as atoi does and moves text to the ";" or the end behind it. Fields of up to nine
// plain digits are read here; signs, blanks, junk and what may overflow are left to the C library.
inline int take_int(const char *&text)
{
    constexpr int safe_digits = 9;
    const char *const field = text;
    unsigned value = 0;
    for (; is_digit(*text); ++text)
        value = value * 10 + static_cast<unsigned>(*text - '0');
    const bool plain = ends_field(*text) && text - field <= safe_digits;
    while (!ends_field(*text))
        ++text;
    return plain ? static_cast<int>(value) : std::atoi(field);
}

} // namespace plexor
