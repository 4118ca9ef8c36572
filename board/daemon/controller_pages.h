// SPDX-License-Identifier: Apache-2.0
// The pages that the appliance keeps in the board controller, as texts: the copies of five schedules, each
// with its companion record, and of the administrator's name and password.
#pragma once

#include <string>
#include <string_view>

#include "board/model/board.h"

namespace plexor::board
{

inline constexpr int stored_schedules = 5;
inline constexpr int copy_marker = 4;    // register: 9 when there are copies
inline constexpr int restore_marker = 5; // register: 1 after copies were brought back

struct Page {
    int first; // register
    int length;
};

struct Credential {
    const char *name;
    int length_register;
    Page page; // the longest that there can be
};
inline constexpr Credential login{"login", 256, {544, 32}};
inline constexpr Credential password{"password", 257, {576, 32}};

Page schedule_page(int schedule);
Page companion_page(int schedule);
Page page_named(std::string_view name); // "0" to "4", or "0t" to "4t" for a companion; throws Refusal
bool is_in_page(int reg);               // also for the lengths and the markers

// Empty for a page that nothing was written to. What is not printable is given as \xHH.
std::string schedule_text(const Board &board, Page page);
std::string credential_text(const Board &board, const Credential &credential);

// Both throw Refusal for a text of the wrong length.
void write_page(Board &board, Page page, std::string_view text);
void write_credential(Board &board, const Credential &credential, std::string_view text);

} // namespace plexor::board
