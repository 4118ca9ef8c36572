// SPDX-License-Identifier: Apache-2.0
#include "tools/plexorctl/journal.h"

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace plexor::tests
{
namespace
{

using ctl::Journal;
using ctl::JournalEntry;
using ctl::split_journal;
using ctl::take_entry;

const std::string header = "SOURCE:web 2026-01-02 03:04:05\n";
const std::string plain =
    header + "Outlet1 on to off\r\n\t[Power1=OFF ;Power2=ON ;Power3=OFF ;Power4=OFF ;]\n\n";
const std::string metered = header + "Outlet2 off to on\r\n\t[Power1=OFF, 0.00A;Power2=ON, 4.83A;"
                                     "Temperature=25.0℃(77.0℉);Voltage=222.50V DI = OPEN ]\n\n";
const std::string sensed = header + "door[Power1=ON ;Power2=OFF ;Temperature=-0.5℃(31.1℉)Amp= 7.3A;]\n\n";

std::vector<JournalEntry> entries_of(const std::string &text)
{
    std::vector<JournalEntry> entries;
    for (std::string_view rest = text; !rest.empty();)
        entries.push_back(take_entry(rest));
    return entries;
}

JournalEntry only_entry(const std::string &text)
{
    const std::vector<JournalEntry> entries = entries_of(text);
    EXPECT_EQ(entries.size(), 1U);
    return entries.at(0);
}

std::vector<std::string> raw_texts(const std::string &text)
{
    std::vector<std::string> texts;
    for (const JournalEntry &entry : entries_of(text))
        texts.emplace_back(entry.raw);
    return texts;
}

std::string state_only(const std::string &state)
{
    return header + "text\r\n\t[" + state + "]\n\n";
}

} // namespace

TEST(Journals, BeginWithTheTimeOfTheLatestEntry)
{
    const std::uint32_t time = 0xFEDCBA98;
    std::string bytes(4, '\0');
    std::memcpy(bytes.data(), &time, sizeof time);
    bytes += plain;
    const Journal journal = split_journal(bytes);
    EXPECT_EQ(journal.latest, time);
    EXPECT_EQ(journal.entries, plain);
}

TEST(Journals, TooShortForATimeKeepTheirBytes)
{
    EXPECT_EQ(split_journal("").latest, std::nullopt);
    EXPECT_EQ(split_journal("abc").latest, std::nullopt);
    EXPECT_EQ(split_journal("abc").entries, "abc");
    EXPECT_EQ(split_journal("abcd").entries, "");
}

TEST(JournalEntries, TellSourceTimeAndDescription)
{
    for (const std::string &text : {plain, metered, sensed}) {
        const JournalEntry entry = only_entry(text);
        EXPECT_TRUE(entry.understood);
        EXPECT_EQ(entry.source, "web");
        EXPECT_EQ(entry.time, "2026-01-02 03:04:05");
        EXPECT_EQ(entry.raw, text);
    }
    EXPECT_EQ(only_entry(plain).description, "Outlet1 on to off");
    EXPECT_EQ(only_entry(sensed).description, "door");
}

TEST(JournalEntries, OfPlainBoardsTellOutletsAlone)
{
    const JournalEntry entry = only_entry(plain);
    ASSERT_EQ(entry.outlet_count, 4U);
    EXPECT_FALSE(entry.outlets[0].on);
    EXPECT_TRUE(entry.outlets[1].on);
    EXPECT_EQ(entry.outlets[1].amperes, std::nullopt);
    EXPECT_FALSE(entry.celsius || entry.volts || entry.amperes || entry.input);
}

TEST(JournalEntries, OfMeteredBoardsTellCurrentsTemperatureVoltageAndInput)
{
    const JournalEntry entry = only_entry(metered);
    ASSERT_EQ(entry.outlet_count, 2U);
    EXPECT_EQ(entry.outlets[0].amperes, 0.0);
    EXPECT_EQ(entry.outlets[1].amperes, 4.83);
    EXPECT_EQ(entry.celsius, 25.0);
    EXPECT_EQ(entry.volts, 222.5);
    EXPECT_EQ(entry.input, "OPEN");
    EXPECT_EQ(entry.amperes, std::nullopt);
}

TEST(JournalEntries, OfSensedBoardsTellTheCurrentOfAllOutlets)
{
    const JournalEntry entry = only_entry(sensed);
    EXPECT_EQ(entry.celsius, -0.5);
    EXPECT_EQ(entry.amperes, 7.3);
    EXPECT_EQ(entry.volts, std::nullopt);
}

TEST(JournalEntries, HoldNumbersThatAreNone)
{
    const JournalEntry entry = only_entry(state_only("Power1=ON, nanA;Temperature=-inf℃(-inf℉)"));
    ASSERT_TRUE(entry.understood);
    EXPECT_TRUE(std::isnan(*entry.outlets[0].amperes));
    EXPECT_TRUE(std::isinf(*entry.celsius));
}

TEST(JournalEntries, MayHaveLinesAndBracketsInTheirDescription)
{
    const std::string text = header + "a [1]\nSOURCE:b\nc\r\n\t[Power1=ON ;]\n\n";
    EXPECT_EQ(only_entry(text).description, "a [1]\nSOURCE:b\nc");
}

TEST(JournalEntries, MayHaveAnySource)
{
    EXPECT_EQ(only_entry("SOURCE: 2026-01-02 03:04:05\nx[Power1=ON ;]\n\n").source, "");
    EXPECT_EQ(only_entry("SOURCE:a 1 2026-01-02 03:04:05\nx[Power1=ON ;]\n\n").source, "a 1");
}

TEST(JournalEntries, FollowEachOther)
{
    EXPECT_EQ(raw_texts(plain + metered + "]\n\n" + sensed),
              (std::vector<std::string>{plain, metered, "]\n\n", sensed}));
}

TEST(JournalEntries, ThatWereNotFinishedLeaveTheNextOneAlone)
{
    for (const std::size_t length : {3U, 20U, 40U, 60U}) {
        const std::string begun = plain.substr(0, length);
        EXPECT_EQ(raw_texts(begun + metered), (std::vector<std::string>{begun, metered}));
        EXPECT_TRUE(entries_of(begun + metered).at(1).understood);
        EXPECT_FALSE(only_entry(begun).understood);
    }
}

class OddEntries : public ::testing::TestWithParam<std::string>
{
};

TEST_P(OddEntries, AreKeptRawAndTellNothing)
{
    const JournalEntry entry = only_entry(GetParam());
    EXPECT_FALSE(entry.understood);
    EXPECT_EQ(entry.raw, GetParam());
    EXPECT_EQ(entry.outlet_count, 0U);
    EXPECT_TRUE(entry.source.empty() && entry.time.empty() && entry.description.empty());
}

INSTANTIATE_TEST_SUITE_P(
    Texts, OddEntries,
    ::testing::Values("]\n\n", "x", "\n", header, header + "]\n\n", header + "no state]\n\n", state_only(""),
                      state_only("Power2=ON ;"), state_only("Power1=ON"), state_only("Power1="),
                      state_only("Power1=UP ;"), state_only("Power1=ON ;Power2="), state_only("Power1=ON ;x"),
                      state_only("Power1=ON, 1.0;"), state_only("Power1=ON, A;"),
                      state_only("Power1=ON, 1.0xA;"),
                      state_only("Power1=ON, " + std::string(64, '1') + "A;"),
                      state_only("Power1=ON ;Temperature=1.0"), state_only("Power1=ON ;Temperature=1.0℃(x℉)"),
                      state_only("Power1=ON ;Voltage=1V"), state_only("Temperature=1.0℃(33.8℉)"),
                      "SOURCE:web 2026-01-02 03:04\nx[Power1=ON ;]\n\n",
                      "SOURCE:2026-01-02 03:04:05\nx[Power1=ON ;]\n\n",
                      "source:web 2026-01-02 03:04:05\nx[Power1=ON ;]\n\n", std::string("a\0b]\n\n", 6)));

} // namespace plexor::tests
