// SPDX-License-Identifier: Apache-2.0
// One attachment of a System V segment, detached once.
#pragma once

#include <sys/ipc.h>
#include <sys/shm.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace plexor
{

class Attachment
{
  public:
    Attachment() = default;
    explicit Attachment(int id, int flags = 0) : address_(::shmat(id, nullptr, flags)) {}
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
    int detach() { return ::shmdt(std::exchange(address_, failed())); }

  private:
    // shmat reports failure as the pointer with all bits set.
    static void *failed() { return reinterpret_cast<void *>(~std::uintptr_t{0}); }

    void *address_{failed()};
};

inline Attachment attach(key_t key)
{
    const int id = ::shmget(key, 0, 0);
    return id < 0 ? Attachment() : Attachment(id);
}

// A segment that does not exist yet is created with permission bits 0: only privileged processes use it.
inline Attachment attach_or_create(key_t key, std::size_t size)
{
    int id = ::shmget(key, 0, 0);
    if (id < 0 && errno == ENOENT)
        id = ::shmget(key, size, IPC_CREAT);
    return id < 0 ? Attachment() : Attachment(id);
}

} // namespace plexor
