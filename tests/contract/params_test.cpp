// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>

#include "tests/contract/params_appliance.h"

namespace plexor::tests
{
namespace
{

using Integers = std::vector<int>;
using Fractions = std::vector<float>;

// What the reader has to give, in the C library's own words.
Integers strsep_and_atoi(std::string list, int n)
{
    Integers fields;
    char *rest = list.data();
    for (int i = 0; i < n; ++i) {
        const char *const field = strsep(&rest, ";");
        fields.push_back(field == nullptr ? 0 : std::atoi(field));
    }
    return fields;
}

class NumberReader : public Params
{
  protected:
    // Reads with room for one entry more, which has to stay as it was.
    template <class Number>
    static std::vector<Number> read(int (*reader)(const char *, int, Number *), int n)
    {
        constexpr Number untouched = 77;
        std::vector<Number> fields(static_cast<std::size_t>(std::max(n, 0)) + 1, untouched);
        EXPECT_EQ(reader(key, n, fields.data()), 0);
        EXPECT_EQ(fields.back(), untouched);
        fields.pop_back();
        return fields;
    }
    static Integers read_integers(int n) { return read(RdNvram_N_Param_int, n); }
    static Fractions read_fractions(int n) { return read(RdNvram_N_Param_float, n); }

    Integers integers_of(const std::string &list, int n)
    {
        set(key, list);
        return read_integers(n);
    }
    Fractions fractions_of(const std::string &list, int n)
    {
        set(key, list);
        return read_fractions(n);
    }
};

// --- integers ---

class IntegerReader : public NumberReader
{
};

TEST_F(IntegerReader, GivesOneNumberForEachField)
{
    EXPECT_EQ(integers_of("1;0;2;10000;-5;6;7;8", 8), (Integers{1, 0, 2, 10000, -5, 6, 7, 8}));
}

TEST_F(IntegerReader, GivesZeroForFieldsMissingAtTheEnd)
{
    EXPECT_EQ(integers_of("1;0", 8), (Integers{1, 0, 0, 0, 0, 0, 0, 0}));
}

TEST_F(IntegerReader, GivesZeroForAnEmptyFirstField)
{
    EXPECT_EQ(integers_of(";5", 2), (Integers{0, 5}));
}

TEST_F(IntegerReader, GivesZeroForEmptyFieldsInTheMiddleAndAtTheEnd)
{
    EXPECT_EQ(integers_of("3;;4;", 5), (Integers{3, 0, 4, 0, 0}));
}

TEST_F(IntegerReader, IgnoresFieldsBeyondThoseWanted)
{
    EXPECT_EQ(integers_of("1;2;3;4;5", 4), (Integers{1, 2, 3, 4}));
}

TEST_F(IntegerReader, GivesZerosForAParameterThatIsNotSet)
{
    EXPECT_EQ(read_integers(3), (Integers{0, 0, 0}));
}

TEST_F(IntegerReader, SeparatesBySemicolonsAlone)
{
    EXPECT_EQ(integers_of("1,2;3:4;5 6;7\n8", 4), (Integers{1, 3, 5, 7}));
}

TEST_F(IntegerReader, WritesNothingWhenNoFieldIsWanted)
{
    EXPECT_EQ(integers_of("1;2", 0), Integers{});
    EXPECT_EQ(integers_of("1;2", -1), Integers{});
}

TEST_F(IntegerReader, FetchesTheParameterOnceAndDoesNothingElse)
{
    integers_of("1;2;3", 3);
    EXPECT_EQ(calls(), Calls{"nvram_kget_str sDOMode_PX 512"});
    EXPECT_EQ(debug_print(), "");
}

TEST_F(IntegerReader, ReadsTheStoreAnewAtEveryCall)
{
    EXPECT_EQ(integers_of("1", 1), Integers{1});
    EXPECT_EQ(integers_of("2", 1), Integers{2});
    EXPECT_EQ(calls("nvram_kget_str").size(), 2U);
}

TEST_F(IntegerReader, OffersTheStoreAClearedBufferEveryTime)
{
    for (int round = 0; round < 3; ++round) {
        integers_of(std::string(511, '8'), 1);
        EXPECT_EQ(last_buffer_offered(), Bytes(512));
    }
}

TEST_F(IntegerReader, GivesZerosWhenTheStoreDoesNotAnswer)
{
    integers_of("1;2", 2);
    unplug_store(true);
    EXPECT_EQ(read_integers(2), (Integers{0, 0}));
}

TEST_F(IntegerReader, ReadsTheWholeOfTheLongestList)
{
    const std::string list = std::string(507, '0') + "7;42"; // 511 characters
    EXPECT_EQ(integers_of(list, 2), (Integers{7, 42}));
}

class EveryNumber : public NumberReader, public ::testing::WithParamInterface<std::string>
{
};

INSTANTIATE_TEST_SUITE_P(IntegerReader, EveryNumber,
                         ::testing::Values("0", "7", "007", "+7", "-7", "+", "-", "--7", "+-7", "- 7", " 7",
                                           "\t7", "\n7", "\v7", "\f7", "\r7", " +7", "  -7  ", "7 8", "7x",
                                           "x7", "7.9", "-7.9", "1e3", "0x10", "0b1", "1'000",
                                           "\xA0"
                                           "7",
                                           "999999999", "1000000000", "0000000000000001", "2147483646",
                                           "2147483647", "2147483648", "-2147483647", "-2147483648",
                                           "-2147483649", "4294967295", "4294967296", "4294967297",
                                           "9223372036854775807", "9223372036854775808",
                                           "-9223372036854775808", "-9223372036854775809",
                                           "18446744073709551615", "18446744073709551616",
                                           "99999999999999999999999999", "-99999999999999999999999999",
                                           "123456789x", "1234567890x", " ", "on", "VII"));

TEST_P(EveryNumber, IsReadAsTheCLibraryDoesWhereverItStands)
{
    const int number = std::atoi(GetParam().c_str());
    EXPECT_EQ(integers_of(GetParam(), 1), Integers{number});
    EXPECT_EQ(integers_of("5;" + GetParam() + ";6", 3), (Integers{5, number, 6}));
}

TEST_F(IntegerReader, AgreesWithTheCLibraryOnRandomLists)
{
    std::mt19937 random(1); // the same lists every time
    const std::string alphabet = ";;;;00123456789999+- \tx.";
    const auto pick = [&](std::size_t below) { return random() % below; };
    for (int round = 0; round < 5000; ++round) {
        std::string list(pick(60), ' ');
        std::generate(list.begin(), list.end(), [&] { return alphabet[pick(alphabet.size())]; });
        const int n = static_cast<int>(pick(10));
        ASSERT_EQ(integers_of(list, n), strsep_and_atoi(list, n)) << list;
    }
}

// --- fractions ---

class FractionReader : public NumberReader
{
};

TEST_F(FractionReader, GivesOneNumberForEachField)
{
    EXPECT_EQ(fractions_of("1.5;-0.25;+3;1e2", 4), (Fractions{1.5F, -0.25F, 3.0F, 100.0F}));
}

TEST_F(FractionReader, GivesZeroForMissingAndEmptyFieldsAndForJunk)
{
    EXPECT_EQ(fractions_of(";2.5;;x", 6), (Fractions{0.0F, 2.5F, 0.0F, 0.0F, 0.0F, 0.0F}));
}

TEST_F(FractionReader, GivesZerosForAParameterThatIsNotSet)
{
    EXPECT_EQ(read_fractions(2), (Fractions{0.0F, 0.0F}));
}

TEST_F(FractionReader, IgnoresJunkBehindANumber)
{
    EXPECT_EQ(fractions_of("1.5V; 2.5 3", 2), (Fractions{1.5F, 2.5F}));
}

TEST_F(FractionReader, IgnoresFieldsBeyondThoseWanted)
{
    EXPECT_EQ(fractions_of("1;2;3", 2), (Fractions{1.0F, 2.0F}));
}

TEST_F(FractionReader, WritesNothingWhenNoFieldIsWanted)
{
    EXPECT_EQ(fractions_of("1;2", 0), Fractions{});
    EXPECT_EQ(fractions_of("1;2", -1), Fractions{});
}

TEST_F(FractionReader, NarrowsToSinglePrecision)
{
    EXPECT_EQ(fractions_of("0.1;16777217;3.4028234e38", 3),
              (Fractions{0.1F, 16777216.0F, std::numeric_limits<float>::max()}));
}

TEST_F(FractionReader, RoundsToDoublePrecisionFirst)
{
    // A hair above the middle between 1 and the next single-precision number; in double precision the middle.
    EXPECT_EQ(fractions_of("1.00000005960464477539062500000001", 1), Fractions{1.0F});
}

TEST_F(FractionReader, GivesInfinityForWhatDoesNotFitAndZeroForWhatIsTooSmall)
{
    EXPECT_EQ(fractions_of("1e40;-1e40;1e-60", 3), (Fractions{HUGE_VALF, -HUGE_VALF, 0.0F}));
}

TEST_F(FractionReader, FetchesTheParameterOnceAndDoesNothingElse)
{
    fractions_of("1;2", 2);
    EXPECT_EQ(calls(), Calls{"nvram_kget_str sDOMode_PX 512"});
    EXPECT_EQ(debug_print(), "");
}

TEST_F(FractionReader, OffersTheStoreTheBufferAsItsLastFetchLeftIt)
{
    fractions_of(std::string(511, 'z'), 1);
    fractions_of("1.5;2.5", 2);
    read_fractions(1);
    Bytes left(512, 'z');
    std::memcpy(left.data(), "1.5\0002.5", 8);
    left[511] = 0;
    EXPECT_EQ(last_buffer_offered(), left);
}

TEST_F(FractionReader, ReadsTheFirstFieldAgainWhenTheStoreDoesNotAnswer)
{
    fractions_of("1.5;2.5", 2);
    unplug_store(true);
    EXPECT_EQ(read_fractions(2), (Fractions{1.5F, 0.0F}));
}

} // namespace
} // namespace plexor::tests
