/* SPDX-License-Identifier: Apache-2.0 */
/*
 * Switches outlets on and off in a reproducible disorder: switcher ROUNDS SEED OUTLET...
 * Prints the last state that it gave to each of its outlets, "3 on", a line an outlet. Exit status 1 when a
 * switch was not done.
 */
#include <plexor/plexor.h>
#include <stdio.h>
#include <stdlib.h>

int main(int argc, char **argv)
{
    int last[8] = {-1, -1, -1, -1, -1, -1, -1, -1};
    if (argc < 4)
        return 2;
    srand((unsigned)atoi(argv[2]));
    for (int round = atoi(argv[1]); round > 0; --round) {
        const int outlet = atoi(argv[3 + rand() % (argc - 3)]) - 1;
        const int value = rand() / 8 % 2;
        if (ContorlSpiPower(outlet, value) != 1)
            return 1;
        last[outlet] = value;
    }
    for (int i = 0; i < 8; ++i) {
        if (last[i] >= 0)
            printf("%d %s\n", i + 1, last[i] ? "on" : "off");
    }
    return 0;
}
