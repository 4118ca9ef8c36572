// SPDX-License-Identifier: Apache-2.0
// plexor-board: a virtual board for the processes of one appliance.
#include <fcntl.h>
#include <strings.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <string_view>

#include "board/daemon/appliance.h"
#include "board/daemon/memory.h"
#include "board/daemon/refusal.h"
#include "board/daemon/server.h"
#include "board/interpose/wire.h"

namespace
{

using namespace plexor::board;

struct Options {
    std::string model{"00C302"};
    std::string serial{"010203"};
    bool latching{};
    bool background{};
};

std::string code_of(const Hardware &hardware)
{
    char text[9];
    std::snprintf(text, sizeof text, "%06X", hardware.code);
    return text;
}

const Hardware &hardware_named(const std::string &model)
{
    std::string codes;
    for (const Hardware &hardware : all_hardware()) {
        if (strcasecmp(code_of(hardware).c_str(), model.c_str()) == 0)
            return hardware;
        codes += " " + code_of(hardware);
    }
    throw Refusal("no model " + model + "; there are" + codes);
}

std::uint32_t serial_in(const std::string &text)
{
    std::uint32_t serial = 0;
    const char *end = text.data() + text.size();
    if (text.size() != 6 || std::from_chars(text.data(), end, serial, 16).ptr != end)
        throw Refusal("a serial number has six hexadecimal digits");
    return serial;
}

// The rest of the program runs in a child; who started it sees the end of the parent as "ready".
void go_to_background(const std::string &folder)
{
    const pid_t child = fork();
    if (child < 0)
        throw Refusal("cannot start in the background", false);
    if (child > 0)
        _exit(EXIT_SUCCESS);
    setsid();
    const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
    const int log = open((folder + "/board.log").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    dup2(nothing, STDIN_FILENO);
    dup2(nothing, STDOUT_FILENO);
    dup2(log >= 0 ? log : nothing, STDERR_FILENO);
}

// With a store of its own, closed before the board may go to the background: LMDB does not cross a fork.
void equip_store(const Appliance &running)
{
    Store store;
    Appliance appliance{running.board, store, running.clock, {}, running.serial};
    if (!equip(appliance))
        throw Refusal("the parameter store in " + Store::default_directory() + " cannot be written", false);
}

void serve(const Options &options)
{
    const Hardware &hardware = hardware_named(options.model);
    // A power loss removes shared memory by fixed keys, and the system log is taken over.
    const char *appliance_kind = std::getenv("PLEXOR_APPLIANCE");
    if (appliance_kind == nullptr || std::string_view(appliance_kind) != "board")
        throw Refusal("the board needs an appliance of its own around it; start it through plexor-run",
                      false);
    Clock clock;
    Board board(hardware, options.latching,
                [&clock, start = clock.monotonic()] { return clock.monotonic() - start; });
    Store store;
    Appliance appliance{board, store, clock, forget_memory, serial_in(options.serial)};
    const std::string folder = board_folder();
    Server server(appliance, folder); // first: the store may be that of a board that already runs
    clock.publish(clock_file());
    equip_store(appliance);
    if (options.background)
        go_to_background(folder);
    server.run();
}

int fail(const char *text, bool usage)
{
    std::fprintf(stderr, "plexor-board: %s\n", text);
    return usage ? 2 : 1;
}

int run(int argc, char **argv)
{
    Options options;
    CLI::App app("A virtual power switch board for the processes of one appliance.", "plexor-board");
    app.add_option("--model", options.model, "first six digits of the Ethernet address")
        ->capture_default_str();
    app.add_option("--serial", options.serial, "last six digits of the Ethernet address")
        ->capture_default_str();
    app.add_flag("--latching", options.latching, "latching relays (default: ordinary ones)");
    app.add_flag("--background", options.background, "return as soon as the board answers");
    try {
        app.parse(argc, argv);
        serve(options);
        return EXIT_SUCCESS;
    } catch (const CLI::Success &help) {
        return app.exit(help);
    } catch (const CLI::Error &error) {
        return fail((std::string(error.what()) + "; see plexor-board --help").c_str(), true);
    } catch (const Refusal &refusal) {
        return fail(refusal.what(), refusal.usage());
    }
}

} // namespace

int main(int argc, char **argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "plexor-board: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
