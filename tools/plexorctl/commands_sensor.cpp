// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <plexor/sense.h>

#include "tools/plexorctl/command.h"
#include "tools/plexorctl/json.h"
#include "tools/support/board.h"
#include "tools/support/console.h"

namespace plexor::ctl
{
namespace
{

struct Reading {
    float amperes[most_outlets]; // the first alone with an external meter
    float volts;
    std::optional<float> celsius;
    std::optional<float> humidity;
};

Reading take_reading(const Model &fittings)
{
    Reading reading{};
    GetPowerCurrent(reading.amperes);
    GetPowerVolt(&reading.volts);
    if (fittings.thermometer != Thermometer::none)
        GetPowerTemp(&reading.celsius.emplace());
    if (fittings.thermometer == Thermometer::external)
        GetPowerHumi(&reading.humidity.emplace());
    return reading;
}

void print_json(const Board &board, const Reading &reading)
{
    const bool together = board.fittings().external_meter;
    Json json(results());
    if (together) {
        json.text("outlets", nullptr);
    } else {
        json.begin_array("outlets");
        for (unsigned index = 0; index < board.outlets; ++index) {
            json.begin_object();
            json.number("outlet", index + 1);
            json.decimal("amperes", reading.amperes[index], 2);
            json.end();
        }
        json.end();
    }
    json.decimal("all_outlets_amperes", together ? std::optional<double>(reading.amperes[0]) : std::nullopt,
                 1);
    json.decimal("celsius", reading.celsius, 1);
    json.decimal("volts", reading.volts, 0);
    json.decimal("humidity_percent", reading.humidity, 1);
}

void print_text(const Board &board, const Reading &reading)
{
    FILE *out = results();
    if (board.fittings().external_meter) {
        std::fprintf(out, "All outlets  %.1f A\n", double{reading.amperes[0]});
    } else {
        for (unsigned index = 0; index < board.outlets; ++index)
            std::fprintf(out, "Outlet %u     %.2f A\n", index + 1, double{reading.amperes[index]});
    }
    if (reading.celsius)
        std::fprintf(out, "Temperature  %.1f C\n", double{*reading.celsius});
    std::fprintf(out, "Voltage      %.0f V\n", double{reading.volts});
    if (reading.humidity)
        std::fprintf(out, "Humidity     %.1f %%\n", double{*reading.humidity});
}

} // namespace

int sensor(const Context &context)
{
    const std::optional<Board> board = booted_board();
    if (!board)
        return failed;
    for (;;) {
        const Reading reading = take_reading(board->fittings());
        if (context.json)
            print_json(*board, reading);
        else
            print_text(*board, reading);
        if (!context.watch || std::fflush(results()) != 0)
            return done; // a result that cannot be written is told at the end
        sleep(1);
        if (!context.json)
            std::fputc('\n', results());
    }
}

} // namespace plexor::ctl
