/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file mail.h
 * Mail through the appliance's SMTP client, and the base-64 encoders that its texts and pictures need.
 *
 * The library does not speak SMTP: it writes the configuration file of the program "esmtp" and pipes the
 * message into it. Base 64 is that of RFC 4648, section 4, with "=" padding.
 */
#ifndef PLEXOR_MAIL_H
#define PLEXOR_MAIL_H

#include <stdio.h> /* NOLINT(modernize-deprecated-headers): C includes this too */

#include <plexor/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Encodes a block in base 64, without line breaks.
 *
 * @param input     bytes to encode
 * @param length    number of bytes; below 1 gives an empty text
 * @param output    room for capacity bytes
 * @param capacity  size of output, at least 1
 * @return the number of characters written, a multiple of 4; a zero follows them. 0, with nothing written,
 *         for a null pointer or a capacity of 0.
 *
 * An input whose text and zero do not fit is cut to (capacity - 1) / 4 * 3 bytes. Nothing is written beyond
 * capacity.
 */
PLEXOR_API int KMimeBase64(unsigned char *input, int length, unsigned char *output, unsigned capacity);

/**
 * Encodes a file in base 64, in lines of at most 76 characters, each ended by CR LF.
 *
 * @param fd      open descriptor; read from where it stands, 1026 bytes at a time (18 full lines)
 * @param stream  where the lines go
 * @param count   number of bytes to encode; below 1 for nothing. Where a read gives less than was asked for,
 *                zeros follow.
 *
 * Takes two blocks from the heap, whatever the size of the file, and gives them back; does nothing when it
 * does not get them, or for a null stream.
 */
PLEXOR_API void KBase64EncodeFile(int fd, FILE *stream, int count);

/**
 * Sends a mail: base-64 text and, when asked for, the camera's snapshot.
 *
 * @param from      address of the sender
 * @param to        recipients, separated by ",", ";", ":" or blanks
 * @param user      login name; empty for the sender's address
 * @param password  login password
 * @param server    host of the SMTP server
 * @param port      its port
 * @param starttls  0 disables TLS, anything else requires it
 * @param subject   UTF-8, 98 bytes at the most, more are cut to 96; null or empty for "ZR4471 Mail"
 * @param body      UTF-8, 6914 bytes at the most, more are cut to 6912; null or empty for "this message send
 *                  by ZR4471."
 * @param attach    0 for no snapshot
 * @return length of the last piece of the message written: 2 without snapshot, otherwise that of the closing
 *         lines. 0 when the server is empty ("smtp server is null,skip.\n"), when the configuration cannot be
 *         replaced ("error can't write .esmtprc\n"), when there is no memory ("malloc 10240 byte failed\n"),
 *         and when no process can be started for the client. (unsigned)-1 when the snapshot cannot be
 *         measured ("fseek SEEK_END error" or "fseek SEEK_SET error"): pipe and file stay open then. A mail
 *         that the client does not accept or cannot send is not noticed.
 *
 * Of the first five texts 127 bytes each count; null is an empty text. The two stand-in texts go where base
 * 64 is announced although they are none; readers of these mails know them so.
 *
 * In this order, all messages on standard output: "/tmp/.esmtprc" is replaced by a new one, readable for its
 * owner only, of four lines, which are also printed, the password's with its value masked; the shell command
 * "chmod 0710 /tmp/.esmtprc\n"; the command "esmtp RECIPIENTS -f SENDER -v" is printed with a line feed and
 * started; the message is piped into it; the pipe is closed, which waits for the client;
 * "smtp:KSendTextMail end.\n" is printed. The message without snapshot has no closing boundary. With it,
 * "/tmp/uvcmail.jpg" is sent with 20 zero bytes after its end, or, where there is none, the text NoPicture in
 * its place.
 *
 * Plain values stand in command and configuration as they are. In the command, a value with characters that
 * mean something to the shell is quoted, and a recipient that starts with "-" is put into angle brackets. In
 * the configuration, double quotes and backslashes of a value are escaped, and a server that holds characters
 * of no host name stands between double quotes, together with its port. In the header of the message, control
 * characters of addresses become blanks. A client that ends early does not raise SIGPIPE in the caller.
 *
 * Any number of processes and threads may send at once; those that send by different accounts share the one
 * configuration all the same, and the latest counts.
 */
PLEXOR_API unsigned KSendTextMail(const char *from, char *to, char *user, const char *password,
                                  const char *server, int port, int starttls, unsigned char *subject,
                                  unsigned char *body, int attach);

#ifdef __cplusplus
}
#endif

#endif
