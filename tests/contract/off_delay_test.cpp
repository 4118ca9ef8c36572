// SPDX-License-Identifier: Apache-2.0
// Off delays: armed with a word to the network, and ended when their time has come.
#include <cerrno>
#include <climits>

#include <plexor/off_delay.h>

#include "tests/contract/switching_story.h"

namespace plexor::tests
{
namespace
{

constexpr unsigned now = 1'767'323'045; // when a test starts
constexpr std::int64_t second = 1'000'000'000;

using Table = std::array<unsigned, 8>;

class OffDelays : public SwitchingStory
{
  protected:
    OffDelays()
    {
        ask_for_nothing();
        add_interface("eth2"); // the datagram's
        set("OFFDelay_PX", "11;12;13;14;15;16;17;18");
        set("wol_sol_trigger", "1");
    }

    void arm(int outlet) { SetOFFDelayTime_t(outlet, table.data()); }
    void check(const char *source = "off-delay") { CheckOFFDelayTime_t(table.data(), source); }
    void start_with_all_on() { start_with_all(true); }

    // The deadline of outlet 1 with this list; 0 for none.
    unsigned deadline_with(const std::string &list)
    {
        forget_calls();
        table = {};
        set("OFFDelay_PX", list);
        arm(1);
        EXPECT_EQ(datagrams().size(), table[0] == 0 ? 0U : 1U) << list;
        return table[0];
    }
    // What was printed about ends of delays.
    std::string ended() const
    {
        std::string lines;
        std::istringstream text(debug_print());
        for (std::string line; std::getline(text, line);)
            lines += line.starts_with("OFFDelay[") ? line + "\n" : "";
        return lines;
    }
    // Outlets that were switched for "off-delay", from 0, as "2=0" in order.
    Calls switched() const
    {
        const std::string before = "syslog 6 ###SetPowerByIdx[off-delay]:[";
        Calls texts = calls(before);
        for (auto &text : texts)
            text = text.substr(before.size(), 1) + text.substr(before.size() + 2, 2);
        return texts;
    }

