// SPDX-License-Identifier: Apache-2.0
#include "tools/plexord/pid_file.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

#include <plexor/process.h>

#include "tools/support/console.h"
#include "tools/support/running_daemon.h"

namespace plexor::ctl
{
namespace
{

pid_t remover; // others leave the file alone

void remove_own()
{
    if (std::exchange(remover, 0) == getpid())
        unlink(daemon_pid_path);
}

// A plexord that ends removes the file, maybe just before it is locked here.
bool is_still_there(const Descriptor &file)
{
    struct stat locked = {};
    struct stat present = {};
    return fstat(file.get(), &locked) == 0 && stat(daemon_pid_path, &present) == 0 &&
           locked.st_ino == present.st_ino && locked.st_dev == present.st_dev;
}

void tell_refusal(int error)
{
    if (error != EWOULDBLOCK)
        failure("%s cannot be locked: %s", daemon_pid_path, std::strerror(error));
    else if (const std::optional<int> pid = running_daemon())
        failure("plexord runs already, as process %d", *pid);
    else
        failure("plexord is being started already");
}

} // namespace

std::optional<PidFile> PidFile::take()
{
    for (;;) {
        Descriptor file(open(daemon_pid_path, O_RDWR | O_CREAT | O_CLOEXEC, 0644));
        if (!file) {
            failure("%s cannot be opened: %s", daemon_pid_path, std::strerror(errno));
            return std::nullopt;
        }
        if (flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
            tell_refusal(errno);
            return std::nullopt;
        }
        if (is_still_there(file))
            return PidFile(std::move(file));
    }
}

PidFile::PidFile(Descriptor lock) : lock_(std::move(lock))
{
    remover = getpid();
    std::atexit(remove_own);
}

// While the file is locked: another plexord's must not be removed.
PidFile::~PidFile()
{
    if (lock_)
        remove_own();
}

bool PidFile::write() const
{
    WriteProcPid_OpenLog(daemon_name, getpid());
    if (ReadPid(daemon_pid_path) == getpid())
        return true;
    failure("%s cannot be written", daemon_pid_path);
    return false;
}

void PidFile::pass_to(pid_t process)
{
    remover = process;
}

} // namespace plexor::ctl
