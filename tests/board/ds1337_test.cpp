// SPDX-License-Identifier: Apache-2.0
#include "tests/board/test_board.h"

namespace plexor::tests
{

namespace
{

using Registers = std::array<std::uint8_t, 7>;

class Ds1337 : public ::testing::Test
{
  protected:
    Bytes read() { return board.read_i2c(0xD0, 0, 7).data; }
    void write(const Bytes &bytes, std::uint32_t reg = 0)
    {
        EXPECT_EQ(board.write_i2c(0xD0, reg, bytes).error, 0);
    }
    void wait(std::int64_t seconds, std::int64_t nanoseconds = 0)
    {
        board.time += seconds * 1'000'000'000 + nanoseconds;
    }
    // What the clock says that long after it was set.
    std::string later(const Registers &registers, std::int64_t seconds)
    {
        board.set_rtc_registers(registers);
        wait(seconds);
        return board.rtc();
    }

    TestBoard board{2, latching};
};

TEST_F(Ds1337, IsOnTheBusOfTheModelsThatHaveOne)
{
    for (int model = 0; model <= 11; ++model) {
        const bool fitted = model != 1 && model != 10;
        EXPECT_EQ((TestBoard{model, latching}.read_i2c(0xD0, 0, 7).error), fitted ? 0 : ENXIO) << model;
    }
}

TEST_F(Ds1337, StandsStillUntilItIsSet)
{
    wait(1000);
    EXPECT_EQ(read(), (Bytes{0, 0, 0, 1, 1, 1, 0}));
    EXPECT_EQ(board.rtc(), "2000-01-01 00:00:00");
}

TEST_F(Ds1337, ReadsBackWhatWasWritten)
{
    write({0x07, 0x06, 0x05, 0x03, 0x04, 0x03, 0x26});
    EXPECT_EQ(read(), (Bytes{0x07, 0x06, 0x05, 0x03, 0x04, 0x03, 0x26}));
    EXPECT_EQ(board.rtc(), "2026-03-04 05:06:07");
}

TEST_F(Ds1337, GoesWithTheBoardsClock)
{
    write({0x58, 0x59, 0x09, 0x01, 0x04, 0x03, 0x26});
    wait(0, 999'999'999);
    EXPECT_EQ(read()[0], 0x58);
    wait(0, 1);
    EXPECT_EQ(read()[0], 0x59);
    wait(1);
    EXPECT_EQ(read(), (Bytes{0x00, 0x00, 0x10, 0x01, 0x04, 0x03, 0x26}));
}

TEST_F(Ds1337, KnowsTheCalendar)
{
    EXPECT_EQ(later({0x59, 0x59, 0x23, 1, 0x28, 0x02, 0x26}, 1), "2026-03-01 00:00:00");
    EXPECT_EQ(later({0x59, 0x59, 0x23, 1, 0x28, 0x02, 0x28}, 1), "2028-02-29 00:00:00");
    EXPECT_EQ(later({0x59, 0x59, 0x23, 1, 0x30, 0x09, 0x26}, 1), "2026-10-01 00:00:00");
    EXPECT_EQ(later({0x00, 0x00, 0x00, 1, 0x01, 0x01, 0x26}, 365 * 86400), "2027-01-01 00:00:00");
}

TEST_F(Ds1337, ChangesTheCenturyBitWithTheCentury)
{
    EXPECT_EQ(later({0x59, 0x59, 0x23, 1, 0x31, 0x12, 0x99}, 1), "2100-01-01 00:00:00");
    EXPECT_EQ(read(), (Bytes{0, 0, 0, 2, 0x01, 0x81, 0x00}));
    EXPECT_EQ(later({0x59, 0x59, 0x23, 1, 0x31, 0x92, 0x99}, 1), "2000-01-01 00:00:00");
    EXPECT_EQ(read(), (Bytes{0, 0, 0, 2, 0x01, 0x01, 0x00}));
}

TEST_F(Ds1337, CountsTheDaysOfTheWeekFromOneToSeven)
{
    write({0, 0, 0, 6, 0x01, 0x01, 0x26});
    wait(86400);
    EXPECT_EQ(read()[3], 7);
    wait(86400);
    EXPECT_EQ(read()[3], 1);
}

TEST_F(Ds1337, StaysInTwelveHourMode)
{
    const std::uint8_t hours[] = {0x52, 0x41, 0x51, 0x72, 0x61, 0x71, 0x52};
    const int passed[] = {0, 1, 11, 12, 13, 23, 24};
    for (std::size_t k = 0; k < std::size(passed); ++k) {
        board.set_rtc_registers({0, 0, 0x52, 1, 1, 1, 0x26}); // 12 AM
        wait(passed[k] * 3600);
        EXPECT_EQ(read()[2], hours[k]) << passed[k];
    }
    EXPECT_EQ(board.rtc(), "2026-01-02 00:00:00");
}

TEST_F(Ds1337, StandsStillOnWhatIsNoTime)
{
    const Registers wrong[] = {
        {0x60, 0, 0, 1, 1, 1, 0x26}, {0x0A, 0, 0, 1, 1, 1, 0x26},
        {0, 0x60, 0, 1, 1, 1, 0x26}, {0, 0, 0x24, 1, 1, 1, 0x26},
        {0, 0, 0x40, 1, 1, 1, 0x26}, {0, 0, 0x53, 1, 1, 1, 0x26},
        {0, 0, 0, 0, 1, 1, 0x26},    {0, 0, 0, 8, 1, 1, 0x26},
        {0, 0, 0, 1, 0, 1, 0x26},    {0, 0, 0, 1, 0x30, 0x02, 0x26},
        {0, 0, 0, 1, 1, 0x13, 0x26}, {0, 0, 0, 1, 1, 0x41, 0x26},
        {0, 0, 0, 1, 1, 1, 0x9A},    {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},
    };
    for (const Registers &registers : wrong) {
        EXPECT_EQ(later(registers, 100), "no time") << ::testing::PrintToString(registers);
        EXPECT_EQ(board.rtc_registers(), registers);
    }
}

TEST_F(Ds1337, GoesOnWithoutPower)
{
    write({0x07, 0x06, 0x05, 0x01, 0x04, 0x03, 0x26});
    board.power_loss();
    wait(3600);
    EXPECT_EQ(board.read_i2c(0xD0, 0, 7).error, ENODEV);
    board.power_up();
    EXPECT_EQ(read(), (Bytes{0x07, 0x06, 0x06, 0x01, 0x04, 0x03, 0x26}));
}

TEST_F(Ds1337, WritingTheSecondsStartsANewOne)
{
    write({0x10, 0, 0, 1, 1, 1, 0x26});
    wait(5, 900'000'000);
    write({0x30});
    wait(0, 900'000'000);
    EXPECT_EQ(board.rtc(), "2026-01-01 00:00:30");
}

TEST_F(Ds1337, WritingOtherRegistersLeavesTheSecondThatRuns)
{
    write({0x10, 0, 0, 1, 1, 1, 0x26});
    wait(5, 900'000'000);
    write({0x45}, 1);
    EXPECT_EQ(board.rtc(), "2026-01-01 00:45:15");
    wait(0, 100'000'000);
    EXPECT_EQ(board.rtc(), "2026-01-01 00:45:16");
}

TEST_F(Ds1337, TellsOfAnyOfItsRegisters)
{
    write({0x58, 0x59, 0x09, 0x01, 0x04, 0x03, 0x26});
    wait(2);
    EXPECT_EQ(board.read_i2c(0xD0, 1, 2).data, (Bytes{0x00, 0x10}));
    EXPECT_EQ(board.read_i2c(0xD0, 6, 1).data, Bytes{0x26});
}

TEST_F(Ds1337, HasSevenRegisters)
{
    EXPECT_EQ(board.read_i2c(0xD0, 0, 8).error, EINVAL);
    EXPECT_EQ(board.write_i2c(0xD0, 7, {1}).error, EINVAL);
    EXPECT_EQ(board.news().back(), "violation 0xD0: no register 7 of length 1");
}

TEST_F(Ds1337, IsSetFromOutsideByATime)
{
    EXPECT_TRUE(board.set_rtc("2126-03-04 05:06:07"));
    EXPECT_EQ(read(), (Bytes{0x07, 0x06, 0x05, 0x01, 0x04, 0x83, 0x26}));
    wait(1);
    EXPECT_EQ(board.rtc(), "2126-03-04 05:06:08");
}

TEST_F(Ds1337, IsNotSetByWhatIsNoTime)
{
    for (const auto *text : {"", "now", "2026-02-29 00:00:00", "1999-12-31 23:59:59", "2200-01-01 00:00:00",
                             "2026-03-04 24:00:00", "2026-03-04 05:06:60", "2026-03-04", "2026-3-4 05:06:07",
                             "2026-03-04T05:06:07", "2026-03-04 05:06:07 "}) {
        EXPECT_FALSE(board.set_rtc(text)) << text;
    }
    EXPECT_EQ(board.rtc(), "2000-01-01 00:00:00");
}

} // namespace

} // namespace plexor::tests
