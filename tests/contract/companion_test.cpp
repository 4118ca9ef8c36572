// SPDX-License-Identifier: Apache-2.0
// Other processes, found by their process-id files and signalled.
#include <cerrno>
#include <csignal>
#include <filesystem>

#include <plexor/companion.h>

#include "tests/contract/appliance.h"
#include "tests/contract/call_text.h"
#include "tests/contract/files.h"
#include "tests/contract/programs.h"

namespace plexor::tests
{
namespace
{

const std::string camera_pid_file = "/tmp/uvc_pid.txt";
const std::string camera_program = "/tmp/plexor-x/uvc_stream";
const std::string count_command = "popen r ps | grep -c uvc_stream\n";

// --- the camera process ---

class Camera : public Appliance
{
  protected:
    Camera()
    {
        std::filesystem::remove_all(camera_pid_file);
        commands_print("2\n");
    }
    ~Camera() override { std::filesystem::remove_all(camera_pid_file); }

    int read_pid()
    {
        int pid = -1;
        printed = standard_error_of([&] { pid = readUvcPid(); });
        return pid;
    }
    int running()
    {
        int pid = -1;
        printed = standard_error_of([&] { pid = isUVCRuning(); });
        return pid;
    }
    int pid_with_count(const std::string &count)
    {
        commands_print(count);
        return read_pid();
    }
    int pid_from(const std::string &text)
    {
        write_file(camera_pid_file, text);
        return read_pid();
    }
    static std::string found(int pid, const std::string &program)
    {
        return print("uvc_stream count1a:2\nprepid:%d,%s\n", pid, program.c_str());
    }

