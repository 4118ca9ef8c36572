// SPDX-License-Identifier: Apache-2.0
// Makes one call of the library between two marks, so that a system call tracer can list what it costs, and
// says how many heap blocks and page faults it took. The marks are calls of getpgid with the numbers 1000001
// and 1000002.
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <string>

#include <plexor/plexor.h>

#include "bench/stand_in.h"
#include "bench/ticking.h"

namespace plexor::bench
{
namespace
{

constexpr int begin_mark = 1'000'001;
constexpr int end_mark = 1'000'002;

void wait_for_the_cache_to_age()
{
    usleep(300'000);
}

void prepare_switching(const char *mqtt)
{
    set_parameter("IO_number", "2");
    set_parameter("SPI_buf_1", "f0");
    set_parameter("mqtt_enable", mqtt);
    set_parameter("mqtt_connect", mqtt);
    std::ofstream("/var/run/cnt3.pid") << getpid() << '\n';
    wait_for_the_cache_to_age();
}

// As the web interface switches, with beep, trap and journal off.
void prepare_full_switching()
{
    prepare_switching("0");
    set_parameter("beep_alarm_PX", "0;0;0;0;0;0;0;0");
    set_parameter("email_alarm_PX", "0;0;0;0;0;0;0;0");
    set_parameter("snmp_enable", "0");
}

constexpr int picture_size = 10 * 1026;

// A file of ten chunks, and where its lines go.
struct Picture {
    int fd;
    FILE *lines;
};
Picture &picture()
{
    static Picture opened{memfd_create("picture", MFD_CLOEXEC), std::fopen("/dev/null", "we")};
    return opened;
}

void rewind_picture()
{
    if (ftruncate(picture().fd, picture_size) != 0 || lseek(picture().fd, 0, SEEK_SET) != 0)
        std::abort();
    std::fflush(picture().lines);
}

struct Case {
    std::function<void()> prepare;
    std::function<void()> call;
};

const std::map<std::string, Case> &cases()
{
    static unsigned char byte = 0;
    static unsigned levels = 0;
    static const std::map<std::string, Case> all{
        {"gpio-read-modify-write",
         {[] {},
          [] {
              gpio_read_int(1, &levels);
              gpio_set_dir_g(1, 1, 45);
              gpio_write_int(1, static_cast<int>(levels));
          }}},
        {"i2cmd-hit", {[] { i2cmd(1, 0xA0, 1, &byte, 1); }, [] { i2cmd(1, 0xA0, 1, &byte, 1); }}},
        {"i2cmd-miss", {wait_for_the_cache_to_age, [] { i2cmd(1, 0xA0, 1, &byte, 1); }}},
        {"i2cmd-uncached", {[] {}, [] { i2cmd(1, 0xD0, 0, &byte, 1); }}},
        {"switch-one-outlet", {[] { prepare_switching("0"); }, [] { ContorlSpiPower(2, 1); }}},
        {"switch-one-outlet-notified", {[] { prepare_switching("1"); }, [] { ContorlSpiPower(2, 1); }}},
        {"set-power-by-idx", {prepare_full_switching, [] { SetPowerByIdx(2, 1, "web"); }}},
        {"tick-idle", {[] { prepare_ticking(0); }, [] { snmppowercycle(); }}},
        {"tick-1-cycle", {[] { prepare_ticking(1); }, [] { snmppowercycle(); }}},
        {"tick-8-cycles", {[] { prepare_ticking(8); }, [] { snmppowercycle(); }}},
        {"base64-file",
         {rewind_picture, [] { KBase64EncodeFile(picture().fd, picture().lines, picture_size); }}},
    };
    return all;
}

// Something that takes what the system log is told.
int open_system_log()
{
    unlink("/dev/log");
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, "/dev/log");
    if (bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
        perror("/dev/log");
    return fd;
}

// Takes in what was said to the system log, which would make its callers wait once some lines are there.
void prepare(const Case &chosen)
{
    static const int system_log = open_system_log();
    char line[256];
    while (recv(system_log, line, sizeof line, 0) >= 0) {
    }
    chosen.prepare();
}

// First touches of pages by this process so far.
long page_faults()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_minflt;
}

// Of one call. A machine short of memory takes pages away, which the best of several calls does not show.
long fewest_page_faults(const Case &chosen)
{
    long fewest = LONG_MAX;
    for (int i = 0; i < 4; ++i) {
        prepare(chosen);
        const long before = page_faults();
        chosen.call();
        fewest = std::min(fewest, page_faults() - before);
    }
    return fewest;
}

int run(const Case &chosen)
{
    signal(SIGRTMAX - 10, SIG_IGN);
    prepare(chosen);
    chosen.call(); // first calls set up what stays: cache segment, log connection, time zone
    prepare(chosen);
    getpgid(0); // the measuring itself touches pages the first time
    const std::size_t blocks = heap_blocks();
    getpgid(begin_mark);
    chosen.call();
    getpgid(end_mark);
    const std::size_t taken = heap_blocks() - blocks;
    std::printf("%zu %ld\n", taken, fewest_page_faults(chosen));
    return 0;
}

} // namespace
} // namespace plexor::bench

int main(int argc, char **argv)
{
    using plexor::bench::cases;
    plexor::bench::refuse_the_machine_itself();
    const auto chosen = argc == 2 ? cases().find(argv[1]) : cases().end();
    if (chosen != cases().end())
        return plexor::bench::run(chosen->second);
    for (const auto &entry : cases())
        std::puts(entry.first.c_str());
    return argc == 1 ? 0 : 2;
}
