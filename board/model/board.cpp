// SPDX-License-Identifier: Apache-2.0
#include "board/model/board.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "board/model/board_controller.h"
#include "board/model/ds1337.h"
#include "board/model/eeprom.h"
#include "board/model/faults.h"
#include "board/model/gpio.h"
#include "board/model/io_controller.h"
#include "board/model/led_expander.h"
#include "board/model/panel.h"
#include "board/model/relay_chain.h"

namespace plexor::board
{

namespace
{

constexpr int strap_line = 3;
constexpr std::array relay_lines{22, 23, 24, 25, 26, 29, 27, 28};
constexpr std::array input_lines{26, 27, 28, 29};
constexpr std::uint32_t controller_address = 0xA0;
constexpr std::uint32_t io_controller_address = 0x32;
constexpr std::uint32_t rtc_address = 0xD0;
constexpr std::array<std::uint32_t, 2> expander_addresses{0x34, 0x36};
constexpr std::uint8_t no_led_lit = 0x0F;

bool on_at(std::span<const TwoState> states, int index)
{
    const auto position = static_cast<std::size_t>(index);
    return index >= 0 && position < states.size() && states[position].on();
}

std::vector<TwoState> make_contacts(const Hardware &hardware, Timeline &timeline)
{
    std::vector<TwoState> contacts;
    for (std::size_t outlet = 0; contacts.size() < static_cast<std::size_t>(hardware.outlets); ++outlet)
        contacts.emplace_back(timeline, "relay", outlet_name(outlet), TwoState::Words{"closed", "open"});
    return contacts;
}

std::vector<TwoState> make_inputs(Timeline &timeline)
{
    std::vector<TwoState> inputs;
    while (inputs.size() < input_lines.size()) {
        inputs.emplace_back(timeline, "input", "DI " + std::to_string(inputs.size() + 1),
                            TwoState::Words{"active", "idle"});
    }
    return inputs;
}

// Zero for a register that does not exist.
std::uint8_t byte_of(const I2cDevice &device, int reg)
{
    const auto position = static_cast<std::uint32_t>(reg);
    return device.has(position, 1) ? device.read(position, 1).front() : std::uint8_t{0};
}

// Nothing for a register that does not exist.
void set_byte(I2cDevice &device, int reg, std::uint8_t value)
{
    const auto position = static_cast<std::uint32_t>(reg);
    if (device.has(position, 1))
        device.write(position, {&value, 1}, 0);
}

bool is_output(int output)
{
    return output >= 0 && static_cast<std::size_t>(output) < IoController::outputs;
}

} // namespace

struct Board::Parts {
    Parts(const Hardware &model, bool strapped_latching, std::function<std::int64_t()> now);

    Reply handle_gpio(const Request &request);
    void follow_lines(std::int32_t pid);
    void set_input(int line, bool high);

