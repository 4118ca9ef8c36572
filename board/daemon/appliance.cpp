// SPDX-License-Identifier: Apache-2.0
#include "board/daemon/appliance.h"

#include <algorithm>
#include <optional>
#include <string>

namespace plexor::board
{

EthernetAddress ethernet_address_of(const Hardware &hardware)
{
    const auto byte = [&](int shift) { return static_cast<std::uint8_t>(hardware.code >> shift); };
    return {byte(16), byte(8), byte(0), 0x01, 0x02, 0x03};
}

bool equip(Appliance &appliance)
{
    const Hardware &hardware = appliance.board.hardware();
    return appliance.store.set_ethernet_address(ethernet_address_of(hardware)) &&
           appliance.store.provision("IO_number", std::to_string(hardware.index));
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
        address = ethernet_address_of(appliance.board.hardware());
    if (name == "ethernet-address" && !appliance.store.set_ethernet_address(address))
        return false;
    return appliance.board.set_fault(name, on);
}

} // namespace plexor::board
