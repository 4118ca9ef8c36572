// SPDX-License-Identifier: Apache-2.0
#include <plexor/indicator.h>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>

#include <plexor/gpio.h>
#include <plexor/i2c.h>
#include <plexor/process.h>
#include <plexor/relay.h>

#include "foundation/model_table.h"
#include "nvram.h"
#include "outlet/relay_pattern.h"
#include "support/bits.h"
#include "support/descriptor.h"

namespace plexor
{
namespace
{

constexpr const char *gpio_device = "/dev/gpio";
constexpr unsigned wifi_led_request = 54;
constexpr unsigned usb_led_request = 55;
constexpr int wifi_led_line = 44;

constexpr unsigned first_expander = 0x34;  // outlets 1 to 4
constexpr unsigned second_expander = 0x36; // outlets 5 to 8
constexpr int expander_register = 8;
constexpr unsigned all_selected = 0xF0; // bits 4 to 7 choose the LEDs that a write changes
constexpr unsigned gap_between_expanders_us = 20'000;

// A line of a bank and the two words that light (or sound) it and turn it off; the rest of the bank stays.
struct ActiveLowLine {
    unsigned group;
    unsigned active;
    unsigned idle;
};

// Takes the bank as it is while the line is an input, then makes the line an output.
ActiveLowLine take_line(int line)
{
    const unsigned group = static_cast<unsigned>(line) / lines_per_bank;
    const unsigned bit = static_cast<unsigned>(line) % lines_per_bank;
    unsigned levels = 0;
    gpio_set_dir_g(group, 0, line);
    gpio_read_int(group, &levels);
    gpio_set_dir_g(group, 1, line);
    return {group, with_bit(levels, bit, false), with_bit(levels, bit, true)};
}

int write_level(const ActiveLowLine &line, bool active)
{
    return gpio_write_int(line.group, static_cast<int>(active ? line.active : line.idle));
}

// Sound and silence in turn; a tone without a silence after it ends the pattern.
struct BeepPattern {
    std::uint8_t tones;
    std::uint32_t sound_us;
    std::uint32_t silence_us;
    bool silence_at_end;
};
constexpr BeepPattern beep_patterns[] = {
    {0, 0, 0, false},             // silence at once
    {1, 150'000, 0, false},       // one beep
    {3, 150'000, 150'000, true},  // three beeps and a pause
    {3, 250'000, 250'000, false}, // three long beeps
    {3, 60'000, 25'000, false},   // three chirps
};

int play(const ActiveLowLine &beeper, const BeepPattern &pattern)
{
    if (pattern.tones == 0)
        return write_level(beeper, false);
    int result = 0;
    for (unsigned tone = 1; tone <= pattern.tones; ++tone) {
        write_level(beeper, true);
        USleep(pattern.sound_us);
        result = write_level(beeper, false);
        if (tone < pattern.tones || pattern.silence_at_end)
            result = USleep(pattern.silence_us);
    }
    return result;
}

// State byte of four LEDs: a set bit is dark.
unsigned char all_dark_but(unsigned on_mask)
{
    return static_cast<unsigned char>(all_selected | (~on_mask & 0x0FU));
}

int write_expander(unsigned device, unsigned char byte)
{
    return i2cmd(0, device, expander_register, &byte, 1);
}

int log_and_write_group(unsigned device, unsigned char byte)
{
    syslog(LOG_INFO, "[%d]WrLed%02X:%02X=%02X", getpid(), device, unsigned{expander_register},
           unsigned{byte});
    return write_expander(device, byte);
}

// Tells the driver the state of an LED, and say_refused when the driver refuses it; false when the device
// cannot be opened.
bool request_led(unsigned request, unsigned long state, void (*say_refused)())
{
    const Descriptor gpio(open(gpio_device, O_RDONLY | O_CLOEXEC));
    if (!gpio) {
        perror(gpio_device);
        return false;
    }
    if (ioctl(gpio.get(), request, state) < 0)
        say_refused();
    return true;
}

} // namespace
} // namespace plexor

using namespace plexor;

int LEDONOFF(unsigned off_mask)
{
    const bool high_lines = stored_model().leds == LedPath::gpio_40;
    const unsigned group = high_lines ? 1 : 0;
    const int *const lines = high_lines ? pinRelayGPIO3264 : pinRelayGPIO;
    const unsigned count = high_lines ? 2 : 4;
    unsigned levels = 0;
    gpio_read_int(group, &levels);
    for (unsigned k = 0; k < count; ++k) {
        const int line = lines[k] - static_cast<int>(lines_per_bank * group);
        gpio_set_dir_g(group, 1, line);
        levels = with_bit(levels, static_cast<unsigned>(line), bit_set(off_mask, k));
        gpio_write_int(group, static_cast<int>(levels));
    }
    return 0;
}

int QB73xxAllLED(unsigned on_mask)
{
    log_and_write_group(first_expander, all_dark_but(on_mask));
    USleep(gap_between_expanders_us);
    return log_and_write_group(second_expander, all_dark_but(on_mask >> outlets_per_byte));
}

int QB73xxLED(unsigned index, unsigned value)
{
    if (index >= 2 * outlets_per_byte)
        return 0;
    const unsigned k = index % outlets_per_byte;
    const unsigned device = index < outlets_per_byte ? first_expander : second_expander;
    const unsigned byte = 1U << (k + 4) | (value == 1 ? 0U : 1U << k);
    syslog(LOG_INFO, "[%d]WrLed:%02X[%02X]=%02X", getpid(), device, unsigned{expander_register}, byte);
    return write_expander(device, static_cast<unsigned char>(byte));
}

int beep(unsigned pattern)
{
    const ActiveLowLine beeper = take_line(stored_model().beeper_line);
    if (pattern >= std::size(beep_patterns))
        return 0;
    return play(beeper, beep_patterns[pattern]);
}

void wifi_led(unsigned state)
{
    if (stored_model().wifi_led && request_led(wifi_led_request, state, [] { fputs("wifi_led \n", stdout); }))
        write_level(take_line(wifi_led_line), state == 1);
}

void usb_led(int state)
{
    if (stored_model().usb_led)
        request_led(usb_led_request, static_cast<unsigned>(state), [] { myprintf("usb_led \n"); });
}
