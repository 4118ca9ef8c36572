// SPDX-License-Identifier: Apache-2.0
// Everything about an interface at once.
#include <cerrno>
#include <cstring>

#include "tests/contract/net_story.h"

namespace plexor::tests
{
namespace
{

const std::string printed_address = "ifaddr=0x100a8c0\n";
const std::string printed_netmask = "netmask=0xffffff\n";
const std::string printed_hwaddr = "hwaddr=00:c3:02:12:34:56\n";
const std::string untouched(24, 'u');

class InterfaceInfo : public NetStory
{
  protected:
    InterfaceInfo()
    {
        set_file(route_file, route_table({route_line("br0", "0.0.0.0", "192.168.0.254", 3)}));
        set_file(resolver_file, "nameserver 192.168.0.53\n");
    }

    Outcome ask(const char *name = "br0")
    {
        std::memset(&info, 'u', sizeof info);
        return outcome_of([&] { return net_get_info(name, &info); });
    }
    // The record's bytes, as a stranger reads them.
    std::string bytes(std::size_t offset, std::size_t size) const
    {
        static_assert(sizeof info == 24);
        return {reinterpret_cast<const char *>(&info) + offset, size};
    }

    net_info info{};
};

std::string literal(const char *bytes, std::size_t size)
{
    return {bytes, size};
}

TEST_F(InterfaceInfo, IsAskedForOnOneSocketThenReadFromTheRoutesAndTheResolverFile)
{
    EXPECT_EQ(ask().result, 0);
    Calls all = on_a_socket({"SIOCGIFADDR br0", "SIOCGIFNETMASK br0", "SIOCGIFHWADDR br0"});
    for (const auto &path : {route_file, resolver_file})
        all.insert(all.end(), {"open " + path + " r", "read " + path, "close " + path});
    EXPECT_EQ(calls(), all);
}

TEST_F(InterfaceInfo, IsPrintedInTheSameOrder)
{
    EXPECT_EQ(ask(), (Outcome{0, "",
                              printed_address + printed_netmask + printed_hwaddr +
                                  "net_search_gateway:br0, 0, FE00A8C0, 3\n"
                                  "gateway=0xfe00a8c0\n"
                                  "dns=192.168.0.53\n"}));
}

TEST_F(InterfaceInfo, HasItsFieldsAtFixedPlaces)
{
    EXPECT_EQ(ask().result, 0);
    EXPECT_EQ(bytes(0, 6), literal("\x00\xC3\x02\x12\x34\x56", 6));
    EXPECT_EQ(bytes(8, 4), literal("\xC0\xA8\x00\x01", 4));
    EXPECT_EQ(bytes(12, 4), literal("\xFF\xFF\xFF\x00", 4));
    EXPECT_EQ(bytes(16, 4), literal("\xC0\xA8\x00\xFE", 4));
    EXPECT_EQ(bytes(20, 4), literal("\xC0\xA8\x00\x35", 4));
}

TEST_F(InterfaceInfo, HasHighBytesOfAnEthernetAddressInTwoDigitsEach)
{
    interface("br0").hwaddr("FF:80:0A:00:7F:EE");
    EXPECT_NE(ask().output.find("hwaddr=ff:80:0a:00:7f:ee\n"), std::string::npos);
}

TEST_F(InterfaceInfo, IsWellWithoutGatewayAndNameServer)
{
    set_file(route_file, route_table({}));
    remove_file(resolver_file);
    const Outcome outcome = ask();
    EXPECT_EQ(outcome, (Outcome{0, "",
                                printed_address + printed_netmask + printed_hwaddr +
                                    "gateway=0x0\n"
                                    "net_get_dns: file \"/etc/resolv.conf\" opened for reading error!\n"}));
    EXPECT_EQ(bytes(16, 8), std::string(8, '\0'));
}

TEST_F(InterfaceInfo, IsWellWithoutRoutes)
{
    remove_file(route_file);
    const Outcome outcome = ask();
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.error, "/proc/net/route: No such file or directory\n");
    EXPECT_TRUE(outcome.output.ends_with(not_configured + "gateway=0x0\ndns=192.168.0.53\n"));
    EXPECT_EQ(info.dns, number_of("192.168.0.53"));
}

TEST_F(InterfaceInfo, HasNoAddressAsNameServerWhereTheResolverFileNamesNone)
{
    set_file(resolver_file, "search example.org\n");
    EXPECT_EQ(ask().result, 0);
    EXPECT_EQ(info.dns, 0xFFFFFFFFU);
}

TEST_F(InterfaceInfo, ClosesItsSocketBeforeTheRoutes)
{
    int open = -1;
    at_call("open /proc/net/route", [&] { open = sockets_open(); });
    EXPECT_EQ(ask().result, 0);
    EXPECT_EQ(open, 0);
}

// --- failures ---

TEST_F(InterfaceInfo, EndsWithTheAddressAndTouchesNothing)
{
    fail_call("SIOCGIFADDR", EPERM);
    EXPECT_EQ(ask(), (Outcome{-1, "net_get_info: ioctl SIOCGIFADDR: Operation not permitted\n"}));
    EXPECT_EQ(bytes(0, 24), untouched);
    EXPECT_EQ(calls(), on_a_socket({"SIOCGIFADDR br0"}));
}

TEST_F(InterfaceInfo, EndsWithTheNetmaskAndKeepsTheAddress)
{
    fail_call("SIOCGIFNETMASK", EPERM);
    EXPECT_EQ(ask(), (Outcome{-1, "net_get_info: ioctl SIOCGIFNETMASK: Operation not permitted\n",
                              printed_address}));
    EXPECT_EQ(info.ifaddr, number_of("192.168.0.1"));
    EXPECT_EQ(bytes(0, 8) + bytes(12, 12), untouched.substr(4));
    EXPECT_EQ(calls(), on_a_socket({"SIOCGIFADDR br0", "SIOCGIFNETMASK br0"}));
}

TEST_F(InterfaceInfo, EndsWithTheEthernetAddressAndKeepsAddressAndNetmask)
{
    fail_call("SIOCGIFHWADDR", EPERM);
    EXPECT_EQ(ask(), (Outcome{-1, "net_get_info: ioctl SIOCGIFHWADDR: Operation not permitted\n",
                              printed_address + printed_netmask}));
    EXPECT_EQ(info.ifaddr, number_of("192.168.0.1"));
    EXPECT_EQ(info.netmask, number_of("255.255.255.0"));
    EXPECT_EQ(bytes(0, 8) + bytes(16, 8), untouched.substr(8));
    EXPECT_EQ(calls(), on_a_socket({"SIOCGIFADDR br0", "SIOCGIFNETMASK br0", "SIOCGIFHWADDR br0"}));
}

TEST_F(InterfaceInfo, IsNotToBeHadOfAnInterfaceThatIsNone)
{
    EXPECT_EQ(ask("wlan7"), (Outcome{-1, "net_get_info: ioctl SIOCGIFADDR: No such device\n"}));
    EXPECT_EQ(ask(nullptr).result, -1);
    EXPECT_EQ(bytes(0, 24), untouched);
}

TEST_F(InterfaceInfo, WithNoPlaceForItIsNotAskedFor)
{
    EXPECT_EQ(outcome_of([] { return net_get_info("br0", nullptr); }), (Outcome{-1}));
    EXPECT_EQ(calls(), Calls{});
}

} // namespace
} // namespace plexor::tests
