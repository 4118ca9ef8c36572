// SPDX-License-Identifier: Apache-2.0
// Gateways: the routes that are added and deleted, and those that the kernel tells of.
#include <algorithm>
#include <cerrno>

#include "tests/contract/call_text.h"
#include "tests/contract/net_story.h"

namespace plexor::tests
{
namespace
{

const Calls read_routes{"open /proc/net/route r", "read /proc/net/route", "close /proc/net/route"};
const std::string all = "0.0.0.0";

std::string to_gateway(const std::string &gateway, unsigned flags = 3)
{
    return route_line("br0", all, gateway, flags);
}

std::string default_route(const std::string &request, const std::string &gateway)
{
    return request + " dst 0.0.0.0 gateway " + gateway + " mask 0.0.0.0 flags 3 metric 0 dev br0";
}

// What is printed of a line.
std::string examined(const std::string &line)
{
    return "net_search_gateway:" + line + "\n";
}

class Gateways : public NetStory
{
  protected:
    Gateways() { set_routes({}); }

    void set_routes(const std::vector<std::string> &lines) { set_file(route_file, route_table(lines)); }

    // Of br0, as text; without what is said about it.
    static std::string gateway()
    {
        return dotted(static_cast<unsigned>(outcome_of([] { return net_get_gateway("br0"); }).result));
    }
    static std::int64_t result_of(const std::function<std::int64_t()> &function)
    {
        return outcome_of(function).result;
    }
    static std::int64_t set_gateway(const std::string &address)
    {
        return result_of([&] { return net_set_gateway("br0", number_of(address)); });
    }

