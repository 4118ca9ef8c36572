// SPDX-License-Identifier: Apache-2.0
//
// Who calls it: the processes that edit schedules; the start-up process, to restore; the reset button.
// What it owns: the records "schedule0" to "schedule29" with their companions, the flag "reflash", and their
// copy in the board controller.
// What is odd: records are taken apart and put together by scanf and printf formats, so what is short grows
// blanks; of a record's number the copy is judged by the second digit alone.
#include <plexor/schedule.h>

#include <strings.h>

#include <cstdio>
#include <cstring>
#include <iterator>

#include <plexor/i2c.h>
#include <plexor/process.h>
#include <plexor/relay.h>

#include "nvram.h"
#include "support/list.h"

namespace plexor
{
namespace
{

constexpr int last_record = 29;
constexpr unsigned schedule_size = sizeof delSchedule;
constexpr unsigned companion_size = sizeof delschedule0t;

constexpr unsigned board_controller = 0xA0;
constexpr int copied_register = 4;
constexpr unsigned char copied = 9;
constexpr int restored_register = 5;

constexpr const char *in_step_key = "reflash";

// --- the parameter store ---

using Key = char[24];

void schedule_key(Key &key, int record)
{
    snprintf(key, sizeof key, "schedule%d", record);
}

void companion_key(Key &key, int record)
{
    snprintf(key, sizeof key, "schedule%dt", record);
}

void mark_in_step()
{
    nvram_bufset(0, in_step_key, "9");
}

void move_schedule_down(int from)
{
    Key key;
    schedule_key(key, from);
    char record[128] = {};
    fetch(key, record);
    int ordinal = 0;
    char rest[34] = {};
    sscanf(record, "%02d%33s", &ordinal, rest); // NOLINT(cert-err34-c): two characters do not overflow
    if (ordinal != 0)
        --ordinal;
    snprintf(record, sizeof record, "%02d%33s", ordinal, rest);
    schedule_key(key, from - 1);
    nvram_bufset(0, key, record);
}

void move_companion_down(int from)
{
    Key key;
    companion_key(key, from);
    char record[128] = {};
    fetch(key, record);
    char text[companion_size + 1] = {};
    sscanf(record, "%31s", text);
    snprintf(record, sizeof record, "%31s", text);
    companion_key(key, from - 1);
    nvram_bufset(0, key, record);
}

template <std::size_t size>
void store_empty(const char *key, const char (&empty)[size])
{
    char text[size + 1] = {};
    std::memcpy(text, empty, size);
    nvram_bufset(0, key, text);
}

void empty_last_record()
{
    Key key;
    schedule_key(key, last_record);
    store_empty(key, delSchedule);
    companion_key(key, last_record);
    store_empty(key, delschedule0t);
}

// --- the copy ---

int write(int reg, const void *bytes, unsigned length)
{
    // The channel only reads what it writes.
    return i2cmd(0, board_controller, reg, static_cast<unsigned char *>(const_cast<void *>(bytes)), length);
}

int write_byte(int reg, unsigned char value)
{
    return write(reg, &value, 1);
}

void read(int reg, void *bytes, unsigned length)
{
    i2cmd(1, board_controller, reg, static_cast<unsigned char *>(bytes), length);
}

unsigned char read_copied_mark()
{
    unsigned char mark = 0;
    read(copied_register, &mark, 1);
    return mark;
}

template <std::size_t pages>
void write_page(const int (&registers)[pages], unsigned page, const char *data, unsigned length)
{
    if (page < pages && data != nullptr)
        write(registers[page], data, length);
}

void write_administrator(unsigned page, char *data, unsigned length)
{
    if (page >= std::size(parmindex) || data == nullptr)
        return;
    myprintf("writepage() sysAdm %s len:%d \n", data, static_cast<int>(length));
    write_byte(parmindex[page], static_cast<unsigned char>(length));
    data[length] = '\0';
    write(admindex[page], data, length);
}

bool is(const char *kind, const char *name)
{
    return kind != nullptr && strcasecmp(kind, name) == 0;
}

// How many companions to restore: the number of the last schedule that was.
int restore_schedules()
{
    int count = 0;
    for (int i = 0; i < int{std::size(pindex)}; ++i) {
        char record[48] = {};
        read(pindex[i], record, schedule_size);
        if (std::strlen(record) != schedule_size || record[1] != '1' + i)
            continue;
        Key key;
        schedule_key(key, i);
        nvram_bufset(0, key, record);
        myprintf("schedule%d :%s \n", i, record);
        count = i + 1;
    }
    return count;
}

void restore_companions(int count)
{
    for (int i = 0; i < count; ++i) {
        char record[48] = {};
        read(scheduletindex[i], record, companion_size);
        if (std::strlen(record) != companion_size)
            continue;
        Key key;
        companion_key(key, i);
        nvram_bufset(0, key, record);
        myprintf("schedule%d t :%s \n", i, record);
    }
}

void restore_administrator()
{
    constexpr unsigned longest = 32;
    const auto restore = [](unsigned page, int length, const char *what, const char *key) {
        char text[longest + 1] = {};
        if (length < 1 || length > int{longest})
            return;
        read(admindex[page], text, static_cast<unsigned>(length));
        myprintf("  %s %s \n", what, text);
        nvram_bufset(0, key, text);
    };
    signed char lengths[2] = {};
    read(parmindex[0], lengths, sizeof lengths);
    restore(0, lengths[0], "adm", "Login");
    restore(1, lengths[1], "pass", "Password");
}

void wait_for_the_memory()
{
    USleep(5000);
}

} // namespace
} // namespace plexor

