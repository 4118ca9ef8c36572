/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file model.h
 * Which board this is, and small questions about it.
 *
 * The first three bytes of the bridge interface's Ethernet address in flash name the board:
 *
 * | code           | model index | outlets | name            |
 * |----------------|-------------|---------|-----------------|
 * | 00C341, 00C340 | 1           | 4       | "VOLTARA 7341"  |
 * | 00C302         | 2           | 8       | "VOLTARA 7302"  |
 * | 00C317         | 3           | 8       | "VOLTARA 7302S" |
 * | 00C335         | 4           | 4       | "VOLTARA 7335"  |
 * | 00C318         | 5           | 4       | "VOLTARA 7318A" |
 * | 00C319         | 6           | 4       | "VOLTARA 7318B" |
 * | 00C306         | 7           | 4       | "VOLTARA 7306"  |
 * | 00C309         | 8           | 2       | "VOLTARA 7309"  |
 * | 00C324         | 9           | 2       | "VOLTARA 7324"  |
 * | 00C347         | 10          | 8       | "VOLTARA 7347"  |
 * | 00C352         | 11          | 8       | "VOLTARA 7352"  |
 * | anything else  | 0           | 0       | "VOLTARA"       |
 */
#ifndef PLEXOR_MODEL_H
#define PLEXOR_MODEL_H

#include <plexor/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Identifies the board.
 *
 * @param model  receives the model index; may be null
 * @return the number of outlets, 0 for an unknown board. When the Ethernet address cannot be read,
 *         "### Failed to read mac from flash\n" is printed, *model stays as it was and the result is 0.
 *
 * Reads flash at every call.
 */
PLEXOR_API unsigned getPowerPortNum(unsigned *model);

/**
 * Name of a model, for display and mail.
 *
 * @param index  model index; every other number than 1 to 11 gives "VOLTARA"
 * @return the name in a static 32-byte buffer that the next call overwrites. Not for two threads at once.
 */
PLEXOR_API char *getModelName(int index);

/**
 * Digital inputs and outputs of a model.
 *
 * @param index  model index
 * @param first  receives 1 for models 2 and 11, 4 for models 5 and 6, else 0
 * @param di     receives the number of digital inputs: 4 for model 5, else 0
 * @param dout   receives the number of digital outputs: 2 for model 5, else 0
 * @return 1 always. A null pointer is passed over.
 */
PLEXOR_API int getDiDoNum(unsigned index, unsigned *first, unsigned *di, unsigned *dout);

/**
 * The time of day in words: "1 hour, 1 min, 1 sec", "2 mins, 1 sec" or "5 secs". Hours are left out when 0,
 * minutes when both are 0; a unit has an "s" unless its number is 1.
 *
 * @param buffer  receives the text
 * @param size    size of buffer in bytes; the text is cut to it
 * @return length of the whole text, as snprintf counts it; a null buffer has no size. Uses localtime: not for
 *         two threads at once.
 */
PLEXOR_API int getUptime(char *buffer, unsigned size);

/**
 * Type codes of the USB sensor ports, the integer parameters "CDC_type_1", "CDC_type_2", ...
 *
 * @param types  receives one code a port. The first entry is set to 0 whatever the size.
 * @param size   size of types in bytes; size / 4 ports are read
 * @return 1 always.
 */
PLEXOR_API int GetUsbPortType(int *types, int size);

/**
 * Readings of the USB sensor ports 1 to 8, the parameters "CDC_buf_1" to "CDC_buf_8" of at most 31
 * characters.
 *
 * @param amps      8 entries: amperes of a port with type 8870, whose reading is "%fA"
 * @param humidity  8 entries: relative humidity in per cent of a port with type 8871, "%d%%+%fc"
 * @param celsius   8 entries: degrees Celsius of such a port
 * @return 1 always. Entries of other ports, and what a reading does not hold, stay as they were. Nothing
 *         happens when a pointer is null.
 */
PLEXOR_API int GetUsbPortData(float *amps, int *humidity, float *celsius);

#ifdef __cplusplus
}
#endif

#endif
