// SPDX-License-Identifier: Apache-2.0
// The little language of the contract tests: one appliance per test, on driven time, with everything that the
// library does to the outside written down in order.
//
// The library under test is the built shared library, unmodified. The test executable defines the C library
// and platform calls that it makes towards devices, the network, the parameter store, clocks, sleeps,
// signals, programs, the system log, pipes, the heap and shared memory; while an Appliance lives they come
// here, otherwise they pass through.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "board/model/board.h"
#include "tests/contract/network.h"

namespace plexor::tests
{

class ApplianceWorld;

using Calls = std::vector<std::string>; // one line a call

// When a test ends, devices, sockets, played files and pipes left open and segments left attached fail it; so
// does, at once, any use of a descriptor that is not open, a device opened for writing or without
// close-on-exec, a pipe or socket without close-on-exec, a named pipe that is waited for, an argument that
// the driver or the network would not take, and detaching what is not attached.
class Appliance : public ::testing::Test
{
  protected:
    Appliance(); // model 00C302 (index 2, 8 outlets), latching
    ~Appliance() override;

    // A new board of this model, parameter store emptied but for IO_number, call record emptied.
    void use_model(int index, bool latching);

    board::Board &board();

    // --- the parameter store ---
    void set(const std::string &key, const std::string &value); // not written to the call record
    std::string get(const std::string &key) const;              // "" when not set
    void unset(const std::string &key);
    std::map<std::string, std::string> &flash(); // what was committed
    void unplug_store(bool leave_buffer_alone);  // nvram_kget_str leaves the caller's buffer as it was
    void refuse_writes(int result);              // nvram_bufset returns result and keeps nothing; 0 ends it
    // Bytes of the buffer given to the last nvram_kget_str or flash_read_br0_mac, before it was filled.
    const std::vector<std::uint8_t> &last_buffer_offered() const;
    void set_ethernet_address(const std::array<std::uint8_t, 6> &address);
    void lose_ethernet_address(); // flash_read_br0_mac fails

    // --- what the library did, one line per call, in order ---
    // "open /dev/gpio", "ioctl /dev/gpio 18 0x00400000", "ioctl /dev/gpio 2" (reads), "close /dev/gpio",
    // "ioctl /dev/spiS0 4 05FB010208" (record bytes), "ioctl /dev/i2cM0 17 A0 1 [0F]" (write: address,
    // register in decimal, bytes), "ioctl /dev/i2cM0 16 A0 1 len 1" (read), "ioctl /dev/i2cM0 18",
    // "ioctl /dev/i2cM0 3 272 len 1" (one byte of the EEPROM: address in decimal), "ioctl /dev/i2cM0 5 272
    // 0x000000C3 len 1" (the same with the data word), "nvram_kget_str KEY SIZE", "nvram_kget_int KEY FALLBACK", "nvram_bufget 0 KEY",
    // "nvram_bufset 0 KEY=VALUE", "nvram_commit 0", "flash_read_br0_mac", "clock_gettime monotonic", "time",
    // "nanosleep 0.150000000", "kill PID SIGNAL", "sigqueue PID SIGNAL VALUE", "system COMMAND",
    // "popen r COMMAND", "popen w COMMAND", "pclose", "openlog IDENT OPTIONS FACILITY", "syslog PRIORITY
    // TEXT", "shmget 0x4C504F4C SIZE OCTALFLAGS", "shmat", "shmdt", "malloc SIZE", "lseek OFFSET WHENCE",
    // "execlp PATH ARGUMENT0 ARGUMENT1", "socket INET DGRAM 0", "setsockopt BROADCAST 1",
    // "sendto 255.255.255.255:9258 66 bytes flags 0", "ioctl socket SIOCGIFADDR br0" (SIOCGIFFLAGS,
    // SIOCGIFNETMASK and SIOCGIFHWADDR likewise), "ioctl socket SIOCSIFFLAGS br0 0x1043",
    // "ioctl socket SIOCSIFADDR br0 192.168.0.9 port 0" (SIOCSIFNETMASK likewise), "ioctl socket SIOCADDRT
    // dst 0.0.0.0 gateway 192.168.0.254 mask 0.0.0.0 flags 3 metric 0 dev br0" (SIOCDELRT likewise), "close
    // socket"; of played files "open /etc/resolv.conf r" ("w", "rw"), "read /etc/resolv.conf" (once for reads
    // that follow each other), "write /etc/resolv.conf SIZE", "close /etc/resolv.conf", as far as they do not
    // go through a stream. Calls on other files are real and not recorded.
    Calls calls() const;
    Calls calls(const std::string &prefix) const; // only those that start with prefix
    void forget_calls();
    // Runs action at each call whose line starts with prefix: it is written down by then, but not yet done.
    void at_call(const std::string &prefix, const std::function<void()> &action);

