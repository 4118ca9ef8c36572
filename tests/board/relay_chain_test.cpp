// SPDX-License-Identifier: Apache-2.0
#include "tests/board/test_board.h"

namespace plexor::tests
{

namespace
{

TEST(LatchingRelays, StartOpen)
{
    EXPECT_EQ((TestBoard{2, latching}.contacts()), "00000000");
}

TEST(LatchingRelays, SwitchingOnPulsesOnlyTheSetCoil)
{
    TestBoard board{1, latching};
    EXPECT_EQ(board.single(2, 16).error, 0);
    EXPECT_EQ(board.contacts(), "0010");
    EXPECT_EQ(board.news(), (Texts{"relay outlet 3: set coil", "relay outlet 3: closed"}));
}

TEST(LatchingRelays, SwitchingOffPulsesOnlyTheResetCoil)
{
    TestBoard board{1, latching};
    board.group(0, 0x55);
    board.news();
    EXPECT_EQ(board.single(2, 32).error, 0);
    EXPECT_EQ(board.contacts(), "1101");
    EXPECT_EQ(board.news(), (Texts{"relay outlet 3: reset coil", "relay outlet 3: open"}));
}

TEST(LatchingRelays, APulseTowardsTheStateThatItHasMovesNothing)
{
    TestBoard board{1, latching};
    board.single(0, 2);
    EXPECT_EQ(board.contacts(), "0000");
    EXPECT_EQ(board.news(), Texts{"relay outlet 1: reset coil"});
}

TEST(LatchingRelays, ThePatternOfASingleRequestReachesItsWholeGroup)
{
    TestBoard board{2, latching};
    board.single(6, 0x41);
    EXPECT_EQ(board.contacts(), "00001001");
}

TEST(LatchingRelays, AnUntouchedPairLeavesItsContact)
{
    TestBoard board{1, latching};
    board.group(0, 0x55);
    board.group(0, 0x00);
    EXPECT_EQ(board.contacts(), "1111");
    board.group(0, 0x08);
    EXPECT_EQ(board.contacts(), "1011");
}

TEST(LatchingRelays, BothCoilsAtOnceIsAViolationAndLeavesTheContact)
{
    TestBoard board{1, latching};
    board.single(1, 4);
    board.news();
    EXPECT_EQ(board.group(0, 0x0F).error, 0);
    EXPECT_EQ(board.contacts(), "0100");
    EXPECT_EQ(board.news(),
              (Texts{"violation outlet 1: both coils at once", "violation outlet 2: both coils at once"}));
}

TEST(OrdinaryRelays, FollowTheEnergiseBitWhateverTheUpperBit)
{
    TestBoard board{1, ordinary};
    board.group(0, 0b00'01'10'11);
    EXPECT_EQ(board.contacts(), "1010");
    EXPECT_EQ(board.news(), (Texts{"relay outlet 1: closed", "relay outlet 3: closed"}));
    board.group(0, 0b11'10'00'01);
    EXPECT_EQ(board.contacts(), "1001");
}

TEST(OrdinaryRelays, ASingleRequestSetsAllFourOfTheGroup)
{
    TestBoard board{2, ordinary};
    board.group(0, 0xFF);
    EXPECT_EQ(board.single(5, 0xFB).error, 0);
    EXPECT_EQ(board.contacts(), "11111011");
    board.single(4, 0xAA);
    EXPECT_EQ(board.contacts(), "11110000");
}

TEST(RelayChain, TwoByteBoardsHaveTwoGroups)
{
    for (const int model : {2, 3, 11}) {
        TestBoard board{model, latching};
        EXPECT_EQ(board.group(0, 0x01).error, 0);
        EXPECT_EQ(board.group(4, 0x40).error, 0);
        EXPECT_EQ(board.contacts(), "10000001") << model;
    }
}

TEST(RelayChain, NothingIsConnectedBehindTheFourthOutletOfAOneByteBoard)
{
    for (const int model : {1, 4, 5, 6, 7, 8, 9}) {
        TestBoard board{model, latching};
        EXPECT_EQ(board.single(4, 0x01).error, EINVAL);
        EXPECT_EQ(board.group(4, 0x01).error, EINVAL);
        EXPECT_EQ(board.contacts().find('1'), std::string::npos);
        const std::string refused = "violation chain: nothing at outlet index 4";
        EXPECT_EQ(board.news(), (Texts{refused, refused})) << model;
    }
}

TEST(RelayChain, TwoOutletBoardsAcceptTheWholePatternButHaveTwoContacts)
{
    for (const int model : {8, 9}) {
        TestBoard board{model, latching};
        EXPECT_EQ(board.group(0, 0x55).error, 0);
        EXPECT_EQ(board.contacts(), "11");
        EXPECT_EQ(board.single(3, 0x40).error, 0);
        EXPECT_FALSE(board.contact_closed(2));
        EXPECT_FALSE(board.contact_closed(3));
        EXPECT_EQ(board.news().size(), 4U) << model;
    }
}

TEST(RelayChain, AnOutletThatDoesNotExistIsRefused)
{
    TestBoard board{2, latching};
    EXPECT_EQ(board.single(8, 0x01).error, EINVAL);
    EXPECT_EQ(board.group(8, 0x01).error, EINVAL);
    EXPECT_EQ(board.group(2, 0x01).error, EINVAL);
    EXPECT_EQ(board.contacts(), "00000000");
    EXPECT_EQ(board.news().size(), 3U);
}

TEST(RelayChain, ARecordThatIsNotFiveBytesIsRefused)
{
    TestBoard board{2, latching};
    EXPECT_EQ(board.relays(4, {0, 1, 0, 2}).error, EINVAL);
    EXPECT_EQ(board.relays(6, {0, 1, 0, 2, 8, 0}).error, EINVAL);
    EXPECT_EQ(board.relays(6, {}).error, EINVAL);
    EXPECT_EQ(board.contacts(), "00000000");
    EXPECT_EQ(board.news(), (Texts{"violation chain: record of 4 bytes", "violation chain: record of 6 bytes",
                                   "violation chain: record of 0 bytes"}));
}

TEST(RelayChain, AnUnknownRequestIsRefused)
{
    TestBoard board{2, latching};
    EXPECT_EQ(board.relays(5, {0, 1, 0, 2, 8}).error, EINVAL);
    EXPECT_EQ(board.contacts(), "00000000");
    EXPECT_EQ(board.news(), Texts{"violation chain: unknown request 5"});
}

TEST(RelayChain, TheSolderedRelaysDecideNotTheStrapByteOfTheRecord)
{
    const Texts strap{"violation chain: strap byte differs from the relays"};
    TestBoard board{1, latching};
    EXPECT_EQ(board.relays(6, {0, 0x00, 0, 1, 0}).error, 0);
    EXPECT_EQ(board.news(), strap);
    board.relays(6, {0, 0x01, 0, 1, 8});
    EXPECT_EQ(board.contacts(), "1000");
    board.relays(6, {0, 0x00, 0, 1, 0});
    EXPECT_EQ(board.contacts(), "1000");

    TestBoard other{1, ordinary};
    other.relays(6, {0, 0x0D, 0, 1, 8});
    EXPECT_EQ(other.contacts(), "1100");
    EXPECT_EQ(other.news().front(), strap.front());
    other.relays(6, {0, 0x0D, 0, 1, 4});
    EXPECT_EQ(other.news(), strap);
}

TEST(RelayChain, IsNotFittedOnTheGpioRelayModelAndTheUnknownBoard)
{
    for (const int model : {10, 0}) {
        TestBoard board{model, latching};
        EXPECT_EQ(board.single(0, 0x01).error, 0);
        EXPECT_EQ(board.group(4, 0x55).error, 0);
        EXPECT_EQ(board.contacts().find('1'), std::string::npos);
        EXPECT_EQ(board.news(), (Texts{"relay chain: not fitted", "relay chain: not fitted"})) << model;
    }
}

class GpioRelays : public ::testing::TestWithParam<bool>
{
  protected:
    TestBoard board{10, GetParam()};
};

TEST_P(GpioRelays, EachContactIsClosedWhileItsLineIsAnOutputAtLowLevel)
{
    constexpr int lines[] = {22, 23, 24, 25, 26, 29, 27, 28};
    for (std::size_t outlet = 0; outlet < 8; ++outlet) {
        std::string expected = "00000000";
        const std::uint32_t mask = 1U << lines[outlet];
        board.gpio(18, mask);
        EXPECT_EQ(board.contacts(), expected);
        board.gpio(3, board.read_bank(2) & ~mask);
        expected[outlet] = '1';
        EXPECT_EQ(board.contacts(), expected);
        board.gpio(17, mask);
        EXPECT_EQ(board.contacts(), "00000000");
        board.gpio(18, mask);
        board.gpio(3, board.read_bank(2) | mask);
        EXPECT_EQ(board.contacts(), "00000000");
    }
}

TEST_P(GpioRelays, EachContactChangeIsAnEvent)
{
    board.gpio(18, 1U << 29);
    board.news();
    board.gpio(3, board.read_bank(2) & ~(1U << 29));
    EXPECT_EQ(board.news(), (Texts{"gpio line 29: low", "relay outlet 6: closed"}));
}

TEST_P(GpioRelays, OpenWithoutPowerAndStayOpen)
{
    board.gpio(18, 1U << 22);
    board.gpio(3, board.read_bank(2) & ~(1U << 22));
    ASSERT_EQ(board.contacts(), "10000000");
    board.power_loss();
    EXPECT_EQ(board.contacts(), "00000000");
    board.power_up();
    EXPECT_EQ(board.contacts(), "00000000");
}

INSTANTIATE_TEST_SUITE_P(Strap, GpioRelays, ::testing::Bool(),
                         [](const auto &strap) { return strap.param ? "High" : "Low"; });

TEST(Contacts, OfOutletsThatDoNotExistAreOpen)
{
    TestBoard board{8, latching};
    board.group(0, 0x55);
    EXPECT_FALSE(board.contact(-1));
    EXPECT_FALSE(board.contact_closed(2));
    EXPECT_FALSE((TestBoard{0, latching}.contact_closed(0)));
}

} // namespace

} // namespace plexor::tests
