/* SPDX-License-Identifier: Apache-2.0 */
/* plexor-base64 FILE: what coreutils' base64 does, by the library, for the comparison of the two. Its lines end
 * in CR LF, as a mail's do. */
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <plexor/mail.h>

int main(int argc, char **argv)
{
    struct stat file;
    const int fd = argc == 2 ? open(argv[1], O_RDONLY) : -1;
    if (fd < 0 || fstat(fd, &file) != 0) {
        fputs("plexor-base64: needs a file that can be read\n", stderr);
        return argc == 2 ? 1 : 2;
    }
    KBase64EncodeFile(fd, stdout, (int)file.st_size);
    close(fd);
    return fflush(stdout) == 0 ? 0 : 1;
}
