/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file md5.h
 * MD5 digests as RFC 1321 defines them, and numbers in the alphabet of password hashes.
 *
 * A digest is made in steps: md5_init, md5_update for each piece of the message, md5_final. All of them work
 * on md5_context, of which a process has one, so a process makes one digest after the other; none of them is
 * for two threads at once. Nothing outside the context and the caller's memory is read or written.
 *
 * MD5 says whether a message arrived as it was sent, and nothing against somebody who forges one.
 */
#ifndef PLEXOR_MD5_H
#define PLEXOR_MD5_H

#include <plexor/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/** What is known of a message, 88 bytes. */
struct md5_context_state {
    unsigned state[4];        /**< the words A, B, C and D after the last complete block */
    unsigned bits[2];         /**< length of the message so far in bits: low word, high word */
    unsigned char buffer[64]; /**< the block being filled; bytes beyond those of the message are old ones */
};

/** The digest that this process is making: all zero until md5_init. */
PLEXOR_API extern struct md5_context_state md5_context;

/** Begins a digest: sets state to the values that RFC 1321 starts with, and bits to 0. The buffer stays. */
PLEXOR_API void md5_init(void);

/**
 * Adds bytes to the message.
 *
 * @param data    bytes at any address, outside md5_context; with a null pointer nothing is added
 * @param length  how many, 0 to 4294967295
 *
 * The count of bits wraps after 2 to the power of 64, as RFC 1321 wants it.
 */
PLEXOR_API void md5_update(const void *data, unsigned length);

/**
 * Ends the message and writes its digest.
 *
 * @param digest  receives 16 bytes: the four state words, each with its least significant byte first; with a
 *                null pointer nothing happens
 *
 * The padding and the length are added as md5_update adds bytes, and the context is left at that: it counts
 * them, and its buffer holds the last block. The next digest begins with md5_init.
 */
PLEXOR_API void md5_final(unsigned char digest[16]);

/**
 * Writes a number in the digits "./0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz", six bits
 * a digit, the least significant digit first, and a zero byte.
 *
 * @param output  receives the digits and the zero; nothing happens when it is null
 * @param value   the number; digits that it does not reach are '.'
 * @param count   how many digits: its low 8 bits, 0 to 255
 * @return where the zero stands; null for a null output.
 *
 * Has nothing to do with md5_context, and is for any number of threads.
 */
PLEXOR_API char *to64(char *output, unsigned value, unsigned count);

#ifdef __cplusplus
}
#endif

#endif
