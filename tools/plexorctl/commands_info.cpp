// SPDX-License-Identifier: Apache-2.0
#include <plexor/model.h>
#include <plexor/process.h>

#include "nvram.h"
#include "tools/plexorctl/command.h"
#include "tools/plexorctl/json.h"
#include "tools/support/board.h"
#include "tools/support/console.h"

namespace plexor::ctl
{
namespace
{

struct Facts {
    Board board;
    const char *name;
    unsigned first, inputs,
        outputs; // digital I/O; the first count is the LCD boards' and the sensor boards' own
    const char *relays;
    char time[64];
    unsigned tick;
    int io_number;
};

Facts facts_of(const Board &board)
{
    Facts facts{board, getModelName(static_cast<int>(board.model)), 0, 0, 0, relay_kind(board), {}, 0, 0};
    getDiDoNum(board.model, &facts.first, &facts.inputs, &facts.outputs);
    getUptime(facts.time, sizeof facts.time);
    facts.tick = GetTickCountMS();
    facts.io_number = nvram_kget_int("IO_number", 0);
    return facts;
}

void print_json(const Facts &facts)
{
    Json json(results());
    json.text("model", facts.name);
    json.number("index", facts.board.model);
    json.number("outlets", facts.board.outlets);
    json.begin_object("io");
    json.number("first", facts.first);
    json.number("inputs", facts.inputs);
    json.number("outputs", facts.outputs);
    json.end();
    json.text("relays", facts.relays);
    json.text("time", facts.time);
    json.number("tick_ms", facts.tick);
    json.number("io_number", facts.io_number);
}

void print_text(const Facts &facts)
{
    FILE *out = results();
    std::fprintf(out, "Model        %s (index %u)\n", facts.name, facts.board.model);
    std::fprintf(out, "Outlets      %u\n", facts.board.outlets);
    std::fprintf(out, "Relays       %s\n", facts.relays);
    std::fprintf(out, "Digital I/O  first count %u, inputs %u, outputs %u\n", facts.first, facts.inputs,
                 facts.outputs);
    std::fprintf(out, "Time of day  %s\n", facts.time);
    std::fprintf(out, "Tick         %u ms\n", facts.tick);
    std::fprintf(out, "IO_number    %d\n", facts.io_number);
}

} // namespace

int info(const Context &context)
{
    const std::optional<Board> board = known_board();
    if (!board || !gpio_answers())
        return failed;
    const Facts facts = facts_of(*board);
    if (context.json)
        print_json(facts);
    else
        print_text(facts);
    return done;
}

} // namespace plexor::ctl
