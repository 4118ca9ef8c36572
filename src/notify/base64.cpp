// SPDX-License-Identifier: Apache-2.0
#include "notify/base64.h"

#include <plexor/mail.h>

#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "support/owned.h"

namespace plexor
{
namespace
{

constexpr std::size_t lines_per_chunk = 18;
constexpr int chunk_size = lines_per_chunk * characters_per_line / 4 * 3;
constexpr std::size_t encoded_chunk_size = base64_length(chunk_size) + 1;
static_assert(chunk_size == 1026 && encoded_chunk_size == 1369);

// The text of one chunk, which is never empty.
void write_lines(FILE *stream, const unsigned char *text, std::size_t length)
{
    unsigned char lines[lines_per_chunk * (characters_per_line + 2)];
    unsigned char *end = lines;
    do {
        const std::size_t piece = std::min(length, characters_per_line);
        end = std::copy_n(text, piece, end);
        *end++ = '\r';
        *end++ = '\n';
        text += piece;
        length -= piece;
    } while (length > 0);
    fwrite(lines, 1, static_cast<std::size_t>(end - lines), stream);
}

// Reads once; what did not come is zeros.
void read_chunk(int fd, unsigned char *chunk, std::size_t size)
{
    const ssize_t length = read(fd, chunk, size);
    const std::size_t got = length < 0 ? 0 : static_cast<std::size_t>(length);
    std::memset(chunk + got, 0, size - got);
}

} // namespace
} // namespace plexor

using namespace plexor;

int KMimeBase64(unsigned char *input, int length, unsigned char *output, unsigned capacity)
{
    if (input == nullptr || output == nullptr || capacity < 1)
        return 0;
    std::size_t n = length < 0 ? 0 : static_cast<std::size_t>(length);
    if (base64_length(n) >= capacity)
        n = (capacity - 1) / 4 * 3;
    return static_cast<int>(base64_encode(input, n, output) - output);
}

void KBase64EncodeFile(int fd, FILE *stream, int count)
{
    const Block chunk = take_block(chunk_size);
    const Block encoded = take_block(encoded_chunk_size);
    if (!chunk || !encoded || stream == nullptr)
        return;
    for (; count > 0; count -= chunk_size) {
        const int size = std::min(count, chunk_size);
        read_chunk(fd, chunk.get(), static_cast<std::size_t>(size));
        const int length = KMimeBase64(chunk.get(), size, encoded.get(), encoded_chunk_size);
        write_lines(stream, encoded.get(), static_cast<std::size_t>(length));
    }
}
