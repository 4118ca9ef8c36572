// SPDX-License-Identifier: Apache-2.0
#include <array>

#include <plexor/dio.h>
#include <plexor/model.h>

#include "tools/plexorctl/command.h"
#include "tools/plexorctl/json.h"
#include "tools/plexorctl/parse.h"
#include "tools/plexorctl/read_answered.h"
#include "tools/support/board.h"
#include "tools/support/console.h"

namespace plexor::ctl
{
namespace
{

constexpr unsigned lines = 4; // inputs, and outputs, that the library knows
constexpr unsigned io_controller = 0x32;
constexpr unsigned mode_registers = 0x50;

enum Mode : int { level_0, level_1, pulse, frequency, pwm };

// How many of the lines the model brings out.
struct Terminals {
    unsigned inputs;
    unsigned outputs;
};

Terminals terminals_of(const Board &board)
{
    unsigned first = 0;
    Terminals terminals{};
    getDiDoNum(board.model, &first, &terminals.inputs, &terminals.outputs);
    return terminals;
}

const char *unless_terminal(bool terminal)
{
    return terminal ? "" : "  (this model has no terminal for it)";
}

struct ModeName {
    char text[24];
};

ModeName name_of(int mode)
{
    static constexpr char known[][10] = {"level 0", "level 1", "pulse", "frequency", "pwm"};
    ModeName name{};
    if (mode >= level_0 && mode <= pwm)
        std::snprintf(name.text, sizeof name.text, "%s", known[mode]);
    else
        std::snprintf(name.text, sizeof name.text, "mode %d", mode);
    return name;
}

// --- the controller ---

struct ControllerState {
    std::array<unsigned char, 32> bytes; // as GetDOByIdx gives them

