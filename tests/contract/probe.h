/* SPDX-License-Identifier: Apache-2.0 */
/* Stands in for the library where the fixture itself is tested: plain calls, made from a shared object. */
#pragma once

#include <sys/socket.h>

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>

extern "C" {
int probe_open(const char *path);
int probe_open_flags(const char *path, int flags);
int probe_close(int descriptor); // ends in a jump to close
int probe_close_twice(int descriptor);
int probe_ioctl(int descriptor, unsigned long number, std::uintptr_t argument);
long probe_read(int descriptor, void *buffer, std::size_t size);
long probe_write(int descriptor, const void *bytes, std::size_t size);
long probe_seek(int descriptor, long offset, int whence);
int probe_sleep(const timespec *duration, timespec *remaining);
std::int64_t probe_monotonic(); // nanoseconds
std::int64_t probe_calendar();  // seconds
int probe_kill(int pid, int signal);
int probe_sigqueue(int pid, int signal, int value);
int probe_system(const char *command);
int probe_socket(int family, int type, int protocol);
int probe_set_option(int descriptor, int option, const void *value, unsigned size); // of SOL_SOCKET
long probe_send(int descriptor, const void *bytes, std::size_t size, const sockaddr *address,
                unsigned address_size);
int probe_start(const char *program, const char *argument); // by vfork; the child prints why it fails
std::FILE *probe_pipe(const char *command, const char *mode);
int probe_close_pipe(std::FILE *pipe);
void probe_log(int priority, const char *text);
int probe_print(const char *text);
void *probe_attach(int key, std::size_t size, int flags); // null when it fails
int probe_detach(const void *address);
void *probe_allocate(std::size_t size);
int probe_fetch(const char *key, char *buffer, int size);
int probe_fetch_int(const char *key, int fallback);
int probe_store(const char *key, const char *value);
int probe_commit();
int probe_ethernet_address(unsigned char *address);
}
