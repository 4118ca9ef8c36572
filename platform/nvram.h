/* SPDX-License-Identifier: Apache-2.0 */
/*
 * The platform's configuration library, libnvram.so.0, as plexor uses it.
 *
 * The platform SDK ships the library; this header declares the part of it that plexor calls. The store
 * keeps text values by key. A value that is set is seen at once by every process and is lost at a power
 * loss unless it was committed to flash before.
 */
#ifndef PLEXOR_PLATFORM_NVRAM_H
#define PLEXOR_PLATFORM_NVRAM_H

#ifdef __cplusplus
extern "C" {
#endif

/* Copies the value of key into buffer: at most size bytes with the terminating zero; "" for a key that is
 * not set. Returns 0. */
int nvram_kget_str(const char *key, char *buffer, int size);

/* Returns the value of key as a decimal integer, or fallback for a key that is not set. */
int nvram_kget_int(const char *key, int fallback);

/* Returns the value of key in section, "" for a key that is not set. The text belongs to the store and
 * stays as it is until the calling thread's next nvram_bufget. */
const char *nvram_bufget(int section, const char *key);

/* Sets key to value in section. Returns 0, or a negative value when the store refused it. */
int nvram_bufset(int section, const char *key, const char *value);

/* Writes section to flash. Returns 0, or a negative value on failure. */
int nvram_commit(int section);

/* Stores the bridge interface's Ethernet address, 6 bytes, at buffer. Returns a negative value when it
 * could not be read from flash. Callers offer 100 bytes. */
int flash_read_br0_mac(unsigned char *buffer);

/* The platform's debug print: printf's arguments; returns the number of characters. */
int myprintf(const char *format, ...) __attribute__((format(printf, 1, 2)));

#ifdef __cplusplus
}
#endif

#endif
