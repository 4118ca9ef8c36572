// SPDX-License-Identifier: Apache-2.0
// Switching an outlet with all that its user asked for.
#include <climits>

#include "tests/contract/switching_story.h"

namespace plexor::tests
{
namespace
{

std::string report(const std::string &source, unsigned index, int value)
{
    return "###SetPowerByIdx[" + source + "]:[" + std::to_string(index) + "]=" + std::to_string(value) + "\n";
}

// --- order ---

class SwitchingOnEveryModel : public SwitchingStory, public ::testing::WithParamInterface<int>
{
  protected:
    SwitchingOnEveryModel() { use_model_asked_for_everything(GetParam()); }
};

INSTANTIATE_TEST_SUITE_P(All, SwitchingOnEveryModel, ::testing::Range(0, 12),
                         [](const auto &model) { return "Model" + std::to_string(model.param); });

TEST_P(SwitchingOnEveryModel, MovesThenBeepsThenTrapsThenMailsThenReportsThenStamps)
{
    EXPECT_EQ(steps_of_switching(0, 1), all_steps());
    let_i2c_cache_expire();
    EXPECT_EQ(steps_of_switching(0, 0), all_steps());
}

TEST_P(SwitchingOnEveryModel, LeavesReportAndStampToTheCaller)
{
    EXPECT_EQ(set_4IO_control(0, 1, "web"), 0);
    EXPECT_EQ(steps(), (Calls{"relay", "beep?", "beep", "trap", "mail?", "mail"}));
}

TEST_P(SwitchingOnEveryModel, TrapsThoughNothingElseIsAskedFor)
{
    ask_for_nothing();
    set("snmp_enable", "1");
    EXPECT_EQ(steps_of_switching(0, 0), (Calls{"relay", "beep?", "trap", "mail?", "log", "stamp"}));
}

class Switching : public SwitchingStory
{
  protected:
    // What is called before the first option is read, and from there on.
    Calls moving() const
    {
        const Calls all = calls();
        return {all.begin(), all.begin() + first_option()};
    }
    Calls telling() const
    {
        const Calls all = calls();
        return {all.begin() + first_option(), all.end()};
    }

  private:
    std::ptrdiff_t first_option() const
    {
        const Calls all = calls();
        return std::ranges::find(all, "nvram_kget_str beep_alarm_PX 512") - all.begin();
    }
};

TEST_F(Switching, BeginsAsMovingTheRelayAlone)
{
    for (int model = 0; model < 12; ++model) {
        use_model(model, latching);
        ContorlSpiPower(3, 0);
        const Calls alone = calls();
        let_i2c_cache_expire();
        use_model_asked_for_everything(model);
        SetPowerByIdx(3, 0, "web");
        EXPECT_EQ(moving(), alone) << model;
        let_i2c_cache_expire();
    }
}

TEST_F(Switching, ReadsItsOptionsAndReportsAndStampsWhenNothingIsAskedFor)
{
    use_model(4, latching);
    EXPECT_EQ(SetPowerByIdx(2, 0, "web"), 1);
    EXPECT_EQ(telling(),
              story({{"nvram_kget_str beep_alarm_PX 512", "nvram_kget_str snmp_enable 5",
                      "nvram_kget_str email_alarm_PX 512", "syslog 6 ###SetPowerByIdx[web]:[2]=0\n"},
                     stamp_last_switch}));
    EXPECT_EQ(debug_print(), "index:2 value:20  is_Latch:8 \n" + report("web", 2, 0));
}

TEST_F(Switching, BeepsOnceBetweenItsOptions)
{
    use_model(11, latching);
    set("beep_alarm_PX", "1");
    EXPECT_EQ(set_4IO_control(0, 0, "web"), 0);
    EXPECT_EQ(telling(), story({{"nvram_kget_str beep_alarm_PX 512"},
                                beep_on_line_45(0xFFFFDFFF, 0xFFFFFFFF),
                                {"nvram_kget_str snmp_enable 5", "nvram_kget_str email_alarm_PX 512"}}));
    EXPECT_FALSE(board().beeping());
}

TEST_F(Switching, MovesTheOutletAndNoOther)
{
    for (unsigned outlet = 0; outlet < 8; ++outlet) {
        start_with_all(true);
        SetPowerByIdx(outlet, 0, "web");
        EXPECT_EQ(contacts(), all_but(outlet, true));
        EXPECT_EQ(recorded(), print("%x", 1U << outlet));
        start_with_all(false);
        SetPowerByIdx(outlet, 1, "web");
        EXPECT_EQ(contacts(), all_but(outlet, false));
    }
}

TEST_F(Switching, NotifiesTheConnectorOnceWithValueOne)
{
    connect_mqtt();
    SetPowerByIdx(3, 0, "web");
    EXPECT_EQ(notifications(), one_notification());
}

// --- report and stamp ---

TEST_F(Switching, IsReportedInPrintAndInTheLog)
{
    for (const int value : {1, 0, 2, -1, INT_MAX, INT_MIN}) {
        forget_calls();
        EXPECT_EQ(SetPowerByIdx(7, value, "mqtt"), 1);
        EXPECT_TRUE(debug_print().ends_with("\n" + report("mqtt", 7, value))) << debug_print();
        EXPECT_EQ(calls("syslog 6 ###"), Calls{"syslog 6 " + report("mqtt", 7, value)});
    }
}

TEST_F(Switching, ReportsAnySourceAsItIs)
{
    for (const std::string &source : {std::string("%n%s%d"), std::string(1000, 's'), std::string()}) {
        forget_calls();
        EXPECT_EQ(SetPowerByIdx(0, 1, source.c_str()), 1);
        EXPECT_TRUE(debug_print().ends_with("\n" + report(source, 0, 1))) << source;
        EXPECT_EQ(calls("syslog 6 ###"), Calls{"syslog 6 " + report(source, 0, 1)});
    }
}

TEST_F(Switching, ReportsNoSourceAsNothing)
{
    EXPECT_EQ(SetPowerByIdx(0, 1, nullptr), 1);
    EXPECT_TRUE(debug_print().ends_with("\n" + report("", 0, 1)));
    EXPECT_EQ(calls("syslog 6 ###"), Calls{"syslog 6 " + report("", 0, 1)});
    EXPECT_EQ(steps(), all_steps());
}

TEST_F(Switching, PrintsBeforeItLogs)
{
    std::string printed;
    at_call("syslog 6 ###", [&] { printed = debug_print(); });
    SetPowerByIdx(0, 1, "web");
    EXPECT_TRUE(printed.ends_with(report("web", 0, 1)));
}

TEST_F(Switching, IsStampedLastWithTheTimeAfterTheBeep)
{
    SetPowerByIdx(0, 1, "web");
    EXPECT_EQ(segment(last_switch), // 1000 s, 150,000,000 ns
              (std::vector<std::uint8_t>{0xE8, 0x03, 0, 0, 0x80, 0xD1, 0xF0, 0x08}));
    const Calls made = calls();
    EXPECT_EQ(Calls(made.end() - 4, made.end()), stamp_last_switch);
}

// --- the beep option ---

class SwitchingOption : public SwitchingStory
{
  protected:
    bool beeps(const std::string &list, unsigned outlet)
    {
        return takes("beep", "beep_alarm_PX", list, outlet);
    }
    bool mails(const std::string &list, unsigned outlet)
    {
        return takes("mail", "email_alarm_PX", list, outlet);
    }

