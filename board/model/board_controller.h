// SPDX-License-Identifier: Apache-2.0
// The board controller at 0xA0: a plain memory to its users.
#pragma once

#include "board/model/memory_chip.h"

namespace plexor::board
{

using BoardController = MemoryChip<1024>;

} // namespace plexor::board
