// SPDX-License-Identifier: Apache-2.0
// Base 64 of any bytes into any room decodes to what was encoded, cut where it has to be; nothing is written
// beyond the room; a file's lines decode to its bytes and zeros.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <plexor/mail.h>

#include "fuzz/appliance.h"

using plexor::fuzz::expect;
using Bytes = std::vector<std::uint8_t>;

namespace
{

constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Bit by bit, and strict: whole groups, padding at the end alone, no bits lost.
Bytes decode(const std::string &text)
{
    expect(text.size() % 4 == 0);
    const std::size_t end = text.find('=');
    expect(end == std::string::npos || end + 2 >= text.size());
    Bytes bytes;
    unsigned bits = 0;
    unsigned count = 0;
    for (const char c : text.substr(0, end)) {
        const char *const digit = std::strchr(alphabet, c);
        expect(c != '\0' && digit != nullptr);
        bits = bits << 6U | static_cast<unsigned>(digit - alphabet);
        count += 6;
        if (count >= 8) {
            count -= 8;
            bytes.push_back(static_cast<std::uint8_t>(bits >> count));
        }
    }
    expect((bits & ((1U << count) - 1)) == 0);
    return bytes;
}

void memory(Bytes in, unsigned capacity)
{
    Bytes out(capacity, 0xAA); // on the heap, where a step past its end is seen
    const int length = KMimeBase64(in.data(), static_cast<int>(in.size()), out.data(), capacity);
    if (capacity == 0 || in.empty()) {
        expect(length == 0);
        return;
    }
    expect(out[static_cast<std::size_t>(length)] == 0);
    if ((in.size() + 2) / 3 * 4 >= capacity)
        in.resize((capacity - 1) / 4 * 3);
    expect(decode(std::string(out.begin(), out.begin() + length)) == in);
}

std::string lines_of(const Bytes &in, int count)
{
    const int fd = memfd_create("in", MFD_CLOEXEC);
    expect(write(fd, in.data(), in.size()) == static_cast<ssize_t>(in.size()));
    lseek(fd, 0, SEEK_SET);
    char *text = nullptr;
    std::size_t length = 0;
    FILE *const stream = open_memstream(&text, &length);
    KBase64EncodeFile(fd, stream, count);
    std::fclose(stream);
    close(fd);
    const std::string lines(text, length);
    std::free(text);
    return lines;
}

void file(Bytes in, int count)
{
    std::string lines = lines_of(in, count);
    std::string text;
    while (!lines.empty()) {
        const std::size_t end = lines.find("\r\n");
        expect(end != std::string::npos && end >= 1 && end <= 76 && (end == 76 || lines.size() == end + 2));
        text += lines.substr(0, end);
        lines.erase(0, end + 2);
    }
    in.resize(static_cast<std::size_t>(std::max(count, 0)));
    expect(decode(text) == in);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size < 2)
        return 0;
    Bytes in(data + 2, data + size);
    memory(in, data[0] * 5U);
    const int count = static_cast<int>(in.size()) + static_cast<std::int8_t>(data[1]);
    if (data[1] % 8 == 0) // few, as a file costs much more than memory
        file(in, count);
    return 0;
}
