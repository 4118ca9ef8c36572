// SPDX-License-Identifier: Apache-2.0
// What varies between the models of the family. Every part of the library reads it from here.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "nvram.h"

namespace plexor
{

inline constexpr unsigned max_outlets = 8;

enum class RelayPath : std::uint8_t {
    chain_4, // shift register, one byte for four outlets
    chain_8, // shift register, two bytes
    gpio,    // one GPIO line an outlet
};

enum class LedPath : std::uint8_t {
    gpio_22, // group 0, lines 22 to 25
    gpio_40, // group 1, lines 40 and 39
    expander // I2C LED expanders
};

enum class Thermometer : std::uint8_t { none, board, external };

// What an entry of the alert journal tells of the board.
enum class JournalForm : std::uint8_t {
    none,
    plain,   // the outlets
    metered, // eight outlets with their currents, temperature, voltage, dry contact
    sensed,  // four outlets and what the external sensors tell
};

struct Model {
    char name[16]; // in place: a pointer would cost a relocation at every start
    std::uint8_t outlets;
    RelayPath relays;
    LedPath leds;
    std::uint8_t beeper_line;
    bool wifi_led;
    bool usb_led;
    std::uint8_t io_first;
    std::uint8_t inputs;
    std::uint8_t outputs;
    Thermometer thermometer;
    bool external_meter; // measures the current of all outlets together
    JournalForm journal;
};

namespace model_rows // where the rows can speak in short words
{
using enum RelayPath;
using enum LedPath;
using enum Thermometer;
using Journal = JournalForm;

inline constexpr std::array<Model, 12> models{{
    // name, outlets, relays, LEDs, beeper, Wi-Fi, USB, I/O: first, inputs, outputs,
    // thermometer, external meter, journal
    {"VOLTARA", 0, chain_4, gpio_22, 0, false, false, 0, 0, 0, none, false, Journal::none},
    {"VOLTARA 7341", 4, chain_4, gpio_22, 45, true, false, 0, 0, 0, none, false, Journal::plain},
    {"VOLTARA 7302", 8, chain_8, expander, 45, true, true, 1, 0, 0, board, false, Journal::metered},
    {"VOLTARA 7302S", 8, chain_8, expander, 45, false, false, 0, 0, 0, none, false, Journal::metered},
    {"VOLTARA 7335", 4, chain_4, gpio_22, 0, false, false, 0, 0, 0, none, false, Journal::plain},
    {"VOLTARA 7318A", 4, chain_4, gpio_22, 0, false, false, 4, 4, 2, external, false, Journal::sensed},
    {"VOLTARA 7318B", 4, chain_4, gpio_22, 0, false, false, 4, 0, 0, external, false, Journal::sensed},
    {"VOLTARA 7306", 4, chain_4, gpio_22, 0, false, false, 0, 0, 0, external, false, Journal::sensed},
    {"VOLTARA 7309", 2, chain_4, gpio_40, 0, false, false, 0, 0, 0, external, true, Journal::sensed},
    {"VOLTARA 7324", 2, chain_4, gpio_40, 0, false, false, 0, 0, 0, external, false, Journal::sensed},
    {"VOLTARA 7347", 8, gpio, gpio_22, 0, true, false, 0, 0, 0, none, false, Journal::plain},
    {"VOLTARA 7352", 8, chain_8, expander, 45, true, true, 1, 0, 0, board, false, Journal::metered},
}};
} // namespace model_rows
using model_rows::models;

struct ModelCode {
    std::uint32_t code; // first three bytes of the Ethernet address
    std::uint8_t index;
};

inline constexpr std::array<ModelCode, 12> model_codes{{
    {0x00C341, 1}, // two codes for one board
    {0x00C340, 1},
    {0x00C302, 2},
    {0x00C317, 3},
    {0x00C335, 4},
    {0x00C318, 5},
    {0x00C319, 6},
    {0x00C306, 7},
    {0x00C309, 8},
    {0x00C324, 9},
    {0x00C347, 10},
    {0x00C352, 11},
}};

// An index that is none gives the unknown board.
constexpr const Model &model_at(unsigned index)
{
    return models[index < models.size() ? index : 0];
}

// The model index as the appliance keeps it in the parameter store.
inline unsigned stored_model_index()
{
    return static_cast<unsigned>(nvram_kget_int("IO_number", 0));
}

inline const Model &stored_model()
{
    return model_at(stored_model_index());
}

} // namespace plexor
