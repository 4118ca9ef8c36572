// SPDX-License-Identifier: Apache-2.0
// The appliance's own clocks for its processes: what reads a clock and what sleeps, as clock_page.h says.
//
// A sleep waits on the page's count of changes, so it takes up a new rate or date at once. A thread's wait
// with a deadline goes by the rate at its beginning. What is not here goes by the machine's time: timers,
// alarms, limits of poll and select, and the times of files.
#include <linux/futex.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <ctime>

#include "board/interpose/clock_page.h"
#include "board/interpose/next.h"
#include "board/interpose/wire.h"

namespace
{

using namespace plexor::board;

constexpr std::int64_t second = 1'000'000'000;
constexpr std::int64_t longest_slice = 50'000'000;       // of a wait that cannot watch the page
constexpr std::int64_t forever = 4'000'000'000 * second; // as good as that, and two of them can be added
constexpr std::int64_t microsecond = 1'000;

const ClockPage *page; // null: the clocks are the machine's

[[gnu::constructor]] void find_page()
{
    page = map_clock(clock_file());
}

enum class Kind { calendar, monotonic, other };

Kind kind_of(clockid_t clock)
{
    switch (clock) {
    case CLOCK_REALTIME:
    case CLOCK_REALTIME_COARSE:
        return Kind::calendar;
    case CLOCK_MONOTONIC:
    case CLOCK_MONOTONIC_RAW:
    case CLOCK_MONOTONIC_COARSE:
    case CLOCK_BOOTTIME:
        return Kind::monotonic;
    default:
        return Kind::other;
    }
}

std::int64_t nanoseconds(const timespec &time)
{
    return time.tv_sec < forever / second ? time.tv_sec * second + time.tv_nsec : forever;
}

timespec as_timespec(std::int64_t nanoseconds)
{
    return {nanoseconds / second, nanoseconds % second};
}

std::int64_t on_machine(clockid_t clock)
{
    PLEXOR_REAL(clock_gettime);
    timespec now{};
    real(clock, &now);
    return nanoseconds(now);
}

bool driven()
{
    return page != nullptr && page->read().driven();
}

// One that can be reckoned with also while the clocks are not driven.
Timebase timebase()
{
    const Timebase written = page->read();
    if (written.driven())
        return written;
    const std::int64_t now = on_machine(CLOCK_MONOTONIC);
    return {now, now, on_machine(CLOCK_REALTIME), 1};
}

// The monotonic clocks keep the distances that they have on the machine.
std::int64_t on_appliance(const Timebase &timebase, clockid_t clock)
{
    const std::int64_t now = on_machine(CLOCK_MONOTONIC);
    if (kind_of(clock) == Kind::calendar)
        return timebase.calendar_at(now);
    return timebase.monotonic_at(now) + (clock == CLOCK_MONOTONIC ? 0 : on_machine(clock) - now);
}

std::int64_t calendar()
{
    return on_appliance(page->read(), CLOCK_REALTIME);
}

// Until a moment of the machine's monotonic clock, another count of changes, or a signal: 0 or the errno.
int wait(std::uint32_t seen, std::int64_t until)
{
    const timespec limit = as_timespec(until);
    const int saved = errno;
    int cancelling = 0;
    pthread_setcanceltype(PTHREAD_CANCEL_ASYNCHRONOUS, &cancelling); // as the C library's own sleeps do
    const long result = syscall(SYS_futex, &page->changes(), FUTEX_WAIT_BITSET, seen, &limit, nullptr,
                                FUTEX_BITSET_MATCH_ANY);
    const int error = result == 0 ? 0 : errno;
    pthread_setcanceltype(cancelling, nullptr);
    errno = saved;
    return error;
}

// 0, or EINTR.
int sleep_until(clockid_t clock, std::int64_t target)
{
    while (true) {
        const std::uint32_t seen = page->changes().load();
        const Timebase base = timebase();
        const std::int64_t left = target - on_appliance(base, clock);
        if (left <= 0)
            return 0;
        const std::int64_t now = on_machine(CLOCK_MONOTONIC);
        if (wait(seen, now + base.machine_span(left)) == EINTR)
            return EINTR;
    }
}

bool is_valid(const timespec &time)
{
    return time.tv_sec >= 0 && time.tv_nsec >= 0 && time.tv_nsec < second;
}

// As clock_nanosleep, for the clocks that the appliance has.
int sleep_on(clockid_t clock, int flags, const timespec &wanted, timespec *left)
{
    if (!is_valid(wanted))
        return EINVAL;
    if ((flags & TIMER_ABSTIME) != 0)
        return sleep_until(clock, nanoseconds(wanted));
    const std::int64_t target = on_appliance(timebase(), CLOCK_MONOTONIC) + nanoseconds(wanted);
    const int error = sleep_until(CLOCK_MONOTONIC, target);
    if (error != 0 && left != nullptr)
        *left = as_timespec(std::max<std::int64_t>(0, target - on_appliance(timebase(), CLOCK_MONOTONIC)));
    return error;
}

// A thread's deadline, as the machine's clock of that kind will tell it.
class Deadline
{
  public:
    Deadline(clockid_t clock, const timespec *wanted) : wanted_(wanted)
    {
        if (kind_of(clock) == Kind::other || !is_valid(*wanted) || !driven())
            return;
        const Timebase base = timebase();
        const std::int64_t left = nanoseconds(*wanted) - on_appliance(base, clock);
        translated_ = as_timespec(std::max<std::int64_t>(0, on_machine(clock) + base.machine_span(left)));
        wanted_ = &translated_;
    }
    const timespec *get() const { return wanted_; }

