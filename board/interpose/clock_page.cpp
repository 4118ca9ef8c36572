// SPDX-License-Identifier: Apache-2.0
#include "board/interpose/clock_page.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace plexor::board
{
namespace
{

constexpr mode_t readable_by_all = 0644;

void *map(int descriptor, int protection)
{
    struct stat file {
    };
    void *page = MAP_FAILED;
    if (fstat(descriptor, &file) == 0 && static_cast<std::size_t>(file.st_size) >= sizeof(ClockPage))
        page = mmap(nullptr, sizeof(ClockPage), protection, MAP_SHARED, descriptor, 0);
    close(descriptor);
    return page == MAP_FAILED ? nullptr : page;
}

} // namespace

const ClockPage *map_clock(const std::string &path)
{
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    return descriptor < 0 ? nullptr : static_cast<const ClockPage *>(map(descriptor, PROT_READ));
}

// A file that is there keeps its size, or those who have it mapped would lose it.
ClockPage *map_clock_to_write(const std::string &path)
{
    const int descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, readable_by_all);
    if (descriptor < 0)
        return nullptr;
    if (ftruncate(descriptor, sizeof(ClockPage)) == 0)
        return static_cast<ClockPage *>(map(descriptor, PROT_READ | PROT_WRITE));
    close(descriptor);
    return nullptr;
}

} // namespace plexor::board
