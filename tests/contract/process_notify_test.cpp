// SPDX-License-Identifier: Apache-2.0
#include <plexor/process.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>

#include "tests/contract/appliance.h"

namespace plexor::tests
{
namespace
{

// --- the switch notification ---

class Notification : public Appliance
{
  protected:
    Notification()
    {
        set("mqtt_enable", "1");
        set("mqtt_connect", "1");
        write_pid_file("cnt3", "431\n");
        add_process(431);
    }
    static std::string signal() { return std::to_string(SIGRTMAX - 10); }
    std::string announcement(const std::string &name, int value) const
    {
        return "#### " + name + " sending " + signal() + " signal to cnt3, val=" + std::to_string(value) +
               "......\n";
    }
    Calls sent() const { return calls("sigqueue"); }
    // Sending fails without a word on standard error; neither signal nor print leaves.
    void expect_nothing_sent()
    {
        forget_calls();
        EXPECT_EQ(standard_error_of([] { EXPECT_EQ(SendProcessSig("libplexor", 1), 0); }), "");
        EXPECT_EQ(sent(), Calls{});
        EXPECT_EQ(debug_print(), "");
    }
};

TEST_F(Notification, QueuesTheValueToTheConnector)
{
    EXPECT_EQ(SendProcessSig("libplexor", 1), 1);
    EXPECT_EQ(calls(), (Calls{"nvram_kget_int mqtt_enable 0", "nvram_kget_int mqtt_connect 0",
                              "sigqueue 431 " + signal() + " 1"}));
    EXPECT_EQ(debug_print(), announcement("libplexor", 1));
}

TEST_F(Notification, CarriesAnyValueAndNamesItsSender)
{
    for (const int value : {11, 26, 0, -1, INT_MAX, INT_MIN}) {
        forget_calls();
        EXPECT_EQ(SendProcessSig("mqtt-relay", value), 1);
        EXPECT_EQ(sent(), Calls{"sigqueue 431 " + signal() + " " + std::to_string(value)});
        EXPECT_EQ(debug_print(), announcement("mqtt-relay", value));
    }
}

TEST_F(Notification, IsAnnouncedBeforeItIsSent)
{
    std::string printed;
    at_call("sigqueue", [&] { printed = debug_print(); });
    SendProcessSig("libplexor", 1);
    EXPECT_EQ(printed, announcement("libplexor", 1));
}

TEST_F(Notification, IsNotSentUnlessMqttIsEnabled)
{
    for (const char *value : {"0", "2", "-1", "11", ""}) {
        set("mqtt_enable", value);
        expect_nothing_sent();
    }
    unset("mqtt_enable");
    expect_nothing_sent();
}

TEST_F(Notification, IsNotSentUnlessMqttIsConnected)
{
    for (const char *value : {"0", "2", "-1", "11", ""}) {
        set("mqtt_connect", value);
        expect_nothing_sent();
    }
    unset("mqtt_connect");
    expect_nothing_sent();
}

TEST_F(Notification, LooksForTheConnectorOnlyWhenItIsToBeSent)
{
    remove_pid_file("cnt3"); // which would be complained about
    set("mqtt_connect", "0");
    expect_nothing_sent();
}

TEST_F(Notification, IsNotSentWithoutAConnector)
{
    remove_pid_file("cnt3");
    const auto send = [] { EXPECT_EQ(SendProcessSig("libplexor", 1), 0); };
    EXPECT_EQ(standard_error_of(send), "## Can not open /var/run/cnt3.pid \n");
    write_pid_file("cnt3", "");
    EXPECT_EQ(standard_error_of(send), "## Read /var/run/cnt3.pid EOF\n");
    EXPECT_EQ(sent(), Calls{});
    EXPECT_EQ(debug_print(), "");
}

TEST_F(Notification, IsNotSentToAFileWithoutANumberOrWithTheMarker)
{
    for (const char *text : {"junk\n", "2147483647\n"}) {
        write_pid_file("cnt3", text);
        expect_nothing_sent();
    }
}

TEST_F(Notification, TellsWhenItCannotBeQueued)
{
    fail_call("sigqueue", EAGAIN);
    EXPECT_EQ(SendProcessSig("libplexor", 1), 0);
    EXPECT_EQ(debug_print(), announcement("libplexor", 1) + "#### sigqueue error");
    EXPECT_EQ(sent().size(), 1U);
}

TEST_F(Notification, TellsWhenTheConnectorIsGone)
{
    remove_process(431);
    EXPECT_EQ(SendProcessSig("libplexor", 7), 0);
    EXPECT_EQ(debug_print(), announcement("libplexor", 7) + "#### sigqueue error");
}

TEST_F(Notification, LooksTheConnectorUpEveryTime)
{
    SendProcessSig("libplexor", 1);
    write_pid_file("cnt3", "432\n");
    add_process(432);
    forget_calls();
    EXPECT_EQ(SendProcessSig("libplexor", 1), 1);
    EXPECT_EQ(sent(), Calls{"sigqueue 432 " + signal() + " 1"});
}

// --- the last-switch timestamp ---

using Bytes = std::vector<std::uint8_t>;

class LastSwitch : public Appliance
{
  protected:
    static constexpr std::uint32_t key = 0x4C504F4C;

