// SPDX-License-Identifier: Apache-2.0
// Rewriting one field of a list of eight.
#include <climits>

#include "tests/contract/cycle_story.h"
#include "tests/contract/time_zone.h"

namespace plexor::tests
{
namespace
{

class CycleList : public CycleStory
{
  protected:
    CycleList() { set_time("12:34:56"); }

    // The list afterwards, its length checked, in a buffer that is watched on both sides.
    static std::string rewritten(const std::string &list, unsigned outlet, unsigned seconds)
    {
        Buffer buffer(list);
        const int length = snmpTimeset(outlet, seconds, buffer.list());
        EXPECT_EQ(length, static_cast<int>(buffer.text().size()));
        EXPECT_TRUE(buffer.is_whole());
        return buffer.text();
    }
    static std::string refused(const std::string &list, unsigned outlet, unsigned seconds)
    {
        Buffer buffer(list);
        EXPECT_EQ(snmpTimeset(outlet, seconds, buffer.list()), 0);
        EXPECT_TRUE(buffer.is_whole());
        return buffer.text();
    }

  private:
    class Buffer
    {
      public:
        explicit Buffer(const std::string &text) : bytes_(fence + text)
        {
            bytes_.resize(fence.size() + cycle_list_size);
            bytes_ += fence;
        }
        char *list() { return bytes_.data() + fence.size(); }
        std::string text() const
        {
            const char *const begin = bytes_.data() + fence.size();
            return {begin, strnlen(begin, cycle_list_size)};
        }
        bool is_whole() const { return bytes_.starts_with(fence) && bytes_.ends_with(fence); }

      private:
        inline static const std::string fence = "a fence\n";

