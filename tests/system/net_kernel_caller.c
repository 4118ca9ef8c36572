/* SPDX-License-Identifier: Apache-2.0 */
/*
 * Calls one function of net.h: net-caller FUNCTION ARGUMENT... with addresses in dotted form and numbers as C has
 * them. After what the function printed comes a line "= RESULT".
 */
#include <arpa/inet.h>
#include <plexor/plexor.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

static int number(int result)
{
    printf("= %d\n", result);
    return 0;
}

static const char *dotted(unsigned value)
{
    static char text[INET_ADDRSTRLEN];
    return inet_ntop(AF_INET, &value, text, sizeof text);
}

static int address(unsigned result)
{
    printf("= %s\n", dotted(result));
    return 0;
}

static int ip_on_own_socket(const char *name)
{
    const int own = socket(AF_INET, SOCK_DGRAM, 0);
    const unsigned first = net_get_ip(own, name);
    const unsigned second = net_get_ip(own, name); /* the socket is still there */
    close(own);
    printf("= %s\n", first == second ? dotted(first) : "differs");
    return 0;
}

static void print_hwaddr(const unsigned char *bytes)
{
    printf("%02x:%02x:%02x:%02x:%02x:%02x", bytes[0], bytes[1], bytes[2], bytes[3], bytes[4], bytes[5]);
}

static int hwaddr(const char *name)
{
    unsigned char bytes[6] = {0};
    const int result = net_get_hwaddr(name, bytes);
    printf("= %d ", result);
    print_hwaddr(bytes);
    printf("\n");
    return 0;
}

static int search(const char *name, const char *line)
{
    unsigned gateway = 0;
    const int result = net_search_gateway(name, line, &gateway);
    printf("= %d %s\n", result, dotted(gateway));
    return 0;
}

static int info(const char *name)
{
    struct net_info all;
    memset(&all, 0, sizeof all);
    const int result = net_get_info(name, &all);
    printf("= %d ", result);
    print_hwaddr(all.hwaddr);
    printf(" %s", dotted(all.ifaddr));
    printf(" %s", dotted(all.netmask));
    printf(" %s", dotted(all.gateway));
    printf(" %s\n", dotted(all.dns));
    return 0;
}

static int is(const char *wanted, const char *name, int argc, int count)
{
    return strcmp(wanted, name) == 0 && argc == 2 + count;
}

#define CALL(function, count, shown)                                                                         \
    if (is(argv[1], #function, argc, count))                                                                 \
    return shown
#define WITH_ADDRESS(function) CALL(function, 2, number(function(argv[2], inet_addr(argv[3]))))
#define WITH_FLAGS(function) CALL(function, 2, number(function(argv[2], (short)strtol(argv[3], NULL, 0))))

static int set(int argc, char **argv)
{
    WITH_FLAGS(net_set_flag);
    WITH_FLAGS(net_clr_flag);
    CALL(net_nic_up, 1, number(net_nic_up(argv[2])));
    CALL(net_nic_down, 1, number(net_nic_down(argv[2])));
    WITH_ADDRESS(net_set_ifaddr);
    WITH_ADDRESS(net_set_netmask);
    WITH_ADDRESS(net_add_gateway);
    WITH_ADDRESS(net_del_gateway);
    WITH_ADDRESS(net_set_gateway);
    CALL(net_clean_gateway, 1, number(net_clean_gateway(argv[2])));
    CALL(net_set_dns, 1, number(net_set_dns(argv[2])));
    CALL(net_start_dhcpcd, 1, number(net_start_dhcpcd(argv[2])));
    CALL(net_renew_dhcpcd, 1, number(net_renew_dhcpcd(atoi(argv[2]))));
    CALL(net_enable_dhcpcd, 0, number(net_enable_dhcpcd()));
    CALL(net_disable_dhcpcd, 0, number(net_disable_dhcpcd()));
    return 2;
}

static int get(int argc, char **argv)
{
    CALL(net_get_flag, 1, number(net_get_flag(argv[2])));
    CALL(net_get_ifaddr, 1, address(net_get_ifaddr(argv[2])));
    CALL(net_get_ip, 1, ip_on_own_socket(argv[2]));
    CALL(net_get_netmask, 1, address(net_get_netmask(argv[2])));
    CALL(net_get_gateway, 1, address(net_get_gateway(argv[2])));
    CALL(net_get_dns, 0, address(net_get_dns()));
    CALL(net_get_hwaddr, 1, hwaddr(argv[2]));
    CALL(net_search_gateway, 2, search(argv[2], argv[3]));
    CALL(net_get_info, 1, info(argv[2]));
    return 2;
}

int main(int argc, char **argv)
{
    if (argc < 2)
        return 2;
    return set(argc, argv) == 0 ? 0 : get(argc, argv);
}
