// SPDX-License-Identifier: Apache-2.0
//
// Who calls it: the switching entry points, the tick and the dry contact inside the library; the start-up
// process, the web interface and the SNMP agent outside.
// What it owns: "/dev/spiS0", the off mask in "SPI_buf_1" and in register 1 of the board controller.
// What is odd: eight-outlet boards are driven with coil pulses when all outlets are switched, whatever their
// relays; setting several outlets at once leaves the board controller's record alone.
#include <plexor/relay.h>

#include <fcntl.h>
#include <sys/ioctl.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <plexor/gpio.h>
#include <plexor/i2c.h>
#include <plexor/indicator.h>
#include <plexor/model.h>
#include <plexor/params.h>
#include <plexor/process.h>

#include "foundation/model_table.h"
#include "nvram.h"
#include "outlet/relay_pattern.h"
#include "support/bits.h"
#include "support/descriptor.h"
#include "support/list.h"

namespace plexor
{
namespace
{

constexpr const char *chain_device = "/dev/spiS0";
constexpr unsigned long one_outlet_request = 4;
constexpr unsigned long all_outlets_request = 6;
constexpr unsigned gap_between_bytes_us = 20'000;

constexpr unsigned latch_strap = 1U << 3; // line 3 of GPIO group 0

constexpr const char *off_mask_key = "SPI_buf_1";
constexpr const char *start_up_key = "default_status_PX";
constexpr const char *gpio_start_up_key = "default_status_PX1";
constexpr std::size_t start_up_size = 32;
constexpr unsigned board_controller = 0xA0;
constexpr int off_mask_register = 1;

constexpr int states_changed = 1; // value of the switch notification

unsigned recorded_off_mask()
{
    char text[32] = {};
    fetch(off_mask_key, text);
    return static_cast<unsigned>(strtoul(text, nullptr, 16));
}

void store_off_mask(unsigned mask)
{
    char text[16];
    snprintf(text, sizeof text, "%x", mask);
    nvram_bufset(0, off_mask_key, text);
}

void write_off_mask_register(unsigned mask)
{
    auto byte = static_cast<unsigned char>(mask);
    i2cmd(0, board_controller, off_mask_register, &byte, 1);
}

void notify()
{
    SendProcessSig("libplexor", states_changed);
}

// False for a missing device, and for descriptor 0: the driver's users have standard input open.
bool is_open(const Descriptor &chain)
{
    if (chain.get() > 0)
        return true;
    myprintf("Please insmod module spi_drv.o!\n");
    return false;
}

Descriptor open_chain()
{
    return Descriptor(open(chain_device, O_RDONLY | O_CLOEXEC));
}

// The board as its own hardware tells it, not as the parameter store does.
struct Fitted {
    unsigned index;
    unsigned latch;

