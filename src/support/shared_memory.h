// SPDX-License-Identifier: Apache-2.0
// One attachment of a System V segment, detached once.
#pragma once

#include <sys/shm.h>

#include <cstdint>
#include <utility>

namespace plexor
{

class Attachment
{
  public:
    Attachment() = default;
    explicit Attachment(int id) : address_(::shmat(id, nullptr, 0)) {}
    Attachment(Attachment &&other) noexcept : address_(std::exchange(other.address_, failed())) {}
    Attachment(const Attachment &) = delete;
    Attachment &operator=(const Attachment &) = delete;
    Attachment &operator=(Attachment &&) = delete;
    ~Attachment()
    {
        if (*this)
            ::shmdt(address_);
    }

    explicit operator bool() const { return address_ != failed(); }
    void *get() const { return address_; }

  private:
    // shmat reports failure as the pointer with all bits set.
    static void *failed() { return reinterpret_cast<void *>(~std::uintptr_t{0}); }

    void *address_{failed()};
};

} // namespace plexor
