// SPDX-License-Identifier: Apache-2.0
// Calls that wait for other programs while signals come, and mails sent at the same time.
#include <sys/time.h>

#include <atomic>
#include <csignal>
#include <thread>

#include <plexor/companion.h>

#include "tests/contract/mail_story.h"
#include "tests/contract/programs.h"

namespace plexor::tests
{
namespace
{

// A signal every 10 ms whose handler lets the call that it interrupts fail.
class Alarm
{
  public:
    Alarm()
    {
        struct sigaction action {
        };
        action.sa_handler = [](int) { rings = rings + 1; };
        sigaction(SIGALRM, &action, &before_);
        rings = 0;
        every(10'000);
    }
    Alarm(const Alarm &) = delete;
    Alarm &operator=(const Alarm &) = delete;
    ~Alarm()
    {
        every(0);
        sigaction(SIGALRM, &before_, nullptr);
        EXPECT_GT(rings, 2);
    }

  private:
    static void every(suseconds_t microseconds)
    {
        const itimerval interval{{0, microseconds}, {0, microseconds}};
        setitimer(ITIMER_REAL, &interval, nullptr);
    }

    inline static volatile std::sig_atomic_t rings;
    struct sigaction before_ {
    };
};

class InterruptedMail : public MailStory
{
  protected:
    InterruptedMail()
    {
        run_piped_commands();
        letter.attach = 1;
        write_file(picture_path, std::string(300'000, 'p'));
    }
    std::string received()
    {
        EXPECT_EQ(send(), closing().size());
        return text_of("/tmp/plexor-programs/message");
    }
};

TEST_F(InterruptedMail, ArrivesWhole)
{
    const RecordingProgram esmtp("esmtp", "sleep 0.2; cat >/tmp/plexor-programs/message");
    const std::string undisturbed = received();
    EXPECT_GT(undisturbed.size(), 400'000U);
    const Alarm alarm;
    EXPECT_EQ(received(), undisturbed);
}

class InterruptedSearch : public Appliance
{
};

TEST_F(InterruptedSearch, FindsTheCameraAllTheSame)
{
    run_piped_commands();
    const RecordingProgram ps("ps", "sleep 0.2; echo uvc_stream; echo uvc_stream");
    const RunningProgram camera("/tmp/plexor-camera/uvc_stream");
    write_file("/tmp/uvc_pid.txt", std::to_string(camera.pid()));
    int found = 0;
    const Alarm alarm;
    const std::string said = standard_error_of([&] { found = readUvcPid(); });
    EXPECT_EQ(found, camera.pid()) << said;
}

class MailAtOnce : public MailStory
{
};

TEST_F(MailAtOnce, AlwaysHasSettingsForTheClientOfAnother)
{
    send();
    std::atomic<bool> over = false;
    int missing = 0;
    std::thread other([&] {
        while (!over)
            missing += exists(settings_path) ? 0 : 1;
    });
    for (int i = 0; i < 300; ++i)
        send();
    over = true;
    other.join();
    EXPECT_EQ(missing, 0);
}

} // namespace
} // namespace plexor::tests
