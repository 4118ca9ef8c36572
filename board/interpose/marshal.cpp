// SPDX-License-Identifier: Apache-2.0
#include "board/interpose/marshal.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <span>

namespace plexor::board
{
namespace
{

constexpr std::array<const char *, 3> paths{"/dev/gpio", "/dev/spiS0", "/dev/i2cM0"};
constexpr std::size_t relay_record_size = 5;
constexpr std::uint32_t i2c_read_byte = 3;
constexpr std::uint32_t i2c_write_byte = 5;
constexpr std::uint32_t i2c_read = 16;
constexpr std::uint32_t i2c_write = 17;
constexpr std::uint32_t i2c_scan = 18;

// The I2C driver's transfer record, as the caller's compiler lays it out. Requests for a single byte have the
// byte itself in place of the buffer's address.
struct I2cTransfer {
    std::uint32_t address;
    std::uint32_t reg;
    std::uint8_t *buffer;
    std::uint32_t length;
};
static_assert(offsetof(I2cTransfer, reg) == 4);
static_assert(offsetof(I2cTransfer, buffer) == 8);
static_assert(offsetof(I2cTransfer, length) == 8 + sizeof(void *));
static_assert(std::endian::native == std::endian::little, "the byte is the first one of its word");

std::uint8_t *memory(std::uintptr_t argument)
{
    return reinterpret_cast<std::uint8_t *>(argument);
}

I2cTransfer transfer_at(std::uintptr_t argument)
{
    I2cTransfer transfer;
    std::memcpy(&transfer, memory(argument), sizeof transfer);
    return transfer;
}

bool is_bank_read(std::uint32_t number)
{
    return number == 2 || number == 82 || number == 98;
}

bool is_for_byte(const Request &request)
{
    return request.device == Device::i2c &&
           (request.number == i2c_read_byte || request.number == i2c_write_byte);
}

// Requests whose argument is an address; all others carry an integer.
bool takes_pointer(const Request &request)
{
    switch (request.device) {
    case Device::gpio:
        return is_bank_read(request.number);
    case Device::relays:
        return request.number == 4 || request.number == 6;
    case Device::i2c:
        return is_for_byte(request) || (request.number >= i2c_read && request.number <= i2c_scan);
    }
    return false;
}

void marshal_byte(const I2cTransfer &transfer, Request &request)
{
    request.value = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(transfer.buffer));
    if (request.number == i2c_write_byte)
        request.data = {static_cast<std::uint8_t>(request.value)};
}

int marshal_transfer(const I2cTransfer &transfer, Request &request)
{
    const bool has_buffer = !is_for_byte(request);
    if (has_buffer && transfer.buffer == nullptr && transfer.length > 0)
        return EFAULT;
    if (transfer.length > max_transfer)
        return EINVAL;
    request.address = transfer.address;
    request.reg = transfer.reg;
    request.length = transfer.length;
    if (!has_buffer)
        marshal_byte(transfer, request);
    else if (request.number == i2c_write)
        request.data.assign(transfer.buffer, transfer.buffer + transfer.length);
    return 0;
}

// Where in the caller's memory an answer to request belongs.
std::span<std::uint8_t> answer_area(const Request &request, std::uintptr_t argument)
{
    if (request.device == Device::gpio && is_bank_read(request.number))
        return {memory(argument), sizeof(std::uint32_t)};
    if (request.device == Device::i2c && request.number == i2c_scan)
        return {memory(argument), 1};
    if (request.device == Device::i2c && request.number == i2c_read)
        return {transfer_at(argument).buffer, request.length};
    if (is_for_byte(request) && request.number == i2c_read_byte)
        return {memory(argument) + offsetof(I2cTransfer, buffer), 1};
    return {};
}

} // namespace

std::optional<Device> device_at(const char *path)
{
    const auto same = [path](const char *device) {
        return path != nullptr && std::strcmp(path, device) == 0;
    };
    const auto found = std::find_if(paths.begin(), paths.end(), same);
    if (found == paths.end())
        return std::nullopt;
    return static_cast<Device>(found - paths.begin());
}

const char *device_path(Device device)
{
    return paths.at(static_cast<std::size_t>(device));
}

int marshal(Device device, unsigned long number, std::uintptr_t argument, Request &request)
{
    request = Request{};
    request.device = device;
    request.number = static_cast<std::uint32_t>(number);
    request.pid = getpid();
    if (!takes_pointer(request)) {
        request.value = static_cast<std::uint32_t>(argument);
        return 0;
    }
    if (argument == 0)
        return EFAULT;
    if (device == Device::relays)
        request.data.assign(memory(argument), memory(argument) + relay_record_size);
    else if (device == Device::i2c && request.number != i2c_scan)
        return marshal_transfer(transfer_at(argument), request);
    return 0;
}

bool too_wide(const Request &request, std::uintptr_t argument)
{
    return !takes_pointer(request) && argument != request.value;
}

int deliver(const Request &request, std::uintptr_t argument, const Reply &reply)
{
    const auto area = answer_area(request, argument);
    std::copy_n(reply.data.begin(), std::min(area.size(), reply.data.size()), area.begin());
    if (reply.error == 0)
        return 0;
    errno = reply.error;
    return -1;
}

} // namespace plexor::board
