// SPDX-License-Identifier: Apache-2.0
#include "board/interpose/wire.h"

#include <cstdlib>

#include "board/interpose/marshal.h"

namespace plexor::board
{
namespace
{

constexpr std::uint8_t open_tag = 'O';
constexpr std::uint8_t request_tag = 'Q';
constexpr std::uint8_t reply_tag = 'R';
constexpr std::uint8_t version = 1; // of the whole conversation, said at the open

// Tag and fixed fields of each kind; a request's or reply's data is the rest of the message.
constexpr std::size_t open_size = 3;
constexpr std::size_t request_size = 2 + 5 * 4;
constexpr std::size_t reply_size = 1 + 4;
static_assert(request_size + max_transfer <= max_message);

void append(Bytes &message, std::uint32_t value)
{
    for (int shift = 0; shift < 32; shift += 8)
        message.push_back(static_cast<std::uint8_t>(value >> shift));
}

std::uint32_t word_at(std::span<const std::uint8_t> message, std::size_t offset)
{
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i)
        value |= std::uint32_t{message[offset + i]} << (8 * i);
    return value;
}

bool is_message(std::span<const std::uint8_t> message, std::uint8_t tag, std::size_t fixed)
{
    return message.size() >= fixed && message.size() <= fixed + max_transfer && message[0] == tag;
}

std::optional<Device> device_of(std::uint8_t byte)
{
    if (byte > static_cast<std::uint8_t>(Device::i2c))
        return std::nullopt;
    return static_cast<Device>(byte);
}

Bytes rest(std::span<const std::uint8_t> message, std::size_t fixed)
{
    const auto data = message.subspan(fixed);
    return {data.begin(), data.end()};
}

} // namespace

Bytes encode_open(Device device)
{
    return {open_tag, version, static_cast<std::uint8_t>(device)};
}

Bytes encode(const Request &request)
{
    Bytes message{request_tag, static_cast<std::uint8_t>(request.device)};
    for (const auto field : {request.number, request.value, request.address, request.reg, request.length})
        append(message, field);
    message.insert(message.end(), request.data.begin(), request.data.end());
    return message;
}

Bytes encode(const Reply &reply)
{
    Bytes message{reply_tag};
    append(message, static_cast<std::uint32_t>(reply.error));
    message.insert(message.end(), reply.data.begin(), reply.data.end());
    return message;
}

std::optional<Device> decode_open(std::span<const std::uint8_t> message)
{
    if (message.size() != open_size || message[0] != open_tag || message[1] != version)
        return std::nullopt;
    return device_of(message[2]);
}

std::optional<Request> decode_request(std::span<const std::uint8_t> message)
{
    if (!is_message(message, request_tag, request_size))
        return std::nullopt;
    const auto device = device_of(message[1]);
    if (!device)
        return std::nullopt;
    Request request;
    request.device = *device;
    request.number = word_at(message, 2);
    request.value = word_at(message, 6);
    request.address = word_at(message, 10);
    request.reg = word_at(message, 14);
    request.length = word_at(message, 18);
    request.data = rest(message, request_size);
    if (request.length > max_transfer)
        return std::nullopt;
    return request;
}

std::optional<Reply> decode_reply(std::span<const std::uint8_t> message)
{
    if (!is_message(message, reply_tag, reply_size))
        return std::nullopt;
    Reply reply;
    reply.error = static_cast<int>(word_at(message, 1));
    reply.data = rest(message, reply_size);
    return reply;
}

std::string board_folder()
{
    const char *named = std::getenv("PLEXOR_BOARD_DIR");
    return named != nullptr && *named != '\0' ? named : "/run/plexor";
}

std::string devices_socket()
{
    return board_folder() + "/devices.sock";
}

std::string clock_file()
{
    return board_folder() + "/clock";
}

} // namespace plexor::board
