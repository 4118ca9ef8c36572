// SPDX-License-Identifier: Apache-2.0
// The battery-backed clock: what is read from it, written to it, and how it is set from the system time.
#include <plexor/rtc.h>

#include <cerrno>
#include <climits>
#include <cstddef>
#include <ctime>

#include "tests/contract/i2c_appliance.h"
#include "tests/contract/programs.h"

namespace plexor::tests
{
namespace
{

using Moment = std::array<int, 6>; // second, minute, hour, day, month, year
using Registers = std::array<std::uint8_t, 7>;

Moment moment_of(const rtc_time &t)
{
    return {t.second, t.minute, t.hour, t.day, t.month, t.year};
}

// --- numbers in BCD ---

TEST(Bcd, IsDecodedDigitByDigitAlsoWhereTheyAreNone)
{
    for (unsigned value = 0; value <= 255; ++value)
        EXPECT_EQ(decode_bcd(value), value / 16 * 10 + value % 16) << value;
    EXPECT_EQ(decode_bcd(0x59), 59U);
    EXPECT_EQ(decode_bcd(0x9A), 100U);
    EXPECT_EQ(decode_bcd(0xFF), 165U);
}

TEST(Bcd, IsDecodedFromTheLowByteAlone)
{
    EXPECT_EQ(decode_bcd(0x100), 0U);
    EXPECT_EQ(decode_bcd(0x1234), 34U);
    EXPECT_EQ(decode_bcd(0xFFFFFF99), 99U);
    EXPECT_EQ(decode_bcd(UINT_MAX), 165U);
}

TEST(Bcd, HasTheDigitsOfNumbersUpTo99)
{
    for (unsigned number = 0; number <= 99; ++number)
        EXPECT_EQ(encode_bcd(number), std::stoul(std::to_string(number), nullptr, 16)) << number;
}

TEST(Bcd, OfNumbersUpTo159IsDecodedToTheSame)
{
    for (unsigned number = 0; number <= 159; ++number)
        EXPECT_EQ(decode_bcd(encode_bcd(number)), number);
}

TEST(Bcd, OfLargerNumbersIsCutToEightBits)
{
    EXPECT_EQ(encode_bcd(100), 0xA0U);
    EXPECT_EQ(encode_bcd(159), 0xF9U);
    for (unsigned number = 160; number <= 255; ++number)
        EXPECT_EQ(encode_bcd(number), encode_bcd(number - 160)) << number;
    EXPECT_EQ(encode_bcd(1000), 0x40U);
    EXPECT_EQ(encode_bcd(0x80000000), 0xC8U);
    EXPECT_EQ(encode_bcd(UINT_MAX), 0x95U);
}

// --- the record ---

TEST(RtcTime, IsSixIntegersFromSecondToYear)
{
    EXPECT_EQ(sizeof(rtc_time), 24U);
    EXPECT_EQ(offsetof(rtc_time, second), 0U);
    EXPECT_EQ(offsetof(rtc_time, minute), 4U);
    EXPECT_EQ(offsetof(rtc_time, hour), 8U);
    EXPECT_EQ(offsetof(rtc_time, day), 12U);
    EXPECT_EQ(offsetof(rtc_time, month), 16U);
    EXPECT_EQ(offsetof(rtc_time, year), 20U);
}

TEST(RtcTime, IsMadeFromYearToSecond)
{
    rtc_time t{};
    make_time(&t, 26, 3, 4, 5, 6, 7);
    EXPECT_EQ(moment_of(t), (Moment{7, 6, 5, 4, 3, 26}));
}

TEST(RtcTime, TakesTheLowEightBitsOfYearMonthAndDay)
{
    rtc_time t{-1, -1, -1, -1, -1, -1};
    make_time(&t, 0x100 + 199, 0xFFFFFF00 + 12, 0x12300 + 31, 0, 0, 0);
    EXPECT_EQ(moment_of(t), (Moment{0, 0, 0, 31, 12, 199}));
    make_time(&t, UINT_MAX, UINT_MAX, UINT_MAX, 255, 254, 253);
    EXPECT_EQ(moment_of(t), (Moment{253, 254, 255, 255, 255, 255}));
}

TEST(RtcTime, IsNotMadeWithoutAPlace)
{
    make_time(nullptr, 26, 3, 4, 5, 6, 7);
}

// --- the clock ---

class Rtc : public I2c
{
  protected:
    Rtc() { make_cache(); }

