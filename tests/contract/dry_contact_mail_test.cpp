// SPDX-License-Identifier: Apache-2.0
// Who is told of a change of the dry contact: ears, the system log, the alert journal.
#include <climits>

#include "tests/contract/dry_contact_story.h"

namespace plexor::tests
{
namespace
{

class DryContactMail : public DryContactStory
{
  protected:
    DryContactMail() { want_mail(); }

    Calls mails_of(int opened)
    {
        remove_journal();
        dry_action(opened);
        return mails();
    }
    Calls log_of(int opened)
    {
        forget_calls();
        dry_action(opened);
        return calls("syslog");
    }
};

constexpr int opened_as[] = {0, 1, -1, 5, INT_MAX, INT_MIN};

// --- the mails ---

TEST_F(DryContactMail, TellsOfTheChangeAloneWhenThereIsNothingToDo)
{
    for (const int opened : opened_as)
        EXPECT_EQ(mails_of(opened), Calls{print("Dry_action Dry_Changed:%d ", opened)});
    EXPECT_EQ(steps_of(1), story({settings_read, {"log", "mail"}}));
}

TEST_F(DryContactMail, TellsOfEachOutletThatWasActedOnThenOfTheChange)
{
    want("1;2;3;1;2;0;2;3");
    set("cycle_time_PX", "0;0;120;0;0;0;0;0");
    for (const int opened : opened_as) {
        outlets_are(0x51);
        EXPECT_EQ(mails_of(opened), (Calls{print("Dry_action Outlet1 OFF Dry_Changed: %d ", opened),
                                           print("Dry_action Outlet2 ON Dry_Changed: %d ", opened),
                                           print("Dry_action Outlet3 Reset 120 sec Dry_Changed: %d ", opened),
                                           print("Dry_action Outlet8 Reset 0 sec Dry_Changed: %d ", opened),
                                           print("Dry_action Dry_Changed:%d ", opened)}))
            << "4 is off, 5 and 7 are on";
        remove_segment(PLEXOR_CYCLE_KEY);
    }
}

TEST_F(DryContactMail, HasTheSourceAndFormOfTheModel)
{
    for (const auto &[model, rest] : std::map<int, std::string>{
             {4, "\r\n\t[Power1=ON ;Power2=OFF ;Power3=OFF ;Power4=OFF ;]\n\n"},
             {5, "[Power1=ON ;Power2=OFF ;Power3=OFF ;Power4=OFF ;Temperature=0.0℃(32.0℉)]\n\n"}}) {
        use(model);
        want_mail();
        outlets_are(0x01);
        dry_action(5);
        EXPECT_EQ(text_of(journal).substr(4),
                  "SOURCE:Dry_action 2026-01-02 03:04:05\nDry_action Dry_Changed:5 " + rest);
    }
}

TEST_F(DryContactMail, TellsTheSecondsOfACycleWhateverTheyAre)
{
    want("3");
    for (const char *seconds : {"0", "1", "9999", "10000", "-5", "2147483647", "-2147483648"}) {
        forget_past();
        set("cycle_time_PX", seconds);
        EXPECT_EQ(mails_of(INT_MIN).at(0),
                  std::string("Dry_action Outlet1 Reset ") + seconds + " sec Dry_Changed: -2147483648 ");
    }
}

TEST_F(DryContactMail, IsSentForTheNumberOneAlone)
{
    want("1;2;3");
    set("cycle_time_PX", "0;0;9");
    for (const char *no : {"0", "2", "-1", "11", "", "x1", "0;1;1;1", ";1"}) {
        set("sDIMail_PX", no);
        outlets_are(0x01);
        EXPECT_EQ(mails_of(1), Calls{}) << no;
        EXPECT_EQ(calls("nvram_bufset 0 IOMailWriting"), Calls{});
    }
    for (const char *yes : {"1", "1;0;0;0", "01", " 1", "+1", "1x"}) {
        set("sDIMail_PX", yes);
        outlets_are(0x01);
        EXPECT_EQ(mails_of(1).size(), 4U) << yes;
    }
}

TEST_F(DryContactMail, AnswersOneWithAndWithoutAMail)
{
    EXPECT_EQ(dry_action(0), 1);
    unset("sDIMail_PX");
    EXPECT_EQ(dry_action(0), 1);
    EXPECT_EQ(dry_action(1), 1);
}

TEST_F(DryContactMail, ThatCannotBeWrittenStopsNothing)
{
    std::filesystem::create_directory(journal);
    want("1;1");
    outlets_are(all_on);
    EXPECT_EQ(steps_of(1),
              story({settings_read, {"log", "-1", "second", "mail", "-2", "second", "mail", "mail"}}));
}

TEST_F(DryContactMail, AsksNobodyElseToTell)
{
    want("1;2");
    for (const char *key : {"beep_alarm_PX", "email_alarm_PX"})
        set(key, "1;1;1;1;1;1;1;1");
    set("snmp_enable", "1");
    outlets_are(0x01);
    dry_action(1);
    EXPECT_EQ(calls("system"), Calls{});
    EXPECT_EQ(calls("nvram_kget_str email_alarm_PX"), Calls{});
    EXPECT_EQ(calls("nanosleep 0.150"), Calls{});
}

// --- the beep ---

TEST_F(DryContactMail, BeepsOnceForTheNumberOneAlone)
{
    for (const char *no : {"0", "2", "-1", "11", "", "x1", "0;1;1;1", ";1"}) {
        set("sDIBeep_PX", no);
        EXPECT_EQ(steps_of(1), story({settings_read, {"log", "mail"}})) << no;
    }
    for (const char *yes : {"1", "1;0;0;0", "01", " 1", "+1", "1x"}) {
        set("sDIBeep_PX", yes);
        EXPECT_EQ(steps_of(1), story({settings_read, {"beep", "log", "mail"}})) << yes;
        EXPECT_FALSE(board().beeping());
    }
}

TEST_F(DryContactMail, BeepsWhicheverWayTheContactWent)
{
    want_beep();
    for (const int opened : opened_as)
        EXPECT_EQ(steps_of(opened), story({settings_read, {"beep", "log", "mail"}})) << opened;
}

// --- the system log ---

TEST_F(DryContactMail, LogsWhichWayTheContactWent)
{
    EXPECT_EQ(log_of(0), Calls{"syslog 4 ### Dry Contact Alarm DI = Loopback !!! \n"});
    for (const int opened : {1, -1, 5, 256, INT_MIN})
        EXPECT_EQ(log_of(opened), Calls{"syslog 4 ### Dry Contact Alarm DI = OPEN !!! \n"}) << opened;
}

TEST_F(DryContactMail, LogsWithoutMailAndBeepToo)
{
    unset("sDIMail_PX");
    EXPECT_EQ(log_of(0), Calls{"syslog 4 ### Dry Contact Alarm DI = Loopback !!! \n"});
    EXPECT_EQ(calls("openlog"), Calls{});
}

} // namespace
} // namespace plexor::tests
