// SPDX-License-Identifier: Apache-2.0
#include <plexor/process.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <string_view>

#include "tests/contract/appliance.h"

namespace plexor::tests
{
namespace
{

// --- splitting ---

class Splitting : public Appliance
{
  protected:
    // The tokens of text; places behind the last one keep what they held.
    static std::vector<std::string> tokens(std::string text, const char *delimiters)
    {
        std::array<char *, 8> places{};
        char untouched[] = "untouched";
        places.fill(untouched);
        EXPECT_EQ(split(places.data(), text.data(), delimiters), nullptr);
        std::vector<std::string> found;
        for (auto place = places.begin(); *place != untouched; ++place)
            found.emplace_back(*place);
        EXPECT_EQ(std::count(places.begin(), places.end(), untouched),
                  static_cast<std::ptrdiff_t>(places.size() - found.size()));
        return found;
    }
    using Tokens = std::vector<std::string>;
};

TEST_F(Splitting, GivesTheTokensInOrder)
{
    EXPECT_EQ(tokens("192.168.0.1", "."), (Tokens{"192", "168", "0", "1"}));
}

TEST_F(Splitting, SkipsEmptyTokens)
{
    EXPECT_EQ(tokens(";;a;;;b;", ";"), (Tokens{"a", "b"}));
}

TEST_F(Splitting, SeparatesAtEveryOneOfTheDelimiters)
{
    EXPECT_EQ(tokens("a b,c ,d", ", "), (Tokens{"a", "b", "c", "d"}));
}

TEST_F(Splitting, FindsNothingInEmptyTextOrDelimitersAlone)
{
    EXPECT_EQ(tokens("", ";"), Tokens{});
    EXPECT_EQ(tokens(";;;", ";"), Tokens{});
}

TEST_F(Splitting, GivesTextWithoutDelimitersWhole)
{
    EXPECT_EQ(tokens("a b", ";"), Tokens{"a b"});
    EXPECT_EQ(tokens("a;b", ""), Tokens{"a;b"});
}

TEST_F(Splitting, WorksInPlace)
{
    char text[] = ";ab;cd";
    char *places[2] = {};
    split(places, text, ";");
    EXPECT_EQ(places[0], text + 1);
    EXPECT_EQ(places[1], text + 4);
    EXPECT_EQ(std::string(text, sizeof text), std::string(";ab\0cd\0", 7));
}

TEST_F(Splitting, DoesNotDisturbAStrtokOfTheCaller)
{
    char mine[] = "1;2;3";
    EXPECT_STREQ(std::strtok(mine, ";"), "1");
    tokens("a,b", ",");
    EXPECT_STREQ(std::strtok(nullptr, ";"), "2");
}

// --- hexadecimal pairs ---

unsigned pair_value(unsigned char first, unsigned char second)
{
    const unsigned char digits[2] = {first, second};
    return Char2ByteFun(digits);
}

// Values of all characters as digits: digits, large and small letters, and the letters that are lowered onto
// the digits. 16 stands for none.
std::array<unsigned, 256> digit_values()
{
    std::array<unsigned, 256> values{};
    values.fill(16);
    for (const std::string_view digits : {"0123456789ABCDEF", "PQRSTUVWXY"}) {
        for (unsigned value = 0; value < digits.size(); ++value)
            values.at(static_cast<unsigned char>(digits[value])) = value;
    }
    for (unsigned letter = 0; letter < 6; ++letter)
        values.at('a' + letter) = 10 + letter;
    return values;
}

TEST(HexadecimalPair, IsHighDigitThenLowDigit)
{
    EXPECT_EQ(pair_value('a', '5'), 0xA5U);
    EXPECT_EQ(pair_value('0', 'F'), 0x0FU);
    EXPECT_EQ(pair_value('f', 'F'), 0xFFU);
    EXPECT_EQ(pair_value('0', '0'), 0U);
}

TEST(HexadecimalPair, IsZeroWhenEitherIsNoDigit)
{
    EXPECT_EQ(pair_value('G', '1'), 0U);
    EXPECT_EQ(pair_value('g', '1'), 0U);
    EXPECT_EQ(pair_value('1', 'G'), 0U);
    EXPECT_EQ(pair_value('1', '\0'), 0U);
    EXPECT_EQ(pair_value(':', '1'), 0U);
}

TEST(HexadecimalPair, IsZeroWithoutText)
{
    EXPECT_EQ(Char2ByteFun(nullptr), 0U);
}

TEST(HexadecimalPair, FollowsTheRuleForAll65536Pairs)
{
    const auto values = digit_values();
    for (unsigned pair = 0; pair < 65536; ++pair) {
        const auto first = static_cast<unsigned char>(pair >> 8);
        const auto second = static_cast<unsigned char>(pair & 0xFF);
        const unsigned high = values.at(first);
        const unsigned low = values.at(second);
        const unsigned expected = high > 15 || low > 15 ? 0 : high * 16 + low;
        ASSERT_EQ(pair_value(first, second), expected) << pair;
    }
}

// --- default names of ports ---

class PortName : public Appliance
{
  protected:
    // What stands in a buffer of 16 dots when size of them are offered.
    static std::string name(unsigned index, int size, int result)
    {
        std::string buffer(16, '.');
        EXPECT_EQ(GetDeviceName(index, buffer.data(), size), result);
        return buffer;
    }
};

TEST_F(PortName, CarriesTheNumber)
{
    for (unsigned index = 1; index <= 8; ++index) {
        char buffer[16];
        EXPECT_EQ(GetDeviceName(index, buffer, sizeof buffer), 1);
        EXPECT_EQ(buffer, "DeviceName_" + std::to_string(index));
    }
}

TEST_F(PortName, ClearsTheBytesOfTheBufferAndNoMore)
{
    EXPECT_EQ(name(8, 15, 1), std::string("DeviceName_8\0\0\0.", 16));
    EXPECT_EQ(name(8, 13, 1), std::string("DeviceName_8\0...", 16));
}

TEST_F(PortName, IsCutToTheBuffer)
{
    EXPECT_EQ(name(8, 12, 1), std::string("DeviceName_\0....", 16));
    EXPECT_EQ(name(8, 1, 1), std::string("\0...............", 16));
}

TEST_F(PortName, IsRefusedForOtherNumbers)
{
    for (const unsigned index : {0U, 9U, 256U + 1U, UINT_MAX})
        EXPECT_EQ(name(index, 16, 0), std::string(16, '.'));
}

TEST_F(PortName, IsRefusedWithoutABuffer)
{
    EXPECT_EQ(GetDeviceName(1, nullptr, 16), 0);
    EXPECT_EQ(name(1, 0, 0), std::string(16, '.'));
    EXPECT_EQ(name(1, -1, 0), std::string(16, '.'));
}

} // namespace
} // namespace plexor::tests
