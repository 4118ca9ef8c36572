// SPDX-License-Identifier: Apache-2.0
// boardctl: looks at a virtual board and does to it what the world outside does to a real one.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <nlohmann/json.hpp>
#include <string>

#include "board/daemon/control_client.h"
#include "board/daemon/panel_text.h"
#include "board/daemon/refusal.h"
#include "board/interpose/wire.h"
#include "board/model/timeline.h"

namespace
{

using namespace plexor::board;
using nlohmann::json;

constexpr const char *keys_to_set = R"(Keys and values; N and raw values are decimal, or hexadecimal after 0x:
  line.N               high or low: what the outside gives to GPIO line 0 to 95
  di.N                 active or idle: digital input 1 to 4
  controller.N         0 to 255: register 0 to 1023 of the board controller
  schedule.N           35 characters: the board controller's copy of schedule 0 to 4
  schedule.Nt          31 characters: the copy of its companion record
  login, password      up to 32 characters: the copies of the administrator's
  iocontroller.N       0 to 255: register 0 to 255 of the I/O controller; no output follows
  eeprom.N             0 to 255: byte 0 to 65535 of the EEPROM
  scan                 bytes such as 40,4E: answers of the next bus scans
  current.N            0 to 255: raw reading of the current of outlet 1 to 8
  temperature          0 to 255: raw reading of the board's temperature
  voltage              0 to 255: raw reading of the supply voltage
  drycontact           open or closed
  meter                0 to 1000: amperes of the external meter, with tenths
  ambient.humidity     0 to 100: per cent, external sensor, with tenths
  ambient.temperature  -100 to 200: degrees Celsius, external sensor, with tenths
  power-loss-at-write  N of 0 to 1000000: the Nth I2C write from now on finds the power gone; 0 never
  clock                local date and time such as "2026-11-21 23:59:50": the appliance's calendar
  clock-rate           1 to 1000: how many times as fast as real time the appliance's clocks run
  rtc                  date and time such as "2026-11-21 23:59:50", in UTC: the battery-backed clock
  param.KEY            any text: the parameter store

The appliance's programs read these clocks and sleep by them, from the moment on and in the midst of a sleep.
Timers, alarms, poll and select, and the times of files go by the machine's time.

What a sensor is given goes into the parameter store at once, as the appliance's sampling process leaves it
there, while the board has power. One that was given nothing is not sampled.)";

constexpr const char *keys_to_get = R"(Keys besides those of set, but for scan:
  do.N      what digital output 1 to 4 gives: level 1, pulse train 5, 4660 Hz, PWM 5/50, off, ...
  contacts  on or off for each outlet
  leds      lit or dark for each outlet
  offmask   the outlets' states as the parameter store has them
  power, beeper, model)";

struct Options {
    std::string socket{};
    bool as_json{};
    bool follow{};
    std::uint64_t since{};
    std::string name{}; // of a fault, or a key
    std::string value{};
};

bool colours_wanted()
{
    const char *no_color = std::getenv("NO_COLOR");
    return isatty(STDOUT_FILENO) != 0 && (no_color == nullptr || *no_color == '\0');
}

std::string compact(const json &object)
{
    return object.dump(-1, ' ', false, json::error_handler_t::replace);
}

void show(const Options &options)
{
    const json board = ControlClient(options.socket).ask({{"command", "show"}}).at("board");
    if (options.as_json)
        std::cout << board.dump(2, ' ', false, json::error_handler_t::replace) << "\n";
    else
        std::cout << draw_panel(board, colours_wanted());
}

void print_event(const Options &options, const json &object)
{
    Event event;
    event.sequence = object.at("sequence").get<std::uint64_t>();
    event.time = std::llround(object.at("time").get<double>() * 1e9);
    event.pid = object.at("pid").get<std::int32_t>();
    event.kind = object.at("kind").get<std::string>();
    event.subject = object.at("subject").get<std::string>();
    event.detail = object.at("detail").get<std::string>();
    std::cout << (options.as_json ? to_json(event) : to_text(event)) << "\n";
}

