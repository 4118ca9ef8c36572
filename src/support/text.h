// SPDX-License-Identifier: Apache-2.0
// Texts in fixed buffers.
#pragma once

#include <cstddef>
#include <cstring>

namespace plexor
{

// Builds a text in a fixed buffer. What does not fit is not appended, and full() tells.
class TextBuilder
{
  public:
    TextBuilder(char *buffer, std::size_t size) : end_(buffer), room_(size - 1) { *end_ = '\0'; }
    template <std::size_t size>
    explicit TextBuilder(char (&buffer)[size]) : TextBuilder(buffer, size)
    {
    }

    void append(const char *text) { append(text, std::strlen(text)); }
    void append(char c) { append(&c, 1); }

    bool full() const { return full_; }

  private:
    void append(const char *text, std::size_t length)
    {
        full_ = full_ || length > room_;
        if (full_)
            return;
        std::memcpy(end_, text, length);
        end_ += length;
        *end_ = '\0';
        room_ -= length;
    }

    char *end_;
    std::size_t room_;
    bool full_{};
};

constexpr bool is_space(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

constexpr bool is_control(char c)
{
    return static_cast<unsigned char>(c) < ' ' || c == '\x7f';
}

constexpr bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

// Copies what fits of a text, or nothing of a null pointer.
template <std::size_t size>
void copy_cut(char (&buffer)[size], const char *text)
{
    const std::size_t length = text == nullptr ? 0 : strnlen(text, size - 1);
    std::memcpy(buffer, text == nullptr ? "" : text, length);
    buffer[length] = '\0';
}

} // namespace plexor
