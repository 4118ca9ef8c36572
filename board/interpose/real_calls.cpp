// SPDX-License-Identifier: Apache-2.0
#include "board/interpose/real_calls.h"

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

extern "C" {

// The allocators, under names that need no look-up, which may itself allocate: a sanitizer's, where one is
// linked, and the C library's.
void *__interceptor_malloc(std::size_t size) __attribute__((weak));
void *__libc_malloc(std::size_t size);

int __wrap_open(const char *path, int flags, ...)
{
    PLEXOR_REAL(open);
    PLEXOR_MODE(flags);
    return real(path, flags, mode);
}

int __wrap_open64(const char *path, int flags, ...)
{
    PLEXOR_REAL(open64);
    PLEXOR_MODE(flags);
    return real(path, flags, mode);
}

int __wrap_openat(int folder, const char *path, int flags, ...)
{
    PLEXOR_REAL(openat);
    PLEXOR_MODE(flags);
    return real(folder, path, flags, mode);
}

int __wrap_close(int descriptor)
{
    PLEXOR_REAL(close);
    return real(descriptor);
}

ssize_t __wrap_read(int descriptor, void *buffer, std::size_t size)
{
    PLEXOR_REAL(read);
    return real(descriptor, buffer, size);
}

ssize_t __wrap_write(int descriptor, const void *buffer, std::size_t size)
{
    PLEXOR_REAL(write);
    return real(descriptor, buffer, size);
}

off_t __wrap_lseek(int descriptor, off_t offset, int whence)
{
    PLEXOR_REAL(lseek);
    return real(descriptor, offset, whence);
}

int __wrap_ioctl(int descriptor, unsigned long request, ...)
{
    PLEXOR_REAL(ioctl);
    std::va_list arguments;
    va_start(arguments, request);
    const auto argument = va_arg(arguments, std::uintptr_t);
    va_end(arguments);
    return real(descriptor, request, argument);
}

int __wrap_socket(int family, int type, int protocol)
{
    PLEXOR_REAL(socket);
    return real(family, type, protocol);
}

int __wrap_setsockopt(int descriptor, int level, int option, const void *value, socklen_t size)
{
    PLEXOR_REAL(setsockopt);
    return real(descriptor, level, option, value, size);
}

ssize_t __wrap_sendto(int descriptor, const void *bytes, std::size_t size, int flags, const sockaddr *address,
                      socklen_t address_size)
{
    PLEXOR_REAL(sendto);
    return real(descriptor, bytes, size, flags, address, address_size);
}

int __wrap_clock_gettime(clockid_t clock, timespec *now)
{
    PLEXOR_REAL(clock_gettime);
    return real(clock, now);
}

time_t __wrap_time(time_t *now)
{
    PLEXOR_REAL(time);
    return real(now);
}

int __wrap_nanosleep(const timespec *duration, timespec *remaining)
{
    PLEXOR_REAL(nanosleep);
    return real(duration, remaining);
}

int __wrap_kill(pid_t pid, int signal)
{
    PLEXOR_REAL(kill);
    return real(pid, signal);
}

int __wrap_sigqueue(pid_t pid, int signal, sigval value)
{
    PLEXOR_REAL(sigqueue);
    return real(pid, signal, value);
}

int __wrap_system(const char *command)
{
    PLEXOR_REAL(system);
    return real(command);
}

int __wrap_execlp(const char *file, const char *first, ...)
{
    PLEXOR_ARGUMENTS(first);
    return execvp(file, words.data());
}

std::FILE *__wrap_popen(const char *command, const char *mode)
{
    PLEXOR_REAL(popen);
    return real(command, mode);
}

int __wrap_pclose(std::FILE *pipe)
{
    PLEXOR_REAL(pclose);
    return real(pipe);
}

void __wrap_openlog(const char *ident, int options, int facility)
{
    PLEXOR_REAL(openlog);
    real(ident, options, facility);
}

void __wrap_syslog(int priority, const char *format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    vsyslog(priority, format, arguments);
    va_end(arguments);
}

int __wrap_shmget(key_t key, std::size_t size, int flags)
{
    PLEXOR_REAL(shmget);
    return real(key, size, flags);
}

void *__wrap_shmat(int id, const void *address, int flags)
{
    PLEXOR_REAL(shmat);
    return real(id, address, flags);
}

int __wrap_shmdt(const void *address)
{
    PLEXOR_REAL(shmdt);
    return real(address);
}

void *__wrap_malloc(std::size_t size)
{
    return __interceptor_malloc != nullptr ? __interceptor_malloc(size) : __libc_malloc(size);
}
}
