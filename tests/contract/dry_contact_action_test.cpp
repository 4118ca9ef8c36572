// SPDX-License-Identifier: Apache-2.0
// What a change of the dry contact does to the outlets, and in which order.
#include <climits>

#include <plexor/alert.h>
#include <plexor/indicator.h>
#include <plexor/params.h>
#include <plexor/process.h>

#include "tests/contract/dry_contact_story.h"

namespace plexor::tests
{
namespace
{

class DryContact : public DryContactStory
{
  protected:
    // One outlet in this state has this action alone.
    Calls actions_of_one(unsigned outlet, const std::string &action, bool on)
    {
        forget_past();
        outlets_are(on ? 1U << outlet : all_on & ~(1U << outlet));
        want(alone(outlet, action));
        set("cycle_time_PX", alone(outlet, "7"));
        return actions_of(1);
    }
};

// --- everything that happens, in order, on every model ---

class DryContactParts : public DryContact
{
  protected:
    void prepare(int model, unsigned on_mask)
    {
        use(model);
        outlets_are(on_mask);
        want("1;2;3;0;2;1;9;3");
        set("cycle_time_PX", "10;20;30;40;50;60;70;80");
        want_mail();
        want_beep();
    }
    void read_and_beep()
    {
        int list[8];
        RdNvram_N_Param_int("DI1_action", 8, list);
        RdNvram_N_Param_int("sDIBeep_PX", 4, list);
        RdNvram_N_Param_int("sDIMail_PX", 4, list);
        RdNvram_N_Param_int("cycle_time_PX", 8, list);
        GetPowerStatus(list);
        beep(1);
    }
    static void mail(std::string text)
    {
        std::string source = "Dry_action";
        PreSendIOMail(text.data(), source.data());
    }
    static void wait_and_mail(const std::string &text)
    {
        Sleep(1);
        mail(text);
    }
    static void cycle(unsigned outlet, unsigned seconds)
    {
        SnmpTimeCycle(outlet, seconds, 0, 1);
        wait_and_mail(print("Dry_action Outlet%u Reset %u sec Dry_Changed: 1 ", outlet, seconds));
    }
    // Calls and journal are as if the parts were called one after the other.
    void expect_as_by_hand(int model, unsigned on_mask, const std::function<void()> &act)
    {
        prepare(model, on_mask);
        read_and_beep();
        const Calls before = calls();
        forget_calls();
        act();
        mail("Dry_action Dry_Changed:1 ");
        const Calls expected = story({before, {"syslog 4 ### Dry Contact Alarm DI = OPEN !!! \n"}, calls()});
        const std::string entries = text_of(journal);
        prepare(model, on_mask);
        EXPECT_EQ(dry_action(1), 1);
        EXPECT_EQ(calls(), expected) << model;
        EXPECT_EQ(text_of(journal), entries) << model;
    }
};

TEST_F(DryContactParts, FollowEachOtherWhereAllOutletsAreOn)
{
    for (int model = 0; model < 12; ++model) {
        expect_as_by_hand(model, all_on, [] {
            ContorlSpiPower(0, 0);
            wait_and_mail("Dry_action Outlet1 OFF Dry_Changed: 1 ");
            cycle(3, 30);
            ContorlSpiPower(5, 0);
            wait_and_mail("Dry_action Outlet6 OFF Dry_Changed: 1 ");
            cycle(8, 80);
        });
    }
}

TEST_F(DryContactParts, FollowEachOtherWhereAllOutletsAreOff)
{
    for (int model = 0; model < 12; ++model) {
        expect_as_by_hand(model, all_off, [] {
            ContorlSpiPower(1, 1);
            wait_and_mail("Dry_action Outlet2 ON Dry_Changed: 1 ");
            cycle(3, 30);
            ContorlSpiPower(4, 1);
            wait_and_mail("Dry_action Outlet5 ON Dry_Changed: 1 ");
            cycle(8, 80);
        });
    }
}

TEST_F(DryContact, ReadsItsSettingsBeepsLogsActsAndMails)
{
    want("1;1;1;1;1;1;1;1");
    want_beep();
    want_mail();
    outlets_are(0x41);
    EXPECT_EQ(steps_of(1), story({settings_read,
                                  {"beep", "log", "-1", "second", "mail", "-7", "second", "mail", "mail"}}));
}

TEST_F(DryContact, ReadsTheOutletsBehindItsSettingsAndBeforeItBeeps)
{
    want_beep();
    dry_action(1);
    const Calls all = calls();
    EXPECT_EQ(Calls(all.begin(), all.begin() + 7),
              story({{"nvram_kget_str DI1_action 512", "nvram_kget_str sDIBeep_PX 512",
                      "nvram_kget_str sDIMail_PX 512", "nvram_kget_str cycle_time_PX 512"},
                     ask_model,
                     read_off_mask,
                     ask_model}));
}

// --- each action on each state of each outlet ---

TEST_F(DryContact, SwitchesOffWhatIsOnAndOnWhatIsOffOnEveryModelWithRelaysInAChain)
{
    for (const int model : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 11}) {
        use(model);
        for (unsigned i = 0; i < 8; ++i) {
            EXPECT_EQ(actions_of_one(i, "1", true), (Calls{print("-%u", i + 1), "second"}))
                << model << " " << i;
            EXPECT_EQ(actions_of_one(i, "1", false), Calls{}) << model << " " << i;
            EXPECT_EQ(actions_of_one(i, "2", false), (Calls{print("+%u", i + 1), "second"}))
                << model << " " << i;
            EXPECT_EQ(actions_of_one(i, "2", true), Calls{}) << model << " " << i;
        }
    }
}

TEST_F(DryContact, CyclesOutletsInEitherStateOnEveryModelWithRelaysInAChain)
{
    for (const int model : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 11}) {
        use(model);
        for (unsigned i = 0; i < 8; ++i) {
            for (const bool on : {true, false})
                EXPECT_EQ(actions_of_one(i, "3", on), (Calls{print("-%u", i + 1), "cycle", "second"}))
                    << model << i;
        }
    }
}

