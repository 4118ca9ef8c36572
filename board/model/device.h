// SPDX-License-Identifier: Apache-2.0
// What crosses the wall between the processes of an appliance and its hardware: one driver request and its
// answer, flattened so that it can be handled in the same process or carried over a socket.
#pragma once

#include <cstdint>
#include <vector>

namespace plexor::board
{

enum class Device : std::uint8_t {
    gpio,   // /dev/gpio
    relays, // /dev/spiS0
    i2c,    // /dev/i2cM0
};

struct Request {
    Device device{};
    std::uint32_t number{};           // the driver's request number
    std::uint32_t value{};            // the integer argument of a GPIO request; data word of an EEPROM's
    std::uint32_t address{};          // I2C: 8-bit bus address
    std::uint32_t reg{};              // I2C: register number, or address in the EEPROM
    std::uint32_t length{};           // I2C: bytes wanted or given
    std::vector<std::uint8_t> data{}; // bytes that go to the device: relay record, I2C and EEPROM write
    std::int32_t pid{};               // who asks, for the timeline
};

struct Reply {
    int error{}; // 0, or the errno with which the request fails
    std::vector<std::uint8_t>
        data{}; // bytes for the caller's memory: bank word (4, host order), I2C and EEPROM read, scan
};

} // namespace plexor::board
