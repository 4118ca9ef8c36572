// SPDX-License-Identifier: Apache-2.0
#include <plexor/indicator.h>
#include <plexor/relay.h>

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

// Writes "NAME STATE" or {"NAME":"STATE"}.
int report(const Context &context, const char *name, const char *state)
{
    if (context.json)
        Json(results()).text(name, state);
    else
        std::fprintf(results(), "%s %s\n", name, state);
    return done;
}

int report_mask(const Context &context, unsigned lit)
{
    if (context.json)
        Json(results()).number("lit", lit);
    else
        std::fprintf(results(), "lit 0x%02X\n", lit);
    return done;
}

std::optional<Board> board_with_outlet_leds()
{
    std::optional<Board> board = booted_board();
    if (board && board->has_gpio_relays()) {
        failure("this board has no outlet LEDs of its own: the lines would move its relays");
        board.reset();
    }
    return board;
}

// The LED lines of boards that have them can be read back; the expanders cannot.
std::optional<unsigned> lit_lines(const Board &board)
{
    if (!gpio_answers())
        return std::nullopt;
    States states{};
    GetPowerStatus(states.data());
    unsigned lit = 0;
    for (unsigned index = 0; index < board.outlets; ++index)
        lit |= static_cast<unsigned>(states[index]) << index;
    return lit;
}

bool light_lines(const Board &board, unsigned lit)
{
    LEDONOFF(~lit & 0xFFU);
    const std::optional<unsigned> now = lit_lines(board);
    if (now && *now != lit)
        failure("the LEDs did not follow: 0x%02X were to be lit and 0x%02X are", lit, *now);
    return now && *now == lit;
}

bool light_one(const Board &board, unsigned index, bool on)
{
    if (board.has_led_expanders()) {
        QB73xxLED(index, on ? 1 : 0); // nothing tells whether it worked
        return true;
    }
    const std::optional<unsigned> lit = lit_lines(board);
    if (!lit)
        return false;
    const unsigned bit = 1U << index;
    return light_lines(board, on ? *lit | bit : *lit & ~bit);
}

// An LED that is not of an outlet.
struct SingleLed {
    const char *name;
    const char *title;
    bool Model::*fitted;
    void (*set)(bool lit);
};

int switch_led(const Context &context, const SingleLed &led)
{
    const std::optional<bool> on = parse_switch(context.arguments[0]);
    if (!on)
        return wrong_input("'%s' is no LED state; accepted: on, off", context.arguments[0]);
    const std::optional<Board> board = booted_board();
    if (!board || !gpio_answers())
        return failed;
    if (!(board->fittings().*led.fitted))
        return failure("this board has no %s LED", led.title);
    led.set(*on);
    return report(context, led.name, on_or_off(*on));
}

} // namespace

int led_outlet(const Context &context)
{
    const std::optional<bool> on = parse_switch(context.arguments[1]);
    if (!on)
        return wrong_input("'%s' is no LED state; accepted: on, off", context.arguments[1]);
    const std::optional<Board> board = board_with_outlet_leds();
    if (!board)
        return failed;
    const std::optional<unsigned> outlet = parse_outlet(context.arguments[0], *board);
    if (!outlet)
        return bad_input;
    if (!light_one(*board, *outlet - 1, *on))
        return failed;
    const char name[] = {'l', 'e', 'd', static_cast<char>('0' + *outlet), '\0'};
    return report(context, name, on_or_off(*on));
}

int led_all(const Context &context)
{
    const std::optional<Board> board = board_with_outlet_leds();
    if (!board)
        return failed;
    const std::optional<unsigned> mask = parse_mask(context.arguments[0], *board);
    if (!mask)
        return bad_input;
    if (board->has_led_expanders())
        QB73xxAllLED(*mask);
    else if (!light_lines(*board, *mask))
        return failed;
    return report_mask(context, *mask);
}

int led_wifi(const Context &context)
{
    return switch_led(context, {"wifi", "Wi-Fi", &Model::wifi_led, [](bool lit) { wifi_led(lit ? 1 : 0); }});
}

int led_usb(const Context &context)
{
    return switch_led(context, {"usb", "USB", &Model::usb_led, [](bool lit) { usb_led(lit ? 1 : 0); }});
}

int beep_pattern(const Context &context)
{
    const std::optional<unsigned> pattern = parse_number(context.arguments[0], 0, 4);
    if (!pattern)
        return wrong_input("'%s' is no beep pattern; accepted: 0 to 4", context.arguments[0]);
    if (!booted_board())
        return failed;
    if (beep(*pattern) != 0)
        return failure("the beeper's line cannot be driven: /dev/gpio is missing or fails");
    if (context.json)
        Json(results()).number("pattern", *pattern);
    return done;
}

} // namespace plexor::ctl
