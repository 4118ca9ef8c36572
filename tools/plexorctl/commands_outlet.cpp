// SPDX-License-Identifier: Apache-2.0
#include <cstring>

#include <plexor/params.h>
#include <plexor/relay.h>
#include <plexor/switching.h>

#include "nvram.h"
#include "tools/plexorctl/command.h"
#include "tools/plexorctl/json.h"
#include "tools/plexorctl/outlet_words.h"
#include "tools/plexorctl/parse.h"
#include "tools/support/board.h"
#include "tools/support/console.h"

namespace plexor::ctl
{
namespace
{

constexpr std::size_t longest_source = 64;

// Outlets by bit, outlet 1 in bit 0: those that a command touches, and those of them that shall be on.
struct Wish {
    unsigned touched;
    unsigned on;
};

void report(const Context &context, unsigned shown, const char *const (&words)[max_outlets])
{
    if (!context.json) {
        for (unsigned index = 0; index < max_outlets; ++index) {
            if ((shown >> index & 1U) != 0)
                std::fprintf(results(), "Outlet %u  %s\n", index + 1, words[index]);
        }
        return;
    }
    Json json(results());
    json.begin_array("outlets");
    for (unsigned index = 0; index < max_outlets; ++index) {
        if ((shown >> index & 1U) == 0)
            continue;
        json.begin_object();
        json.number("outlet", index + 1);
        json.text("state", words[index]);
        json.end();
    }
}

void report_states(const Context &context, unsigned shown, const States &states)
{
    const char *words[max_outlets];
    for (unsigned index = 0; index < max_outlets; ++index)
        words[index] = on_or_off(states[index]);
    report(context, shown, words);
}

// The library accepts a switch without looking at what came of it.
int confirm(const Context &context, const Board &board, const Wish &wish)
{
    States states{};
    if (!read_states(board, states))
        return failed;
    for (unsigned index = 0; index < board.outlets; ++index) {
        const int wanted = static_cast<int>(wish.on >> index & 1U);
        if ((wish.touched >> index & 1U) != 0 && states[index] != wanted)
            return failure("outlet %u did not follow: it was switched %s and is %s", index + 1,
                           on_or_off(wanted), on_or_off(states[index]));
    }
    report_states(context, wish.touched, states);
    return done;
}

bool switch_by_index(const Wish &wish)
{
    for (unsigned index = 0; index < max_outlets; ++index) {
        const int value = static_cast<int>(wish.on >> index & 1U);
        if ((wish.touched >> index & 1U) != 0 && ContorlSpiPower(static_cast<int>(index), value) != 1)
            return false;
    }
    return true;
}

// Outlets that are not named get the state that they have: the library leaves them alone as well, but then
// records them as on.
bool switch_together(const Wish &wish, States states)
{
    for (unsigned index = 0; index < max_outlets; ++index) {
        if ((wish.touched >> index & 1U) != 0)
            states[index] = static_cast<int>(wish.on >> index & 1U);
    }
    return SetPowerSimul(states.data()) == 1;
}

// The outlets named, or nothing after a line on standard error.
std::optional<unsigned> parse_outlets(std::span<char *const> words, const Board &board)
{
    unsigned outlets = 0;
    for (const char *word : words) {
        const std::optional<unsigned> outlet = parse_outlet(word, board);
        if (!outlet)
            return std::nullopt;
        const unsigned bit = 1U << (*outlet - 1);
        if ((outlets & bit) != 0) {
            wrong_input("outlet %u is named twice", *outlet);
            return std::nullopt;
        }
        outlets |= bit;
    }
    return outlets;
}

void switch_and_tell(const Wish &wish, const char *source)
{
    for (unsigned index = 0; index < max_outlets; ++index) {
        if ((wish.touched >> index & 1U) != 0)
            SetPowerByIdx(index, static_cast<int>(wish.on >> index & 1U), source);
    }
}

int switch_named(const Context &context, bool on)
{
    const char *source = context.source != nullptr ? context.source : "plexorctl";
    if (!is_line(source, 1, longest_source))
        return wrong_input("'%.80s' is no source; accepted: 1 to %zu bytes without control characters",
                           source, longest_source);
    const std::optional<Board> board = booted_board();
    if (!board)
        return failed;
    const std::optional<unsigned> outlets = parse_outlets(context.arguments, *board);
    if (!outlets)
        return bad_input;
    if (!relays_answer(*board))
        return failed;
    const Wish wish{*outlets, on ? *outlets : 0};
    switch_and_tell(wish, source);
    return confirm(context, *board, wish);
}

// The outlets that "on", "off" or a mask asks to be on.
std::optional<unsigned> parse_pattern(const char *word, const Board &board)
{
    if (const std::optional<bool> all = parse_switch(word))
        return *all ? board.all_outlets() : 0;
    return parse_mask(word, board, ", on, off");
}

// Takes one "N=on" or "N=off".
bool add_assignment(std::string_view text, const Board &board, Wish &wish)
{
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos)
        return false;
    const std::string_view number(text.data(), equals);
    text.remove_prefix(equals + 1);
    const std::optional<unsigned> outlet = parse_number(number, 1, board.outlets);
    const std::optional<bool> on = parse_switch(text);
    if (!outlet || !on)
        return false;
    const unsigned bit = 1U << (*outlet - 1);
    if ((wish.touched & bit) != 0)
        return false;
    wish.touched |= bit;
    wish.on |= *on ? bit : 0;
    return true;
}

std::optional<Wish> parse_assignments(std::string_view text, const Board &board)
{
    Wish wish{0, 0};
    for (;;) {
        const std::size_t comma = text.find(',');
        const bool last = comma == std::string_view::npos;
        if (!add_assignment(std::string_view(text.data(), last ? text.size() : comma), board, wish))
            return std::nullopt;
        if (last)
            return wish;
        text.remove_prefix(comma + 1);
    }
}

// --- start-up states ---

constexpr const char *default_words[] = {"off", "on", "last"};

const char *defaults_key(const Board &board)
{
    return board.has_gpio_relays() ? "default_status_PX1" : "default_status_PX";
}

States read_defaults(const Board &board)
{
    States states{};
    RdNvram_N_Param_int(defaults_key(board), max_outlets, states.data());
    return states;
}

int show_defaults(const Context &context, const Board &board, const States &states)
{
    const int known = board.has_gpio_relays() ? 2 : 3;
    const char *words[max_outlets];
    for (unsigned index = 0; index < max_outlets; ++index) {
        const bool acted_on = states[index] >= 0 && states[index] < known;
        words[index] = acted_on ? default_words[states[index]] : "untouched";
    }
    report(context, board.all_outlets(), words);
    return done;
}

std::optional<int> parse_default(std::string_view text)
{
    for (int value = 0; value < 3; ++value) {
        if (text == default_words[value])
            return value;
    }
    return std::nullopt;
}

// Fills states with the words of the command line; the status of a line on standard error when it cannot.
int parse_defaults(const Context &context, const Board &board, States &states)
{
    const std::size_t given = context.arguments.size();
    if (given != 1 && given != board.outlets)
        return wrong_input("%zu start-up states given; accepted: one for all, or %u", given, board.outlets);
    for (unsigned index = 0; index < board.outlets; ++index) {
        const int value = *parse_default(context.arguments[given == 1 ? 0 : index]);
        if (value == 2 && board.has_gpio_relays())
            return wrong_input("'last' is no start-up state of this board; accepted: off, on");
        states[index] = value;
    }
    return done;
}

bool store_defaults(const Board &board, States &states)
{
    if (!board.has_gpio_relays())
        return SetPowerDefaultStatus(states.data()) == 1 && read_defaults(board) == states;
    char list[] = "0;0;0;0;0;0;0;0";
    char *field = list;
    for (const int state : states) {
        *field = state == 1 ? '1' : '0';
        field += 2;
    }
    return nvram_bufset(0, defaults_key(board), list) >= 0 && nvram_commit(0) >= 0;
}

} // namespace

