// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <iostream>
#include <plexor/plexor.h>

int main()
{
    ContorlSpiAllPower(0b101, "example"); // outlets 1 and 3 on, all others off
    std::array<int, 8> states{};
    GetPowerStatus(states.data());
    for (unsigned i = 0; i < getPowerPortNum(nullptr); ++i)
        std::cout << "outlet " << i + 1 << ": " << (states[i] ? "on" : "off") << '\n';
}
