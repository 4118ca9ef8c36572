// SPDX-License-Identifier: Apache-2.0
#include "tools/plexorctl/help.h"

#include <cstring>

#include "tools/plexorctl/command.h"
#include "tools/plexorctl/json.h"
#include "tools/plexorctl/names.h"
#include "tools/support/console.h"

namespace plexor::ctl
{
namespace
{

bool is_taken_by(const Option &option, const char *group, const char *name)
{
    for (const Command &command : commands()) {
        if (std::strcmp(command.group, group) == 0 &&
            (name == nullptr || std::strcmp(command.name, name) == 0) &&
            std::strchr(command.options, option.letter) != nullptr)
            return true;
    }
    return false;
}

void print_usage(const char *group, const char *name, const char *arguments)
{
    std::fprintf(results(), "usage: plexorctl [options] %s%s%s%s%s\n", group, *name != '\0' ? " " : "", name,
                 *arguments != '\0' ? " " : "", arguments);
}

void print_row(const Command &command)
{
    char path[64];
    std::snprintf(path, sizeof path, "%s%s%s %s", command.group, *command.name != '\0' ? " " : "",
                  command.name, command.arguments);
    std::fprintf(results(), "  %-26s  %s\n", path, command.summary);
}

void print_option(const Option &option, const char *takers)
{
    char name[32];
    std::snprintf(name, sizeof name, "%s%s%s", option.name, *option.value != '\0' ? " " : "", option.value);
    const bool limited = *takers != '\0';
    std::fprintf(results(), "  -%c, --%-18s  %s%s%s%s\n", option.letter, name, option.summary,
                 limited ? " (" : "", takers, limited ? ")" : "");
}

// The general ones and those that a command of the group takes; for a null group all, with their takers.
void print_options(const char *group, const char *name)
{
    std::fputs("\noptions:\n", results());
    for (const Option &option : options()) {
        if (group == nullptr)
            print_option(option, takers_of(option).text);
        else if (option.general || is_taken_by(option, group, name))
            print_option(option, "");
    }
    std::fputs("\nExit status: 0 done, 1 failed, 2 wrong input; one line on standard error says why.\n",
               results());
}

const char *conventions(Numbers numbers)
{
    switch (numbers) {
    case Numbers::outlets:
        return "\nOutlets are numbered 1 to 8. Numbers are decimal, or hexadecimal after 0x.\n";
    case Numbers::plain:
        return "\nNumbers are decimal, or hexadecimal after 0x.\n";
    case Numbers::none:
        break;
    }
    return "";
}

} // namespace

void help_on_everything()
{
    std::fputs("plexorctl " PLEXOR_VERSION " - command line of a networked power switch\n\n", results());
    print_usage("COMMAND", "", "[arguments]");
    std::fputs(conventions(Numbers::outlets), results());
    const char *group = "";
    for (const Command &command : commands()) {
        if (std::strcmp(command.group, group) != 0)
            std::fputc('\n', results());
        group = command.group;
        print_row(command);
    }
    print_options(nullptr, nullptr);
}

void help_on_group(const char *group)
{
    print_usage(group, "COMMAND", "[arguments]");
    std::fputc('\n', results());
    for (const Command &command : commands()) {
        if (std::strcmp(command.group, group) == 0)
            print_row(command);
    }
    print_options(group, nullptr);
}

void help_on_command(const Command &command)
{
    print_usage(command.group, command.name, command.arguments);
    std::fprintf(results(), "\n%c%s.\n%s%s", command.summary[0] - 'a' + 'A', command.summary + 1,
                 command.details, conventions(command.numbers));
    print_options(command.group, command.name);
}

void help_as_json()
{
    Json json(results());
    json.begin_array("options");
    for (const Option &option : options()) {
        const char letter[] = {option.letter, '\0'};
        json.begin_object();
        json.text("name", option.name);
        json.text("letter", letter);
        json.text("value", *option.value != '\0' ? option.value : nullptr);
        json.flag("general", option.general);
        json.text("summary", option.summary);
        json.end();
    }
    json.end();
    json.begin_array("commands");
    for (const Command &command : commands()) {
        json.begin_object();
        json.text("group", command.group);
        json.text("name", command.name);
        json.text("arguments", command.arguments);
        json.text("options", command.options);
        json.text("summary", command.summary);
        json.text("details", command.details);
        json.end();
    }
}

} // namespace plexor::ctl
