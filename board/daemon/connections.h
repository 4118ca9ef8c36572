// SPDX-License-Identifier: Apache-2.0
// What is behind the descriptors of the server.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "board/daemon/server.h"

namespace plexor::board
{

// A device that a process of the appliance has open.
class DeviceConnection : public Source
{
  public:
    DeviceConnection(int descriptor, Board &board);
    bool serve(short happened) override;

  private:
    std::optional<Reply> reply_to(const std::vector<std::uint8_t> &message);

    Board &board_;
    std::int32_t pid_;
    std::optional<Device> device_{}; // after the first message
};

// Somebody who asks in lines of JSON.
class ControlConnection : public Source
{
  public:
    static constexpr std::size_t most_pending = 4 * 1024 * 1024; // of a follower that does not read

    ControlConnection(int descriptor, Appliance &appliance) : Source(descriptor), appliance_(appliance) {}
    short wanted() const override;
    bool serve(short happened) override;
    void notice(const Event &event) override;

  private:
    bool receive();
    bool send_pending();
    bool answer_lines();

    Appliance &appliance_;
    std::string received_{};
    std::string pending_{};
    bool follows_{};
    bool finished_{}; // closed as soon as what is pending was sent
};

// The system log's socket.
class LogSocket : public Source
{
  public:
    LogSocket(int descriptor, Timeline &timeline);
    bool serve(short happened) override;

  private:
    Timeline &timeline_;
};

} // namespace plexor::board
