// SPDX-License-Identifier: Apache-2.0
#include <plexor/datagram.h>

#include <netinet/in.h>
#include <sys/socket.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <plexor/md5.h>
#include <plexor/net.h>
#include <plexor/process.h>
#include <plexor/relay.h>

#include "foundation/model_table.h"
#include "nvram.h"
#include "support/bits.h"
#include "support/descriptor.h"
#include "support/list.h"

namespace plexor
{
namespace
{

constexpr std::uint16_t wake_port = 4471;
constexpr std::uint16_t off_delay_port = 9258;
constexpr std::size_t hwaddr_size = 6;

// The lowest number is 1, as people count.
bool is_outlet(unsigned outlet)
{
    return outlet >= 1 && outlet <= max_outlets;
}

struct MagicPacket {
    std::uint8_t start[hwaddr_size];
    std::uint8_t target[16][hwaddr_size];
};
static_assert(sizeof(MagicPacket) == 102);

struct OffDelayDatagram {
    char tag[16];
    std::uint8_t br0_address[4];
    std::uint8_t web_port[2];
    std::uint8_t on_mask;
    std::uint8_t stay_mask;
    char nonce[9];
    std::uint8_t digest[16];
    std::uint8_t eth2_hwaddr[hwaddr_size];
    std::uint8_t eth2_hwaddr_again[hwaddr_size];
    std::uint8_t apcli0_address[4];
    std::uint8_t zero;
};
static_assert(sizeof(OffDelayDatagram) == 66);
static_assert(offsetof(OffDelayDatagram, br0_address) == 16);
static_assert(offsetof(OffDelayDatagram, web_port) == 20);
static_assert(offsetof(OffDelayDatagram, on_mask) == 22);
static_assert(offsetof(OffDelayDatagram, stay_mask) == 23);
static_assert(offsetof(OffDelayDatagram, nonce) == 24);
static_assert(offsetof(OffDelayDatagram, digest) == 33);
static_assert(offsetof(OffDelayDatagram, eth2_hwaddr) == 49);
static_assert(offsetof(OffDelayDatagram, eth2_hwaddr_again) == 55);
static_assert(offsetof(OffDelayDatagram, apcli0_address) == 61);
static_assert(offsetof(OffDelayDatagram, zero) == 65);

Descriptor open_socket()
{
    return Descriptor(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
}

bool allow_broadcast(const Descriptor &socket)
{
    const int on = 1;
    return setsockopt(socket.get(), SOL_SOCKET, SO_BROADCAST, &on, sizeof on) == 0;
}

template <class Datagram>
void broadcast(const Descriptor &socket, std::uint16_t port, const Datagram &datagram)
{
    const sockaddr_in everybody{AF_INET, htons(port), {INADDR_BROADCAST}, {}};
    sendto(socket.get(), &datagram, sizeof datagram, 0, reinterpret_cast<const sockaddr *>(&everybody),
           sizeof everybody);
}

using HwaddrText = char[2 * hwaddr_size + 1];

void fetch_wake_address(unsigned outlet, HwaddrText &digits)
{
    char list[128] = {};
    fetch("WakeOnLan_PX", list);
    const char *const field = nth_filled_field(list, outlet);
    copy_cut(digits, field == nullptr ? "000000000000" : field);
}

MagicPacket magic_packet(const HwaddrText &digits)
{
    MagicPacket packet;
    std::memset(packet.start, 0xFF, sizeof packet.start);
    for (auto &target : packet.target) {
        for (std::size_t i = 0; i < hwaddr_size; ++i)
            target[i] = static_cast<std::uint8_t>(
                Char2ByteFun(reinterpret_cast<const unsigned char *>(digits) + 2 * i));
    }
    return packet;
}

void put_address(std::uint8_t (&field)[4], const char *interface)
{
    const unsigned address = net_get_ifaddr(interface);
    std::memcpy(field, &address, sizeof address);
}

void add_text(const char *text)
{
    md5_update(text, static_cast<unsigned>(std::strlen(text)));
}

// Nonce and proof of the password.
void sign(OffDelayDatagram &datagram)
{
    const unsigned nonce = static_cast<unsigned>(time(nullptr)) + static_cast<unsigned>(rand());
    snprintf(datagram.nonce, sizeof datagram.nonce, "%08X", nonce);
    char login[64] = {};
    char password[64] = {};
    fetch("Login", login);
    fetch("Password", password);
    md5_init();
    add_text(login);
    add_text(password);
    add_text(datagram.nonce);
    md5_final(datagram.digest);
}

std::uint8_t outlets_on()
{
    int states[max_outlets] = {};
    GetPowerStatus(states);
    unsigned mask = 0;
    for (unsigned i = 0; i < max_outlets; ++i)
        mask = with_bit(mask, i, states[i] == 1);
    return static_cast<std::uint8_t>(mask);
}

OffDelayDatagram off_delay_datagram(unsigned outlet)
{
    OffDelayDatagram datagram{};
    std::memcpy(datagram.tag, "PowerOFFDelay10", sizeof datagram.tag);
    const auto port = static_cast<unsigned>(nvram_kget_int("web_port", 0));
    datagram.web_port[0] = static_cast<std::uint8_t>(port >> 8);
    datagram.web_port[1] = static_cast<std::uint8_t>(port);
    net_get_hwaddr("eth2", datagram.eth2_hwaddr);
    std::memcpy(datagram.eth2_hwaddr_again, datagram.eth2_hwaddr, hwaddr_size);
    put_address(datagram.br0_address, "br0");
    put_address(datagram.apcli0_address, "apcli0");
    sign(datagram);
    datagram.on_mask = outlets_on();
    datagram.stay_mask = static_cast<std::uint8_t>(~(1U << (outlet - 1)));
    return datagram;
}

} // namespace
} // namespace plexor

using namespace plexor;

int SendWakeOnLan(int outlet)
{
    if (!is_outlet(static_cast<unsigned>(outlet)))
        return 0;
    HwaddrText digits{};
    fetch_wake_address(static_cast<unsigned>(outlet), digits);
    myprintf("SendWakeOnLan%d:%s\n", outlet, digits);
    Descriptor socket = open_socket();
    if (!socket)
        return socket.get();
    if (allow_broadcast(socket))
        broadcast(socket, wake_port, magic_packet(digits));
    return socket.close();
}

void SendOFFDelayUDP(unsigned outlet)
{
    if (!is_outlet(outlet))
        return;
    const Descriptor socket = open_socket();
    if (socket && allow_broadcast(socket))
        broadcast(socket, off_delay_port, off_delay_datagram(outlet));
}
