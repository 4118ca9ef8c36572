// SPDX-License-Identifier: Apache-2.0
// What the outlets are said to be.
#include <climits>

#include <plexor/relay.h>

#include "tests/contract/relay_story.h"

namespace plexor::tests
{
namespace
{

using States = std::array<int, 8>;

constexpr States all_on{1, 1, 1, 1, 1, 1, 1, 1};
const Calls read_off_mask_and_group_0 = story({ask_model, read_off_mask, read_group_0});
const Calls read_off_mask_and_group_1 = story({ask_model, read_off_mask, read_group_1});

class OutletStates : public RelayStory
{
  protected:
    static States read()
    {
        States states{-7, -7, -7, -7, -7, -7, -7, -7};
        EXPECT_EQ(GetPowerStatus(states.data()), 1);
        return states;
    }

    static States all_but(std::size_t outlet)
    {
        States states = all_on;
        states[outlet] = 0;
        return states;
    }

    // Each of these lines, high alone, makes its own outlet read as off.
    void expect_lines(int group, const std::array<int, 8> &lines)
    {
        for (int line = 0; line < 96; ++line)
            board().set_input(line, false);
        EXPECT_EQ(read(), all_on);
        for (std::size_t outlet = 0; outlet < 8; ++outlet) {
            board().set_input(32 * group + lines[outlet], true);
            EXPECT_EQ(read(), all_but(outlet));
            board().set_input(32 * group + lines[outlet], false);
        }
    }
};

TEST(RelayTables, NameTheBitsAndLinesOfTheOutlets)
{
    EXPECT_TRUE(std::ranges::equal(pinRelaySPI, std::array{1, 4, 16, 64, 1, 4, 16, 64}));
    EXPECT_TRUE(std::ranges::equal(pinRelayGPIO, std::array{22, 23, 24, 25, 26, 29, 27, 28}));
    EXPECT_TRUE(std::ranges::equal(pinRelayGPIO3264, std::array{40, 39, 38, 37, 26, 29, 27, 28}));
}

TEST_F(OutletStates, ComeFromTheOffMaskOnEightOutletModels)
{
    for (const int model : {2, 3, 11}) {
        use_model(model, ordinary);
        for (unsigned off_mask = 0; off_mask < 256; ++off_mask) {
            set("SPI_buf_1", print("%x", off_mask));
            const States states = read();
            for (std::size_t outlet = 0; outlet < 8; ++outlet)
                ASSERT_EQ(states[outlet], (off_mask & 1U << outlet) == 0) << off_mask;
        }
        EXPECT_EQ(calls("open"), Calls{});
    }
}

TEST_F(OutletStates, ComeFromEightLinesOfGroupZeroOnMostModels)
{
    for (const int model : {0, 1, 4, 5, 6, 7, 10}) {
        use_model(model, ordinary);
        set("SPI_buf_1", "ff");
        expect_lines(0, {22, 23, 24, 25, 26, 29, 27, 28});
        forget_calls();
        read();
        EXPECT_EQ(calls(), read_off_mask_and_group_0) << model;
    }
}

TEST_F(OutletStates, ComeFromLinesOfGroupOneOnTwoOutletModels)
{
    for (const int model : {8, 9}) {
        use_model(model, ordinary);
        set("SPI_buf_1", "ff");
        expect_lines(1, {8, 7, 6, 5, 26, 29, 27, 28});
        forget_calls();
        read();
        EXPECT_EQ(calls(), read_off_mask_and_group_1) << model;
    }
}

TEST_F(OutletStates, ComeFromGroupZeroForAModelThatIsNone)
{
    for (const char *model : {"12", "-1", "99999"}) {
        forget_calls();
        set("IO_number", model);
        read();
        EXPECT_EQ(calls(), read_off_mask_and_group_0) << model;
    }
}

TEST_F(OutletStates, FollowTheParameterStoreAndNotTheAddress)
{
    set("SPI_buf_1", "ff");
    EXPECT_EQ(read(), States{});
    set("IO_number", "8");
    EXPECT_EQ(calls("flash_read_br0_mac"), Calls{});
    board().set_input(40, false);
    EXPECT_EQ(read(), (States{1, 0, 0, 0, 0, 0, 0, 0}));
}

TEST_F(OutletStates, OnAFourOutletBoardAreItsLedsWhichOneSwitchedOutletDoesNotTouch)
{
    use_model(4, latching);
    ContorlSpiAllPower(0x0F, nullptr);
    ContorlSpiPower(1, 0);
    EXPECT_EQ(read(), (States{1, 1, 1, 1, 0, 0, 0, 0}));
    EXPECT_EQ(GetPowerByIdx(1), 0);
}

TEST_F(OutletStates, OfTheGpioModelAreItsLines)
{
    use_model(10, ordinary);
    set("SPI_buf_1", "0");
    ContorlSpiPower(5, 1);
    ContorlSpiPower(6, 0);
    EXPECT_EQ(read(), (States{0, 0, 0, 0, 0, 1, 0, 0}));
}

TEST_F(OutletStates, ReadAsAllOnWhenTheLinesCannotBeRead)
{
    use_model(4, ordinary);
    fail_open("/dev/gpio", ENOENT);
    EXPECT_EQ(standard_error_of([] { EXPECT_EQ(read(), all_on); }), "/dev/gpio: No such file or directory\n");
}

TEST_F(OutletStates, AreNotReadIntoNothing)
{
    EXPECT_EQ(GetPowerStatus(nullptr), 1);
}

// --- the recorded state of one outlet ---

class RecordedState : public RelayStory
{
};

TEST_F(RecordedState, IsOnWhereTheBitOfTheOffMaskIsClear)
{
    for (unsigned off_mask = 0; off_mask < 256; ++off_mask) {
        set("SPI_buf_1", print("%x", off_mask));
        for (unsigned outlet = 0; outlet < 8; ++outlet)
            ASSERT_EQ(GetPowerByIdx(outlet), (off_mask & 1U << outlet) == 0) << off_mask;
    }
}

TEST_F(RecordedState, OfTheMaskAIsOnOffOnOff)
{
    set("SPI_buf_1", "a");
    EXPECT_EQ(GetPowerByIdx(0), 1);
    EXPECT_EQ(GetPowerByIdx(1), 0);
    EXPECT_EQ(GetPowerByIdx(2), 1);
    EXPECT_EQ(GetPowerByIdx(3), 0);
    EXPECT_EQ(calls(), story({read_off_mask, read_off_mask, read_off_mask, read_off_mask}));
    EXPECT_EQ(debug_print(), "");
}

TEST_F(RecordedState, ReadsWhateverTextIsThere)
{
    const std::map<std::string, int> second_outlet{
        {"", 1}, {"2", 0}, {"FF", 0}, {"ff", 0}, {"junk", 1}, {"2junk", 0}, {std::string(600, 'f'), 0}};
    for (const auto &[text, state] : second_outlet) {
        set("SPI_buf_1", text);
        EXPECT_EQ(GetPowerByIdx(1), state) << text;
    }
    unset("SPI_buf_1");
    EXPECT_EQ(GetPowerByIdx(1), 1);
}

TEST_F(RecordedState, OfAnOutletOutsideItsRangeIsAnError)
{
    EXPECT_EQ(GetPowerByIdx(8), -1);
    EXPECT_EQ(debug_print(), "relayidx:8 error\n");
    forget_calls();
    EXPECT_EQ(GetPowerByIdx(UINT_MAX), -1);
    EXPECT_EQ(debug_print(), "relayidx:-1 error\n");
    EXPECT_EQ(calls(), Calls{});
}

TEST_F(RecordedState, OfTheGpioModelStaysTheOldOne)
{
    use_model(10, ordinary);
    set("SPI_buf_1", "2");
    ContorlSpiPower(1, 1);
    ContorlSpiPower(0, 0);
    EXPECT_EQ(GetPowerByIdx(1), 0);
    EXPECT_EQ(GetPowerByIdx(0), 1);
    EXPECT_EQ(recorded(), "2");
}

TEST_F(RecordedState, IsTheSameOnEveryModel)
{
    for (int model = 0; model < 12; ++model) {
        use_model(model, latching);
        set("SPI_buf_1", "80");
        EXPECT_EQ(GetPowerByIdx(7), 0);
        EXPECT_EQ(GetPowerByIdx(6), 1);
    }
}

} // namespace
} // namespace plexor::tests
