// SPDX-License-Identifier: Apache-2.0
#include "board/daemon/controller_pages.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "board/daemon/refusal.h"

namespace plexor::board
{

namespace
{

bool holds(Page page, int reg)
{
    return reg >= page.first && reg < page.first + page.length;
}

std::string printable(std::uint8_t byte)
{
    if (byte >= ' ' && byte <= '~' && byte != '\\')
        return {static_cast<char>(byte)};
    std::array<char, 5> text{};
    std::snprintf(text.data(), text.size(), "\\x%02X", byte);
    return text.data();
}

std::string text_at(const Board &board, Page page)
{
    std::string text;
    for (int reg = page.first; reg < page.first + page.length; ++reg)
        text += printable(board.controller(reg));
    return text;
}

void put(Board &board, int first, std::string_view text)
{
    for (const char character : text)
        board.set_controller(first++, static_cast<std::uint8_t>(character));
}

} // namespace

Page schedule_page(int schedule)
{
    return {272 + 48 * schedule, 35};
}

Page companion_page(int schedule)
{
    return {608 + 32 * schedule, 31};
}

Page page_named(std::string_view name)
{
    const int schedule = name.empty() ? -1 : name[0] - '0';
    const std::string_view kind = name.substr(name.empty() ? 0 : 1);
    if (schedule < 0 || schedule >= stored_schedules || (!kind.empty() && kind != "t"))
        throw Refusal("schedule.N needs N of 0 to 4, or 0t to 4t for the companion record");
    return kind.empty() ? schedule_page(schedule) : companion_page(schedule);
}

bool is_in_page(int reg)
{
    for (int schedule = 0; schedule < stored_schedules; ++schedule)
        if (holds(schedule_page(schedule), reg) || holds(companion_page(schedule), reg))
            return true;
    return holds(login.page, reg) || holds(password.page, reg) || reg == login.length_register ||
           reg == password.length_register || reg == copy_marker || reg == restore_marker;
}

std::string schedule_text(const Board &board, Page page)
{
    bool written = false;
    for (int reg = page.first; reg < page.first + page.length; ++reg)
        written = written || board.controller(reg) != 0;
    return written ? text_at(board, page) : "";
}

std::string credential_text(const Board &board, const Credential &credential)
{
    const int length = board.controller(credential.length_register);
    return text_at(board, {credential.page.first, std::min(length, credential.page.length)});
}

void write_page(Board &board, Page page, std::string_view text)
{
    if (text.size() != static_cast<std::size_t>(page.length))
        throw Refusal("this page takes " + std::to_string(page.length) + " characters, and there are " +
                      std::to_string(text.size()));
    put(board, page.first, text);
}

void write_credential(Board &board, const Credential &credential, std::string_view text)
{
    if (text.size() > static_cast<std::size_t>(credential.page.length))
        throw Refusal(std::string(credential.name) + " takes up to " +
                      std::to_string(credential.page.length) + " characters");
    put(board, credential.page.first, text);
    board.set_controller(credential.length_register, static_cast<std::uint8_t>(text.size()));
}

} // namespace plexor::board
