// SPDX-License-Identifier: Apache-2.0
// plexord: boots the board.
#include <cstdlib>
#include <getopt.h>

#include <plexor/model.h>
#include <plexor/relay.h>

#include "nvram.h"
#include "tools/support/board.h"
#include "tools/support/console.h"

namespace plexor::ctl
{
namespace
{

constexpr char help[] =
    "plexord " PLEXOR_VERSION " - boots the board of a networked power switch\n"
    "\n"
    "usage: plexord [-v] --boot\n"
    "\n"
    "  -b, --boot     identify the board, set the parameter IO_number, apply the start-up\n"
    "                 states of its outlets, say what they are, and end\n"
    "  -v, --verbose  show on standard error what the library prints\n"
    "  -h, --help     this text\n"
    "  -V, --version  the version\n"
    "\n"
    "Exit status: 0 done, 1 failed (one line says why), 2 wrong usage.\n";

struct Choice {
    bool boot = false;
    bool verbose = false;
    const char *text = nullptr; // to be printed instead
};

// The boot process is the writer of IO_number, which every other process goes by.
bool set_model(unsigned model)
{
    if (nvram_kget_int("IO_number", 0) == static_cast<int>(model))
        return true;
    char text[12];
    std::snprintf(text, sizeof text, "%u", model);
    if (nvram_bufset(0, "IO_number", text) >= 0)
        return true;
    failure("the parameter store refused IO_number");
    return false;
}

void say_what_was_restored(const Board &board, const States &states)
{
    std::fprintf(results(),
                 "plexord: %s: %u outlets, %s relays, restored:", getModelName(static_cast<int>(board.model)),
                 board.outlets, relay_kind(board));
    for (unsigned index = 0; index < board.outlets; ++index)
        std::fprintf(results(), " %s", on_or_off(states[index]));
    std::fputc('\n', results());
}

int boot()
{
    const std::optional<Board> board = known_board();
    if (!board || !gpio_answers() || !set_model(board->model))
        return failed;
    if (init_io() != 0)
        return failure("the outlets were not set: /dev/spiS0 is missing");
    States states{};
    if (!read_states(*board, states))
        return failed;
    say_what_was_restored(*board, states);
    return done;
}

// False after a line on standard error.
bool parse(int count, char **arguments, Choice &choice)
{
    static const option options[] = {{"boot", no_argument, nullptr, 'b'},
                                     {"verbose", no_argument, nullptr, 'v'},
                                     {"help", no_argument, nullptr, 'h'},
                                     {"version", no_argument, nullptr, 'V'},
                                     {nullptr, 0, nullptr, 0}};
    opterr = 0;
    for (int letter = 0; (letter = getopt_long(count, arguments, "bvhV", options, nullptr)) != -1;) {
        if (letter == 'b')
            choice.boot = true;
        else if (letter == 'v')
            choice.verbose = true;
        else if (letter == 'h')
            choice.text = help;
        else if (letter == 'V')
            choice.text = "plexord " PLEXOR_VERSION "\n";
        else
            return false;
    }
    return optind == count && (choice.boot || choice.text != nullptr);
}

int run(int count, char **arguments)
{
    Choice choice;
    if (!parse(count, arguments, choice))
        return wrong_input("usage: plexord [-v] --boot | --help | --version");
    if (choice.text != nullptr) {
        std::fputs(choice.text, results());
        return done;
    }
    hush_library(choice.verbose);
    return boot();
}

} // namespace
} // namespace plexor::ctl

int main(int count, char **arguments)
{
    plexor::ctl::open_console("plexord");
    return plexor::ctl::close_console(plexor::ctl::run(count, arguments));
}
