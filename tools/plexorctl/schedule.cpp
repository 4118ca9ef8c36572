// SPDX-License-Identifier: Apache-2.0
#include "tools/plexorctl/schedule.h"

#include <cstdio>
#include <cstring>

#include <plexor/schedule.h>

#include "nvram.h"
#include "support/list.h"
#include "tools/plexorctl/read_answered.h"

namespace plexor::ctl
{
namespace
{

constexpr unsigned board_controller = 0xA0;
constexpr unsigned mark_register = 4;
constexpr unsigned char copied = 9;

struct Keys {
    char record[24];
    char companion[24];

    explicit Keys(int number)
    {
        std::snprintf(record, sizeof record, "schedule%d", number);
        std::snprintf(companion, sizeof companion, "schedule%dt", number);
    }
};

bool consists_of(std::string_view text, std::string_view accepted)
{
    for (const char c : text) {
        if (std::memchr(accepted.data(), c, accepted.size()) == nullptr)
            return false;
    }
    return true;
}

// One that is missing or has another length counts as empty.
const char *fitting_companion(const Schedule &schedule)
{
    return std::strlen(schedule.companion) == companion_length ? schedule.companion
                                                               : empty_schedule().companion;
}

bool read_bytes(int reg, char *bytes, std::size_t length)
{
    return read_answered(board_controller, static_cast<unsigned>(reg),
                         {reinterpret_cast<unsigned char *>(bytes), length});
}

} // namespace

// Blanks are what the library leaves of a record that was never set.
bool Schedule::is_empty() const
{
    return consists_of(record, "0 ");
}

bool Schedule::is_copyable() const
{
    return !is_empty() && std::strlen(record) == record_length;
}

Schedule fetch_schedule(int number)
{
    const Keys keys(number);
    Schedule schedule{};
    fetch(keys.record, schedule.record);
    fetch(keys.companion, schedule.companion);
    return schedule;
}

bool store_schedule(int number, const Schedule &schedule)
{
    const Keys keys(number);
    if (nvram_bufset(0, keys.record, schedule.record) < 0 ||
        nvram_bufset(0, keys.companion, schedule.companion) < 0)
        return false;
    const Schedule kept = fetch_schedule(number);
    return std::strcmp(kept.record, schedule.record) == 0 &&
           std::strcmp(kept.companion, schedule.companion) == 0;
}

const Schedule &empty_schedule()
{
    static constexpr Schedule empty{"00000000000000000000000000000000000", "000;000;000;000;000;000;000;000"};
    return empty;
}

bool Page::is_empty() const
{
    static constexpr char nothing[] = {'0', ' ', '\0', '\xFF'};
    return consists_of({record, sizeof record}, {nothing, sizeof nothing});
}

bool Page::is_restorable(int number) const
{
    return std::memchr(record, '\0', sizeof record) == nullptr && record[1] == '1' + number;
}

bool read_page(int number, Page &page)
{
    return read_bytes(pindex[number], page.record, sizeof page.record) &&
           read_bytes(scheduletindex[number], page.companion, sizeof page.companion);
}

void write_page(int number, const Schedule &schedule)
{
    Schedule page = schedule.is_copyable() ? schedule : empty_schedule();
    if (schedule.is_copyable())
        writepage(number, "scheduleconfig", page.record, record_length);
    else
        writepage(number, "DelPowerSchedule", page.record, record_length);
    std::memmove(page.companion, fitting_companion(page), companion_length);
    writepage(number, "schedulet", page.companion, companion_length);
}

bool agree(const Schedule &schedule, const Page &page)
{
    if (schedule.is_empty() || page.is_empty())
        return schedule.is_empty() && page.is_empty();
    return schedule.is_copyable() && std::memcmp(schedule.record, page.record, record_length) == 0 &&
           std::memcmp(fitting_companion(schedule), page.companion, companion_length) == 0;
}

Copy compare_with_copy(int number, const Schedule &schedule)
{
    if (number >= copied_schedules)
        return Copy::none;
    Page page{};
    if (!read_page(number, page))
        return Copy::silent;
    return agree(schedule, page) ? Copy::agrees : Copy::differs;
}

bool read_copied_mark(unsigned char &mark)
{
    return read_answered(board_controller, mark_register, {&mark, 1});
}

bool is_restore_pending()
{
    unsigned char mark = 0;
    return nvram_kget_int("reflash", 0) != copied && read_copied_mark(mark) && mark == copied;
}

} // namespace plexor::ctl
