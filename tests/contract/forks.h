// SPDX-License-Identifier: Apache-2.0
// Children of this process.
#pragma once

#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstddef>
#include <functional>
#include <iterator>
#include <thread>

namespace plexor::tests
{

// Waits for the child's end; -1 where it did not leave by itself.
inline int exit_status_of(int child)
{
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// From now on no new process of this thread: each attempt ends with EAGAIN. There is no way back.
inline void forbid_forks()
{
    constexpr unsigned allowed = SECCOMP_RET_ALLOW;
    constexpr unsigned refused = SECCOMP_RET_ERRNO | EAGAIN;
    sock_filter rules[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
#ifdef SYS_vfork
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_vfork, 2, 0),
#endif
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_clone, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, allowed),
        BPF_STMT(BPF_RET | BPF_K, refused),
    };
    const sock_fprog program{static_cast<unsigned short>(std::size(rules)), rules};
    ASSERT_EQ(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
    ASSERT_EQ(prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program), 0);
}

// Runs action where no process can be forked: in a thread that ends with it.
inline void without_forks(const std::function<void()> &action)
{
    std::thread([&] {
        forbid_forks();
        if (!testing::Test::HasFatalFailure())
            action();
    }).join();
}

} // namespace plexor::tests
