// SPDX-License-Identifier: Apache-2.0
// Times of the library's buses and readers, each beside its floor in the same run: the bare system calls that
// the call cannot do without, or the plain loop that a caller would write instead.
#include <benchmark/benchmark.h>

#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include <plexor/plexor.h>

#include "bench/stand_in.h"
#include "nvram.h"

namespace plexor::bench
{
namespace
{

constexpr key_t cache_key = 0x4932434D;
constexpr std::size_t cache_size = 1480;
constexpr const char *list_key = "cycle_time_PX";
constexpr unsigned controller = 0xA0;
constexpr unsigned clock_chip = 0xD0;

void bare_device_access()
{
    const int fd = bare_open();
    bare_ioctl(fd);
    bare_close(fd);
}

// The calls that find, attach and detach the cache segment; touch: read one word of it, which costs the page
// fault that no user of the segment can avoid.
void bare_segment_access(bool touch)
{
    static_cast<void>(shmget(cache_key, cache_size, IPC_CREAT | IPC_EXCL | 0666));
    const int id = shmget(cache_key, cache_size, 0666);
    auto *const segment = static_cast<volatile int *>(shmat(id, nullptr, 0));
    if (touch)
        static_cast<void>(*segment);
    shmdt(const_cast<int *>(segment));
}

void gpio_read_modify_write(benchmark::State &state)
{
    for (auto _ : state) {
        unsigned levels = 0;
        gpio_read_int(1, &levels);
        gpio_set_dir_g(1, 1, 45);
        gpio_write_int(1, static_cast<int>(levels | 0x2000U));
    }
}
BENCHMARK(gpio_read_modify_write);

void gpio_read_modify_write_floor(benchmark::State &state)
{
    for (auto _ : state) {
        bare_device_access();
        bare_device_access();
        bare_device_access();
    }
}
BENCHMARK(gpio_read_modify_write_floor);

void i2cmd_hit(benchmark::State &state)
{
    unsigned char byte = 0;
    for (auto _ : state)
        i2cmd(1, controller, 1, &byte, 1);
}
BENCHMARK(i2cmd_hit);

void i2cmd_hit_floor(benchmark::State &state)
{
    for (auto _ : state) {
        bare_segment_access(true);
        syscall(SYS_gettid);
    }
}
BENCHMARK(i2cmd_hit_floor);

void i2cmd_miss(benchmark::State &state)
{
    unsigned char byte = 0;
    int reg = 0;
    for (auto _ : state)
        i2cmd(1, controller, reg = reg % 100 + 1, &byte, 1);
}
BENCHMARK(i2cmd_miss);

void i2cmd_miss_floor(benchmark::State &state)
{
    for (auto _ : state) {
        bare_segment_access(true);
        bare_device_access();
    }
}
BENCHMARK(i2cmd_miss_floor);

void i2cmd_uncached(benchmark::State &state)
{
    unsigned char bytes[7] = {};
    for (auto _ : state)
        i2cmd(1, clock_chip, 0, bytes, sizeof bytes);
}
BENCHMARK(i2cmd_uncached);

void i2cmd_uncached_floor(benchmark::State &state)
{
    for (auto _ : state) {
        bare_segment_access(false);
        bare_device_access();
    }
}
BENCHMARK(i2cmd_uncached_floor);

void list_reader(benchmark::State &state)
{
    set_parameter(list_key, "10000;9999;5;0;120;1;86400;30");
    int fields[8];
    for (auto _ : state) {
        RdNvram_N_Param_int(list_key, 8, fields);
        benchmark::DoNotOptimize(fields);
    }
}
BENCHMARK(list_reader);

void list_reader_plain_loop(benchmark::State &state)
{
    set_parameter(list_key, "10000;9999;5;0;120;1;86400;30");
    int fields[8];
    for (auto _ : state) {
        char buffer[512] = {};
        nvram_kget_str(list_key, buffer, sizeof buffer);
        char *rest = buffer;
        for (int &field : fields) {
            const char *const text = strsep(&rest, ";");
            field = text == nullptr ? 0 : std::atoi(text);
        }
        benchmark::DoNotOptimize(fields);
    }
}
BENCHMARK(list_reader_plain_loop);

} // namespace
} // namespace plexor::bench

int main(int argc, char **argv)
{
    plexor::bench::refuse_the_machine_itself();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
