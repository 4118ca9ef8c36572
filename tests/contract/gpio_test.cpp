// SPDX-License-Identifier: Apache-2.0
#include <plexor/gpio.h>

#include <cerrno>
#include <climits>

#include "tests/contract/appliance.h"
#include "tests/contract/gpio_calls.h"

namespace plexor::tests
{
namespace
{

struct Bank {
    unsigned group;
    int set_input, set_output, read, write;
};

std::string group_name(const ::testing::TestParamInfo<Bank> &info)
{
    return "Group" + std::to_string(info.param.group);
}

class EveryGroup : public Appliance, public ::testing::WithParamInterface<Bank>
{
  protected:
    unsigned group() const { return GetParam().group; }
};

// Any group but 1 and 2 is group 0.
INSTANTIATE_TEST_SUITE_P(Gpio, EveryGroup,
                         ::testing::Values(Bank{0, 17, 18, 2, 3}, Bank{1, 19, 20, 82, 83},
                                           Bank{2, 21, 22, 98, 99}, Bank{3, 17, 18, 2, 3},
                                           Bank{7, 17, 18, 2, 3}, Bank{UINT_MAX, 17, 18, 2, 3}),
                         group_name);

TEST_P(EveryGroup, HasItsRequestToMakeALineAnInput)
{
    EXPECT_EQ(gpio_set_dir_g(group(), 0, 13), 0);
    EXPECT_EQ(calls(), each_opened({gpio_request(GetParam().set_input, 0x2000)}));
}

TEST_P(EveryGroup, HasItsRequestToMakeALineAnOutput)
{
    EXPECT_EQ(gpio_set_dir_g(group(), 1, 13), 0);
    EXPECT_EQ(calls(), each_opened({gpio_request(GetParam().set_output, 0x2000)}));
}

TEST_P(EveryGroup, HasItsRequestToBeRead)
{
    unsigned levels = 0;
    EXPECT_EQ(gpio_read_int(group(), &levels), 0);
    EXPECT_EQ(calls(), each_opened({gpio_request(GetParam().read)}));
}

TEST_P(EveryGroup, HasItsRequestToBeWritten)
{
    EXPECT_EQ(gpio_write_int(group(), 0x12345678), 0);
    EXPECT_EQ(calls(), each_opened({gpio_request(GetParam().write, 0x12345678)}));
}

class Gpio : public Appliance
{
  protected:
    // The mask that the driver gets for a line.
    std::string direction_request(unsigned group, int line)
    {
        forget_calls();
        EXPECT_EQ(gpio_set_dir_g(group, 1, line), 0);
        return calls("ioctl").at(0);
    }

