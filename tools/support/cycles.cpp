// SPDX-License-Identifier: Apache-2.0
#include "tools/support/cycles.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include <plexor/process.h>

#include "foundation/model_table.h"
#include "support/list.h"
#include "support/shared_memory.h"

namespace plexor::ctl
{
namespace
{

using List = char[256];

void end_lists(plexor_cycles &record)
{
    for (List *list : {&record.table, &record.durations, &record.started, &record.elapsed})
        (*list)[sizeof *list - 1] = '\0';
}

// Copies, and finds busy also a record that somebody began to write meanwhile.
void copy_once(const plexor_cycles &record, plexor_cycles &copy)
{
    const volatile unsigned &busy = record.busy;
    std::memcpy(&copy, &record, sizeof copy);
    std::atomic_thread_fence(std::memory_order_acquire);
    if (copy.busy != 1)
        copy.busy = busy;
}

// Writers are done in no time, unless they switch an outlet meanwhile.
void copy_between_writes(const plexor_cycles &record, plexor_cycles &copy)
{
    constexpr int tries = 20;
    for (int i = 0; i < tries; ++i) {
        copy_once(record, copy);
        if (copy.busy != 1)
            break;
        USleep(10'000);
    }
    end_lists(copy);
}

// Of the fields that are not empty, which is how the library counts them.
const char *field(List &copy, const List &list, unsigned index)
{
    std::memcpy(copy, list, sizeof copy);
    const char *text = nth_filled_field(copy, index + 1);
    return text == nullptr ? "" : text;
}

int number(const List &list, unsigned index)
{
    List copy;
    return std::atoi(field(copy, list, index));
}

} // namespace

int read_cycles(plexor_cycles &copy)
{
    const int id = shmget(PLEXOR_CYCLE_KEY, sizeof copy, 0);
    if (id < 0)
        return errno;
    const Attachment segment(id, SHM_RDONLY);
    if (!segment)
        return errno;
    copy_between_writes(*static_cast<const plexor_cycles *>(segment.get()), copy);
    return 0;
}

OutletCycle cycle_of(const plexor_cycles &record, unsigned index)
{
    OutletCycle cycle{};
    cycle.runs = number(record.table, max_outlets + index) == PLEXOR_CYCLE_RUNNING;
    cycle.off_first = record.mode[index] == 1;
    cycle.seconds = number(record.durations, index);
    cycle.remaining = number(record.table, index);
    List copy;
    std::sscanf(field(copy, record.started, index), "%2d:%2d:%2d", &cycle.started.hour, &cycle.started.minute,
                &cycle.started.second);
    return cycle;
}

} // namespace plexor::ctl
