// SPDX-License-Identifier: Apache-2.0
#include <cstring>

#include "nvram.h"
#include "tools/plexorctl/command.h"
#include "tools/plexorctl/json.h"
#include "tools/plexorctl/known_params.h"
#include "tools/plexorctl/parse.h"
#include "tools/support/console.h"

namespace plexor::ctl
{
namespace
{

constexpr std::size_t longest_key = 63;
constexpr std::size_t longest_value = 511;

constexpr bool is_key_character(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

bool is_key(const char *text)
{
    const std::size_t length = std::strlen(text);
    for (std::size_t i = 0; i < length; ++i) {
        if (!is_key_character(text[i]))
            return false;
    }
    return length >= 1 && length <= longest_key;
}

int refuse_key(const char *text)
{
    return wrong_input("'%.80s' is no key; accepted: 1 to 63 letters, digits and underscores", text);
}

const char *value_of(const char *key)
{
    const char *value = nvram_bufget(0, key);
    return value != nullptr ? value : "";
}

int report(const Context &context, const char *key)
{
    const char *value = value_of(key);
    if (!context.json) {
        std::fprintf(results(), "%s\n", value);
        return done;
    }
    Json json(results());
    json.text("key", key);
    json.text("value", value);
    return done;
}

struct Key {
    char text[longest_key + 1];
};

// The key of a numbered parameter, whose '#' stands for the number.
Key numbered(const KnownParam &param, int number)
{
    Key key{};
    const char *mark = std::strchr(param.key, '#');
    if (mark == nullptr)
        std::snprintf(key.text, sizeof key.text, "%s", param.key);
    else
        std::snprintf(key.text, sizeof key.text, "%.*s%d%s", static_cast<int>(mark - param.key), param.key,
                      number, mark + 1);
    return key;
}

template <typename Visit>
void for_each_set(Visit visit)
{
    for (const KnownParam &param : known_params()) {
        for (int number = param.first; number <= param.last; ++number) {
            const Key key = numbered(param, number);
            const char *value = value_of(key.text);
            if (*value != '\0')
                visit(key.text, value, param.meaning);
        }
    }
}

} // namespace

int param_get(const Context &context)
{
    const char *key = context.arguments[0];
    return is_key(key) ? report(context, key) : refuse_key(key);
}

int param_set(const Context &context)
{
    const char *key = context.arguments[0];
    const char *value = context.arguments[1];
    if (!is_key(key))
        return refuse_key(key);
    if (!is_line(value, 0, longest_value)) // a line break would end the entry in the store's own text form
        return wrong_input("the value of %s is refused; accepted: up to 511 bytes without control characters",
                           key);
    if (nvram_bufset(0, key, value) < 0 || std::strcmp(value_of(key), value) != 0)
        return failure("the parameter store did not keep %s", key);
    return context.json ? report(context, key) : done;
}

int param_list(const Context &context)
{
    if (!context.json) {
        for_each_set([](const char *key, const char *value, const char *) {
            std::fprintf(results(), "%s=%s\n", key, value);
        });
        return done;
    }
    Json json(results());
    json.begin_array("parameters");
    for_each_set([&json](const char *key, const char *value, const char *meaning) {
        json.begin_object();
        json.text("key", key);
        json.text("value", value);
        json.text("meaning", meaning);
        json.end();
    });
    return done;
}

int param_commit(const Context &context)
{
    if (nvram_commit(0) < 0)
        return failure("the parameter store could not be written to flash");
    if (context.json)
        Json(results()).flag("committed", true);
    return done;
}

} // namespace plexor::ctl
