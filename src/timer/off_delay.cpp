// SPDX-License-Identifier: Apache-2.0
#include <plexor/off_delay.h>

#include <cstdlib>
#include <ctime>

#include <plexor/datagram.h>
#include <plexor/switching.h>

#include "foundation/model_table.h"
#include "nvram.h"
#include "support/list.h"

namespace plexor
{
namespace
{

int delay_of(unsigned outlet)
{
    char list[128] = {};
    fetch("OFFDelay_PX", list);
    const char *const field = nth_filled_field(list, outlet);
    return field == nullptr ? 0 : std::atoi(field);
}

unsigned now()
{
    return static_cast<unsigned>(time(nullptr));
}

} // namespace
} // namespace plexor

using namespace plexor;

unsigned SetOFFDelayTime_t(int outlet, unsigned *table)
{
    if (outlet < 1 || outlet > int{max_outlets} || table == nullptr || table[outlet - 1] != 0)
        return 0;
    const auto number = static_cast<unsigned>(outlet);
    const int delay = delay_of(number);
    myprintf("SetOFFDelayTime_t%d:%d\n", outlet, delay);
    if (delay < 1)
        return 0;
    SendOFFDelayUDP(number);
    table[outlet - 1] = now() + static_cast<unsigned>(delay);
    return 0;
}

unsigned CheckOFFDelayTime_t(unsigned *table, const char *source)
{
    if (table == nullptr)
        return 0;
    const unsigned present = now();
    const bool switches = nvram_kget_int("wol_sol_trigger", 0) == 1;
    for (unsigned i = 0; i < max_outlets; ++i) {
        if (table[i] == 0 || table[i] > present)
            continue;
        table[i] = 0;
        if (switches)
            SetPowerByIdx(i, 0, source);
        myprintf("OFFDelay[%s]:%u\n", source == nullptr ? "" : source, i);
    }
    return 0;
}
