// SPDX-License-Identifier: Apache-2.0
// What the record of the power cycles has to become, worked out once more with ordinary strings: the library
// is compared with this after every step of a random story. It plays the model whose relays print nothing,
// the ping manager and a local time that is 5:30 hours ahead of UTC.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "tests/contract/call_text.h"
#include "tests/contract/cycle_record.h"

namespace plexor::tests
{

class CycleReference
{
  public:
    bool exists{};
    CycleRecord segment{};
    std::int64_t now{}; // of the calendar
    std::string default_durations{};
    bool manager_lives{true};
    bool kept_from_record{}; // the next attachment fails

    std::string copied{};  // by the list reader
    std::string printed{}; // since the last forget
    std::vector<std::string> switched{};
    unsigned contacts{};
    int restarts{};

    void forget()
    {
        printed.clear();
        switched.clear();
        restarts = 0;
    }
    CycleRecord record() const { return exists ? segment : record_in({}); }

    int switch_or_cycle(unsigned index, int action, unsigned seconds, unsigned mode)
    {
        if (index > 7 || (action > 1 && (seconds == 0 || seconds > 9999)))
            return 0;
        if (action > 1)
            return request(index + 1, seconds, 0, mode);
        set_contact(index, action, "web");
        return 1;
    }

    int request(unsigned outlet, unsigned seconds, int selector, unsigned mode)
    {
        if (!attach_or_create())
            return selector < 2 ? 1 : 0;
        if (waited())
            return 1;
        int left = 0;
        if (outlet >= 1 && outlet <= 8)
            left = carry_out(outlet - 1, seconds, selector, mode);
        return selector < 2 ? 1 : left;
    }

    int tick()
    {
        if (!attach_or_create())
            return 1;
        if (segment.initialised == 0)
            initialise();
        look_for_manager();
        if (waited())
            return 1;
        work_out_times();
        end_cycles();
        segment.busy = 0;
        return 1;
    }

    int start_over()
    {
        if (exists)
            segment.initialised = 0;
        return tick();
    }

    int count(int delta)
    {
        if (!attach())
            return -1;
        check_mask(delta);
        return 0;
    }

    int times()
    {
        if (!attach())
            return -1;
        work_out_times();
        return 0;
    }

    int rewrite(unsigned outlet, unsigned seconds, std::string &list) const
    {
        ListFields fields = split(list, 8);
        if (seconds != 0)
            fields = numbers(fields);
        if (outlet >= 1 && outlet <= 8)
            fields[outlet - 1] = seconds != 0 ? text_of(static_cast<int>(seconds)) : clock();
        const std::string text = join(fields);
        if (text.size() > 255)
            return 0;
        list = text;
        return static_cast<int>(text.size());
    }

    unsigned word(bool active)
    {
        if (!attach_or_create())
            return 0;
        return active ? segment.active : segment.notify;
    }

    std::string list(bool elapsed)
    {
        if (attach_or_create()) {
            copied = (elapsed ? segment.elapsed : segment.durations).substr(0, 255);
            segment.notify = elapsed ? 0 : segment.notify;
        }
        return copied;
    }

  private:
    // --- lists ---

    // The first fields between ";" that are not empty; "" for those that are missing.
    static ListFields split(const std::string &list, std::size_t count, char delimiter = ';')
    {
        ListFields fields;
        std::string field;
        for (const char c : list.substr(0, 255) + delimiter) {
            if (c != delimiter)
                field += c;
            else if (!field.empty())
                fields.push_back(std::exchange(field, ""));
        }
        fields.resize(count);
        return fields;
    }
    static int number(const std::string &field) { return std::atoi(field.c_str()); }
    static std::string text_of(int number) { return std::to_string(number); }
    static ListFields numbers(ListFields fields)
    {
        for (auto &field : fields)
            field = text_of(number(field));
        return fields;
    }

    // --- time of day ---

    static std::int64_t seconds_of(std::int64_t hour, std::int64_t minute, std::int64_t second)
    {
        return hour * 3600 + minute * 60 + second;
    }
    std::int64_t time_of_day() const { return (now + seconds_of(5, 30, 0)) % seconds_of(24, 0, 0); }
    std::string clock() const
    {
        const int today = static_cast<int>(time_of_day());
        return print("%02d:%02d:%02d", today / 3600, today / 60 % 60, today % 60);
    }
    int elapsed_since(const std::string &start) const
    {
        const ListFields fields = split(start, 3, ':');
        const auto then = seconds_of(number(fields[0]), number(fields[1]), number(fields[2]));
        return std::max(static_cast<std::int32_t>(time_of_day() - then), 0);
    }

    // --- the segment ---

