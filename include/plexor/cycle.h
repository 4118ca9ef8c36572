/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file cycle.h
 * Power cycles: an outlet is switched, stays so for some seconds and is switched back.
 *
 * The library has no thread, so a cycle is a record in shared memory. Whoever asks for a cycle writes the
 * record and switches the outlet; a daemon calls the tick, snmppowercycle, once a second, which works out the
 * time that is left and switches back; others read.
 *
 * The cycle segment is System V shared memory, key PLEXOR_CYCLE_KEY, struct plexor_cycles. It is created with
 * permission bits 0, so that only privileged processes get at it, by snmppowercycle, powercycleget,
 * SnmpTimeCycle, getcycleflag and s_getcycle; nothing removes it. It is zeros at first; what is written
 * before the first tick initialises it is lost then, but for the modes.
 *
 * Lists in it are read as the fields between ";" that are not empty, numbers by atoi; a missing field is 0.
 *
 * Time of day, not absolute time, is what elapses: after midnight a cycle counts as just started. One that
 * would end after midnight does not end by itself. An outlet whose cycle is running is not to be cycled
 * again: its bit is added to the active mask once more, the mask no longer agrees with the table, and every
 * running cycle is given up; the outlets stay as they are.
 *
 * The busy word is all that keeps writers apart. It is tested and then set, without a lock: two processes can
 * both find it 0. One that is killed while it holds it leaves it 1, and nothing moves until powercycleget.
 */
#ifndef PLEXOR_CYCLE_H
#define PLEXOR_CYCLE_H

#include <plexor/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Key of the cycle segment. */
#define PLEXOR_CYCLE_KEY 0x4C104F10

/** Seconds that a cycle can last at most. */
#define PLEXOR_CYCLE_LONGEST 9999

/** Elapsed seconds of an outlet that has no cycle: more than a cycle can last. */
#define PLEXOR_CYCLE_IDLE 10000

/** Run state of an outlet whose cycle is running; 0 without one. */
#define PLEXOR_CYCLE_RUNNING 2

/** The cycle segment; 1072 bytes. What lies behind the terminator of a text means nothing. */
struct plexor_cycles {
    unsigned initialised; /**< 0: the next tick initialises the record; 1 */
    unsigned busy;        /**< 1 while SnmpTimeCycle or the tick rewrites the record */
    unsigned active;      /**< active mask: bit i set while outlet i has a cycle */
    unsigned notify;      /**< 2: a cycle was started with a selector above 0; 1: seen running since; 0 */
    int mode[8];          /**< of outlet i: 1 off first and on at the end, others on first */
    char table[256];      /**< 16 numbers: remaining seconds of outlets 0-7, then run states (2 running, 0) */
    char durations[256];  /**< 8 numbers: seconds that a cycle lasts */
    char started[256];    /**< 8 local times of day, "%02d:%02d:%02d" */
    char elapsed[256];    /**< 8 numbers: seconds since the start, PLEXOR_CYCLE_IDLE without a cycle */
};

/**
 * Switches or cycles one outlet.
 *
 * @param index    outlet, 0 to 7
 * @param action   0 off, 1 on; 2 or more starts a cycle; below 0 as SetPowerByIdx takes it
 * @param seconds  of the cycle, 1 to 9999
 * @param mode     of the cycle: 1 off first and on at the end, others on first
 * @param source   who asks, for a plain switch; a cycle is recorded as "power-cycle"
 * @return 0 for an index above 7 or seconds outside their range, without a word; otherwise what SetPowerByIdx
 *         (switching.h) returns, or 1 for a cycle, also for one that was dropped (SnmpTimeCycle).
 */
PLEXOR_API int SetPower(unsigned index, int action, unsigned seconds, unsigned mode, const char *source);

/**
 * Starts the cycle of one outlet, or sets its mode alone, or asks how much is left.
 *
 * @param outlet    outlet as people count, 1 to 8; for others nothing changes
 * @param seconds   length of the cycle; 0 sets the mode and starts nothing
 * @param selector  above 0: readers are notified of the cycle; above 1: the result is the remaining time
 * @param mode      1 off first and on at the end, others on first
 * @return 1; with a selector of 2 or more the outlet's remaining seconds as they were before the call, and 0
 *         for another outlet or when the segment cannot be attached.
 *
 * When the record is busy the call takes a second, changes nothing and returns 1: the request is dropped.
 * Otherwise, with busy 1: the mode is stored; unless seconds is 0 the outlet is switched (SetPowerByIdx with
 * "power-cycle"), then table, duration, start time (now) and, with a selector above 0, notify 2 are stored,
 * and action_count adds the outlet's bit.
 */
