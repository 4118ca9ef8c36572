// SPDX-License-Identifier: Apache-2.0
// The command language of plexorctl as one constant table: parsing, help and everything made from them read
// it.
#pragma once

#include <span>

namespace plexor::ctl
{

// Of one I2C transfer: as many as the library's cache keeps.
constexpr unsigned most_bytes_read = 64;
constexpr unsigned most_bytes_written = 132;

// Options that a command does not list stay false or null.
struct Context {
    std::span<char *const> arguments; // as many as the command takes
    bool json;
    bool watch;
    bool direct;
    bool snapshot;
    bool on_first;
    bool yes;
    bool up;
    bool down;
    char *source;
    char *to;
    char *subject;
    char *body;
    char *address;
    char *netmask;
    char *gateway;
    char *dns;
};

// What a command's arguments hold, for which help has a sentence.
enum class Numbers { none, plain, outlets };

struct Command {
    const char *group;
    const char *name;      // "" when the group is the whole command
    const char *arguments; // as help shows them
    unsigned least;        // number of arguments
    unsigned most;
    const char *summary;
    const char *details; // further lines of help, or ""
    int (*run)(const Context &context);
    Numbers numbers = Numbers::none;
    const char *options = ""; // letters of those that it takes beside the general ones
};

struct Option {
    const char *name;
    char letter;
    const char *value; // as help shows it, or "" for an option without one
    bool general;      // goes with every command
    const char *summary;
};

std::span<const Command> commands();

constexpr std::size_t option_count = 19; // the table does not compile with another one
std::span<const Option, option_count> options();

// commands_info.cpp
int info(const Context &context);
// commands_outlet.cpp
int outlet_list(const Context &context);
int outlet_on(const Context &context);
int outlet_off(const Context &context);
int outlet_all(const Context &context);
int outlet_set(const Context &context);
int outlet_default(const Context &context);
// commands_cycle.cpp
int outlet_cycle(const Context &context);
int cycles(const Context &context);
// commands_peer.cpp
int off_delay(const Context &context);
int wol(const Context &context);
// commands_schedule.cpp
int schedule_list(const Context &context);
int schedule_write(const Context &context);
int schedule_delete(const Context &context);
int schedule_restore(const Context &context);
// commands_reset.cpp
int factory_reset(const Context &context);
// commands_net.cpp
int net_show(const Context &context);
int net_set(const Context &context);
// commands_indicator.cpp
int led_outlet(const Context &context);
int led_all(const Context &context);
int led_wifi(const Context &context);
int led_usb(const Context &context);
int beep_pattern(const Context &context);
// commands_bus.cpp
int gpio_read(const Context &context);
int gpio_write(const Context &context);
int gpio_direction(const Context &context);
int i2c_read(const Context &context);
int i2c_write(const Context &context);
int i2c_scan(const Context &context);
// commands_sensor.cpp
int sensor(const Context &context);
// commands_io.cpp
int io_show(const Context &context);
int io_set(const Context &context);
// commands_mail.cpp
int mail_test(const Context &context);
// commands_trap.cpp
int trap_test(const Context &context);
// commands_journal.cpp
int journal_show(const Context &context);
// commands_param.cpp
int param_get(const Context &context);
int param_set(const Context &context);
int param_list(const Context &context);
int param_commit(const Context &context);

} // namespace plexor::ctl
