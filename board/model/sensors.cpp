// SPDX-License-Identifier: Apache-2.0
#include "board/model/sensors.h"

#include <utility>

namespace plexor::board
{

namespace
{

struct Form {
    std::string_view name;
    std::string_view key;
    std::size_t fields;
};
constexpr std::array<Form, 6> forms{{
    {"current", "sIICAmp_PX", 8},
    {"temperature", "sIICTemp", 1},
    {"voltage", "sIICVolt", 1},
    {"drycontact", "sIICDi", 1},
    {"meter", "sAmp_PX", 4},
    {"ambient", "sTEmp_PX", 4},
}};

std::size_t position(Sensor sensor)
{
    return static_cast<std::size_t>(sensor);
}

} // namespace

std::string Sensors::Sample::text() const
{
    std::string text;
    for (const int field : fields)
        text += (text.empty() ? "" : ";") + std::to_string(field);
    return text;
}

int Sensors::field(Sensor sensor, std::size_t index) const
{
    return fields_of(sensor).at(index);
}

void Sensors::set_field(Sensor sensor, std::size_t index, int value)
{
    Fields fields = fields_of(sensor);
    fields.at(index) = value;
    change(sensor, std::move(fields));
}

int Sensors::tenths(Sensor sensor, std::size_t index) const
{
    return field(sensor, index) * 10 + field(sensor, index + 1);
}

void Sensors::set_tenths(Sensor sensor, std::size_t index, int tenths)
{
    Fields fields = fields_of(sensor);
    fields.at(index) = tenths / 10;
    fields.at(index + 1) = tenths % 10;
    change(sensor, std::move(fields));
}

std::vector<Sensors::Sample> Sensors::samples() const
{
    std::vector<Sample> all;
    for (std::size_t i = 0; i < values_.size(); ++i)
        if (values_[i])
            all.push_back({forms[i].name, forms[i].key, *values_[i]});
    return all;
}

void Sensors::change(Sensor sensor, Fields fields)
{
    std::optional<Fields> &value = values_[position(sensor)];
    if (value == fields)
        return;
    const Form &form = forms[position(sensor)];
    value = std::move(fields);
    timeline_.add(0, "sensor", std::string(form.name), Sample{form.name, form.key, *value}.text());
}

Sensors::Fields Sensors::fields_of(Sensor sensor) const
{
    return values_[position(sensor)].value_or(Fields(forms[position(sensor)].fields));
}

} // namespace plexor::board