    bool attach() { return exists && !std::exchange(kept_from_record, false); }
    bool attach_or_create()
    {
        if (!std::exchange(exists, true))
            segment = {};
        return attach();
    }
    bool waited()
    {
        now += segment.busy == 1 ? 1 : 0;
        return segment.busy == 1;
    }
    void initialise()
    {
        segment.initialised = 1;
        segment.busy = segment.active = segment.notify = 0;
        segment.table = idle_table;
        segment.durations = default_durations.substr(0, 255);
        segment.started = idle_started;
        segment.elapsed = idle_elapsed;
    }

    // --- what is around ---

    void set_contact(unsigned outlet, int value, const std::string &source)
    {
        contacts = (contacts & ~(1U << outlet)) | (value != 0 ? 1U << outlet : 0);
        printed +=
            "###SetPowerByIdx[" + source + "]:[" + std::to_string(outlet) + "]=" + text_of(value) + "\n";
        if (source == "power-cycle")
            switched.push_back(std::to_string(outlet) + "=" + text_of(value));
    }
    void look_for_manager()
    {
        misses_ = manager_lives ? 0 : misses_ + 1;
        if (misses_ < 3)
            return;
        misses_ = 0;
        ++restarts;
        printed += "\n#### Warning: pingmgr lost... \n";
    }

    // --- cycles ---

    int carry_out(unsigned outlet, unsigned seconds, int selector, unsigned mode)
    {
        segment.mode[outlet] = static_cast<int>(mode);
        const ListFields fields = split(segment.table, 16);
        if (seconds != 0)
            begin(outlet, seconds, selector, mode, fields);
        segment.busy = 0;
        return number(fields[outlet]);
    }
    void begin(unsigned outlet, unsigned seconds, int selector, unsigned mode, ListFields fields)
    {
        fields[8 + outlet] = "2";
        set_contact(outlet, mode == 1 ? 0 : 1, "power-cycle");
        fields[outlet] = text_of(static_cast<int>(seconds));
        segment.table = join(numbers(fields));
        rewrite(outlet + 1, seconds, segment.durations);
        rewrite(outlet + 1, 0, segment.started);
        segment.notify = selector > 0 ? 2 : segment.notify;
        check_mask(1 << outlet);
    }

    void end_cycles()
    {
        ListFields fields = split(segment.table, 16);
        unsigned finished = 0;
        for (unsigned i = 0; i < 8; ++i) {
            if (number(fields[i]) >= 1 || number(fields[8 + i]) != 2)
                continue;
            fields[i] = fields[8 + i] = "0";
            finished |= 1U << i;
            set_contact(i, segment.mode[i] == 1 ? 1 : 0, "power-cycle");
        }
        if (finished == 0)
            return;
        segment.table = segment.elapsed = join(fields);
        check_mask(-static_cast<int>(finished));
    }

    void work_out_times()
    {
        ListFields fields = split(segment.table, 16);
        const ListFields starts = split(segment.started, 8);
        const ListFields durations = split(segment.durations, 8);
        ListFields elapsed(8, "10000");
        bool any = false;
        for (unsigned i = 0; i < 8; ++i) {
            if (number(fields[8 + i]) < 1)
                continue;
            any = true;
            const int seconds = elapsed_since(starts[i]);
            const std::int64_t left = std::int64_t{number(durations[i])} - seconds;
            fields[i] = text_of(static_cast<std::int32_t>(left));
            elapsed[i] = text_of(seconds);
        }
        segment.elapsed = join(elapsed);
        if (!any)
            return;
        segment.table = join(numbers(fields));
        segment.notify = segment.notify == 2 ? 1 : segment.notify;
    }

    void check_mask(int delta)
    {
        segment.active += static_cast<unsigned>(delta);
        ListFields fields = split(segment.table, 16);
        bool modified = false;
        unsigned mask = 0;
        for (unsigned i = 0; i < 8; ++i) {
            modified |= mend(fields[i], fields[8 + i]);
            mask |= number(fields[8 + i]) == 2 ? 1U << i : 0;
        }
        if (modified) {
            segment.table = join(numbers(fields));
            segment.active = mask;
            printed += print("\n[%2X/%2X]modify[%s]\n", mask, mask, segment.table.c_str());
        }
        if (segment.active != mask)
            reset(mask);
    }
    static bool mend(std::string &remaining, std::string &state)
    {
        if (number(remaining) > 0 && number(state) != 2) {
            state = "2";
            return true;
        }
        if (number(remaining) >= 0)
            return false;
        remaining = state = "0";
        return true;
    }
    void reset(unsigned mask)
    {
        printed += print("\nport error %2X, Check[%2X]\n", segment.active, mask);
        segment.active = 0;
        segment.table = idle_table;
        segment.elapsed = idle_elapsed;
    }

    int misses_{};
};

} // namespace plexor::tests
