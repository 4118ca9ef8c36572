// SPDX-License-Identifier: Apache-2.0
// The mail client: its settings, its command, and what becomes of both in a real shell.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>

#include "tests/contract/mail_story.h"
#include "tests/contract/nearly_full_disk.h"
#include "tests/contract/programs.h"

namespace plexor::tests
{
namespace
{

using Words = std::vector<std::string>;

const std::string chmod_call = "system chmod 0710 /tmp/.esmtprc\n";

class MailClient : public MailStory
{
  protected:
    std::string settings_for(const std::string &server, int port = 25)
    {
        letter.server = server;
        letter.port = port;
        EXPECT_EQ(send(), 2U);
        return settings();
    }
    static std::string four_lines(const std::string &host, const std::string &user,
                                  const std::string &password, const std::string &tls)
    {
        return "hostname = " + host + "\nusername = \"" + user + "\"\npassword = \"" + password +
               "\"\nstarttls " + tls + "\n";
    }
    std::string command_for(const Text &to, const Text &from)
    {
        forget_calls();
        letter.to = to;
        letter.from = from;
        EXPECT_EQ(send(), 2U);
        return command();
    }
    // Nothing was written or started, and this is all that was printed.
    void expect_nothing_sent(const std::string &text)
    {
        EXPECT_EQ(send(), 0U);
        EXPECT_EQ(printed, text);
        EXPECT_EQ(calls("system"), Calls{});
        EXPECT_EQ(command(), "");
    }
};

// --- the settings ---

TEST_F(MailClient, GetsFourSettings)
{
    send();
    EXPECT_EQ(settings(), four_lines("mail.example.org:25", "login", "secret", "disabled"));
}

TEST_F(MailClient, RequiresTlsForAnyNumberButZero)
{
    for (const int starttls : {1, -1, 2, 256}) {
        letter.starttls = starttls;
        send();
        EXPECT_EQ(settings(), four_lines("mail.example.org:25", "login", "secret", "required")) << starttls;
    }
}

TEST_F(MailClient, GetsAnyPortAsANumber)
{
    EXPECT_TRUE(settings_for("mail", 0).starts_with("hostname = mail:0\n"));
    EXPECT_TRUE(settings_for("mail", -1).starts_with("hostname = mail:-1\n"));
    EXPECT_TRUE(settings_for("mail", INT_MIN).starts_with("hostname = mail:-2147483648\n"));
}

TEST_F(MailClient, GetsNamesAndAddressesOfServersAsTheyAre)
{
    for (const std::string server : {"mail_1.example-2.org", "192.0.2.7", "[2001:db8::1]", "MAIL"})
        EXPECT_TRUE(settings_for(server).starts_with("hostname = " + server + ":25\n")) << server;
}

TEST_F(MailClient, GetsTheSenderAsLoginNameWhereThereIsNone)
{
    for (const Text &none : {Text(""), Text()}) {
        letter.user = none;
        send();
        EXPECT_EQ(settings(), four_lines("mail.example.org:25", "me@example.org", "secret", "disabled"));
    }
}

TEST_F(MailClient, GetsEmptyTextsForNullPointers)
{
    letter.from = letter.to = letter.user = letter.password = Text();
    send();
    EXPECT_EQ(settings(), four_lines("mail.example.org:25", "", "", "disabled"));
    EXPECT_EQ(command(), "esmtp  -f  -v");
    EXPECT_TRUE(piped().starts_with("To: \r\nCc: \r\nFrom: \r\n"));
}

TEST_F(MailClient, Gets127BytesOfEachSetting)
{
    const std::string cut(127, 'x');
    letter.user = letter.password = letter.server = cut + "yz";
    send();
    EXPECT_EQ(settings(), four_lines(cut + ":25", cut, cut, "disabled"));
}

TEST_F(MailClient, Gets127BytesOfSenderAndRecipients)
{
    const std::string cut(127, 'x');
    EXPECT_EQ(command_for(cut + "yz", cut + "yz"), "esmtp " + cut + " -f " + cut + " -v");
    EXPECT_TRUE(piped().starts_with("To: <" + cut + ">\r\nCc: \r\nFrom: " + cut + "\r\n"));
}

TEST_F(MailClient, HasItsSettingsPrintedButForThePassword)
{
    letter.starttls = 1;
    send();
    EXPECT_EQ(printed, four_lines("mail.example.org:25", "login", "********", "required") +
                           "esmtp you@example.org -f me@example.org -v\nsmtp:KSendTextMail end.\n");
}

TEST_F(MailClient, HasAnyPasswordPrintedAsTheSameMask)
{
    for (const std::string &password : {std::string(), std::string(127, 'x'), std::string("a\"b'c%n")}) {
        letter.password = password;
        send();
        EXPECT_NE(printed.find("\npassword = \"********\"\nstarttls "), std::string::npos) << printed;
    }
}

TEST_F(MailClient, FindsConversionsInItsSettingsAsTheyAre)
{
    letter.user = letter.password = "%n%s%d";
    send();
    EXPECT_EQ(settings(), four_lines("mail.example.org:25", "%n%s%d", "%n%s%d", "disabled"));
    EXPECT_NE(printed.find("username = \"%n%s%d\"\n"), std::string::npos);
}

// What the client's own reading of its settings makes of them: words, and texts in double quotes with the
// escapes of C, in which a quote ends the text even behind a backslash; "#" begins a comment.
std::string unescaped(const std::string &text)
{
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            plain += text[i];
        } else if (text.at(++i) == '\\') {
            plain += '\\';
        } else {
            plain += static_cast<char>(std::stoi(text.substr(i, 3), nullptr, 8));
            i += 2;
        }
    }
    return plain;
}

