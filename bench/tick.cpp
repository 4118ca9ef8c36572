// SPDX-License-Identifier: Apache-2.0
// Times of the once-a-second tick, beside the system calls that it cannot do without.
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <sys/shm.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <ctime>

#include <plexor/cycle.h>

#include "bench/ticking.h"

namespace plexor::bench
{
namespace
{

void tick(benchmark::State &state)
{
    prepare_ticking(static_cast<unsigned>(state.range(0)));
    for (auto _ : state)
        snmppowercycle();
}
BENCHMARK(tick)->Name("tick_idle")->Arg(0);
BENCHMARK(tick)->Name("tick_1_cycle")->Arg(1);
BENCHMARK(tick)->Name("tick_8_cycles")->Arg(8);

void look_at_monitor()
{
    char text[64];
    const int fd = open("/var/run/pingmgr.pid", O_RDONLY | O_CLOEXEC);
    const ssize_t length = read(fd, text, sizeof text);
    close(fd);
    kill(length > 0 ? std::atoi(text) : 0, 0);
}

void read_local_time()
{
    const time_t now = time(nullptr);
    tm local{};
    benchmark::DoNotOptimize(localtime_r(&now, &local));
}

// The segment attached and touched, the network monitor looked at, and the local time where a cycle runs.
void tick_floor(benchmark::State &state)
{
    prepare_ticking(0);
    for (auto _ : state) {
        auto *const segment =
            static_cast<volatile unsigned *>(shmat(shmget(PLEXOR_CYCLE_KEY, 0, 0), nullptr, 0));
        static_cast<void>(*segment);
        look_at_monitor();
        if (state.range(0) != 0)
            read_local_time();
        shmdt(const_cast<unsigned *>(segment));
    }
}
BENCHMARK(tick_floor)->Name("tick_idle_floor")->Arg(0);
BENCHMARK(tick_floor)->Name("tick_1_cycle_floor")->Arg(1);
BENCHMARK(tick_floor)->Name("tick_8_cycles_floor")->Arg(8);

} // namespace
} // namespace plexor::bench
