// SPDX-License-Identifier: Apache-2.0
#include "board/model/timeline.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace plexor::tests
{

namespace
{

using board::Event;
using board::Timeline;
using board::to_json;
using board::to_text;

Timeline still_timeline(std::int64_t time = 0)
{
    return Timeline([time] { return time; });
}

TEST(Timeline, NumbersAndStampsEachEvent)
{
    std::int64_t now = 5;
    Timeline timeline([&now] { return now; });
    timeline.add(7, "led", "outlet 1", "lit");
    now = 9;
    timeline.add(0, "power", "mains", "lost");

    const Event &first = timeline.events()[0];
    const Event &second = timeline.events()[1];
    EXPECT_EQ(first.sequence, 1U);
    EXPECT_EQ(first.time, 5);
    EXPECT_EQ(first.pid, 7);
    EXPECT_EQ(first.kind + "|" + first.subject + "|" + first.detail, "led|outlet 1|lit");
    EXPECT_EQ(second.sequence, 2U);
    EXPECT_EQ(second.time, 9);
    EXPECT_EQ(second.pid, 0);
}

TEST(Timeline, DropsTheOldestWhenFull)
{
    Timeline timeline = still_timeline();
    for (std::size_t i = 0; i < Timeline::capacity + 2; ++i) {
        timeline.add(0, "log", "x", "y");
    }
    EXPECT_EQ(timeline.events().size(), Timeline::capacity);
    EXPECT_EQ(timeline.events().front().sequence, 3U);
    EXPECT_EQ(timeline.events().back().sequence, Timeline::capacity + 2);
}

TEST(Timeline, ClearingKeepsTheNumbersGoing)
{
    Timeline timeline = still_timeline();
    timeline.add(0, "log", "x", "before");
    timeline.clear();
    EXPECT_TRUE(timeline.events().empty());
    timeline.add(0, "log", "x", "after");
    EXPECT_EQ(timeline.events().front().sequence, 2U);
}

TEST(Timeline, AListenerHearsWhatIsAddedFromThenOnUntilItEnds)
{
    Timeline timeline = still_timeline();
    std::string heard;
    timeline.add(0, "log", "x", "a");
    timeline.listen([&heard](const Event &event) { heard += event.detail; });
    timeline.add(0, "log", "x", "b");
    timeline.add(0, "log", "x", "c");
    timeline.listen({});
    timeline.add(0, "log", "x", "d");
    EXPECT_EQ(heard, "bc");
}

TEST(Timeline, AListenerMayEndItself)
{
    Timeline timeline = still_timeline();
    std::string heard;
    timeline.listen([&](const Event &event) {
        timeline.listen({});
        heard += event.detail;
    });
    timeline.add(0, "log", "x", "a");
    timeline.add(0, "log", "x", "b");
    EXPECT_EQ(heard, "a");
}

TEST(Timeline, TextShowsSecondsProcessAndWhatHappened)
{
    const Event event{4, 12'345'678'901, 431, "relay", "outlet 3", "closed"};
    EXPECT_EQ(to_text(event), "12.345678901 [431] relay outlet 3: closed");
}

TEST(Timeline, NanosecondsArePaddedToNineDigits)
{
    EXPECT_EQ(to_text({1, 7, 0, "log", "a", "b"}), "0.000000007 [0] log a: b");
    EXPECT_EQ(to_text({1, 3'000'000'000, 0, "log", "a", "b"}), "3.000000000 [0] log a: b");
}

TEST(Timeline, JsonHasEveryFieldInOrder)
{
    const Event event{4, 12'345'678'901, 431, "relay", "outlet 3", "closed"};
    EXPECT_EQ(to_json(event), R"({"sequence":4,"time":12.345678901,"pid":431,"kind":"relay",)"
                              R"("subject":"outlet 3","detail":"closed"})");
}

TEST(Timeline, JsonEscapesWhatTextsMayHold)
{
    const std::string nasty = "quote \" backslash \\ newline \n bell \a";
    const auto parsed = nlohmann::json::parse(to_json({1, 0, 0, "log", "x", nasty}));
    EXPECT_EQ(parsed.at("detail"), nasty);
}

TEST(Timeline, JsonStaysValidWhenATextIsNotUtf8)
{
    const auto parsed = nlohmann::json::parse(to_json({1, 0, 0, "log", "x", "caf\xE9"}));
    EXPECT_EQ(parsed.at("detail"), "caf\xEF\xBF\xBD");
}

} // namespace

} // namespace plexor::tests
