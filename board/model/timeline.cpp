// SPDX-License-Identifier: Apache-2.0
#include "board/model/timeline.h"

#include <nlohmann/json.hpp>
#include <utility>

namespace plexor::board
{

namespace
{

// Text, not a double: nine decimals of a long uptime do not fit into one.
std::string seconds(std::int64_t nanoseconds)
{
    constexpr std::int64_t second = 1'000'000'000;
    const std::string fraction = std::to_string(nanoseconds % second);
    return std::to_string(nanoseconds / second) + "." + std::string(9 - fraction.size(), '0') + fraction;
}

std::string quoted(const std::string &text)
{
    using nlohmann::json;
    return json(text).dump(-1, ' ', false, json::error_handler_t::replace);
}

} // namespace

Timeline::Timeline(std::function<std::int64_t()> now) : now_(std::move(now)) {}

void Timeline::add(std::int32_t pid, std::string kind, std::string subject, std::string detail)
{
    if (events_.size() == capacity)
        events_.pop_front();
    events_.push_back({next_++, now_(), pid, std::move(kind), std::move(subject), std::move(detail)});
    if (const Listener listener = listener_) // a copy: the listener may end itself
        listener(events_.back());
}

void Timeline::listen(Listener listener)
{
    listener_ = std::move(listener);
}

void Timeline::clear()
{
    events_.clear();
}

std::string to_text(const Event &event)
{
    return seconds(event.time) + " [" + std::to_string(event.pid) + "] " + event.kind + " " + event.subject +
           ": " + event.detail;
}

std::string to_json(const Event &event)
{
    return R"({"sequence":)" + std::to_string(event.sequence) + R"(,"time":)" + seconds(event.time) +
           R"(,"pid":)" + std::to_string(event.pid) + R"(,"kind":)" + quoted(event.kind) + R"(,"subject":)" +
           quoted(event.subject) + R"(,"detail":)" + quoted(event.detail) + "}";
}

} // namespace plexor::board