    // Gateways of the routes that were deleted.
    Calls deleted() const
    {
        const std::string before = "ioctl socket SIOCDELRT dst 0.0.0.0 gateway ";
        Calls gateways = calls(before);
        for (auto &gateway : gateways)
            gateway = gateway.substr(before.size(), gateway.find(" mask") - before.size());
        return gateways;
    }
};

using RouteLine = Gateways;

// --- adding and deleting ---

TEST_F(Gateways, AreAddedAsADefaultRoute)
{
    EXPECT_EQ(outcome_of([] { return net_add_gateway("br0", number_of("192.168.0.254")); }), (Outcome{0}));
    EXPECT_EQ(calls(), on_a_socket({default_route("SIOCADDRT", "192.168.0.254")}));
}

TEST_F(Gateways, AreDeletedAsADefaultRoute)
{
    EXPECT_EQ(outcome_of([] { return net_del_gateway("br0", number_of("10.255.1.2")); }), (Outcome{0}));
    EXPECT_EQ(calls(), on_a_socket({default_route("SIOCDELRT", "10.255.1.2")}));
}

TEST_F(Gateways, MayBeAnyAddress)
{
    for (const char *address : {"0.0.0.0", "255.255.255.255", "1.2.3.4"}) {
        forget_calls();
        EXPECT_EQ(net_add_gateway("br0", number_of(address)), 0);
        EXPECT_EQ(calls(), on_a_socket({default_route("SIOCADDRT", address)}));
    }
}

TEST_F(Gateways, AreReportedWhereTheKernelRefusesThem)
{
    fail_call("SIOCADDRT", EEXIST);
    fail_call("SIOCDELRT", ESRCH);
    EXPECT_EQ(outcome_of([] { return net_add_gateway("br0", 1); }),
              (Outcome{-1, "net_add_gateway: ioctl SIOCADDRT: File exists\n"}));
    EXPECT_EQ(outcome_of([] { return net_del_gateway("br0", 1); }),
              (Outcome{-1, "net_del_gateway: ioctl SIOCDELRT: No such process\n"}));
}

TEST_F(Gateways, NeedTheInterfaceNamed)
{
    EXPECT_EQ(outcome_of([] { return net_add_gateway("eth2", 1); }),
              (Outcome{-1, "net_add_gateway: ioctl SIOCADDRT: No such device\n"}));
    EXPECT_EQ(result_of([] { return net_add_gateway(nullptr, 1); }), -1);
    add_interface("eth2");
    EXPECT_EQ(net_add_gateway("eth2", 1), 0);
    EXPECT_TRUE(calls("ioctl").back().ends_with(" dev eth2"));
}

TEST_F(Gateways, AreAddedToTheInterfaceOfALongNameCut)
{
    add_interface("interface-of-15");
    EXPECT_EQ(net_add_gateway("interface-of-15-and-more", 1), 0);
    EXPECT_TRUE(calls("ioctl").back().ends_with(" dev interface-of-15-"));
}

// --- one line ---

// A line as it is, what is printed of it, and the gateway of br0 in it; "" for none.
struct Line {
    std::string text;
    std::string printed;
    std::string gateway;
};

const std::vector<Line> lines{
    {"br0\t00000000\tFE00A8C0\t0003\t0\t0\t0\t00000000\t0\t0\t0\n", "br0, 0, FE00A8C0, 3", "192.168.0.254"},
    // Flags: up and through a gateway, whatever there is besides.
    {"br0\t00000000\tFE00A8C0\t0000\t", "br0, 0, FE00A8C0, 0", ""},
    {"br0\t00000000\tFE00A8C0\t0001\t", "br0, 0, FE00A8C0, 1", ""},
    {"br0\t00000000\tFE00A8C0\t0002\t", "br0, 0, FE00A8C0, 2", ""},
    {"br0\t00000000\tFE00A8C0\t0004\t", "br0, 0, FE00A8C0, 4", ""},
    {"br0\t00000000\tFE00A8C0\t0007\t", "br0, 0, FE00A8C0, 7", "192.168.0.254"},
    {"br0\t00000000\tFE00A8C0\t0205\t", "br0, 0, FE00A8C0, 205", ""},
    {"br0\t00000000\tFE00A8C0\tFFFFFFFF\t", "br0, 0, FE00A8C0, FFFFFFFF", "192.168.0.254"},
    // Any destination, any gateway.
    {"br0\t0001A8C0\t0100A8C0\t0007\t", "br0, 1A8C0, 100A8C0, 7", "192.168.0.1"},
    {"br0\tFFFFFFFF\t00000000\t0003\t", "br0, FFFFFFFF, 0, 3", "0.0.0.0"},
    {"br0\t00000000\tFFFFFFFF\t0003\t", "br0, 0, FFFFFFFF, 3", "255.255.255.255"},
    // Other interfaces.
    {"eth2\t00000000\tFE00A8C0\t0003\t", "eth2, 0, FE00A8C0, 3", ""},
    {"br\t00000000\tFE00A8C0\t0003\t", "br, 0, FE00A8C0, 3", ""},
    {"br00\t00000000\tFE00A8C0\t0003\t", "br00, 0, FE00A8C0, 3", ""},
    {"BR0\t00000000\tFE00A8C0\t0003\t", "BR0, 0, FE00A8C0, 3", ""},
    // Other blanks, small digits, no end.
    {"  br0 0 fe00a8c0   3", "br0, 0, FE00A8C0, 3", "192.168.0.254"},
    {"br0\n00000000\nFE00A8C0\n0003", "br0, 0, FE00A8C0, 3", "192.168.0.254"},
    // Lines that end early.
    {"", ", 0, 0, 0", ""},
    {"\n", ", 0, 0, 0", ""},
    {"br0", "br0, 0, 0, 0", ""},
    {"br0\t0000000F\n", "br0, F, 0, 0", ""},
    {"br0\t0000000F\tFE00A8C0\n", "br0, F, FE00A8C0, 0", ""},
    // Columns that are no numbers, or too wide for one.
    {"Iface\tDestination\tGateway \tFlags\t", "Iface, DE, 0, 0", ""},
    {"br0\tX\tFE00A8C0\t0003\t", "br0, 0, 0, 0", ""},
    {"br0\t00000000\tX\t0003\t", "br0, 0, 0, 0", ""},
    {"br0\t00000000\tFE00A8C0\tX\t", "br0, 0, FE00A8C0, 0", ""},
    {"br0\t123456780\tFE00A8C0\t0003\t", "br0, 12345678, 0, FE00A8C0", ""},
    {"br0\t00000000\tFE00A8C03\t0000\t", "br0, 0, FE00A8C0, 3", "192.168.0.254"},
};

TEST_F(RouteLine, IsPrintedWhateverItIs)
{
    unsigned gateway = 0;
    for (const auto &line : lines) {
        const auto search = [&] { return net_search_gateway("br0", line.text.c_str(), &gateway); };
        EXPECT_EQ(outcome_of(search), (Outcome{line.gateway.empty() ? -1 : 0, "", examined(line.printed)}));
    }
    EXPECT_EQ(calls(), Calls{});
}

TEST_F(RouteLine, LeavesTheGatewayWhereItIsNoneOfTheInterface)
{
    for (const auto &line : lines) {
        unsigned gateway = number_of("9.9.9.9");
        result_of([&] { return net_search_gateway("br0", line.text.c_str(), &gateway); });
        EXPECT_EQ(dotted(gateway), line.gateway.empty() ? "9.9.9.9" : line.gateway) << line.text;
    }
}

TEST_F(RouteLine, OfALongNameIsOfThatInterfaceAlone)
{
    unsigned gateway = 0;
    const std::string line = "interface-of-15-and-more\t00000000\tFE00A8C0\t0003\t";
    const auto search = [&](const char *name) {
        return result_of([&] { return net_search_gateway(name, line.c_str(), &gateway); });
    };
    EXPECT_EQ(search("interface-of-15-"), -1);
    EXPECT_EQ(search("interface-of-15-and-more"), 0);
}

TEST_F(RouteLine, OfOneEndlessNameIsPrintedAsFarAsALineGoes)
{
    unsigned gateway = 0;
    const std::string line(1000, 'n');
    EXPECT_EQ(outcome_of([&] { return net_search_gateway("br0", line.c_str(), &gateway); }),
              (Outcome{-1, "", examined(std::string(129, 'n') + ", 0, 0, 0")}));
}

TEST_F(RouteLine, WithConversionsInItIsPrintedAsItIs)
{
    unsigned gateway = 0;
    EXPECT_EQ(outcome_of([&] { return net_search_gateway("%n%s%s", "%n%s%s\t0\t1\t3", &gateway); }),
              (Outcome{0, "", examined("%n%s%s, 0, 1, 3")}));
}

TEST_F(RouteLine, IsNotExaminedWhereAnArgumentIsMissing)
{
    unsigned gateway = 9;
    const char *const line = "br0\t0\t1\t3";
    EXPECT_EQ(outcome_of([&] { return net_search_gateway(nullptr, line, &gateway); }), (Outcome{-1}));
    EXPECT_EQ(outcome_of([&] { return net_search_gateway("br0", nullptr, &gateway); }), (Outcome{-1}));
    EXPECT_EQ(outcome_of([&] { return net_search_gateway("br0", line, nullptr); }), (Outcome{-1}));
    EXPECT_EQ(gateway, 9U);
}

// --- the first gateway ---

TEST_F(Gateways, AreFoundInTheFirstLineOfTheInterfaceThatHasOneAndThenNoFurther)
{
    set_routes({route_line("eth2", all, "10.0.0.1", 3), route_line("br0", "192.168.0.0", all, 1),
                route_line("br0", "10.9.0.0", "192.168.0.7", 7), to_gateway("192.168.0.254")});
    EXPECT_EQ(outcome_of([] { return net_get_gateway("br0"); }),
              (Outcome{number_of("192.168.0.7"), "",
                       examined("eth2, 0, 100000A, 3") + examined("br0, A8C0, 0, 1") +
                           examined("br0, 90A, 700A8C0, 7")}));
    EXPECT_EQ(calls(), read_routes);
}

TEST_F(Gateways, AreNoneWhereNoLineHasOne)
{
    set_routes({route_line("eth2", all, "10.0.0.1", 3), route_line("br0", all, all, 1)});
    EXPECT_EQ(outcome_of([] { return net_get_gateway("br0"); }),
              (Outcome{0, "", examined("eth2, 0, 100000A, 3") + examined("br0, 0, 0, 1")}));
    EXPECT_EQ(calls(), read_routes);
}

TEST_F(Gateways, AreNoneWhereThereIsNoLineButTheFirst)
{
    for (const std::string &table : {route_table({}), std::string("Iface"), std::string()}) {
        set_file(route_file, table);
        EXPECT_EQ(outcome_of([] { return net_get_gateway("br0"); }), (Outcome{0}));
        EXPECT_EQ(outcome_of([] { return net_clean_gateway("br0"); }), (Outcome{0}));
    }
    EXPECT_EQ(calls("socket"), Calls{});
}

TEST_F(Gateways, AreNotLookedForInTheFirstLine)
{
    set_file(route_file, to_gateway("192.168.0.1") + to_gateway("192.168.0.2"));
    EXPECT_EQ(gateway(), "192.168.0.2");
    EXPECT_EQ(set_gateway("192.168.0.3"), 0);
    EXPECT_EQ(deleted(), Calls{"192.168.0.2"});
}

TEST_F(Gateways, AreFoundInALastLineThatDoesNotEnd)
{
    set_file(route_file, "Iface\nbr0\t0\tFE00A8C0\t3");
    EXPECT_EQ(gateway(), "192.168.0.254");
}

TEST_F(Gateways, AreFoundAgainAfterAReadThatWasInterrupted)
{
    set_routes({to_gateway("192.168.0.254")});
    fail_call("read", EINTR);
    EXPECT_EQ(gateway(), "192.168.0.254");
}

TEST_F(Gateways, AreNoneWhereTheRoutesCannotBeRead)
{
    set_routes({to_gateway("192.168.0.254")});
    fail_call("read", EIO);
    EXPECT_EQ(outcome_of([] { return net_get_gateway("br0"); }), (Outcome{0}));
    EXPECT_EQ(left_open(route_file), 0);
}

TEST_F(Gateways, AreReportedAsNotConfiguredWhereTheRoutesCannotBeOpened)
{
    const std::string missing = "/proc/net/route: No such file or directory\n";
    remove_file(route_file);
    EXPECT_EQ(outcome_of([] { return net_get_gateway("br0"); }), (Outcome{0, missing, not_configured}));
    EXPECT_EQ(outcome_of([] { return net_clean_gateway("br0"); }), (Outcome{-1, missing, not_configured}));
    EXPECT_EQ(outcome_of([] { return net_set_gateway("br0", 1); }), (Outcome{-1, missing, not_configured}));
    EXPECT_EQ(calls(), Calls(3, "open /proc/net/route r"));
}

TEST_F(Gateways, AreReportedWithTheReasonWhyTheRoutesCannotBeOpened)
{
    fail_open(route_file, EACCES);
    EXPECT_EQ(outcome_of([] { return net_get_gateway("br0"); }).error,
              "/proc/net/route: Permission denied\n");
    EXPECT_EQ(outcome_of([] { return net_set_gateway("br0", 1); }).error,
              "/proc/net/route: Permission denied\n");
}

// --- lines that are too long ---

TEST_F(RouteLine, Of129CharactersIsOneAndItsEndAnother)
{
    const std::string line = "br0\t0\tFE00A8C0\t1";
    const auto examine = [&](int length) {
        set_file(route_file, "Iface\n" + print("%-*s\n", length, line.c_str()));
        return outcome_of([] { return net_get_gateway("br0"); }).output;
    };
    EXPECT_EQ(examine(128), examined("br0, 0, FE00A8C0, 1"));
    EXPECT_EQ(examine(129), examined("br0, 0, FE00A8C0, 1") + examined(", 0, 0, 0"));
}

TEST_F(RouteLine, ThatIsLongerIsGoneOnWithAsTheNext)
{
    set_file(route_file, "Iface\n" + std::string(129, 'x') + "br0\t0\tFE00A8C0\t3\n");
    EXPECT_EQ(outcome_of([] { return net_get_gateway("br0"); }),
              (Outcome{number_of("192.168.0.254"), "",
                       examined(std::string(129, 'x') + ", 0, 0, 0") + examined("br0, 0, FE00A8C0, 3")}));
}

TEST_F(RouteLine, ThatIsTheFirstAndTooLongIsSkippedAsFarAsALineGoes)
{
    set_file(route_file, std::string(129, 'x') + "br0\t0\tFE00A8C0\t3\n");
    EXPECT_EQ(gateway(), "192.168.0.254");
}

// --- all gateways ---

TEST_F(Gateways, OfAnInterfaceAreAllDeletedAndNoOthers)
{
    set_routes({to_gateway("192.168.0.1"), route_line("eth2", all, "10.0.0.1", 3),
                to_gateway("192.168.0.2", 1), route_line("br0", "10.9.0.0", "192.168.0.3", 7),
                to_gateway("192.168.0.4", 2)});
    EXPECT_EQ(result_of([] { return net_clean_gateway("br0"); }), 0);
    EXPECT_EQ(deleted(), (Calls{"192.168.0.1", "192.168.0.3"}));
    EXPECT_EQ(calls("ioctl").size(), 2U);
    EXPECT_EQ(calls("open"), Calls{"open /proc/net/route r"});
    EXPECT_EQ(left_open(route_file), 0);
}

TEST_F(Gateways, ThatAreDeletedArePrintedLineForLine)
{
    set_routes({to_gateway("192.168.0.1"), route_line("eth2", all, "10.0.0.1", 3)});
    const std::string both = examined("br0, 0, 100A8C0, 3") + examined("eth2, 0, 100000A, 3");
    EXPECT_EQ(outcome_of([] { return net_clean_gateway("br0"); }), (Outcome{0, "", both}));
    EXPECT_EQ(outcome_of([] { return net_set_gateway("br0", 1); }), (Outcome{0, "", both}));
}

TEST_F(Gateways, ThatCannotBeDeletedArePassedOver)
{
    set_routes({to_gateway("192.168.0.1"), to_gateway("192.168.0.2")});
    fail_call("SIOCDELRT", ESRCH);
    const Outcome outcome = outcome_of([] { return net_clean_gateway("br0"); });
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.error, "net_del_gateway: ioctl SIOCDELRT: No such process\n");
    EXPECT_EQ(deleted(), (Calls{"192.168.0.1", "192.168.0.2"}));
}

TEST_F(Gateways, GiveWayToTheOneThatIsSet)
{
    set_routes({to_gateway("192.168.0.1"), route_line("br0", "10.9.0.0", "192.168.0.2", 7)});
    EXPECT_EQ(set_gateway("192.168.0.254"), 0);
    EXPECT_EQ(calls("ioctl"), (Calls{"ioctl socket " + default_route("SIOCDELRT", "192.168.0.1"),
                                     "ioctl socket " + default_route("SIOCDELRT", "192.168.0.2"),
                                     "ioctl socket " + default_route("SIOCADDRT", "192.168.0.254")}));
}

TEST_F(Gateways, AreSetOnceTheRoutesAreClosed)
{
    int open = -1;
    set_routes({to_gateway("192.168.0.1")});
    at_call("ioctl socket SIOCADDRT", [&] { open = left_open(route_file); });
    EXPECT_EQ(set_gateway("192.168.0.254"), 0);
    EXPECT_EQ(open, 0);
    EXPECT_EQ(calls("open"), Calls{"open /proc/net/route r"});
}

TEST_F(Gateways, AreAllDeletedBeforeOneIsSetHoweverManyThereAre)
{
    std::vector<std::string> routes;
    Calls gateways;
    for (int i = 0; i < 300; ++i) {
        gateways.push_back(print("10.0.%d.%d", i / 100, i % 100));
        routes.push_back(to_gateway(gateways.back()));
    }
    set_routes(routes);
    EXPECT_EQ(set_gateway("192.168.0.254"), 0);
    EXPECT_EQ(deleted(), gateways);
    EXPECT_EQ(calls("ioctl").back(), "ioctl socket " + default_route("SIOCADDRT", "192.168.0.254"));
    EXPECT_EQ(calls("ioctl").size(), 301U);
}

TEST_F(Gateways, AreAllDeletedThoughTheTableShrinksWithEach)
{
    std::vector<std::string> routes{to_gateway("10.0.0.1"), to_gateway("10.0.0.2"), to_gateway("10.0.0.3")};
    set_routes(routes);
    at_call("ioctl socket SIOCDELRT", [&] {
        routes.erase(routes.begin());
        set_routes(routes);
    });
    EXPECT_EQ(set_gateway("192.168.0.254"), 0);
    EXPECT_EQ(deleted(), (Calls{"10.0.0.1", "10.0.0.2", "10.0.0.3"}));
}

TEST_F(Gateways, AreSetEvenIfAnotherStays)
{
    set_routes({to_gateway("192.168.0.1")});
    fail_call("SIOCDELRT", EPERM);
    EXPECT_EQ(set_gateway("192.168.0.254"), 0);
    EXPECT_EQ(calls("ioctl").back(), "ioctl socket " + default_route("SIOCADDRT", "192.168.0.254"));
}

TEST_F(Gateways, ThatCannotBeSetAreReportedAfterTheOthersAreGone)
{
    set_routes({to_gateway("192.168.0.1")});
    fail_call("SIOCADDRT", ENETUNREACH);
    EXPECT_EQ(outcome_of([] { return net_set_gateway("br0", 1); }),
              (Outcome{-1, "net_add_gateway: ioctl SIOCADDRT: Network is unreachable\n",
                       examined("br0, 0, 100A8C0, 3")}));
    EXPECT_EQ(deleted(), Calls{"192.168.0.1"});
}

TEST_F(Gateways, OfNoInterfaceAreNone)
{
    set_routes({to_gateway("192.168.0.1")});
    EXPECT_EQ(outcome_of([] { return net_get_gateway(nullptr); }), (Outcome{0}));
    EXPECT_EQ(outcome_of([] { return net_clean_gateway(nullptr); }), (Outcome{0}));
}

} // namespace
} // namespace plexor::tests
