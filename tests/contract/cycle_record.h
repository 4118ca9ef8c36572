// SPDX-License-Identifier: Apache-2.0
// The record of the power cycles by its meaning: words, and texts as far as they count.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <map>
#include <ostream>
#include <string>
#include <vector>

namespace plexor::tests
{

constexpr std::uint32_t cycle_key = 0x4C104F10;
constexpr std::size_t cycle_size = 1072;
constexpr std::size_t cycle_list_size = 256;

// Where things are in the segment.
enum CycleOffset : std::size_t {
    at_initialised = 0,
    at_busy = 4,
    at_active = 8,
    at_notify = 12,
    at_mode = 16,
    at_table = 48,
    at_durations = 304,
    at_started = 560,
    at_elapsed = 816
};

using CycleBytes = std::vector<std::uint8_t>;

struct CycleRecord {
    unsigned initialised{};
    unsigned busy{};
    unsigned active{};
    unsigned notify{};
    std::array<int, 8> mode{};
    std::string table{};
    std::string durations{};
    std::string started{};
    std::string elapsed{};

    bool operator==(const CycleRecord &) const = default;
};

inline void PrintTo(const CycleRecord &record, std::ostream *stream)
{
    *stream << "\n      initialised " << record.initialised << ", busy " << record.busy << ", active "
            << record.active << ", notify " << record.notify << ", modes";
    for (const int mode : record.mode)
        *stream << ' ' << mode;
    *stream << "\n      table     " << record.table << "\n      durations " << record.durations
            << "\n      started   " << record.started << "\n      elapsed   " << record.elapsed << "\n    ";
}

inline CycleBytes word_bytes(unsigned word)
{
    CycleBytes bytes(sizeof word);
    std::memcpy(bytes.data(), &word, sizeof word);
    return bytes;
}

inline unsigned word_in(const CycleBytes &bytes, std::size_t offset)
{
    unsigned word = 0;
    std::memcpy(&word, bytes.data() + offset, sizeof word);
    return word;
}

// A text and its terminator, if there is room for one.
inline CycleBytes list_bytes(const std::string &text)
{
    CycleBytes bytes(text.begin(), text.end());
    bytes.push_back(0);
    bytes.resize(std::min(bytes.size(), cycle_list_size));
    return bytes;
}

inline std::string list_in(const CycleBytes &bytes, std::size_t offset)
{
    const char *const text = reinterpret_cast<const char *>(bytes.data()) + offset;
    return {text, strnlen(text, cycle_list_size)};
}

// An empty record, unlike any other, of a segment that does not exist.
inline CycleRecord record_in(const CycleBytes &bytes)
{
    if (bytes.size() != cycle_size)
        return {.table = "no such segment"};
    CycleRecord record{.initialised = word_in(bytes, at_initialised),
                       .busy = word_in(bytes, at_busy),
                       .active = word_in(bytes, at_active),
                       .notify = word_in(bytes, at_notify),
                       .table = list_in(bytes, at_table),
                       .durations = list_in(bytes, at_durations),
                       .started = list_in(bytes, at_started),
                       .elapsed = list_in(bytes, at_elapsed)};
    for (std::size_t i = 0; i < record.mode.size(); ++i)
        record.mode[i] = static_cast<int>(word_in(bytes, at_mode + 4 * i));
    return record;
}

// --- lists ---

using ListFields = std::vector<std::string>;

inline std::string join(const ListFields &fields)
{
    std::string text;
    for (std::size_t i = 0; i < fields.size(); ++i)
        text += (i == 0 ? "" : ";") + fields[i];
    return text;
}

// Eight fields that are all alike but for these.
inline std::string list_of(const std::string &usual, const std::map<unsigned, std::string> &others = {})
{
    ListFields fields(8, usual);
    for (const auto &[outlet, text] : others)
        fields[outlet] = text;
    return join(fields);
}

// The table in which these outlets, from 0, run with so many seconds left, and all others are idle.
inline std::string table_of(const std::map<unsigned, int> &remaining)
{
    ListFields fields(16, "0");
    for (const auto &[outlet, seconds] : remaining) {
        fields[outlet] = std::to_string(seconds);
        fields[outlet + 8] = "2";
    }
    return join(fields);
}

inline const std::string idle_table = "0;0;0;0;0;0;0;0;0;0;0;0;0;0;0;0";
inline const std::string idle_elapsed = "10000;10000;10000;10000;10000;10000;10000;10000";
inline const std::string idle_started = "0:0:0;0:0:0;0:0:0;0:0:0;0:0:0;0:0:0;0:0:0;0:0:0";

} // namespace plexor::tests
