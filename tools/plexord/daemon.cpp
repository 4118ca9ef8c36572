// SPDX-License-Identifier: Apache-2.0
#include "tools/plexord/daemon.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <plexor/cycle.h>
#include <plexor/off_delay.h>

#include "support/descriptor.h"
#include "tools/plexord/signals.h"
#include "tools/plexord/watches.h"
#include "tools/support/board.h"
#include "tools/support/console.h"

namespace plexor::ctl
{
namespace
{

// For those that get no argument: what is called at the end, in a child, or for a signal.
PidFile *pid_file;
pid_t daemon_pid;
unsigned off_deadlines[max_outlets];

void arm(int outlet)
{
    SetOFFDelayTime_t(outlet, off_deadlines);
}

void tell_the_end()
{
    if (getpid() != daemon_pid)
        return;
    if (const int signal = ending_signal())
        syslog(LOG_INFO, "ended by signal %d\n", signal);
    else
        syslog(LOG_ERR, "ended: a device is missing\n");
}

// The nonces of off-delay datagrams come from rand().
void seed_random_numbers()
{
    unsigned seed = static_cast<unsigned>(time(nullptr)) ^ static_cast<unsigned>(getpid()) << 16;
    const Descriptor noise(open("/dev/urandom", O_RDONLY | O_CLOEXEC));
    if (!noise || read(noise.get(), &seed, sizeof seed) < 0)
        syslog(LOG_WARNING, "no random numbers: %s\n", std::strerror(errno));
    std::srand(seed);
}

struct Watches {
    DryContactWatch dry_contact{[] { pid_file->let_go(); }};
    BusyWatch busy;
};

void tick(Watches &watches)
{
    tzset(); // a time zone that was changed counts from now on
    if (watches.busy.finds_dead_writer()) {
        syslog(LOG_WARNING, "the record of cycles stayed busy for 30 ticks: running cycles are given up\n");
        powercycleget(); // a tick of its own
    } else {
        snmppowercycle();
    }
    CheckOFFDelayTime_t(off_deadlines, "OFFDelay");
    watches.dry_contact.look();
}

int serve(PidFile &file, void (*announce)(int ready), int ready)
{
    listen_to_signals();
    if (!file.write())
        return failed;
    pid_file = &file;
    daemon_pid = getpid();
    std::atexit(tell_the_end);
    seed_random_numbers();
    Watches watches;
    std::int64_t moment = monotonic_now();
    tick(watches); // from here on a cycle can be asked for
    announce(ready);
    while (ending_signal() == 0) {
        moment = next_tick(moment, monotonic_now());
        wait_until(moment, arm);
        if (ending_signal() == 0)
            tick(watches);
    }
    watches.dry_contact.wait_for_action();
    return done;
}

// Done once the child has said that it is ready; one that fails before has said why.
int wait_for_child(pid_t child, const Descriptor &ready)
{
    char byte = 0;
    ssize_t length = 0;
    do
        length = read(ready.get(), &byte, sizeof byte);
    while (length < 0 && errno == EINTR);
    if (length == 1)
        return done;
    waitpid(child, nullptr, 0);
    return failed;
}

void leave_and_announce(int ready)
{
    leave_console();
    const char byte = 1;
    if (write(ready, &byte, sizeof byte) != 1)
        syslog(LOG_WARNING, "nobody waited for plexord: %s\n", std::strerror(errno));
    close(ready);
}

int no_background()
{
    return failure("plexord cannot go to the background: %s", std::strerror(errno));
}

int serve_as_child(PidFile &file, int ready)
{
    PidFile::pass_to(getpid());
    setsid();
    if (chdir("/") != 0)
        return failure("the root folder cannot be entered");
    return serve(file, leave_and_announce, ready);
}

} // namespace

int serve_in_foreground(PidFile &file)
{
    return serve(
        file, [](int) { std::fflush(results()); }, -1);
}

int serve_in_background(PidFile &file)
{
    int pipe_ends[2];
    if (pipe2(pipe_ends, O_CLOEXEC) != 0)
        return no_background();
    const Descriptor ready(pipe_ends[0]);
    Descriptor announcement(pipe_ends[1]);
    std::fflush(results());
    const pid_t child = fork();
    if (child < 0)
        return no_background();
    if (child == 0)
        return serve_as_child(file, announcement.release());
    PidFile::pass_to(child);
    announcement.close();
    return wait_for_child(child, ready);
}

} // namespace plexor::ctl
