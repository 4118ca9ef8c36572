/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file datagram.h
 * Two UDP broadcasts to the local network on behalf of an outlet: the magic packet that wakes the computer
 * behind it, and word to other appliances that it is about to be switched off.
 *
 * Both go to 255.255.255.255, once and without an answer; the kernel needs a route for that address. What
 * keeps a datagram from being sent is passed over but where a result is named.
 */
#ifndef PLEXOR_DATAGRAM_H
#define PLEXOR_DATAGRAM_H

#include <plexor/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Sends a Wake-on-LAN magic packet to port 4471: 6 bytes 0xFF, then 16 times the computer's Ethernet address.
 *
 * @param outlet  outlet as people count, 1 to 8
 * @return 0, for another outlet with nothing done; -1 when the socket cannot be opened, or closed.
 *
 * The address is the outlet's field of "WakeOnLan_PX" (127 characters), 12 hexadecimal digits, two of them a
 * byte as Char2ByteFun (process.h) takes them: a byte that lacks a digit is 0. Longer fields are cut. Fields
 * that are empty do not count: "112233445566;;" holds one address. An outlet without a field is sent the
 * address 000000000000.
 * "SendWakeOnLan%d:%s\n" (outlet, address) is printed before the socket is opened.
 */
PLEXOR_API int SendWakeOnLan(int outlet);

/**
 * Tells the network, on port 9258, that an outlet is switched off after its off delay.
 *
 * @param outlet  outlet as people count, 1 to 8; for another one nothing happens
 *
 * The datagram has 66 bytes. The digest shows that the sender knows the administrator's password:
 *
 * | offset | bytes | is                                                                                  |
 * |--------|-------|-------------------------------------------------------------------------------------|
 * | 0      | 16    | "PowerOFFDelay10" and a zero byte                                                   |
 * | 16     | 4     | address of br0 as net_get_ifaddr (net.h) gives it                                   |
 * | 20     | 2     | port of the web interface, the parameter "web_port"; high byte first                |
 * | 22     | 1     | outlets that are on as GetPowerStatus (relay.h) tells: bit i set for outlet i       |
 * | 23     | 1     | outlets that stay: all bits but that of the outlet                                  |
 * | 24     | 9     | nonce: eight digits 0-9A-F and a zero byte                                          |
 * | 33     | 16    | MD5 of "Login", "Password" (63 characters each) and the nonce's digits in a row     |
 * | 49     | 6     | Ethernet address of eth2, zeros when there is none                                  |
 * | 55     | 6     | the same once more                                                                  |
 * | 61     | 4     | address of apcli0 as net_get_ifaddr gives it                                        |
 * | 65     | 1     | 0                                                                                   |
 *
 * The nonce is the time in seconds since the epoch plus rand(), which is not seeded here: a process that
 * does not seed it sends nonces that only the second makes different. Uses the process's one digest context
 * (md5.h): not for two threads at once.
 */
PLEXOR_API void SendOFFDelayUDP(unsigned outlet);

#ifdef __cplusplus
}
#endif

#endif
