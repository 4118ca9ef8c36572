// SPDX-License-Identifier: Apache-2.0
#include "tools/plexorctl/journal.h"

#include <cstdlib>
#include <cstring>

namespace plexor::ctl
{
namespace
{

constexpr std::string_view entry_start = "SOURCE:";
constexpr std::string_view entry_end = "]\n\n";
constexpr std::size_t nowhere = ~std::size_t{0};

// string_view's own find, substr, starts_with and ends_with would need the C++ library.
std::size_t find(std::string_view text, std::string_view wanted)
{
    const void *found = memmem(text.data(), text.size(), wanted.data(), wanted.size());
    return found == nullptr ? nowhere
                            : static_cast<std::size_t>(static_cast<const char *>(found) - text.data());
}

std::size_t find_last(std::string_view text, std::string_view wanted)
{
    std::size_t last = nowhere;
    for (std::size_t from = 0;;) {
        const std::size_t found = find({text.data() + from, text.size() - from}, wanted);
        if (found == nowhere)
            return last;
        last = from + found;
        from = last + 1;
    }
}

bool starts_with(std::string_view text, std::string_view start)
{
    return text.size() >= start.size() && std::memcmp(text.data(), start.data(), start.size()) == 0;
}

bool ends_with(std::string_view text, std::string_view end)
{
    return text.size() >= end.size() &&
           std::memcmp(text.data() + text.size() - end.size(), end.data(), end.size()) == 0;
}

std::string_view take_front(std::string_view &text, std::size_t length)
{
    const std::string_view front(text.data(), length);
    text.remove_prefix(length);
    return front;
}

std::optional<double> parse_decimal(std::string_view text)
{
    char copy[64]; // more than the widest float needs
    if (text.empty() || text.size() >= sizeof copy)
        return std::nullopt;
    std::memcpy(copy, text.data(), text.size());
    copy[text.size()] = '\0';
    char *end = nullptr;
    const double value = std::strtod(copy, &end);
    return end == copy + text.size() ? std::optional(value) : std::nullopt;
}

// Goes through the part of an entry that tells of the board.
class Cursor
{
  public:
    explicit Cursor(std::string_view text) : rest_(text) {}

    bool take(std::string_view literal)
    {
        if (!starts_with(rest_, literal))
            return false;
        rest_.remove_prefix(literal.size());
        return true;
    }
    std::string_view expect_text_before(std::string_view literal)
    {
        const std::size_t length = find(rest_, literal);
        if (length == nowhere) {
            failed_ = true;
            return {};
        }
        const std::string_view text = take_front(rest_, length);
        rest_.remove_prefix(literal.size());
        return text;
    }
    std::optional<double> expect_number_before(std::string_view literal)
    {
        const std::optional<double> number = parse_decimal(expect_text_before(literal));
        failed_ = failed_ || !number;
        return number;
    }
    void expect(bool condition) { failed_ = failed_ || !condition; }
    bool went_through() const { return rest_.empty() && !failed_; }

  private:
    std::string_view rest_;
    bool failed_ = false;
};

bool take_outlet(Cursor &state, JournalEntry &entry)
{
    const char label[] = {'P', 'o', 'w', 'e', 'r', static_cast<char>('1' + entry.outlet_count), '='};
    if (entry.outlet_count == most_journal_outlets || !state.take({label, sizeof label}))
        return false;
    JournalOutlet &outlet = entry.outlets[entry.outlet_count++];
    outlet.on = state.take("ON");
    state.expect(outlet.on || state.take("OFF"));
    if (state.take(", "))
        outlet.amperes = state.expect_number_before("A;");
    else
        state.expect(state.take(" ;"));
    return true;
}

void take_measurements(Cursor &state, JournalEntry &entry)
{
    if (state.take("Temperature=")) {
        entry.celsius = state.expect_number_before("℃(");
        state.expect_number_before("℉)");
    }
    if (state.take(";Voltage="))
        entry.volts = state.expect_number_before("V");
    if (state.take(" DI = "))
        entry.input = state.expect_text_before(" ");
    if (state.take("Amp="))
        entry.amperes = state.expect_number_before("A;");
}

bool parse_state(std::string_view text, JournalEntry &entry)
{
    Cursor state(text);
    while (take_outlet(state, entry)) {
    }
    take_measurements(state, entry);
    return entry.outlet_count > 0 && state.went_through();
}

constexpr std::string_view date_pattern = " 0000-00-00 00:00:00";

bool is_date(std::string_view text)
{
    for (std::size_t i = 0; i < date_pattern.size(); ++i) {
        const bool digit = text[i] >= '0' && text[i] <= '9';
        if (date_pattern[i] == '0' ? !digit : text[i] != date_pattern[i])
            return false;
    }
    return true;
}

// "SOURCE:web 2026-01-02 03:04:05", without its line end.
bool parse_header(std::string_view line, JournalEntry &entry)
{
    if (!starts_with(line, entry_start) || line.size() < entry_start.size() + date_pattern.size())
        return false;
    line.remove_prefix(entry_start.size());
    entry.source = take_front(line, line.size() - date_pattern.size());
    if (!is_date(line))
        return false;
    line.remove_prefix(1);
    entry.time = line;
    return true;
}

// What stands between the header and the end of an entry. The state holds no bracket, the description may.
bool parse_body(std::string_view body, JournalEntry &entry)
{
    const std::size_t bracket = find_last(body, "[");
    if (bracket == nowhere)
        return false;
    entry.description = take_front(body, bracket);
    if (ends_with(entry.description, "\r\n\t"))
        entry.description.remove_suffix(3);
    body.remove_prefix(1);
    return parse_state(body, entry);
}

JournalEntry parse_entry(std::string_view raw)
{
    JournalEntry entry{};
    std::string_view text = raw;
    const std::size_t header = find(text, "\n");
    if (ends_with(text, entry_end) && header < text.size() - entry_end.size()) {
        text.remove_suffix(entry_end.size());
        const std::string_view line = take_front(text, header);
        text.remove_prefix(1);
        entry.understood = parse_header(line, entry) && parse_body(text, entry);
    }
    if (!entry.understood)
        entry = {};
    entry.raw = raw;
    return entry;
}

// A killed writer leaves an entry without its end, and the next one follows at once.
std::size_t length_before_entry(std::string_view raw)
{
    const std::size_t start = find_last(raw, entry_start);
    if (start == nowhere)
        return 0;
    return parse_entry({raw.data() + start, raw.size() - start}).understood ? start : 0;
}

} // namespace

Journal split_journal(std::string_view bytes)
{
    Journal journal{std::nullopt, bytes};
    if (bytes.size() >= sizeof *journal.latest) {
        std::memcpy(&journal.latest.emplace(), bytes.data(), sizeof *journal.latest);
        journal.entries.remove_prefix(sizeof *journal.latest);
    }
    return journal;
}

JournalEntry take_entry(std::string_view &entries)
{
    const std::size_t end = find(entries, entry_end);
    const std::size_t length = end == nowhere ? entries.size() : end + entry_end.size();
    const std::string_view raw(entries.data(), length);
    const std::size_t unfinished = length_before_entry(raw);
    return parse_entry(take_front(entries, unfinished != 0 ? unfinished : length));
}

} // namespace plexor::ctl
