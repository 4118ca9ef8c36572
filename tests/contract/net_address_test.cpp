// SPDX-License-Identifier: Apache-2.0
// Address, netmask and Ethernet address of an interface.
#include <array>
#include <cstring>

#include "tests/contract/net_story.h"

namespace plexor::tests
{
namespace
{

constexpr const char *long_name = "interface-of-15-and-more";

using Hwaddr = std::array<unsigned char, 7>; // and a byte that stays

class InterfaceAddress : public NetStory
{
  protected:
    InterfaceAddress()
    {
        add_interface("eth2").hwaddr("FE:DC:BA:98:76:54"); // without an address
        add_interface("interface-of-15").address("10.0.0.1").netmask("255.0.0.0");
    }

    // Those that give an address, without what they said.
    static std::int64_t address(const char *name)
    {
        return outcome_of([&] { return net_get_ifaddr(name); }).result;
    }
    static std::int64_t netmask(const char *name)
    {
        return outcome_of([&] { return net_get_netmask(name); }).result;
    }
    // On a socket of the test's own, which has to be there afterwards.
    Outcome asked_on_own_socket(const char *name)
    {
        const int socket = open_socket();
        Outcome outcome = outcome_of([&] { return net_get_ip(socket, name); });
        EXPECT_EQ(sockets_open(), 1);
        close_socket(socket);
        return outcome;
    }
};

// --- read ---

TEST_F(InterfaceAddress, IsRead)
{
    EXPECT_EQ(outcome_of([] { return net_get_ifaddr("br0"); }), (Outcome{number_of("192.168.0.1")}));
    EXPECT_EQ(calls(), on_a_socket({"SIOCGIFADDR br0"}));
}

TEST_F(InterfaceAddress, HasItsFirstNumberAtTheLowestAddress)
{
    const unsigned address = net_get_ifaddr("br0");
    EXPECT_EQ(std::memcmp(&address, "\xC0\xA8\x00\x01", sizeof address), 0);
}

TEST_F(InterfaceAddress, ThatIsMissingIsNotWorthAWord)
{
    EXPECT_EQ(outcome_of([] { return net_get_ifaddr("eth2"); }), (Outcome{no_address}));
    EXPECT_EQ(calls(), on_a_socket({"SIOCGIFADDR eth2"}));
    EXPECT_EQ(outcome_of([] { return net_get_ifaddr("wlan7"); }), (Outcome{no_address}));
    fail_call("SIOCGIFADDR", EPERM);
    EXPECT_EQ(outcome_of([] { return net_get_ifaddr("br0"); }), (Outcome{no_address}));
}

TEST_F(InterfaceAddress, IsAskedForOnTheCallersSocketWhichStaysOpen)
{
    EXPECT_EQ(asked_on_own_socket("br0"), (Outcome{number_of("192.168.0.1")}));
    EXPECT_EQ(calls(), Calls{"ioctl socket SIOCGIFADDR br0"});
}

TEST_F(InterfaceAddress, ThatIsMissingIsReportedOnTheCallersSocketWhichStaysOpen)
{
    EXPECT_EQ(asked_on_own_socket("eth2"),
              (Outcome{no_address, "net_get_ip: ioctl SIOCGIFADDR: Cannot assign requested address\n"}));
    EXPECT_EQ(asked_on_own_socket("wlan7"),
              (Outcome{no_address, "net_get_ip: ioctl SIOCGIFADDR: No such device\n"}));
    EXPECT_EQ(calls("socket"), Calls{});
    EXPECT_EQ(calls("close"), Calls{});
}

TEST_F(InterfaceAddress, HasANetmask)
{
    EXPECT_EQ(outcome_of([] { return net_get_netmask("br0"); }), (Outcome{number_of("255.255.255.0")}));
    EXPECT_EQ(calls(), on_a_socket({"SIOCGIFNETMASK br0"}));
}

TEST_F(InterfaceAddress, IsNeededForANetmask)
{
    const std::string none = "Cannot assign requested address\n";
    EXPECT_EQ(outcome_of([] { return net_get_netmask("eth2"); }),
              (Outcome{no_address, "net_get_netmask: ioctl SIOCGIFNETMASK: " + none}));
    EXPECT_EQ(outcome_of([] { return net_set_netmask("eth2", 1); }),
              (Outcome{-1, "net_set_netmask: ioctl SIOCSIFNETMASK: " + none}));
}

// --- set ---

TEST_F(InterfaceAddress, IsSetAsAnAddressWithoutAPort)
{
    EXPECT_EQ(outcome_of([] { return net_set_ifaddr("eth2", number_of("10.1.2.3")); }), (Outcome{0}));
    EXPECT_EQ(calls(), on_a_socket({"SIOCSIFADDR eth2 10.1.2.3 port 0"}));
    EXPECT_EQ(interface("br0").address(), "192.168.0.1");
}

TEST_F(InterfaceAddress, GetsANetmaskThatIsSetAsAnAddressWithoutAPort)
{
    EXPECT_EQ(outcome_of([] { return net_set_netmask("br0", number_of("255.252.0.0")); }), (Outcome{0}));
    EXPECT_EQ(calls(), on_a_socket({"SIOCSIFNETMASK br0 255.252.0.0 port 0"}));
    EXPECT_EQ(interface("br0").address(), "192.168.0.1");
}

TEST_F(InterfaceAddress, AndNetmaskAreSetInTurnEachToItsOwnValue)
{
    for (const char *text : {"1.2.3.4", "0.0.0.0", "255.255.255.255", "240.0.0.1"}) {
        EXPECT_EQ(net_set_ifaddr("br0", number_of(text)), 0);
        EXPECT_EQ(net_set_netmask("br0", ~number_of(text)), 0);
        EXPECT_EQ(address("br0"), number_of(text));
        EXPECT_EQ(netmask("br0"), ~number_of(text));
    }
}

TEST_F(InterfaceAddress, StaysWhereTheKernelRefusesAnother)
{
    fail_call("SIOCSIFADDR", EPERM);
    fail_call("SIOCSIFNETMASK", EPERM);
    EXPECT_EQ(outcome_of([] { return net_set_ifaddr("br0", 1); }).result, -1);
    EXPECT_EQ(outcome_of([] { return net_set_netmask("br0", 1); }).result, -1);
    EXPECT_EQ(interface("br0").address(), "192.168.0.1");
    EXPECT_EQ(interface("br0").netmask(), "255.255.255.0");
}

TEST_F(InterfaceAddress, IsReadByTheFirst16CharactersOfAName)
{
    unsigned char hwaddr[6];
    EXPECT_EQ(net_get_ifaddr(long_name), number_of("10.0.0.1"));
    EXPECT_EQ(net_get_netmask(long_name), number_of("255.0.0.0"));
    EXPECT_EQ(net_get_hwaddr(long_name, hwaddr), 0);
    EXPECT_EQ(calls("ioctl"), (Calls{"ioctl socket SIOCGIFADDR interface-of-15-",
                                     "ioctl socket SIOCGIFNETMASK interface-of-15-",
                                     "ioctl socket SIOCGIFHWADDR interface-of-15-"}));
}

TEST_F(InterfaceAddress, IsSetByTheFirst16CharactersOfAName)
{
    EXPECT_EQ(net_set_ifaddr(long_name, number_of("10.0.0.2")), 0);
    EXPECT_EQ(net_set_netmask(long_name, number_of("255.255.0.0")), 0);
    EXPECT_EQ(calls("ioctl"), (Calls{"ioctl socket SIOCSIFADDR interface-of-15- 10.0.0.2 port 0",
                                     "ioctl socket SIOCSIFNETMASK interface-of-15- 255.255.0.0 port 0"}));
}

// --- Ethernet ---

TEST_F(InterfaceAddress, OfEthernetIsCopiedAndNoMore)
{
    Hwaddr hwaddr;
    hwaddr.fill(0x5A);
    EXPECT_EQ(outcome_of([&] { return net_get_hwaddr("eth2", hwaddr.data()); }), (Outcome{0}));
    EXPECT_EQ(hwaddr, (Hwaddr{0xFE, 0xDC, 0xBA, 0x98, 0x76, 0x54, 0x5A}));
    EXPECT_EQ(calls(), on_a_socket({"SIOCGIFHWADDR eth2"}));
}

TEST_F(InterfaceAddress, OfEthernetStaysUntouchedAfterAFailure)
{
    Hwaddr untouched;
    untouched.fill(0x5A);
    Hwaddr hwaddr = untouched;
    EXPECT_EQ(outcome_of([&] { return net_get_hwaddr("wlan7", hwaddr.data()); }),
              (Outcome{-1, "net_get_hwaddr: ioctl SIOCGIFHWADDR: No such device\n"}));
    fail_call("socket", EMFILE);
    EXPECT_EQ(outcome_of([&] { return net_get_hwaddr("eth2", hwaddr.data()); }).result, -1);
    EXPECT_EQ(hwaddr, untouched);
}

TEST_F(InterfaceAddress, OfEthernetWithNoPlaceForItIsNotAskedFor)
{
    EXPECT_EQ(outcome_of([] { return net_get_hwaddr("eth2", nullptr); }), (Outcome{-1}));
    EXPECT_EQ(calls(), Calls{});
}

} // namespace
} // namespace plexor::tests
