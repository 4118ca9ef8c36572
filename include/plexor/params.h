/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file params.h
 * Per-port lists of the parameter store.
 *
 * Most settings of an outlet or port live in one parameter for all of them: a text of at most 511 characters
 * with one field a port, the fields separated by ";", none after the last. There is no escaping and no
 * trimming. Keys of such lists mostly end in "_PX".
 *
 * Integers are read as the C library's atoi reads them, fractions as atof does. A parameter that is not set
 * reads as an empty text, which is a list of one empty field.
 *
 * Nobody locks the store: two processes that change different fields of one list at once can lose one of the
 * changes.
 */
#ifndef PLEXOR_PARAMS_H
#define PLEXOR_PARAMS_H

#include <plexor/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Reads the first n fields of a per-port list as integers.
 *
 * @param key  parameter to read
 * @param n    number of fields wanted; fields beyond are ignored
 * @param out  n entries; a field that is missing or empty, or holds no number, gives 0. A number that does
 *             not fit gives what the C library's atoi makes of it.
 * @return 0 always.
 *
 * Side effects: none but the read of the parameter. Safe in several threads.
 */
PLEXOR_API int RdNvram_N_Param_int(const char *key, int n, int *out);

/**
 * Reads the first n fields of a per-port list as single-precision fractions.
 *
 * @param key  parameter to read
 * @param n    number of fields wanted
 * @param out  n entries; a field that is missing, empty or no number gives 0.0
 * @return 0 always.
 *
 * The text is fetched into one buffer of the process, which is not cleared before: where the store leaves it
 * alone, the first field of the fetch before is read again. Not for two threads at once.
 */
PLEXOR_API int RdNvram_N_Param_float(const char *key, int n, float *out);

/**
 * Splits a per-port list and points at its first n fields.
 *
 * @param key  parameter to read
 * @param n    number of fields wanted
 * @param out  n entries; a field that is empty gives an empty text, a missing one a null pointer. A parameter
 *             that is not set has one empty field.
 * @return 0 always.
 *
 * The pointers lead into a 512-byte buffer that this function owns for the life of the process and overwrites
 * at its next call. Not for two threads at once. Serves other processes only; the library itself uses
 * RdNvram_N_Param_DOUSE.
 */
PLEXOR_API int RdNvram_N_Param(const char *key, int n, char **out);

/**
 * RdNvram_N_Param with a buffer of its own: calls of one leave the pointers given by the other alone.
 * WrNvram_DoPX_ByIdx_DOUSE reads through this function and so overwrites its buffer as well.
 *
 * @param key  parameter to read
 * @param n    number of fields wanted
 * @param out  n entries as for RdNvram_N_Param
 * @return 0 always.
 */
PLEXOR_API int RdNvram_N_Param_DOUSE(const char *key, int n, char **out);

/**
 * Rewrites a per-port list with new fields where they are given.
 *
 * @param values    n entries; null keeps the field that is there
 * @param key       parameter to rewrite
 * @param n         number of fields that the list has afterwards; further old fields are dropped
 * @param fallback  text of a field that is neither given nor there; null stands for ""
 * @return the result of nvram_bufset: 0, or negative when the store refused the value. -1, with the line
 *         "WrNvram_N_Param_Err:%s\n" (key) printed and the parameter as it was, when the new list would be
 *         longer than 511 characters or an argument is invalid (a null pointer, n below 1).
 *
 * An old field that is present but empty is kept empty; only an absent one gets the fallback. The change is
 * seen by every process at once; it is not committed to flash. Safe in several threads, but see the file
 * comment for two writers of one list.
 */
PLEXOR_API int WrNvram_N_Param(char **values, char *key, int n, char *fallback);

/** WrNvram_N_Param under the name that writers of the digital outputs' list use. */
PLEXOR_API int WrNvram_N_Param_DOUSE(char **values, char *key, int n, char *fallback);

/**
 * Replaces one field of a four-field list, which is made exactly four fields long: absent fields become "0",
 * empty ones stay empty.
 *
 * @param key    parameter to change, for example "sDOMode_PX"
 * @param index  field, 0 to 3
 * @param value  new value, written in decimal
 * @return the result of nvram_bufset. For an index outside 0 to 3, or a null key, the line
 *         "WrNvram_DoPX_ByIdx_Err:%s,%d,%ld\n" (key, index, value) is printed, nothing is written, and the
 *         result carries no meaning.
 *
 * Overwrites the buffer of RdNvram_N_Param_DOUSE. Not for two threads at once.
 */
PLEXOR_API int WrNvram_DoPX_ByIdx_DOUSE(const char *key, int index, long value);

#ifdef __cplusplus
}
#endif

#endif
