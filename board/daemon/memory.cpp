// SPDX-License-Identifier: Apache-2.0
#include "board/daemon/memory.h"

#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>

#include <array>
#include <filesystem>
#include <system_error>

namespace plexor::board
{

namespace
{

constexpr std::array<key_t, 3> segments{0x4C504F4C, 0x4932434D, 0x4C104F10}; // last switch, I2C cache, cycles
constexpr key_t modbus_lock = 0x525455;

void remove_pid_files()
{
    std::error_code error;
    for (const auto &entry : std::filesystem::directory_iterator("/var/run", error))
        if (entry.path().extension() == ".pid")
            std::filesystem::remove(entry.path(), error);
}

} // namespace

void forget_memory()
{
    for (const key_t key : segments)
        if (const int id = shmget(key, 0, 0); id >= 0)
            shmctl(id, IPC_RMID, nullptr);
    if (const int id = semget(modbus_lock, 0, 0); id >= 0)
        semctl(id, 0, IPC_RMID);
    remove_pid_files();
}

} // namespace plexor::board