TEST_F(DryContact, SwitchesTheLinesOfModel10)
{
    use(10);
    for (unsigned i = 0; i < 8; ++i) {
        const unsigned line = 1U << pinRelayGPIO[i];
        EXPECT_EQ(actions_of_one(i, "1", true), Calls{"second"});
        EXPECT_EQ(calls("ioctl /dev/gpio 18"), Calls{gpio_request(18, line)}) << i;
        EXPECT_EQ(board().gpio_levels(0) & line, line);
        use(10);
        EXPECT_EQ(actions_of_one(i, "2", false), Calls{"second"});
        EXPECT_EQ(calls("ioctl /dev/gpio 18"), Calls{gpio_request(18, line)}) << i;
        EXPECT_EQ(board().gpio_levels(0) & line, 0U);
        use(10);
        EXPECT_EQ(actions_of_one(i, "1", false), Calls{});
        EXPECT_EQ(actions_of_one(i, "2", true), Calls{});
    }
}

TEST_F(DryContact, DoesNothingForAnyOtherAction)
{
    for (const char *other : {"0", "4", "5", "10", "11", "-1", "-3", "x", "", "2147483647", "-2147483648"}) {
        for (const unsigned outlet : {0U, 7U}) {
            EXPECT_EQ(actions_of_one(outlet, other, true), Calls{}) << other;
            EXPECT_EQ(actions_of_one(outlet, other, false), Calls{}) << other;
        }
    }
}

TEST_F(DryContact, AsksTheModelsOwnPlaceForTheStates)
{
    for (const auto &[model, group] :
         std::map<int, int>{{2, -1}, {3, -1}, {11, -1}, {4, 0}, {5, 0}, {8, 1}, {9, 1}}) {
        use(model);
        want("1;1;1;1;1;1;1;1");
        outlets_are_recorded(group == -1 ? 0x01 : 0xFE);
        outlets_are_on_lines(0, pinRelayGPIO, group == 0 ? 0x01 : 0xFE);
        outlets_are_on_lines(1, pinRelayGPIO3264, group == 1 ? 0x01 : 0xFE);
        EXPECT_EQ(actions_of(1), (Calls{"-1", "second"})) << model;
    }
}

