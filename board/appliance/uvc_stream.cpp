// SPDX-License-Identifier: Apache-2.0
//
// uvc_stream -r RESOLUTION -f RATE -p PORT [-b] -m MODE -mail 1: the camera's process of the virtual
// appliance. It has one picture and no stream. With -b it goes to the background once it can be signalled.
// SIGUSR1 takes a picture and mails it with the words that it finds in /tmp, and "-mail 1" does so at the
// start; SIGUSR2, at which a camera gets ready, finds this one always ready.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <string_view>
#include <unistd.h>

#include <plexor/mail.h>

#include "nvram.h"

namespace
{

struct Options {
    bool background = false;
    bool mail = false;
};

// Each option but -b has a value.
bool read_options(int argc, char **argv, Options &options)
{
    for (int i = 1; i < argc; ++i) {
        const std::string_view name = argv[i];
        if (name == "-b") {
            options.background = true;
            continue;
        }
        if (name != "-r" && name != "-f" && name != "-p" && name != "-m" && name != "-mail")
            return false;
        if (++i == argc)
            return false;
        options.mail = options.mail || (name == "-mail" && std::string_view(argv[i]) == "1");
    }
    return true;
}

sigset_t signals()
{
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : {SIGUSR1, SIGUSR2, SIGTERM})
        sigaddset(&set, signal);
    return set;
}

void write_pid(pid_t pid)
{
    std::ofstream("/tmp/uvc_pid.txt") << pid;
}

// The process that was started ends when the one that stays can be found and signalled.
void go_to_background()
{
    const pid_t child = fork();
    if (child != 0) {
        write_pid(child);
        _exit(child > 0 ? 0 : 1);
    }
    setsid();
    for (FILE *stream : {stdout, stderr})
        if (std::freopen("/tmp/uvc_stream.log", "a", stream) != nullptr)
            std::setvbuf(stream, nullptr, _IOLBF, BUFSIZ);
}

void take_picture()
{
    std::filesystem::copy_file(PLEXOR_PICTURE, "/tmp/uvcmail.jpg",
                               std::filesystem::copy_options::overwrite_existing);
}

std::string words(const char *path)
{
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string setting(const char *key)
{
    return nvram_bufget(0, key);
}

void mail_picture()
{
    std::string to = setting("email_to") + ";" + setting("email_to_PX");
    std::string user = setting("email_user");
    std::string subject = words("/tmp/uvc_mail.subject");
    std::string body = words("/tmp/uvc_mail.body");
    const std::string tls = setting("email_tls");
    const auto bytes = [](std::string &text) { return reinterpret_cast<unsigned char *>(text.data()); };
    take_picture();
    KSendTextMail(setting("email_from").c_str(), to.data(), user.data(), setting("email_pwd").c_str(),
                  setting("email_smtp").c_str(), std::atoi(setting("email_port").c_str()),
                  tls == "1" || tls == "tls" ? 1 : 0, bytes(subject), bytes(body), 1);
}

void serve(const sigset_t &set)
{
    for (int signal = 0; sigwait(&set, &signal) == 0 && signal != SIGTERM;) {
        if (signal == SIGUSR1)
            mail_picture();
    }
}

} // namespace

int main(int argc, char **argv)
{
    Options options;
    if (!read_options(argc, argv, options)) {
        std::cerr << "Usage: uvc_stream -r RESOLUTION -f RATE -p PORT [-b] -m MODE [-mail 1]\n";
        return 2;
    }
    if (getenv("PLEXOR_APPLIANCE") == nullptr) {
        std::cerr << "uvc_stream: this is a part of the virtual appliance; see plexor-run --help\n";
        return 1;
    }
    const sigset_t set = signals();
    sigprocmask(SIG_BLOCK, &set, nullptr);
    if (options.background)
        go_to_background();
    else
        write_pid(getpid());
    if (options.mail)
        mail_picture();
    serve(set);
}
