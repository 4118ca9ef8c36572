// SPDX-License-Identifier: Apache-2.0
// What people see and hear: outlet LEDs, Wi-Fi and USB LED, beeper. The line-driven ones follow the lines.
#pragma once

#include <span>
#include <vector>

#include "board/model/device.h"
#include "board/model/gpio.h"
#include "board/model/hardware.h"
#include "board/model/two_state.h"

namespace plexor::board
{

class Panel
{
  public:
    Panel(const Hardware &hardware, Timeline &timeline);

    void follow(const Gpio &gpio, std::int32_t pid);
    static bool is_led_request(const Request &request); // those of the GPIO driver that name an LED
    Reply handle(const Request &request);
    void power_loss(); // what no line drives

    std::span<TwoState> outlet_leds() { return outlet_leds_; }
    std::span<const TwoState> outlet_leds() const { return outlet_leds_; }
    bool wifi() const { return wifi_.on(); }
    bool usb() const { return usb_.on(); }
    bool beeping() const { return beeper_.on(); }

  private:
    const Hardware &hardware_;
    Timeline &timeline_;
    std::vector<TwoState> outlet_leds_{};
    TwoState wifi_;
    TwoState usb_;
    TwoState beeper_;
};

} // namespace plexor::board
