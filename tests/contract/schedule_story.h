// SPDX-License-Identifier: Apache-2.0
// What the schedule tests share: records that differ from each other, and the two places where they are kept.
#pragma once

#include <plexor/schedule.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/contract/relay_story.h"

namespace plexor::tests
{

inline const std::string no_schedule(35, '0');
inline const std::string no_companion = "000;000;000;000;000;000;000;000";
inline const std::string rest_of_schedule = "abcdefghijklmnopqrstuvwxyz0123456"; // what follows the ordinal

inline std::string schedule_key(int record)
{
    return print("schedule%d", record);
}

inline std::string companion_key(int record)
{
    return print("schedule%dt", record);
}

// 35 characters; letter tells who wrote it.
inline std::string schedule(int record, char letter = 's')
{
    return print("%02d", record + 1) + std::string(33, letter);
}

// 31 characters.
inline std::string companion(int record, char letter = 'c')
{
    std::string text = print("%02d%c", record, letter);
    for (int field = 1; field < 8; ++field)
        text += print(";%02d%c", record, letter);
    return text;
}

inline std::string hex(const std::string &bytes)
{
    std::string text;
    for (const char byte : bytes)
        text += print("%02X", static_cast<unsigned char>(byte));
    return text;
}

// --- requests of the bus ---

inline std::string got(int reg, std::size_t length)
{
    return print("16 A0 %d len %zu", reg, length);
}

inline std::string put(int reg, const std::string &bytes)
{
    return print("17 A0 %d [%s]", reg, hex(bytes).c_str());
}

inline Calls stored(const std::string &key, const std::string &value)
{
    return {"nvram_bufset 0 " + key + "=" + value};
}

class ScheduleStory : public RelayStory
{
  protected:
    static constexpr int marker = 4;
    static constexpr int restored = 5;
    inline static const std::string nine = "\x09";

    // Transfers with the board controller, in order.
    Calls bus() const { return without_prefix("ioctl /dev/i2cM0 "); }
    // What was stored, as "KEY=VALUE", in order.
    Calls writes() const { return without_prefix("nvram_bufset 0 "); }

    // --- the copy in the board controller ---
    void hold(int reg, const std::string &bytes)
    {
        for (const char byte : bytes)
            board().set_controller(reg++, static_cast<std::uint8_t>(byte));
    }
    std::string held(int reg, std::size_t length)
    {
        std::string bytes;
        for (std::size_t i = 0; i < length; ++i)
            bytes += static_cast<char>(board().controller(reg + static_cast<int>(i)));
        return bytes;
    }
    void hold_copy(char letter = 's')
    {
        hold(marker, nine);
        for (int i = 0; i < 5; ++i) {
            hold(pindex[i], schedule(i, letter));
            hold(scheduletindex[i], companion(i, letter));
        }
    }
    void hold_administrator(const std::string &name, const std::string &password)
    {
        hold(parmindex[0], {static_cast<char>(name.size()), static_cast<char>(password.size())});
        hold(admindex[0], name);
        hold(admindex[1], password);
    }

    // --- calls ---
    // The text lies on the heap with room for length + 1 bytes and no more, so that a sanitizer sees a step
    // beyond them. What became of it is returned.
    static std::string write_page(int index, const char *kind, const std::string &text, unsigned length)
    {
        std::vector<char> data(std::max<std::size_t>(text.size(), length) + 1);
        std::copy(text.begin(), text.end(), data.begin());
        EXPECT_EQ(writepage(index, kind, data.data(), length), 0);
        return data.data();
    }
    static std::string write_page(int index, const char *kind, const std::string &text)
    {
        return write_page(index, kind, text, static_cast<unsigned>(text.size()));
    }
    // As it is after the next start: nothing of the bus is remembered, the store has been reset.
    void reset_store()
    {
        let_i2c_cache_expire();
        use_no_store();
        forget_calls();
    }

  private:
    void use_no_store()
    {
        for (int i = 0; i < 30; ++i) {
            unset(schedule_key(i));
            unset(companion_key(i));
        }
        for (const char *key : {"reflash", "Login", "Password"})
            unset(key);
    }
    Calls without_prefix(const std::string &prefix) const
    {
        Calls texts = calls(prefix);
        for (auto &text : texts)
            text.erase(0, prefix.size());
        return texts;
    }
};

} // namespace plexor::tests
