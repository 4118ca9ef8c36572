// SPDX-License-Identifier: Apache-2.0
// Sockets, played files, children and the time of day, seen from a library that only makes plain calls.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest-spi.h>
#include <net/if.h>
#include <net/route.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/contract/appliance.h"
#include "tests/contract/forks.h"
#include "tests/contract/probe.h"
#include "tests/contract/time_zone.h"

namespace plexor::tests
{
namespace
{

const std::string resolver = "/etc/resolv.conf";
const std::string routes = "/proc/net/route";

sockaddr to_address(const char *dotted, int port, int family = AF_INET)
{
    sockaddr_in internet{};
    internet.sin_family = static_cast<sa_family_t>(family);
    internet.sin_port = htons(static_cast<std::uint16_t>(port));
    internet.sin_addr.s_addr = inet_addr(dotted);
    sockaddr address{};
    std::memcpy(&address, &internet, sizeof address);
    return address;
}

std::string text_in(const sockaddr &address)
{
    return text_of(&address, sizeof address);
}

ifreq about(const std::string &interface)
{
    ifreq request{};
    interface.copy(request.ifr_name, IFNAMSIZ);
    return request;
}

rtentry default_route(const char *gateway, char *device)
{
    rtentry route{};
    route.rt_dst = to_address("0.0.0.0", 0);
    route.rt_gateway = to_address(gateway, 0);
    route.rt_genmask = to_address("0.0.0.0", 0);
    route.rt_flags = RTF_UP | RTF_GATEWAY;
    route.rt_dev = device;
    return route;
}

class InterposedNetwork : public Appliance
{
  protected:
    InterposedNetwork()
    {
        add_interface("br0")
            .flags(0x1043)
            .address("192.168.0.1")
            .netmask("255.255.255.0")
            .hwaddr("00:C3:02:12:34:56");
        add_interface("eth2");
    }

    // On a socket of its own, which leaves no record.
    template <class Record>
    int ask(unsigned long number, Record &record)
    {
        const int socket = open_socket();
        const int result = probe_ioctl(socket, number, reinterpret_cast<std::uintptr_t>(&record));
        close_socket(socket);
        return result;
    }

    // Sends two bytes; false with errno where it fails.
    bool send(const char *address, bool allowed, int family = AF_INET)
    {
        const int socket = open_socket();
        const int yes = allowed ? 1 : 0;
        probe_set_option(socket, SO_BROADCAST, &yes, sizeof yes);
        const sockaddr to = to_address(address, 4471, family);
        const bool sent = probe_send(socket, "\x01\x02", 2, &to, sizeof to) == 2;
        close_socket(socket);
        return sent;
    }
};

using PlayedFile = Appliance;
using TimeOfDay = Appliance;

class Children : public Appliance
{
  protected:
    struct Started {
        int child;
        std::string printed;
    };

    // errno is that of the fork.
    static Started start()
    {
        int child = -1;
        int error = 0;
        std::string printed = standard_error_of([&] {
            child = probe_start("/bin/true", "br0");
            error = errno;
        });
        errno = error;
        return {child, printed};
    }
};

// --- sockets ---

TEST_F(InterposedNetwork, WritesTheLifeOfASocketDown)
{
    const int socket = probe_socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(sockets_open(), 1);
    EXPECT_EQ(probe_close(socket), 0);
    EXPECT_EQ(sockets_open(), 0);
    EXPECT_EQ(calls(), (Calls{"socket INET DGRAM 0", "close socket"}));
}

TEST_F(InterposedNetwork, NoticesASocketThatIsInheritedOrClosedTwice)
{
    int socket = -1;
    EXPECT_NONFATAL_FAILURE(socket = probe_socket(AF_INET, SOCK_DGRAM, 0), "close-on-exec");
    EXPECT_NONFATAL_FAILURE(probe_close_twice(socket), "close of descriptor");
}

TEST_F(InterposedNetwork, FailsATestThatEndsWithASocketOpen)
{
    struct Leaking : Appliance {
        Leaking() { probe_socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0); }
        void TestBody() override {}
    };
    EXPECT_NONFATAL_FAILURE(Leaking(), "sockets were left open");
}

TEST_F(InterposedNetwork, FailsSocketsAndGivesThemNumbersByOrder)
{
    fail_call("socket", EMFILE);
    EXPECT_EQ(probe_socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0), -1);
    EXPECT_EQ(errno, EMFILE);
    open_returns("socket", 0);
    EXPECT_EQ(probe_socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0), 0);
    fail_call("close", EIO);
    EXPECT_EQ(probe_close(0), -1);
    EXPECT_EQ(sockets_open(), 0);
    EXPECT_GE(fcntl(0, F_GETFD), 0) << "the real standard input was closed";
}

