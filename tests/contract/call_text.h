// SPDX-License-Identifier: Apache-2.0
// How calls are written down.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <ctime>
#include <string>

#include "board/model/device.h"

namespace plexor::tests
{

std::string vprint(const char *format, std::va_list arguments) __attribute__((format(printf, 1, 0)));
std::string print(const char *format, ...) __attribute__((format(printf, 1, 2)));

std::string clock_name(clockid_t clock); // "monotonic", "realtime", else the number
std::string ioctl_text(const board::Request &request, std::uintptr_t argument);

} // namespace plexor::tests
