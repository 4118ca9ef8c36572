/* SPDX-License-Identifier: Apache-2.0 */
/* What the linker needs to know of libnvram.so.0 where the platform SDK is not at hand. Never installed,
 * never loaded by a program that means it: every value reads as not set and nothing is kept. */
#include "nvram.h"

int nvram_kget_str(const char *key, char *buffer, int size)
{
    (void)key;
    if (size > 0)
        buffer[0] = '\0';
    return 0;
}

int nvram_kget_int(const char *key, int fallback)
{
    (void)key;
    return fallback;
}

const char *nvram_bufget(int section, const char *key)
{
    (void)section;
    (void)key;
    return "";
}

int nvram_bufset(int section, const char *key, const char *value)
{
    (void)section;
    (void)key;
    (void)value;
    return -1;
}

int nvram_commit(int section)
{
    (void)section;
    return -1;
}

int flash_read_br0_mac(unsigned char *buffer)
{
    (void)buffer;
    return -1;
}

int myprintf(const char *format, ...)
{
    (void)format;
    return 0;
}
