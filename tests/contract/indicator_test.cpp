// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <climits>

#include "tests/contract/indicator_story.h"

namespace plexor::tests
{
namespace
{

INSTANTIATE_TEST_SUITE_P(All, IndicatorsOfEveryModel, ::testing::Range(0, 12),
                         [](const auto &model) { return "Model" + std::to_string(model.param); });

// --- outlet LEDs on GPIO lines ---

const Calls four_lines_for_0101{gpio_request(2),
                                gpio_request(18, 0x00400000),
                                gpio_request(3, 0xFFFFFFFF),
                                gpio_request(18, 0x00800000),
                                gpio_request(3, 0xFF7FFFFF),
                                gpio_request(18, 0x01000000),
                                gpio_request(3, 0xFF7FFFFF),
                                gpio_request(18, 0x02000000),
                                gpio_request(3, 0xFD7FFFFF)};
const Calls two_lines_for_01{gpio_request(82), gpio_request(20, 0x100), gpio_request(83, 0xFFFFFFFF),
                             gpio_request(20, 0x80), gpio_request(83, 0xFFFFFF7F)};

TEST_P(IndicatorsOfEveryModel, LedsOnLinesAreWrittenOneByOne)
{
    EXPECT_EQ(LEDONOFF(0x05), 0);
    EXPECT_EQ(calls(),
              after_reading_the_model(each_opened(has_two_leds() ? two_lines_for_01 : four_lines_for_0101)));
}

TEST_F(Indicators, AnOutletThatIsOffHasItsLineHigh)
{
    use_model(4, false);
    LEDONOFF(0x05);
    EXPECT_EQ(board().gpio_levels(0) & 0x03C00000, 0x01400000U);
    EXPECT_EQ(board().gpio_outputs(0), 0x03C00000U);
    for (int outlet = 0; outlet < 4; ++outlet)
        EXPECT_EQ(board().led(outlet), outlet % 2 == 1) << outlet;
}

TEST_F(Indicators, EveryMaskOfFourOutletsShows)
{
    use_model(4, false);
    for (unsigned mask = 0; mask < 16; ++mask) {
        LEDONOFF(mask);
        EXPECT_EQ(board().gpio_levels(0) & 0x03C00000, mask << 22);
    }
}

TEST_F(Indicators, EveryMaskOfTwoOutletsShows)
{
    use_model(9, false);
    for (unsigned mask = 0; mask < 4; ++mask) {
        LEDONOFF(mask);
        EXPECT_EQ(board().led(0), (mask & 1) == 0) << mask;
        EXPECT_EQ(board().led(1), (mask & 2) == 0) << mask;
    }
}

TEST_F(Indicators, LaterWordsCarryTheEarlierLinesAndTheRestOfTheBank)
{
    use_model(8, false);
    board().set_input(63, false);
    LEDONOFF(0xFFFFFFFC);
    EXPECT_EQ(calls("ioctl /dev/gpio 83"),
              (Calls{gpio_request(83, 0x7FFFFEFF), gpio_request(83, 0x7FFFFE7F)}));
}

TEST_F(Indicators, TheBankIsNotReadAgainBetweenTheLines)
{
    use_model(4, true);
    LEDONOFF(0);
    EXPECT_EQ(requests(), (Calls{gpio_request(2), gpio_request(18, 0x00400000), gpio_request(3, 0xFFBFFFFF),
                                 gpio_request(18, 0x00800000), gpio_request(3, 0xFF3FFFFF),
                                 gpio_request(18, 0x01000000), gpio_request(3, 0xFE3FFFFF),
                                 gpio_request(18, 0x02000000), gpio_request(3, 0xFC3FFFFF)}));
}

TEST_F(Indicators, LedsOnLinesAreTriedWithoutTheDeviceToo)
{
    use_model(8, false);
    fail_open("/dev/gpio", ENOENT);
    std::string complaints;
    const auto text = standard_error_of([] { EXPECT_EQ(LEDONOFF(0), 0); });
    for (int i = 0; i < 5; ++i)
        complaints += "/dev/gpio: No such file or directory\n";
    EXPECT_EQ(text, complaints);
    EXPECT_EQ(calls("open"), Calls(5, "open /dev/gpio"));
}

TEST_F(Indicators, ABankThatCannotBeReadCountsAsAllLow)
{
    use_model(8, false);
    fail_ioctl("/dev/gpio", 82, EIO);
    standard_error_of([] { EXPECT_EQ(LEDONOFF(0x01), 0); });
    EXPECT_EQ(calls("ioctl /dev/gpio 83"), (Calls{gpio_request(83, 0x100), gpio_request(83, 0x100)}));
}

TEST_F(Indicators, TheModelIsReadAtEveryCall)
{
    for (const auto *model : {"8", "4", "8"}) {
        set("IO_number", model);
        LEDONOFF(0);
    }
    EXPECT_EQ(calls("ioctl /dev/gpio 83").size(), 4U);
    EXPECT_EQ(calls("ioctl /dev/gpio 3").size(), 4U);
    EXPECT_EQ(calls("nvram"), Calls(3, "nvram_kget_int IO_number 0"));
}

// --- outlet LEDs on the expanders ---

TEST_F(Indicators, AllExpanderLedsAreWrittenInTwoGroups)
{
    EXPECT_EQ(QB73xxAllLED(0x0F), 1);
    EXPECT_EQ(requests(),
              (Calls{log("WrLed34:08=F0"), "ioctl /dev/i2cM0 17 34 8 [F0]", "nanosleep 0.020000000",
                     log("WrLed36:08=FF"), "ioctl /dev/i2cM0 17 36 8 [FF]"}));
}

TEST_F(Indicators, AllExpanderLedsFollowTheMask)
{
    for (unsigned on_mask = 0; on_mask < 256; ++on_mask) {
        QB73xxAllLED(on_mask);
        EXPECT_EQ(board().expander(0), ~on_mask & 0x0F);
        EXPECT_EQ(board().expander(1), ~on_mask >> 4 & 0x0F);
    }
}

TEST_F(Indicators, AllExpanderLedsIgnoreBitsBeyondEightOutlets)
{
    QB73xxAllLED(0xFFFFFF12);
    EXPECT_EQ(expander_writes(), (Calls{"ioctl /dev/i2cM0 17 34 8 [FD]", "ioctl /dev/i2cM0 17 36 8 [FE]"}));
}

TEST_F(Indicators, AnExpanderLedIsSelectedAndLitByOneByte)
{
    EXPECT_EQ(QB73xxLED(6, 0), 1);
    EXPECT_EQ(QB73xxLED(6, 1), 1);
    EXPECT_EQ(requests(), (Calls{log("WrLed:36[08]=44"), "ioctl /dev/i2cM0 17 36 8 [44]",
                                 log("WrLed:36[08]=40"), "ioctl /dev/i2cM0 17 36 8 [40]"}));
}

TEST_F(Indicators, EveryExpanderLedHasItsDeviceAndBits)
{
    const char *const dark[] = {"34 8 [11]", "34 8 [22]", "34 8 [44]", "34 8 [88]",
                                "36 8 [11]", "36 8 [22]", "36 8 [44]", "36 8 [88]"};
    const char *const lit[] = {"34 8 [10]", "34 8 [20]", "34 8 [40]", "34 8 [80]",
                               "36 8 [10]", "36 8 [20]", "36 8 [40]", "36 8 [80]"};
    for (unsigned outlet = 0; outlet < 8; ++outlet) {
        forget_calls();
        QB73xxLED(outlet, 0);
        QB73xxLED(outlet, 1);
        EXPECT_EQ(expander_writes(), (Calls{std::string("ioctl /dev/i2cM0 17 ") + dark[outlet],
                                            std::string("ioctl /dev/i2cM0 17 ") + lit[outlet]}));
    }
}

TEST_F(Indicators, AnExpanderLedIsLitByTheValueOneAlone)
{
    for (const unsigned value : {0U, 2U, 3U, UINT_MAX})
        QB73xxLED(0, value);
    EXPECT_EQ(expander_writes(), Calls(4, "ioctl /dev/i2cM0 17 34 8 [11]"));
}

TEST_F(Indicators, AnExpanderLedLeavesTheOthersAsTheyAre)
{
    QB73xxAllLED(0xFF);
    QB73xxLED(5, 0);
    for (int outlet = 0; outlet < 8; ++outlet)
        EXPECT_EQ(board().led(outlet), outlet != 5) << outlet;
}

TEST_F(Indicators, AnExpanderLedBeyondTheEighthDoesNothing)
{
    EXPECT_EQ(QB73xxLED(8, 1), 0);
    EXPECT_EQ(QB73xxLED(UINT_MAX, 1), 0);
    EXPECT_EQ(calls(), Calls{});
}

TEST_F(Indicators, ExpandersThatFailChangeNoResult)
{
    fail_ioctl("/dev/i2cM0", 17, EIO);
    EXPECT_EQ(QB73xxLED(0, 1), 1);
    EXPECT_EQ(QB73xxAllLED(0xFF), 1);
    EXPECT_EQ(expander_writes().size(), 3U);
}

TEST_F(Indicators, ExpanderWritesAreNeverAnsweredFromTheCache)
{
    QB73xxLED(0, 1);
    QB73xxLED(0, 1);
    EXPECT_EQ(expander_writes().size(), 2U);
}

TEST_P(IndicatorsOfEveryModel, ExpandersAreWrittenWhateverTheModel)
{
    QB73xxLED(0, 1);
    QB73xxAllLED(0);
    EXPECT_EQ(expander_writes(), (Calls{"ioctl /dev/i2cM0 17 34 8 [10]", "ioctl /dev/i2cM0 17 34 8 [FF]",
                                        "ioctl /dev/i2cM0 17 36 8 [FF]"}));
    EXPECT_EQ(calls("nvram_kget_int IO_number"), Calls{});
}

// --- Wi-Fi and USB LED ---

TEST_P(IndicatorsOfEveryModel, TheWifiLedIsARequestAndALine)
{
    wifi_led(1);
    Calls expected{gpio_request(54, 1), line_44.low()};
    const Calls taking = line_44.taking();
    expected.insert(expected.begin() + 1, taking.begin(), taking.end());
    EXPECT_EQ(calls(), after_reading_the_model(has_wifi_led() ? each_opened(expected) : Calls{}));
    EXPECT_EQ(board().wifi_led(), has_wifi_led());
}

TEST_P(IndicatorsOfEveryModel, TheUsbLedIsARequest)
{
    usb_led(1);
    EXPECT_EQ(calls(), after_reading_the_model(has_usb_led() ? each_opened({gpio_request(55, 1)}) : Calls{}));
    EXPECT_EQ(board().usb_led(), has_usb_led());
}

TEST_F(Indicators, TheWifiLedIsLitByTheStateOneAlone)
{
    for (const unsigned state : {0U, 2U, UINT_MAX}) {
        forget_calls();
        wifi_led(state);
        EXPECT_EQ(calls("ioctl /dev/gpio 54"), Calls{gpio_request(54, state)});
        EXPECT_EQ(calls("ioctl /dev/gpio 83"), Calls{line_44.high()});
    }
}

TEST_F(Indicators, TheWifiLedGoesOutAgain)
{
    wifi_led(1);
    EXPECT_TRUE(board().wifi_led());
    wifi_led(0);
    EXPECT_FALSE(board().wifi_led());
}

TEST_F(Indicators, TheWifiLedKeepsTheRestOfItsBank)
{
    board().set_input(32, false);
    wifi_led(1);
    EXPECT_EQ(calls("ioctl /dev/gpio 83"), Calls{gpio_request(83, 0xFFFFEFFE)});
}

TEST_F(Indicators, TheWifiLedEndsWithoutTheDevice)
{
    fail_open("/dev/gpio", ENODEV);
    EXPECT_EQ(standard_error_of([] { wifi_led(1); }), "/dev/gpio: No such device\n");
    EXPECT_EQ(calls(), after_reading_the_model({"open /dev/gpio"}));
}

TEST_F(Indicators, TheLineOfTheWifiLedIsSetThoughTheDriverRefuses)
{
    std::string errors;
    fail_ioctl("/dev/gpio", 54, EINVAL);
    const auto output = standard_output_of([&errors] { errors = standard_error_of([] { wifi_led(1); }); });
    EXPECT_EQ(output, "wifi_led \n");
    EXPECT_EQ(errors + debug_print(), "");
    EXPECT_EQ(calls("ioctl /dev/gpio 83"), Calls{line_44.low()});
}

TEST_F(Indicators, TheUsbLedTakesAnyState)
{
    for (const int state : {0, 2, -1})
        usb_led(state);
    EXPECT_EQ(requests(), (Calls{gpio_request(55, 0), gpio_request(55, 2), gpio_request(55, 0xFFFFFFFF)}));
}

TEST_F(Indicators, TheUsbLedEndsWithoutTheDevice)
{
    fail_open("/dev/gpio", ENODEV);
    EXPECT_EQ(standard_error_of([] { usb_led(1); }), "/dev/gpio: No such device\n");
    EXPECT_EQ(calls(), after_reading_the_model({"open /dev/gpio"}));
    EXPECT_EQ(debug_print(), "");
}

TEST_F(Indicators, ARefusedUsbLedIsPrinted)
{
    std::string errors;
    fail_ioctl("/dev/gpio", 55, EINVAL);
    const auto output = standard_output_of([&errors] { errors = standard_error_of([] { usb_led(1); }); });
    EXPECT_EQ(debug_print(), "usb_led \n");
    EXPECT_EQ(output + errors, "");
    EXPECT_EQ(calls(), after_reading_the_model(each_opened({gpio_request(55, 1)})));
}

TEST_F(Indicators, ARefusedUsbLedIsPrintedBeforeTheDeviceIsClosed)
{
    std::string printed;
    fail_ioctl("/dev/gpio", 55, EINVAL);
    at_call("close /dev/gpio", [&] { printed = debug_print(); });
    usb_led(1);
    EXPECT_EQ(printed, "usb_led \n");
}

TEST_F(Indicators, LedsSayNothingWhenAllIsWell)
{
    std::string errors;
    const auto output = standard_output_of([&errors] {
        errors = standard_error_of([] {
            wifi_led(1);
            usb_led(1);
            LEDONOFF(0);
        });
    });
    EXPECT_EQ(output + errors + debug_print(), "");
}

// --- what the appliance may find as its model ---

class HostileModel : public Indicators, public ::testing::WithParamInterface<const char *>
{
  protected:
    HostileModel() { set("IO_number", GetParam()); }
};

INSTANTIATE_TEST_SUITE_P(Texts, HostileModel,
                         ::testing::Values("12", "-1", "-2147483648", "2147483647", "256", "", "abc", "0"));

TEST_P(HostileModel, HasTheBeeperOfTheUnknownModel)
{
    Calls expected = line_0.taking();
    expected.push_back(line_0.high());
    EXPECT_EQ(::beep(0), 0);
    EXPECT_EQ(requests(), expected);
}

TEST_P(HostileModel, HasTheOutletLedsOfTheUnknownModel)
{
    EXPECT_EQ(LEDONOFF(0x05), 0);
    EXPECT_EQ(requests(), four_lines_for_0101);
}

TEST_P(HostileModel, HasNoWifiAndNoUsbLed)
{
    wifi_led(1);
    usb_led(1);
    EXPECT_EQ(calls(), Calls(2, "nvram_kget_int IO_number 0"));
}

TEST_F(Indicators, AreThoseOfTheUnknownModelWhenNoneIsStored)
{
    unset("IO_number");
    LEDONOFF(0x05);
    EXPECT_EQ(requests(), four_lines_for_0101);
}

} // namespace
} // namespace plexor::tests
