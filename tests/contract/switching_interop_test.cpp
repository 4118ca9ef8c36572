// SPDX-License-Identifier: Apache-2.0
// Entry points for other programs of the appliance: the interoperation signal, one function an outlet, and
// the names that are kept and do nothing.
#include <array>
#include <climits>
#include <functional>

#include "tests/contract/switching_story.h"

namespace plexor::tests
{
namespace
{

class Interoperation : public SwitchingStory
{
  protected:
    Interoperation()
    {
        ask_for_nothing();
        connect_mqtt();
        set("interop_enable", "1");
    }
    static std::string signal(int value) { return print("sigqueue 431 %d %d", SIGRTMAX - 10, value); }
    static std::string announcement(const std::string &name, int value)
    {
        return "#### " + name + " sending " + std::to_string(SIGRTMAX - 10) +
               " signal to cnt3, val=" + std::to_string(value) + "......\n";
    }
};

// --- the signal ---

class InteroperationSignal : public Interoperation
{
};

TEST_F(InteroperationSignal, TellsTheOutletAndTheWay)
{
    for (unsigned outlet = 0; outlet < 8; ++outlet) {
        forget_calls();
        EXPECT_EQ(m2m_Send("web", outlet, 1), 1);
        EXPECT_EQ(m2m_Send("web", outlet, 0), 1);
        const int on = static_cast<int>(11 + 2 * outlet);
        EXPECT_EQ(notifications(), (Calls{signal(on), signal(on + 1)}));
    }
}

TEST_F(InteroperationSignal, IsFrom11To26)
{
    m2m_Send("web", 0, 1);
    m2m_Send("web", 0, 0);
    m2m_Send("web", 7, 1);
    m2m_Send("web", 7, 0);
    EXPECT_EQ(notifications(), (Calls{signal(11), signal(12), signal(25), signal(26)}));
}

TEST_F(InteroperationSignal, MakesTheseCallsAndNoOther)
{
    m2m_Send("web", 1, 1);
    EXPECT_EQ(calls(), (Calls{"nvram_kget_int interop_enable 0", "nvram_kget_int mqtt_enable 0",
                              "nvram_kget_int mqtt_connect 0", signal(13)}));
}

TEST_F(InteroperationSignal, IsAnnouncedInTheNameOfItsSender)
{
    m2m_Send("web%n", 2, 0);
    m2m_Send(nullptr, 2, 0);
    EXPECT_EQ(debug_print(), announcement("web%n", 16) + announcement("", 16));
}

TEST_F(InteroperationSignal, IsSentOnlyWhenEnabledWithOne)
{
    for (const int enabled : {0, 2, -1, 11, INT_MAX, INT_MIN}) {
        set("interop_enable", std::to_string(enabled));
        forget_calls();
        for (const unsigned value : {0U, 1U, 2U})
            EXPECT_EQ(m2m_Send("web", 0, value), enabled);
        EXPECT_EQ(calls(), Calls(3, "nvram_kget_int interop_enable 0"));
        EXPECT_EQ(debug_print(), "");
    }
}

TEST_F(InteroperationSignal, IsNotSentWhenNothingIsStored)
{
    unset("interop_enable");
    EXPECT_EQ(m2m_Send("web", 0, 1), 0);
    set("interop_enable", "");
    EXPECT_EQ(m2m_Send("web", 0, 1), 0);
    EXPECT_EQ(notifications(), Calls{});
}

TEST_F(InteroperationSignal, IsNotSentForAValueThatIsNeither)
{
    for (const unsigned value : {2U, 3U, 256U, 0x80000001U, UINT_MAX}) {
        forget_calls();
        EXPECT_EQ(m2m_Send("web", 0, value), 1) << value;
        EXPECT_EQ(calls(), Calls{"nvram_kget_int interop_enable 0"});
        EXPECT_EQ(debug_print(), "");
    }
}

TEST_F(InteroperationSignal, RefusesAnOutletThatIsNone)
{
    for (const unsigned outlet : {8U, 9U, 0x80000000U, 0xFFFFFFFFU}) {
        forget_calls();
        EXPECT_EQ(m2m_Send("web", outlet, 1), 0) << outlet;
        EXPECT_EQ(debug_print(), "relayidx:" + std::to_string(static_cast<int>(outlet)) + " error\n");
        EXPECT_EQ(calls("sigqueue"), Calls{});
    }
}

TEST_F(InteroperationSignal, AnswersZeroWhereTheConnectorCannotBeTold)
{
    remove_process(431);
    EXPECT_EQ(m2m_Send("web", 0, 1), 0);
    EXPECT_EQ(debug_print(), announcement("web", 11) + "#### sigqueue error");
    set("mqtt_connect", "0");
    EXPECT_EQ(m2m_Send("web", 0, 1), 0);
    EXPECT_EQ(notifications().size(), 1U);
}

// --- one function an outlet ---

using SetPower = int (*)(int, const char *);
constexpr std::array<SetPower, 8> functions{SetPower61, SetPower62, SetPower63, SetPower64,
                                            SetPower65, SetPower66, SetPower67, SetPower68};

class FunctionOfAnOutlet : public Interoperation, public ::testing::WithParamInterface<unsigned>
{
  protected:
    static unsigned outlet() { return GetParam(); }
    static int set_power(int value, const char *source) { return functions.at(outlet())(value, source); }
    static int on() { return static_cast<int>(11 + 2 * outlet()); }
    static std::string report(const char *source, int value)
    {
        return print("###SetPowerByIdx[%s]:[%u]=%d\n", source, outlet(), value);
    }
    // What was printed and called.
    std::pair<std::string, Calls> record_of(const std::function<void()> &action)
    {
        use_model(2, true);
        connect_mqtt();
        set("interop_enable", "1");
        let_i2c_cache_expire();
        action();
        return {debug_print(), calls()};
    }
};

INSTANTIATE_TEST_SUITE_P(All, FunctionOfAnOutlet, ::testing::Range(0U, 8U),
                         [](const auto &outlet) { return "SetPower6" + std::to_string(outlet.param + 1); });

TEST_P(FunctionOfAnOutlet, TellsThenSwitchesItsOutletAndNoOther)
{
    start_with_all(true);
    EXPECT_EQ(set_power(0, "web"), 1);
    EXPECT_EQ(notifications(), (Calls{signal(on() + 1), one_notification().front()}));
    EXPECT_EQ(contacts(), all_but(outlet(), true));
    forget_calls();
    EXPECT_EQ(set_power(1, "web"), 1);
    EXPECT_EQ(notifications(), (Calls{signal(on()), one_notification().front()}));
    EXPECT_EQ(contacts(), all(true));
}

TEST_P(FunctionOfAnOutlet, DoesAsTheTwoFunctionsThatItCalls)
{
    for (const int value : {0, 1, 2, -1}) {
        const auto expected = record_of([value] {
            m2m_Send("mqtt-relay", outlet(), static_cast<unsigned>(value));
            SetPowerByIdx(outlet(), value, "web");
        });
        EXPECT_EQ(record_of([value] { EXPECT_EQ(set_power(value, "web"), 1); }), expected) << value;
    }
}

TEST_P(FunctionOfAnOutlet, TellsInTheNameOfTheConnector)
{
    set_power(1, "web");
    EXPECT_TRUE(debug_print().starts_with(announcement("mqtt-relay", on())));
    EXPECT_TRUE(debug_print().ends_with("\n" + report("web", 1)));
}

TEST_P(FunctionOfAnOutlet, TellsNothingOfAValueThatIsNeitherButSwitchesOn)
{
    for (const int value : {2, -1, INT_MIN}) {
        start_with_all(false);
        EXPECT_EQ(set_power(value, "web"), 1);
        EXPECT_EQ(notifications(), one_notification());
        EXPECT_EQ(calls("syslog 6 ###"), Calls{"syslog 6 " + report("web", value)});
        EXPECT_EQ(contacts(), all_but(outlet(), false));
    }
}

TEST_P(FunctionOfAnOutlet, SwitchesThoughNobodyCanBeTold)
{
    for (const char *enabled : {"0", "2", "-1", ""}) {
        set("interop_enable", enabled);
        start_with_all(true);
        EXPECT_EQ(set_power(0, "web"), 1);
        EXPECT_EQ(notifications(), one_notification());
        EXPECT_EQ(contacts(), all_but(outlet(), true));
    }
}

TEST_P(FunctionOfAnOutlet, TakesNoSource)
{
    EXPECT_EQ(set_power(0, nullptr), 1);
    EXPECT_EQ(calls("syslog 6 ###"), Calls{"syslog 6 " + report("", 0)});
}

TEST_P(FunctionOfAnOutlet, TakesEveryStepThatItsUserAskedFor)
{
    ask_for_everything();
    set_power(0, "web");
    EXPECT_EQ(steps(), all_steps());
}

// --- the kept names ---

class KeptName : public Interoperation
{
  protected:
    void expect_nothing(const std::function<void()> &action)
    {
        ask_for_everything();
        start_with_all(true);
        std::string errors;
        const auto output = standard_output_of([&] { errors = standard_error_of(action); });
        EXPECT_EQ(output + errors + debug_print(), "");
        EXPECT_EQ(calls(), Calls{});
        EXPECT_EQ(contacts(), all(true));
    }
};

TEST_F(KeptName, GetlastStatusDoesNothing)
{
    expect_nothing(GetlastStatus);
}

TEST_F(KeptName, InitPLXDoesNothing)
{
    expect_nothing(InitPLX);
}

TEST_F(KeptName, ReadeepromDoesNothing)
{
    expect_nothing(readeeprom);
}

TEST_F(KeptName, SetAllPowerDoesNothing)
{
    expect_nothing(SetAllPower);
}

TEST_F(KeptName, ContorlPlxPowerDoesNothingAndAnswersZero)
{
    expect_nothing([] { EXPECT_EQ(ContorlPlxPower(), 0); });
}

} // namespace
} // namespace plexor::tests
