/* SPDX-License-Identifier: Apache-2.0 */
/*
 * Sends datagrams on behalf of outlets, one after the other:
 *   datagram-sender wake|off-delay|arm OUTLET...
 * The random numbers are those of a program that seeds nothing.
 */
#include <plexor/plexor.h>
#include <stdlib.h>
#include <string.h>

static int send_for(const char *what, int outlet)
{
    static unsigned deadlines[8];
    if (strcmp(what, "wake") == 0)
        return SendWakeOnLan(outlet);
    if (strcmp(what, "off-delay") == 0)
        SendOFFDelayUDP((unsigned)outlet);
    else if (strcmp(what, "arm") == 0)
        SetOFFDelayTime_t(outlet, deadlines);
    else
        return 2;
    return 0;
}

int main(int argc, char **argv)
{
    int result = argc < 3 ? 2 : 0;
    for (int i = 2; i < argc && result == 0; ++i)
        result = send_for(argv[1], atoi(argv[i]));
    return result;
}
