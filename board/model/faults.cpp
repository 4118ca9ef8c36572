// SPDX-License-Identifier: Apache-2.0
#include "board/model/faults.h"

#include <algorithm>
#include <cerrno>

namespace plexor::board
{

namespace
{

struct DeviceFault {
    std::string_view name;
    int error;
    Device device;
};

constexpr DeviceFault absent[] = {
    {"gpio-absent", ENOENT, Device::gpio},
    {"relays-absent", ENOENT, Device::relays},
    {"i2c-absent", ENOENT, Device::i2c},
};

constexpr DeviceFault failing[] = {
    {"gpio-fails", EIO, Device::gpio},
    {"relays-fail", EIO, Device::relays},
    {"i2c-fails", EIO, Device::i2c},
    {"i2c-stuck", ETIMEDOUT, Device::i2c},
};

} // namespace

const std::vector<std::string> &Faults::names()
{
    static const std::vector<std::string> all{
        "gpio-absent", "relays-absent", "i2c-absent",  "gpio-fails",           "relays-fail",
        "i2c-fails",   "i2c-stuck",     "i2c-corrupt", "io-controller-absent", "ethernet-address",
    };
    return all;
}

bool Faults::set(std::string_view name, bool on)
{
    const auto known = std::find(names().begin(), names().end(), name);
    if (known == names().end())
        return false;
    const bool changed = on ? active_.insert(*known).second : active_.erase(*known) != 0;
    if (changed)
        timeline_.add(0, "fault", *known, on ? "on" : "off");
    return true;
}

int Faults::open_error(Device device) const
{
    for (const DeviceFault &fault : absent)
        if (fault.device == device && on(fault.name))
            return fault.error;
    return 0;
}

int Faults::request_error(Device device) const
{
    for (const DeviceFault &fault : failing)
        if (fault.device == device && on(fault.name))
            return fault.error;
    return 0;
}

} // namespace plexor::board