    std::string printed{};
};

// One that runs the program at a path, with its process-id file.
class RunningCamera : public RunningProgram
{
  public:
    explicit RunningCamera(const std::string &path = camera_program) : RunningProgram(path)
    {
        write_file(camera_pid_file, std::to_string(pid()) + "\n");
    }
};

TEST_F(Camera, IsFoundByItsLinesItsFileAndItsProgram)
{
    const RunningCamera camera;
    EXPECT_EQ(read_pid(), camera.pid());
    EXPECT_EQ(printed, found(camera.pid(), camera_program));
    EXPECT_EQ(calls(), (Calls{count_command, "pclose"}));
}

TEST_F(Camera, IsNotThereWhenOnlyTheSearchItselfNamesIt)
{
    const RunningCamera camera;
    for (const int count : {-2, 0, 1}) {
        EXPECT_EQ(pid_with_count(std::to_string(count) + "\n"), 0);
        EXPECT_EQ(printed, print("uvc_stream count1a:%d\n", count));
    }
}

TEST_F(Camera, MayHaveMoreLines)
{
    const RunningCamera camera;
    EXPECT_EQ(pid_with_count("3\n"), camera.pid());
    EXPECT_EQ(pid_with_count(" 117"), camera.pid());
}

TEST_F(Camera, IsNotThereWhenNothingIsCounted)
{
    const RunningCamera camera;
    for (const char *count : {"", "\n", "none\n"}) {
        EXPECT_EQ(pid_with_count(count), 0) << count;
        EXPECT_EQ(printed, "uvc_stream count1a:0\n");
    }
}

TEST_F(Camera, IsNotThereWhenTheCountCannotBeTaken)
{
    const RunningCamera camera;
    fail_call("popen", EMFILE);
    EXPECT_EQ(read_pid(), 0);
    EXPECT_EQ(printed, "uvc_stream count1a:0\n");
}

TEST_F(Camera, IsCountedByARealShell)
{
    const RunningCamera camera;
    const RecordingProgram ps("ps", "echo 1 init; echo 7 uvc_stream -r; echo 8 grep -c uvc_stream");
    run_piped_commands();
    EXPECT_EQ(read_pid(), camera.pid());
    EXPECT_EQ(printed, found(camera.pid(), camera_program));
}

TEST_F(Camera, IsNotThereWithoutItsFile)
{
    const RunningProgram program(camera_program);
    EXPECT_EQ(read_pid(), 0);
    EXPECT_EQ(printed, "uvc_stream count1a:2\n");
}

TEST_F(Camera, IsNotThereWhenItsFileHoldsNoProcess)
{
    const RunningProgram program(camera_program);
    for (const char *text : {"", "\n", "uvc", "0", "-1", "99999999", "99999999999999999999", "x12"}) {
        EXPECT_EQ(pid_from(text), 0) << text;
        EXPECT_EQ(printed, "uvc_stream count1a:2\n");
    }
}

TEST_F(Camera, IsNotThereWhenItsFileIsAPipe)
{
    make_pipe(camera_pid_file);
    EXPECT_EQ(read_pid(), 0);
    EXPECT_EQ(printed, "uvc_stream count1a:2\n");
    EXPECT_EQ(running(), 0);
    EXPECT_FALSE(exists(camera_pid_file));
}

TEST_F(Camera, HasTheNumberAtTheFrontOfItsFile)
{
    const RunningProgram program(camera_program);
    const std::string pid = std::to_string(program.pid());
    for (const auto &text : {pid, " \n\t" + pid, "+" + pid, "000" + pid + "x", pid + " 1"})
        EXPECT_EQ(pid_from(text), program.pid()) << text;
}

TEST_F(Camera, IsNotThereWhenItsProcessHasEnded)
{
    RunningCamera camera;
    camera.stop();
    EXPECT_EQ(read_pid(), 0);
}

TEST_F(Camera, IsNotAProcessOfAnotherProgram)
{
    for (const char *path :
         {"/tmp/plexor-x/other", "/tmp/plexor-x/my_uvc_stream", "/tmp/plexor-x/uvc_strea"}) {
        const RunningCamera camera(path);
        EXPECT_EQ(read_pid(), 0) << path;
        EXPECT_EQ(printed, "uvc_stream count1a:2\n");
    }
}

TEST_F(Camera, IsAnyProgramWithItsNameInThePath)
{
    for (const std::string path : {"/tmp/plexor-x/uvc_stream2", "/tmp/uvc_stream.d/other"}) {
        const RunningCamera camera(path);
        EXPECT_EQ(read_pid(), camera.pid()) << path;
        EXPECT_EQ(printed, found(camera.pid(), path));
    }
}

TEST_F(Camera, IsFoundByTheFirst255CharactersOfItsPath)
{
    const std::string name = "/uvc_stream";
    const std::string folder = "/tmp/" + std::string(255 - 5 - name.size(), 'd');
    const RunningCamera whole(folder + name);
    EXPECT_EQ(read_pid(), whole.pid());
    EXPECT_EQ(printed, found(whole.pid(), folder + name));
    const RunningCamera cut(folder + "d" + name);
    EXPECT_EQ(read_pid(), 0);
}

TEST_F(Camera, IsRunningWhenItAnswersSignalZero)
{
    const RunningCamera camera;
    add_process(camera.pid());
    EXPECT_EQ(running(), camera.pid());
    EXPECT_EQ(calls(), (Calls{count_command, "pclose", print("kill %d 0", camera.pid())}));
    EXPECT_EQ(printed, found(camera.pid(), camera_program));
    EXPECT_TRUE(exists(camera_pid_file));
}

TEST_F(Camera, ThatDoesNotAnswerLosesItsFile)
{
    const RunningCamera camera;
    EXPECT_EQ(running(), 0);
    EXPECT_EQ(calls("kill"), Calls{print("kill %d 0", camera.pid())});
    EXPECT_FALSE(exists(camera_pid_file));
}

TEST_F(Camera, ThatIsNotThereLosesItsFileUnsignalled)
{
    write_file(camera_pid_file, "99999999");
    EXPECT_EQ(running(), 0);
    EXPECT_EQ(calls("kill"), Calls{});
    EXPECT_FALSE(exists(camera_pid_file));
}

TEST_F(Camera, LeavesItsFileWhereItIsWhenItIsOnlyLookedFor)
{
    EXPECT_EQ(pid_from("99999999"), 0);
    EXPECT_TRUE(exists(camera_pid_file));
}

TEST_F(Camera, MayHaveLostItsFileBefore)
{
    EXPECT_EQ(running(), 0);
    EXPECT_FALSE(exists(camera_pid_file));
}

// --- daemons ---

class Daemon : public Appliance
{
  protected:
    void expect_unsent(int result)
    {
        EXPECT_EQ(SendSignalToProc(SIGTERM, "cnt3"), result);
        EXPECT_EQ(calls(), Calls{});
    }
    void name_process(int pid) { write_pid_file("cnt3", std::to_string(pid) + "\n"); }
    static std::string logged(int signal, const std::string &name)
    {
        return print("syslog 6 SendSignalToProc:%d -> %s\n", signal, name.c_str());
    }

