// SPDX-License-Identifier: Apache-2.0
// What the tests of the switching entry points share: an appliance whose user asked for everything, and what
// a switch did, a word a step.
#pragma once

#include <plexor/relay.h>
#include <plexor/switching.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "tests/contract/files.h"
#include "tests/contract/relay_story.h"

namespace plexor::tests
{

class SwitchingStory : public RelayStory
{
  protected:
    SwitchingStory()
    {
        remove_journal();
        ask_for_everything();
    }
    ~SwitchingStory() override { remove_journal(); }

    void ask_for_everything()
    {
        set("beep_alarm_PX", "1;1;1;1;1;1;1;1");
        set("email_alarm_PX", "1;1;1;1;1;1;1;1");
        set("snmp_enable", "1");
        set("snmp_trap_dest_community", "public");
        set("snmp_trap_dest_host", "192.0.2.7");
    }
    void ask_for_nothing()
    {
        for (const char *key : {"beep_alarm_PX", "email_alarm_PX", "snmp_enable"})
            unset(key);
    }
    void use_model_asked_for_everything(int model)
    {
        use_model(model, true);
        ask_for_everything();
    }

    static constexpr const char *journal = "/tmp/iomail.txt";
    static void remove_journal() { std::filesystem::remove_all(journal); }
    static std::string journal_text() { return text_of(journal); }

    // The steps that a switch was seen to take, each at its first sign.
    Calls steps() const
    {
        static const std::vector<std::pair<std::string, std::string>> signs{
            {"open /dev/spiS0", "relay"},
            {"ioctl /dev/gpio 18 0x00400000", "relay"}, // the first relay of the model that has them on lines
            {"nvram_kget_str beep_alarm_PX 512", "beep?"},
            {"nanosleep 0.150000000", "beep"},
            {"system /bin/snmptrap", "trap"},
            {"nvram_kget_str email_alarm_PX 512", "mail?"},
            {"nvram_bufset 0 IOMailWriting=1", "mail"},
            {"syslog 6 ###", "log"},
            {"shmget 0x4C504F4C", "stamp"}};
        Calls seen;
        for (const auto &call : calls()) {
            for (const auto &[sign, step] : signs) {
                if (call.starts_with(sign))
                    seen.push_back(step);
            }
        }
        return seen;
    }
    static Calls all_steps() { return {"relay", "beep?", "beep", "trap", "mail?", "mail", "log", "stamp"}; }
    static Calls all_steps_but(const std::string &step)
    {
        Calls steps = all_steps();
        std::erase(steps, step);
        return steps;
    }
    Calls steps_of_switching(unsigned index, int value)
    {
        forget_calls();
        EXPECT_EQ(SetPowerByIdx(index, value, "web"), 1);
        return steps();
    }

    // Texts of the traps that were sent.
    Calls traps() const
    {
        const std::string before = "sysLocation.0 s \"";
        Calls texts;
        for (const auto &command : calls("system ")) {
            const auto start = command.find(before) + before.size();
            texts.push_back(command.substr(start, command.rfind("\" \n") - start));
        }
        return texts;
    }
    // Whatever brought the outlets there is forgotten.
    void start_with_all(bool on)
    {
        ContorlSpiAllPower(on ? 0xFF : 0, nullptr);
        let_i2c_cache_expire();
        forget_calls();
    }
    std::vector<bool> contacts()
    {
        std::vector<bool> live(8);
        for (std::size_t outlet = 0; outlet < live.size(); ++outlet)
            live[outlet] = board().contact(static_cast<int>(outlet));
        return live;
    }
    static std::vector<bool> all(bool on) { return std::vector<bool>(8, on); }
    static std::vector<bool> all_but(unsigned outlet, bool others)
    {
        std::vector<bool> contacts = all(others);
        contacts[outlet] = !others;
        return contacts;
    }
};

} // namespace plexor::tests
