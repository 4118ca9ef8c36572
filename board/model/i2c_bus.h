// SPDX-License-Identifier: Apache-2.0
// The I2C bus behind /dev/i2cM0, and what a chip must do to sit on it.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <span>
#include <vector>

#include "board/model/device.h"
#include "board/model/timeline.h"

namespace plexor::board
{

class I2cDevice
{
  public:
    virtual ~I2cDevice() = default;
    virtual bool has(std::uint32_t reg, std::uint32_t length) const = 0;
    // Called only for what the device has.
    virtual std::vector<std::uint8_t> read(std::uint32_t reg, std::uint32_t length) const = 0;
    virtual void write(std::uint32_t reg, std::span<const std::uint8_t> bytes, std::int32_t pid) = 0;
};

class I2cBus
{
  public:
    explicit I2cBus(Timeline &timeline) : timeline_(timeline) {}

    void attach(std::uint32_t address, I2cDevice &device) { devices_[address] = &device; }
    void detach(std::uint32_t address) { devices_.erase(address); }
    void attach_eeprom(I2cDevice &eeprom) { eeprom_ = &eeprom; } // for the requests for single bytes
    void set_scan_answers(std::vector<std::uint8_t> addresses);
    void corrupt_reads(bool on) { corrupt_ = on; } // every bit comes back inverted

    Reply handle(const Request &request);
    static bool is_write(const Request &request);

  private:
    I2cDevice *device_for(const Request &request) const;
    Reply transfer(const Request &request);
    Reply read(const Request &request, const I2cDevice &device);
    Reply write(const Request &request, I2cDevice &device);
    Reply scan(const Request &request);

    Timeline &timeline_;
    std::map<std::uint32_t, I2cDevice *> devices_{};
    I2cDevice *eeprom_{};
    std::deque<std::uint8_t> scan_answers_{};
    bool corrupt_{false};
};

} // namespace plexor::board