    void expect_every_function_to_fail()
    {
        unsigned levels = 0xDEADBEEF;
        EXPECT_EQ(gpio_set_dir_g(1, 1, 45), -1);
        EXPECT_EQ(gpio_read_int(1, &levels), -1);
        EXPECT_EQ(levels, 0U);
        EXPECT_EQ(gpio_write_int(1, 5), -1);
    }
};

TEST_F(Gpio, AnyValueButZeroMakesALineAnOutput)
{
    for (const int output : {1, 2, 256, -1, INT_MIN})
        EXPECT_EQ(gpio_set_dir_g(0, output, 0), 0);
    EXPECT_EQ(calls("ioctl"), Calls(5, gpio_request(18, 1)));
}

TEST_F(Gpio, EveryLineHasItsBitOfItsBank)
{
    const int requests[] = {18, 20, 22};
    for (int line = 0; line < 96; ++line) {
        const unsigned bank = static_cast<unsigned>(line) / 32;
        EXPECT_EQ(direction_request(bank, line), gpio_request(requests[bank], 1U << line % 32)) << line;
    }
}

TEST_F(Gpio, ALineReducedToItsBankIsTheSameLine)
{
    EXPECT_EQ(direction_request(1, 45), gpio_request(20, 0x2000));
    EXPECT_EQ(direction_request(1, 13), gpio_request(20, 0x2000));
    EXPECT_EQ(direction_request(2, 95), gpio_request(22, 0x80000000));
    EXPECT_EQ(direction_request(2, 31), gpio_request(22, 0x80000000));
}

TEST_F(Gpio, TheLineDoesNotChooseTheBank)
{
    EXPECT_EQ(direction_request(0, 45), gpio_request(18, 0x2000));
    EXPECT_EQ(direction_request(2, 45), gpio_request(22, 0x2000));
    EXPECT_EQ(direction_request(1, 77), gpio_request(20, 0x2000));
}

TEST_F(Gpio, LinesBeyondTheBanksWrapAtThirtyTwo)
{
    EXPECT_EQ(direction_request(0, 96), gpio_request(18, 1));
    EXPECT_EQ(direction_request(0, INT_MAX), gpio_request(18, 0x80000000));
}

TEST_F(Gpio, ReadingGivesTheLevelsOfTheWholeBank)
{
    unsigned levels = 0;
    board().set_input(45, false);
    EXPECT_EQ(gpio_read_int(1, &levels), 0);
    EXPECT_EQ(levels, 0xFFFFDFFF);
    board().set_input(63, false);
    EXPECT_EQ(gpio_read_int(1, &levels), 0);
    EXPECT_EQ(levels, 0x7FFFDFFFU);
}

TEST_F(Gpio, WritingCarriesTheHighestBit)
{
    EXPECT_EQ(gpio_write_int(2, INT_MIN), 0);
    EXPECT_EQ(gpio_write_int(2, -1), 0);
    EXPECT_EQ(calls("ioctl"), (Calls{gpio_request(99, 0x80000000), gpio_request(99, 0xFFFFFFFF)}));
}

TEST_F(Gpio, ALineIsChangedByReadingItsBankAndWritingItBack)
{
    unsigned levels = 0;
    EXPECT_EQ(gpio_read_int(1, &levels), 0);
    EXPECT_EQ(gpio_set_dir_g(1, 1, 44), 0);
    EXPECT_EQ(gpio_write_int(1, static_cast<int>(levels & ~0x1000U)), 0);
    EXPECT_EQ(board().gpio_outputs(1), 0x1000U);
    EXPECT_EQ(board().gpio_levels(1), 0xFFFFEFFF);
    EXPECT_EQ(calls("open"), Calls(3, "open /dev/gpio"));
}

TEST_F(Gpio, ALineMadeAnInputFollowsTheOutsideAgain)
{
    board().set_input(22, false);
    gpio_set_dir_g(0, 1, 22);
    EXPECT_EQ(board().gpio_levels(0), 0xFFFFFFFF);
    gpio_set_dir_g(0, 0, 22);
    EXPECT_EQ(board().gpio_levels(0), 0xFFBFFFFF);
}

TEST_F(Gpio, WithoutTheDeviceEveryFunctionFails)
{
    fail_open("/dev/gpio", ENOENT);
    const auto text = standard_error_of([this] { expect_every_function_to_fail(); });
    EXPECT_EQ(text, "/dev/gpio: No such file or directory\n"
                    "/dev/gpio: No such file or directory\n"
                    "/dev/gpio: No such file or directory\n");
    EXPECT_EQ(calls(), Calls(3, "open /dev/gpio"));
}

TEST_F(Gpio, TheSystemErrorIsTheOneOfTheOpen)
{
    fail_open("/dev/gpio", EACCES);
    EXPECT_EQ(standard_error_of([] { gpio_write_int(0, 0); }), "/dev/gpio: Permission denied\n");
}

TEST_F(Gpio, ARequestThatFailsFailsTheCallAndClosesTheDevice)
{
    for (const int request : {20, 82, 83})
        fail_ioctl("/dev/gpio", request, EIO);
    const auto text = standard_error_of([this] { expect_every_function_to_fail(); });
    EXPECT_EQ(text, "ioctl: Input/output error\nioctl: Input/output error\nioctl: Input/output error\n");
    EXPECT_EQ(calls(), each_opened({gpio_request(20, 0x2000), gpio_request(82), gpio_request(83, 5)}));
}

TEST_F(Gpio, AFailedReadGivesZeroWhateverTheDriverLeft)
{
    unsigned levels = 5;
    fail_ioctl("/dev/gpio", 2, EIO);
    at_call("ioctl /dev/gpio 2", [&levels] { levels = 0xDEAD; });
    standard_error_of([&levels] { EXPECT_EQ(gpio_read_int(0, &levels), -1); });
    EXPECT_EQ(levels, 0U);
}

TEST_F(Gpio, TheWordIsZeroedBeforeTheDeviceIsOpened)
{
    unsigned levels = 5;
    unsigned at_open = 5;
    at_call("open /dev/gpio", [&] { at_open = levels; });
    gpio_read_int(0, &levels);
    EXPECT_EQ(at_open, 0U);
}

TEST_F(Gpio, SuccessSaysNothing)
{
    unsigned levels = 0;
    const auto text = standard_error_of([&levels] {
        gpio_read_int(0, &levels);
        gpio_set_dir_g(0, 1, 22);
        gpio_write_int(0, 0);
    });
    EXPECT_EQ(text, "");
    EXPECT_EQ(debug_print(), "");
}

TEST_F(Gpio, ACloseThatFailsChangesNoResult)
{
    fail_call("close", EIO);
    EXPECT_EQ(gpio_write_int(0, 0), 0);
}

TEST_F(Gpio, AFailureDoesNotSpoilTheNextCall)
{
    unsigned levels = 0;
    fail_call("open", EMFILE);
    standard_error_of([&levels] { EXPECT_EQ(gpio_read_int(0, &levels), -1); });
    EXPECT_EQ(gpio_read_int(0, &levels), 0);
    EXPECT_EQ(levels, 0xFFFFFFFF);
}

TEST_F(Gpio, ANullWordIsRefusedBeforeTheDeviceIsOpened)
{
    EXPECT_EQ(gpio_read_int(0, nullptr), -1);
    EXPECT_EQ(calls(), Calls{});
}

TEST(DigitalInputs, AreLines26To29InOrder)
{
    for (int input = 0; input < 4; ++input)
        EXPECT_EQ(DIGPIO[input], 26 + input);
}

} // namespace
} // namespace plexor::tests
