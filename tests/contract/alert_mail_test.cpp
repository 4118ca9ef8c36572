// SPDX-License-Identifier: Apache-2.0
// Alerts by mail: with the settings of the parameter store, or handed to the camera process.
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <memory>

#include <plexor/alert.h>

#include "tests/contract/call_text.h"
#include "tests/contract/mail_story.h"
#include "tests/contract/programs.h"

namespace plexor::tests
{
namespace
{

const std::string subject_path = "/tmp/uvc_mail.subject";
const std::string body_path = "/tmp/uvc_mail.body";
const std::string camera_pid_file = "/tmp/uvc_pid.txt";

class Alert : public Appliance
{
  protected:
    Alert()
    {
        remove_files();
        const std::map<std::string, std::string> settings{
            {"email_from", "me@home"}, {"email_to", "you@home"}, {"email_to_PX", "us@home"},
            {"email_user", "login"},   {"email_pwd", "secret"},  {"email_smtp", "mail"},
            {"email_port", "587"},     {"email_tls", "0"},       {"email_pic", "0"}};
        for (const auto &[key, value] : settings)
            set(key, value);
    }
    ~Alert() override { remove_files(); }

    int send(Text subject = "Subject", Text body = "Body")
    {
        int result = -7;
        errors = standard_error_of([&] {
            printed =
                standard_output_of([&] { result = KSendIOAlertMail(bytes_of(subject), bytes_of(body)); });
        });
        return result;
    }
    std::string command_to(const std::string &to, const std::string &further)
    {
        set("email_to", to);
        set("email_to_PX", further);
        forget_calls();
        EXPECT_EQ(send(), 2);
        return calls("popen").at(0);
    }
    // The client's settings file when one parameter has this value.
    std::string settings_with(const std::string &key, const std::string &value)
    {
        set(key, value);
        EXPECT_EQ(send(), 2);
        return text_of(settings_path);
    }

    std::string errors{};
    std::string printed{};

  private:
    static void remove_files()
    {
        for (const auto &path : {settings_path, picture_path, subject_path, body_path, camera_pid_file})
            std::filesystem::remove_all(path);
    }
};

// --- without a snapshot ---

TEST_F(Alert, ReadsItsSettingsThenSendsAMail)
{
    EXPECT_EQ(send(), 2);
    EXPECT_EQ(calls(), (Calls{"nvram_kget_str email_from 128", "nvram_kget_str email_to 195",
                              "nvram_kget_str email_to_PX 195", "nvram_kget_str email_user 64",
                              "nvram_kget_str email_pwd 64", "nvram_kget_str email_smtp 64",
                              "nvram_kget_str email_port 16", "nvram_kget_str email_tls 16",
                              "nvram_kget_str email_pic 16", "time", "malloc 10240",
                              "system chmod 0710 /tmp/.esmtprc\n",
                              "popen w esmtp you@home us@home -f me@home -v", "pclose"}));
    EXPECT_EQ(text_of(settings_path), "hostname = mail:587\nusername = \"login\"\npassword = "
                                      "\"secret\"\nstarttls disabled\n");
}

TEST_F(Alert, HasItsSubjectAndBodyInTheMailAndNoSnapshot)
{
    write_file(picture_path, "picture");
    send("Fire", "In the attic");
    EXPECT_NE(piped().find("\r\nSubject: =?UTF-8?B?" + base64("Fire") + "?=\r\n"), std::string::npos);
    EXPECT_TRUE(piped().ends_with("\r\n\r\n" + base64_lines("In the attic")));
    EXPECT_TRUE(exists(picture_path));
    EXPECT_FALSE(exists(subject_path));
}

TEST_F(Alert, GoesToTheRecipientsOfBothLists)
{
    EXPECT_EQ(command_to("a;b", "c,d"), "popen w esmtp a b c d -f me@home -v");
    EXPECT_EQ(command_to("a", ""), "popen w esmtp a  -f me@home -v");
    EXPECT_EQ(command_to("", "c"), "popen w esmtp  c -f me@home -v");
    EXPECT_EQ(command_to("a;", "%n%s"), "popen w esmtp a  %n%s -f me@home -v");
}

TEST_F(Alert, GoesToWhatTheMailTakesOfLongLists)
{
    const std::string recipient(127, 'r');
    for (const std::size_t size : {127U, 192U, 193U, 194U, 195U, 300U})
        EXPECT_EQ(command_to(std::string(size, 'r'), std::string(300, 'p')),
                  "popen w esmtp " + recipient + " -f me@home -v")
            << size;
    EXPECT_EQ(command_to(std::string(100, 'r'), std::string(300, 'p')),
              "popen w esmtp " + std::string(100, 'r') + " " + std::string(26, 'p') + " -f me@home -v");
}

TEST_F(Alert, ReadsThePortAsFarAsItIsANumber)
{
    for (const auto &[text, port] : std::map<std::string, std::string>{
             {"25", "25"}, {" 465", "465"}, {"25x", "25"}, {"", "0"}, {"x", "0"}, {"-1", "-1"}})
        EXPECT_TRUE(settings_with("email_port", text).starts_with("hostname = mail:" + port + "\n")) << text;
}

TEST_F(Alert, RequiresTlsForExactlyTwoTexts)
{
    for (const char *required : {"1", "tls"})
        EXPECT_TRUE(settings_with("email_tls", required).ends_with("starttls required\n")) << required;
    for (const char *disabled : {"", "0", "2", "11", "TLS", "tls ", "tlsx", "ssl", "starttls", " 1"})
        EXPECT_TRUE(settings_with("email_tls", disabled).ends_with("starttls disabled\n")) << disabled;
}

TEST_F(Alert, WithoutAServerGivesTheResultOfTheMail)
{
    unset("email_smtp");
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(printed, "smtp server is null,skip.\n");
}

TEST_F(Alert, HasTheSenderAsLoginNameWhereNoneIsSet)
{
    EXPECT_NE(settings_with("email_user", "").find("username = \"me@home\"\n"), std::string::npos);
}

TEST_F(Alert, OfAnUnpluggedStoreSendsNothing)
{
    unplug_store(true);
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(calls("popen"), Calls{});
}

TEST_F(Alert, HasASnapshotForExactlyOne)
{
    for (const char *without : {"", "0", "2", "11", "1 ", " 1", "yes"}) {
        set("email_pic", without);
        EXPECT_EQ(send(), 2) << without;
        EXPECT_FALSE(exists(subject_path));
    }
}

// --- with a snapshot ---

const std::string count_command = "popen r ps | grep -c uvc_stream\n";

class AlertWithSnapshot : public Alert
{
  protected:
    AlertWithSnapshot()
    {
        set("email_pic", "1");
        set("WebCamResolution", "640x480");
        set("WebCamFPS", "15");
        set("WebCamPort", "8080");
        set("WebCamMode", "0");
    }

