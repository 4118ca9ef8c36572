// SPDX-License-Identifier: Apache-2.0
#include "board/daemon/panel_text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>
#include <vector>

#include "board/daemon/controller_pages.h"

namespace plexor::board
{

namespace
{

using nlohmann::json;

constexpr std::size_t width = 76;  // between the borders with a space on each side
constexpr std::size_t indent = 20; // of what stands beside a label
constexpr std::size_t register_rows = 4;

enum class Ink { plain, bold, dim, green, yellow, red };

std::string_view code_of(Ink ink)
{
    constexpr std::array<std::string_view, 6> codes{"",         "\x1b[1m",  "\x1b[2m",
                                                    "\x1b[32m", "\x1b[33m", "\x1b[31m"};
    return codes[static_cast<std::size_t>(ink)];
}

// Columns that a text takes: its UTF-8 characters, without colour codes.
std::size_t columns(std::string_view text)
{
    std::size_t count = 0;
    bool in_code = false;
    for (const char c : text) {
        if (c == '\x1b')
            in_code = true;
        else if (in_code)
            in_code = c != 'm';
        else if ((static_cast<unsigned char>(c) & 0xC0) != 0x80)
            ++count;
    }
    return count;
}

std::string repeat(std::string_view text, std::size_t count)
{
    std::string result;
    for (std::size_t i = 0; i < count; ++i)
        result += text;
    return result;
}

std::string pad(const std::string &text, std::size_t size)
{
    return text + std::string(size - std::min(size, columns(text)), ' ');
}

// A text that came from outside: what a terminal could take for more than a letter is replaced, the rest cut.
std::string tame(std::string text, std::size_t longest)
{
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    return text.size() <= longest ? text : text.substr(0, longest - 3) + "...";
}

std::string hex_byte(int value)
{
    std::array<char, 9> text{};
    std::snprintf(text.data(), text.size(), "%02X", static_cast<unsigned>(value));
    return text.data();
}

class Drawing
{
  public:
    explicit Drawing(bool colours) : colours_(colours) {}

    std::string ink(Ink ink, const std::string &text) const
    {
        return !colours_ || ink == Ink::plain ? text : std::string(code_of(ink)) + text + "\x1b[0m";
    }

    void row(const std::string &text) { picture_ += frame("│ ") + pad(text, width) + frame(" │") + "\n"; }
    void top(const std::string &title)
    {
        const std::string line = repeat("─", width - 1 - columns(title));
        picture_ += frame("╭─ ") + title + frame(" " + line + "╮") + "\n";
    }
    void rule() { picture_ += frame("├" + repeat("─", width + 2) + "┤") + "\n"; }
    void bottom() { picture_ += frame("╰" + repeat("─", width + 2) + "╯") + "\n"; }

    std::string picture() && { return std::move(picture_); }

  private:
    std::string frame(const std::string &text) const { return ink(Ink::dim, text); }

