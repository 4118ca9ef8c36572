// SPDX-License-Identifier: Apache-2.0
// What the C library hands out and wants back, given back once.
#pragma once

#include <unistd.h>

#include <cerrno>
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

// A stream into fd, which stays its owner's. A signal that comes while the other end is slow loses nothing, as
// it would of a stream of fd itself.
inline Stream patient_stream(int &fd)
{
    const auto write_all = [](void *cookie, const char *bytes, std::size_t size) -> ssize_t {
        std::size_t written = 0;
        while (written < size) {
            const ssize_t length = write(*static_cast<int *>(cookie), bytes + written, size - written);
            if (length < 0 && errno != EINTR)
                break;
            written += length < 0 ? 0 : static_cast<std::size_t>(length);
        }
        return static_cast<ssize_t>(written);
    };
    return Stream(
        fopencookie(&fd, "w", {.read = nullptr, .write = write_all, .seek = nullptr, .close = nullptr}));
}

struct ClosePipe {
    void operator()(FILE *pipe) const { pclose(pipe); } // waits for the command
};
using Pipe = std::unique_ptr<FILE, ClosePipe>;

} // namespace plexor
