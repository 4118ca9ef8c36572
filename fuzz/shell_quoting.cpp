// SPDX-License-Identifier: Apache-2.0
// Any value, quoted as a word or between double quotes, is one word of the command and nothing else.
#include <cstdint>

#include "fuzz/shell_words.h"
#include "support/shell.h"

using namespace plexor;
using namespace plexor::fuzz;

namespace
{

constexpr std::size_t room = 8192; // more than any input grows to

std::string command_with_word(const char *value)
{
    char text[room];
    TextBuilder command(text);
    command.append("tool -x ");
    shell::append_word(command, value);
    command.append(" -y\n");
    expect(!command.full());
    return text;
}

std::string command_with_quoted(const char *value)
{
    char text[room];
    TextBuilder command(text);
    command.append("tool -x \"");
    shell::append_quoted(command, value);
    command.append("\" -y\n");
    expect(!command.full());
    return text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string value(std::string(reinterpret_cast<const char *>(data), size).c_str());
    if (value.size() > 1024)
        return 0;
    const std::vector<std::string> expected{"tool", "-x", value, "-y"};
    if (!value.empty()) // an empty word is left to the command as it is: nothing
        expect(words_of(command_with_word(value.c_str())) == expected);
    expect(words_of(command_with_quoted(value.c_str())) == expected);
    return 0;
}
