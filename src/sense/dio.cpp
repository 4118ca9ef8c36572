// SPDX-License-Identifier: Apache-2.0
#include <plexor/dio.h>

#include <cstdint>
#include <cstdio>
#include <cstring>

#include <plexor/gpio.h>
#include <plexor/i2c.h>
#include <plexor/params.h>
#include <plexor/process.h>

#include "nvram.h"
#include "support/bits.h"

namespace plexor
{
namespace
{

constexpr unsigned io_controller = 0x32;
constexpr unsigned outputs = 4;
constexpr const char *modes_key = "sDOMode_PX";
constexpr int mode_changed = 5; // value of the switch notification

constexpr unsigned char not_used = 0xFF; // in both frequency registers: DO 1 runs PWM

enum Mode : unsigned { mode_pulse = 2, mode_frequency = 3, mode_pwm = 4 };

constexpr std::uint8_t mode_register[outputs] = {0x50, 0x51, 0x52, 0x53};
constexpr std::uint8_t count_registers[outputs][4] = {
    // highest byte first; the low half lies in the frequency registers
    {0x33, 0x34, 0x01, 0x02},
    {0x35, 0x36, 0x03, 0x04},
    {0x37, 0x38, 0x05, 0x06},
    {0x39, 0x3A, 0x07, 0x08},
};
constexpr std::uint8_t frequency_registers[outputs][2] = {
    {0x01, 0x02}, {0x03, 0x04}, {0x05, 0x06}, {0x07, 0x08}};
constexpr std::uint8_t level_registers[outputs][3] = {{13, 5, 9}, {22, 6, 10}, {31, 7, 11}, {40, 8, 12}};
constexpr int pwm_frequency_register = 0x10;
constexpr int pwm_width_register = 0x11;

// Mode numbers and codes differ in 0 and 1 alone, which are swapped.
constexpr unsigned swap_levels(unsigned mode_or_code)
{
    return mode_or_code <= 1 ? 1 - mode_or_code : mode_or_code;
}

constexpr bool is_known(unsigned mode)
{
    return mode <= mode_pwm || mode == 10 || (mode >= 12 && mode <= 14);
}

constexpr bool takes_parameters(unsigned mode)
{
    return mode >= mode_pulse && mode <= mode_pwm;
}

void write_register(int reg, unsigned value)
{
    auto byte = static_cast<unsigned char>(value);
    i2cmd(0, io_controller, reg, &byte, 1);
}

// Field i of a list of four numbers; a list that would be too long for its readers stays as it is.
void record(const char *key, unsigned i, unsigned value)
{
    int fields[outputs];
    RdNvram_N_Param_int(key, outputs, fields);
    fields[i] = static_cast<int>(value);
    char list[33];
    const int length = snprintf(list, sizeof list, "%d;%d;%d;%d", fields[0], fields[1], fields[2], fields[3]);
    if (length < int{sizeof list})
        nvram_bufset(0, key, list);
    else
        myprintf("Errors setDoX %s\n", key);
}

// False after saying why; for missing parameters without a word.
bool is_accepted(unsigned output, unsigned mode, const unsigned *parameters)
{
    constexpr unsigned count_limit = 1'000'000;
    constexpr unsigned pwm_frequency_limit = 11;
    if (output >= outputs) {
        myprintf("Errors setDoX idx:%02X\n", output);
        return false;
    }
    if (mode == mode_pwm && output != 0) {
        myprintf("only one DO1 PWM Mode ");
        return false;
    }
    if (takes_parameters(mode) && parameters == nullptr)
        return false;
    if (mode == mode_pulse && parameters[0] >= count_limit) {
        myprintf("Errors setDoX PLUSE_OUT range 0~999999 \n");
        return false;
    }
    if (mode == mode_pwm && parameters[0] >= pwm_frequency_limit) {
        myprintf("Errors setDoX PWM_OUT range 1~10 \n"); // 0 has always passed
        return false;
    }
    return true;
}

void start_pulses(unsigned output, unsigned count)
{
    write_register(mode_register[output], 0);
    const unsigned edges = 2 * count;
    for (unsigned i = 0; i < 4; ++i)
        write_register(count_registers[output][i], edges >> (24 - 8 * i));
    record("Pulse_PX", output, count);
    write_register(mode_register[output], mode_pulse);
}

void start_frequency(unsigned output, unsigned hertz)
{
    write_register(frequency_registers[output][0], hertz >> 8);
    write_register(frequency_registers[output][1], hertz);
    record("FREQ_PX", output, hertz);
    write_register(mode_register[output], mode_frequency);
}

void start_pwm(unsigned char frequency, unsigned char width)
{
    write_register(mode_register[0], mode_pwm);
    write_register(pwm_frequency_register, frequency);
    write_register(pwm_width_register, width);
    for (const std::uint8_t reg : frequency_registers[0])
        write_register(reg, not_used);
    write_register(mode_register[0], mode_frequency);
    record("PFREQ_PX", 0, frequency);
    record("PWidth_PX", 0, width);
}

void start(unsigned output, unsigned mode, const unsigned *parameters)
{
    if (mode == mode_pulse)
        start_pulses(output, parameters[0]);
    else if (mode == mode_frequency)
        start_frequency(output, parameters[0]);
    else if (mode == mode_pwm)
        start_pwm(static_cast<unsigned char>(parameters[0]), static_cast<unsigned char>(parameters[1]));
    else if (is_known(mode))
        write_register(mode_register[output], swap_levels(mode));
}

void read_registers(int reg, unsigned char *bytes, unsigned length)
{
    i2cmd(1, io_controller, reg, bytes, length);
}

} // namespace
} // namespace plexor

