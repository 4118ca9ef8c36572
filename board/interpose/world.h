// SPDX-License-Identifier: Apache-2.0
// The outside of the library as a test executable plays it.
//
// An executable that links plexor_interposer defines the C library and platform calls of this class, so the
// library's own calls resolve to them. While a world is installed, those made from inside the library come
// here; all others, and all calls while there is no world, reach the real functions. What is linked into the
// executable itself never meets the interposer: the linker binds its calls to the real functions. (It has to
// be compiled with -fno-optimize-sibling-calls, or the calls of a library can be taken for somebody else's.)
//
// A further call needs: a name in the list of CMakeLists.txt, its real function in real_calls, its definition
// in calls.cpp, and a member here.
#pragma once

#include <sys/socket.h>
#include <sys/types.h>

#include <csignal>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>

namespace plexor::board
{

class World
{
  public:
    World() = default;
    World(const World &) = delete;
    World &operator=(const World &) = delete;
    virtual ~World() = default;

    virtual int open(const char *path, int flags, mode_t mode) = 0;
    virtual int close(int descriptor) = 0;
    virtual ssize_t read(int descriptor, void *buffer, std::size_t size) = 0;
    virtual ssize_t write(int descriptor, const void *buffer, std::size_t size) = 0;
    virtual off_t lseek(int descriptor, off_t offset, int whence) = 0;
    virtual int ioctl(int descriptor, unsigned long request, std::uintptr_t argument) = 0;

    virtual int socket(int family, int type, int protocol) = 0;
    virtual int setsockopt(int descriptor, int level, int option, const void *value, socklen_t size) = 0;
    virtual ssize_t sendto(int descriptor, const void *bytes, std::size_t size, int flags,
                           const sockaddr *address, socklen_t address_size) = 0;

    virtual int clock_gettime(clockid_t clock, timespec *now) = 0;
    virtual time_t time(time_t *now) = 0;
    virtual int nanosleep(const timespec *duration, timespec *remaining) = 0;

    virtual int kill(pid_t pid, int signal) = 0;
    virtual int sigqueue(pid_t pid, int signal, sigval value) = 0;
    virtual int system(const char *command) = 0;
    // With the arguments up to a null pointer. Where it is called in a child of vfork, its caller's memory is
    // this process's.
    virtual int execlp(const char *file, char *const *arguments) = 0;
    virtual std::FILE *popen(const char *command, const char *mode) = 0;
    virtual int pclose(std::FILE *pipe) = 0;
    virtual void openlog(const char *ident, int options, int facility) = 0;
    virtual void vsyslog(int priority, const char *format, std::va_list arguments)
        __attribute__((format(printf, 3, 0))) = 0;

    virtual int shmget(key_t key, std::size_t size, int flags) = 0;
    virtual void *shmat(int id, const void *address, int flags) = 0;
    virtual int shmdt(const void *address) = 0;

    virtual void *malloc(std::size_t size) = 0;

    virtual int nvram_kget_str(const char *key, char *buffer, int size) = 0;
    virtual int nvram_kget_int(const char *key, int fallback) = 0;
    virtual const char *nvram_bufget(int section, const char *key) = 0;
    virtual int nvram_bufset(int section, const char *key, const char *value) = 0;
    virtual int nvram_commit(int section) = 0;
    virtual int flash_read_br0_mac(unsigned char *buffer) = 0;
    virtual int vmyprintf(const char *format, std::va_list arguments)
        __attribute__((format(printf, 2, 0))) = 0;
};

// Installs world, or none with a null pointer. Returns how many loaded libraries are watched: every shared
// object whose file name starts with "libplexor".
int install_world(World *world);

// The installed world if the code at caller, the return address of an intercepted call, belongs to a watched
// library. An address in the executable counts too: it is left there by a library function that ended in a
// jump to the intercepted one, since the executable's own calls are bound elsewhere.
World *world_for(const void *caller);

} // namespace plexor::board
