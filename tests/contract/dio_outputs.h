// SPDX-License-Identifier: Apache-2.0
// What the tests of the digital outputs share: the I/O controller's registers, and what a call did to it, to
// the store and to the connector, a short word a step.
#pragma once

#include <plexor/dio.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <string>
#include <vector>

#include "tests/contract/appliance.h"
#include "tests/contract/call_text.h"

namespace plexor::tests
{

using Numbers = std::vector<unsigned>;
using Levels = std::vector<std::string>;

struct OutputRegisters {
    unsigned mode;
    std::array<unsigned, 4> count; // highest byte first
    std::array<unsigned, 2> frequency;
    std::array<unsigned, 3> level;
};
inline constexpr std::array<OutputRegisters, 4> registers_of{{
    {0x50, {0x33, 0x34, 0x01, 0x02}, {0x01, 0x02}, {13, 5, 9}},
    {0x51, {0x35, 0x36, 0x03, 0x04}, {0x03, 0x04}, {22, 6, 10}},
    {0x52, {0x37, 0x38, 0x05, 0x06}, {0x05, 0x06}, {31, 7, 11}},
    {0x53, {0x39, 0x3A, 0x07, 0x08}, {0x07, 0x08}, {40, 8, 12}},
}};

// A write of one byte to the I/O controller, as steps() has it.
inline std::string put(unsigned reg, unsigned byte)
{
    return print("%02X:%02X", reg, byte);
}

// A list of four fields of which one is set and the others were absent.
inline std::string only(unsigned field, const std::string &value)
{
    std::array<std::string, 4> fields{"0", "0", "0", "0"};
    fields.at(field) = value;
    return fields[0] + ";" + fields[1] + ";" + fields[2] + ";" + fields[3];
}

inline std::string only(unsigned field, unsigned value)
{
    return only(field, std::to_string(value));
}

// The step that records a mode where no other was.
inline std::string mode_recorded(unsigned output, unsigned mode)
{
    return "sDOMode_PX=" + only(output, mode);
}

class DigitalOutputs : public Appliance
{
  protected:
    DigitalOutputs()
    {
        make_segment(0x4932434D, 1480, 0666); // the bus' cache, which says so when it is made
        set("mqtt_enable", "1");
        set("mqtt_connect", "1");
        write_pid_file("cnt3", "431\n");
        add_process(431);
    }

    // The parameters lie on the heap in exactly their number, so that a sanitizer sees a step beyond them.
    static int set_mode(unsigned output, unsigned mode, Numbers parameters = {})
    {
        const Numbers before = parameters;
        const int result = setDoX(output, mode, parameters.empty() ? nullptr : parameters.data());
        EXPECT_EQ(parameters, before);
        return result;
    }

    // Writes to the controller, to the store and to the connector, in order: "50:02", "Pulse_PX=5;0;0;0",
    // "notify 5". Anything else that moves stands as in the call record.
    Calls steps() const
    {
        Calls chosen;
        for (const auto &call : calls()) {
            if (call.starts_with("ioctl") || call.starts_with("nvram_bufset") || call.starts_with("sigqueue"))
                chosen.push_back(shortened(call));
        }
        return chosen;
    }
    Calls steps_of(unsigned output, unsigned mode, const Numbers &parameters = {})
    {
        forget_calls();
        EXPECT_EQ(set_mode(output, mode, parameters), 1) << "output " << output << " mode " << mode;
        return steps();
    }
    Levels signals()
    {
        Levels all;
        for (int output = 0; output < 4; ++output)
            all.push_back(board().digital_output(output));
        return all;
    }
    // All at rest but this one.
    static Levels only_signal(unsigned output, const std::string &signal)
    {
        Levels all(4, "level 1");
        all[output] = signal;
        return all;
    }
    // Nothing was touched, and this was said.
    void expect_refused(unsigned output, unsigned mode, const Numbers &parameters, const std::string &line)
    {
        forget_calls();
        EXPECT_EQ(set_mode(output, mode, parameters), 0) << "output " << output << " mode " << mode;
        EXPECT_EQ(calls(), Calls{});
        EXPECT_EQ(debug_print(), line);
    }

    // What was printed but for the controller writes, which the bus prints.
    std::string complaints() const
    {
        std::string text = debug_print();
        for (auto start = text.find("DbgPicW:"); start != std::string::npos; start = text.find("DbgPicW:"))
            text.erase(start, text.find('\n', start) + 1 - start);
        return text;
    }

  private:
    static std::string shortened(const std::string &call)
    {
        unsigned reg = 0;
        unsigned byte = 0;
        if (std::sscanf(call.c_str(), "ioctl /dev/i2cM0 17 32 %u [%2X]", &reg, &byte) == 2 &&
            call == print("ioctl /dev/i2cM0 17 32 %u [%02X]", reg, byte))
            return put(reg, byte);
        const std::string store = "nvram_bufset 0 ";
        const std::string connector = print("sigqueue 431 %d ", SIGRTMAX - 10);
        if (call.starts_with(store))
            return call.substr(store.size());
        if (call.starts_with(connector))
            return "notify " + call.substr(connector.size());
        return call;
    }
};

} // namespace plexor::tests
