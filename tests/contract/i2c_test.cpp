// SPDX-License-Identifier: Apache-2.0
// Transfers as the bus sees them, what is printed about them, and the bus scan.
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "tests/contract/i2c_appliance.h"
#include "tests/contract/probe.h"

namespace plexor::tests
{
namespace
{

class I2cTransfers : public I2c
{
};

TEST_F(I2cTransfers, GoThroughOpenRequestAndClose)
{
    write(board_controller, 1, {0x0F});
    EXPECT_EQ(calls(), (Calls{"shmget 0x4932434D 1480 03666", "shmat", "clock_gettime monotonic",
                              "open /dev/i2cM0", "ioctl /dev/i2cM0 17 A0 1 [0F]", "close /dev/i2cM0",
                              "nvram_kget_int DbgPic 0", "shmdt"}));
}

TEST_F(I2cTransfers, LookForTheSegmentAfreshAtEachCall)
{
    make_cache();
    read(0x34, 8, 1);
    EXPECT_EQ(calls(), (Calls{"shmget 0x4932434D 1480 03666", "shmget 0x4932434D 1480 0666", "shmat",
                              "clock_gettime monotonic", "open /dev/i2cM0", "ioctl /dev/i2cM0 16 34 8 len 1",
                              "close /dev/i2cM0", "nvram_kget_int DbgPic 0", "shmdt"}));
}

TEST_F(I2cTransfers, ReadIntoTheBuffer)
{
    board().set_controller(4, 0xC1);
    board().set_controller(5, 0xC2);
    EXPECT_EQ(read(board_controller, 4, 2), (Bytes{0xC1, 0xC2}));
    EXPECT_EQ(transfers(), Calls{"ioctl /dev/i2cM0 16 A0 4 len 2"});
}

TEST_F(I2cTransfers, WriteAllBytesOfTheBuffer)
{
    write(board_controller, 272, {1, 2, 3});
    EXPECT_EQ(board().controller(272), 1);
    EXPECT_EQ(board().controller(274), 3);
}

TEST_F(I2cTransfers, ReachRegistersBeyond255)
{
    write(board_controller, 736, {7});
    read(board_controller, 736, 31);
    EXPECT_EQ(transfers(), (Calls{"ioctl /dev/i2cM0 17 A0 736 [07]", "ioctl /dev/i2cM0 16 A0 736 len 31"}));
}

TEST_F(I2cTransfers, OfNoBytesReachTheBus)
{
    EXPECT_EQ(i2cmd(0, board_controller, 5, nullptr, 0), 1);
    EXPECT_EQ(i2cmd(1, board_controller, 5, nullptr, 0), 1);
    EXPECT_EQ(transfers(), (Calls{"ioctl /dev/i2cM0 17 A0 5 []", "ioctl /dev/i2cM0 16 A0 5 len 0"}));
}

TEST_F(I2cTransfers, WithAnUnknownOperationDoNothing)
{
    unsigned char byte = 7;
    EXPECT_EQ(i2cmd(2, 0x32, 1, &byte, 1), 0);
    EXPECT_EQ(debug_print(), "Errori2cmd_Cmd:02\n");
    EXPECT_EQ(i2cmd(UINT_MAX, board_controller, 1, &byte, 1), 0);
    EXPECT_EQ(debug_print(), "Errori2cmd_Cmd:02\nErrori2cmd_Cmd:FFFFFFFF\n");
    EXPECT_EQ(calls(), Calls{});
    EXPECT_EQ(byte, 7);
}

TEST_F(I2cTransfers, WithoutABufferAreRefused)
{
    EXPECT_EQ(i2cmd(0, board_controller, 1, nullptr, 1), 0);
    EXPECT_EQ(i2cmd(1, board_controller, 1, nullptr, 1), 0);
    EXPECT_EQ(calls(), Calls{});
}

TEST_F(I2cTransfers, ThatFailOnTheBusReturnOneAllTheSame)
{
    fail_ioctl("/dev/i2cM0", 16, EIO);
    fail_ioctl("/dev/i2cM0", 17, EIO);
    const auto text = standard_error_of([] {
        write(board_controller, 1, {5});
        EXPECT_EQ(read(0xD0, 0, 2), (Bytes{0, 0}));
    });
    EXPECT_EQ(text, "");
    EXPECT_EQ(debug_print(), "init shm\n");
}

TEST_F(I2cTransfers, ToDevicesThatDoNotAnswerReturnOneAllTheSame)
{
    write(0x40, 0, {0x38});
    EXPECT_EQ(transfers(), Calls{"ioctl /dev/i2cM0 17 40 0 [38]"});
}

// --- writes to the I/O controller are printed ---

class I2cWriteTrace : public I2c
{
  protected:
    I2cWriteTrace() { make_cache(); }
};

TEST_F(I2cWriteTrace, ShowsRegisterAndBytes)
{
    write(0x32, 13, {0x01});
    EXPECT_EQ(debug_print(), "DbgPicW:0x0D( 13)=01\n");
}

TEST_F(I2cWriteTrace, DoesNotDependOnTheSwitch)
{
    set("DbgPic", "0");
    write(0x32, 5, {0xAB, 0x00});
    EXPECT_EQ(debug_print(), "DbgPicW:0x05(  5)=AB00\n");
}

TEST_F(I2cWriteTrace, ShowsEveryByteOfALongWrite)
{
    std::string bytes;
    for (int i = 0; i < 200; ++i)
        bytes += "5A";
    write(0x32, 0x1234, Bytes(200, 0x5A));
    EXPECT_EQ(debug_print(), "DbgPicW:0x1234(4660)=" + bytes + "\n");
}

TEST_F(I2cWriteTrace, ShowsAWriteOfNoBytes)
{
    write(0x32, 1, {});
    EXPECT_EQ(debug_print(), "DbgPicW:0x01(  1)=\n");
}

TEST_F(I2cWriteTrace, ShowsRepeatedWritesToo)
{
    write(0x32, 5, {1});
    write(0x32, 5, {1});
    EXPECT_EQ(debug_print(), "DbgPicW:0x05(  5)=01\nDbgPicW:0x05(  5)=01\n");
}

TEST_F(I2cWriteTrace, IsForWritesToTheIoControllerAlone)
{
    read(0x32, 5, 1);
    write(0x34, 5, {1});
    write(board_controller, 5, {1});
    EXPECT_EQ(debug_print(), "");
}

TEST_F(I2cWriteTrace, ComesBeforeTheSegmentIsLookedFor)
{
    remove_segment(cache_key);
    write(0x32, 5, {1});
    EXPECT_EQ(debug_print(), "DbgPicW:0x05(  5)=01\ninit shm\n");
}

// --- transfers are printed when the parameter DbgPic asks for it ---

class I2cTrace : public I2cWriteTrace
{
  protected:
    I2cTrace() { set("DbgPic", "1"); }