int outlet_list(const Context &context)
{
    const std::optional<Board> board = booted_board();
    States states{};
    if (!board || !read_states(*board, states))
        return failed;
    report_states(context, board->all_outlets(), states);
    return done;
}

int outlet_on(const Context &context)
{
    return switch_named(context, true);
}

int outlet_off(const Context &context)
{
    return switch_named(context, false);
}

int outlet_all(const Context &context)
{
    const std::optional<Board> board = booted_board();
    if (!board)
        return failed;
    const std::optional<unsigned> on = parse_pattern(context.arguments[0], *board);
    if (!on)
        return bad_input;
    const Wish wish{board->all_outlets(), *on};
    // With GPIO-driven relays the library's all-outlet operations would move the first four only.
    const bool switched =
        board->has_gpio_relays() ? switch_by_index(wish) : ContorlSpiAllPower(wish.on, "plexorctl") == 0;
    return switched ? confirm(context, *board, wish) : relays_missing();
}

int outlet_set(const Context &context)
{
    const char *word = context.arguments[0];
    const std::optional<Board> board = booted_board();
    if (!board)
        return failed;
    const std::optional<Wish> wish = parse_assignments(word, *board);
    if (!wish)
        return wrong_input(
            "'%s' is no list of outlets; accepted: 1=on,2=off and so on, each of the outlets 1 to %u once",
            word, board->outlets);
    States states{};
    if (!read_states(*board, states))
        return failed;
    const bool switched = board->has_gpio_relays() ? switch_by_index(*wish) : switch_together(*wish, states);
    return switched ? confirm(context, *board, *wish) : relays_missing();
}

int outlet_default(const Context &context)
{
    for (const char *word : context.arguments) {
        if (!parse_default(word))
            return wrong_input("'%s' is no start-up state; accepted: off, on, last", word);
    }
    const std::optional<Board> board = known_board();
    if (!board)
        return failed;
    States states = read_defaults(*board);
    if (context.arguments.empty())
        return show_defaults(context, *board, states);
    if (const int status = parse_defaults(context, *board, states); status != done)
        return status;
    if (!store_defaults(*board, states))
        return failure("the parameter store did not keep %s", defaults_key(*board));
    return show_defaults(context, *board, states);
}

} // namespace plexor::ctl
