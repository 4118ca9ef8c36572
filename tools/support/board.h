// SPDX-License-Identifier: Apache-2.0
// The board that a tool runs on, and the states of its outlets.
#pragma once

#include <array>
#include <optional>

#include "foundation/model_table.h"

namespace plexor::ctl
{

struct Board {
    unsigned model;
    unsigned outlets;

    unsigned all_outlets() const { return (1U << outlets) - 1U; }
    const Model &fittings() const { return model_at(model); }
    bool has_gpio_relays() const { return fittings().relays == RelayPath::gpio; }
    bool has_led_expanders() const { return fittings().leds == LedPath::expander; }
};

using States = std::array<int, max_outlets>; // 1 on, 0 off

// Each gives nothing, or false, after telling why on standard error.
std::optional<Board> known_board();
std::optional<Board> booted_board(); // one whose IO_number is set, which most of the library goes by
bool read_states(const Board &board, States &states);
bool gpio_answers();
bool relays_answer(const Board &board);
int relays_missing(); // says so; failed

const char *relay_kind(const Board &board);
const char *on_or_off(int state);

} // namespace plexor::ctl
