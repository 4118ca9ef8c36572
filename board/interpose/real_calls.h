// SPDX-License-Identifier: Apache-2.0
// The real functions behind the intercepted names. The linker's --wrap binds the executable's own calls, say
// of open, to __wrap_open; the name open itself is left to the libraries that the executable loads.
#pragma once

#include <sys/types.h>

#include <csignal>
#include <cstddef>
#include <cstdio>
#include <ctime>

extern "C" {
int __wrap_open(const char *path, int flags, ...);
int __wrap_open64(const char *path, int flags, ...);
int __wrap_openat(int folder, const char *path, int flags, ...);
int __wrap_close(int descriptor);
ssize_t __wrap_read(int descriptor, void *buffer, std::size_t size);
ssize_t __wrap_write(int descriptor, const void *buffer, std::size_t size);
off_t __wrap_lseek(int descriptor, off_t offset, int whence);
int __wrap_ioctl(int descriptor, unsigned long request, ...);
int __wrap_clock_gettime(clockid_t clock, timespec *now);
time_t __wrap_time(time_t *now);
int __wrap_nanosleep(const timespec *duration, timespec *remaining);
int __wrap_kill(pid_t pid, int signal);
int __wrap_sigqueue(pid_t pid, int signal, sigval value);
int __wrap_system(const char *command);
std::FILE *__wrap_popen(const char *command, const char *mode);
int __wrap_pclose(std::FILE *pipe);
void __wrap_openlog(const char *ident, int options, int facility);
void __wrap_syslog(int priority, const char *format, ...) __attribute__((format(printf, 2, 3)));
int __wrap_shmget(key_t key, std::size_t size, int flags);
void *__wrap_shmat(int id, const void *address, int flags);
int __wrap_shmdt(const void *address);
void *__wrap_malloc(std::size_t size);
}
