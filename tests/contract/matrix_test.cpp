// SPDX-License-Identifier: Apache-2.0
// Every model with either kind of relays: after each action the whole board is compared, by what a person
// would see on it and by what is written down, with a small reference that knows how such boards are wired.
#include <optional>
#include <tuple>

#include <plexor/relay.h>

#include "tests/contract/relay_story.h"

namespace plexor::tests
{
namespace
{

using Mask = unsigned;
using States = std::array<int, 8>; // 1 on, 0 off, anything else: left alone

constexpr int keep = 2;

// What there is to see. Outlets are written first to last.
struct Sight {
    std::string contacts;
    std::string leds;
    Mask in_controller;
    std::string in_store;

    bool operator==(const Sight &) const = default;
};

void PrintTo(const Sight &sight, std::ostream *stream)
{
    *stream << "contacts " << sight.contacts << ", LEDs " << sight.leds << ", controller "
            << print("%02X", sight.in_controller) << ", store \"" << sight.in_store << "\"";
}

template <class Lit>
std::string row(int outlets, Lit lit)
{
    std::string text;
    for (int outlet = 0; outlet < outlets; ++outlet)
        text += lit(outlet) ? '1' : '0';
    return text;
}

Mask outlets_that_are(int state, const States &states)
{
    Mask mask = 0;
    for (std::size_t outlet = 0; outlet < states.size(); ++outlet)
        mask |= states[outlet] == state ? 1U << outlet : 0U;
    return mask;
}

// A board as it should be. Masks: bit i = outlet i on, but for the two records, which are off masks.
class Reference
{
  public:
    Reference(int model, bool has_latching_relays) : model_(model), latching_(has_latching_relays) {}

    bool has_gpio_relays() const { return model_ == 10; }
    bool has_eight_on_the_chain() const { return model_ == 2 || model_ == 3 || model_ == 11; }
    int outlets() const
    {
        const std::array numbers{0, 4, 8, 8, 4, 4, 4, 4, 2, 2, 8, 8};
        return numbers[static_cast<std::size_t>(model_)];
    }

    void boot(const States &states)
    {
        if (has_gpio_relays()) {
            contacts_ = (contacts_ | outlets_that_are(1, states)) & ~outlets_that_are(0, states);
            return;
        }
        set_several(states);
        in_controller_ = *in_store_;
    }

    void set_one(int outlet, bool on)
    {
        const Mask bit = 1U << outlet;
        if (has_gpio_relays()) {
            contacts_ = on ? contacts_ | bit : contacts_ & ~bit;
            return;
        }
        in_store_ = on ? in_store_.value_or(0) & ~bit : in_store_.value_or(0) | bit;
        in_controller_ = *in_store_;
        // Ordinary relays of the group are all driven, to what is recorded for them.
        const Mask driven = latching_ ? bit : 0x0FU << outlet / 4 * 4;
        contacts_ = (contacts_ & ~driven) | (~*in_store_ & driven);
        if (has_eight_on_the_chain()) // the LEDs of the others stay as they were
            leds_ = on ? leds_ | bit : leds_ & ~bit;
    }

    void set_all(Mask on)
    {
        States states{};
        for (std::size_t outlet = 0; outlet < states.size(); ++outlet)
            states[outlet] = (on >> outlet & 1U) != 0 ? 1 : 0;
        set_several(states);
        in_controller_ = *in_store_;
    }

    void set_several(const States &states)
    {
        const Mask driven = has_eight_on_the_chain() ? 0xFF : 0x0F;
        const Mask on = outlets_that_are(1, states) & driven;
        const Mask off = outlets_that_are(0, states) & driven;
        in_store_ = off;
        leds_ = has_eight_on_the_chain() ? on : ~off & driven;
        if (has_gpio_relays()) // nothing is on the chain, but the LED lines are the first four relays
            contacts_ = (contacts_ & ~driven) | leds_;
        else // an ordinary relay that is left alone gets no current
            contacts_ = latching_ ? (contacts_ | on) & ~off : on;
    }

