// SPDX-License-Identifier: Apache-2.0
//
// Who calls it: the network processes and the web interface; the off-delay datagram for the appliance's
// addresses.
// What it owns: the resolver file.
// What is odd: deleting a gateway means deleting a default route, whatever the route was; a resolver file
// that ends too early stays open.
#include <plexor/net.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <net/if.h>
#include <net/route.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "support/descriptor.h"
#include "support/scan.h"

static_assert(sizeof(net_info) == 24);
static_assert(offsetof(net_info, hwaddr) == 0);
static_assert(offsetof(net_info, ifaddr) == 8);
static_assert(offsetof(net_info, netmask) == 12);
static_assert(offsetof(net_info, gateway) == 16);
static_assert(offsetof(net_info, dns) == 20);

namespace plexor
{
namespace
{

constexpr const char *route_file = "/proc/net/route";
constexpr const char *resolver_file = "/etc/resolv.conf";
constexpr char dhcp_client[] = "/opt/ipnc/dhcpcd/dhcpcd";
constexpr const char *stop_dhcp_clients = "killall -2 dhcpcd";
constexpr std::size_t hwaddr_size = 6;

int complain(const char *message)
{
    perror(message);
    return -1;
}

// The socket that requests about interfaces and routes are made on.
Descriptor open_socket()
{
    Descriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!socket)
        complain("socket error");
    return socket;
}

// All of the name or its first 16 characters, then without a terminator, as the kernel has it.
void put_name(ifreq &request, const char *name)
{
    if (name == nullptr)
        name = "";
    std::memset(request.ifr_name, 0, sizeof request.ifr_name);
    std::memcpy(request.ifr_name, name, strnlen(name, sizeof request.ifr_name));
}

ifreq request_for(const char *name)
{
    ifreq request{};
    put_name(request, name);
    return request;
}

unsigned address_in(const sockaddr &address)
{
    sockaddr_in internet;
    std::memcpy(&internet, &address, sizeof internet);
    return internet.sin_addr.s_addr;
}

// The template of every address that is set: family, port and padding stay, and so does the last address.
const sockaddr_in &internet_address(unsigned address)
{
    static sockaddr_in kept{AF_INET, 0, {0}, {}};
    kept.sin_addr.s_addr = address;
    return kept;
}

sockaddr socket_address(const sockaddr_in &internet)
{
    sockaddr address;
    static_assert(sizeof address == sizeof internet);
    std::memcpy(&address, &internet, sizeof address);
    return address;
}

// 0 or -1, after saying what failed.
int ask(const Descriptor &socket, unsigned long request, void *record, const char *message)
{
    return ioctl(socket.get(), request, record) < 0 ? complain(message) : 0;
}

int ask_once(unsigned long request, void *record, const char *message)
{
    const Descriptor socket = open_socket();
    return socket ? ask(socket, request, record, message) : -1;
}

struct FlagMessages {
    const char *get;
    const char *set;
};

template <class Change>
int change_flags(const char *name, Change change, const FlagMessages &messages)
{
    const Descriptor socket = open_socket();
    ifreq request = request_for(name);
    if (!socket || ask(socket, SIOCGIFFLAGS, &request, messages.get) < 0)
        return -1;
    put_name(request, name); // the kernel may have written it
    request.ifr_flags = static_cast<short>(change(static_cast<unsigned short>(request.ifr_flags)));
    return ask(socket, SIOCSIFFLAGS, &request, messages.set);
}

int change_route(const char *name, unsigned gateway, unsigned long request, const char *message)
{
    char device[IFNAMSIZ + 1] = {};
    const ifreq named = request_for(name);
    std::memcpy(device, named.ifr_name, sizeof named.ifr_name);
    rtentry route{};
    route.rt_dst = socket_address({AF_INET, 0, {0}, {}});
    route.rt_gateway = socket_address(internet_address(gateway));
    route.rt_genmask = route.rt_dst;
    route.rt_flags = RTF_UP | RTF_GATEWAY;
    route.rt_dev = device;
    return ask_once(request, &route, message);
}

// --- routes ---

using RouteLine = char[130];

// A line with its end, or as much of it as fits; false at the end of the file.
bool read_line(Characters &text, RouteLine &line)
{
    std::size_t length = 0;
    for (char last = '\0'; !text.at_end() && last != '\n' && length + 1 < sizeof line; text.advance())
        line[length++] = last = text.current();
    line[length] = '\0';
    return length != 0;
}

Descriptor open_routes()
{
    Descriptor routes(open(route_file, O_RDONLY | O_CLOEXEC));
    if (!routes) {
        perror(route_file);
        printf("INET (IPv4) not configured in this system.\n");
    }
    return routes;
}

// Calls use for the gateway of each matching route until it returns false.
template <class Use>
void walk_gateways(const Descriptor &routes, const char *name, Use use)
{
    Characters text(routes.get());
    RouteLine line;
    read_line(text, line); // the header
    for (unsigned gateway = 0; read_line(text, line);) {
        if (net_search_gateway(name, line, &gateway) == 0 && !use(gateway))
            return;
    }
}

// The routes are read before any is deleted: a kernel that counts where a reader stands may have it miss some
// when it goes on after a deletion. Beyond so many gateways it is left to the kernel.
void delete_gateways(const Descriptor &routes, const char *name)
{
    constexpr std::size_t most = 256;
    unsigned gateways[most] = {};
    std::size_t count = 0;
    const auto flush = [&] {
        for (std::size_t i = 0; i < count; ++i)
            net_del_gateway(name, gateways[i]);
        count = 0;
    };
    walk_gateways(routes, name, [&](unsigned gateway) {
        gateways[count++] = gateway;
        if (count == most)
            flush();
        return true;
    });
    flush();
}

// --- name servers ---

// Reads "nameserver ADDRESS" from the front; of anything else, nothing. False when the text ends before it
// can be told.
bool scan_name_server(Characters &text, char (&address)[256])
{
    address[0] = '\0';
    for (const char *expected = "nameserver"; *expected != '\0'; ++expected, text.advance()) {
        if (text.at_end())
            return false;
        if (text.current() != *expected)
            return true;
    }
    skip_spaces(text);
    if (text.at_end())
        return false;
    std::size_t length = 0;
    for (; !text.at_end() && !is_space(text.current()); text.advance()) {
        if (length + 1 < sizeof address)
            address[length++] = text.current();
    }
    address[length] = '\0';
    return true;
}

unsigned complain_about_reading()
{
    printf("net_get_dns: file \"%s\" opened for reading error!\n", resolver_file);
    return 0;
}

// --- everything at once ---

int ask_about_interface(const char *name, net_info &info)
{
    const Descriptor socket = open_socket();
    ifreq request = request_for(name);
    if (!socket || ask(socket, SIOCGIFADDR, &request, "net_get_info: ioctl SIOCGIFADDR") < 0)
        return -1;
    info.ifaddr = address_in(request.ifr_addr);
    printf("ifaddr=0x%x\n", info.ifaddr);
    if (ask(socket, SIOCGIFNETMASK, &request, "net_get_info: ioctl SIOCGIFNETMASK") < 0)
        return -1;
    info.netmask = address_in(request.ifr_netmask);
    printf("netmask=0x%x\n", info.netmask);
    if (ask(socket, SIOCGIFHWADDR, &request, "net_get_info: ioctl SIOCGIFHWADDR") < 0)
        return -1;
    std::memcpy(info.hwaddr, request.ifr_hwaddr.sa_data, hwaddr_size);
    const unsigned char *const h = info.hwaddr;
    printf("hwaddr=%02x:%02x:%02x:%02x:%02x:%02x\n", h[0], h[1], h[2], h[3], h[4], h[5]);
    return 0;
}

} // namespace
} // namespace plexor

