// SPDX-License-Identifier: Apache-2.0
// Whatever stands in a slot of the shared I2C cache, no transfer reads or writes past a buffer, and a
// transfer that was just remembered repeats itself exactly when it fits.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "bus/i2c_cache.h"
#include "fuzz/appliance.h"

using namespace plexor;
using plexor::fuzz::expect;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size < sizeof(CacheSlot) + 4)
        return 0;
    const auto slot = std::make_unique<CacheSlot>(); // on the heap, where a step past its end is seen
    std::memcpy(slot.get(), data, sizeof(CacheSlot));
    data += sizeof(CacheSlot);
    size -= sizeof(CacheSlot);

    std::vector<std::uint8_t> bytes(data + 4, data + size);
    const I2cTransfer transfer{data[0] & 1U, 0xA0, data[1] % 4, bytes.data(),
                               static_cast<unsigned>(bytes.size())};
    const MonotonicTime now{data[2], data[3] * 1'000'000};
    if (repeats(*slot, transfer, now))
        expect(bytes.size() <= 64 || transfer.operation == i2c_write);
    remember(*slot, transfer, now);
    const std::size_t room = transfer.operation == i2c_read ? 64 : 132;
    expect(repeats(*slot, transfer, now) == (bytes.size() <= room));
    return 0;
}
