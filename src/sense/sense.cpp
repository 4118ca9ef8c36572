// SPDX-License-Identifier: Apache-2.0
#include <plexor/sense.h>

#include <climits>
#include <cstdio>
#include <cstring>

#include <plexor/params.h>

#include "foundation/model_table.h"
#include "nvram.h"
#include "support/list.h"

namespace plexor
{
namespace
{

constexpr std::size_t amperes_text_size = 128; // as all callers offer

constexpr unsigned low_byte_of(int reading)
{
    return static_cast<unsigned>(reading) & 0xFFU;
}

// Toward zero; a number that no int holds (a correction may be anything) becomes the nearest that one does.
int truncated(double value)
{
    if (value != value)
        return 0;
    if (value >= double{INT_MAX})
        return INT_MAX;
    return value <= double{INT_MIN} ? INT_MIN : static_cast<int>(value);
}

float correction(const char *key)
{
    float value = 0;
    RdNvram_N_Param_float(key, 1, &value);
    return value;
}

constexpr int whole_degrees(int hundredths)
{
    return hundredths / 100;
}

// An external meter's value: whole units and tenths in two neighbouring fields.
float with_tenths(const char *key, int field)
{
    int fields[4];
    RdNvram_N_Param_int(key, 4, fields);
    return static_cast<float>(fields[field] + fields[field + 1] * 0.1);
}

void append_amperes(TextBuilder &text, unsigned outlet, float amperes)
{
    char field[64];
    snprintf(field, sizeof field, "%4.2f%s", double{amperes}, outlet + 1 < max_outlets ? ";" : "");
    text.append(field);
}

} // namespace
} // namespace plexor

using namespace plexor;

const int arNTCtoTempTbl[256] = {
#include "sense/ntc_table.inc"
};

float CurrentADC_convert7302(unsigned raw, float high, float low)
{
    constexpr unsigned high_range = 88;
    const unsigned reading = raw & 0xFFU;
    if (reading >= high_range)
        return static_cast<float>(reading * 0.0551 + double{high});
    return static_cast<float>(reading * 0.0555 + double{low});
}

int IICADCTransAmpPX(char *text, unsigned char *raw)
{
    int readings[max_outlets];
    float low[max_outlets];
    float high[max_outlets];
    RdNvram_N_Param_int("sIICAmp_PX", max_outlets, readings);
    RdNvram_N_Param_float("correction_ampL_Px", max_outlets, low);
    RdNvram_N_Param_float("correction_ampH_Px", max_outlets, high);
    if (text != nullptr) {
        TextBuilder list(text, amperes_text_size);
        for (unsigned i = 0; i < max_outlets; ++i)
            append_amperes(list, i, CurrentADC_convert7302(low_byte_of(readings[i]), high[i], low[i]));
    }
    if (raw != nullptr)
        std::memcpy(raw, readings, sizeof readings);
    return 0;
}

int GetPowerCurrent(float *amperes)
{
    if (amperes == nullptr)
        return 1;
    if (stored_model().external_meter) {
        amperes[0] = with_tenths("sAmp_PX", 0);
        return 1;
    }
    char text[amperes_text_size] = {};
    IICADCTransAmpPX(text, nullptr);
    float *const a = amperes;
    sscanf(text, "%f;%f;%f;%f;%f;%f;%f;%f", &a[0], &a[1], &a[2], &a[3], &a[4], &a[5], &a[6], &a[7]);
    return 1;
}

int IICADCTransTemp(unsigned char *raw)
{
    const float to_add = correction("correction_temp");
    const unsigned reading = low_byte_of(nvram_kget_int("sIICTemp", 0));
    if (raw != nullptr)
        *raw = static_cast<unsigned char>(reading);
    // In single precision, as the readers of the text on the display are used to.
    const float value = static_cast<float>(arNTCtoTempTbl[reading]) + to_add * 100.0F;
    return truncated(double{value});
}

int GetPowerTemp(float *degrees)
{
    if (degrees == nullptr)
        return 1;
    switch (stored_model().thermometer) {
    case Thermometer::external:
        *degrees = with_tenths("sTEmp_PX", 2);
        break;
    case Thermometer::board:
        *degrees = static_cast<float>(whole_degrees(IICADCTransTemp(nullptr)));
        break;
    case Thermometer::none:
        break;
    }
    return 1;
}

int IICADCTransVolt(unsigned char *raw)
{
    constexpr double full_scale = 382.0;
    constexpr double step = 0.00390625; // 1 / 256
    const unsigned reading = low_byte_of(nvram_kget_int("sIICVolt", 0));
    const float to_add = correction("correction_vlot");
    if (raw != nullptr)
        *raw = static_cast<unsigned char>(reading);
    return truncated(reading * step * full_scale + double{to_add}) & 0xFFFE; // even, and 16 bits wide
}

int GetPowerVolt(float *volts)
{
    if (volts != nullptr)
        *volts = static_cast<float>(IICADCTransVolt(nullptr));
    return 1;
}

int GetPowerHumi(float *humidity)
{
    if (humidity != nullptr)
        *humidity = with_tenths("sTEmp_PX", 0);
    return 1;
}
