// SPDX-License-Identifier: Apache-2.0
// The two bits an outlet: first as plain arithmetic, then in every record that the library can send, beside a
// reference that spells the bits out as text.
#include <plexor/relay.h>

#include "src/outlet/relay_pattern.h"
#include "tests/contract/relay_story.h"

namespace plexor::tests
{
namespace
{

// --- plain arithmetic ---

TEST(Patterns, PulseTheSetCoilForOnAndTheResetCoilForOff)
{
    Patterns patterns;
    patterns.add(0, Wanted::on);
    patterns.add(1, Wanted::off);
    EXPECT_EQ(patterns.coil, 0b10'01);
}

TEST(Patterns, HoldTheLevelOfBothBitsForOnAndOfTheUpperForOff)
{
    Patterns patterns;
    patterns.add(0, Wanted::on);
    patterns.add(1, Wanted::off);
    EXPECT_EQ(patterns.level, 0b10'11);
}

TEST(Patterns, LeaveAnUnchangedOutletOutOfEveryWord)
{
    Patterns patterns;
    for (unsigned outlet = 0; outlet < 8; ++outlet)
        patterns.add(outlet, Wanted::unchanged);
    EXPECT_EQ(patterns.coil, 0);
    EXPECT_EQ(patterns.level, 0);
    EXPECT_EQ(patterns.on_mask, 0U);
    EXPECT_EQ(patterns.off_mask, 0U);
}

TEST(Patterns, PutEachOutletAtItsOwnPair)
{
    for (unsigned outlet = 0; outlet < 8; ++outlet) {
        Patterns on;
        on.add(outlet, Wanted::on);
        Patterns off;
        off.add(outlet, Wanted::off);
        EXPECT_EQ(on.coil, 1U << 2 * outlet);
        EXPECT_EQ(off.coil, 2U << 2 * outlet);
        EXPECT_EQ(on.level, 3U << 2 * outlet);
        EXPECT_EQ(off.level, 2U << 2 * outlet);
        EXPECT_EQ(on.on_mask, 1U << outlet);
        EXPECT_EQ(off.off_mask, 1U << outlet);
    }
}

TEST(Patterns, HaveTheFirstFourOutletsInTheLowByte)
{
    EXPECT_EQ(low_byte(0xA55A), 0x5A);
    EXPECT_EQ(high_byte(0xA55A), 0xA5);
}

TEST(GroupLevel, KeepsTheOtherOutletsOfTheGroupAsTheyAreOff)
{
    EXPECT_EQ(group_level(0x00, 5, false), 0xFB);
    EXPECT_EQ(group_level(0xFF, 5, true), 0xAE);
    EXPECT_EQ(group_level(0x0F, 4, true), 0xFF);
    EXPECT_EQ(group_level(0xF0, 3, false), 0xBF);
}

// --- the reference ---

std::uint8_t byte_of_bits(const std::string &bits)
{
    return static_cast<std::uint8_t>(std::stoul(bits, nullptr, 2));
}

// One byte from a word for each of its outlets, the first outlet in the last two bits.
template <class PairOf>
std::uint8_t four_pairs(int first, PairOf pair_of)
{
    std::string bits;
    for (int outlet = first; outlet < first + 4; ++outlet)
        bits.insert(0, pair_of(outlet));
    return byte_of_bits(bits);
}

std::string bytes(std::initializer_list<unsigned> values)
{
    std::string text;
    for (const unsigned value : values)
        text += print("%02X", value);
    return text;
}

std::string coil(int state) // 0 off, 1 on, anything else: leave it alone
{
    return state == 1 ? "01" : state == 0 ? "10" : "00";
}

std::string level(int state)
{
    return state == 1 ? "11" : state == 0 ? "10" : "00";
}

bool bit(unsigned mask, int outlet)
{
    return (mask / (1U << outlet)) % 2 == 1;
}

std::uint8_t level_of_group(unsigned off_mask, int outlet, bool on)
{
    return four_pairs(outlet < 4 ? 0 : 4, [&](int k) { return level(k == outlet ? on : !bit(off_mask, k)); });
}

// --- every record ---

class Records : public RelayStory
{
  protected:
    // One outlet switched after off_mask was recorded; the record sent.
    std::string sent(unsigned off_mask, int outlet, bool on)
    {
        let_i2c_cache_expire();
        forget_calls();
        set("SPI_buf_1", print("%x", off_mask));
        EXPECT_EQ(ContorlSpiPower(outlet, on), 1);
        const unsigned now = on ? off_mask & ~(1U << outlet) : off_mask | 1U << outlet;
        EXPECT_EQ(recorded(), print("%x", now));
        EXPECT_EQ(controller_record(), now);
        const Calls all = records();
        return all.size() == 1 ? all.front() : std::to_string(all.size()) + " records";
    }

    template <class Check>
    static void for_each_switch(int outlets, Check check)
    {
        for (unsigned off_mask = 0; off_mask < 256; ++off_mask) {
            for (int outlet = 0; outlet < outlets; ++outlet) {
                check(off_mask, outlet, false);
                check(off_mask, outlet, true);
            }
        }
    }

    void expect_levels(unsigned model, int outlets)
    {
        use_model(static_cast<int>(model), ordinary);
        for_each_switch(outlets, [&](unsigned off_mask, int outlet, bool on) {
            const unsigned pattern = level_of_group(off_mask, outlet, on);
            ASSERT_EQ(sent(off_mask, outlet, on),
                      "4 " + bytes({static_cast<unsigned>(outlet), pattern, on ? 0U : 1U, model, 0}))
                << "off mask " << off_mask;
        });
    }

    // All outlets set to these states through SetPowerSimul; the records sent.
    Calls sent_for(std::array<int, 8> states)
    {
        forget_calls();
        EXPECT_EQ(SetPowerSimul(states.data()), 1);
        return records();
    }

    // Calls check with every way to set the first outlets on, off or not at all.
    template <class Check>
    static void for_each_choice(int outlets, Check check)
    {
        int choices = 1;
        for (int k = 0; k < outlets; ++k)
            choices *= 3;
        for (int choice = 0; choice < choices; ++choice) {
            std::array<int, 8> states{2, 2, 2, 2, 2, 2, 2, 2};
            for (int k = 0, rest = choice; k < outlets; ++k, rest /= 3)
                states[static_cast<std::size_t>(k)] = rest % 3;
            check(states);
        }
    }

    static unsigned off_mask_of(const std::array<int, 8> &states)
    {
        unsigned mask = 0;
        for (std::size_t k = 0; k < states.size(); ++k)
            mask += states[k] == 0 ? 1U << k : 0U;
        return mask;
    }
};

TEST_F(Records, OfOneLatchingRelayNameItsCoilAloneWhateverWasOff)
{
    const std::array set_coils{1U, 4U, 16U, 64U, 1U, 4U, 16U, 64U};
    for_each_switch(8, [&](unsigned off_mask, int outlet, bool on) {
        const unsigned coils = set_coils[static_cast<std::size_t>(outlet)] * (on ? 1 : 2);
        ASSERT_EQ(sent(off_mask, outlet, on),
                  "4 " + bytes({static_cast<unsigned>(outlet), coils, on ? 0U : 1U, 2, 8}));
    });
}

TEST_F(Records, OfOneOrdinaryRelayRepeatTheStatesOfItsGroupOnEightOutletBoards)
{
    expect_levels(3, 8);
}

TEST_F(Records, OfOneOrdinaryRelayRepeatTheStatesOfItsGroupOnFourOutletBoards)
{
    expect_levels(7, 4);
}

TEST_F(Records, OfOneOrdinaryRelayRepeatTheStatesOfItsGroupOnTwoOutletBoards)
{
    expect_levels(9, 2);
}

TEST_F(Records, OfAllOutletsPulseCoilsOnEightOutletBoardsWhateverTheRelays)
{
    for (const bool strap : {latching, ordinary}) {
        use_model(2, strap);
        for_each_choice(8, [&](const std::array<int, 8> &states) {
            const auto pair = [&](int k) { return coil(states[static_cast<std::size_t>(k)]); };
            const unsigned latch = strap ? 8 : 0;
            ASSERT_EQ(sent_for(states), (Calls{"6 " + bytes({0, four_pairs(0, pair), 0, 2, latch}),
                                               "6 " + bytes({4, four_pairs(4, pair), 0, 2, latch})}));
            ASSERT_EQ(recorded(), print("%x", off_mask_of(states)));
        });
    }
}

TEST_F(Records, OfAllOutletsPulseCoilsOnLatchingFourOutletBoards)
{
    use_model(6, latching);
    for_each_choice(4, [&](const std::array<int, 8> &states) {
        const auto pair = [&](int k) { return coil(states[static_cast<std::size_t>(k)]); };
        ASSERT_EQ(sent_for(states), Calls{"6 " + bytes({0, four_pairs(0, pair), 0, 6, 8})});
        ASSERT_EQ(recorded(), print("%x", off_mask_of(states)));
    });
}

TEST_F(Records, OfAllOutletsHoldLevelsOnOrdinaryFourOutletBoards)
{
    use_model(6, ordinary);
    for_each_choice(4, [&](const std::array<int, 8> &states) {
        const auto pair = [&](int k) { return level(states[static_cast<std::size_t>(k)]); };
        ASSERT_EQ(sent_for(states), Calls{"6 " + bytes({0, four_pairs(0, pair), 0, 6, 0})});
        ASSERT_EQ(recorded(), print("%x", off_mask_of(states)));
    });
}

TEST_F(Records, OfAMaskTurnEveryOutletThatIsNotInItOff)
{
    for (unsigned on_mask = 0; on_mask < 256; ++on_mask) {
        forget_calls();
        let_i2c_cache_expire();
        EXPECT_EQ(ContorlSpiAllPower(on_mask, "test"), 0);
        const auto pair = [&](int k) { return coil(bit(on_mask, k)); };
        ASSERT_EQ(records(), (Calls{"6 " + bytes({0, four_pairs(0, pair), 0, 2, 8}),
                                    "6 " + bytes({4, four_pairs(4, pair), 0, 2, 8})}));
        ASSERT_EQ(recorded(), print("%x", 255 - on_mask));
        ASSERT_EQ(controller_record(), 255 - on_mask);
    }
}

} // namespace
} // namespace plexor::tests
