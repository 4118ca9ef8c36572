// SPDX-License-Identifier: Apache-2.0
// Base 64 beside OpenSSL's, glib's and coreutils' encoders: of memory, of a file written in lines, and as a
// whole process.
#include <benchmark/benchmark.h>

#include <glib.h>
#include <openssl/evp.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <plexor/mail.h>

namespace plexor::bench
{
namespace
{

constexpr int file_size = 1 << 20;
constexpr int chunk_size = 1026;
constexpr int line_length = 76;

// Bytes of every value in no order, always the same.
std::vector<unsigned char> some_bytes(std::size_t size)
{
    std::vector<unsigned char> bytes(size);
    unsigned value = 1;
    for (auto &byte : bytes) {
        value = value * 1664525U + 1013904223U;
        byte = static_cast<unsigned char>(value >> 24U);
    }
    return bytes;
}

// --- memory ---

void base64(benchmark::State &state)
{
    auto in = some_bytes(static_cast<std::size_t>(state.range(0)));
    std::vector<unsigned char> out(in.size() * 2);
    for (auto _ : state) {
        KMimeBase64(in.data(), static_cast<int>(in.size()), out.data(), static_cast<unsigned>(out.size()));
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(base64)->Name("base64_96")->Arg(96);
BENCHMARK(base64)->Name("base64_6912")->Arg(6912);

void openssl(benchmark::State &state)
{
    const auto in = some_bytes(static_cast<std::size_t>(state.range(0)));
    std::vector<unsigned char> out(in.size() * 2);
    for (auto _ : state) {
        EVP_EncodeBlock(out.data(), in.data(), static_cast<int>(in.size()));
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(openssl)->Name("base64_96_openssl")->Arg(96);
BENCHMARK(openssl)->Name("base64_6912_openssl")->Arg(6912);

// The encoder that writes into the caller's buffer, as ours does.
void glib(benchmark::State &state)
{
    const auto in = some_bytes(static_cast<std::size_t>(state.range(0)));
    std::vector<char> out(in.size() * 2);
    for (auto _ : state) {
        gint kept = 0;
        gint bits = 0;
        const gsize length = g_base64_encode_step(in.data(), in.size(), FALSE, out.data(), &kept, &bits);
        g_base64_encode_close(FALSE, out.data() + length, &kept, &bits);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(glib)->Name("base64_96_glib")->Arg(96);
BENCHMARK(glib)->Name("base64_6912_glib")->Arg(6912);

// --- a file of 1 MiB, read in chunks and written in lines to a stream that goes nowhere ---

class Files
{
  public:
    Files() : in_(memfd_create("picture", MFD_CLOEXEC)), out_(std::fopen("/dev/null", "we"))
    {
        const auto bytes = some_bytes(file_size);
        if (write(in_, bytes.data(), bytes.size()) != file_size)
            std::abort();
    }
    Files(const Files &) = delete;
    Files &operator=(const Files &) = delete;
    ~Files()
    {
        close(in_);
        std::fclose(out_);
    }

    int in() const
    {
        lseek(in_, 0, SEEK_SET);
        return in_;
    }
    FILE *out() const { return out_; }

  private:
    int in_;
    FILE *out_;
};

void write_lines(FILE *out, const char *text, std::size_t length)
{
    for (std::size_t at = 0; at < length; at += line_length) {
        std::fwrite(text + at, 1, std::min<std::size_t>(line_length, length - at), out);
        std::fwrite("\r\n", 1, 2, out);
    }
}

void base64_file(benchmark::State &state)
{
    const Files files;
    for (auto _ : state)
        KBase64EncodeFile(files.in(), files.out(), file_size);
}
BENCHMARK(base64_file);

void base64_file_openssl(benchmark::State &state)
{
    const Files files;
    for (auto _ : state) {
        unsigned char in[chunk_size];
        unsigned char out[chunk_size * 2];
        const int fd = files.in();
        for (int got = 0; (got = static_cast<int>(read(fd, in, sizeof in))) > 0;)
            write_lines(files.out(), reinterpret_cast<char *>(out),
                        static_cast<std::size_t>(EVP_EncodeBlock(out, in, got)));
    }
}
BENCHMARK(base64_file_openssl);

void base64_file_glib(benchmark::State &state)
{
    const Files files;
    for (auto _ : state) {
        unsigned char in[chunk_size];
        char out[chunk_size * 2];
        gint kept = 0;
        gint bits = 0;
        const int fd = files.in();
        for (ssize_t got = 0; (got = read(fd, in, sizeof in)) > 0;)
            write_lines(files.out(), out,
                        g_base64_encode_step(in, static_cast<gsize>(got), FALSE, out, &kept, &bits));
        write_lines(files.out(), out, g_base64_encode_close(FALSE, out, &kept, &bits));
    }
}
BENCHMARK(base64_file_glib);

// --- whole processes, by the clock on the wall ---

void run_to_nowhere(char *const *command)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child = 0;
    int status = 1;
    if (posix_spawnp(&child, command[0], &actions, nullptr, command, environ) != 0 ||
        waitpid(child, &status, 0) != child || status != 0)
        std::abort();
    posix_spawn_file_actions_destroy(&actions);
}

void time_process(benchmark::State &state, const char *program)
{
    std::string path = "/tmp/plexor-bench-picture";
    std::string name = program;
    const auto bytes = some_bytes(file_size);
    FILE *const file = std::fopen(path.c_str(), "we");
    if (file == nullptr || std::fwrite(bytes.data(), 1, bytes.size(), file) != bytes.size() ||
        std::fclose(file) != 0)
        std::abort();
    char *const command[] = {name.data(), path.data(), nullptr};
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        run_to_nowhere(command);
        state.SetIterationTime(
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
}

void process(benchmark::State &state)
{
    time_process(state, "plexor-base64");
}
BENCHMARK(process)->Name("base64_process")->UseManualTime();

// What a caller would run instead of the library's function.
void process_coreutils(benchmark::State &state)
{
    time_process(state, "base64");
}
BENCHMARK(process_coreutils)->Name("base64_process_coreutils")->UseManualTime();

} // namespace
} // namespace plexor::bench
