// SPDX-License-Identifier: Apache-2.0
#include "board/interpose/world.h"

#include <link.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <span>
#include <string_view>

namespace plexor::board
{
namespace
{

struct Range {
    std::uintptr_t begin;
    std::uintptr_t end;
};

struct Watched {
    std::array<Range, 16> ranges{};
    std::size_t count{};
    int objects{}; // seen so far, the executable first
    int libraries{};
};

constinit Watched watched;
constinit std::atomic<World *> installed;

bool is_watched_library(std::string_view path)
{
    return path.substr(path.rfind('/') + 1).starts_with("libplexor");
}

void watch_code_of(const dl_phdr_info &object)
{
    for (int i = 0; i < object.dlpi_phnum; ++i) {
        const auto &segment = object.dlpi_phdr[i];
        if (segment.p_type != PT_LOAD || (segment.p_flags & PF_X) == 0)
            continue;
        const std::uintptr_t begin = object.dlpi_addr + segment.p_vaddr;
        watched.ranges.at(watched.count++) = {begin, begin + segment.p_memsz};
    }
}

int visit(dl_phdr_info *object, std::size_t, void *)
{
    const bool executable = watched.objects++ == 0;
    const bool library = is_watched_library(object->dlpi_name);
    watched.libraries += library;
    if (executable || library)
        watch_code_of(*object);
    return 0;
}

} // namespace

int install_world(World *world)
{
    installed.store(nullptr);
    watched = {};
    dl_iterate_phdr(visit, nullptr);
    installed.store(world);
    return watched.libraries;
}

World *world_for(const void *caller)
{
    World *world = installed.load();
    if (world == nullptr)
        return nullptr;
    const auto address = reinterpret_cast<std::uintptr_t>(caller);
    const auto holds = [address](const Range &range) {
        return address >= range.begin && address < range.end;
    };
    const auto ranges = std::span<const Range>(watched.ranges).first(watched.count);
    return std::any_of(ranges.begin(), ranges.end(), holds) ? world : nullptr;
}

} // namespace plexor::board