    void run_camera()
    {
        camera_ = std::make_unique<RunningProgram>("/tmp/plexor-x/uvc_stream");
        write_file(camera_pid_file, std::to_string(camera_->pid()));
        commands_print("2\n");
        add_process(camera_->pid());
    }
    std::string signal_call(int signal) const { return print("kill %d %d", camera_->pid(), signal); }
    std::string found() const
    {
        return print("uvc_stream count1a:2\nprepid:%d,/tmp/plexor-x/uvc_stream\n", camera_->pid());
    }
    std::string start_command()
    {
        send();
        const Calls run = calls("system ");
        return run.size() == 1 ? run.front().substr(7) : "";
    }

  private:
    std::unique_ptr<RunningProgram> camera_{};
};

const std::string plain_start = "uvc_stream -r 640x480 -f 15 -p 8080 -b -m 0 -mail 1\n";

TEST_F(AlertWithSnapshot, IsHandedToARunningCamera)
{
    run_camera();
    EXPECT_EQ(send("Fire", "In the attic"), 25);
    EXPECT_EQ(errors, found() + "send ioalert by uvc USR1\n");
    EXPECT_EQ(text_of(subject_path), "Fire");
    EXPECT_EQ(text_of(body_path), "In the attic");
    EXPECT_EQ(printed, "");
}

TEST_F(AlertWithSnapshot, SignalsTheCameraInOrderAndSendsNoMailItself)
{
    run_camera();
    send();
    EXPECT_EQ(calls("nvram").back(), "nvram_kget_str email_pic 16");
    EXPECT_EQ(calls("kill"), (Calls{signal_call(0), signal_call(SIGUSR2), signal_call(SIGUSR1)}));
    EXPECT_EQ(calls("popen"), Calls{count_command});
    EXPECT_EQ(calls("system"), Calls{});
    EXPECT_FALSE(exists(settings_path));
}

TEST_F(AlertWithSnapshot, WritesTheTextsAndRemovesThePictureBeforeItLooksForTheCamera)
{
    write_file(picture_path, "old");
    bool removed = false;
    std::string texts;
    at_call("popen", [&] {
        removed = !exists(picture_path);
        texts = text_of(subject_path) + "|" + text_of(body_path);
    });
    send();
    EXPECT_TRUE(removed);
    EXPECT_EQ(texts, "Subject|Body");
}

TEST_F(AlertWithSnapshot, WritesTextsOfAnyKindInPlaceOfOlderOnes)
{
    write_file(subject_path, std::string(9000, 'x'));
    write_file(body_path, std::string(9000, 'x'));
    const std::string body = some_bytes(8000);
    send("%n%s\r\n", body.substr(0, body.find('\0')));
    EXPECT_EQ(text_of(subject_path), "%n%s\r\n");
    EXPECT_EQ(text_of(body_path), body.substr(0, body.find('\0')));
}

TEST_F(AlertWithSnapshot, ClosesTheFilesThatItHandsOver)
{
    send();
    EXPECT_EQ(descriptors_of(subject_path), std::vector<int>{});
    EXPECT_EQ(descriptors_of(body_path), std::vector<int>{});
}

TEST_F(AlertWithSnapshot, WritesEmptyTextsForNullPointers)
{
    send(Text(), Text());
    EXPECT_EQ(mode_of(subject_path) & 0170000U, 0100000U);
    EXPECT_EQ(mode_of(body_path) & 0170000U, 0100000U);
    EXPECT_EQ(text_of(subject_path) + text_of(body_path), "");
}

TEST_F(AlertWithSnapshot, WritesNothingThroughLinks)
{
    write_file("/tmp/plexor-victim", "before");
    for (const auto &path : {subject_path, body_path, picture_path})
        std::filesystem::create_symlink("/tmp/plexor-victim", path);
    send();
    EXPECT_EQ(text_of("/tmp/plexor-victim"), "before");
    EXPECT_FALSE(exists(picture_path));
}

TEST_F(AlertWithSnapshot, IsNotHeldByPipesInPlaceOfItsTexts)
{
    for (const auto &path : {subject_path, body_path})
        make_pipe(path);
    EXPECT_EQ(start_command(), plain_start);
}

TEST_F(AlertWithSnapshot, GoesOnWhenTheFirstSignalIsNotDelivered)
{
    run_camera();
    fail_call_after("kill", 1, EPERM);
    EXPECT_EQ(send(), 25);
    EXPECT_EQ(calls("system"), Calls{});
}

TEST_F(AlertWithSnapshot, StartsTheCameraWhenTheSecondSignalIsNotDelivered)
{
    run_camera();
    fail_call_after("kill", 2, EPERM);
    EXPECT_EQ(start_command(), plain_start);
    EXPECT_EQ(errors, found());
}

TEST_F(AlertWithSnapshot, StartsTheCameraWhenItIsNotRunning)
{
    write_file(camera_pid_file, "1");
    EXPECT_EQ(start_command(), plain_start);
    EXPECT_EQ(errors, "uvc_stream count1a:0\n");
    EXPECT_EQ(calls("kill"), Calls{});
    EXPECT_FALSE(exists(camera_pid_file));
}

TEST_F(AlertWithSnapshot, ReadsTheCamerasSettingsWhenItHasToBeStarted)
{
    send();
    const Calls all = calls();
    const Calls last(all.end() - 6, all.end());
    EXPECT_EQ(last, (Calls{"pclose", "nvram_kget_str WebCamResolution 32", "nvram_kget_str WebCamFPS 16",
                           "nvram_kget_str WebCamPort 16", "nvram_kget_str WebCamMode 16",
                           "system " + plain_start}));
}

TEST_F(AlertWithSnapshot, GivesTheStatusOfTheCameraThatItStarts)
{
    system_returns(3 << 8);
    EXPECT_EQ(send(), 3 << 8);
    fail_call("system", EAGAIN);
    EXPECT_EQ(send(), -1);
}

TEST_F(AlertWithSnapshot, StartsTheCameraWithEmptySettingsAsTheyAre)
{
    for (const char *key : {"WebCamResolution", "WebCamFPS", "WebCamPort", "WebCamMode"})
        unset(key);
    EXPECT_EQ(start_command(), "uvc_stream -r  -f  -p  -b -m  -mail 1\n");
}

TEST_F(AlertWithSnapshot, HasRoomForTheLongestSettings)
{
    const std::string quotes(31, '\'');
    for (const char *key : {"WebCamResolution", "WebCamFPS", "WebCamPort", "WebCamMode"})
        set(key, quotes);
    const RecordingProgram uvc_stream("uvc_stream", "");
    EXPECT_EQ(std::system(start_command().c_str()), 0);
    const std::string cut = quotes.substr(0, 15);
    EXPECT_EQ(uvc_stream.arguments(),
              (Calls{"-r", quotes, "-f", cut, "-p", cut, "-b", "-m", cut, "-mail", "1"}));
}

TEST_F(AlertWithSnapshot, GivesEachHostileSettingToTheCameraAsOneArgument)
{
    std::filesystem::remove("/tmp/owned");
    const RecordingProgram uvc_stream("uvc_stream", "");
    for (const auto &text : hostile_texts) {
        for (const char *key : {"WebCamResolution", "WebCamFPS", "WebCamPort", "WebCamMode"})
            set(key, text);
        forget_calls();
        EXPECT_EQ(std::system(start_command().c_str()), 0) << text;
        const std::string cut = text.substr(0, 15);
        EXPECT_EQ(uvc_stream.arguments(),
                  (Calls{"-r", text.substr(0, 31), "-f", cut, "-p", cut, "-b", "-m", cut, "-mail", "1"}));
    }
    EXPECT_FALSE(exists("/tmp/owned"));
}

} // namespace
} // namespace plexor::tests
