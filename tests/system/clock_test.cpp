// SPDX-License-Identifier: Apache-2.0
// The clocks of an appliance, in a process of one: what sleeps and what reads a clock, against the machine's
// own clock.
#include <gtest/gtest.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <ctime>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "board/daemon/control_client.h"
#include "board/interpose/wire.h"
#include "tests/system/processes.h"

namespace plexor::tests
{

using namespace std::chrono_literals;
using nlohmann::json;
using std::chrono::nanoseconds;

timespec as_timespec(nanoseconds time)
{
    return {time / 1s, (time % 1s).count()};
}

nanoseconds as_nanoseconds(const timespec &time)
{
    return time.tv_sec * 1s + nanoseconds(time.tv_nsec);
}

nanoseconds on_appliance(clockid_t clock = CLOCK_MONOTONIC)
{
    timespec now{};
    EXPECT_EQ(clock_gettime(clock, &now), 0);
    return as_nanoseconds(now);
}

nanoseconds on_machine(clockid_t clock = CLOCK_MONOTONIC)
{
    timespec now{};
    EXPECT_EQ(syscall(SYS_clock_gettime, clock, &now), 0);
    return as_nanoseconds(now);
}

class ApplianceClock : public testing::Test
{
  protected:
    ApplianceClock() { alarm(60); }
    ~ApplianceClock() override
    {
        set("clock-rate", "1");
        alarm(0);
    }

    static json ask(const json &request)
    {
        return board::ControlClient(board::board_folder() + "/control.sock").ask(request);
    }
    static void set(const char *key, const char *value)
    {
        ask({{"command", "set"}, {"key", key}, {"value", value}});
    }

    // So much time of the appliance or more, and less time of the machine.
    static void expect_quick(nanoseconds wanted, const std::function<void()> &wait)
    {
        const auto machine = on_machine();
        const auto appliance = on_appliance();
        wait();
        EXPECT_GE(on_appliance() - appliance, wanted);
        EXPECT_LT(on_machine() - machine, wanted);
    }
};

// Signals this thread again and again, for the first one may come before it sleeps.
class Signaller
{
  public:
    Signaller()
    {
        struct sigaction action {
        };
        action.sa_handler = [](int) {};
        action.sa_flags = SA_RESTART; // a sleep ends all the same
        sigaction(SIGUSR1, &action, nullptr);
        thread_ = std::thread([this, sleeper = pthread_self()] {
            while (!ended_) {
                pthread_kill(sleeper, SIGUSR1);
                syscall(SYS_poll, nullptr, 0, 5);
            }
        });
    }
    ~Signaller()
    {
        ended_ = true;
        thread_.join();
    }
    Signaller(const Signaller &) = delete;
    Signaller &operator=(const Signaller &) = delete;

