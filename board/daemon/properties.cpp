// SPDX-License-Identifier: Apache-2.0
#include "board/daemon/properties.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <vector>

#include "board/daemon/controller_pages.h"
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

// Decimal, or hexadecimal after 0x.
std::optional<int> number_in(std::string_view text, int largest)
{
    const bool hex = text.starts_with("0x");
    return number_in(text.substr(hex ? 2 : 0), hex ? 16 : 10, largest);
}

int index_in(std::string_view name, std::string_view text, int smallest, int largest)
{
    const auto index = number_in(text, largest);
    if (!index || *index < smallest)
        throw Refusal(std::string(name) + ".N needs N of " + std::to_string(smallest) + " to " +
                      std::to_string(largest));
    return *index;
}

std::uint8_t byte_in(std::string_view name, std::string_view text)
{
    if (const auto byte = number_in(text, 255))
        return static_cast<std::uint8_t>(*byte);
    throw Refusal(std::string(name) + " takes 0 to 255, or 0x00 to 0xff");
}

// "23.4" is 234, "-0.5" is -5, "7" is 70; nothing for what has another form.
std::optional<int> tenths_of(std::string_view text)
{
    const bool negative = text.starts_with('-');
    std::string digits(text.substr(negative ? 1 : 0));
    if (digits.empty())
        return std::nullopt;
    if (digits.size() > 2 && digits[digits.size() - 2] == '.')
        digits.erase(digits.size() - 2, 1);
    else
        digits += '0';
    const auto size = number_in(digits, 10, 1'000'000);
    return negative && size ? -*size : size;
}

int tenths_in(std::string_view name, std::string_view text, int smallest, int largest)
{
    const auto tenths = tenths_of(text);
    if (!tenths || *tenths < smallest * 10 || *tenths > largest * 10)
        throw Refusal(std::string(name) + " takes " + std::to_string(smallest) + " to " +
                      std::to_string(largest) + ", with tenths such as 4.5");
    return *tenths;
}

std::string with_tenths(int value)
{
    const int size = std::abs(value);
    return (value < 0 ? "-" : "") + std::to_string(size / 10) + "." + std::to_string(size % 10);
}

// The value of a key that takes two words: true for the first.
bool is_first(std::string_view key, std::string_view value, std::string_view first, std::string_view second)
{
    if (value != first && value != second)
        throw Refusal(std::string(key) + " takes " + std::string(first) + " or " + std::string(second));
    return value == first;
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
    const int line = index_in("line", index, 0, 95);
    return (appliance.board.gpio_levels(line / 32) >> (line % 32) & 1) != 0 ? "high" : "low";
}

void set_line(Appliance &appliance, std::string_view index, std::string_view value)
{
    const int line = index_in("line", index, 0, 95);
    appliance.board.set_input(line, is_first("line.N", value, "high", "low"));
}

std::string get_controller(const Appliance &appliance, std::string_view index)
{
    return std::to_string(
        appliance.board.controller(index_in("controller", index, 0, controller_registers - 1)));
}

void set_controller(Appliance &appliance, std::string_view index, std::string_view value)
{
    const int reg = index_in("controller", index, 0, controller_registers - 1);
    appliance.board.set_controller(reg, byte_in("controller.N", value));
}

std::string get_schedule(const Appliance &appliance, std::string_view index)
{
    return schedule_text(appliance.board, page_named(index));
}

void set_schedule(Appliance &appliance, std::string_view index, std::string_view value)
{
    write_page(appliance.board, page_named(index), value);
}

template <const Credential &credential>
std::string get_credential(const Appliance &appliance, std::string_view)
{
    return credential_text(appliance.board, credential);
}

template <const Credential &credential>
void set_credential(Appliance &appliance, std::string_view, std::string_view value)
{
    write_credential(appliance.board, credential, value);
}

std::string get_io_controller(const Appliance &appliance, std::string_view index)
{
    return std::to_string(appliance.board.io_register(index_in("iocontroller", index, 0, 255)));
}

void set_io_controller(Appliance &appliance, std::string_view index, std::string_view value)
{
    const int reg = index_in("iocontroller", index, 0, 255);
    appliance.board.set_io_register(reg, byte_in("iocontroller.N", value));
}

std::string get_eeprom(const Appliance &appliance, std::string_view index)
{
    return std::to_string(appliance.board.eeprom(index_in("eeprom", index, 0, 65535)));
}

void set_eeprom(Appliance &appliance, std::string_view index, std::string_view value)
{
    const int address = index_in("eeprom", index, 0, 65535);
    appliance.board.set_eeprom(address, byte_in("eeprom.N", value));
}

void require_rtc(const Appliance &appliance)
{
    if (!appliance.board.hardware().rtc)
        throw Refusal("this model has no battery-backed clock");
}

std::string get_rtc(const Appliance &appliance, std::string_view)
{
    require_rtc(appliance);
    return appliance.board.rtc();
}

void set_rtc(Appliance &appliance, std::string_view, std::string_view value)
{
    require_rtc(appliance);
    if (!appliance.board.set_rtc(value))
        throw Refusal("rtc takes a date and time such as \"2026-11-21 23:59:50\", of 2000 to 2199");
}

int digital_line(std::string_view name, std::string_view index)
{
    return index_in(name, index, 1, digital_lines) - 1;
}

std::string get_input(const Appliance &appliance, std::string_view index)
{
    return appliance.board.digital_input(digital_line("di", index)) ? "active" : "idle";
}

void set_input(Appliance &appliance, std::string_view index, std::string_view value)
{
    const int input = digital_line("di", index);
    appliance.board.set_digital_input(input, is_first("di.N", value, "active", "idle"));
}

