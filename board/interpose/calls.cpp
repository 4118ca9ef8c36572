// SPDX-License-Identifier: Apache-2.0
// The intercepted names as the executable exports them.
#include <sys/ioctl.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "board/interpose/next.h"
#include "board/interpose/real_calls.h"
#include "board/interpose/world.h"
#include "nvram.h"

using plexor::board::World;
using plexor::board::world_for;

namespace
{

// The caller's address has to be taken in the intercepted function itself.
template <class Member, class Real, class... Arguments>
auto route(const void *caller, Member member, Real real, Arguments... arguments)
{
    World *world = world_for(caller);
    return world != nullptr ? (world->*member)(arguments...) : real(arguments...);
}

int route_open(const void *caller, const char *path, int flags, mode_t mode)
{
    World *world = world_for(caller);
    return world != nullptr ? world->open(path, flags, mode) : __wrap_open(path, flags, mode);
}

// The store while there is no world: nothing is set and nothing is kept.
int empty_kget_str(const char *, char *buffer, int size)
{
    if (size > 0)
        *buffer = '\0';
    return 0;
}

} // namespace

extern "C" {

int open(const char *path, int flags, ...)
{
    PLEXOR_MODE(flags);
    return route_open(__builtin_return_address(0), path, flags, mode);
}

int open64(const char *path, int flags, ...)
{
    PLEXOR_MODE(flags);
    return route_open(__builtin_return_address(0), path, flags | O_LARGEFILE, mode);
}

int openat(int folder, const char *path, int flags, ...)
{
    PLEXOR_MODE(flags);
    if (folder == AT_FDCWD || *path == '/')
        return route_open(__builtin_return_address(0), path, flags, mode);
    return __wrap_openat(folder, path, flags, mode);
}

int close(int descriptor)
{
    return route(__builtin_return_address(0), &World::close, __wrap_close, descriptor);
}

ssize_t read(int descriptor, void *buffer, std::size_t size)
{
    return route(__builtin_return_address(0), &World::read, __wrap_read, descriptor, buffer, size);
}

ssize_t write(int descriptor, const void *buffer, std::size_t size)
{
    return route(__builtin_return_address(0), &World::write, __wrap_write, descriptor, buffer, size);
}

off_t lseek(int descriptor, off_t offset, int whence) noexcept
{
    return route(__builtin_return_address(0), &World::lseek, __wrap_lseek, descriptor, offset, whence);
}

int ioctl(int descriptor, unsigned long request, ...)
{
    std::va_list arguments;
    va_start(arguments, request);
    const auto argument = va_arg(arguments, std::uintptr_t);
    va_end(arguments);
    return route(__builtin_return_address(0), &World::ioctl, __wrap_ioctl, descriptor, request, argument);
}

int socket(int family, int type, int protocol) noexcept
{
    return route(__builtin_return_address(0), &World::socket, __wrap_socket, family, type, protocol);
}

int setsockopt(int descriptor, int level, int option, const void *value, socklen_t size) noexcept
{
    return route(__builtin_return_address(0), &World::setsockopt, __wrap_setsockopt, descriptor, level,
                 option, value, size);
}

ssize_t sendto(int descriptor, const void *bytes, std::size_t size, int flags, const sockaddr *address,
               socklen_t address_size)
{
    return route(__builtin_return_address(0), &World::sendto, __wrap_sendto, descriptor, bytes, size, flags,
                 address, address_size);
}

int clock_gettime(clockid_t clock, timespec *now)
{
    return route(__builtin_return_address(0), &World::clock_gettime, __wrap_clock_gettime, clock, now);
}

time_t time(time_t *now)
{
    return route(__builtin_return_address(0), &World::time, __wrap_time, now);
}

int nanosleep(const timespec *duration, timespec *remaining)
{
    return route(__builtin_return_address(0), &World::nanosleep, __wrap_nanosleep, duration, remaining);
}

int kill(pid_t pid, int signal)
{
    return route(__builtin_return_address(0), &World::kill, __wrap_kill, pid, signal);
}

int sigqueue(pid_t pid, int signal, sigval value)
{
    return route(__builtin_return_address(0), &World::sigqueue, __wrap_sigqueue, pid, signal, value);
}

int system(const char *command)
{
    return route(__builtin_return_address(0), &World::system, __wrap_system, command);
}

int execlp(const char *file, const char *first, ...) noexcept
{
    PLEXOR_ARGUMENTS(first);
    return route(__builtin_return_address(0), &World::execlp, execvp, file, words.data());
}

std::FILE *popen(const char *command, const char *mode)
{
    return route(__builtin_return_address(0), &World::popen, __wrap_popen, command, mode);
}

int pclose(std::FILE *pipe)
{
    return route(__builtin_return_address(0), &World::pclose, __wrap_pclose, pipe);
}

void openlog(const char *ident, int options, int facility)
{
    route(__builtin_return_address(0), &World::openlog, __wrap_openlog, ident, options, facility);
}

void syslog(int priority, const char *format, ...)
{
    World *world = world_for(__builtin_return_address(0));
    std::va_list arguments;
    va_start(arguments, format);
    if (world != nullptr)
        world->vsyslog(priority, format, arguments);
    else
        vsyslog(priority, format, arguments);
    va_end(arguments);
}

int shmget(key_t key, std::size_t size, int flags)
{
    return route(__builtin_return_address(0), &World::shmget, __wrap_shmget, key, size, flags);
}

void *shmat(int id, const void *address, int flags)
{
    return route(__builtin_return_address(0), &World::shmat, __wrap_shmat, id, address, flags);
}

int shmdt(const void *address)
{
    return route(__builtin_return_address(0), &World::shmdt, __wrap_shmdt, address);
}

void *malloc(std::size_t size) noexcept
{
    return route(__builtin_return_address(0), &World::malloc, __wrap_malloc, size);
}

int nvram_kget_str(const char *key, char *buffer, int size)
{
    return route(__builtin_return_address(0), &World::nvram_kget_str, empty_kget_str, key, buffer, size);
}

int nvram_kget_int(const char *key, int fallback)
{
    const auto none = [](const char *, int value) { return value; };
    return route(__builtin_return_address(0), &World::nvram_kget_int, none, key, fallback);
}

const char *nvram_bufget(int section, const char *key)
{
    const auto none = [](int, const char *) { return ""; };
    return route(__builtin_return_address(0), &World::nvram_bufget, none, section, key);
}

int nvram_bufset(int section, const char *key, const char *value)
{
    const auto none = [](int, const char *, const char *) { return -1; };
    return route(__builtin_return_address(0), &World::nvram_bufset, none, section, key, value);
}

int nvram_commit(int section)
{
    const auto none = [](int) { return -1; };
    return route(__builtin_return_address(0), &World::nvram_commit, none, section);
}

int flash_read_br0_mac(unsigned char *buffer)
{
    const auto none = [](unsigned char *) { return -1; };
    return route(__builtin_return_address(0), &World::flash_read_br0_mac, none, buffer);
}

int myprintf(const char *format, ...)
{
    World *world = world_for(__builtin_return_address(0));
    std::va_list arguments;
    va_start(arguments, format);
    const int length = world != nullptr ? world->vmyprintf(format, arguments) : 0;
    va_end(arguments);
    return length;
}
}
