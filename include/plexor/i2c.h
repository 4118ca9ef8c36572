/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file i2c.h
 * The I2C command channel: block transfers through the driver "/dev/i2cM0", with a small cache in front of
 * the board controller.
 *
 * Devices are named by their 8-bit bus address (the 7-bit address shifted left by one): 0xA0 board
 * controller, 0xD0 DS1337 clock, 0x34 and 0x36 LED expanders, 0x32 I/O controller, LCD adapter at 0x40, 0x4E
 * or 0x7E. Register numbers are full integers; the board controller has some beyond 255.
 *
 * The cache is System V shared memory of all processes: key 0x4932434D, 1480 bytes, five slots of 296 bytes,
 * one a device of arI2CDevList. A slot remembers the last write and the last read of its device, with time
 * and register. A transfer that repeats it within 250 ms is answered from there and never reaches the slow
 * bus. A write does not outdate the read that is remembered: a caller that must see a fresh value waits
 * 250 ms. Only the board controller (0xA0) is cached.
 *
 * Age is counted in signed 32-bit milliseconds: a time in the future is fresh, and so is again one that lies
 * 24.9 to 49.7 days back, when nothing else was written to (or read from) the device in between.
 *
 * The segment is created, zeroed and with mode 0666, by the first call that needs it, and nothing removes it.
 * No lock guards it: two callers at once can cost one transfer too many or one read up to 250 ms old.
 */
#ifndef PLEXOR_I2C_H
#define PLEXOR_I2C_H

#include <plexor/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Devices that are cached, by slot; 0 is a spare slot. */
PLEXOR_API extern const unsigned arI2CDevList[5];

/**
 * Writes to or reads from a register of a device, through the cache.
 *
 * @param op         0 to write, 1 to read
 * @param device     8-bit bus address
 * @param reg        register number
 * @param buffer     bytes to write, or room for the bytes read
 * @param length     number of bytes
 * @return 1 for op 0 and 1, whatever the bus did; 0 for any other op, after printing
 *         "Errori2cmd_Cmd:%02X\n" (op), and for a null buffer with a length.
 *
 * In this order: a write to device 0x32 is printed; the cache segment is attached (created where it does not
 * exist, with "init shm\n" printed; when that fails "shmget_i2cmderrA:Thr:%5d,Err:%d\n" for a segment that is
 * there, "shmget_i2cmderrB:Thr:%5d,Err:%d\n" for one that is not, with thread id and errno, is printed, the
 * transfer is a miss and nothing is remembered); a hit is
 * printed and returned; else the transfer is made as by I2CRead or I2CWrite, printed when the integer
 * parameter "DbgPic" is 1, and remembered if the device is cached, also when the bus failed.
 *
 * A read hits when register and length are those of the last read. A write hits when the register is that of
 * the last write and its first bytes are the whole of the last write; so a last write of no bytes makes a hit
 * of every write to its register. Reads of more than 64 and writes of more than 132 bytes are remembered
 * without their bytes and are never hit.
 *
 * Ends the process when "/dev/i2cM0" cannot be opened, see open_fd.
 */
PLEXOR_API int i2cmd(unsigned op, unsigned device, int reg, unsigned char *buffer, unsigned length);

/**
 * Reads from a register of a device, past the cache (driver request 16).
 *
 * @param device  8-bit bus address
 * @param reg     register number
 * @param buffer  room for length bytes; after a failure it holds what the driver left
 * @param length  number of bytes
 * @return the result of closing the device, 0. Ends the process when the device cannot be opened. A null
 *         buffer with a length does nothing and gives 0.
 */
PLEXOR_API int I2CRead(unsigned device, unsigned reg, unsigned char *buffer, unsigned length);

/**
 * Writes to a register of a device, past the cache (driver request 17).
 *
 * @param device  8-bit bus address
 * @param reg     register number
 * @param buffer  bytes to write
 * @param length  number of bytes
 * @return the result of closing the device, 0. Ends the process when the device cannot be opened. A null
 *         buffer with a length does nothing and gives 0.
 */
PLEXOR_API int I2CWrite(unsigned device, unsigned reg, unsigned char *buffer, unsigned length);

/**
 * Opens "/dev/i2cM0" read-only.
 *
 * @return a descriptor that the caller closes. When the device cannot be opened, perror("/dev/i2cM0") says
 *         so and the process ends with exit(-1): one that cannot reach the bus does not go on.
 */
PLEXOR_API int open_fd(void);

/**
 * Scans the bus for the LCD adapter, up to three times until 0x40, 0x4E or 0x7E answers (driver request 18).
 *
 * @return the 8-bit address that the last scan gave, of whatever device; 0 when it gave none. After the last
 *         scan "I2Scnner addr:%02x \n" is printed with it. Ends the process when the device cannot be opened.
 */
PLEXOR_API unsigned I2Scnner(void);

#ifdef __cplusplus
}
#endif

#endif