PLEXOR_API int SnmpTimeCycle(unsigned outlet, unsigned seconds, int selector, unsigned mode);

/**
 * The tick, to be called once a second by one daemon. It allocates nothing, and so it does not look whether
 * the time zone was changed: a daemon that lives on calls tzset from time to time.
 *
 * @return 1 always.
 *
 * In this order: a record with initialised 0 is initialised, with the durations of "cycle_time_PX" (255
 * characters), everything else idle and the modes as they are; checkpid (process.h); if the record is busy a
 * second passes and nothing else happens; otherwise, with busy 1, diff_time, and for every running outlet
 * with less than a second left SetPowerByIdx to its final state with "power-cycle". If there was one, the
 * table is stored, also in place of the elapsed list until the next tick, and action_count takes the bits
 * away.
 */
PLEXOR_API int snmppowercycle(void);

/**
 * Starts over: clears the word initialised, then runs the tick. Running cycles are given up and their outlets
 * stay as they are. This is what frees a record whose writer died.
 *
 * @return 1 always.
 */
PLEXOR_API int powercycleget(void);

/**
 * Changes the active mask and checks it against the table. Does not create the segment and does not look at
 * busy.
 *
 * @param delta  added to the active mask as a number: a bit that is set already carries into the next
 * @return what detaching returns, 0 or -1; -1 when the segment cannot be attached.
 *
 * In the table an outlet with time left becomes running, one with less than 0 idle; if that changed anything
 * the table is stored, the mask becomes that of the running outlets and "\n[%2X/%2X]modify[%s]\n" (mask,
 * mask, table) is printed. If after that the mask is not that of the running outlets, "\nport error %2X,
 * Check[%2X]\n" (stored mask, that of the table) is printed and mask, table and elapsed times become idle.
 */
PLEXOR_API int action_count(int delta);

/**
 * Works out elapsed and remaining seconds of all outlets by the local time of day. Does not create the
 * segment and does not look at busy.
 *
 * @return what detaching returns, 0 or -1; -1 when the segment cannot be attached.
 *
 * The elapsed list is stored; while an outlet runs the table as well, and notify 2 becomes 1. A start that
 * lies later in the day counts as now.
 */
PLEXOR_API int diff_time(void);

/**
 * Rewrites one field of a list of eight, such as the durations and start times of the segment.
 *
 * @param outlet   field, 1 to 8; with others none is replaced
 * @param seconds  new number; every other field is made a number as well. 0: the field becomes the local time
 *                 now, "%02d:%02d:%02d", and every other field stays the text it is.
 * @param list     text in 256 bytes, rewritten
 * @return length of the list; 0, with nothing done, for a list that would need more than 255 characters.
 */
PLEXOR_API int snmpTimeset(unsigned outlet, unsigned seconds, char *list);

/**
 * Reads a word of the segment.
 *
 * @param selector  not null: the active mask; null: the notify word. It is not followed.
 * @return the word; 0 when the segment cannot be attached.
 */
PLEXOR_API unsigned getcycleflag(const void *selector);

/**
 * Copies a list of the segment.
 *
 * @param selector  not null: the elapsed list, and the notify word becomes 0; null: the durations. It is not
 *                  followed.
 * @return a text in a static buffer, which every call overwrites; one that cannot attach the segment leaves
 *         it as it was. Not for two threads at once.
 */
PLEXOR_API char *s_getcycle(const void *selector);

/**
 * A cycle that the caller waits for: off, some seconds, on. The segment knows nothing of it.
 *
 * @param outlet   outlet as people count, 1 to 8
 * @param seconds  to stay off; below 1 not at all
 * @param source   who asks; printed only, null as nothing
 * @return 1 when switching on was accepted by ContorlSpiPower, else 0.
 *
 * In this order: "SetPowerCycle%d:%ds,%s\n" (outlet, seconds, source) printed, ContorlSpiPower (relay.h) off,
 * sleep, ContorlSpiPower on; all of it for another outlet too, which ContorlSpiPower refuses. Beep, trap,
 * journal and last-switch timestamp are left out.
 */
PLEXOR_API int SetPowerCycle(int outlet, int seconds, const char *source);

#ifdef __cplusplus
}
#endif

#endif
