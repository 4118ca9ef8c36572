// SPDX-License-Identifier: Apache-2.0
// The magic packet that wakes the computer behind an outlet.
#include <cerrno>
#include <climits>
#include <cstdlib>

#include <plexor/datagram.h>

#include "tests/contract/appliance.h"

namespace plexor::tests
{
namespace
{

using Bytes = std::vector<std::uint8_t>;

const std::string no_computer = "000000000000";

// The packet for an address of twelve plain digits.
Bytes packet_for(const std::string &digits)
{
    Bytes packet(6, 0xFF);
    for (int copy = 0; copy < 16; ++copy) {
        for (std::size_t at = 0; at < 12; at += 2)
            packet.push_back(static_cast<std::uint8_t>(std::stoul(digits.substr(at, 2), nullptr, 16)));
    }
    return packet;
}

std::string printed(int outlet, const std::string &address)
{
    return "SendWakeOnLan" + std::to_string(outlet) + ":" + address + "\n";
}

class WakeOnLan : public Appliance
{
  protected:
    WakeOnLan() { set("WakeOnLan_PX", "001122334455;66778899AABB"); }

    // The one packet that was sent.
    Bytes packet() const
    {
        if (datagrams().size() != 1) {
            ADD_FAILURE() << datagrams().size() << " datagrams were sent";
            return {};
        }
        EXPECT_EQ(datagrams()[0].to, "255.255.255.255:4471");
        return datagrams()[0].bytes;
    }
    Bytes packet_of(int outlet)
    {
        forget_calls();
        EXPECT_EQ(SendWakeOnLan(outlet), 0);
        return packet();
    }
    // Outlet 1 has this field; what is printed of it, and the address that is sent.
    void expect_field(const std::string &field, const std::string &text, const std::string &address)
    {
        set("WakeOnLan_PX", field);
        EXPECT_EQ(packet_of(1), packet_for(address)) << field;
        EXPECT_EQ(debug_print(), printed(1, text));
    }
};

TEST_F(WakeOnLan, IsSixBytesOfOnesAndSixteenTimesTheAddress)
{
    const Bytes packet = packet_of(1);
    ASSERT_EQ(packet.size(), 102U);
    EXPECT_EQ(Bytes(packet.begin(), packet.begin() + 18),
              (Bytes{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x00, 0x11, 0x22,
                     0x33, 0x44, 0x55}));
    EXPECT_EQ(packet, packet_for("001122334455"));
}

TEST_F(WakeOnLan, IsBroadcastOnceOnASocketOfItsOwn)
{
    EXPECT_EQ(SendWakeOnLan(2), 0);
    EXPECT_EQ(calls(),
              (Calls{"nvram_kget_str WakeOnLan_PX 128", "socket INET DGRAM 0", "setsockopt BROADCAST 1",
                     "sendto 255.255.255.255:4471 102 bytes flags 0", "close socket"}));
}

TEST_F(WakeOnLan, IsForTheComputerOfTheOutlet)
{
    set("WakeOnLan_PX", "100000000001;200000000002;300000000003;400000000004;"
                        "500000000005;600000000006;700000000007;800000000008");
    for (int outlet = 1; outlet <= 8; ++outlet) {
        const std::string address = std::to_string(outlet) + "0000000000" + std::to_string(outlet);
        EXPECT_EQ(packet_of(outlet), packet_for(address));
        EXPECT_EQ(debug_print(), printed(outlet, address));
    }
}

TEST_F(WakeOnLan, IsPrintedBeforeTheSocketIsOpened)
{
    std::string before;
    at_call("socket", [&] { before = debug_print(); });
    SendWakeOnLan(2);
    EXPECT_EQ(before, printed(2, "66778899AABB"));
    EXPECT_EQ(debug_print(), before);
}

// --- fields ---

TEST_F(WakeOnLan, TakesSmallAndLargeDigits)
{
    expect_field("abcdefABCDEF", "abcdefABCDEF", "ABCDEFABCDEF");
    expect_field("0a9F1b8E2c7D", "0a9F1b8E2c7D", "0A9F1B8E2C7D");
}

TEST_F(WakeOnLan, DoesNotCountEmptyFields)
{
    set("WakeOnLan_PX", "112233445566;;");
    EXPECT_EQ(packet_of(2), packet_for(no_computer));
    EXPECT_EQ(debug_print(), printed(2, no_computer));
    set("WakeOnLan_PX", ";;112233445566;;;AABBCCDDEEFF");
    EXPECT_EQ(packet_of(1), packet_for("112233445566"));
    EXPECT_EQ(packet_of(2), packet_for("AABBCCDDEEFF"));
    EXPECT_EQ(packet_of(3), packet_for(no_computer));
}

TEST_F(WakeOnLan, IsForNoComputerWhereThereIsNoField)
{
    for (const char *list : {"", ";", ";;;;;;;;"})
        expect_field(list, no_computer, no_computer);
    unset("WakeOnLan_PX");
    EXPECT_EQ(packet_of(8), packet_for(no_computer));
}

TEST_F(WakeOnLan, IsForNoComputerWhereTheStoreAnswersNothing)
{
    unplug_store(true);
    EXPECT_EQ(packet_of(1), packet_for(no_computer));
    EXPECT_EQ(debug_print(), printed(1, no_computer));
}

TEST_F(WakeOnLan, CutsALongFieldAtTwelveCharacters)
{
    expect_field("11223344556677", "112233445566", "112233445566");
    expect_field(std::string(127, 'A') + ";1", "AAAAAAAAAAAA", "AAAAAAAAAAAA");
}

TEST_F(WakeOnLan, TakesMissingDigitsAsZero)
{
    expect_field("1122", "1122", "112200000000");
    expect_field("11223", "11223", "112200000000");
    expect_field("11223344556", "11223344556", "112233445500");
}

TEST_F(WakeOnLan, TakesAPairThatIsNoNumberAsZero)
{
    expect_field("11:22:33:44:55:66", "11:22:33:44:", "110000330000");
    expect_field("1G2233zz4455", "1G2233zz4455", "002233004455");
    expect_field("%n%s%d%n%s%d", "%n%s%d%n%s%d", no_computer);
    expect_field("\xC3\xBC\xFF\x80 1 2\n3$(", "\xC3\xBC\xFF\x80 1 2\n3$(", no_computer);
}

TEST_F(WakeOnLan, ReadsNoFurtherThan127CharactersOfTheList)
{
    const std::string fill(120, 'F');
    set("WakeOnLan_PX", fill + ";12345678AABB");
    EXPECT_EQ(packet_of(2), packet_for("123456000000"));
    EXPECT_EQ(debug_print(), printed(2, "123456"));
}

// --- no packet ---

TEST_F(WakeOnLan, IsNotSentForAnOutletThatIsNone)
{
    for (const int outlet : {0, 9, 10, -1, -8, INT_MIN, INT_MAX})
        EXPECT_EQ(SendWakeOnLan(outlet), 0) << outlet;
    EXPECT_EQ(calls(), Calls{});
    EXPECT_EQ(debug_print(), "");
}

TEST_F(WakeOnLan, IsNotSentWithoutASocket)
{
    fail_call("socket", EMFILE);
    EXPECT_EQ(standard_error_of([] { EXPECT_EQ(SendWakeOnLan(1), -1); }), "");
    EXPECT_EQ(calls(), (Calls{"nvram_kget_str WakeOnLan_PX 128", "socket INET DGRAM 0"}));
    EXPECT_EQ(debug_print(), printed(1, "001122334455"));
}

TEST_F(WakeOnLan, IsNotSentWhereBroadcastsAreRefusedAndClosingIsTheResult)
{
    fail_call("setsockopt", ENOPROTOOPT);
    EXPECT_EQ(standard_error_of([] { EXPECT_EQ(SendWakeOnLan(1), 0); }), "");
    EXPECT_EQ(calls(), (Calls{"nvram_kget_str WakeOnLan_PX 128", "socket INET DGRAM 0",
                              "setsockopt BROADCAST 1", "close socket"}));
    fail_call("setsockopt", ENOPROTOOPT);
    fail_call("close", EIO);
    EXPECT_EQ(SendWakeOnLan(1), -1);
    EXPECT_TRUE(datagrams().empty());
}

TEST_F(WakeOnLan, IsNotTriedAgainWhereTheNetworkRefusesIt)
{
    fail_call("sendto", ENETUNREACH);
    EXPECT_EQ(standard_error_of([] { EXPECT_EQ(SendWakeOnLan(1), 0); }), "");
    EXPECT_EQ(calls("sendto").size(), 1U);
    EXPECT_EQ(calls().back(), "close socket");
}

TEST_F(WakeOnLan, HasTheResultOfClosingItsSocket)
{
    fail_call("close", EIO);
    EXPECT_EQ(SendWakeOnLan(1), -1);
    EXPECT_EQ(packet(), packet_for("001122334455"));
}

TEST_F(WakeOnLan, IsSentOnASocketNumberedZero)
{
    open_returns("socket", 0);
    EXPECT_EQ(packet_of(1), packet_for("001122334455"));
    EXPECT_EQ(calls().back(), "close socket");
}

} // namespace
} // namespace plexor::tests
