// SPDX-License-Identifier: Apache-2.0
#include "tools/support/running_daemon.h"

#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include <plexor/process.h>

#include "support/descriptor.h"

namespace plexor::ctl
{
namespace
{

bool is_daemon(int pid)
{
    char path[32];
    std::snprintf(path, sizeof path, "/proc/%d/comm", pid);
    const Descriptor file(open(path, O_RDONLY | O_CLOEXEC));
    char name[32] = {};
    if (!file || read(file.get(), name, sizeof name - 1) < 0)
        return false;
    name[std::strcspn(name, "\n")] = '\0';
    return std::strcmp(name, daemon_name) == 0;
}

} // namespace

std::optional<int> running_daemon()
{
    const int pid = ReadPid(daemon_pid_path);
    if (pid < 1 || pid == PLEXOR_NO_PROCESS || !is_daemon(pid))
        return std::nullopt;
    return pid;
}

} // namespace plexor::ctl
