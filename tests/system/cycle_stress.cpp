// SPDX-License-Identifier: Apache-2.0
// Eight processes meet in the record of the power cycles: cycle_stress MEETING ROUNDS. Two of them write, as
// docs/busy-word.md has it for MEETING; the others read. Prints what became of outlets 1 and 2, a line a round, in
// the words of that page. Exit status 1 when somebody failed or the record could not be made to agree.
#include <plexor/cycle.h>
#include <plexor/relay.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "board/daemon/control_client.h"
#include "board/interpose/wire.h"
#include "tests/contract/cycle_record.h"
#include "tests/system/cycle_tracing.h"
#include "tests/system/processes.h"

namespace plexor::tests
{
namespace
{

constexpr int readers = 6;
constexpr unsigned off_first = 1;
constexpr unsigned seconds =
    9; // one digit, as an idle field has: a text that is torn has its fields in place
constexpr int for_remaining_time = 2; // which tells a dropped request, 1, from one for an idle outlet, 0

board::ControlClient &board()
{
    static board::ControlClient client(board::board_folder() + "/control.sock");
    return client;
}

// Processes that begin at once.
class Crowd
{
  public:
    Crowd()
    {
        if (pipe(gate_) != 0)
            throw std::runtime_error("no pipe");
    }
    ~Crowd()
    {
        close(gate_[0]);
        if (gate_[1] >= 0)
            close(gate_[1]);
    }
    Crowd(const Crowd &) = delete;
    Crowd &operator=(const Crowd &) = delete;

    void add(const std::function<bool()> &action)
    {
        children_.push_back(start_child([this, &action] {
            close(gate_[1]);
            char nothing = 0;
            return read(gate_[0], &nothing, 1) == 0 && action();
        }));
    }
    // What each answered.
    std::vector<bool> run()
    {
        close(std::exchange(gate_[1], -1));
        std::vector<bool> answers;
        for (const pid_t child : children_)
            answers.push_back(ended_well(child));
        return answers;
    }

  private:
    int gate_[2]{-1, -1};
    std::vector<pid_t> children_{};
};

bool request(unsigned number)
{
    return SnmpTimeCycle(number, seconds, for_remaining_time, off_first) == 0;
}

bool tick()
{
    return snmppowercycle() == 1;
}

bool read_all()
{
    static const int selected = 1;
    bool well = true;
    for (int i = 0; i < 20; ++i) {
        well = well && getcycleflag(nullptr) <= 2 && std::strlen(s_getcycle(nullptr)) < 256;
        well = well && getcycleflag(&selected) <= 255 && std::strlen(s_getcycle(&selected)) < 256;
    }
    return well;
}

// --- a round ---

void prepare(const SharedRecord &record, const std::string &meeting)
{
    *record = {};
    ContorlSpiAllPower(0xFF, "test");
    if (meeting == "REQUEST_AND_FIRST")
        return;
    powercycleget();
    if (meeting != "REQUEST_AND_END")
        return;
    ContorlSpiPower(1, 0);
    record->active = 2;
    record->mode[1] = off_first;
    std::strcpy(record->table, table_of({{1, 1}}).c_str());
    std::strcpy(record->durations, list_of("0").c_str());
    std::strcpy(record->started, list_of("0:0:0", {{1, "23:59:59"}}).c_str()); // later counts as now
}

std::string contacts()
{
    return board().ask({{"command", "get"}, {"key", "contacts"}})["value"];
}

void tell_outlet(const plexor_cycles &record, unsigned outlet, bool is_dropped)
{
    std::istringstream states(contacts());
    std::string state;
    for (unsigned i = 0; i <= outlet; ++i)
        states >> state;
    const bool marked = (record.active >> outlet & 1) != 0;
    const bool runs = (running_mask(record) >> outlet & 1) != 0;
    std::printf(" | %s%s%s%s", is_dropped ? "dropped " : "", state.c_str(), marked ? " mask" : "",
                runs ? " runs" : "");
}

// Either way out that the page names.
bool agrees_again(const SharedRecord &record, bool by_starting_over)
{
    if (by_starting_over)
        powercycleget();
    else
        action_count(0);
    return record->active == running_mask(*record) && record->busy == 0 && record->initialised == 1;
}

struct Meeting {
    std::string name;
    bool two_requests = name == "TWO_REQUESTS";

    bool other() const { return two_requests ? request(2) : tick(); }
};

void tell(const Meeting &meeting, const plexor_cycles &left, bool first_dropped, bool other_dropped)
{
    std::printf("%s", meeting.name.c_str());
    tell_outlet(left, 0, first_dropped);
    tell_outlet(left, 1, other_dropped);
    std::printf("\n");
    std::fflush(stdout); // before the next children
}

bool play(const SharedRecord &record, const Meeting &meeting, int round)
{
    prepare(record, meeting.name);
    Crowd crowd;
    crowd.add([] { return request(1); });
    crowd.add([&] { return meeting.other(); });
    for (int i = 0; i < readers; ++i)
        crowd.add(read_all);
    const std::vector<bool> answers = crowd.run();
    tell(meeting, *record, !answers[0], meeting.two_requests && !answers[1]);
    const bool others_well = std::count(answers.begin() + 2, answers.end(), true) == readers;
    return others_well && (meeting.two_requests || answers[1]) && agrees_again(record, round % 2 == 0);
}

int run(const char *name, int rounds)
{
    const SharedRecord record;
    const Meeting meeting{name};
    board().ask({{"command", "set"}, {"key", "clock-rate"}, {"value", "100"}});
    for (int round = 0; round < rounds; ++round) {
        if (!play(record, meeting, round))
            return 1;
    }
    return 0;
}

} // namespace
} // namespace plexor::tests

// NOLINTNEXTLINE(bugprone-exception-escape): one that escapes fails the test
int main(int argc, char **argv)
{
    return argc == 3 ? plexor::tests::run(argv[1], std::atoi(argv[2])) : 2;
}
