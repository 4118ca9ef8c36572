// SPDX-License-Identifier: Apache-2.0
// The power cycle that its caller waits for.
#include <climits>

#include "tests/contract/cycle_story.h"

namespace plexor::tests
{
namespace
{

class BlockingCycle : public CycleStory
{
  protected:
    BlockingCycle() { switch_all(true); }

    // What ContorlSpiPower calls.
    Calls calls_of_moving(int index, int value)
    {
        forget_calls();
        ContorlSpiPower(index, value);
        Calls moving = calls();
        forget_calls();
        return moving;
    }
    static std::string announcement(int outlet, int seconds, const std::string &source)
    {
        return "SetPowerCycle" + std::to_string(outlet) + ":" + std::to_string(seconds) + "s," + source +
               "\n";
    }
};

TEST_F(BlockingCycle, MovesOffWaitsAndMovesOn)
{
    const Calls off = calls_of_moving(2, 0);
    const Calls on = calls_of_moving(2, 1);
    EXPECT_EQ(SetPowerCycle(3, 7, "web"), 1);
    EXPECT_EQ(calls(), story({off, {"nanosleep 7.000000000"}, on}));
    EXPECT_EQ(debug_print(), announcement(3, 7, "web"));
}

TEST_F(BlockingCycle, AnnouncesItselfFirst)
{
    std::string said;
    at_call("open", [&] { said = debug_print(); });
    at_call("nanosleep", [&] { EXPECT_EQ(said, announcement(1, 2, "web")); });
    SetPowerCycle(1, 2, "web");
    EXPECT_EQ(debug_print(), said);
}

TEST_F(BlockingCycle, MovesItsOutletAndNoOther)
{
    unsigned waiting = 0;
    at_call("nanosleep", [&] { waiting = contacts(); });
    for (int outlet = 1; outlet <= 8; ++outlet) {
        EXPECT_EQ(SetPowerCycle(outlet, 1, "web"), 1);
        EXPECT_EQ(waiting, 0xFFU & ~(1U << (outlet - 1)));
        EXPECT_EQ(contacts(), 0xFFU);
    }
}

TEST_F(BlockingCycle, TellsNobody)
{
    set("beep_alarm_PX", "1;1;1;1;1;1;1;1");
    set("email_alarm_PX", "1;1;1;1;1;1;1;1");
    SetPowerCycle(3, 1, "web");
    for (const char *call : {"syslog", "system", "shmget", "nanosleep 0.15", "nvram_bufset"})
        EXPECT_EQ(calls(call), Calls{}) << call;
    EXPECT_EQ(segment(last_switch), std::vector<std::uint8_t>(8));
}

TEST_F(BlockingCycle, OfNoSecondsDoesNotWait)
{
    for (const int seconds : {0, -1, INT_MIN}) {
        forget_calls();
        EXPECT_EQ(SetPowerCycle(3, seconds, "web"), 1);
        EXPECT_EQ(calls("nanosleep"), Calls{});
        EXPECT_EQ(calls("ioctl /dev/gpio 3").size(), 2U);
        EXPECT_EQ(debug_print(), announcement(3, seconds, "web"));
    }
}

TEST_F(BlockingCycle, WaitsThroughSignals)
{
    interrupt_next_sleep_after(2'500'000'000);
    EXPECT_EQ(SetPowerCycle(3, 7, "web"), 1);
    EXPECT_EQ(calls("nanosleep"), (Calls{"nanosleep 7.000000000", "nanosleep 4.500000000"}));
}

TEST_F(BlockingCycle, NamesNobody)
{
    EXPECT_EQ(SetPowerCycle(3, 1, nullptr), 1);
    EXPECT_EQ(debug_print(), announcement(3, 1, ""));
}

TEST_F(BlockingCycle, OfWhatIsNoOutletFailsAndWaitsAllTheSame)
{
    const std::map<int, std::string> indices{
        {0, "-1"}, {9, "8"}, {-1, "-2"}, {INT_MAX, "2147483646"}, {INT_MIN, "2147483647"}};
    for (const auto &[outlet, index] : indices) {
        forget_calls();
        EXPECT_EQ(SetPowerCycle(outlet, 1, "web"), 0);
        EXPECT_EQ(calls(), wait_a_second);
        const std::string complaint = "relayidx:" + index + " error\n";
        EXPECT_EQ(debug_print(), announcement(outlet, 1, "web").append(complaint).append(complaint));
    }
}

// --- a relay driver that is missing ---

class BlockingCycleWithoutDriver : public BlockingCycle
{
  protected:
    BlockingCycleWithoutDriver()
    {
        use_model(4, latching);
        remove_driver();
    }
};

TEST_F(BlockingCycleWithoutDriver, WaitsAndFails)
{
    EXPECT_EQ(SetPowerCycle(3, 4, "web"), 0);
    EXPECT_EQ(calls("open /dev/spiS0"), story({open_chain, open_chain}));
    EXPECT_EQ(calls("nanosleep 4"), Calls{"nanosleep 4.000000000"});
    EXPECT_EQ(debug_print(), announcement(3, 4, "web") + driver_missing + driver_missing);
}

TEST_F(BlockingCycleWithoutDriver, SucceedsWhenItIsThereByThen)
{
    at_call("nanosleep 4", [this] { fail_open("/dev/spiS0", 0); });
    EXPECT_EQ(SetPowerCycle(3, 4, "web"), 1);
    EXPECT_EQ(records(), Calls{"4 0210000408"});
}

TEST_F(BlockingCycleWithoutDriver, FailsWhenItIsGoneByThen)
{
    fail_open("/dev/spiS0", 0);
    at_call("nanosleep 4", [this] { remove_driver(); });
    EXPECT_EQ(SetPowerCycle(3, 4, "web"), 0);
    EXPECT_EQ(records(), Calls{"4 0220010408"});
}

} // namespace
} // namespace plexor::tests
