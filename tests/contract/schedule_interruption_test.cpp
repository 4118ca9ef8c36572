// SPDX-License-Identifier: Apache-2.0
// Power lost between any two writes to the copy: what is restored later is old or new, or nothing.
#include <cerrno>

#include "tests/contract/schedule_story.h"

namespace plexor::tests
{
namespace
{

class InterruptedSchedules : public ScheduleStory
{
  protected:
    InterruptedSchedules()
    {
        at_call("ioctl /dev/i2cM0 17 A0", [this] {
            if (writes_left_-- == 0)
                fail_ioctl("/dev/i2cM0", 17, EIO);
        });
    }

    // Runs action on a board with an old copy; of its writes to the bus only the first ones arrive.
    void interrupt_after(int writes, const std::function<void()> &action)
    {
        hold_copy('o');
        forget_calls();
        writes_left_ = writes;
        action();
        writes_left_ = -1;
        fail_ioctl("/dev/i2cM0", 17, 0);
    }
    void restore()
    {
        reset_store();
        backupSchedule();
    }
    int writes_of(const std::function<void()> &action)
    {
        interrupt_after(1000, action);
        let_i2c_cache_expire();
        return static_cast<int>(calls("ioctl /dev/i2cM0 17 A0").size());
    }
    // "o" for what is old, "n" for new, "-" for not restored, "?" for what was never written.
    static char age(const std::string &found, const std::string &old_one, const std::string &new_one)
    {
        if (found.empty())
            return '-';
        return found == old_one ? 'o' : found == new_one ? 'n' : '?';
    }
    std::string ages()
    {
        std::string text;
        for (int i = 0; i < 5; ++i) {
            text += age(get(schedule_key(i)), schedule(i, 'o'), schedule(i, 'n'));
            text += age(get(companion_key(i)), companion(i, 'o'), companion(i, 'n'));
        }
        return text;
    }
    std::string ages_when_interrupted_after(int writes, const std::function<void()> &action)
    {
        interrupt_after(writes, action);
        restore();
        return ages();
    }

    static void write_all_schedules()
    {
        for (int i = 0; i < 5; ++i) {
            write_page(i, "scheduleconfig", schedule(i, 'n'));
            write_page(i, "schedulet", companion(i, 'n'));
        }
    }

  private:
    int writes_left_ = -1;
};

TEST_F(InterruptedSchedules, AreNewUpToTheInterruptionAndOldBehindIt)
{
    ASSERT_EQ(writes_of(write_all_schedules), 10);
    for (std::size_t writes = 0; writes <= 10; ++writes)
        EXPECT_EQ(ages_when_interrupted_after(static_cast<int>(writes), write_all_schedules),
                  std::string(writes, 'n') + std::string(10 - writes, 'o'));
}

TEST_F(InterruptedSchedules, ThatAreTheFirstAreRestoredFromTheFirstMarkerOn)
{
    const auto write_first_ones = [this] {
        hold(marker, std::string(1, '\0'));
        write_all_schedules();
    };
    EXPECT_EQ(ages_when_interrupted_after(0, write_first_ones), "----------");
    EXPECT_EQ(ages_when_interrupted_after(1, write_first_ones), "----------")
        << "the page without the marker";
    EXPECT_EQ(ages_when_interrupted_after(2, write_first_ones), "nooooooooo");
    EXPECT_EQ(ages_when_interrupted_after(3, write_first_ones), "nnoooooooo");
}

TEST_F(InterruptedSchedules, ThatAreDeletedAreOldOrGone)
{
    const auto erase = [] { write_page(4, "DelPowerSchedule", ""); };
    EXPECT_EQ(ages_when_interrupted_after(0, erase), "oooooooooo");
    EXPECT_EQ(ages_when_interrupted_after(1, erase), "oooooooo--");
}

TEST_F(InterruptedSchedules, AreAllOldOrAllGoneByAFactoryReset)
{
    const int writes = writes_of([] { setIOstatus(); });
    ASSERT_EQ(writes, 16) << "the off mask with the relays, 5 registers, 10 pages";
    for (int n = 0; n <= writes; ++n) {
        // Register 4 is the fifth of the controller's registers to be written.
        EXPECT_EQ(ages_when_interrupted_after(n, [] { setIOstatus(); }), n < 5 ? "oooooooooo" : "----------")
            << n;
    }
}

TEST_F(InterruptedSchedules, LeaveTheAdministratorOldOrWithTheNewLength)
{
    const auto rename = [this] {
        hold_administrator("admin", "secret");
        write_page(0, "sysAdm", "boss");
    };
    const std::vector<std::string> names{"admin", "admi", "boss"};
    for (int writes = 0; writes < 3; ++writes) {
        interrupt_after(writes, rename);
        restore();
        EXPECT_EQ(get("Login"), names.at(writes)) << writes;
        EXPECT_EQ(get("Password"), "secret");
    }
}

TEST_F(InterruptedSchedules, AreRestoredOnceMoreWhenTheStoreLosesWhatWasNotCommitted)
{
    hold_copy('o');
    restore();
    EXPECT_EQ(ages(), "oooooooooo");
    EXPECT_FALSE(flash().contains("reflash"));
    restore();
    EXPECT_EQ(ages(), "oooooooooo");
}

} // namespace
} // namespace plexor::tests
