// SPDX-License-Identifier: Apache-2.0
#include "board/model/ds1337.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <optional>
#include <utility>

namespace plexor::board
{

namespace
{

using namespace std::chrono;
using Registers = Ds1337::Registers;

constexpr std::int64_t nanoseconds_per_second = 1'000'000'000;
constexpr int first_year = 2000;
constexpr int years = 200;
constexpr std::uint8_t twelve_hour_mode = 0x40;
constexpr std::uint8_t pm = 0x20;
constexpr std::uint8_t century = 0x80;

constexpr std::size_t hours_register = 2;
constexpr std::size_t weekday_register = 3;
constexpr std::size_t month_register = 5;
constexpr Registers at_first{0, 0, 0, 1, 1, 1, 0};

int number_in(unsigned bcd)
{
    return static_cast<int>((bcd >> 4) * 10 + (bcd & 0xF));
}

std::uint8_t in_bcd(int number)
{
    return static_cast<std::uint8_t>((number / 10) << 4 | number % 10);
}

bool in_twelve_hour_mode(const Registers &registers)
{
    return (registers[hours_register] & twelve_hour_mode) != 0;
}

int hour_in(const Registers &registers)
{
    const unsigned bits = registers[hours_register];
    if (!in_twelve_hour_mode(registers))
        return number_in(bits);
    return number_in(bits & 0x1FU) % 12 + ((bits & pm) != 0 ? 12 : 0);
}

std::uint8_t hour_bits(int hour, bool twelve_hours)
{
    if (!twelve_hours)
        return in_bcd(hour);
    const int shown = hour % 12 == 0 ? 12 : hour % 12;
    return static_cast<std::uint8_t>(twelve_hour_mode | (hour < 12 ? 0 : pm) | in_bcd(shown));
}

year_month_day date_in(const Registers &registers)
{
    const unsigned month_bits = registers[month_register];
    const int of_century = (month_bits & century) != 0 ? first_year + 100 : first_year;
    return year(of_century + number_in(registers[6])) /
           month(static_cast<unsigned>(number_in(month_bits & ~unsigned{century}))) /
           day(static_cast<unsigned>(number_in(registers[4])));
}

Registers registers_at(sys_seconds moment, std::uint8_t weekday, bool twelve_hours)
{
    const auto midnight = floor<days>(moment);
    const year_month_day date(midnight);
    const hh_mm_ss time(moment - midnight);
    const int year = (static_cast<int>(date.year()) - first_year) % years;
    const auto month = in_bcd(static_cast<int>(static_cast<unsigned>(date.month())));
    return {in_bcd(static_cast<int>(time.seconds().count())),
            in_bcd(static_cast<int>(time.minutes().count())),
            hour_bits(static_cast<int>(time.hours().count()), twelve_hours),
            weekday,
            in_bcd(static_cast<int>(static_cast<unsigned>(date.day()))),
            static_cast<std::uint8_t>(year < 100 ? month : month | century),
            in_bcd(year % 100)};
}

// Nothing for registers that no time gives, such as the 30th of February.
std::optional<sys_seconds> moment_in(const Registers &registers)
{
    const auto date = date_in(registers);
    const auto weekday = registers[weekday_register];
    if (!date.ok() || weekday < 1 || weekday > 7)
        return std::nullopt;
    const sys_seconds moment = sys_days(date) + hours(hour_in(registers)) + minutes(number_in(registers[1])) +
                               seconds(number_in(registers[0]));
    const bool same = registers_at(moment, weekday, in_twelve_hour_mode(registers)) == registers;
    return same ? std::optional(moment) : std::nullopt;
}

Registers later(const Registers &registers, std::int64_t passed)
{
    const auto before = moment_in(registers);
    if (!before)
        return registers;
    const sys_seconds now = *before + seconds(passed);
    const auto nights = (floor<days>(now) - floor<days>(*before)).count();
    const auto weekday = (registers[weekday_register] - 1 + nights) % 7 + 1;
    return registers_at(now, static_cast<std::uint8_t>(weekday), in_twelve_hour_mode(registers));
}

std::string text_of(sys_seconds moment)
{
    const year_month_day date(floor<days>(moment));
    const hh_mm_ss time(moment - floor<days>(moment));
    char text[32];
    std::snprintf(text, sizeof text, "%04d-%02u-%02u %02d:%02d:%02d", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                  static_cast<int>(time.seconds().count()));
    return text;
}

std::optional<sys_seconds> moment_of(const std::string &text)
{
    int y = 0;
    unsigned m = 0;
    unsigned d = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    std::sscanf(text.c_str(), "%4d-%2u-%2u %2d:%2d:%2d", &y, &m, &d, &hour, &minute, &second);
    const auto date = year(y) / month(m) / day(d);
    if (!date.ok() || y < first_year || y >= first_year + years)
        return std::nullopt;
    const sys_seconds moment = sys_days(date) + hours(hour) + minutes(minute) + seconds(second);
    return text_of(moment) == text ? std::optional(moment) : std::nullopt;
}

} // namespace

Ds1337::Ds1337(std::function<std::int64_t()> now) : now_(std::move(now))
{
    registers_ = at_first;
}

std::vector<std::uint8_t> Ds1337::read(std::uint32_t reg, std::uint32_t length) const
{
    const Registers present = registers();
    const auto bytes = std::span(present).subspan(reg, length);
    return {bytes.begin(), bytes.end()};
}

// Writing the seconds starts a new one; any other write leaves the one that runs.
void Ds1337::write(std::uint32_t reg, std::span<const std::uint8_t> bytes, std::int32_t)
{
    const std::int64_t second_began = set_at_ + seconds_since_set() * nanoseconds_per_second;
    registers_ = registers();
    set_at_ = running_ && reg != 0 ? second_began : now_();
    std::copy(bytes.begin(), bytes.end(), registers_.begin() + reg);
    running_ = true;
}

Registers Ds1337::registers() const
{
    return running_ ? later(registers_, seconds_since_set()) : registers_;
}

std::string Ds1337::text() const
{
    const auto moment = moment_in(registers());
    return moment ? text_of(*moment) : "no time";
}

bool Ds1337::set(std::string_view text)
{
    const auto moment = moment_of(std::string(text));
    if (moment)
        write(0, registers_at(*moment, 1, false), 0);
    return moment.has_value();
}

std::int64_t Ds1337::seconds_since_set() const
{
    return (now_() - set_at_) / nanoseconds_per_second;
}

} // namespace plexor::board
