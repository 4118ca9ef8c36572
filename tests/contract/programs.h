// SPDX-License-Identifier: Apache-2.0
// Programs that the tests make and run: under a path of their choice, or as recorders of what they are given.
#pragma once

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "tests/contract/files.h"

namespace plexor::tests
{

// A process that sleeps until it is stopped, its program lying at path.
class RunningProgram
{
  public:
    explicit RunningProgram(const std::filesystem::path &path)
    {
        std::filesystem::create_directories(path.parent_path());
        std::filesystem::copy_file("/bin/sleep", path, std::filesystem::copy_options::overwrite_existing);
        std::string words[] = {path, "1000"};
        char *const arguments[] = {words[0].data(), words[1].data(), nullptr};
        EXPECT_EQ(posix_spawn(&pid_, path.c_str(), nullptr, nullptr, arguments, environ), 0);
    }
    RunningProgram(const RunningProgram &) = delete;
    RunningProgram &operator=(const RunningProgram &) = delete;
    ~RunningProgram() { stop(); }

    int pid() const { return pid_; }
    void stop()
    {
        if (!running_)
            return;
        ::kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        running_ = false;
    }

  private:
    pid_t pid_{};
    bool running_{true};
};

// What was written down of arguments, each ended by a zero.
inline std::vector<std::string> arguments_in(const std::string &path)
{
    std::istringstream list(text_of(path));
    std::vector<std::string> arguments;
    for (std::string argument; std::getline(list, argument, '\0');)
        arguments.push_back(argument);
    return arguments;
}

// A program of this name that the shell finds first. It runs the script, after writing its arguments down.
class RecordingProgram
{
  public:
    RecordingProgram(const std::string &name, const std::string &script) : path_before_(std::getenv("PATH"))
    {
        std::filesystem::create_directories(folder);
        write_file(folder + "/" + name,
                   "#!/bin/sh\nprintf '%s\\0' \"$@\" >" + folder + "/arguments\n" + script);
        std::filesystem::permissions(folder + "/" + name, std::filesystem::perms::owner_all);
        setenv("PATH", (folder + ":" + path_before_).c_str(), 1);
    }
    RecordingProgram(const RecordingProgram &) = delete;
    RecordingProgram &operator=(const RecordingProgram &) = delete;
    ~RecordingProgram()
    {
        setenv("PATH", path_before_.c_str(), 1);
        std::filesystem::remove_all(folder);
    }

    // Of its last run.
    std::vector<std::string> arguments() const { return arguments_in(folder + "/arguments"); }

  private:
    inline static const std::string folder = "/tmp/plexor-programs";

    std::string path_before_;
};

// Texts that mean something to a shell, a printf or a command line; the attempts would make /tmp/owned.
inline const std::vector<std::string> hostile_texts{"a\"b",
                                                    "$(touch /tmp/owned)",
                                                    "`touch /tmp/owned`",
                                                    "a;touch /tmp/owned",
                                                    "a|touch /tmp/owned",
                                                    "a&touch /tmp/owned",
                                                    "a;b",
                                                    "a|b",
                                                    "a&b",
                                                    "(a)",
                                                    "a\ntouch /tmp/owned",
                                                    "'; touch /tmp/owned; '",
                                                    "\"; touch /tmp/owned; \"",
                                                    "-x",
                                                    "--help",
                                                    "%n%s%d",
                                                    "it's",
                                                    "a\\b",
                                                    "a\\",
                                                    "\\\"",
                                                    "a b  c",
                                                    "a\tb",
                                                    "$HOME",
                                                    "~",
                                                    "<in>/tmp/owned",
                                                    "*?[a]",
                                                    "/[t]mp",
                                                    "{a,b}",
                                                    "#a",
                                                    "a=b",
                                                    "!"};

} // namespace plexor::tests
