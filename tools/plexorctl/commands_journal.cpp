// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/descriptor.h"
#include "support/owned.h"
#include "support/time.h"
#include "tools/plexorctl/command.h"
#include "tools/plexorctl/journal.h"
#include "tools/plexorctl/json.h"
#include "tools/plexorctl/tame.h"
#include "tools/support/board.h"
#include "tools/support/console.h"

namespace plexor::ctl
{
namespace
{

constexpr const char *journal_path = "/tmp/iomail.txt";

struct Contents {
    Block bytes;
    std::size_t length = 0;

    std::string_view text() const { return {reinterpret_cast<const char *>(bytes.get()), length}; }
};

// As many bytes as the file had when it was opened: writers may go on meanwhile.
bool read_whole(const Descriptor &file, std::size_t size, Contents &contents)
{
    contents.bytes = take_block(size + 1);
    while (contents.bytes && contents.length < size) {
        const ssize_t got = read(file.get(), contents.bytes.get() + contents.length, size - contents.length);
        if (got < 0)
            return false;
        if (got == 0)
            break;
        contents.length += static_cast<std::size_t>(got);
    }
    return static_cast<bool>(contents.bytes);
}

int unreadable(const char *why)
{
    return failure("the journal %s cannot be read: %s", journal_path, why);
}

// Anybody can put something else in its place, so links are not followed and pipes not waited for. A file
// that is not there is an empty one.
int load(Contents &contents)
{
    const Descriptor file(open(journal_path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!file && errno == ENOENT)
        return done;
    if (!file)
        return unreadable(errno == ELOOP ? "it is a symbolic link" : std::strerror(errno));
    struct stat status {
    };
    if (fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return unreadable("it is no file");
    if (!read_whole(file, static_cast<std::size_t>(status.st_size), contents))
        return unreadable(std::strerror(errno));
    return done;
}

// --- text ---

void print_latest(std::uint32_t seconds)
{
    char text[64] = "";
    const tm local = local_time(static_cast<time_t>(seconds));
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
    std::fprintf(results(), "Latest entry  %s\n", text);
}

void print_outlets(const JournalEntry &entry)
{
    for (unsigned index = 0; index < entry.outlet_count; ++index) {
        const JournalOutlet &outlet = entry.outlets[index];
        std::fprintf(results(), "%s%u %s", index == 0 ? "  " : ", ", index + 1, on_or_off(outlet.on ? 1 : 0));
        if (outlet.amperes)
            std::fprintf(results(), " %.2f A", *outlet.amperes);
    }
    std::fputc('\n', results());
}

void print_measurements(const JournalEntry &entry)
{
    const char *separator = "  ";
    const auto print = [&separator](const std::optional<double> &value, int digits, const char *unit) {
        if (!value)
            return;
        std::fprintf(results(), "%s%.*f %s", separator, digits, *value, unit);
        separator = ", ";
    };
    print(entry.celsius, 1, "C");
    print(entry.volts, 2, "V");
    print(entry.amperes, 1, "A in all");
    if (entry.input) {
        std::fprintf(results(), "%sinput ", separator);
        print_tame(*entry.input);
    }
    if (entry.celsius || entry.volts || entry.amperes || entry.input)
        std::fputc('\n', results());
}

void print_entry(const JournalEntry &entry)
{
    if (!entry.understood) {
        std::fputs("not understood: ", results());
        print_tame(entry.raw);
        std::fputc('\n', results());
        return;
    }
    print_tame(entry.time);
    std::fputs("  ", results());
    print_tame(entry.source);
    std::fputs(": ", results());
    print_tame(entry.description);
    std::fputc('\n', results());
    print_outlets(entry);
    print_measurements(entry);
}

// --- JSON ---

void write_text(Json &json, const char *key, bool known, std::string_view text)
{
    if (known)
        json.text(key, text);
    else
        json.text(key, nullptr);
}

void write_outlets(Json &json, const JournalEntry &entry)
{
    json.begin_array("outlets");
    for (unsigned index = 0; index < entry.outlet_count; ++index) {
        json.begin_object();
        json.number("outlet", index + 1);
        json.text("state", on_or_off(entry.outlets[index].on ? 1 : 0));
        json.decimal("amperes", entry.outlets[index].amperes, 2);
        json.end();
    }
    json.end();
}

void write_entry(Json &json, const JournalEntry &entry)
{
    json.begin_object();
    write_text(json, "source", entry.understood, entry.source);
    write_text(json, "time", entry.understood, entry.time);
    write_text(json, "description", entry.understood, entry.description);
    write_outlets(json, entry);
    json.decimal("all_outlets_amperes", entry.amperes, 1);
    json.decimal("celsius", entry.celsius, 1);
    json.decimal("volts", entry.volts, 2);
    write_text(json, "input", entry.input.has_value(), entry.input.value_or(std::string_view()));
    write_text(json, "raw", !entry.understood, entry.raw);
    json.end();
}

void write_json(Journal journal)
{
    Json json(results());
    if (journal.latest)
        json.number("latest", *journal.latest);
    else
        json.text("latest", nullptr);
    json.begin_array("entries");
    while (!journal.entries.empty())
        write_entry(json, take_entry(journal.entries));
}

} // namespace

int journal_show(const Context &context)
{
    Contents contents;
    if (const int status = load(contents); status != done)
        return status;
    Journal journal = split_journal(contents.text());
    if (context.json) {
        write_json(journal);
        return done;
    }
    if (journal.latest)
        print_latest(*journal.latest);
    while (!journal.entries.empty())
        print_entry(take_entry(journal.entries));
    return done;
}

} // namespace plexor::ctl
