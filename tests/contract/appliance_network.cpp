// SPDX-License-Identifier: Apache-2.0
// The sockets of an appliance in a contract test. None is real: the descriptor behind each leads nowhere.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tests/contract/answers.h"
#include "tests/contract/appliance_world.h"
#include "tests/contract/call_text.h"

namespace plexor::tests
{
namespace
{

std::string family_name(int family)
{
    return family == AF_INET ? "INET" : std::to_string(family);
}

std::string type_name(int type)
{
    return type == SOCK_DGRAM ? "DGRAM" : std::to_string(type);
}

std::string option_name(int level, int option)
{
    return level == SOL_SOCKET && option == SO_BROADCAST ? "BROADCAST" : print("%d %d", level, option);
}

} // namespace

int ApplianceWorld::open_socket()
{
    if (const auto number = open_numbers.extract("socket")) {
        if (number.mapped() >= 0)
            sockets[number.mapped()] = {false, false};
        return number.mapped();
    }
    const int descriptor = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    if (descriptor >= 0)
        sockets[descriptor] = {true, false};
    return descriptor;
}

int ApplianceWorld::socket(int family, int type, int protocol)
{
    const Lock lock(mutex_);
    const std::string kind = type_name(type & ~(SOCK_CLOEXEC | SOCK_NONBLOCK));
    note("socket %s %s %d", family_name(family).c_str(), kind.c_str(), protocol);
    if ((type & SOCK_CLOEXEC) == 0)
        ADD_FAILURE() << calls.back() << ": the socket is opened without close-on-exec";
    return fails("socket") ? -1 : open_socket();
}

int ApplianceWorld::setsockopt(int descriptor, int level, int option, const void *value, socklen_t size)
{
    const Lock lock(mutex_);
    const auto socket = sockets.find(descriptor);
    if (socket == sockets.end())
        return on_file(::setsockopt(descriptor, level, option, value, size), "setsockopt", descriptor);
    int number = 0;
    std::memcpy(&number, value, std::min<std::size_t>(size, sizeof number));
    note("setsockopt %s %d", option_name(level, option).c_str(), number);
    if (size != sizeof number)
        ADD_FAILURE() << calls.back() << ": the value has " << size << " bytes";
    if (fails("setsockopt"))
        return -1;
    if (level == SOL_SOCKET && option == SO_BROADCAST)
        socket->second.broadcasts = number != 0;
    return 0;
}

ssize_t ApplianceWorld::sendto(int descriptor, const void *bytes, std::size_t size, int flags,
                               const sockaddr *address, socklen_t address_size)
{
    const Lock lock(mutex_);
    const auto socket = sockets.find(descriptor);
    if (socket == sockets.end())
        return on_file(::sendto(descriptor, bytes, size, flags, address, address_size), "sendto", descriptor);
    const std::string to = text_of(address, address_size);
    note("sendto %s %zu bytes flags %d", to.c_str(), size, flags);
    if (fails("sendto"))
        return -1;
    if (to.starts_with("255.255.255.255:") && !socket->second.broadcasts)
        return fail_with(EACCES);
    const auto *first = static_cast<const std::uint8_t *>(bytes);
    datagrams.push_back({to, {first, first + size}});
    return static_cast<ssize_t>(size);
}

int ApplianceWorld::socket_ioctl(unsigned long number, std::uintptr_t argument)
{
    const char *const name = Network::name_of(number);
    if (name == nullptr || argument == 0) {
        ADD_FAILURE() << "ioctl of a socket with number " << number << " and argument " << argument;
        return fail_with(EINVAL);
    }
    note("ioctl socket %s %s", name, Network::text_of(number, argument).c_str());
    const bool due = fails(name);
    return ioctl_fails("socket", number) || due ? -1 : answer_with(network.answer(number, argument));
}

} // namespace plexor::tests
