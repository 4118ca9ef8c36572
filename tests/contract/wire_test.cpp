// SPDX-License-Identifier: Apache-2.0
// Driver requests as flat data and as messages.
#include "board/interpose/wire.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <random>

#include "board/interpose/marshal.h"

namespace plexor::board
{
namespace
{

std::uintptr_t address_of(const void *object)
{
    return reinterpret_cast<std::uintptr_t>(object);
}

struct Transfer {
    std::uint32_t address, reg;
    std::uint8_t *buffer;
    std::uint32_t length;
};

Request example()
{
    Request request;
    request.device = Device::i2c;
    request.number = 17;
    request.value = 0x80000001;
    request.address = 0xA0;
    request.reg = 272;
    request.length = 2;
    request.data = {0x05, 0xFF};
    return request;
}

TEST(Wire, CarriesAnOpen)
{
    for (const auto device : {Device::gpio, Device::relays, Device::i2c})
        EXPECT_EQ(decode_open(encode_open(device)), device);
}

TEST(Wire, CarriesARequest)
{
    const auto decoded = decode_request(encode(example()));
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->device, Device::i2c);
    EXPECT_EQ(decoded->number, 17U);
    EXPECT_EQ(decoded->value, 0x80000001U);
    EXPECT_EQ(decoded->address, 0xA0U);
    EXPECT_EQ(decoded->reg, 272U);
    EXPECT_EQ(decoded->length, 2U);
    EXPECT_EQ(decoded->data, (Bytes{0x05, 0xFF}));
    EXPECT_EQ(decoded->pid, 0);
}

TEST(Wire, CarriesAReply)
{
    Reply reply;
    reply.error = EIO;
    reply.data = {1, 2, 3};
    const auto decoded = decode_reply(encode(reply));
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->error, EIO);
    EXPECT_EQ(decoded->data, reply.data);
}

TEST(Wire, KeepsItsBytes)
{
    EXPECT_EQ(encode_open(Device::relays), (Bytes{'O', 1, 1}));
    EXPECT_EQ(encode(example()), (Bytes{'Q', 2, 17, 0, 0, 0, 1, 0, 0, 0x80, 0xA0, 0,
                                        0,   0, 16, 1, 0, 0, 2, 0, 0, 0,    0x05, 0xFF}));
    EXPECT_EQ(encode(Reply{}), (Bytes{'R', 0, 0, 0, 0}));
}

TEST(Wire, RefusesMessagesCutShort)
{
    const Bytes open = encode_open(Device::i2c);
    const Bytes request = encode(example());
    const Bytes reply = encode(Reply{});
    for (std::size_t size = 0; size < 3; ++size)
        EXPECT_FALSE(decode_open(std::span(open).first(size)));
    for (std::size_t size = 0; size < 22; ++size)
        EXPECT_FALSE(decode_request(std::span(request).first(size)));
    for (std::size_t size = 0; size < 5; ++size)
        EXPECT_FALSE(decode_reply(std::span(reply).first(size)));
}

TEST(Wire, RefusesMessagesOfAnotherKind)
{
    const Bytes messages[] = {encode_open(Device::gpio), encode(example()), encode(Reply{})};
    EXPECT_FALSE(decode_request(messages[0]));
    EXPECT_FALSE(decode_reply(messages[0]));
    EXPECT_FALSE(decode_open(messages[1]));
    EXPECT_FALSE(decode_reply(messages[1]));
    EXPECT_FALSE(decode_open(messages[2]));
    EXPECT_FALSE(decode_request(messages[2]));
}

TEST(Wire, RefusesDevicesThatDoNotExistAndOtherVersions)
{
    Bytes request = encode(example());
    request[1] = 3;
    EXPECT_FALSE(decode_request(request));
    EXPECT_FALSE(decode_open(Bytes{'O', 1, 3}));
    EXPECT_FALSE(decode_open(Bytes{'O', 2, 0}));
    EXPECT_FALSE(decode_open(Bytes{'O', 1, 0, 0}));
}

TEST(Wire, RefusesLengthsBeyondATransfer)
{
    Request request = example();
    request.length = max_transfer;
    request.data.resize(max_transfer);
    EXPECT_TRUE(decode_request(encode(request)));
    EXPECT_LE(encode(request).size(), max_message);
    request.length = max_transfer + 1;
    EXPECT_FALSE(decode_request(encode(request)));
    request = example();
    request.data.resize(max_transfer + 1);
    EXPECT_FALSE(decode_request(encode(request)));
}

