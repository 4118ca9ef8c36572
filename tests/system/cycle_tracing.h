// SPDX-License-Identifier: Apache-2.0
// Children that are watched while they write the record of the power cycles, and killed in the midst of it.
#pragma once

#include <plexor/cycle.h>
#include <sys/ptrace.h>
#include <sys/shm.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace plexor::tests
{

// The segment, while the object lives. All zeros at first when there was none.
class SharedRecord
{
  public:
    SharedRecord() : id_(shmget(PLEXOR_CYCLE_KEY, sizeof(plexor_cycles), IPC_CREAT))
    {
        address_ = shmat(id_, nullptr, 0);
        if (address_ == reinterpret_cast<void *>(-1))
            throw std::runtime_error("no cycle segment");
    }
    ~SharedRecord() { shmdt(address_); }
    SharedRecord(const SharedRecord &) = delete;
    SharedRecord &operator=(const SharedRecord &) = delete;

    plexor_cycles &operator*() const { return *static_cast<plexor_cycles *>(address_); }
    plexor_cycles *operator->() const { return &**this; }

  private:
    int id_;
    void *address_{};
};

inline bool same(const plexor_cycles &a, const plexor_cycles &b)
{
    return std::memcmp(&a, &b, sizeof a) == 0;
}

// Of the outlets that run by the table.
inline unsigned running_mask(const plexor_cycles &record)
{
    unsigned mask = 0;
    std::istringstream table(record.table);
    std::string field;
    for (int i = 0; std::getline(table, field, ';'); ++i)
        mask |= i >= 8 && field == "2" ? 1U << (i - 8) : 0;
    return mask;
}

using Action = std::function<void()>;

// A child that stands still before its action.
class TracedChild
{
  public:
    explicit TracedChild(const Action &action) : pid_(fork())
    {
        if (pid_ == 0) {
            ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
            raise(SIGSTOP);
            action();
            _exit(0);
        }
        if (waitpid(pid_, &status_, 0) != pid_ || !WIFSTOPPED(status_))
            throw std::runtime_error("no traced child");
    }
    ~TracedChild()
    {
        if (!is_alive())
            return;
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    TracedChild(const TracedChild &) = delete;
    TracedChild &operator=(const TracedChild &) = delete;

    // False when the child has ended.
    bool to_next_call() { return go_on(PTRACE_SYSCALL); } // its beginning or its end
    bool to_next_instruction() { return go_on(PTRACE_SINGLESTEP); }
    // A step over a system call does not stop at it, so it is looked for. Written for x86-64.
    bool calls_next() const
    {
        user_regs_struct registers{};
        ptrace(PTRACE_GETREGS, pid_, nullptr, &registers);
        constexpr long syscall_instruction = 0x050F;
        return (ptrace(PTRACE_PEEKTEXT, pid_, registers.rip, nullptr) & 0xFFFF) == syscall_instruction;
    }
    bool ended_well() const { return WIFEXITED(status_) && WEXITSTATUS(status_) == 0; }

  private:
    bool is_alive() const { return WIFSTOPPED(status_); }
    bool go_on(__ptrace_request how)
    {
        const int signal = WSTOPSIG(status_);
        const bool traced = signal == SIGTRAP || signal == SIGSTOP;
        if (ptrace(how, pid_, nullptr, traced ? 0L : signal) != 0 || waitpid(pid_, &status_, 0) != pid_)
            throw std::runtime_error("the traced child is lost");
        return is_alive();
    }

    pid_t pid_;
    int status_{};
};

// False when the action ended before its n-th stop at a system call.
inline bool is_killed_at_call(unsigned n, const Action &action)
{
    TracedChild child(action);
    for (; n > 0; --n) {
        if (!child.to_next_call())
            return false;
    }
    return true;
}

// At which stops at system calls the record is another than at the stop before.
inline std::vector<unsigned> stops_with_changes(const SharedRecord &record, const Action &action)
{
    std::vector<unsigned> stops;
    TracedChild child(action);
    plexor_cycles last = *record;
    for (unsigned stop = 1; child.to_next_call(); ++stop) {
        if (!same(last, *record))
            stops.push_back(stop);
        last = *record;
    }
    return stops;
}

// Leads a child along the changes that it makes to the record. Between system calls that leave the record alone
// nobody looks for them, for that takes long.
class Walk
{
  public:
    // The stops are those of another child that did the same.
    Walk(const SharedRecord &record, const std::vector<unsigned> &stops, const Action &action)
        : record_(record), stops_(stops), child_(action), last_(*record)
    {
    }

    // False when there is none; the child has ended then.
    bool to_next_change()
    {
        for (last_ = *record_; same(last_, *record_);) {
            if (child_.calls_next() || next_ == stops_.size() || stop_ + 1 < stops_[next_]) {
                if (!to_next_call())
                    return false;
            } else if (!child_.to_next_instruction()) {
                return false;
            }
        }
        return true;
    }
    bool ended_well() const { return child_.ended_well(); }

  private:
    bool to_next_call()
    {
        ++stop_;
        while (next_ < stops_.size() && stops_[next_] <= stop_)
            ++next_;
        return child_.to_next_call();
    }

    const SharedRecord &record_;
    std::vector<unsigned> stops_;
    TracedChild child_;
    plexor_cycles last_;
    unsigned stop_{};
    std::size_t next_{};
};

// The record after each instruction that changed it: what a kill there leaves.
inline std::vector<plexor_cycles> records_during(const SharedRecord &record, const Action &lay,
                                                 const Action &action)
{
    lay();
    const std::vector<unsigned> stops = stops_with_changes(record, action);
    lay();
    std::vector<plexor_cycles> records{*record};
    Walk walk(record, stops, action);
    while (walk.to_next_change())
        records.push_back(*record);
    if (!walk.ended_well() || !same(records.back(), *record))
        throw std::runtime_error("the traced child did not do the same twice");
    return records;
}

} // namespace plexor::tests