TEST_F(DryContact, TakesTheOutletsInTheirOrderAndASecondForEach)
{
    want("1;2;1;2;1;2;1;2");
    outlets_are(0x55);
    EXPECT_EQ(actions_of(0), (Calls{"-1", "second", "+2", "second", "-3", "second", "+4", "second", "-5",
                                    "second", "+6", "second", "-7", "second", "+8", "second"}));
    for (int outlet = 0; outlet < 8; ++outlet)
        EXPECT_EQ(board().contact(outlet), outlet % 2 == 1) << outlet;
}

TEST_F(DryContact, GoesByWhatItReadAtTheStart)
{
    want("1;1;2;3;0;0;0;0");
    set("cycle_time_PX", "0;0;0;40");
    outlets_are(0x03);
    at_call("nanosleep 1.0", [this] {
        want("2;2;1;0;1;1;1;1");
        want_mail();
        set("cycle_time_PX", "0;0;0;50");
        outlets_are_recorded(0xFC);
    });
    EXPECT_EQ(actions_of(1),
              (Calls{"-1", "second", "-2", "second", "+3", "second", "-4", "cycle", "second"}));
    EXPECT_EQ(mails(), Calls{});
    EXPECT_STREQ(cycles().durations, "0;0;0;40;0;0;0;0");
}

TEST_F(DryContact, WaitsItsFullSecondThroughASignal)
{
    want("1");
    at_call("ioctl /dev/spiS0 4", [this] { interrupt_next_sleep_after(400'000'000); });
    dry_action(1);
    EXPECT_EQ(calls("nanosleep"), (Calls{"nanosleep 1.000000000", "nanosleep 0.600000000"}));
}

// --- the list of actions ---

TEST_F(DryContact, WithoutActionsTouchesNothing)
{
    for (const char *none : {"", "0;0;0;0;0;0;0;0", ";;;;;;;", ";", "none"}) {
        want(none);
        EXPECT_EQ(actions_of(1), Calls{}) << none;
    }
    unset("DI1_action");
    EXPECT_EQ(actions_of(1), Calls{});
}

TEST_F(DryContact, TakesMissingFieldsForNoAction)
{
    outlets_are(all_on);
    want("1");
    EXPECT_EQ(actions_of(1), (Calls{"-1", "second"}));
    want(";1;");
    EXPECT_EQ(actions_of(1), (Calls{"-2", "second"}));
}

TEST_F(DryContact, ReadsHostileFieldsAsNumbersAreRead)
{
    outlets_are(all_on);
    want("1x; 1;x1;+1;0x1;\t1;01;1 1;1;1");
    EXPECT_EQ(actions_of(1), (Calls{"-1", "second", "-2", "second", "-4", "second", "-6", "second", "-7",
                                    "second", "-8", "second"}));
}

TEST_F(DryContact, Sees511CharactersOfTheList)
{
    outlets_are(all_on);
    want(std::string(509, ' ') + ";1");
    EXPECT_EQ(actions_of(1), (Calls{"-2", "second"}));
    outlets_are(all_on);
    want(std::string(510, ' ') + ";1");
    EXPECT_EQ(actions_of(1), Calls{});
}

// --- cycles ---

TEST_F(DryContact, CyclesWithTheSecondsOfTheOutletOffFirst)
{
    want("3;0;0;0;0;0;0;3");
    set("cycle_time_PX", "11;22;33;44;55;66;77;9999");
    EXPECT_EQ(actions_of(1), (Calls{"-1", "cycle", "second", "-8", "cycle", "second"}));
    const auto record = cycles();
    EXPECT_STREQ(record.durations, "11;0;0;0;0;0;0;9999");
    EXPECT_EQ(record.active, 0x81U);
    EXPECT_EQ(record.mode[0] + record.mode[7], 2);
    EXPECT_EQ(record.mode[1], 0);
    EXPECT_EQ(record.notify, 0U);
}

