/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file off_delay.h
 * Off delays: the network is told that an outlet will be switched off, and some seconds later it is.
 *
 * The deadlines are the calling daemon's own: a table of eight numbers, one an outlet, 0 for none or the time
 * in seconds since the epoch. It starts as zeros. Only the daemon's own thread uses it.
 */
#ifndef PLEXOR_OFF_DELAY_H
#define PLEXOR_OFF_DELAY_H

#include <plexor/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Arms the off delay of one outlet.
 *
 * @param outlet  outlet as people count, 1 to 8
 * @param table   deadlines
 * @return 0 always; it means nothing.
 *
 * Nothing happens for another outlet or one that is armed: a second request does not prolong the delay. The
 * delay is the outlet's field of "OFFDelay_PX" (127 characters; fields that are empty do not count) and
 * "SetOFFDelayTime_t%d:%d\n" (outlet, delay) is printed. A delay below 1, or none, arms nothing; otherwise
 * SendOFFDelayUDP (datagram.h), then the deadline is stored.
 */
PLEXOR_API unsigned SetOFFDelayTime_t(int outlet, unsigned *table);

/**
 * Ends the off delays whose deadline has come; to be called once a second.
 *
 * @param table   deadlines
 * @param source  who asks, for the switch; null as nothing
 * @return 0 always; it means nothing.
 *
 * For each such outlet in order: its deadline is cleared; SetPowerByIdx (switching.h) off, if the integer
 * parameter "wol_sol_trigger" is 1; "OFFDelay[%s]:%d\n" (source, outlet from 0) is printed. With another
 * trigger the delay ends and nothing is switched.
 */
PLEXOR_API unsigned CheckOFFDelayTime_t(unsigned *table, const char *source);

#ifdef __cplusplus
}
#endif

#endif
