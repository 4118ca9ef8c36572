// SPDX-License-Identifier: Apache-2.0
// The board controller at 0xA0: a plain memory to its users, kept without power.
#pragma once

#include "board/model/register_file.h"

namespace plexor::board
{

class BoardController : public RegisterFile<1024>
{
  public:
    void write(std::uint32_t reg, std::span<const std::uint8_t> bytes, std::int32_t pid) override;
};

} // namespace plexor::board
