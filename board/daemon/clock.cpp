// SPDX-License-Identifier: Apache-2.0
#include "board/daemon/clock.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <ctime>
#include <utility>

#include "board/daemon/refusal.h"

namespace plexor::board
{

namespace
{

constexpr std::int64_t second = 1'000'000'000;
constexpr int first_year = 1971;
constexpr int last_year = 2099;
constexpr const char *date_format = "%Y-%m-%d %H:%M:%S";

template <clockid_t clock>
std::int64_t machine_now()
{
    timespec now{};
    clock_gettime(clock, &now);
    return std::int64_t{now.tv_sec} * second + now.tv_nsec;
}

std::string text_of(const tm &date)
{
    std::array<char, 32> text{};
    std::strftime(text.data(), text.size(), date_format, &date);
    return text.data();
}

} // namespace

Clock::Clock() : Clock(machine_now<CLOCK_MONOTONIC>, machine_now<CLOCK_REALTIME>) {}

Clock::Clock(Read machine_monotonic, Read machine_calendar)
    : machine_monotonic_(std::move(machine_monotonic)), machine_calendar_(std::move(machine_calendar))
{
}

void Clock::publish(const std::string &path)
{
    page_ = map_clock_to_write(path);
    if (page_ == nullptr)
        throw Refusal(path + " cannot be written", false);
    take(timebase_);
}

std::int64_t Clock::monotonic() const
{
    return now().monotonic;
}

std::int64_t Clock::calendar() const
{
    return now().calendar;
}

int Clock::rate() const
{
    return static_cast<int>(now().rate);
}

void Clock::set_calendar(std::int64_t nanoseconds)
{
    Timebase timebase = now();
    timebase.calendar = nanoseconds;
    take(timebase);
}

void Clock::set_rate(int rate)
{
    Timebase timebase = now();
    timebase.rate = rate;
    take(timebase);
}

Timebase Clock::now() const
{
    const std::int64_t machine = machine_monotonic_();
    if (!driven())
        return {machine, machine, machine_calendar_(), 1};
    return {machine, timebase_.monotonic_at(machine), timebase_.calendar_at(machine), timebase_.rate};
}

void Clock::take(const Timebase &timebase)
{
    timebase_ = timebase;
    if (page_ == nullptr)
        return;
    page_->write(timebase);
    syscall(SYS_futex, &page_->changes(), FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
}

std::string date_text(std::int64_t calendar)
{
    const time_t seconds = calendar / second;
    tm date{};
    localtime_r(&seconds, &date);
    return text_of(date);
}

// What comes back as another text does not exist: the 30th of February, or an hour that summer time skips.
std::int64_t date_in(std::string_view text)
{
    tm date{};
    date.tm_isdst = -1;
    const std::string wanted(text);
    const char *end = strptime(wanted.c_str(), date_format, &date);
    const int year = date.tm_year + 1900;
    const time_t seconds = mktime(&date);
    if (end == nullptr || text_of(date) != wanted || year < first_year || year > last_year)
        throw Refusal("clock takes a local date and time such as \"2026-11-21 23:59:50\", of " +
                      std::to_string(first_year) + " to " + std::to_string(last_year));
    return std::int64_t{seconds} * second;
}

} // namespace plexor::board