    Moment read(const Registers &registers)
    {
        board().set_rtc_registers(registers);
        return read_now();
    }
    static Moment read_now()
    {
        rtc_time t{-1, -1, -1, -1, -1, -1};
        EXPECT_EQ(ds1337_read_time(&t), 1);
        return moment_of(t);
    }
    // Bytes that reach the clock, in hexadecimal.
    std::string written(const Moment &moment)
    {
        forget_calls();
        rtc_time t{moment[0], moment[1], moment[2], moment[3], moment[4], moment[5]};
        EXPECT_EQ(ds1337_write_time(&t), 1);
        EXPECT_EQ(moment_of(t), moment);
        return written();
    }
    std::string written() const
    {
        const std::string start = "ioctl /dev/i2cM0 17 D0 0 [";
        const auto made = calls(start);
        EXPECT_EQ(made.size(), 1U);
        return made.empty() ? "" : made[0].substr(start.size(), 14);
    }
};

TEST_F(Rtc, IsReadInOneTransfer)
{
    read_now();
    EXPECT_EQ(calls(), through_i2cmd("ioctl /dev/i2cM0 16 D0 0 len 7"));
    EXPECT_EQ(debug_print(), "");
}

TEST_F(Rtc, IsWrittenInOneTransfer)
{
    EXPECT_EQ(written({5, 7, 9, 3, 11, 26}), "05070901031126");
    EXPECT_EQ(calls(), through_i2cmd("ioctl /dev/i2cM0 17 D0 0 [05070901031126]"));
    EXPECT_EQ(debug_print(), "");
}

TEST_F(Rtc, IsReadFromItsRegisters)
{
    EXPECT_EQ(read({0x30, 0x45, 0x23, 0x01, 0x15, 0x86, 0x26}), (Moment{30, 45, 23, 15, 6, 126}));
    EXPECT_EQ(read({0x59, 0x58, 0x09, 0x07, 0x31, 0x12, 0x99}), (Moment{59, 58, 9, 31, 12, 99}));
    EXPECT_EQ(read({0, 0, 0, 1, 0x01, 0x01, 0}), (Moment{0, 0, 0, 1, 1, 0}));
}

TEST_F(Rtc, FoundInTwelveHourModeTellsHalfDays)
{
    const std::pair<int, int> hours[] = {{0x40, 0},  {0x41, 0},  {0x49, 0},  {0x4F, 0},  {0x50, 12},
                                         {0x52, 12}, {0x60, 12}, {0x61, 12}, {0x69, 12}, {0x70, 24},
                                         {0x72, 24}, {0xC9, 0},  {0xD2, 12}, {0xFF, 24}};
    for (const auto &[bits, hour] : hours)
        EXPECT_EQ(read({0, 0, static_cast<std::uint8_t>(bits), 1, 1, 1, 0x26})[2], hour) << std::hex << bits;
}

TEST_F(Rtc, TellsEveryByteOfHoursOutsideTwelveHourMode)
{
    for (unsigned bits = 0; bits <= 255; ++bits) {
        if ((bits & 0x40) == 0) {
            const int hour = read({0, 0, static_cast<std::uint8_t>(bits), 1, 1, 1, 0x26})[2];
            EXPECT_EQ(hour, static_cast<int>(bits / 16 * 10 + bits % 16)) << bits;
        }
    }
}

TEST_F(Rtc, HasItsCenturyBesideTheMonth)
{
    const std::array<int, 3> months[] = {{0x01, 1, 26}, {0x12, 12, 26}, {0x81, 1, 126}, {0x92, 12, 126},
                                         {0x61, 1, 26}, {0x72, 12, 26}, {0xE6, 6, 126}, {0x1F, 25, 26},
                                         {0x00, 0, 26}, {0x80, 0, 126}, {0xFF, 25, 126}};
    for (const auto &[bits, month, year] : months) {
        const Moment moment = read({0, 0, 0, 1, 1, static_cast<std::uint8_t>(bits), 0x26});
        EXPECT_EQ(moment[4], month) << std::hex << bits;
        EXPECT_EQ(moment[5], year) << std::hex << bits;
    }
}

TEST_F(Rtc, TellsWhateverTheOtherRegistersHold)
{
    EXPECT_EQ(read({0x80, 0x99, 0x00, 0x00, 0xC1, 0x00, 0x9A}), (Moment{80, 99, 0, 121, 0, 100}));
    EXPECT_EQ(read({0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}), (Moment{165, 165, 24, 165, 25, 265}));
    EXPECT_EQ(read({0, 0, 0, 0, 0, 0, 0}), (Moment{0, 0, 0, 0, 0, 0}));
}

TEST_F(Rtc, DoesNotTellTheDayOfTheWeek)
{
    for (unsigned weekday = 0; weekday <= 255; ++weekday) {
        EXPECT_EQ(read({1, 2, 3, static_cast<std::uint8_t>(weekday), 4, 5, 6}), (Moment{1, 2, 3, 4, 5, 6}));
    }
}

TEST_F(Rtc, IsSetIn24HourModeToTheFirstDayOfTheWeek)
{
    EXPECT_EQ(written({0, 0, 0, 1, 1, 0}), "00000001010100");
    EXPECT_EQ(written({59, 59, 23, 31, 12, 99}), "59592301311299");
    for (int hour = 0; hour <= 23; ++hour)
        EXPECT_EQ(written({0, 0, hour, 1, 1, 26}), print("0000%02d01010126", hour));
}

TEST_F(Rtc, HasTheCenturyBitFrom2100To2199)
{
    EXPECT_EQ(written({0, 0, 0, 1, 11, 100}), "00000001019100");
    EXPECT_EQ(written({0, 0, 0, 1, 2, 126}), "00000001018226");
    EXPECT_EQ(written({0, 0, 0, 1, 12, 199}), "00000001019299");
}

TEST_F(Rtc, OfLaterYearsKeepsTheLowBitOfTheirCentury)
{
    EXPECT_EQ(written({0, 0, 0, 1, 2, 200}), "00000001010200");
    EXPECT_EQ(written({0, 0, 0, 1, 2, 255}), "00000001010255");
    EXPECT_EQ(written({0, 0, 0, 1, 2, 300}), "00000001018200");
    EXPECT_EQ(written({0, 0, 0, 1, 2, INT_MAX}), "00000001010247");
}

TEST_F(Rtc, OfNegativeYearsIsDividedWithItsSign)
{
    EXPECT_EQ(written({0, 0, 0, 1, 2, -1}), "00000001010295");
    EXPECT_EQ(written({0, 0, 0, 1, 2, -99}), "000000010102F7");
    EXPECT_EQ(written({0, 0, 0, 1, 2, -100}), "00000001018200");
    EXPECT_EQ(written({0, 0, 0, 1, 2, -200}), "00000001010200");
}

TEST_F(Rtc, TakesTheLowByteOfMembersOutOfRange)
{
    EXPECT_EQ(written({60, 99, 40, 32, 13, 26}), "60994001321326");
    EXPECT_EQ(written({100, 160, 255, 159, 100, 26}), "A0009501F9A026");
    EXPECT_EQ(written({-1, -1, -1, -1, -1, 26}), "95959501959526");
    EXPECT_EQ(written({INT_MAX, INT_MIN, INT_MAX, INT_MIN, INT_MAX, 26}), "C7C8C701C8C726");
}

TEST_F(Rtc, IsReadAndWrittenEachTime)
{
    read_now();
    read_now();
    rtc_time t{5, 7, 9, 3, 11, 26};
    ds1337_write_time(&t);
    ds1337_write_time(&t);
    EXPECT_EQ(transfers().size(), 4U);
}

TEST_F(Rtc, GoesOnFromWhereItWasSet)
{
    EXPECT_EQ(written({58, 59, 23, 28, 2, 26}), "58592301280226");
    wait_ms(3000);
    EXPECT_EQ(read_now(), (Moment{1, 0, 0, 1, 3, 26}));
    EXPECT_EQ(board().rtc(), "2026-03-01 00:00:01");
}

TEST_F(Rtc, WithoutARecordIsLeftAlone)
{
    EXPECT_EQ(ds1337_read_time(nullptr), 1);
    EXPECT_EQ(ds1337_write_time(nullptr), 1);
    EXPECT_EQ(calls(), Calls{});
}

TEST_F(Rtc, OnABusThatFailsGivesOneAllTheSame)
{
    fail_ioctl("/dev/i2cM0", 16, EIO);
    fail_ioctl("/dev/i2cM0", 17, EIO);
    read_now();
    EXPECT_EQ(written({5, 7, 9, 3, 11, 26}), "05070901031126");
    EXPECT_EQ(board().rtc(), "2000-01-01 00:00:00");
}

TEST_F(Rtc, IsAskedOnModelsWithoutOne)
{
    use_model(1, true);
    read_now();
    EXPECT_EQ(written({5, 7, 9, 3, 11, 26}), "05070901031126");
}

// --- set from the system time ---

class RtcSetting : public Rtc
{
  protected:
    RtcSetting() { commands_print(line); }

