/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file switching.h
 * Switching an outlet with all that its user asked for: beep, SNMP trap, alert mail. These are the entry
 * points of the web interface, the SNMP agent, the MQTT connector and the timers.
 *
 * Each switch reads two lists of eight fields, one an outlet: "beep_alarm_PX" (1 = beep) and
 * "email_alarm_PX" (not 0 = entry in the alert journal).
 *
 * There is no lock: see relay.h for what two processes at once may do to each other. What writes the journal
 * is not for two threads at once.
 */
#ifndef PLEXOR_SWITCHING_H
#define PLEXOR_SWITCHING_H

#include <plexor/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Switches one outlet.
 *
 * @param index   outlet, 0 to 7
 * @param value   1 on, 0 off
 * @param source  who asks, for example the web interface or a timer; null as nothing (in the journal "N/A")
 * @return 1 when accepted, whatever the hardware did; 0 for another index, after "relayidx:%d error\n" was
 *         printed.
 *
 * In this order: set_4IO_control; the line "###SetPowerByIdx[%s]:[%d]=%d\n" (source, index, value) is
 * printed and logged at LOG_INFO; LPOL (process.h).
 */
PLEXOR_API int SetPowerByIdx(unsigned index, int value, const char *source);

/**
 * Moves a relay and tells everybody.
 *
 * @param index   outlet, 0 to 7; for another one "relayidx:%d error\n" is printed and nothing else happens
 * @param value   1 on, 0 off
 * @param source  who asks, for the journal
 * @return 0 always.
 *
 * In this order, each step whatever became of the ones before: ContorlSpiPower (relay.h); beep(1), which
 * takes 150 ms, where "beep_alarm_PX" asks for it; SnmpSendTrap (trap.h); PreSendIOMail (alert.h) where
 * "email_alarm_PX" asks for it. Trap and entry say "Outlet%d off to on" or "Outlet%d on to off" with the
 * outlet as people count, and nothing for a value other than 0 and 1 (which the relay takes as on).
 */
PLEXOR_API int set_4IO_control(unsigned index, unsigned value, const char *source);

/**
 * Tells the MQTT connector that an outlet is being switched.
 *
 * @param name   who tells, as for SendProcessSig (process.h)
 * @param index  outlet, 0 to 7
 * @param value  1 on, 0 off
 * @return the integer parameter "interop_enable" when it is not 1; 1 for another value; 0 for another index,
 *         after "relayidx:%d error\n" was printed; otherwise what SendProcessSig returns for the value
 *         11 + 2 * index (on) or 12 + 2 * index (off).
 */
PLEXOR_API int m2m_Send(const char *name, unsigned index, unsigned value);

/**
 * SetPower61 to SetPower68 switch outlets 0 to 7: m2m_Send("mqtt-relay", index, value), then SetPowerByIdx.
 *
 * @param value   1 on, 0 off
 * @param source  who asks
 * @return what SetPowerByIdx returns.
 */
PLEXOR_API int SetPower61(int value, const char *source);
/** Switches outlet 1, see SetPower61. */
PLEXOR_API int SetPower62(int value, const char *source);
/** Switches outlet 2, see SetPower61. */
PLEXOR_API int SetPower63(int value, const char *source);
/** Switches outlet 3, see SetPower61. */
PLEXOR_API int SetPower64(int value, const char *source);
/** Switches outlet 4, see SetPower61. */
PLEXOR_API int SetPower65(int value, const char *source);
/** Switches outlet 5, see SetPower61. */
PLEXOR_API int SetPower66(int value, const char *source);
/** Switches outlet 6, see SetPower61. */
PLEXOR_API int SetPower67(int value, const char *source);
/** Switches outlet 7, see SetPower61. */
PLEXOR_API int SetPower68(int value, const char *source);

/** Does nothing; kept because older programs are linked against it. */
PLEXOR_API void GetlastStatus(void);
/** Does nothing; kept because older programs are linked against it. */
PLEXOR_API void InitPLX(void);
/** Does nothing; kept because older programs are linked against it. */
PLEXOR_API void readeeprom(void);
/** Does nothing; kept because older programs are linked against it. */
PLEXOR_API void SetAllPower(void);
/**
 * Does nothing; kept because older programs are linked against it.
 *
 * @return 0 always.
 */
PLEXOR_API int ContorlPlxPower(void);

#ifdef __cplusplus
}
#endif

#endif
