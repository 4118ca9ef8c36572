// SPDX-License-Identifier: Apache-2.0
#include <arpa/inet.h>
#include <cstring>
#include <net/if.h>

#include <plexor/net.h>

#include "tools/plexorctl/command.h"
#include "tools/plexorctl/json.h"
#include "tools/plexorctl/parse.h"
#include "tools/support/console.h"

namespace plexor::ctl
{
namespace
{

constexpr unsigned no_address = PLEXOR_NO_ADDRESS;

// --- interfaces ---

bool is_interface_name(std::string_view text)
{
    for (const char c : text) {
        if (c <= ' ' || c > '~' || c == '/')
            return false;
    }
    return !text.empty() && text.size() < IFNAMSIZ;
}

// The interface that is named; null after a line on standard error, with the status.
const char *existing_interface(const Context &context, int &status)
{
    const char *name = context.arguments.empty() ? "br0" : context.arguments[0];
    if (!is_interface_name(name)) {
        status =
            wrong_input("'%.80s' is no interface; accepted: 1 to 15 characters without blanks and '/'", name);
        return nullptr;
    }
    if (if_nametoindex(name) == 0) {
        status = failure("there is no interface %s", name);
        return nullptr;
    }
    return name;
}

// --- net show ---

struct FlagName {
    unsigned flag;
    const char *name;
};

constexpr FlagName flag_names[] = {
    {IFF_UP, "up"},
    {IFF_RUNNING, "running"},
    {IFF_BROADCAST, "broadcast"},
    {IFF_LOOPBACK, "loopback"},
    {IFF_POINTOPOINT, "point-to-point"},
    {IFF_MULTICAST, "multicast"},
    {IFF_PROMISC, "promiscuous"},
};

struct Picture {
    const char *name;
    unsigned address;
    unsigned netmask;
    bool has_hardware;
    unsigned char hardware[6];
    unsigned flags;
    unsigned gateway; // 0 for none
    unsigned dns;     // 0 or no_address for none
};

Picture take_picture(const char *name)
{
    Picture picture{};
    picture.name = name;
    picture.address = net_get_ifaddr(name);
    picture.netmask = picture.address == no_address ? no_address : net_get_netmask(name);
    picture.has_hardware = net_get_hwaddr(name, picture.hardware) == 0;
    picture.flags = static_cast<unsigned>(net_get_flag(name));
    picture.gateway = net_get_gateway(name);
    picture.dns = net_get_dns();
    return picture;
}

struct AddressText {
    char text[INET_ADDRSTRLEN];
};

AddressText dotted(unsigned address)
{
    AddressText result{};
    inet_ntop(AF_INET, &address, result.text, sizeof result.text);
    return result;
}

struct HardwareText {
    char text[18];
};

HardwareText colon_separated(const unsigned char (&bytes)[6])
{
    HardwareText result{};
    std::snprintf(result.text, sizeof result.text, "%02X:%02X:%02X:%02X:%02X:%02X", bytes[0], bytes[1],
                  bytes[2], bytes[3], bytes[4], bytes[5]);
    return result;
}

bool is_none(unsigned gateway_or_server)
{
    return gateway_or_server == 0 || gateway_or_server == no_address;
}

void print_row(const char *label, bool known, const char *text)
{
    std::fprintf(results(), "%-10s  %s\n", label, known ? text : "none");
}

void print_flags(unsigned flags)
{
    std::fprintf(results(), "Flags       0x%04X", flags);
    for (const FlagName &flag : flag_names) {
        if ((flags & flag.flag) != 0)
            std::fprintf(results(), " %s", flag.name);
    }
    std::fputc('\n', results());
}

void print_text(const Picture &picture)
{
    print_row("Interface", true, picture.name);
    print_row("Address", picture.address != no_address, dotted(picture.address).text);
    print_row("Netmask", picture.netmask != no_address, dotted(picture.netmask).text);
    print_row("Hardware", picture.has_hardware, colon_separated(picture.hardware).text);
    print_flags(picture.flags);
    print_row("Gateway", !is_none(picture.gateway), dotted(picture.gateway).text);
    print_row("DNS", !is_none(picture.dns), dotted(picture.dns).text);
}

void write_flags(Json &json, unsigned flags)
{
    json.number("flags", flags);
    json.begin_array("flag_names");
    for (const FlagName &flag : flag_names) {
        if ((flags & flag.flag) != 0)
            json.text(nullptr, flag.name);
    }
    json.end();
}

void print_json(const Picture &picture)
{
    const auto unless = [](bool none, const char *text) { return none ? nullptr : text; };
    Json json(results());
    json.text("interface", picture.name);
    json.text("address", unless(picture.address == no_address, dotted(picture.address).text));
    json.text("netmask", unless(picture.netmask == no_address, dotted(picture.netmask).text));
    json.text("hardware", unless(!picture.has_hardware, colon_separated(picture.hardware).text));
    write_flags(json, picture.flags);
    json.text("gateway", unless(is_none(picture.gateway), dotted(picture.gateway).text));
    json.text("dns", unless(is_none(picture.dns), dotted(picture.dns).text));
}

int show(const Context &context, const char *name)
{
    const Picture picture = take_picture(name);
    if (context.json)
        print_json(picture);
    else
        print_text(picture);
    return done;
}

// --- net set ---

struct Wish {
    std::optional<unsigned> address, netmask, gateway, dns; // in network byte order
    bool up, down;

