// SPDX-License-Identifier: Apache-2.0
#include <plexor/trap.h>

#include <cstdlib>
#include <cstring>

#include "nvram.h"
#include "support/list.h"
#include "support/shell.h"

namespace plexor
{
namespace
{

constexpr int version_1 = 0;
constexpr int nothing = 9;

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

struct Destination {
    char community[64] = {};
    char host[64] = {};
};

void append_host(TextBuilder &command, const char *host)
{
    if (*host == '-') // no option of the tool, but a destination that it will not find
        command.append("udp:");
    shell::append_word(command, host);
}

void build(TextBuilder &command, const Template &parts, const Destination &destination, const char *message)
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
    char enabled[5] = {};
    fetch("snmp_enable", enabled);
    if (message == nullptr || std::strcmp(enabled, "1") != 0)
        return -1;
    char type_text[64] = {};
    Destination destination;
    fetch("snmp_trap_dest_type", type_text);
    fetch("snmp_trap_dest_community", destination.community);
    fetch("snmp_trap_dest_host", destination.host);
    const int type = std::atoi(type_text);
    if (type == nothing)
        return 0;
    char text[512];
    TextBuilder command(text);
    build(command, type == version_1 ? version_1_template : version_2c_template, destination, message);
    if (command.full()) {
        myprintf("SnmpSendTrap error\n");
        return -1;
    }
    myprintf("%s", text); // never as a format: the values may hold conversions
    return system(text);
}
