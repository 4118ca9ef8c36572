/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file gpio.h
 * General-purpose lines of the system-on-chip, reached through the driver "/dev/gpio".
 *
 * Three banks of 32 lines: group 0 has lines 0 to 31, group 1 lines 32 to 63, group 2 lines 64 to 95. Any
 * other group number means group 0.
 *
 * Every call opens the device read-only, makes one request and closes it. When the device cannot be opened
 * perror("/dev/gpio") says so, when the request fails perror("ioctl"). To change one line: read its bank, set
 * the line to output, change the bit, write the bank. Nothing locks a bank between these steps.
 */
#ifndef PLEXOR_GPIO_H
#define PLEXOR_GPIO_H

#include <plexor/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Lines of digital inputs 1 to 4, all in group 0. */
PLEXOR_API extern const int DIGPIO[4];

/**
 * Sets the direction of one line.
 *
 * @param group   bank that the request addresses
 * @param output  0 for input, anything else for output
 * @param line    line number, as 0 to 95 or already reduced to its bank (45 and 13 are the same line of
 *                group 1); of any number the remainder by 32 counts
 * @return 0, or -1 on failure. Driver requests 17 to 22 with the line's mask as integer argument.
 */
PLEXOR_API int gpio_set_dir_g(unsigned group, int output, int line);

/**
 * Reads the levels of a bank.
 *
 * @param group   bank to read
 * @param levels  receives the levels, bit k for line k of the bank; 0 on failure
 * @return 0, or -1 on failure and for null. Driver requests 2, 82 and 98 with the word's address.
 */
PLEXOR_API int gpio_read_int(unsigned group, unsigned *levels);

/**
 * Writes the levels of a bank: every line of it that is an output takes its bit.
 *
 * @param group   bank to write
 * @param levels  bank word
 * @return 0, or -1 on failure. Driver requests 3, 83 and 99 with the word as integer argument.
 */
PLEXOR_API int gpio_write_int(unsigned group, int levels);

#ifdef __cplusplus
}
#endif

#endif