using namespace plexor;

int net_set_flag(const char *name, short flags)
{
    return change_flags(name, [flags](unsigned now) { return now | static_cast<unsigned short>(flags); },
                        {"net_set_flag: ioctl SIOCGIFFLAGS", "net_set_flag: ioctl SIOCSIFFLAGS"});
}

int net_clr_flag(const char *name, short flags)
{
    return change_flags(name,
                        [flags](unsigned now) { return now & ~unsigned{static_cast<unsigned short>(flags)}; },
                        {"net_clr_flag: ioctl SIOCGIFFLAGS", "net_clr_flag: ioctl SIOCSIFFLAGS"});
}

int net_get_flag(const char *name)
{
    ifreq request = request_for(name);
    if (ask_once(SIOCGIFFLAGS, &request, "net_get_flag: ioctl SIOCGIFFLAGS") < 0)
        return -1;
    return static_cast<unsigned short>(request.ifr_flags);
}

int net_nic_up(const char *name)
{
    return net_set_flag(name, IFF_UP | IFF_RUNNING);
}

int net_nic_down(const char *name)
{
    return net_clr_flag(name, IFF_UP);
}

unsigned net_get_ifaddr(const char *name)
{
    const Descriptor socket = open_socket();
    ifreq request = request_for(name);
    if (!socket || ioctl(socket.get(), SIOCGIFADDR, &request) < 0)
        return PLEXOR_NO_ADDRESS;
    return address_in(request.ifr_addr);
}

unsigned net_get_ip(int socket, const char *name)
{
    ifreq request = request_for(name);
    if (ioctl(socket, SIOCGIFADDR, &request) >= 0)
        return address_in(request.ifr_addr);
    complain("net_get_ip: ioctl SIOCGIFADDR");
    return PLEXOR_NO_ADDRESS;
}

int net_set_ifaddr(const char *name, unsigned address)
{
    ifreq request = request_for(name);
    request.ifr_addr = socket_address(internet_address(address));
    return ask_once(SIOCSIFADDR, &request, "net_set_ifaddr: ioctl SIOCSIFADDR");
}