    void lose_power()
    {
        in_store_.reset();
        leds_ = 0;
        if (!latching_ || has_gpio_relays())
            contacts_ = 0;
    }

    Mask controller() const { return in_controller_; }

    Sight sight() const
    {
        const Mask leds = has_gpio_relays() ? 0 : leds_;
        return {row(outlets(), [&](int outlet) { return (contacts_ >> outlet & 1U) != 0; }),
                row(outlets(), [&](int outlet) { return (leds >> outlet & 1U) != 0; }), in_controller_,
                in_store_ ? print("%x", *in_store_) : ""};
    }

  private:
    int model_;
    bool latching_;
    Mask contacts_{};
    Mask leds_{};
    Mask in_controller_{};
    std::optional<Mask> in_store_{};
};

std::string list(const States &states)
{
    std::string text;
    for (const int state : states)
        text += (text.empty() ? "" : ";") + std::to_string(state);
    return text;
}

class EveryBoard : public RelayStory, public testing::WithParamInterface<std::tuple<int, bool>>
{
  protected:
    EveryBoard() { use_model(model(), is_latching()); }

    // No combination asks a driver for what it does not know, drives both coils at once, or writes a line
    // that is an input.
    ~EveryBoard() override
    {
        for (const auto &event : board().timeline().events())
            EXPECT_NE(event.kind, "violation") << board::to_text(event);
    }

    static int model() { return std::get<0>(GetParam()); }
    static bool is_latching() { return std::get<1>(GetParam()); }
    int outlets() const { return reference_.outlets(); }

    void expect_as_it_should_be(const std::string &action)
    {
        const Sight seen{row(outlets(), [&](int outlet) { return board().contact(outlet); }),
                         row(outlets(), [&](int outlet) { return board().led(outlet); }), controller_record(),
                         recorded()};
        EXPECT_EQ(seen, reference_.sight()) << "after " << action;
        EXPECT_FALSE(board().beeping()) << "after " << action;
        let_i2c_cache_expire();
    }

    void boot(const States &states)
    {
        set(reference_.has_gpio_relays() ? "default_status_PX1" : "default_status_PX", list(states));
        EXPECT_EQ(init_io(), 0);
        reference_.boot(states);
        expect_as_it_should_be("a start with " + list(states));
    }

    void restore_last_states()
    {
        set("default_status_PX", "2;2;2;2;2;2;2;2");
        set("default_status_PX1", "2;2;2;2;2;2;2;2");
        EXPECT_EQ(init_io(), 0);
        States before{};
        for (std::size_t outlet = 0; outlet < before.size(); ++outlet)
            before[outlet] = (reference_.controller() >> outlet & 1U) != 0 ? 0 : 1;
        reference_.boot(reference_.has_gpio_relays() ? States{2, 2, 2, 2, 2, 2, 2, 2} : before);
        expect_as_it_should_be("the restore");
    }

    void switch_one(int outlet, bool on)
    {
        EXPECT_EQ(ContorlSpiPower(outlet, on), 1);
        reference_.set_one(outlet, on);
        expect_as_it_should_be("outlet " + std::to_string(outlet) + (on ? " on" : " off"));
    }

    void switch_all(Mask on)
    {
        EXPECT_EQ(ContorlSpiAllPower(on, "matrix"), 0);
        reference_.set_all(on);
        expect_as_it_should_be("all to " + print("%02X", on));
    }

    void switch_several(States states)
    {
        EXPECT_EQ(SetPowerSimul(states.data()), 1);
        reference_.set_several(states);
        expect_as_it_should_be("several to " + list(states));
    }

    // What a mains failure takes with it: whatever was only in memory.
    void lose_power()
    {
        board().power_loss();
        EXPECT_EQ(row(outlets(), [&](int outlet) { return board().contact(outlet); }),
                  std::string(static_cast<std::size_t>(outlets()), '0'));
        remove_segment(i2c_cache);
        unset("SPI_buf_1");
        reference_.lose_power();
        board().power_up();
        expect_as_it_should_be("the power loss");
    }