void events(const Options &options)
{
    ControlClient board(options.socket);
    std::uint64_t since = options.since;
    json page;
    do {
        page = board.ask({{"command", "events"}, {"since", since}, {"follow", options.follow}});
        for (const json &event : page.at("events")) {
            print_event(options, event);
            since = event.at("sequence").get<std::uint64_t>();
        }
    } while (page.at("more").get<bool>());
    std::cout << std::flush;
    while (options.follow) {
        print_event(options, board.next().at("event"));
        std::cout << std::flush;
    }
}

void tell(const Options &options, const json &request)
{
    ControlClient(options.socket).ask(request);
}

void fault(const Options &options)
{
    if (!options.name.empty())
        return tell(options, {{"command", "fault"}, {"name", options.name}, {"on", options.value == "on"}});
    const json faults = ControlClient(options.socket).ask({{"command", "faults"}}).at("faults");
    if (options.as_json)
        std::cout << compact(faults) << "\n";
    else
        for (const auto &[name, on] : faults.items())
            std::cout << name << (on.get<bool>() ? " on\n" : " off\n");
}

void get(const Options &options)
{
    const json reply = ControlClient(options.socket).ask({{"command", "get"}, {"key", options.name}});
    std::cout << reply.at("value").get<std::string>() << "\n";
}

void set(const Options &options)
{
    tell(options, {{"command", "set"}, {"key", options.name}, {"value", options.value}});
}

void add_looking_commands(CLI::App &app, Options &options)
{
    auto *command = app.add_subcommand("show", "the board as a panel");
    command->add_flag("--json", options.as_json, "as JSON, with parameters and GPIO banks");
    command->callback([&] { show(options); });

    command = app.add_subcommand("events", "what happened on the board");
    command->add_flag("--follow", options.follow, "go on with what happens from now on");
    command->add_flag("--json", options.as_json, "one JSON object a line");
    command->add_option("--since", options.since, "only events after this number (\"sequence\" in the JSON)");
    command->callback([&] { events(options); });

    command = app.add_subcommand("get", "prints one value");
    command->add_option("KEY", options.name, "what set takes, or one of those below")->required();
    command->footer(keys_to_get);
    command->callback([&] { get(options); });
}

void add_acting_commands(CLI::App &app, Options &options)
{
    app.add_subcommand("power-loss", "takes the mains away")->callback([&] {
        tell(options, {{"command", "power-loss"}});
    });
    app.add_subcommand("power-up", "gives the mains back")->callback([&] {
        tell(options, {{"command", "power-up"}});
    });

    auto *command = app.add_subcommand("fault", "breaks or repairs something; alone, lists what can break");
    auto *name = command->add_option("NAME", options.name, "the fault");
    auto *state =
        command->add_option("STATE", options.value, "on or off")->check(CLI::IsMember({"on", "off"}));
    command->add_flag("--json", options.as_json, "the list as JSON");
    name->needs(state);
    command->callback([&] { fault(options); });

    command = app.add_subcommand("set", "changes one value from outside");
    command->add_option("KEY", options.name, "one of those below")->required();
    command->add_option("VALUE", options.value, "what the key takes")->required();
    command->footer(keys_to_set);
    command->callback([&] { set(options); });
}

std::string known_commands(const CLI::App &app)
{
    std::string names;
    for (const CLI::App *command : app.get_subcommands([](const CLI::App *) { return true; }))
        names += (names.empty() ? "" : ", ") + command->get_name();
    return "the first argument is one of " + names;
}

int fail(const std::string &text, bool usage)
{
    std::cerr << "boardctl: " << text << "\n";
    return usage ? 2 : 1;
}

int run(int argc, char **argv)
{
    Options options;
    options.socket = board_folder() + "/control.sock";
    CLI::App app("Looks at a virtual board and acts on it from outside.", "boardctl");
    app.add_option("--socket", options.socket, "the board's control socket")->capture_default_str();
    app.require_subcommand(1)->fallthrough();
    add_looking_commands(app, options);
    add_acting_commands(app, options);
    try {
        app.parse(argc, argv);
        return std::cout.flush() ? EXIT_SUCCESS : fail("the output could not be written", false);
    } catch (const CLI::Success &help) {
        return app.exit(help);
    } catch (const CLI::Error &error) {
        return fail((app.get_subcommands().empty() ? known_commands(app) : error.what()) +
                        "; see boardctl --help",
                    true);
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
        std::fprintf(stderr, "boardctl: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
