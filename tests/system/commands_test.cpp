// SPDX-License-Identifier: Apache-2.0
// What can be asked of a board, without its sockets.
#include "board/daemon/commands.h"

#include <string>
#include <utility>
#include <vector>

#include "tests/system/board_commands.h"

namespace plexor::tests
{

TEST_F(BoardCommands, AnEquippedBoardHasItsAddressAndModelIndexInFlash)
{
    EXPECT_EQ(store_.ethernet_address(), (board::EthernetAddress{0x00, 0xC3, 0x02, 1, 2, 3}));
    EXPECT_EQ(get("param.IO_number"), value("2"));
    ask({{"command", "power-loss"}});
    EXPECT_EQ(get("param.IO_number"), value("2"));
}

TEST_F(BoardCommands, WhatIsNoRequestIsAnsweredInOneLine)
{
    const json no_object = refused(R"(a request is one JSON object on one line, such as {"command":"show"})");
    for (const char *line : {"", "junk", "[]", "\"show\"", "{\"command\":", "\xff\xfe", "{} {}"})
        EXPECT_EQ(answer(appliance_, line).reply, no_object) << line;
    EXPECT_EQ(ask(json::object()), refused("\"command\" is missing"));
    EXPECT_EQ(ask({{"command", 7}}), refused("\"command\" has the wrong type"));
    EXPECT_EQ(
        ask({{"command", "explode"}}),
        refused(
            "no command \"explode\"; there are show, events, power-loss, power-up, faults, fault, get, set"));
    EXPECT_EQ(ask({{"command", "get"}}), refused("\"key\" is missing"));
    EXPECT_EQ(ask({{"command", "events"}, {"since", "x"}}), refused("\"since\" has the wrong type"));
    EXPECT_EQ(ask({{"command", "fault"}, {"name", "i2c-stuck"}, {"on", "on"}}),
              refused("\"on\" has the wrong type"));
}

TEST_F(BoardCommands, ShowDescribesTheBoard)
{
    switch_relays(0x01, 0x00);
    board_.set_controller(300, 17);
    store_.set("SPI_buf_1", "fe");
    const json shown = ask({{"command", "show"}}).at("board");
    EXPECT_EQ(shown.at("model"), json::parse(R"({"code":"00C302","index":2,"name":"VOLTARA 7302"})"));
    EXPECT_EQ(shown.at("power"), true);
    EXPECT_EQ(shown.at("latching"), true);
    EXPECT_EQ(shown.at("outlets").size(), 8U);
    EXPECT_EQ(shown.at("outlets").at(0),
              json::parse(R"({"outlet":1,"live":true,"closed":true,"led":false})"));
    EXPECT_EQ(shown.at("outlets").at(1),
              json::parse(R"({"outlet":2,"live":false,"closed":false,"led":false})"));
    EXPECT_EQ(shown.at("beeper"), false);
    EXPECT_EQ(shown.at("expanders"), json::parse(R"({"34":15,"36":15})"));
    EXPECT_EQ(shown.at("controller"), json::parse("[[1,0],[300,17]]"));
    EXPECT_EQ(shown.at("gpio").size(), 3U);
    EXPECT_EQ(shown.at("offmask"), "fe");
    EXPECT_EQ(shown.at("faults"), json::array());
    for (const char *io : {"inputs", "outputs"})
        EXPECT_EQ(shown.at(io), json::array()) << io;
    EXPECT_EQ(shown.at("params"), json::parse(R"({"IO_number":"2","SPI_buf_1":"fe"})"));
}

TEST_F(BoardCommands, ContactsLedsAndStatesAreGivenInWords)
{
    switch_relays(0x05, 0x40);
    EXPECT_EQ(get("contacts"), value("on on off off off off off on"));
    EXPECT_EQ(get("leds"), value("dark dark dark dark dark dark dark dark"));
    EXPECT_EQ(get("power"), value("on"));
    EXPECT_EQ(get("beeper"), value("off"));
    EXPECT_EQ(get("model"), value("00C302"));
    EXPECT_EQ(get("offmask"), value(""));
}

TEST_F(BoardCommands, WithoutMainsAClosedContactDeliversNothing)
{
    switch_relays(0x01, 0x00);
    EXPECT_EQ(ask({{"command", "power-loss"}}), done());
    EXPECT_EQ(get("power"), value("off"));
    EXPECT_EQ(get("contacts"), value("off off off off off off off off"));
    EXPECT_EQ(ask({{"command", "show"}}).at("board").at("outlets").at(0).at("closed"), true);
    EXPECT_EQ(ask({{"command", "power-up"}}), done());
    EXPECT_EQ(get("contacts"), value("on off off off off off off off"));
}

TEST_F(BoardCommands, PowerLossForgetsWhatWasNotCommitted)
{
    set("param.default_status_PX", "2;2");
    store_.commit();
    set("param.SPI_buf_1", "f");
    EXPECT_EQ(ask({{"command", "power-loss"}}), done());
    EXPECT_EQ(get("param.default_status_PX"), value("2;2"));
    EXPECT_EQ(get("param.SPI_buf_1"), value(""));
    EXPECT_EQ(times_forgotten_, 1);
}

TEST_F(BoardCommands, InputLinesCanBeSetFromOutside)
{
    for (const char *line : {"line.0", "line.31", "line.32", "line.95"}) {
        EXPECT_EQ(set(line, "low"), done());
        EXPECT_EQ(get(line), value("low")) << line;
        EXPECT_EQ(set(line, "high"), done());
        EXPECT_EQ(get(line), value("high")) << line;
    }
    EXPECT_EQ(set("line.96", "high"), refused("line.N needs N of 0 to 95"));
    EXPECT_EQ(set("line.", "high"), refused("line.N needs N of 0 to 95"));
    EXPECT_EQ(set("line.1x", "high"), refused("line.N needs N of 0 to 95"));
    EXPECT_EQ(set("line.1", "up"), refused("line.N takes high or low"));
}

TEST_F(BoardCommands, ControllerRegistersTakeDecimalAndHexadecimalBytes)
{
    EXPECT_EQ(set("controller.1", "15"), done());
    EXPECT_EQ(get("controller.1"), value("15"));
    EXPECT_EQ(set("controller.1023", "0xfE"), done());
    EXPECT_EQ(get("controller.1023"), value("254"));
    for (const char *wrong : {"256", "-1", "0x100", "0x", "", "1;2"})
        EXPECT_EQ(set("controller.1", wrong), refused("controller.N takes 0 to 255, or 0x00 to 0xff"))
            << wrong;
    EXPECT_EQ(get("controller.1024"), refused("controller.N needs N of 0 to 1023"));
}

TEST_F(BoardCommands, RegistersAreNamedInDecimalOrHexadecimal)
{
    for (const char *name : {"controller", "iocontroller"}) {
        const std::string key(name);
        EXPECT_EQ(set(key + ".0x10", "7"), done());
        EXPECT_EQ(get(key + ".16"), value("7"));
        set(key + ".17", "8");
        EXPECT_EQ(get(key + ".0x11"), value("8"));
    }
    for (const char *wrong : {"0x", "0x100", "0x-1", "1x0", "10h"})
        EXPECT_EQ(get("iocontroller." + std::string(wrong)), refused("iocontroller.N needs N of 0 to 255"))
            << wrong;
    EXPECT_EQ(get("controller.0x3ff"), value("0"));
    EXPECT_EQ(get("controller.0x400"), refused("controller.N needs N of 0 to 1023"));
}

TEST_F(BoardCommands, ScanAnswersComeOneByOneAndTheLastStays)
{
    board::Request scan;
    scan.device = board::Device::i2c;
    scan.number = 18;
    EXPECT_EQ(set("scan", "40,4e"), done());
    EXPECT_EQ(board_.handle(scan).data.at(0), 0x40);
    EXPECT_EQ(board_.handle(scan).data.at(0), 0x4E);
    EXPECT_EQ(board_.handle(scan).data.at(0), 0x4E);
    for (const char *wrong : {"", "40,", ",40", "100", "4G", "40 4E"})
        EXPECT_EQ(set("scan", wrong),
                  refused("scan takes hexadecimal bytes with commas between them, such as 40,4E"))
            << wrong;
}

TEST_F(BoardCommands, ParametersAreReadAndWrittenLive)
{
    EXPECT_EQ(set("param.a.b", "1;2"), done());
    EXPECT_EQ(get("param.a.b"), value("1;2"));
    EXPECT_EQ(store_.get("a.b"), "1;2");
    EXPECT_EQ(get("param.missing"), value(""));
    EXPECT_EQ(set("param.", "x"), board::refusal_reply("the parameter store refused the value", false));
}

TEST_F(BoardCommands, BytesOfTheEepromAreSetAndLookedAt)
{
    EXPECT_EQ(get("eeprom.65535"), value("255"));
    EXPECT_EQ(set("eeprom.65535", "0xC3"), done());
    EXPECT_EQ(get("eeprom.65535"), value("195"));
    EXPECT_EQ(board_.eeprom(65535), 0xC3);
    EXPECT_EQ(get("eeprom.65536"), refused("eeprom.N needs N of 0 to 65535"));
    EXPECT_EQ(set("eeprom.0", "256"), refused("eeprom.N takes 0 to 255, or 0x00 to 0xff"));
}

TEST_F(BoardCommands, TheBatteryBackedClockIsSetAndLookedAt)
{
    EXPECT_EQ(set("rtc", "2026-03-04 05:06:07"), done());
    EXPECT_EQ(get("rtc"), value("2026-03-04 05:06:07"));
    EXPECT_EQ(set("rtc", "tomorrow"),
              refused("rtc takes a date and time such as \"2026-11-21 23:59:50\", of 2000 to 2199"));
    EXPECT_EQ(get("rtc"), value("2026-03-04 05:06:07"));
}

TEST_F(BoardCommands, WrongKeysAreAnsweredWithTheRightOnes)
{
    const std::string to_get =
        "line.N, controller.N, iocontroller.N, eeprom.N, di.N, do.N, current.N, temperature, "
        "voltage, drycontact, meter, "
        "ambient.WHAT, schedule.N, login, password, "
        "power-loss-at-write, clock, clock-rate, rtc, param.KEY, contacts, leds, offmask, power, beeper, "
        "model";
    EXPECT_EQ(get("nothing"), refused("no key \"nothing\" to get; there are " + to_get));
    EXPECT_EQ(get("line"), refused("no key \"line\" to get; there are " + to_get));
    EXPECT_EQ(get("power.1"), refused("no key \"power.1\" to get; there are " + to_get));
    EXPECT_EQ(get("scan"), refused("no key \"scan\" to get; there are " + to_get));
    EXPECT_EQ(
        set("contacts", "on"),
        refused(
            "no key \"contacts\" to set; there are line.N, controller.N, iocontroller.N, eeprom.N, di.N, "
            "current.N, temperature, voltage, drycontact, meter, ambient.WHAT, schedule.N, login, password, "
            "power-loss-at-write, clock, clock-rate, rtc, param.KEY, scan"));
}

TEST_F(BoardCommands, EveryFaultCanBeSwitchedAndIsListed)
{
    for (const std::string &name : board::Board::fault_names()) {
        EXPECT_EQ(fault(name, true), done());
        EXPECT_EQ(ask({{"command", "faults"}}).at("faults").at(name), true);
        EXPECT_EQ(ask({{"command", "show"}}).at("board").at("faults"), json::array({name}));
        EXPECT_EQ(fault(name, false), done());
    }
    const json faults = ask({{"command", "faults"}}).at("faults");
    EXPECT_EQ(faults.size(), board::Board::fault_names().size());
    const std::string error = fault("gremlins", true).at("error");
    EXPECT_TRUE(error.starts_with("no fault \"gremlins\"; there are ")) << error;
}

TEST_F(BoardCommands, TheEthernetAddressFaultErasesTheAddressAndItsEndBringsItBack)
{
    fault("ethernet-address", true);
    EXPECT_EQ(store_.ethernet_address(), std::nullopt);
    fault("ethernet-address", false);
    EXPECT_EQ(store_.ethernet_address(), (board::EthernetAddress{0x00, 0xC3, 0x02, 1, 2, 3}));
}

TEST_F(BoardCommands, TheEthernetAddressFaultStaysAsItIsWhenTheStoreRefuses)
{
    board::Store unreachable("/proc/no/such/folder");
    board::Appliance broken{board_, unreachable, clock_};
    for (const bool on : {true, false}) {
        ASSERT_TRUE(board_.set_fault("ethernet-address", !on));
        const json request{{"command", "fault"}, {"name", "ethernet-address"}, {"on", on}};
        EXPECT_EQ(answer(broken, request.dump()).reply,
                  board::refusal_reply("the parameter store refused the Ethernet address", false));
        EXPECT_EQ(board_.fault("ethernet-address"), !on);
    }
}

TEST_F(BoardCommands, EventsComeAfterTheNumberAskedForAndInPages)
{
    board_.timeline().clear();
    const std::uint64_t before = [&] {
        board_.timeline().add(0, "log", "first", "");
        return board_.timeline().events().back().sequence;
    }();
    for (int i = 0; i < 1500; ++i)
        board_.timeline().add(7, "log", "test", std::to_string(i));
    const json first = ask({{"command", "events"}, {"since", before}});
    ASSERT_EQ(first.at("events").size(), 1000U);
    EXPECT_EQ(first.at("more"), true);
    EXPECT_EQ(first.at("events").at(0).at("detail"), "0");
    EXPECT_EQ(first.at("events").at(0).at("pid"), 7);
    const json rest = ask({{"command", "events"}, {"since", first.at("events").back().at("sequence")}});
    EXPECT_EQ(rest.at("events").size(), 500U);
    EXPECT_EQ(rest.at("more"), false);
    EXPECT_EQ(rest.at("events").at(0).at("detail"), "1000");
}

TEST_F(BoardCommands, APageOfLongEventsIsShort)
{
    for (int i = 0; i < 10; ++i)
        board_.timeline().add(0, "log", "test", std::string(100'000, 'x'));
    const json page = ask({{"command", "events"}});
    EXPECT_LT(page.at("events").size(), 10U);
    EXPECT_EQ(page.at("more"), true);
}

TEST_F(BoardCommands, AFollowerFollowsOnceItHasTheLastPage)
{
    const std::string follow = R"({"command":"events","follow":true})";
    EXPECT_TRUE(answer(appliance_, follow).follow);
    EXPECT_FALSE(answer(appliance_, R"({"command":"events"})").follow);
    EXPECT_FALSE(answer(appliance_, R"({"command":"show","follow":true})").follow);
    for (int i = 0; i < 1500; ++i)
        board_.timeline().add(0, "log", "test", "");
    EXPECT_FALSE(answer(appliance_, follow).follow);
}

TEST_F(BoardCommands, TextThatIsNoUtf8IsGivenWithReplacementCharacters)
{
    store_.set("SPI_buf_1", "\xff");
    EXPECT_EQ(board::to_line(get("offmask")), "{\"ok\":true,\"value\":\"\xef\xbf\xbd\"}\n");
}

TEST_F(BoardCommands, DigitalInputsAreActiveWhileTheirLineIsLow)
{
    EXPECT_EQ(get("di.1"), value("idle"));
    EXPECT_EQ(set("di.1", "active"), done());
    EXPECT_EQ(get("di.1"), value("active"));
    EXPECT_EQ(get("line.26"), value("low"));
    set("line.29", "low");
    EXPECT_EQ(get("di.4"), value("active"));
    set("di.4", "idle");
    EXPECT_EQ(get("line.29"), value("high"));
    EXPECT_EQ(set("di.0", "idle"), refused("di.N needs N of 1 to 4"));
    EXPECT_EQ(get("di.5"), refused("di.N needs N of 1 to 4"));
    EXPECT_EQ(set("di.1", "low"), refused("di.N takes active or idle"));
}

TEST_F(BoardCommands, DigitalOutputsAreLookedAt)
{
    write_io_controller(0x53, {1});
    EXPECT_EQ(get("do.3"), value("level 1"));
    EXPECT_EQ(get("do.4"), value("level 0"));
    EXPECT_EQ(get("iocontroller.83"), value("1"));
    EXPECT_EQ(get("do.0"), refused("do.N needs N of 1 to 4"));
    EXPECT_TRUE(set("do.4", "level 1").at("usage"));
    ask({{"command", "power-loss"}});
    EXPECT_EQ(get("do.4"), value("off"));
}

TEST_F(BoardCommands, RegistersOfTheIoControllerAreSetWithoutAnOutputThatFollows)
{
    EXPECT_EQ(set("iocontroller.80", "0x01"), done());
    EXPECT_EQ(set("iocontroller.255", "200"), done());
    EXPECT_EQ(get("iocontroller.80"), value("1"));
    EXPECT_EQ(get("iocontroller.255"), value("200"));
    EXPECT_EQ(get("do.1"), value("level 1"));
    EXPECT_EQ(set("iocontroller.80", "256"), refused("iocontroller.N takes 0 to 255, or 0x00 to 0xff"));
    EXPECT_EQ(get("iocontroller.256"), refused("iocontroller.N needs N of 0 to 255"));
}

TEST_F(BoardCommands, WhatASensorIsGivenIsSampledIntoTheStore)
{
    struct Row {
        const char *key, *given, *parameter, *sampled;
    };
    for (const Row &row :
         {Row{"current.3", "88", "sIICAmp_PX", "0;0;88;0;0;0;0;0"},
          Row{"current.8", "0xff", "sIICAmp_PX", "0;0;88;0;0;0;0;255"},
          Row{"temperature", "120", "sIICTemp", "120"}, Row{"voltage", "160", "sIICVolt", "160"},
          Row{"drycontact", "closed", "sIICDi", "1"}, Row{"drycontact", "open", "sIICDi", "0"},
          Row{"meter", "4.5", "sAmp_PX", "4;5;0;0"}, Row{"ambient.humidity", "45.5", "sTEmp_PX", "45;5;0;0"},
          Row{"ambient.temperature", "-3", "sTEmp_PX", "45;5;-3;0"}}) {
        EXPECT_EQ(set(row.key, row.given), done()) << row.key;
        EXPECT_EQ(store_.get(row.parameter), row.sampled) << row.key;
    }
}

TEST_F(BoardCommands, SensorsAreReadBackAsTheyWereGiven)
{
    EXPECT_EQ(get("meter"), value("0.0"));
    EXPECT_EQ(get("drycontact"), value("open"));
    for (const auto &[key, given] : {std::pair{"current.1", "255"},
                                     {"temperature", "1"},
                                     {"voltage", "2"},
                                     {"drycontact", "closed"},
                                     {"meter", "1000.0"},
                                     {"ambient.humidity", "0.1"},
                                     {"ambient.temperature", "-0.5"}}) {
        set(key, given);
        EXPECT_EQ(get(key), value(given)) << key;
    }
    EXPECT_EQ(get("current.2"), value("0"));
}

TEST_F(BoardCommands, WrongReadingsAreRefusedAndNothingIsSampled)
{
    for (const char *wrong : {"", "256", "-1", "4.5", "x"})
        for (const char *key : {"current.1", "temperature", "voltage"})
            EXPECT_EQ(set(key, wrong), refused("a raw reading takes 0 to 255, or 0x00 to 0xff")) << wrong;
    for (const char *wrong :
         {"", "-", ".", ".5", "4.", "4.55", "4,5", "-0.1", "1000.1", "--1", "99999999999"})
        EXPECT_EQ(set("meter", wrong), refused("meter takes 0 to 1000, with tenths such as 4.5")) << wrong;
    EXPECT_EQ(set("ambient.humidity", "100.1"),
              refused("ambient.humidity takes 0 to 100, with tenths such as 4.5"));
    EXPECT_EQ(set("ambient.temperature", "-100.1"),
              refused("ambient.temperature takes -100 to 200, with tenths such as 4.5"));
    const json no_quantity = refused("ambient.WHAT is ambient.humidity or ambient.temperature");
    EXPECT_EQ(set("ambient.", "1"), no_quantity);
    EXPECT_EQ(get("ambient.light"), no_quantity);
    EXPECT_EQ(set("drycontact", "1"), refused("drycontact takes open or closed"));
    EXPECT_EQ(set("current.0", "1"), refused("current.N needs N of 1 to 8"));
    EXPECT_EQ(set("current.9", "1"), refused("current.N needs N of 1 to 8"));
    EXPECT_EQ(ask({{"command", "show"}}).at("board").at("sensors"), json::object());
}

TEST_F(BoardCommands, SensorsAreSampledAgainWhenThePowerIsBack)
{
    set("temperature", "120");
    ask({{"command", "power-loss"}});
    EXPECT_EQ(set("temperature", "121"), done());
    EXPECT_EQ(store_.get("sIICTemp"), std::nullopt);
    ask({{"command", "power-up"}});
    EXPECT_EQ(store_.get("sIICTemp"), "121");
}

TEST_F(BoardCommands, AStoreThatRefusesASampleIsReported)
{
    board::Store unreachable("/proc/no/such/folder");
    board::Appliance broken{board_, unreachable, clock_};
    const json request{{"command", "set"}, {"key", "voltage"}, {"value", "1"}};
    EXPECT_EQ(answer(broken, request.dump()).reply,
              board::refusal_reply("the parameter store refused the sample", false));
    board_.power_loss();
    EXPECT_EQ(answer(broken, R"({"command":"power-up"})").reply,
              board::refusal_reply("the parameter store refused a sample", false));
}

TEST_F(BoardCommands, ShowGivesRawReadingsAndTheCorrectionsInForce)
{
    set("current.1", "87");
    set("ambient.humidity", "45.5");
    store_.set("correction_temp", "0.5");
    store_.set("correction_vlot", "");
    const json shown = ask({{"command", "show"}}).at("board");
    EXPECT_EQ(shown.at("sensors"), json::parse(R"({"current":[87,0,0,0,0,0,0,0],"ambient":[45,5,0,0]})"));
    EXPECT_EQ(shown.at("corrections"), json::parse(R"({"temp":"0.5"})"));
}

class BoardWithoutClock : public BoardCommands
{
  protected:
    BoardWithoutClock() : BoardCommands(0x00C347) {}
};

TEST_F(BoardWithoutClock, HasNoneToSetOrToLookAt)
{
    EXPECT_EQ(get("rtc"), refused("this model has no battery-backed clock"));
    EXPECT_EQ(set("rtc", "2026-03-04 05:06:07"), refused("this model has no battery-backed clock"));
}

class IoBoard : public BoardCommands
{
  protected:
    IoBoard() : BoardCommands(0x00C318) {}
};

TEST_F(IoBoard, ShowsItsDigitalInputsAndOutputs)
{
    set("di.2", "active");
    write_io_controller(0x33, {0, 0});
    write_io_controller(0x01, {0, 10});
    write_io_controller(0x50, {2});
    const json shown = ask({{"command", "show"}}).at("board");
    EXPECT_EQ(shown.at("inputs").size(), 4U);
    EXPECT_EQ(shown.at("inputs").at(0), json::parse(R"({"input":1,"active":false})"));
    EXPECT_EQ(shown.at("inputs").at(1), json::parse(R"({"input":2,"active":true})"));
    EXPECT_EQ(shown.at("outputs").size(), 4U);
    EXPECT_EQ(shown.at("outputs").at(0), json::parse(R"({"output":1,"signal":"pulse train 5","pulses":5})"));
    EXPECT_EQ(shown.at("outputs").at(3), json::parse(R"({"output":4,"signal":"level 1","pulses":0})"));
}

TEST_F(IoBoard, HasADryContactThatIsSampledWhileThereIsPower)
{
    EXPECT_EQ(get("drycontact"), value("open"));
    EXPECT_EQ(set("drycontact", "closed"), done());
    EXPECT_EQ(get("param.sIICDi"), value("1")); // bit 0: a loopback
    EXPECT_EQ(board_.timeline().events().back().subject, "drycontact");
    ask({{"command", "power-loss"}});
    EXPECT_EQ(set("drycontact", "open"), done());
    EXPECT_EQ(get("param.sIICDi"), value(""));
    ask({{"command", "power-up"}});
    EXPECT_EQ(get("param.sIICDi"), value("0"));
    EXPECT_EQ(set("drycontact", "ajar"), refused("drycontact takes open or closed"));
}

class UnknownBoard : public BoardCommands
{
  protected:
    UnknownBoard() : BoardCommands(0) {}
};

TEST_F(UnknownBoard, HasNoOutletsAndNoLeds)
{
    EXPECT_EQ(get("contacts"), value(""));
    EXPECT_EQ(get("model"), value("000000"));
    const json shown = ask({{"command", "show"}}).at("board");
    EXPECT_EQ(shown.at("outlets"), json::array());
    EXPECT_EQ(shown.at("expanders"), json::object());
    EXPECT_EQ(shown.at("wifi_led"), nullptr);
}

} // namespace plexor::tests
