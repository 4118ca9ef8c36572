// SPDX-License-Identifier: Apache-2.0
// The parameters by which traps are sent.
#pragma once

#include <cstdlib>
#include <cstring>

#include "support/list.h"

namespace plexor
{

inline bool traps_enabled()
{
    char enabled[5] = {};
    fetch("snmp_enable", enabled);
    return std::strcmp(enabled, "1") == 0;
}

struct TrapDestination {
    char type[64] = {};
    char community[64] = {};
    char host[64] = {};

    bool is_nobody() const { return number() == 9; }
    bool is_version_1() const { return number() == 0; }

  private:
    int number() const { return std::atoi(type); }
};

inline void fetch_trap_destination(TrapDestination &destination)
{
    fetch("snmp_trap_dest_type", destination.type);
    fetch("snmp_trap_dest_community", destination.community);
    fetch("snmp_trap_dest_host", destination.host);
}

} // namespace plexor
