// SPDX-License-Identifier: Apache-2.0
// Calls on /dev/gpio as the call record shows them.
#pragma once

#include <string>
#include <vector>

#include "tests/contract/appliance.h"
#include "tests/contract/call_text.h"

namespace plexor::tests
{

inline std::string gpio_request(int number)
{
    return print("ioctl /dev/gpio %d", number);
}

inline std::string gpio_request(int number, unsigned argument)
{
    return print("ioctl /dev/gpio %d 0x%08X", number, argument);
}

// Every request with an open and a close of its own.
inline Calls each_opened(const Calls &requests)
{
    Calls calls;
    for (const auto &request : requests)
        calls.insert(calls.end(), {"open /dev/gpio", request, "close /dev/gpio"});
    return calls;
}

} // namespace plexor::tests
