// SPDX-License-Identifier: Apache-2.0
#include "tests/contract/appliance_world.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/shm.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "board/interpose/marshal.h"
#include "tests/contract/answers.h"
#include "tests/contract/call_text.h"
#include "tests/contract/files.h"
#include "tests/contract/memory_file.h"

namespace plexor::tests
{
namespace
{

timespec to_timespec(std::int64_t nanoseconds)
{
    return {static_cast<time_t>(nanoseconds / ApplianceWorld::second),
            static_cast<long>(nanoseconds % ApplianceWorld::second)};
}

bool is_duration(const timespec &time)
{
    return time.tv_sec >= 0 && time.tv_nsec >= 0 && time.tv_nsec < ApplianceWorld::second;
}

void check_open_flags(const char *path, int flags, bool is_device)
{
    if (is_device && (flags & O_ACCMODE) != O_RDONLY)
        ADD_FAILURE() << path << " is opened for writing; drivers are opened read-only";
    if ((flags & O_CLOEXEC) == 0)
        ADD_FAILURE() << path << " is opened without close-on-exec";
}

const char *access_name(int flags)
{
    constexpr const char *names[] = {"r", "w", "rw"};
    return names[flags & O_ACCMODE];
}

// Opening such a pipe would last until somebody opens its other end.
bool holds_caller(const char *path, int flags)
{
    return S_ISFIFO(mode_of(path)) && (flags & O_NONBLOCK) == 0;
}

} // namespace

void ApplianceWorld::note(const char *format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    calls.push_back(vprint(format, arguments));
    va_end(arguments);
    for (const auto &[prefix, action] : watchers) {
        if (calls.back().starts_with(prefix))
            action();
    }
}

// Counts the call for the failures that wait for it; true when one is due, errno then set.
bool ApplianceWorld::fails(const char *name)
{
    std::optional<int> due;
    for (auto failure = failures.begin(); failure != failures.end();) {
        const bool now = failure->name == name && failure->skip-- == 0;
        if (now)
            due = failure->error;
        failure = now ? failures.erase(failure) : failure + 1;
    }
    errno = due.value_or(errno);
    return due.has_value();
}

// --- devices ---

int ApplianceWorld::open(const char *path, int flags, mode_t mode)
{
    const Lock lock(mutex_);
    const auto device = board::device_at(path);
    if (device)
        note("open %s", path);
    else if (files.plays(path))
        note("open %s %s", path, access_name(flags));
    check_open_flags(path, flags, device.has_value());
    if (fails("open"))
        return -1;
    if (const auto error = open_errors.find(path); error != open_errors.end())
        return fail_with(error->second);
    return device ? open_device(*device, path) : open_file(path, flags, mode);
}

int ApplianceWorld::open_file(const char *path, int flags, mode_t mode)
{
    if ((flags & O_CREAT) != 0 && foreign_files.contains(path))
        return fail_with(EACCES);
    if (files.plays(path))
        return files.open(path, flags);
    if (holds_caller(path, flags)) {
        ADD_FAILURE() << path << ", a pipe, is waited for";
        return fail_with(EAGAIN);
    }
    return ::open(path, flags, mode);
}

int ApplianceWorld::open_device(board::Device device, const char *path)
{
    if (const auto number = open_numbers.extract(path)) {
        if (number.mapped() >= 0)
            devices[number.mapped()] = {device, false};
        return number.mapped();
    }
    if (const int error = board->open(device, getpid()); error != 0)
        return fail_with(error);
    const int descriptor = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (descriptor >= 0)
        devices[descriptor] = {device, true};
    return descriptor;
}

const ApplianceWorld::OpenDevice *ApplianceWorld::device_behind(int descriptor) const
{
    const auto found = devices.find(descriptor);
    return found == devices.end() ? nullptr : &found->second;
}

// What the record calls an open descriptor; "" for what is not played.
std::string ApplianceWorld::name_of(int descriptor) const
{
    if (const auto *device = device_behind(descriptor))
        return board::device_path(device->device);
    return sockets.contains(descriptor) ? "socket" : files.path_of(descriptor);
}

bool ApplianceWorld::is_file(int descriptor) const
{
    return device_behind(descriptor) == nullptr && !sockets.contains(descriptor);
}

// Closes what is really open behind a descriptor.
void ApplianceWorld::release(int descriptor)
{
    const auto device = devices.extract(descriptor);
    const auto socket = sockets.extract(descriptor);
    if ((!device || device.mapped().real) && (!socket || socket.mapped().real))
        ::close(descriptor);
}

void ApplianceWorld::close_everything()
{
    close_pipes();
    while (!devices.empty())
        release(devices.begin()->first);
    while (!sockets.empty())
        release(sockets.begin()->first);
    for (const int descriptor : files.descriptors())
        release(descriptor);
}

int ApplianceWorld::close(int descriptor)
{
    const Lock lock(mutex_);
    const std::string name = name_of(descriptor);
    if (name.empty())
        return on_file(::close(descriptor), "close", descriptor);
    note("close %s", name.c_str());
    release(descriptor);
    return fails("close") ? -1 : 0;
}

// How much is read at a time is the reader's own business, so reads that follow each other are one line.
ssize_t ApplianceWorld::read(int descriptor, void *buffer, std::size_t size)
{
    const Lock lock(mutex_);
    const std::string name = name_of(descriptor);
    if (name.empty())
        return on_file(::read(descriptor, buffer, size), "read", descriptor);
    if (!is_file(descriptor)) {
        note("read %s %zu", name.c_str(), size);
        return fail_with(EINVAL); // nothing is read from drivers and sockets
    }
    if (calls.empty() || calls.back() != "read " + name)
        note("read %s", name.c_str());
    return fails("read") ? -1 : ::read(descriptor, buffer, size);
}

ssize_t ApplianceWorld::write(int descriptor, const void *buffer, std::size_t size)
{
    const Lock lock(mutex_);
    const std::string name = name_of(descriptor);
    if (name.empty())
        return on_file(::write(descriptor, buffer, size), "write", descriptor);
    note("write %s %zu", name.c_str(), size);
    if (!is_file(descriptor))
        return fail_with(EINVAL); // nor written
    return fails("write") ? -1 : ::write(descriptor, buffer, size);
}

off_t ApplianceWorld::lseek(int descriptor, off_t offset, int whence)
{
    const Lock lock(mutex_);
    note("lseek %lld %d", static_cast<long long>(offset), whence);
    return fails("lseek") ? -1 : on_file(::lseek(descriptor, offset, whence), "lseek", descriptor);
}

int ApplianceWorld::ioctl(int descriptor, unsigned long number, std::uintptr_t argument)
{
    const Lock lock(mutex_);
    if (const auto *device = device_behind(descriptor))
        return device_ioctl(device->device, number, argument);
    if (sockets.contains(descriptor))
        return socket_ioctl(number, argument);
    return on_file(::ioctl(descriptor, number, argument), "ioctl", descriptor);
}

int ApplianceWorld::begin_ioctl(board::Device device, unsigned long number, std::uintptr_t argument,
                                board::Request &request)
{
    const int error = board::marshal(device, number, argument, request);
    note("%s", ioctl_text(request, argument).c_str());
    if (error != 0)
        ADD_FAILURE() << calls.back() << ": bad argument (" << std::strerror(error) << ")";
    if (board::too_wide(request, argument))
        ADD_FAILURE() << calls.back() << ": the argument does not fit the driver's 32 bits";
    return error;
}

bool ApplianceWorld::ioctl_fails(const std::string &path, unsigned long number)
{
    if (fails("ioctl"))
        return true;
    const auto error = ioctl_errors.find({path, static_cast<int>(number)});
    if (error == ioctl_errors.end())
        return false;
    errno = error->second;
    return true;
}

int ApplianceWorld::device_ioctl(board::Device device, unsigned long number, std::uintptr_t argument)
{
    board::Request request;
    if (const int error = begin_ioctl(device, number, argument, request); error != 0)
        return fail_with(error);
    if (ioctl_fails(board::device_path(device), number))
        return -1;
    return board::deliver(request, argument, board->handle(request));
}

int ApplianceWorld::devices_open() const
{
    const auto is_real = [](const auto &entry) { return entry.second.real; };
    return static_cast<int>(std::count_if(devices.begin(), devices.end(), is_real));
}

// --- time ---

void ApplianceWorld::pass(std::int64_t nanoseconds)
{
    const Lock lock(mutex_);
    monotonic += nanoseconds;
    calendar += nanoseconds;
}

std::int64_t ApplianceWorld::clock(clockid_t id) const
{
    return id == CLOCK_REALTIME || id == CLOCK_REALTIME_COARSE ? calendar : monotonic;
}

int ApplianceWorld::clock_gettime(clockid_t id, timespec *now)
{
    const Lock lock(mutex_);
    note("clock_gettime %s", clock_name(id).c_str());
    if (fails("clock_gettime"))
        return -1;
    *now = to_timespec(clock(id));
    return 0;
}

time_t ApplianceWorld::time(time_t *now)
{
    const Lock lock(mutex_);
    note("time");
    const time_t seconds = to_timespec(calendar).tv_sec;
    if (now != nullptr)
        *now = seconds;
    return seconds;
}

int ApplianceWorld::nanosleep(const timespec *duration, timespec *remaining)
{
    const Lock lock(mutex_);
    note("nanosleep %lld.%09ld", static_cast<long long>(duration->tv_sec), duration->tv_nsec);
    if (fails("nanosleep"))
        return -1;
    if (!is_duration(*duration))
        return fail_with(EINVAL);
    const std::int64_t wanted = duration->tv_sec * second + duration->tv_nsec;
    const std::int64_t slept = std::min(wanted, interruption.value_or(wanted));
    interruption.reset();
    pass(slept);
    if (slept == wanted)
        return 0;
    if (remaining != nullptr)
        *remaining = to_timespec(wanted - slept);
    return fail_with(EINTR);
}

// --- processes, shell and log ---

int ApplianceWorld::kill(pid_t pid, int signal)
{
    const Lock lock(mutex_);
    note("kill %d %d", pid, signal);
    if (fails("kill"))
        return -1;
    return processes.contains(pid) ? 0 : fail_with(ESRCH);
}

int ApplianceWorld::sigqueue(pid_t pid, int signal, sigval value)
{
    const Lock lock(mutex_);
    note("sigqueue %d %d %d", pid, signal, value.sival_int);
    if (fails("sigqueue"))
        return -1;
    return processes.contains(pid) ? 0 : fail_with(ESRCH);
}

int ApplianceWorld::system(const char *command)
{
    const Lock lock(mutex_);
    note("system %s", command);
    return fails("system") ? -1 : system_status;
}

// Nothing is ever executed. A child of vfork comes here in its parent's memory, where the record is seen.
int ApplianceWorld::execlp(const char *file, char *const *arguments)
{
    const Lock lock(mutex_);
    std::string line = print("execlp %s", file);
    for (; *arguments != nullptr; ++arguments)
        line += print(" %s", *arguments);
    note("%s", line.c_str());
    return fails("execlp") ? -1 : fail_with(ENOENT);
}

// A command that is not run: a file in memory in place of the pipe.
std::FILE *ApplianceWorld::play_command(const char *mode)
{
    std::FILE *file = fdopen(make_memory_file(*mode == 'r' ? command_output : ""), "w+");
    EXPECT_NE(file, nullptr);
    return file;
}

std::FILE *ApplianceWorld::popen(const char *command, const char *mode)
{
    const Lock lock(mutex_);
    note("popen %c %s", *mode, command);
    if (std::strchr(mode, 'e') == nullptr)
        ADD_FAILURE() << calls.back() << ": the pipe is opened without close-on-exec";
    if (fails("popen"))
        return nullptr;
    std::FILE *pipe = commands_are_real ? ::popen(command, mode) : play_command(mode);
    pipes.insert(pipe);
    return pipe;
}

int ApplianceWorld::finish_command(std::FILE *pipe)
{
    pipes.erase(pipe);
    if (commands_are_real)
        return ::pclose(pipe);
    std::fflush(pipe);
    piped = contents_of(fileno(pipe));
    return std::fclose(pipe);
}

int ApplianceWorld::pclose(std::FILE *pipe)
{
    const Lock lock(mutex_);
    note("pclose");
    if (!pipes.contains(pipe)) {
        ADD_FAILURE() << "pclose of what is no open pipe";
        return fail_with(EBADF);
    }
    return finish_command(pipe);
}

void ApplianceWorld::close_pipes()
{
    while (!pipes.empty())
        finish_command(*pipes.begin());
}

void ApplianceWorld::openlog(const char *ident, int options, int facility)
{
    const Lock lock(mutex_);
    note("openlog %s %d %d", ident, options, facility);
    log_ident = ident;
}

void ApplianceWorld::vsyslog(int priority, const char *format, std::va_list arguments)
{
    const Lock lock(mutex_);
    note("syslog %d %s", priority, vprint(format, arguments).c_str());
}

// --- shared memory ---

int ApplianceWorld::shmget(key_t key, std::size_t size, int flags)
{
    const Lock lock(mutex_);
    note("shmget 0x%08X %zu %#o", static_cast<unsigned>(key), size, static_cast<unsigned>(flags));
    if (fails("shmget"))
        return -1;
    segment_keys.insert(key);
    return ::shmget(key, size, flags);
}

void *ApplianceWorld::shmat(int id, const void *address, int flags)
{
    const Lock lock(mutex_);
    note("shmat");
    void *const failed = reinterpret_cast<void *>(-1);
    if (fails("shmat"))
        return failed;
    void *attached = ::shmat(id, address, flags);
    segments_attached += attached != failed;
    return attached;
}

int ApplianceWorld::shmdt(const void *address)
{
    const Lock lock(mutex_);
    note("shmdt");
    if (::shmdt(address) != 0) {
        ADD_FAILURE() << "shmdt of " << address << ", where no segment is attached";
        return fail_with(EINVAL);
    }
    --segments_attached;
    return fails("shmdt") ? -1 : 0;
}

void ApplianceWorld::remove_segments()
{
    for (const key_t key : segment_keys) {
        if (const int id = ::shmget(key, 0, 0); id >= 0)
            ::shmctl(id, IPC_RMID, nullptr);
    }
}

// --- the heap ---

void *ApplianceWorld::malloc(std::size_t size)
{
    const Lock lock(mutex_);
    note("malloc %zu", size);
    return fails("malloc") ? nullptr : std::malloc(size);
}

} // namespace plexor::tests
