// SPDX-License-Identifier: Apache-2.0
// The shift register of relay drivers behind /dev/spiS0, and what its bits do to the contacts.
//
// Each outlet has two bits in the pattern byte of its group of four. With latching relays the lower bit
// pulses the set coil and the upper one the reset coil; with ordinary relays the lower bit feeds the coil and
// the upper one is not connected.
#pragma once

#include <cstdint>
#include <span>

#include "board/model/device.h"
#include "board/model/hardware.h"
#include "board/model/timeline.h"
#include "board/model/two_state.h"

namespace plexor::board
{

class RelayChain
{
  public:
    // contacts: those wired to the chain, outlet 0 first; they outlive the chain.
    RelayChain(RelayPath path, bool latching, std::span<TwoState> contacts, Timeline &timeline);

    Reply handle(const Request &request);
    void power_loss();

  private:
    void drive(std::size_t first, unsigned pattern, std::int32_t pid);
    void pulse(std::size_t outlet, unsigned pair, std::int32_t pid);

    std::size_t reach_; // outlets that the register's length covers: 0, 4 or 8
    bool latching_;
    std::span<TwoState> contacts_;
    Timeline &timeline_;
};

} // namespace plexor::board
