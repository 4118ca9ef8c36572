// SPDX-License-Identifier: Apache-2.0
// Words of the command line that name outlets of the board. Each gives nothing after a line on standard error.
#pragma once

#include "tools/plexorctl/parse.h"
#include "tools/support/board.h"
#include "tools/support/console.h"

namespace plexor::ctl
{

// From 1.
inline std::optional<unsigned> parse_outlet(const char *word, const Board &board)
{
    const std::optional<unsigned> outlet = parse_number(word, 1, board.outlets);
    if (!outlet)
        wrong_input("'%s' is no outlet; accepted: 1 to %u", word, board.outlets);
    return outlet;
}

// Outlet 1 in bit 0; further words are those that are accepted beside a mask.
inline std::optional<unsigned> parse_mask(const char *word, const Board &board,
                                          const char *further_words = "")
{
    const std::optional<unsigned> mask = parse_number(word, 0, board.all_outlets());
    if (!mask)
        wrong_input("'%s' is no mask; accepted: 0 to 0x%02X%s", word, board.all_outlets(), further_words);
    return mask;
}

} // namespace plexor::ctl