TEST_F(InterposedNetwork, KeepsWhatIsSent)
{
    EXPECT_TRUE(send("255.255.255.255", true));
    EXPECT_EQ(calls(), (Calls{"setsockopt BROADCAST 1", "sendto 255.255.255.255:4471 2 bytes flags 0"}));
    ASSERT_EQ(datagrams().size(), 1U);
    EXPECT_EQ(datagrams()[0].to, "255.255.255.255:4471");
    EXPECT_EQ(datagrams()[0].bytes, (std::vector<std::uint8_t>{1, 2}));
    forget_calls();
    EXPECT_TRUE(datagrams().empty());
}

TEST_F(InterposedNetwork, BroadcastsOnlyWhereThatIsAllowed)
{
    EXPECT_FALSE(send("255.255.255.255", false));
    EXPECT_EQ(errno, EACCES);
    EXPECT_TRUE(send("192.168.0.9", false));
    fail_call("setsockopt", ENOPROTOOPT);
    EXPECT_FALSE(send("255.255.255.255", true));
    fail_call("sendto", ENETUNREACH);
    EXPECT_FALSE(send("192.168.0.9", false));
    EXPECT_EQ(errno, ENETUNREACH);
    EXPECT_EQ(datagrams().size(), 1U);
}

TEST_F(InterposedNetwork, NoticesAddressesThatAreNotOfTheInternet)
{
    EXPECT_NONFATAL_FAILURE(send("192.168.0.9", false, AF_UNIX), "not AF_INET");
    auto request = about("br0");
    request.ifr_addr = to_address("192.168.0.9", 0, AF_UNSPEC);
    EXPECT_NONFATAL_FAILURE(ask(SIOCSIFADDR, request), "not AF_INET");
    char device[] = "br0";
    auto route = default_route("192.168.0.254", device);
    route.rt_genmask.sa_family = AF_UNSPEC;
    EXPECT_NONFATAL_FAILURE(ask(SIOCADDRT, route), "not AF_INET");
}

TEST_F(InterposedNetwork, NoticesAddressesThatAreNotFilledUpWithZerosAndRoutesWithAPort)
{
    auto request = about("br0");
    request.ifr_addr = to_address("192.168.0.9", 0);
    request.ifr_addr.sa_data[13] = 1;
    EXPECT_NONFATAL_FAILURE(ask(SIOCSIFADDR, request), "not filled up");
    char device[] = "br0";
    auto route = default_route("192.168.0.254", device);
    route.rt_gateway = to_address("192.168.0.254", 7);
    EXPECT_NONFATAL_FAILURE(ask(SIOCADDRT, route), "with a port");
}

TEST_F(InterposedNetwork, NoticesOptionsAndAddressesOfAWrongSize)
{
    const int socket = open_socket();
    const sockaddr to = to_address("192.168.0.9", 9);
    EXPECT_NONFATAL_FAILURE(probe_set_option(socket, SO_BROADCAST, "\1", 1), "has 1 bytes");
    EXPECT_NONFATAL_FAILURE(probe_send(socket, "", 1, &to, 8), "an address of 8 bytes");
    close_socket(socket);
}

// --- interfaces and routes ---

