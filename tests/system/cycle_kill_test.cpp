// SPDX-License-Identifier: Apache-2.0
// Processes that are killed while they write the record of the power cycles: at every system call, and after every
// instruction that changes the record. The next tick, or powercycleget where the busy word was left, has to cope.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include "board/daemon/control_client.h"
#include "board/interpose/wire.h"
#include "platform/nvram.h"
#include "tests/contract/cycle_record.h"
#include "tests/system/cycle_tracing.h"

namespace plexor::tests
{
namespace
{

const std::string usual_durations = "11;12;13;14;15;16;17;18";

bool is_list(const char *text, const char *field, int count)
{
    const std::string f = field;
    return std::regex_match(text, std::regex(f + "(;" + f + "){" + std::to_string(count - 1) + "}"));
}

void expect_order(const plexor_cycles &record)
{
    EXPECT_EQ(record.initialised, 1U);
    EXPECT_EQ(record.busy, 0U);
    EXPECT_EQ(record.active, running_mask(record));
    EXPECT_LE(record.notify, 2U);
    EXPECT_TRUE(is_list(record.table, "-?\\d+", 16)) << record.table;
    EXPECT_TRUE(is_list(record.durations, "\\d+", 8)) << record.durations;
    EXPECT_TRUE(is_list(record.started, "\\d+:\\d+:\\d+", 8)) << record.started;
    EXPECT_TRUE(is_list(record.elapsed, "\\d+", 8) || is_list(record.elapsed, "\\d+", 16)) << record.elapsed;
}

class KilledWriter : public testing::Test
{
  protected:
    KilledWriter()
    {
        std::ofstream("/run/pingmgr.pid") << getpid(); // nobody is to start one
        nvram_bufset(0, "cycle_time_PX", usual_durations.c_str());
        board::ControlClient(board::board_folder() + "/control.sock")
            .ask({{"command", "set"}, {"key", "clock-rate"}, {"value", "1000"}});
        request_(); // what is made at the first switch is there from now on
        *record_ = {};
    }

    // --- records to begin with ---

    void lay_idle()
    {
        *record_ = {};
        powercycleget();
    }
    void lay_running(const std::string &durations)
    {
        lay_idle();
        record_->active = 2;
        record_->mode[1] = 1;
        std::strcpy(record_->table, table_of({{1, 5}}).c_str());
        std::strcpy(record_->durations, durations.c_str());
    }
    void lay_one_that_runs_on() { lay_running(list_of("9999")); }
    void lay_one_that_ends() { lay_running(list_of("0")); } // at any time of day

    // --- what helps ---

    void expect_nothing_moves()
    {
        const plexor_cycles before = *record_;
        EXPECT_EQ(SnmpTimeCycle(5, 30, 0, 1), 1);
        snmppowercycle();
        EXPECT_TRUE(same(*record_, before)) << "somebody wrote a record that is busy";
    }
    void expect_start_over()
    {
        powercycleget();
        expect_order(*record_);
        EXPECT_EQ(record_->table, idle_table);
        EXPECT_EQ(record_->durations, usual_durations);
        EXPECT_EQ(record_->started, idle_started);
    }
    // In a copy that the writer left so. Returns whether powercycleget was needed.
    bool expect_recovery()
    {
        const bool was_stuck = record_->initialised == 1 && record_->busy == 1;
        if (was_stuck) {
            expect_nothing_moves();
            expect_start_over();
        } else {
            snmppowercycle();
            expect_order(*record_);
        }
        return was_stuck;
    }

    // --- killing ---

    // How many of the kills left the record stuck. A call has two stops, and nothing but the record can tell them
    // apart: one will do.
    int stuck_of_kills_at_calls(const Action &lay, const Action &action)
    {
        int stuck = 0;
        unsigned n = 0;
        for (lay(); is_killed_at_call(n, action) && !HasFailure(); lay(), n += 2)
            stuck += expect_recovery() ? 1 : 0;
        EXPECT_GT(n, 4U) << "it attaches and detaches at least";
        expect_order(*record_); // the last one was not killed
        return stuck;
    }
    int stuck_of_kills_at_changes(const Action &lay, const Action &action)
    {
        const std::vector<plexor_cycles> records = records_during(record_, lay, action);
        EXPECT_GT(records.size(), 4U);
        expect_order(records.back());
        int stuck = 0;
        for (const plexor_cycles &left : records) {
            *record_ = left;
            stuck += expect_recovery() ? 1 : 0;
        }
        return stuck;
    }
    int stuck_of_kills(const Action &lay, const Action &action)
    {
        const int stuck = stuck_of_kills_at_changes(lay, action);
        return std::min(stuck, stuck_of_kills_at_calls(lay, action));
    }

