// SPDX-License-Identifier: Apache-2.0
#include "board/daemon/appliance.h"

#include <algorithm>
#include <optional>
#include <string>

namespace plexor::board
{

EthernetAddress ethernet_address_of(const Appliance &appliance)
{
    const auto byte = [](std::uint32_t number, int shift) {
        return static_cast<std::uint8_t>(number >> shift);
    };
    const std::uint32_t code = appliance.board.hardware().code;
    return {byte(code, 16),
            byte(code, 8),
            byte(code, 0),
            byte(appliance.serial, 16),
            byte(appliance.serial, 8),
            byte(appliance.serial, 0)};
}

bool equip(Appliance &appliance)
{
    return appliance.store.set_ethernet_address(ethernet_address_of(appliance)) &&
           appliance.store.provision("IO_number", std::to_string(appliance.board.hardware().index));
}

bool sample(Appliance &appliance)
{
    if (!appliance.board.powered())
        return true;
    const auto samples = appliance.board.sensors().samples();
    return std::all_of(samples.begin(), samples.end(), [&](const Sensors::Sample &sample) {
        return appliance.store.set(sample.key, sample.text());
    });
}

bool restore_power(Appliance &appliance)
{
    appliance.board.power_up();
    return sample(appliance);
}

bool lose_power(Appliance &appliance)
{
    appliance.board.power_loss();
    if (appliance.forget_memory)
        appliance.forget_memory();
    return appliance.store.power_loss();
}

bool set_fault(Appliance &appliance, std::string_view name, bool on)
{
    std::optional<EthernetAddress> address;
    if (!on)
        address = ethernet_address_of(appliance);
    if (name == "ethernet-address" && !appliance.store.set_ethernet_address(address))
        return false;
    return appliance.board.set_fault(name, on);
}

} // namespace plexor::board
