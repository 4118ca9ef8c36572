/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file dry_contact.h
 * What the outlets do when the dry-contact alarm input of an I/O model changes.
 */
#ifndef PLEXOR_DRY_CONTACT_H
#define PLEXOR_DRY_CONTACT_H

#include <plexor/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Carries out the actions that the user set for a change of the dry contact. For the process that watches it.
 *
 * @param opened  not 0: the contact opened
 * @return 1 always.
 *
 * | list            | fields | is                                                                 |
 * |-----------------|--------|--------------------------------------------------------------------|
 * | "DI1_action"    | 8      | for each outlet 1 switch off, 2 switch on, 3 cycle, others nothing |
 * | "cycle_time_PX" | 8      | seconds of its cycle                                               |
 * | "sDIBeep_PX"    | 4      | field 0 is 1: beep                                                 |
 * | "sDIMail_PX"    | 4      | field 0 is 1: mail, which are entries in the alert journal         |
 *
 * In this order: lists and outlets (GetPowerStatus, relay.h) are read; beep(1);
 * "### Dry Contact Alarm DI = %s !!! \n" with "OPEN" or "Loopback" is logged at LOG_WARNING; for each of
 * eight outlets its action, one second and a mail; then a mail about the change alone. Outlets that are
 * already as asked for are passed over. Off and on are ContorlSpiPower (relay.h); a cycle is SnmpTimeCycle
 * (cycle.h) off first with selector 0, which without seconds sets the mode alone.
 *
 * Mails (PreSendIOMail, alert.h, with the source "Dry_action") say
 * "Dry_action Outlet%d OFF Dry_Changed: %d ", "Dry_action Outlet%d ON Dry_Changed: %d " or
 * "Dry_action Outlet%d Reset %d sec Dry_Changed: %d " (outlet as people count, seconds, opened), and
 * "Dry_action Dry_Changed:%d ".
 *
 * Takes a second for each outlet that is acted on, and what beep, traps and mails take, those of a cycle's
 * outlet too; a second more for a cycle that finds the record busy and is dropped. Not for two threads at
 * once.
 */
PLEXOR_API int dry_action(int opened);

#ifdef __cplusplus
}
#endif

#endif