TEST(Wire, SurvivesAnyBytes)
{
    std::mt19937 random(1);
    const std::array<std::uint8_t, 4> tags{'O', 'Q', 'R', 0};
    int understood = 0;
    const auto same = [&understood](const auto &message, const auto &encoded) {
        EXPECT_EQ(encoded, message);
        ++understood;
    };
    for (int round = 0; round < 100'000; ++round) {
        Bytes message(random() % 40);
        for (auto &byte : message)
            byte = static_cast<std::uint8_t>(random() % 4);
        if (!message.empty())
            message[0] = tags[random() % tags.size()];
        if (const auto device = decode_open(message))
            same(message, encode_open(*device));
        if (const auto request = decode_request(message))
            same(message, encode(*request));
        if (const auto reply = decode_reply(message))
            same(message, encode(*reply));
    }
    EXPECT_GT(understood, 1000);
}

TEST(Wire, FindsTheSocketAndTheClockByTheEnvironment)
{
    unsetenv("PLEXOR_BOARD_DIR");
    EXPECT_EQ(devices_socket(), "/run/plexor/devices.sock");
    EXPECT_EQ(clock_file(), "/run/plexor/clock");
    setenv("PLEXOR_BOARD_DIR", "/tmp/board", 1);
    EXPECT_EQ(devices_socket(), "/tmp/board/devices.sock");
    EXPECT_EQ(clock_file(), "/tmp/board/clock");
    unsetenv("PLEXOR_BOARD_DIR");
}

TEST(Marshal, KnowsTheDevicesByTheirPaths)
{
    for (const auto device : {Device::gpio, Device::relays, Device::i2c})
        EXPECT_EQ(device_at(device_path(device)), device);
    EXPECT_FALSE(device_at("/dev/gpio0"));
    EXPECT_FALSE(device_at(""));
    EXPECT_FALSE(device_at(nullptr));
}

TEST(Marshal, TakesIntegersOfGpioRequests)
{
    for (const unsigned number : {3, 17, 18, 19, 20, 21, 22, 54, 55, 83, 99}) {
        Request request;
        EXPECT_EQ(marshal(Device::gpio, number, 0x80000001, request), 0);
        EXPECT_EQ(request.number, number);
        EXPECT_EQ(request.value, 0x80000001U);
        EXPECT_FALSE(too_wide(request, 0x80000001));
    }
}

TEST(Marshal, TellsIntegersThatDoNotFit)
{
    if constexpr (sizeof(std::uintptr_t) > 4) {
        const auto wide = static_cast<std::uintptr_t>(0x1'0000'0001);
        Request request;
        EXPECT_EQ(marshal(Device::gpio, 3, wide, request), 0);
        EXPECT_EQ(request.value, 1U);
        EXPECT_TRUE(too_wide(request, wide));
    }
}

TEST(Marshal, BringsABankWordBack)
{
    for (const unsigned number : {2, 82, 98}) {
        std::uint32_t word = 0;
        const std::uint32_t answer = 0xDEADBEEF;
        Request request;
        Reply reply;
        reply.data.resize(sizeof answer);
        std::memcpy(reply.data.data(), &answer, sizeof answer);
        EXPECT_EQ(marshal(Device::gpio, number, address_of(&word), request), 0);
        EXPECT_FALSE(too_wide(request, address_of(&word)));
        EXPECT_EQ(deliver(request, address_of(&word), reply), 0);
        EXPECT_EQ(word, answer);
    }
}

TEST(Marshal, TakesTheFiveBytesOfARelayRecord)
{
    const std::uint8_t record[] = {5, 0xFB, 1, 2, 8};
    for (const unsigned number : {4, 6}) {
        Request request;
        EXPECT_EQ(marshal(Device::relays, number, address_of(record), request), 0);
        EXPECT_EQ(request.data, (Bytes{5, 0xFB, 1, 2, 8}));
    }
}

TEST(Marshal, TakesTheBytesOfAWrite)
{
    std::uint8_t bytes[] = {1, 2, 3};
    const Transfer transfer{0xA0, 272, bytes, 3};
    Request request;
    EXPECT_EQ(marshal(Device::i2c, 17, address_of(&transfer), request), 0);
    EXPECT_EQ(request.address, 0xA0U);
    EXPECT_EQ(request.reg, 272U);
    EXPECT_EQ(request.length, 3U);
    EXPECT_EQ(request.data, (Bytes{1, 2, 3}));
}

