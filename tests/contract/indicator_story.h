// SPDX-License-Identifier: Apache-2.0
// What the tests of LEDs and beeper share.
#pragma once

#include <plexor/indicator.h>

#include <unistd.h>

#include <algorithm>
#include <initializer_list>
#include <string>

#include "tests/contract/appliance.h"
#include "tests/contract/gpio_calls.h"

namespace plexor::tests
{

inline bool is_one_of(int model, std::initializer_list<int> chosen)
{
    return std::ranges::find(chosen, model) != chosen.end();
}

// Requests and words of one line's bank where every line of the bank is high.
struct Line {
    int to_input, to_output, read, write;
    unsigned bit;

    std::string make_output() const { return gpio_request(to_output, bit); }
    std::string low() const { return gpio_request(write, ~bit); }
    std::string high() const { return gpio_request(write, 0xFFFFFFFF); }
    // The line is an input while its bank is read.
    Calls taking() const { return {gpio_request(to_input, bit), gpio_request(read), make_output()}; }
};
inline constexpr Line line_0{17, 18, 2, 3, 1};
inline constexpr Line line_44{19, 20, 82, 83, 0x1000};
inline constexpr Line line_45{19, 20, 82, 83, 0x2000};

class Indicators : public Appliance
{
  protected:
    // Calls on devices, sleeps and log lines alone.
    Calls requests() const
    {
        Calls chosen = calls();
        std::erase_if(chosen, [](const auto &call) {
            return !call.starts_with("ioctl") && !call.starts_with("nanosleep") &&
                   !call.starts_with("syslog");
        });
        return chosen;
    }
    Calls expander_writes() const { return calls("ioctl /dev/i2cM0"); }
    static std::string log(const char *text) { return print("syslog 6 [%d]", getpid()) + text; }
};

class IndicatorsOfEveryModel : public Indicators, public ::testing::WithParamInterface<int>
{
  protected:
    IndicatorsOfEveryModel() { use_model(model(), true); }

    static int model() { return GetParam(); }
    static const Line &beeper() { return is_one_of(model(), {1, 2, 3, 11}) ? line_45 : line_0; }
    static bool has_two_leds() { return is_one_of(model(), {8, 9}); }
    static bool has_wifi_led() { return is_one_of(model(), {1, 2, 10, 11}); }
    static bool has_usb_led() { return is_one_of(model(), {2, 11}); }
};

inline const Calls io_number_read{"nvram_kget_int IO_number 0"};

inline Calls after_reading_the_model(const Calls &calls)
{
    Calls all = io_number_read;
    all.insert(all.end(), calls.begin(), calls.end());
    return all;
}

} // namespace plexor::tests
