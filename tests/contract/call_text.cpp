// SPDX-License-Identifier: Apache-2.0
#include "tests/contract/call_text.h"

#include <cstdio>
#include <vector>

#include "board/interpose/marshal.h"

namespace plexor::tests
{
namespace
{

std::string hex(const std::vector<std::uint8_t> &bytes)
{
    std::string text;
    for (const auto byte : bytes)
        text += print("%02X", byte);
    return text;
}

std::string i2c_arguments(const board::Request &request)
{
    switch (request.number) {
    case 3:
        return print(" %u len %u", request.reg, request.length);
    case 5:
        return print(" %u 0x%08X len %u", request.reg, request.value, request.length);
    case 16:
        return print(" %02X %u len %u", request.address, request.reg, request.length);
    case 17:
        return print(" %02X %u [%s]", request.address, request.reg, hex(request.data).c_str());
    default:
        return "";
    }
}

bool is_bank_read(std::uint32_t number)
{
    return number == 2 || number == 82 || number == 98;
}

std::string arguments_of(const board::Request &request, std::uintptr_t argument)
{
    switch (request.device) {
    case board::Device::gpio:
        return is_bank_read(request.number) ? ""
                                            : print(" 0x%08llX", static_cast<unsigned long long>(argument));
    case board::Device::relays:
        return print(" %s", hex(request.data).c_str());
    case board::Device::i2c:
        return i2c_arguments(request);
    }
    return "";
}

} // namespace

std::string vprint(const char *format, std::va_list arguments)
{
    std::va_list measured;
    va_copy(measured, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, measured);
    va_end(measured);
    std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    return text;
}

std::string print(const char *format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    std::string text = vprint(format, arguments);
    va_end(arguments);
    return text;
}

std::string clock_name(clockid_t clock)
{
    switch (clock) {
    case CLOCK_MONOTONIC:
        return "monotonic";
    case CLOCK_REALTIME:
        return "realtime";
    default:
        return std::to_string(clock);
    }
}

std::string ioctl_text(const board::Request &request, std::uintptr_t argument)
{
    return print("ioctl %s %u", board::device_path(request.device), request.number) +
           arguments_of(request, argument);
}

} // namespace plexor::tests
