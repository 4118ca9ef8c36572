/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file rtc.h
 * The battery-backed clock, a DS1337 at I2C address 0xD0.
 *
 * Its registers 0 to 6 are in BCD: seconds, minutes, hours (bit 6 set: 12-hour mode, with bit 5 for PM and
 * bit 4 for ten hours), day of the week, day of the month, month (bit 7: century), year of the century. Here
 * the clock is always set in 24-hour mode and to the first day of the week; nothing reads that.
 *
 * All transfers go through i2cmd (i2c.h), which ends the process without "/dev/i2cM0"; one that fails shows in
 * no result.
 */
#ifndef PLEXOR_RTC_H
#define PLEXOR_RTC_H

#include <plexor/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/** A moment as the clock has it; 24 bytes. */
struct rtc_time {
    int second; /**< 0 to 59 */
    int minute; /**< 0 to 59 */
    int hour;   /**< 0 to 23 */
    int day;    /**< of the month, 1 to 31 */
    int month;  /**< 1 to 12 */
    int year;   /**< since 2000, 0 to 199 */
};

/** Number that a byte in BCD says: its high digit times ten plus its low one, also where they are no digits. */
PLEXOR_API unsigned decode_bcd(unsigned value);

/** A number in BCD, of which the low 8 bits are returned: right for 0 to 99. */
PLEXOR_API unsigned encode_bcd(unsigned value);

/**
 * Fills a moment.
 *
 * @param t      receives the moment
 * @param year   since 2000; its low 8 bits count, as of month and day
 * @param month  1 to 12
 * @param day    1 to 31
 * @param hour   0 to 23
 * @param minute 0 to 59
 * @param second 0 to 59
 */
PLEXOR_API void make_time(struct rtc_time *t, unsigned year, unsigned month, unsigned day, unsigned char hour,
                          unsigned char minute, unsigned char second);

/**
 * Reads the clock.
 *
 * @param t  receives its time, whatever its registers hold. One found in 12-hour mode is at 0, 12 or 24 hours:
 *           only the bits for PM and ten hours count.
 * @return 1 always.
 */
PLEXOR_API int ds1337_read_time(struct rtc_time *t);

/**
 * Sets the clock, in 24-hour mode.
 *
 * @param t  time; years from 100 on set the century bit
 * @return 1 always.
 */
PLEXOR_API int ds1337_write_time(struct rtc_time *t);

/**
 * Sets the clock from the system time, in UTC, on boards that have one: all but those of model index 1 and 10
 * by their Ethernet address.
 *
 * @return 1 when the clock was set; 0 on a board without one, and when "date" cannot be run, after
 *         "###popen(date) fail\n" was printed.
 *
 * "date -u -Iseconds" is run by the shell; the first line that it prints (63 characters) is taken apart, what
 * it does not have counts as 0; the clock is set (ds1337_write_time); "###set_RTC %s \n" (line, with its end)
 * is printed. Of the year the low 8 bits of it plus 48 count: right from 2000 to 2199.
 */
PLEXOR_API int set_RTC(void);

#ifdef __cplusplus
}
#endif

#endif
