// SPDX-License-Identifier: Apache-2.0
#include <plexor/rtc.h>

#include <cstdio>

#include <plexor/i2c.h>
#include <plexor/model.h>

#include "nvram.h"
#include "support/bits.h"
#include "support/owned.h"

static_assert(sizeof(rtc_time) == 24, "six 32-bit integers");

namespace plexor
{
namespace
{

constexpr unsigned clock_chip = 0xD0;

// Registers.
enum Register : unsigned { seconds, minutes, hours, weekday, day, month, year, registers };
constexpr unsigned twelve_hour_bit = 6;
constexpr unsigned pm_bit = 5;
constexpr unsigned ten_hours_bit = 4;
constexpr unsigned century_bit = 7;

int decoded(unsigned value)
{
    return static_cast<int>(decode_bcd(value));
}

unsigned char encoded(int value)
{
    return static_cast<unsigned char>(encode_bcd(static_cast<unsigned>(value)));
}

// Of a clock in 12-hour mode only half days are told: it is always set in 24-hour mode here.
int hour_of(unsigned value)
{
    if (!bit_set(value, twelve_hour_bit))
        return decoded(value);
    return 12 * ((bit_set(value, ten_hours_bit) ? 1 : 0) + (bit_set(value, pm_bit) ? 1 : 0));
}

bool has_clock()
{
    unsigned model = 0;
    getPowerPortNum(&model);
    return model != 1 && model != 10;
}

using Line = char[64];

bool read_system_time(Line &line)
{
    const Pipe date(popen("date -u -Iseconds", "re"));
    if (!date) {
        myprintf("###popen(date) fail\n");
        return false;
    }
    if (fgets(line, sizeof line, date.get()) == nullptr)
        line[0] = '\0';
    return true;
}

// Of the year plus 48 make_time keeps the low 8 bits: the years since 2000, as 2048 is a multiple of 256.
rtc_time time_in(const Line &line)
{
    int year = 0;
    int month = 0;
    int day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    // NOLINTNEXTLINE(cert-err34-c): two and four digits do not overflow, and what is missing is 0
    sscanf(line, "%04d-%02d-%02dT%02d:%02d:%02d", &year, &month, &day, &hour, &minute, &second);
    rtc_time time;
    make_time(&time, static_cast<unsigned>(year) + 48, static_cast<unsigned>(month),
              static_cast<unsigned>(day), static_cast<unsigned char>(hour),
              static_cast<unsigned char>(minute), static_cast<unsigned char>(second));
    return time;
}

} // namespace
} // namespace plexor

using namespace plexor;

unsigned decode_bcd(unsigned value)
{
    return (value >> 4 & 0xFU) * 10 + (value & 0xFU);
}

unsigned encode_bcd(unsigned value)
{
    return (value / 10 << 4 | value % 10) & 0xFFU;
}

void make_time(rtc_time *t, unsigned year, unsigned month, unsigned day, unsigned char hour,
               unsigned char minute, unsigned char second)
{
    if (t != nullptr)
        *t = {second,
              minute,
              hour,
              static_cast<int>(day & 0xFFU),
              static_cast<int>(month & 0xFFU),
              static_cast<int>(year & 0xFFU)};
}

int ds1337_read_time(rtc_time *t)
{
    if (t == nullptr)
        return 1;
    unsigned char bytes[registers] = {};
    i2cmd(1, clock_chip, 0, bytes, sizeof bytes);
    t->second = decoded(bytes[seconds]);
    t->minute = decoded(bytes[minutes]);
    t->hour = hour_of(bytes[hours]);
    t->day = decoded(bytes[day]);
    t->month = decoded(bytes[month] & 0x1FU);
    t->year = decoded(bytes[year]) + (bit_set(bytes[month], century_bit) ? 100 : 0);
    return 1;
}

int ds1337_write_time(rtc_time *t)
{
    if (t == nullptr)
        return 1;
    const auto century = static_cast<unsigned>(t->year / 100) << century_bit;
    unsigned char bytes[registers] = {
        encoded(t->second),
        encoded(t->minute),
        encoded(t->hour), // bit 6 clear: 24-hour mode
        1,
        encoded(t->day),
        static_cast<unsigned char>(century | encoded(t->month)),
        encoded(t->year % 100),
    };
    i2cmd(0, clock_chip, 0, bytes, sizeof bytes);
    return 1;
}

int set_RTC(void)
{
    Line line = "";
    if (!has_clock() || !read_system_time(line))
        return 0;
    rtc_time t = time_in(line);
    ds1337_write_time(&t);
    myprintf("###set_RTC %s \n", line);
    return 1;
}
