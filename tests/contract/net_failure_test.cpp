// SPDX-License-Identifier: Apache-2.0
// What every network function does when its socket cannot be opened or the kernel refuses its request.
#include <array>

#include "tests/contract/net_story.h"

namespace plexor::tests
{
namespace
{

constexpr unsigned some_address = 0x0900A8C0;

// A function, one of its requests, and what it returns when that fails.
struct Refused {
    std::string function;
    std::string request;
    std::int64_t (*call)();
    std::int64_t failure;

    std::string message() const { return function + ": ioctl " + request + ": Operation not permitted\n"; }
};

std::int64_t get_hwaddr()
{
    std::array<unsigned char, 6> address{};
    return net_get_hwaddr("br0", address.data());
}

std::int64_t get_info()
{
    net_info info{};
    return net_get_info("br0", &info);
}

const std::vector<Refused> refused{
    {"net_set_flag", "SIOCGIFFLAGS", []() -> std::int64_t { return net_set_flag("br0", 1); }, -1},
    {"net_set_flag", "SIOCSIFFLAGS", []() -> std::int64_t { return net_set_flag("br0", 1); }, -1},
    {"net_clr_flag", "SIOCGIFFLAGS", []() -> std::int64_t { return net_clr_flag("br0", 1); }, -1},
    {"net_clr_flag", "SIOCSIFFLAGS", []() -> std::int64_t { return net_clr_flag("br0", 1); }, -1},
    {"net_set_flag", "SIOCGIFFLAGS", []() -> std::int64_t { return net_nic_up("br0"); }, -1},
    {"net_set_flag", "SIOCSIFFLAGS", []() -> std::int64_t { return net_nic_up("br0"); }, -1},
    {"net_clr_flag", "SIOCGIFFLAGS", []() -> std::int64_t { return net_nic_down("br0"); }, -1},
    {"net_clr_flag", "SIOCSIFFLAGS", []() -> std::int64_t { return net_nic_down("br0"); }, -1},
    {"net_get_flag", "SIOCGIFFLAGS", []() -> std::int64_t { return net_get_flag("br0"); }, -1},
    {"net_set_ifaddr", "SIOCSIFADDR", []() -> std::int64_t { return net_set_ifaddr("br0", some_address); },
     -1},
    {"net_get_netmask", "SIOCGIFNETMASK", []() -> std::int64_t { return net_get_netmask("br0"); },
     no_address},
    {"net_set_netmask", "SIOCSIFNETMASK",
     []() -> std::int64_t { return net_set_netmask("br0", some_address); }, -1},
    {"net_get_hwaddr", "SIOCGIFHWADDR", get_hwaddr, -1},
    {"net_add_gateway", "SIOCADDRT", []() -> std::int64_t { return net_add_gateway("br0", some_address); },
     -1},
    {"net_del_gateway", "SIOCDELRT", []() -> std::int64_t { return net_del_gateway("br0", some_address); },
     -1},
    {"net_get_info", "SIOCGIFADDR", get_info, -1},
};

using NetFailure = NetStory;

TEST_F(NetFailure, OfARequestIsReportedAndEndsTheCallWithTheSocketClosed)
{
    for (const auto &kind : refused) {
        SCOPED_TRACE(kind.message());
        forget_calls();
        fail_call(kind.request, EPERM);
        EXPECT_EQ(outcome_of(kind.call), (Outcome{kind.failure, kind.message()}));
        const Calls done = calls();
        ASSERT_GE(done.size(), 3U);
        EXPECT_TRUE(done[done.size() - 2].starts_with("ioctl socket " + kind.request));
        EXPECT_EQ(done.back(), "close socket");
    }
}

TEST_F(NetFailure, OfASocketIsReportedAndNothingIsAsked)
{
    for (const auto &kind : refused) {
        SCOPED_TRACE(kind.function);
        forget_calls();
        fail_call("socket", EMFILE);
        EXPECT_EQ(outcome_of(kind.call), (Outcome{kind.failure, "socket error: Too many open files\n"}));
        EXPECT_EQ(calls(), Calls{"socket INET DGRAM 0"});
    }
}

TEST_F(NetFailure, OfASocketIsReportedEvenByTheSilentGetter)
{
    fail_call("socket", ENFILE);
    EXPECT_EQ(outcome_of([] { return net_get_ifaddr("br0"); }),
              (Outcome{no_address, "socket error: Too many open files in system\n"}));
    EXPECT_EQ(calls(), Calls{"socket INET DGRAM 0"});
}

TEST_F(NetFailure, DoesNotComeFromASocketNumberedZero)
{
    for (const auto &kind : refused) {
        open_returns("socket", 0);
        EXPECT_NE(outcome_of(kind.call).result, kind.failure) << kind.function;
        EXPECT_EQ(sockets_open(), 0) << kind.function;
    }
}

} // namespace
} // namespace plexor::tests