    bool colours_;
    std::string picture_{};
};

void draw_title(Drawing &drawing, const json &board)
{
    const json &model = board.at("model");
    drawing.top(drawing.ink(Ink::bold, model.at("name").get<std::string>()) + " · " +
                model.at("code").get<std::string>() + " · model " +
                std::to_string(model.at("index").get<int>()) +
                (board.at("latching").get<bool>() ? " · latching relays" : " · ordinary relays"));
}

std::string lamp(const Drawing &drawing, const json &lit)
{
    return lit.get<bool>() ? drawing.ink(Ink::green, "●") : drawing.ink(Ink::dim, "○");
}

void draw_state(Drawing &drawing, const json &board)
{
    const bool power = board.at("power").get<bool>();
    const bool beeping = board.at("beeper").get<bool>();
    std::string text =
        pad(power ? drawing.ink(Ink::green, "power on") : drawing.ink(Ink::red, "no power"), 14);
    text += pad(beeping ? drawing.ink(Ink::yellow, "beeper on ♪") : "beeper off", 16);
    const auto offmask = board.at("offmask").get<std::string>();
    text += pad("off mask " + (offmask.empty() ? "not set" : tame(offmask, 12)), 26);
    if (!board.at("wifi_led").is_null())
        text += "Wi-Fi " + lamp(drawing, board.at("wifi_led")) + "   ";
    if (!board.at("usb_led").is_null())
        text += "USB " + lamp(drawing, board.at("usb_led"));
    drawing.row(text);
}

std::string contact_text(const json &outlet)
{
    if (outlet.at("live").get<bool>())
        return " ON  ";
    return outlet.at("closed").get<bool>() ? "(on) " : " off "; // in brackets: closed, but no mains
}

Ink outlet_ink(const json &outlet)
{
    if (outlet.at("live").get<bool>())
        return Ink::green;
    return outlet.at("closed").get<bool>() ? Ink::yellow : Ink::dim;
}

void draw_outlets(Drawing &drawing, const json &outlets)
{
    std::array<std::string, 4> lines;
    for (const json &outlet : outlets) {
        const auto framed = [&](const std::string &text) { return drawing.ink(outlet_ink(outlet), text); };
        const std::string number = std::to_string(outlet.at("outlet").get<int>());
        const json &led = outlet.at("led");
        lines[0] += framed("╭─ " + number + " ─╮") + "  ";
        lines[1] += framed("│" + contact_text(outlet) + "│") + "  ";
        lines[2] += led.is_null() ? "" : framed("│") + "  " + lamp(drawing, led) + "  " + framed("│") + "  ";
        lines[3] += framed("╰─────╯") + "  ";
    }
    for (const std::string &line : lines)
        if (!line.empty())
            drawing.row("  " + line);
}

// Words on as many rows as they need, at most limit; what is left out is counted.
void draw_words(Drawing &drawing, const std::string &label, const std::vector<std::string> &words,
                std::size_t limit)
{
    std::string text = pad(label, indent);
    std::size_t rows = 1;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::size_t room = rows == limit ? width - sizeof "1234 more" : width;
        if (columns(text) + words[i].size() > room) {
            if (rows++ == limit) {
                text += std::to_string(words.size() - i) + " more";
                break;
            }
            drawing.row(text);
            text = std::string(indent, ' ');
        }
        text += words[i] + (columns(text) + words[i].size() + 2 <= width ? "  " : "");
    }
    drawing.row(text);
}

void draw_expanders(Drawing &drawing, const json &expanders)
{
    if (expanders.empty())
        return;
    std::string text = pad("LED expanders", indent);
    for (const auto &[address, state] : expanders.items())
        text += "0x" + address + " = " + hex_byte(state.get<int>()) + "  ";
    drawing.row(text);
}

void draw_controller(Drawing &drawing, const json &registers)
{
    std::vector<std::string> words;
    for (const json &pair : registers)
        if (!is_in_page(pair.at(0).get<int>()))
            words.push_back("[" + std::to_string(pair.at(0).get<int>()) +
                            "]=" + hex_byte(pair.at(1).get<int>()));
    draw_words(drawing, "board controller", words, register_rows);
}

// What the board controller keeps for the appliance, where there is anything.
void draw_copies(Drawing &drawing, const json &copies)
{
    std::vector<std::string> words{"marker " + std::to_string(copies.at("marker").get<int>()),
                                   "restore marker " +
                                       std::to_string(copies.at("restore_marker").get<int>())};
    for (const char *name : {"login", "password"})
        if (const auto text = copies.at(name).get<std::string>(); !text.empty())
            words.push_back(tame(std::string(name) + " " + text, width - indent));
    if (copies.at("marker") != 0 || copies.at("restore_marker") != 0 || words.size() > 2)
        draw_words(drawing, "copies", words, register_rows);
    int number = 0;
    for (const json &schedule : copies.at("schedules")) {
        const std::string label = "schedule " + std::to_string(number++);
        words = {tame(schedule.at("record").get<std::string>(), width - indent),
                 tame(schedule.at("companion").get<std::string>(), width - indent)};
        if (!words[0].empty() || !words[1].empty())
            draw_words(drawing, label, words, register_rows);
    }
}

// What only I/O models have.
void draw_digital(Drawing &drawing, const json &board)
{
    std::vector<std::string> inputs;
    for (const json &input : board.at("inputs"))
        inputs.push_back("DI" + std::to_string(input.at("input").get<int>()) +
                         (input.at("active").get<bool>() ? " active" : " idle"));
    std::vector<std::string> outputs;
    for (const json &output : board.at("outputs"))
        outputs.push_back("DO" + std::to_string(output.at("output").get<int>()) + " " +
                          output.at("signal").get<std::string>());
    if (!inputs.empty())
        draw_words(drawing, "digital inputs", inputs, register_rows);
    if (!outputs.empty())
        draw_words(drawing, "digital outputs", outputs, register_rows);
}

std::string semicolons(const std::vector<int> &fields)
{
    std::string text;
    for (const int field : fields)
        text += (text.empty() ? "" : ";") + std::to_string(field);
    return text;
}

void draw_sensors(Drawing &drawing, const json &board)
{
    std::vector<std::string> readings;
    for (const auto &[sensor, fields] : board.at("sensors").items())
        readings.push_back(sensor + " " + semicolons(fields.get<std::vector<int>>()));
    if (!readings.empty())
        draw_words(drawing, "raw readings", readings, register_rows);
    std::vector<std::string> corrections;
    for (const auto &[name, value] : board.at("corrections").items())
        corrections.push_back(tame(name + " " + value.get<std::string>(), width - indent));
    if (!corrections.empty())
        draw_words(drawing, "corrections", corrections, register_rows);
}

// The machine's time is not news.
void draw_clock(Drawing &drawing, const json &clock)
{
    if (!clock.at("driven").get<bool>())
        return;
    const int rate = clock.at("rate").get<int>();
    drawing.row(pad("clock", indent) + clock.at("time").get<std::string>() +
                (rate == 1 ? "" : ", runs " + std::to_string(rate) + " times as fast"));
}

void draw_faults(Drawing &drawing, const json &faults)
{
    if (!faults.empty())
        draw_words(drawing, "faults", faults.get<std::vector<std::string>>(), register_rows);
}

} // namespace

std::string draw_panel(const json &board, bool colours)
{
    Drawing drawing(colours);
    draw_title(drawing, board);
    draw_state(drawing, board);
    drawing.rule();
    if (board.at("outlets").empty())
        drawing.row("no outlets: the board is not one that is known");
    else
        draw_outlets(drawing, board.at("outlets"));
    drawing.rule();
    draw_expanders(drawing, board.at("expanders"));
    draw_controller(drawing, board.at("controller"));
    draw_copies(drawing, board.at("copies"));
    draw_digital(drawing, board);
    draw_sensors(drawing, board);
    draw_clock(drawing, board.at("clock"));
    draw_faults(drawing, board.at("faults"));
    drawing.bottom();
    return std::move(drawing).picture();
}

} // namespace plexor::board
