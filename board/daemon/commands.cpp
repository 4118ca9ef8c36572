// SPDX-License-Identifier: Apache-2.0
#include "board/daemon/commands.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "board/daemon/controller_pages.h"
#include "board/daemon/properties.h"
#include "board/daemon/refusal.h"

namespace plexor::board
{

namespace
{

using nlohmann::json;

constexpr std::size_t events_per_page = 1000;
constexpr std::size_t text_per_page = 256 * 1024;

json done()
{
    return {{"ok", true}};
}

template <typename Value>
Value field(const json &request, const char *name)
{
    const auto found = request.find(name);
    if (found == request.end())
        throw Refusal(std::string("\"") + name + "\" is missing");
    try {
        return found->get<Value>();
    } catch (const json::exception &) {
        throw Refusal(std::string("\"") + name + "\" has the wrong type");
    }
}

template <typename Value>
Value field_or(const json &request, const char *name, Value fallback)
{
    return request.contains(name) ? field<Value>(request, name) : fallback;
}

json outlets_of(const Board &board)
{
    json outlets = json::array();
    const bool leds = board.hardware().leds != LedPath::none;
    for (int outlet = 0; outlet < board.hardware().outlets; ++outlet)
        outlets.push_back({{"outlet", outlet + 1},
                           {"live", board.contact(outlet)},
                           {"closed", board.contact_closed(outlet)},
                           {"led", leds ? json(board.led(outlet)) : json(nullptr)}});
    return outlets;
}

json expanders_of(const Board &board)
{
    if (board.hardware().leds != LedPath::expanders)
        return json::object();
    return {{"34", board.expander(0)}, {"36", board.expander(1)}};
}

// Register 1 and all others that are not zero, as pairs in ascending order.
json controller_of(const Board &board)
{
    json registers = json::array();
    for (int reg = 0; reg < controller_registers; ++reg)
        if (reg == 1 || board.controller(reg) != 0)
            registers.push_back({reg, board.controller(reg)});
    return registers;
}

json copies_of(const Board &board)
{
    json schedules = json::array();
    for (int schedule = 0; schedule < stored_schedules; ++schedule)
        schedules.push_back({{"record", schedule_text(board, schedule_page(schedule))},
                             {"companion", schedule_text(board, companion_page(schedule))}});
    return {{"marker", board.controller(copy_marker)},
            {"restore_marker", board.controller(restore_marker)},
            {"login", credential_text(board, login)},
            {"password", credential_text(board, password)},
            {"schedules", std::move(schedules)}};
}

json gpio_of(const Board &board)
{
    json banks = json::array();
    for (int group = 0; group < 3; ++group)
        banks.push_back({{"levels", board.gpio_levels(group)}, {"outputs", board.gpio_outputs(group)}});
    return banks;
}

json inputs_of(const Board &board)
{
    json inputs = json::array();
    for (int input = 0; board.hardware().digital_io && input < digital_lines; ++input)
        inputs.push_back({{"input", input + 1}, {"active", board.digital_input(input)}});
    return inputs;
}

json outputs_of(const Board &board)
{
    json outputs = json::array();
    for (int output = 0; board.hardware().digital_io && output < digital_lines; ++output)
        outputs.push_back({{"output", output + 1},
                           {"signal", board.digital_output(output)},
                           {"pulses", board.pulses(output)}});
    return outputs;
}

json sensors_of(const Board &board)
{
    json readings = json::object();
    for (const Sensors::Sample &sample : board.sensors().samples())
        readings[std::string(sample.name)] = sample.fields;
    return readings;
}

json clock_of(const Clock &clock)
{
    return {{"time", date_text(clock.calendar())}, {"rate", clock.rate()}, {"driven", clock.driven()}};
}

json corrections_in(const std::map<std::string, std::string> &parameters)
{
    constexpr std::string_view prefix = "correction_";
    json corrections = json::object();
    for (const auto &[key, value] : parameters)
        if (key.starts_with(prefix) && !value.empty())
            corrections[key.substr(prefix.size())] = value;
    return corrections;
}

json active_faults(const Board &board)
{
    json names = json::array();
    for (const std::string &name : Board::fault_names())
        if (board.fault(name))
            names.push_back(name);
    return names;
}

json describe(const Appliance &appliance)
{
    const Board &board = appliance.board;
    const Hardware &hardware = board.hardware();
    const auto parameters = appliance.store.list();
    return {
        {"model",
         {{"code", get_property(appliance, "model")}, {"index", hardware.index}, {"name", hardware.name}}},
        {"power", board.powered()},
        {"latching", board.latching()},
        {"outlets", outlets_of(board)},
        {"beeper", board.beeping()},
        {"wifi_led", hardware.wifi_led ? json(board.wifi_led()) : json(nullptr)},
        {"usb_led", hardware.usb_led ? json(board.usb_led()) : json(nullptr)},
        {"expanders", expanders_of(board)},
        {"controller", controller_of(board)},
        {"copies", copies_of(board)},
        {"gpio", gpio_of(board)},
        {"inputs", inputs_of(board)},
        {"outputs", outputs_of(board)},
        {"sensors", sensors_of(board)},
        {"corrections", corrections_in(parameters)},
        {"clock", clock_of(appliance.clock)},
        {"offmask", get_property(appliance, "offmask")},
        {"faults", active_faults(board)},
        {"params", parameters},
    };
}

json show(Appliance &appliance, const json &)
{
    return {{"ok", true}, {"board", describe(appliance)}};
}

json events(Appliance &appliance, const json &request)
{
    const auto &all = appliance.board.timeline().events();
    const auto since = field_or<std::uint64_t>(request, "since", 0);
    auto next = std::upper_bound(all.begin(), all.end(), since, [](std::uint64_t number, const Event &event) {
        return number < event.sequence;
    });
    json page = json::array();
    for (std::size_t text = 0; next != all.end() && page.size() < events_per_page && text < text_per_page;
         ++next) {
        text += next->subject.size() + next->detail.size();
        page.push_back(json::parse(to_json(*next)));
    }
    return {{"ok", true}, {"events", std::move(page)}, {"more", next != all.end()}};
}

json lose(Appliance &appliance, const json &)
{
    if (!lose_power(appliance))
        throw Refusal("the parameter store did not come back to what flash holds", false);
    return done();
}

json power_up(Appliance &appliance, const json &)
{
    if (!restore_power(appliance))
        throw Refusal("the parameter store refused a sample", false);
    return done();
}

json faults(Appliance &appliance, const json &)
{
    json states = json::object();
    for (const std::string &name : Board::fault_names())
        states[name] = appliance.board.fault(name);
    return {{"ok", true}, {"faults", std::move(states)}};
}

void require_fault(const std::string &name)
{
    std::string names;
    for (const std::string &known : Board::fault_names()) {
        if (known == name)
            return;
        names += (names.empty() ? "" : ", ") + known;
    }
    throw Refusal("no fault \"" + name + "\"; there are " + names);
}

json fault(Appliance &appliance, const json &request)
{
    const auto name = field<std::string>(request, "name");
    const bool on = field<bool>(request, "on");
    require_fault(name);
    if (!set_fault(appliance, name, on))
        throw Refusal("the parameter store refused the Ethernet address", false);
    return done();
}

json get(Appliance &appliance, const json &request)
{
    return {{"ok", true}, {"value", get_property(appliance, field<std::string>(request, "key"))}};
}

json set(Appliance &appliance, const json &request)
{
    set_property(appliance, field<std::string>(request, "key"), field<std::string>(request, "value"));
    return done();
}

struct Command {
    std::string_view name;
    json (*run)(Appliance &appliance, const json &request);
};

constexpr std::array commands{
    Command{"show", show},         Command{"events", events}, Command{"power-loss", lose},
    Command{"power-up", power_up}, Command{"faults", faults}, Command{"fault", fault},
    Command{"get", get},           Command{"set", set},
};

const Command &command_named(const std::string &name)
{
    std::string names;
    for (const Command &command : commands) {
        if (command.name == name)
            return command;
        names += (names.empty() ? "" : ", ") + std::string(command.name);
    }
    throw Refusal("no command \"" + name + "\"; there are " + names);
}

} // namespace

Answer answer(Appliance &appliance, std::string_view line)
{
    try {
        const json request = json::parse(line, nullptr, false);
        if (!request.is_object())
            throw Refusal("a request is one JSON object on one line, such as {\"command\":\"show\"}");
        const Command &command = command_named(field<std::string>(request, "command"));
        const bool follow = command.run == events && field_or(request, "follow", false);
        json reply = command.run(appliance, request);
        const bool last_page = !reply.value("more", false);
        return {std::move(reply), follow && last_page};
    } catch (const Refusal &refusal) {
        return {refusal_reply(refusal.what(), refusal.usage()), false};
    }
}

json refusal_reply(std::string_view text, bool usage)
{
    return {{"ok", false}, {"error", text}, {"usage", usage}};
}

json event_notice(const Event &event)
{
    return {{"event", json::parse(to_json(event))}};
}

std::string to_line(const json &object)
{
    return object.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
}

} // namespace plexor::board