    Hardware hardware;
    bool latching;
    bool powered{true};
    Timeline timeline;
    Faults faults{timeline};
    Gpio gpio{timeline};
    std::vector<TwoState> contacts;
    RelayChain chain;
    Panel panel;
    std::vector<TwoState> inputs;
    BoardController controller{};
    IoController io_controller{timeline};
    Eeprom eeprom{};
    Ds1337 rtc;
    Sensors sensors{timeline};
    std::vector<LedExpander> expanders{};
    I2cBus bus{timeline};
    std::uint32_t writes_until_cut{};
    std::function<void()> cut{};
};

Board::Parts::Parts(const Hardware &model, bool strapped_latching, std::function<std::int64_t()> now)
    : hardware(model), latching(strapped_latching), timeline(now),
      contacts(make_contacts(hardware, timeline)), chain(hardware.relays, latching, contacts, timeline),
      panel(hardware, timeline), inputs(make_inputs(timeline)), rtc(std::move(now))
{
    gpio.set_input(strap_line, latching);
    bus.attach(controller_address, controller);
    bus.attach(io_controller_address, io_controller);
    bus.attach_eeprom(eeprom);
    if (hardware.rtc)
        bus.attach(rtc_address, rtc);
    if (hardware.leds == LedPath::expanders) {
        const auto leds = panel.outlet_leds();
        expanders = {LedExpander(leds.first<LedExpander::leds>()),
                     LedExpander(leds.last<LedExpander::leds>())};
        bus.attach(expander_addresses[0], expanders[0]);
        bus.attach(expander_addresses[1], expanders[1]);
    }
}

Reply Board::Parts::handle_gpio(const Request &request)
{
    if (Panel::is_led_request(request))
        return panel.handle(request);
    Reply reply = gpio.handle(request);
    follow_lines(request.pid);
    return reply;
}

void Board::Parts::follow_lines(std::int32_t pid)
{
    panel.follow(gpio, pid);
    if (hardware.relays != RelayPath::gpio)
        return;
    for (std::size_t outlet = 0; outlet < contacts.size(); ++outlet)
        contacts[outlet].set(gpio.driven_low(relay_lines[outlet]), pid);
}

void Board::Parts::set_input(int line, bool high)
{
    gpio.set_input(line, high);
    const auto *const found = std::find(input_lines.begin(), input_lines.end(), line);
    if (found != input_lines.end())
        inputs[static_cast<std::size_t>(found - input_lines.begin())].set(!high, 0);
}

Board::Board(const Hardware &hardware, bool latching, std::function<std::int64_t()> now)
    : parts_(std::make_unique<Parts>(hardware, latching, std::move(now)))
{
}

Board::~Board() = default;

int Board::open(Device device, std::int32_t)
{
    return parts_->powered ? parts_->faults.open_error(device) : ENODEV;
}

Reply Board::handle(const Request &request)
{
    const int error = parts_->powered ? parts_->faults.request_error(request.device) : ENODEV;
    if (error != 0)
        return {error, {}};
    switch (request.device) {
    case Device::gpio:
        return parts_->handle_gpio(request);
    case Device::relays:
        return parts_->chain.handle(request);
    case Device::i2c:
        return loses_power_at(request) ? Reply{ENODEV, {}} : parts_->bus.handle(request);
    }
    return {ENODEV, {}}; // a number from a socket that names no device
}

bool Board::loses_power_at(const Request &request)
{
    if (parts_->writes_until_cut == 0 || !I2cBus::is_write(request) || --parts_->writes_until_cut > 0)
        return false;
    if (const auto cut = std::exchange(parts_->cut, {}))
        cut();
    else
        power_loss();
    return true;
}

const Hardware &Board::hardware() const
{
    return parts_->hardware;
}
bool Board::latching() const
{
    return parts_->latching;
}
bool Board::powered() const
{
    return parts_->powered;
}

void Board::power_loss()
{
    if (!parts_->powered)
        return;
    parts_->powered = false;
    parts_->timeline.add(0, "power", "mains", "lost");
    parts_->gpio.reset();
    parts_->follow_lines(0);
    parts_->chain.power_loss();
    parts_->panel.power_loss();
    parts_->io_controller.power_loss();
    for (LedExpander &expander : parts_->expanders)
        expander.reset();
}

void Board::power_up()
{
    if (parts_->powered)
        return;
    parts_->powered = true;
    parts_->timeline.add(0, "power", "mains", "up");
}

bool Board::contact(int outlet) const
{
    return powered() && contact_closed(outlet);
}
bool Board::contact_closed(int outlet) const
{
    return on_at(parts_->contacts, outlet);
}
bool Board::led(int outlet) const
{
    return on_at(std::as_const(parts_->panel).outlet_leds(), outlet);
}
bool Board::wifi_led() const
{
    return parts_->panel.wifi();
}
bool Board::usb_led() const
{
    return parts_->panel.usb();
}
bool Board::beeping() const
{
    return parts_->panel.beeping();
}

std::uint8_t Board::expander(int which) const
{
    const auto position = static_cast<std::size_t>(which);
    return which >= 0 && position < parts_->expanders.size() ? parts_->expanders[position].state()
                                                             : no_led_lit;
}

std::uint8_t Board::controller(int reg) const
{
    return byte_of(parts_->controller, reg);
}

void Board::set_controller(int reg, std::uint8_t value)
{
    set_byte(parts_->controller, reg, value);
}

std::uint8_t Board::eeprom(int address) const
{
    return byte_of(parts_->eeprom, address);
}

void Board::set_eeprom(int address, std::uint8_t value)
{
    set_byte(parts_->eeprom, address, value);
}

std::string Board::rtc() const
{
    return parts_->rtc.text();
}

bool Board::set_rtc(std::string_view time)
{
    return parts_->rtc.set(time);
}

std::array<std::uint8_t, 7> Board::rtc_registers() const
{
    return parts_->rtc.registers();
}

void Board::set_rtc_registers(const std::array<std::uint8_t, 7> &bytes)
{
    parts_->rtc.write(0, bytes, 0);
}

std::uint32_t Board::gpio_levels(int group) const
{
    return parts_->gpio.levels(group);
}
std::uint32_t Board::gpio_outputs(int group) const
{
    return parts_->gpio.outputs(group);
}
void Board::set_input(int line, bool high)
{
    parts_->set_input(line, high);
}

void Board::set_scan_answers(std::vector<std::uint8_t> addresses)
{
    parts_->bus.set_scan_answers(std::move(addresses));
}

bool Board::digital_input(int input) const
{
    const auto position = static_cast<std::size_t>(input);
    return input >= 0 && position < input_lines.size() &&
           (parts_->gpio.levels(0) >> input_lines[position] & 1) == 0;
}

void Board::set_digital_input(int input, bool active)
{
    const auto position = static_cast<std::size_t>(input);
    if (input >= 0 && position < input_lines.size())
        set_input(input_lines[position], !active);
}

std::string Board::digital_output(int output) const
{
    return powered() && is_output(output) ? parts_->io_controller.signal(static_cast<std::size_t>(output))
                                          : "off";
}

std::uint32_t Board::pulses(int output) const
{
    return is_output(output) ? parts_->io_controller.pulses(static_cast<std::size_t>(output)) : 0;
}

std::uint8_t Board::io_register(int reg) const
{
    return byte_of(parts_->io_controller, reg);
}

void Board::set_io_register(int reg, std::uint8_t value)
{
    if (parts_->io_controller.has(static_cast<std::uint32_t>(reg), 1))
        parts_->io_controller.preset(static_cast<std::uint8_t>(reg), value);
}

Sensors &Board::sensors()
{
    return parts_->sensors;
}
const Sensors &Board::sensors() const
{
    return parts_->sensors;
}

void Board::cut_power_at_write(std::uint32_t nth, std::function<void()> cut)
{
    parts_->writes_until_cut = nth;
    parts_->cut = std::move(cut);
}

std::uint32_t Board::writes_until_cut() const
{
    return parts_->writes_until_cut;
}

bool Board::set_fault(std::string_view name, bool on)
{
    const bool known = parts_->faults.set(name, on);
    parts_->bus.corrupt_reads(fault("i2c-corrupt"));
    if (fault("io-controller-absent"))
        parts_->bus.detach(io_controller_address);
    else
        parts_->bus.attach(io_controller_address, parts_->io_controller);
    return known;
}

bool Board::fault(std::string_view name) const
{
    return parts_->faults.on(name);
}
const std::vector<std::string> &Board::fault_names()
{
    return Faults::names();
}

Timeline &Board::timeline()
{
    return parts_->timeline;
}
const Timeline &Board::timeline() const
{
    return parts_->timeline;
}

} // namespace plexor::board
