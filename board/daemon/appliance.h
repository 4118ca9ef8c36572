// SPDX-License-Identifier: Apache-2.0
// The board together with what else of an appliance can be reached from outside: its parameter store, its
// clocks and the memory that its processes share.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

#include "board/daemon/clock.h"
#include "board/model/board.h"
#include "board/nvram/store.h"

namespace plexor::board
{

struct Appliance {
    Board &board;
    Store &store;
    Clock &clock;
    std::function<void()> forget_memory{}; // removes what the appliance's processes keep in its memory
    std::uint32_t serial{0x010203};        // the second half of its Ethernet address
};

EthernetAddress ethernet_address_of(const Appliance &appliance); // the model's code and the serial number

// Writes into the store what the factory would: the Ethernet address and the model index. False when the
// store refused.
bool equip(Appliance &appliance);

// Plays the process that samples the sensors: what they say goes into the store, unless there is no power to
// run it. False when the store refused.
bool sample(Appliance &appliance);

// The board runs again, and so does its sampling process. False when the store refused a sample.
bool restore_power(Appliance &appliance);

// False when the store could not be brought back to what flash holds.
bool lose_power(Appliance &appliance);

// The name is one of Board::fault_names(). The fault "ethernet-address" also erases the address from flash:
// false, and the board is as before, when the store refused that.
bool set_fault(Appliance &appliance, std::string_view name, bool on);

} // namespace plexor::board