    bool is_nothing() const { return !address && !netmask && !gateway && !dns && !up && !down; }
};

bool is_host_address(unsigned host_order)
{
    const unsigned first = host_order >> 24;
    return first >= 1 && first < 224; // neither "this network" nor multicast and what is reserved
}

bool is_netmask(unsigned host_order)
{
    const unsigned hosts = ~host_order;
    return host_order != 0 && (hosts & (hosts + 1)) == 0;
}

// False after a line on standard error. A word that is not given leaves the value as it is.
bool parse_value(const char *word, const char *what, const char *accepted, bool (*is_fit)(unsigned),
                 std::optional<unsigned> &value)
{
    if (word == nullptr)
        return true;
    in_addr address{};
    if (inet_pton(AF_INET, word, &address) == 1 && is_fit(ntohl(address.s_addr))) {
        value = address.s_addr;
        return true;
    }
    wrong_input("'%.80s' is no %s; accepted: %s", word, what, accepted);
    return false;
}

bool parse_wish(const Context &context, Wish &wish)
{
    constexpr const char *hosts = "A.B.C.D with A from 1 to 223";
    wish.up = context.up;
    wish.down = context.down;
    return parse_value(context.address, "address", hosts, is_host_address, wish.address) &&
           parse_value(context.netmask, "netmask", "A.B.C.D with ones before zeros", is_netmask,
                       wish.netmask) &&
           parse_value(context.gateway, "gateway", hosts, is_host_address, wish.gateway) &&
           parse_value(context.dns, "name server", hosts, is_host_address, wish.dns);
}

int check_combination(const Wish &wish)
{
    if (wish.is_nothing())
        return wrong_input(
            "there is nothing to set; accepted: --address, --netmask, --gateway, --dns, --up, --down");
    if (wish.up && wish.down)
        return wrong_input("--up and --down are both given; accepted: one of them");
    if (wish.gateway && wish.down)
        return wrong_input("an interface that is down has no gateway; accepted: --gateway without --down");
    return done;
}

unsigned netmask_of_class(unsigned address)
{
    const unsigned first = ntohl(address) >> 24;
    if (first < 128)
        return htonl(IN_CLASSA_NET);
    return htonl(first < 192 ? IN_CLASSB_NET : IN_CLASSC_NET);
}

// As the kernel will have it when the gateway is added.
unsigned netmask_in_force(const char *name, const Wish &wish)
{
    if (wish.netmask)
        return *wish.netmask;
    const bool is_new = wish.address && *wish.address != net_get_ifaddr(name);
    return is_new ? netmask_of_class(*wish.address) : net_get_netmask(name);
}

// The kernel would refuse the gateway, but only when the address is changed already.
int check_against_interface(const char *name, const Wish &wish)
{
    const unsigned address = wish.address.value_or(net_get_ifaddr(name));
    if (address == no_address && (wish.netmask || wish.gateway))
        return failure("nothing was set: %s has no address; accepted together with --address", name);
    const unsigned netmask = netmask_in_force(name, wish);
    if (wish.gateway && ((*wish.gateway ^ address) & netmask) != 0)
        return failure("nothing was set: the gateway %s lies outside the network of %s, netmask %s",
                       dotted(*wish.gateway).text, dotted(address).text, dotted(netmask).text);
    if (wish.gateway && !wish.up && (net_get_flag(name) & IFF_UP) == 0)
        return failure("nothing was set: %s is down and takes no gateway; accepted together with --up", name);
    return done;
}

int refused(const char *name, const char *what)
{
    return failure("%s of %s was not set: the kernel refused; --verbose shows why", what, name);
}

// A gateway comes after the network that it lies in, and after the interface is up.
int set(const char *name, const Wish &wish)
{
    if (wish.address && net_set_ifaddr(name, *wish.address) != 0)
        return refused(name, "the address");
    if (wish.netmask && net_set_netmask(name, *wish.netmask) != 0)
        return refused(name, "the netmask");
    if (wish.up && net_nic_up(name) != 0)
        return refused(name, "the state");
    if (wish.gateway && net_set_gateway(name, *wish.gateway) != 0)
        return refused(name, "the gateway");
    if (wish.dns && net_set_dns(dotted(*wish.dns).text) != 0)
        return failure("the name server was not set: /etc/resolv.conf cannot be written");
    if (wish.down && net_nic_down(name) != 0)
        return refused(name, "the state");
    return done;
}

} // namespace

int net_show(const Context &context)
{
    int status = done;
    const char *name = existing_interface(context, status);
    return name == nullptr ? status : show(context, name);
}

int net_set(const Context &context)
{
    Wish wish{};
    if (!parse_wish(context, wish))
        return bad_input;
    if (const int status = check_combination(wish); status != done)
        return status;
    int status = done;
    const char *name = existing_interface(context, status);
    if (name == nullptr)
        return status;
    status = check_against_interface(name, wish);
    if (status == done)
        status = set(name, wish);
    return status == done ? show(context, name) : status;
}

} // namespace plexor::ctl
