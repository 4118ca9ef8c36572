// SPDX-License-Identifier: Apache-2.0
// Children for tests: each runs an action and ends with it.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>

namespace plexor::tests
{

// The child ends with status 0 when the action returns true.
inline pid_t start_child(const std::function<bool()> &action)
{
    const pid_t child = fork();
    if (child == 0)
        _exit(action() ? 0 : 1);
    return child;
}

inline bool ended_well(pid_t child)
{
    int status = -1;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

inline bool in_child(const std::function<bool()> &action)
{
    return ended_well(start_child(action));
}

inline void kill_child(pid_t child)
{
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

// A folder that is gone with the object; a child's copy leaves it alone when it ends by _exit.
class ScratchFolder
{
  public:
    ScratchFolder()
    {
        std::string name = std::filesystem::temp_directory_path() / "plexor-test.XXXXXX";
        if (mkdtemp(name.data()) == nullptr)
            throw std::runtime_error("no scratch folder");
        path_ = name;
    }
    ~ScratchFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchFolder(const ScratchFolder &) = delete;
    ScratchFolder &operator=(const ScratchFolder &) = delete;

    const std::string &path() const { return path_; }

  private:
    std::string path_{};
};

} // namespace plexor::tests
