// SPDX-License-Identifier: Apache-2.0
// The other end of a board's control socket: a line out, a line in.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace plexor::board
{

class ControlClient
{
  public:
    explicit ControlClient(const std::string &path); // throws Refusal when no board answers there
    ~ControlClient();
    ControlClient(const ControlClient &) = delete;
    ControlClient &operator=(const ControlClient &) = delete;

    // The reply; throws Refusal with the board's words when it is not "ok".
    nlohmann::json ask(const nlohmann::json &request);
    nlohmann::json next(); // waits for a line

  private:
    int descriptor_;
    std::string received_{};
};

} // namespace plexor::board
