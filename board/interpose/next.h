// SPDX-License-Identifier: Apache-2.0
// For functions that stand in front of the C library's own.
#pragma once

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/types.h>

#include <cstdarg>

// Declares real, the next function of this name. Looked up at the first use: sanitizer run times and static
// constructors call some of these before main. A macro, since a template would lose the functions'
// attributes.
#define PLEXOR_REAL(name)                                                                                    \
    static const auto real = reinterpret_cast<decltype(&::name)>(dlsym(RTLD_NEXT, #name))

namespace plexor::board
{

// The mode among the arguments of open, where flags say that there is one.
inline mode_t mode_of(int flags, std::va_list arguments)
{
    const bool creates = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
    return creates ? va_arg(arguments, mode_t) : mode_t{};
}

} // namespace plexor::board

// Declares mode, what open's callers give behind flags where flags say so. A macro, since only the function
// with the open list of arguments can read it.
#define PLEXOR_MODE(flags)                                                                                   \
    std::va_list arguments;                                                                                  \
    va_start(arguments, flags);                                                                              \
    const mode_t mode = plexor::board::mode_of(flags, arguments);                                            \
    va_end(arguments)
