// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstring>

#include "tests/contract/params_appliance.h"

namespace plexor::tests
{
namespace
{

Text text_or_null(const char *text)
{
    return text == nullptr ? Text() : Text(text);
}

using TextReader = int (*)(const char *, int, char **);

std::string reader_name(const ::testing::TestParamInfo<TextReader> &info)
{
    return info.index == 0 ? "Plain" : "DOUSE";
}

class EveryTextReader : public Params, public ::testing::WithParamInterface<TextReader>
{
  protected:
    static std::vector<char *> pointers(int n)
    {
        char untouched[] = "untouched";
        std::vector<char *> fields(static_cast<std::size_t>(std::max(n, 0)) + 1, untouched);
        EXPECT_EQ(GetParam()(key, n, fields.data()), 0);
        EXPECT_EQ(fields.back(), untouched);
        fields.pop_back();
        return fields;
    }
    Texts fields_of(const std::string &list, int n)
    {
        set(key, list);
        Texts texts;
        for (const char *field : pointers(n))
            texts.push_back(text_or_null(field));
        return texts;
    }
    static TextReader other()
    {
        return GetParam() == RdNvram_N_Param ? RdNvram_N_Param_DOUSE : RdNvram_N_Param;
    }
};

INSTANTIATE_TEST_SUITE_P(Params, EveryTextReader, ::testing::Values(RdNvram_N_Param, RdNvram_N_Param_DOUSE),
                         reader_name);

TEST_P(EveryTextReader, PointsAtEachField)
{
    EXPECT_EQ(fields_of("1; two ;3x", 3), (Texts{"1", " two ", "3x"}));
}

TEST_P(EveryTextReader, GivesNullForMissingFields)
{
    EXPECT_EQ(fields_of("1;2", 4), (Texts{"1", "2", std::nullopt, std::nullopt}));
}

TEST_P(EveryTextReader, GivesAnEmptyTextForEmptyFields)
{
    EXPECT_EQ(fields_of(";;3;", 5), (Texts{"", "", "3", "", std::nullopt}));
}

TEST_P(EveryTextReader, FindsOneEmptyFieldInAParameterThatIsNotSet)
{
    unset(key);
    EXPECT_EQ(fields_of("", 3), (Texts{"", std::nullopt, std::nullopt}));
}

TEST_P(EveryTextReader, IgnoresFieldsBeyondThoseWanted)
{
    EXPECT_EQ(fields_of("1;2;3;4;5", 4), (Texts{"1", "2", "3", "4"}));
}

TEST_P(EveryTextReader, WritesNothingWhenNoFieldIsWanted)
{
    EXPECT_EQ(fields_of("1;2", 0), Texts{});
    EXPECT_EQ(fields_of("1;2", -1), Texts{});
}

TEST_P(EveryTextReader, ReadsTheWholeOfTheLongestField)
{
    EXPECT_EQ(fields_of(std::string(511, 'x'), 2), (Texts{std::string(511, 'x'), std::nullopt}));
}

TEST_P(EveryTextReader, FetchesTheParameterOnceAndDoesNothingElse)
{
    fields_of("1;2", 2);
    EXPECT_EQ(calls(), Calls{"nvram_kget_str sDOMode_PX 512"});
    EXPECT_EQ(debug_print(), "");
}

TEST_P(EveryTextReader, KeepsOneBufferForTheLifeOfTheProcess)
{
    set(key, "first");
    const auto before = pointers(1);
    set(key, "second");
    EXPECT_EQ(pointers(1), before);
    EXPECT_STREQ(before[0], "second");
}

TEST_P(EveryTextReader, OffersTheStoreTheBufferAsItsLastFetchLeftIt)
{
    fields_of(std::string(511, 'z'), 1);
    fields_of("ab;cd", 2);
    fields_of("", 1);
    Bytes left(512, 'z');
    std::memcpy(left.data(), "ab\0cd", 6);
    left[511] = 0;
    EXPECT_EQ(last_buffer_offered(), left);
}

TEST_P(EveryTextReader, LeavesTheFieldsOfTheOtherReaderAlone)
{
    set(key, "mine;too");
    const auto mine = pointers(2);
    set(key, "theirs");
    char *theirs = nullptr;
    other()(key, 1, &theirs);
    EXPECT_STREQ(mine[0], "mine");
    EXPECT_STREQ(mine[1], "too");
    EXPECT_STREQ(theirs, "theirs");
}

TEST_P(EveryTextReader, LeavesItsFieldsAloneWhenNumbersAreRead)
{
    set(key, "1;2");
    const auto mine = pointers(2);
    set(key, "3;4");
    int integers[2];
    float fractions[2];
    RdNvram_N_Param_int(key, 2, integers);
    RdNvram_N_Param_float(key, 2, fractions);
    EXPECT_STREQ(mine[0], "1");
    EXPECT_STREQ(mine[1], "2");
}

} // namespace
} // namespace plexor::tests
