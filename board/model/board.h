// SPDX-License-Identifier: Apache-2.0
// A whole power switch in software: every chip behind the drivers, wired as on the model chosen.
//
// Who calls it: the interposer, from the side of the appliance's processes (open, handle); boardctl, the
// panel and the tests from the outside world's side (everything else). No I/O, no threads, no global state.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "board/model/device.h"
#include "board/model/hardware.h"
#include "board/model/sensors.h"
#include "board/model/timeline.h"

namespace plexor::board
{

class Board
{
  public:
    // now() gives nanoseconds that never run backwards; it stamps the timeline.
    Board(const Hardware &hardware, bool latching, std::function<std::int64_t()> now);
    ~Board();
    Board(const Board &) = delete;
    Board &operator=(const Board &) = delete;

    // --- the appliance's side ---
    // 0, or the errno with which opening the device fails (absent by a fault, or no power).
    int open(Device device, std::int32_t pid);
    Reply handle(const Request &request);

    // --- the outside world's side ---
    const Hardware &hardware() const;
    bool latching() const;
    bool powered() const;
    void power_loss();
    void power_up();

    bool contact(int outlet) const;        // true: the outlet is live (mains present and contact closed)
    bool contact_closed(int outlet) const; // the mechanical contact, mains or not
    bool led(int outlet) const;            // true: lit
    bool wifi_led() const;
    bool usb_led() const;
    bool beeping() const;

    std::uint8_t expander(int which) const;           // state bits 0..3 of 0x34 (0) or 0x36 (1); 1 = dark
    std::uint8_t controller(int reg) const;           // one byte of the board controller
    void set_controller(int reg, std::uint8_t value); // as found at power-up
    std::uint8_t eeprom(int address) const;           // one byte of it, 0 to 65535
    void set_eeprom(int address, std::uint8_t value);
    // The battery-backed clock, which only some models have: "2026-03-04 05:06:07", or "no time" when its
    // registers hold none; set_rtc returns false for what is no time of 2000 to 2199.
    std::string rtc() const;
    bool set_rtc(std::string_view time);
    std::array<std::uint8_t, 7> rtc_registers() const;
    void set_rtc_registers(const std::array<std::uint8_t, 7> &bytes); // whatever they hold
    std::uint32_t gpio_levels(int group) const;                       // what a read of the bank gives
    std::uint32_t gpio_outputs(int group) const;                      // direction: bit set = output
    void set_input(int line, bool high); // the level that the outside gives to line 0..95
    void
    set_scan_answers(std::vector<std::uint8_t> addresses); // bytes of the next bus scans; the last one stays

    // Digital inputs and outputs 0..3. Every board has their lines and their controller, for the appliance's
    // programs do not ask for the model; only boards with digital_io lead them outside.
    bool digital_input(int input) const; // true: active, the line is low
    void set_digital_input(int input, bool active);
    std::string digital_output(int output) const; // "level 1", "pulse train 5", "4660 Hz", "PWM 5/50", "off"
    std::uint32_t pulses(int output) const;       // in the trains that it gave since power-up
    std::uint8_t io_register(int reg) const;      // one byte of the I/O controller
    void set_io_register(int reg, std::uint8_t value); // as its firmware does, so no output follows

    Sensors &sensors();
    const Sensors &sensors() const;

    // The nth I2C write from now on does not happen: cut is called, which takes the power away with all that
    // hangs on it (nothing: power_loss). 0 means none.
    void cut_power_at_write(std::uint32_t nth, std::function<void()> cut = {});
    std::uint32_t writes_until_cut() const;

    // Faults by name; set_fault returns false for a name that is not in fault_names().
    bool set_fault(std::string_view name, bool on);
    bool fault(std::string_view name) const;
    static const std::vector<std::string> &fault_names();

    Timeline &timeline();
    const Timeline &timeline() const;

  private:
    bool loses_power_at(const Request &request);

    struct Parts;
    std::unique_ptr<Parts> parts_;
};

} // namespace plexor::board