Words words_of(const std::string &settings)
{
    Words words;
    for (std::size_t i = 0; i < settings.size();) {
        const std::string here = settings.substr(i);
        std::size_t length = 1;
        if (here[0] == '"') {
            length = here.find('"', 1) + 1;
            words.push_back(unescaped(here.substr(1, length - 2)));
        } else if (here[0] == '#') {
            length = here.find('\n');
        } else if (here[0] != ' ' && here[0] != '\t' && here[0] != '\n') {
            length = here.find_first_of(" \t\n\"'#");
            words.push_back(here.substr(0, length));
        }
        i += length;
    }
    return words;
}

Words hostile_settings()
{
    Words texts = hostile_texts;
    texts.insert(texts.end(),
                 {"a\"b'c", "a\nhostname = evil", "\"\nhostname = evil\n\"", "\"'\nhostname = evil\n#",
                  "DOMAIN\\bob", "x\\", "\\042", "a b", "x # y", "'", "\"", " "});
    return texts;
}

TEST_F(MailClient, TakesAHostileLoginNameAndPasswordForNothingElse)
{
    for (const auto &text : hostile_settings()) {
        letter.user = letter.password = text;
        send();
        EXPECT_EQ(words_of(settings()), (Words{"hostname", "=", "mail.example.org:25", "username", "=", text,
                                               "password", "=", text, "starttls", "disabled"}))
            << text;
    }
}

TEST_F(MailClient, TakesAHostileServerForNothingElse)
{
    for (const auto &text : hostile_settings()) {
        const Words words = words_of(settings_for(text));
        ASSERT_EQ(words.size(), 11U) << text;
        EXPECT_EQ(words[2], text + ":25");
        EXPECT_EQ(words[3], "username");
    }
}

TEST_F(MailClient, HasItsSettingsCompleteAndReadableForTheOwnerAloneBeforeTheCommandThatChangesIt)
{
    unsigned mode = 0;
    std::string complete;
    at_call(chmod_call, [&] {
        mode = mode_of(settings_path);
        complete = settings();
    });
    const mode_t mask = umask(0);
    send();
    umask(mask);
    EXPECT_EQ(mode, 0100600U);
    EXPECT_EQ(complete, settings());
}

TEST_F(MailClient, HasItsSettingsInTheModeThatItAsksForWhenItIsStarted)
{
    at_call(chmod_call, [&] { EXPECT_EQ(std::system(calls().back().substr(7).c_str()), 0); });
    send();
    EXPECT_EQ(mode_of(settings_path), 0100710U);
}

TEST_F(MailClient, IsStartedAfterItsSettingsWereWrittenAndMadeReadable)
{
    send();
    EXPECT_EQ(calls(), (Calls{"time", "malloc 10240", chmod_call,
                              "popen w esmtp you@example.org -f me@example.org -v", "pclose"}));
}

TEST_F(MailClient, HasItsSettingsClosedWhenItIsStarted)
{
    std::vector<int> open{-1};
    at_call("popen", [&] { open = descriptors_of(settings_path); });
    send();
    EXPECT_EQ(open, std::vector<int>{});
}

