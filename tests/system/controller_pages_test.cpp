// SPDX-License-Identifier: Apache-2.0
#include "board/daemon/controller_pages.h"

#include <cerrno>
#include <string>

#include "tests/system/board_commands.h"

namespace plexor::tests
{

class ControllerPages : public BoardCommands
{
  protected:
    int write_controller(std::uint32_t reg, const std::string &text)
    {
        return write_i2c(0xA0, reg, {text.begin(), text.end()});
    }
    json copies() { return ask({{"command", "show"}}).at("board").at("copies"); }
};

TEST_F(ControllerPages, WhatTheControllerKeepsReadsAsTexts)
{
    write_controller(272 + 48 * 4, "05" + std::string(33, '7'));
    write_controller(608 + 32 * 4, "001;002;003;004;005;006;007;008");
    write_controller(256, "\x05\x02");
    write_controller(544, "adminXX");
    write_controller(576, "pw");
    write_controller(4, "\x09\x01");
    EXPECT_EQ(get("schedule.4"), value("05" + std::string(33, '7')));
    EXPECT_EQ(get("schedule.4t"), value("001;002;003;004;005;006;007;008"));
    EXPECT_EQ(get("schedule.3"), value(""));
    EXPECT_EQ(get("login"), value("admin"));
    EXPECT_EQ(copies().at("password"), "pw");
    EXPECT_EQ(copies().at("marker"), 9);
    EXPECT_EQ(copies().at("restore_marker"), 1);
    EXPECT_EQ(copies().at("schedules").at(4).at("record"), "05" + std::string(33, '7'));
}

TEST_F(ControllerPages, WhatTheControllerKeepsCanBeSetFromOutside)
{
    const std::string record(35, '0');
    EXPECT_EQ(set("schedule.0", record), done());
    EXPECT_EQ(set("schedule.0t", "000;000;000;000;000;000;000;000"), done());
    EXPECT_EQ(set("password", "secret"), done());
    EXPECT_EQ(get("schedule.0"), value(record));
    EXPECT_EQ(get("controller.306"), value("48"));
    EXPECT_EQ(get("controller.307"), value("0"));
    EXPECT_EQ(get("controller.608"), value("48"));
    EXPECT_EQ(get("controller.257"), value("6"));
    EXPECT_EQ(get("controller.581"), value("116"));
}

TEST_F(ControllerPages, APageShowsWhatIsNoText)
{
    write_controller(272, std::string("a\\\x00\xff", 4) + std::string(31, 'b'));
    EXPECT_EQ(get("schedule.0"), value("a\\x5C\\x00\\xFF" + std::string(31, 'b')));
    write_controller(256, "\xff");
    EXPECT_EQ(get("login").at("value").get<std::string>().size(), 32U * 4);
}

TEST_F(ControllerPages, PagesAreRefusedTextsOfTheWrongLength)
{
    EXPECT_EQ(set("schedule.0", "01"), refused("this page takes 35 characters, and there are 2"));
    EXPECT_EQ(set("schedule.1t", std::string(32, '0')),
              refused("this page takes 31 characters, and there are 32"));
    EXPECT_EQ(set("login", std::string(33, 'a')), refused("login takes up to 32 characters"));
    for (const char *index : {"", "5", "-1", "0x", "00", "t"})
        EXPECT_EQ(get(std::string("schedule.") + index),
                  refused("schedule.N needs N of 0 to 4, or 0t to 4t for the companion record"))
            << index;
}

TEST_F(ControllerPages, ThePowerCanGoBetweenTwoStepsOfAWrite)
{
    store_.set("reflash", "9");
    EXPECT_EQ(set("power-loss-at-write", "2"), done());
    EXPECT_EQ(write_controller(272, "first"), 0);
    EXPECT_EQ(get("power-loss-at-write"), value("1"));
    EXPECT_EQ(write_controller(4, "\x09"), ENODEV);
    EXPECT_EQ(get("power"), value("off"));
    EXPECT_EQ(get("controller.272"), value("102"));
    EXPECT_EQ(get("controller.4"), value("0"));
    EXPECT_EQ(get("param.reflash"), value("")); // not committed
    EXPECT_EQ(times_forgotten_, 1);
}

TEST_F(ControllerPages, APowerLossAtAWriteTakesANumber)
{
    for (const char *text : {"", "-1", "x", "1000001"})
        EXPECT_EQ(set("power-loss-at-write", text), refused("power-loss-at-write takes 0 to 1000000"))
            << text;
    set("power-loss-at-write", "1");
    set("power-loss-at-write", "0");
    EXPECT_EQ(write_controller(4, "\x09"), 0);
}

} // namespace plexor::tests
