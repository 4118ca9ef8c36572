// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cstring>

#include <plexor/gpio.h>
#include <plexor/i2c.h>

#include "tools/plexorctl/command.h"
#include "tools/plexorctl/json.h"
#include "tools/plexorctl/parse.h"
#include "tools/plexorctl/read_answered.h"
#include "tools/support/console.h"

namespace plexor::ctl
{
namespace
{

constexpr unsigned highest_register = 0xFFFF;

struct Address {
    unsigned device;
    unsigned reg;
};

std::optional<unsigned> parse_group(const char *word)
{
    const std::optional<unsigned> group = parse_number(word, 0, 2);
    if (!group)
        wrong_input("'%s' is no GPIO group; accepted: 0, 1, 2", word);
    return group;
}

int gpio_failed()
{
    return failure("/dev/gpio is missing or refused the request");
}

int report_levels(const Context &context, unsigned group, unsigned levels)
{
    if (!context.json) {
        std::fprintf(results(), "group %u: 0x%08X\n", group, levels);
        return done;
    }
    Json json(results());
    json.number("group", group);
    json.number("levels", levels);
    return done;
}

// The first two arguments of every transfer.
std::optional<Address> parse_address(const Context &context)
{
    const std::optional<unsigned> device = parse_number(context.arguments[0], 0, 0xFF);
    if (!device || (*device & 1U) != 0) {
        wrong_input("'%s' is no I2C device; accepted: its 8-bit address, even, 0 to 0xFE",
                    context.arguments[0]);
        return std::nullopt;
    }
    const std::optional<unsigned> reg = parse_number(context.arguments[1], 0, highest_register);
    if (!reg) {
        wrong_input("'%s' is no register; accepted: 0 to 0xFFFF", context.arguments[1]);
        return std::nullopt;
    }
    return Address{*device, *reg};
}

int report_bytes(const Context &context, const Address &address, std::span<const unsigned char> bytes)
{
    if (!context.json) {
        for (const unsigned char &byte : bytes)
            std::fprintf(results(), "%s%02X", &byte == bytes.data() ? "" : " ", byte);
        std::fputc('\n', results());
        return done;
    }
    Json json(results());
    json.number("device", address.device);
    json.number("register", address.reg);
    json.begin_array("bytes");
    for (const unsigned char byte : bytes)
        json.number(nullptr, byte);
    return done;
}

bool is_lcd_adapter(unsigned device)
{
    return device == 0x40 || device == 0x4E || device == 0x7E;
}

} // namespace

int gpio_read(const Context &context)
{
    const std::optional<unsigned> group = parse_group(context.arguments[0]);
    if (!group)
        return bad_input;
    unsigned levels = 0;
    if (gpio_read_int(*group, &levels) != 0)
        return gpio_failed();
    return report_levels(context, *group, levels);
}

int gpio_write(const Context &context)
{
    const std::optional<unsigned> group = parse_group(context.arguments[0]);
    if (!group)
        return bad_input;
    const std::optional<unsigned> levels = parse_number(context.arguments[1], 0, 0xFFFFFFFF);
    if (!levels)
        return wrong_input("'%s' is no bank word; accepted: 0 to 0xFFFFFFFF", context.arguments[1]);
    if (gpio_write_int(*group, static_cast<int>(*levels)) != 0)
        return gpio_failed();
    return report_levels(context, *group, *levels);
}

int gpio_direction(const Context &context)
{
    const std::optional<unsigned> line = parse_number(context.arguments[0], 0, 95);
    if (!line)
        return wrong_input("'%s' is no GPIO line; accepted: 0 to 95", context.arguments[0]);
    const char *direction = context.arguments[1];
    const bool output = std::strcmp(direction, "out") == 0;
    if (!output && std::strcmp(direction, "in") != 0)
        return wrong_input("'%s' is no direction; accepted: in, out", direction);
    if (gpio_set_dir_g(*line / 32, output ? 1 : 0, static_cast<int>(*line)) != 0)
        return gpio_failed();
    if (!context.json) {
        std::fprintf(results(), "line %u: %s\n", *line, direction);
        return done;
    }
    Json json(results());
    json.number("line", *line);
    json.text("direction", direction);
    return done;
}

// Past the cache, for a person who looks wants what is there now.
int i2c_read(const Context &context)
{
    const std::optional<Address> address = parse_address(context);
    if (!address)
        return bad_input;
    const std::optional<unsigned> length = parse_number(context.arguments[2], 1, most_bytes_read);
    if (!length)
        return wrong_input("'%s' is no length; accepted: 1 to %u", context.arguments[2], most_bytes_read);
    std::array<unsigned char, most_bytes_read> room{};
    const std::span<unsigned char> bytes(room.data(), *length);
    if (!read_answered(address->device, address->reg, bytes))
        return failure("no device at 0x%02X answered", address->device);
    return report_bytes(context, *address, bytes);
}

// Through the cache, which otherwise would answer the next writer from a state that is gone.
int i2c_write(const Context &context)
{
    const std::optional<Address> address = parse_address(context);
    if (!address)
        return bad_input;
    const std::span<char *const> words = context.arguments.subspan(2);
    std::array<unsigned char, most_bytes_written> bytes{};
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::optional<unsigned> byte = parse_number(words[i], 0, 0xFF);
        if (!byte)
            return wrong_input("'%s' is no byte; accepted: 0 to 0xFF", words[i]);
        bytes[i] = static_cast<unsigned char>(*byte);
    }
    const unsigned length = static_cast<unsigned>(words.size());
    i2cmd(0, address->device, static_cast<int>(address->reg), bytes.data(), length);
    return report_bytes(context, *address, {bytes.data(), length});
}

int i2c_scan(const Context &context)
{
    const unsigned answer = I2Scnner();
    const bool found = is_lcd_adapter(answer);
    if (context.json) {
        Json json(results());
        json.flag("lcd_adapter", found);
        json.number("answer", answer);
    } else if (found) {
        std::fprintf(results(), "LCD adapter at 0x%02X\n", answer);
    } else {
        std::fprintf(results(), "no LCD adapter; last answer 0x%02X\n", answer);
    }
    return done;
}

} // namespace plexor::ctl
