// SPDX-License-Identifier: Apache-2.0
// A board that is asked by commands, without sockets, and whose clock stands until a test moves it.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "board/daemon/commands.h"
#include "tests/system/processes.h"

namespace plexor::tests
{

using nlohmann::json;

class BoardCommands : public ::testing::Test
{
  protected:
    explicit BoardCommands(std::uint32_t code = 0x00C302)
        : board_(board::hardware_by_code(code), true, [this] { return ++now_; })
    {
        EXPECT_TRUE(board::equip(appliance_));
    }

    json ask(const json &request) { return answer(appliance_, request.dump()).reply; }
    json get(const std::string &key) { return ask({{"command", "get"}, {"key", key}}); }
    json set(const std::string &key, const std::string &value)
    {
        return ask({{"command", "set"}, {"key", key}, {"value", value}});
    }
    json fault(const std::string &name, bool on)
    {
        return ask({{"command", "fault"}, {"name", name}, {"on", on}});
    }

    static json value(const std::string &text) { return {{"ok", true}, {"value", text}}; }
    static json done() { return {{"ok", true}}; }
    static json refused(const std::string &why) { return board::refusal_reply(why, true); }

    void switch_relays(std::uint8_t first, std::uint8_t second)
    {
        for (const auto &[group, pattern] : {std::pair{0, first}, std::pair{4, second}}) {
            board::Request request;
            request.device = board::Device::relays;
            request.number = 6;
            request.data = {static_cast<std::uint8_t>(group), pattern, 0, 2, 8};
            EXPECT_EQ(board_.handle(request).error, 0);
        }
    }

    // 0 or an errno.
    int write_i2c(std::uint32_t address, std::uint32_t reg, const std::vector<std::uint8_t> &bytes)
    {
        board::Request request;
        request.device = board::Device::i2c;
        request.number = 17;
        request.address = address;
        request.reg = reg;
        request.length = static_cast<std::uint32_t>(bytes.size());
        request.data = bytes;
        return board_.handle(request).error;
    }
    void write_io_controller(std::uint32_t reg, const std::vector<std::uint8_t> &bytes)
    {
        EXPECT_EQ(write_i2c(0x32, reg, bytes), 0);
    }

    static constexpr std::int64_t ten_years = 10LL * 365 * 24 * 3600 * 1'000'000'000;

    std::int64_t now_{};
    std::int64_t machine_{}; // of its monotonic clock
    ScratchFolder folder_{};
    board::Store store_{folder_.path()};
    board::Board board_;
    int times_forgotten_{};
    board::Clock clock_{[this] { return machine_; }, [this] { return machine_ + ten_years; }};
    board::Appliance appliance_{board_, store_, clock_, [this] { ++times_forgotten_; }};
};

} // namespace plexor::tests
