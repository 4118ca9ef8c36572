// SPDX-License-Identifier: Apache-2.0
// The segment that all processes share in front of the board controller: its bytes, and what happens without
// it.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <thread>

#include "tests/contract/i2c_appliance.h"

namespace plexor::tests
{
namespace
{

// --- the segment ---

TEST_F(I2cCache, IsCreatedZeroedByTheFirstCall)
{
    I2c::read(0x34, 8, 1);
    EXPECT_EQ(cache(), Bytes(cache_size));
    EXPECT_EQ(segment_mode(cache_key), 0666);
    EXPECT_EQ(debug_print(), "init shm\n");
}

TEST_F(I2cCache, IsCreatedOnce)
{
    write(1, {5});
    I2c::read(0x34, 8, 1);
    EXPECT_EQ(debug_print(), "init shm\n");
    EXPECT_EQ(cache().at(write_bytes), 5);
}

TEST_F(I2cCache, OfAnotherProcessIsUsedAsItIs)
{
    make_cache();
    plant_read(4, 3, {7, 8, 9});
    EXPECT_EQ(read(4, 3), (Bytes{7, 8, 9}));
    EXPECT_EQ(calls(), (Calls{"shmget 0x4932434D 1480 03666", "shmget 0x4932434D 1480 0666", "shmat",
                              "clock_gettime monotonic", "shmdt"}));
}

TEST_F(I2cCache, IsSharedWithOtherProcesses)
{
    if (const pid_t child = fork(); child == 0) {
        write(1, {5});
        _exit(0);
    } else {
        waitpid(child, nullptr, 0);
    }
    write(1, {5});
    EXPECT_EQ(bus_transfers(), 0U);
}

TEST_F(I2cCache, IsAlsoFoundWhenTheCreationFailsWithoutAReason)
{
    make_cache();
    plant_read(4, 1, {7});
    fail_call("shmget", 0);
    EXPECT_EQ(read(4, 1), Bytes{7});
    EXPECT_EQ(calls("shmget"), (Calls{"shmget 0x4932434D 1480 03666", "shmget 0x4932434D 1480 0666"}));
}

TEST_F(I2cCache, KeepsEveryFieldOfAWriteAtItsPlace)
{
    set_monotonic(0x01020304, 0x0A0B0C0D);
    write(0x0110, {0xD1, 0xD2, 0xD3});
    Bytes expected(cache_size);
    std::ranges::copy(Bytes{4, 3, 2, 1, 0x0D, 0x0C, 0x0B, 0x0A}, expected.begin());
    std::ranges::copy(Bytes{0x10, 0x01, 0, 0}, expected.begin() + 16);
    std::ranges::copy(Bytes{3, 0, 0, 0}, expected.begin() + 24);
    std::ranges::copy(Bytes{0xD1, 0xD2, 0xD3}, expected.begin() + 32);
    EXPECT_EQ(cache(), expected);
}

TEST_F(I2cCache, KeepsEveryFieldOfAReadAtItsPlace)
{
    board().set_controller(0x0111, 0xE2);
    set_monotonic(0x05060708, 0x1A1B1C1D);
    read(0x0110, 2);
    Bytes expected(cache_size);
    std::ranges::copy(Bytes{8, 7, 6, 5, 0x1D, 0x1C, 0x1B, 0x1A}, expected.begin() + 8);
    std::ranges::copy(Bytes{0x10, 0x01, 0, 0}, expected.begin() + 20);
    std::ranges::copy(Bytes{2, 0, 0, 0}, expected.begin() + 164);
    std::ranges::copy(Bytes{0, 0xE2}, expected.begin() + 232);
    EXPECT_EQ(cache(), expected);
}

TEST_F(I2cCache, FillsItsAreasAndNothingBeside)
{
    write(320, Bytes(132, 0xAB));
    read(320, 64);
    const Bytes bytes = cache();
    const auto filled = [&](std::size_t from, std::size_t to) {
        return std::count(bytes.begin() + static_cast<std::ptrdiff_t>(from),
                          bytes.begin() + static_cast<std::ptrdiff_t>(to), 0xAB);
    };
    EXPECT_EQ(filled(32, 164), 132);
    EXPECT_EQ(filled(232, 296), 64);
    EXPECT_EQ(filled(0, cache_size), 132 + 64);
    EXPECT_EQ(bytes[28] + bytes[29] + bytes[30] + bytes[31], 0);
}

TEST_F(I2cCache, KeepsTheLongestTransfersThatFitForAHit)
{
    const Bytes longest(132, 0xAB);
    write(320, longest);
    write(320, longest);
    EXPECT_EQ(read(320, 64), read(320, 64));
    EXPECT_EQ(bus_transfers(), 2U);
}

// --- without the segment ---

class WithoutI2cCache : public I2cCache
{
  protected:
    WithoutI2cCache()
    {
        make_cache();
        plant_read(4, 1, {0x77});
        before_ = cache();
    }

