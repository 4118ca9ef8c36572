// SPDX-License-Identifier: Apache-2.0
// What the relay tests share: the calls that switching is made of, named by what they do.
#pragma once

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <iterator>

#include <unistd.h>

#include "tests/contract/appliance.h"
#include "tests/contract/call_text.h"
#include "tests/contract/gpio_calls.h"

namespace plexor::tests
{

constexpr bool latching = true;
constexpr bool ordinary = false;
constexpr std::uint32_t i2c_cache = 0x4932434D;
constexpr std::uint32_t last_switch = 0x4C504F4C;
inline const std::string driver_missing = "Please insmod module spi_drv.o!\n";

inline Calls story(std::initializer_list<Calls> chapters)
{
    Calls calls;
    for (const auto &chapter : chapters)
        calls.insert(calls.end(), chapter.begin(), chapter.end());
    return calls;
}

// --- GPIO: every request opens and closes the device ---

inline const Calls read_group_0 = each_opened({gpio_request(2)});
inline const Calls read_group_1 = each_opened({gpio_request(82)});
inline const Calls read_strap = read_group_0;

inline Calls make_output(unsigned mask)
{
    return each_opened({gpio_request(18, mask)});
}

inline Calls write_group_0(unsigned word)
{
    return each_opened({gpio_request(3, word)});
}

inline Calls write_group_1(unsigned word)
{
    return each_opened({gpio_request(83, word)});
}

// --- I2C: a transfer that the cache does not answer ---

inline Calls transfer(const std::string &request)
{
    return {"shmget 0x4932434D 1480 03666",
            "shmget 0x4932434D 1480 0666",
            "shmat",
            "clock_gettime monotonic",
            "open /dev/i2cM0",
            "ioctl /dev/i2cM0 " + request,
            "close /dev/i2cM0",
            "nvram_kget_int DbgPic 0",
            "shmdt"};
}

inline Calls write_controller(const std::string &byte)
{
    return transfer("17 A0 1 [" + byte + "]");
}

inline const Calls read_controller = transfer("16 A0 1 len 1");

inline Calls set_expander(const std::string &device, const std::string &log, const std::string &byte)
{
    const std::string line = "syslog 6 [" + std::to_string(getpid()) + "]" + log;
    return story({{line}, transfer("17 " + device + " 8 [" + byte + "]")});
}

inline Calls set_all_expander_leds(const std::string &first, const std::string &second)
{
    return story({set_expander("34", "WrLed34:08=" + first, first),
                  {"nanosleep 0.020000000"},
                  set_expander("36", "WrLed36:08=" + second, second)});
}

// --- the rest ---

inline Calls beep_on_line_0(unsigned sounding, unsigned silent)
{
    return story({{"nvram_kget_int IO_number 0"},
                  each_opened({gpio_request(17, 0x00000001)}),
                  read_group_0,
                  make_output(0x00000001),
                  write_group_0(sounding),
                  {"nanosleep 0.150000000"},
                  write_group_0(silent)});
}

inline Calls beep_on_line_45(unsigned sounding, unsigned silent)
{
    return story({{"nvram_kget_int IO_number 0"},
                  each_opened({gpio_request(19, 0x00002000)}),
                  read_group_1,
                  each_opened({gpio_request(20, 0x00002000)}),
                  write_group_1(sounding),
                  {"nanosleep 0.150000000"},
                  write_group_1(silent)});
}

inline const Calls ask_model{"nvram_kget_int IO_number 0"};
inline const Calls identify_board{"flash_read_br0_mac"};
inline const Calls read_off_mask{"nvram_kget_str SPI_buf_1 32"};
inline const Calls open_chain{"open /dev/spiS0"};
inline const Calls close_chain{"close /dev/spiS0"};
inline const Calls wait_20_ms{"nanosleep 0.020000000"};
inline const Calls find_nobody_to_notify{"nvram_kget_int mqtt_enable 0"};
inline const Calls stamp_last_switch{"shmget 0x4C504F4C 0 0", "shmat", "clock_gettime monotonic", "shmdt"};

inline Calls store_off_mask(const std::string &text)
{
    return {"nvram_bufset 0 SPI_buf_1=" + text};
}

inline Calls move_one(const std::string &record)
{
    return {"ioctl /dev/spiS0 4 " + record};
}

inline Calls move_all(const std::string &record)
{
    return {"ioctl /dev/spiS0 6 " + record};
}

class RelayStory : public Appliance
{
  protected:
    // Both segments exist, as on an appliance that has switched before.
    RelayStory()
    {
        make_segment(i2c_cache, 1480, 0666);
        make_segment(last_switch, 8, 0);
    }

    void remove_driver() { fail_open("/dev/spiS0", ENOENT); }
    void let_i2c_cache_expire() { advance(250'000'000); }

    void connect_mqtt()
    {
        set("mqtt_enable", "1");
        set("mqtt_connect", "1");
        write_pid_file("cnt3", "431\n");
        add_process(431);
    }
    Calls notifications() const { return calls("sigqueue"); }
    static Calls one_notification() { return {"sigqueue 431 " + std::to_string(SIGRTMAX - 10) + " 1"}; }

    // What went to the shift register: request and record bytes.
    Calls records() const
    {
        const std::string prefix = "ioctl /dev/spiS0 ";
        Calls texts = calls(prefix);
        for (auto &text : texts)
            text.erase(0, prefix.size());
        return texts;
    }

    std::string recorded() const { return get("SPI_buf_1"); }
    unsigned controller_record() { return board().controller(1); }

    // The off mask as after an earlier switch, in both places.
    void had_recorded(unsigned off_mask)
    {
        set("SPI_buf_1", print("%x", off_mask));
        board().set_controller(1, static_cast<std::uint8_t>(off_mask));
    }
};

} // namespace plexor::tests