    // A list that marks one outlet is taken for that one and for no other.
    static void
    expect_of_its_own_outlet_alone(const std::function<bool(const std::string &, unsigned)> &is_taken)
    {
        for (unsigned outlet = 0; outlet < 8; ++outlet) {
            std::string list = "0;0;0;0;0;0;0;0";
            list[2 * outlet] = '1';
            for (unsigned switched = 0; switched < 8; ++switched)
                EXPECT_EQ(is_taken(list, switched), switched == outlet) << list;
        }
    }

  private:
    bool takes(const char *step, const char *key, const std::string &list, unsigned outlet)
    {
        set(key, list);
        const Calls steps = steps_of_switching(outlet, 1);
        EXPECT_EQ(std::ranges::count(steps, "trap"), 1);
        const auto times = std::ranges::count(steps, step);
        EXPECT_LE(times, 1);
        return times == 1;
    }
};

TEST_F(SwitchingOption, OfOneAloneBeeps)
{
    EXPECT_TRUE(beeps("1", 0));
    for (const char *list : {"", "0", "2", "-1", "10", "11", "x", ";1"})
        EXPECT_FALSE(beeps(list, 0)) << list;
    unset("beep_alarm_PX");
    EXPECT_EQ(steps_of_switching(0, 1), all_steps_but("beep"));
}

TEST_F(SwitchingOption, BeepsForItsOwnOutlet)
{
    expect_of_its_own_outlet_alone([this](const auto &list, unsigned outlet) { return beeps(list, outlet); });
}

TEST_F(SwitchingOption, BeepsWhicheverWayTheOutletGoes)
{
    for (const int value : {0, 1, 2, -1})
        EXPECT_EQ(steps_of_switching(0, value), all_steps());
}

TEST_F(SwitchingOption, IsTakenFromAListOfAnyLength)
{
    EXPECT_FALSE(beeps("1;1;1", 3));
    EXPECT_TRUE(beeps("0;0;0;0;0;0;0;1;0;0", 7));
    EXPECT_FALSE(beeps("0;0;0;0;0;0;0;0;1", 7));
    EXPECT_FALSE(mails("1;1;1", 3));
    EXPECT_TRUE(mails("0;0;0;0;0;0;0;1;0;0", 7));
    EXPECT_FALSE(mails("0;0;0;0;0;0;0;0;1", 7));
}

TEST_F(SwitchingOption, OfAnythingButZeroMails)
{
    for (const char *list : {"1", "2", "-1", "10", "1x"})
        EXPECT_TRUE(mails(list, 0)) << list;
    for (const char *list : {"", "0", "-0", "x", ";1"})
        EXPECT_FALSE(mails(list, 0)) << list;
    unset("email_alarm_PX");
    EXPECT_EQ(steps_of_switching(0, 1), all_steps_but("mail"));
}

TEST_F(SwitchingOption, MailsForItsOwnOutlet)
{
    expect_of_its_own_outlet_alone([this](const auto &list, unsigned outlet) { return mails(list, outlet); });
}

TEST_F(SwitchingOption, IsNotKeptFromOneSwitchToTheNext)
{
    EXPECT_TRUE(beeps("1", 0));
    EXPECT_FALSE(beeps("0", 0));
    EXPECT_TRUE(mails("1", 0));
    EXPECT_FALSE(mails("0", 0));
}

// --- the texts ---

class SwitchingTexts : public SwitchingStory
{
  protected:
    // The text in the latest entry of the journal, which begins below the header and ends before the states.
    static std::string entry_after_switching(unsigned outlet, int value, const char *source = "web")
    {
        remove_journal();
        SetPowerByIdx(outlet, value, source);
        const std::string text = journal_text();
        const auto start = text.find('\n') + 1;
        return text.substr(start, text.find("\r\n\t[") - start);
    }
    static std::string header_after_switching_by(const char *source)
    {
        remove_journal();
        SetPowerByIdx(0, 1, source);
        const std::string text = journal_text();
        return text.substr(4, text.find('\n') - 4);
    }
};

TEST_F(SwitchingTexts, OfTheTrapNameTheOutletAndTheWay)
{
    for (unsigned outlet = 0; outlet < 8; ++outlet) {
        const std::string name = "Outlet" + std::to_string(outlet + 1);
        forget_calls();
        SetPowerByIdx(outlet, 0, "web");
        SetPowerByIdx(outlet, 1, "web");
        EXPECT_EQ(traps(), (Calls{name + " on to off", name + " off to on"}));
    }
}

TEST_F(SwitchingTexts, OfTheJournalNameTheOutletAndTheWay)
{
    for (unsigned outlet = 0; outlet < 8; ++outlet) {
        const std::string name = "Outlet" + std::to_string(outlet + 1);
        EXPECT_EQ(entry_after_switching(outlet, 0), name + " on to off");
        EXPECT_EQ(entry_after_switching(outlet, 1), name + " off to on");
    }
}

TEST_F(SwitchingTexts, SayTheWayWhateverTheOutletWas)
{
    SetPowerByIdx(0, 1, "web");
    SetPowerByIdx(0, 1, "web");
    EXPECT_EQ(traps(), Calls(2, "Outlet1 off to on"));
}

TEST_F(SwitchingTexts, AreEmptyForAValueThatIsNeitherAndTheRelayGoesOn)
{
    for (const int value : {2, -1, 256, 257, INT_MAX, INT_MIN}) {
        start_with_all(false);
        EXPECT_EQ(entry_after_switching(5, value), "") << value;
        EXPECT_EQ(traps(), Calls{""});
        EXPECT_EQ(contacts(), all_but(5, false));
    }
}

TEST_F(SwitchingTexts, OfTheJournalFollowTheState)
{
    entry_after_switching(2, 0);
    EXPECT_NE(journal_text().find("Power2=ON, 0.00A;Power3=OFF, 0.00A;Power4=ON,"), std::string::npos)
        << journal_text();
}

TEST_F(SwitchingTexts, OfTheJournalNameTheSource)
{
    EXPECT_TRUE(header_after_switching_by("web").starts_with("SOURCE:web 2026-01-0"));
    EXPECT_TRUE(header_after_switching_by("%n%s").starts_with("SOURCE:%n%s 2026-01-0"));
    EXPECT_TRUE(header_after_switching_by("").starts_with("SOURCE: 2026-01-0"));
    EXPECT_TRUE(header_after_switching_by(nullptr).starts_with("SOURCE:N/A 2026-01-0"));
}

TEST_F(SwitchingTexts, OfTheJournalCutALongSource)
{
    const std::string header = header_after_switching_by(std::string(1000, 's').c_str());
    EXPECT_EQ(header.size(), 298U);
    EXPECT_TRUE(header.starts_with("SOURCE:sss"));
}

TEST_F(SwitchingTexts, OfTheJournalGatherEntryAfterEntry)
{
    SetPowerByIdx(0, 0, "web");
    SetPowerByIdx(1, 1, "web");
    const std::string text = journal_text();
    EXPECT_LT(text.find("\nOutlet1 on to off\r\n"), text.find("\nOutlet2 off to on\r\n"));
    EXPECT_NE(text.find("\nOutlet2 off to on\r\n"), std::string::npos);
}

} // namespace
} // namespace plexor::tests