std::string get_output(const Appliance &appliance, std::string_view index)
{
    return appliance.board.digital_output(digital_line("do", index));
}

void require_sampled(Appliance &appliance)
{
    if (!sample(appliance))
        throw Refusal("the parameter store refused the sample", false);
}

template <Sensor sensor>
std::string get_raw(const Appliance &appliance, std::string_view)
{
    return std::to_string(appliance.board.sensors().field(sensor, 0));
}

template <Sensor sensor>
void set_raw(Appliance &appliance, std::string_view, std::string_view value)
{
    appliance.board.sensors().set_field(sensor, 0, byte_in("a raw reading", value));
    require_sampled(appliance);
}

std::size_t current_channel(std::string_view index)
{
    return static_cast<std::size_t>(index_in("current", index, 1, 8) - 1);
}

std::string get_current(const Appliance &appliance, std::string_view index)
{
    return std::to_string(appliance.board.sensors().field(Sensor::current, current_channel(index)));
}

void set_current(Appliance &appliance, std::string_view index, std::string_view value)
{
    const std::size_t channel = current_channel(index);
    appliance.board.sensors().set_field(Sensor::current, channel, byte_in("a raw reading", value));
    require_sampled(appliance);
}

std::string get_dry_contact(const Appliance &appliance, std::string_view)
{
    return appliance.board.sensors().field(Sensor::dry_contact, 0) == 0 ? "open" : "closed";
}

void set_dry_contact(Appliance &appliance, std::string_view, std::string_view value)
{
    const bool open = is_first("drycontact", value, "open", "closed");
    appliance.board.sensors().set_field(Sensor::dry_contact, 0, open ? 0 : 1);
    require_sampled(appliance);
}

// A quantity that an external device measures, in tenths.
struct External {
    std::string_view key;
    Sensor sensor;
    std::size_t field;
    int smallest, largest;
};
constexpr std::array externals{
    External{"meter", Sensor::meter, 0, 0, 1000},
    External{"ambient.humidity", Sensor::ambient, 0, 0, 100},
    External{"ambient.temperature", Sensor::ambient, 2, -100, 200},
};

const External &external(std::string_view key)
{
    for (const External &found : externals)
        if (found.key == key)
            return found;
    throw Refusal("ambient.WHAT is ambient.humidity or ambient.temperature");
}

std::string get_external(const Appliance &appliance, const External &its)
{
    return with_tenths(appliance.board.sensors().tenths(its.sensor, its.field));
}

void set_external(Appliance &appliance, const External &its, std::string_view value)
{
    const int tenths = tenths_in(its.key, value, its.smallest, its.largest);
    appliance.board.sensors().set_tenths(its.sensor, its.field, tenths);
    require_sampled(appliance);
}

std::string get_meter(const Appliance &appliance, std::string_view)
{
    return get_external(appliance, external("meter"));
}

void set_meter(Appliance &appliance, std::string_view, std::string_view value)
{
    set_external(appliance, external("meter"), value);
}

std::string get_ambient(const Appliance &appliance, std::string_view what)
{
    return get_external(appliance, external("ambient." + std::string(what)));
}

void set_ambient(Appliance &appliance, std::string_view what, std::string_view value)
{
    set_external(appliance, external("ambient." + std::string(what)), value);
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

std::string get_power_cut(const Appliance &appliance, std::string_view)
{
    return std::to_string(appliance.board.writes_until_cut());
}

void set_power_cut(Appliance &appliance, std::string_view, std::string_view value)
{
    const auto nth = number_in(value, 10, 1'000'000);
    if (!nth)
        throw Refusal("power-loss-at-write takes 0 to 1000000");
    appliance.board.cut_power_at_write(static_cast<std::uint32_t>(*nth),
                                       [&appliance] { lose_power(appliance); });
}

std::string get_clock(const Appliance &appliance, std::string_view)
{
    return date_text(appliance.clock.calendar());
}

void set_clock(Appliance &appliance, std::string_view, std::string_view value)
{
    appliance.clock.set_calendar(date_in(value));
    appliance.board.timeline().add(0, "clock", "calendar", std::string(value));
}

std::string get_clock_rate(const Appliance &appliance, std::string_view)
{
    return std::to_string(appliance.clock.rate());
}

void set_clock_rate(Appliance &appliance, std::string_view, std::string_view value)
{
    const auto rate = number_in(value, 10, Clock::fastest);
    if (!rate || *rate == 0)
        throw Refusal("clock-rate takes 1 to " + std::to_string(Clock::fastest));
    appliance.clock.set_rate(*rate);
    appliance.board.timeline().add(0, "clock", "rate", std::to_string(*rate));
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
    Property{"iocontroller", "N", get_io_controller, set_io_controller},
    Property{"eeprom", "N", get_eeprom, set_eeprom},
    Property{"di", "N", get_input, set_input},
    Property{"do", "N", get_output, nullptr},
    Property{"current", "N", get_current, set_current},
    Property{"temperature", "", get_raw<Sensor::temperature>, set_raw<Sensor::temperature>},
    Property{"voltage", "", get_raw<Sensor::voltage>, set_raw<Sensor::voltage>},
    Property{"drycontact", "", get_dry_contact, set_dry_contact},
    Property{"meter", "", get_meter, set_meter},
    Property{"ambient", "WHAT", get_ambient, set_ambient},
    Property{"schedule", "N", get_schedule, set_schedule},
    Property{"login", "", get_credential<login>, set_credential<login>},
    Property{"password", "", get_credential<password>, set_credential<password>},
    Property{"power-loss-at-write", "", get_power_cut, set_power_cut},
    Property{"clock", "", get_clock, set_clock},
    Property{"clock-rate", "", get_clock_rate, set_clock_rate},
    Property{"rtc", "", get_rtc, set_rtc},
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
