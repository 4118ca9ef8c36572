// SPDX-License-Identifier: Apache-2.0
// MD5 beside OpenSSL's, libmd's and nettle's: messages of one block, of some and of many, each a whole digest from
// its beginning. OpenSSL is asked by its old functions, which cost least, and by those that it recommends.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <vector>

#define OPENSSL_SUPPRESS_DEPRECATED
#include <nettle/nettle-meta.h>
#include <openssl/evp.h>

// Two libraries have a type of this name.
#define MD5_CTX LibmdContext
#include <md5.h>
#undef MD5_CTX
#include <openssl/md5.h>

#include <plexor/md5.h>

namespace plexor::bench
{
namespace
{

using Digest = unsigned char[16];

void ours(const std::vector<unsigned char> &message, Digest digest)
{
    md5_init();
    md5_update(message.data(), static_cast<unsigned>(message.size()));
    md5_final(digest);
}

void openssl(const std::vector<unsigned char> &message, Digest digest)
{
    MD5_CTX context;
    MD5_Init(&context);
    MD5_Update(&context, message.data(), message.size());
    MD5_Final(digest, &context);
}

// Method and context are made once, which is as fast as this gets.
void evp(const std::vector<unsigned char> &message, Digest digest)
{
    static EVP_MD *const method = EVP_MD_fetch(nullptr, "MD5", nullptr);
    static EVP_MD_CTX *const context = EVP_MD_CTX_new();
    EVP_DigestInit_ex2(context, method, nullptr);
    EVP_DigestUpdate(context, message.data(), message.size());
    EVP_DigestFinal_ex(context, digest, nullptr);
}

void libmd(const std::vector<unsigned char> &message, Digest digest)
{
    LibmdContext context;
    MD5Init(&context);
    MD5Update(&context, message.data(), message.size());
    MD5Final(digest, &context);
}

void nettle(const std::vector<unsigned char> &message, Digest digest)
{
    alignas(std::max_align_t) static unsigned char context[128];
    nettle_md5.init(context);
    nettle_md5.update(context, message.size(), message.data());
    nettle_md5.digest(context, sizeof(Digest), digest);
}

template <void digest_of(const std::vector<unsigned char> &, Digest)>
void md5(benchmark::State &state)
{
    const std::vector<unsigned char> message(static_cast<std::size_t>(state.range(0)), 0x5A);
    Digest expected;
    Digest digest;
    ours(message, expected);
    for (auto _ : state) {
        digest_of(message, digest);
        benchmark::DoNotOptimize(digest);
    }
    if (std::memcmp(digest, expected, sizeof digest) != 0)
        std::abort();
}
BENCHMARK(md5<ours>)->Name("md5_64")->Arg(64);
BENCHMARK(md5<openssl>)->Name("md5_64_openssl")->Arg(64);
BENCHMARK(md5<evp>)->Name("md5_64_evp")->Arg(64);
BENCHMARK(md5<libmd>)->Name("md5_64_libmd")->Arg(64);
BENCHMARK(md5<nettle>)->Name("md5_64_nettle")->Arg(64);
BENCHMARK(md5<ours>)->Name("md5_1024")->Arg(1024);
BENCHMARK(md5<openssl>)->Name("md5_1024_openssl")->Arg(1024);
BENCHMARK(md5<evp>)->Name("md5_1024_evp")->Arg(1024);
BENCHMARK(md5<libmd>)->Name("md5_1024_libmd")->Arg(1024);
BENCHMARK(md5<nettle>)->Name("md5_1024_nettle")->Arg(1024);
BENCHMARK(md5<ours>)->Name("md5_1048576")->Arg(1 << 20);
BENCHMARK(md5<openssl>)->Name("md5_1048576_openssl")->Arg(1 << 20);
BENCHMARK(md5<evp>)->Name("md5_1048576_evp")->Arg(1 << 20);
BENCHMARK(md5<libmd>)->Name("md5_1048576_libmd")->Arg(1 << 20);
BENCHMARK(md5<nettle>)->Name("md5_1048576_nettle")->Arg(1 << 20);

} // namespace
} // namespace plexor::bench
