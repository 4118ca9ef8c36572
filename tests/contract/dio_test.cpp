// SPDX-License-Identifier: Apache-2.0
// Digital inputs, the mode numbers and the recorded modes.
#include <cerrno>
#include <climits>

#include "tests/contract/dio_outputs.h"
#include "tests/contract/gpio_calls.h"

namespace plexor::tests
{
namespace
{

// --- inputs ---

class ReadingDigitalInputs : public Appliance
{
  protected:
    static Numbers inputs()
    {
        Numbers out(4, 77);
        EXPECT_EQ(GetDIStatus(out.data()), 1);
        return out;
    }
    // Bit n set: input n is active.
    void activate(unsigned mask)
    {
        for (int n = 0; n < 4; ++n)
            board().set_digital_input(n, (mask >> n & 1) != 0);
    }
};

TEST_F(ReadingDigitalInputs, AreOneWhereTheirLineIsLow)
{
    for (unsigned mask = 0; mask < 16; ++mask) {
        activate(mask);
        EXPECT_EQ(inputs(), (Numbers{mask & 1, mask >> 1 & 1, mask >> 2 & 1, mask >> 3 & 1})) << mask;
    }
}

TEST_F(ReadingDigitalInputs, AreTheLines26To29)
{
    for (unsigned n = 0; n < 4; ++n) {
        board().set_input(static_cast<int>(26 + n), false);
        EXPECT_EQ(inputs()[n], 1U);
        board().set_input(static_cast<int>(26 + n), true);
        EXPECT_EQ(inputs(), Numbers(4, 0));
    }
}

TEST_F(ReadingDigitalInputs, AreNoOtherLines)
{
    const auto is_input = [](int line) { return line >= 26 && line <= 29; };
    for (int line = 0; line < 96; ++line)
        board().set_input(line, is_input(line));
    EXPECT_EQ(inputs(), Numbers(4, 0));
    for (int line = 0; line < 96; ++line)
        board().set_input(line, !is_input(line));
    EXPECT_EQ(inputs(), Numbers(4, 1));
}

TEST_F(ReadingDigitalInputs, AreReadAtOnceAndTakenAsTheyAre)
{
    inputs();
    EXPECT_EQ(calls(), each_opened({gpio_request(2)}));
    EXPECT_EQ(debug_print(), "");
}

TEST_F(ReadingDigitalInputs, AreReadOnEveryModel)
{
    for (int model = 0; model < 12; ++model) {
        use_model(model, true);
        activate(0b1010);
        EXPECT_EQ(inputs(), (Numbers{0, 1, 0, 1})) << model;
    }
}

TEST_F(ReadingDigitalInputs, AreAllActiveWhenTheBankCannotBeRead)
{
    fail_ioctl("/dev/gpio", 2, EIO);
    EXPECT_EQ(standard_error_of([] { EXPECT_EQ(inputs(), Numbers(4, 1)); }), "ioctl: Input/output error\n");
}

TEST_F(ReadingDigitalInputs, AreAllActiveWithoutTheDevice)
{
    fail_open("/dev/gpio", ENODEV);
    EXPECT_EQ(standard_error_of([] { EXPECT_EQ(inputs(), Numbers(4, 1)); }), "/dev/gpio: No such device\n");
}

TEST_F(ReadingDigitalInputs, AreNotReadForNobody)
{
    EXPECT_EQ(GetDIStatus(nullptr), 1);
    EXPECT_EQ(calls(), Calls{});
}

// --- the dry contact ---

class DryContactInput : public Appliance
{
};

TEST_F(DryContactInput, IsOneWhereBitZeroOfItsParameterIsClear)
{
    const std::vector<std::pair<const char *, int>> readings{
        {"0", 1}, {"1", 0}, {"2", 1},  {"3", 0},  {"254", 1},       {"255", 0},
        {"", 1},  {"x", 1}, {"-1", 0}, {"-2", 1}, {"2147483647", 0}};
    for (const auto &[text, expected] : readings) {
        set("sIICDi", text);
        EXPECT_EQ(GetIICDi(), expected) << text;
    }
}

TEST_F(DryContactInput, IsOneWhenItWasNeverSampled)
{
    EXPECT_EQ(GetIICDi(), 1);
    EXPECT_EQ(calls(), Calls{"nvram_kget_int sIICDi 0"});
}

// --- mode numbers ---

class OutputModes : public DigitalOutputs
{
};

TEST_F(OutputModes, HaveTheirOwnNumberForCodeButForTheTwoLevels)
{
    EXPECT_EQ(getdomode(0), 1);
    EXPECT_EQ(getdomode(1), 0);
    for (const unsigned mode : {2U, 3U, 4U, 10U, 12U, 13U, 14U})
        EXPECT_EQ(getdomode(mode), static_cast<int>(mode));
    EXPECT_EQ(calls(), Calls{});
    EXPECT_EQ(debug_print(), "");
}

TEST_F(OutputModes, ThatAreUnknownHaveCodeZeroAndALine)
{
    for (const unsigned mode : {5U, 6U, 7U, 8U, 9U, 11U, 15U, 16U, 255U, 256U, UINT_MAX}) {
        forget_calls();
        EXPECT_EQ(getdomode(mode), 0) << mode;
        EXPECT_EQ(debug_print(), print("Errors setDoX model :%02X\n", mode));
        EXPECT_EQ(calls(), Calls{});
    }
}

TEST_F(OutputModes, AreNamedInAtLeastTwoDigits)
{
    getdomode(5);
    getdomode(0xABC);
    EXPECT_EQ(debug_print(), "Errors setDoX model :05\nErrors setDoX model :ABC\n");
}

// --- recorded modes ---

class RecordedModes : public Appliance
{
  protected:
    std::vector<int> recorded(const std::string &list)
    {
        set("sDOMode_PX", list);
        std::vector<int> out(4, 77);
        EXPECT_EQ(GetDOStatus(out.data()), 1);
        return out;
    }
};

TEST_F(RecordedModes, AreTheFieldsOfTheirList)
{
    EXPECT_EQ(recorded("1;2;3;4"), (std::vector{1, 2, 3, 4}));
    EXPECT_EQ(recorded("14;-1;0;2147483647"), (std::vector{14, -1, 0, INT_MAX}));
}

TEST_F(RecordedModes, AreZeroWhereTheListHasNone)
{
    EXPECT_EQ(recorded(""), (std::vector{0, 0, 0, 0}));
    EXPECT_EQ(recorded("3"), (std::vector{3, 0, 0, 0}));
    EXPECT_EQ(recorded(";;x;2"), (std::vector{0, 0, 0, 2}));
}

TEST_F(RecordedModes, AreTheFirstFourOfALongerList)
{
    EXPECT_EQ(recorded("1;2;3;4;5;6"), (std::vector{1, 2, 3, 4}));
}

TEST_F(RecordedModes, AreReadFromTheStoreAlone)
{
    recorded("1;0;1;0");
    EXPECT_EQ(calls(), Calls{"nvram_kget_str sDOMode_PX 512"});
}

TEST_F(RecordedModes, AreNotReadForNobody)
{
    EXPECT_EQ(GetDOStatus(nullptr), 1);
    EXPECT_EQ(calls(), Calls{});
}

} // namespace
} // namespace plexor::tests
