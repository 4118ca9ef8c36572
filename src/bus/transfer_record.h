// SPDX-License-Identifier: Apache-2.0
// The argument of the I2C driver's requests: four 32-bit words on the appliance.
#pragma once

#include <cstddef>
#include <cstdint>

namespace plexor
{

struct TransferRecord {
    std::uint32_t device;
    std::uint32_t reg;
    std::uintptr_t data; // address of a buffer; of the single-byte requests, the byte itself
    std::uint32_t length;
};
static_assert(offsetof(TransferRecord, device) == 0);
static_assert(offsetof(TransferRecord, reg) == 4);
static_assert(offsetof(TransferRecord, data) == 8);
static_assert(offsetof(TransferRecord, length) == 8 + sizeof(std::uintptr_t));

} // namespace plexor
