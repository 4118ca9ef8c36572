// SPDX-License-Identifier: Apache-2.0
// The fixture and the interposer under it, seen from a library that only makes plain calls.
#include <fcntl.h>
#include <gtest/gtest-spi.h>
#include <sys/shm.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "tests/contract/appliance.h"
#include "tests/contract/files.h"
#include "tests/contract/probe.h"

namespace plexor::tests
{
namespace
{

constexpr int key = 0x4C504F4C;

class Interposer : public Appliance
{
  protected:
    std::uintptr_t address_of(void *object) { return reinterpret_cast<std::uintptr_t>(object); }
};

TEST(WithoutAppliance, ALibraryReachesTheRealThing)
{
    EXPECT_EQ(probe_open("/dev/gpio"), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_GT(probe_calendar(), 1'767'323'045);
    const int file = probe_open("/dev/null");
    EXPECT_EQ(probe_close(file), 0);
}

TEST(WithoutAppliance, TheParameterStoreIsEmpty)
{
    char text[] = "before";
    unsigned char address[6];
    EXPECT_EQ(probe_fetch("key", text, sizeof text), 0);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(probe_fetch_int("key", 7), 7);
    EXPECT_LT(probe_store("key", "value"), 0);
    EXPECT_LT(probe_ethernet_address(address), 0);
}

TEST_F(Interposer, WritesTheCallsOfALibraryDownInOrder)
{
    const int gpio = probe_open("/dev/gpio");
    probe_ioctl(gpio, 18, 0x00400000);
    probe_close(gpio);
    EXPECT_EQ(calls(), (Calls{"open /dev/gpio", "ioctl /dev/gpio 18 0x00400000", "close /dev/gpio"}));
}

TEST_F(Interposer, LeavesTheTestsOwnCallsAlone)
{
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    ::close(::open("/dev/null", O_RDONLY));
    EXPECT_NE(::time(nullptr), probe_calendar());
    EXPECT_EQ(calls(), Calls{"time"});
}

TEST_F(Interposer, LeavesFilesThatAreNoDevicesAloneAndUnrecorded)
{
    char byte = 'x';
    const int file = probe_open("/dev/zero");
    EXPECT_EQ(probe_read(file, &byte, 1), 1);
    EXPECT_EQ(byte, '\0');
    EXPECT_EQ(probe_close(file), 0);
    EXPECT_EQ(calls(), Calls{});
}

TEST_F(Interposer, SeesTheCallsOfOtherThreads)
{
    std::thread([] { probe_close(probe_open("/dev/i2cM0")); }).join();
    EXPECT_EQ(calls(), (Calls{"open /dev/i2cM0", "close /dev/i2cM0"}));
}

TEST_F(Interposer, ShowsRecordedCallsOneALine)
{
    probe_close(probe_open("/dev/gpio"));
    EXPECT_EQ(testing::PrintToString(calls()), "{\n      open /dev/gpio\n      close /dev/gpio\n    }");
    EXPECT_EQ(calls("close"), Calls{"close /dev/gpio"});
}

TEST_F(Interposer, NoticesADescriptorClosedTwice)
{
    const int gpio = probe_open("/dev/gpio");
    EXPECT_NONFATAL_FAILURE(probe_close_twice(gpio), "close of descriptor");
}

TEST_F(Interposer, NoticesARequestAfterTheClose)
{
    unsigned word = 0;
    const int gpio = probe_open("/dev/gpio");
    probe_close(gpio);
    EXPECT_NONFATAL_FAILURE(probe_ioctl(gpio, 2, address_of(&word)), "ioctl of descriptor");
}

TEST_F(Interposer, CountsDevicesLeftOpen)
{
    const int gpio = probe_open("/dev/gpio");
    EXPECT_EQ(devices_open(), 1);
    probe_close(gpio);
    EXPECT_EQ(devices_open(), 0);
}

TEST_F(Interposer, FailsATestThatEndsWithADeviceOpen)
{
    struct Leaking : Interposer {
        Leaking() { probe_open("/dev/gpio"); }
        void TestBody() override {}
    };
    EXPECT_NONFATAL_FAILURE(Leaking(), "devices were left open");
}

TEST_F(Interposer, NoticesADeviceOpenedForWritingOrInherited)
{
    EXPECT_NONFATAL_FAILURE(probe_close(probe_open_flags("/dev/gpio", O_RDWR | O_CLOEXEC)), "for writing");
    EXPECT_NONFATAL_FAILURE(probe_close(probe_open_flags("/dev/gpio", O_RDONLY)), "close-on-exec");
}

TEST_F(Interposer, NoticesAPipeThatIsWaitedFor)
{
    const std::string path = "/tmp/plexor-pipe";
    std::filesystem::remove(path);
    make_pipe(path);
    EXPECT_NONFATAL_FAILURE(probe_open_flags(path.c_str(), O_RDONLY | O_CLOEXEC), "is waited for");
    const int pipe = probe_open_flags(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    EXPECT_EQ(probe_close(pipe), 0);
}

TEST_F(Interposer, NoticesArgumentsThatTheDriverCannotTake)
{
    const int gpio = probe_open("/dev/gpio");
    EXPECT_NONFATAL_FAILURE(probe_ioctl(gpio, 2, 0), "bad argument");
    if constexpr (sizeof(std::uintptr_t) > 4)
        EXPECT_NONFATAL_FAILURE(probe_ioctl(gpio, 18, ~std::uintptr_t{0xFF}), "32 bits");
    probe_close(gpio);
}

TEST_F(Interposer, RefusesReadsOfADevice)
{
    char byte = 'x';
    const int gpio = probe_open("/dev/gpio");
    EXPECT_EQ(probe_read(gpio, &byte, 1), -1);
    EXPECT_EQ(calls("read"), Calls{"read /dev/gpio 1"});
    probe_close(gpio);
}

TEST_F(Interposer, BringsTheBoardsAnswerIntoTheCallersMemory)
{
    for (const bool latching : {true, false}) {
        use_model(2, latching);
        unsigned word = 0;
        const int gpio = probe_open("/dev/gpio");
        EXPECT_EQ(probe_ioctl(gpio, 2, address_of(&word)), 0);
        EXPECT_EQ((word & 8) != 0, latching);
        probe_close(gpio);
    }
}

TEST_F(Interposer, WritesEachKindOfRequestDown)
{
    std::uint8_t byte = 0x0F;
    std::uint8_t record[] = {5, 0xFB, 1, 2, 8};
    struct {
        std::uint32_t address, reg;
        std::uint8_t *buffer;
        std::uint32_t length;
    } transfer{0xA0, 1, &byte, 1};
    const int relays = probe_open("/dev/spiS0");
    const int bus = probe_open("/dev/i2cM0");
    forget_calls();
    probe_ioctl(relays, 4, address_of(record));
    probe_ioctl(bus, 17, address_of(&transfer));
    probe_ioctl(bus, 16, address_of(&transfer));
    probe_ioctl(bus, 18, address_of(record));
    EXPECT_EQ(calls(), (Calls{"ioctl /dev/spiS0 4 05FB010208", "ioctl /dev/i2cM0 17 A0 1 [0F]",
                              "ioctl /dev/i2cM0 16 A0 1 len 1", "ioctl /dev/i2cM0 18"}));
    EXPECT_EQ(board().controller(1), 0x0F);
    probe_close(relays);
    probe_close(bus);
}

TEST_F(Interposer, FailsOpensUntilTheyAreRestored)
{
    fail_open("/dev/gpio", EACCES);
    EXPECT_EQ(probe_open("/dev/gpio"), -1);
    EXPECT_EQ(errno, EACCES);
    fail_open("/dev/gpio", 0);
    const int gpio = probe_open("/dev/gpio");
    EXPECT_GE(gpio, 0);
    probe_close(gpio);
}

TEST_F(Interposer, GivesADescriptorNumberByOrderOnce)
{
    open_returns("/dev/spiS0", 0);
    EXPECT_EQ(probe_open("/dev/spiS0"), 0);
    EXPECT_EQ(devices_open(), 0);
    EXPECT_EQ(probe_close(0), 0);
    EXPECT_GE(fcntl(0, F_GETFD), 0) << "the real standard input was closed";
    const int relays = probe_open("/dev/spiS0");
    EXPECT_GT(relays, 0);
    probe_close(relays);
}

TEST_F(Interposer, FailsRequestsUntilTheyAreRestored)
{
    const int gpio = probe_open("/dev/gpio");
    fail_ioctl("/dev/gpio", 18, EIO);
    EXPECT_EQ(probe_ioctl(gpio, 18, 1), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(probe_ioctl(gpio, 17, 1), 0);
    fail_ioctl("/dev/gpio", 18, 0);
    EXPECT_EQ(probe_ioctl(gpio, 18, 1), 0);
    probe_close(gpio);
}

TEST_F(Interposer, FailsTheCallAskedForAndNoOther)
{
    add_process(100);
    fail_call_after("kill", 1, EPERM);
    EXPECT_EQ(probe_kill(100, 0), 0);
    EXPECT_EQ(probe_kill(100, 0), -1);
    EXPECT_EQ(errno, EPERM);
    EXPECT_EQ(probe_kill(100, 0), 0);
}

TEST_F(Interposer, DrivesTheClocks)
{
    EXPECT_EQ(probe_monotonic(), 1000'000'000'000);
    EXPECT_EQ(probe_calendar(), 1'767'323'045);
    const timespec duration{1, 500'000'000};
    EXPECT_EQ(probe_sleep(&duration, nullptr), 0);
    EXPECT_EQ(probe_monotonic(), 1001'500'000'000);
    set_calendar(5);
    advance(2'000'000'000);
    EXPECT_EQ(probe_calendar(), 7);
    EXPECT_EQ(calls("nanosleep"), Calls{"nanosleep 1.500000000"});
}

TEST_F(Interposer, InterruptsOneSleepAndTellsWhatRemains)
{
    const timespec duration{2, 0};
    timespec remaining{};
    interrupt_next_sleep_after(500'000'000);
    EXPECT_EQ(probe_sleep(&duration, &remaining), -1);
    EXPECT_EQ(errno, EINTR);
    EXPECT_EQ(remaining.tv_sec, 1);
    EXPECT_EQ(remaining.tv_nsec, 500'000'000);
    EXPECT_EQ(probe_sleep(&remaining, nullptr), 0);
    EXPECT_EQ(probe_monotonic(), 1002'000'000'000);
}

TEST_F(Interposer, KnowsOnlyTheProcessesAdded)
{
    add_process(100);
    EXPECT_EQ(probe_kill(100, 0), 0);
    EXPECT_EQ(probe_sigqueue(100, 54, 11), 0);
    remove_process(100);
    EXPECT_EQ(probe_sigqueue(100, 54, 12), -1);
    EXPECT_EQ(errno, ESRCH);
    EXPECT_EQ(calls(), (Calls{"kill 100 0", "sigqueue 100 54 11", "sigqueue 100 54 12"}));
}

TEST_F(Interposer, KeepsCommandsLogAndDebugPrintToItself)
{
    system_returns(256);
    EXPECT_EQ(probe_system("exit 0"), 256);
    probe_log(6, "text");
    EXPECT_EQ(probe_print("one\n"), 4);
    probe_print("two\n");
    EXPECT_EQ(calls(), (Calls{"system exit 0", "openlog probe 0 8", "syslog 6 text"}));
    EXPECT_EQ(debug_print(), "one\ntwo\n");
}

TEST_F(Interposer, KeepsWhatIsPipedIntoACommandThatIsNotRun)
{
    std::FILE *pipe = probe_pipe("touch /tmp/run; cat", "we");
    std::fputs("text\n", pipe);
    EXPECT_EQ(pipes_open(), 1);
    EXPECT_EQ(probe_close_pipe(pipe), 0);
    EXPECT_EQ(pipes_open(), 0);
    EXPECT_EQ(piped(), "text\n");
    EXPECT_EQ(calls(), (Calls{"popen w touch /tmp/run; cat", "pclose"}));
    EXPECT_FALSE(std::filesystem::exists("/tmp/run"));
}

TEST_F(Interposer, GivesTheOutputAskedForToWhoReadsACommand)
{
    int number = 0;
    commands_print("12\n");
    std::FILE *pipe = probe_pipe("echo 13", "re");
    EXPECT_EQ(std::fscanf(pipe, "%d", &number), 1);
    EXPECT_EQ(number, 12);
    EXPECT_EQ(std::fgetc(pipe), '\n');
    EXPECT_EQ(std::fgetc(pipe), EOF);
    probe_close_pipe(pipe);
    EXPECT_EQ(calls(), (Calls{"popen r echo 13", "pclose"}));
}

TEST_F(Interposer, RunsPipedCommandsWhenAskedTo)
{
    int number = 0;
    run_piped_commands();
    std::FILE *pipe = probe_pipe("echo 13; exit 3", "re");
    EXPECT_EQ(std::fscanf(pipe, "%d", &number), 1);
    EXPECT_EQ(number, 13);
    EXPECT_EQ(probe_close_pipe(pipe), 3 << 8);
    EXPECT_EQ(calls(), (Calls{"popen r echo 13; exit 3", "pclose"}));
}

TEST_F(Interposer, NoticesPipesThatAreInheritedOrClosedTwice)
{
    std::FILE *pipe = nullptr;
    EXPECT_NONFATAL_FAILURE(pipe = probe_pipe("true", "w"), "close-on-exec");
    probe_close_pipe(pipe);
    EXPECT_NONFATAL_FAILURE(probe_close_pipe(pipe), "no open pipe");
}

TEST_F(Interposer, FailsATestThatEndsWithAPipeOpen)
{
    struct Leaking : Interposer {
        Leaking() { probe_pipe("true", "we"); }
        void TestBody() override {}
    };
    EXPECT_NONFATAL_FAILURE(Leaking(), "pipes were left open");
}

TEST_F(Interposer, ClosesThePipesLeftOpenForATestThatExpectsThem)
{
    std::fputs("text", probe_pipe("true", "we"));
    close_pipes();
    EXPECT_EQ(pipes_open(), 0);
    EXPECT_EQ(piped(), "text");
    EXPECT_EQ(calls("pclose"), Calls{});
}

TEST_F(Interposer, FailsPipesSeeksAndAllocations)
{
    const int file = probe_open("/dev/zero");
    for (const char *call : {"popen", "lseek", "malloc"})
        fail_call(call, ENOSPC);
    EXPECT_EQ(probe_pipe("true", "we"), nullptr);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(probe_seek(file, 0, SEEK_END), -1);
    EXPECT_EQ(probe_seek(file, 0, SEEK_SET), 0);
    EXPECT_EQ(probe_allocate(10240), nullptr);
    void *block = probe_allocate(7);
    EXPECT_NE(block, nullptr);
    std::free(block);
    EXPECT_EQ(calls(), (Calls{"popen w true", "lseek 0 2", "lseek 0 0", "malloc 10240", "malloc 7"}));
    probe_close(file);
}

TEST_F(Interposer, CountsAttachmentsAndShowsSegments)
{
    EXPECT_EQ(segment(key), std::vector<std::uint8_t>{});
    EXPECT_EQ(segment_mode(key), -1);
    auto *bytes = static_cast<char *>(probe_attach(key, 4, IPC_CREAT));
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(segments_attached(), 1);
    bytes[1] = 7;
    EXPECT_EQ(segment(key), (std::vector<std::uint8_t>{0, 7, 0, 0}));
    EXPECT_EQ(segment_mode(key), 0);
    EXPECT_EQ(probe_detach(bytes), 0);
    EXPECT_EQ(segments_attached(), 0);
    EXPECT_EQ(calls(), (Calls{"shmget 0x4C504F4C 4 01000", "shmat", "shmdt"}));
}

TEST_F(Interposer, SharesSegmentsThatAStrangerMade)
{
    make_segment(key, 2, 0600);
    EXPECT_EQ(segment_mode(key), 0600);
    write_segment(key, 1, {9});
    auto *bytes = static_cast<char *>(probe_attach(key, 0, 0));
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(bytes[1], 9);
    probe_detach(bytes);
    remove_segment(key);
    EXPECT_EQ(probe_attach(key, 0, 0), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(Interposer, StartsWithoutSegments)
{
    probe_detach(probe_attach(key, 4, IPC_CREAT));
    struct Next : Interposer {
        Next() { EXPECT_EQ(segment_mode(key), -1); }
        void TestBody() override {}
    };
    const Next next;
}

TEST_F(Interposer, FailsAttachmentsWithTheErrorAskedFor)
{
    fail_call("shmget", 0);
    EXPECT_EQ(probe_attach(key, 4, IPC_CREAT), nullptr);
    EXPECT_EQ(errno, 0);
    fail_call("shmat", ENOMEM);
    EXPECT_EQ(probe_attach(key, 4, IPC_CREAT), nullptr);
    EXPECT_EQ(errno, ENOMEM);
}

TEST_F(Interposer, NoticesTheDetachingOfWhatIsNotAttached)
{
    static char somewhere;
    EXPECT_NONFATAL_FAILURE(probe_detach(&somewhere), "shmdt");
}

TEST_F(Interposer, CopiesNoMoreOfAParameterThanFits)
{
    char text[] = "123456";
    set("key", "abcdef");
    EXPECT_EQ(probe_fetch("key", text, 4), 0);
    EXPECT_STREQ(text, "abc");
    EXPECT_EQ(text[4], '5');
    EXPECT_EQ(last_buffer_offered(), (std::vector<std::uint8_t>{'1', '2', '3', '4'}));
    EXPECT_EQ(calls(), Calls{"nvram_kget_str key 4"});
}

TEST_F(Interposer, KeepsParametersAndCommitsThem)
{
    EXPECT_EQ(probe_store("key", "12"), 0);
    EXPECT_EQ(probe_fetch_int("key", 0), 12);
    EXPECT_EQ(get("key"), "12");
    EXPECT_FALSE(flash().contains("key"));
    EXPECT_EQ(probe_commit(), 0);
    EXPECT_EQ(flash()["key"], "12");
    EXPECT_EQ(calls("nvram_b"), Calls{"nvram_bufset 0 key=12"});
}

TEST_F(Interposer, PlaysAStoreThatFails)
{
    char text[] = "before";
    unplug_store(true);
    probe_fetch("IO_number", text, sizeof text);
    EXPECT_STREQ(text, "before");
    refuse_writes(-5);
    EXPECT_EQ(probe_store("key", "12"), -5);
    EXPECT_EQ(get("key"), "");
}

TEST_F(Interposer, StartsWithTheParametersOfTheModel)
{
    set("key", "1");
    use_model(10, false);
    std::array<std::uint8_t, 100> address{};
    EXPECT_EQ(probe_fetch_int("IO_number", 0), 10);
    EXPECT_EQ(get("key"), "");
    EXPECT_EQ(probe_ethernet_address(address.data()), 0);
    const auto code = static_cast<std::uint32_t>(address[0] << 16 | address[1] << 8 | address[2]);
    EXPECT_EQ(code, board().hardware().code);
    lose_ethernet_address();
    EXPECT_LT(probe_ethernet_address(address.data()), 0);
}

TEST_F(Interposer, CatchesWhatIsPrinted)
{
    EXPECT_EQ(standard_error_of([] { errno = ENOENT, std::perror("name"); }),
              "name: No such file or directory\n");
    EXPECT_EQ(standard_output_of([] { std::printf("text\n"); }), "text\n");
}

TEST_F(Interposer, ClearsProcessIdFilesAway)
{
    write_pid_file("probe", "12\n");
    EXPECT_TRUE(std::filesystem::exists("/var/run/probe.pid"));
    struct Next : Interposer {
        void TestBody() override {}
    };
    const Next next;
    EXPECT_FALSE(std::filesystem::exists("/var/run/probe.pid"));
}

} // namespace
} // namespace plexor::tests
