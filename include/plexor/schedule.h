/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file schedule.h
 * Where schedules are kept: 30 records in the parameter store, and a copy of the first five, and of the
 * administrator's name and password, in the board controller (I2C 0xA0), which survives a reset of the store.
 * What a schedule means is the business of those who edit it.
 *
 * | parameter      | is                                                                    | empty         |
 * |----------------|-----------------------------------------------------------------------|---------------|
 * | "schedule%d"   | 35 characters: two digits, the record's number plus one, and 33 more  | delSchedule   |
 * | "schedule%dt"  | its companion, 31 characters: 8 fields of 3, one an outlet            | delschedule0t |
 *
 * | register of the board controller | is                                                                |
 * |----------------------------------|-------------------------------------------------------------------|
 * | 4                                | 9 once the copy was written                                       |
 * | 5                                | 1 once the copy was restored                                      |
 * | parmindex                        | lengths of name and password, a byte each                         |
 * | pindex                           | schedules 0 to 4, 35 bytes each                                   |
 * | admindex                         | name and password, up to 32 bytes each                            |
 * | scheduletindex                   | companions 0 to 4, 31 bytes each                                  |
 *
 * The parameter "reflash" is "9" when the copy was written or restored since the store was last reset, which
 * takes it away: so backupSchedule knows. It says nothing of whether the two agree.
 *
 * All transfers go through i2cmd (i2c.h), which ends the process without "/dev/i2cM0"; a transfer that fails
 * is passed over. A read within 250 ms of another of the same register is answered from the cache: a restore
 * right after the first page may still find register 4 as it was, and a page written right after setIOstatus
 * may leave it 0. There is no lock, and no order of writes that a power loss cannot interrupt: a page may be
 * new and its companion old, and a name or password have its new length and the old text.
 */
#ifndef PLEXOR_SCHEDULE_H
#define PLEXOR_SCHEDULE_H

#include <plexor/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Registers of schedules 0 to 4. */
PLEXOR_API extern const int pindex[5];
/** Registers of the companions 0 to 4. */
PLEXOR_API extern const int scheduletindex[5];
/** Registers of the lengths of name and password. */
PLEXOR_API extern const int parmindex[2];
/** Registers of name and password. */
PLEXOR_API extern const int admindex[2];
/** An empty schedule, without terminator. */
PLEXOR_API extern const char delSchedule[35];
/** An empty companion, without terminator. */
PLEXOR_API extern const char delschedule0t[31];

/**
 * Deletes a schedule from the parameter store: the later ones move down, the last becomes empty, and the
 * store is committed. The copy is left alone.
 *
 * @param first  record to delete, 0 to 29. Above that nothing moves, and the store is committed all the same;
 *               below 0 nothing happens.
 * @return 0 always.
 *
 * Records are read in 127 characters and taken apart and put together by "%02d%33s", companions by "%31s":
 * the number at the front becomes one less unless it is 0, and what is too short is filled with blanks from
 * the left. So a record that is not set leaves "00" and 33 blanks.
 */
PLEXOR_API int DelPowerSchedule(int first);

/**
 * Writes one page of the copy.
 *
 * @param index   page, from 0; nothing at all happens for 6 or more and below 0
 * @param kind    which page, in letters of any size: "scheduleconfig" or "schedulet" for data,
 *                "DelPowerSchedule" for an empty schedule, "sysAdm" for the administrator's name (0) and
 *                password (1)
 * @param data    bytes of the page; for "sysAdm" a text in a buffer with room for length + 1 bytes, which is
 *                terminated there
 * @param length  bytes to write; nothing is written to a page that its kind does not have, or of null data
 * @return 0 always.
 *
 * In this order: register 4 read; the page written (for "sysAdm" "writepage() sysAdm %s len:%d \n" (data,
 * length) printed, the length written to parmindex, then the data); "reflash" set to "9", not committed;
 * register 4 set to 9 unless it was. All but the page is done for an unknown kind too, and a null one.
 */
PLEXOR_API int writepage(int index, const char *kind, char *data, unsigned length);

/**
 * Restores the parameter store from the copy, unless "reflash" is 9 or register 4 is not.
 *
 * @return 1 when "reflash" is 9; the value of register 4, 0 to 255, when that is not 9; otherwise what i2cmd
 *         returns for the last write, 1.
 *
 * In this order, without a commit: each of the five schedules that has 35 characters and its number as the
 * second of them ("schedule%d :%s \n" printed); the companions up to the last such schedule, where they have
 * 31 characters ("schedule%d t :%s \n"); "Login" ("  adm %s \n") and "Password" ("  pass %s \n") whose length
 * is 1 to 32; "reflash" set to "9"; register 5 set to 1.
 */
PLEXOR_API int backupSchedule(void);

/**
 * Factory reset of outlets and board controller: ContorlSpiAllPower (relay.h) off; register 1 to 0xFF, 2 to
 * 0, 3 to 0xFF, 244, 4 and 5 to 0; 5 ms; then each schedule and its companion emptied, with 5 ms after each.
 * The parameter store keeps its schedules, and the copy the administrator's name and password.
 *
 * @return 20 always.
 */
PLEXOR_API int setIOstatus(void);

#ifdef __cplusplus
}
#endif

#endif