  private:
    std::atomic<bool> ended_{};
    std::thread thread_{};
};

TEST_F(ApplianceClock, IsTheMachinesUntilSomebodySetsIt)
{
    ASSERT_EQ(ask({{"command", "show"}}).at("board").at("clock").at("driven"), false);
    for (const clockid_t clock : {CLOCK_MONOTONIC, CLOCK_REALTIME, CLOCK_BOOTTIME}) {
        const auto before = on_machine(clock);
        const auto now = on_appliance(clock);
        EXPECT_LE(before, now);
        EXPECT_LE(now, on_machine(clock));
    }
    const timespec moment = as_timespec(1ms);
    EXPECT_EQ(nanosleep(&moment, nullptr), 0);
}

TEST_F(ApplianceClock, ShortensEveryKindOfSleep)
{
    set("clock-rate", "100");
    const timespec five = as_timespec(5s);
    expect_quick(5s, [] { EXPECT_EQ(sleep(5), 0U); });
    expect_quick(5s, [] { EXPECT_EQ(usleep(5'000'000), 0); });
    expect_quick(5s, [&] { EXPECT_EQ(nanosleep(&five, nullptr), 0); });
    for (const clockid_t clock : {CLOCK_MONOTONIC, CLOCK_REALTIME})
        expect_quick(5s, [&] { EXPECT_EQ(clock_nanosleep(clock, 0, &five, nullptr), 0); });
}

TEST_F(ApplianceClock, ShortensWaitsForSignalsAndThreads)
{
    set("clock-rate", "100");
    sigset_t none;
    sigemptyset(&none);
    const timespec longer = as_timespec(20s); // than what such a wait goes on without a look at the rate
    expect_quick(20s, [&] { EXPECT_EQ(sigtimedwait(&none, nullptr, &longer), -1); });
    EXPECT_EQ(errno, EAGAIN);
    std::mutex mutex;
    std::unique_lock lock(mutex);
    std::condition_variable condition;
    expect_quick(5s, [&] { condition.wait_for(lock, 5s); });
    expect_quick(5s, [&] { condition.wait_until(lock, std::chrono::system_clock::now() + 5s); });
    sem_t semaphore;
    sem_init(&semaphore, 0, 0);
    const timespec deadline = as_timespec(on_appliance(CLOCK_REALTIME) + 5s);
    expect_quick(5s, [&] { EXPECT_EQ(sem_timedwait(&semaphore, &deadline), -1); });
}

TEST_F(ApplianceClock, GivesAWaitedForSignalAtOnce)
{
    sigset_t one;
    sigemptyset(&one);
    sigaddset(&one, SIGUSR2);
    pthread_sigmask(SIG_BLOCK, &one, nullptr);
    raise(SIGUSR2);
    const timespec hour = as_timespec(1h);
    EXPECT_EQ(sigtimedwait(&one, nullptr, &hour), SIGUSR2);
    const timespec at_once{};
    EXPECT_EQ(sigtimedwait(&one, nullptr, &at_once), -1);
}

TEST_F(ApplianceClock, CrossesMidnightOnEveryReadingOfTheCalendar)
{
    set("clock", "2026-11-21 23:59:58");
    const time_t evening = time(nullptr);
    set("clock-rate", "100");
    sleep(3);
    timeval day{};
    gettimeofday(&day, nullptr);
    timespec standard{};
    timespec_get(&standard, TIME_UTC);
    for (const time_t now : {time(nullptr), day.tv_sec, standard.tv_sec, on_appliance(CLOCK_REALTIME) / 1s}) {
        EXPECT_GE(now, evening + 2);
        EXPECT_EQ(localtime(&now)->tm_mday, 22);
    }
}

TEST_F(ApplianceClock, LeavesTheMonotonicClockAloneWhenTheCalendarIsSet)
{
    set("clock-rate", "1");
    const auto machine = on_machine();
    const auto before = on_appliance();
    set("clock", "2030-01-01 00:00:00");
    const auto elapsed = on_appliance() - before;
    EXPECT_GE(elapsed, 0s);
    EXPECT_LE(elapsed, on_machine() - machine);
    const time_t now = time(nullptr);
    EXPECT_EQ(localtime(&now)->tm_year, 130);
}

TEST_F(ApplianceClock, NeverEndsAnAbsoluteSleepEarlyNorWaitsForWhatIsPast)
{
    set("clock-rate", "100");
    const auto start = on_appliance();
    for (int i = 1; i <= 20; ++i) {
        const timespec target = as_timespec(start + i * 500ms);
        EXPECT_EQ(clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &target, nullptr), 0);
        EXPECT_GE(on_appliance(), start + i * 500ms);
    }
    const timespec past = as_timespec(start);
    EXPECT_EQ(clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &past, nullptr), 0);
}

TEST_F(ApplianceClock, AwaitsADateThatTheCalendarIsSetBeyond)
{
    set("clock", "2026-01-01 00:00:00");
    const timespec noon = as_timespec(on_appliance(CLOCK_REALTIME) + 12h);
    std::thread sleeper(
        [&] { EXPECT_EQ(clock_nanosleep(CLOCK_REALTIME, TIMER_ABSTIME, &noon, nullptr), 0); });
    set("clock", "2026-01-01 13:00:00");
    sleeper.join();
}

