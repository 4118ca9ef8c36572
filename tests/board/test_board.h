// SPDX-License-Identifier: Apache-2.0
// A board under test: requests as a process makes them, and the timeline as short texts.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "board/model/board.h"

namespace plexor::tests
{

using board::Device;
using board::Reply;
using Bytes = std::vector<std::uint8_t>;
using Texts = std::vector<std::string>;

inline constexpr int process = 431;
inline constexpr bool latching = true;
inline constexpr bool ordinary = false;

class TestBoard : public board::Board
{
  public:
    TestBoard(int model, bool strap) : Board(board::hardware_by_index(model), strap, [this] { return time; })
    {
    }

    std::int64_t time{0};

    Reply gpio(std::uint32_t number, std::uint32_t value = 0)
    {
        return handle({.device = Device::gpio, .number = number, .value = value, .pid = process});
    }
    std::uint32_t read_bank(std::uint32_t number)
    {
        const Reply reply = gpio(number);
        std::uint32_t word = 0;
        EXPECT_EQ(reply.data.size(), sizeof word);
        std::memcpy(&word, reply.data.data(), std::min(reply.data.size(), sizeof word));
        return word;
    }

    Reply relays(std::uint32_t number, Bytes record)
    {
        return handle(
            {.device = Device::relays, .number = number, .data = std::move(record), .pid = process});
    }
    // The record as the library fills it, with the strap byte that suits the board.
    Reply single(int outlet, int pattern) { return relays(4, record(outlet, pattern)); }
    Reply group(int first, int pattern) { return relays(6, record(first, pattern)); }

    Reply read_i2c(std::uint32_t address, std::uint32_t reg, std::uint32_t length)
    {
        return handle({.device = Device::i2c,
                       .number = 16,
                       .address = address,
                       .reg = reg,
                       .length = length,
                       .pid = process});
    }
    Reply write_i2c(std::uint32_t address, std::uint32_t reg, const Bytes &bytes)
    {
        return handle({.device = Device::i2c,
                       .number = 17,
                       .address = address,
                       .reg = reg,
                       .length = static_cast<std::uint32_t>(bytes.size()),
                       .data = bytes,
                       .pid = process});
    }
    Reply read_byte(std::uint32_t address)
    {
        return handle({.device = Device::i2c, .number = 3, .reg = address, .length = 1, .pid = process});
    }
    Reply write_byte(std::uint32_t address, std::uint8_t byte)
    {
        return handle({.device = Device::i2c,
                       .number = 5,
                       .value = byte,
                       .reg = address,
                       .length = 1,
                       .data = {byte},
                       .pid = process});
    }
    Reply scan() { return handle({.device = Device::i2c, .number = 18, .pid = process}); }

    // '1' for each outlet that is closed (lit), outlet 1 first.
    std::string contacts() const
    {
        return row([this](int outlet) { return contact_closed(outlet); });
    }
    std::string leds() const
    {
        return row([this](int outlet) { return led(outlet); });
    }

    // "relay outlet 1: closed", ... since the last call.
    Texts news()
    {
        Texts texts;
        for (const board::Event &event : timeline().events()) {
            texts.push_back(event.kind + " " + event.subject + ": " + event.detail);
        }
        timeline().clear();
        return texts;
    }

  private:
    Bytes record(int outlet, int pattern) const
    {
        const auto strap = static_cast<std::uint8_t>(latching() ? 8 : 0);
        return {static_cast<std::uint8_t>(outlet), static_cast<std::uint8_t>(pattern), 0,
                static_cast<std::uint8_t>(hardware().index), strap};
    }

    template <typename Question>
    std::string row(Question question) const
    {
        std::string text;
        for (int outlet = 0; outlet < hardware().outlets; ++outlet) {
            text += question(outlet) ? '1' : '0';
        }
        return text;
    }
};

} // namespace plexor::tests
