// SPDX-License-Identifier: Apache-2.0
// What the C library hands out and wants back, given back once.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

namespace plexor
{

struct GiveBack {
    void operator()(unsigned char *block) const { std::free(block); }
};
using Block = std::unique_ptr<unsigned char[], GiveBack>;

inline Block take_block(std::size_t size)
{
    return Block(static_cast<unsigned char *>(std::malloc(size)));
}

struct CloseStream {
    void operator()(FILE *stream) const { std::fclose(stream); }
};
using Stream = std::unique_ptr<FILE, CloseStream>;

// The stream that owns fd from now on; none for -1.
inline Stream stream_on(int fd, const char *mode)
{
    Stream stream(fd < 0 ? nullptr : fdopen(fd, mode));
    if (!stream && fd >= 0)
        close(fd);
    return stream;
}

struct ClosePipe {
    void operator()(FILE *pipe) const { pclose(pipe); } // waits for the command
};
using Pipe = std::unique_ptr<FILE, ClosePipe>;

} // namespace plexor
