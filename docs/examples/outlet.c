/* SPDX-License-Identifier: Apache-2.0 */
#include <plexor/plexor.h>
#include <stdio.h>

int main(void)
{
    unsigned model = 0;
    unsigned outlets = getPowerPortNum(&model);
    printf("%s, %u outlets\n", getModelName((int)model), outlets);
    if (ContorlSpiPower(0, 1) != 1)
        return 1;
    printf("outlet 1 is %s\n", GetPowerByIdx(0) == 1 ? "on" : "off");
    return 0;
}
