// SPDX-License-Identifier: Apache-2.0
#include "tools/plexorctl/help.h"

#include <cstring>

#include "tools/plexorctl/command.h"
#include "tools/plexorctl/json.h"
#include "tools/support/console.h"

namespace plexor::ctl
{
namespace
{

void print_usage(const char *group, const char *name, const char *arguments)
{
    std::fprintf(results(), "usage: plexorctl [options] %s%s%s%s%s\n\n", group, *name != '\0' ? " " : "",
                 name, *arguments != '\0' ? " " : "", arguments);
}

void print_row(const Command &command)
{
    char path[64];
    std::snprintf(path, sizeof path, "%s%s%s %s", command.group, *command.name != '\0' ? " " : "",
                  command.name, command.arguments);
    std::fprintf(results(), "  %-26s  %s\n", path, command.summary);
}

void print_options()
{
    std::fputs("\noptions:\n", results());
    for (const Option &option : options())
        std::fprintf(results(), "  -%c, --%-18s  %s\n", option.letter, option.name, option.summary);
    std::fputs("\nExit status: 0 done, 1 failed, 2 wrong input; one line on standard error says why.\n",
               results());
}

void print_conventions()
{
    std::fputs("Outlets are numbered 1 to 8. Numbers are decimal, or hexadecimal after 0x.\n", results());
}

} // namespace

void help_on_everything()
{
    std::fputs("plexorctl " PLEXOR_VERSION " - command line of a networked power switch\n\n", results());
    print_usage("COMMAND", "", "[arguments]");
    print_conventions();
    const char *group = "";
    for (const Command &command : commands()) {
        if (std::strcmp(command.group, group) != 0)
            std::fputc('\n', results());
        group = command.group;
        print_row(command);
    }
    print_options();
}

void help_on_group(const char *group)
{
    print_usage(group, "COMMAND", "[arguments]");
    for (const Command &command : commands()) {
        if (std::strcmp(command.group, group) == 0)
            print_row(command);
    }
    print_options();
}

void help_on_command(const Command &command)
{
    print_usage(command.group, command.name, command.arguments);
    std::fprintf(results(), "%c%s.\n%s", command.summary[0] - 'a' + 'A', command.summary + 1,
                 command.details);
    print_conventions();
    print_options();
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
        json.text("summary", command.summary);
        json.text("details", command.details);
        json.end();
    }
}

} // namespace plexor::ctl
