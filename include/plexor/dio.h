/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file dio.h
 * Digital inputs and outputs of the I/O models: DI 1 to 4 on GPIO lines, DO 1 to 4 on the I/O controller, a
 * microcontroller at I2C address 0x32. Both are numbered 0 to 3 in arguments.
 *
 * An output is a plain level, a pulse train, a frequency or, on DO 1 only, a PWM signal. The mode numbers
 * that callers pass and that "sDOMode_PX" keeps are the controller's own codes, but for 0 and 1, which are
 * swapped:
 *
 * | mode           | code in the mode register | output                              |
 * |----------------|---------------------------|-------------------------------------|
 * | 0              | 1                         | plain, level 0                      |
 * | 1              | 0                         | plain, level 1                      |
 * | 2              | 2                         | pulse train                         |
 * | 3              | 3                         | frequency                           |
 * | 4              | 4, then 3                 | PWM, DO 1 only                      |
 * | 10, 12, 13, 14 | the same                  | the controller's own business       |
 *
 * Registers of the I/O controller:
 *
 * | output | mode | pulse count, highest byte first | frequency, high and low | SetDOByIdx |
 * |--------|------|---------------------------------|-------------------------|------------|
 * | DO 1   | 0x50 | 0x33, 0x34, 0x01, 0x02          | 0x01, 0x02              | 13, 5, 9   |
 * | DO 2   | 0x51 | 0x35, 0x36, 0x03, 0x04          | 0x03, 0x04              | 22, 6, 10  |
 * | DO 3   | 0x52 | 0x37, 0x38, 0x05, 0x06          | 0x05, 0x06              | 31, 7, 11  |
 * | DO 4   | 0x53 | 0x39, 0x3A, 0x07, 0x08          | 0x07, 0x08              | 40, 8, 12  |
 *
 * The low half of a pulse count lies in the frequency registers. PWM of DO 1 has its frequency in 0x10 and
 * its width in 0x11.
 *
 * What was set last is kept for the other processes in lists of four fields, one an output: "sDOMode_PX" the
 * modes, "Pulse_PX" pulse counts, "FREQ_PX" frequencies, "PFREQ_PX" and "PWidth_PX" (first field only) PWM
 * frequency and width. Writers of one list at once can lose a change (see params.h). Nothing is cached here
 * or by i2cmd, through which all transfers go: they end the process without "/dev/i2cM0", and a transfer that
 * fails shows in no result.
 */
#ifndef PLEXOR_DIO_H
#define PLEXOR_DIO_H

#include <plexor/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Reads the digital inputs from their GPIO lines (DIGPIO in gpio.h), which are active low.
 *
 * @param out  4 entries: 1 for an active input (line low), else 0. All 1 when the bank cannot be read.
 * @return 1 always.
 */
PLEXOR_API int GetDIStatus(unsigned *out);

/**
 * The dry-contact input, as the process that samples the board left it in the integer parameter "sIICDi".
 *
 * @return 1 if bit 0 of it is 0 (also when it is not set), else 0.
 */
PLEXOR_API int GetIICDi(void);

/**
 * Code of the mode register for an output mode, by the table above.
 *
 * @param mode  mode number
 * @return the code; 0 for an unknown mode, after printing "Errors setDoX model :%02X\n" (mode).
 */
PLEXOR_API int getdomode(unsigned mode);

/**
 * Sets the mode of a digital output.
 *
 * @param output      0 to 3
 * @param mode        mode number
 * @param parameters  for mode 2: { count, 0 to 999999 }; for mode 3: { frequency, of which 16 bits are set };
 *                    for mode 4: { frequency, 0 to 10; width, of which 8 bits are set }; others take none,
 *                    and null will do
 * @return 1 when done; 0, with nothing written, for what these lines were printed for:
 *         "Errors setDoX idx:%02X\n" (output), "Errors setDoX PLUSE_OUT range 0~999999 \n", "only one DO1
 *         PWM Mode " (without a line end), "Errors setDoX PWM_OUT range 1~10 \n"; and for null parameters
 *         in modes 2 to 4.
 *
 * An unknown mode is reported as by getdomode, leaves the controller alone, is recorded as mode 1 and counts
 * as done.
 *
 * In this order, each register a transfer of its own: the registers of the mode are written (mode 2: mode
 * register 0, twice the count, mode register 2; mode 3: frequency, mode register; mode 4: mode register 4,
 * PWM frequency and width, 0xFF in both frequency registers, mode register 3; others: mode register) and its
 * parameters recorded (a frequency as the signed number that %d makes of it, PWM values as their low bytes);
 * the mode is recorded in "sDOMode_PX"; SendProcessSig("libplexor", 5).
 *
 * A list that would need more than 32 characters, as only oversized old fields make it, is left as it was
 * and "Errors setDoX %s\n" (its key) printed.
 */
PLEXOR_API int setDoX(unsigned output, unsigned mode, unsigned *parameters);

/**
 * Sets an output to a plain level.
 *
 * @param output  0 to 3
 * @param level   0 or 1
 * @return 0 always. For an output or a level outside its range "SetDOByIdx idx:%d Err!\r\n" (output) or
 *         "SetDOByIdx bShowDCTTL:%d Err!\r\n" (level) is printed and nothing written.
 *
 * The three registers are written in the table's order: level, level, 0xFF. Then the level is recorded in
 * "sDOMode_PX" by WrNvram_DoPX_ByIdx_DOUSE. Not for two threads at once.
 */
PLEXOR_API int SetDOByIdx(unsigned output, unsigned level);

/**
 * Reads the outputs' state from the I/O controller, registers 21, 31, 60, 68, 80, 20, 30 and 1 in this order.
 *
 * @param out  32 bytes:
 *
 * | bytes  | registers | content                                                           |
 * |--------|-----------|-------------------------------------------------------------------|
 * | 0-3    | 21-24     | the controller's own                                              |
 * | 4-7    | 31-34     | the controller's own                                              |
 * | 8-15   | 60-67     | the controller's own                                              |
 * | 16-23  | 68-75     | the controller's own                                              |
 * | 24-27  | 80-83     | modes of DO 1 to 4 as mode numbers (0 and 1 swapped)              |
 * | 28, 29 | 20, 30    | the controller's own                                              |
 * | 30, 31 | 1, 2      | frequency registers of DO 1, both 0xFF while it runs PWM          |
 *
 * @return byte 30 if it is not 0xFF, else 3 if byte 31 is not 0xFF, else 4; in the last case a 3 in byte 24
 *         becomes 4, the mode number of PWM.
 */
PLEXOR_API int GetDOByIdx(unsigned char *out);

/**
 * Modes or levels of the outputs as recorded in "sDOMode_PX".
 *
 * @param out  4 entries
 * @return 1 always.
 */
PLEXOR_API int GetDOStatus(int *out);

#ifdef __cplusplus
}
#endif

#endif
