// SPDX-License-Identifier: Apache-2.0
// The kernel's network as a contract test plays it: interfaces, the requests about them and about routes, and
// what the kernel prints of its routes.
#pragma once

#include <net/if.h>
#include <net/route.h>
#include <sys/socket.h>

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace plexor::tests
{

// A message that left by a socket, and the "ADDRESS:PORT" that it was for.
struct Datagram {
    std::string to;
    std::vector<std::uint8_t> bytes;
};

// An interface as the test describes it, and as requests have changed it since.
class Interface
{
  public:
    Interface &flags(unsigned bits);
    Interface &address(const std::string &dotted); // without one, the kernel knows no netmask either
    Interface &netmask(const std::string &dotted);
    Interface &hwaddr(const std::string &colons); // "00:C3:02:12:34:56"

    unsigned flags() const { return flags_; }
    std::string address() const; // "" for none
    std::string netmask() const;

  private:
    friend class Network;

    std::uint16_t flags_{};
    std::optional<std::uint32_t> address_{}; // in network order
    std::uint32_t netmask_{};
    std::array<std::uint8_t, 6> hwaddr_{};
};

// A request that is not known here fails the test, and so does an address of a wrong family, one that is not
// filled up with zeros, or one of a route with a port.
class Network
{
  public:
    Interface &add(const std::string &name) { return interfaces_[name] = {}; }
    Interface &interface(const std::string &name) { return interfaces_.at(name); }
    void remove(const std::string &name) { interfaces_.erase(name); }

    static const char *name_of(unsigned long number); // "SIOCGIFADDR"; null for one that is not known
    static std::string text_of(unsigned long number, std::uintptr_t argument); // what it is about
    int answer(unsigned long number, std::uintptr_t argument);                 // 0 or an errno

  private:
    struct Request;

    static const Request requests[];

    static const Request *find(unsigned long number);
    static int get_flags(Interface &interface, ifreq &request);
    static int set_flags(Interface &interface, ifreq &request);
    static int get_address(Interface &interface, ifreq &request);
    static int set_address(Interface &interface, ifreq &request);
    static int get_netmask(Interface &interface, ifreq &request);
    static int set_netmask(Interface &interface, ifreq &request);
    static int get_hwaddr(Interface &interface, ifreq &request);
    int answer_about(const Request &kind, ifreq &request);
    int answer_about(const rtentry &route) const;

    std::map<std::string, Interface> interfaces_{};
};

std::string dotted(std::uint32_t address); // in network order
// "ADDRESS:PORT" of an address in the Internet; any other fails the test.
std::string text_of(const sockaddr *address, socklen_t size);

// A line of the kernel's table of routes, with the end of the line, and a whole table with its header.
std::string route_line(const std::string &interface, const std::string &destination,
                       const std::string &gateway, unsigned flags);
std::string route_table(const std::vector<std::string> &lines);

} // namespace plexor::tests
