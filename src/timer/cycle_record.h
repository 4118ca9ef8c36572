// SPDX-License-Identifier: Apache-2.0
// The record of power cycles and the lists in it. Others may write it at any time: it is read from copies,
// and numbers may be whatever somebody wrote there.
#pragma once

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <plexor/cycle.h>

#include "foundation/model_table.h"
#include "support/bits.h"
#include "support/text.h"

namespace plexor
{

using Record = plexor_cycles;
static_assert(sizeof(Record) == 1072);
static_assert(offsetof(Record, initialised) == 0);
static_assert(offsetof(Record, busy) == 4);
static_assert(offsetof(Record, active) == 8);
static_assert(offsetof(Record, notify) == 12);
static_assert(offsetof(Record, mode) == 16);
static_assert(offsetof(Record, table) == 48);
static_assert(offsetof(Record, durations) == 304);
static_assert(offsetof(Record, started) == 560);
static_assert(offsetof(Record, elapsed) == 816);

using List = char[256];

// A copy of a list, which may change meanwhile, cut up into its fields. Those that are empty do not count;
// missing ones are "".
class Fields
{
  public:
    explicit Fields(const char *list, const char *delimiters = ";")
    {
        copy_cut(copy_, list);
        char *rest = nullptr;
        char *field = strtok_r(copy_, delimiters, &rest);
        for (const char *&out : fields_) {
            out = field == nullptr ? "" : field;
            if (field != nullptr)
                field = strtok_r(nullptr, delimiters, &rest);
        }
    }
    Fields(const Fields &) = delete;
    Fields &operator=(const Fields &) = delete;

    const char *text(unsigned i) const { return fields_[i]; }
    int number(unsigned i) const { return std::atoi(fields_[i]); }

  private:
    List copy_;
    const char *fields_[2 * max_outlets] = {}; // as many as the longest list has
};

inline void append_number(TextBuilder &list, int number)
{
    char text[12];
    snprintf(text, sizeof text, "%d", number);
    list.append(text);
}

template <std::size_t n>
void write_numbers(const int (&numbers)[n], List &list)
{
    static_assert(n * sizeof "-2147483648" < sizeof list);
    List text;
    TextBuilder builder(text);
    for (std::size_t i = 0; i < n; ++i) {
        if (i != 0)
            builder.append(';');
        append_number(builder, numbers[i]);
    }
    strcpy(list, text); // at once: others may be reading
}

// Table of remaining seconds and run states, both by outlet.
struct Table {
    int numbers[2 * max_outlets];

    explicit Table(const Record &record)
    {
        const Fields fields(record.table);
        for (unsigned i = 0; i < 2 * max_outlets; ++i)
            numbers[i] = fields.number(i);
    }

    int &remaining(unsigned outlet) { return numbers[outlet]; }
    int &state(unsigned outlet) { return numbers[max_outlets + outlet]; }
    void end(unsigned outlet) { remaining(outlet) = state(outlet) = 0; }
    unsigned running_mask()
    {
        unsigned mask = 0;
        for (unsigned i = 0; i < max_outlets; ++i)
            mask = with_bit(mask, i, state(i) == PLEXOR_CYCLE_RUNNING);
        return mask;
    }
    void write(List &list) const { write_numbers(numbers, list); }
};

} // namespace plexor
