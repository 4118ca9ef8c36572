// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <cstring>

#include <plexor/cycle.h>

#include "tools/plexorctl/command.h"
#include "tools/plexorctl/json.h"
#include "tools/plexorctl/outlet_words.h"
#include "tools/plexorctl/parse.h"
#include "tools/plexorctl/watch.h"
#include "tools/support/board.h"
#include "tools/support/console.h"
#include "tools/support/cycles.h"
#include "tools/support/running_daemon.h"

namespace plexor::ctl
{
namespace
{

int unreadable(int error)
{
    return failure("the record of cycles cannot be read: %s", std::strerror(error));
}

// --- outlet cycle ---

struct Request {
    unsigned outlet; // from 1
    unsigned seconds;
    bool on_first;

    unsigned index() const { return outlet - 1; }
    const char *first() const { return on_or_off(on_first ? 1 : 0); }
    const char *then() const { return on_or_off(on_first ? 0 : 1); }
};

bool is_active(const plexor_cycles &record, unsigned index)
{
    return (record.active >> index & 1U) != 0;
}

// A record that no tick has initialised loses what is in it at the first.
int check_record(const Request &request, plexor_cycles &record)
{
    const int error = read_cycles(record);
    if (error != 0 && error != ENOENT)
        return unreadable(error);
    if (error == ENOENT || record.initialised == 0)
        return failure("outlet %u was not cycled: nobody would switch it back; run plexord", request.outlet);
    const OutletCycle cycle = cycle_of(record, request.index());
    if (cycle.runs || is_active(record, request.index()))
        return failure("outlet %u was not cycled: it is cycling, with %d s left, and another request would "
                       "abandon every running cycle",
                       request.outlet, cycle.remaining);
    return done;
}

bool same_start(const OutletCycle &a, const OutletCycle &b)
{
    return std::memcmp(&a.started, &b.started, sizeof a.started) == 0;
}

// A cycle of a second may have ended already: then its start tells.
bool was_taken(const plexor_cycles &before, const plexor_cycles &after, unsigned index)
{
    return is_active(after, index) || !same_start(cycle_of(before, index), cycle_of(after, index));
}

// The library tells neither of a request that it dropped nor of an outlet that did not follow.
int check_result(const Request &request, const Board &board, const plexor_cycles &before)
{
    States states{};
    plexor_cycles after{};
    if (!read_states(board, states))
        return failed;
    if (const int error = read_cycles(after); error != 0)
        return unreadable(error);
    if (!was_taken(before, after, request.index()))
        return failure("outlet %u was not cycled: the record of cycles was busy, and the request is dropped",
                       request.outlet);
    if (is_active(after, request.index()) && states[request.index()] != (request.on_first ? 1 : 0))
        return failure("outlet %u did not follow: it was switched %s and is %s", request.outlet,
                       request.first(), request.then());
    return done;
}

void report(const Context &context, const Request &request)
{
    const bool counted = running_daemon().has_value();
    if (!context.json) {
        std::fprintf(results(), "Outlet %u  %s for %u s, then %s%s\n", request.outlet, request.first(),
                     request.seconds, request.then(), counted ? "" : " once plexord runs");
        return;
    }
    Json json(results());
    json.number("outlet", request.outlet);
    json.number("seconds", request.seconds);
    json.text("first", request.first());
    json.text("then", request.then());
    json.flag("plexord_runs", counted);
}

// The status of a line on standard error when a word is wrong.
int parse_request(const Context &context, const Board &board, Request &request)
{
    const std::optional<unsigned> outlet = parse_outlet(context.arguments[0], board);
    if (!outlet)
        return bad_input;
    const std::optional<unsigned> seconds = parse_number(context.arguments[1], 1, PLEXOR_CYCLE_LONGEST);
    if (!seconds)
        return wrong_input("'%.80s' is no length of a cycle; accepted: 1 to %d seconds", context.arguments[1],
                           PLEXOR_CYCLE_LONGEST);
    request = {*outlet, *seconds, context.on_first};
    return done;
}

// --- cycles ---

void print_cycle(unsigned outlet, const OutletCycle &cycle)
{
    if (!cycle.runs) {
        std::fprintf(results(), "Outlet %u  idle\n", outlet);
        return;
    }
    std::fprintf(results(), "Outlet %u  %d s left, %lld s elapsed, started %02d:%02d:%02d, %s first\n",
                 outlet, cycle.remaining, cycle.elapsed(), cycle.started.hour, cycle.started.minute,
                 cycle.started.second, on_or_off(cycle.off_first ? 0 : 1));
}

void write_cycle(Json &json, unsigned outlet, const OutletCycle &cycle)
{
    json.begin_object();
    json.number("outlet", outlet);
    json.text("state", cycle.runs ? "running" : "idle");
    if (cycle.runs) {
        char started[64];
        std::snprintf(started, sizeof started, "%02d:%02d:%02d", cycle.started.hour, cycle.started.minute,
                      cycle.started.second);
        json.number("seconds", cycle.seconds);
        json.number("remaining", cycle.remaining);
        json.number("elapsed", cycle.elapsed());
        json.text("started", started);
        json.text("first", on_or_off(cycle.off_first ? 0 : 1));
    }
    json.end();
}

int print_text(const Board &board, const plexor_cycles &record)
{
    for (unsigned index = 0; index < board.outlets; ++index)
        print_cycle(index + 1, cycle_of(record, index));
    if (record.busy != 1)
        return static_cast<int>(board.outlets);
    std::fputs("The record is being written\n", results());
    return static_cast<int>(board.outlets) + 1;
}

int print_json(const Board &board, const plexor_cycles &record)
{
    Json json(results());
    json.begin_array("cycles");
    for (unsigned index = 0; index < board.outlets; ++index)
        write_cycle(json, index + 1, cycle_of(record, index));
    json.end();
    json.number("active", record.active);
    json.number("notify", record.notify);
    json.flag("busy", record.busy == 1);
    json.flag("initialised", record.initialised != 0);
    return 1;
}

int print_that_there_are_none(const Context &context)
{
    if (context.json)
        Json(results()).text("cycles", nullptr);
    else
        std::fputs("No cycle was ever asked for\n", results());
    return 1;
}

// How many lines; -1 after a line on standard error.
int show_cycles(const Context &context, const Board &board)
{
    plexor_cycles record{};
    const int error = read_cycles(record);
    if (error == ENOENT)
        return print_that_there_are_none(context);
    if (error != 0) {
        unreadable(error);
        return -1;
    }
    return context.json ? print_json(board, record) : print_text(board, record);
}

} // namespace

int outlet_cycle(const Context &context)
{
    const std::optional<Board> board = booted_board();
    if (!board)
        return failed;
    Request request{};
    if (const int status = parse_request(context, *board, request); status != done)
        return status;
    plexor_cycles before{};
    if (const int status = check_record(request, before); status != done)
        return status;
    if (!relays_answer(*board))
        return failed;
    SetPower(request.index(), 2, request.seconds, request.on_first ? 0 : 1, "plexorctl");
    if (const int status = check_result(request, *board, before); status != done)
        return status;
    report(context, request);
    return done;
}

int cycles(const Context &context)
{
    const std::optional<Board> board = known_board();
    if (!board)
        return failed;
    return show_or_watch(context, [&] { return show_cycles(context, *board); });
}

} // namespace plexor::ctl
