// SPDX-License-Identifier: Apache-2.0
// The platform's configuration library as the appliance of a contract test plays it.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "tests/contract/answers.h"
#include "tests/contract/appliance_world.h"
#include "tests/contract/call_text.h"

namespace plexor::tests
{
namespace
{

std::string value_of(const std::map<std::string, std::string> &store, const char *key)
{
    const auto found = store.find(key);
    return found == store.end() ? "" : found->second;
}

} // namespace

int ApplianceWorld::nvram_kget_str(const char *key, char *buffer, int size)
{
    const Lock lock(mutex_);
    note("nvram_kget_str %s %d", key, size);
    last_buffer_offered.assign(buffer, buffer + std::max(size, 0));
    if (store_unplugged || size <= 0)
        return -1;
    const std::string value = value_of(store, key).substr(0, static_cast<std::size_t>(size) - 1);
    std::memcpy(buffer, value.c_str(), value.size() + 1);
    return 0;
}

int ApplianceWorld::nvram_kget_int(const char *key, int fallback)
{
    const Lock lock(mutex_);
    note("nvram_kget_int %s %d", key, fallback);
    return store.contains(key) ? std::atoi(store[key].c_str()) : fallback;
}

const char *ApplianceWorld::nvram_bufget(int section, const char *key)
{
    const Lock lock(mutex_);
    note("nvram_bufget %d %s", section, key);
    text_offered_ = value_of(store, key);
    return text_offered_.c_str();
}

int ApplianceWorld::nvram_bufset(int section, const char *key, const char *value)
{
    const Lock lock(mutex_);
    note("nvram_bufset %d %s=%s", section, key, value);
    if (write_refusal != 0)
        return write_refusal;
    store[key] = value;
    return 0;
}

int ApplianceWorld::nvram_commit(int section)
{
    const Lock lock(mutex_);
    note("nvram_commit %d", section);
    if (fails("nvram_commit"))
        return -1;
    flash = store;
    return 0;
}

int ApplianceWorld::flash_read_br0_mac(unsigned char *buffer)
{
    const Lock lock(mutex_);
    note("flash_read_br0_mac");
    constexpr int bytes_offered = 100;
    last_buffer_offered.assign(buffer, buffer + bytes_offered);
    if (!ethernet_address)
        return -1;
    std::copy(ethernet_address->begin(), ethernet_address->end(), buffer);
    return 0;
}

int ApplianceWorld::vmyprintf(const char *format, std::va_list arguments)
{
    const Lock lock(mutex_);
    const std::string text = vprint(format, arguments);
    debug_print += text;
    return static_cast<int>(text.size());
}

} // namespace plexor::tests
