// SPDX-License-Identifier: Apache-2.0
// Small files read character by character, and the number that one holds.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>

#include "support/text.h"

namespace plexor
{

// The characters of a file one by one, without the heap that a stdio stream would take.
class Characters
{
  public:
    explicit Characters(int fd) : fd_(fd) { advance(); }

    bool at_end() const { return length_ <= 0; }
    char current() const { return at_end() ? '\0' : buffer_[position_]; }
    void advance()
    {
        if (++position_ < length_)
            return;
        do
            length_ = read(fd_, buffer_, sizeof buffer_);
        while (length_ < 0 && errno == EINTR);
        position_ = 0;
    }

  private:
    int fd_;
    char buffer_[64];
    ssize_t length_{};
    ssize_t position_{};
};

// The number at the front of text as scanf's %d takes it, or fallback where there is none.
inline int scan_int(Characters &text, int fallback)
{
    char number[24] = {}; // longer than any number that fits a long; what is beyond overflows all the same
    std::size_t length = 0;
    if (text.current() == '-' || text.current() == '+') {
        number[length++] = text.current();
        text.advance();
    }
    if (!is_digit(text.current()))
        return fallback;
    while (text.current() == '0')
        text.advance();
    for (; is_digit(text.current()); text.advance()) {
        if (length + 1 < sizeof number)
            number[length++] = text.current();
    }
    return static_cast<int>(strtol(number, nullptr, 10));
}

inline void skip_spaces(Characters &text)
{
    while (is_space(text.current()))
        text.advance();
}

// As scanf's %d; 0 where there is no number.
inline int first_number(int fd)
{
    Characters text(fd);
    skip_spaces(text);
    return scan_int(text, 0);
}

} // namespace plexor
