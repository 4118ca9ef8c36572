// SPDX-License-Identifier: Apache-2.0
#include <plexor/trap.h>

#include <cstdlib>

#include "notify/trap_settings.h"
#include "nvram.h"
#include "support/shell.h"

namespace plexor
{
namespace
{

// The text around community, destination and message. The blank after the second line feed has always been
// there.
struct Template {
    char start[32];
    char identity[80];
    char end[8];
};
constexpr Template version_1_template{
    "/bin/snmptrap -v 1 -c \"",
    " VOLTARA-MIB::outletStatusChanged \"\" 6 1 \"\" SNMPv2-MIB::sysLocation.0 s \"", "\" \n"};
constexpr Template version_2c_template{
    "/bin/snmptrap -v 2c -c \"", " \"\" VOLTARA-MIB::outletStatusChanged SNMPv2-MIB::sysLocation.0 s \"",
    "\" \n "};

void append_host(TextBuilder &command, const char *host)
{
    if (*host == '-') // no option of the tool, but a destination that it will not find
        command.append("udp:");
    shell::append_word(command, host);
}

void build(TextBuilder &command, const Template &parts, const TrapDestination &destination,
           const char *message)
{
    command.append(parts.start);
    shell::append_quoted(command, destination.community);
    command.append("\" ");
    append_host(command, destination.host);
    command.append(parts.identity);
    shell::append_quoted(command, message);
    command.append(parts.end);
}

} // namespace
} // namespace plexor

using namespace plexor;

int SnmpSendTrap(char *message)
{
    if (message == nullptr || !traps_enabled())
        return -1;
    TrapDestination destination;
    fetch_trap_destination(destination);
    if (destination.is_nobody())
        return 0;
    char text[512];
    TextBuilder command(text);
    build(command, destination.is_version_1() ? version_1_template : version_2c_template, destination,
          message);
    if (command.full()) {
        myprintf("SnmpSendTrap error\n");
        return -1;
    }
    myprintf("%s", text); // never as a format: the values may hold conversions
    return system(text);
}
