// SPDX-License-Identifier: Apache-2.0
// What boardctl, or any program with a JSON parser, can ask of a board: one JSON object in, one out.
//
//   {"command":"show"}                           {"ok":true,"board":{...}}
//   {"command":"events","since":N,"follow":true} {"ok":true,"events":[...],"more":false}
//   {"command":"power-loss"}                     {"ok":true}
//   {"command":"power-up"}                       {"ok":true}
//   {"command":"faults"}                         {"ok":true,"faults":{"NAME":false,...}}
//   {"command":"fault","name":"NAME","on":true}  {"ok":true}
//   {"command":"get","key":"KEY"}                {"ok":true,"value":"TEXT"}
//   {"command":"set","key":"KEY","value":"TEXT"} {"ok":true}
//
// What cannot be done: {"ok":false,"error":"one line","usage":true}, usage false when the request was right.
// "events" gives those after number N, a page at a time while "more" is true; with "follow", each later event
// comes as {"event":{...}} once the last page has been given.
#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <string_view>

#include "board/daemon/appliance.h"

namespace plexor::board
{

inline constexpr std::size_t longest_request = 64 * 1024;

struct Answer {
    nlohmann::json reply{};
    bool follow{}; // the asker wants the events from now on
};

// Whatever the line holds, there is a reply.
Answer answer(Appliance &appliance, std::string_view line);

nlohmann::json refusal_reply(std::string_view text, bool usage);
nlohmann::json event_notice(const Event &event);

// Text that holds no valid UTF-8 is given with replacement characters.
std::string to_line(const nlohmann::json &object);

} // namespace plexor::board
