// SPDX-License-Identifier: Apache-2.0
//
// Who calls it: SetPower and the readers by the web interface and the SNMP agent; SnmpTimeCycle by those and
// the dry contact; the tick by one daemon.
// What it owns: the cycle segment.
// What is odd: time of day decides when a cycle ends, so none ends after midnight; a second cycle of a
// running outlet gives all of them up; the tick that ends a cycle leaves the table where the elapsed times
// were.
#include <plexor/cycle.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <ctime>

#include <plexor/process.h>
#include <plexor/relay.h>
#include <plexor/switching.h>

#include "foundation/model_table.h"
#include "nvram.h"
#include "support/bits.h"
#include "support/list.h"
#include "support/shared_memory.h"
#include "support/time.h"
#include "timer/cycle_record.h"

namespace plexor
{
namespace
{

static_assert(PLEXOR_CYCLE_LONGEST < PLEXOR_CYCLE_IDLE);
constexpr const char *cycle_source = "power-cycle";
constexpr unsigned off_first = 1;

void append_clock(TextBuilder &list)
{
    const tm now = local_time(time(nullptr));
    char text[40];
    snprintf(text, sizeof text, "%02d:%02d:%02d", now.tm_hour, now.tm_min, now.tm_sec);
    list.append(text);
}

void store_idle(Record &record)
{
    strcpy(record.table, "0;0;0;0;0;0;0;0;0;0;0;0;0;0;0;0");
    strcpy(record.elapsed, "10000;10000;10000;10000;10000;10000;10000;10000");
}

// --- the segment ---

Record &record_in(const Attachment &segment)
{
    return *static_cast<Record *>(segment.get());
}

Attachment attach_or_create_record()
{
    return attach_or_create(PLEXOR_CYCLE_KEY, sizeof(Record));
}

// A flag that other processes look at: set when all before it is written.
void set_flag(unsigned &flag, unsigned value)
{
    std::atomic_ref(flag).store(value, std::memory_order_release);
}

// The word initialised comes last: a record whose writer dies in between is initialised once more.
void initialise(Record &record)
{
    record.active = 0;
    record.notify = 0;
    store_idle(record);
    List durations{};
    fetch("cycle_time_PX", durations);
    strcpy(record.durations, durations);
    strcpy(record.started, "0:0:0;0:0:0;0:0:0;0:0:0;0:0:0;0:0:0;0:0:0;0:0:0");
    set_flag(record.busy, 0);
    set_flag(record.initialised, 1);
}

// True after a second when somebody else is writing the record.
bool waited_for_writer(Record &record)
{
    if (std::atomic_ref(record.busy).load(std::memory_order_acquire) != 1)
        return false;
    Sleep(1);
    return true;
}

class Busy
{
  public:
    explicit Busy(Record &record) : record_(record) { set_flag(record_.busy, 1); }
    Busy(const Busy &) = delete;
    Busy &operator=(const Busy &) = delete;
    ~Busy() { set_flag(record_.busy, 0); }

  private:
    Record &record_;
};

// --- bookkeeping ---

void count_actions(Record &record, unsigned delta)
{
    record.active += delta;
    Table table(record);
    bool modified = false;
    for (unsigned i = 0; i < max_outlets; ++i) {
        if (table.remaining(i) > 0 && table.state(i) != PLEXOR_CYCLE_RUNNING) {
            table.state(i) = PLEXOR_CYCLE_RUNNING;
            modified = true;
        } else if (table.remaining(i) < 0) {
            table.end(i);
            modified = true;
        }
    }
    const unsigned mask = table.running_mask();
    if (modified) {
        List text;
        table.write(text);
        strcpy(record.table, text);
        record.active = mask;
        myprintf("\n[%2X/%2X]modify[%s]\n", mask, mask, text);
    }
    if (record.active == mask)
        return;
    myprintf("\nport error %2X, Check[%2X]\n", record.active, mask);
    record.active = 0;
    store_idle(record);
}

// Numbers from the segment may be whatever somebody wrote there: they wrap.
int difference(int a, int b)
{
    return static_cast<int>(static_cast<unsigned>(a) - static_cast<unsigned>(b));
}

int seconds_of_day(int hour, int minute, int second)
{
    return static_cast<int>(static_cast<unsigned>(hour) * 3600U + static_cast<unsigned>(minute) * 60U +
                            static_cast<unsigned>(second));
}

int seconds_of_day_now()
{
    const tm now = local_time_as_known(time(nullptr));
    return seconds_of_day(now.tm_hour, now.tm_min, now.tm_sec);
}

void update_times(Record &record)
{
    Table table(record);
    const Fields started(record.started);
    const Fields durations(record.durations);
    int elapsed[max_outlets];
    const bool any = std::any_of(table.numbers + max_outlets, std::end(table.numbers),
                                 [](int state) { return state >= 1; });
    const int now = any ? seconds_of_day_now() : 0;
    for (unsigned i = 0; i < max_outlets; ++i) {
        elapsed[i] = PLEXOR_CYCLE_IDLE;
        if (table.state(i) < 1)
            continue;
        const Fields start(started.text(i), ":");
        const int then = seconds_of_day(start.number(0), start.number(1), start.number(2));
        elapsed[i] = std::max(difference(now, then), 0); // below 0 after midnight
        table.remaining(i) = difference(durations.number(i), elapsed[i]);
    }
    write_numbers(elapsed, record.elapsed);
    if (!any)
        return;
    table.write(record.table);
    if (record.notify == 2)
        record.notify = 1;
}

// --- starting and ending a cycle ---

struct Request {
    unsigned outlet; // from 0
    unsigned seconds;
    int selector;
    unsigned mode;
};

void start(Record &record, Table &table, const Request &request)
{
    const unsigned number = request.outlet + 1;
    table.state(request.outlet) = PLEXOR_CYCLE_RUNNING;
    SetPowerByIdx(request.outlet, request.mode == off_first ? 0 : 1, cycle_source);
    table.remaining(request.outlet) = static_cast<int>(request.seconds);
    table.write(record.table);
    snmpTimeset(number, request.seconds, record.durations);
    snmpTimeset(number, 0, record.started);
    if (request.selector > 0)
        record.notify = 2;
    count_actions(record, 1U << request.outlet);
}

// The remaining seconds as they were before.
int carry_out(Record &record, const Request &request)
{
    if (request.outlet >= max_outlets)
        return 0;
    const Busy busy(record);
    record.mode[request.outlet] = static_cast<int>(request.mode);
    Table table(record);
    const int remaining = table.remaining(request.outlet);
    if (request.seconds != 0)
        start(record, table, request);
    return remaining;
}

void end_cycles(Record &record)
{
    Table table(record);
    unsigned ended = 0;
    for (unsigned i = 0; i < max_outlets; ++i) {
        if (table.remaining(i) >= 1 || table.state(i) != PLEXOR_CYCLE_RUNNING)
            continue;
        table.end(i);
        ended = with_bit(ended, i, true);
        SetPowerByIdx(i, static_cast<unsigned>(record.mode[i]) == off_first ? 1 : 0, cycle_source);
    }
    if (ended == 0)
        return;
    table.write(record.table);
    table.write(record.elapsed); // until the next tick, as its readers have always had it
    count_actions(record, -ended);
}

} // namespace
} // namespace plexor

