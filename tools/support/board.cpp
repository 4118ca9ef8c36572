// SPDX-License-Identifier: Apache-2.0
#include "tools/support/board.h"

#include <fcntl.h>

#include <plexor/gpio.h>
#include <plexor/model.h>
#include <plexor/relay.h>

#include "nvram.h"
#include "support/descriptor.h"
#include "tools/support/console.h"

namespace plexor::ctl
{

std::optional<Board> known_board()
{
    constexpr unsigned unread = ~0U;
    Board board{unread, 0};
    board.outlets = getPowerPortNum(&board.model);
    if (board.model == unread) {
        failure("the Ethernet address that names the board cannot be read from flash");
        return std::nullopt;
    }
    if (board.outlets == 0) {
        failure("unknown board: no model has this Ethernet address");
        return std::nullopt;
    }
    return board;
}

std::optional<Board> booted_board()
{
    const std::optional<Board> board = known_board();
    if (!board)
        return board;
    const int booted_as = nvram_kget_int("IO_number", 0);
    if (booted_as == static_cast<int>(board->model))
        return board;
    failure("not booted: the parameter IO_number is %d and the board is model %u; run plexord --boot",
            booted_as, board->model);
    return std::nullopt;
}

bool gpio_answers()
{
    unsigned levels = 0;
    if (gpio_read_int(0, &levels) == 0)
        return true;
    failure("the GPIO lines cannot be read: /dev/gpio is missing or fails");
    return false;
}

int relays_missing()
{
    return failure("the outlets were not switched: /dev/spiS0 is missing");
}

// The library tells everybody of a switch before anybody could see that there are no relays, and it records
// the wish as the state.
bool relays_answer(const Board &board)
{
    if (board.has_gpio_relays())
        return gpio_answers();
    if (Descriptor(open("/dev/spiS0", O_RDONLY | O_CLOEXEC)))
        return true;
    relays_missing();
    return false;
}

// The off mask is what switching records on every board but the one whose relay lines are the state.
bool read_states(const Board &board, States &states)
{
    if (board.has_gpio_relays()) {
        if (!gpio_answers())
            return false;
        GetPowerStatus(states.data());
        return true;
    }
    for (unsigned index = 0; index < max_outlets; ++index)
        states[index] = GetPowerByIdx(index);
    return true;
}

const char *relay_kind(const Board &board)
{
    if (board.has_gpio_relays())
        return "GPIO-driven";
    return is_latch() != 0 ? "latching" : "ordinary";
}

const char *on_or_off(int state)
{
    return state != 0 ? "on" : "off";
}

} // namespace plexor::ctl