    int mode(unsigned output) const { return bytes[24 + output]; }
    unsigned frequency_byte(unsigned i) const { return bytes[30 + i]; }
};

bool controller_answers()
{
    std::array<unsigned char, lines> modes{};
    return read_answered(io_controller, mode_registers, modes);
}

// Nothing when no controller answers: the library then would tell of zeros.
std::optional<ControllerState> read_controller()
{
    if (!controller_answers())
        return std::nullopt;
    ControllerState state{};
    GetDOByIdx(state.bytes.data());
    return state;
}

// --- io show ---

struct Picture {
    Terminals terminals;
    std::array<unsigned, lines> inputs;
    bool open; // the dry contact
    std::array<int, lines> recorded;
    std::optional<ControllerState> controller;
};

Picture take_picture(const Board &board)
{
    Picture picture{};
    picture.terminals = terminals_of(board);
    GetDIStatus(picture.inputs.data());
    picture.open = GetIICDi() != 0;
    GetDOStatus(picture.recorded.data());
    picture.controller = read_controller();
    return picture;
}

const char *input_word(unsigned active)
{
    return active != 0 ? "active" : "idle";
}

// As the alert journal calls it.
const char *contact_word(bool open)
{
    return open ? "open" : "loopback";
}

void print_text(const Picture &picture)
{
    FILE *out = results();
    for (unsigned i = 0; i < lines; ++i)
        std::fprintf(out, "Input %u      %s%s\n", i + 1, input_word(picture.inputs[i]),
                     unless_terminal(i < picture.terminals.inputs));
    std::fprintf(out, "Dry contact  %s\n", contact_word(picture.open));
    for (unsigned i = 0; i < lines; ++i)
        std::fprintf(out, "Output %u     recorded %s, controller %s%s\n", i + 1,
                     name_of(picture.recorded[i]).text,
                     picture.controller ? name_of(picture.controller->mode(i)).text : "silent",
                     unless_terminal(i < picture.terminals.outputs));
    if (picture.controller)
        std::fprintf(out, "Frequency registers of output 1  0x%02X 0x%02X\n",
                     picture.controller->frequency_byte(0), picture.controller->frequency_byte(1));
}

void write_inputs(Json &json, const Picture &picture)
{
    json.begin_array("inputs");
    for (unsigned i = 0; i < lines; ++i) {
        json.begin_object();
        json.number("input", i + 1);
        json.flag("active", picture.inputs[i] != 0);
        json.flag("terminal", i < picture.terminals.inputs);
        json.end();
    }
    json.end();
}

void write_mode(Json &json, const char *key, int mode)
{
    json.begin_object(key);
    json.number("mode", mode);
    json.text("name", name_of(mode).text);
    json.end();
}

void write_outputs(Json &json, const Picture &picture)
{
    json.begin_array("outputs");
    for (unsigned i = 0; i < lines; ++i) {
        json.begin_object();
        json.number("output", i + 1);
        write_mode(json, "recorded", picture.recorded[i]);
        if (picture.controller)
            write_mode(json, "controller", picture.controller->mode(i));
        else
            json.text("controller", nullptr);
        json.flag("terminal", i < picture.terminals.outputs);
        json.end();
    }
    json.end();
}

void write_controller(Json &json, const std::optional<ControllerState> &controller)
{
    if (!controller) {
        json.text("controller", nullptr);
        return;
    }
    json.begin_object("controller");
    json.begin_array("output1_frequency_registers");
    json.number(nullptr, controller->frequency_byte(0));
    json.number(nullptr, controller->frequency_byte(1));
    json.end();
    json.begin_array("bytes");
    for (const unsigned char byte : controller->bytes)
        json.number(nullptr, byte);
    json.end();
    json.end();
}

void print_json(const Picture &picture)
{
    Json json(results());
    write_inputs(json, picture);
    json.text("dry_contact", contact_word(picture.open));
    write_outputs(json, picture);
    write_controller(json, picture.controller);
}

// --- io set ---

struct Setting {
    unsigned output;
    int mode;
    unsigned value_count;
    unsigned values[2];
};

// In place of a mode: the value is one.
constexpr int plain_level = -1;
constexpr int further_mode = -2;

constexpr unsigned output_1 = 1;
constexpr unsigned other_outputs = 0b1110;
constexpr unsigned all_outputs = 0b1111;

// A way to set an output, as it is named on the command line.
struct Way {
    const char *word;
    int mode;
    unsigned outputs; // that can be set so, output 1 in bit 0
    unsigned value_count;
    unsigned highest[2];
    const char *accepted;
};

constexpr Way ways[] = {
    {"level", plain_level, all_outputs, 1, {1, 0}, "level 0 or 1"},
    {"pulse", pulse, all_outputs, 1, {999'999, 0}, "pulse COUNT, 0 to 999999"},
    // One more is PWM on output 1.
    {"frequency", frequency, output_1, 1, {65'534, 0}, "frequency HZ, 0 to 65534 on output 1"},
    {"frequency", frequency, other_outputs, 1, {65'535, 0}, "frequency HZ, 0 to 65535"},
    {"pwm", pwm, output_1, 2, {10, 255}, "pwm FREQUENCY WIDTH, 0 to 10 and 0 to 255"},
    {"mode", further_mode, all_outputs, 1, {14, 0}, "mode 10, 12, 13 or 14"},
};

// Null after a line on standard error.
const Way *find_way(std::string_view word, unsigned output)
{
    bool known = false;
    for (const Way &way : ways) {
        if (word != way.word)
            continue;
        if ((way.outputs >> output & 1U) != 0)
            return &way;
        known = true;
    }
    if (known)
        wrong_input("output %u has no %s; accepted: output 1", output + 1, word.data());
    else
        wrong_input("'%.80s' is no way to set an output; accepted: level, pulse, frequency, pwm, mode",
                    word.data());
    return nullptr;
}

bool is_further_mode(unsigned mode)
{
    return mode == 10 || (mode >= 12 && mode <= 14);
}

// Nothing after a line on standard error.
std::optional<unsigned> parse_value(const char *word, const Way &way, unsigned highest)
{
    const std::optional<unsigned> value = parse_number(word, 0, highest);
    if (value && (way.mode != further_mode || is_further_mode(*value)))
        return value;
    wrong_input("'%.80s' is no value for %s; accepted: %s", word, way.word, way.accepted);
    return std::nullopt;
}

// False after a line on standard error.
bool parse_values(std::span<char *const> words, const Way &way, Setting &setting)
{
    if (words.size() != way.value_count) {
        wrong_input("%zu value%s given for %s; accepted: %s", words.size(), words.size() == 1 ? "" : "s",
                    way.word, way.accepted);
        return false;
    }
    for (unsigned i = 0; i < way.value_count; ++i) {
        const std::optional<unsigned> value = parse_value(words[i], way, way.highest[i]);
        if (!value)
            return false;
        setting.values[i] = *value;
    }
    setting.value_count = way.value_count;
    setting.mode = way.mode < 0 ? static_cast<int>(setting.values[0]) : way.mode;
    return true;
}

std::optional<Setting> parse_setting(const Context &context)
{
    const std::span<char *const> words = context.arguments;
    const std::optional<unsigned> output = parse_number(words[0], 1, lines);
    if (!output) {
        wrong_input("'%.80s' is no output; accepted: 1 to %u", words[0], lines);
        return std::nullopt;
    }
    const Way *way = find_way(words[1], *output - 1);
    if (way == nullptr)
        return std::nullopt;
    Setting setting{*output - 1, 0, 0, {}};
    if (!parse_values(words.subspan(2), *way, setting))
        return std::nullopt;
    if (context.direct && way->mode != plain_level) {
        wrong_input("--direct sets levels only; accepted: plexorctl --direct io set N level 0|1");
        return std::nullopt;
    }
    return setting;
}

// The level registers, which a level set directly goes to, are not in what GetDOByIdx reads.
bool level_registers_hold(unsigned output, int level)
{
    for (const unsigned reg : {13 + 9 * output, 5 + output}) {
        unsigned char byte = 0;
        if (!read_answered(io_controller, reg, {&byte, 1}) || byte != level)
            return false;
    }
    return true;
}

int set_level_directly(const Setting &setting)
{
    SetDOByIdx(setting.output, setting.values[0]);
    if (!level_registers_hold(setting.output, setting.mode))
        return failure("output %u did not follow: its level registers do not hold %u", setting.output + 1,
                       setting.values[0]);
    return done;
}

int set_mode(Setting setting)
{
    if (setDoX(setting.output, static_cast<unsigned>(setting.mode), setting.values) != 1)
        return failure("output %u was not set: the library refused", setting.output + 1);
    const std::optional<ControllerState> state = read_controller();
    if (!state)
        return failure("output %u was set, but the I/O controller does not answer any more",
                       setting.output + 1);
    if (state->mode(setting.output) != setting.mode)
        return failure("output %u did not follow: it was set to %s and is at %s", setting.output + 1,
                       name_of(setting.mode).text, name_of(state->mode(setting.output)).text);
    return done;
}

int report(const Context &context, const Setting &setting, bool terminal)
{
    const ModeName name = name_of(setting.mode);
    const bool told_by_mode = setting.mode != pulse && setting.mode != frequency && setting.mode != pwm;
    if (!context.json) {
        std::fprintf(results(), "Output %u  %s", setting.output + 1, name.text);
        for (unsigned i = 0; !told_by_mode && i < setting.value_count; ++i)
            std::fprintf(results(), " %u", setting.values[i]);
        std::fprintf(results(), "%s\n", unless_terminal(terminal));
        return done;
    }
    Json json(results());
    json.number("output", setting.output + 1);
    json.number("mode", setting.mode);
    json.text("name", name.text);
    json.begin_array("values");
    for (unsigned i = 0; !told_by_mode && i < setting.value_count; ++i)
        json.number(nullptr, setting.values[i]);
    json.end();
    json.flag("terminal", terminal);
    return done;
}

} // namespace

int io_show(const Context &context)
{
    const std::optional<Board> board = known_board();
    if (!board || !gpio_answers())
        return failed;
    const Picture picture = take_picture(*board);
    if (context.json)
        print_json(picture);
    else
        print_text(picture);
    return done;
}

int io_set(const Context &context)
{
    const std::optional<Setting> setting = parse_setting(context);
    if (!setting)
        return bad_input;
    const std::optional<Board> board = known_board();
    if (!board)
        return failed;
    if (!controller_answers())
        return failure("output %u was not set: no I/O controller answers at 0x%02X", setting->output + 1,
                       io_controller);
    if (const int status = context.direct ? set_level_directly(*setting) : set_mode(*setting); status != done)
        return status;
    return report(context, *setting, setting->output < terminals_of(*board).outputs);
}

} // namespace plexor::ctl
