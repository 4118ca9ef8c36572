/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file net.h
 * The IPv4 settings of an interface, the kernel's gateway routes, the resolver file and the DHCP client.
 *
 * Interface names are cut at 16 characters, which leaves no room for a terminator, as in the kernel's own
 * request. Addresses, netmasks and gateways are unsigned 32-bit values in network byte order: the first
 * number of the dotted form lies at the lowest address. PLEXOR_NO_ADDRESS says that there is none.
 *
 * Every function does one thing on a socket or file of its own; nothing is locked, and no parameter is read.
 * Changing anything needs CAP_NET_ADMIN. A socket that cannot be opened is perror("socket error") and the
 * function's failure; a request that fails is perror of the function's name, ": ioctl " and the request, such
 * as "net_set_flag: ioctl SIOCGIFFLAGS", unless the function's comment says otherwise. What is printed here
 * goes to standard output.
 *
 * The route functions read "/proc/net/route" without its first line, in lines of at most 129 characters (the
 * rest of a longer one counts as the next; 256 gateways are read before the first is deleted). When it cannot
 * be opened they perror("/proc/net/route") and print "INET (IPv4) not configured in this system.\n". A route
 * counts when it is one through a gateway, be it the default route or not.
 *
 * A name that is null is asked for as an empty one, which no interface has; net_start_dhcpcd gives the
 * program no name then. Where another argument is null, -1 is returned without a message.
 *
 * The setters of addresses and gateways share one socket address, so two threads must not call them at once.
 */
#ifndef PLEXOR_NET_H
#define PLEXOR_NET_H

#include <plexor/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/** An address that is none: the getters' answer for no address or a failure. */
#define PLEXOR_NO_ADDRESS 0xFFFFFFFFU

/** What net_get_info tells of an interface; 24 bytes. */
struct net_info {
    unsigned char hwaddr[6]; /**< Ethernet address */
    unsigned ifaddr;         /**< address */
    unsigned netmask;
    unsigned gateway; /**< of the first route through one; 0 for none */
    unsigned dns;     /**< first name server, as net_get_dns gives it */
};

/**
 * Sets flags of an interface and leaves the others as they are.
 *
 * @param name   interface
 * @param flags  bits to set, of the kernel's IFF_ flags (netdevice(7))
 * @return 0, or -1 (SIOCGIFFLAGS or SIOCSIFFLAGS).
 */
PLEXOR_API int net_set_flag(const char *name, short flags);

/** Clears flags of an interface; otherwise as net_set_flag. */
PLEXOR_API int net_clr_flag(const char *name, short flags);

/**
 * Reads the flags of an interface.
 *
 * @param name  interface
 * @return the 16-bit flag word, 0 to 65535, or -1 (SIOCGIFFLAGS).
 */
PLEXOR_API int net_get_flag(const char *name);

/** Brings an interface up: sets IFF_UP and IFF_RUNNING as net_set_flag does. */
PLEXOR_API int net_nic_up(const char *name);

/** Takes an interface down: clears IFF_UP as net_clr_flag does. IFF_RUNNING is the kernel's business. */
PLEXOR_API int net_nic_down(const char *name);

/**
 * Address of an interface. Polled by others, so it says nothing when there is none; only a socket that cannot
 * be opened is reported.
 *
 * @param name  interface
 * @return address, or PLEXOR_NO_ADDRESS.
 */
PLEXOR_API unsigned net_get_ifaddr(const char *name);

/**
 * Address of an interface, asked for on the caller's socket.
 *
 * @param socket  an open IPv4 socket, which stays open
 * @param name    interface
 * @return address, or PLEXOR_NO_ADDRESS (SIOCGIFADDR).
 */
PLEXOR_API unsigned net_get_ip(int socket, const char *name);

/**
 * Sets the address of an interface. The kernel gives it the netmask of the address's class.
 *
 * @param name     interface
 * @param address  address
 * @return 0, or -1 (SIOCSIFADDR).
 */
PLEXOR_API int net_set_ifaddr(const char *name, unsigned address);

/** Netmask of an interface, or PLEXOR_NO_ADDRESS (SIOCGIFNETMASK). */
PLEXOR_API unsigned net_get_netmask(const char *name);

/** Sets the netmask of an interface: 0, or -1 (SIOCSIFNETMASK). */
PLEXOR_API int net_set_netmask(const char *name, unsigned netmask);

/**
 * Ethernet address of an interface.
 *
 * @param name     interface
 * @param address  receives 6 bytes; untouched after a failure
 * @return 0, or -1 (SIOCGIFHWADDR).
 */
PLEXOR_API int net_get_hwaddr(const char *name, unsigned char *address);

/**
 * Adds a default route through a gateway: destination and netmask 0.0.0.0, flags RTF_UP and RTF_GATEWAY,
 * metric 0.
 *
 * @param name     interface
 * @param gateway  gateway
 * @return 0, or -1 (SIOCADDRT).
 */
