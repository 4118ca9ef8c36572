// SPDX-License-Identifier: Apache-2.0
// Base 64 of blocks and of files, against a slow reference.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <plexor/mail.h>

#include "tests/contract/appliance.h"
#include "tests/contract/base64_reference.h"
#include "tests/contract/memory_file.h"

namespace plexor::tests
{
namespace
{

unsigned char *bytes_of(std::string &text)
{
    return reinterpret_cast<unsigned char *>(text.data());
}

// --- of a block ---

constexpr std::size_t room = 300;

// Of length bytes of input, in room for all of it.
std::string encoded(std::string input, int length)
{
    std::string output(room, 'x');
    const int written = KMimeBase64(bytes_of(input), length, bytes_of(output), room);
    EXPECT_EQ(static_cast<std::size_t>(written), std::strlen(output.data()));
    output.resize(static_cast<std::size_t>(written));
    return output;
}

std::string encoded(const std::string &input)
{
    return encoded(input, static_cast<int>(input.size()));
}

// Memory that ends where reading further ends the process.
class UnreadableEnd
{
  public:
    UnreadableEnd()
    {
        EXPECT_NE(pages_, MAP_FAILED);
        EXPECT_EQ(mprotect(end(), page_, PROT_NONE), 0);
    }
    UnreadableEnd(const UnreadableEnd &) = delete;
    UnreadableEnd &operator=(const UnreadableEnd &) = delete;
    ~UnreadableEnd() { munmap(pages_, 2 * page_); }

    unsigned char *with(const std::string &bytes) const
    {
        return static_cast<unsigned char *>(std::memcpy(end() - bytes.size(), bytes.data(), bytes.size()));
    }

  private:
    unsigned char *end() const { return static_cast<unsigned char *>(pages_) + page_; }

