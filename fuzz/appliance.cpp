// SPDX-License-Identifier: Apache-2.0
#include "fuzz/appliance.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "nvram.h"

namespace plexor::fuzz
{

std::map<std::string, std::string> parameters;
std::vector<std::string> commands;

std::string cut(const std::string &text, std::size_t size)
{
    return text.substr(0, size - 1);
}

} // namespace plexor::fuzz

using namespace plexor::fuzz;

extern "C" {

int nvram_kget_str(const char *key, char *buffer, int size)
{
    const std::string value = cut(parameters[key], static_cast<std::size_t>(size));
    std::memcpy(buffer, value.c_str(), value.size() + 1);
    return 0;
}

int nvram_kget_int(const char *key, int fallback)
{
    const std::string &value = parameters[key];
    return value.empty() ? fallback : std::atoi(value.c_str());
}

const char *nvram_bufget(int, const char *key)
{
    return parameters[key].c_str();
}

int nvram_bufset(int, const char *key, const char *value)
{
    parameters[key] = value;
    return 0;
}

int nvram_commit(int)
{
    return 0;
}

int flash_read_br0_mac(unsigned char *)
{
    return -1;
}

// Formats, so that what is printed is read like anything else.
int myprintf(const char *format, ...)
{
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return length;
}

int system(const char *command)
{
    commands.emplace_back(command);
    return 0;
}

FILE *popen(const char *command, const char *)
{
    commands.emplace_back(command);
    return std::fopen("/dev/null", "r+e");
}

int pclose(FILE *pipe)
{
    return std::fclose(pipe);
}

int open(const char *path, int flags, ...)
{
    va_list rest;
    va_start(rest, flags);
    const int mode = (flags & O_CREAT) != 0 ? va_arg(rest, int) : 0;
    va_end(rest);
    const bool device = std::strncmp(path, "/dev/", 5) == 0;
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, device ? "/dev/null" : path, flags, mode));
}

int ioctl(int, unsigned long, ...)
{
    return 0;
}

int nanosleep(const timespec *, timespec *)
{
    return 0;
}

int kill(pid_t, int)
{
    return -1;
}

int sigqueue(pid_t, int, const sigval)
{
    return -1;
}

} // extern "C"
