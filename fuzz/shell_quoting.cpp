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

using Quoting = void (*)(TextBuilder &command, const char *value);

void between_double_quotes(TextBuilder &command, const char *value)
{
    command.append('"');
    shell::append_quoted(command, value);
    command.append('"');
}

std::vector<std::string> words_with(const std::string &value, Quoting append)
{
    char text[room];
    TextBuilder command(text);
    command.append("tool -x ");
    append(command, value.c_str());
    command.append(" -y\n");
    expect(!command.full());
    return words_of(text);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string value(std::string(reinterpret_cast<const char *>(data), size).c_str());
    if (value.size() > 1024)
        return 0;
    const std::vector<std::string> expected{"tool", "-x", value, "-y"};
    if (!value.empty()) // an empty word is left to the command as it is: nothing
        expect(words_with(value, shell::append_word) == expected);
    expect(words_with(value, between_double_quotes) == expected);
    return 0;
}