using namespace plexor;

const int pindex[5] = {272, 320, 368, 416, 464};
const int scheduletindex[5] = {608, 640, 672, 704, 736};
const int parmindex[2] = {256, 257};
const int admindex[2] = {544, 576};
const char delSchedule[35] = {'0', '0', '0', '0', '0', '0', '0', '0', '0', '0', '0', '0',
                              '0', '0', '0', '0', '0', '0', '0', '0', '0', '0', '0', '0',
                              '0', '0', '0', '0', '0', '0', '0', '0', '0', '0', '0'};
const char delschedule0t[31] = {'0', '0', '0', ';', '0', '0', '0', ';', '0', '0', '0',
                                ';', '0', '0', '0', ';', '0', '0', '0', ';', '0', '0',
                                '0', ';', '0', '0', '0', ';', '0', '0', '0'};

int DelPowerSchedule(int first)
{
    if (first < 0)
        return 0;
    for (int record = first; record < last_record; ++record) {
        move_schedule_down(record + 1);
        move_companion_down(record + 1);
    }
    if (first <= last_record)
        empty_last_record();
    nvram_commit(0);
    return 0;
}

int writepage(int index, const char *kind, char *data, unsigned length)
{
    constexpr unsigned most_pages = 6;
    const auto page = static_cast<unsigned>(index);
    if (page >= most_pages)
        return 0;
    const unsigned char mark = read_copied_mark();
    if (is(kind, "scheduleconfig"))
        write_page(pindex, page, data, length);
    if (is(kind, "DelPowerSchedule"))
        write_page(pindex, page, delSchedule, schedule_size);
    if (is(kind, "sysAdm"))
        write_administrator(page, data, length);
    if (is(kind, "schedulet"))
        write_page(scheduletindex, page, data, length);
    mark_in_step();
    if (mark != copied)
        write_byte(copied_register, copied);
    return 0;
}

int backupSchedule(void)
{
    if (nvram_kget_int(in_step_key, 0) == copied)
        return 1;
    const unsigned char mark = read_copied_mark();
    if (mark != copied)
        return mark;
    restore_companions(restore_schedules());
    restore_administrator();
    mark_in_step();
    return write_byte(restored_register, 1);
}

int setIOstatus(void)
{
    ContorlSpiAllPower(0, "loadDefault");
    write_byte(1, 0xFF); // off mask
    write_byte(2, 0x00);
    write_byte(3, 0xFF);
    write_byte(244, 0x00);
    write_byte(copied_register, 0);
    write_byte(restored_register, 0);
    wait_for_the_memory();
    for (unsigned i = 0; i < std::size(pindex); ++i) {
        write_page(pindex, i, delSchedule, schedule_size);
        wait_for_the_memory();
        write_page(scheduletindex, i, delschedule0t, companion_size);
        wait_for_the_memory();
    }
    return 20;
}
