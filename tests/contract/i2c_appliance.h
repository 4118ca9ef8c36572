// SPDX-License-Identifier: Apache-2.0
// Words for the tests of the I2C command channel.
#pragma once

#include <plexor/i2c.h>

#include <unistd.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/contract/appliance.h"
#include "tests/contract/call_text.h"

namespace plexor::tests
{

using Bytes = std::vector<std::uint8_t>;

constexpr unsigned board_controller = 0xA0;

class I2c : public Appliance
{
  protected:
    static constexpr std::uint32_t cache_key = 0x4932434D;
    static constexpr std::size_t cache_size = 1480;

    // The bytes lie on the heap in exactly their size, so that a sanitizer sees a step beyond them.
    static void write(unsigned device, int reg, Bytes bytes)
    {
        EXPECT_EQ(i2cmd(0, device, reg, bytes.data(), static_cast<unsigned>(bytes.size())), 1);
    }
    static Bytes read(unsigned device, int reg, std::size_t length)
    {
        Bytes bytes(length);
        EXPECT_EQ(i2cmd(1, device, reg, bytes.data(), static_cast<unsigned>(length)), 1);
        return bytes;
    }

    // The calls of i2cmd around a request that reaches the driver; the segment exists.
    static Calls through_i2cmd(const std::string &request)
    {
        return {"shmget 0x4932434D 1480 03666",
                "shmget 0x4932434D 1480 0666",
                "shmat",
                "clock_gettime monotonic",
                "open /dev/i2cM0",
                request,
                "close /dev/i2cM0",
                "nvram_kget_int DbgPic 0",
                "shmdt"};
    }

    Calls transfers() const { return calls("ioctl /dev/i2cM0"); }
    Bytes cache() const { return segment(cache_key); }
    void wait_ms(int milliseconds) { advance(milliseconds * std::int64_t{1'000'000}); }
    static std::string thread() { return print("%5d", gettid()); }

    // A segment as another process leaves it, so that "init shm" is not printed.
    void make_cache() { make_segment(cache_key, cache_size, 0666); }
};

// Offsets in a slot of the cache.
constexpr std::size_t write_time = 0;
constexpr std::size_t read_time = 8;
constexpr std::size_t write_register = 16;
constexpr std::size_t read_register = 20;
constexpr std::size_t write_length = 24;
constexpr std::size_t write_bytes = 32;
constexpr std::size_t read_length = 164;
constexpr std::size_t read_bytes = 232;

class I2cCache : public I2c
{
  protected:
    static void write(int reg, Bytes bytes) { I2c::write(board_controller, reg, std::move(bytes)); }
    static Bytes read(int reg, std::size_t length) { return I2c::read(board_controller, reg, length); }

    // What another process could have left: a transfer of now.
    void plant(std::size_t offset, std::uint32_t word)
    {
        const auto byte = [word](int shift) { return static_cast<std::uint8_t>(word >> shift); };
        write_segment(cache_key, offset, {byte(0), byte(8), byte(16), byte(24)});
    }
    void plant_write(std::uint32_t reg, std::uint32_t length, const Bytes &bytes)
    {
        plant(write_time, 1000);
        plant(write_register, reg);
        plant(write_length, length);
        write_segment(cache_key, write_bytes, bytes);
    }
    void plant_read(std::uint32_t reg, std::uint32_t length, const Bytes &bytes)
    {
        plant(read_time, 1000);
        plant(read_register, reg);
        plant(read_length, length);
        write_segment(cache_key, read_bytes, bytes);
    }

    std::size_t bus_transfers() const { return transfers().size(); }
};

} // namespace plexor::tests
