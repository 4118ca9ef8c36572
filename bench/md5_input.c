/* SPDX-License-Identifier: Apache-2.0 */
/* plexor-md5: the MD5 digest of standard input, 64 KiB at most, from an odd address: where words are not aligned,
 * a digest costs most. Built by check_instructions for the appliance's processor. */
#include <stdio.h>

#include <plexor/md5.h>

int main(void)
{
    static unsigned char message[1 + 64 * 1024];
    unsigned char digest[16];
    const size_t length = fread(message + 1, 1, sizeof message - 1, stdin);
    md5_init();
    md5_update(message + 1, (unsigned)length);
    md5_final(digest);
    for (int i = 0; i < 16; ++i)
        printf("%02x", digest[i]);
    return putchar('\n') == '\n' && fflush(stdout) == 0 ? 0 : 1;
}
