// SPDX-License-Identifier: Apache-2.0
// The memory behind the I2C driver's requests for single bytes, as large as two address bytes reach.
#pragma once

#include "board/model/memory_chip.h"

namespace plexor::board
{

class Eeprom : public MemoryChip<64 * 1024>
{
  public:
    Eeprom() { registers_.fill(0xFF); } // erased
};

} // namespace plexor::board
