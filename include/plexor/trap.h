/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file trap.h
 * SNMP traps to a management station.
 *
 * The library does not speak SNMP: it has the system's "/bin/snmptrap" send the notification
 * outletStatusChanged of the module VOLTARA-MIB, with the message as the value of SNMPv2-MIB::sysLocation.0.
 */
#ifndef PLEXOR_TRAP_H
#define PLEXOR_TRAP_H

#include <plexor/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Sends a trap with a message and waits until the tool has finished.
 *
 * @param message  text of the trap
 * @return -1, with nothing done, unless the parameter "snmp_enable" is exactly "1", for a null message, and
 *         for values that make the command 512 characters or longer (the line "SnmpSendTrap error\n" is
 *         printed for these); 0, with nothing done, when "snmp_trap_dest_type" is 9; otherwise what system()
 *         returns.
 *
 * "snmp_trap_dest_type" 0 sends a v1 trap, any other number but 9 a v2c trap; "snmp_trap_dest_community" and
 * "snmp_trap_dest_host" (63 characters each) say how and where to. The command is printed, then run by the
 * shell. Characters that mean something to the shell are escaped, so that a value is never more than one
 * argument; a host that starts with "-" gets "udp:" put before it, so that it is no option. Plain values
 * stand in the command as they are.
 */
PLEXOR_API int SnmpSendTrap(char *message);

#ifdef __cplusplus
}
#endif

#endif