    // --- torn texts ---

    // Each beginning of a text with the end of the one that it replaces, whatever copies a text.
    void expect_sense_of_mixtures(const char *before, const char *after, char *list)
    {
        for (std::size_t length = 1; length <= std::strlen(after); ++length) {
            std::memcpy(list, before, cycle_list_size);
            std::memcpy(list, after, length);
            expect_ticks_stay_inside();
        }
    }
    void expect_ticks_stay_inside()
    {
        const plexor_cycles expected = *record_;
        record_->busy = 0;
        snmppowercycle();
        EXPECT_EQ(record_->busy, 0U);
        EXPECT_STREQ(record_->durations, expected.durations);
        EXPECT_STREQ(record_->started, expected.started);
        EXPECT_LT(strnlen(record_->table, cycle_list_size), cycle_list_size);
        EXPECT_TRUE(is_list(record_->elapsed, "\\d+", 8) || is_list(record_->elapsed, "\\d+", 16));
    }
    void expect_sense_of_torn(const Action &lay, const Action &action)
    {
        const std::vector<plexor_cycles> records = records_during(record_, lay, action);
        for (std::size_t offset : {at_table, at_durations, at_started, at_elapsed}) {
            *record_ = records.back();
            const char *const before = bytes_of(records.front()) + offset;
            expect_sense_of_mixtures(before, bytes_of(records.back()) + offset, bytes_of(*record_) + offset);
        }
        expect_start_over();
    }
    static const char *bytes_of(const plexor_cycles &record)
    {
        return reinterpret_cast<const char *>(&record);
    }
    static char *bytes_of(plexor_cycles &record) { return reinterpret_cast<char *>(&record); }

    SharedRecord record_{};
    const Action nothing_ = [this] { *record_ = {}; };
    const Action idle_ = [this] { lay_idle(); };
    const Action running_ = [this] { lay_one_that_runs_on(); };
    const Action ending_ = [this] { lay_one_that_ends(); };
    const Action request_ = [] { SnmpTimeCycle(3, 9999, 1, 1); };
    const Action tick_ = [] { snmppowercycle(); };
};

TEST_F(KilledWriter, OfARequestIsOvercomeByStartingOver)
{
    EXPECT_GT(stuck_of_kills(idle_, request_), 0);
}

TEST_F(KilledWriter, OfARequestBesideARunningCycleIsOvercomeByStartingOver)
{
    EXPECT_GT(stuck_of_kills(running_, request_), 0);
}

TEST_F(KilledWriter, OfARequestBeforeTheFirstTickIsOvercomeByThat)
{
    EXPECT_EQ(stuck_of_kills(nothing_,
                             [this] {
                                 request_();
                                 snmppowercycle();
                             }),
              0);
}

TEST_F(KilledWriter, OfATickThatEndsACycleIsOvercomeByStartingOver)
{
    EXPECT_GT(stuck_of_kills(ending_, tick_), 0);
}

TEST_F(KilledWriter, OfTheFirstTickIsOvercomeByTheNext)
{
    stuck_of_kills(nothing_, tick_);
}

TEST_F(KilledWriter, OfStartingOverIsOvercomeByTheNextTick)
{
    stuck_of_kills(running_, [] { powercycleget(); });
}

TEST_F(KilledWriter, LeavesTextsThatTicksMakeSenseOf)
{
    expect_sense_of_torn(running_, request_);
    expect_sense_of_torn(ending_, tick_);
    expect_sense_of_torn(nothing_, tick_);
}

} // namespace
} // namespace plexor::tests
