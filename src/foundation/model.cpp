// SPDX-License-Identifier: Apache-2.0
#include <plexor/model.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <iterator>

#include "foundation/model_table.h"
#include "nvram.h"
#include "support/list.h"
#include "support/time.h"

namespace plexor
{
namespace
{

constexpr int usb_ports = 8;
constexpr int usb_current_sensor = 8870;
constexpr int usb_humidity_sensor = 8871;

unsigned index_of(std::uint32_t code)
{
    const auto *const found = std::find_if(std::begin(model_codes), std::end(model_codes),
                                           [code](ModelCode entry) { return entry.code == code; });
    return found == std::end(model_codes) ? 0 : found->index;
}

void store(unsigned *place, unsigned value)
{
    if (place != nullptr)
        *place = value;
}

const char *plural(int number)
{
    return number == 1 ? "" : "s";
}

void read_usb_port(int port, char (&reading)[32])
{
    char key[32];
    snprintf(key, sizeof key, "CDC_buf_%d", port);
    fetch(key, reading);
}

} // namespace
} // namespace plexor

using namespace plexor;

unsigned getPowerPortNum(unsigned *model)
{
    unsigned char address[100] = {};
    if (flash_read_br0_mac(address) < 0) {
        myprintf("### Failed to read mac from flash\n");
        return 0;
    }
    const std::uint32_t code = static_cast<std::uint32_t>(address[0]) << 16 |
                               static_cast<std::uint32_t>(address[1]) << 8 | address[2];
    const unsigned index = index_of(code);
    store(model, index);
    return model_at(index).outlets;
}

char *getModelName(int index)
{
    static char name[32];
    snprintf(name, sizeof name, "%s", model_at(static_cast<unsigned>(index)).name);
    return name;
}

int getDiDoNum(unsigned index, unsigned *first, unsigned *di, unsigned *dout)
{
    const Model &model = model_at(index);
    store(first, model.io_first);
    store(di, model.inputs);
    store(dout, model.outputs);
    return 1;
}

int getUptime(char *buffer, unsigned size)
{
    if (buffer == nullptr)
        size = 0;
    const tm day = local_time(time(nullptr));
    const int hour = day.tm_hour;
    const int min = day.tm_min;
    const int sec = day.tm_sec;
    if (hour >= 1)
        return snprintf(buffer, size, "%d hour%s, %d min%s, %d sec%s", hour, plural(hour), min, plural(min),
                        sec, plural(sec));
    if (min >= 1)
        return snprintf(buffer, size, "%d min%s, %d sec%s", min, plural(min), sec, plural(sec));
    return snprintf(buffer, size, "%d sec%s", sec, plural(sec));
}

int GetUsbPortType(int *types, int size)
{
    if (types == nullptr)
        return 1;
    types[0] = 0;
    for (int port = 1; port <= size / 4; ++port) {
        char key[32];
        snprintf(key, sizeof key, "CDC_type_%d", port);
        types[port - 1] = nvram_kget_int(key, 0);
    }
    return 1;
}

int GetUsbPortData(float *amps, int *humidity, float *celsius)
{
    if (amps == nullptr || humidity == nullptr || celsius == nullptr)
        return 1;
    int types[usb_ports] = {};
    GetUsbPortType(types, sizeof types);
    for (int i = 0; i < usb_ports; ++i) {
        char reading[32] = {};
        read_usb_port(i + 1, reading);
        if (types[i] == usb_current_sensor)
            sscanf(reading, "%fA", &amps[i]);
        else if (types[i] == usb_humidity_sensor)
            sscanf(reading, "%d%%+%fc", &humidity[i], &celsius[i]);
    }
    return 1;
}
