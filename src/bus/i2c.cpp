// SPDX-License-Identifier: Apache-2.0
#include <plexor/i2c.h>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/ipc.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <iterator>

#include "bus/i2c_cache.h"
#include "bus/transfer_record.h"
#include "nvram.h"
#include "support/descriptor.h"
#include "support/shared_memory.h"

namespace plexor
{
namespace
{

constexpr const char *bus_device = "/dev/i2cM0";
constexpr key_t cache_key = 0x4932434D; // "I2CM"
constexpr unsigned io_controller = 0x32;

// Requests of the driver.
constexpr unsigned read_request = 16;
constexpr unsigned write_request = 17;
constexpr unsigned scan_request = 18;

int thread_id()
{
    return static_cast<int>(syscall(SYS_gettid));
}

void print_bytes(const unsigned char *bytes, unsigned count)
{
    for (unsigned i = 0; i < count; ++i)
        myprintf("%02X", bytes[i]);
}

void print_io_controller_write(const I2cTransfer &transfer)
{
    myprintf("DbgPicW:0x%02X(%3d)=", static_cast<unsigned>(transfer.reg), transfer.reg);
    print_bytes(transfer.buffer, transfer.length);
    myprintf("\n");
}

void print_hit(const I2cTransfer &transfer)
{
    const bool read = transfer.operation == i2c_read;
    myprintf(read ? "hitrd:Thr:%5d,%02X%02X%02X\n" : "hitwr:Thr:%5d,%02X%02X%02X:", thread_id(),
             transfer.device, static_cast<unsigned>(transfer.reg), transfer.length);
    if (read)
        return;
    print_bytes(transfer.buffer, transfer.length);
    myprintf("\n");
}

void print_transfer(const I2cTransfer &transfer, MonotonicTime now)
{
    constexpr unsigned shown = 11;
    myprintf("i2cmd:Thr:%5d,cmd:%d,%02X%02X,ts:%5d,len:%2d[", thread_id(),
             static_cast<int>(transfer.operation), transfer.device, static_cast<unsigned>(transfer.reg),
             static_cast<int>(milliseconds(now)), static_cast<int>(transfer.length));
    print_bytes(transfer.buffer, std::min(transfer.length, shown));
    if (transfer.length >= shown)
        myprintf("]..");
    myprintf("].\n");
}

Attachment create_cache(int id)
{
    Attachment cache(id);
    if (cache) {
        std::memset(cache.get(), 0, sizeof(CacheSegment));
        myprintf("init shm\n");
    } else {
        myprintf("shmget_i2cmderrB:Thr:%5d,Err:%d\n", thread_id(), errno);
    }
    return cache;
}

Attachment find_cache()
{
    const int id = shmget(cache_key, sizeof(CacheSegment), 0666);
    Attachment cache = id < 0 ? Attachment() : Attachment(id);
    if (!cache)
        myprintf("shmget_i2cmderrA:Thr:%5d,Err:%d\n", thread_id(), errno);
    return cache;
}

Attachment attach_cache()
{
    const int id = shmget(cache_key, sizeof(CacheSegment), IPC_CREAT | IPC_EXCL | 0666);
    if (id >= 0)
        return create_cache(id);
    if (errno == EEXIST || errno == 0)
        return find_cache();
    myprintf("shmget_i2cmderrB:Thr:%5d,Err:%d\n", thread_id(), errno);
    return {};
}

// The device's slot, or null for a device that is not cached. Does not touch the segment. Address 0 marks
// the spare slots and is no device.
CacheSlot *slot_of(const Attachment &cache, unsigned device)
{
    const auto *const found = std::find(std::begin(arI2CDevList), std::end(arI2CDevList), device);
    if (!cache || device == 0 || found == std::end(arI2CDevList))
        return nullptr;
    return &static_cast<CacheSegment *>(cache.get())->slot[found - std::begin(arI2CDevList)];
}

int transfer_now(unsigned request, unsigned device, unsigned reg, unsigned char *buffer, unsigned length)
{
    if (buffer == nullptr && length != 0)
        return 0;
    Descriptor bus(open_fd());
    TransferRecord record{device, reg, reinterpret_cast<std::uintptr_t>(buffer), length};
    ioctl(bus.get(), request, &record);
    return bus.close();
}

unsigned scan_once()
{
    const Descriptor bus(open_fd());
    TransferRecord answer{}; // its first byte receives the address, whatever the byte order
    ioctl(bus.get(), scan_request, &answer);
    return *reinterpret_cast<const unsigned char *>(&answer);
}

bool is_lcd_adapter(unsigned address)
{
    return address == 0x40 || address == 0x4E || address == 0x7E;
}

} // namespace
} // namespace plexor

using namespace plexor;

const unsigned arI2CDevList[5] = {0xA0, 0, 0, 0, 0};

int i2cmd(unsigned op, unsigned device, int reg, unsigned char *buffer, unsigned length)
{
    if (op > i2c_read) {
        myprintf("Errori2cmd_Cmd:%02X\n", op);
        return 0;
    }
    if (buffer == nullptr && length != 0)
        return 0;
    const I2cTransfer transfer{op, device, reg, buffer, length};
    if (op == i2c_write && device == io_controller)
        print_io_controller_write(transfer);

    const Attachment cache = attach_cache();
    const MonotonicTime now = monotonic_time();
    CacheSlot *const slot = slot_of(cache, device);
    if (slot != nullptr && repeats(*slot, transfer, now)) {
        if (op == i2c_read && length != 0)
            std::memcpy(buffer, slot->read_data, length);
        print_hit(transfer);
        return 1;
    }

    const auto make = op == i2c_read ? I2CRead : I2CWrite;
    make(device, static_cast<unsigned>(reg), buffer, length);
    if (nvram_kget_int("DbgPic", 0) == 1)
        print_transfer(transfer, now);
    if (slot != nullptr)
        remember(*slot, transfer, now);
    return 1;
}

int I2CRead(unsigned device, unsigned reg, unsigned char *buffer, unsigned length)
{
    return transfer_now(read_request, device, reg, buffer, length);
}

int I2CWrite(unsigned device, unsigned reg, unsigned char *buffer, unsigned length)
{
    return transfer_now(write_request, device, reg, buffer, length);
}

int open_fd(void)
{
    const int fd = open(bus_device, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        perror(bus_device);
        exit(fd);
    }
    return fd;
}

unsigned I2Scnner(void)
{
    constexpr int attempts = 3;
    unsigned address = 0;
    for (int i = 0; i < attempts && !is_lcd_adapter(address); ++i)
        address = scan_once();
    myprintf("I2Scnner addr:%02x \n", address);
    return address;
}