  private:
    const timespec *wanted_;
    timespec translated_{};
};

// A condition does not tell its clock; a deadline is near to what its clock says.
clockid_t likely_clock(const timespec &deadline)
{
    const Timebase base = timebase();
    const auto distance = [&](clockid_t clock) {
        return std::abs(nanoseconds(deadline) - on_appliance(base, clock));
    };
    return distance(CLOCK_REALTIME) < distance(CLOCK_MONOTONIC) ? CLOCK_REALTIME : CLOCK_MONOTONIC;
}

int fail_with(int error)
{
    if (error == 0)
        return 0;
    errno = error;
    return -1;
}

} // namespace

#pragma GCC visibility push(default)
extern "C" {

int clock_gettime(clockid_t clock, timespec *now)
{
    PLEXOR_REAL(clock_gettime);
    if (kind_of(clock) == Kind::other || !driven())
        return real(clock, now);
    *now = as_timespec(on_appliance(page->read(), clock));
    return 0;
}

time_t time(time_t *now)
{
    PLEXOR_REAL(time);
    if (!driven())
        return real(now);
    const time_t seconds = calendar() / second;
    if (now != nullptr)
        *now = seconds;
    return seconds;
}

int gettimeofday(timeval *now, void *zone)
{
    PLEXOR_REAL(gettimeofday);
    const int result = real(now, zone);
    if (result == 0 && driven()) {
        const timespec precise = as_timespec(calendar());
        *now = {precise.tv_sec, precise.tv_nsec / microsecond};
    }
    return result;
}

int timespec_get(timespec *now, int base)
{
    PLEXOR_REAL(timespec_get);
    if (base != TIME_UTC || !driven())
        return real(now, base);
    *now = as_timespec(calendar());
    return base;
}

int clock_nanosleep(clockid_t clock, int flags, const timespec *wanted, timespec *left)
{
    PLEXOR_REAL(clock_nanosleep);
    if (page == nullptr || kind_of(clock) == Kind::other)
        return real(clock, flags, wanted, left);
    return sleep_on(clock, flags, *wanted, left);
}

int nanosleep(const timespec *wanted, timespec *left)
{
    PLEXOR_REAL(nanosleep);
    return page == nullptr ? real(wanted, left) : fail_with(sleep_on(CLOCK_MONOTONIC, 0, *wanted, left));
}

int usleep(useconds_t microseconds)
{
    const timespec wanted = as_timespec(microseconds * microsecond);
    return nanosleep(&wanted, nullptr);
}

unsigned sleep(unsigned seconds)
{
    const int saved = errno;
    timespec left{static_cast<time_t>(seconds), 0};
    if (nanosleep(&left, &left) != 0)
        return static_cast<unsigned>(left.tv_sec);
    errno = saved;
    return 0;
}

int sigtimedwait(const sigset_t *signals, siginfo_t *info, const timespec *limit)
{
    PLEXOR_REAL(sigtimedwait);
    if (page == nullptr || limit == nullptr || !is_valid(*limit) || nanoseconds(*limit) == 0)
        return real(signals, info, limit);
    const std::int64_t end = on_appliance(timebase(), CLOCK_MONOTONIC) + nanoseconds(*limit);
    while (true) {
        const Timebase base = timebase();
        const std::int64_t left = std::max<std::int64_t>(0, end - on_appliance(base, CLOCK_MONOTONIC));
        const timespec slice = as_timespec(std::min(base.machine_span(left), longest_slice));
        const int signal = real(signals, info, &slice);
        if (signal >= 0 || errno != EAGAIN || left == 0)
            return signal;
    }
}

int sem_timedwait(sem_t *semaphore, const timespec *deadline)
{
    PLEXOR_REAL(sem_timedwait);
    return real(semaphore, Deadline(CLOCK_REALTIME, deadline).get());
}

int sem_clockwait(sem_t *semaphore, clockid_t clock, const timespec *deadline)
{
    PLEXOR_REAL(sem_clockwait);
    return real(semaphore, clock, Deadline(clock, deadline).get());
}

int pthread_cond_timedwait(pthread_cond_t *condition, pthread_mutex_t *mutex, const timespec *deadline)
{
    PLEXOR_REAL(pthread_cond_timedwait);
    if (!driven())
        return real(condition, mutex, deadline);
    return real(condition, mutex, Deadline(likely_clock(*deadline), deadline).get());
}

int pthread_cond_clockwait(pthread_cond_t *condition, pthread_mutex_t *mutex, clockid_t clock,
                           const timespec *deadline)
{
    PLEXOR_REAL(pthread_cond_clockwait);
    return real(condition, mutex, clock, Deadline(clock, deadline).get());
}
}
#pragma GCC visibility pop