using namespace plexor;

int SetPower(unsigned index, int action, unsigned seconds, unsigned mode, const char *source)
{
    if (index >= max_outlets)
        return 0;
    if (action < 2)
        return SetPowerByIdx(index, action, source);
    if (seconds < 1 || seconds > PLEXOR_CYCLE_LONGEST)
        return 0;
    return SnmpTimeCycle(index + 1, seconds, 0, mode);
}

int SnmpTimeCycle(unsigned outlet, unsigned seconds, int selector, unsigned mode)
{
    int remaining = 0;
    if (const Attachment segment = attach_or_create_record()) {
        Record &record = record_in(segment);
        if (waited_for_writer(record))
            return 1;
        remaining = carry_out(record, {outlet - 1, seconds, selector, mode});
    }
    return selector < 2 ? 1 : remaining;
}

int snmppowercycle(void)
{
    const Attachment segment = attach_or_create_record();
    if (!segment)
        return 1;
    Record &record = record_in(segment);
    if (record.initialised == 0)
        initialise(record);
    checkpid();
    if (waited_for_writer(record))
        return 1;
    const Busy busy(record);
    update_times(record);
    end_cycles(record);
    return 1;
}

int powercycleget(void)
{
    if (const Attachment segment = attach_or_create_record())
        set_flag(record_in(segment).initialised, 0);
    return snmppowercycle();
}

int action_count(int delta)
{
    Attachment segment = attach(PLEXOR_CYCLE_KEY);
    if (!segment)
        return -1;
    count_actions(record_in(segment), static_cast<unsigned>(delta));
    return segment.detach();
}

int diff_time(void)
{
    Attachment segment = attach(PLEXOR_CYCLE_KEY);
    if (!segment)
        return -1;
    update_times(record_in(segment));
    return segment.detach();
}

int snmpTimeset(unsigned outlet, unsigned seconds, char *list)
{
    if (list == nullptr)
        return 0;
    const Fields fields(list);
    List text;
    TextBuilder builder(text);
    for (unsigned i = 0; i < max_outlets; ++i) {
        if (i != 0)
            builder.append(';');
        if (seconds != 0)
            append_number(builder, i + 1 == outlet ? static_cast<int>(seconds) : fields.number(i));
        else if (i + 1 == outlet)
            append_clock(builder);
        else
            builder.append(fields.text(i));
    }
    if (builder.full())
        return 0;
    strcpy(list, text);
    return static_cast<int>(std::strlen(list));
}

unsigned getcycleflag(const void *selector)
{
    const Attachment segment = attach_or_create_record();
    if (!segment)
        return 0;
    const Record &record = record_in(segment);
    return selector != nullptr ? record.active : record.notify;
}

char *s_getcycle(const void *selector)
{
    static List result;
    const Attachment segment = attach_or_create_record();
    if (!segment)
        return result;
    Record &record = record_in(segment);
    copy_cut(result, selector != nullptr ? record.elapsed : record.durations);
    if (selector != nullptr)
        record.notify = 0;
    return result;
}

int SetPowerCycle(int outlet, int seconds, const char *source)
{
    myprintf("SetPowerCycle%d:%ds,%s\n", outlet, seconds, source == nullptr ? "" : source);
    const int index = difference(outlet, 1);
    ContorlSpiPower(index, 0);
    if (seconds > 0)
        Sleep(static_cast<unsigned>(seconds));
    return ContorlSpiPower(index, 1) >= 0 ? 1 : 0;
}