TEST_F(ApplianceClock, TakesASleepInProgressAlongToANewRate)
{
    std::atomic<bool> begun{};
    expect_quick(100s, [&] {
        std::thread sleeper([&] {
            begun = true;
            EXPECT_EQ(sleep(100), 0U);
        });
        while (!begun)
            std::this_thread::yield();
        set("clock-rate", "1000");
        sleeper.join();
    });
}

TEST_F(ApplianceClock, TellsAnInterruptedSleepWhatIsLeft)
{
    set("clock-rate", "100");
    const timespec wanted = as_timespec(10h);
    timespec left{};
    const auto before = on_appliance();
    {
        const Signaller signaller;
        EXPECT_EQ(nanosleep(&wanted, &left), -1);
        EXPECT_EQ(errno, EINTR);
    }
    EXPECT_LE(as_nanoseconds(left), 10h);
    EXPECT_GE(as_nanoseconds(left), 10h - (on_appliance() - before));
}

TEST_F(ApplianceClock, EndsASleepInTimeThatGoesOnWithWhatIsLeft)
{
    set("clock-rate", "100");
    const Signaller signaller;
    timespec left = as_timespec(20s);
    expect_quick(20s, [&] {
        while (nanosleep(&left, &left) != 0)
            EXPECT_EQ(errno, EINTR);
    });
}

TEST_F(ApplianceClock, InterruptsEveryKindOfSleep)
{
    const Signaller signaller;
    const timespec hour = as_timespec(1h);
    timespec left{};
    const unsigned seconds = sleep(3600);
    EXPECT_GE(seconds, 3500U);
    EXPECT_LT(seconds, 3600U);
    EXPECT_EQ(usleep(999'999'999), -1);
    EXPECT_EQ(clock_nanosleep(CLOCK_REALTIME, 0, &hour, &left), EINTR);
    EXPECT_GT(left.tv_sec, 3500);
    const timespec later = as_timespec(on_appliance() + 1h);
    left = {7, 7};
    EXPECT_EQ(clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &later, &left), EINTR);
    EXPECT_EQ(left.tv_sec, 7);
}

TEST_F(ApplianceClock, RefusesWhatIsNoTime)
{
    for (const timespec &wrong : {timespec{-1, 0}, timespec{0, -1}, timespec{0, 1'000'000'000}}) {
        EXPECT_EQ(nanosleep(&wrong, nullptr), -1);
        EXPECT_EQ(errno, EINVAL);
        EXPECT_EQ(clock_nanosleep(CLOCK_MONOTONIC, 0, &wrong, nullptr), EINVAL);
    }
}

TEST_F(ApplianceClock, IsTheSameInAChildProcess)
{
    set("clock", "2031-05-06 07:08:09");
    EXPECT_TRUE(in_child([] {
        const time_t now = time(nullptr);
        return localtime(&now)->tm_year == 131;
    }));
}

TEST_F(ApplianceClock, CanBeCancelledInASleep)
{
    pthread_t sleeper{};
    pthread_create(
        &sleeper, nullptr, [](void *) -> void * { return sleep(3600), nullptr; }, nullptr);
    pthread_cancel(sleeper);
    void *result = nullptr;
    pthread_join(sleeper, &result);
    EXPECT_EQ(result, PTHREAD_CANCELED);
}

TEST_F(ApplianceClock, StampsTheEventsOfTheBoard)
{
    set("clock-rate", "100");
    sleep(100);
    set("drycontact", "closed");
    const json events = ask({{"command", "events"}}).at("events");
    const auto begin = events.at(events.size() - 2).at("time").get<double>();
    EXPECT_GE(events.back().at("time").get<double>() - begin, 100);
}

} // namespace plexor::tests
