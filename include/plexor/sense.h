/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file sense.h
 * Current, temperature, supply voltage and humidity.
 *
 * Another process samples the board and leaves raw readings of 8 bits in the parameter store; these functions
 * make amperes, degrees Celsius, volts and per cent of them, with the user's corrections added. Nothing here
 * touches hardware.
 *
 * | parameter                                | form                | holds                             |
 * |------------------------------------------|---------------------|-----------------------------------|
 * | "sIICAmp_PX"                             | list of 8 integers  | raw current of each outlet        |
 * | "sIICTemp", "sIICVolt"                   | integer             | raw temperature, raw voltage      |
 * | "sAmp_PX"                                | list of 4 integers  | external meter: amperes, tenths   |
 * | "sTEmp_PX"                               | list of 4 integers  | external sensor: %RH, tenths,     |
 * |                                          |                     | degrees, tenths                   |
 * | "correction_ampL_Px",                    | list of 8 fractions | amperes to add, below 88 and      |
 * | "correction_ampH_Px"                     |                     | from 88 on                        |
 * | "correction_temp", "correction_vlot"     | fraction            | degrees, volts to add             |
 *
 * Of a raw reading the low byte counts. What is not set reads as 0. The corrections are read through
 * RdNvram_N_Param_float, so all functions here but CurrentADC_convert7302 and GetPowerHumi are not for two
 * threads at once. Nothing happens to a null pointer.
 */
#ifndef PLEXOR_SENSE_H
#define PLEXOR_SENSE_H

#include <plexor/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Temperature in hundredths of a degree Celsius for each raw reading of the board's NTC thermistor; never
 * falling, -5000 for readings 0 to 2 and 15000 for 251 to 255.
 */
PLEXOR_API extern const int arNTCtoTempTbl[256];

/**
 * Amperes of one raw current reading.
 *
 * @param raw   reading; its low byte counts
 * @param high  amperes to add to readings from 88 on
 * @param low   amperes to add to readings below 88
 * @return amperes: 0.0551 a step from 88 on, 0.0555 below. The two ranges do not quite meet.
 */
PLEXOR_API float CurrentADC_convert7302(unsigned raw, float high, float low);

/**
 * Currents of all eight outlets as text, "0.00;4.83;..." with two decimals and no ";" after the last.
 *
 * @param text  128 bytes for the text, or null; fields that no longer fit are left out
 * @param raw   32 bytes for the readings as eight 32-bit integers in host order, or null
 * @return 0 always.
 */
PLEXOR_API int IICADCTransAmpPX(char *text, unsigned char *raw);

/**
 * Currents of the outlets.
 *
 * @param amperes  8 entries, rounded to two decimals. On model index 8 only the first is set, to what the
 *                 external meter tells.
 * @return 1 always.
 */
PLEXOR_API int GetPowerCurrent(float *amperes);

/**
 * Temperature of the board.
 *
 * @param raw  receives the reading, or null
 * @return hundredths of a degree Celsius, truncated toward zero.
 */
PLEXOR_API int IICADCTransTemp(unsigned char *raw);

/**
 * Temperature in degrees Celsius: of the external sensor in tenths on model indices 5 to 9, of the board in
 * whole degrees (truncated toward zero) on 2 and 11.
 *
 * @param degrees  receives it; stays as it was on every other model
 * @return 1 always.
 */
PLEXOR_API int GetPowerTemp(float *degrees);

/**
 * Supply voltage.
 *
 * @param raw  receives the reading, or null
 * @return whole volts, even numbers only, 0 to 65534.
 */
PLEXOR_API int IICADCTransVolt(unsigned char *raw);

/**
 * Supply voltage as IICADCTransVolt gives it.
 *
 * @param volts  receives it
 * @return 1 always.
 */
PLEXOR_API int GetPowerVolt(float *volts);

/**
 * Relative humidity of the external sensor, on every model.
 *
 * @param humidity  receives per cent, with tenths
 * @return 1 always.
 */
PLEXOR_API int GetPowerHumi(float *humidity);

#ifdef __cplusplus
}
#endif

#endif
