// SPDX-License-Identifier: Apache-2.0
// The pid file, and the lock on it that keeps a second plexord away: a lock ends with its process, a number in
// a file does not.
#pragma once

#include <sys/types.h>

#include <optional>

#include "support/descriptor.h"

namespace plexor::ctl
{

// The file is there as long as the object, or until its process exits: the library ends a process by itself.
class PidFile
{
  public:
    // Nothing, after a line on standard error, when another plexord runs.
    static std::optional<PidFile> take();

    PidFile(PidFile &&) = default;
    PidFile(const PidFile &) = delete;
    PidFile &operator=(const PidFile &) = delete;
    PidFile &operator=(PidFile &&) = delete;
    ~PidFile();

    // Writes this process's number and opens the system log. False after a line on standard error.
    bool write() const;

    // After a fork: from here on the file is the child's to remove. Called on both sides.
    static void pass_to(pid_t process);

    // In another child: there the lock would outlive plexord.
    void let_go() { lock_.close(); }

  private:
    explicit PidFile(Descriptor lock);

    Descriptor lock_;
};

} // namespace plexor::ctl
