// SPDX-License-Identifier: Apache-2.0
// Single bytes of the EEPROM, and the text that the board controller stores.
#include <plexor/eeprom.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <string>

#include "tests/contract/i2c_appliance.h"

namespace plexor::tests
{
namespace
{

const std::string reads = "ioctl /dev/i2cM0 16 A0 ";
const std::string writes = "ioctl /dev/i2cM0 17 A0 ";

Calls operator+(Calls first, const Calls &second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

// --- single bytes ---

class EepromBytes : public I2c
{
};

TEST_F(EepromBytes, AreReadThroughOpenRequestAndClose)
{
    EXPECT_EQ(ReadEEPROM(272), 0xFF);
    EXPECT_EQ(calls(), (Calls{"open /dev/i2cM0", "ioctl /dev/i2cM0 3 272 len 1", "close /dev/i2cM0"}));
}

TEST_F(EepromBytes, AreWrittenAfterTheModelIndexWasAskedFor)
{
    EXPECT_EQ(WriteEEPROM(272, 0xC3), 0);
    EXPECT_EQ(calls(), (Calls{"nvram_kget_int IO_number 0", "open /dev/i2cM0",
                              "ioctl /dev/i2cM0 5 272 0x000000C3 len 1", "close /dev/i2cM0"}));
}

TEST_F(EepromBytes, OfEveryValueAreRead)
{
    for (int value = 0; value <= 255; ++value) {
        board().set_eeprom(7, static_cast<std::uint8_t>(value));
        EXPECT_EQ(ReadEEPROM(7), value);
    }
}

TEST_F(EepromBytes, OfEveryValueAreWritten)
{
    for (unsigned value = 0; value <= 255; ++value) {
        EXPECT_EQ(WriteEEPROM(7, value), 0);
        EXPECT_EQ(board().eeprom(7), value);
    }
    EXPECT_EQ(board().eeprom(6), 0xFF);
    EXPECT_EQ(board().eeprom(8), 0xFF);
}

TEST_F(EepromBytes, LieAtTheirAddresses)
{
    for (const unsigned address : {0U, 1U, 255U, 256U, 65535U}) {
        board().set_eeprom(static_cast<int>(address), 0x21);
        EXPECT_EQ(ReadEEPROM(address), 0x21) << address;
        WriteEEPROM(address, 0x43);
        EXPECT_EQ(board().eeprom(static_cast<int>(address)), 0x43) << address;
    }
}

TEST_F(EepromBytes, AreGivenToTheDriverWithTheirWholeAddressAndValue)
{
    ReadEEPROM(UINT_MAX);
    WriteEEPROM(0x12345678, 0xFFFFFF5A);
    WriteEEPROM(9, 0x15A);
    EXPECT_EQ(transfers(),
              (Calls{"ioctl /dev/i2cM0 3 4294967295 len 1", "ioctl /dev/i2cM0 5 305419896 0xFFFFFF5A len 1",
                     "ioctl /dev/i2cM0 5 9 0x0000015A len 1"}));
    EXPECT_EQ(board().eeprom(9), 0x5A);
}

TEST_F(EepromBytes, AreNeverServedFromTheCache)
{
    WriteEEPROM(3, 5);
    WriteEEPROM(3, 5);
    EXPECT_EQ(ReadEEPROM(3), 5);
    board().set_eeprom(3, 6);
    EXPECT_EQ(ReadEEPROM(3), 6);
    EXPECT_EQ(transfers().size(), 4U);
    EXPECT_EQ(cache(), Bytes{});
}

TEST_F(EepromBytes, DoNotDependOnTheModel)
{
    for (const auto *number : {"0", "1", "10", "", "none"}) {
        set("IO_number", number);
        forget_calls();
        EXPECT_EQ(WriteEEPROM(1, 2), 0);
        EXPECT_EQ(transfers(), Calls{"ioctl /dev/i2cM0 5 1 0x00000002 len 1"}) << number;
    }
}

TEST_F(EepromBytes, OfADriverThatFailsAreZero)
{
    fail_ioctl("/dev/i2cM0", 3, EIO);
    EXPECT_EQ(ReadEEPROM(7), 0);
}

TEST_F(EepromBytes, ThatCannotBeWrittenGiveZeroAllTheSame)
{
    fail_call("ioctl", EIO);
    EXPECT_EQ(WriteEEPROM(7, 1), 0);
    EXPECT_EQ(board().eeprom(7), 0xFF);
    fail_call("close", EIO);
    EXPECT_EQ(WriteEEPROM(7, 1), 0);
}

TEST_F(EepromBytes, AreAccessedWithoutAWord)
{
    WriteEEPROM(7, 1);
    ReadEEPROM(7);
    EXPECT_EQ(debug_print(), "");
}

// --- the stored text ---

class StoredText : public I2c
{
  protected:
    StoredText() { make_cache(); }

    // What the controller holds.
    void store(int length, const std::string &text)
    {
        board().set_controller(0xF3, static_cast<std::uint8_t>(length));
        for (std::size_t k = 0; k < text.size(); ++k)
            board().set_controller(0x20 + static_cast<int>(k), static_cast<std::uint8_t>(text[k]));
    }
    // The whole buffer after a read; it is of exactly the size that is promised to do.
    static std::string buffer_read()
    {
        std::vector<char> buffer(PLEXOR_EEPROM_TEXT_SIZE, '~');
        eeprom_read(buffer.data());
        return {buffer.begin(), buffer.end()};
    }
    // How a buffer looks into which text was read.
    static std::string filled(const std::string &text)
    {
        return text + '\0' + std::string(PLEXOR_EEPROM_TEXT_SIZE - 1 - text.size(), '~');
    }
    static void write(std::string text) { eeprom_write(text.data(), static_cast<unsigned>(text.size())); }

    std::string controller_text(std::size_t length)
    {
        std::string text;
        for (std::size_t k = 0; k < length; ++k)
            text += static_cast<char>(board().controller(0x20 + static_cast<int>(k)));
        return text;
    }

    static std::string letters(std::size_t length)
    {
        std::string text;
        while (text.size() < length)
            text += static_cast<char>('a' + text.size() % 26);
        return text;
    }
    static std::string hex(const std::string &bytes)
    {
        std::string text;
        for (const char byte : bytes)
            text += print("%02X", static_cast<unsigned char>(byte));
        return text;
    }
};

TEST_F(StoredText, IsReadAfterItsLength)
{
    store(5, "hello, world");
    EXPECT_EQ(buffer_read(), filled("hello"));
    EXPECT_EQ(calls(), through_i2cmd(reads + "243 len 1") + through_i2cmd(reads + "32 len 5"));
}

TEST_F(StoredText, IsReadInItsLengthUpTo64)
{
    for (const std::size_t length : {1U, 18U, 19U, 20U, 63U, 64U}) {
        store(static_cast<int>(length), letters(100));
        wait_ms(250);
        EXPECT_EQ(buffer_read(), filled(letters(length))) << length;
        EXPECT_EQ(transfers().back(), reads + "32 len " + std::to_string(length));
    }
}

TEST_F(StoredText, OfALengthThatIsNotTrustedHas19Characters)
{
    for (const int length : {65, 66, 80, 127, 128, 254, 255}) {
        store(length, letters(100));
        wait_ms(250);
        EXPECT_EQ(buffer_read(), filled(letters(19))) << length;
        EXPECT_EQ(transfers().back(), reads + "32 len 19");
    }
}

TEST_F(StoredText, OfNoLengthIsEmptyAndAskedForAllTheSame)
{
    store(0, "hello");
    EXPECT_EQ(buffer_read(), filled(""));
    EXPECT_EQ(transfers(), (Calls{reads + "243 len 1", reads + "32 len 0"}));
}

TEST_F(StoredText, HoldsAnyBytes)
{
    const std::string bytes("a\0\xFF\x80%s", 6);
    store(6, bytes);
    EXPECT_EQ(buffer_read(), filled(bytes));
}

TEST_F(StoredText, IsWrittenAfterItsLength)
{
    write("hello");
    EXPECT_EQ(calls(), through_i2cmd(writes + "243 [05]") + through_i2cmd(writes + "32 [68656C6C6F]"));
    EXPECT_EQ(board().controller(0xF3), 5);
    EXPECT_EQ(controller_text(5), "hello");
}

TEST_F(StoredText, IsWrittenWithoutATerminator)
{
    store(9, "XXXXXXXXX");
    write("hello");
    EXPECT_EQ(controller_text(9), "helloXXXX");
}

TEST_F(StoredText, OfNoBytesIsWritten)
{
    write("");
    EXPECT_EQ(transfers(), (Calls{writes + "243 [00]", writes + "32 []"}));
}

TEST_F(StoredText, IsWrittenInAnyLengthButOnlyItsLowByteIsKept)
{
    for (const std::size_t length : {1U, 64U, 65U, 131U, 132U, 133U, 255U, 256U, 300U, 513U, 4000U}) {
        forget_calls();
        write(letters(length));
        const auto length_byte = print("243 [%02X]", static_cast<unsigned>(length & 0xFF));
        EXPECT_EQ(transfers(),
                  (Calls{writes + length_byte, writes + print("32 [%s]", hex(letters(length)).c_str())}));
    }
}

TEST_F(StoredText, IsReadBackAsItWasWritten)
{
    const std::string text("naïve \0 %n \xFF", 13);
    write(text);
    EXPECT_EQ(buffer_read(), filled(text));
}

TEST_F(StoredText, WithoutABufferIsLeftAlone)
{
    eeprom_read(nullptr);
    eeprom_write(nullptr, 5);
    eeprom_write(nullptr, 0);
    EXPECT_EQ(calls(), Calls{});
}

TEST_F(StoredText, HasNothingToSay)
{
    write("hello");
    buffer_read();
    EXPECT_EQ(debug_print(), "");
}

TEST_F(StoredText, DoesNotDependOnTheModel)
{
    for (int model = 0; model <= 11; ++model) {
        use_model(model, true);
        wait_ms(250);
        store(3, "abc");
        EXPECT_EQ(buffer_read(), filled("abc")) << model;
        EXPECT_EQ(calls("nvram_kget_int IO_number"), Calls{}) << model;
    }
}

// --- and the cache, which remembers the last read and the last write ---

TEST_F(StoredText, IsReadAfreshEachTimeSinceItsLengthComesBetween)
{
    store(5, "hello");
    buffer_read();
    store(5, "HELLO");
    EXPECT_EQ(buffer_read(), filled("HELLO"));
    EXPECT_EQ(transfers().size(), 4U);
}

TEST_F(StoredText, IsWrittenEachTimeSinceItsLengthComesBetween)
{
    write("hello");
    write("hello");
    EXPECT_EQ(transfers().size(), 4U);
}

TEST_F(StoredText, IsRememberedForWhoeverReadsIt)
{
    store(5, "hello");
    buffer_read();
    store(5, "HELLO");
    wait_ms(249);
    EXPECT_EQ(read(board_controller, 0x20, 5), (Bytes{'h', 'e', 'l', 'l', 'o'}));
    wait_ms(1);
    EXPECT_EQ(read(board_controller, 0x20, 5), (Bytes{'H', 'E', 'L', 'L', 'O'}));
}

TEST_F(StoredText, IsRememberedForWhoeverWritesIt)
{
    write("hello");
    forget_calls();
    I2c::write(board_controller, 0x20, {'h', 'e', 'l', 'l', 'o'});
    EXPECT_EQ(transfers(), Calls{});
}

TEST_F(StoredText, TakesALengthThatWasReadWithin250Milliseconds)
{
    store(5, "hello");
    read(board_controller, 0xF3, 1);
    store(2, "hello");
    wait_ms(249);
    EXPECT_EQ(buffer_read(), filled("hello"));
    EXPECT_EQ(transfers(), (Calls{reads + "243 len 1", reads + "32 len 5"}));
}

TEST_F(StoredText, ReadsTheLengthAgainAfter250Milliseconds)
{
    store(5, "hello");
    read(board_controller, 0xF3, 1);
    store(2, "hello");
    wait_ms(250);
    EXPECT_EQ(buffer_read(), filled("he"));
}

TEST_F(StoredText, DoesNotRepeatALengthThatWasWrittenWithin250Milliseconds)
{
    I2c::write(board_controller, 0xF3, {5});
    forget_calls();
    write("hello");
    EXPECT_EQ(transfers(), Calls{writes + "32 [68656C6C6F]"});
}

// --- a bus that fails ---

TEST_F(StoredText, OfABusThatFailsIsEmpty)
{
    store(5, "hello");
    fail_ioctl("/dev/i2cM0", 16, EIO);
    EXPECT_EQ(buffer_read(), filled(""));
}

TEST_F(StoredText, ThatCannotBeReadLeavesTheBufferButForItsEnd)
{
    store(5, "hello");
    fail_call_after("ioctl", 1, EIO);
    EXPECT_EQ(buffer_read(), filled("~~~~~"));
}

TEST_F(StoredText, IsWrittenThoughItsLengthFailed)
{
    fail_call("ioctl", EIO);
    write("hello");
    EXPECT_EQ(board().controller(0xF3), 0);
    EXPECT_EQ(controller_text(5), "hello");
}

// --- a process without the driver ends ---

TEST_F(StoredText, NeedsTheDriver)
{
    fail_open("/dev/i2cM0", ENOENT);
    const auto failure = ::testing::ExitedWithCode(255);
    char buffer[PLEXOR_EEPROM_TEXT_SIZE] = "text";
    EXPECT_EXIT(ReadEEPROM(1), failure, "^/dev/i2cM0: No such file or directory\n$");
    EXPECT_EXIT(WriteEEPROM(1, 1), failure, "^/dev/i2cM0: No such file or directory\n$");
    EXPECT_EXIT(eeprom_read(buffer), failure, "^/dev/i2cM0: No such file or directory\n$");
    EXPECT_EXIT(eeprom_write(buffer, 4), failure, "^/dev/i2cM0: No such file or directory\n$");
}

} // namespace
} // namespace plexor::tests
