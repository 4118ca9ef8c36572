// SPDX-License-Identifier: Apache-2.0
// Random stories of power cycles, in which the library and a reference have to agree after every step: on
// results, on the record, on what was switched and printed.
#include <climits>
#include <deque>
#include <random>

#include "tests/contract/cycle_reference.h"
#include "tests/contract/cycle_story.h"
#include "tests/contract/time_zone.h"

namespace plexor::tests
{
namespace
{

constexpr int steps_of_a_story = 3000;
constexpr std::size_t steps_shown = 20;

class RandomCycles : public CycleStory, public ::testing::WithParamInterface<unsigned>
{
  protected:
    RandomCycles()
    {
        set_now(1'767'323'045);
        reference_.default_durations = usual_durations;
        reference_.contacts = contacts();
        snmppowercycle(); // whatever was missed before is forgotten
        reference_.tick();
        s_getcycle(nullptr);
        reference_.list(false);
    }

    struct Step {
        int weight;
        void (RandomCycles::*take)();
    };

    static std::vector<Step> undisturbed()
    {
        return {{40, &RandomCycles::tick},
                {30, &RandomCycles::time_passes},
                {6, &RandomCycles::request},
                {2, &RandomCycles::switch_or_cycle},
                {3, &RandomCycles::read_word},
                {3, &RandomCycles::read_list},
                {2, &RandomCycles::work_out_times},
                {1, &RandomCycles::clock_jumps},
                {1, &RandomCycles::manager_dies_or_comes_back}};
    }
    static std::vector<Step> disturbed()
    {
        std::vector<Step> steps = undisturbed();
        const std::vector<Step> more{{6, &RandomCycles::count},
                                     {3, &RandomCycles::rewrite_list},
                                     {2, &RandomCycles::start_over},
                                     {2, &RandomCycles::somebody_is_busy},
                                     {5, &RandomCycles::somebody_is_done},
                                     {2, &RandomCycles::word_is_damaged},
                                     {8, &RandomCycles::list_is_damaged},
                                     {1, &RandomCycles::durations_are_set},
                                     {1, &RandomCycles::segment_is_removed}};
        steps.insert(steps.end(), more.begin(), more.end());
        return steps;
    }

    void tell_story(const std::vector<Step> &steps)
    {
        int weights = 0;
        for (const auto &step : steps)
            weights += step.weight;
        for (int i = 0; i < steps_of_a_story && !HasFailure(); ++i) {
            take(steps, pick(0, weights - 1));
            compare();
        }
        if (HasFailure())
            ADD_FAILURE() << "story " << GetParam() << ", step " << steps_taken_ << ", which is the last of"
                          << story_text();
    }

    // --- what may happen ---

    void time_passes()
    {
        const int seconds = pick(0, 3);
        tell(print("%d s pass", seconds));
        pass(seconds);
        reference_.now += seconds;
    }
    void clock_jumps()
    {
        constexpr int day = 24 * 3600;
        const std::int64_t midnight = (1'767'323'045 / day + pick(0, 3)) * day - (5 * 3600 + 30 * 60);
        const int seconds = one_in(2) ? pick(-12, 3) : pick(0, day - 1);
        tell(print("clock at midnight + %d", seconds));
        set_now(midnight + seconds);
    }
    void tick()
    {
        tell("tick");
        fail_sometimes();
        agree(snmppowercycle(), reference_.tick());
    }
    void start_over()
    {
        tell("start over");
        agree(powercycleget(), reference_.start_over());
    }
    void request()
    {
        const unsigned number = outlet();
        const unsigned length = seconds();
        const int selector = one_in(20) ? integer() : pick(-1, 3);
        const unsigned kind = mode();
        tell(print("request outlet %u, %u s, selector %d, mode %u", number, length, selector, kind));
        fail_sometimes();
        agree(SnmpTimeCycle(number, length, selector, kind),
              reference_.request(number, length, selector, kind));
    }
    void switch_or_cycle()
    {
        const unsigned index = outlet() - 1;
        const int action = one_in(20) ? integer() : pick(-1, 3);
        const unsigned length = seconds();
        const unsigned kind = mode();
        tell(print("switch %u, action %d, %u s, mode %u", index, action, length, kind));
        agree(SetPower(index, action, length, kind, "web"),
              reference_.switch_or_cycle(index, action, length, kind));
    }
    void count()
    {
        const int delta = one_in(4) ? integer() : (one_in(2) ? 1 : -1) << pick(0, 7);
        tell(print("count %d", delta));
        fail_sometimes();
        agree(action_count(delta), reference_.count(delta));
    }
    void work_out_times()
    {
        tell("work out times");
        fail_sometimes();
        agree(diff_time(), reference_.times());
    }
    void read_word()
    {
        const bool active = one_in(2);
        tell(active ? "read mask" : "read notification");
        fail_sometimes();
        agree(getcycleflag(active ? this : nullptr), reference_.word(active));
    }
    void read_list()
    {
        const bool elapsed = one_in(2);
        tell(elapsed ? "read elapsed times" : "read durations");
        fail_sometimes();
        agree(std::string(s_getcycle(elapsed ? this : nullptr)), reference_.list(elapsed));
    }
    void rewrite_list()
    {
        const unsigned number = outlet();
        const unsigned length = one_in(2) ? 0 : seconds();
        std::string expected = list();
        std::vector<char> text(expected.begin(), expected.end());
        text.resize(cycle_list_size);
        tell(print("rewrite outlet %u, %u s of ", number, length) + expected);
        agree(snmpTimeset(number, length, text.data()), reference_.rewrite(number, length, expected));
        agree(std::string(text.data(), strnlen(text.data(), text.size())), expected);
    }

    // --- what others may do ---

    void somebody_is_busy() { segment_word(at_busy, reference_.segment.busy, one_in(8) ? 2 : 1); }
    void somebody_is_done() { segment_word(at_busy, reference_.segment.busy, 0); }
    void word_is_damaged()
    {
        switch (pick(0, 3)) {
        case 0:
            return segment_word(at_initialised, reference_.segment.initialised, one_in(2) ? 0 : 5);
        case 1:
            return segment_word(at_active, reference_.segment.active, static_cast<unsigned>(integer()));
        case 2:
            return segment_word(at_notify, reference_.segment.notify, static_cast<unsigned>(pick(0, 3)));
        default:
            const auto i = static_cast<unsigned>(pick(0, 7));
            auto kind = static_cast<unsigned>(reference_.segment.mode[i]);
            segment_word(at_mode + 4 * i, kind, mode());
            reference_.segment.mode[i] = static_cast<int>(kind);
        }
    }
    void list_is_damaged()
    {
        const std::array<std::pair<CycleOffset, std::string *>, 4> lists{
            {{at_table, &reference_.segment.table},
             {at_durations, &reference_.segment.durations},
             {at_started, &reference_.segment.started},
             {at_elapsed, &reference_.segment.elapsed}}};
        const auto &[offset, text] = lists[static_cast<unsigned>(pick(0, 3))];
        const std::string damaged = one_in(2) ? field_damaged(*text) : list();
        tell(print("list at %zu becomes ", std::size_t{offset}) + damaged);
        if (!reference_.exists)
            return;
        *text = damaged;
        write_list(offset, damaged);
    }
    void durations_are_set()
    {
        reference_.default_durations = one_in(2) ? usual_durations : list();
        tell("parameter becomes " + reference_.default_durations);
        set("cycle_time_PX", reference_.default_durations);
    }
    void manager_dies_or_comes_back()
    {
        reference_.manager_lives = !reference_.manager_lives;
        tell(reference_.manager_lives ? "manager comes back" : "manager dies");
        if (reference_.manager_lives)
            add_process(77);
        else
            remove_process(77);
    }
    void segment_is_removed()
    {
        tell("segment is removed");
        if (std::exchange(reference_.exists, false))
            remove_segment(cycle_key);
    }

    unsigned times_printed(const std::string &text) const
    {
        const auto found = printed_.find(text);
        return found == printed_.end() ? 0 : found->second;
    }

  private:
    // --- chance ---

    std::uint32_t below(std::size_t limit) { return static_cast<std::uint32_t>(random_() % limit); }
    int pick(int least, int most)
    {
        const auto choices = static_cast<std::size_t>(most) - static_cast<std::size_t>(least) + 1;
        return least + static_cast<int>(below(choices));
    }
    bool one_in(int chances) { return pick(1, chances) == 1; }
    int integer()
    {
        constexpr std::array hostile{INT_MIN, INT_MAX, -1, 0, 1, 0x100, -0x80};
        return one_in(2) ? hostile[below(hostile.size())] : static_cast<int>(random_());
    }
    unsigned outlet()
    {
        if (one_in(60))
            return static_cast<unsigned>(integer());
        if (one_in(60))
            return one_in(2) ? 0 : 9;
        return static_cast<unsigned>(pick(1, 8));
    }
    unsigned seconds()
    {
        if (one_in(30))
            return static_cast<unsigned>(integer());
        return static_cast<unsigned>(one_in(10) ? pick(9998, 10001) : pick(0, 12));
    }
    unsigned mode() { return one_in(20) ? static_cast<unsigned>(integer()) : below(3); }

    std::string field()
    {
        static const std::vector<std::string> strange{
            "",      "2147483648",           "-2147483649", "-5",  " 7",   "x",       "3s",
            "10000", "99999999999999999999", "+1",          "\t4", "0x10", "5:6:7:8", "12:00:00",
            "::"};
        if (one_in(3))
            return strange[below(strange.size())];
        if (one_in(8))
            return print("%02d:%02d:%02d", pick(0, 25), pick(0, 61), pick(0, 61));
        return std::to_string(one_in(2) ? pick(0, 2) : pick(-3, 40));
    }
    std::string list()
    {
        if (one_in(12))
            return noise(static_cast<std::size_t>(pick(240, 256)));
        ListFields fields(static_cast<std::size_t>(pick(0, 18)));
        for (auto &text : fields)
            text = field();
        return join(fields).substr(0, cycle_list_size);
    }
    std::string noise(std::size_t size)
    {
        const std::string characters = one_in(2) ? "0123456789;;;;--: x\n\xFF" : "0x-";
        std::string text(size, ' ');
        for (char &c : text)
            c = characters[below(characters.size())];
        return text;
    }
    // One field becomes another, as far as the list reaches.
    std::string field_damaged(const std::string &text)
    {
        std::size_t from = 0;
        for (int i = pick(0, 15); i > 0 && text.find(';', from) != std::string::npos; --i)
            from = text.find(';', from) + 1;
        const std::size_t to = std::min(text.find(';', from), text.size());
        return (text.substr(0, from) + field() + text.substr(to)).substr(0, cycle_list_size);
    }

    // --- both at once ---

    void set_now(std::int64_t seconds)
    {
        set_calendar(seconds);
        reference_.now = seconds;
    }
    void segment_word(std::size_t offset, unsigned &word, unsigned value)
    {
        tell(print("word at %zu becomes %u", offset, value));
        if (!reference_.exists)
            return;
        word = value;
        write_word(offset, value);
    }
    void fail_sometimes()
    {
        if (!one_in(25) || !reference_.exists)
            return;
        tell("  without the record");
        fail_call("shmat", EACCES);
        reference_.kept_from_record = true;
    }

    template <class Result>
    void agree(const Result &result, const Result &expected)
    {
        EXPECT_EQ(result, expected);
    }
    void compare()
    {
        EXPECT_EQ(record(), reference_.record());
        EXPECT_EQ(switched(), reference_.switched);
        EXPECT_EQ(debug_print(), reference_.printed);
        EXPECT_EQ(contacts(), reference_.contacts);
        EXPECT_EQ(calls("system pingmgr &").size(), static_cast<std::size_t>(reference_.restarts));
        EXPECT_EQ(calls("malloc"), Calls{});
        for (const char *text : {"port error", "modify", "pingmgr lost"})
            printed_[text] += debug_print().find(text) != std::string::npos;
        printed_["power-cycle"] += static_cast<unsigned>(switched().size());
        forget_calls();
        reference_.forget();
    }

    // --- the story so far ---

    void take(const std::vector<Step> &steps, int choice)
    {
        auto step = steps.begin();
        for (; choice >= step->weight; ++step)
            choice -= step->weight;
        ++steps_taken_;
        (this->*step->take)();
    }
    void tell(const std::string &text)
    {
        told_.push_back(text);
        if (told_.size() > steps_shown)
            told_.pop_front();
    }
    std::string story_text() const
    {
        std::string text;
        for (const auto &line : told_)
            text += "\n  " + ::testing::PrintToString(line);
        return text;
    }

    TimeZone zone_{"XXX-5:30"};
    std::mt19937 random_{GetParam()};
    CycleReference reference_{};
    int steps_taken_{};
    std::deque<std::string> told_{};
    std::map<std::string, unsigned> printed_{}; // how often
};

INSTANTIATE_TEST_SUITE_P(Story, RandomCycles, ::testing::Range(1U, 4U));

TEST_P(RandomCycles, OfAnUndisturbedRecordAreAsTheyShouldBe)
{
    tell_story(undisturbed());
    EXPECT_GT(times_printed("power-cycle"), 100U);
    EXPECT_GT(times_printed("port error"), 20U);
}

TEST_P(RandomCycles, OfARecordThatOthersDamageAreAsTheyShouldBe)
{
    tell_story(disturbed());
    EXPECT_GT(times_printed("power-cycle"), 100U);
    EXPECT_GT(times_printed("port error"), 50U);
    EXPECT_GT(times_printed("modify"), 15U);
    EXPECT_GT(times_printed("pingmgr lost"), 20U);
}

} // namespace
} // namespace plexor::tests