PLEXOR_API int net_add_gateway(const char *name, unsigned gateway);

/** Deletes the route that net_add_gateway adds: 0, or -1 (SIOCDELRT). */
PLEXOR_API int net_del_gateway(const char *name, unsigned gateway);

/**
 * Looks for a gateway in one line of "/proc/net/route".
 *
 * @param name     interface
 * @param line     the line
 * @param gateway  receives the gateway when there is one
 * @return 0 when the line is a route of the interface through a gateway and up (RTF_UP and RTF_GATEWAY), else
 *         -1.
 *
 * For every line "net_search_gateway:%s, %lX, %lX, %X\n" (interface, destination, gateway, flags) is printed;
 * what the line does not have is empty or 0 in it. An interface ends after 129 characters, and what follows
 * is the next column.
 */
PLEXOR_API int net_search_gateway(const char *name, const char *line, unsigned *gateway);

/** Gateway of the interface's first route through one; 0 when there is none or the routes cannot be read. */
PLEXOR_API unsigned net_get_gateway(const char *name);

/**
 * Deletes the default route through each gateway that a route of the interface has, as net_del_gateway does,
 * whose failures are passed over. A host or network route through a gateway is tried as well, and stays.
 *
 * @param name  interface
 * @return 0, or -1 when the routes cannot be read.
 */
PLEXOR_API int net_clean_gateway(const char *name);

/**
 * Makes a gateway the only one of an interface: net_clean_gateway, then net_add_gateway.
 *
 * @param name     interface
 * @param gateway  gateway
 * @return what net_add_gateway returns; -1, with nothing added, when the routes cannot be read.
 */
PLEXOR_API int net_set_gateway(const char *name, unsigned gateway);

/**
 * Writes "/etc/resolv.conf" anew with one name server, "nameserver %s\n", and prints "dns=%s\n".
 *
 * @param address  name server, as text
 * @return 0, or -1 after printing "net_set_dns: file \"%s\" opened for writing error!\n" (path) when the file
 *         cannot be opened. A text with a line break would be more than one server: -1, nothing written.
 */
PLEXOR_API int net_set_dns(const char *address);

/**
 * First name server of "/etc/resolv.conf", which has to begin with "nameserver", blanks or line ends, and the
 * name; "dns=%s\n" is printed with at most 255 characters of it.
 *
 * @return what inet_addr makes of the name; PLEXOR_NO_ADDRESS for a file that begins with something else; 0
 *         when the file cannot be opened, after "net_get_dns: file \"%s\" opened for reading error!\n" (path)
 *         was printed, and when it ends before a name, after "net_get_dns: scan fail!\n" and that line.
 *
 * A file that ends too early stays open: each such call costs the process a descriptor.
 */
PLEXOR_API unsigned net_get_dns(void);

/**
 * Starts "/opt/ipnc/dhcpcd/dhcpcd" for an interface and does not wait for it; it is the caller's child.
 *
 * @param name  interface
 * @return process id of the child, also when the program is missing: then the child says
 *         perror("exec dhcpcd failed") and ends with status 0. -1 after perror("fork dhcpcd failed").
 */
PLEXOR_API int net_start_dhcpcd(const char *name);

/**
 * Has a DHCP client renew its lease, by SIGALRM.
 *
 * @param pid  its process id
 * @return 0, or -1 after perror("net_disable_dhcpcd, kill error") for a signal that could not be sent and
 *         "net_disable_dhcpcd, pid error\n" printed in any case. An id below 1 is never signalled.
 */
PLEXOR_API int net_renew_dhcpcd(int pid);

/**
 * Restarts the DHCP client by the shell: "killall -2 dhcpcd", then "/opt/ipnc/dhcpcd/dhcpcd".
 *
 * @return what system() returns for the second.
 */
PLEXOR_API int net_enable_dhcpcd(void);

/** Stops all DHCP clients: what system() returns for "killall -2 dhcpcd". */
PLEXOR_API int net_disable_dhcpcd(void);

/**
 * Everything about an interface.
 *
 * @param name  interface
 * @param info  filled in the order ifaddr, netmask, hwaddr, gateway, dns
 * @return 0, or -1 (SIOCGIFADDR, SIOCGIFNETMASK, SIOCGIFHWADDR): fields before the one that failed are
 *         filled.
 *
 * Prints "ifaddr=0x%x\n", "netmask=0x%x\n", "hwaddr=%02x:%02x:%02x:%02x:%02x:%02x\n" and "gateway=0x%x\n",
 * each when it is known, and what net_get_gateway and net_get_dns print.
 */
PLEXOR_API int net_get_info(const char *name, struct net_info *info);

#ifdef __cplusplus
}
#endif

#endif
