/* SPDX-License-Identifier: Apache-2.0 */
/*
 * Calls one function that reports to somebody; its exit status is 0 when the function was called.
 *   reporter trap MESSAGE
 *   reporter alert SUBJECT BODY
 *   reporter mail FROM TO USER PASSWORD SERVER STARTTLS SUBJECT BODY plain|picture
 */
#include <plexor/plexor.h>
#include <string.h>

static int is_call(int argc, char **argv, const char *name, int count)
{
    return argc == count + 2 && strcmp(argv[1], name) == 0;
}

static void mail(char **words)
{
    KSendTextMail(words[0], words[1], words[2], words[3], words[4], 25, strcmp(words[5], "1") == 0,
                  (unsigned char *)words[6], (unsigned char *)words[7], strcmp(words[8], "picture") == 0);
}

int main(int argc, char **argv)
{
    if (is_call(argc, argv, "trap", 1))
        SnmpSendTrap(argv[2]);
    else if (is_call(argc, argv, "alert", 2))
        KSendIOAlertMail((unsigned char *)argv[2], (unsigned char *)argv[3]);
    else if (is_call(argc, argv, "mail", 9))
        mail(argv + 2);
    else
        return 2;
    return 0;
}
