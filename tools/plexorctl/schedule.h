// SPDX-License-Identifier: Apache-2.0
// Schedule records in the parameter store, and the pages of the board controller that are copies of the first
// of them.
#pragma once

#include <string_view>

namespace plexor::ctl
{

constexpr int schedule_count = 30;
constexpr int copied_schedules = 5;
constexpr std::size_t record_length = 35;
constexpr std::size_t companion_length = 31;

struct Schedule {
    char record[128];
    char companion[128];

    bool is_empty() const;
    // Fit for a page: of the right length. A schedule that is empty, or has another length, has an empty page.
    bool is_copyable() const;
};

Schedule fetch_schedule(int number);
bool store_schedule(int number, const Schedule &schedule); // not committed
const Schedule &empty_schedule();

struct Page {
    char record[record_length];
    char companion[companion_length];

    // Zeros in any form, or what memory holds that was never written.
    bool is_empty() const;
    // As the library judges when it restores one.
    bool is_restorable(int number) const;
};

enum class Copy { none, agrees, differs, silent }; // silent: the board controller does not answer

bool read_page(int number, Page &page);
void write_page(int number, const Schedule &schedule);
bool agree(const Schedule &schedule, const Page &page);
Copy compare_with_copy(int number, const Schedule &schedule);

// Nothing was copied since the store was reset, and the copies were not restored.
bool is_restore_pending();

// The byte that is 9 when there are copies; false when the board controller does not answer.
bool read_copied_mark(unsigned char &mark);

} // namespace plexor::ctl
