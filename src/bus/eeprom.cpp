// SPDX-License-Identifier: Apache-2.0
#include <plexor/eeprom.h>

#include <sys/ioctl.h>

#include <plexor/i2c.h>

#include "bus/transfer_record.h"
#include "nvram.h"
#include "support/descriptor.h"

namespace plexor
{
namespace
{

// Requests of the driver.
constexpr unsigned read_byte_request = 3;
constexpr unsigned write_byte_request = 5;

constexpr unsigned board_controller = 0xA0;
constexpr int length_register = 0xF3;
constexpr int text_register = 0x20;
constexpr unsigned distrusted_length = PLEXOR_EEPROM_TEXT_SIZE;
constexpr unsigned fallback_length = 19;

unsigned char request_byte(unsigned request, unsigned address, unsigned value)
{
    const Descriptor bus(open_fd());
    TransferRecord record{0, address, value, 1};
    ioctl(bus.get(), request, &record);
    return static_cast<unsigned char>(record.data);
}

} // namespace
} // namespace plexor

using namespace plexor;

unsigned char ReadEEPROM(unsigned address)
{
    return request_byte(read_byte_request, address, 0);
}

int WriteEEPROM(unsigned address, unsigned value)
{
    static_cast<void>(nvram_kget_int("IO_number", 0)); // asked for and not used, as ever
    request_byte(write_byte_request, address, value);
    return 0;
}

void eeprom_read(char *buffer)
{
    if (buffer == nullptr)
        return;
    unsigned char stored = 0;
    i2cmd(1, board_controller, length_register, &stored, 1);
    const unsigned length = stored < distrusted_length ? stored : fallback_length;
    i2cmd(1, board_controller, text_register, reinterpret_cast<unsigned char *>(buffer), length);
    buffer[length] = '\0';
}

void eeprom_write(char *text, unsigned length)
{
    if (text == nullptr)
        return;
    auto stored = static_cast<unsigned char>(length);
    i2cmd(0, board_controller, length_register, &stored, 1);
    i2cmd(0, board_controller, text_register, reinterpret_cast<unsigned char *>(text), length);
}
