// SPDX-License-Identifier: Apache-2.0
// This program has functions of its own under names of the library, as programs do with words like "split"
// and "beep". The library must go on using its own.
#include <plexor/plexor.h>

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tests/contract/appliance.h"

namespace
{

template <class Result>
Result taken_over(const char *name)
{
    std::fprintf(stderr, "the library called the program's %s\n", name);
    std::abort();
}

} // namespace

int beep(unsigned)
{
    return taken_over<int>("beep");
}

int Sleep(unsigned)
{
    return taken_over<int>("Sleep");
}

int USleep(unsigned)
{
    return taken_over<int>("USleep");
}

char *split(char **, char *, const char *)
{
    return taken_over<char *>("split");
}

unsigned is_latch()
{
    return taken_over<unsigned>("is_latch");
}

int SendProcessSig(const char *, int)
{
    return taken_over<int>("SendProcessSig");
}

int ReadPid(const char *)
{
    return taken_over<int>("ReadPid");
}

void LPOL()
{
    taken_over<void>("LPOL");
}

unsigned getPowerPortNum(unsigned *)
{
    return taken_over<unsigned>("getPowerPortNum");
}

int RdNvram_N_Param_int(const char *, int, int *)
{
    return taken_over<int>("RdNvram_N_Param_int");
}

int gpio_set_dir_g(unsigned, int, int)
{
    return taken_over<int>("gpio_set_dir_g");
}

int gpio_read_int(unsigned, unsigned *)
{
    return taken_over<int>("gpio_read_int");
}

int gpio_write_int(unsigned, int)
{
    return taken_over<int>("gpio_write_int");
}

int i2cmd(unsigned, unsigned, int, unsigned char *, unsigned)
{
    return taken_over<int>("i2cmd");
}

int I2CRead(unsigned, unsigned, unsigned char *, unsigned)
{
    return taken_over<int>("I2CRead");
}

int I2CWrite(unsigned, unsigned, unsigned char *, unsigned)
{
    return taken_over<int>("I2CWrite");
}

int open_fd()
{
    return taken_over<int>("open_fd");
}

int LEDONOFF(unsigned)
{
    return taken_over<int>("LEDONOFF");
}

int QB73xxLED(unsigned, unsigned)
{
    return taken_over<int>("QB73xxLED");
}

int QB73xxAllLED(unsigned)
{
    return taken_over<int>("QB73xxAllLED");
}

int Record_Status(unsigned, unsigned)
{
    return taken_over<int>("Record_Status");
}

int ContorlgpioPower(unsigned, int)
{
    return taken_over<int>("ContorlgpioPower");
}

// Where programs and library share an object, a program's own is the one that both use.
md5_context_state md5_context;

namespace plexor::tests
{
namespace
{

class Binding : public Appliance
{
  protected:
    unsigned live_outlets()
    {
        unsigned mask = 0;
        for (int outlet = 0; outlet < board().hardware().outlets; ++outlet)
            mask |= unsigned{board().contact(outlet)} << outlet;
        return mask;
    }
};

// Without this, nothing below would be shown.
TEST_F(Binding, OtherLibrariesWouldFindTheNamesInTheProgram)
{
    Dl_info found{};
    ASSERT_NE(dladdr(dlsym(RTLD_DEFAULT, "beep"), &found), 0);
    EXPECT_EQ(std::string(found.dli_fname).find("libplexor"), std::string::npos) << found.dli_fname;
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "is_latch"), reinterpret_cast<void *>(&::is_latch));
}

TEST_F(Binding, TheLibrarySwitchesEightOutletsWithItsOwnFunctions)
{
    set("mqtt_enable", "1");
    set("mqtt_connect", "1");
    write_pid_file("cnt3", "77\n");
    EXPECT_EQ(ContorlSpiAllPower(0xA5, ""), 0);
    EXPECT_EQ(live_outlets(), 0xA5U);
    EXPECT_EQ(ContorlSpiPower(1, 1), 1);
    EXPECT_EQ(live_outlets(), 0xA7U);
}

TEST_F(Binding, TheLibrarySwitchesFourOutletsWithItsOwnFunctions)
{
    use_model(4, false);
    EXPECT_EQ(ContorlSpiAllPower(0x5, ""), 0);
    EXPECT_EQ(live_outlets(), 0x5U);
    EXPECT_TRUE(board().led(2));
}

TEST_F(Binding, TheLibrarySwitchesLinesWithItsOwnFunctions)
{
    use_model(10, false);
    EXPECT_EQ(ContorlSpiPower(6, 1), 1);
    EXPECT_TRUE(board().contact(6));
}

TEST_F(Binding, TheLibraryStartsTheBoardWithItsOwnFunctions)
{
    set("default_status_PX", "1;0;1;0;2;2;2;2");
    board().set_controller(1, 0x20);
    EXPECT_EQ(init_io(), 0);
    EXPECT_EQ(live_outlets(), 0xD5U);
}

TEST_F(Binding, TheLibraryWorksWithItsOwnFunctionsWithoutDevices)
{
    fail_open("/dev/spiS0", ENOENT);
    fail_open("/dev/gpio", ENOENT);
    standard_error_of([] { EXPECT_EQ(ContorlSpiAllPower(0xFF, ""), -1); });
    EXPECT_EQ(debug_print(), "Please insmod module spi_drv.o!\n");
}

TEST_F(Binding, TheLibraryDigestsInTheProgramsContext)
{
    unsigned char digest[16];
    EXPECT_NE(dlsym(RTLD_NEXT, "md5_context"), nullptr); // the library's own, which nobody uses
    md5_init();
    EXPECT_EQ(md5_context.state[0], 0x67452301U);
    md5_final(digest);
    EXPECT_EQ(std::memcmp(digest, "\xD4\x1D\x8C\xD9\x8F\x00\xB2\x04", 8), 0);
    EXPECT_EQ(md5_context.state[0], 0xD98C1DD4U);
}

} // namespace
} // namespace plexor::tests