TEST_F(DryContact, CyclingWithoutSecondsSetsTheModeAloneAndTakesItsSecond)
{
    for (const char *zero : {"0", "", "x"}) {
        forget_past();
        want("0;3");
        set("cycle_time_PX", alone(1, zero));
        EXPECT_EQ(actions_of(1), Calls{"second"}) << zero;
        EXPECT_EQ(cycles().mode[1], 1);
        EXPECT_EQ(cycles().active, 0U);
        EXPECT_STREQ(cycles().durations, "");
    }
}

TEST_F(DryContact, CyclesLongerThanOthersMay)
{
    want("3");
    for (const char *seconds : {"10000", "86400", "2147483647"}) {
        forget_past();
        set("cycle_time_PX", seconds);
        EXPECT_EQ(actions_of(1), (Calls{"-1", "cycle", "second"}));
        EXPECT_EQ(cycles().durations, std::string(seconds) + ";0;0;0;0;0;0;0");
        EXPECT_EQ(cycles().active, 1U);
    }
}

TEST_F(DryContact, SwitchesOffForNegativeSecondsAndStartsNoCycle)
{
    outlets_are(all_on);
    want("3");
    set("cycle_time_PX", "-5");
    EXPECT_EQ(actions_of(1), (Calls{"-1", "cycle", "second"}));
    EXPECT_FALSE(board().contact(0));
    EXPECT_STREQ(cycles().durations, "-5;0;0;0;0;0;0;0");
    EXPECT_STREQ(cycles().table, "0;0;0;0;0;0;0;0;0;0;0;0;0;0;0;0");
    EXPECT_EQ(cycles().active, 0U);
}

TEST_F(DryContact, DropsACycleWhoseRecordIsBusyAfterAnotherSecond)
{
    keep_cycles_busy();
    want("3;1");
    set("cycle_time_PX", "10");
    want_mail();
    EXPECT_EQ(actions_of(0), (Calls{"second", "second", "mail", "-2", "second", "mail", "mail"}));
    EXPECT_EQ(mails().at(0), "Dry_action Outlet1 Reset 10 sec Dry_Changed: 0 ");
    EXPECT_EQ(cycles().active, 0U);
    EXPECT_EQ(cycles().mode[0], 0);
    EXPECT_EQ(cycles().busy, 1U);
}

TEST_F(DryContact, WithoutTheCycleRecordTakesItsSecondAndMails)
{
    want("3");
    set("cycle_time_PX", "10");
    want_mail();
    fail_call("shmget", EACCES);
    EXPECT_EQ(actions_of(0), (Calls{"second", "mail", "mail"}));
}

// --- what can go wrong ---

TEST_F(DryContact, WithoutTheRelaysWaitsAndMailsAllTheSame)
{
    remove_driver();
    outlets_are(0x01);
    want("1;2");
    want_mail();
    EXPECT_EQ(actions_of(1), (Calls{"second", "mail", "second", "mail", "mail"}));
    EXPECT_EQ(mails(), (Calls{"Dry_action Outlet1 OFF Dry_Changed: 1 ",
                              "Dry_action Outlet2 ON Dry_Changed: 1 ", "Dry_action Dry_Changed:1 "}));
    EXPECT_EQ(recorded(), "fd") << "as recorded before the relays were found missing";
}

using DryContactDeathTest = DryContact;

TEST_F(DryContactDeathTest, WithoutTheBusEndsTheProcessWhenItSwitches)
{
    fail_open("/dev/i2cM0", ENOENT);
    EXPECT_EQ(dry_action(1), 1);
    want("1");
    EXPECT_EXIT(dry_action(1), testing::ExitedWithCode(255), "/dev/i2cM0: No such file or directory\n$");
}

} // namespace
} // namespace plexor::tests
