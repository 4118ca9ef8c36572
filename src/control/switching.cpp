// SPDX-License-Identifier: Apache-2.0
#include <plexor/switching.h>

#include <syslog.h>

#include <cstdio>

#include <plexor/alert.h>
#include <plexor/indicator.h>
#include <plexor/params.h>
#include <plexor/process.h>
#include <plexor/relay.h>
#include <plexor/trap.h>

#include "foundation/model_table.h"
#include "nvram.h"

namespace plexor
{
namespace
{

bool is_outlet(unsigned index)
{
    if (index < max_outlets)
        return true;
    myprintf("relayidx:%d error\n", static_cast<int>(index));
    return false;
}

int option(const char *key, unsigned outlet)
{
    int fields[max_outlets];
    RdNvram_N_Param_int(key, max_outlets, fields);
    return fields[outlet];
}

using EventText = char[32];

void write_event(EventText &text, unsigned outlet, unsigned value)
{
    if (value == 1)
        snprintf(text, sizeof text, "Outlet%u off to on", outlet + 1);
    else if (value == 0)
        snprintf(text, sizeof text, "Outlet%u on to off", outlet + 1);
}

// For other programs of the appliance, which name the outlet in the function's name.
int switch_and_tell(unsigned index, int value, const char *source)
{
    m2m_Send("mqtt-relay", index, static_cast<unsigned>(value));
    return SetPowerByIdx(index, value, source);
}

} // namespace
} // namespace plexor

using namespace plexor;

int SetPowerByIdx(unsigned index, int value, const char *source)
{
    if (!is_outlet(index))
        return 0;
    set_4IO_control(index, static_cast<unsigned>(value), source);
    const char *const caller = source == nullptr ? "" : source;
    myprintf("###SetPowerByIdx[%s]:[%u]=%d\n", caller, index, value);
    syslog(LOG_INFO, "###SetPowerByIdx[%s]:[%u]=%d\n", caller, index, value);
    LPOL();
    return 1;
}

int set_4IO_control(unsigned index, unsigned value, const char *source)
{
    if (!is_outlet(index))
        return 0;
    ContorlSpiPower(static_cast<int>(index), static_cast<int>(value));
    if (option("beep_alarm_PX", index) == 1)
        beep(1);
    EventText event{};
    write_event(event, index, value);
    SnmpSendTrap(event);
    if (option("email_alarm_PX", index) != 0)
        PreSendIOMail(event, const_cast<char *>(source));
    return 0;
}

int m2m_Send(const char *name, unsigned index, unsigned value)
{
    const int enabled = nvram_kget_int("interop_enable", 0);
    if (enabled != 1)
        return enabled;
    if (value > 1)
        return 1;
    if (!is_outlet(index))
        return 0;
    const unsigned switched_on = 11 + 2 * index;
    return SendProcessSig(name, static_cast<int>(value == 1 ? switched_on : switched_on + 1));
}

int SetPower61(int value, const char *source)
{
    return switch_and_tell(0, value, source);
}

int SetPower62(int value, const char *source)
{
    return switch_and_tell(1, value, source);
}

int SetPower63(int value, const char *source)
{
    return switch_and_tell(2, value, source);
}

int SetPower64(int value, const char *source)
{
    return switch_and_tell(3, value, source);
}

int SetPower65(int value, const char *source)
{
    return switch_and_tell(4, value, source);
}

int SetPower66(int value, const char *source)
{
    return switch_and_tell(5, value, source);
}

int SetPower67(int value, const char *source)
{
    return switch_and_tell(6, value, source);
}

int SetPower68(int value, const char *source)
{
    return switch_and_tell(7, value, source);
}

// Older programs are linked against these five.
void GetlastStatus(void) {}

void InitPLX(void) {}

void readeeprom(void) {}

void SetAllPower(void) {}

int ContorlPlxPower(void)
{
    return 0;
}
