// SPDX-License-Identifier: Apache-2.0
// A chip that keeps what it is told, also without power.
#pragma once

#include <algorithm>

#include "board/model/register_file.h"

namespace plexor::board
{

template <std::size_t count>
class MemoryChip : public RegisterFile<count>
{
  public:
    void write(std::uint32_t reg, std::span<const std::uint8_t> bytes, std::int32_t) override
    {
        std::copy(bytes.begin(), bytes.end(), this->registers_.begin() + reg);
    }
};

} // namespace plexor::board
