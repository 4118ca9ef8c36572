// SPDX-License-Identifier: Apache-2.0
#include <plexor/md5.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

static_assert(offsetof(md5_context_state, state) == 0 && offsetof(md5_context_state, bits) == 16 &&
              offsetof(md5_context_state, buffer) == 24 && sizeof(md5_context_state) == 88);

namespace plexor
{
namespace
{

using Word = std::uint32_t;
using Bytes = const unsigned char *;

constexpr std::size_t block_size = 64;
constexpr unsigned char padding[block_size] = {0x80};

constexpr Word initial_state[4] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};

// The whole part of |sin(i + 1)| times 2 to the power of 32, i in radians.
constexpr Word sines[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391};

// Which words of the block a round's steps take, and how far they rotate.
struct Round {
    unsigned first;
    unsigned stride;
    int shifts[4];
};
constexpr Round rounds[4] = {
    {0, 1, {7, 12, 17, 22}}, {1, 5, {5, 9, 14, 20}}, {5, 3, {4, 11, 16, 23}}, {0, 7, {6, 10, 15, 21}}};

// A word at any address, in one or two instructions: optimised for size, memcpy would be a call.
struct [[gnu::packed, gnu::may_alias]] AnyWord
{
    Word value;
};

// Between this machine's order of bytes and least significant first, in either direction.
constexpr Word little_endian(Word word)
{
    return std::endian::native == std::endian::little ? word : __builtin_bswap32(word);
}

inline Word load(Bytes from)
{
    return little_endian(reinterpret_cast<const AnyWord *>(from)->value);
}

void store(const Word *words, std::size_t count, unsigned char *to)
{
    for (std::size_t i = 0; i < count; ++i)
        reinterpret_cast<AnyWord *>(to)[i].value = little_endian(words[i]);
}

// Adds a round's function of b, c and d to sum. Each step waits for the b of the step before it, so b comes
// in as late as can be: in the second round the two halves share no bit, and adding them spares it the "or".
template <unsigned I>
inline Word add_mixed(Word sum, Word b, Word c, Word d)
{
    if constexpr (I == 0)
        return sum + (d ^ (b & (c ^ d)));
    if constexpr (I == 1)
        return sum + (c & ~d) + (b & d);
    if constexpr (I == 2)
        return sum + (b ^ (c ^ d));
    if constexpr (I == 3)
        return sum + (c ^ (b | ~d));
}

// The words change their places from step to step: what was b is c in the next.
template <unsigned I>
[[gnu::always_inline]] inline void step(Word (&words)[4], Bytes block, const Word *constants)
{
    constexpr Round round = rounds[I / 16];
    Word &a = words[(64 - I) % 4];
    const Word b = words[(65 - I) % 4];
    const Word c = words[(66 - I) % 4];
    const Word d = words[(67 - I) % 4];
    const Word sum = a + constants[I] + load(block + (round.first + I * round.stride) % 16 * sizeof(Word));
    a = b + std::rotl(add_mixed<I / 16>(sum, b, c, d), round.shifts[I % 4]);
}

template <unsigned... I>
[[gnu::always_inline]] inline void all_steps(Word (&words)[4], Bytes block, const Word *constants,
                                             std::integer_sequence<unsigned, I...>)
{
    (step<I>(words, block, constants), ...);
}

void digest_blocks(Word (&state)[4], Bytes data, std::size_t count)
{
    Word words[4] = {state[0], state[1], state[2], state[3]};
    for (; count > 0; --count, data += block_size) {
        const Word before[4] = {words[0], words[1], words[2], words[3]};
        const Word *constants = sines;
        asm("" : "+r"(constants)); // so that a MIPS loads each, and does not make it of two halves
        all_steps(words, data, constants, std::make_integer_sequence<unsigned, 64>());
        words[0] += before[0]; // in a loop, which -Os would leave one, they would have to be in memory
        words[1] += before[1];
        words[2] += before[2];
        words[3] += before[3];
    }
    std::memcpy(state, words, sizeof words);
}

// How many bytes of the block in the buffer belong to the message.
std::size_t filled(const md5_context_state &context)
{
    return context.bits[0] / 8 % block_size;
}

void count(md5_context_state &context, std::size_t length)
{
    const std::uint64_t before = std::uint64_t{context.bits[1]} << 32U | context.bits[0];
    const std::uint64_t bits = before + std::uint64_t{length} * 8;
    context.bits[0] = static_cast<Word>(bits);
    context.bits[1] = static_cast<Word>(bits >> 32U);
}

void add(md5_context_state &context, Bytes data, std::size_t length)
{
    std::size_t begun = filled(context);
    const std::size_t missing = block_size - begun;
    count(context, length);
    if (begun > 0 && length >= missing) {
        std::memcpy(context.buffer + begun, data, missing);
        digest_blocks(context.state, context.buffer, 1);
        data += missing;
        length -= missing;
        begun = 0;
    }
    if (length >= block_size)
        digest_blocks(context.state, data, length / block_size);
    std::memcpy(context.buffer + begun, data + length / block_size * block_size, length % block_size);
}

// One byte at least, and as many as leave room for the length in the last block.
std::size_t padding_after(std::size_t filled)
{
    return 1 + (block_size + 55 - filled) % block_size;
}

} // namespace
} // namespace plexor

using namespace plexor;

md5_context_state md5_context;

void md5_init(void)
{
    std::memcpy(md5_context.state, initial_state, sizeof initial_state);
    std::memset(md5_context.bits, 0, sizeof md5_context.bits);
}

void md5_update(const void *data, unsigned length)
{
    if (data != nullptr)
        add(md5_context, static_cast<Bytes>(data), length);
}

void md5_final(unsigned char digest[16])
{
    if (digest == nullptr)
        return;
    unsigned char length[8];
    store(md5_context.bits, 2, length);
    add(md5_context, padding, padding_after(filled(md5_context)));
    add(md5_context, length, sizeof length);
    store(md5_context.state, 4, digest);
}

char *to64(char *output, unsigned value, unsigned count)
{
    static constexpr char digits[] = "./0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    if (output == nullptr)
        return nullptr;
    for (count &= 0xFFU; count > 0; --count, value >>= 6U)
        *output++ = digits[value & 0x3FU];
    *output = '\0';
    return output;
}
