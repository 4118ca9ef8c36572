// SPDX-License-Identifier: Apache-2.0
#include "board/model/board_controller.h"

#include <algorithm>

namespace plexor::board
{

void BoardController::write(std::uint32_t reg, std::span<const std::uint8_t> bytes, std::int32_t)
{
    std::copy(bytes.begin(), bytes.end(), registers_.begin() + reg);
}

} // namespace plexor::board
