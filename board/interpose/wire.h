// SPDX-License-Identifier: Apache-2.0
// What a process and the board daemon say to each other over the devices' socket (SOCK_SEQPACKET, one message
// per packet). A connection is one opened device:
//
//   process: open (device)          daemon: reply (error 0, or the errno with which open fails)
//   process: request                daemon: reply
//   ... any number of requests ...
//   the process closes, or dies, and the daemon sees the hang-up
//
// Integers are little-endian. The process id is not carried: the daemon takes it from SO_PEERCRED.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "board/model/device.h"

namespace plexor::board
{

using Bytes = std::vector<std::uint8_t>;

inline constexpr std::size_t max_message = 64 * 1024 + 64; // of any kind, in bytes

Bytes encode_open(Device device);
Bytes encode(const Request &request);
Bytes encode(const Reply &reply);

// Nothing for a message that is not of the kind expected, whatever its bytes.
std::optional<Device> decode_open(std::span<const std::uint8_t> message);
std::optional<Request> decode_request(std::span<const std::uint8_t> message); // pid stays 0
std::optional<Reply> decode_reply(std::span<const std::uint8_t> message);

// Where a board has its sockets: the folder that the environment names with PLEXOR_BOARD_DIR, or /run/plexor
// when it names none or an empty one.
std::string board_folder();
std::string devices_socket(); // "devices.sock" there
std::string clock_file();     // "clock"

} // namespace plexor::board
