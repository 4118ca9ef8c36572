// SPDX-License-Identifier: Apache-2.0
// What the tests of the power cycles share: an appliance at noon whose ping manager lives.
#pragma once

#include <plexor/cycle.h>
#include <plexor/relay.h>

#include <string>
#include <vector>

#include "tests/contract/cycle_record.h"
#include "tests/contract/relay_story.h"

namespace plexor::tests
{

inline const std::string usual_durations = "11;12;13;14;15;16;17;18";
inline const Calls look_up_record{"shmget 0x4C104F10 0 0"};
inline const Calls attach_record{"shmget 0x4C104F10 0 0", "shmat"};
inline const Calls create_record{"shmget 0x4C104F10 0 0", "shmget 0x4C104F10 1072 01000", "shmat"};
inline const Calls ask_ping_manager{"kill 77 0"};
inline const Calls wait_a_second{"nanosleep 1.000000000"};
inline const Calls detach{"shmdt"};

// What a switch is reported with.
inline std::string report(const std::string &source, unsigned index, int value)
{
    return "###SetPowerByIdx[" + source + "]:[" + std::to_string(index) + "]=" + std::to_string(value) + "\n";
}

class CycleStory : public RelayStory
{
  protected:
    // The model whose relays print nothing.
    CycleStory()
    {
        use_model(10, ordinary);
        write_pid_file("pingmgr", "77\n");
        add_process(77);
        set("cycle_time_PX", usual_durations);
        set_time("12:00:00");
    }

    // --- the record ---

    CycleRecord record() const { return record_in(segment(cycle_key)); }
    static CycleRecord idle_record()
    {
        return {.initialised = 1,
                .table = idle_table,
                .durations = usual_durations,
                .started = idle_started,
                .elapsed = idle_elapsed};
    }
    void write_word(std::size_t offset, unsigned word) { write_segment(cycle_key, offset, word_bytes(word)); }
    void write_list(std::size_t offset, const std::string &text)
    {
        write_segment(cycle_key, offset, list_bytes(text));
    }
    void clear_modes() { write_segment(cycle_key, at_mode, CycleBytes(8 * sizeof(int))); }
    // Bytes that no function writes there, all over the segment.
    void make_strange_record()
    {
        make_segment(cycle_key, cycle_size, 0);
        write_segment(cycle_key, 0, CycleBytes(cycle_size, 0x39));
    }
    // An idle table, and all else unlike anything that is written there.
    void make_elsewhere_strange()
    {
        write_segment(cycle_key, at_busy, CycleBytes(cycle_size - at_busy, 0x39));
        write_list(at_table, idle_table);
        for (const auto list : {at_durations, at_started, at_elapsed})
            write_list(list, "strange" + std::to_string(list));
    }
    // What the record is at each call that starts so.
    void watch(const std::string &call)
    {
        at_call(call, [this] { seen_.push_back(record()); });
    }
    const std::vector<CycleRecord> &seen() const { return seen_; }

    // --- what is asked and what is done ---

    void begin() // the first tick
    {
        EXPECT_EQ(snmppowercycle(), 1);
        forget_calls();
    }
    void start(unsigned outlet, unsigned seconds, unsigned mode = 1)
    {
        EXPECT_EQ(SnmpTimeCycle(outlet, seconds, 0, mode), 1);
    }
    void pass(int seconds) { advance(seconds * std::int64_t{1'000'000'000}); }
    void tick_after(int seconds)
    {
        pass(seconds);
        EXPECT_EQ(snmppowercycle(), 1);
    }
    void switch_all(bool on)
    {
        for (int outlet = 0; outlet < 8; ++outlet)
            ContorlSpiPower(outlet, on ? 1 : 0);
        forget_calls();
    }
    unsigned contacts() // bit i: outlet i, from 0, is live
    {
        unsigned live = 0;
        for (int outlet = 0; outlet < 8; ++outlet)
            live |= static_cast<unsigned>(board().contact(outlet)) << outlet;
        return live;
    }
    // Outlets that were switched for a cycle, from 0, as "2=1" in order.
    Calls switched() const
    {
        const std::string before = "syslog 6 ###SetPowerByIdx[power-cycle]:[";
        Calls texts = calls(before);
        for (auto &text : texts)
            text = text.substr(before.size(), 1) + text.substr(before.size() + 2, 2);
        return texts;
    }
    Calls calls_that_start_with(const std::vector<std::string> &prefixes) const
    {
        const auto wanted = [&](const std::string &call) {
            return std::ranges::any_of(prefixes,
                                       [&](const auto &prefix) { return call.starts_with(prefix); });
        };
        Calls chosen = calls();
        std::erase_if(chosen, [&](const std::string &call) { return !wanted(call); });
        return chosen;
    }
    // Calls that reach for the record.
    Calls lookups() const { return calls("shmget 0x4C104F10"); }

  private:
    std::vector<CycleRecord> seen_{};
};

// Tests that begin after the first tick.
class BegunCycleStory : public CycleStory
{
  protected:
    BegunCycleStory() { begin(); }
};

} // namespace plexor::tests
