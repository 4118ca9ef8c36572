// SPDX-License-Identifier: Apache-2.0
// A file descriptor that is closed once.
#pragma once

#include <unistd.h>

#include <utility>

namespace plexor
{

class Descriptor
{
  public:
    explicit Descriptor(int fd) : fd_(fd) {}
    Descriptor(Descriptor &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    Descriptor &operator=(Descriptor &&) = delete;
    ~Descriptor()
    {
        if (fd_ >= 0)
            ::close(fd_);
    }

    explicit operator bool() const { return fd_ >= 0; }
    int get() const { return fd_; }
    int release() { return std::exchange(fd_, -1); }
    int close() { return ::close(std::exchange(fd_, -1)); }

  private:
    int fd_;
};

} // namespace plexor
