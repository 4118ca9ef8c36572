// SPDX-License-Identifier: Apache-2.0
// libnvram.so.0 for development: the platform's calls over the store of a virtual board.
#include "nvram.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "board/nvram/store.h"

namespace
{

// Never destroyed: programs call into the platform from exit handlers, too.
plexor::board::Store &store()
{
    static auto *const instance = new plexor::board::Store;
    return *instance;
}

std::optional<std::string> get(const char *key)
{
    return key == nullptr ? std::nullopt : store().get(key);
}

// Opened for each print, so that a log that was moved away or made later is followed. A pipe that nobody
// empties loses text instead of stopping the appliance.
void append_to_log(const char *path, std::string_view text)
{
    const int log = open(path, O_WRONLY | O_CREAT | O_APPEND | O_NONBLOCK | O_CLOEXEC, 0644);
    if (log < 0)
        return;
    [[maybe_unused]] const ssize_t written = write(log, text.data(), text.size());
    close(log);
}

} // namespace

int nvram_kget_str(const char *key, char *buffer, int size)
{
    if (buffer == nullptr || size <= 0)
        return 0;
    const std::string value = get(key).value_or("");
    const std::size_t length = std::min(value.size(), static_cast<std::size_t>(size) - 1);
    std::memcpy(buffer, value.data(), length);
    buffer[length] = '\0';
    return 0;
}

int nvram_kget_int(const char *key, int fallback)
{
    const auto value = get(key);
    return value ? std::atoi(value->c_str()) : fallback;
}

const char *nvram_bufget(int section, const char *key)
{
    static thread_local std::string text;
    text = section == 0 ? get(key).value_or("") : "";
    return text.c_str();
}

int nvram_bufset(int section, const char *key, const char *value)
{
    return section == 0 && key != nullptr && value != nullptr && store().set(key, value) ? 0 : -1;
}

int nvram_commit(int section)
{
    return section == 0 && store().commit() ? 0 : -1;
}

int flash_read_br0_mac(unsigned char *buffer)
{
    const auto address = store().ethernet_address();
    if (!address || buffer == nullptr)
        return -1;
    std::memcpy(buffer, address->data(), address->size());
    return 0;
}

int myprintf(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    char *text = nullptr;
    const int length = vasprintf(&text, format, arguments);
    va_end(arguments);
    if (length < 0)
        return length;
    const char *log = std::getenv("PLEXOR_DEBUG_LOG");
    if (log != nullptr && *log != '\0' && length > 0)
        append_to_log(log, {text, static_cast<std::size_t>(length)});
    std::free(text);
    return length;
}
