// SPDX-License-Identifier: Apache-2.0
#include "board/daemon/panel_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>

namespace plexor::tests
{

using nlohmann::json;

json small_board()
{
    return json::parse(R"({
        "model": {"code": "00C309", "index": 8, "name": "VOLTARA 7309"},
        "power": true, "latching": true, "beeper": false, "wifi_led": null, "usb_led": null,
        "outlets": [{"outlet": 1, "live": true, "closed": true, "led": true},
                    {"outlet": 2, "live": false, "closed": false, "led": false}],
        "expanders": {}, "controller": [[1, 2]], "inputs": [], "outputs": [], "sensors": {}, "corrections": {},
        "clock": {"time": "2026-11-21 23:59:50", "rate": 1, "driven": false},
        "copies": {"marker": 0, "restore_marker": 0, "login": "", "password": "", "schedules": []},
        "offmask": "2", "faults": []})");
}

std::size_t columns(const std::string &line)
{
    const auto is_start = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; };
    return static_cast<std::size_t>(std::count_if(line.begin(), line.end(), is_start));
}

void expect_every_line_80_columns_wide(const std::string &picture)
{
    std::istringstream lines(picture);
    for (std::string line; std::getline(lines, line);)
        EXPECT_EQ(columns(line), 80U) << line;
}

TEST(PanelText, ShowsASmallBoardLikeThis)
{
    EXPECT_EQ("\n" + board::draw_panel(small_board(), false), R"(
╭─ VOLTARA 7309 · 00C309 · model 8 · latching relays ──────────────────────────╮
│ power on      beeper off      off mask 2                                     │
├──────────────────────────────────────────────────────────────────────────────┤
│   ╭─ 1 ─╮  ╭─ 2 ─╮                                                           │
│   │ ON  │  │ off │                                                           │
│   │  ●  │  │  ○  │                                                           │
│   ╰─────╯  ╰─────╯                                                           │
├──────────────────────────────────────────────────────────────────────────────┤
│ board controller    [1]=02                                                   │
╰──────────────────────────────────────────────────────────────────────────────╯
)");
}

TEST(PanelText, ShowsWhatAnEightOutletBoardHasBesides)
{
    json shown = small_board();
    shown["latching"] = false;
    shown["power"] = false;
    shown["beeper"] = true;
    shown["wifi_led"] = true;
    shown["usb_led"] = false;
    shown["expanders"] = {{"34", 13}, {"36", 15}};
    shown["faults"] = {"i2c-stuck", "gpio-fails"};
    shown["offmask"] = "";
    shown["outlets"][0]["live"] = false;
    const std::string picture = board::draw_panel(shown, false);
    for (const char *part :
         {"ordinary relays", "no power", "beeper on ♪", "off mask not set", "Wi-Fi ●", "USB ○", "│(on) │",
          "LED expanders       0x34 = 0D  0x36 = 0F", "faults              i2c-stuck  gpio-fails"})
        EXPECT_NE(picture.find(part), std::string::npos) << part << picture;
    expect_every_line_80_columns_wide(picture);
}

TEST(PanelText, ShowsAClockThatIsNotTheMachines)
{
    json shown = small_board();
    shown["clock"]["driven"] = true;
    EXPECT_NE(board::draw_panel(shown, false).find("clock               2026-11-21 23:59:50   "),
              std::string::npos);
    shown["clock"]["rate"] = 60;
    EXPECT_NE(board::draw_panel(shown, false).find("23:59:50, runs 60 times as fast"), std::string::npos);
}

TEST(PanelText, ShowsDigitalInputsAndOutputsWhereThereAreAny)
{
    json shown = small_board();
    shown["inputs"] = json::parse(R"([{"input":1,"active":true},{"input":2,"active":false}])");
    shown["outputs"] = json::parse(R"([{"output":1,"signal":"PWM 5/50","pulses":0},
                                       {"output":2,"signal":"level 1","pulses":0}])");
    const std::string picture = board::draw_panel(shown, false);
    EXPECT_NE(picture.find("digital inputs      DI1 active  DI2 idle "), std::string::npos) << picture;
    EXPECT_NE(picture.find("digital outputs     DO1 PWM 5/50  DO2 level 1 "), std::string::npos) << picture;
    expect_every_line_80_columns_wide(picture);
}

