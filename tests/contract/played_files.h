// SPDX-License-Identifier: Apache-2.0
// Files that a test plays in place of those at the same paths.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tests/contract/answers.h"
#include "tests/contract/memory_file.h"

namespace plexor::tests
{

// Each is a file in memory. What is opened is a real descriptor of it, so it may be wrapped in a stream.
class PlayedFiles
{
  public:
    PlayedFiles() = default;
    PlayedFiles(const PlayedFiles &) = delete;
    PlayedFiles &operator=(const PlayedFiles &) = delete;
    ~PlayedFiles()
    {
        for (const auto &[path, memory] : files_)
            forget(memory);
    }

    bool plays(const std::string &path) const { return files_.contains(path); }

    void set(const std::string &path, const std::string &text)
    {
        int &memory = files_.try_emplace(path, absent).first->second;
        if (memory == absent)
            memory = make_memory_file("");
        EXPECT_EQ(ftruncate(memory, 0), 0);
        EXPECT_EQ(pwrite(memory, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
    }

    void remove(const std::string &path)
    {
        const auto found = files_.try_emplace(path, absent).first;
        forget(std::exchange(found->second, absent));
    }

    // "" where there is no such file.
    std::string text_of(const std::string &path) const
    {
        const auto found = files_.find(path);
        return found == files_.end() || found->second == absent ? "" : contents_of(found->second);
    }

    int open(const std::string &path, int flags)
    {
        int &memory = files_.at(path);
        if (memory == absent && (flags & O_CREAT) == 0)
            return fail_with(ENOENT);
        if (memory == absent)
            memory = make_memory_file("");
        return ::open(link_of(memory).c_str(), flags & ~(O_CREAT | O_EXCL | O_NOFOLLOW));
    }

    // The path of a file that was opened, "" for other descriptors.
    std::string path_of(int descriptor) const
    {
        const auto is_it = [&](const auto &file) { return same_file(file.second, descriptor); };
        const auto found = std::find_if(files_.begin(), files_.end(), is_it);
        return found == files_.end() ? "" : found->first;
    }

    // Those that are open, of one path or of all.
    std::vector<int> descriptors(const std::string &path = "") const
    {
        std::vector<int> open;
        for (const auto &link : std::filesystem::directory_iterator("/proc/self/fd")) {
            const int descriptor = std::stoi(link.path().filename());
            const std::string found = path_of(descriptor);
            if (!found.empty() && (path.empty() || path == found))
                open.push_back(descriptor);
        }
        return open;
    }

  private:
    static constexpr int absent = -1;

    static void forget(int memory)
    {
        if (memory != absent)
            ::close(memory);
    }

    static std::string link_of(int memory) { return "/proc/self/fd/" + std::to_string(memory); }

    // Another descriptor of the same file.
    static bool same_file(int memory, int descriptor)
    {
        struct stat one {
        };
        struct stat other {
        };
        return memory != descriptor && fstat(memory, &one) == 0 && fstat(descriptor, &other) == 0 &&
               one.st_dev == other.st_dev && one.st_ino == other.st_ino;
    }

    std::map<std::string, int> files_{{"/etc/resolv.conf", absent}, {"/proc/net/route", absent}};
};

} // namespace plexor::tests
