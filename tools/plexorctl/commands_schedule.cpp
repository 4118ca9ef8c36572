// SPDX-License-Identifier: Apache-2.0
#include <cstring>

#include <plexor/process.h>
#include <plexor/schedule.h>

#include "nvram.h"
#include "tools/plexorctl/command.h"
#include "tools/plexorctl/json.h"
#include "tools/plexorctl/parse.h"
#include "tools/plexorctl/schedule.h"
#include "tools/plexorctl/tame.h"
#include "tools/support/console.h"

namespace plexor::ctl
{
namespace
{

constexpr std::size_t ordinal_length = 2;
constexpr unsigned char copied = 9;

int silent_controller()
{
    return failure("nothing was done: the board controller does not answer at 0xA0");
}

// --- list ---

const char *copy_words(Copy copy)
{
    switch (copy) {
    case Copy::agrees:
        return "  copy agrees";
    case Copy::differs:
        return "  copy differs";
    case Copy::silent:
        return "  the board controller does not answer";
    case Copy::none:
        break;
    }
    return "";
}

const char *copy_name(Copy copy)
{
    switch (copy) {
    case Copy::agrees:
        return "agrees";
    case Copy::differs:
        return "differs";
    case Copy::silent:
        return "silent";
    case Copy::none:
        break;
    }
    return nullptr;
}

void print_schedule(int number, const Schedule &schedule, Copy copy)
{
    std::fprintf(results(), "Schedule %-2d  ", number);
    print_tame(schedule.is_empty() ? "empty" : schedule.record);
    if (!schedule.is_empty() && *schedule.companion != '\0') {
        std::fputs("  ", results());
        print_tame(schedule.companion);
    }
    std::fprintf(results(), "%s\n", copy_words(copy));
}

void write_schedule(Json &json, int number, const Schedule &schedule, Copy copy)
{
    json.number("schedule", number);
    json.text("record", schedule.is_empty() ? nullptr : schedule.record);
    json.text("companion", schedule.is_empty() ? nullptr : schedule.companion);
    json.text("copy", copy_name(copy));
}

// The schedules that somebody could miss: set ones, and those that only the board controller has.
template <typename Visit>
void for_each_set(Visit visit)
{
    for (int number = 0; number < schedule_count; ++number) {
        const Schedule schedule = fetch_schedule(number);
        const Copy copy = compare_with_copy(number, schedule);
        if (!schedule.is_empty() || copy == Copy::differs)
            visit(number, schedule, copy);
    }
}

// --- write ---

bool is_graphic(std::string_view text)
{
    for (const char c : text) {
        if (c <= ' ' || c > '~')
            return false;
    }
    return true;
}

// A record whose number is wrong would not be restored.
bool parse_record(const char *word, int number, Schedule &schedule)
{
    char ordinal[12];
    std::snprintf(ordinal, sizeof ordinal, "%02d", number + 1);
    const std::size_t length = std::strlen(word);
    const bool numbered = length == record_length && std::memcmp(word, ordinal, ordinal_length) == 0;
    if (!is_graphic(word) || (!numbered && length != record_length - ordinal_length))
        return false;
    std::snprintf(schedule.record, sizeof schedule.record, "%s%s", numbered ? "" : ordinal, word);
    return true;
}

bool parse_companion(const char *word, Schedule &schedule)
{
    constexpr std::size_t period = 4; // of the separators
    if (std::strlen(word) != companion_length || !is_graphic(word))
        return false;
    for (std::size_t i = 0; i < companion_length; ++i) {
        if ((word[i] == ';') != (i % period == period - 1))
            return false;
    }
    std::strcpy(schedule.companion, word);
    return true;
}

std::optional<int> parse_schedule_number(const char *word)
{
    const std::optional<unsigned> number = parse_number(word, 0, schedule_count - 1);
    if (number)
        return static_cast<int>(*number);
    wrong_input("'%.80s' is no schedule; accepted: 0 to %d", word, schedule_count - 1);
    return std::nullopt;
}

int parse_schedule(const Context &context, int number, Schedule &schedule)
{
    const std::span<char *const> words = context.arguments;
    schedule = empty_schedule();
    if (!parse_record(words[1], number, schedule))
        return wrong_input("'%.80s' is no record; accepted: 33 characters without blanks, or 35 that start "
                           "with %02d",
                           words[1], number + 1);
    if (words.size() > 2 && !parse_companion(words[2], schedule))
        return wrong_input("'%.80s' is no companion; accepted: 8 fields of 3 characters without blanks, with "
                           "';' between them",
                           words[2]);
    return done;
}

// The library reads through the cache, which may know the mark of a moment ago.
void let_cache_expire()
{
    constexpr unsigned cached_microseconds = 250'000;
    USleep(cached_microseconds);
}

// What the board controller kept over a reset of the parameters would be overwritten.
int check_copies()
{
    let_cache_expire();
    unsigned char mark = 0;
    if (!read_copied_mark(mark))
        return silent_controller();
    if (is_restore_pending())
        return failure(
            "nothing was done: the parameters were reset, and the board controller has copies; run "
            "plexorctl schedule restore first");
    return done;
}

int commit()
{
    return nvram_commit(0) < 0 ? failure("the parameter store could not be written to flash") : done;
}

int copy_to_controller(int number)
{
    const Schedule schedule = fetch_schedule(number);
    write_page(number, schedule);
    Page page{};
    const bool kept = read_page(number, page) && agree(schedule.is_copyable() ? schedule : Schedule{}, page);
    return kept ? done : failure("the board controller did not keep schedule %d", number);
}

int report(const Context &context, int number)
{
    const Schedule schedule = fetch_schedule(number);
    const Copy copy = compare_with_copy(number, schedule);
    if (context.json) {
        Json json(results());
        write_schedule(json, number, schedule, copy);
    } else {
        print_schedule(number, schedule, copy);
    }
    return done;
}

// --- restore ---

int count_copies()
{
    int count = 0;
    for (int number = 0; number < copied_schedules; ++number) {
        Page page{};
        if (read_page(number, page) && page.is_restorable(number))
            ++count;
    }
    return count;
}

int bring_back()
{
    let_cache_expire();
    const int result = backupSchedule();
    if (nvram_kget_int("reflash", 0) != copied)
        return failure("nothing was restored: the board controller's mark of copies is %d and not %d", result,
                       copied);
    return done;
}

int report_restore(const Context &context, const char *result, int count)
{
    if (context.json) {
        Json json(results());
        json.text("result", result);
        json.number("schedules", count);
    } else if (std::strcmp(result, "restored") == 0) {
        std::fprintf(results(), "Restored %d schedule%s, and the administrator where there was a copy\n",
                     count, count == 1 ? "" : "s");
    } else {
        std::fprintf(results(), "Nothing to restore: %s\n", result);
    }
    return done;
}

} // namespace

int schedule_list(const Context &context)
{
    if (!context.json) {
        for_each_set(print_schedule);
        return done;
    }
    Json json(results());
    json.begin_array("schedules");
    for_each_set([&json](int number, const Schedule &schedule, Copy copy) {
        json.begin_object();
        write_schedule(json, number, schedule, copy);
        json.end();
    });
    return done;
}

int schedule_write(const Context &context)
{
    const std::optional<int> number = parse_schedule_number(context.arguments[0]);
    if (!number)
        return bad_input;
    Schedule schedule{};
    if (const int status = parse_schedule(context, *number, schedule); status != done)
        return status;
    const bool is_copied = *number < copied_schedules;
    if (const int status = is_copied ? check_copies() : done; status != done)
        return status;
    if (!store_schedule(*number, schedule))
        return failure("the parameter store did not keep schedule %d", *number);
    if (const int status = is_copied ? copy_to_controller(*number) : done; status != done)
        return status;
    if (const int status = commit(); status != done)
        return status;
    return report(context, *number);
}

int schedule_delete(const Context &context)
{
    const std::optional<int> number = parse_schedule_number(context.arguments[0]);
    if (!number)
        return bad_input;
    if (const int status = check_copies(); status != done)
        return status;
    DelPowerSchedule(*number);
    for (int copy = 0; copy < copied_schedules; ++copy) {
        if (const int status = copy_to_controller(copy); status != done)
            return status;
    }
    if (const int status = commit(); status != done)
        return status;
    return context.json ? schedule_list(context) : done;
}

int schedule_restore(const Context &context)
{
    unsigned char mark = 0;
    if (nvram_kget_int("reflash", 0) == copied)
        return report_restore(context, "the parameters are in step", 0);
    if (!read_copied_mark(mark))
        return silent_controller();
    if (mark != copied)
        return report_restore(context, "the board controller has no copies", 0);
    const int count = count_copies();
    if (const int status = bring_back(); status != done)
        return status;
    if (const int status = commit(); status != done)
        return status;
    return report_restore(context, "restored", count);
}

} // namespace plexor::ctl
