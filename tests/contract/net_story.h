// SPDX-License-Identifier: Apache-2.0
// What the tests of the network functions share: an appliance with a bridge, and all that one call makes known.
#pragma once

#include <arpa/inet.h>
#include <plexor/net.h>

#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "tests/contract/appliance.h"

namespace plexor::tests
{

inline const std::string resolver_file = "/etc/resolv.conf";
inline const std::string route_file = "/proc/net/route";
inline const std::string not_configured = "INET (IPv4) not configured in this system.\n";
inline constexpr std::int64_t no_address = 0xFFFFFFFF;

// An address as the functions take and give it.
inline unsigned number_of(const std::string &dotted)
{
    in_addr address{};
    EXPECT_EQ(inet_pton(AF_INET, dotted.c_str(), &address), 1) << dotted << " is no address";
    return address.s_addr;
}

// One socket and what is asked on it, such as "SIOCGIFADDR br0".
inline Calls on_a_socket(const std::vector<std::string> &requests)
{
    Calls calls{"socket INET DGRAM 0"};
    for (const auto &request : requests)
        calls.push_back("ioctl socket " + request);
    calls.emplace_back("close socket");
    return calls;
}

// What a function returned, and what it said on standard error and standard output.
struct Outcome {
    std::int64_t result;
    std::string error{};
    std::string output{};

    bool operator==(const Outcome &) const = default;
};

inline void PrintTo(const Outcome &outcome, std::ostream *stream)
{
    *stream << "result " << outcome.result << ", standard error \"" << outcome.error
            << "\", standard output \"" << outcome.output << "\"";
}

class NetStory : public Appliance
{
  protected:
    NetStory()
    {
        add_interface("br0")
            .flags(0x1002)
            .address("192.168.0.1")
            .netmask("255.255.255.0")
            .hwaddr("00:C3:02:12:34:56");
    }

    static Outcome outcome_of(const std::function<std::int64_t()> &function)
    {
        Outcome outcome{};
        const auto run = [&] { outcome.result = function(); };
        outcome.output = standard_output_of([&] { outcome.error = standard_error_of(run); });
        return outcome;
    }
};

} // namespace plexor::tests
