// SPDX-License-Identifier: Apache-2.0
// Writing a page of the copy of schedules in the board controller.
#include <cerrno>
#include <climits>

#include "tests/contract/schedule_story.h"

namespace plexor::tests
{
namespace
{

const Calls flag_in_step{"nvram_bufset 0 reflash=9"};

class WritingAPage : public ScheduleStory
{
  protected:
    WritingAPage() { hold(marker, nine); }

    // What reached the bus besides the marker, by a call with nothing to remember.
    Calls pages(int index, const char *kind, const std::string &text)
    {
        let_i2c_cache_expire();
        forget_calls();
        write_page(index, kind, text);
        Calls all = bus();
        if (all.empty() || all.front() != got(marker, 1))
            ADD_FAILURE() << "the marker was not read first";
        else
            all.erase(all.begin());
        return all;
    }
    // A call with this kind and index was one for a page that there is not.
    void expect_no_page(int index, const char *kind)
    {
        unset("reflash");
        hold(marker, "\x08");
        EXPECT_EQ(pages(index, kind, "text"), Calls{put(marker, nine)}) << kind << " " << index;
        EXPECT_EQ(get("reflash"), "9");
        EXPECT_EQ(debug_print(), "");
    }
};

// --- everything that happens, in order, for each kind ---

TEST_F(WritingAPage, OfAScheduleReadsTheMarkerWritesTheDataAndMarksBothCopies)
{
    hold(marker, std::string(1, '\0'));
    write_page(1, "scheduleconfig", schedule(1));
    EXPECT_EQ(calls(), story({transfer(got(4, 1)), transfer(put(320, schedule(1))), flag_in_step,
                              transfer(put(4, nine))}));
    EXPECT_EQ(debug_print(), "");
}

TEST_F(WritingAPage, OfADeletedScheduleWritesTheEmptyRecordWhateverTheDataIs)
{
    write_page(2, "DelPowerSchedule", "ignored", 7);
    EXPECT_EQ(calls(), story({transfer(got(4, 1)), transfer(put(368, no_schedule)), flag_in_step}));
    EXPECT_EQ(pages(2, "DelPowerSchedule", ""), Calls{put(368, no_schedule)});
    let_i2c_cache_expire();
    forget_calls();
    EXPECT_EQ(writepage(3, "DelPowerSchedule", nullptr, 99), 0);
    EXPECT_EQ(bus(), (Calls{got(4, 1), put(416, no_schedule)}));
}

TEST_F(WritingAPage, OfACompanionWritesTheData)
{
    write_page(3, "schedulet", companion(3));
    EXPECT_EQ(calls(), story({transfer(got(4, 1)), transfer(put(704, companion(3))), flag_in_step}));
    EXPECT_EQ(debug_print(), "");
}

TEST_F(WritingAPage, OfTheAdministratorWritesTheLengthThenTheText)
{
    hold(marker, std::string(1, '\0'));
    write_page(1, "sysAdm", "secret");
    EXPECT_EQ(calls(), story({transfer(got(4, 1)), transfer(put(257, "\x06")), transfer(put(576, "secret")),
                              flag_in_step, transfer(put(4, nine))}));
    EXPECT_EQ(debug_print(), "writepage() sysAdm secret len:6 \n");
}

TEST_F(WritingAPage, OfTheAdministratorTellsOfTheTextBeforeItCutsItAndCutsItBeforeItIsWritten)
{
    char text[] = "administrator";
    std::string cut_at_length;
    std::string cut_at_text;
    at_call("ioctl /dev/i2cM0 16", [&] { EXPECT_EQ(debug_print(), ""); });
    at_call("ioctl /dev/i2cM0 17 A0 256", [&] { cut_at_length = text; });
    at_call("ioctl /dev/i2cM0 17 A0 544", [&] { cut_at_text = text; });
    EXPECT_EQ(writepage(0, "sysAdm", text, 5), 0);
    EXPECT_EQ(debug_print(), "writepage() sysAdm administrator len:5 \n");
    EXPECT_EQ(cut_at_length, "administrator");
    EXPECT_EQ(cut_at_text, "admin");
    EXPECT_EQ(bus(), (Calls{got(4, 1), put(256, "\x05"), put(544, "admin")}));
}

TEST_F(WritingAPage, OfTheAdministratorTouchesNothingBeyondTheTerminator)
{
    std::string text = "administrator";
    writepage(0, "sysAdm", text.data(), 5);
    EXPECT_EQ(text, std::string("admin\0strator", 13));
}

TEST_F(WritingAPage, LeavesTheDataOfOtherKindsAlone)
{
    for (const char *kind : {"scheduleconfig", "schedulet", "DelPowerSchedule", "other"})
        EXPECT_EQ(write_page(0, kind, "administrator", 5), "administrator") << kind;
}

TEST_F(WritingAPage, TakesPercentSignsForWhatTheyAre)
{
    write_page(0, "sysAdm", "%n%s%d");
    EXPECT_EQ(debug_print(), "writepage() sysAdm %n%s%d len:6 \n");
}

// --- which page ---

struct Kind {
    const char *name;
    std::vector<int> registers;
    std::string written; // of the text "text"
};
const std::vector<Kind> kinds{{"scheduleconfig", {272, 320, 368, 416, 464}, "text"},
                              {"DelPowerSchedule", {272, 320, 368, 416, 464}, no_schedule},
                              {"schedulet", {608, 640, 672, 704, 736}, "text"}};

TEST_F(WritingAPage, FindsTheRegisterOfEveryIndex)
{
    for (const auto &kind : kinds) {
        for (int i = 0; i < 5; ++i)
            EXPECT_EQ(pages(i, kind.name, "text"), Calls{put(kind.registers.at(i), kind.written)})
                << kind.name << " " << i;
    }
    EXPECT_EQ(pages(0, "sysAdm", "text"), (Calls{put(256, "\x04"), put(544, "text")}));
    EXPECT_EQ(pages(1, "sysAdm", "text"), (Calls{put(257, "\x04"), put(576, "text")}));
}

TEST_F(WritingAPage, PastTheEndOfItsTableWritesTheFlagAndTheMarkerAlone)
{
    for (const auto &kind : kinds)
        expect_no_page(5, kind.name);
    for (const int index : {2, 3, 4, 5})
        expect_no_page(index, "sysAdm");
}

TEST_F(WritingAPage, PastTheEndOfEveryTableDoesNothing)
{
    for (const int index : {6, 7, 30, INT_MAX, -1, INT_MIN}) {
        for (const char *kind : {"scheduleconfig", "DelPowerSchedule", "sysAdm", "schedulet", "other"})
            write_page(index, kind, "text");
        EXPECT_EQ(calls(), Calls{}) << index;
        EXPECT_EQ(get("reflash"), "");
        EXPECT_EQ(debug_print(), "");
    }
}

// --- which kind ---

// Every step-th letter turned from small to large or back.
std::string turned(std::string text, std::size_t step)
{
    for (std::size_t i = 0; i < text.size(); i += step)
        text[i] = static_cast<char>(text[i] ^ 0x20);
    return text;
}

TEST_F(WritingAPage, TakesItsKindInLettersOfAnySize)
{
    for (const auto &kind : kinds) {
        for (const std::size_t step : {1U, 2U, 3U, 20U})
            EXPECT_EQ(pages(0, turned(kind.name, step).c_str(), "text"),
                      Calls{put(kind.registers[0], kind.written)});
    }
    for (const char *administrator : {"sysadm", "SYSADM", "SysAdm", "sYSaDM", "sysAdM"})
        EXPECT_EQ(pages(0, administrator, "text"), (Calls{put(256, "\x04"), put(544, "text")}));
}

TEST_F(WritingAPage, OfAnUnknownKindWritesTheFlagAndTheMarkerAlone)
{
    for (const char *kind :
         {"", "schedule", "schedulets", " schedulet", "schedule\xF4", "scheduleconfi", "scheduleconfigs",
          "DelPowerSchedul", "DelPowerSchedules", "sysAd", "sysAdmi", "sys Adm", "%s", "other"})
        expect_no_page(0, kind);
}

TEST_F(WritingAPage, OfNoKindWritesTheFlagAndTheMarkerAlone)
{
    expect_no_page(0, nullptr);
}

TEST_F(WritingAPage, WithoutDataWritesTheFlagAndTheMarkerAlone)
{
    for (const char *kind : {"scheduleconfig", "schedulet", "sysAdm"}) {
        for (const unsigned length : {0U, 35U}) {
            let_i2c_cache_expire();
            forget_calls();
            EXPECT_EQ(writepage(0, kind, nullptr, length), 0);
            EXPECT_EQ(calls(), story({transfer(got(4, 1)), flag_in_step})) << kind << " " << length;
            EXPECT_EQ(debug_print(), "");
        }
    }
}

// --- lengths ---

TEST_F(WritingAPage, WritesAsManyBytesAsItIsTold)
{
    const std::string text(256, 'x');
    for (const std::size_t length : {0U, 1U, 33U, 35U, 132U, 133U, 255U, 256U}) {
        EXPECT_EQ(pages(0, "scheduleconfig", text.substr(0, length)),
                  Calls{put(272, text.substr(0, length))});
        EXPECT_EQ(pages(4, "schedulet", text.substr(0, length)), Calls{put(736, text.substr(0, length))});
    }
}

TEST_F(WritingAPage, WritesBytesOfAnyValue)
{
    const std::string bytes("a\0b\xFF\n%s", 7);
    EXPECT_EQ(pages(0, "scheduleconfig", bytes), Calls{put(272, bytes)});
    EXPECT_EQ(pages(0, "schedulet", bytes), Calls{put(608, bytes)});
    EXPECT_EQ(pages(0, "sysAdm", bytes), (Calls{put(256, "\x07"), put(544, bytes)}));
    EXPECT_EQ(debug_print(), "writepage() sysAdm a len:7 \n");
}

TEST_F(WritingAPage, KeepsTheLowByteOfTheAdministratorsLength)
{
    for (const auto &[length, byte] : std::map<unsigned, unsigned>{
             {0, 0}, {1, 1}, {32, 32}, {33, 33}, {127, 127}, {128, 128}, {255, 255}, {256, 0}, {300, 44}}) {
        const std::string text(length, 'x');
        EXPECT_EQ(pages(0, "sysAdm", text),
                  (Calls{put(256, std::string(1, static_cast<char>(byte))), put(544, text)}));
        EXPECT_EQ(debug_print(), "writepage() sysAdm " + text + print(" len:%u \n", length));
    }
}

TEST_F(WritingAPage, IsReadBackAsItWas)
{
    write_page(4, "scheduleconfig", schedule(4));
    write_page(4, "schedulet", companion(4));
    write_page(0, "sysAdm", "admin");
    EXPECT_EQ(held(464, 35), schedule(4));
    EXPECT_EQ(held(736, 31), companion(4));
    EXPECT_EQ(held(256, 1) + held(544, 5), "\x05"
                                           "admin");
    EXPECT_EQ(held(464 + 35, 1) + held(736 + 31, 1) + held(549, 1), std::string(3, '\0'))
        << "bytes behind them";
}

// --- marker and flag ---

TEST_F(WritingAPage, SetsTheMarkerUnlessItIsNine)
{
    for (const int value : {0, 1, 8, 10, 0x39, 255}) {
        hold(marker, std::string(1, static_cast<char>(value)));
        EXPECT_EQ(pages(0, "schedulet", "t"), (Calls{put(608, "t"), put(4, nine)})) << value;
        EXPECT_EQ(board().controller(marker), 9);
    }
    EXPECT_EQ(pages(0, "schedulet", "t"), Calls{put(608, "t")});
}

TEST_F(WritingAPage, SetsTheFlagWhateverItWasAndDoesNotCommitIt)
{
    for (const char *before : {"", "0", "8", "9x", "9"}) {
        set("reflash", before);
        write_page(0, "schedulet", "t");
        EXPECT_EQ(get("reflash"), "9");
    }
    EXPECT_EQ(calls("nvram_commit"), Calls{});
    EXPECT_FALSE(flash().contains("reflash"));
}

TEST_F(WritingAPage, PassesOverABusThatFails)
{
    fail_ioctl("/dev/i2cM0", 16, EIO);
    fail_ioctl("/dev/i2cM0", 17, EIO);
    EXPECT_EQ(standard_error_of([] { write_page(0, "sysAdm", "admin"); }), "");
    EXPECT_EQ(bus(), (Calls{got(4, 1), put(256, "\x05"), put(544, "admin"), put(4, nine)}))
        << "a marker unread is none";
    EXPECT_EQ(get("reflash"), "9");
}

using WritingAPageDeathTest = WritingAPage;

TEST_F(WritingAPageDeathTest, WithoutTheBusEndsTheProcess)
{
    fail_open("/dev/i2cM0", ENOENT);
    EXPECT_EXIT(write_page(0, "schedulet", "t"), testing::ExitedWithCode(255),
                "^/dev/i2cM0: No such file or directory\n$");
}

// --- what the bus remembers for 250 ms ---

TEST_F(WritingAPage, OnceMoreIsDroppedWithin250Ms)
{
    write_page(0, "scheduleconfig", schedule(0));
    write_page(0, "scheduleconfig", schedule(0));
    EXPECT_EQ(bus(), (Calls{got(4, 1), put(272, schedule(0))}));
    advance(249'999'999);
    write_page(0, "scheduleconfig", schedule(0));
    EXPECT_EQ(bus().size(), 2U);
    advance(1);
    write_page(0, "scheduleconfig", schedule(0));
    EXPECT_EQ(bus(), (Calls{got(4, 1), put(272, schedule(0)), got(4, 1), put(272, schedule(0))}));
}

TEST_F(WritingAPage, ThatBeginsAsTheLastIsDroppedWithin250MsToo)
{
    write_page(0, "schedulet", "000");
    write_page(0, "schedulet", no_companion);
    EXPECT_EQ(bus(), (Calls{got(4, 1), put(608, "000")}));
}

TEST_F(WritingAPage, SetsTheMarkerOnceMoreWhileTheBusRemembersTheOldOne)
{
    hold(marker, std::string(1, '\0'));
    write_page(0, "schedulet", "a");
    write_page(1, "schedulet", "b");
    EXPECT_EQ(bus(), (Calls{got(4, 1), put(608, "a"), put(4, nine), put(640, "b"), put(4, nine)}));
    EXPECT_EQ(pages(2, "schedulet", "c"), Calls{put(672, "c")});
}

} // namespace
} // namespace plexor::tests
