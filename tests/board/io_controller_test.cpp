// SPDX-License-Identifier: Apache-2.0
#include "tests/board/test_board.h"

namespace plexor::tests
{

namespace
{

constexpr std::uint32_t address = 0x32;
constexpr std::uint8_t apply = 0xFF;

struct Registers {
    std::uint32_t mode, count_high, frequency, level, level_too, apply;
};
constexpr Registers registers_of[] = {
    {0x50, 0x33, 0x01, 13, 5, 9},
    {0x51, 0x35, 0x03, 22, 6, 10},
    {0x52, 0x37, 0x05, 31, 7, 11},
    {0x53, 0x39, 0x07, 40, 8, 12},
};

// Speaks to the controller as a program does, and looks at its pins.
class IoController : public ::testing::Test
{
  protected:
    void write(std::uint32_t reg, const Bytes &bytes)
    {
        EXPECT_EQ(board.write_i2c(address, reg, bytes).error, 0);
    }
    Bytes read(std::uint32_t reg, std::uint32_t length) { return board.read_i2c(address, reg, length).data; }
    void mode(int output, std::uint8_t code) { write(registers_of[output].mode, {code}); }
    void count(int output, const Bytes &edges)
    {
        write(registers_of[output].count_high, {edges[0], edges[1]});
        write(registers_of[output].frequency, {edges[2], edges[3]});
    }
    void level(int output, std::uint8_t first, std::uint8_t second, std::uint8_t how = apply)
    {
        write(registers_of[output].level, {first});
        write(registers_of[output].level_too, {second});
        write(registers_of[output].apply, {how});
    }
    void run_pwm(std::uint8_t frequency, std::uint8_t width)
    {
        mode(0, 4);
        write(0x10, {frequency, width});
        write(0x01, {0xFF, 0xFF});
        mode(0, 3);
    }

    Texts pins() const
    {
        Texts texts;
        for (int output = 0; output < 4; ++output) {
            texts.push_back(board.digital_output(output));
        }
        return texts;
    }
    void expect_only(int output, const std::string &signal)
    {
        Texts expected(4, "level 1");
        expected[static_cast<std::size_t>(output)] = signal;
        EXPECT_EQ(pins(), expected);
    }
    // What happened but for the transfers themselves.
    Texts effects()
    {
        Texts texts = board.news();
        std::erase_if(texts, [](const std::string &text) { return text.starts_with("i2c 0x32: "); });
        return texts;
    }

