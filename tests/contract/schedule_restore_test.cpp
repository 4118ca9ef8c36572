// SPDX-License-Identifier: Apache-2.0
// Restoring schedules and the administrator from their copy in the board controller.
#include <cerrno>

#include "tests/contract/schedule_story.h"

namespace plexor::tests
{
namespace
{

const Calls ask_in_step{"nvram_kget_int reflash 0"};
const std::string in_step = "reflash=9";

class Restoring : public ScheduleStory
{
  protected:
    Restoring() { hold_copy(); }

    // Restores into a store without schedules, with a bus that remembers nothing.
    int restore()
    {
        reset_store();
        return backupSchedule();
    }
    Calls restored_from(int reg, const std::string &bytes)
    {
        hold(reg, bytes);
        EXPECT_EQ(restore(), 1);
        return writes();
    }
    // Transfers and stores of one page.
    static Calls page(int reg, const std::string &key, const std::string &text)
    {
        return story({transfer(got(reg, text.size())), stored(key, text)});
    }
    static Calls all_writes()
    {
        Calls all;
        for (int i = 0; i < 5; ++i)
            all.push_back(schedule_key(i) + "=" + schedule(i));
        for (int i = 0; i < 5; ++i)
            all.push_back(companion_key(i) + "=" + companion(i, 's'));
        all.push_back(in_step);
        return all;
    }
    static Calls all_writes_but(const std::string &key)
    {
        Calls all = all_writes();
        std::erase_if(all, [&](const std::string &line) { return line.starts_with(key + "="); });
        return all;
    }
};

// --- everything that happens, in order ---

TEST_F(Restoring, ReadsAndStoresSchedulesThenCompanionsThenTheAdministratorThenMarksBothCopies)
{
    hold_administrator("admin", "secret");
    Calls pages;
    for (int i = 0; i < 5; ++i)
        pages = story({pages, page(pindex[i], schedule_key(i), schedule(i))});
    for (int i = 0; i < 5; ++i)
        pages = story({pages, page(scheduletindex[i], companion_key(i), companion(i, 's'))});
    EXPECT_EQ(backupSchedule(), 1);
    EXPECT_EQ(calls(), story({ask_in_step, transfer(got(4, 1)), pages, transfer(got(256, 2)),
                              page(544, "Login", "admin"), page(576, "Password", "secret"),
                              stored("reflash", "9"), transfer(put(5, "\x01"))}));
}

TEST_F(Restoring, SaysWhatItRestored)
{
    hold_administrator("admin", "secret");
    backupSchedule();
    std::string text;
    for (int i = 0; i < 5; ++i)
        text += print("schedule%d :%s \n", i, schedule(i).c_str());
    for (int i = 0; i < 5; ++i)
        text += print("schedule%d t :%s \n", i, companion(i, 's').c_str());
    EXPECT_EQ(debug_print(), text + "  adm admin \n  pass secret \n");
}

TEST_F(Restoring, SaysSoAfterARecordIsStoredAndBeforeTheAdministratorIs)
{
    hold_administrator("admin", "secret");
    std::map<std::string, std::string> said;
    for (const char *key : {"schedule0=", "schedule1=", "schedule0t=", "Login", "Password", "reflash"})
        at_call(std::string("nvram_bufset 0 ") + key, [this, key, &said] { said[key] = debug_print(); });
    backupSchedule();
    EXPECT_EQ(said["schedule0="], "");
    EXPECT_EQ(said["schedule1="], "schedule0 :" + schedule(0) + " \n");
    EXPECT_TRUE(said["schedule0t="].ends_with("schedule4 :" + schedule(4) + " \n"));
    EXPECT_TRUE(said["Login"].ends_with("\n  adm admin \n"));
    EXPECT_TRUE(said["Password"].ends_with("\n  adm admin \n  pass secret \n"));
    EXPECT_EQ(said["reflash"], debug_print());
}

TEST_F(Restoring, CommitsNothing)
{
    restore();
    EXPECT_EQ(calls("nvram_commit"), Calls{});
    EXPECT_FALSE(flash().contains("schedule0"));
}

TEST_F(Restoring, LeavesTheCopyAsItIsButForRegisterFive)
{
    hold(restored, "\x07");
    hold_administrator("admin", "secret");
    restore();
    EXPECT_EQ(calls("ioctl /dev/i2cM0 17"), Calls{"ioctl /dev/i2cM0 17 A0 5 [01]"});
    EXPECT_EQ(board().controller(restored), 1);
    EXPECT_EQ(board().controller(marker), 9);
}

TEST_F(Restoring, ReplacesWhatTheStoreHasAndLeavesTheOthersAlone)
{
    hold(pindex[2], "empty");
    for (const char *key : {"schedule1", "schedule2", "schedule5", "schedule29t", "Login"})
        set(key, "mine");
    backupSchedule();
    EXPECT_EQ(get("schedule1"), schedule(1));
    for (const char *key : {"schedule2", "schedule5", "schedule29t", "Login"})
        EXPECT_EQ(get(key), "mine") << key;
}

// --- when there is nothing to restore ---

TEST_F(Restoring, HappensNotWhenBothCopiesAgree)
{
    for (const char *nine_as : {"9", "9x", " 9", "09", "+9", "9;8"}) {
        set("reflash", nine_as);
        forget_calls();
        EXPECT_EQ(backupSchedule(), 1);
        EXPECT_EQ(calls(), ask_in_step) << nine_as;
        EXPECT_EQ(get("reflash"), nine_as);
    }
}

TEST_F(Restoring, HappensForEveryOtherFlag)
{
    for (const char *other : {"", "0", "8", "99", "90", "-9", "x9", "1"}) {
        reset_store();
        set("reflash", other);
        EXPECT_EQ(backupSchedule(), 1);
        EXPECT_EQ(writes(), all_writes()) << other;
        EXPECT_EQ(get("reflash"), "9");
    }
}

TEST_F(Restoring, HappensOnce)
{
    restore();
    let_i2c_cache_expire();
    forget_calls();
    EXPECT_EQ(backupSchedule(), 1);
    EXPECT_EQ(calls(), ask_in_step);
}

TEST_F(Restoring, WithoutAValidCopyAnswersTheMarkerAndDoesNothing)
{
    for (const int value : {0, 1, 8, 10, 0x39, 127, 128, 255}) {
        hold(marker, std::string(1, static_cast<char>(value)));
        EXPECT_EQ(restore(), value);
        EXPECT_EQ(calls(), story({ask_in_step, transfer(got(4, 1))}));
        EXPECT_EQ(debug_print(), "");
    }
}

// --- which schedules ---

TEST_F(Restoring, TakesEverySetOfSchedulesAndTheCompanionsUpToTheLastOfThem)
{
    for (unsigned present = 0; present < 32; ++present) {
        Calls expected;
        Calls companions;
        Calls skipped;
        for (int i = 0; i < 5; ++i) {
            const bool here = (present & 1U << i) != 0;
            hold(pindex[i], here ? schedule(i) : no_schedule);
            skipped.push_back(companion_key(i) + "=" + companion(i, 's'));
            if (!here)
                continue;
            expected.push_back(schedule_key(i) + "=" + schedule(i));
            companions.insert(companions.end(), skipped.begin(), skipped.end());
            skipped.clear();
        }
        EXPECT_EQ(restore(), 1);
        EXPECT_EQ(writes(), story({expected, companions, {in_step}})) << present;
    }
}

TEST_F(Restoring, ReadsNoCompanionBehindTheLastSchedule)
{
    for (const int gone : {1, 3, 4})
        hold(pindex[gone], no_schedule);
    restore();
    EXPECT_EQ(calls("ioctl /dev/i2cM0 16 A0 6"),
              (Calls{"ioctl /dev/i2cM0 16 A0 608 len 31", "ioctl /dev/i2cM0 16 A0 640 len 31",
                     "ioctl /dev/i2cM0 16 A0 672 len 31"}));
    EXPECT_EQ(calls("ioctl /dev/i2cM0 16 A0 7"), Calls{});
}

TEST_F(Restoring, JudgesAScheduleByItsSecondCharacterAlone)
{
    for (int i = 0; i < 5; ++i) {
        for (const char *first : {"0", "1", "9", "x", " ", "%"}) {
            const std::string record = first + schedule(i).substr(1);
            EXPECT_TRUE(
                std::ranges::count(restored_from(pindex[i], record), schedule_key(i) + "=" + record) == 1)
                << record;
        }
        hold(pindex[i], schedule(i));
    }
}

TEST_F(Restoring, PassesOverAScheduleWithAnotherNumber)
{
    for (int i = 0; i < 5; ++i) {
        for (char second = '!'; second < 0x7F; ++second) {
            if (second == '1' + i)
                continue;
            restored_from(pindex[i], "0" + (second + schedule(i).substr(2)));
            ASSERT_EQ(calls("nvram_bufset 0 " + schedule_key(i) + "="), Calls{}) << i << second;
        }
        hold(pindex[i], schedule(i));
    }
    EXPECT_EQ(restore(), 1);
    EXPECT_EQ(writes(), all_writes());
}

TEST_F(Restoring, PassesOverAScheduleThatIsTooShort)
{
    for (const std::size_t length : {0U, 1U, 2U, 3U, 10U, 33U, 34U}) {
        hold(pindex[1], schedule(1));
        EXPECT_EQ(restored_from(pindex[1] + static_cast<int>(length), std::string(1, '\0')),
                  all_writes_but("schedule1"))
            << length;
    }
}

TEST_F(Restoring, TakesThirtyFiveBytesAndNoMore)
{
    EXPECT_EQ(restored_from(pindex[1] + 35, std::string(13, 'x')), all_writes());
    EXPECT_EQ(restored_from(scheduletindex[1] + 31, "x"), all_writes());
}

TEST_F(Restoring, PassesOverACompanionThatIsTooShort)
{
    for (const std::size_t length : {0U, 1U, 3U, 15U, 29U, 30U}) {
        hold(scheduletindex[2], companion(2, 's'));
        EXPECT_EQ(restored_from(scheduletindex[2] + static_cast<int>(length), std::string(1, '\0')),
                  all_writes_but("schedule2t"))
            << length;
        EXPECT_EQ(debug_print().find("schedule2 t"), std::string::npos);
    }
}

TEST_F(Restoring, TakesBytesOfAnyValueForWhatTheyAre)
{
    const std::string record = "\xFF"
                               "2%n%s%d\n;\x01\x80" +
                               std::string(23, '\xFE');
    ASSERT_EQ(record.size(), 35U);
    EXPECT_EQ(restored_from(pindex[1], record).at(1), "schedule1=" + record);
    EXPECT_NE(debug_print().find("schedule1 :" + record + " \n"), std::string::npos);
}

// --- the administrator ---

struct Account {
    int length_register;
    int text_register;
    const char *key;
    const char *what;
};
const std::vector<Account> accounts{{256, 544, "Login", "adm"}, {257, 576, "Password", "pass"}};

class RestoringTheAdministrator : public Restoring
{
  protected:
    void hold_text(const Account &account, int length)
    {
        hold(account.length_register, std::string(1, static_cast<char>(length)));
        hold(account.text_register, long_text);
    }
    inline static const std::string long_text = "abcdefghijklmnopqrstuvwxyzABCDEF";
};

TEST_F(RestoringTheAdministrator, TakesTextsOf1To32Bytes)
{
    for (const auto &account : accounts) {
        for (int length = 1; length <= 32; ++length) {
            hold_text(account, length);
            EXPECT_EQ(restore(), 1);
            EXPECT_EQ(get(account.key), long_text.substr(0, length)) << account.key << length;
            EXPECT_TRUE(
                debug_print().ends_with("  " + (account.what + (" " + long_text.substr(0, length))) + " \n"));
        }
        hold(account.length_register, std::string(1, '\0'));
    }
}

TEST_F(RestoringTheAdministrator, PassesOverEveryOtherLength)
{
    for (const auto &account : accounts) {
        for (const int length : {0, 33, 64, 127, 128, 129, 224, 254, 255}) {
            hold_text(account, length);
            reset_store();
            set(account.key, "mine");
            EXPECT_EQ(backupSchedule(), 1);
            EXPECT_EQ(get(account.key), "mine") << account.key << length;
            EXPECT_EQ(calls(print("ioctl /dev/i2cM0 16 A0 %d", account.text_register)), Calls{});
            EXPECT_EQ(debug_print().find(std::string("  ") + account.what), std::string::npos);
        }
    }
}

TEST_F(RestoringTheAdministrator, TakesNameAndPasswordEachForItself)
{
    hold_administrator("", "secret");
    restore();
    EXPECT_EQ(calls("nvram_bufset 0 Login"), Calls{});
    EXPECT_EQ(get("Password"), "secret");
    hold_administrator("admin", "");
    restore();
    EXPECT_EQ(get("Login"), "admin");
    EXPECT_EQ(calls("nvram_bufset 0 Password"), Calls{});
}

TEST_F(RestoringTheAdministrator, ReadsAsManyBytesAsTheLengthSays)
{
    hold_administrator("admin", std::string(32, 'p'));
    restore();
    EXPECT_EQ(calls("ioctl /dev/i2cM0 16 A0 544"), Calls{"ioctl /dev/i2cM0 16 A0 544 len 5"});
    EXPECT_EQ(calls("ioctl /dev/i2cM0 16 A0 576"), Calls{"ioctl /dev/i2cM0 16 A0 576 len 32"});
}

TEST_F(RestoringTheAdministrator, CutsATextAtItsZeroAndTakesPercentSignsForWhatTheyAre)
{
    hold_administrator(std::string("ad\0min", 6), "%n%s%d");
    restore();
    EXPECT_EQ(get("Login"), "ad");
    EXPECT_EQ(get("Password"), "%n%s%d");
    EXPECT_TRUE(debug_print().ends_with("  adm ad \n  pass %n%s%d \n"));
}

TEST_F(RestoringTheAdministrator, HappensWithoutAnySchedule)
{
    for (const int reg : pindex)
        hold(reg, no_schedule);
    hold_administrator("admin", "secret");
    restore();
    EXPECT_EQ(writes(), (Calls{"Login=admin", "Password=secret", in_step}));
    EXPECT_EQ(debug_print(), "  adm admin \n  pass secret \n");
}

// --- a bus in trouble ---

TEST_F(Restoring, FromABusThatFailsFindsNoCopy)
{
    fail_ioctl("/dev/i2cM0", 16, EIO);
    EXPECT_EQ(standard_error_of([this] { EXPECT_EQ(restore(), 0); }), "");
    EXPECT_EQ(writes(), Calls{});
}

TEST_F(Restoring, FromABusThatFailsBehindTheMarkerRestoresNothingAndMarksBothCopies)
{
    hold_administrator("admin", "secret");
    at_call("ioctl /dev/i2cM0 16 A0 272", [this] { fail_ioctl("/dev/i2cM0", 16, EIO); });
    EXPECT_EQ(restore(), 1);
    EXPECT_EQ(writes(), Calls{in_step});
    EXPECT_EQ(bus(), (Calls{got(4, 1), got(272, 35), got(320, 35), got(368, 35), got(416, 35), got(464, 35),
                            got(256, 2), put(5, "\x01")}));
}

TEST_F(Restoring, FromABusThatFailsOnceMissesThatPageAlone)
{
    const Calls missing{"schedule0",  "schedule1",  "schedule2",  "schedule3", "schedule4",
                        "schedule0t", "schedule1t", "schedule2t", "schedule3t"};
    for (std::size_t i = 0; i < missing.size(); ++i) {
        reset_store();
        fail_call_after("ioctl", static_cast<int>(i) + 1, EIO);
        EXPECT_EQ(backupSchedule(), 1);
        Calls expected = all_writes_but(missing[i]);
        if (missing[i] == "schedule4") // the count ends with schedule 3
            std::erase(expected, "schedule4t=" + companion(4, 's'));
        EXPECT_EQ(writes(), expected);
    }
}

TEST_F(Restoring, WithAFailingWriteAnswersOneAllTheSame)
{
    fail_ioctl("/dev/i2cM0", 17, EIO);
    EXPECT_EQ(restore(), 1);
    EXPECT_EQ(board().controller(restored), 0);
    EXPECT_EQ(writes(), all_writes());
}

TEST_F(Restoring, IntoAStoreThatRefusesGoesOn)
{
    refuse_writes(-1);
    EXPECT_EQ(restore(), 1);
    EXPECT_EQ(writes(), all_writes());
    EXPECT_EQ(board().controller(restored), 1);
}

using RestoringDeathTest = Restoring;

TEST_F(RestoringDeathTest, WithoutTheBusEndsTheProcess)
{
    fail_open("/dev/i2cM0", ENOENT);
    EXPECT_EXIT(backupSchedule(), testing::ExitedWithCode(255), "^/dev/i2cM0: No such file or directory\n$");
}

// --- with what was written before ---

TEST_F(Restoring, FindsNoCopyWhileTheBusRemembersTheOldMarker)
{
    hold(marker, std::string(1, '\0'));
    write_page(0, "scheduleconfig", schedule(0));
    unset("reflash");
    EXPECT_EQ(backupSchedule(), 0);
    EXPECT_EQ(calls("nvram_bufset 0 schedule"), Calls{});
    EXPECT_EQ(restore(), 1);
    EXPECT_EQ(writes(), all_writes());
}

TEST_F(Restoring, BringsBackWhatWasWrittenAPageAtATime)
{
    for (int i = 0; i < 5; ++i) {
        write_page(i, "scheduleconfig", schedule(i, 'n'));
        write_page(i, "schedulet", companion(i, 'n'));
    }
    write_page(3, "DelPowerSchedule", "");
    write_page(0, "sysAdm", "admin");
    write_page(1, "sysAdm", "secret");
    EXPECT_EQ(restore(), 1);
    EXPECT_EQ(get("schedule3") + get("schedule4"), schedule(4, 'n'));
    EXPECT_EQ(get("schedule3t") + get("schedule4t"), companion(3, 'n') + companion(4, 'n'));
    EXPECT_EQ(get("Login") + ":" + get("Password"), "admin:secret");
}

} // namespace
} // namespace plexor::tests
