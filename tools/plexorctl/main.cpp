// SPDX-License-Identifier: Apache-2.0
// plexorctl: the library's functions as a command line.
//
// main.cpp finds the command in the table of command_table.cpp and runs it; commands_*.cpp hold the commands.
// Bad input is told before anything is done.
#include <cstring>
#include <getopt.h>

#include "tools/plexorctl/command.h"
#include "tools/plexorctl/help.h"
#include "tools/plexorctl/names.h"
#include "tools/support/console.h"

namespace plexor::ctl
{
namespace
{

class Line
{
  public:
    void set(int letter, char *value)
    {
        given_[letter] = true;
        values_[letter] = value;
    }
    bool has(char letter) const { return given_[static_cast<unsigned char>(letter)]; }
    char *value(char letter) const { return values_[static_cast<unsigned char>(letter)]; }

    std::span<char *> words; // what is no option

  private:
    bool given_[128] = {}; // by letter
    char *values_[128] = {};
};

// getopt_long's view of the option table.
struct LongOptions {
    option rows[option_count + 1] = {};
    char letters[2 * option_count + 2] = ":"; // which tells a missing value from an unknown option

    LongOptions()
    {
        option *row = rows;
        char *end = letters + 1;
        for (const Option &known : options()) {
            const bool takes_value = *known.value != '\0';
            *row++ = {known.name, takes_value ? required_argument : no_argument, nullptr, known.letter};
            *end++ = known.letter;
            if (takes_value)
                *end++ = ':';
        }
    }
};

Names option_names()
{
    Names names;
    for (const Option &option : options()) {
        char name[32];
        std::snprintf(name, sizeof name, "--%s", option.name);
        names.add(name);
    }
    return names;
}

// A known letter stands in optopt for a long option that was given a value, or not given one.
int refuse_option(const LongOptions &known, const char *word, bool lacks_value)
{
    const bool is_long = optopt == 0 || std::strchr(known.letters, optopt) != nullptr;
    const char short_name[] = {'-', static_cast<char>(optopt), '\0'};
    if (lacks_value)
        return wrong_input("'%s' needs a value", word);
    if (optopt >= '0' && optopt <= '9')
        return wrong_input(
            "'%s' is no option, and no value is negative; put -- before a text that starts with a minus sign",
            short_name);
    return wrong_input("'%s' is no option; accepted: %s", is_long ? word : short_name, option_names().text);
}

// False after a line on standard error.
bool parse_options(int count, char **arguments, Line &line)
{
    const LongOptions known;
    opterr = 0;
    for (int letter = 0;
         (letter = getopt_long(count, arguments, known.letters, known.rows, nullptr)) != -1;) {
        if (letter == '?' || letter == ':') {
            refuse_option(known, arguments[optind - 1], letter == ':');
            return false;
        }
        line.set(letter, optarg);
    }
    line.words = {arguments + optind, static_cast<std::size_t>(count - optind)};
    return true;
}

Names group_names()
{
    Names names;
    const char *last = "";
    for (const Command &command : commands()) {
        if (std::strcmp(command.group, last) != 0)
            names.add(command.group);
        last = command.group;
    }
    return names;
}

Names names_in(const char *group)
{
    Names names;
    for (const Command &command : commands()) {
        if (std::strcmp(command.group, group) == 0)
            names.add(command.name);
    }
    return names;
}

const Command *find(const char *group, const char *name)
{
    for (const Command &command : commands()) {
        if (std::strcmp(command.group, group) == 0 && std::strcmp(command.name, name) == 0)
            return &command;
    }
    return nullptr;
}

// The command that the words start with, its own words taken off; null after a line on standard error.
const Command *take_command(std::span<char *> &words)
{
    if (words.empty()) {
        wrong_input("a command is missing; accepted: %s; see plexorctl --help", group_names().text);
        return nullptr;
    }
    const char *group = words[0];
    if (const Command *command = find(group, "")) {
        words = words.subspan(1);
        return command;
    }
    const Names names = names_in(group);
    if (names.text[0] == '\0') {
        wrong_input("unknown command '%s'; accepted: %s; see plexorctl --help", group, group_names().text);
        return nullptr;
    }
    if (words.size() == 1) {
        wrong_input("%s needs another word; accepted: %s", group, names.text);
        return nullptr;
    }
    const Command *command = find(group, words[1]);
    if (command == nullptr)
        wrong_input("unknown command '%s %s'; accepted after %s: %s", group, words[1], group, names.text);
    words = words.subspan(2);
    return command;
}

int wrong_count(const Command &command, std::size_t given)
{
    return wrong_input("%zu argument%s given; accepted: plexorctl %s%s%s%s%s", given, given == 1 ? "" : "s",
                       command.group, *command.name != '\0' ? " " : "", command.name,
                       *command.arguments != '\0' ? " " : "", command.arguments);
}

// done, or bad_input after a line on standard error.
int check_options(const Line &line, const Command &command)
{
    for (const Option &option : options()) {
        if (line.has(option.letter) && !option.general &&
            std::strchr(command.options, option.letter) == nullptr)
            return wrong_input("--%s does not go with this command; accepted with: %s", option.name,
                               takers_of(option).text);
    }
    return done;
}

Context context_of(const Line &line)
{
    return {.arguments = line.words,
            .json = line.has('j'),
            .watch = line.has('w'),
            .direct = line.has('d'),
            .snapshot = line.has('p'),
            .on_first = line.has('o'),
            .yes = line.has('y'),
            .up = line.has('u'),
            .down = line.has('D'),
            .source = line.value('s'),
            .to = line.value('t'),
            .subject = line.value('S'),
            .body = line.value('b'),
            .address = line.value('a'),
            .netmask = line.value('m'),
            .gateway = line.value('g'),
            .dns = line.value('n')};
}

int help(const Line &line)
{
    if (line.has('j')) {
        help_as_json();
        return done;
    }
    if (line.words.empty()) {
        help_on_everything();
        return done;
    }
    if (line.words.size() == 1 && find(line.words[0], "") == nullptr &&
        names_in(line.words[0]).text[0] != '\0') {
        help_on_group(line.words[0]);
        return done;
    }
    std::span<char *> words = line.words;
    const Command *command = take_command(words);
    if (command == nullptr)
        return bad_input;
    help_on_command(*command);
    return done;
}

int run(int count, char **arguments)
{
    Line line;
    if (!parse_options(count, arguments, line))
        return bad_input;
    if (line.has('h'))
        return help(line);
    if (line.has('V')) {
        std::fprintf(results(), line.has('j') ? "{\"version\":\"%s\"}\n" : "plexorctl %s\n", PLEXOR_VERSION);
        return done;
    }
    const Command *command = take_command(line.words);
    if (command == nullptr)
        return bad_input;
    if (line.words.size() < command->least || line.words.size() > command->most)
        return wrong_count(*command, line.words.size());
    if (const int status = check_options(line, *command); status != done)
        return status;
    hush_library(line.has('v'));
    return command->run(context_of(line));
}

} // namespace
} // namespace plexor::ctl

int main(int count, char **arguments)
{
    plexor::ctl::open_console("plexorctl");
    return plexor::ctl::close_console(plexor::ctl::run(count, arguments));
}
