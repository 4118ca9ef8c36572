// SPDX-License-Identifier: Apache-2.0
// Words for the tests of the per-port lists.
#pragma once

#include <plexor/params.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tests/contract/appliance.h"

namespace plexor::tests
{

using Bytes = std::vector<std::uint8_t>;
using Text = std::optional<std::string>; // or the null pointer
using Texts = std::vector<Text>;

class Params : public Appliance
{
  protected:
    static constexpr const char *key = "sDOMode_PX";
};

} // namespace plexor::tests