    std::string trace(const std::string &rest) const { return "i2cmd:Thr:" + thread() + rest; }
    std::string trace_of_write(std::size_t length)
    {
        forget_calls();
        write(0xD0, 0, Bytes(length, 0xB7));
        return debug_print();
    }
};

TEST_F(I2cTrace, ShowsAWrite)
{
    write(board_controller, 272, {0x05, 0x07});
    EXPECT_EQ(debug_print(), trace(",cmd:0,A0110,ts:1000000,len: 2[0507].\n"));
}

TEST_F(I2cTrace, ShowsTheBytesThatWereRead)
{
    board().set_controller(4, 0xC1);
    read(board_controller, 4, 1);
    EXPECT_EQ(debug_print(), trace(",cmd:1,A004,ts:1000000,len: 1[C1].\n"));
}

TEST_F(I2cTrace, ShowsElevenBytesAtMost)
{
    const std::string eleven = "B7B7B7B7B7B7B7B7B7B7B7";
    EXPECT_EQ(trace_of_write(10), trace(",cmd:0,D000,ts:1000000,len:10[B7B7B7B7B7B7B7B7B7B7].\n"));
    EXPECT_EQ(trace_of_write(11), trace(",cmd:0,D000,ts:1000000,len:11[" + eleven + "]..].\n"));
    EXPECT_EQ(trace_of_write(12), trace(",cmd:0,D000,ts:1000000,len:12[" + eleven + "]..].\n"));
    EXPECT_EQ(trace_of_write(200), trace(",cmd:0,D000,ts:1000000,len:200[" + eleven + "]..].\n"));
    EXPECT_EQ(trace_of_write(0), trace(",cmd:0,D000,ts:1000000,len: 0[].\n"));
}

TEST_F(I2cTrace, ShowsTheClockInMilliseconds)
{
    set_monotonic(1, 234'999'999);
    EXPECT_EQ(trace_of_write(1), trace(",cmd:0,D000,ts: 1234,len: 1[B7].\n"));
    set_monotonic(0, 999'999);
    EXPECT_EQ(trace_of_write(1), trace(",cmd:0,D000,ts:    0,len: 1[B7].\n"));
}

TEST_F(I2cTrace, ShowsTheClockInSigned32Bits)
{
    set_monotonic(2'147'484, 0);
    EXPECT_EQ(trace_of_write(1), trace(",cmd:0,D000,ts:-2147483296,len: 1[B7].\n"));
}

TEST_F(I2cTrace, ComesAfterTheTransfer)
{
    read(board_controller, 1, 1);
    const auto made = calls();
    EXPECT_EQ((Calls{made.end() - 3, made.end()}),
              (Calls{"close /dev/i2cM0", "nvram_kget_int DbgPic 0", "shmdt"}));
}

TEST_F(I2cTrace, NeedsTheValueOne)
{
    for (const auto *value : {"0", "2", "-1", "", "on"}) {
        set("DbgPic", value);
        EXPECT_EQ(trace_of_write(1), "") << value;
    }
}

TEST_F(I2cTrace, IsReadAtEachCall)
{
    set("DbgPic", "0");
    EXPECT_EQ(trace_of_write(1), "");
    set("DbgPic", "1");
    EXPECT_NE(trace_of_write(1), "");
}

TEST_F(I2cTrace, IsNotPrintedForHits)
{
    write(board_controller, 1, {5});
    forget_calls();
    write(board_controller, 1, {5});
    EXPECT_EQ(debug_print(), "hitwr:Thr:" + thread() + ",A00101:05\n");
}

TEST_F(I2cTrace, FollowsTheTraceOfWritesToTheIoController)
{
    write(0x32, 5, {1});
    EXPECT_EQ(debug_print(), "DbgPicW:0x05(  5)=01\n" + trace(",cmd:0,3205,ts:1000000,len: 1[01].\n"));
}

TEST_F(I2cTrace, NamesTheThread)
{
    std::string expected;
    std::thread([&] {
        write(0xD0, 0, {1});
        expected = trace(",cmd:0,D000,ts:1000000,len: 1[01].\n");
    }).join();
    EXPECT_EQ(debug_print(), expected);
    EXPECT_EQ(expected.find(thread()), std::string::npos);
}

// --- past the cache ---

class I2cDirect : public I2c
{
  protected:
    unsigned char byte_{0xC3};
};

TEST_F(I2cDirect, ReadsEachTime)
{
    board().set_controller(300, 0x11);
    EXPECT_EQ(I2CRead(board_controller, 300, &byte_, 1), 0);
    EXPECT_EQ(byte_, 0x11);
    EXPECT_EQ(I2CRead(board_controller, 300, &byte_, 1), 0);
    const Calls once{"open /dev/i2cM0", "ioctl /dev/i2cM0 16 A0 300 len 1", "close /dev/i2cM0"};
    EXPECT_EQ(calls(), (Calls{once[0], once[1], once[2], once[0], once[1], once[2]}));
}

TEST_F(I2cDirect, WritesEachTime)
{
    EXPECT_EQ(I2CWrite(board_controller, 1, &byte_, 1), 0);
    EXPECT_EQ(I2CWrite(board_controller, 1, &byte_, 1), 0);
    const Calls once{"open /dev/i2cM0", "ioctl /dev/i2cM0 17 A0 1 [C3]", "close /dev/i2cM0"};
    EXPECT_EQ(calls(), (Calls{once[0], once[1], once[2], once[0], once[1], once[2]}));
}

TEST_F(I2cDirect, IsNeitherPrintedNorRemembered)
{
    set("DbgPic", "1");
    I2CWrite(0x32, 5, &byte_, 1);
    I2CRead(board_controller, 4, &byte_, 1);
    EXPECT_EQ(debug_print(), "");
    EXPECT_EQ(cache(), Bytes{});
}

TEST_F(I2cDirect, RefusesANullBufferWithALength)
{
    EXPECT_EQ(I2CRead(board_controller, 1, nullptr, 1), 0);
    EXPECT_EQ(I2CWrite(board_controller, 1, nullptr, 1), 0);
    EXPECT_EQ(calls(), Calls{});
}

TEST_F(I2cDirect, ReturnsTheResultOfTheClose)
{
    fail_call("close", EIO);
    EXPECT_EQ(I2CRead(board_controller, 1, &byte_, 1), -1);
    fail_call("close", EIO);
    EXPECT_EQ(I2CWrite(board_controller, 1, &byte_, 1), -1);
}

TEST_F(I2cDirect, ReturnsZeroWhenTheBusFails)
{
    fail_call("ioctl", EIO);
    EXPECT_EQ(I2CRead(board_controller, 1, &byte_, 1), 0);
    fail_call("ioctl", EIO);
    EXPECT_EQ(I2CWrite(board_controller, 1, &byte_, 1), 0);
    EXPECT_EQ(byte_, 0xC3);
}

TEST_F(I2cDirect, OpensTheDriverForTheCaller)
{
    const int bus = open_fd();
    EXPECT_GE(bus, 0);
    EXPECT_EQ(devices_open(), 1);
    EXPECT_EQ(probe_close(bus), 0);
    EXPECT_EQ(calls(), (Calls{"open /dev/i2cM0", "close /dev/i2cM0"}));
}

// --- a process without the driver ends ---

class I2cDeathTest : public I2c
{
  protected:
    I2cDeathTest() { fail_open("/dev/i2cM0", ENOENT); }

    static constexpr const char *complaint = "^/dev/i2cM0: No such file or directory\n$";
    static auto failure() { return ::testing::ExitedWithCode(255); }
    unsigned char byte_{};
};

TEST_F(I2cDeathTest, OpeningADriverThatIsMissingEndsTheProcess)
{
    EXPECT_EXIT(open_fd(), failure(), complaint);
}

TEST_F(I2cDeathTest, TheProcessEndsOrderly)
{
    const auto leave = [] {
        std::atexit([] { std::fputs("left\n", stderr); });
        open_fd();
    };
    EXPECT_EXIT(leave(), failure(), "No such file or directory\nleft\n$");
}

TEST_F(I2cDeathTest, EveryFunctionThatNeedsTheDriverEndsTheProcess)
{
    EXPECT_EXIT(I2CRead(board_controller, 1, &byte_, 1), failure(), complaint);
    EXPECT_EXIT(I2CWrite(board_controller, 1, &byte_, 1), failure(), complaint);
    EXPECT_EXIT(I2Scnner(), failure(), complaint);
    EXPECT_EXIT(i2cmd(0, board_controller, 1, &byte_, 1), failure(), complaint);
    EXPECT_EXIT(i2cmd(1, 0x34, 8, &byte_, 1), failure(), complaint);
}

// --- the scan for the LCD adapter ---

class I2cScan : public I2c
{
  protected:
    static Calls attempts(int count)
    {
        Calls expected;
        for (int i = 0; i < count; ++i)
            expected.insert(expected.end(), {"open /dev/i2cM0", "ioctl /dev/i2cM0 18", "close /dev/i2cM0"});
        return expected;
    }
};

TEST_F(I2cScan, EndsWithTheFirstAddressOfAnLcdAdapter)
{
    for (const unsigned address : {0x40U, 0x4EU, 0x7EU}) {
        forget_calls();
        board().set_scan_answers({static_cast<std::uint8_t>(address)});
        EXPECT_EQ(I2Scnner(), address);
        EXPECT_EQ(calls(), attempts(1));
    }
}

TEST_F(I2cScan, PrintsTheAddress)
{
    board().set_scan_answers({0x4E});
    I2Scnner();
    EXPECT_EQ(debug_print(), "I2Scnner addr:4e \n");
}

TEST_F(I2cScan, TriesAgainAfterAnotherDevice)
{
    board().set_scan_answers({0xD0, 0x7E, 0x40});
    EXPECT_EQ(I2Scnner(), 0x7EU);
    EXPECT_EQ(calls(), attempts(2));
    EXPECT_EQ(debug_print(), "I2Scnner addr:7e \n");
}

TEST_F(I2cScan, GivesTheLastAnswerAfterThreeMisses)
{
    board().set_scan_answers({0xA0, 0xD0, 0x05, 0x40});
    EXPECT_EQ(I2Scnner(), 0x05U);
    EXPECT_EQ(calls(), attempts(3));
    EXPECT_EQ(debug_print(), "I2Scnner addr:05 \n");
}

TEST_F(I2cScan, TakesNoNeighbouringAddress)
{
    for (const int address : {0x3E, 0x3F, 0x41, 0x42, 0x4C, 0x4F, 0x7C, 0x7F}) {
        forget_calls();
        board().set_scan_answers({static_cast<std::uint8_t>(address)});
        EXPECT_EQ(I2Scnner(), static_cast<unsigned>(address));
        EXPECT_EQ(calls(), attempts(3));
    }
}

TEST_F(I2cScan, TriesAgainAfterAFailure)
{
    board().set_scan_answers({0x40});
    fail_call("ioctl", EIO);
    EXPECT_EQ(I2Scnner(), 0x40U);
    EXPECT_EQ(calls(), attempts(2));
}

TEST_F(I2cScan, OfABusThatFailsGivesZero)
{
    fail_ioctl("/dev/i2cM0", 18, EIO);
    EXPECT_EQ(I2Scnner(), 0U);
    EXPECT_EQ(calls(), attempts(3));
    EXPECT_EQ(debug_print(), "I2Scnner addr:00 \n");
}

} // namespace
} // namespace plexor::tests