    // Bytes that the clock is set to after date has printed text.
    std::string bytes_of(const std::string &text)
    {
        forget_calls();
        commands_print(text);
        EXPECT_EQ(set_RTC(), 1);
        return written();
    }

    static const inline std::string line = "2026-03-04T05:06:07+00:00\n";
    static const inline std::string command = "popen r date -u -Iseconds";
};

TEST_F(RtcSetting, FollowsTheSystemTime)
{
    EXPECT_EQ(set_RTC(), 1);
    Calls expected = through_i2cmd("ioctl /dev/i2cM0 17 D0 0 [07060501040326]");
    expected.insert(expected.begin(), {"flash_read_br0_mac", command, "pclose"});
    EXPECT_EQ(calls(), expected);
    EXPECT_EQ(debug_print(), "###set_RTC " + line + " \n");
    EXPECT_EQ(board().rtc(), "2026-03-04 05:06:07");
}

TEST_F(RtcSetting, ComesBeforeItIsPrinted)
{
    std::string printed = "nothing";
    at_call("ioctl /dev/i2cM0 17", [&] { printed = debug_print(); });
    set_RTC();
    EXPECT_EQ(printed, "");
}

TEST_F(RtcSetting, IsForModelsWithAClock)
{
    for (int model = 0; model <= 11; ++model) {
        use_model(model, true);
        const bool has_clock = model != 1 && model != 10;
        EXPECT_EQ(set_RTC(), has_clock ? 1 : 0) << model;
        EXPECT_EQ(calls("popen").size(), has_clock ? 1U : 0U) << model;
        EXPECT_EQ(transfers().size(), has_clock ? 1U : 0U) << model;
    }
}

TEST_F(RtcSetting, OnAModelWithoutAClockDoesNothing)
{
    for (const unsigned model : {0x40U, 0x41U, 0x47U}) {
        forget_calls();
        set_ethernet_address({0x00, 0xC3, static_cast<std::uint8_t>(model), 1, 2, 3});
        EXPECT_EQ(set_RTC(), 0);
        EXPECT_EQ(calls(), Calls{"flash_read_br0_mac"});
        EXPECT_EQ(debug_print(), "");
    }
}

TEST_F(RtcSetting, GoesByTheEthernetAddressAndNotByTheStoredIndex)
{
    set("IO_number", "10");
    EXPECT_EQ(set_RTC(), 1);
    EXPECT_EQ(calls("nvram_kget_int IO_number"), Calls{});
    use_model(10, true);
    set("IO_number", "2");
    EXPECT_EQ(set_RTC(), 0);
}

TEST_F(RtcSetting, WithoutAnEthernetAddressIsForAnUnknownBoard)
{
    lose_ethernet_address();
    EXPECT_EQ(bytes_of(line), "07060501040326");
}

TEST_F(RtcSetting, FailsWhenThePipeCannotBeOpened)
{
    fail_call("popen", EMFILE);
    EXPECT_EQ(set_RTC(), 0);
    EXPECT_EQ(debug_print(), "###popen(date) fail\n");
    EXPECT_EQ(calls(), (Calls{"flash_read_br0_mac", command}));
}

TEST_F(RtcSetting, OnABusThatFailsGivesOneAllTheSame)
{
    fail_ioctl("/dev/i2cM0", 17, EIO);
    EXPECT_EQ(bytes_of(line), "07060501040326");
}

TEST_F(RtcSetting, RunsTheProgram)
{
    const RecordingProgram date("date", "printf '2031-12-30T23:58:59+00:00\\n'");
    run_piped_commands();
    EXPECT_EQ(set_RTC(), 1);
    EXPECT_EQ(date.arguments(), (std::vector<std::string>{"-u", "-Iseconds"}));
    EXPECT_EQ(board().rtc(), "2031-12-30 23:58:59");
}

TEST_F(RtcSetting, UnderstandsTheRealProgram)
{
    const auto now = [] {
        const std::time_t seconds = std::time(nullptr);
        char text[32];
        std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", std::gmtime(&seconds));
        return std::string(text);
    };
    run_piped_commands();
    const std::string before = now();
    EXPECT_EQ(set_RTC(), 1);
    EXPECT_LE(before, board().rtc());
    EXPECT_LE(board().rtc(), now());
}

TEST_F(RtcSetting, TakesTheFirstLine)
{
    EXPECT_EQ(bytes_of(line + "1999-01-01T00:00:00+00:00\n"), "07060501040326");
    EXPECT_EQ(debug_print(), "###set_RTC " + line + " \n");
}

TEST_F(RtcSetting, TakesALineWithoutAnEnd)
{
    EXPECT_EQ(bytes_of("2026-12-31T23:59:58"), "58592301311226");
    EXPECT_EQ(debug_print(), "###set_RTC 2026-12-31T23:59:58 \n");
}

TEST_F(RtcSetting, DoesNotLookAtTheZone)
{
    EXPECT_EQ(bytes_of("2026-03-04T05:06:07-08:00\n"), "07060501040326");
    EXPECT_EQ(bytes_of("2026-03-04T05:06:07Z"), "07060501040326");
}

TEST_F(RtcSetting, CountsAsZeroWhatALineDoesNotHave)
{
    const std::pair<const char *, const char *> lines[] = {
        {"", "00000001000048"}, // years start 48 before 2048
        {"\n", "00000001000048"},
        {"date: invalid option\n", "00000001000048"},
        {"2026\n", "00000001000026"},
        {"2026-03-04\n", "00000001040326"},
        {"2026-03-04 05:06:07\n", "00000001040326"},
        {"2026-03-04T05:06\n", "00060501040326"},
        {"20260304T050607\n", "00000001000026"},
    };
    for (const auto &[text, bytes] : lines) {
        EXPECT_EQ(bytes_of(text), bytes) << text;
        EXPECT_EQ(debug_print(), std::string("###set_RTC ") + text + " \n");
    }
}

TEST_F(RtcSetting, TakesTheLowByteOfWhatIsOutOfRange)
{
    EXPECT_EQ(bytes_of("2026-99-99T99:99:99\n"), "99999901999926");
    EXPECT_EQ(bytes_of("-999--1--1T-1:-1:-1\n"), "95959501959573");
    EXPECT_EQ(bytes_of("20261-03-04T05:06:07\n"), "00000001000026");
}

TEST_F(RtcSetting, PrintsALineAsText)
{
    for (const std::string &text : {std::string("%n%s%d%x\n"), std::string("$(date)\x1B[2J\n")}) {
        bytes_of(text);
        EXPECT_EQ(debug_print(), "###set_RTC " + text + " \n");
    }
}

TEST_F(RtcSetting, Takes63CharactersOfALine)
{
    const std::string date = "2026-03-04T05:06:07";
    for (const std::size_t length : {62U, 63U, 64U, 1000U, 100'000U}) {
        const std::string text = date + std::string(length - date.size(), 'x');
        EXPECT_EQ(bytes_of(text + "\n"), "07060501040326") << length;
        EXPECT_EQ(debug_print(), "###set_RTC " + (text + "\n").substr(0, 63) + " \n");
    }
}

TEST_F(RtcSetting, TakesNothingBehind63Characters)
{
    EXPECT_EQ(bytes_of(std::string(44, ' ') + "2026-03-04T05:06:07\n"), "07060501040326");
    EXPECT_EQ(bytes_of(std::string(45, ' ') + "2026-03-04T05:06:07\n"), "00060501040326");
    EXPECT_EQ(bytes_of(std::string(63, ' ') + "2026-03-04T05:06:07\n"), "00000001000048");
}

TEST_F(RtcSetting, CountsYearsFrom2000To2207)
{
    for (int year = 2000; year <= 2207; ++year) {
        const bool century = year >= 2100 && year <= 2199;
        EXPECT_EQ(bytes_of(print("%04d-01-02T03:04:05+00:00\n", year)),
                  print("0504030102%s1%02d", century ? "8" : "0", year % 100))
            << year;
    }
}

TEST_F(RtcSetting, TakesTheLowByteOfOtherYears)
{
    EXPECT_EQ(bytes_of("1999-01-02T03:04:05\n"), "05040301020155"); // 255
    EXPECT_EQ(bytes_of("1970-01-02T03:04:05\n"), "05040301020126"); // 226
    EXPECT_EQ(bytes_of("2304-01-02T03:04:05\n"), "05040301020148"); // 48
    EXPECT_EQ(bytes_of("9999-01-02T03:04:05\n"), "05040301020163"); // 63
}

} // namespace
} // namespace plexor::tests
