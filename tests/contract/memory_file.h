// SPDX-License-Identifier: Apache-2.0
// Files that live in memory, and what is in them.
#pragma once

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <string>

namespace plexor::tests
{

// A descriptor that reads text from its start.
inline int make_memory_file(const std::string &text)
{
    const int descriptor = memfd_create("contract-test", MFD_CLOEXEC);
    EXPECT_EQ(pwrite(descriptor, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
    return descriptor;
}

inline std::string contents_of(int descriptor)
{
    std::string text(static_cast<std::size_t>(lseek(descriptor, 0, SEEK_END)), '\0');
    EXPECT_EQ(pread(descriptor, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
    return text;
}

} // namespace plexor::tests
