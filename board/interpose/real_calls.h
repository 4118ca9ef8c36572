// SPDX-License-Identifier: Apache-2.0
// The real functions behind the intercepted names. The linker's --wrap binds the executable's own calls, say
// of open, to __wrap_open; the name open itself is left to the libraries that the executable loads.
#pragma once

#include <sys/socket.h>
#include <sys/types.h>

#include <array>
#include <csignal>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <ctime>

namespace plexor::board
{

// The arguments of a program as they stand in a list: first, then what is in arguments up to a null pointer.
using Words = std::array<char *, 16>;

inline Words words_of(const char *first, std::va_list arguments)
{
    Words words{};
    std::size_t count = 0;
    for (auto *word = const_cast<char *>(first); word != nullptr; word = va_arg(arguments, char *))
        words.at(count++) = word;
    words.at(count) = nullptr;
    return words;
}

} // namespace plexor::board

// Declares words, the arguments of execlp from first on. A macro, since only the function with the open list
// of arguments can read it.
#define PLEXOR_ARGUMENTS(first)                                                                              \
    std::va_list arguments;                                                                                  \
    va_start(arguments, first);                                                                              \
    const plexor::board::Words words = plexor::board::words_of(first, arguments);                            \
    va_end(arguments)

extern "C" {
int __wrap_open(const char *path, int flags, ...);
int __wrap_open64(const char *path, int flags, ...);
int __wrap_openat(int folder, const char *path, int flags, ...);
int __wrap_close(int descriptor);
ssize_t __wrap_read(int descriptor, void *buffer, std::size_t size);
ssize_t __wrap_write(int descriptor, const void *buffer, std::size_t size);
off_t __wrap_lseek(int descriptor, off_t offset, int whence);
int __wrap_ioctl(int descriptor, unsigned long request, ...);
int __wrap_socket(int family, int type, int protocol);
int __wrap_setsockopt(int descriptor, int level, int option, const void *value, socklen_t size);
ssize_t __wrap_sendto(int descriptor, const void *bytes, std::size_t size, int flags, const sockaddr *address,
                      socklen_t address_size);
int __wrap_clock_gettime(clockid_t clock, timespec *now);
time_t __wrap_time(time_t *now);
int __wrap_nanosleep(const timespec *duration, timespec *remaining);
int __wrap_kill(pid_t pid, int signal);
int __wrap_sigqueue(pid_t pid, int signal, sigval value);
int __wrap_system(const char *command);
int __wrap_execlp(const char *file, const char *first, ...);
std::FILE *__wrap_popen(const char *command, const char *mode);
int __wrap_pclose(std::FILE *pipe);
void __wrap_openlog(const char *ident, int options, int facility);
void __wrap_syslog(int priority, const char *format, ...) __attribute__((format(printf, 2, 3)));
int __wrap_shmget(key_t key, std::size_t size, int flags);
void *__wrap_shmat(int id, const void *address, int flags);
int __wrap_shmdt(const void *address);
void *__wrap_malloc(std::size_t size);
}