    Bytes stamp(std::int64_t seconds, std::int64_t nanoseconds)
    {
        set_monotonic(seconds, nanoseconds);
        LPOL();
        return segment(key);
    }
    // Two 32-bit words as this machine stores them.
    static Bytes words(std::int32_t first, std::int32_t second)
    {
        Bytes bytes(8);
        std::memcpy(bytes.data(), &first, 4);
        std::memcpy(bytes.data() + 4, &second, 4);
        return bytes;
    }
};

TEST_F(LastSwitch, IsKeptInASegmentOfEightBytes)
{
    EXPECT_EQ(stamp(0x12345678, 0x1ABCDEF0), words(0x12345678, 0x1ABCDEF0));
}

TEST_F(LastSwitch, StoresTheLowByteFirstAsTheApplianceDoes)
{
    EXPECT_EQ(stamp(0x12345678, 0x1ABCDEF0), (Bytes{0x78, 0x56, 0x34, 0x12, 0xF0, 0xDE, 0xBC, 0x1A}));
}

TEST_F(LastSwitch, CreatesTheSegmentWithoutPermissionsForAnyone)
{
    LPOL();
    EXPECT_EQ(segment_mode(key), 0);
    EXPECT_EQ(calls(), (Calls{"shmget 0x4C504F4C 0 0", "shmget 0x4C504F4C 8 01000", "shmat",
                              "clock_gettime monotonic", "shmdt"}));
}

TEST_F(LastSwitch, LooksUpASegmentThatExists)
{
    make_segment(key, 8, 0640);
    EXPECT_EQ(stamp(5, 6), words(5, 6));
    EXPECT_EQ(segment_mode(key), 0640);
    EXPECT_EQ(calls(), (Calls{"shmget 0x4C504F4C 0 0", "shmat", "clock_gettime monotonic", "shmdt"}));
}

TEST_F(LastSwitch, IsOverwrittenByTheNextOne)
{
    stamp(1'000'000, 999'999'999);
    EXPECT_EQ(stamp(1'000'001, 0), words(1'000'001, 0));
}

TEST_F(LastSwitch, LeavesTheRestOfALongerSegmentAlone)
{
    make_segment(key, 12, 0600);
    write_segment(key, 8, {1, 2, 3, 4});
    Bytes expected = words(5, 6);
    expected.insert(expected.end(), {1, 2, 3, 4});
    EXPECT_EQ(stamp(5, 6), expected);
}

TEST_F(LastSwitch, IsNotStampedWhenTheSegmentCannotBeAttached)
{
    make_segment(key, 8, 0600);
    write_segment(key, 0, {1, 2, 3, 4, 5, 6, 7, 8});
    fail_call("shmat", EACCES);
    EXPECT_EQ(stamp(5, 6), (Bytes{1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(calls(), (Calls{"shmget 0x4C504F4C 0 0", "shmat"}));
}

TEST_F(LastSwitch, IsNotStampedWhenTheSegmentMayNotBeLookedUpOrMade)
{
    fail_call("shmget", EACCES);
    EXPECT_EQ(stamp(5, 6), Bytes{});
    fail_call_after("shmget", 1, ENOSPC);
    EXPECT_EQ(stamp(5, 6), Bytes{});
    EXPECT_EQ(calls("shmat"), Calls{});
    EXPECT_EQ(debug_print(), "");
}

} // namespace
} // namespace plexor::tests
