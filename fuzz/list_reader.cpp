// SPDX-License-Identifier: Apache-2.0
// Any text in the parameter store reads as strsep and atoi would read it, and rewriting a list keeps to its
// 511 characters.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include <plexor/params.h>

#include "fuzz/appliance.h"
#include "nvram.h"

using namespace plexor::fuzz;

namespace
{

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
    const std::string before = parameters["key"];
    const int result = WrNvram_N_Param(values, key, 4, fallback);
    const std::string &after = parameters["key"];
    expect(result == 0 ? after.size() <= 511 && after.rfind("7;", 0) == 0 : after == before);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char *>(data), size);
    parameters["key"] = text.c_str(); // up to the first zero
    integers_read_as_atoi_reads_them();
    rewriting_is_bounded();
    return 0;
}