  private:
    Reference reference_{model(), is_latching()};
};

std::string name_of_board(const testing::TestParamInfo<std::tuple<int, bool>> &info)
{
    return "Model" + std::to_string(std::get<0>(info.param)) +
           (std::get<1>(info.param) ? "Latching" : "Ordinary");
}

INSTANTIATE_TEST_SUITE_P(Matrix, EveryBoard,
                         testing::Combine(testing::Range(0, 12), testing::Values(latching, ordinary)),
                         name_of_board);

TEST_P(EveryBoard, StartsWithTheStatesOfItsList)
{
    boot({1, 0, 1, 0, 0, 1, 1, 0});
    boot({0, 0, 0, 0, 0, 0, 0, 0});
    boot({0, 1, 1, 1, 1, 1, 0, 1});
    boot({1, 1, 1, 1, 1, 1, 1, 1});
}

TEST_P(EveryBoard, SwitchesEachOutletOnFromAllOff)
{
    boot({});
    for (int outlet = 0; outlet < outlets(); ++outlet)
        switch_one(outlet, true);
    for (int outlet = 0; outlet < outlets(); ++outlet)
        switch_one(outlet, false);
}

TEST_P(EveryBoard, SwitchesEachOutletOffAndBackAgainFromAllOn)
{
    boot({1, 1, 1, 1, 1, 1, 1, 1});
    for (int outlet = outlets() - 1; outlet >= 0; --outlet) {
        switch_one(outlet, false);
        switch_one(outlet, true);
    }
}

TEST_P(EveryBoard, SwitchesAnOutletTwiceTheSameWay)
{
    boot({1, 0, 0, 1, 0, 1, 1, 0});
    for (const bool on : {true, true, false, false}) {
        for (int outlet = 0; outlet < outlets(); outlet += 3)
            switch_one(outlet, on);
    }
}

TEST_P(EveryBoard, SwitchesAllOutletsToAnyMask)
{
    for (const Mask on : {0xFFU, 0x00U, 0x0FU, 0xF0U, 0x55U, 0xAAU, 0x81U, 0x7EU})
        switch_all(on);
}

TEST_P(EveryBoard, SwitchesAllOutletsAndThenOne)
{
    switch_all(0xA5);
    for (int outlet = 0; outlet < outlets(); ++outlet) {
        switch_one(outlet, outlet % 2 == 1);
        switch_all(0x5A);
    }
}

TEST_P(EveryBoard, SwitchesSeveralOutletsAtOnce)
{
    boot({});
    switch_several({1, 1, 1, 1, 1, 1, 1, 1});
    switch_several({0, 1, 0, 1, 1, 1, 0, 0});
    switch_several({1, 0, 0, 1, 0, 1, 1, 0});
}

// Outlets left alone are recorded as on, dark on the expanders, lit on the LED lines; latching relays do stay
// as they were, ordinary ones open, and the first four of the GPIO model close. That is how these boards are.
TEST_P(EveryBoard, ShowsAndRecordsOutletsLeftAloneInItsOwnWay)
{
    boot({1, 0, 1, 0, 1, 0, 1, 0});
    switch_several({keep, keep, 0, 1, keep, 1, keep, 0});
    switch_several({keep, keep, keep, keep, keep, keep, keep, keep});
    for (int outlet = 0; outlet < outlets(); ++outlet)
        switch_one(outlet, true);
}

TEST_P(EveryBoard, StartsWithOutletsWithoutActionInItsOwnWay)
{
    boot({1, 0, 1, 0, 0, 1, 1, 0});
    boot({3, 3, 0, 1, 3, 3, 1, 0});
    if (outlets() > 0)
        switch_one(0, false);
}

TEST_P(EveryBoard, RestoresTheLastStatesAfterAPowerLoss)
{
    boot({1, 1, 1, 1, 1, 1, 1, 1});
    for (int outlet = 0; outlet < outlets(); outlet += 2)
        switch_one(outlet, false);
    lose_power();
    restore_last_states();
}

TEST_P(EveryBoard, RestoresAfterAPowerLossWhatWasSetForAll)
{
    switch_all(0x96);
    lose_power();
    restore_last_states();
}

// Setting several at once does not reach the controller, which alone outlives the power loss.
TEST_P(EveryBoard, RestoresAfterAPowerLossWhatWasThereBeforeSeveralWereSetAtOnce)
{
    switch_all(0x3C);
    switch_several({1, 1, 0, 0, 0, 0, 1, 1});
    lose_power();
    restore_last_states();
}

TEST_P(EveryBoard, StartsAfterAPowerLossWithAListThatDoesNotAskForTheLastStates)
{
    switch_all(0x3C);
    lose_power();
    boot({0, 1, 1, 0, 1, 0, 0, 1});
}

// --- the surprises, spelled out ---

class BoardSurprises : public RelayStory
{
  protected:
    std::string contacts()
    {
        return row(board().hardware().outlets, [&](int outlet) { return board().contact(outlet); });
    }
    std::string leds()
    {
        return row(board().hardware().outlets, [&](int outlet) { return board().led(outlet); });
    }
    static int switch_several(States states) { return SetPowerSimul(states.data()); }
};

TEST_F(BoardSurprises, SettingSeveralOutletsOpensOrdinaryRelaysLeftAloneThoughRecordedAsOn)
{
    for (const int model : {2, 3, 11, 1, 4}) {
        use_model(model, ordinary);
        const bool eight = board().hardware().outlets == 8;
        ContorlSpiAllPower(0xFF, nullptr);
        switch_several({keep, 1, 0, keep, keep, keep, keep, keep});
        EXPECT_EQ(contacts(), eight ? "01000000" : "0100");
        EXPECT_EQ(recorded(), "4");
        let_i2c_cache_expire();
    }
}

TEST_F(BoardSurprises, TheNextSwitchOfOneOutletClosesTheOrdinaryRelaysOfItsGroupAsRecorded)
{
    use_model(2, ordinary);
    switch_several({keep, 1, 0, keep, keep, keep, keep, keep});
    ContorlSpiPower(1, 0);
    EXPECT_EQ(contacts(), "10010000");
}

TEST_F(BoardSurprises, LatchingRelaysLeftAloneKeepTheirContactAndLoseTheirExpanderLed)
{
    ContorlSpiAllPower(0xFF, nullptr);
    switch_several({0, keep, keep, keep, keep, keep, keep, 1});
    EXPECT_EQ(contacts(), "01111111");
    EXPECT_EQ(leds(), "00000001");
}

TEST_F(BoardSurprises, OneOutletOfAFourOutletBoardSwitchesWithoutItsLed)
{
    use_model(4, latching);
    ContorlSpiAllPower(0x0F, nullptr);
    ContorlSpiPower(2, 0);
    EXPECT_EQ(contacts(), "1101");
    EXPECT_EQ(leds(), "1111");
}

TEST_F(BoardSurprises, AllOutletsOfTheGpioModelReachesTheFirstFourOnlyThroughTheLedLines)
{
    use_model(10, latching);
    for (int outlet = 0; outlet < 8; ++outlet)
        ContorlSpiPower(outlet, outlet % 2);
    ContorlSpiAllPower(0xF1, nullptr);
    EXPECT_EQ(contacts(), "10000101");
    EXPECT_EQ(recorded(), "e");
}

TEST_F(BoardSurprises, SettingSeveralOutletsOfTheGpioModelClosesThoseOfTheFirstFourLeftAlone)
{
    use_model(10, ordinary);
    switch_several({keep, 0, keep, 1, 1, 1, 1, 1});
    EXPECT_EQ(contacts(), "10110000");
}

} // namespace
} // namespace plexor::tests
