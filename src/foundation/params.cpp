// SPDX-License-Identifier: Apache-2.0
#include <plexor/params.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "nvram.h"
#include "support/list.h"

namespace plexor
{
namespace
{

int split_list(ListBuffer &buffer, const char *key, int n, char **out)
{
    if (key == nullptr || out == nullptr)
        return 0;
    fetch(key, buffer);
    char *rest = buffer;
    for (int i = 0; i < n; ++i)
        out[i] = strsep(&rest, ";");
    return 0;
}

int refuse_list(const char *key)
{
    myprintf("WrNvram_N_Param_Err:%s\n", key == nullptr ? "" : key);
    return -1;
}

int rewrite_list(char *const *values, const char *key, int n, const char *fallback)
{
    if (values == nullptr || key == nullptr || n < 1)
        return refuse_list(key);
    ListBuffer old_list{};
    ListBuffer new_list{};
    fetch(key, old_list);
    char *rest = old_list;
    TextBuilder list(new_list);
    for (int i = 0; i < n && !list.full(); ++i) {
        const char *field = strsep(&rest, ";");
        if (field == nullptr)
            field = fallback == nullptr ? "" : fallback;
        list.append(values[i] == nullptr ? field : values[i]);
        if (i + 1 < n)
            list.append(";");
    }
    return list.full() ? refuse_list(key) : nvram_bufset(0, key, new_list);
}

} // namespace
} // namespace plexor

using namespace plexor;

int RdNvram_N_Param_int(const char *key, int n, int *out)
{
    if (key == nullptr || out == nullptr)
        return 0;
    ListBuffer buffer{};
    fetch(key, buffer);
    const char *text = buffer;
    for (int i = 0; i < n; ++i) {
        out[i] = take_int(text); // at the end of the text: 0
        if (*text == ';')
            ++text;
    }
    return 0;
}

int RdNvram_N_Param_float(const char *key, int n, float *out)
{
    static ListBuffer buffer;
    if (key == nullptr || out == nullptr)
        return 0;
    fetch(key, buffer);
    char *rest = buffer;
    for (int i = 0; i < n; ++i) {
        const char *field = strsep(&rest, ";");
        out[i] = field == nullptr ? 0.0F : static_cast<float>(std::atof(field));
    }
    return 0;
}

int RdNvram_N_Param(const char *key, int n, char **out)
{
    static ListBuffer buffer;
    return split_list(buffer, key, n, out);
}

int RdNvram_N_Param_DOUSE(const char *key, int n, char **out)
{
    static ListBuffer buffer;
    return split_list(buffer, key, n, out);
}

int WrNvram_N_Param(char **values, char *key, int n, char *fallback)
{
    return rewrite_list(values, key, n, fallback);
}

int WrNvram_N_Param_DOUSE(char **values, char *key, int n, char *fallback)
{
    return rewrite_list(values, key, n, fallback);
}

int WrNvram_DoPX_ByIdx_DOUSE(const char *key, int index, long value)
{
    constexpr int fields = 4;
    if (key == nullptr || index < 0 || index >= fields)
        return myprintf("WrNvram_DoPX_ByIdx_Err:%s,%d,%ld\n", key == nullptr ? "" : key, index, value);
    char *list[fields] = {};
    RdNvram_N_Param_DOUSE(key, fields, list);
    char text[128] = {};
    snprintf(text, sizeof text, "%ld", value);
    list[index] = text;
    return rewrite_list(list, key, fields, "0");
}