TEST(PanelText, LongOutputSignalsTakeFurtherRowsAndNoneIsLeftOut)
{
    json shown = small_board();
    for (int output = 1; output <= 4; ++output)
        shown["outputs"].push_back({{"output", output}, {"signal", "pulse train 2147483647"}, {"pulses", 0}});
    const std::string picture = board::draw_panel(shown, false);
    for (const char *name : {"DO1 ", "DO2 ", "DO3 ", "DO4 "})
        EXPECT_NE(picture.find(std::string(name) + "pulse train 2147483647"), std::string::npos) << picture;
    expect_every_line_80_columns_wide(picture);
}

TEST(PanelText, ShowsRawReadingsAndTheCorrectionsInForce)
{
    json shown = small_board();
    shown["sensors"] = json::parse(R"({"current": [87, 0, 0, 0, 0, 0, 0, 255], "voltage": [160]})");
    shown["corrections"] = {{"temp", "0.5"}, {"vlot", "\x1b[2J" + std::string(500, '7')}};
    const std::string picture = board::draw_panel(shown, false);
    EXPECT_NE(picture.find("raw readings        current 87;0;0;0;0;0;0;255  voltage 160 "),
              std::string::npos);
    EXPECT_NE(picture.find("corrections         temp 0.5"), std::string::npos) << picture;
    EXPECT_NE(picture.find("vlot ?[2J777"), std::string::npos) << picture;
    expect_every_line_80_columns_wide(picture);
}

TEST(PanelText, OutletsWithoutLedsAreDrawnWithoutLamps)
{
    json shown = small_board();
    for (json &outlet : shown["outlets"])
        outlet["led"] = nullptr;
    const std::string picture = board::draw_panel(shown, false);
    EXPECT_EQ(picture.find("●"), std::string::npos);
    EXPECT_EQ(std::count(picture.begin(), picture.end(), '\n'), 9);
}

TEST(PanelText, ABoardThatIsNotKnownHasNoOutlets)
{
    json shown = small_board();
    shown["outlets"] = json::array();
    EXPECT_NE(board::draw_panel(shown, false).find("no outlets"), std::string::npos);
}

TEST(PanelText, ManyRegistersTakeAtMostFourRowsAndTheRestIsCounted)
{
    json shown = small_board();
    for (int reg = 256; reg < 1024; ++reg) // some of them are pages, and not listed here
        shown["controller"].push_back({reg, reg % 256});
    const std::string picture = board::draw_panel(shown, false);
    expect_every_line_80_columns_wide(picture);
    EXPECT_EQ(std::count(picture.begin(), picture.end(), '\n'), 13);
    const auto listed = std::count(picture.begin(), picture.end(), '[');
    const auto in_pages = 2 + 2 * 32 + 5 * (35 + 31);
    EXPECT_NE(picture.find(" " + std::to_string(769 - in_pages - listed) + " more"), std::string::npos)
        << picture;
}

TEST(PanelText, ShowsWhatTheBoardControllerKeepsAsTexts)
{
    json shown = small_board();
    shown["controller"] = json::parse("[[1,0],[4,9],[256,5],[272,48],[544,97]]");
    shown["copies"] = json::parse(R"({"marker": 9, "restore_marker": 1, "login": "admin", "password": "",
        "schedules": [{"record": "", "companion": ""},
                      {"record": "02121030000000000000000000000000000", "companion": "001;000;000;000;000;000;000;000"}]})");
    const std::string picture = board::draw_panel(shown, false);
    for (const char *row : {"│ board controller    [1]=00   ",
                            "│ copies              marker 9  restore marker 1  login admin   ",
                            "│ schedule 1          02121030000000000000000000000000000   ",
                            "│                     001;000;000;000;000;000;000;000   "})
        EXPECT_NE(picture.find(row), std::string::npos) << row << picture;
    EXPECT_EQ(picture.find("schedule 0"), std::string::npos);
    expect_every_line_80_columns_wide(picture);
}

TEST(PanelText, AParameterCannotSendCodesToTheTerminalOrBreakTheFrame)
{
    json shown = small_board();
    shown["offmask"] = "\x1b[2J" + std::string(500, 'x');
    const std::string picture = board::draw_panel(shown, false);
    EXPECT_EQ(picture.find('\x1b'), std::string::npos);
    expect_every_line_80_columns_wide(picture);
}

TEST(PanelText, ColoursChangeNoText)
{
    const std::string coloured = board::draw_panel(small_board(), true);
    std::string plain;
    for (std::size_t i = 0; i < coloured.size(); ++i)
        if (coloured[i] == '\x1b')
            i = coloured.find('m', i);
        else
            plain += coloured[i];
    EXPECT_EQ(plain, board::draw_panel(small_board(), false));
    EXPECT_NE(coloured.find("\x1b[32m●"), std::string::npos);
}

} // namespace plexor::tests