TEST_F(InterposedNetwork, AnswersWhatIsAskedAboutAnInterface)
{
    auto request = about("br0");
    EXPECT_EQ(ask(SIOCGIFFLAGS, request), 0);
    EXPECT_EQ(request.ifr_flags, 0x1043);
    EXPECT_EQ(ask(SIOCGIFADDR, request), 0);
    EXPECT_EQ(text_in(request.ifr_addr), "192.168.0.1:0");
    EXPECT_EQ(ask(SIOCGIFNETMASK, request), 0);
    EXPECT_EQ(text_in(request.ifr_netmask), "255.255.255.0:0");
    EXPECT_EQ(ask(SIOCGIFHWADDR, request), 0);
    EXPECT_EQ(std::memcmp(request.ifr_hwaddr.sa_data, "\x00\xC3\x02\x12\x34\x56", 6), 0);
    EXPECT_EQ(calls(), (Calls{"ioctl socket SIOCGIFFLAGS br0", "ioctl socket SIOCGIFADDR br0",
                              "ioctl socket SIOCGIFNETMASK br0", "ioctl socket SIOCGIFHWADDR br0"}));
}

TEST_F(InterposedNetwork, SetsWhatIsAskedOfAnInterface)
{
    auto request = about("br0");
    request.ifr_flags = 0x41;
    EXPECT_EQ(ask(SIOCSIFFLAGS, request), 0);
    request.ifr_addr = to_address("192.168.0.9", 0);
    EXPECT_EQ(ask(SIOCSIFADDR, request), 0);
    request.ifr_netmask = to_address("255.255.0.0", 7);
    EXPECT_EQ(ask(SIOCSIFNETMASK, request), 0);
    EXPECT_EQ(calls(),
              (Calls{"ioctl socket SIOCSIFFLAGS br0 0x41", "ioctl socket SIOCSIFADDR br0 192.168.0.9 port 0",
                     "ioctl socket SIOCSIFNETMASK br0 255.255.0.0 port 7"}));
    EXPECT_EQ(interface("br0").flags(), 0x41U);
    EXPECT_EQ(interface("br0").address(), "192.168.0.9");
    EXPECT_EQ(interface("br0").netmask(), "255.255.0.0");
}

TEST_F(InterposedNetwork, KnowsNoAddressOfAnInterfaceWithoutOne)
{
    for (const auto number : {SIOCGIFADDR, SIOCGIFNETMASK, SIOCSIFNETMASK}) {
        auto request = about("eth2");
        request.ifr_netmask = to_address("255.0.0.0", 0);
        EXPECT_EQ(ask(number, request), -1);
        EXPECT_EQ(errno, EADDRNOTAVAIL);
    }
    EXPECT_EQ(interface("eth2").address(), "");
}

TEST_F(InterposedNetwork, KnowsOnlyTheInterfacesAdded)
{
    char device[] = "br0";
    auto request = about(device);
    auto route = default_route("192.168.0.254", device);
    remove_interface("br0");
    EXPECT_EQ(ask(SIOCGIFFLAGS, request), -1);
    EXPECT_EQ(errno, ENODEV);
    EXPECT_EQ(ask(SIOCADDRT, route), -1);
    EXPECT_EQ(errno, ENODEV);
}

TEST_F(InterposedNetwork, CutsANameThatIsNotEndedAsKernelsDo)
{
    add_interface("interface-of-15").flags(0x41);
    auto request = about("interface-of-15-or-more");
    EXPECT_EQ(ask(SIOCGIFFLAGS, request), 0);
    EXPECT_EQ(request.ifr_flags, 0x41);
    EXPECT_EQ(calls(), Calls{"ioctl socket SIOCGIFFLAGS interface-of-15-"});
}

TEST_F(InterposedNetwork, WritesRoutesDown)
{
    char device[] = "br0";
    auto route = default_route("192.168.0.254", device);
    EXPECT_EQ(ask(SIOCADDRT, route), 0);
    EXPECT_EQ(ask(SIOCDELRT, route), 0);
    const std::string what = " dst 0.0.0.0 gateway 192.168.0.254 mask 0.0.0.0 flags 3 metric 0 dev br0";
    EXPECT_EQ(calls(), (Calls{"ioctl socket SIOCADDRT" + what, "ioctl socket SIOCDELRT" + what}));
}