    TestBoard board{5, ordinary};
};

class EachOutput : public IoController, public ::testing::WithParamInterface<int>
{
  protected:
    const int output{GetParam()};
    const std::string name{"DO " + std::to_string(output + 1)};
};

TEST_P(EachOutput, ModeCodeOneIsLevelZeroAndCodeZeroLevelOne)
{
    mode(output, 1);
    expect_only(output, "level 0");
    mode(output, 0);
    expect_only(output, "level 1");
    EXPECT_EQ(effects(), (Texts{"output " + name + ": level 0", "output " + name + ": level 1"}));
}

TEST_P(EachOutput, GivesHalfAsManyPulsesAsEdgesAreCounted)
{
    count(output, {0x00, 0x01, 0x86, 0xA0});
    expect_only(output, "level 1");
    mode(output, 2);
    expect_only(output, "pulse train 50000");
    EXPECT_EQ(board.pulses(output), 50000U);
    EXPECT_EQ(board.pulses((output + 1) % 4), 0U);
}

TEST_P(EachOutput, TakesAllFourBytesOfACount)
{
    count(output, {0x12, 0x34, 0x56, 0x78});
    mode(output, 2);
    EXPECT_EQ(board.pulses(output), 0x12345678U / 2);
}

TEST_P(EachOutput, RunsAtAFrequency)
{
    write(registers_of[output].frequency, {0x12, 0x34});
    mode(output, 3);
    expect_only(output, "4660 Hz");
    EXPECT_EQ(effects(), Texts{"output " + name + ": 4660 Hz"});
}

TEST_P(EachOutput, IsAPlainLevelWhenBothLevelRegistersAreApplied)
{
    level(output, 0, 0);
    expect_only(output, "level 0");
    level(output, 1, 1);
    expect_only(output, "level 1");
}

TEST_P(EachOutput, StaysWhenTheLevelRegistersDisagreeOrHoldNoLevel)
{
    level(output, 0, 1);
    level(output, 2, 2);
    expect_only(output, "level 1");
    const std::string violation = "violation " + name + ": registers " +
                                  std::to_string(registers_of[output].level) + " and " +
                                  std::to_string(registers_of[output].level_too) + " are no level";
    EXPECT_EQ(effects(), (Texts{violation, violation}));
}

TEST_P(EachOutput, StaysWhenALevelIsAppliedWithAnotherByte)
{
    level(output, 0, 0, 1);
    expect_only(output, "level 1");
    EXPECT_EQ(effects(), Texts{"violation " + name + ": applied with 1"});
}

TEST_P(EachOutput, RunsFurtherModesByNumber)
{
    for (const std::uint8_t code : Bytes{10, 12, 13, 14}) {
        mode(output, code);
        expect_only(output, "mode " + std::to_string(code));
    }
}

TEST_P(EachOutput, StaysForAModeThatDoesNotExist)
{
    mode(output, 1);
    effects();
    for (const std::uint8_t code : Bytes{5, 9, 11, 15, 255}) {
        mode(output, code);
        expect_only(output, "level 0");
        EXPECT_EQ(effects(), Texts{"violation " + name + ": no mode " + std::to_string(code)});
    }
}

INSTANTIATE_TEST_SUITE_P(Do, EachOutput, ::testing::Values(0, 1, 2, 3),
                         [](const auto &output) { return std::to_string(output.param + 1); });

TEST_F(IoController, IsOnEveryBoard)
{
    for (int model = 0; model <= 11; ++model) {
        TestBoard any{model, ordinary};
        EXPECT_EQ(any.write_i2c(address, 0x50, {1}).error, 0) << model;
        EXPECT_EQ(any.digital_output(0), "level 0") << model;
    }
}

TEST_F(IoController, AllOutputsRestAtLevelOneAtFirst)
{
    EXPECT_EQ(pins(), Texts(4, "level 1"));
    EXPECT_EQ(read(0, 256), Bytes(256, 0));
}

TEST_F(IoController, IsReadBackAsItWasWrittenAlsoWhatRanMeanwhile)
{
    write(60, {1, 2, 3});
    EXPECT_EQ(read(61, 2), (Bytes{2, 3}));
    count(0, {0, 0, 0, 10});
    mode(0, 2);
    EXPECT_EQ(read(0x33, 2), (Bytes{0, 0}));
    EXPECT_EQ(read(0x01, 2), (Bytes{0, 10}));
    EXPECT_EQ(read(0x50, 4), (Bytes{2, 0, 0, 0}));
}

TEST_F(IoController, HasNothingBeyondItsLastRegister)
{
    write(255, {7});
    EXPECT_EQ(board.write_i2c(address, 255, {8, 9}).error, EINVAL);
    EXPECT_EQ(board.read_i2c(address, 256, 1).error, EINVAL);
    EXPECT_EQ(board.io_register(255), 7);
    EXPECT_EQ(effects(), (Texts{"violation 0x32: no register 255 of length 2",
                                "violation 0x32: no register 256 of length 1"}));
}

TEST_F(IoController, ALongWriteRunsEachModeRegisterThatItPasses)
{
    write(0x4F, {9, 1, 0, 1, 10, 9});
    EXPECT_EQ(pins(), (Texts{"level 0", "level 1", "level 0", "mode 10"}));
}

TEST_F(IoController, EveryPulseTrainIsAnEventAndThePulsesAddUp)
{
    count(0, {0, 0, 0, 10});
    mode(0, 2);
    mode(0, 0);
    mode(0, 2);
    mode(0, 2);
    EXPECT_EQ(effects(), (Texts{"output DO 1: pulse train 5", "output DO 1: level 1",
                                "output DO 1: pulse train 5", "output DO 1: pulse train 5"}));
    EXPECT_EQ(board.pulses(0), 15U);
}

TEST_F(IoController, AnOddNumberOfEdgesIsAViolationAndNoTrain)
{
    count(1, {0, 0, 0, 5});
    mode(1, 2);
    expect_only(1, "level 1");
    EXPECT_EQ(board.pulses(1), 0U);
    EXPECT_EQ(effects(), Texts{"violation DO 2: 5 edges end on the other level"});
}

TEST_F(IoController, RegistersWrittenWhileAnOutputRunsCountFromTheNextModeOn)
{
    write(0x05, {0x12, 0x34});
    mode(2, 3);
    write(0x05, {0x00, 0x64});
    expect_only(2, "4660 Hz");
    mode(2, 3);
    expect_only(2, "100 Hz");
}

TEST_F(IoController, OutputOneRunsPwmWhenItsFrequencyIsAllOnes)
{
    mode(0, 4);
    expect_only(0, "PWM being set up");
    run_pwm(5, 50);
    expect_only(0, "PWM 5/50");
    run_pwm(5, 51);
    EXPECT_EQ(effects().back(), "output DO 1: PWM 5/51");
}

TEST_F(IoController, TheOtherOutputsHaveNoPwm)
{
    write(0x03, {0xFF, 0xFF});
    mode(1, 3);
    expect_only(1, "65535 Hz");
    effects();
    mode(1, 4);
    expect_only(1, "65535 Hz");
    EXPECT_EQ(effects(), Texts{"violation DO 2: no PWM on this output"});
}

TEST_F(IoController, WithoutPowerNoOutputGivesAnythingAndAllIsForgotten)
{
    count(0, {0, 0, 0, 10});
    mode(0, 2);
    effects();
    board.power_loss();
    EXPECT_EQ(effects(), (Texts{"power mains: lost", "output DO 1: off"}));
    EXPECT_EQ(pins(), Texts(4, "off"));
    board.power_up();
    EXPECT_EQ(pins(), Texts(4, "level 1"));
    EXPECT_EQ(read(0, 256), Bytes(256, 0));
    EXPECT_EQ(board.pulses(0), 0U);
}

TEST_F(IoController, ItsFirmwareSetsRegistersWithoutAnOutputThatFollows)
{
    board.set_io_register(0x50, 3);
    board.set_io_register(30, 0xA5);
    board.set_io_register(256, 1);
    board.set_io_register(-1, 1);
    EXPECT_EQ(pins(), Texts(4, "level 1"));
    EXPECT_EQ(read(0x50, 1), Bytes{3});
    EXPECT_EQ(board.io_register(30), 0xA5);
    EXPECT_EQ(board.io_register(0), 0);
    EXPECT_EQ(board.io_register(256), 0);
    EXPECT_EQ(board.io_register(-1), 0);
}

TEST_F(IoController, AnOutputThatDoesNotExistIsOff)
{
    EXPECT_EQ(board.digital_output(4), "off");
    EXPECT_EQ(board.digital_output(-1), "off");
    EXPECT_EQ(board.pulses(4), 0U);
}

TEST_F(IoController, AbsentByAFaultItDoesNotAnswerAndItsOutputsStay)
{
    mode(0, 1);
    board.set_fault("io-controller-absent", true);
    EXPECT_EQ(board.write_i2c(address, 0x50, {0}).error, ENXIO);
    EXPECT_EQ(board.write_i2c(0xA0, 1, {0}).error, 0);
    expect_only(0, "level 0");
    board.set_fault("io-controller-absent", false);
    mode(0, 0);
    expect_only(0, "level 1");
}

TEST_F(IoController, EventsNameTheProcessThatAsked)
{
    mode(0, 1);
    EXPECT_EQ(board.timeline().events().back().pid, process);
}

} // namespace

} // namespace plexor::tests
