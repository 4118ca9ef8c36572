// SPDX-License-Identifier: Apache-2.0
// What the board's sensors say, and how the process that samples them leaves it in the parameter store.
//
// A sensor that nobody gave a value is not sampled: its parameter stays unset, as before the first sample.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "board/model/timeline.h"

namespace plexor::board
{

enum class Sensor : std::uint8_t {
    current,     // raw, one field an outlet
    temperature, // raw
    voltage,     // raw
    dry_contact, // 0 open, 1 closed
    meter,       // external: amperes, tenths
    ambient,     // external: per cent of humidity, tenths, degrees Celsius, tenths
};

class Sensors
{
  public:
    struct Sample {
        std::string_view name; // "current"
        std::string_view key;  // "sIICAmp_PX"
        std::vector<int> fields;

        std::string text() const; // "87;0;0;0;0;0;0;0"
    };

    explicit Sensors(Timeline &timeline) : timeline_(timeline) {}

    int field(Sensor sensor, std::size_t index) const; // 0 for one without a value
    void set_field(Sensor sensor, std::size_t index, int value);

    // A value with tenths, in two fields from index on; below zero both are.
    int tenths(Sensor sensor, std::size_t index) const;
    void set_tenths(Sensor sensor, std::size_t index, int tenths);

    std::vector<Sample> samples() const; // of the sensors that have a value

  private:
    using Fields = std::vector<int>;

    void change(Sensor sensor, Fields fields);
    Fields fields_of(Sensor sensor) const;

    Timeline &timeline_;
    std::array<std::optional<Fields>, 6> values_{};
};

} // namespace plexor::board
