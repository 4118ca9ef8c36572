// SPDX-License-Identifier: Apache-2.0
// Any text in the parameter store reads as strsep and atoi would read it, and rewriting a list keeps to its
// 511 characters.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include <plexor/params.h>

#include "nvram.h"

namespace
{

std::string stored;

void expect(bool holds)
{
    if (!holds)
        std::abort();
}

void integers_read_as_atoi_reads_them()
{
    constexpr int n = 12;
    int fields[n];
    RdNvram_N_Param_int("key", n, fields);
    char text[512] = {};
    nvram_kget_str("key", text, sizeof text);
    char *rest = text;
    for (int field : fields) {
        const char *const plain = strsep(&rest, ";");
        expect(field == (plain == nullptr ? 0 : std::atoi(plain)));
    }
}

void rewriting_is_bounded()
{
    char key[] = "key";
    char first[] = "7";
    char fallback[] = "0";
    char *values[4] = {first, nullptr, nullptr, nullptr};
    const std::string before = stored;
    const int result = WrNvram_N_Param(values, key, 4, fallback);
    expect(result == 0 ? stored.size() <= 511 && stored.rfind("7;", 0) == 0 : stored == before);
}

} // namespace

extern "C" {

int nvram_kget_str(const char *, char *buffer, int size)
{
    const std::size_t room = static_cast<std::size_t>(size) - 1;
    std::memcpy(buffer, stored.c_str(), std::min(stored.size(), room));
    buffer[std::min(stored.size(), room)] = '\0';
    return 0;
}

int nvram_bufset(int, const char *, const char *value)
{
    stored = value;
    return 0;
}

int myprintf(const char *, ...)
{
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    stored.assign(reinterpret_cast<const char *>(data), size);
    stored.resize(std::strlen(stored.c_str()));
    integers_read_as_atoi_reads_them();
    rewriting_is_bounded();
    return 0;
}

} // extern "C"
