// SPDX-License-Identifier: Apache-2.0
#include <cstring>
#include <sys/wait.h>

#include <plexor/trap.h>

#include "support/list.h"
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

bool traps_are_on()
{
    char enabled[5] = {};
    fetch("snmp_enable", enabled);
    return std::strcmp(enabled, "1") == 0;
}

bool traps_go_nowhere()
{
    char type[64] = {};
    fetch("snmp_trap_dest_type", type);
    return std::atoi(type) == 9;
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
        return wrong_input("'%.80s' is no message; accepted: 1 to 255 bytes without control characters",
                           message);
    if (!traps_are_on())
        return failure("traps are off: the parameter snmp_enable is not 1");
    char host[64] = {};
    fetch("snmp_trap_dest_host", host);
    if (*host == '\0')
        return failure("no trap was sent: the parameter snmp_trap_dest_host is not set");
    if (traps_go_nowhere())
        return failure("no trap was sent: the parameter snmp_trap_dest_type is 9, which is for none");
    if (const int status = SnmpSendTrap(message); status != 0)
        return tell_failure(status);
    if (!context.json) {
        std::fprintf(results(), "Trap sent to %s: %s\n", host, message);
        return done;
    }
    Json json(results());
    json.text("host", host);
    json.text("message", message);
    return done;
}

} // namespace plexor::ctl
