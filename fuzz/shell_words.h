// SPDX-License-Identifier: Apache-2.0
// The words that a shell makes of a simple command. Whatever would be more than a simple command, or expand
// to something else, ends the process.
#pragma once

#include <cstring>
#include <string>
#include <vector>

#include "fuzz/appliance.h"

namespace plexor::fuzz
{

class ShellWords
{
  public:
    explicit ShellWords(const std::string &command) : rest_(command.c_str())
    {
        while (*rest_ != '\0')
            take();
        end_word();
    }

    const std::vector<std::string> &words() const { return words_; }

  private:
    void take()
    {
        const char c = *rest_++;
        if (c == ' ')
            end_word();
        else if (c == '\n')
            expect(rest_[std::strspn(rest_, " ")] == '\0'); // nothing but the command's own end
        else if (c == '"')
            take_double_quoted();
        else if (c == '\'')
            take_single_quoted();
        else if (c == '\\')
            add(*rest_++);
        else
            add_unquoted(c);
    }

    void take_double_quoted()
    {
        in_word_ = true;
        while (*rest_ != '"') {
            expect(*rest_ != '\0' && *rest_ != '$' && *rest_ != '`');
            if (*rest_ == '\\' && std::strchr("\"\\$`\n", rest_[1]) != nullptr)
                ++rest_;
            add(*rest_++);
        }
        ++rest_;
    }

    void take_single_quoted()
    {
        in_word_ = true;
        while (*rest_ != '\'') {
            expect(*rest_ != '\0');
            add(*rest_++);
        }
        ++rest_;
    }

    void add_unquoted(char c)
    {
        expect(std::strchr("|&;<>()$`*?[~#{}\t", c) == nullptr);
        add(c);
    }

    void add(char c)
    {
        expect(c != '\0');
        in_word_ = true;
        word_ += c;
    }

    void end_word()
    {
        if (in_word_)
            words_.push_back(word_);
        word_.clear();
        in_word_ = false;
    }

    const char *rest_;
    bool in_word_{};
    std::string word_;
    std::vector<std::string> words_;
};

inline std::vector<std::string> words_of(const std::string &command)
{
    return ShellWords(command).words();
}

} // namespace plexor::fuzz
