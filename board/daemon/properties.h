// SPDX-License-Identifier: Apache-2.0
// The board's single values by key, as boardctl get and boardctl set name them.
#pragma once

#include <string>
#include <string_view>

#include "board/daemon/appliance.h"

namespace plexor::board
{

// Number of board-controller registers that can be looked at.
inline constexpr int controller_registers = 1024;

// Digital inputs, and digital outputs, of a board that has them.
inline constexpr int digital_lines = 4;

// Both throw Refusal, which says what is accepted.
std::string get_property(const Appliance &appliance, std::string_view key);
void set_property(Appliance &appliance, std::string_view key, std::string_view value);

} // namespace plexor::board
