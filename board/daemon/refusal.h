// SPDX-License-Identifier: Apache-2.0
// Why the board does not do what it was asked: one line for a person.
#pragma once

#include <stdexcept>
#include <string>

namespace plexor::board
{

class Refusal : public std::runtime_error
{
  public:
    // usage: the request was wrong; otherwise it was right and failed.
    explicit Refusal(const std::string &text, bool usage = true) : std::runtime_error(text), usage_(usage) {}

    bool usage() const { return usage_; }

  private:
    bool usage_;
};

} // namespace plexor::board
