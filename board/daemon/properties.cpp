// SPDX-License-Identifier: Apache-2.0
#include "board/daemon/properties.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <optional>
#include <vector>

#include "board/daemon/refusal.h"

namespace plexor::board
{

namespace
{

// A key is a name, or a name, a dot and an index.
struct Property {
    std::string_view name;
    std::string_view index; // what is accepted after the dot; empty when there is no dot
    std::string (*get)(const Appliance &appliance, std::string_view index);
    void (*set)(Appliance &appliance, std::string_view index, std::string_view value);
};

std::optional<int> number_in(std::string_view text, int base, int largest)
{
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    if (error != std::errc() || end != text.data() + text.size() || number < 0 || number > largest)
        return std::nullopt;
    return number;
}

int index_in(std::string_view name, std::string_view text, int largest)
{
    if (const auto index = number_in(text, 10, largest))
        return *index;
    throw Refusal(std::string(name) + ".N needs N of 0 to " + std::to_string(largest));
}

std::uint8_t hex_byte(std::string_view text)
{
    if (const auto byte = number_in(text, 16, 255))
        return static_cast<std::uint8_t>(*byte);
    throw Refusal("scan takes hexadecimal bytes with commas between them, such as 40,4E");
}

// One word for each outlet, "on off on on".
template <typename Word>
std::string for_outlets(const Board &board, Word word)
{
    std::string text;
    for (int outlet = 0; outlet < board.hardware().outlets; ++outlet)
        text += (outlet == 0 ? "" : " ") + std::string(word(outlet));
    return text;
}

std::string get_line(const Appliance &appliance, std::string_view index)
{
    const int line = index_in("line", index, 95);
    return (appliance.board.gpio_levels(line / 32) >> (line % 32) & 1) != 0 ? "high" : "low";
}

void set_line(Appliance &appliance, std::string_view index, std::string_view value)
{
    const int line = index_in("line", index, 95);
    if (value != "high" && value != "low")
        throw Refusal("line.N takes high or low");
    appliance.board.set_input(line, value == "high");
}

std::string get_controller(const Appliance &appliance, std::string_view index)
{
    return std::to_string(
        appliance.board.controller(index_in("controller", index, controller_registers - 1)));
}

void set_controller(Appliance &appliance, std::string_view index, std::string_view value)
{
    const int reg = index_in("controller", index, controller_registers - 1);
    const bool hex = value.starts_with("0x");
    const auto byte = number_in(value.substr(hex ? 2 : 0), hex ? 16 : 10, 255);
    if (!byte)
        throw Refusal("controller.N takes 0 to 255, or 0x00 to 0xff");
    appliance.board.set_controller(reg, static_cast<std::uint8_t>(*byte));
}

void set_scan(Appliance &appliance, std::string_view, std::string_view value)
{
    std::vector<std::uint8_t> answers;
    for (std::size_t comma = 0; comma != std::string_view::npos; value.remove_prefix(comma + 1)) {
        comma = value.find(',');
        answers.push_back(hex_byte(value.substr(0, comma)));
        if (comma == std::string_view::npos)
            break;
    }
    appliance.board.set_scan_answers(std::move(answers));
}

// As on the appliance, a key that is not set reads as an empty text.
std::string get_parameter(const Appliance &appliance, std::string_view key)
{
    return appliance.store.get(key).value_or("");
}

void set_parameter(Appliance &appliance, std::string_view key, std::string_view value)
{
    if (!appliance.store.set(key, value))
        throw Refusal("the parameter store refused the value", false);
}

std::string get_contacts(const Appliance &appliance, std::string_view)
{
    const Board &board = appliance.board;
    return for_outlets(board, [&](int outlet) { return board.contact(outlet) ? "on" : "off"; });
}

std::string get_leds(const Appliance &appliance, std::string_view)
{
    const Board &board = appliance.board;
    return for_outlets(board, [&](int outlet) { return board.led(outlet) ? "lit" : "dark"; });
}

std::string get_offmask(const Appliance &appliance, std::string_view)
{
    return get_parameter(appliance, "SPI_buf_1");
}

std::string get_power(const Appliance &appliance, std::string_view)
{
    return appliance.board.powered() ? "on" : "off";
}

std::string get_beeper(const Appliance &appliance, std::string_view)
{
    return appliance.board.beeping() ? "on" : "off";
}

std::string get_model(const Appliance &appliance, std::string_view)
{
    std::array<char, 9> text{};
    std::snprintf(text.data(), text.size(), "%06X", appliance.board.hardware().code);
    return text.data();
}

constexpr std::array properties{
    Property{"line", "N", get_line, set_line},
    Property{"controller", "N", get_controller, set_controller},
    Property{"param", "KEY", get_parameter, set_parameter},
    Property{"scan", "", nullptr, set_scan},
    Property{"contacts", "", get_contacts, nullptr},
    Property{"leds", "", get_leds, nullptr},
    Property{"offmask", "", get_offmask, nullptr},
    Property{"power", "", get_power, nullptr},
    Property{"beeper", "", get_beeper, nullptr},
    Property{"model", "", get_model, nullptr},
};

template <typename Member>
std::string names_with(Member member)
{
    std::string names;
    for (const Property &property : properties)
        if (property.*member != nullptr) {
            names += (names.empty() ? "" : ", ") + std::string(property.name);
            names += property.index.empty() ? "" : "." + std::string(property.index);
        }
    return names;
}

// The property that key names and that has member, with the key's index.
template <typename Member>
std::pair<const Property &, std::string_view> find(std::string_view key, Member member, const char *verb)
{
    const auto dot = key.find('.');
    const std::string_view name = key.substr(0, dot);
    const std::string_view index = dot == std::string_view::npos ? "" : key.substr(dot + 1);
    const auto *found = std::find_if(properties.begin(), properties.end(), [&](const Property &property) {
        return property.name == name && property.index.empty() == (dot == std::string_view::npos) &&
               property.*member != nullptr;
    });
    if (found == properties.end())
        throw Refusal("no key \"" + std::string(key) + "\" to " + verb + "; there are " + names_with(member));
    return {*found, index};
}

} // namespace

std::string get_property(const Appliance &appliance, std::string_view key)
{
    const auto &[property, index] = find(key, &Property::get, "get");
    return property.get(appliance, index);
}

void set_property(Appliance &appliance, std::string_view key, std::string_view value)
{
    const auto &[property, index] = find(key, &Property::set, "set");
    property.set(appliance, index, value);
}

} // namespace plexor::board