    RunningProgram cnt3{"/tmp/plexor-x/cnt3"};
};

TEST_F(Daemon, IsSignalledAfterTheSignalWasLogged)
{
    name_process(cnt3.pid());
    add_process(cnt3.pid());
    for (const int signal : {SIGTERM, SIGUSR1, 0}) {
        forget_calls();
        EXPECT_EQ(SendSignalToProc(signal, "cnt3"), 0);
        EXPECT_EQ(calls(), (Calls{logged(signal, "cnt3"), print("kill %d %d", cnt3.pid(), signal)}));
    }
}

TEST_F(Daemon, ThatDoesNotTakeTheSignalGivesTheResultOfKill)
{
    name_process(cnt3.pid());
    EXPECT_EQ(SendSignalToProc(SIGTERM, "cnt3"), -1);
    EXPECT_EQ(calls(), (Calls{logged(SIGTERM, "cnt3"), print("kill %d %d", cnt3.pid(), SIGTERM)}));
}

TEST_F(Daemon, WithoutAFileIsNotSignalled)
{
    expect_unsent(-2);
}

TEST_F(Daemon, WithoutANameIsNotSignalled)
{
    write_pid_file("(null)", std::to_string(cnt3.pid())); // as some C libraries print no text
    EXPECT_EQ(SendSignalToProc(SIGTERM, nullptr), -2);
    EXPECT_EQ(calls(), Calls{});
}

TEST_F(Daemon, WhoseFileHoldsNoProcessIsNotSignalled)
{
    for (const char *text : {"", "\n", "cnt3", "0", "-1", "x12"}) {
        write_pid_file("cnt3", text);
        expect_unsent(-3);
    }
}

TEST_F(Daemon, ThatHasEndedIsNotSignalled)
{
    name_process(cnt3.pid());
    cnt3.stop();
    add_process(cnt3.pid());
    expect_unsent(-4);
}

TEST_F(Daemon, OfAnotherProgramIsNotSignalled)
{
    const RunningProgram other("/tmp/plexor-x/other");
    name_process(other.pid());
    add_process(other.pid());
    expect_unsent(-5);
}

TEST_F(Daemon, IsAnyProgramWithTheNameInItsPath)
{
    const RunningProgram other("/tmp/plexor-x-cnt3.d/other");
    name_process(other.pid());
    add_process(other.pid());
    EXPECT_EQ(SendSignalToProc(SIGTERM, "cnt3"), 0);
}

TEST_F(Daemon, HasANameOfUpTo86Characters)
{
    const std::string longest(86, 'n');
    const RunningProgram program("/tmp/plexor-x/" + longest + "n");
    add_process(program.pid());
    for (const auto &name : {longest, longest + "n"})
        write_pid_file(name, std::to_string(program.pid()));
    EXPECT_EQ(SendSignalToProc(SIGTERM, longest.c_str()), 0);
    EXPECT_EQ(SendSignalToProc(SIGTERM, (longest + "n").c_str()), -2);
}

TEST_F(Daemon, HasConversionsInItsNameLoggedAsTheyAre)
{
    const RunningProgram program("/tmp/plexor-x/%n%s");
    write_pid_file("%n%s", std::to_string(program.pid()));
    add_process(program.pid());
    EXPECT_EQ(SendSignalToProc(SIGTERM, "%n%s"), 0);
    EXPECT_EQ(calls("syslog"), Calls{logged(SIGTERM, "%n%s")});
}

} // namespace
} // namespace plexor::tests
