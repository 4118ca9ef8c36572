// SPDX-License-Identifier: Apache-2.0
// What the tests of the dry contact share: outlets as every model tells of them, and what an action did, a
// word a step.
#pragma once

#include <plexor/cycle.h>
#include <plexor/dry_contact.h>
#include <plexor/relay.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "tests/contract/files.h"
#include "tests/contract/relay_story.h"

namespace plexor::tests
{

constexpr unsigned all_on = 0xFF;
constexpr unsigned all_off = 0;

// A list of eight fields that has one of them.
inline std::string alone(unsigned outlet, const std::string &value)
{
    return std::string(outlet, ';') + value + std::string(7 - outlet, ';');
}

class DryContactStory : public RelayStory
{
  protected:
    DryContactStory() { forget_past(); }
    ~DryContactStory() override { remove_journal(); }

    // A board of this model on which nothing has happened yet, at the same time as ever.
    void use(int model)
    {
        use_model(model, latching);
        forget_past();
    }
    void forget_past()
    {
        remove_journal();
        if (segment_mode(PLEXOR_CYCLE_KEY) >= 0)
            remove_segment(PLEXOR_CYCLE_KEY);
        let_i2c_cache_expire();
        set_calendar(1'767'323'045);
        forget_calls();
    }

    // The outlets are so wherever a model keeps their states.
    void outlets_are(unsigned on_mask)
    {
        outlets_are_recorded(on_mask);
        outlets_are_on_lines(0, pinRelayGPIO, on_mask);
        outlets_are_on_lines(1, pinRelayGPIO3264, on_mask);
    }
    void outlets_are_recorded(unsigned on_mask) { set("SPI_buf_1", print("%x", ~on_mask & 0xFFU)); }
    void outlets_are_on_lines(int group, const int (&lines)[8], unsigned on_mask)
    {
        for (unsigned i = 0; i < 8; ++i)
            board().set_input(32 * group + lines[i] % 32, (on_mask & 1U << i) == 0);
    }

    void want(const std::string &actions) { set("DI1_action", actions); }
    void want_mail() { set("sDIMail_PX", "1;0;0;0"); }
    void want_beep() { set("sDIBeep_PX", "1;0;0;0"); }

    // What this change led to.
    Calls steps_of(int opened)
    {
        forget_calls();
        EXPECT_EQ(dry_action(opened), 1);
        return steps();
    }
    // As steps_of, but for what happens every time.
    Calls actions_of(int opened)
    {
        Calls all = steps_of(opened);
        for (const auto &usual : settings_read)
            EXPECT_EQ(std::erase(all, usual), 1U) << usual;
        EXPECT_EQ(std::erase(all, "log"), 1U);
        return all;
    }
    Calls steps() const
    {
        Calls all;
        for (const auto &call : calls()) {
            if (std::string word = step(call); !word.empty())
                all.push_back(std::move(word));
        }
        return all;
    }
    inline static const Calls settings_read{"actions?", "beep?", "mail?", "seconds?"};

    // --- the journal ---
    static constexpr const char *journal = "/tmp/iomail.txt";
    static void remove_journal() { std::filesystem::remove_all(journal); }
    // Descriptions of its entries, to the byte.
    static Calls mails()
    {
        const std::string text = text_of(journal);
        const std::string start = "SOURCE:Dry_action 2026-01-02 ";
        Calls all;
        for (auto at = text.find(start); at != std::string::npos; at = text.find(start, at + 1)) {
            const auto description = text.find('\n', at) + 1;
            all.push_back(text.substr(description, text.find_first_of("\r[", description) - description));
        }
        return all;
    }

    // --- the record of the power cycles ---
    plexor_cycles cycles() const
    {
        plexor_cycles record{};
        const auto bytes = segment(PLEXOR_CYCLE_KEY);
        EXPECT_EQ(bytes.size(), sizeof record);
        std::memcpy(&record, bytes.data(), std::min(bytes.size(), sizeof record));
        return record;
    }
    void keep_cycles_busy()
    {
        make_segment(PLEXOR_CYCLE_KEY, sizeof(plexor_cycles), 0);
        write_segment(PLEXOR_CYCLE_KEY, offsetof(plexor_cycles, busy), {1, 0, 0, 0});
    }

  private:
    // "+3" for outlet 3 switched on, "-3" off.
    static std::string relay_step(const std::string &call)
    {
        unsigned outlet = 0;
        unsigned off = 0;
        const bool moved = std::sscanf(call.c_str(), "ioctl /dev/spiS0 4 %2X%*2X%2X", &outlet, &off) == 2;
        return moved ? print("%c%u", off == 1 ? '-' : '+', outlet + 1) : "";
    }
    static std::string step(const std::string &call)
    {
        static const std::vector<std::pair<std::string, std::string>> signs{
            {"nvram_kget_str DI1_action 512", "actions?"},
            {"nvram_kget_str sDIBeep_PX 512", "beep?"},
            {"nvram_kget_str sDIMail_PX 512", "mail?"},
            {"nvram_kget_str cycle_time_PX 512", "seconds?"},
            {"nanosleep 0.150000000", "beep"},
            {"syslog 4 ### Dry Contact Alarm", "log"},
            {"syslog 6 ###SetPowerByIdx[power-cycle]", "cycle"},
            {"nanosleep 1.000000000", "second"},
            {"nvram_bufset 0 IOMailWriting=1", "mail"}};
        for (const auto &[sign, word] : signs) {
            if (call.starts_with(sign))
                return word;
        }
        return relay_step(call);
    }
};

} // namespace plexor::tests
