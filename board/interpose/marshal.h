// SPDX-License-Identifier: Apache-2.0
// Between the memory of a process that calls a driver and the flat requests that the board handles. Both ways
// of putting the board under the library use it: the test executable and the preloaded shim.
#pragma once

#include <cstdint>
#include <optional>

#include "board/model/device.h"

namespace plexor::board
{

inline constexpr std::uint32_t max_transfer = 64 * 1024; // bytes of one I2C transfer

std::optional<Device> device_at(const char *path); // the device behind a path of /dev
const char *device_path(Device device);

// Fills request from the three arguments of ioctl, reading the caller's memory as the driver would. Returns
// 0, or the errno with which the call fails before it reaches the device.
int marshal(Device device, unsigned long number, std::uintptr_t argument, Request &request);

// True for an integer argument that does not fit the driver's 32 bits.
bool too_wide(const Request &request, std::uintptr_t argument);

// Puts the answer into the caller's memory and returns what ioctl returns, errno set.
int deliver(const Request &request, std::uintptr_t argument, const Reply &reply);

} // namespace plexor::board
