// SPDX-License-Identifier: Apache-2.0
// The resolver file: the one name server that is written to it, and the first that is read from it.
#include <cerrno>

#include "tests/contract/net_story.h"

namespace plexor::tests
{
namespace
{

const std::string cannot_write = "net_set_dns: file \"/etc/resolv.conf\" opened for writing error!\n";
const std::string cannot_read = "net_get_dns: file \"/etc/resolv.conf\" opened for reading error!\n";

class NameServer : public NetStory
{
  protected:
    static Outcome set_to(const char *text)
    {
        return outcome_of([&] { return net_set_dns(text); });
    }
    static Outcome read()
    {
        return outcome_of([] { return net_get_dns(); });
    }
    Outcome read_from(const std::string &text)
    {
        set_file(resolver_file, text);
        return read();
    }
    static Outcome found(const std::string &text)
    {
        return {inet_addr(text.c_str()), "", "dns=" + text + "\n"};
    }
};

// --- written ---

TEST_F(NameServer, IsWrittenAsTheOnlyLine)
{
    EXPECT_EQ(set_to("192.168.0.53"), (Outcome{0, "", "dns=192.168.0.53\n"}));
    EXPECT_EQ(file(resolver_file), "nameserver 192.168.0.53\n");
    EXPECT_EQ(calls(), (Calls{"open /etc/resolv.conf w", "close /etc/resolv.conf"}));
}

TEST_F(NameServer, ReplacesAllThatWasThere)
{
    set_file(resolver_file, "search example.org\nnameserver 192.168.0.53\nnameserver 192.168.0.54\n");
    EXPECT_EQ(set_to("10.0.0.1").result, 0);
    EXPECT_EQ(file(resolver_file), "nameserver 10.0.0.1\n");
}

TEST_F(NameServer, IsWrittenAsItIsWhateverTheText)
{
    for (const std::string &text : {std::string(), std::string("fe80::1%br0"), std::string("%n%s%d"),
                                    std::string("a b\t\r"), std::string(5000, '1')}) {
        EXPECT_EQ(set_to(text.c_str()), (Outcome{0, "", "dns=" + text + "\n"}));
        EXPECT_EQ(file(resolver_file), "nameserver " + text + "\n");
    }
}

TEST_F(NameServer, IsReportedWhereTheFileCannotBeOpened)
{
    set_file(resolver_file, "nameserver 10.0.0.1\n");
    fail_open(resolver_file, EROFS);
    EXPECT_EQ(set_to("10.0.0.2"), (Outcome{-1, "", cannot_write}));
    EXPECT_EQ(file(resolver_file), "nameserver 10.0.0.1\n");
    EXPECT_EQ(calls(), Calls{"open /etc/resolv.conf w"});
}

TEST_F(NameServer, OfMoreThanOneLineIsRefused)
{
    set_file(resolver_file, "nameserver 10.0.0.1\n");
    for (const char *text : {"10.0.0.2\nnameserver 10.0.0.3", "10.0.0.2\n", "\n"})
        EXPECT_EQ(set_to(text), (Outcome{-1})) << text;
    EXPECT_EQ(set_to(nullptr), (Outcome{-1}));
    EXPECT_EQ(file(resolver_file), "nameserver 10.0.0.1\n");
    EXPECT_EQ(calls(), Calls{});
}

// --- read ---

TEST_F(NameServer, IsReadFromTheFirstLine)
{
    EXPECT_EQ(read_from("nameserver 192.168.0.53\n"),
              (Outcome{number_of("192.168.0.53"), "", "dns=192.168.0.53\n"}));
    EXPECT_EQ(calls(), (Calls{"open /etc/resolv.conf r", "read /etc/resolv.conf", "close /etc/resolv.conf"}));
}

TEST_F(NameServer, IsTheFirstOfSeveral)
{
    EXPECT_EQ(read_from("nameserver 10.0.0.1\nnameserver 10.0.0.2\n"), found("10.0.0.1"));
}

TEST_F(NameServer, IsReadBackAsItWasWritten)
{
    set_to("172.16.254.1");
    EXPECT_EQ(read(), found("172.16.254.1"));
}

TEST_F(NameServer, MayHaveAnyOrNoBlanksBeforeItsAddress)
{
    for (const char *line :
         {"nameserver\t10.0.0.1\n", "nameserver   10.0.0.1\n", "nameserver \t\n\n10.0.0.1\n",
          "nameserver10.0.0.1\n", "nameserver 10.0.0.1 10.0.0.2\n", "nameserver 10.0.0.1"})
        EXPECT_EQ(read_from(line), found("10.0.0.1")) << line;
}

TEST_F(NameServer, IsTakenAsAnAddressInDottedForm)
{
    for (const char *text :
         {"0.0.0.0", "10.1", "0x7F.1", "255.255.255.255", "server.example", "::1", "10.0.0.1#x"})
        EXPECT_EQ(read_from(std::string("nameserver ") + text + "\n"), found(text));
    EXPECT_EQ(read_from("nameserver server.example\n").result, no_address);
    EXPECT_EQ(read_from("nameserver 10.1\n").result, number_of("10.0.0.1"));
}

TEST_F(NameServer, IsEmptyAndNoAddressWhereTheFirstLineNamesNone)
{
    for (const char *text : {"# a comment\nnameserver 10.0.0.1\n", "search example.org\n",
                             " nameserver 10.0.0.1\n", "\nnameserver 10.0.0.1\n", "Nameserver 10.0.0.1\n",
                             "nameserves 10.0.0.1\n", "name server 10.0.0.1", "x"})
        EXPECT_EQ(read_from(text), (Outcome{no_address, "", "dns=\n"})) << text;
    EXPECT_EQ(calls("close").size(), calls("open").size());
}

TEST_F(NameServer, IsNotThatOfAnEarlierFile)
{
    EXPECT_EQ(read_from("nameserver 10.0.0.1\n"), found("10.0.0.1"));
    EXPECT_EQ(read_from("search example.org\n"), (Outcome{no_address, "", "dns=\n"}));
}

TEST_F(NameServer, OfAnEndlessNameIsPrintedAsFarAsItGoes)
{
    const Outcome outcome = read_from("nameserver " + std::string(5000, '1') + "\n");
    EXPECT_EQ(outcome, (Outcome{no_address, "", "dns=" + std::string(255, '1') + "\n"}));
    EXPECT_EQ(left_open(resolver_file), 0);
}

TEST_F(NameServer, WithConversionsInItIsPrintedAsItIs)
{
    EXPECT_EQ(read_from("nameserver %n%s%d\n"), found("%n%s%d"));
}

TEST_F(NameServer, ThatTheFileEndsBeforeIsReportedTwiceAndTheFileStaysOpen)
{
    for (const char *text : {"", "n", "name", "nameserver", "nameserver  \t\n\n"}) {
        forget_calls();
        EXPECT_EQ(read_from(text), (Outcome{0, "", "net_get_dns: scan fail!\n" + cannot_read})) << text;
        EXPECT_EQ(calls(), (Calls{"open /etc/resolv.conf r", "read /etc/resolv.conf"}));
        EXPECT_EQ(left_open(resolver_file), 1);
        close_file(resolver_file);
    }
}

TEST_F(NameServer, IsReportedWhereTheFileIsMissingOrCannotBeOpened)
{
    EXPECT_EQ(read(), (Outcome{0, "", cannot_read}));
    set_file(resolver_file, "nameserver 10.0.0.1\n");
    fail_open(resolver_file, EACCES);
    EXPECT_EQ(read(), (Outcome{0, "", cannot_read}));
    EXPECT_EQ(calls(), Calls(2, "open /etc/resolv.conf r"));
}

} // namespace
} // namespace plexor::tests
