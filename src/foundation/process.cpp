// SPDX-License-Identifier: Apache-2.0
#include <plexor/process.h>

#include <fcntl.h>
#include <sys/ipc.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <syslog.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "nvram.h"
#include "support/descriptor.h"
#include "support/scan.h"
#include "support/shared_memory.h"
#include "support/time.h"

static_assert(sizeof(int) == 4, "ticks are unsigned and 32 bits wide");

namespace plexor
{
namespace
{

constexpr key_t last_switch_key = 0x4C504F4C; // "LPOL"
constexpr const char *monitor_pid_file = "/var/run/pingmgr.pid";
constexpr const char *connector_pid_file = "/var/run/cnt3.pid";
constexpr int monitor_misses_allowed = 3;
constexpr std::size_t pid_path_size = 100;

// Sleeps through signals; 0 or the errno of another failure.
int sleep_all(timespec remaining)
{
    while (nanosleep(&remaining, &remaining) != 0) {
        if (errno != EINTR)
            return errno;
    }
    return 0;
}

bool process_answers(int pid)
{
    // 0 and negative numbers would probe groups of processes.
    return pid > 0 && pid != PLEXOR_NO_PROCESS && kill(pid, 0) == 0;
}

void write_pid_file(const char *path, int pid)
{
    const Descriptor file(open(path, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (file)
        dprintf(file.get(), "%d\n", pid);
}

// Value of a hexadecimal digit, or -1. Letters are made large by arithmetic alone, which also turns
// 'P' to 'Y' into digits; the callers' texts hold neither.
int hex_digit(unsigned char c)
{
    if (c >= 'G')
        c = static_cast<unsigned char>(c - 32);
    if (c >= '0' && c <= '9')
        return c - '0';
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

} // namespace
} // namespace plexor

using namespace plexor;

int pingmgr_count = 0;

unsigned GetTickCountMS(void)
{
    return milliseconds(monotonic_time());
}

unsigned GetTickCount(void)
{
    return GetTickCountMS();
}

int Sleep(unsigned seconds)
{
    constexpr unsigned longest = INT32_MAX; // what a 32-bit time_t holds
    sleep_all({static_cast<time_t>(seconds < longest ? seconds : longest), 0});
    return 0;
}

int USleep(unsigned microseconds)
{
    constexpr unsigned second = 1'000'000;
    return sleep_all(
        {static_cast<time_t>(microseconds / second), static_cast<long>(microseconds % second) * 1000});
}

int ReadPid(const char *path)
{
    const Descriptor file(path == nullptr ? -1 : open(path, O_RDONLY | O_CLOEXEC));
    if (!file) {
        fprintf(stderr, "## Can not open %s \n", path == nullptr ? "" : path);
        return PLEXOR_NO_PROCESS;
    }
    Characters text(file.get());
    skip_spaces(text);
    if (text.at_end()) {
        fprintf(stderr, "## Read %s EOF\n", path);
        return PLEXOR_NO_PROCESS;
    }
    return scan_int(text, PLEXOR_NO_PROCESS);
}

void WriteProcPid_OpenLog(const char *name, int pid)
{
    static char ident[pid_path_size]; // the system log keeps a pointer to its ident
    char path[pid_path_size];
    if (name == nullptr || snprintf(path, sizeof path, "/var/run/%s.pid", name) >= int{sizeof path})
        return;
    write_pid_file(path, pid);
    strcpy(ident, name);
    openlog(ident, 0, LOG_USER);
    syslog(LOG_INFO, "###Start...:PID=%d\n", pid);
    myprintf("WriteProcPid:%s=%d\n", name, pid);
}

void checkpid(void)
{
    if (process_answers(ReadPid(monitor_pid_file))) {
        pingmgr_count = 0;
        return;
    }
    if (pingmgr_count < monitor_misses_allowed - 1) {
        ++pingmgr_count;
        return;
    }
    pingmgr_count = 0;
    myprintf("\n#### Warning: pingmgr lost... \n");
    if (system("pingmgr &") != 0)
        return; // the next three misses try again
}

int SendProcessSig(const char *name, int value)
{
    const int signal = SIGRTMAX - 10;
    if (nvram_kget_int("mqtt_enable", 0) != 1 || nvram_kget_int("mqtt_connect", 0) != 1)
        return 0;
    const int pid = ReadPid(connector_pid_file);
    if (pid == PLEXOR_NO_PROCESS)
        return 0;
    myprintf("#### %s sending %d signal to cnt3, val=%d......\n", name == nullptr ? "" : name, signal, value);
    sigval payload{};
    payload.sival_int = value;
    if (sigqueue(pid, signal, payload) != 0) {
        myprintf("#### sigqueue error");
        return 0;
    }
    return 1;
}

void LPOL(void)
{
    const Attachment segment = attach_or_create(last_switch_key, sizeof(MonotonicTime));
    if (!segment)
        return;
    const MonotonicTime now = monotonic_time();
    std::memcpy(segment.get(), &now, sizeof now);
}

char *split(char **out, char *text, const char *delimiters)
{
    if (out == nullptr || text == nullptr || delimiters == nullptr)
        return nullptr;
    char *rest = nullptr;
    for (char *token = strtok_r(text, delimiters, &rest); token != nullptr;
         token = strtok_r(nullptr, delimiters, &rest))
        *out++ = token;
    return nullptr;
}

unsigned Char2ByteFun(const unsigned char *digits)
{
    if (digits == nullptr)
        return 0;
    const int high = hex_digit(digits[0]);
    const int low = hex_digit(digits[1]);
    return high < 0 || low < 0 ? 0 : static_cast<unsigned>(high * 16 + low);
}

int GetDeviceName(unsigned index, char *buffer, int size)
{
    if (index < 1 || index > 8 || buffer == nullptr || size < 1)
        return 0;
    std::memset(buffer, 0, static_cast<std::size_t>(size));
    snprintf(buffer, static_cast<std::size_t>(size), "DeviceName_%u", index);
    return 1;
}
