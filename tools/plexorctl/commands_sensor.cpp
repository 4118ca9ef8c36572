// SPDX-License-Identifier: Apache-2.0
#include <plexor/sense.h>

#include "tools/plexorctl/command.h"
#include "tools/plexorctl/json.h"
#include "tools/plexorctl/watch.h"
#include "tools/support/board.h"
#include "tools/support/console.h"

namespace plexor::ctl
{
namespace
{

struct Reading {
    float amperes[max_outlets]; // the first alone with an external meter
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

int print_json(const Board &board, const Reading &reading)
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
    return 1;
}

int print_text(const Board &board, const Reading &reading)
{
    FILE *out = results();
    const bool together = board.fittings().external_meter;
    if (together) {
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
    return (together ? 1 : static_cast<int>(board.outlets)) + (reading.celsius ? 1 : 0) + 1 +
           (reading.humidity ? 1 : 0);
}

// How many lines.
int show_reading(const Context &context, const Board &board)
{
    const Reading reading = take_reading(board.fittings());
    return context.json ? print_json(board, reading) : print_text(board, reading);
}

} // namespace

int sensor(const Context &context)
{
    const std::optional<Board> board = booted_board();
    if (!board)
        return failed;
    return show_or_watch(context, [&] { return show_reading(context, *board); });
}

} // namespace plexor::ctl