        std::string bytes_;
    };
};

// --- numbers ---

TEST_F(CycleList, OfNumbersGetsTheSecondsInTheOutletsField)
{
    EXPECT_EQ(rewritten("1;2;3;4;5;6;7;8", 1, 9999), "9999;2;3;4;5;6;7;8");
    EXPECT_EQ(rewritten("1;2;3;4;5;6;7;8", 4, 1), "1;2;3;1;5;6;7;8");
    EXPECT_EQ(rewritten("100;200;300;400;500;600;700;800", 8, 5), "100;200;300;400;500;600;700;5");
    EXPECT_EQ(calls(), Calls{});
}

TEST_F(CycleList, OfNumbersIsFilledUpWithZeros)
{
    EXPECT_EQ(rewritten("", 3, 5), "0;0;5;0;0;0;0;0");
    EXPECT_EQ(rewritten("7", 3, 5), "7;0;5;0;0;0;0;0");
    EXPECT_EQ(rewritten("7;8;9;", 8, 5), "7;8;9;0;0;0;0;5");
}

TEST_F(CycleList, OfNumbersTakesWhatAFieldStartsWith)
{
    EXPECT_EQ(rewritten("x; 12;13s;-4;+5;006;1e3;0x9", 1, 5), "5;12;13;-4;5;6;1;0");
    EXPECT_EQ(rewritten("2147483647;-2147483648", 3, 5), "2147483647;-2147483648;5;0;0;0;0;0");
}

TEST_F(CycleList, PassesOverEmptyFields)
{
    EXPECT_EQ(rewritten(";1;;2;;;3;", 3, 5), "1;2;5;0;0;0;0;0");
    EXPECT_EQ(rewritten(";a;;b;;;c;", 2, 0), "a;12:34:56;c;;;;;");
    EXPECT_EQ(rewritten(";;;;;;;", 8, 5), "0;0;0;0;0;0;0;5");
}

TEST_F(CycleList, EndsAfterTheEighthField)
{
    EXPECT_EQ(rewritten("1;2;3;4;5;6;7;8;9;10", 2, 5), "1;5;3;4;5;6;7;8");
    EXPECT_EQ(rewritten("1;2;3;4;5;6;7;8;9;10", 2, 0), "1;12:34:56;3;4;5;6;7;8");
}

TEST_F(CycleList, TakesSecondsAsANumberWithASign)
{
    EXPECT_EQ(rewritten("", 1, INT_MAX), "2147483647;0;0;0;0;0;0;0");
    EXPECT_EQ(rewritten("", 1, UINT_MAX), "-1;0;0;0;0;0;0;0");
    EXPECT_EQ(rewritten("", 1, 0x80000000), "-2147483648;0;0;0;0;0;0;0");
}

// --- times of day ---

TEST_F(CycleList, OfTimesGetsTheTimeInTheOutletsField)
{
    for (unsigned outlet = 1; outlet <= 8; ++outlet)
        EXPECT_EQ(rewritten(idle_started, outlet, 0), list_of("0:0:0", {{outlet - 1, "12:34:56"}}));
    EXPECT_EQ(calls(), Calls(8, "time"));
}

TEST_F(CycleList, OfTimesGetsTwoDigitsOfEach)
{
    for (const char *time : {"00:00:00", "01:02:03", "23:59:59"}) {
        set_time(time);
        EXPECT_EQ(rewritten(idle_started, 1, 0), list_of("0:0:0", {{0, time}}));
    }
}

TEST_F(CycleList, OfTimesGetsTheLocalTime)
{
    set_calendar(1'767'323'045); // 03:04:05 UTC
    const TimeZone zone("XXX-5:30");
    EXPECT_EQ(rewritten(idle_started, 1, 0), list_of("0:0:0", {{0, "08:34:05"}}));
}

TEST_F(CycleList, OfTimesKeepsTheOtherTexts)
{
    EXPECT_EQ(rewritten("x; 12;13s;-4;+5;006;%n%s;\xFF", 1, 0), "12:34:56; 12;13s;-4;+5;006;%n%s;\xFF");
}

TEST_F(CycleList, OfTimesIsFilledUpWithNothing)
{
    EXPECT_EQ(rewritten("", 3, 0), ";;12:34:56;;;;;");
    EXPECT_EQ(rewritten("a", 3, 0), "a;;12:34:56;;;;;");
    EXPECT_EQ(rewritten("a;b;c", 1, 0), "12:34:56;b;c;;;;;");
}

// --- what is no field ---

TEST_F(CycleList, OfWhatIsNoOutletIsPutInOrderOnly)
{
    for (const unsigned outlet : {0U, 9U, 16U, 0x80000001U, UINT_MAX}) {
        EXPECT_EQ(rewritten("1;x;3", outlet, 5), "1;0;3;0;0;0;0;0") << outlet;
        EXPECT_EQ(rewritten("1;x;3", outlet, 0), "1;x;3;;;;;") << outlet;
    }
    EXPECT_EQ(calls(), Calls{});
}

TEST_F(CycleList, ThatIsNoneGetsNothing)
{
    EXPECT_EQ(snmpTimeset(1, 5, nullptr), 0);
    EXPECT_EQ(snmpTimeset(1, 0, nullptr), 0);
}

// --- long lists ---

TEST_F(CycleList, OfTimesGrowsTo255Characters)
{
    const std::string long_field(255 - std::string("12:34:56;;;;;;;").size(), 'a');
    EXPECT_EQ(rewritten("0;" + long_field, 1, 0), "12:34:56;" + long_field + ";;;;;;");
}

TEST_F(CycleList, OfTimesThatWouldGrowFurtherStaysAsItIs)
{
    for (const std::size_t surplus : {1U, 2U, 10U}) {
        const std::string list = "0;" + std::string(240 + surplus, 'a');
        EXPECT_EQ(refused(list, 1, 0), list);
    }
    EXPECT_EQ(refused(std::string(255, 'a'), 8, 0), std::string(255, 'a'));
}

TEST_F(CycleList, OfNumbersIsNeverTooLong)
{
    const std::string longest = "-2147483648;";
    std::string list;
    for (int i = 0; i < 8; ++i)
        list += longest;
    EXPECT_EQ(rewritten(list, 1, 0x80000000), list.substr(0, list.size() - 1));
    EXPECT_EQ(rewritten(std::string(243, '0') + ";2;3;4;5;6", 2, 9), "0;9;3;4;5;6;0;0");
}

TEST_F(CycleList, ThatDoesNotEndIsReadTo255Characters)
{
    EXPECT_EQ(rewritten(std::string(255, '0') + "7", 8, 5), "0;0;0;0;0;0;0;5");
    EXPECT_EQ(rewritten(std::string(253, '0') + ";12", 8, 5), "0;1;0;0;0;0;0;5");
}

} // namespace
} // namespace plexor::tests
