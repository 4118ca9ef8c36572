/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file eeprom.h
 * Non-volatile memory of the board: single bytes by the I2C driver's own requests, and one text in the board
 * controller (0xA0), its length in register 0xF3 and its characters from register 0x20 on.
 *
 * Without "/dev/i2cM0" every function ends the process, see open_fd (i2c.h); a transfer that fails shows in no
 * result. There is no lock: a text that is being written can be read with its new length and its old
 * characters.
 */
#ifndef PLEXOR_EEPROM_H
#define PLEXOR_EEPROM_H

#include <plexor/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Room that eeprom_read needs: the longest text that is trusted, and its terminator. */
#define PLEXOR_EEPROM_TEXT_SIZE 65

/**
 * Reads one byte (driver request 3).
 *
 * @param address  where; which chip and how many address bits is the driver's business
 * @return the byte, 0 when the request fails.
 */
PLEXOR_API unsigned char ReadEEPROM(unsigned address);

/**
 * Writes one byte (driver request 5).
 *
 * @param address  where, as for ReadEEPROM
 * @param value    byte; the driver is given all of it and takes the low 8 bits
 * @return 0 always.
 *
 * "IO_number" is read first and not used.
 */
PLEXOR_API int WriteEEPROM(unsigned address, unsigned value);

/**
 * Reads the stored text, through i2cmd (i2c.h) and its cache.
 *
 * @param buffer  room for PLEXOR_EEPROM_TEXT_SIZE bytes; receives the text and a zero
 *
 * A stored length of 65 or more is not trusted: 19 characters are read.
 */
PLEXOR_API void eeprom_read(char *buffer);

/**
 * Stores a text: first the low byte of its length, then its characters, each through i2cmd (i2c.h).
 *
 * @param text    characters
 * @param length  how many; nothing bounds it, but more than 64 are not read back
 */
PLEXOR_API void eeprom_write(char *text, unsigned length);

#ifdef __cplusplus
}
#endif

#endif