using namespace plexor;

int GetDIStatus(unsigned *out)
{
    if (out == nullptr)
        return 1;
    unsigned levels = 0;
    gpio_read_int(0, &levels);
    for (unsigned i = 0; i < 4; ++i)
        out[i] = bit_set(levels, static_cast<unsigned>(DIGPIO[i])) ? 0 : 1; // active low
    return 1;
}

int GetIICDi(void)
{
    return bit_set(static_cast<unsigned>(nvram_kget_int("sIICDi", 0)), 0) ? 0 : 1;
}

int getdomode(unsigned mode)
{
    if (is_known(mode))
        return static_cast<int>(swap_levels(mode));
    myprintf("Errors setDoX model :%02X\n", mode);
    return 0;
}

int setDoX(unsigned output, unsigned mode, unsigned *parameters)
{
    if (!is_accepted(output, mode, parameters))
        return 0;
    const auto code = static_cast<unsigned>(getdomode(mode));
    start(output, mode, parameters);
    record(modes_key, output, swap_levels(code)); // an unknown mode has code 0 and is recorded as 1
    SendProcessSig("libplexor", mode_changed);
    return 1;
}

int SetDOByIdx(unsigned output, unsigned level)
{
    if (output >= outputs) {
        myprintf("SetDOByIdx idx:%d Err!\r\n", static_cast<int>(output));
        return 0;
    }
    if (level > 1) {
        myprintf("SetDOByIdx bShowDCTTL:%d Err!\r\n", static_cast<int>(level));
        return 0;
    }
    write_register(level_registers[output][0], level);
    write_register(level_registers[output][1], level);
    write_register(level_registers[output][2], 0xFF); // take it over
    WrNvram_DoPX_ByIdx_DOUSE(modes_key, static_cast<int>(output), static_cast<long>(level));
    return 0;
}

int GetDOByIdx(unsigned char *out)
{
    if (out == nullptr)
        return 0;
    std::memset(out, 0, 32);
    read_registers(21, out, 4);
    read_registers(31, out + 4, 4);
    read_registers(60, out + 8, 8);
    read_registers(68, out + 16, 8);
    unsigned char *const modes = out + 24;
    read_registers(mode_register[0], modes, 4);
    read_registers(20, out + 28, 1);
    read_registers(30, out + 29, 1);
    unsigned char *const do1_frequency = out + 30;
    read_registers(frequency_registers[0][0], do1_frequency, 2);
    for (unsigned i = 0; i < outputs; ++i)
        modes[i] = static_cast<unsigned char>(swap_levels(modes[i]));
    if (do1_frequency[0] != not_used)
        return do1_frequency[0];
    if (do1_frequency[1] != not_used)
        return mode_frequency;
    if (modes[0] == mode_frequency)
        modes[0] = mode_pwm; // which leaves the code of frequency in its mode register
    return mode_pwm;
}

int GetDOStatus(int *out)
{
    if (out != nullptr)
        RdNvram_N_Param_int(modes_key, outputs, out);
    return 1;
}
