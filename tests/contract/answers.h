// SPDX-License-Identifier: Apache-2.0
// How the played outside answers a call.
#pragma once

#include <gtest/gtest.h>

#include <cerrno>
#include <mutex>

namespace plexor::tests
{

using Lock = std::lock_guard<std::recursive_mutex>;

inline int fail_with(int error)
{
    errno = error;
    return -1;
}

// As the kernel's inner functions answer: 0 or an errno.
inline int answer_with(int error)
{
    return error == 0 ? 0 : fail_with(error);
}

// Passes on what a real call returned for a descriptor that is not played, and notices a dead one.
template <class Result>
Result on_file(Result result, const char *call, int descriptor)
{
    const int error = errno;
    if (result < 0 && error == EBADF)
        ADD_FAILURE() << call << " of descriptor " << descriptor << ", which is not open";
    errno = error;
    return result;
}

} // namespace plexor::tests