TEST_F(InterposedNetwork, NoticesRoutesThatWereNotEmptiedAndUnknownRequests)
{
    char device[] = "br0";
    auto route = default_route("192.168.0.254", device);
    route.rt_window = 1;
    EXPECT_NONFATAL_FAILURE(ask(SIOCADDRT, route), "window");
    EXPECT_NONFATAL_FAILURE(ask(SIOCGIFMTU, route), "ioctl of a socket");
}

TEST_F(InterposedNetwork, FailsRequestsByNameByCountAndUntilTheyAreRestored)
{
    auto request = about("br0");
    fail_call("SIOCGIFADDR", EPERM);
    fail_call_after("ioctl", 2, EIO);
    fail_ioctl("socket", SIOCGIFNETMASK, ENOMEM);
    EXPECT_EQ(ask(SIOCGIFFLAGS, request), 0);
    EXPECT_EQ(ask(SIOCGIFADDR, request), -1);
    EXPECT_EQ(errno, EPERM);
    EXPECT_EQ(ask(SIOCGIFADDR, request), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(ask(SIOCGIFNETMASK, request), -1);
    EXPECT_EQ(errno, ENOMEM);
    fail_ioctl("socket", SIOCGIFNETMASK, 0);
    EXPECT_EQ(ask(SIOCGIFNETMASK, request), 0);
}

TEST_F(InterposedNetwork, PrintsRoutesAsKernelsDo)
{
    const std::string line = route_line("br0", "0.0.0.0", "192.168.0.254", 3);
    EXPECT_TRUE(line.starts_with("br0\t00000000\tFE00A8C0\t0003\t")) << line;
    EXPECT_EQ(route_table({line}).size(), 256U);
    EXPECT_TRUE(route_table({line}).ends_with("\n" + line));
}

// --- files ---

TEST_F(PlayedFile, ReadsAsTheTestSetIt)
{
    char text[16] = {};
    set_file(resolver, "text\n");
    const int file = probe_open(resolver.c_str());
    EXPECT_EQ(probe_read(file, text, 3), 3);
    EXPECT_EQ(probe_read(file, text + 3, 10), 2);
    EXPECT_EQ(probe_close(file), 0);
    EXPECT_STREQ(text, "text\n");
    EXPECT_EQ(calls(), (Calls{"open /etc/resolv.conf r", "read /etc/resolv.conf", "close /etc/resolv.conf"}));
}

TEST_F(PlayedFile, IsMissingUntilItIsSetOrMade)
{
    EXPECT_EQ(probe_open(routes.c_str()), -1);
    EXPECT_EQ(errno, ENOENT);
    const int file = probe_open_flags(resolver.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC);
    EXPECT_EQ(probe_write(file, "one\n", 4), 4);
    probe_close(file);
    EXPECT_EQ(Appliance::file(resolver), "one\n");
    EXPECT_EQ(calls("write"), Calls{"write /etc/resolv.conf 4"});
    remove_file(resolver);
    EXPECT_EQ(probe_open(resolver.c_str()), -1);
    EXPECT_FALSE(std::filesystem::exists(resolver)) << "the real file was made";
}

TEST_F(PlayedFile, LosesWhatItHeldWhenItIsTruncated)
{
    set_file(resolver, "a longer text\n");
    std::FILE *stream = fdopen(probe_open_flags(resolver.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC), "w");
    std::fputs("one\n", stream);
    EXPECT_EQ(left_open(resolver), 1);
    std::fclose(stream);
    EXPECT_EQ(left_open(resolver), 0);
    EXPECT_EQ(file(resolver), "one\n");
    EXPECT_EQ(calls(), Calls{"open /etc/resolv.conf w"});
}

TEST_F(PlayedFile, HoldsAsMuchAsATestWants)
{
    const std::string table = route_table(std::vector(500, route_line("br0", "10.0.0.0", "10.0.0.1", 3)));
    std::string text(table.size(), '\0');
    set_file(routes, table);
    const int file = probe_open(routes.c_str());
    EXPECT_EQ(probe_read(file, text.data(), text.size()), static_cast<long>(text.size()));
    EXPECT_EQ(text, table);
    probe_close(file);
}

TEST_F(PlayedFile, FailsToOpenToBeReadAndToBeClosed)
{
    char byte = 'x';
    set_file(resolver, "text\n");
    fail_open(resolver, EACCES);
    EXPECT_EQ(probe_open(resolver.c_str()), -1);
    EXPECT_EQ(errno, EACCES);
    fail_open(resolver, 0);
    fail_call("read", EINTR);
    fail_call("close", EIO);
    const int file = probe_open(resolver.c_str());
    EXPECT_EQ(probe_read(file, &byte, 1), -1);
    EXPECT_EQ(errno, EINTR);
    EXPECT_EQ(probe_read(file, &byte, 1), 1);
    EXPECT_EQ(probe_close(file), -1);
}

TEST_F(PlayedFile, FailsATestThatEndsWithItOpen)
{
    struct Leaking : Appliance {
        Leaking() { probe_open_flags("/etc/resolv.conf", O_WRONLY | O_CREAT | O_CLOEXEC); }
        void TestBody() override {}
    };
    EXPECT_NONFATAL_FAILURE(Leaking(), "files were left open");
}

TEST_F(PlayedFile, IsClosedForATestThatExpectsItOpen)
{
    set_file(resolver, "");
    probe_open(resolver.c_str());
    EXPECT_EQ(left_open(resolver), 1);
    close_file(resolver);
    EXPECT_EQ(left_open(resolver), 0);
    EXPECT_EQ(calls("close"), Calls{});
}

// --- children ---

TEST_F(Children, ExecuteNothing)
{
    const auto [child, printed] = start();
    EXPECT_EQ(printed, "probe: No such file or directory\n");
    EXPECT_EQ(exit_status_of(child), 0);
    EXPECT_EQ(calls(), Calls{"execlp /bin/true /bin/true br0"});
}

TEST_F(Children, FailToExecuteWithTheErrorAskedFor)
{
    fail_call("execlp", EACCES);
    const auto [child, printed] = start();
    EXPECT_EQ(printed, "probe: Permission denied\n");
    EXPECT_EQ(exit_status_of(child), 0);
}

TEST_F(Children, AreNotForkedWhereThatIsForbidden)
{
    int child = 0;
    int error = 0;
    without_forks([&] {
        child = start().child;
        error = errno;
    });
    EXPECT_EQ(child, -1);
    EXPECT_EQ(error, EAGAIN);
    EXPECT_EQ(calls(), Calls{});
}

TEST_F(Children, AreForkedAgainAfterThat)
{
    without_forks([] {});
    EXPECT_EQ(exit_status_of(start().child), 0);
}

TEST(WithoutAppliance, AProgramIsReallyExecuted)
{
    EXPECT_EQ(exit_status_of(probe_start("/bin/false", "br0")), 1);
}

// --- the time of day ---

TEST_F(TimeOfDay, IsThatOfTheTimeZone)
{
    const TimeZone zone("UTC-2");
    set_time("23:59:55");
    EXPECT_EQ(probe_calendar(), 1'767'312'000 + 21 * 3600 + 59 * 60 + 55);
    advance(5'000'000'000);
    const time_t now = probe_calendar();
    EXPECT_EQ(std::localtime(&now)->tm_hour, 0);
}

TEST_F(TimeOfDay, LeavesTheDateAndTheMonotonicClock)
{
    const TimeZone zone("UTC");
    set_time("03:04:06");
    EXPECT_EQ(probe_calendar(), 1'767'323'046);
    EXPECT_EQ(probe_monotonic(), 1000'000'000'000);
}

} // namespace
} // namespace plexor::tests
