// SPDX-License-Identifier: Apache-2.0
#include "board/model/io_controller.h"

#include <algorithm>
#include <utility>

namespace plexor::board
{

namespace
{

struct Wires {
    std::uint8_t mode;
    std::array<std::uint8_t, 4> count; // highest byte first; the low half is the frequency, too
    std::array<std::uint8_t, 2> level; // both hold it; some are other outputs' frequency registers
    std::uint8_t apply;
};
constexpr std::array<Wires, IoController::outputs> wires{{
    {0x50, {0x33, 0x34, 0x01, 0x02}, {13, 5}, 9},
    {0x51, {0x35, 0x36, 0x03, 0x04}, {22, 6}, 10},
    {0x52, {0x37, 0x38, 0x05, 0x06}, {31, 7}, 11},
    {0x53, {0x39, 0x3A, 0x07, 0x08}, {40, 8}, 12},
}};
constexpr std::size_t pwm_output = 0;
constexpr std::uint8_t pwm_frequency = 0x10;
constexpr std::uint8_t pwm_width = 0x11;
constexpr std::uint32_t pwm_instead = 0xFFFF; // this frequency means PWM
constexpr std::uint8_t apply_now = 0xFF;

enum Code : std::uint8_t { level_1, level_0, pulse_train, running, pwm_setup };
constexpr std::array<std::uint8_t, 9> codes{level_1, level_0, pulse_train, running, pwm_setup,
                                            10,      12,      13,          14};

std::string name_of(std::size_t output)
{
    return "DO " + std::to_string(output + 1);
}

} // namespace

void IoController::power_loss()
{
    registers_.fill(0);
    pulses_.fill(0);
    for (std::size_t output = 0; output < outputs; ++output) {
        if (signals_[output] != at_rest)
            timeline_.add(0, "output", name_of(output), "off");
        signals_[output] = at_rest;
    }
}

void IoController::write(std::uint32_t reg, std::span<const std::uint8_t> bytes, std::int32_t pid)
{
    for (const std::uint8_t byte : bytes) {
        registers_[reg] = byte;
        react(reg++, pid);
    }
}

void IoController::react(std::uint32_t reg, std::int32_t pid)
{
    for (std::size_t output = 0; output < outputs; ++output) {
        if (reg == wires[output].mode)
            run_mode(output, pid);
        if (reg == wires[output].apply)
            apply_level(output, pid);
    }
}

// A code that makes no sense leaves the output as it is.
void IoController::run_mode(std::size_t output, std::int32_t pid)
{
    const std::uint8_t code = registers_[wires[output].mode];
    std::string objection = objection_to(output, code);
    if (!objection.empty())
        return object(output, std::move(objection), pid);
    if (code == pulse_train) {
        pulses_[output] += edges(output) / 2;
        signals_[output].clear(); // each train is news
    }
    show(output, signal_of(output, code), pid);
}

void IoController::apply_level(std::size_t output, std::int32_t pid)
{
    const Wires &its = wires[output];
    const std::uint8_t level = registers_[its.level[0]];
    if (registers_[its.apply] != apply_now)
        return object(output, "applied with " + std::to_string(registers_[its.apply]), pid);
    if (level > 1 || registers_[its.level[1]] != level) {
        return object(output,
                      "registers " + std::to_string(its.level[0]) + " and " + std::to_string(its.level[1]) +
                          " are no level",
                      pid);
    }
    show(output, "level " + std::to_string(level), pid);
}

std::string IoController::signal_of(std::size_t output, std::uint8_t code) const
{
    switch (code) {
    case level_1:
        return "level 1";
    case level_0:
        return "level 0";
    case pulse_train:
        return "pulse train " + std::to_string(edges(output) / 2);
    case running:
        if (output == pwm_output && frequency(output) == pwm_instead) {
            return "PWM " + std::to_string(registers_[pwm_frequency]) + "/" +
                   std::to_string(registers_[pwm_width]);
        }
        return std::to_string(frequency(output)) + " Hz";
    case pwm_setup:
        return "PWM being set up";
    default:
        return "mode " + std::to_string(code);
    }
}

// What the controller would do nothing about, or not what was meant; empty when all is well.
std::string IoController::objection_to(std::size_t output, std::uint8_t code) const
{
    if (std::find(codes.begin(), codes.end(), code) == codes.end())
        return "no mode " + std::to_string(code);
    if (code == pwm_setup && output != pwm_output)
        return "no PWM on this output";
    if (code == pulse_train && edges(output) % 2 != 0)
        return std::to_string(edges(output)) + " edges end on the other level";
    return {};
}

std::uint32_t IoController::edges(std::size_t output) const
{
    std::uint32_t number = 0;
    for (const std::uint8_t reg : wires[output].count)
        number = number << 8 | registers_[reg];
    return number;
}

std::uint32_t IoController::frequency(std::size_t output) const
{
    return edges(output) & 0xFFFF;
}

void IoController::object(std::size_t output, std::string why, std::int32_t pid)
{
    timeline_.add(pid, "violation", name_of(output), std::move(why));
}

void IoController::show(std::size_t output, std::string signal, std::int32_t pid)
{
    if (signals_[output] == signal)
        return;
    signals_[output] = std::move(signal);
    timeline_.add(pid, "output", name_of(output), signals_[output]);
}

} // namespace plexor::board
