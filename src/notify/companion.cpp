// SPDX-License-Identifier: Apache-2.0
#include <plexor/companion.h>

#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstring>

#include "support/descriptor.h"
#include "support/owned.h"
#include "support/scan.h"

namespace plexor
{
namespace
{

constexpr const char *camera_pid_file = "/tmp/uvc_pid.txt";

int count_camera_lines()
{
    const Pipe lines(popen("ps | grep -c uvc_stream\n", "re"));
    return lines ? first_number(fileno(lines.get())) : 0;
}

// The number in a file, 0 for a text that is none; false when there is no file.
bool read_number(const char *path, int &number)
{
    const Descriptor file(open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC)); // a pipe is not waited for
    if (!file)
        return false;
    number = first_number(file.get());
    return true;
}

struct Program {
    char path[256];
};

// The program that a process runs; false when there is no such process.
bool find_program(int pid, Program &program)
{
    char link[32];
    snprintf(link, sizeof link, "/proc/%d/exe", pid);
    const ssize_t length = readlink(link, program.path, sizeof program.path - 1);
    if (length < 0)
        return false;
    program.path[length] = '\0';
    return true;
}

} // namespace
} // namespace plexor

using namespace plexor;

int readUvcPid(void)
{
    const int lines = count_camera_lines();
    fprintf(stderr, "uvc_stream count1a:%d\n", lines);
    int pid = 0;
    Program program;
    if (lines < 2 || !read_number(camera_pid_file, pid) || !find_program(pid, program) ||
        std::strstr(program.path, "/uvc_stream") == nullptr)
        return 0;
    fprintf(stderr, "prepid:%d,%s\n", pid, program.path);
    return pid;
}

int isUVCRuning(void)
{
    const int pid = readUvcPid();
    if (pid != 0 && kill(pid, 0) == 0)
        return pid;
    unlink(camera_pid_file);
    return 0;
}

int SendSignalToProc(int signal, const char *name)
{
    char path[100];
    int pid = 0;
    Program program;
    if (name == nullptr || snprintf(path, sizeof path, "/var/run/%s.pid", name) >= int{sizeof path} ||
        !read_number(path, pid))
        return -2;
    if (pid < 1)
        return -3;
    if (!find_program(pid, program))
        return -4;
    if (std::strstr(program.path, name) == nullptr)
        return -5;
    syslog(LOG_INFO, "SendSignalToProc:%d -> %s\n", signal, name);
    return kill(pid, signal);
}
