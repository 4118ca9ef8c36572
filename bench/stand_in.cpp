// SPDX-License-Identifier: Apache-2.0
//
// The executable's definitions win over the C library's and libnvram's. A device is opened as /dev/null, and
// every request to it becomes FIOCLEX, which any descriptor grants: real system calls at their real cost.
#include "bench/stand_in.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "nvram.h"

namespace
{

struct Parameter {
    const char *key;
    const char *value;
};
constexpr std::size_t max_parameters = 16;
Parameter parameters[max_parameters];
std::size_t parameter_count;
std::atomic<std::size_t> blocks;

const char *value_of(const char *key)
{
    for (std::size_t i = 0; i < parameter_count; ++i) {
        if (std::strcmp(parameters[i].key, key) == 0)
            return parameters[i].value;
    }
    return "";
}

bool is_device(const char *path)
{
    return std::strcmp(path, "/dev/gpio") == 0 || std::strcmp(path, "/dev/spiS0") == 0 ||
           std::strcmp(path, "/dev/i2cM0") == 0;
}

} // namespace

namespace plexor::bench
{

void set_parameter(const char *key, const char *value)
{
    for (std::size_t i = 0; i < parameter_count; ++i) {
        if (std::strcmp(parameters[i].key, key) == 0) {
            parameters[i].value = value;
            return;
        }
    }
    parameters[parameter_count++] = {key, value};
}

int bare_open()
{
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, "/dev/null", O_RDONLY | O_CLOEXEC));
}

int bare_ioctl(int fd)
{
    return static_cast<int>(syscall(SYS_ioctl, fd, FIOCLEX, 0L));
}

int bare_close(int fd)
{
    return static_cast<int>(syscall(SYS_close, fd));
}

void refuse_the_machine_itself()
{
    if (std::getenv("PLEXOR_APPLIANCE") != nullptr)
        return;
    std::fputs("run this inside board/plexor-run --bare, as script/bench does\n", stderr);
    std::exit(1);
}

std::size_t heap_blocks()
{
    return blocks;
}

} // namespace plexor::bench

using namespace plexor::bench;

extern "C" {

void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *block, std::size_t size);

void *malloc(std::size_t size)
{
    ++blocks;
    return __libc_malloc(size);
}

void *calloc(std::size_t count, std::size_t size)
{
    ++blocks;
    return __libc_calloc(count, size);
}

void *realloc(void *block, std::size_t size)
{
    ++blocks;
    return __libc_realloc(block, size);
}

int open(const char *path, int flags, ...)
{
    if (is_device(path))
        return bare_open();
    va_list rest;
    va_start(rest, flags);
    const int mode = (flags & O_CREAT) != 0 ? va_arg(rest, int) : 0;
    va_end(rest);
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

int ioctl(int fd, unsigned long, ...)
{
    return bare_ioctl(fd);
}

int nvram_kget_str(const char *key, char *buffer, int size)
{
    const char *const value = value_of(key);
    const std::size_t length = std::strlen(value);
    const std::size_t room = static_cast<std::size_t>(size) - 1;
    const std::size_t copied = length < room ? length : room;
    std::memcpy(buffer, value, copied);
    buffer[copied] = '\0';
    return 0;
}

int nvram_kget_int(const char *key, int fallback)
{
    const char *const value = value_of(key);
    return *value == '\0' ? fallback : std::atoi(value);
}

const char *nvram_bufget(int, const char *key)
{
    return value_of(key);
}

int nvram_bufset(int, const char *, const char *)
{
    return 0;
}

int nvram_commit(int)
{
    return 0;
}

int flash_read_br0_mac(unsigned char *buffer)
{
    constexpr unsigned char address[6] = {0x00, 0xC3, 0x02, 0x01, 0x02, 0x03};
    std::memcpy(buffer, address, sizeof address);
    return 0;
}

int myprintf(const char *, ...)
{
    return 0;
}

} // extern "C"
