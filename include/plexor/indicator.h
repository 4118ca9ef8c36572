/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file indicator.h
 * Outlet LEDs, beeper, Wi-Fi and USB LED.
 *
 * Which lines drive them depends on the parameter "IO_number":
 *
 * | indicator   | model index         | drive                                                  |
 * |-------------|---------------------|--------------------------------------------------------|
 * | outlet LEDs | 8, 9                | GPIO lines 40 and 39                                   |
 * |             | 2, 3, 11            | LED expanders 0x34 (outlets 1-4) and 0x36 (5-8)        |
 * |             | others              | GPIO lines 22, 23, 24, 25                              |
 * | beeper      | 1, 2, 3, 11         | GPIO line 45                                           |
 * |             | others              | GPIO line 0                                            |
 * | Wi-Fi LED   | 1, 2, 10, 11        | driver request 54, then GPIO line 44                   |
 * | USB LED     | 2, 11               | driver request 55                                      |
 *
 * All GPIO indicators are active low. Failures of the buses are told by their own functions (gpio.h, i2c.h)
 * and otherwise passed over: an indicator never stops a switching operation.
 */
#ifndef PLEXOR_INDICATOR_H
#define PLEXOR_INDICATOR_H

#include <plexor/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Sets the outlet LEDs that hang on GPIO lines: two lines of group 1 on models 8 and 9, four of group 0 on
 * every other model. The bank is read once and written once a line.
 *
 * @param off_mask  bit i set = outlet i off, its LED dark
 * @return 0 always.
 */
PLEXOR_API int LEDONOFF(unsigned off_mask);

/**
 * Sets all eight outlet LEDs of the LED expanders: first 0x34, 20 ms later 0x36, each with a line
 * "[%d]WrLed%02X:%02X=%02X" (process id, device, register, byte) in the system log at LOG_INFO before.
 *
 * @param on_mask  bit i set = outlet i on, its LED lit
 * @return the result of the last i2cmd, 1. Ends the process without "/dev/i2cM0".
 */
PLEXOR_API int QB73xxAllLED(unsigned on_mask);

/**
 * Sets one outlet LED of the LED expanders, with a line "[%d]WrLed:%02X[%02X]=%02X" (process id, device,
 * register, byte) in the system log at LOG_INFO before.
 *
 * @param index  outlet, 0 to 7
 * @param value  1 = lit, anything else dark
 * @return the result of i2cmd, 1; 0 for an index above 7. Ends the process without "/dev/i2cM0".
 */
PLEXOR_API int QB73xxLED(unsigned index, unsigned value);

/**
 * Sounds a beep pattern and returns when it is over, after 1.25 s at the most.
 *
 * @param pattern  0 silence at once; 1 one beep of 150 ms; 2 three of 150 ms, each with 150 ms of silence
 *                 after it; 3 three of 250 ms with 250 ms between; 4 three chirps of 60 ms with 25 ms
 *                 between; others make no sound
 * @return the result of the last GPIO write or USleep: 0 when all went well. 0 for another pattern, for which
 *         the line is made an output all the same.
 */
PLEXOR_API int beep(unsigned pattern);

/**
 * Sets the Wi-Fi LED of models 1, 2, 10 and 11; on others nothing happens.
 *
 * @param state  1 lights the LED's line, anything else turns it off; the driver gets the value as it is
 *
 * Without the device perror("/dev/gpio"). A request that fails writes "wifi_led \n" to standard output, and
 * the line is set all the same.
 */
PLEXOR_API void wifi_led(unsigned state);

/**
 * Sets the USB LED of models 2 and 11; on others nothing happens.
 *
 * @param state  what the driver gets
 *
 * Without the device perror("/dev/gpio"). A request that fails prints "usb_led \n".
 */
PLEXOR_API void usb_led(int state);

#ifdef __cplusplus
}
#endif

#endif