    std::string debug_print() const; // all text given to myprintf, joined; cleared by forget_calls
    std::string log_ident() const;   // what the system log calls the sender at this moment
    // Runs action and returns what it wrote to standard error (or standard output).
    static std::string standard_error_of(const std::function<void()> &action);
    static std::string standard_output_of(const std::function<void()> &action);

    // --- driven time ---
    // The monotonic clock starts at 1000 s, the calendar clock at 2026-01-02 03:04:05 UTC. Each sleep and
    // each advance moves both.
    void advance(std::int64_t nanoseconds);
    void set_monotonic(std::int64_t seconds, std::int64_t nanoseconds);
    void set_calendar(std::int64_t seconds);
    void set_time(const std::string &time); // "23:59:55" on the same day, as local time has it
    // The next sleep is interrupted by a signal after this long, with the rest reported as remaining.
    void interrupt_next_sleep_after(std::int64_t nanoseconds);

    // --- failures ---
    void fail_open(const std::string &path, int error); // until restored with error 0; fails with that errno
    // The file is another user's, as kernels protect it: it may be opened, but not with O_CREAT.
    void make_foreign(const std::string &path);
    // The next open of a device, or of a "socket", yields this number.
    void open_returns(const std::string &path, int descriptor);
    void fail_ioctl(const std::string &path, int request, int error); // "socket", too; until restored with 0
    // The next call of this name in the call record fails with that errno, which may be 0 (any recorded call
    // that can fail, the reads and bufset of the store apart). "open" is the next one of a file, too, and a
    // request to the network goes by its own name as well: "SIOCSIFADDR". execlp fails in any case.
    void fail_call(const std::string &name, int error);
    void fail_call_after(const std::string &name, int skip, int error); // lets skip calls through first
    void system_returns(int status);                                    // from now on; 0 at the start

    // --- commands at the other end of a pipe, which are not run ---
    void commands_print(const std::string &text); // those whose output is read; nothing at the start
    std::string piped() const;                    // what was written into the one finished last
    void run_piped_commands();                    // from now on they are run after all
    int pipes_open() const;                       // pipes not yet closed
    void close_pipes();                           // those, unrecorded

    // --- played files: /proc/net/route and /etc/resolv.conf, missing at the start, and what is set ---
    void set_file(const std::string &path, const std::string &text);
    std::string file(const std::string &path) const; // "" for one that is missing
    void remove_file(const std::string &path);
    int left_open(const std::string &path) const; // descriptors not yet closed, in whatever way
    void close_file(const std::string &path);     // those, unrecorded

    // --- the network, without interfaces at the start ---
    // add_interface("br0").flags(0x1043).address("192.168.0.1").netmask("255.255.255.0")
    //     .hwaddr("00:C3:02:12:34:56"), each as far as it is wanted. Requests that set something change it.
    Interface &add_interface(const std::string &name);
    Interface &interface(const std::string &name); // one that was added, as it is now
    void remove_interface(const std::string &name);
    const std::vector<Datagram> &datagrams() const; // sent since the call record was emptied
    int open_socket();                              // one for the library to use, unrecorded
    void close_socket(int descriptor);
    int sockets_open() const; // socket descriptors not yet closed

    // --- processes ---
    // kill(pid, 0) succeeds for these only; sigqueue to others fails with ESRCH.
    void add_process(int pid);
    void remove_process(int pid);
    void write_pid_file(const std::string &name, const std::string &text); // "/var/run/NAME.pid"
    void remove_pid_file(const std::string &name);

    // --- shared memory: bytes of a segment, empty when it does not exist ---
    std::vector<std::uint8_t> segment(std::uint32_t key) const;
    void write_segment(std::uint32_t key, std::size_t offset, const std::vector<std::uint8_t> &bytes);
    void make_segment(std::uint32_t key, std::size_t size, int mode); // as a stranger would
    void remove_segment(std::uint32_t key);
    int segment_mode(std::uint32_t key) const; // permission bits, -1 when it does not exist
    int segments_attached() const;             // attachments not yet detached
    int devices_open() const;                  // device descriptors not yet closed

  private:
    std::unique_ptr<ApplianceWorld> world_;
};

} // namespace plexor::tests

// A failed comparison of call records shows one call a line.
template <>
class testing::internal::UniversalPrinter<plexor::tests::Calls>
{
  public:
    static void Print(const plexor::tests::Calls &calls, std::ostream *stream)
    {
        *stream << "{";
        for (const auto &call : calls)
            *stream << "\n      " << call;
        *stream << "\n    }";
    }
};
