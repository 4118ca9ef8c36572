// SPDX-License-Identifier: Apache-2.0
#include <plexor/dry_contact.h>

#include <syslog.h>

#include <cstdio>

#include <plexor/alert.h>
#include <plexor/cycle.h>
#include <plexor/indicator.h>
#include <plexor/params.h>
#include <plexor/process.h>
#include <plexor/relay.h>

#include "foundation/model_table.h"

namespace plexor
{
namespace
{

enum Action : int { switch_off = 1, switch_on = 2, cycle = 3 };

struct Settings {
    int actions[max_outlets] = {};
    int beep[4] = {};
    int mail[4] = {};
    int seconds[max_outlets] = {};
};

using MailText = char[128];

void mail(MailText &text)
{
    char source[] = "Dry_action";
    PreSendIOMail(text, source);
}

struct Outlet {
    int index;
    int action;
    int state; // 1 on, 0 off
    int seconds;

    int number() const { return index + 1; }
};

// True, with the text for a mail, when there was anything to do.
bool act(const Outlet &outlet, int opened, MailText &text)
{
    if (outlet.action == switch_off && outlet.state != 0) {
        ContorlSpiPower(outlet.index, 0);
        snprintf(text, sizeof text, "Dry_action Outlet%d OFF Dry_Changed: %d ", outlet.number(), opened);
        return true;
    }
    if (outlet.action == switch_on && outlet.state != 1) {
        ContorlSpiPower(outlet.index, 1);
        snprintf(text, sizeof text, "Dry_action Outlet%d ON Dry_Changed: %d ", outlet.number(), opened);
        return true;
    }
    if (outlet.action != cycle)
        return false;
    SnmpTimeCycle(static_cast<unsigned>(outlet.number()), static_cast<unsigned>(outlet.seconds), 0, 1);
    snprintf(text, sizeof text, "Dry_action Outlet%d Reset %d sec Dry_Changed: %d ", outlet.number(),
             outlet.seconds, opened);
    return true;
}

} // namespace
} // namespace plexor

using namespace plexor;

int dry_action(int opened)
{
    Settings settings;
    int states[max_outlets] = {};
    RdNvram_N_Param_int("DI1_action", max_outlets, settings.actions);
    RdNvram_N_Param_int("sDIBeep_PX", 4, settings.beep);
    RdNvram_N_Param_int("sDIMail_PX", 4, settings.mail);
    RdNvram_N_Param_int("cycle_time_PX", max_outlets, settings.seconds);
    GetPowerStatus(states);
    if (settings.beep[0] == 1)
        beep(1);
    syslog(LOG_WARNING, "### Dry Contact Alarm DI = %s !!! \n", opened != 0 ? "OPEN" : "Loopback");
    const bool mails = settings.mail[0] == 1;
    MailText text;
    for (int i = 0; i < int{max_outlets}; ++i) {
        if (!act({i, settings.actions[i], states[i], settings.seconds[i]}, opened, text))
            continue;
        Sleep(1);
        if (mails)
            mail(text);
    }
    if (!mails)
        return 1;
    snprintf(text, sizeof text, "Dry_action Dry_Changed:%d ", opened);
    mail(text);
    return 1;
}
