// SPDX-License-Identifier: Apache-2.0
#include "tests/contract/probe.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/shm.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdlib>

#include "nvram.h"

int probe_open(const char *path)
{
    return open(path, O_RDONLY | O_CLOEXEC);
}

int probe_open_flags(const char *path, int flags)
{
    return open(path, flags);
}

int probe_close(int descriptor)
{
    return close(descriptor);
}

int probe_close_twice(int descriptor)
{
    close(descriptor);
    return close(descriptor);
}

int probe_ioctl(int descriptor, unsigned long number, std::uintptr_t argument)
{
    return ioctl(descriptor, number, argument);
}

long probe_read(int descriptor, void *buffer, std::size_t size)
{
    return read(descriptor, buffer, size);
}

long probe_write(int descriptor, const void *bytes, std::size_t size)
{
    return write(descriptor, bytes, size);
}

long probe_seek(int descriptor, long offset, int whence)
{
    return lseek(descriptor, offset, whence);
}

int probe_sleep(const timespec *duration, timespec *remaining)
{
    return nanosleep(duration, remaining);
}

std::int64_t probe_monotonic()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

std::int64_t probe_calendar()
{
    return time(nullptr);
}

int probe_kill(int pid, int signal)
{
    return kill(pid, signal);
}

int probe_sigqueue(int pid, int signal, int value)
{
    sigval payload{};
    payload.sival_int = value;
    return sigqueue(pid, signal, payload);
}

int probe_system(const char *command)
{
    return system(command);
}

int probe_socket(int family, int type, int protocol)
{
    return socket(family, type, protocol);
}

int probe_set_option(int descriptor, int option, const void *value, unsigned size)
{
    return setsockopt(descriptor, SOL_SOCKET, option, value, size);
}

long probe_send(int descriptor, const void *bytes, std::size_t size, const sockaddr *address,
                unsigned address_size)
{
    return sendto(descriptor, bytes, size, 0, address, address_size);
}

// The analyser wants fork, or nothing printed by the child.
// NOLINTBEGIN(clang-analyzer-unix.Vfork,clang-analyzer-security.insecureAPI.vfork)
int probe_start(const char *program, const char *argument)
{
    const int child = vfork();
    if (child != 0)
        return child;
    execlp(program, program, argument, nullptr);
    std::perror("probe");
    _exit(0);
}
// NOLINTEND(clang-analyzer-unix.Vfork,clang-analyzer-security.insecureAPI.vfork)

std::FILE *probe_pipe(const char *command, const char *mode)
{
    return popen(command, mode);
}

int probe_close_pipe(std::FILE *pipe)
{
    return pclose(pipe);
}

void probe_log(int priority, const char *text)
{
    openlog("probe", 0, LOG_USER);
    syslog(priority, "%s", text);
}

int probe_print(const char *text)
{
    return myprintf("%s", text);
}

void *probe_attach(int key, std::size_t size, int flags)
{
    const int id = shmget(key, size, flags);
    void *address = id < 0 ? nullptr : shmat(id, nullptr, 0);
    return address == reinterpret_cast<void *>(-1) ? nullptr : address;
}

int probe_detach(const void *address)
{
    return shmdt(address);
}

void *probe_allocate(std::size_t size)
{
    return std::malloc(size);
}

int probe_fetch(const char *key, char *buffer, int size)
{
    return nvram_kget_str(key, buffer, size);
}

int probe_fetch_int(const char *key, int fallback)
{
    return nvram_kget_int(key, fallback);
}

int probe_store(const char *key, const char *value)
{
    return nvram_bufset(0, key, value);
}

int probe_commit()
{
    return nvram_commit(0);
}

int probe_ethernet_address(unsigned char *address)
{
    return flash_read_br0_mac(address);
}
