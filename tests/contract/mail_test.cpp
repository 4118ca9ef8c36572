// SPDX-License-Identifier: Apache-2.0
// The message that is piped into the mail client.
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "tests/contract/mail_story.h"
#include "tests/contract/time_zone.h"

namespace plexor::tests
{
namespace
{

constexpr unsigned failed = ~0U;

class Mail : public MailStory
{
  protected:
    // The message up to the encoded body, with these texts in its header.
    static std::string start(const std::string &to, const std::string &from, const std::string &subject)
    {
        return "To: " + to + "\r\nCc: \r\nFrom: " + from + "\r\nSubject: =?UTF-8?B?" + subject +
               "?=\r\nMIME-Version: 1.0\r\nContent-Type: multipart/mixed;\r\n\tboundary=\"" + boundary +
               "\"\r\n\r\n--" + boundary +
               "\r\nContent-Type: text/plain; charset=\"UTF-8\"\r\nContent-Transfer-Encoding: base64\r\n\r\n";
    }
    static std::string plain_start() { return start("<you@example.org>", "me@example.org", "SGVsbG8="); }

    std::string line(const std::string &name)
    {
        const std::string text = message();
        const auto begin = text.find(name + ": ") + name.size() + 2;
        return text.substr(begin, text.find("\r\n", begin) - begin);
    }
    std::string recipients(const std::string &to)
    {
        letter.to = to;
        const std::string text = message();
        return text.substr(0, text.find("Cc: "));
    }
    std::string subject_of(std::size_t size)
    {
        letter.subject = some_text(size);
        const std::string word = line("Subject");
        return word.substr(10, word.size() - 12); // within =?UTF-8?B? and ?=
    }
    // The encoded body, line ends and all.
    std::string body_of(const std::string &body)
    {
        letter.body = body;
        return message().substr(plain_start().size());
    }
    static std::string some_text(std::size_t size)
    {
        std::string text = some_bytes(size);
        std::replace(text.begin(), text.end(), '\0', '0');
        return text;
    }
};

TEST_F(Mail, IsWrittenByteForByte)
{
    EXPECT_EQ(message(), plain_start() + "V29ybGQ=\r\n");
}

TEST_F(Mail, HasTheLengthOfItsLastLineEndAsResult)
{
    EXPECT_EQ(send(), 2U);
}

TEST_F(Mail, HasTheTimeInItsBoundary)
{
    set_calendar(1'800'000'000);
    EXPECT_NE(message().find("\tboundary=\"----=_NextPart_76J_20140109_4471_T.1800000000\"\r\n"),
              std::string::npos);
}

// --- recipients ---

TEST_F(Mail, NamesEachRecipientOnALineOfItsOwn)
{
    EXPECT_EQ(recipients("r1;r2, r3"), "To: <r1>,\r\n <r2>,\r\n <r3>\r\n");
}

TEST_F(Mail, TakesEverySeparatorBetweenRecipients)
{
    for (const char *separator : {",", ";", ":", " ", ",;: ", "  ", ";;"})
        EXPECT_EQ(recipients(std::string("r1") + separator + "r2"), "To: <r1>,\r\n <r2>\r\n") << separator;
}

TEST_F(Mail, SkipsSeparatorsBeforeAndBehindTheRecipients)
{
    EXPECT_EQ(recipients(" ;,:r1"), "To: <r1>\r\n");
    EXPECT_EQ(recipients("r1;"), "To: <r1>\r\n");
    EXPECT_EQ(recipients(",r1 , ; r2: "), "To: <r1>,\r\n <r2>\r\n");
}

TEST_F(Mail, OfNoRecipientsHasAnEmptyLine)
{
    EXPECT_EQ(recipients(""), "To: \r\n");
    EXPECT_EQ(recipients(" ;,: "), "To: \r\n");
}

TEST_F(Mail, KeepsRecipientsAndSenderOnTheirLines)
{
    letter.from = "me\r\nBcc: other\x01\x7F";
    EXPECT_EQ(recipients("you\r\nBcc\ttoo"), "To: <you  Bcc too>\r\n");
    EXPECT_EQ(line("From"), "me  Bcc: other  ");
}

TEST_F(Mail, LeavesOtherBytesOfAddressesAsTheyAre)
{
    letter.from = "M\xC3\xBCller%n%s<me>\"";
    EXPECT_EQ(recipients("J\xC3\xB6rg%n%s"), "To: <J\xC3\xB6rg%n%s>\r\n");
    EXPECT_EQ(line("From"), *letter.from);
}

// --- subject and body ---

TEST_F(Mail, OfAnEmptySubjectHasAPlainTextInItsPlace)
{
    for (const Text &none : {Text(""), Text()}) {
        letter.subject = none;
        EXPECT_EQ(line("Subject"), "=?UTF-8?B?ZR4471 Mail?=");
    }
}

TEST_F(Mail, OfAnEmptyBodyHasAPlainTextInItsPlace)
{
    for (const Text &none : {Text(""), Text()}) {
        letter.body = none;
        EXPECT_EQ(message(), plain_start() + "this message send by ZR4471.\r\n");
    }
}

TEST_F(Mail, EncodesASubjectOfUpTo98BytesWhole)
{
    for (const std::size_t size : {1U, 94U, 95U, 96U, 97U, 98U})
        EXPECT_EQ(subject_of(size), base64(some_text(size))) << size;
}

TEST_F(Mail, CutsALongerSubjectTo96Bytes)
{
    for (const std::size_t size : {99U, 100U, 101U, 1000U})
        EXPECT_EQ(subject_of(size), base64(some_text(96))) << size;
}

TEST_F(Mail, WritesTheBodyInLinesOf76CharactersTheLastOfThemAtLeastOne)
{
    for (const std::size_t size : {1U, 56U, 57U, 58U, 113U, 114U, 115U, 171U, 1000U})
        EXPECT_EQ(body_of(some_text(size)), base64_lines(some_text(size))) << size;
}

TEST_F(Mail, WritesABodyOf76CharactersAsOneLine)
{
    EXPECT_EQ(body_of(std::string(57, 'U')).find("\r\n"), 76U);
    EXPECT_EQ(body_of(std::string(57, 'U')).size(), 78U);
    EXPECT_EQ(body_of(std::string(114, 'U')).size(), 156U);
}

TEST_F(Mail, EncodesABodyOfUpTo6914BytesWhole)
{
    for (const std::size_t size : {6911U, 6912U, 6913U, 6914U})
        EXPECT_EQ(body_of(some_text(size)), base64_lines(some_text(size))) << size;
}

TEST_F(Mail, CutsALongerBodyTo6912Bytes)
{
    for (const std::size_t size : {6915U, 6916U, 20000U})
        EXPECT_EQ(body_of(some_text(size)), base64_lines(some_text(6912))) << size;
}

// --- the snapshot ---

class MailWithSnapshot : public Mail
{
  protected:
    MailWithSnapshot() { letter.attach = 1; }
    ~MailWithSnapshot() override
    {
        for (const int descriptor : descriptors_of(picture_path))
            close(descriptor);
    }

    static std::string picture_header(const std::string &name)
    {
        return "\r\n--" + boundary +
               "\r\nContent-Transfer-Encoding: base64\r\nContent-id: <001>\r\nContent-Type: image/jpeg; "
               "name=\"" +
               name + "\"\r\n\r\n";
    }
    static std::string header() { return picture_header("uvc20260102_030405.jpg"); }
    // The picture's part, from its first line to before the closing lines.
    std::string part()
    {
        const std::string text = message();
        const std::string text_part = plain_start() + "V29ybGQ=\r\n";
        EXPECT_TRUE(text.starts_with(text_part));
        EXPECT_TRUE(text.ends_with(closing()));
        return text.substr(text_part.size(), text.size() - text_part.size() - closing().size());
    }
    std::string part_with(const std::string &picture)
    {
        write_file(picture_path, picture);
        return part();
    }
    void expect_left_open()
    {
        EXPECT_EQ(pipes_open(), 1);
        EXPECT_EQ(calls("pclose"), Calls{});
        close_pipes();
        EXPECT_EQ(piped(), plain_start() + "V29ybGQ=\r\n" + header());
        EXPECT_EQ(descriptors_of(picture_path).size(), 1U);
    }

  private:
    const TimeZone zone_{"UTC0"};
};

TEST_F(MailWithSnapshot, HasThePictureWithTwentyZerosBehindIt)
{
    EXPECT_EQ(part_with("picture"), header() + base64_lines("picture" + std::string(20, '\0')));
}

TEST_F(MailWithSnapshot, TakesPicturesOfAnySize)
{
    for (const std::size_t size : {0U, 36U, 37U, 38U, 1005U, 1006U, 1007U, 50000U})
        EXPECT_EQ(part_with(some_bytes(size)),
                  header() + base64_lines(some_bytes(size) + std::string(20, '\0')))
            << size;
}

TEST_F(MailWithSnapshot, WithoutAPictureSaysSo)
{
    EXPECT_EQ(part(), header() + "Tm9QaWN0dXJl");
}

TEST_F(MailWithSnapshot, HasTheLengthOfTheClosingLinesAsResult)
{
    EXPECT_EQ(send(), 58U);
    EXPECT_EQ(closing().size(), 58U);
}

TEST_F(MailWithSnapshot, IsAskedForWithAnyNumberButZero)
{
    for (const int attach : {-1, 2, 256}) {
        letter.attach = attach;
        EXPECT_EQ(part(), header() + "Tm9QaWN0dXJl") << attach;
    }
}

TEST_F(MailWithSnapshot, NamesThePictureByTheLocalTime)
{
    const TimeZone zone("XYZ-5:30");
    set_calendar(1'798'748'999); // 2026-12-31 20:29:59 UTC
    const std::string text = (send(), piped());
    EXPECT_NE(text.find("name=\"uvc20270101_015959.jpg\"\r\n\r\n"), std::string::npos) << text;
}

TEST_F(MailWithSnapshot, LeavesThePictureWhereItIsAndClosesIt)
{
    part_with("picture");
    EXPECT_EQ(text_of(picture_path), "picture");
    EXPECT_EQ(descriptors_of(picture_path), std::vector<int>{});
}

TEST_F(MailWithSnapshot, IsLeftAsItIsWhenThePicturesEndCannotBeFound)
{
    write_file(picture_path, "picture");
    fail_call("lseek", EIO);
    EXPECT_EQ(send(), failed);
    EXPECT_TRUE(printed.ends_with(" -v\nfseek SEEK_END error")) << printed;
    EXPECT_EQ(calls("lseek"), Calls{"lseek 0 2"});
    expect_left_open();
}

TEST_F(MailWithSnapshot, IsLeftAsItIsWhenThePictureIsAPipe)
{
    make_pipe(picture_path);
    EXPECT_EQ(send(), failed);
    EXPECT_TRUE(printed.ends_with(" -v\nfseek SEEK_END error")) << printed;
    expect_left_open();
}

TEST_F(MailWithSnapshot, IsLeftAsItIsWhenThePicturesStartCannotBeFound)
{
    write_file(picture_path, "picture");
    fail_call_after("lseek", 1, EIO);
    EXPECT_EQ(send(), failed);
    EXPECT_TRUE(printed.ends_with(" -v\nfseek SEEK_SET error")) << printed;
    EXPECT_EQ(calls("lseek"), (Calls{"lseek 0 2", "lseek 0 0"}));
    expect_left_open();
}

} // namespace
} // namespace plexor::tests
