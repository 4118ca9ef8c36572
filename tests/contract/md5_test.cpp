// SPDX-License-Identifier: Apache-2.0
// MD5 digests against a slow reference, and the context in which they are made; numbers in digits of six bits.
#include <gtest/gtest.h>

#include <sys/mman.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <plexor/md5.h>

#include "tests/contract/base64_reference.h"
#include "tests/contract/md5_reference.h"

namespace plexor::tests
{
namespace
{

// --- words of these tests ---

void add(const std::string &bytes)
{
    md5_update(bytes.data(), static_cast<unsigned>(bytes.size()));
}

std::string finished()
{
    std::string digest(16, 'x');
    md5_final(reinterpret_cast<unsigned char *>(digest.data()));
    return digest;
}

std::string digest_of(const std::string &message)
{
    md5_init();
    add(message);
    return finished();
}

std::string hexadecimal(const std::string &bytes)
{
    std::string text;
    for (const char byte : bytes)
        for (const unsigned shift : {4U, 0U})
            text += "0123456789abcdef"[static_cast<unsigned char>(byte) >> shift & 0xFU];
    return text;
}

// In pieces of these sizes, over and over until the message is at its end.
std::string digest_in_pieces(const std::string &message, const std::vector<std::size_t> &sizes)
{
    md5_init();
    std::size_t at = 0;
    for (std::size_t i = 0; at < message.size(); ++i) {
        const std::string piece = message.substr(at, sizes[i % sizes.size()]);
        add(piece);
        at += piece.size();
    }
    return finished();
}

// --- digests ---

TEST(Md5, FollowsTheStandardsVectors)
{
    const std::string letters = "abcdefghijklmnopqrstuvwxyz";
    const std::string capitals = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    const std::string digits = "1234567890";
    EXPECT_EQ(hexadecimal(digest_of("")), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(hexadecimal(digest_of("a")), "0cc175b9c0f1b6a831c399e269772661");
    EXPECT_EQ(hexadecimal(digest_of("abc")), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(hexadecimal(digest_of("message digest")), "f96b697d7cb7938d525a2f31aaf161d0");
    EXPECT_EQ(hexadecimal(digest_of(letters)), "c3fcd3d76192e4007dfb496cca67e13b");
    EXPECT_EQ(hexadecimal(digest_of(capitals + letters + "0123456789")), "d174ab98d277d9f5a5611c2c9f419d9f");
    EXPECT_EQ(hexadecimal(digest_of(digits + digits + digits + digits + digits + digits + digits + digits)),
              "57edf4a22be3c955ac49da2e2107b67a");
}

TEST(Md5, OfEveryLengthIsTheReferences)
{
    const std::string bytes = some_bytes(300);
    for (std::size_t length = 0; length <= 300; ++length)
        ASSERT_EQ(digest_of(bytes.substr(0, length)), md5(bytes.substr(0, length))) << length;
}

TEST(Md5, OfALongMessageIsTheReferences)
{
    const std::string message = some_bytes(100'003);
    EXPECT_EQ(digest_of(message), md5(message));
}

TEST(Md5, OfAMessageInPiecesIsThatOfTheWhole)
{
    const std::string message = some_bytes(1000);
    for (const std::size_t size : {1U, 2U, 55U, 56U, 63U, 64U, 65U, 127U, 128U, 129U, 999U})
        EXPECT_EQ(digest_in_pieces(message, {size}), md5(message)) << size;
    EXPECT_EQ(digest_in_pieces(message, {1, 63, 64, 65}), md5(message));
}

TEST(Md5, OfAMessageCutAnywhereIsThatOfTheWhole)
{
    const std::string message = some_bytes(200);
    for (std::size_t first = 1; first < 130; ++first)
        for (std::size_t second = 1; second < 70; ++second)
            ASSERT_EQ(digest_in_pieces(message, {first, second, 200}), digest_of(message))
                << first << ' ' << second;
}

TEST(Md5, OfAMessageInRandomPiecesIsThatOfTheWhole)
{
    std::mt19937 random(1321); // the same each time
    const std::string message = some_bytes(5000);
    for (int run = 0; run < 200; ++run) {
        std::vector<std::size_t> sizes(40);
        std::generate(sizes.begin(), sizes.end(), [&] { return 1 + random() % 200; });
        ASSERT_EQ(digest_in_pieces(message, sizes), digest_of(message)) << run;
    }
}

TEST(Md5, NeedsASecondBlockForItsPaddingFrom56BytesOn)
{
    for (const auto &[length, blocks] :
         {std::pair{0U, 1U}, {55U, 1U}, {56U, 2U}, {63U, 2U}, {64U, 2U}, {119U, 2U}, {120U, 3U}}) {
        EXPECT_EQ(digest_of(some_bytes(length)), md5(some_bytes(length))) << length;
        EXPECT_EQ(md5_context.bits[0], blocks * 512) << length;
    }
}

TEST(Md5, TakesItsMessageFromAnyAddress)
{
    const std::string message = some_bytes(200);
    for (std::size_t offset = 0; offset < 16; ++offset) {
        const std::string room = std::string(offset, 'x') + message;
        md5_init();
        md5_update(room.data() + offset, 200);
        ASSERT_EQ(finished(), md5(message)) << offset;
    }
}

TEST(Md5, WritesItsDigestToAnyAddressAndNothingBeside)
{
    for (std::size_t offset = 0; offset < 16; ++offset) {
        std::string room(48, 'x');
        md5_init();
        md5_final(reinterpret_cast<unsigned char *>(room.data()) + offset);
        ASSERT_EQ(room, std::string(offset, 'x') + md5("") + std::string(32 - offset, 'x')) << offset;
    }
}

TEST(Md5, ReadsNothingBehindItsMessage)
{
    constexpr std::size_t page = 65536; // the largest of any machine
    auto *const pages = static_cast<char *>(
        mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    ASSERT_EQ(mprotect(pages + page, page, PROT_NONE), 0);
    for (std::size_t length = 0; length <= 200; ++length) {
        md5_init();
        md5_update(std::memcpy(pages + page - length, some_bytes(length).data(), length),
                   static_cast<unsigned>(length));
        ASSERT_EQ(finished(), md5(some_bytes(length))) << length;
    }
    munmap(pages, 2 * page);
}

// --- the context, from which every byte counts ---

const Md5Words initial_words = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476};
const std::string old(64, '\xEE');

class Md5Context : public testing::Test
{
  protected:
    Md5Context() { std::memset(&md5_context, 0xEE, sizeof md5_context); }

    static std::string bytes()
    {
        std::string all(sizeof md5_context, '\0');
        std::memcpy(all.data(), &md5_context, all.size());
        return all;
    }

    // In the order of this machine.
    static std::string in_memory(const std::vector<std::uint32_t> &words)
    {
        return {reinterpret_cast<const char *>(words.data()), words.size() * sizeof words[0]};
    }

    static void expect(const Md5Words &state, std::uint64_t bits, const std::string &buffer)
    {
        EXPECT_EQ(bytes(),
                  in_memory({state[0], state[1], state[2], state[3], static_cast<std::uint32_t>(bits),
                             static_cast<std::uint32_t>(bits >> 32U)}) +
                      buffer);
    }

    // As if so many bits had been added before.
    static void start_at(std::uint64_t bits)
    {
        md5_init();
        md5_context.bits[0] = static_cast<std::uint32_t>(bits);
        md5_context.bits[1] = static_cast<std::uint32_t>(bits >> 32U);
    }

    static void expect_bits(std::uint64_t bits)
    {
        EXPECT_EQ(std::uint64_t{md5_context.bits[1]} << 32U | md5_context.bits[0], bits);
    }
};

TEST_F(Md5Context, IsStateCountAndBufferIn88Bytes)
{
    EXPECT_EQ(sizeof md5_context, 88U);
    EXPECT_EQ(offsetof(md5_context_state, state), 0U);
    EXPECT_EQ(offsetof(md5_context_state, bits), 16U);
    EXPECT_EQ(offsetof(md5_context_state, buffer), 24U);
}

TEST_F(Md5Context, BeginsWithTheStandardsStateAndCountAndKeepsItsBuffer)
{
    md5_init();
    expect(initial_words, 0, old);
}

TEST_F(Md5Context, KeepsWhatIsNotYetABlock)
{
    md5_init();
    add("abc");
    expect(initial_words, 24, "abc" + old.substr(3));
    add("de");
    expect(initial_words, 40, "abcde" + old.substr(5));
}

TEST_F(Md5Context, KeepsTheRestOfABlockThatWasBegunBefore)
{
    const std::string message = some_bytes(70);
    md5_init();
    add(message.substr(0, 60));
    add(message.substr(60));
    expect(md5_words(message), 560, message.substr(64) + message.substr(6, 58));
}

TEST_F(Md5Context, TakesWholeBlocksFromTheirPlace)
{
    const std::string message = some_bytes(131);
    md5_init();
    add(message);
    expect(md5_words(message), 1048, message.substr(128) + old.substr(3));
}

TEST_F(Md5Context, CountsThePaddingAndKeepsTheLastBlockAtTheEnd)
{
    for (std::size_t length = 0; length <= 130; ++length) {
        const std::string message = some_bytes(length);
        const std::string padded = md5_padded(message);
        digest_of(message);
        expect(md5_words(padded), padded.size() * 8, padded.substr(padded.size() - 64));
    }
}

TEST_F(Md5Context, GoesOnAfterADigestAsIfItsPaddingWereOfTheMessage)
{
    const std::string message = md5_padded("abc") + "de";
    digest_of("abc");
    add("de");
    EXPECT_EQ(finished(), md5(message));
}

TEST_F(Md5Context, CarriesItsCountIntoTheHighWord)
{
    const std::string block = some_bytes(64);
    start_at(0xFFFFFE00);
    add(block);
    expect(md5_words(block), 0x100000000, old);
    start_at(0xFFFFFC00);
    add(block);
    expect(md5_words(block), 0xFFFFFE00, old);
}

TEST_F(Md5Context, CarriesOnlyOnceForABlockInPieces)
{
    start_at(0x7'FFFFFE00);
    for (int i = 0; i < 70; ++i)
        add("x");
    expect_bits(0x8'00000030);
}

TEST_F(Md5Context, CountsFromTheStartAgainWhenItsCountIsFull)
{
    start_at(0xFFFFFFFF'FFFFFE00);
    add(some_bytes(65));
    expect_bits(8);
}

TEST_F(Md5Context, EndsItsMessageWithBothWordsOfTheCount)
{
    const std::string padding = "\x80" + std::string(55, '\0') + low_bytes(0x12345678'9ABCDE00, 8);
    start_at(0x12345678'9ABCDE00);
    finished();
    expect(md5_words(padding), 0x12345678'9ABCE000, padding);
}

#ifdef NDEBUG // takes most of a minute where the library is not optimised
TEST_F(Md5Context, CountsMoreBitsThanALengthHolds)
{
    constexpr std::size_t size = 512 * 1024 * 1024;
    void *const zeros = mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(zeros, MAP_FAILED);
    md5_init();
    md5_update(zeros, size);
    expect_bits(0x1'00000000);
    munmap(zeros, size);
}
#endif

TEST_F(Md5Context, IsUntouchedByNothing)
{
    const std::string before = bytes();
    md5_update(nullptr, 64);
    md5_update(nullptr, UINT_MAX);
    md5_update("x", 0);
    md5_final(nullptr);
    EXPECT_EQ(bytes(), before);
}

// --- numbers in digits of six bits ---

constexpr char alphabet[] = "./0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

// The digits of value, after it is seen that they are followed by a zero, and this by nothing.
std::string digits_of(unsigned value, unsigned count)
{
    std::string room(300, 'x');
    const auto length = static_cast<std::size_t>(to64(room.data(), value, count) - room.data());
    EXPECT_EQ(room.substr(length), '\0' + std::string(299 - length, 'x')) << count;
    return room.substr(0, length);
}

TEST(To64, WritesTheLowestSixBitsFirst)
{
    EXPECT_EQ(digits_of(0x3F, 2), "z.");
    EXPECT_EQ(digits_of(0x40, 2), "./");
    EXPECT_EQ(digits_of(1U << 18U | 2U << 12U | 3U << 6U | 4U, 4), "210/");
}

TEST(To64, HasADigitForEverySixBits)
{
    for (unsigned value = 0; value < 64; ++value)
        EXPECT_EQ(digits_of(value, 1), std::string(1, alphabet[value])) << value;
}

TEST(To64, WritesAsManyDigitsAsAsked)
{
    const std::string all = "zzzzz1......";
    for (unsigned count = 0; count <= 12; ++count)
        EXPECT_EQ(digits_of(UINT_MAX, count), all.substr(0, count));
}

TEST(To64, TakesTheLowEightBitsOfTheCount)
{
    EXPECT_EQ(digits_of(UINT_MAX, 256), "");
    EXPECT_EQ(digits_of(UINT_MAX, 0x1FF), "zzzzz1" + std::string(249, '.'));
    EXPECT_EQ(digits_of(UINT_MAX, 0xFFFFFF03), "zzz");
}

TEST(To64, IntoNothingIsNothing)
{
    EXPECT_EQ(to64(nullptr, 1, 2), nullptr);
}

} // namespace
} // namespace plexor::tests
