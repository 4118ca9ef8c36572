// SPDX-License-Identifier: Apache-2.0
#include "board/model/panel.h"

#include <array>

namespace plexor::board
{

namespace
{

constexpr std::array low_lines{22, 23, 24, 25};
constexpr std::array high_lines{40, 39};
constexpr int wifi_line = 44;
constexpr std::uint32_t request_wifi = 54;
constexpr std::uint32_t request_usb = 55;
constexpr TwoState::Words led_words{"lit", "dark"};

std::span<const int> led_lines(LedPath path)
{
    switch (path) {
    case LedPath::gpio_low:
        return low_lines;
    case LedPath::gpio_high:
        return high_lines;
    case LedPath::none:
    case LedPath::expanders:
        break;
    }
    return {};
}

} // namespace

Panel::Panel(const Hardware &hardware, Timeline &timeline)
    : hardware_(hardware), timeline_(timeline), wifi_(timeline, "led", "wifi", led_words),
      usb_(timeline, "led", "usb", led_words),
      beeper_(timeline, "beeper", "line " + std::to_string(hardware.beeper_line), {"on", "off"})
{
    const int leds = hardware.leds == LedPath::none ? 0 : hardware.outlets;
    for (int outlet = 0; outlet < leds; ++outlet)
        outlet_leds_.emplace_back(timeline, "led", outlet_name(static_cast<std::size_t>(outlet)), led_words);
}

void Panel::follow(const Gpio &gpio, std::int32_t pid)
{
    const std::span<const int> lines = led_lines(hardware_.leds);
    for (std::size_t outlet = 0; outlet < lines.size(); ++outlet)
        outlet_leds_[outlet].set(gpio.driven_low(lines[outlet]), pid);
    wifi_.set(hardware_.wifi_led && gpio.driven_low(wifi_line), pid);
    beeper_.set(gpio.driven_low(hardware_.beeper_line), pid);
}

bool Panel::is_led_request(const Request &request)
{
    return request.number == request_wifi || request.number == request_usb;
}

// The driver's own state of the Wi-Fi LED shows nowhere: line 44 decides whether it is lit.
Reply Panel::handle(const Request &request)
{
    const bool usb = request.number == request_usb;
    const bool fitted = usb ? hardware_.usb_led : hardware_.wifi_led;
    timeline_.add(request.pid, "led", usb ? "usb" : "wifi",
                  fitted ? "request " + std::to_string(request.value) : "not fitted");
    if (usb && fitted)
        usb_.set(request.value == 1, request.pid);
    return {};
}

void Panel::power_loss()
{
    usb_.set(false, 0);
}

} // namespace plexor::board