    bool eight() const { return model_at(index).relays == RelayPath::chain_8; }
    unsigned driven_outlets() const { return eight() ? max_outlets : outlets_per_byte; }
    // Eight-outlet boards get the coil pattern whatever their relays.
    std::uint8_t first_pattern(const Patterns &patterns) const
    {
        return low_byte(latch != 0 || eight() ? patterns.coil : patterns.level);
    }
};

unsigned model_index()
{
    unsigned index = 0;
    getPowerPortNum(&index);
    return index;
}

Fitted fitted_board()
{
    const unsigned index = model_index();
    return {index, is_latch()};
}

void move_all(const Descriptor &chain, const Fitted &board, const Patterns &patterns)
{
    RelayCommand command{0, board.first_pattern(patterns), 0, static_cast<std::uint8_t>(board.index),
                         static_cast<std::uint8_t>(board.latch)};
    ioctl(chain.get(), all_outlets_request, &command);
    if (!board.eight())
        return;
    USleep(gap_between_bytes_us);
    command.outlet = outlets_per_byte;
    command.pattern = high_byte(patterns.coil);
    ioctl(chain.get(), all_outlets_request, &command);
    QB73xxAllLED(patterns.on_mask);
}

using PrintPatterns = void (*)(const Fitted &, const Patterns &);

// Records the off mask and moves all relays with their LEDs; false when the device is missing.
bool switch_all(const Fitted &board, const Patterns &patterns, PrintPatterns print)
{
    store_off_mask(patterns.off_mask);
    const Descriptor chain = open_chain();
    if (!is_open(chain))
        return false;
    print(board, patterns);
    move_all(chain, board, patterns);
    if (!board.eight())
        LEDONOFF(patterns.off_mask);
    return true;
}

// What a state given by a caller or in a start-up list asks for.
Wanted wanted_by(int state)
{
    return state == 0 || state == 1 ? wanted_if(state == 1) : Wanted::unchanged;
}

Patterns start_up_patterns(unsigned outlets, unsigned saved_off_mask)
{
    constexpr int as_before = 2;
    int states[max_outlets];
    RdNvram_N_Param_int(start_up_key, max_outlets, states);
    Patterns patterns;
    for (unsigned k = 0; k < outlets; ++k)
        patterns.add(k,
                     states[k] == as_before ? wanted_if(!bit_set(saved_off_mask, k)) : wanted_by(states[k]));
    return patterns;
}

int start_gpio_relays()
{
    int states[max_outlets];
    RdNvram_N_Param_int(gpio_start_up_key, max_outlets, states);
    for (unsigned k = 0; k < max_outlets; ++k) {
        if (wanted_by(states[k]) != Wanted::unchanged)
            ContorlgpioPower(k, states[k]);
    }
    return 0;
}

// Moves one relay; the states of the outlets that share its byte come from the off mask.
void move_one(const Descriptor &chain, unsigned model, unsigned outlet, bool on, unsigned off_mask)
{
    const unsigned latch = is_latch();
    const auto set_coil = static_cast<unsigned>(pinRelaySPI[outlet]);
    const unsigned pattern = latch != 0 ? (on ? set_coil : 2 * set_coil) : group_level(off_mask, outlet, on);
    RelayCommand command{static_cast<std::uint8_t>(outlet), static_cast<std::uint8_t>(pattern),
                         static_cast<std::uint8_t>(on ? 0 : 1), static_cast<std::uint8_t>(model),
                         static_cast<std::uint8_t>(latch)};
    myprintf("index:%x value:%x  is_Latch:%x \n", outlet, pattern, latch);
    ioctl(chain.get(), one_outlet_request, &command);
}

// States from the levels of active-low lines.
void states_from_lines(unsigned group, const int (&lines)[max_outlets], int *states)
{
    unsigned levels = 0;
    gpio_read_int(group, &levels);
    for (unsigned i = 0; i < max_outlets; ++i)
        states[i] = bit_set(levels, static_cast<unsigned>(lines[i]) % lines_per_bank) ? 0 : 1;
}

} // namespace
} // namespace plexor

using namespace plexor;

const int pinRelaySPI[8] = {1, 4, 16, 64, 1, 4, 16, 64};
const int pinRelayGPIO[8] = {22, 23, 24, 25, 26, 29, 27, 28};
const int pinRelayGPIO3264[8] = {40, 39, 38, 37, 26, 29, 27, 28};

int ContorlSpiPower(int index, int value)
{
    if (index < 0 || index >= int{max_outlets}) {
        myprintf("relayidx:%d error\n", index);
        return -1;
    }
    const auto outlet = static_cast<unsigned>(index);
    const bool on = value != 0;
    const unsigned model = stored_model_index();
    if (model_at(model).relays == RelayPath::gpio) {
        ContorlgpioPower(outlet, value);
        notify();
        return 1;
    }
    const auto off_mask = static_cast<unsigned>(Record_Status(outlet, on ? 1 : 0));
    {
        const Descriptor chain = open_chain();
        if (!is_open(chain))
            return -1;
        move_one(chain, model, outlet, on, off_mask);
    }
    if (model_at(model).leds == LedPath::expander)
        QB73xxLED(outlet, on ? 1 : 0);
    notify();
    return 1;
}

int ContorlSpiAllPower(unsigned on_mask, const char *tag)
{
    static_cast<void>(tag);
    const Fitted board = fitted_board();
    Patterns patterns;
    for (unsigned k = 0; k < board.driven_outlets(); ++k)
        patterns.add(k, wanted_if(bit_set(on_mask, k)));
    const auto print = [](const Fitted &b, const Patterns &p) {
        myprintf("ContorlSpiAllPower:nSPIVal=%x ,value:%x nHwVal=%x\n", p.coil, b.first_pattern(p),
                 p.off_mask);
    };
    if (!switch_all(board, patterns, print))
        return -1;
    beep(1);
    write_off_mask_register(patterns.off_mask);
    notify();
    LPOL();
    return 0;
}

