/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file alert.h
 * Alerts: the journal that a mail process of the appliance collects, and the mail sent at once.
 *
 * The alert journal "/tmp/iomail.txt" begins with the time of its latest entry, seconds since the epoch as
 * 4 bytes in host order; entries follow as text. Whoever collects them empties or removes the file; it only
 * grows here.
 *
 * | "IO_number" | entry                                                                              |
 * |-------------|------------------------------------------------------------------------------------|
 * | 1, 4, 10    | header, description, "\r\n\t[", outlets 1-4 (10: 1-8) as "Power%d=%s ;", "]\n\n"    |
 * | 2, 3, 11    | header, description, "\r\n\t[", outlets 1-8 as "Power%d=%s, %4.2fA;",               |
 * |             | "Temperature=%3.1f℃(%3.1f℉)", ";Voltage=%4.2fV", " DI = %s ", "]\n\n"              |
 * | 5 to 9      | header, description, "[", outlets 1-4 as "Power%d=%s ;",                           |
 * |             | "Temperature=%3.1f℃(%3.1f℉)", on 8 "Amp=%4.1fA;", "]\n\n"                          |
 * | others      | "]\n\n"                                                                            |
 *
 * The header is "SOURCE:%s %04d-%02d-%02d %02d:%02d:%02d\n" with the local time, of at most 299 bytes (a
 * longer source is cut). Outlets are "ON" or "OFF" as GetPowerStatus (relay.h) tells, the input DI is
 * "Loopback" when it reads 0, else "OPEN". A model without thermometer is at 0 degrees.
 */
#ifndef PLEXOR_ALERT_H
#define PLEXOR_ALERT_H

#include <plexor/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Appends an entry to the alert journal.
 *
 * @param description  what happened, as it is to stand in the entry; null for no entry
 * @param source       who caused it; null for "N/A"
 *
 * In this order: the outlets and "IO_number" are read; while the integer parameter "IOMailWriting" is not 0
 * the call waits, 50 ms at a time and ten times at the most; the parameter becomes "1" in any case (not
 * committed); the journal is opened, or created; its first four bytes become the present time; the entry is
 * appended; "IOMailWriting" becomes "0". A journal that cannot be opened, as when it is a symbolic link or a
 * pipe without a reader, is passed over.
 *
 * Any process may write at any time: "IOMailWriting" is a courtesy and not a lock. Not for two threads at
 * once.
 */
PLEXOR_API void PreSendIOMail(char *description, char *source);

/**
 * Sends an alert by mail with the settings of the parameter store.
 *
 * @param subject  UTF-8 text
 * @param body     UTF-8 text
 * @return without a snapshot what KSendTextMail (mail.h) returns; otherwise the length of the line "send
 *         ioalert by uvc USR1\n", 25, or the status of the command that starts the camera process.
 *
 * | parameter      | bytes | is                                                                      |
 * |----------------|-------|-------------------------------------------------------------------------|
 * | "email_from"   | 128   | sender                                                                  |
 * | "email_to"     | 195   | recipients                                                              |
 * | "email_to_PX"  | 195   | further recipients, appended after a ";"; of all together 127 bytes     |
 * |                |       | count (see mail.h)                                                      |
 * | "email_user"   | 64    | login name                                                              |
 * | "email_pwd"    | 64    | login password                                                          |
 * | "email_smtp"   | 64    | host of the SMTP server                                                 |
 * | "email_port"   | 16    | its port, read as atoi does                                             |
 * | "email_tls"    | 16    | "1" or "tls" require TLS                                                |
 * | "email_pic"    | 16    | "1" asks for a snapshot                                                 |
 *
 * With a snapshot the camera process takes the picture and sends the mail. In this order: subject and body
 * are written to "/tmp/uvc_mail.subject" and "/tmp/uvc_mail.body" (not through symbolic links);
 * "/tmp/uvcmail.jpg" is removed; a camera process found by isUVCRuning (companion.h) gets SIGUSR2 and
 * SIGUSR1, and when the latter was delivered "send ioalert by uvc USR1\n" is written to standard error.
 * Otherwise the shell command "uvc_stream -r %s -f %s -p %s -b -m %s -mail 1\n" is run with the parameters
 * "WebCamResolution" (32 bytes), "WebCamFPS", "WebCamPort" and "WebCamMode" (16 each), which are quoted where
 * they hold characters that mean something to the shell.
 */
PLEXOR_API int KSendIOAlertMail(unsigned char *subject, unsigned char *body);

#ifdef __cplusplus
}
#endif

#endif
