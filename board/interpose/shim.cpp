// SPDX-License-Identifier: Apache-2.0
// Preloaded into the processes of an appliance without hardware: opening one of the three devices connects to
// the board daemon, and requests on that descriptor are answered there. Everything else is the real thing.
//
// An opened device is a connected socket, so that closing it, being killed and exec with close-on-exec look
// to the daemon as they do to a driver. The only state is a table of the descriptors that are such sockets.
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstring>

#include "board/interpose/marshal.h"
#include "board/interpose/next.h"
#include "board/interpose/wire.h"

namespace
{

using namespace plexor::board;

// What a descriptor is: 0 not ours, else 1 + device; with busy set while one thread awaits an answer.
constexpr std::uint8_t busy = 0x80;
constinit std::array<std::atomic<std::uint8_t>, 1024> table;

std::atomic<std::uint8_t> *entry_of(int descriptor)
{
    if (descriptor < 0 || static_cast<std::size_t>(descriptor) >= table.size())
        return nullptr;
    return &table[static_cast<std::size_t>(descriptor)];
}

void forget(int descriptor)
{
    if (auto *entry = entry_of(descriptor))
        entry->store(0);
}

int real_close(int descriptor)
{
    PLEXOR_REAL(close);
    return real(descriptor);
}

// Requests of several threads on one descriptor take turns, or they would get each other's answers.
class Turn
{
  public:
    explicit Turn(std::atomic<std::uint8_t> &entry) : entry_(entry)
    {
        while (!take())
            sched_yield();
    }
    ~Turn()
    {
        std::uint8_t held = kind_ | busy;
        if (ours())
            entry_.compare_exchange_strong(held, kind_); // not if it was closed meanwhile
    }
    Turn(const Turn &) = delete;
    Turn &operator=(const Turn &) = delete;

    bool ours() const { return kind_ != 0; }
    Device device() const { return static_cast<Device>(kind_ - 1); }

  private:
    bool take()
    {
        std::uint8_t idle = entry_.load() & static_cast<std::uint8_t>(~busy);
        kind_ = idle;
        return !ours() || entry_.compare_exchange_weak(idle, idle | busy);
    }

    std::atomic<std::uint8_t> &entry_;
    std::uint8_t kind_{};
};

// Sends a message and returns the reply; one that fails with EIO when the daemon has gone.
Reply ask(int socket, const Bytes &message)
{
    Reply gone;
    gone.error = EIO;
    ssize_t length = 0;
    do
        length = send(socket, message.data(), message.size(), MSG_NOSIGNAL);
    while (length < 0 && errno == EINTR);
    if (length < 0)
        return gone;
    Bytes answer(max_message);
    do
        length = recv(socket, answer.data(), answer.size(), 0);
    while (length < 0 && errno == EINTR);
    if (length < 0)
        return gone;
    return decode_reply(std::span(answer).first(static_cast<std::size_t>(length))).value_or(gone);
}

bool connect_to_daemon(int socket)
{
    const std::string path = devices_socket();
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        return false;
    std::memcpy(address.sun_path, path.c_str(), path.size());
    return connect(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
}

// 0, or the errno with which the open fails; a device whose daemon is not there is absent.
int introduce(int socket, Device device)
{
    if (!connect_to_daemon(socket))
        return ENOENT;
    return ask(socket, encode_open(device)).error;
}

int open_device(Device device, int flags)
{
    const int type = SOCK_SEQPACKET | ((flags & O_CLOEXEC) != 0 ? SOCK_CLOEXEC : 0);
    const int descriptor = socket(AF_UNIX, type, 0);
    if (descriptor < 0)
        return -1;
    auto *entry = entry_of(descriptor);
    const int error = entry == nullptr ? EMFILE : introduce(descriptor, device);
    if (error != 0) {
        real_close(descriptor);
        errno = error;
        return -1;
    }
    entry->store(static_cast<std::uint8_t>(1 + static_cast<int>(device)));
    return descriptor;
}

int device_ioctl(int descriptor, Device device, unsigned long number, std::uintptr_t argument)
{
    Request request;
    if (const int error = marshal(device, number, argument, request); error != 0) {
        errno = error;
        return -1;
    }
    return deliver(request, argument, ask(descriptor, encode(request)));
}

} // namespace

#pragma GCC visibility push(default)
extern "C" {

int open(const char *path, int flags, ...)
{
    PLEXOR_REAL(open);
    if (const auto device = device_at(path))
        return open_device(*device, flags);
    PLEXOR_MODE(flags);
    return real(path, flags, mode);
}

int open64(const char *path, int flags, ...)
{
    PLEXOR_REAL(open64);
    if (const auto device = device_at(path))
        return open_device(*device, flags);
    PLEXOR_MODE(flags);
    return real(path, flags, mode);
}

int openat(int folder, const char *path, int flags, ...)
{
    PLEXOR_REAL(openat);
    if (const auto device = device_at(path))
        return open_device(*device, flags);
    PLEXOR_MODE(flags);
    return real(folder, path, flags, mode);
}

int close(int descriptor)
{
    forget(descriptor); // before another thread can get the number again
    return real_close(descriptor);
}

int ioctl(int descriptor, unsigned long number, ...)
{
    PLEXOR_REAL(ioctl);
    std::va_list arguments;
    va_start(arguments, number);
    const auto argument = va_arg(arguments, std::uintptr_t);
    va_end(arguments);
    if (auto *entry = entry_of(descriptor)) {
        const Turn turn(*entry);
        if (turn.ours())
            return device_ioctl(descriptor, turn.device(), number, argument);
    }
    return real(descriptor, number, argument);
}
}
#pragma GCC visibility pop
