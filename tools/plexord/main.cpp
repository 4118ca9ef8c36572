// SPDX-License-Identifier: Apache-2.0
// plexord: boots the board, and does what has to be done every second.
#include <cstdlib>
#include <getopt.h>

#include <plexor/model.h>
#include <plexor/relay.h>

#include "nvram.h"
#include "tools/plexord/daemon.h"
#include "tools/plexord/pid_file.h"
#include "tools/support/board.h"
#include "tools/support/console.h"

namespace plexor::ctl
{
namespace
{

constexpr char help[] =
    "plexord " PLEXOR_VERSION " - boots the board of a networked power switch and keeps its time\n"
    "\n"
    "usage: plexord [-v] --boot\n"
    "       plexord [-v] [--no-boot] [--foreground]\n"
    "\n"
    "Booting is to identify the board, to set the parameter IO_number, to apply the start-up\n"
    "states of its outlets and to say what they are. Without --boot, plexord then goes to the\n"
    "background, and once a second ends power cycles, ends off delays, and carries out the\n"
    "actions of a dry contact that has changed; those take seconds, and a further change is\n"
    "seen when they are done. A contact that was never sampled has not changed: boards without\n"
    "one have none to see. It returns when cycles can be asked for.\n"
    "\n"
    "  -b, --boot        boot, and end\n"
    "  -n, --no-boot     the board is booted already\n"
    "  -f, --foreground  stay in the foreground\n"
    "  -v, --verbose     show on standard error what the library prints; in the background\n"
    "                    until plexord is ready\n"
    "  -h, --help        this text\n"
    "  -V, --version     the version\n"
    "\n"
    "The daemon's number is in /var/run/plexord.pid, and a second daemon is refused; --boot boots\n"
    "all the same. SIGTERM and SIGINT end it after the tick, and the actions, that are running. A\n"
    "SIGRTMIN that is queued with 1 to 8 arms the off delay of that outlet, as plexorctl\n"
    "off-delay does. When the record of cycles has been busy for 30 ticks, half a minute, the\n"
    "daemon takes its writer for dead and gives up the running cycles.\n"
    "\n"
    "Exit status: 0 done, 1 failed (one line says why), 2 wrong usage.\n";

struct Choice {
    bool boot = false;
    bool no_boot = false;
    bool foreground = false;
    bool verbose = false;
    const char *text = nullptr; // to be printed instead

    bool is_sound() const { return !boot || (!no_boot && !foreground); }
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

// Boots only once it is known that no other plexord runs: booting moves relays.
int serve(const Choice &choice)
{
    std::optional<PidFile> file = PidFile::take();
    if (!file)
        return failed;
    const int status = choice.no_boot ? (booted_board() ? done : failed) : boot();
    if (status != done)
        return status;
    return choice.foreground ? serve_in_foreground(*file) : serve_in_background(*file);
}

void take(Choice &choice, int letter)
{
    choice.boot |= letter == 'b';
    choice.no_boot |= letter == 'n';
    choice.foreground |= letter == 'f';
    choice.verbose |= letter == 'v';
    if (letter == 'h')
        choice.text = help;
    if (letter == 'V')
        choice.text = "plexord " PLEXOR_VERSION "\n";
}

bool parse(int count, char **arguments, Choice &choice)
{
    static const option options[] = {{"boot", no_argument, nullptr, 'b'},
                                     {"no-boot", no_argument, nullptr, 'n'},
                                     {"foreground", no_argument, nullptr, 'f'},
                                     {"verbose", no_argument, nullptr, 'v'},
                                     {"help", no_argument, nullptr, 'h'},
                                     {"version", no_argument, nullptr, 'V'},
                                     {nullptr, 0, nullptr, 0}};
    opterr = 0;
    for (int letter = 0; (letter = getopt_long(count, arguments, "bnfvhV", options, nullptr)) != -1;) {
        if (letter == '?')
            return false;
        take(choice, letter);
    }
    return optind == count && choice.is_sound();
}

int run(int count, char **arguments)
{
    Choice choice;
    if (!parse(count, arguments, choice))
        return wrong_input(
            "usage: plexord [-v] --boot | [-v] [--no-boot] [--foreground] | --help | --version");
    if (choice.text != nullptr) {
        std::fputs(choice.text, results());
        return done;
    }
    hush_library(choice.verbose);
    return choice.boot ? boot() : serve(choice);
}

} // namespace
} // namespace plexor::ctl

int main(int count, char **arguments)
{
    plexor::ctl::open_console("plexord");
    return plexor::ctl::close_console(plexor::ctl::run(count, arguments));
}
