// SPDX-License-Identifier: Apache-2.0
// The development libnvram.so.0, called as the library calls the platform's.
#include "nvram.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

#include "board/nvram/store.h"
#include "tests/system/processes.h"

namespace plexor::tests
{

// The library keeps its store for the life of the process, so all tests share one.
class Nvram : public ::testing::Test
{
  protected:
    static void SetUpTestSuite() { setenv("PLEXOR_STORE", folder().path().c_str(), 1); }
    ~Nvram() override { unsetenv("PLEXOR_DEBUG_LOG"); }

    static const ScratchFolder &folder()
    {
        static const ScratchFolder folder;
        return folder;
    }

    static std::string log_text()
    {
        std::stringstream text;
        text << std::ifstream(log_path()).rdbuf();
        return text.str();
    }
    static std::string log_path() { return folder().path() + "/debug.log"; }

    // LMDB is opened once per process: what the factory does is done by another one.
    static bool factory_writes(const std::optional<board::EthernetAddress> &address)
    {
        return in_child([&] { return board::Store(folder().path()).set_ethernet_address(address); });
    }
};

TEST_F(Nvram, CopiesAtMostTheBufferWithTheTerminator)
{
    ASSERT_EQ(nvram_bufset(0, "key", "0123456789"), 0);
    std::array<char, 8> buffer;
    buffer.fill('#');
    EXPECT_EQ(nvram_kget_str("key", buffer.data(), 6), 0);
    EXPECT_EQ(std::string(buffer.data(), buffer.size()), std::string("01234\0##", 8));
    EXPECT_EQ(nvram_kget_str("key", buffer.data(), 0), 0);
    EXPECT_EQ(buffer[0], '0');
}

TEST_F(Nvram, AKeyThatIsNotSetReadsAsEmptyAndAsTheFallback)
{
    std::array<char, 4> buffer{'#', '#', '#', '#'};
    EXPECT_EQ(nvram_kget_str("missing", buffer.data(), 4), 0);
    EXPECT_EQ(std::string(buffer.data(), 4), std::string("\0###", 4));
    EXPECT_STREQ(nvram_bufget(0, "missing"), "");
    EXPECT_EQ(nvram_kget_int("missing", 17), 17);
    EXPECT_STREQ(nvram_bufget(0, nullptr), "");
}

TEST_F(Nvram, ReadsIntegersAsAtoiDoes)
{
    const std::array<std::pair<const char *, int>, 5> cases{
        {{"42", 42}, {" -7;x", -7}, {"+3", 3}, {"", 0}, {"junk", 0}}};
    for (const auto &[text, number] : cases) {
        nvram_bufset(0, "number", text);
        EXPECT_EQ(nvram_kget_int("number", 99), number) << text;
    }
}

TEST_F(Nvram, TheTextOfBufgetStaysUntilTheThreadsNextCall)
{
    nvram_bufset(0, "a", "first");
    nvram_bufset(0, "b", "second");
    const char *text = nvram_bufget(0, "a");
    nvram_bufset(0, "a", "changed");
    std::thread([] { EXPECT_STREQ(nvram_bufget(0, "b"), "second"); }).join();
    EXPECT_STREQ(text, "first");
}

TEST_F(Nvram, OnlySectionZeroHoldsAnything)
{
    EXPECT_EQ(nvram_bufset(1, "key1", "value"), -1);
    EXPECT_EQ(nvram_commit(1), -1);
    nvram_bufset(0, "key1", "value");
    EXPECT_STREQ(nvram_bufget(1, "key1"), "");
    EXPECT_STREQ(nvram_bufget(0, "key1"), "value");
}

TEST_F(Nvram, RefusesWhatItCannotKeep)
{
    EXPECT_LT(nvram_bufset(0, "", "value"), 0);
    EXPECT_LT(nvram_bufset(0, nullptr, "value"), 0);
    EXPECT_LT(nvram_bufset(0, "key", nullptr), 0);
    EXPECT_LT(nvram_bufset(0, "key", std::string(64 * 1024 + 1, 'v').c_str()), 0);
}

TEST_F(Nvram, ACommittedValueSurvivesAPowerLossSeenByAnotherProcess)
{
    nvram_bufset(0, "kept", "1");
    ASSERT_EQ(nvram_commit(0), 0);
    nvram_bufset(0, "lost", "1");
    ASSERT_TRUE(in_child([] { return board::Store(folder().path()).power_loss(); }));
    EXPECT_STREQ(nvram_bufget(0, "kept"), "1");
    EXPECT_STREQ(nvram_bufget(0, "lost"), "");
}

TEST_F(Nvram, GivesTheEthernetAddressUnlessItIsErased)
{
    std::array<unsigned char, 100> buffer{};
    ASSERT_TRUE(factory_writes(board::EthernetAddress{0x00, 0xC3, 0x02, 1, 2, 3}));
    EXPECT_GE(flash_read_br0_mac(buffer.data()), 0);
    EXPECT_EQ(buffer, (std::array<unsigned char, 100>{0x00, 0xC3, 0x02, 1, 2, 3}));
    ASSERT_TRUE(factory_writes(std::nullopt));
    buffer.fill(0x55);
    EXPECT_LT(flash_read_br0_mac(buffer.data()), 0);
    EXPECT_EQ(buffer[0], 0x55);
}

TEST_F(Nvram, DebugPrintAppendsToTheFileThatTheEnvironmentNames)
{
    std::ofstream(log_path()) << "there before\n";
    setenv("PLEXOR_DEBUG_LOG", log_path().c_str(), 1);
    EXPECT_EQ(myprintf("%s:%d\n", "relay", 8), 8);
    EXPECT_EQ(myprintf("%s", ""), 0);
    EXPECT_EQ(myprintf("%s\n", std::string(5000, 'x').c_str()), 5001);
    EXPECT_EQ(log_text(), "there before\nrelay:8\n" + std::string(5000, 'x') + "\n");
}

TEST_F(Nvram, DebugPrintIsSilentWithoutAFileAndStillCounts)
{
    ::testing::internal::CaptureStderr();
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(myprintf("%d", 12345), 5);
    EXPECT_EQ(::testing::internal::GetCapturedStdout() + ::testing::internal::GetCapturedStderr(), "");
}

TEST_F(Nvram, DebugPrintIntoAPipeThatNobodyEmptiesDoesNotWait)
{
    const std::string pipe = folder().path() + "/pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    setenv("PLEXOR_DEBUG_LOG", pipe.c_str(), 1);
    alarm(30);
    EXPECT_EQ(myprintf("nobody reads"), 12);
    const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK);
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(myprintf("%s", std::string(4000, 'x').c_str()), 4000);
    alarm(0);
    close(reader);
}

TEST_F(Nvram, AChildAfterForkReadsAndWrites)
{
    nvram_bufset(0, "parent", "1");
    EXPECT_TRUE(
        in_child([] { return nvram_kget_int("parent", 0) == 1 && nvram_bufset(0, "child", "2") == 0; }));
    EXPECT_EQ(nvram_kget_int("child", 0), 2);
}

} // namespace plexor::tests