int SetPowerSimul(int *states)
{
    if (states == nullptr)
        return 0;
    const Fitted board = fitted_board();
    Patterns patterns;
    for (unsigned k = 0; k < board.driven_outlets(); ++k)
        patterns.add(k, wanted_by(states[k]));
    const auto print = [](const Fitted &, const Patterns &p) {
        myprintf("SetPowerSimul:nSPIVal=%x,nHwVal=%x\n", p.coil, p.off_mask);
    };
    if (!switch_all(board, patterns, print))
        return 0;
    beep(1);
    notify();
    LPOL();
    return 1;
}

int ContorlgpioPower(unsigned index, int value)
{
    if (index >= max_outlets)
        return 1;
    const int line = pinRelayGPIO[index];
    unsigned levels = 0;
    gpio_read_int(0, &levels);
    gpio_set_dir_g(0, 1, line);
    levels = with_bit(levels, static_cast<unsigned>(line), value == 0); // active low
    gpio_write_int(0, static_cast<int>(levels));
    return 1;
}

unsigned is_latch(void)
{
    unsigned levels = 0;
    gpio_read_int(0, &levels);
    return levels & latch_strap;
}

int init_io(void)
{
    const unsigned index = model_index();
    if (model_at(index).relays == RelayPath::gpio)
        return start_gpio_relays();
    const Fitted board{index, is_latch()};
    unsigned char saved = 0;
    i2cmd(1, board_controller, off_mask_register, &saved, 1);
    Patterns patterns;
    {
        const Descriptor chain = open_chain();
        if (!is_open(chain))
            return -1;
        patterns = start_up_patterns(board.driven_outlets(), saved);
        myprintf("init_io:nSPIVal=%x,nHwEE=%x,nHwLED=%x\n", patterns.coil, saved, patterns.off_mask);
        move_all(chain, board, patterns);
    }
    store_off_mask(patterns.off_mask);
    LEDONOFF(patterns.off_mask);
    write_off_mask_register(patterns.off_mask);
    return 0;
}

int Record_Status(unsigned index, unsigned value)
{
    const unsigned before = recorded_off_mask();
    if (index < max_outlets) {
        const unsigned after = with_bit(before, index, value == 0);
        write_off_mask_register(after);
        store_off_mask(after);
    }
    return static_cast<int>(before & 0xFFU);
}

int SetPowerDefaultStatus(int *states)
{
    if (states == nullptr)
        return 1;
    char list[start_up_size] = {};
    const int *const s = states;
    const int length = snprintf(list, sizeof list, "%d;%d;%d;%d;%d;%d;%d;%d", s[0], s[1], s[2], s[3], s[4],
                                s[5], s[6], s[7]);
    if (length >= int{sizeof list}) {
        myprintf("SetPowerDefaultStatus error\n");
        return 1;
    }
    nvram_bufset(0, start_up_key, list);
    nvram_commit(0);
    static_cast<void>(stored_model_index()); // asked for and not used, as ever
    return 1;
}

int GetPowerDefaultStatus(int *states)
{
    if (states == nullptr)
        return 1;
    char list[start_up_size] = {};
    fetch(start_up_key, list);
    char *rest = nullptr;
    unsigned i = 0;
    for (char *field = strtok_r(list, ";", &rest); field != nullptr && i < max_outlets;
         field = strtok_r(nullptr, ";", &rest))
        states[i++] = atoi(field);
    return 1;
}

int GetPowerStatus(int *states)
{
    if (states == nullptr)
        return 1;
    const Model &model = stored_model();
    const unsigned off_mask = recorded_off_mask();
    if (model.leds == LedPath::gpio_40) {
        states_from_lines(1, pinRelayGPIO3264, states);
    } else if (model.relays == RelayPath::chain_8) {
        for (unsigned i = 0; i < max_outlets; ++i)
            states[i] = bit_set(off_mask, i) ? 0 : 1;
    } else {
        states_from_lines(0, pinRelayGPIO, states);
    }
    return 1;
}

int GetPowerByIdx(unsigned index)
{
    if (index >= max_outlets) {
        myprintf("relayidx:%d error\n", static_cast<int>(index));
        return -1;
    }
    return bit_set(recorded_off_mask(), index) ? 0 : 1;
}