TEST(Marshal, BringsNoMoreBytesBackThanWereAskedFor)
{
    std::uint8_t bytes[] = {9, 9, 9};
    const Transfer transfer{0xA0, 1, bytes, 2};
    Request request;
    EXPECT_EQ(marshal(Device::i2c, 16, address_of(&transfer), request), 0);
    EXPECT_TRUE(request.data.empty());
    Reply reply;
    reply.data = {1, 2, 3};
    EXPECT_EQ(deliver(request, address_of(&transfer), reply), 0);
    EXPECT_EQ(bytes[1], 2);
    EXPECT_EQ(bytes[2], 9);
}

TEST(Marshal, BringsTheAnswerOfAScanIntoTheFirstByte)
{
    std::uint8_t record[] = {0, 9};
    Request request;
    Reply reply;
    reply.data = {0x4E, 0x40};
    EXPECT_EQ(marshal(Device::i2c, 18, address_of(record), request), 0);
    EXPECT_EQ(deliver(request, address_of(record), reply), 0);
    EXPECT_EQ(record[0], 0x4E);
    EXPECT_EQ(record[1], 9);
}

TEST(Marshal, TakesTheDataWordOfAByteWrite)
{
    const Transfer transfer{0, 272, reinterpret_cast<std::uint8_t *>(0x1C3), 1};
    Request request;
    EXPECT_EQ(marshal(Device::i2c, 5, address_of(&transfer), request), 0);
    EXPECT_EQ(request.reg, 272U);
    EXPECT_EQ(request.length, 1U);
    EXPECT_EQ(request.value, 0x1C3U);
    EXPECT_EQ(request.data, Bytes{0xC3});
    EXPECT_FALSE(too_wide(request, address_of(&transfer)));
}

TEST(Marshal, BringsAByteBackIntoTheDataWord)
{
    const Transfer transfer{7, 272, nullptr, 1};
    Request request;
    Reply reply;
    reply.data = {0xC3, 0x11};
    EXPECT_EQ(marshal(Device::i2c, 3, address_of(&transfer), request), 0);
    EXPECT_TRUE(request.data.empty());
    EXPECT_EQ(deliver(request, address_of(&transfer), reply), 0);
    EXPECT_EQ(address_of(transfer.buffer), 0xC3U);
    EXPECT_EQ(transfer.length, 1U);
}

TEST(Marshal, LeavesMemoryAloneWhenTheDeviceGivesNothing)
{
    std::uint32_t word = 7;
    Request request;
    Reply reply;
    reply.error = EIO;
    marshal(Device::gpio, 2, address_of(&word), request);
    EXPECT_EQ(deliver(request, address_of(&word), reply), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(word, 7U);
}

TEST(Marshal, RefusesWhatADriverCannotReach)
{
    Request request;
    const Transfer nowhere{0xA0, 1, nullptr, 1};
    const Transfer nothing{0xA0, 1, nullptr, 0};
    std::uint8_t byte = 0;
    const Transfer endless{0xA0, 1, &byte, 0xFFFFFFFF};
    EXPECT_EQ(marshal(Device::gpio, 82, 0, request), EFAULT);
    EXPECT_EQ(marshal(Device::relays, 6, 0, request), EFAULT);
    EXPECT_EQ(marshal(Device::i2c, 18, 0, request), EFAULT);
    EXPECT_EQ(marshal(Device::i2c, 17, address_of(&nowhere), request), EFAULT);
    EXPECT_EQ(marshal(Device::i2c, 17, address_of(&nothing), request), 0);
    EXPECT_EQ(marshal(Device::i2c, 17, address_of(&endless), request), EINVAL);
    EXPECT_EQ(marshal(Device::i2c, 16, address_of(&endless), request), EINVAL);
    EXPECT_EQ(marshal(Device::i2c, 5, address_of(&endless), request), EINVAL);
    EXPECT_EQ(marshal(Device::i2c, 3, 0, request), EFAULT);
}

TEST(Marshal, PassesUnknownRequestsOnForTheBoardToRefuse)
{
    Request request;
    EXPECT_EQ(marshal(Device::relays, 99, 5, request), 0);
    EXPECT_EQ(request.number, 99U);
    EXPECT_EQ(request.value, 5U);
}

} // namespace
} // namespace plexor::board
