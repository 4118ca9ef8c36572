// SPDX-License-Identifier: Apache-2.0
// The parameter store of a board: what the platform's configuration library keeps, on LMDB.
//
// Three databases in one environment: "live" is what every process reads and writes, "flash" is what survives
// a power loss, "factory" is what the factory wrote once. Any number of processes use one store at a time.
// LMDB's writer lock is a robust mutex and an unfinished transaction is simply not there, so a process killed
// at any point neither blocks the others nor leaves half a change.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace plexor::board
{

using EthernetAddress = std::array<std::uint8_t, 6>;

class Store
{
  public:
    static constexpr std::size_t largest_value = 64 * 1024;

    // Nothing is opened before the first use. A folder that does not exist is made then.
    explicit Store(std::string directory = default_directory());
    ~Store();
    Store(const Store &) = delete;
    Store &operator=(const Store &) = delete;

    static std::string default_directory(); // $PLEXOR_STORE, else /run/plexor/store

    // Results: false, or nothing, when the store cannot be reached or refuses the key or value (keys have
    // 1 to 511 bytes).
    std::optional<std::string> get(std::string_view key) const;
    bool set(std::string_view key, std::string_view value);
    bool provision(std::string_view key, std::string_view value); // live and flash at once
    bool commit();                                                // live to flash, wholly or not at all
    bool power_loss();                                            // flash to live
    std::map<std::string, std::string> list() const;              // all that is live

    // What the factory wrote to flash; nothing when erased.
    std::optional<EthernetAddress> ethernet_address() const;
    bool set_ethernet_address(const std::optional<EthernetAddress> &address);

  private:
    struct Environment;
    const Environment *environment() const;

    std::string directory_;
    mutable std::mutex opening_{};
    mutable std::atomic<const Environment *> current_{nullptr};
};

} // namespace plexor::board
