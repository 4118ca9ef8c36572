// SPDX-License-Identifier: Apache-2.0
// The I2C cache that all processes share: its layout, and when a transfer repeats one that it remembers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "support/time.h"

namespace plexor
{

enum I2cOperation : std::uint8_t { i2c_write = 0, i2c_read = 1 };

struct I2cTransfer {
    unsigned operation;
    unsigned device;
    int reg;
    unsigned char *buffer;
    unsigned length;
};

struct CacheSlot {
    MonotonicTime time[2]; // by operation
    std::int32_t reg[2];
    std::uint32_t write_length;
    std::uint32_t reserved_28;
    std::uint8_t write_data[132];
    std::uint32_t read_length;
    std::uint8_t reserved_168[64];
    std::uint8_t read_data[64];
};
static_assert(offsetof(CacheSlot, time) == 0);
static_assert(offsetof(CacheSlot, reg) == 16);
static_assert(offsetof(CacheSlot, write_length) == 24);
static_assert(offsetof(CacheSlot, reserved_28) == 28);
static_assert(offsetof(CacheSlot, write_data) == 32);
static_assert(offsetof(CacheSlot, read_length) == 164);
static_assert(offsetof(CacheSlot, reserved_168) == 168);
static_assert(offsetof(CacheSlot, read_data) == 232);
static_assert(sizeof(CacheSlot) == 296);

struct CacheSegment {
    CacheSlot slot[5];
};
static_assert(sizeof(CacheSegment) == 1480);

// Younger than 250 ms, counted as the processes before have always done: in signed 32-bit milliseconds, so
// that a time a little in the future is fresh and the count wraps.
inline bool is_fresh(MonotonicTime then, MonotonicTime now)
{
    const std::uint32_t seconds =
        static_cast<std::uint32_t>(now.seconds) - static_cast<std::uint32_t>(then.seconds);
    const std::uint32_t nanoseconds =
        static_cast<std::uint32_t>(now.nanoseconds) - static_cast<std::uint32_t>(then.nanoseconds);
    const std::int32_t rest = static_cast<std::int32_t>(nanoseconds) / 1'000'000;
    return static_cast<std::int32_t>(seconds * 1000U + static_cast<std::uint32_t>(rest)) < 250;
}

// A read repeats the last one of the same length. The slot may hold anything: a stranger can write it.
inline bool repeats_read(const CacheSlot &slot, const I2cTransfer &transfer)
{
    return transfer.length <= sizeof slot.read_data && transfer.length == slot.read_length;
}

// A write repeats the last one when it starts with all of it, so a shorter one never does.
inline bool repeats_write(const CacheSlot &slot, const I2cTransfer &transfer)
{
    const std::uint32_t length = slot.write_length;
    if (length > sizeof slot.write_data || length > transfer.length)
        return false;
    return length == 0 || std::memcmp(transfer.buffer, slot.write_data, length) == 0;
}

inline bool repeats(const CacheSlot &slot, const I2cTransfer &transfer, MonotonicTime now)
{
    return slot.reg[transfer.operation] == transfer.reg && is_fresh(slot.time[transfer.operation], now) &&
           (transfer.operation == i2c_read ? repeats_read(slot, transfer) : repeats_write(slot, transfer));
}

// A transfer longer than its area is remembered by its length alone, which no transfer repeats.
inline void remember(CacheSlot &slot, const I2cTransfer &transfer, MonotonicTime now)
{
    const bool read = transfer.operation == i2c_read;
    std::uint8_t *const data = read ? slot.read_data : slot.write_data;
    const std::size_t room = read ? sizeof slot.read_data : sizeof slot.write_data;
    slot.time[transfer.operation] = now;
    slot.reg[transfer.operation] = transfer.reg;
    (read ? slot.read_length : slot.write_length) = transfer.length;
    if (transfer.length != 0 && transfer.length <= room)
        std::memcpy(data, transfer.buffer, transfer.length);
}

} // namespace plexor
