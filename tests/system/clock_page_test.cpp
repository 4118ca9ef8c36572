// SPDX-License-Identifier: Apache-2.0
#include "board/interpose/clock_page.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "board/daemon/clock.h"
#include "board/daemon/refusal.h"
#include "tests/system/board_commands.h"

namespace plexor::tests
{

constexpr std::int64_t second = 1'000'000'000;

// On a machine whose clocks stand until they are told to go on.
class ClockOfABoard : public ::testing::Test
{
  protected:
    std::int64_t machine_{1000 * second};
    std::int64_t machine_calendar_{5000 * second};
    board::Clock clock_{[this] { return machine_; }, [this] { return machine_calendar_; }};
    ScratchFolder folder_{};
    std::string file_{folder_.path() + "/clock"};

    void pass(std::int64_t seconds)
    {
        machine_ += seconds * second;
        machine_calendar_ += seconds * second;
    }
};

TEST_F(ClockOfABoard, FollowsTheMachineWhileNobodySetsIt)
{
    EXPECT_FALSE(clock_.driven());
    machine_calendar_ += 77 * second; // as an administrator does
    EXPECT_EQ(clock_.monotonic(), 1000 * second);
    EXPECT_EQ(clock_.calendar(), 5077 * second);
    EXPECT_EQ(clock_.rate(), 1);
}

TEST_F(ClockOfABoard, GoesOnFromWhereItWasWhenTheRateChanges)
{
    clock_.set_rate(60);
    pass(2);
    EXPECT_EQ(clock_.monotonic(), 1120 * second);
    clock_.set_rate(1);
    pass(3);
    EXPECT_EQ(clock_.monotonic(), 1123 * second);
    EXPECT_EQ(clock_.calendar(), 5123 * second);
    EXPECT_TRUE(clock_.driven());
}

TEST_F(ClockOfABoard, KeepsTheMonotonicClockAndTheRateWhenTheCalendarIsSet)
{
    clock_.set_rate(10);
    pass(1);
    clock_.set_calendar(9000 * second);
    pass(1);
    EXPECT_EQ(clock_.monotonic(), 1020 * second);
    EXPECT_EQ(clock_.calendar(), 9010 * second);
}

TEST_F(ClockOfABoard, IsReadFromItsFile)
{
    clock_.publish(file_);
    const board::ClockPage *page = board::map_clock(file_);
    ASSERT_NE(page, nullptr);
    EXPECT_FALSE(page->read().driven());
    clock_.set_rate(60);
    EXPECT_EQ(page->read().monotonic_at(machine_ + second), 1060 * second);
    EXPECT_EQ(page->read().calendar_at(machine_ + second), 5060 * second);
}

TEST_F(ClockOfABoard, IsNotDrivenAnyMoreWhenItsBoardStartsAnew)
{
    clock_.publish(file_);
    clock_.set_rate(60);
    const board::ClockPage *page = board::map_clock(file_);
    board::Clock next;
    next.publish(file_);
    EXPECT_FALSE(page->read().driven());
}

TEST_F(ClockOfABoard, SaysWhereItCannotBePublished)
{
    EXPECT_THROW(clock_.publish("/none/clock"), board::Refusal);
    EXPECT_EQ(board::map_clock("/none/clock"), nullptr);
    EXPECT_EQ(board::map_clock("/dev/null"), nullptr);
}

TEST_F(BoardCommands, TheClockIsSetInLocalTimeAndRunsOn)
{
    EXPECT_EQ(set("clock", "2026-11-21 23:59:50"), done());
    machine_ += 10'000'000'000;
    EXPECT_EQ(get("clock"), value("2026-11-22 00:00:00"));
    EXPECT_EQ(ask({{"command", "show"}}).at("board").at("clock"),
              json::parse(R"({"time":"2026-11-22 00:00:00","rate":1,"driven":true})"));
}

TEST_F(BoardCommands, TheClockRunsAsFastAsItIsTold)
{
    EXPECT_EQ(get("clock-rate"), value("1"));
    set("clock", "2026-11-21 12:00:00");
    EXPECT_EQ(set("clock-rate", "1000"), done());
    EXPECT_EQ(get("clock-rate"), value("1000"));
    machine_ += 3'600'000'000;
    EXPECT_EQ(get("clock"), value("2026-11-21 13:00:00"));
    EXPECT_EQ(board_.timeline().events().back().detail, "1000");
}

TEST_F(BoardCommands, TheClockIsRefusedWhatIsNoDateOrRate)
{
    for (const char *text :
         {"", "now", "2026-11-21", "2026-11-21 24:00:00", "2026-02-30 12:00:00", "2026-11-21 12:00:00 ",
          "2026-1-2 3:04:05", "1970-12-31 23:59:59", "2100-01-01 00:00:00"})
        EXPECT_EQ(
            set("clock", text),
            refused("clock takes a local date and time such as \"2026-11-21 23:59:50\", of 1971 to 2099"))
            << text;
    for (const char *text : {"", "0", "-1", "1001", "1.5", "0x10", "fast"})
        EXPECT_EQ(set("clock-rate", text), refused("clock-rate takes 1 to 1000")) << text;
    EXPECT_EQ(ask({{"command", "show"}}).at("board").at("clock").at("driven"), false);
}

TEST(ClockPage, GivesNoMixtureOfTwoTimebases)
{
    board::ClockPage page;
    std::atomic<bool> ended{};
    std::thread writer([&] {
        for (std::int64_t i = 1; i <= 200'000; ++i)
            page.write({i, i, i, i});
        ended = true;
    });
    while (!ended) {
        const board::Timebase read = page.read();
        ASSERT_TRUE(read.machine == read.rate && read.monotonic == read.rate && read.calendar == read.rate);
    }
    writer.join();
    EXPECT_EQ(page.read().rate, 200'000);
}

TEST(Timebase, RoundsASpanOfTheMachineUp)
{
    const board::Timebase timebase{0, 0, 0, 60};
    EXPECT_EQ(timebase.machine_span(600), 10);
    EXPECT_EQ(timebase.machine_span(601), 11);
    EXPECT_EQ(timebase.machine_span(0), 0);
}

} // namespace plexor::tests
