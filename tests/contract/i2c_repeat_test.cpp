// SPDX-License-Identifier: Apache-2.0
// Which transfers repeat the last one and are answered without the bus.
#include <algorithm>
#include <cerrno>
#include <functional>

#include "tests/contract/i2c_appliance.h"

namespace plexor::tests
{
namespace
{

constexpr std::uint32_t huge = 0xFFFFFFFF;

// --- hits ---

class I2cHits : public I2cCache
{
  protected:
    I2cHits() { make_cache(); }

    std::string hit(const std::string &rest) const { return ":Thr:" + thread() + "," + rest + "\n"; }
};

TEST_F(I2cHits, AreReadsOfTheSameRegisterAndLength)
{
    board().set_controller(0x110, 0xC1);
    EXPECT_EQ(read(0x110, 1), Bytes{0xC1});
    board().set_controller(0x110, 0xC2);
    forget_calls();
    EXPECT_EQ(read(0x110, 1), Bytes{0xC1});
    EXPECT_EQ(debug_print(), "hitrd" + hit("A011001"));
    EXPECT_EQ(calls("open"), Calls{});
}

TEST_F(I2cHits, AreWritesOfTheSameBytesToTheSameRegister)
{
    write(1, {0x0F, 0xF0});
    forget_calls();
    write(1, {0x0F, 0xF0});
    EXPECT_EQ(debug_print(), "hitwr" + hit("A00102:0FF0"));
    EXPECT_EQ(calls(), (Calls{"shmget 0x4932434D 1480 03666", "shmget 0x4932434D 1480 0666", "shmat",
                              "clock_gettime monotonic", "shmdt"}));
}

TEST_F(I2cHits, AreLongerWritesThatStartWithTheLastOne)
{
    write(1, {0x05});
    write(1, {0x05, 0x07});
    EXPECT_EQ(transfers(), Calls{"ioctl /dev/i2cM0 17 A0 1 [05]"});
    EXPECT_EQ(debug_print(), "hitwr" + hit("A00102:0507"));
    EXPECT_EQ(cache().at(write_length), 1);
}

TEST_F(I2cHits, AreAllWritesAfterAWriteOfNoBytes)
{
    write(5, {});
    write(5, {1});
    write(5, {});
    write(5, {2, 3});
    EXPECT_EQ(transfers(), Calls{"ioctl /dev/i2cM0 17 A0 5 []"});
    EXPECT_EQ(debug_print(),
              "hitwr" + hit("A00501:01") + "hitwr" + hit("A00500:") + "hitwr" + hit("A00502:0203"));
    write(6, {1});
    EXPECT_EQ(bus_transfers(), 2U);
}

TEST_F(I2cHits, AreReadsOfNoBytes)
{
    read(5, 0);
    read(5, 0);
    EXPECT_EQ(bus_transfers(), 1U);
    EXPECT_EQ(debug_print(), "hitrd" + hit("A00500"));
}

TEST_F(I2cHits, ChangeNothingInTheSegment)
{
    write(1, {5});
    read(1, 1);
    const Bytes before = cache();
    wait_ms(100);
    write(1, {5, 6});
    read(1, 1);
    EXPECT_EQ(cache(), before);
    EXPECT_EQ(bus_transfers(), 2U);
}

TEST_F(I2cHits, DoNotRenewTheTime)
{
    write(1, {5});
    wait_ms(200);
    write(1, {5});
    wait_ms(50);
    write(1, {5});
    EXPECT_EQ(bus_transfers(), 2U);
}

TEST_F(I2cHits, AreReadsAfterAWriteToTheSameRegister)
{
    EXPECT_EQ(read(4, 1), Bytes{0});
    write(4, {9});
    EXPECT_EQ(read(4, 1), Bytes{0});
    wait_ms(250);
    EXPECT_EQ(read(4, 1), Bytes{9});
}

TEST_F(I2cHits, AreWritesAfterReads)
{
    write(4, {9});
    read(4, 1);
    read(5, 1);
    write(4, {9});
    EXPECT_EQ(bus_transfers(), 3U);
}

TEST_F(I2cHits, FollowATransferThatFailedOnTheBus)
{
    unsigned char left = 0x5A;
    fail_call("ioctl", EIO);
    EXPECT_EQ(i2cmd(1, board_controller, 4, &left, 1), 1);
    EXPECT_EQ(read(4, 1), Bytes{0x5A});
    fail_call("ioctl", EIO);
    write(4, {9});
    write(4, {9});
    EXPECT_EQ(bus_transfers(), 2U);
    EXPECT_EQ(board().controller(4), 0);
}

// --- misses ---

class I2cMisses : public I2cHits
{
  protected:
    void expect_no_hits(std::size_t transfers_made) const
    {
        EXPECT_EQ(bus_transfers(), transfers_made);
        EXPECT_EQ(debug_print(), "");
    }
};

TEST_F(I2cMisses, AreReadsOfAnotherLength)
{
    read(4, 1);
    read(4, 2);
    read(4, 1);
    expect_no_hits(3);
}

TEST_F(I2cMisses, AreTransfersOfAnotherRegister)
{
    write(5, {1});
    write(4, {1});
    write(5, {1});
    read(5, 1);
    read(4, 1);
    read(5, 1);
    expect_no_hits(6);
}

TEST_F(I2cMisses, AreRegistersThatAgreeInTheLowByteOnly)
{
    write(0x05, {1});
    write(0x105, {1});
    expect_no_hits(2);
}

TEST_F(I2cMisses, AreWritesOfOtherBytes)
{
    write(1, {5});
    write(1, {6});
    write(1, {6, 1});
    write(1, {7, 6});
    EXPECT_EQ(transfers(), (Calls{"ioctl /dev/i2cM0 17 A0 1 [05]", "ioctl /dev/i2cM0 17 A0 1 [06]",
                                  "ioctl /dev/i2cM0 17 A0 1 [0706]"}));
}

TEST_F(I2cMisses, AreWritesThatDifferInTheLastByte)
{
    write(1, {1, 2, 3});
    write(1, {1, 2, 4});
    expect_no_hits(2);
}

TEST_F(I2cMisses, AreWritesShorterThanTheLastOne)
{
    write(1, {5, 7});
    write(1, {5});
    write(1, {});
    expect_no_hits(3);
}

TEST_F(I2cMisses, AreTheFirstTransfersOfAll)
{
    read(0, 0);
    write(0, {});
    expect_no_hits(2);
}

TEST_F(I2cMisses, AreReadsOfWhatWasWritten)
{
    write(1, {5});
    EXPECT_EQ(read(1, 1), Bytes{5});
    expect_no_hits(2);
}

TEST_F(I2cMisses, AreAllTransfersOfOtherDevices)
{
    const Bytes before = cache();
    for (const unsigned device : {0xD0U, 0x34U, 0x36U, 0x40U, 0x32U, 0U, 0xA1U, 0x1A0U}) {
        forget_calls();
        I2c::read(device, 8, 1);
        I2c::read(device, 8, 1);
        I2c::write(device, 8, {0xF0});
        I2c::write(device, 8, {0xF0});
        EXPECT_EQ(bus_transfers(), 4U) << device;
        EXPECT_EQ(cache(), before) << device;
    }
}

TEST_F(I2cMisses, OfOtherDevicesLeaveWhatIsRememberedInForce)
{
    write(1, {5});
    I2c::write(0x34, 1, {6});
    write(1, {5});
    EXPECT_EQ(bus_transfers(), 2U);
}

// --- long transfers ---

TEST_F(I2cMisses, AreReadsLongerThanTheirArea)
{
    read(320, 65);
    read(320, 65);
    expect_no_hits(2);
    EXPECT_EQ(cache().at(read_length), 65);
    EXPECT_EQ(cache().at(read_register) + 256 * cache().at(read_register + 1), 320);
}

TEST_F(I2cMisses, AreWritesLongerThanTheirArea)
{
    write(320, Bytes(133, 0xAB));
    write(320, Bytes(133, 0xAB));
    expect_no_hits(2);
    EXPECT_EQ(cache().at(write_length), 133);
}

TEST_F(I2cMisses, OfLongTransfersLeaveTheirBytesOut)
{
    write(320, Bytes(400, 0xAB));
    read(320, 400);
    const Bytes bytes = cache();
    EXPECT_EQ(std::count(bytes.begin(), bytes.end(), 0xAB), 0);
    EXPECT_TRUE(std::all_of(bytes.begin() + 296, bytes.end(), [](auto byte) { return byte == 0; }));
}

TEST_F(I2cMisses, OfLongTransfersReplaceWhatWasRemembered)
{
    write(320, {1});
    write(320, Bytes(133, 2));
    write(320, {1});
    expect_no_hits(3);
}

// --- a slot that a stranger has filled ---

TEST_F(I2cMisses, AreWritesWhereTheSlotClaimsMoreBytesThanItHolds)
{
    for (const std::uint32_t length : {huge, 0x80000000U, 1480U, 133U}) {
        plant_write(1, length, Bytes(132, 0));
        write(1, {0});
        plant_write(1, length, Bytes(132, 0));
        write(1, Bytes(200));
    }
    expect_no_hits(8);
}

TEST_F(I2cMisses, AreReadsWhereTheSlotClaimsMoreBytesThanItHolds)
{
    for (const std::uint32_t length : {huge, 65U, 300U}) {
        plant_read(1, length, Bytes(64, 0x77));
        EXPECT_EQ(read(1, 65), Bytes(65));
        plant_read(1, length, Bytes(64, 0x77));
        EXPECT_EQ(read(1, 300), Bytes(300));
    }
    expect_no_hits(6);
}

TEST_F(I2cHits, ReadNoMoreThanTheCallerAskedFor)
{
    plant_read(1, 2, Bytes(64, 0x77));
    unsigned char bytes[] = {1, 2, 3};
    EXPECT_EQ(i2cmd(1, board_controller, 1, bytes, 2), 1);
    EXPECT_EQ(Bytes(bytes, bytes + 3), (Bytes{0x77, 0x77, 3}));
}

TEST_F(I2cHits, IgnoreTheReservedBytes)
{
    write_segment(cache_key, 28, Bytes(4, 0xFF));
    write_segment(cache_key, 168, Bytes(64, 0xFF));
    write(1, {5});
    write(1, {5});
    read(1, 1);
    read(1, 1);
    EXPECT_EQ(bus_transfers(), 2U);
    EXPECT_EQ(cache().at(28), 0xFF);
    EXPECT_EQ(cache().at(231), 0xFF);
}

// --- age ---

struct Age {
    const char *name;
    std::int64_t then, then_ns, now, now_ns;
    bool fresh;
};

void PrintTo(const Age &age, std::ostream *stream)
{
    *stream << age.name;
}

class I2cAge : public I2cCache, public ::testing::WithParamInterface<Age>
{
  protected:
    void at_both_times(const std::function<void()> &transfer)
    {
        set_monotonic(GetParam().then, GetParam().then_ns);
        transfer();
        set_monotonic(GetParam().now, GetParam().now_ns);
        transfer();
        EXPECT_EQ(bus_transfers(), GetParam().fresh ? 1U : 2U);
    }
};

TEST_P(I2cAge, DecidesWhetherAReadIsRepeated)
{
    at_both_times([] { read(1, 1); });
}

TEST_P(I2cAge, DecidesWhetherAWriteIsRepeated)
{
    at_both_times([] { write(1, {5}); });
}

// Counted in milliseconds, nanoseconds rounded towards zero, in signed 32-bit arithmetic that wraps.
INSTANTIATE_TEST_SUITE_P(
    I2c, I2cAge,
    ::testing::Values(Age{"None", 1000, 0, 1000, 0, true}, Age{"Of249ms", 1000, 0, 1000, 249'000'000, true},
                      Age{"OfAlmost250ms", 1000, 0, 1000, 249'999'999, true},
                      Age{"Of250ms", 1000, 0, 1000, 250'000'000, false},
                      Age{"OfOneSecond", 1000, 0, 1001, 0, false},
                      Age{"Of249msAcrossASecond", 1000, 900'000'000, 1001, 149'000'000, true},
                      Age{"Of250msAcrossASecond", 1000, 900'000'000, 1001, 150'000'000, false},
                      Age{"Of250msByRoundingTowardsZero", 1000, 750'000'001, 1001, 0, false},
                      Age{"Of249msByRoundingTowardsZero", 1000, 751'000'000, 1001, 0, true},
                      Age{"ALittleInTheFuture", 1005, 0, 1000, 0, true},
                      Age{"AsFarInTheFutureAsTheCountGoes", 2'148'483, 0, 1000, 0, true},
                      Age{"BeyondThatInTheFuture", 2'148'484, 0, 1000, 0, false},
                      Age{"AsOldAsTheCountGoes", 1000, 0, 2'148'483, 0, false},
                      Age{"BeyondThatOld", 1000, 0, 2'148'484, 0, true},
                      Age{"AlmostAWholeTurnOld", 1000, 0, 1000 + 4'294'967, 0, true},
                      Age{"MoreThanAWholeTurnOld", 1000, 0, 1000 + 4'294'968, 0, false}),
    [](const auto &age) { return age.param.name; });

} // namespace
} // namespace plexor::tests