TEST_F(MailClient, HasItsSettingsWrittenAnew)
{
    write_file(settings_path, std::string(1000, 'x'));
    std::filesystem::permissions(settings_path, std::filesystem::perms::all);
    const int opened_by_another = open(settings_path.c_str(), O_RDONLY | O_CLOEXEC);
    char first = '\0';
    send();
    EXPECT_EQ(settings(), four_lines("mail.example.org:25", "login", "secret", "disabled"));
    EXPECT_EQ(mode_of(settings_path), 0100600U);
    EXPECT_EQ(pread(opened_by_another, &first, 1, 0), 1);
    EXPECT_EQ(first, 'x');
    close(opened_by_another);
}

TEST_F(MailClient, HasItsSettingsWhereTheyBelongAndNotWhereALinkLeads)
{
    write_file("/tmp/plexor-victim", "before");
    std::filesystem::create_symlink("/tmp/plexor-victim", settings_path);
    send();
    EXPECT_EQ(text_of("/tmp/plexor-victim"), "before");
    EXPECT_EQ(mode_of(settings_path), 0100600U);
    EXPECT_EQ(settings(), four_lines("mail.example.org:25", "login", "secret", "disabled"));
}

TEST_F(MailClient, IsNotStartedWhereItsSettingsCannotBeWritten)
{
    std::filesystem::create_directory(settings_path);
    expect_nothing_sent("error can't write .esmtprc\n");
    for (const auto &left : std::filesystem::directory_iterator("/tmp"))
        EXPECT_FALSE(left.path().filename().string().starts_with(".esmtprc.")) << left.path();
}

TEST_F(MailClient, IsNotStartedWhereItsSettingsFindNoRoom)
{
    write_file(settings_path, "before");
    {
        const NearlyFullDisk disk;
        EXPECT_EQ(send(), 0U);
    }
    EXPECT_TRUE(printed.ends_with("error can't write .esmtprc\n")) << printed;
    EXPECT_EQ(calls("system"), Calls{});
    EXPECT_EQ(command(), "");
    EXPECT_EQ(settings(), "before");
}

TEST_F(MailClient, IsNotStartedWithoutAServer)
{
    for (const Text &none : {Text(""), Text()}) {
        letter.server = none;
        expect_nothing_sent("smtp server is null,skip.\n");
        EXPECT_FALSE(exists(settings_path));
    }
}

TEST_F(MailClient, KeepsItsOldSettingsWithoutAServer)
{
    write_file(settings_path, "before");
    letter.server = "";
    send();
    EXPECT_EQ(settings(), "before");
}

TEST_F(MailClient, IsNotStartedWithoutMemoryWhichIsAskedForFirst)
{
    letter.server = "";
    fail_call("malloc", ENOMEM);
    expect_nothing_sent("malloc 10240 byte failed\n");
    EXPECT_FALSE(exists(settings_path));
}

TEST_F(MailClient, ThatCannotBeStartedGivesZero)
{
    fail_call("popen", EAGAIN);
    EXPECT_EQ(send(), 0U);
    EXPECT_EQ(calls("pclose"), Calls{});
}

// --- the command ---

TEST_F(MailClient, IsStartedWithABlankForEverySeparatorOfRecipients)
{
    EXPECT_EQ(command_for("r1;r2, r3", "me"), "esmtp r1 r2  r3 -f me -v");
    EXPECT_EQ(command_for(" ,r1:;r2 ", "me"), "esmtp   r1  r2  -f me -v");
    EXPECT_EQ(command_for("", "me"), "esmtp  -f me -v");
    EXPECT_EQ(command_for(";", "me"), "esmtp   -f me -v");
}

TEST_F(MailClient, IsStartedWithPlainAddressesAsTheyAre)
{
    const std::string plain = "a.B-c_d+e%f/g=h!i^j@M\xC3\xBCller.example";
    EXPECT_EQ(command_for(plain, plain), "esmtp " + plain + " -f " + plain + " -v");
}

TEST_F(MailClient, HasItsCommandPrintedAsItIsStarted)
{
    const std::string started = command_for("$(a) %n", "it's");
    EXPECT_NE(printed.find("\n" + started + "\nsmtp:KSendTextMail end.\n"), std::string::npos) << printed;
}

// --- a real shell ---

class RealMailClient : public MailClient
{
  protected:
    RealMailClient()
    {
        std::filesystem::remove("/tmp/owned");
        run_piped_commands();
    }
    ~RealMailClient() override { EXPECT_FALSE(exists("/tmp/owned")) << "a value was run as a command"; }

    // The recipients in a text, as one argument each that is no option.
    static Words recipients_in(const std::string &to)
    {
        Words recipients;
        for (std::size_t begin = 0, end = 0; end != std::string::npos; begin = end + 1) {
            end = to.find_first_of(",;: ", begin);
            const std::string one = to.substr(begin, end - begin);
            if (!one.empty())
                recipients.push_back(one[0] == '-' ? "<" + one + ">" : one);
        }
        return recipients;
    }
};

