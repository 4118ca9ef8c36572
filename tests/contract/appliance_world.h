// SPDX-License-Identifier: Apache-2.0
// The appliance around the library in a contract test: takes its calls, writes them down, answers them from
// plain state that the fixture sets and reads.
//
// It is stricter than a kernel: what no driver of the appliance would forgive, or what leaks, fails the test
// at once even where the call itself can be answered.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "board/interpose/world.h"
#include "board/model/board.h"
#include "tests/contract/network.h"
#include "tests/contract/played_files.h"

namespace plexor::tests
{

class ApplianceWorld final : public board::World
{
  public:
    int open(const char *path, int flags, mode_t mode) override;
    int close(int descriptor) override;
    ssize_t read(int descriptor, void *buffer, std::size_t size) override;
    ssize_t write(int descriptor, const void *buffer, std::size_t size) override;
    off_t lseek(int descriptor, off_t offset, int whence) override;
    int ioctl(int descriptor, unsigned long number, std::uintptr_t argument) override;

    int socket(int family, int type, int protocol) override;
    int setsockopt(int descriptor, int level, int option, const void *value, socklen_t size) override;
    ssize_t sendto(int descriptor, const void *bytes, std::size_t size, int flags, const sockaddr *address,
                   socklen_t address_size) override;

    int clock_gettime(clockid_t clock, timespec *now) override;
    time_t time(time_t *now) override;
    int nanosleep(const timespec *duration, timespec *remaining) override;

    int kill(pid_t pid, int signal) override;
    int sigqueue(pid_t pid, int signal, sigval value) override;
    int system(const char *command) override;
    int execlp(const char *file, char *const *arguments) override;
    std::FILE *popen(const char *command, const char *mode) override;
    int pclose(std::FILE *pipe) override;
    void openlog(const char *ident, int options, int facility) override;
    void vsyslog(int priority, const char *format, std::va_list arguments) override
        __attribute__((format(printf, 3, 0)));

    int shmget(key_t key, std::size_t size, int flags) override;
    void *shmat(int id, const void *address, int flags) override;
    int shmdt(const void *address) override;

    void *malloc(std::size_t size) override;

    int nvram_kget_str(const char *key, char *buffer, int size) override;
    int nvram_kget_int(const char *key, int fallback) override;
    const char *nvram_bufget(int section, const char *key) override;
    int nvram_bufset(int section, const char *key, const char *value) override;
    int nvram_commit(int section) override;
    int flash_read_br0_mac(unsigned char *buffer) override;
    int vmyprintf(const char *format, std::va_list arguments) override __attribute__((format(printf, 2, 0)));

    void pass(std::int64_t nanoseconds); // moves both clocks
    void remove_segments();              // of the keys seen or known to be the library's
    int devices_open() const;
    int open_socket();
    void release(int descriptor); // closes it, unrecorded
    void close_everything();      // that is open, unrecorded
    void close_pipes();           // those that are open

    // An opened device. One that the fixture asked for by number has no real descriptor behind it.
    struct OpenDevice {
        board::Device device;
        bool real;
    };
    struct Socket {
        bool real;
        bool broadcasts;
    };
    // The next call of name but for skip ones fails with this errno, which may be 0.
    struct Failure {
        std::string name;
        int skip;
        int error;
    };

    std::unique_ptr<board::Board> board{};
    std::vector<std::string> calls{};
    std::string debug_print{};
    std::vector<std::pair<std::string, std::function<void()>>> watchers{}; // of lines with this prefix
    const char *log_ident{};                                               // the system log keeps a pointer

    std::map<std::string, std::string> store{};
    std::map<std::string, std::string> flash{};
    std::optional<std::array<std::uint8_t, 6>> ethernet_address{};
    bool store_unplugged{};
    int write_refusal{}; // what nvram_bufset returns instead of writing; 0 writes
    std::vector<std::uint8_t> last_buffer_offered{};

    std::int64_t monotonic{1000 * second};
    std::int64_t calendar{1'767'323'045 * second}; // 2026-01-02 03:04:05 UTC
    std::optional<std::int64_t> interruption{};    // of the next sleep, after so many nanoseconds

    std::map<std::string, int> open_errors{};
    std::set<std::string> foreign_files{};
    std::map<std::string, int> open_numbers{};
    std::map<std::pair<std::string, int>, int> ioctl_errors{}; // of a device's path or "socket"
    std::vector<Failure> failures{};
    int system_status{};

    std::string command_output{}; // what commands print whose output is read
    bool commands_are_real{};
    std::string piped{}; // into the last command, once its pipe was closed
    std::set<std::FILE *> pipes{};

    Network network{};
    std::map<int, Socket> sockets{};
    std::vector<Datagram> datagrams{};
    PlayedFiles files{};

    std::set<int> processes{};
    std::set<key_t> segment_keys{0x4C504F4C, 0x4932434D, 0x4C104F10};
    int segments_attached{};
    std::map<int, OpenDevice> devices{};

    static constexpr std::int64_t second = 1'000'000'000;

  private:
    void note(const char *format, ...) __attribute__((format(printf, 2, 3)));
    bool fails(const char *name);
    int open_device(board::Device device, const char *path);
    int open_file(const char *path, int flags, mode_t mode);
    int device_ioctl(board::Device device, unsigned long number, std::uintptr_t argument);
    int begin_ioctl(board::Device device, unsigned long number, std::uintptr_t argument,
                    board::Request &request);
    const OpenDevice *device_behind(int descriptor) const;
    bool ioctl_fails(const std::string &path, unsigned long number);
    int socket_ioctl(unsigned long number, std::uintptr_t argument);
    std::string name_of(int descriptor) const;
    bool is_file(int descriptor) const;
    std::int64_t clock(clockid_t id) const;
    std::FILE *play_command(const char *mode);
    int finish_command(std::FILE *pipe);

    std::recursive_mutex mutex_{};
    std::string text_offered_{}; // by nvram_bufget, until its next call
};

} // namespace plexor::tests
