// SPDX-License-Identifier: Apache-2.0
// plexorctl: the library's functions as a command line.
//
// main.cpp finds the command in the table of command_table.cpp and runs it; commands_*.cpp hold the commands.
// Bad input is told before anything is done.
#include <cstring>
#include <getopt.h>

#include "tools/plexorctl/command.h"
#include "tools/plexorctl/help.h"
#include "tools/support/console.h"

namespace plexor::ctl
{
namespace
{

struct Line {
    bool json = false;
    bool verbose = false;
    bool watch = false;
    bool help = false;
    bool version = false;
    std::span<char *> words; // what is no option
};

void set_option(Line &line, int letter)
{
    line.json |= letter == 'j';
    line.verbose |= letter == 'v';
    line.watch |= letter == 'w';
    line.help |= letter == 'h';
    line.version |= letter == 'V';
}

// getopt_long's view of the option table.
struct LongOptions {
    option rows[8] = {};
    char letters[8] = {};

    LongOptions()
    {
        std::size_t count = 0;
        for (const Option &known : options()) {
            rows[count] = {known.name, no_argument, nullptr, known.letter};
            letters[count++] = known.letter;
        }
    }
};

// False after a line on standard error.
bool parse_options(int count, char **arguments, Line &line)
{
    const LongOptions known;
    opterr = 0;
    for (int letter = 0;
         (letter = getopt_long(count, arguments, known.letters, known.rows, nullptr)) != -1;) {
        if (letter == '?') {
            // A known letter stands here for a long option that was given a value.
            const bool is_long = optopt == 0 || std::strchr(known.letters, optopt) != nullptr;
            const char short_name[] = {'-', static_cast<char>(optopt), '\0'};
            wrong_input("'%s' is no option; accepted: --json, --verbose, --watch, --help, --version",
                        is_long ? arguments[optind - 1] : short_name);
            return false;
        }
        set_option(line, letter);
    }
    line.words = {arguments + optind, static_cast<std::size_t>(count - optind)};
    return true;
}

// "info, outlet, led, ..." or the names within a group.
struct Names {
    char text[256] = {};

    void add(const char *name)
    {
        const std::size_t used = std::strlen(text);
        std::snprintf(text + used, sizeof text - used, "%s%s", used != 0 ? ", " : "", name);
    }
};

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
        wrong_input("a command is missing; accepted: %s", group_names().text);
        return nullptr;
    }
    const char *group = words[0];
    if (const Command *command = find(group, "")) {
        words = words.subspan(1);
        return command;
    }
    const Names names = names_in(group);
    if (names.text[0] == '\0') {
        wrong_input("unknown command '%s'; accepted: %s", group, group_names().text);
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

int help(const Line &line)
{
    if (line.json) {
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
    if (line.help)
        return help(line);
    if (line.version) {
        std::fprintf(results(), line.json ? "{\"version\":\"%s\"}\n" : "plexorctl %s\n", PLEXOR_VERSION);
        return done;
    }
    const Command *command = take_command(line.words);
    if (command == nullptr)
        return bad_input;
    if (line.words.size() < command->least || line.words.size() > command->most)
        return wrong_count(*command, line.words.size());
    if (line.watch && !command->watches)
        return wrong_input("--watch does not go with this command; accepted: plexorctl --watch sensor");
    hush_library(line.verbose);
    return command->run({line.words, line.json, line.watch});
}

} // namespace
} // namespace plexor::ctl

int main(int count, char **arguments)
{
    plexor::ctl::open_console("plexorctl");
    return plexor::ctl::close_console(plexor::ctl::run(count, arguments));
}
