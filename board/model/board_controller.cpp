// SPDX-License-Identifier: Apache-2.0
#include "board/model/board_controller.h"

#include <algorithm>

namespace plexor::board
{

bool BoardController::has(std::uint32_t reg, std::uint32_t length) const
{
    return reg < registers_.size() && length <= registers_.size() - reg;
}

std::vector<std::uint8_t> BoardController::read(std::uint32_t reg, std::uint32_t length) const
{
    const auto bytes = std::span(registers_).subspan(reg, length);
    return {bytes.begin(), bytes.end()};
}

void BoardController::write(std::uint32_t reg, std::span<const std::uint8_t> bytes, std::int32_t)
{
    std::copy(bytes.begin(), bytes.end(), registers_.begin() + reg);
}

} // namespace plexor::board
