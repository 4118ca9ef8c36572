// SPDX-License-Identifier: Apache-2.0
#include "board/model/i2c_bus.h"

#include <cstdio>
#include <string>

#include "board/model/refuse.h"

namespace plexor::board
{

namespace
{

constexpr std::uint32_t request_read_byte = 3;
constexpr std::uint32_t request_write_byte = 5;
constexpr std::uint32_t request_read = 16;
constexpr std::uint32_t request_write = 17;
constexpr std::uint32_t request_scan = 18;
constexpr std::uint32_t longest_transfer = 4096;

std::string hex(std::uint32_t value)
{
    char text[9];
    std::snprintf(text, sizeof text, "%02X", value);
    return text;
}

bool is_for_eeprom(const Request &request)
{
    return request.number == request_read_byte || request.number == request_write_byte;
}

std::string name(const Request &request)
{
    return is_for_eeprom(request) ? "EEPROM" : "0x" + hex(request.address);
}

bool has_right_length(const Request &request)
{
    if (I2cBus::is_write(request) && request.data.size() != request.length)
        return false;
    return is_for_eeprom(request) ? request.length == 1 : request.length <= longest_transfer;
}

std::string described(const char *verb, std::uint32_t reg, std::span<const std::uint8_t> bytes)
{
    std::string text = std::string(verb) + " " + std::to_string(reg) + ": ";
    for (const std::uint8_t byte : bytes)
        text += hex(byte);
    return text;
}

} // namespace

void I2cBus::set_scan_answers(std::vector<std::uint8_t> addresses)
{
    scan_answers_.assign(addresses.begin(), addresses.end());
}

bool I2cBus::is_write(const Request &request)
{
    return request.number == request_write || request.number == request_write_byte;
}

Reply I2cBus::handle(const Request &request)
{
    switch (request.number) {
    case request_read_byte:
    case request_write_byte:
    case request_read:
    case request_write:
        return transfer(request);
    case request_scan:
        return scan(request);
    default:
        return refuse_number(timeline_, request, "i2c");
    }
}

I2cDevice *I2cBus::device_for(const Request &request) const
{
    if (is_for_eeprom(request))
        return eeprom_;
    const auto found = devices_.find(request.address);
    return found == devices_.end() ? nullptr : found->second;
}

Reply I2cBus::transfer(const Request &request)
{
    if (!has_right_length(request))
        return refuse(timeline_, request, name(request), "length " + std::to_string(request.length));
    I2cDevice *const device = device_for(request);
    if (device == nullptr) {
        timeline_.add(request.pid, "i2c", name(request), "no answer");
        return {ENXIO, {}};
    }
    if (!device->has(request.reg, request.length)) {
        return refuse(timeline_, request, name(request),
                      "no register " + std::to_string(request.reg) + " of length " +
                          std::to_string(request.length));
    }
    return is_write(request) ? write(request, *device) : read(request, *device);
}

Reply I2cBus::read(const Request &request, const I2cDevice &device)
{
    std::vector<std::uint8_t> bytes = device.read(request.reg, request.length);
    for (std::uint8_t &byte : bytes)
        byte = static_cast<std::uint8_t>(corrupt_ ? ~byte : byte);
    timeline_.add(request.pid, "i2c", name(request), described("read", request.reg, bytes));
    return {0, std::move(bytes)};
}

Reply I2cBus::write(const Request &request, I2cDevice &device)
{
    timeline_.add(request.pid, "i2c", name(request), described("write", request.reg, request.data));
    device.write(request.reg, request.data, request.pid);
    return {};
}

Reply I2cBus::scan(const Request &request)
{
    const std::uint8_t answer = scan_answers_.empty() ? std::uint8_t{0} : scan_answers_.front();
    if (scan_answers_.size() > 1)
        scan_answers_.pop_front();
    timeline_.add(request.pid, "i2c", "bus", "scan: " + hex(answer));
    return {0, {answer}};
}

} // namespace plexor::board
