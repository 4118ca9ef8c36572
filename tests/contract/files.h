// SPDX-License-Identifier: Apache-2.0
// Files of the private /tmp, as the tests write and read them.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace plexor::tests
{

inline void write_file(const std::string &path, const std::string &text)
{
    std::ofstream(path, std::ios::binary) << text;
}

inline std::string text_of(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// One with a name, at whose other end nobody is.
inline void make_pipe(const std::string &path)
{
    EXPECT_EQ(mkfifo(path.c_str(), 0600), 0) << path;
}

inline bool exists(const std::string &path)
{
    return std::filesystem::exists(std::filesystem::symlink_status(path));
}

// Type and permission bits, as "0100600" is for a file that only its owner reads and writes.
inline unsigned mode_of(const std::string &path)
{
    struct stat status {
    };
    return lstat(path.c_str(), &status) == 0 ? status.st_mode : 0;
}

// This process's descriptors of a file.
inline std::vector<int> descriptors_of(const std::string &path)
{
    std::vector<int> open;
    for (const auto &link : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone; // as the iterator's own descriptor will be
        if (std::filesystem::read_symlink(link.path(), gone) == path)
            open.push_back(std::stoi(link.path().filename()));
    }
    return open;
}

} // namespace plexor::tests
