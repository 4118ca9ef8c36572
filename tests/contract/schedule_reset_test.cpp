// SPDX-License-Identifier: Apache-2.0
// The factory reset of outlets and board controller.
#include <cerrno>

#include <plexor/relay.h>

#include "tests/contract/schedule_story.h"

namespace plexor::tests
{
namespace
{

const Calls wait_5_ms{"nanosleep 0.005000000"};
const std::string zero(1, '\0');

// A transfer that the cache answers.
const Calls repeated_transfer{"shmget 0x4932434D 1480 03666", "shmget 0x4932434D 1480 0666", "shmat",
                              "clock_gettime monotonic", "shmdt"};

Calls empty_all_pages()
{
    Calls pages;
    for (int i = 0; i < 5; ++i)
        pages = story({pages, transfer(put(pindex[i], no_schedule)), wait_5_ms,
                       transfer(put(scheduletindex[i], no_companion)), wait_5_ms});
    return pages;
}

Calls reset_registers()
{
    return story({transfer(put(2, zero)), transfer(put(3, "\xFF")), transfer(put(244, zero)),
                  transfer(put(4, zero)), transfer(put(5, zero)), wait_5_ms});
}

class FactoryReset : public ScheduleStory
{
  protected:
    // What switching all outlets off does on a new board of this model, which it leaves behind.
    Calls switching_all_off(int model, bool latching)
    {
        use_model(model, latching);
        let_i2c_cache_expire();
        ContorlSpiAllPower(0, nullptr);
        Calls switching = calls();
        use_model(model, latching);
        let_i2c_cache_expire();
        return switching;
    }
    static bool has_eight(int model) { return model == 2 || model == 3 || model == 11; }
    // The off mask of a board of eight is what register 1 is to be, and was just written.
    static Calls register_1(int model)
    {
        return has_eight(model) ? repeated_transfer : transfer(put(1, "\xFF"));
    }
    std::string pages()
    {
        std::string text;
        for (int i = 0; i < 5; ++i)
            text += held(pindex[i], 35) + held(scheduletindex[i], 31);
        return text;
    }
    static std::string empty_pages()
    {
        std::string text;
        for (int i = 0; i < 5; ++i)
            text += no_schedule + no_companion;
        return text;
    }
};

TEST_F(FactoryReset, SwitchesAllOffThenResetsRegistersThenEmptiesSchedulesOnEveryModel)
{
    for (int model = 0; model < 12; ++model) {
        for (const bool relays : {latching, ordinary}) {
            const Calls switching = switching_all_off(model, relays);
            EXPECT_EQ(setIOstatus(), 20);
            EXPECT_EQ(calls(), story({switching, register_1(model), reset_registers(), empty_all_pages()}))
                << model << relays;
        }
    }
}

TEST_F(FactoryReset, LeavesEveryOutletOff)
{
    for (int model = 1; model < 12; ++model) {
        use_model(model, latching);
        ContorlSpiAllPower(0xFF, nullptr);
        let_i2c_cache_expire();
        setIOstatus();
        for (int outlet = 0; outlet < 8 && model != 10; ++outlet)
            EXPECT_FALSE(board().contact(outlet)) << model << outlet;
        EXPECT_EQ(recorded(), has_eight(model) ? "ff" : "f");
    }
}

TEST_F(FactoryReset, LeavesTheRegistersAsTheyLeftTheFactory)
{
    for (const int model : {2, 4}) {
        use_model(model, latching);
        for (const int reg : {1, 2, 3, 4, 5, 244})
            hold(reg, "\x5A");
        setIOstatus();
        EXPECT_EQ(held(1, 5), std::string("\xFF\0\xFF\0\0", 5)) << model;
        EXPECT_EQ(held(244, 1), zero);
        let_i2c_cache_expire();
    }
}

TEST_F(FactoryReset, EmptiesTheSchedulesInTheCopyAndLeavesTheAdministratorThere)
{
    hold_copy();
    hold_administrator("admin", "secret");
    setIOstatus();
    EXPECT_EQ(pages(), empty_pages());
    EXPECT_EQ(held(256, 2), "\x05\x06");
    EXPECT_EQ(held(544, 5) + held(576, 6), "adminsecret");
}

TEST_F(FactoryReset, LeavesTheSchedulesInTheStore)
{
    const Calls keys{"schedule0", "schedule4", "schedule0t", "Login", "Password", "reflash"};
    for (const auto &key : keys)
        set(key, "mine");
    setIOstatus();
    for (const auto &key : keys)
        EXPECT_EQ(get(key), "mine") << key;
    EXPECT_EQ(writes(), Calls{"SPI_buf_1=ff"});
    EXPECT_EQ(calls("nvram_commit"), Calls{});
}

TEST_F(FactoryReset, LeavesNothingToRestore)
{
    hold_copy();
    setIOstatus();
    let_i2c_cache_expire();
    EXPECT_EQ(backupSchedule(), 0);
    EXPECT_EQ(calls("nvram_bufset 0 schedule"), Calls{});
}

TEST_F(FactoryReset, WaitsElevenTimes5Ms)
{
    setIOstatus();
    EXPECT_EQ(calls("nanosleep 0.005"), Calls(11, wait_5_ms[0]));
}

TEST_F(FactoryReset, WaitsItsFullTimeThroughASignal)
{
    at_call("ioctl /dev/i2cM0 17 A0 5 ", [this] { interrupt_next_sleep_after(2'000'000); });
    setIOstatus();
    EXPECT_EQ(calls("nanosleep 0.003"), Calls{"nanosleep 0.003000000"});
}

TEST_F(FactoryReset, BeepsOnceAndNotifiesOnce)
{
    connect_mqtt();
    setIOstatus();
    EXPECT_EQ(calls("nanosleep 0.150"), Calls{"nanosleep 0.150000000"});
    EXPECT_EQ(notifications(), one_notification());
}

TEST_F(FactoryReset, SaysThatTheOffMaskWasAlreadyWrittenOnABoardOfEight)
{
    const std::string switched = "ContorlSpiAllPower:nSPIVal=aaaa ,value:aa nHwVal=ff\n";
    setIOstatus();
    EXPECT_EQ(debug_print(), switched + print("hitwr:Thr:%5d,A00101:FF\n", gettid()));
    use_model(4, latching);
    let_i2c_cache_expire();
    setIOstatus();
    EXPECT_EQ(debug_print(), "ContorlSpiAllPower:nSPIVal=aa ,value:aa nHwVal=f\n");
}

TEST_F(FactoryReset, OnceMoreAtOnceDoesEverythingAgain)
{
    setIOstatus();
    const Calls first = bus();
    forget_calls();
    hold_copy();
    EXPECT_EQ(setIOstatus(), 20);
    EXPECT_EQ(bus(), first);
    EXPECT_EQ(pages(), empty_pages());
}

// --- what can go wrong ---

TEST_F(FactoryReset, WithoutTheRelaysResetsTheBoardControllerAllTheSame)
{
    hold_copy();
    remove_driver();
    EXPECT_EQ(setIOstatus(), 20);
    EXPECT_EQ(debug_print(), driver_missing);
    EXPECT_EQ(bus().at(0), put(1, "\xFF"));
    EXPECT_EQ(bus().size(), 16U);
    EXPECT_EQ(pages(), empty_pages());
}

TEST_F(FactoryReset, PassesOverABusThatFails)
{
    fail_ioctl("/dev/i2cM0", 17, EIO);
    EXPECT_EQ(standard_error_of([] { EXPECT_EQ(setIOstatus(), 20); }), "");
    EXPECT_EQ(calls("ioctl /dev/i2cM0 17 A0").size(), 16U) << "one of them for the off mask";
    EXPECT_EQ(calls("nanosleep 0.005").size(), 11U);
}

TEST_F(FactoryReset, PassesOverMissingGpio)
{
    fail_open("/dev/gpio", ENOENT);
    standard_error_of([] { EXPECT_EQ(setIOstatus(), 20); });
    EXPECT_EQ(pages(), empty_pages());
}

using FactoryResetDeathTest = FactoryReset;

TEST_F(FactoryResetDeathTest, WithoutTheBusEndsTheProcess)
{
    fail_open("/dev/i2cM0", ENOENT);
    EXPECT_EXIT(setIOstatus(), testing::ExitedWithCode(255), "/dev/i2cM0: No such file or directory\n$");
}

} // namespace
} // namespace plexor::tests
