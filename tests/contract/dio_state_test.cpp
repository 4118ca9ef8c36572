// SPDX-License-Identifier: Apache-2.0
// Reading the state of the digital outputs back from the I/O controller.
#include <algorithm>
#include <cerrno>
#include <cstdint>

#include "tests/contract/dio_outputs.h"

namespace plexor::tests
{
namespace
{

using Bytes = std::vector<std::uint8_t>;

class OutputState : public DigitalOutputs
{
  protected:
    struct State {
        int result;
        Bytes record;
    };
    // The record lies on the heap in exactly its size, so that a sanitizer sees a step beyond it.
    static State state()
    {
        Bytes record(32, 0xEE);
        const int result = GetDOByIdx(record.data());
        return {result, record};
    }
    void load(unsigned first, const Bytes &bytes)
    {
        for (const auto byte : bytes)
            board().set_io_register(static_cast<int>(first++), byte);
    }
    void run_do1(std::uint8_t code, const Bytes &frequency)
    {
        load(0x50, {code});
        load(1, frequency);
    }
    static Bytes modes()
    {
        const Bytes record = state().record;
        return {record.begin() + 24, record.begin() + 28};
    }
    static unsigned mode_of_do1() { return modes()[0]; }
};

TEST_F(OutputState, IsReadInEightTransfers)
{
    state();
    EXPECT_EQ(calls("ioctl"), (Calls{"ioctl /dev/i2cM0 16 32 21 len 4", "ioctl /dev/i2cM0 16 32 31 len 4",
                                     "ioctl /dev/i2cM0 16 32 60 len 8", "ioctl /dev/i2cM0 16 32 68 len 8",
                                     "ioctl /dev/i2cM0 16 32 80 len 4", "ioctl /dev/i2cM0 16 32 20 len 1",
                                     "ioctl /dev/i2cM0 16 32 30 len 1", "ioctl /dev/i2cM0 16 32 1 len 2"}));
    EXPECT_EQ(debug_print(), "");
    EXPECT_EQ(steps(), calls("ioctl"));
}

TEST_F(OutputState, HoldsEachRegisterAtItsPlace)
{
    const std::vector<std::pair<unsigned, std::size_t>> blocks{{21, 4}, {31, 4}, {60, 8}, {68, 8},
                                                               {80, 4}, {20, 1}, {30, 1}, {1, 2}};
    for (unsigned reg = 0; reg < 256; ++reg)
        load(reg, {static_cast<std::uint8_t>(reg + 100)});
    Bytes expected;
    for (const auto &[first, length] : blocks) {
        for (unsigned reg = first; reg < first + length; ++reg)
            expected.push_back(static_cast<std::uint8_t>(reg + 100));
    }
    EXPECT_EQ(state().record, expected);
}

TEST_F(OutputState, HasModeNumbersInPlaceOfCodes)
{
    load(80, {0, 1, 2, 3});
    EXPECT_EQ(modes(), (Bytes{1, 0, 2, 3}));
}

TEST_F(OutputState, LeavesEveryOtherCodeAsItIs)
{
    for (unsigned code = 2; code < 256; ++code) {
        load(80, Bytes(4, static_cast<std::uint8_t>(code)));
        EXPECT_EQ(modes(), Bytes(4, static_cast<std::uint8_t>(code)));
    }
}

TEST_F(OutputState, SwapsNothingButModes)
{
    for (unsigned reg = 0; reg < 256; ++reg)
        load(reg, {1});
    Bytes expected(32, 1);
    std::fill_n(expected.begin() + 24, 4, 0);
    EXPECT_EQ(state().record, expected);
}

TEST_F(OutputState, AnswersTheHighByteOfTheFrequency)
{
    for (unsigned high = 0; high < 255; ++high) {
        run_do1(3, {static_cast<std::uint8_t>(high), 0xFF});
        EXPECT_EQ(state().result, static_cast<int>(high));
        EXPECT_EQ(mode_of_do1(), 3U);
    }
}

TEST_F(OutputState, AnswersThreeWhenOnlyTheHighByteIsFull)
{
    for (const std::uint8_t low : Bytes{0x00, 0x01, 0x7F, 0xFE}) {
        run_do1(3, {0xFF, low});
        EXPECT_EQ(state().result, 3);
        EXPECT_EQ(mode_of_do1(), 3U);
    }
}

TEST_F(OutputState, AnswersFourForPwmAndNamesItsMode)
{
    run_do1(3, {0xFF, 0xFF});
    const auto [result, record] = state();
    EXPECT_EQ(result, 4);
    EXPECT_EQ(record[24], 4);
    EXPECT_EQ(Bytes(record.begin() + 30, record.end()), (Bytes{0xFF, 0xFF}));
}

TEST_F(OutputState, KeepsAnotherModeThoughTheFrequencyIsFull)
{
    const std::map<std::uint8_t, std::uint8_t> modes{{0, 1}, {1, 0}, {2, 2}, {4, 4}, {10, 10}, {255, 255}};
    for (const auto &[code, mode] : modes) {
        run_do1(code, {0xFF, 0xFF});
        EXPECT_EQ(state().result, 4);
        EXPECT_EQ(mode_of_do1(), mode);
    }
}

TEST_F(OutputState, NamesPwmForTheFirstOutputAlone)
{
    load(0x50, {3, 3, 3, 3});
    load(1, {0xFF, 0xFF});
    EXPECT_EQ(modes(), (Bytes{4, 3, 3, 3}));
}

TEST_F(OutputState, IsWhatWasSet)
{
    set_mode(0, 4, {5, 50});
    set_mode(1, 0);
    set_mode(2, 3, {1000});
    set_mode(3, 2, {8});
    EXPECT_EQ(modes(), (Bytes{4, 0, 3, 2}));
    EXPECT_EQ(state().result, 4);
}

TEST_F(OutputState, IsNeverAnsweredFromTheCache)
{
    state();
    load(21, {9, 8, 7, 6});
    const Bytes record = state().record;
    EXPECT_EQ(Bytes(record.begin(), record.begin() + 4), (Bytes{9, 8, 7, 6}));
    EXPECT_EQ(calls("ioctl").size(), 16U);
}

TEST_F(OutputState, HoldsNothingOfTheCallerWhereTheBusFails)
{
    Bytes expected(32);
    std::fill_n(expected.begin() + 24, 4, 1);
    fail_ioctl("/dev/i2cM0", 16, EIO);
    const auto [result, record] = state();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(record, expected);
}

TEST_F(OutputState, IsNotReadForNobody)
{
    EXPECT_EQ(GetDOByIdx(nullptr), 0);
    EXPECT_EQ(calls(), Calls{});
}

TEST_F(OutputState, EndsTheProcessWithoutTheBus)
{
    fail_open("/dev/i2cM0", ENOENT);
    EXPECT_EXIT(state(), testing::ExitedWithCode(255), "/dev/i2cM0: No such file or directory");
}

} // namespace
} // namespace plexor::tests
