// SPDX-License-Identifier: Apache-2.0
#include "board/model/gpio.h"

#include <bit>
#include <cstring>
#include <string>

#include "board/model/refuse.h"

namespace plexor::board
{

namespace
{

constexpr int lines_per_bank = 32;
constexpr int lines = 96;

struct BankRequests {
    std::uint32_t read, write, input, output;
};
constexpr std::array<BankRequests, 3> bank_requests{{{2, 3, 17, 18}, {82, 83, 19, 20}, {98, 99, 21, 22}}};

std::uint32_t bit_of(int line)
{
    return 1U << (line % lines_per_bank);
}

std::vector<std::uint8_t> host_bytes(std::uint32_t word)
{
    std::vector<std::uint8_t> bytes(sizeof word);
    std::memcpy(bytes.data(), &word, sizeof word);
    return bytes;
}

template <typename Action>
void for_each_line(std::size_t group, std::uint32_t mask, Action action)
{
    for (; mask != 0; mask &= mask - 1) {
        const std::size_t line = group * lines_per_bank + static_cast<std::size_t>(std::countr_zero(mask));
        action("line " + std::to_string(line), mask & (~mask + 1));
    }
}

} // namespace

Reply Gpio::handle(const Request &request)
{
    for (std::size_t group = 0; group < banks_.size(); ++group) {
        const BankRequests &numbers = bank_requests[group];
        if (request.number == numbers.read)
            return {0, host_bytes(banks_[group].levels())};
        if (request.number == numbers.write) {
            write(group, request.value, request.pid);
            return {};
        }
        if (request.number == numbers.input || request.number == numbers.output) {
            direct(group, request.value, request.number == numbers.output, request.pid);
            return {};
        }
    }
    return refuse_number(timeline_, request, "gpio");
}

void Gpio::reset()
{
    for (Bank &bank : banks_)
        bank = {.outside = bank.outside};
}

void Gpio::set_input(int line, bool high)
{
    if (line < 0 || line >= lines)
        return;
    std::uint32_t &outside = banks_[static_cast<std::size_t>(line / lines_per_bank)].outside;
    outside = high ? outside | bit_of(line) : outside & ~bit_of(line);
}

bool Gpio::driven_low(int line) const
{
    const Bank &its = bank(line / lines_per_bank);
    return (its.outputs & ~its.latch & bit_of(line)) != 0;
}

const Gpio::Bank &Gpio::bank(int group) const
{
    return banks_[group == 1 || group == 2 ? static_cast<std::size_t>(group) : 0];
}

void Gpio::direct(std::size_t group, std::uint32_t mask, bool output, std::int32_t pid)
{
    Bank next = banks_[group];
    next.outputs = output ? next.outputs | mask : next.outputs & ~mask;
    change(group, next, pid);
}

void Gpio::write(std::size_t group, std::uint32_t word, std::int32_t pid)
{
    Bank next = banks_[group];
    for_each_line(group, (word ^ next.levels()) & ~next.outputs,
                  [&](const std::string &line, std::uint32_t bit) {
                      timeline_.add(pid, "violation", line,
                                    (word & bit) ? "written high while input" : "written low while input");
                  });
    next.latch = (next.latch & ~next.outputs) | (word & next.outputs);
    change(group, next, pid);
}

void Gpio::change(std::size_t group, const Bank &next, std::int32_t pid)
{
    const Bank before = banks_[group];
    banks_[group] = next;
    for_each_line(group, before.outputs ^ next.outputs, [&](const std::string &line, std::uint32_t bit) {
        timeline_.add(pid, "gpio", line, (next.outputs & bit) ? "output" : "input");
    });
    const std::uint32_t changed = (before.levels() ^ next.levels()) & next.outputs;
    for_each_line(group, changed, [&](const std::string &line, std::uint32_t bit) {
        timeline_.add(pid, "gpio", line, (next.latch & bit) ? "high" : "low");
    });
}

} // namespace plexor::board
