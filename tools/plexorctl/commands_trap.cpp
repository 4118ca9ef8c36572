// SPDX-License-Identifier: Apache-2.0
#include <sys/wait.h>

#include <plexor/trap.h>

#include "notify/trap_settings.h"
#include "tools/plexorctl/command.h"
#include "tools/plexorctl/json.h"
#include "tools/plexorctl/parse.h"
#include "tools/support/console.h"

namespace plexor::ctl
{
namespace
{

constexpr int not_found = 127; // of the shell
constexpr std::size_t longest_message = 255;

int check_settings(const TrapDestination &destination)
{
    if (!traps_enabled())
        return failure("traps are off: the parameter snmp_enable is not 1");
    if (*destination.host == '\0')
        return failure("no trap was sent: the parameter snmp_trap_dest_host is not set");
    if (destination.is_nobody())
        return failure("no trap was sent: the parameter snmp_trap_dest_type is %s, which is for none",
                       destination.type);
    return done;
}

int tell_failure(int status)
{
    if (status == -1)
        return failure("no trap was sent: with these settings its command is too long, or cannot be started");
    if (WIFEXITED(status) && WEXITSTATUS(status) == not_found)
        return failure("no trap was sent: /bin/snmptrap is missing");
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : WTERMSIG(status);
    return failure("no trap was sent: /bin/snmptrap ended with %s %d; --verbose shows what it said",
                   WIFEXITED(status) ? "status" : "signal", code);
}

} // namespace

int trap_test(const Context &context)
{
    char stand_in[] = "plexorctl trap test";
    char *message = context.arguments.empty() ? stand_in : context.arguments[0];
    if (!is_line(message, 1, longest_message))
        return wrong_input("'%.80s' is no message; accepted: 1 to %zu bytes without control characters",
                           message, longest_message);
    TrapDestination destination;
    fetch_trap_destination(destination);
    if (const int status = check_settings(destination); status != done)
        return status;
    if (const int status = SnmpSendTrap(message); status != 0)
        return tell_failure(status);
    if (!context.json) {
        std::fprintf(results(), "Trap sent to %s: %s\n", destination.host, message);
        return done;
    }
    Json json(results());
    json.text("host", destination.host);
    json.text("message", message);
    return done;
}

} // namespace plexor::ctl
