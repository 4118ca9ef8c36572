// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <plexor/relay.h>
#include <plexor/schedule.h>

#include "tools/plexorctl/command.h"
#include "tools/plexorctl/json.h"
#include "tools/plexorctl/schedule.h"
#include "tools/support/board.h"
#include "tools/support/console.h"

namespace plexor::ctl
{
namespace
{

int ask_unless_told(const Context &context)
{
    if (context.yes)
        return done;
    if (isatty(STDIN_FILENO) == 0)
        return wrong_input("there is no terminal to ask on; accepted: plexorctl factory-reset --yes");
    if (!confirmed(
            "This switches every outlet off and empties the board controller's outlet states and schedules; "
            "its copies of the administrator's name and password stay. Type yes to go on:"))
        return failure("nothing was done");
    return done;
}

int check_devices(const Board &board)
{
    unsigned char mark = 0;
    if (!relays_answer(board))
        return failed;
    if (!read_copied_mark(mark))
        return failure("nothing was done: the board controller does not answer at 0xA0");
    return done;
}

// With GPIO-driven relays the library's all-outlet operations move the first four only.
void reset(const Board &board)
{
    setIOstatus();
    for (unsigned index = 0; board.has_gpio_relays() && index < board.outlets; ++index)
        ContorlSpiPower(static_cast<int>(index), 0);
}

int check_result(const Board &board)
{
    States states{};
    if (!read_states(board, states))
        return failed;
    for (unsigned index = 0; index < board.outlets; ++index) {
        if (states[index] != 0)
            return failure("outlet %u did not follow: it was switched off and is on", index + 1);
    }
    for (int number = 0; number < copied_schedules; ++number) {
        Page page{};
        if (!read_page(number, page) || !page.is_empty())
            return failure("the board controller did not empty its copy of schedule %d", number);
    }
    return done;
}

} // namespace

int factory_reset(const Context &context)
{
    if (const int status = ask_unless_told(context); status != done)
        return status;
    const std::optional<Board> board = booted_board();
    if (!board)
        return failed;
    if (const int status = check_devices(*board); status != done)
        return status;
    reset(*board);
    if (const int status = check_result(*board); status != done)
        return status;
    if (context.json)
        Json(results()).flag("reset", true);
    else
        std::fputs(
            "Every outlet is off, and the board controller's outlet states and schedules are emptied; its "
            "copies of the administrator's name and password, and the parameters, are as they were\n",
            results());
    return done;
}

} // namespace plexor::ctl
