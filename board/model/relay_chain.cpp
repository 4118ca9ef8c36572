// SPDX-License-Identifier: Apache-2.0
#include "board/model/relay_chain.h"

#include <string>

#include "board/model/refuse.h"

namespace plexor::board
{

namespace
{

constexpr std::uint32_t request_single = 4;
constexpr std::uint32_t request_all = 6;
constexpr std::size_t record_size = 5;
constexpr std::size_t group_size = 4;
constexpr std::uint8_t strapped_latching = 8;
constexpr unsigned set_coil = 1;
constexpr unsigned reset_coil = 2;

std::size_t reach_of(RelayPath path)
{
    switch (path) {
    case RelayPath::chain_one_byte:
        return 4;
    case RelayPath::chain_two_bytes:
        return 8;
    case RelayPath::none:
    case RelayPath::gpio:
        break;
    }
    return 0;
}

} // namespace

RelayChain::RelayChain(RelayPath path, bool latching, std::span<TwoState> contacts, Timeline &timeline)
    : reach_(reach_of(path)), latching_(latching), contacts_(contacts), timeline_(timeline)
{
}

Reply RelayChain::handle(const Request &request)
{
    if (request.number != request_single && request.number != request_all)
        return refuse_number(timeline_, request, "chain");
    const auto &record = request.data;
    if (record.size() != record_size)
        return refuse(timeline_, request, "chain", "record of " + std::to_string(record.size()) + " bytes");
    if (reach_ == 0) {
        timeline_.add(request.pid, "relay", "chain", "not fitted");
        return {};
    }
    const std::size_t outlet = record[0];
    if (outlet >= reach_ || (request.number == request_all && outlet % group_size != 0))
        return refuse(timeline_, request, "chain", "nothing at outlet index " + std::to_string(outlet));
    if (record[4] != (latching_ ? strapped_latching : 0))
        timeline_.add(request.pid, "violation", "chain", "strap byte differs from the relays");
    drive(outlet - outlet % group_size, record[1], request.pid);
    return {};
}

void RelayChain::power_loss()
{
    if (latching_)
        return;
    for (TwoState &contact : contacts_)
        contact.set(false, 0);
}

void RelayChain::drive(std::size_t first, unsigned pattern, std::int32_t pid)
{
    for (std::size_t k = 0; k < group_size && first + k < contacts_.size(); ++k) {
        const unsigned pair = (pattern >> (2 * k)) & (set_coil | reset_coil);
        if (latching_)
            pulse(first + k, pair, pid);
        else
            contacts_[first + k].set((pair & set_coil) != 0, pid);
    }
}

void RelayChain::pulse(std::size_t outlet, unsigned pair, std::int32_t pid)
{
    if (pair == (set_coil | reset_coil)) {
        timeline_.add(pid, "violation", outlet_name(outlet), "both coils at once");
    } else if (pair != 0) {
        timeline_.add(pid, "relay", outlet_name(outlet), pair == set_coil ? "set coil" : "reset coil");
        contacts_[outlet].set(pair == set_coil, pid);
    }
}

} // namespace plexor::board