unsigned net_get_netmask(const char *name)
{
    ifreq request = request_for(name);
    if (ask_once(SIOCGIFNETMASK, &request, "net_get_netmask: ioctl SIOCGIFNETMASK") < 0)
        return PLEXOR_NO_ADDRESS;
    return address_in(request.ifr_netmask);
}

int net_set_netmask(const char *name, unsigned netmask)
{
    ifreq request = request_for(name);
    request.ifr_netmask = socket_address(internet_address(netmask));
    return ask_once(SIOCSIFNETMASK, &request, "net_set_netmask: ioctl SIOCSIFNETMASK");
}

int net_get_hwaddr(const char *name, unsigned char *address)
{
    if (address == nullptr)
        return -1;
    ifreq request = request_for(name);
    if (ask_once(SIOCGIFHWADDR, &request, "net_get_hwaddr: ioctl SIOCGIFHWADDR") < 0)
        return -1;
    std::memcpy(address, request.ifr_hwaddr.sa_data, hwaddr_size);
    return 0;
}

int net_add_gateway(const char *name, unsigned gateway)
{
    return change_route(name, gateway, SIOCADDRT, "net_add_gateway: ioctl SIOCADDRT");
}

int net_del_gateway(const char *name, unsigned gateway)
{
    return change_route(name, gateway, SIOCDELRT, "net_del_gateway: ioctl SIOCDELRT");
}

int net_search_gateway(const char *name, const char *line, unsigned *gateway)
{
    if (name == nullptr || line == nullptr || gateway == nullptr)
        return -1;
    RouteLine interface = "";
    unsigned long destination = 0;
    unsigned long through = 0;
    unsigned flags = 0;
    sscanf(line, "%129s\t%08lX\t%08lX\t%8X\t", interface, &destination, &through, &flags);
    printf("net_search_gateway:%s, %lX, %lX, %X\n", interface, destination, through, flags);
    constexpr unsigned up_through_gateway = RTF_UP | RTF_GATEWAY;
    if (std::strcmp(interface, name) != 0 || (flags & up_through_gateway) != up_through_gateway)
        return -1;
    *gateway = static_cast<unsigned>(through);
    return 0;
}

unsigned net_get_gateway(const char *name)
{
    const Descriptor routes = open_routes();
    unsigned first = 0;
    if (routes) {
        walk_gateways(routes, name, [&first](unsigned gateway) {
            first = gateway;
            return false;
        });
    }
    return first;
}

int net_clean_gateway(const char *name)
{
    const Descriptor routes = open_routes();
    if (!routes)
        return -1;
    delete_gateways(routes, name);
    return 0;
}

int net_set_gateway(const char *name, unsigned gateway)
{
    return net_clean_gateway(name) < 0 ? -1 : net_add_gateway(name, gateway);
}

int net_set_dns(const char *address)
{
    if (address == nullptr || std::strchr(address, '\n') != nullptr)
        return -1;
    Descriptor file(open(resolver_file, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (!file) {
        printf("net_set_dns: file \"%s\" opened for writing error!\n", resolver_file);
        return -1;
    }
    dprintf(file.get(), "nameserver %s\n", address);
    file.close();
    printf("dns=%s\n", address);
    return 0;
}

unsigned net_get_dns(void)
{
    Descriptor file(open(resolver_file, O_RDONLY | O_CLOEXEC));
    if (!file)
        return complain_about_reading();
    Characters text(file.get());
    char address[256];
    if (!scan_name_server(text, address)) {
        file.release(); // stays open: programs were written around the descriptor that this costs
        printf("net_get_dns: scan fail!\n");
        return complain_about_reading();
    }
    file.close();
    printf("dns=%s\n", address);
    return inet_addr(address);
}

int net_start_dhcpcd(const char *name)
{
    // vfork: callers are large and the memory is small. The child does little but become the program.
    // NOLINTBEGIN(clang-analyzer-*)
    const pid_t child = vfork();
    if (child == 0) {
        execlp(dhcp_client, dhcp_client, name, static_cast<char *>(nullptr));
        perror("exec dhcpcd failed");
        _exit(0);
    }
    // NOLINTEND(clang-analyzer-*)
    return child < 0 ? complain("fork dhcpcd failed") : child;
}

int net_renew_dhcpcd(int pid)
{
    if (pid > 0) {
        if (kill(pid, SIGALRM) == 0)
            return 0;
        perror("net_disable_dhcpcd, kill error");
    }
    printf("net_disable_dhcpcd, pid error\n");
    return -1;
}

int net_enable_dhcpcd(void)
{
    net_disable_dhcpcd();
    return system(dhcp_client);
}

int net_disable_dhcpcd(void)
{
    return system(stop_dhcp_clients);
}

int net_get_info(const char *name, net_info *info)
{
    if (info == nullptr || ask_about_interface(name, *info) < 0)
        return -1;
    info->gateway = net_get_gateway(name);
    printf("gateway=0x%x\n", info->gateway);
    info->dns = net_get_dns();
    return 0;
}
