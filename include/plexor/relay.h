/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file relay.h
 * Moving the relays, remembering what they were told, and the states at start-up.
 *
 * Three kinds of boards: the relay shift register behind "/dev/spiS0" with one byte (four outlets) or two
 * bytes (eight outlets: model indices 2, 3 and 11), each with latching or ordinary relays; and GPIO lines,
 * one an outlet, on model index 10.
 *
 * Latching relays have a set and a reset coil that are pulsed; ordinary relays follow a level. Every request
 * to the shift register carries two bits an outlet: 01 set coil, 10 reset coil, 00 neither; or as levels 11
 * on, 10 off. Line 3 of GPIO group 0, the latch strap, tells which relays are fitted.
 *
 * Switching records the off mask (plexor.h, convention 4), except on model 10, whose lines are the state.
 * Nothing locks device or off mask: two processes that switch at once can lose one record.
 *
 * When "/dev/spiS0" cannot be opened (or comes as descriptor 0, which is closed again), "Please insmod module
 * spi_drv.o!\n" is printed and the function gives the result named below. Failures of requests to it are
 * passed over.
 */
#ifndef PLEXOR_RELAY_H
#define PLEXOR_RELAY_H

#include <plexor/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Bit of the outlet's set coil in the pattern byte of its four outlets; the reset coil's is twice that. */
PLEXOR_API extern const int pinRelaySPI[8];
/** GPIO lines (group 0) of the outlets of model 10; the first four are the LED lines of 4-outlet boards. */
PLEXOR_API extern const int pinRelayGPIO[8];
/** GPIO lines of models 8 and 9: the first two are their outlet LEDs (group 1). */
PLEXOR_API extern const int pinRelayGPIO3264[8];

/**
 * Switches one outlet.
 *
 * @param index  outlet, 0 to 7
 * @param value  1 on, 0 off; any other value counts as on
 * @return 1, or -1 when the device is missing (the off mask is recorded by then, nobody is notified) and for
 *         an index outside its range, after printing "relayidx:%d error\n" (index).
 *
 * In this order: Record_Status; "/dev/spiS0" opened; the latch strap read; "index:%x value:%x  is_Latch:%x
 * \n" (index, pattern byte, strap) printed; the relay moved (request 4); on models 2, 3 and 11 the outlet's
 * LED set (QB73xxLED); the switch notification sent with value 1 (SendProcessSig). With ordinary relays the
 * pattern repeats the recorded states of the three other outlets of the group. On model 10 only
 * ContorlgpioPower and the notification happen.
 */
PLEXOR_API int ContorlSpiPower(int index, int value);

/**
 * Switches every outlet at once: 8 on models 2, 3 and 11, else 4.
 *
 * @param on_mask  bit i set = outlet i on, clear = off
 * @param tag      ignored
 * @return 0, or -1 when the device is missing.
 *
 * In this order: off mask stored in "SPI_buf_1";
 * "ContorlSpiAllPower:nSPIVal=%x ,value:%x nHwVal=%x\n" (coil word, first pattern byte, off mask) printed;
 * the relays moved (request 6; on 8-outlet boards two of them 20 ms apart, which always pulse coils); LEDs
 * set; beep(1); off mask written to the board controller; switch notification; LPOL. A missing device ends it
 * after the store.
 */
PLEXOR_API int ContorlSpiAllPower(unsigned on_mask, const char *tag);

/**
 * Switches several outlets at once and leaves others alone.
 *
 * @param states  8 entries: 1 on, 0 off, anything else unchanged
 * @return 1; 0 when the device is missing or states is null.
 *
 * As ContorlSpiAllPower, but the printed line is "SetPowerSimul:nSPIVal=%x,nHwVal=%x\n" (coil word, off
 * mask), an outlet left unchanged counts as on in the off mask that is stored and as dark for the LED
 * expanders, and the board controller is not written: a power loss brings back the states recorded before.
 */
PLEXOR_API int SetPowerSimul(int *states);

/**
 * Switches one outlet of model 10 by its GPIO line (active low). Nothing is recorded or notified.
 *
 * @param index  outlet, 0 to 7
 * @param value  0 off, anything else on
 * @return 1 always; nothing happens for an index above 7. Failures of the GPIO requests are passed over:
 *         after a read that failed, a write that works clears the rest of the bank, which switches the other
 *         outlets on.
 */
PLEXOR_API int ContorlgpioPower(unsigned index, int value);

/**
 * Reads the latch strap.
 *
 * @return 8 when the board has latching relays, else 0 (also when the strap cannot be read).
 */
PLEXOR_API unsigned is_latch(void);

/**
 * Applies the start-up states; to be called once when the appliance starts.
 *
 * @return 0, or -1 when the device is missing: then no state was applied.
 *
 * Model 10: each outlet with 0 or 1 in "default_status_PX1" is switched by its line, others stay untouched.
 * Other boards: "default_status_PX" holds 0 off, 1 on, 2 as before the power loss (by the off mask in the
 * board controller; one that does not answer counts as all on), anything else no action. In this order: strap
 * and board controller read, device opened,
 * "init_io:nSPIVal=%x,nHwEE=%x,nHwLED=%x\n" (coil word, byte from the board controller, off mask) printed,
 * relays moved, LED expanders set on 8-outlet boards, off mask stored in "SPI_buf_1", GPIO LEDs set on every
 * board, off mask written to the board controller. No beep and no notification.
 */
PLEXOR_API int init_io(void);

/**
 * Records the state of one outlet in the off mask: first in the board controller, then in "SPI_buf_1".
 *
 * @param index  outlet, 0 to 7; for others nothing is recorded
 * @param value  0 off, anything else on
 * @return the low byte of the off mask as it was before.
 */
PLEXOR_API int Record_Status(unsigned index, unsigned value);

/**
 * Stores the start-up states in "default_status_PX" and commits the parameter store to flash.
 *
 * @param states  8 entries: 0 off, 1 on, 2 as before the power loss
 * @return 1 always, also when the store refuses the value or the commit. Numbers whose list would be longer
 *         than 31 characters are refused: the stored list stays as it is and "SetPowerDefaultStatus error\n"
 *         is printed.
 */
PLEXOR_API int SetPowerDefaultStatus(int *states);

/**
 * Reads the start-up states from the first 31 characters of "default_status_PX".
 *
 * @param states  8 entries; as many are set as the list has fields that are not empty, the rest stay as they
 *                are
 * @return 1 always.
 */
PLEXOR_API int GetPowerDefaultStatus(int *states);

/**
 * State of all eight outlets: from the off mask on models 2, 3 and 11; from the LED lines of group 1 on
 * models 8 and 9 (only the first two entries mean something); from the lines of pinRelayGPIO on others.
 *
 * @param states  8 entries, all of them written: 1 on, 0 off
 * @return 1 always.
 */
PLEXOR_API int GetPowerStatus(int *states);

/**
 * Recorded state of one outlet. On model 10, which records nothing, this is whatever "SPI_buf_1" holds.
 *
 * @param index  outlet, 0 to 7
 * @return 1 on, 0 off; -1 for another index, after printing "relayidx:%d error\n" (index).
 */
PLEXOR_API int GetPowerByIdx(unsigned index);

#ifdef __cplusplus
}
#endif

#endif
