// SPDX-License-Identifier: Apache-2.0
// Switching when something is missing or refuses, and outlets that do not exist.
#include <climits>

#include "tests/contract/switching_story.h"

namespace plexor::tests
{
namespace
{

// --- no step needs another ---

class SwitchingWithTrouble : public SwitchingStory
{
  protected:
    void expect_all_steps()
    {
        standard_error_of([&] {
            EXPECT_EQ(steps_of_switching(0, 0), all_steps());
            EXPECT_EQ(set_4IO_control(0, 0, "web"), 0);
        });
        EXPECT_NE(calls("nvram_bufset 0 IOMailWriting=0"), Calls{});
        EXPECT_EQ(traps(), Calls(2, "Outlet1 on to off"));
    }
    void expect_entry() { EXPECT_NE(journal_text().find("\nOutlet1 on to off\r\n"), std::string::npos); }
};

TEST_F(SwitchingWithTrouble, WithoutTheRelayDriverTakesAllOtherSteps)
{
    start_with_all(true);
    remove_driver();
    expect_all_steps();
    expect_entry();
    EXPECT_EQ(contacts(), all(true));
}

TEST_F(SwitchingWithTrouble, ThatTheRelayDriverRefusesTakesAllOtherSteps)
{
    fail_ioctl("/dev/spiS0", 4, EIO);
    expect_all_steps();
    expect_entry();
}

TEST_F(SwitchingWithTrouble, WithoutGpioTakesAllSteps)
{
    fail_open("/dev/gpio", ENODEV);
    expect_all_steps();
    expect_entry();
}

TEST_F(SwitchingWithTrouble, OfAModelWithRelaysOnMissingLinesTakesAllOtherSteps)
{
    use_model_asked_for_everything(10);
    fail_open("/dev/gpio", ENODEV);
    const auto complaint =
        standard_error_of([&] { EXPECT_EQ(steps_of_switching(0, 0), all_steps_but("relay")); });
    EXPECT_TRUE(complaint.starts_with("/dev/gpio: No such device\n"));
    expect_entry();
}

TEST_F(SwitchingWithTrouble, OfTheI2cBusTakesAllSteps)
{
    start_with_all(true);
    fail_ioctl("/dev/i2cM0", 17, EIO);
    expect_all_steps();
    expect_entry();
    EXPECT_FALSE(board().contact(0));
}

TEST_F(SwitchingWithTrouble, OfTheShellTakesAllSteps)
{
    for (const int status : {-1, 1 << 8, 127 << 8, 9}) {
        start_with_all(true);
        system_returns(status);
        expect_all_steps();
        expect_entry();
        EXPECT_FALSE(board().contact(0));
    }
}

TEST_F(SwitchingWithTrouble, WithoutTrapsTakesAllOtherSteps)
{
    set("snmp_enable", "0");
    EXPECT_EQ(steps_of_switching(0, 0), all_steps_but("trap"));
    expect_entry();
}

TEST_F(SwitchingWithTrouble, WithAFolderAsJournalTakesAllSteps)
{
    start_with_all(true);
    std::filesystem::create_directory(journal);
    expect_all_steps();
    EXPECT_FALSE(board().contact(0));
    EXPECT_TRUE(std::filesystem::is_empty(journal));
}

TEST_F(SwitchingWithTrouble, WithALinkAsJournalTakesAllStepsAndLeavesTheLinkAlone)
{
    std::filesystem::create_symlink("/tmp/plexor-elsewhere", journal);
    expect_all_steps();
    EXPECT_FALSE(std::filesystem::exists("/tmp/plexor-elsewhere"));
}

TEST_F(SwitchingWithTrouble, OfTheStampTakesAllSteps)
{
    use_model_asked_for_everything(10); // whose switch uses no other segment
    fail_call("shmget", EACCES);
    EXPECT_EQ(steps_of_switching(0, 0), all_steps());
    EXPECT_EQ(calls("shmat"), Calls{});
}

TEST_F(SwitchingWithTrouble, OfTheStoreMovesAndReportsAndStamps)
{
    start_with_all(true);
    unplug_store(true);
    refuse_writes(-1);
    EXPECT_EQ(steps_of_switching(0, 0), (Calls{"relay", "beep?", "mail?", "log", "stamp"}));
    EXPECT_FALSE(board().contact(0));
}

TEST_F(SwitchingWithTrouble, OfTheConnectorTakesAllSteps)
{
    connect_mqtt();
    remove_process(431);
    expect_all_steps();
    expect_entry();
}

TEST_F(SwitchingWithTrouble, BeepsOnAfterASignal)
{
    interrupt_next_sleep_after(50'000'000);
    SetPowerByIdx(0, 0, "web");
    EXPECT_EQ(calls("nanosleep"), (Calls{"nanosleep 0.150000000", "nanosleep 0.100000000"}));
    EXPECT_EQ(steps(), all_steps());
}

// --- what is refused ---

class SwitchingBeyondTheLastOutlet : public SwitchingStory
{
  protected:
    template <class Action>
    void expect_refused(Action action)
    {
        connect_mqtt();
        start_with_all(true);
        const auto stamp = segment(last_switch);
        for (const unsigned index : {8U, 9U, 255U, 0x80000000U, UINT_MAX}) {
            forget_calls();
            EXPECT_EQ(action(index), 0);
            EXPECT_EQ(debug_print(), print("relayidx:%d error\n", static_cast<int>(index)));
            EXPECT_EQ(calls(), Calls{});
        }
        EXPECT_EQ(contacts(), all(true));
        EXPECT_EQ(segment(last_switch), stamp);
        EXPECT_FALSE(std::filesystem::exists(journal));
    }
};

TEST_F(SwitchingBeyondTheLastOutlet, IsRefusedBeforeAnythingHappens)
{
    expect_refused([](unsigned index) { return SetPowerByIdx(index, 1, "web"); });
    expect_refused([](unsigned index) { return SetPowerByIdx(index, 0, nullptr); });
}

TEST_F(SwitchingBeyondTheLastOutlet, IsRefusedWithoutReportToo)
{
    expect_refused([](unsigned index) { return set_4IO_control(index, 0, "web"); });
}

} // namespace
} // namespace plexor::tests