    std::size_t page_{static_cast<std::size_t>(sysconf(_SC_PAGESIZE))};
    void *pages_{mmap(nullptr, 2 * page_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)};
};

// What a text of this capacity holds: the input, if its text and the zero fit, else its head.
std::string kept(const std::string &input, std::size_t capacity)
{
    const bool fits = base64(input).size() < capacity;
    return fits ? input : input.substr(0, (capacity - 1) / 4 * 3);
}

// Nothing but the text, its zero and what was there before may be found; the heap's end is watched, too.
void expect_in_capacity(std::string input, std::size_t capacity)
{
    const std::string text = base64(kept(input, capacity));
    const std::string untouched(capacity - text.size() - 1, 'x');
    const auto output = std::make_unique<char[]>(capacity + 16);
    std::fill_n(output.get(), capacity + 16, 'x');
    const int length = static_cast<int>(input.size());
    auto *const place = reinterpret_cast<unsigned char *>(output.get());
    const int written = KMimeBase64(bytes_of(input), length, place, static_cast<unsigned>(capacity));
    ASSERT_EQ(written, static_cast<int>(text.size())) << length << " in " << capacity;
    ASSERT_EQ(std::string(output.get(), capacity + 16), text + '\0' + untouched + std::string(16, 'x'))
        << length << " in " << capacity;
}

TEST(Base64OfABlock, FollowsTheStandardsVectors)
{
    EXPECT_EQ(encoded(""), "");
    EXPECT_EQ(encoded("f"), "Zg==");
    EXPECT_EQ(encoded("fo"), "Zm8=");
    EXPECT_EQ(encoded("foo"), "Zm9v");
    EXPECT_EQ(encoded("foob"), "Zm9vYg==");
    EXPECT_EQ(encoded("fooba"), "Zm9vYmE=");
    EXPECT_EQ(encoded("foobar"), "Zm9vYmFy");
}

TEST(Base64OfABlock, UsesEveryCharacterOfTheAlphabet)
{
    std::string all;
    for (unsigned i = 0; i < 64; i += 4) {
        const unsigned group = i << 18U | (i + 1) << 12U | (i + 2) << 6U | (i + 3);
        for (const unsigned shift : {16U, 8U, 0U})
            all += static_cast<char>(group >> shift);
    }
    EXPECT_EQ(encoded(all), "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
}

TEST(Base64OfABlock, OfEveryLengthIsTheReferences)
{
    const std::string bytes = some_bytes(200);
    for (std::size_t length = 0; length <= 200; ++length)
        ASSERT_EQ(encoded(bytes.substr(0, length)), base64(bytes.substr(0, length))) << length;
}

TEST(Base64OfABlock, OfEachSingleByteIsTheReferences)
{
    for (int byte = 0; byte < 256; ++byte) {
        const std::string bytes(1, static_cast<char>(byte));
        ASSERT_EQ(encoded(bytes), base64(bytes)) << byte;
        ASSERT_EQ(encoded(bytes + bytes), base64(bytes + bytes)) << byte;
    }
}

TEST(Base64OfABlock, ReadsNothingBehindItsInput)
{
    const UnreadableEnd memory;
    const std::string bytes = some_bytes(200);
    for (std::size_t length = 1; length <= 200; ++length) {
        std::string output(room, 'x');
        KMimeBase64(memory.with(bytes.substr(0, length)), static_cast<int>(length), bytes_of(output), room);
        ASSERT_STREQ(output.c_str(), base64(bytes.substr(0, length)).c_str());
    }
}

TEST(Base64OfABlock, HasNoLineBreaks)
{
    EXPECT_EQ(encoded(some_bytes(200)).find_first_of("\r\n"), std::string::npos);
}

TEST(Base64OfABlock, IsCutToWholeGroupsAndNeverExceedsItsCapacity)
{
    for (std::size_t capacity = 1; capacity <= 140; ++capacity) {
        for (std::size_t length = 0; length <= 110; ++length)
            expect_in_capacity(some_bytes(length), capacity);
    }
}

TEST(Base64OfABlock, WithRoomForTheZeroAloneIsEmpty)
{
    for (std::size_t capacity = 1; capacity <= 4; ++capacity)
        EXPECT_EQ(kept("foo", capacity), "");
    EXPECT_EQ(kept("foo", 5), "foo");
}

TEST(Base64OfABlock, OfANegativeLengthIsEmpty)
{
    EXPECT_EQ(encoded("foo", -1), "");
    EXPECT_EQ(encoded("foo", INT_MIN), "");
}

TEST(Base64OfABlock, TakesTheLargestCapacity)
{
    std::string input = "foobar";
    std::string output(room, 'x');
    EXPECT_EQ(KMimeBase64(bytes_of(input), 6, bytes_of(output), UINT_MAX), 8);
    EXPECT_STREQ(output.c_str(), "Zm9vYmFy");
}

TEST(Base64OfABlock, WithoutCapacityWritesNothing)
{
    std::string input = "foo";
    std::string output = "before";
    EXPECT_EQ(KMimeBase64(bytes_of(input), 3, bytes_of(output), 0), 0);
    EXPECT_EQ(output, "before");
}

TEST(Base64OfABlock, OfOrIntoNothingWritesNothing)
{
    std::string input = "foo";
    std::string output = "before";
    EXPECT_EQ(KMimeBase64(nullptr, 3, bytes_of(output), 6), 0);
    EXPECT_EQ(output, "before");
    EXPECT_EQ(KMimeBase64(bytes_of(input), 3, nullptr, 6), 0);
}

// --- of a file ---

constexpr int chunk = 1026;

class Lines
{
  public:
    Lines() : stream_(open_memstream(&text_, &size_)) {}
    Lines(const Lines &) = delete;
    Lines &operator=(const Lines &) = delete;
    ~Lines()
    {
        std::fclose(stream_);
        std::free(text_);
    }

    std::FILE *stream() { return stream_; }
    std::string text()
    {
        EXPECT_EQ(std::fflush(stream_), 0);
        return {text_, size_};
    }

  private:
    char *text_{};
    std::size_t size_{};
    std::FILE *stream_;
};

std::string lines_of(int file, int count)
{
    Lines lines;
    KBase64EncodeFile(file, lines.stream(), count);
    return lines.text();
}

// Of a file of these bytes, which is to stay open.
std::string lines_of(const std::string &bytes, int count)
{
    const int file = make_memory_file(bytes);
    std::string text = lines_of(file, count);
    EXPECT_EQ(close(file), 0);
    return text;
}

std::string followed_by_zeros(const std::string &bytes, std::size_t size)
{
    return bytes + std::string(size - bytes.size(), '\0');
}

TEST(Base64OfAFile, HasLinesOf57BytesEndedByCarriageReturnAndLineFeed)
{
    EXPECT_EQ(lines_of(std::string(57, '\0'), 57), std::string(76, 'A') + "\r\n");
    EXPECT_EQ(lines_of(std::string(56, '\0'), 56), std::string(75, 'A') + "=\r\n");
    EXPECT_EQ(lines_of(std::string(58, '\0'), 58), std::string(76, 'A') + "\r\nAA==\r\n");
    EXPECT_EQ(lines_of("foobar", 6), "Zm9vYmFy\r\n");
}

TEST(Base64OfAFile, OfEverySizeAroundLinesAndChunksIsTheReferences)
{
    const std::string bytes = some_bytes(5000);
    for (const int count :
         {1, 2, 3, 113, 114, 115, chunk - 1, chunk, chunk + 1, 2 * chunk - 1, 2 * chunk, 2 * chunk + 1, 5000})
        EXPECT_EQ(lines_of(bytes, count), base64_lines(bytes.substr(0, static_cast<std::size_t>(count))))
            << count;
}

TEST(Base64OfAFile, HasEighteenLinesAChunk)
{
    const std::string text = lines_of(some_bytes(chunk), chunk);
    EXPECT_EQ(text.size(), 18U * 78U);
    EXPECT_EQ(text, base64_lines(some_bytes(chunk)));
}

TEST(Base64OfAFile, OfNoBytesIsNothing)
{
    for (const int count : {0, -1, INT_MIN})
        EXPECT_EQ(lines_of("foobar", count), "") << count;
}

TEST(Base64OfAFile, CountsWhatTheFileDoesNotHaveAsZeros)
{
    EXPECT_EQ(lines_of("foo", 100), base64_lines(followed_by_zeros("foo", 100)));
    EXPECT_EQ(lines_of("", 20), base64_lines(std::string(20, '\0')));
}

TEST(Base64OfAFile, CountsNothingOfTheChunkBeforeAgain)
{
    const std::string bytes = some_bytes(chunk + 10);
    EXPECT_EQ(lines_of(bytes, 3 * chunk), base64_lines(followed_by_zeros(bytes, 3 * chunk)));
}

TEST(Base64OfAFile, BeginsWhereTheDescriptorStandsAndReadsNoFurtherThanAsked)
{
    const int file = make_memory_file("0123456789");
    lseek(file, 4, SEEK_SET);
    EXPECT_EQ(lines_of(file, 3), base64_lines("456"));
    EXPECT_EQ(lseek(file, 0, SEEK_CUR), 7);
    close(file);
}

TEST(Base64OfAFile, TakesOneReadForAChunkWhateverItGives)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(write(ends[1], "foobar", 6), 6);
    EXPECT_EQ(lines_of(ends[0], 12), base64_lines(followed_by_zeros("foobar", 12)));
    close(ends[0]);
    close(ends[1]);
}

TEST(Base64OfAFile, ThatCannotBeReadIsZeros)
{
    const int folder = open("/tmp", O_RDONLY | O_DIRECTORY);
    EXPECT_EQ(lines_of(folder, 30), base64_lines(std::string(30, '\0')));
    close(folder);
    EXPECT_EQ(lines_of(folder, 2000), base64_lines(std::string(2000, '\0')));
    EXPECT_EQ(lines_of(-1, 3), "AAAA\r\n");
}

TEST(Base64OfAFile, IntoNothingReadsNothing)
{
    const int file = make_memory_file("foobar");
    KBase64EncodeFile(file, nullptr, 3);
    EXPECT_EQ(lseek(file, 0, SEEK_CUR), 0);
    close(file);
}

class Base64WithoutMemory : public Appliance
{
  protected:
    // Nothing is to be read or written when this many blocks were had before one was not.
    void expect_nothing_with(int blocks)
    {
        const int file = make_memory_file("foobar");
        fail_call_after("malloc", blocks, ENOMEM);
        EXPECT_EQ(lines_of(file, 3), "");
        EXPECT_EQ(lseek(file, 0, SEEK_CUR), 0);
        close(file);
    }
};

TEST_F(Base64WithoutMemory, DoesNothing)
{
    expect_nothing_with(0);
    expect_nothing_with(1);
}

TEST_F(Base64WithoutMemory, NeedsTwoBlocksWhateverTheSizeOfTheFile)
{
    lines_of(some_bytes(5000), 5000);
    EXPECT_EQ(calls(), (Calls{"malloc 1026", "malloc 1369"}));
}

} // namespace
} // namespace plexor::tests
