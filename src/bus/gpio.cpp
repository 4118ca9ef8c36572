// SPDX-License-Identifier: Apache-2.0
#include <plexor/gpio.h>

#include <fcntl.h>
#include <sys/ioctl.h>

#include <cstdint>
#include <cstdio>

#include "support/bits.h"
#include "support/descriptor.h"

namespace plexor
{
namespace
{

constexpr const char *device = "/dev/gpio";

// Request numbers of the driver, a row a bank.
struct BankRequests {
    unsigned set_input;
    unsigned set_output;
    unsigned read;
    unsigned write;
};
constexpr BankRequests banks[] = {{17, 18, 2, 3}, {19, 20, 82, 83}, {21, 22, 98, 99}};

const BankRequests &requests_of(unsigned group)
{
    return banks[group == 1 || group == 2 ? group : 0];
}

// Argument: an integer or an address, as the request wants it.
template <typename Argument>
int request(unsigned number, Argument argument)
{
    const Descriptor gpio(open(device, O_RDONLY | O_CLOEXEC));
    if (!gpio) {
        perror(device);
        return -1;
    }
    if (ioctl(gpio.get(), number, argument) < 0) {
        perror("ioctl");
        return -1;
    }
    return 0;
}

} // namespace
} // namespace plexor

using namespace plexor;

const int DIGPIO[4] = {26, 27, 28, 29};

int gpio_set_dir_g(unsigned group, int output, int line)
{
    const BankRequests &bank = requests_of(group);
    const unsigned long mask = std::uint32_t{1} << (static_cast<unsigned>(line) % lines_per_bank);
    return request(output != 0 ? bank.set_output : bank.set_input, mask);
}

int gpio_read_int(unsigned group, unsigned *levels)
{
    if (levels == nullptr)
        return -1;
    *levels = 0;
    const int result = request(requests_of(group).read, levels);
    if (result < 0)
        *levels = 0; // whatever the driver left
    return result;
}

int gpio_write_int(unsigned group, int levels)
{
    const unsigned long word = static_cast<std::uint32_t>(levels);
    return request(requests_of(group).write, word);
}