TEST_F(RealMailClient, IsGivenTheWholeMessageAndWaitedFor)
{
    const RecordingProgram esmtp("esmtp", "cat >/tmp/plexor-programs/message");
    letter.body = std::string(6000, 'U');
    EXPECT_EQ(send(), 2U);
    const std::string received = text_of("/tmp/plexor-programs/message");
    EXPECT_TRUE(received.starts_with("To: <you@example.org>\r\n"));
    EXPECT_TRUE(received.ends_with("\r\n\r\n" + base64_lines(*letter.body)));
    EXPECT_EQ(esmtp.arguments(), (Words{"you@example.org", "-f", "me@example.org", "-v"}));
}

TEST_F(RealMailClient, IsGivenEachHostileRecipientAsOneArgumentThatIsNoOption)
{
    const RecordingProgram esmtp("esmtp", "cat >/dev/null");
    for (const auto &text : hostile_texts) {
        Words expected = recipients_in("first," + text + ";-last");
        expected.insert(expected.end(), {"-f", "me@example.org", "-v"});
        letter.to = "first," + text + ";-last";
        send();
        EXPECT_EQ(esmtp.arguments(), expected) << text;
    }
}

TEST_F(RealMailClient, IsGivenAHostileSenderAsOneArgument)
{
    const RecordingProgram esmtp("esmtp", "cat >/dev/null");
    for (const auto &text : hostile_texts) {
        letter.from = text;
        send();
        EXPECT_EQ(esmtp.arguments(), (Words{"you@example.org", "-f", text, "-v"})) << text;
    }
}

TEST_F(RealMailClient, MayFailWithoutAnybodyNoticing)
{
    const RecordingProgram esmtp("esmtp", "cat >/dev/null; exit 3");
    EXPECT_EQ(send(), 2U);
    EXPECT_TRUE(printed.ends_with("smtp:KSendTextMail end.\n"));
}

// A client that ends before it has read everything, and what the caller sees of it.
class EarlyEnd : public RealMailClient
{
  protected:
    EarlyEnd()
    {
        write_file(picture_path, some_bytes(300'000)); // more than a pipe holds
        letter.attach = 1;
        arrived_ = 0;
        before_ = std::signal(SIGPIPE, [](int) { arrived_ = 1; });
    }
    ~EarlyEnd() override
    {
        unblock();
        std::signal(SIGPIPE, before_);
    }

    static bool arrived() { return arrived_ != 0; }
    static bool pending()
    {
        sigset_t set;
        sigpending(&set);
        return sigismember(&set, SIGPIPE) == 1;
    }
    static bool blocked()
    {
        sigset_t set;
        pthread_sigmask(SIG_SETMASK, nullptr, &set);
        return sigismember(&set, SIGPIPE) == 1;
    }
    static void block() { change_mask(SIG_BLOCK); }
    static void unblock() { change_mask(SIG_UNBLOCK); }

  private:
    static void change_mask(int how)
    {
        sigset_t set;
        sigemptyset(&set);
        sigaddset(&set, SIGPIPE);
        pthread_sigmask(how, &set, nullptr);
    }

    inline static volatile std::sig_atomic_t arrived_ = 0;
    void (*before_)(int);
    const RecordingProgram esmtp_{"esmtp", "exit 0"};
};

TEST_F(EarlyEnd, OfTheClientRaisesNoSignalInTheCaller)
{
    EXPECT_EQ(send(), 58U);
    EXPECT_FALSE(arrived());
    EXPECT_FALSE(pending());
    EXPECT_FALSE(blocked());
    EXPECT_TRUE(printed.ends_with("smtp:KSendTextMail end.\n"));
}

TEST_F(EarlyEnd, LeavesASignalBlockedThatWasBlocked)
{
    block();
    EXPECT_EQ(send(), 58U);
    EXPECT_TRUE(blocked());
    EXPECT_FALSE(pending());
}

TEST_F(EarlyEnd, LeavesASignalPendingThatWasPending)
{
    block();
    ASSERT_EQ(raise(SIGPIPE), 0);
    EXPECT_EQ(send(), 58U);
    EXPECT_TRUE(pending());
    unblock();
    EXPECT_TRUE(arrived());
}

TEST_F(EarlyEnd, LeavesTheCallerOpenToLaterSignals)
{
    send();
    ASSERT_EQ(raise(SIGPIPE), 0);
    EXPECT_TRUE(arrived());
}

} // namespace
} // namespace plexor::tests
