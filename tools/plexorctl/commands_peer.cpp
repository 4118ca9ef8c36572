// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <csignal>
#include <cstring>
#include <netinet/in.h>
#include <sys/socket.h>

#include <plexor/datagram.h>

#include "nvram.h"
#include "support/descriptor.h"
#include "support/list.h"
#include "tools/plexorctl/command.h"
#include "tools/plexorctl/json.h"
#include "tools/plexorctl/outlet_words.h"
#include "tools/support/board.h"
#include "tools/support/console.h"
#include "tools/support/running_daemon.h"

namespace plexor::ctl
{
namespace
{

// The outlet's field of a list, as the library finds it.
struct Field {
    char list[128];
    const char *text; // "" when the list has none for the outlet

    Field(const char *key, unsigned outlet) : list{}
    {
        fetch(key, list);
        const char *found = nth_filled_field(list, outlet);
        text = found == nullptr ? "" : found;
    }
    Field(const Field &) = delete;
    Field &operator=(const Field &) = delete;
};

// --- off-delay ---

bool queue(int daemon, unsigned outlet)
{
    const sigval value{static_cast<int>(outlet)};
    return sigqueue(daemon, arm_signal(), value) == 0;
}

void report_delay(const Context &context, unsigned outlet, int seconds)
{
    const bool switches = nvram_kget_int("wol_sol_trigger", 0) == 1;
    if (!context.json) {
        std::fprintf(results(), "Outlet %u  plexord is asked to switch it off after %d s%s\n", outlet,
                     seconds, switches ? "" : ", but will not: the parameter wol_sol_trigger is not 1");
        return;
    }
    Json json(results());
    json.number("outlet", outlet);
    json.number("seconds", seconds);
    json.flag("switches", switches);
}

// --- wol ---

bool is_hardware_address(const char *text)
{
    constexpr std::size_t digits = 12;
    return std::strlen(text) == digits && std::strspn(text, "0123456789abcdefABCDEF") == digits;
}

int check_address(const char *address, unsigned outlet)
{
    if (*address == '\0')
        return failure(
            "outlet %u has no address to wake: the parameter WakeOnLan_PX has no field for it, and "
            "fields that are empty do not count",
            outlet);
    if (!is_hardware_address(address))
        return failure(
            "'%.80s' is no address to wake; accepted in the parameter WakeOnLan_PX: 12 hexadecimal "
            "digits for each outlet",
            address);
    return done;
}

// The library passes over a packet that goes nowhere.
bool can_broadcast()
{
    const Descriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const sockaddr_in everybody{AF_INET, htons(9), {INADDR_BROADCAST}, {}};
    const int on = 1;
    return socket && setsockopt(socket.get(), SOL_SOCKET, SO_BROADCAST, &on, sizeof on) == 0 &&
           connect(socket.get(), reinterpret_cast<const sockaddr *>(&everybody), sizeof everybody) == 0;
}

void report_wake(const Context &context, unsigned outlet, const char *address)
{
    if (!context.json) {
        std::fprintf(results(), "Outlet %u  packet sent to wake %s; whether it arrives is not known here\n",
                     outlet, address);
        return;
    }
    Json json(results());
    json.number("outlet", outlet);
    json.text("address", address);
}

} // namespace

int off_delay(const Context &context)
{
    const std::optional<Board> board = booted_board();
    if (!board)
        return failed;
    const std::optional<unsigned> outlet = parse_outlet(context.arguments[0], *board);
    if (!outlet)
        return bad_input;
    const int seconds = std::atoi(Field("OFFDelay_PX", *outlet).text);
    if (seconds < 1)
        return failure("outlet %u has no off delay: the parameter OFFDelay_PX has no seconds for it, and "
                       "fields that are empty do not count",
                       *outlet);
    const std::optional<int> daemon = running_daemon();
    if (!daemon)
        return failure("plexord, which counts off delays down, does not run");
    if (!queue(*daemon, *outlet))
        return failure("plexord, process %d, cannot be asked: %s", *daemon, std::strerror(errno));
    report_delay(context, *outlet, seconds);
    return done;
}

int wol(const Context &context)
{
    const std::optional<Board> board = known_board();
    if (!board)
        return failed;
    const std::optional<unsigned> outlet = parse_outlet(context.arguments[0], *board);
    if (!outlet)
        return bad_input;
    const Field address("WakeOnLan_PX", *outlet);
    if (const int status = check_address(address.text, *outlet); status != done)
        return status;
    if (!can_broadcast() || SendWakeOnLan(static_cast<int>(*outlet)) != 0)
        return failure("no packet was sent: %s", std::strerror(errno));
    report_wake(context, *outlet, address.text);
    return done;
}

} // namespace plexor::ctl
