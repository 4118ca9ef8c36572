/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file plexor.h
 * Every header of libplexor.so.0, and the conventions that hold for all of its functions. A function's own
 * comment says only what is its own.
 *
 * 1. Strings are zero-terminated bytes. A text argument is only read unless its comment says otherwise, and
 *    the library keeps no pointer to it after the call.
 * 2. Lengths and sizes are in bytes and include the terminating zero where a text is to be stored.
 * 3. Outlets are numbered 0 to 7 in arguments and 1 to 8 in texts for people. An outlet value is 1 for on
 *    and 0 for off.
 * 4. An off mask is a byte with bit i set where outlet i is off. It is kept as lower-case hexadecimal text in
 *    the parameter "SPI_buf_1" and in register 1 of the board controller (see i2c.h); the former lasts while
 *    the system runs, the latter survives a power loss.
 * 5. The model index, 0 to 11 with 0 for an unknown board, is what getPowerPortNum (model.h) tells. The
 *    appliance keeps it in the integer parameter "IO_number", which most functions read instead.
 * 6. The debug print is the platform's myprintf. A text that a comment says is printed goes there unless a
 *    stream is named.
 * 7. Results: what a function returns is in its comment; many return a constant whatever the hardware did.
 *    No function throws. Where its comment says nothing else, a function given a null pointer or a number
 *    outside its range does nothing and returns the constant that it always returns, 0 if it has none.
 * 8. Nothing stays open: devices are opened and closed, and shared memory attached and detached, in every
 *    call. Descriptors are close-on-exec.
 * 9. Parameters are read from the store at every call; none is cached. A value set is seen at once by every
 *    process and reaches flash only with a commit, which only the functions do that say so.
 * 10. Processes: any number may call any function at once. There are no locks around the outlets, the GPIO
 *    banks or the parameter store: a read-modify-write by one process can undo a change that another made
 *    in between.
 * 11. Threads: a function may be called by several threads at once unless its comment names a static buffer
 *    or another reason why not.
 */
#ifndef PLEXOR_PLEXOR_H
#define PLEXOR_PLEXOR_H

#include <plexor/alert.h>
#include <plexor/companion.h>
#include <plexor/cycle.h>
#include <plexor/datagram.h>
#include <plexor/dio.h>
#include <plexor/dry_contact.h>
#include <plexor/eeprom.h>
#include <plexor/gpio.h>
#include <plexor/i2c.h>
#include <plexor/indicator.h>
#include <plexor/mail.h>
#include <plexor/md5.h>
#include <plexor/model.h>
#include <plexor/net.h>
#include <plexor/off_delay.h>
#include <plexor/params.h>
#include <plexor/process.h>
#include <plexor/relay.h>
#include <plexor/rtc.h>
#include <plexor/schedule.h>
#include <plexor/sense.h>
#include <plexor/switching.h>
#include <plexor/trap.h>

#endif
