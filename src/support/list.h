// SPDX-License-Identifier: Apache-2.0
// The text of one parameter, and the ";" lists in it.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "nvram.h"
#include "support/text.h"

namespace plexor
{

// The longest list has 511 characters. Lists that are known to be shorter have smaller buffers.
inline constexpr std::size_t list_size = 512;
using ListBuffer = char[list_size];

// Fetches a parameter into a buffer, ended whatever the store does.
template <std::size_t size>
void fetch(const char *key, char (&buffer)[size])
{
    nvram_kget_str(key, buffer, static_cast<int>(size));
    buffer[size - 1] = '\0';
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

// The n-th field from 1 that is not empty, in a list that is cut up for it; null when there are fewer.
inline char *nth_filled_field(char *list, unsigned n)
{
    char *rest = nullptr;
    char *field = strtok_r(list, ";", &rest);
    while (field != nullptr && --n != 0)
        field = strtok_r(nullptr, ";", &rest);
    return field;
}

} // namespace plexor
