// SPDX-License-Identifier: Apache-2.0
#include <plexor/process.h>

#include <syslog.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "tests/contract/appliance.h"

namespace plexor::tests
{
namespace
{

const int watchdog_count_at_start = pingmgr_count;

std::string pid_path(const std::string &name)
{
    return "/var/run/" + name + ".pid";
}

std::string content(const std::string &path)
{
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

long open_descriptors()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

// --- reading process-id files ---

class PidFile : public Appliance
{
  protected:
    static std::string complaint_about(const std::string &path, int expected)
    {
        return standard_error_of([&] { EXPECT_EQ(ReadPid(path.c_str()), expected); });
    }
    // A file "/var/run/some.pid" with this text gives expected; returns the complaint.
    std::string reading(const std::string &text, int expected)
    {
        write_pid_file("some", text);
        return complaint_about(pid_path("some"), expected);
    }
    static constexpr const char *at_end = "## Read /var/run/some.pid EOF\n";
};

TEST_F(PidFile, HoldsADecimalNumberAndANewline)
{
    EXPECT_EQ(reading("4711\n", 4711), "");
}

TEST_F(PidFile, MayLackTheNewlineOrHaveBlanksBeforeTheNumber)
{
    EXPECT_EQ(reading("4711", 4711), "");
    EXPECT_EQ(reading("\n \t4711\n", 4711), "");
}

TEST_F(PidFile, IsReadUpToTheEndOfItsFirstNumber)
{
    EXPECT_EQ(reading("12\n34\n", 12), "");
    EXPECT_EQ(reading("12abc", 12), "");
    EXPECT_EQ(reading("0x12", 0), "");
}

TEST_F(PidFile, MayHaveAnyNumberOfBlanksAndZerosBeforeTheNumber)
{
    for (const std::size_t count : {1, 60, 61, 62, 63, 64, 65, 127, 128, 5000}) {
        EXPECT_EQ(reading(std::string(count, ' ') + "4711\n", 4711), "") << count;
        EXPECT_EQ(reading(std::string(count, '0') + "4711\n", 4711), "") << count;
        EXPECT_EQ(reading("-" + std::string(count, '0') + "5\n", -5), "") << count;
    }
    EXPECT_EQ(reading(std::string(5000, '0'), 0), "");
}

// What does not fit an int becomes what scanf makes of it.
TEST_F(PidFile, WithTooLargeANumberGivesWhatScanfGives)
{
    for (const std::string text :
         {"2147483648", "4294967297", "99999999999999999999999999999", "-9999999999999999999999"}) {
        int scanned = 0;
        ASSERT_EQ(sscanf(text.c_str(), "%d\n", &scanned), 1);
        EXPECT_EQ(reading(text + "\n", scanned), "") << text;
    }
}

TEST_F(PidFile, ThatStartsWithAZeroByteHoldsNoNumber)
{
    EXPECT_EQ(reading(std::string("\0"
                                  "12\n",
                                  4),
                      PLEXOR_NO_PROCESS),
              "");
    EXPECT_EQ(reading("-", PLEXOR_NO_PROCESS), "");
}

TEST_F(PidFile, MayHoldASign)
{
    EXPECT_EQ(reading("-5\n", -5), "");
    EXPECT_EQ(reading("+5\n", 5), "");
}

TEST_F(PidFile, ThatIsMissingIsNoProcess)
{
    EXPECT_EQ(complaint_about("/var/run/none.pid", PLEXOR_NO_PROCESS),
              "## Can not open /var/run/none.pid \n");
}

TEST_F(PidFile, ThatIsEmptyIsNoProcess)
{
    EXPECT_EQ(reading("", PLEXOR_NO_PROCESS), at_end);
}

TEST_F(PidFile, ThatEndsBeforeANumberIsNoProcess)
{
    EXPECT_EQ(reading(" \n\t\n", PLEXOR_NO_PROCESS), at_end);
}

TEST_F(PidFile, ThatHoldsNoNumberIsNoProcess)
{
    EXPECT_EQ(reading("pingmgr\n", PLEXOR_NO_PROCESS), "");
}

TEST_F(PidFile, ThatIsAFolderIsNoProcess)
{
    EXPECT_EQ(complaint_about("/var/run", PLEXOR_NO_PROCESS), "## Read /var/run EOF\n");
}

TEST_F(PidFile, GivesTheMarkerForNoProcess)
{
    EXPECT_EQ(PLEXOR_NO_PROCESS, 0x7FFFFFFF);
}

TEST_F(PidFile, MayLieAnywhere)
{
    EXPECT_EQ(complaint_about("/dev/null", PLEXOR_NO_PROCESS), "## Read /dev/null EOF\n");
}

TEST_F(PidFile, IsComplainedAboutOnStandardErrorAlone)
{
    EXPECT_EQ(standard_output_of([this] { reading("", PLEXOR_NO_PROCESS); }), "");
    EXPECT_EQ(debug_print(), "");
    EXPECT_EQ(calls(), Calls{});
}

TEST_F(PidFile, IsClosedAfterReading)
{
    const long before = open_descriptors();
    reading("4711\n", 4711);
    reading("", PLEXOR_NO_PROCESS);
    reading("junk", PLEXOR_NO_PROCESS);
    EXPECT_EQ(open_descriptors(), before);
}

// --- introducing a process ---

class Introduction : public Appliance
{
  protected:
    static const Calls log_opened_for(const std::string &name)
    {
        return {"openlog " + name + " 0 " + std::to_string(LOG_USER),
                "syslog " + std::to_string(LOG_INFO) + " ###Start...:PID=815\n"};
    }
};

TEST_F(Introduction, WritesThePidFileOpensTheLogAndPrints)
{
    WriteProcPid_OpenLog("plexord", 815);
    EXPECT_EQ(content("/var/run/plexord.pid"), "815\n");
    EXPECT_EQ(calls(), log_opened_for("plexord"));
    EXPECT_EQ(debug_print(), "WriteProcPid:plexord=815\n");
}

TEST_F(Introduction, WritesTheFileBeforeItOpensTheLogAndPrintsLast)
{
    std::vector<std::string> seen;
    const auto look = [&] { seen.push_back(content("/var/run/plexord.pid") + debug_print()); };
    at_call("openlog", look);
    at_call("syslog", look);
    WriteProcPid_OpenLog("plexord", 815);
    EXPECT_EQ(seen, (std::vector<std::string>{"815\n", "815\n"}));
}

TEST_F(Introduction, ReplacesALongerFile)
{
    write_pid_file("plexord", "1234567890\nand more\n");
    WriteProcPid_OpenLog("plexord", 815);
    EXPECT_EQ(content("/var/run/plexord.pid"), "815\n");
}

TEST_F(Introduction, WritesWhatReadPidReads)
{
    WriteProcPid_OpenLog("plexord", INT_MAX - 1);
    EXPECT_EQ(ReadPid("/var/run/plexord.pid"), INT_MAX - 1);
    WriteProcPid_OpenLog("plexord", -1);
    EXPECT_EQ(ReadPid("/var/run/plexord.pid"), -1);
}

TEST_F(Introduction, ClosesTheFile)
{
    const long before = open_descriptors();
    WriteProcPid_OpenLog("plexord", 815);
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(Introduction, TakesAPathOf99Characters)
{
    const std::string name(86, 'n');
    ASSERT_EQ(pid_path(name).size(), 99U);
    WriteProcPid_OpenLog(name.c_str(), 815);
    EXPECT_EQ(content(pid_path(name)), "815\n");
    EXPECT_EQ(calls(), log_opened_for(name));
    EXPECT_EQ(log_ident(), name);
}

TEST_F(Introduction, DoesNothingForAPathOf100CharactersAndMore)
{
    for (const std::size_t length : {87U, 88U, 200U, 5000U}) {
        const std::string name(length, 'n');
        WriteProcPid_OpenLog(name.c_str(), 815);
        EXPECT_FALSE(std::filesystem::exists(pid_path(name.substr(0, 200))));
    }
    EXPECT_EQ(calls(), Calls{});
    EXPECT_EQ(debug_print(), "");
}

TEST_F(Introduction, DoesNothingWithoutAName)
{
    WriteProcPid_OpenLog(nullptr, 815);
    EXPECT_EQ(calls(), Calls{});
    EXPECT_EQ(debug_print(), "");
    EXPECT_FALSE(std::filesystem::exists("/var/run/(null).pid"));
}

TEST_F(Introduction, GoesOnWithoutAFileThatCannotBeOpened)
{
    WriteProcPid_OpenLog("no/such/folder", 815);
    EXPECT_EQ(calls(), log_opened_for("no/such/folder"));
    EXPECT_EQ(debug_print(), "WriteProcPid:no/such/folder=815\n");
}

TEST_F(Introduction, KeepsTheNameOfTheLogWhenTheCallersTextChanges)
{
    std::string name = "plexord";
    WriteProcPid_OpenLog(name.c_str(), 815);
    name = "changed";
    EXPECT_EQ(log_ident(), "plexord");
}

TEST_F(Introduction, CanBeRepeatedUnderAnotherName)
{
    WriteProcPid_OpenLog("a-rather-long-name", 815);
    WriteProcPid_OpenLog("plexord", 815);
    EXPECT_EQ(log_ident(), "plexord");
}

// --- the network monitor's watchdog ---

class Watchdog : public Appliance
{
  protected:
    Watchdog() { pingmgr_count = 0; }

    // So many checks; returns what they wrote to standard error.
    static std::string check(int times = 1)
    {
        return standard_error_of([times] {
            for (int i = 0; i < times; ++i)
                checkpid();
        });
    }
    void start_monitor()
    {
        write_pid_file("pingmgr", "612\n");
        add_process(612);
    }
    Calls starts() const { return calls("system"); }
};

TEST_F(Watchdog, CountsFromZero)
{
    EXPECT_EQ(watchdog_count_at_start, 0);
}

TEST_F(Watchdog, ProbesTheMonitorWithSignalZeroAndNothingElse)
{
    start_monitor();
    EXPECT_EQ(check(), "");
    EXPECT_EQ(calls(), Calls{"kill 612 0"});
    EXPECT_EQ(debug_print(), "");
    EXPECT_EQ(pingmgr_count, 0);
}

TEST_F(Watchdog, CountsTwoMissesSilently)
{
    check();
    EXPECT_EQ(pingmgr_count, 1);
    check();
    EXPECT_EQ(pingmgr_count, 2);
    EXPECT_EQ(starts(), Calls{});
    EXPECT_EQ(debug_print(), "");
}

TEST_F(Watchdog, StartsTheMonitorAtTheThirdMiss)
{
    check(3);
    EXPECT_EQ(starts(), Calls{"system pingmgr &"});
    EXPECT_EQ(debug_print(), "\n#### Warning: pingmgr lost... \n");
    EXPECT_EQ(pingmgr_count, 0);
}

TEST_F(Watchdog, StartsTheMonitorAtEveryThirdMiss)
{
    std::vector<int> starting;
    for (int i = 1; i <= 9; ++i) {
        forget_calls();
        check();
        if (!starts().empty())
            starting.push_back(i);
    }
    EXPECT_EQ(starting, (std::vector<int>{3, 6, 9}));
}

TEST_F(Watchdog, WarnsBeforeItStartsTheMonitorWithTheCountAtZero)
{
    std::string printed;
    int count = -1;
    at_call("system", [&] { printed = debug_print(), count = pingmgr_count; });
    check(3);
    EXPECT_EQ(printed, "\n#### Warning: pingmgr lost... \n");
    EXPECT_EQ(count, 0);
}

TEST_F(Watchdog, ForgetsMissesWhenTheMonitorAnswers)
{
    check(2);
    start_monitor();
    check();
    EXPECT_EQ(pingmgr_count, 0);
    remove_process(612);
    check(2);
    EXPECT_EQ(starts(), Calls{});
    check();
    EXPECT_EQ(starts(), Calls{"system pingmgr &"});
}

TEST_F(Watchdog, MissesAProcessThatIsGone)
{
    write_pid_file("pingmgr", "612\n");
    check(3);
    EXPECT_EQ(calls(), (Calls{"kill 612 0", "kill 612 0", "kill 612 0", "system pingmgr &"}));
}

TEST_F(Watchdog, MissesAProcessThatMayNotBeProbed)
{
    start_monitor();
    fail_call("kill", EPERM);
    check();
    EXPECT_EQ(pingmgr_count, 1);
}

TEST_F(Watchdog, MissesAMonitorWithoutFileOrNumber)
{
    EXPECT_EQ(check(), "## Can not open /var/run/pingmgr.pid \n");
    write_pid_file("pingmgr", "");
    EXPECT_EQ(check(), "## Read /var/run/pingmgr.pid EOF\n");
    EXPECT_EQ(pingmgr_count, 2);
    write_pid_file("pingmgr", "junk\n");
    EXPECT_EQ(check(), "");
    EXPECT_EQ(starts(), Calls{"system pingmgr &"});
}

TEST_F(Watchdog, NeverProbesAGroupOfProcesses)
{
    for (const char *pid : {"0\n", "-1\n", "-612\n"}) {
        write_pid_file("pingmgr", pid);
        add_process(std::atoi(pid));
        check();
    }
    EXPECT_EQ(calls(), Calls{"system pingmgr &"});
}

TEST_F(Watchdog, TakesUpACountSetFromOutside)
{
    pingmgr_count = 2;
    check();
    EXPECT_EQ(starts(), Calls{"system pingmgr &"});
}

TEST_F(Watchdog, TakesACountBeyondItsLimitAsReached)
{
    pingmgr_count = INT_MAX;
    check();
    EXPECT_EQ(starts(), Calls{"system pingmgr &"});
    EXPECT_EQ(pingmgr_count, 0);
}

TEST_F(Watchdog, CountsAnewWhenTheMonitorCouldNotBeStarted)
{
    for (const int status : {-1, 127 << 8}) {
        forget_calls();
        system_returns(status);
        EXPECT_EQ(pingmgr_count, 0);
        check(5);
        EXPECT_EQ(starts(), Calls{"system pingmgr &"});
        check();
        EXPECT_EQ(starts().size(), 2U);
    }
}

} // namespace
} // namespace plexor::tests
