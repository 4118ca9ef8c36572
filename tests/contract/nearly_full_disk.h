// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>

namespace plexor::tests
{

// For as long as it lives this process's files grow to 64 bytes, which is more than the message of an error and
// less than the settings.
class NearlyFullDisk
{
  public:
    NearlyFullDisk() : signal_before_(std::signal(SIGXFSZ, SIG_IGN))
    {
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit{64, before_.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    }
    NearlyFullDisk(const NearlyFullDisk &) = delete;
    NearlyFullDisk &operator=(const NearlyFullDisk &) = delete;
    ~NearlyFullDisk()
    {
        setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, signal_before_);
    }

  private:
    rlimit before_{};
    void (*signal_before_)(int);
};

} // namespace plexor::tests