    // The read that the cache could answer goes to the bus and leaves no trace in the segment.
    void expect_miss(const std::string &message)
    {
        EXPECT_EQ(read(4, 1), Bytes{0});
        EXPECT_EQ(transfers(), Calls{"ioctl /dev/i2cM0 16 A0 4 len 1"});
        EXPECT_EQ(debug_print(), message);
        EXPECT_EQ(cache(), before_);
    }
    std::string error(char which, int number) const
    {
        return print("shmget_i2cmderr%c:Thr:%5d,Err:%d\n", which, gettid(), number);
    }

    Bytes before_{};
};

TEST_F(WithoutI2cCache, ATransferIsAMissAndNotRemembered)
{
    fail_call("shmget", ENOSPC);
    expect_miss(error('B', ENOSPC));
    EXPECT_EQ(calls("shm"), Calls{"shmget 0x4932434D 1480 03666"});
}

TEST_F(WithoutI2cCache, ASegmentThatMayNotBeUsedIsToldFromOneThatCannotBeMade)
{
    fail_call_after("shmget", 1, EACCES);
    expect_miss(error('A', EACCES));
    EXPECT_EQ(calls("shm"), (Calls{"shmget 0x4932434D 1480 03666", "shmget 0x4932434D 1480 0666"}));
}

TEST_F(WithoutI2cCache, ASegmentThatCannotBeAttachedIsAMiss)
{
    fail_call("shmat", ENOMEM);
    expect_miss(error('A', ENOMEM));
    EXPECT_EQ(calls("shmdt"), Calls{});
}

TEST_F(WithoutI2cCache, ANewSegmentThatCannotBeAttachedIsAMiss)
{
    remove_segment(cache_key);
    before_ = Bytes(cache_size);
    fail_call("shmat", ENOMEM);
    expect_miss(error('B', ENOMEM));
}

TEST_F(WithoutI2cCache, ASegmentTooSmallIsAMiss)
{
    remove_segment(cache_key);
    make_segment(cache_key, 1479, 0666);
    before_ = cache();
    expect_miss(error('A', EINVAL));
}

TEST_F(WithoutI2cCache, ASegmentThatVanishesInBetweenIsAMiss)
{
    remove_segment(cache_key);
    before_ = {};
    fail_call("shmget", EEXIST);
    expect_miss(error('A', ENOENT));
}

TEST_F(WithoutI2cCache, WritesAreMadeToo)
{
    fail_call("shmget", ENOSPC);
    write(4, {9});
    EXPECT_EQ(board().controller(4), 9);
    EXPECT_EQ(cache(), before_);
}

TEST_F(WithoutI2cCache, TheNextCallTriesAgain)
{
    fail_call("shmget", ENOSPC);
    EXPECT_EQ(read(4, 1), Bytes{0});
    EXPECT_EQ(read(4, 1), Bytes{0x77});
}

TEST_F(I2cCache, StandsManyThreadsAtOnce)
{
    const auto poll = [] {
        for (int i = 0; i < 200; ++i) {
            write(1, {static_cast<std::uint8_t>(i)});
            read(4, 2);
        }
    };
    std::thread others[3];
    for (auto &other : others)
        other = std::thread(poll);
    poll();
    for (auto &other : others)
        other.join();
    EXPECT_EQ(calls("shmat").size(), 1600U);
    EXPECT_EQ(calls("shmdt").size(), 1600U);
}

TEST(I2cDeviceList, HoldsTheBoardControllerAndFourSpareSlots)
{
    const unsigned expected[] = {0xA0, 0, 0, 0, 0};
    EXPECT_TRUE(std::ranges::equal(arI2CDevList, expected));
}

} // namespace
} // namespace plexor::tests
