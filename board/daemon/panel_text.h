// SPDX-License-Identifier: Apache-2.0
// The board as a picture for a terminal: at most 80 columns, UTF-8.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace plexor::board
{

// board: what the command "show" gives as "board". Every line ends with a line feed.
std::string draw_panel(const nlohmann::json &board, bool colours);

} // namespace plexor::board
