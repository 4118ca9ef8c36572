// SPDX-License-Identifier: Apache-2.0
// The outside of the library under a fuzzer: a parameter store in memory, commands that are written down and
// not run, devices that answer nothing, no time that passes.
#pragma once

#include <cstdlib>
#include <map>
#include <string>
#include <vector>

namespace plexor::fuzz
{

inline void expect(bool holds)
{
    if (!holds)
        std::abort();
}

extern std::map<std::string, std::string> parameters;
extern std::vector<std::string> commands; // given to the shell, in order

// What of text fits a parameter's or a field's buffer of this size.
std::string cut(const std::string &text, std::size_t size);

} // namespace plexor::fuzz
