// SPDX-License-Identifier: Apache-2.0
#include <climits>

#include "tests/contract/params_appliance.h"

namespace plexor::tests
{
namespace
{

// --- writing a list ---

using Writer = int (*)(char **, char *, int, char *);

std::string writer_name(const ::testing::TestParamInfo<Writer> &info)
{
    return info.index == 0 ? "Plain" : "DOUSE";
}

class EveryWriter : public Params, public ::testing::WithParamInterface<Writer>
{
  protected:
    static int write(Texts values, std::string fallback)
    {
        std::vector<char *> fields;
        for (auto &value : values)
            fields.push_back(value ? value->data() : nullptr);
        std::string name = key;
        return GetParam()(fields.data(), name.data(), static_cast<int>(fields.size()), fallback.data());
    }
    // The list after values were written over old with fallback "0".
    std::string over(const std::string &old, const Texts &values)
    {
        set(key, old);
        EXPECT_EQ(write(values, "0"), 0);
        return get(key);
    }
    void expect_refused(const Texts &values)
    {
        const std::string before = get(key);
        forget_calls();
        EXPECT_EQ(write(values, "0"), -1);
        EXPECT_EQ(debug_print(), "WrNvram_N_Param_Err:sDOMode_PX\n");
        EXPECT_EQ(calls("nvram_bufset"), Calls{});
        EXPECT_EQ(get(key), before);
    }
};

constexpr auto keep = std::nullopt; // the null pointer in a list of new values

INSTANTIATE_TEST_SUITE_P(Params, EveryWriter, ::testing::Values(WrNvram_N_Param, WrNvram_N_Param_DOUSE),
                         writer_name);

TEST_P(EveryWriter, ReplacesGivenFieldsKeepsOldOnesAndFillsUpWithTheFallback)
{
    EXPECT_EQ(over("1;2", {keep, "7", keep, keep}), "1;7;0;0");
}

TEST_P(EveryWriter, ReplacesEveryFieldWhenAllAreGiven)
{
    EXPECT_EQ(over("1;2;3", {"a", "", "c d"}), "a;;c d");
}

TEST_P(EveryWriter, KeepsEveryFieldWhenNoneIsGiven)
{
    EXPECT_EQ(over("1; 2;x", {keep, keep, keep}), "1; 2;x");
}

TEST_P(EveryWriter, KeepsAnEmptyFieldEmpty)
{
    EXPECT_EQ(over("1;;3;", {keep, keep, keep, keep, keep}), "1;;3;;0");
}

TEST_P(EveryWriter, KeepsTheOneEmptyFieldOfAParameterThatIsNotSet)
{
    unset(key);
    EXPECT_EQ(write({keep, keep, "3"}, "0"), 0);
    EXPECT_EQ(get(key), ";0;3");
}

TEST_P(EveryWriter, DropsOldFieldsBeyondThoseCounted)
{
    EXPECT_EQ(over("1;2;3;4", {keep, "9"}), "1;9");
}

TEST_P(EveryWriter, NeverEndsAListWithASeparator)
{
    EXPECT_EQ(over("1;2;", {"5", "6"}), "5;6");
    EXPECT_EQ(over("1;", {keep}), "1");
    EXPECT_EQ(over("", {"4"}), "4");
}

TEST_P(EveryWriter, TakesAnyTextAsFallback)
{
    set(key, "1");
    EXPECT_EQ(write({keep, keep, keep}, "10000"), 0);
    EXPECT_EQ(get(key), "1;10000;10000");
}

TEST_P(EveryWriter, TakesNoFallbackAsAnEmptyOne)
{
    char name[] = "sDOMode_PX";
    char *values[3] = {};
    set(key, "1");
    EXPECT_EQ(GetParam()(values, name, 3, nullptr), 0);
    EXPECT_EQ(get(key), "1;;");
}

TEST_P(EveryWriter, CopiesTextsWithoutReadingPercentSignsInThem)
{
    EXPECT_EQ(over("%n;%s", {keep, keep, "%d"}), "%n;%s;%d");
}

TEST_P(EveryWriter, FetchesOnceAndSetsOnceAndNeverCommits)
{
    over("1;2", {keep, "7"});
    EXPECT_EQ(calls(), (Calls{"nvram_kget_str sDOMode_PX 512", "nvram_bufset 0 sDOMode_PX=1;7"}));
    EXPECT_FALSE(flash().contains(key));
    EXPECT_EQ(debug_print(), "");
}

TEST_P(EveryWriter, SetsTheListEvenWhenNothingChanges)
{
    over("1;2", {"1", "2"});
    EXPECT_EQ(calls("nvram_bufset"), Calls{"nvram_bufset 0 sDOMode_PX=1;2"});
}

TEST_P(EveryWriter, OffersTheStoreAClearedBufferEveryTime)
{
    for (int round = 0; round < 3; ++round) {
        over(std::string(511, '8'), {keep});
        EXPECT_EQ(last_buffer_offered(), Bytes(512));
    }
}

TEST_P(EveryWriter, HasOneEmptyOldFieldWhenTheStoreDoesNotAnswer)
{
    set(key, "1;2");
    unplug_store(true);
    EXPECT_EQ(write({keep, keep}, "0"), 0);
    EXPECT_EQ(get(key), ";0");
}

TEST_P(EveryWriter, ReturnsWhatTheStoreReturns)
{
    for (const int result : {-1, -7, 3}) {
        refuse_writes(result);
        EXPECT_EQ(write({"1"}, "0"), result);
    }
    EXPECT_EQ(debug_print(), "");
}

TEST_P(EveryWriter, WritesListsOf510And511Characters)
{
    for (const std::size_t length : {510U, 511U}) {
        EXPECT_EQ(over("1", {std::string(length, 'x')}), std::string(length, 'x'));
        EXPECT_EQ(over("1", {keep, std::string(length - 2, 'x')}), "1;" + std::string(length - 2, 'x'));
        EXPECT_EQ(over("1", {std::string(length - 2, 'x'), keep}), std::string(length - 2, 'x') + ";0");
    }
}

TEST_P(EveryWriter, RefusesAListOf512CharactersOfOneField)
{
    set(key, "1");
    expect_refused({std::string(512, 'x')});
}

TEST_P(EveryWriter, RefusesAListWhoseLastFieldMakes512Characters)
{
    set(key, "1");
    expect_refused({keep, std::string(510, 'x')});
}

TEST_P(EveryWriter, RefusesAListWhoseFallbackMakes512Characters)
{
    set(key, "1");
    expect_refused({std::string(510, 'x'), keep});
}

TEST_P(EveryWriter, RefusesAListWhoseSeparatorMakes512Characters)
{
    set(key, "1");
    expect_refused({std::string(511, 'x'), ""});
}

TEST_P(EveryWriter, RefusesALongFieldEvenIfShortOnesFollow)
{
    set(key, "1;2;3");
    expect_refused({std::string(600, 'x'), "2", keep});
}

TEST_P(EveryWriter, RefusesAListWithoutFields)
{
    char name[] = "sDOMode_PX";
    char *values[] = {name};
    for (const int n : {0, -1, INT_MIN}) {
        forget_calls();
        EXPECT_EQ(GetParam()(values, name, n, name), -1);
        EXPECT_EQ(debug_print(), "WrNvram_N_Param_Err:sDOMode_PX\n");
        EXPECT_EQ(calls("nvram_bufset"), Calls{});
    }
}

TEST_P(EveryWriter, RefusesNullPointers)
{
    char name[] = "sDOMode_PX";
    char *values[] = {name};
    EXPECT_EQ(GetParam()(nullptr, name, 1, name), -1);
    EXPECT_EQ(GetParam()(values, nullptr, 1, name), -1);
    EXPECT_EQ(calls("nvram_bufset"), Calls{});
}

// --- replacing one field of four ---

class FieldWriter : public Params
{
  protected:
    // The list after one field of old was replaced.
    std::string over(const std::string &old, int index, long value)
    {
        set(key, old);
        EXPECT_EQ(WrNvram_DoPX_ByIdx_DOUSE(key, index, value), 0);
        return get(key);
    }
};

TEST_F(FieldWriter, ReplacesEachOfTheFourFields)
{
    EXPECT_EQ(over("1;2;3;4", 0, 9), "9;2;3;4");
    EXPECT_EQ(over("1;2;3;4", 1, 9), "1;9;3;4");
    EXPECT_EQ(over("1;2;3;4", 2, 9), "1;2;9;4");
    EXPECT_EQ(over("1;2;3;4", 3, 9), "1;2;3;9");
}

TEST_F(FieldWriter, MakesAbsentFieldsZero)
{
    EXPECT_EQ(over("1;2", 2, 3), "1;2;3;0");
}

TEST_F(FieldWriter, KeepsTheEmptyFirstFieldOfAnEmptyList)
{
    EXPECT_EQ(over("", 2, 3), ";0;3;0");
}

TEST_F(FieldWriter, KeepsEmptyFieldsEmpty)
{
    EXPECT_EQ(over(";;x;", 1, 5), ";5;x;");
}

TEST_F(FieldWriter, DropsAFifthField)
{
    EXPECT_EQ(over("1;2;3;4;5", 0, 0), "0;2;3;4");
}

TEST_F(FieldWriter, WritesTheWholeRangeOfAValue)
{
    EXPECT_EQ(over("0", 0, LONG_MAX), std::to_string(LONG_MAX) + ";0;0;0");
    EXPECT_EQ(over("0", 0, LONG_MIN), std::to_string(LONG_MIN) + ";0;0;0");
}

TEST_F(FieldWriter, ReadsTheFieldsThenRewritesTheListAndNeverCommits)
{
    over("1;2;3;4", 3, 0);
    EXPECT_EQ(calls(), (Calls{"nvram_kget_str sDOMode_PX 512", "nvram_kget_str sDOMode_PX 512",
                              "nvram_bufset 0 sDOMode_PX=1;2;3;0"}));
    EXPECT_FALSE(flash().contains(key));
}

TEST_F(FieldWriter, ReturnsWhatTheStoreReturns)
{
    refuse_writes(-5);
    EXPECT_EQ(WrNvram_DoPX_ByIdx_DOUSE(key, 0, 1), -5);
}

TEST_F(FieldWriter, ReadsThroughTheBufferOfTheDouseReaderAlone)
{
    set(key, "old");
    char *plain = nullptr;
    char *douse = nullptr;
    RdNvram_N_Param(key, 1, &plain);
    RdNvram_N_Param_DOUSE(key, 1, &douse);
    over("new;2", 1, 3);
    EXPECT_STREQ(plain, "old");
    EXPECT_STREQ(douse, "new");
}

TEST_F(FieldWriter, LeavesAListAsItWasThatWouldGrowTooLong)
{
    set(key, std::string(509, 'x'));
    EXPECT_EQ(WrNvram_DoPX_ByIdx_DOUSE(key, 1, 1), -1);
    EXPECT_EQ(get(key), std::string(509, 'x'));
    EXPECT_EQ(debug_print(), "WrNvram_N_Param_Err:sDOMode_PX\n");
}

TEST_F(FieldWriter, RefusesAnIndexOutsideTheFourFields)
{
    set(key, "1;2");
    for (const int index : {4, 5, INT_MAX, -1, INT_MIN}) {
        forget_calls();
        WrNvram_DoPX_ByIdx_DOUSE(key, index, -12);
        EXPECT_EQ(debug_print(), "WrNvram_DoPX_ByIdx_Err:sDOMode_PX," + std::to_string(index) + ",-12\n");
        EXPECT_EQ(calls(), Calls{});
        EXPECT_EQ(get(key), "1;2");
    }
}

} // namespace
} // namespace plexor::tests