    Table table{};
};

// --- armed ---

TEST_F(OffDelays, AreArmedAfterTheDatagramWasSent)
{
    unsigned before = 1;
    at_call("sendto", [&] {
        before = table[2];
        advance(4 * second);
    });
    arm(3);
    EXPECT_EQ(before, 0U);
    EXPECT_EQ(table, (Table{0, 0, now + 4 + 13}));
}

TEST_F(OffDelays, ReadTheListThenPrintThenTellTheNetworkThenTheTime)
{
    std::string printed;
    at_call("socket", [&] { printed = printed.empty() ? debug_print() : printed; });
    arm(3);
    const Calls done = calls();
    ASSERT_GE(done.size(), 4U);
    EXPECT_EQ(Calls(done.begin(), done.begin() + 2),
              (Calls{"nvram_kget_str OFFDelay_PX 128", "socket INET DGRAM 0"}));
    EXPECT_EQ(Calls(done.end() - 3, done.end()),
              (Calls{"sendto 255.255.255.255:9258 66 bytes flags 0", "close socket", "time"}));
    EXPECT_EQ(printed, "SetOFFDelayTime_t3:13\n");
    EXPECT_EQ(debug_print(), printed);
}

TEST_F(OffDelays, AreEachOutletsOwn)
{
    const std::string stay("\xFE\xFD\xFB\xF7\xEF\xDF\xBF\x7F");
    for (int outlet = 1; outlet <= 8; ++outlet) {
        const auto index = static_cast<std::size_t>(outlet - 1);
        Table expected{};
        expected[index] = now + 10 + static_cast<unsigned>(outlet);
        table = {};
        forget_calls();
        arm(outlet);
        EXPECT_EQ(table, expected);
        ASSERT_EQ(datagrams().size(), 1U);
        EXPECT_EQ(datagrams()[0].bytes[23], static_cast<std::uint8_t>(stay[index]));
    }
}

TEST_F(OffDelays, OfAnOutletThatIsNoneAreNotArmed)
{
    std::array<unsigned, 24> room{}; // the table with something on either side
    for (const int outlet : {0, 9, 10, 16, -1, -7, INT_MIN, INT_MAX})
        SetOFFDelayTime_t(outlet, &room[8]);
    EXPECT_EQ(room, (std::array<unsigned, 24>{}));
    EXPECT_EQ(calls(), Calls{});
    EXPECT_EQ(debug_print(), "");
}

TEST_F(OffDelays, ThatAreArmedAreNotProlonged)
{
    table[2] = 1;
    arm(3);
    EXPECT_EQ(table, (Table{0, 0, 1}));
    EXPECT_EQ(calls(), Calls{});
    EXPECT_EQ(debug_print(), "");
}

TEST_F(OffDelays, DoNotMindThoseOfOtherOutlets)
{
    table[0] = 1;
    table[7] = 0xFFFFFFFF;
    arm(3);
    EXPECT_EQ(table, (Table{1, 0, now + 13, 0, 0, 0, 0, 0xFFFFFFFF}));
}

TEST_F(OffDelays, DoNotCountEmptyFieldsOfTheList)
{
    set("OFFDelay_PX", ";;5;;;7;");
    for (const int outlet : {1, 2, 3, 8})
        arm(outlet);
    EXPECT_EQ(table, (Table{now + 5, now + 7}));
    EXPECT_EQ(debug_print(), "SetOFFDelayTime_t1:5\nSetOFFDelayTime_t2:7\nSetOFFDelayTime_t3:0\n"
                             "SetOFFDelayTime_t8:0\n");
}

TEST_F(OffDelays, OfLessThanASecondArePrintedAndArmNothing)
{
    for (const auto &[list, delay] : std::map<std::string, std::string>{{"0", "0"},
                                                                        {"-1", "-1"},
                                                                        {"-99999", "-99999"},
                                                                        {"", "0"},
                                                                        {";", "0"},
                                                                        {"junk", "0"},
                                                                        {"x5", "0"},
                                                                        {"0.9", "0"}}) {
        EXPECT_EQ(deadline_with(list), 0U) << list;
        EXPECT_EQ(calls(), Calls{"nvram_kget_str OFFDelay_PX 128"});
        EXPECT_EQ(debug_print(), "SetOFFDelayTime_t1:" + delay + "\n");
    }
}

TEST_F(OffDelays, AreReadAsFarAsTheyAreNumbers)
{
    EXPECT_EQ(deadline_with("1"), now + 1);
    EXPECT_EQ(deadline_with("5x"), now + 5);
    EXPECT_EQ(deadline_with(" +7 s"), now + 7);
    EXPECT_EQ(deadline_with("0012"), now + 12);
    EXPECT_EQ(deadline_with("2147483647"), now + 2147483647U);
}

TEST_F(OffDelays, AreNotArmedWithoutAList)
{
    unset("OFFDelay_PX");
    arm(1);
    unplug_store(true);
    arm(1);
    EXPECT_EQ(table, Table{});
    EXPECT_EQ(debug_print(), "SetOFFDelayTime_t1:0\nSetOFFDelayTime_t1:0\n");
}

TEST_F(OffDelays, AreReadFrom127CharactersOfTheList)
{
    set("OFFDelay_PX", std::string(124, '0') + ";123");
    arm(2);
    EXPECT_EQ(table, (Table{0, now + 12}));
}

TEST_F(OffDelays, AreArmedEvenIfTheNetworkCannotBeTold)
{
    fail_call("socket", EMFILE);
    arm(1);
    fail_call("sendto", ENETUNREACH);
    arm(2);
    EXPECT_EQ(table, (Table{now + 11, now + 12}));
    EXPECT_TRUE(datagrams().empty());
}

TEST_F(OffDelays, WithoutATableAreNone)
{
    SetOFFDelayTime_t(1, nullptr);
    CheckOFFDelayTime_t(nullptr, "web");
    EXPECT_EQ(calls(), Calls{});
    EXPECT_EQ(debug_print(), "");
}

// --- ended ---

TEST_F(OffDelays, AreLookedAtWithOneLookAtTheTimeAndTheTrigger)
{
    const Table before{now + 1, 0, now + 100, 0, 0, 0, 0, 0xFFFFFFFF};
    table = before;
    check();
    EXPECT_EQ(table, before);
    EXPECT_EQ(calls(), (Calls{"time", "nvram_kget_int wol_sol_trigger 0"}));
    EXPECT_EQ(debug_print(), "");
}

TEST_F(OffDelays, EndAtTheirTimeAndNotASecondEarlier)
{
    start_with_all_on();
    table = {now, now + 1, now - 1, 1};
    check();
    EXPECT_EQ(table, (Table{0, now + 1}));
    EXPECT_EQ(switched(), (Calls{"0=0", "2=0", "3=0"}));
    EXPECT_EQ(ended(), "OFFDelay[off-delay]:0\nOFFDelay[off-delay]:2\nOFFDelay[off-delay]:3\n");
}

TEST_F(OffDelays, EndWithTheirOutletOffAndTheOthersOn)
{
    for (unsigned outlet = 0; outlet < 8; ++outlet) {
        start_with_all_on();
        table[outlet] = now;
        check();
        EXPECT_EQ(contacts(), all_but(outlet, true));
        EXPECT_EQ(table, Table{});
    }
}

TEST_F(OffDelays, OfAllOutletsEndInTheirOrder)
{
    start_with_all_on();
    table.fill(now);
    check();
    EXPECT_EQ(switched(), (Calls{"0=0", "1=0", "2=0", "3=0", "4=0", "5=0", "6=0", "7=0"}));
    EXPECT_EQ(contacts(), all(false));
    EXPECT_EQ(table, Table{});
}

TEST_F(OffDelays, AreClearedThenSwitchedThenPrinted)
{
    std::vector<unsigned> deadlines;
    std::string printed;
    start_with_all_on();
    table[4] = now;
    at_call("ioctl /dev/spiS0", [&] { deadlines.push_back(table[4]); });
    at_call("shmget 0x4C504F4C", [&] { printed = ended() + "nothing yet"; }); // the last step of a switch
    check();
    EXPECT_EQ(deadlines, std::vector<unsigned>{0});
    EXPECT_EQ(printed, "nothing yet");
    EXPECT_EQ(ended(), "OFFDelay[off-delay]:4\n");
}

TEST_F(OffDelays, ThatAreDueTogetherAreEndedOneAfterTheOther)
{
    std::vector<Table> seen;
    start_with_all_on();
    table = {now, now, now};
    at_call("syslog 6 ###SetPowerByIdx", [&] { seen.push_back(table); });
    check();
    EXPECT_EQ(seen, (std::vector<Table>{{0, now, now}, {0, 0, now}, {}}));
}

TEST_F(OffDelays, AreJudgedByTheTimeAtTheStartHoweverLongASwitchLasts)
{
    start_with_all_on();
    table = {now, now + 1};
    at_call("syslog 6 ###SetPowerByIdx", [this] { advance(10 * second); });
    check();
    EXPECT_EQ(table, (Table{0, now + 1}));
}

TEST_F(OffDelays, EndWithoutASwitchWhateverTheTriggerButOne)
{
    start_with_all_on();
    for (const char *trigger : {"0", "2", "-1", "11", "", "yes"}) {
        set("wol_sol_trigger", trigger);
        forget_calls();
        table = {0, now, now + 1, now - 5};
        check("web");
        EXPECT_EQ(table, (Table{0, 0, now + 1})) << trigger;
        EXPECT_EQ(calls(), (Calls{"time", "nvram_kget_int wol_sol_trigger 0"})) << trigger;
        EXPECT_EQ(debug_print(), "OFFDelay[web]:1\nOFFDelay[web]:3\n") << trigger;
    }
    EXPECT_EQ(contacts(), all(true));
}

TEST_F(OffDelays, EndWithoutASwitchWhereNoTriggerIsSet)
{
    start_with_all_on();
    unset("wol_sol_trigger");
    table[0] = now;
    check();
    EXPECT_EQ(contacts(), all(true));
    EXPECT_EQ(ended(), "OFFDelay[off-delay]:0\n");
}

TEST_F(OffDelays, EndForTheSourceGiven)
{
    start_with_all_on();
    table[5] = now;
    check("timer of the web");
    EXPECT_EQ(ended(), "OFFDelay[timer of the web]:5\n");
    EXPECT_EQ(calls("syslog 6 ###"), Calls{"syslog 6 ###SetPowerByIdx[timer of the web]:[5]=0\n"});
}

TEST_F(OffDelays, EndForASourceThatIsNone)
{
    start_with_all_on();
    table[0] = now;
    check(nullptr);
    EXPECT_EQ(ended(), "OFFDelay[]:0\n");
    EXPECT_EQ(calls("syslog 6 ###"), Calls{"syslog 6 ###SetPowerByIdx[]:[0]=0\n"});
    EXPECT_EQ(contacts(), all_but(0, true));
}

TEST_F(OffDelays, EndForASourceThatIsPrintedAsItIs)
{
    set("wol_sol_trigger", "0");
    const std::string source = "%n%s" + std::string(1000, 'x');
    table[0] = now;
    check(source.c_str());
    EXPECT_EQ(debug_print(), "OFFDelay[" + source + "]:0\n");
}

TEST_F(OffDelays, EndAfter2038AsBefore)
{
    set("wol_sol_trigger", "0");
    set_calendar(4'000'000'000);
    table = {3'999'999'999, 4'000'000'000, 4'000'000'001, 1};
    check();
    EXPECT_EQ(table, (Table{0, 0, 4'000'000'001}));
}

TEST_F(OffDelays, MayBeArmedAgainOnceTheyHaveEnded)
{
    arm(1);
    advance(11 * second);
    check();
    arm(1);
    EXPECT_EQ(table, (Table{now + 11 + 11}));
    EXPECT_EQ(datagrams().size(), 2U);
}

TEST_F(OffDelays, SwitchTheirOutletOffTheirSecondsLater)
{
    start_with_all_on();
    set("OFFDelay_PX", "1;5;1");
    arm(2);
    for (int passed = 1; passed <= 4; ++passed) {
        advance(second);
        check();
        EXPECT_EQ(contacts(), all(true)) << passed;
    }
    advance(second);
    check();
    EXPECT_EQ(contacts(), all_but(1, true));
}

} // namespace
} // namespace plexor::tests
