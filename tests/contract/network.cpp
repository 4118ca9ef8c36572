// SPDX-License-Identifier: Apache-2.0
#include "tests/contract/network.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <net/if_arp.h>
#include <netinet/in.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "tests/contract/call_text.h"

namespace plexor::tests
{
namespace
{

std::uint32_t parse(const std::string &dotted)
{
    in_addr address{};
    EXPECT_EQ(inet_pton(AF_INET, dotted.c_str(), &address), 1) << dotted << " is no address";
    return address.s_addr;
}

sockaddr_in internet(const sockaddr &address)
{
    static_assert(sizeof(sockaddr) == sizeof(sockaddr_in));
    sockaddr_in found{};
    std::memcpy(&found, &address, sizeof found);
    return found;
}

std::uint32_t value_of(const sockaddr &address)
{
    return internet(address).sin_addr.s_addr;
}

std::string address_text(const sockaddr &address)
{
    if (address.sa_family != AF_INET)
        ADD_FAILURE() << "an address of family " << address.sa_family << ", which is not AF_INET";
    const auto &zeros = internet(address).sin_zero;
    if (!std::all_of(std::begin(zeros), std::end(zeros), [](unsigned char byte) { return byte == 0; }))
        ADD_FAILURE() << "an address that is not filled up with zeros";
    return dotted(value_of(address));
}

void put(sockaddr &target, std::uint32_t address)
{
    sockaddr_in found{};
    found.sin_family = AF_INET;
    found.sin_addr.s_addr = address;
    std::memcpy(&target, &found, sizeof target);
}

// The characters of a name, which need not be ended when all 16 are used.
std::string given_name(const char *name)
{
    return {name, strnlen(name, IFNAMSIZ)};
}

// What the kernel takes it for: it ends what it is given.
std::string known_name(const char *name)
{
    return given_name(name).substr(0, IFNAMSIZ - 1);
}

std::string no_text(const ifreq &)
{
    return "";
}

std::string flags_text(const ifreq &request)
{
    return print(" 0x%X", static_cast<unsigned>(static_cast<std::uint16_t>(request.ifr_flags)));
}

std::string new_address_text(const ifreq &request)
{
    const int port = ntohs(internet(request.ifr_addr).sin_port);
    return print(" %s port %d", address_text(request.ifr_addr).c_str(), port);
}

bool is_about_routes(unsigned long number)
{
    return number == SIOCADDRT || number == SIOCDELRT;
}

std::string address_text_without_port(const sockaddr &address)
{
    if (internet(address).sin_port != 0)
        ADD_FAILURE() << "an address of a route with a port";
    return address_text(address);
}

std::string route_text(const rtentry &route)
{
    const std::string destination = address_text_without_port(route.rt_dst);
    const std::string gateway = address_text_without_port(route.rt_gateway);
    const std::string mask = address_text_without_port(route.rt_genmask);
    const std::string device = route.rt_dev == nullptr ? "-" : given_name(route.rt_dev);
    return print("dst %s gateway %s mask %s flags %d metric %d dev %s", destination.c_str(), gateway.c_str(),
                 mask.c_str(), route.rt_flags, route.rt_metric, device.c_str());
}

template <class Record>
Record &record_at(std::uintptr_t argument)
{
    return *reinterpret_cast<Record *>(argument);
}

} // namespace

// --- interfaces ---

Interface &Interface::flags(unsigned bits)
{
    flags_ = static_cast<std::uint16_t>(bits);
    return *this;
}

Interface &Interface::address(const std::string &dotted)
{
    address_ = parse(dotted);
    return *this;
}

Interface &Interface::netmask(const std::string &dotted)
{
    netmask_ = parse(dotted);
    return *this;
}

Interface &Interface::hwaddr(const std::string &colons)
{
    auto *h = hwaddr_.data();
    const int count = std::sscanf(colons.c_str(), "%2hhx:%2hhx:%2hhx:%2hhx:%2hhx:%2hhx", h, h + 1, h + 2,
                                  h + 3, h + 4, h + 5);
    EXPECT_EQ(count, 6) << colons << " is no hardware address";
    return *this;
}

std::string Interface::address() const
{
    return address_ ? dotted(*address_) : "";
}

std::string Interface::netmask() const
{
    return dotted(netmask_);
}

// --- requests ---

struct Network::Request {
    unsigned long number;
    const char *name;
    std::string (*text)(const ifreq &);                  // what is given besides the interface
    int (*answer)(Interface &interface, ifreq &request); // null for routes
};

const Network::Request Network::requests[] = {
    {SIOCGIFFLAGS, "SIOCGIFFLAGS", no_text, get_flags},
    {SIOCSIFFLAGS, "SIOCSIFFLAGS", flags_text, set_flags},
    {SIOCGIFADDR, "SIOCGIFADDR", no_text, get_address},
    {SIOCSIFADDR, "SIOCSIFADDR", new_address_text, set_address},
    {SIOCGIFNETMASK, "SIOCGIFNETMASK", no_text, get_netmask},
    {SIOCSIFNETMASK, "SIOCSIFNETMASK", new_address_text, set_netmask},
    {SIOCGIFHWADDR, "SIOCGIFHWADDR", no_text, get_hwaddr},
    {SIOCADDRT, "SIOCADDRT", no_text, nullptr},
    {SIOCDELRT, "SIOCDELRT", no_text, nullptr},
};

const Network::Request *Network::find(unsigned long number)
{
    const auto is_it = [number](const Request &request) { return request.number == number; };
    const auto *const found = std::find_if(std::begin(requests), std::end(requests), is_it);
    return found == std::end(requests) ? nullptr : found;
}

const char *Network::name_of(unsigned long number)
{
    const Request *const kind = find(number);
    return kind == nullptr ? nullptr : kind->name;
}

std::string Network::text_of(unsigned long number, std::uintptr_t argument)
{
    if (is_about_routes(number))
        return route_text(record_at<rtentry>(argument));
    const auto &request = record_at<ifreq>(argument);
    return given_name(request.ifr_name) + find(number)->text(request);
}

int Network::answer(unsigned long number, std::uintptr_t argument)
{
    if (is_about_routes(number))
        return answer_about(record_at<rtentry>(argument));
    return answer_about(*find(number), record_at<ifreq>(argument));
}

int Network::answer_about(const Request &kind, ifreq &request)
{
    request.ifr_name[IFNAMSIZ - 1] = '\0';
    const auto found = interfaces_.find(request.ifr_name);
    return found == interfaces_.end() ? ENODEV : kind.answer(found->second, request);
}

// Routes are the test's own business, but the interface has to be there.
int Network::answer_about(const rtentry &route) const
{
    if ((route.rt_tos | route.rt_window | route.rt_irtt) != 0 || route.rt_mtu != 0)
        ADD_FAILURE() << "a route with a type of service, MTU, window or round trip time";
    return route.rt_dev != nullptr && interfaces_.contains(known_name(route.rt_dev)) ? 0 : ENODEV;
}

int Network::get_flags(Interface &interface, ifreq &request)
{
    request.ifr_flags = static_cast<short>(interface.flags_);
    return 0;
}

int Network::set_flags(Interface &interface, ifreq &request)
{
    interface.flags_ = static_cast<std::uint16_t>(request.ifr_flags);
    return 0;
}

int Network::get_address(Interface &interface, ifreq &request)
{
    if (!interface.address_)
        return EADDRNOTAVAIL;
    put(request.ifr_addr, *interface.address_);
    return 0;
}

int Network::set_address(Interface &interface, ifreq &request)
{
    interface.address_ = value_of(request.ifr_addr);
    return 0;
}

int Network::get_netmask(Interface &interface, ifreq &request)
{
    if (!interface.address_)
        return EADDRNOTAVAIL;
    put(request.ifr_netmask, interface.netmask_);
    return 0;
}

int Network::set_netmask(Interface &interface, ifreq &request)
{
    if (!interface.address_)
        return EADDRNOTAVAIL;
    interface.netmask_ = value_of(request.ifr_netmask);
    return 0;
}

int Network::get_hwaddr(Interface &interface, ifreq &request)
{
    request.ifr_hwaddr.sa_family = ARPHRD_ETHER;
    std::copy(interface.hwaddr_.begin(), interface.hwaddr_.end(), request.ifr_hwaddr.sa_data);
    return 0;
}

// --- texts ---

std::string dotted(std::uint32_t address)
{
    char text[INET_ADDRSTRLEN];
    return inet_ntop(AF_INET, &address, text, sizeof text);
}

std::string text_of(const sockaddr *address, socklen_t size)
{
    if (address == nullptr || size != sizeof(sockaddr_in)) {
        ADD_FAILURE() << "an address of " << size << " bytes";
        return "";
    }
    return print("%s:%d", address_text(*address).c_str(), ntohs(internet(*address).sin_port));
}

// The kernel fills its lines up to the same length.
std::string route_line(const std::string &interface, const std::string &destination,
                       const std::string &gateway, unsigned flags)
{
    const std::string fields = print("%s\t%08X\t%08X\t%04X\t0\t0\t0\t00000000\t0\t0\t0", interface.c_str(),
                                     parse(destination), parse(gateway), flags);
    return print("%-127s\n", fields.c_str());
}

std::string route_table(const std::vector<std::string> &lines)
{
    std::string text =
        print("%-127s\n", "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU"
                          "\tWindow\tIRTT");
    for (const auto &line : lines)
        text += line;
    return text;
}

} // namespace plexor::tests
