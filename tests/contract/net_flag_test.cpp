// SPDX-License-Identifier: Apache-2.0
// The flags of an interface.
#include <climits>

#include "tests/contract/net_story.h"

namespace plexor::tests
{
namespace
{

// A name that fills the kernel's request, as far as that takes it.
const std::string longest_name = "interface-of-15-";

class InterfaceFlags : public NetStory
{
  protected:
    unsigned flags_after(unsigned before, int (*change)(const char *, short), short bits)
    {
        interface("br0").flags(before);
        EXPECT_EQ(change("br0", bits), 0);
        return interface("br0").flags();
    }
    // A longer name means this interface, without the last of its characters.
    void add_interface_of_15_characters() { add_interface(longest_name.substr(0, 15)).flags(0x1002); }
};

TEST_F(InterfaceFlags, AreReadThenSetOnOneSocketWithoutAWord)
{
    EXPECT_EQ(outcome_of([] { return net_set_flag("br0", 0x41); }), (Outcome{0}));
    EXPECT_EQ(calls(), on_a_socket({"SIOCGIFFLAGS br0", "SIOCSIFFLAGS br0 0x1043"}));
}

TEST_F(InterfaceFlags, AreReadThenClearedOnOneSocketWithoutAWord)
{
    EXPECT_EQ(outcome_of([] { return net_clr_flag("br0", 0x1000); }), (Outcome{0}));
    EXPECT_EQ(calls(), on_a_socket({"SIOCGIFFLAGS br0", "SIOCSIFFLAGS br0 0x2"}));
}

TEST_F(InterfaceFlags, ThatAreSetAddToTheOthers)
{
    EXPECT_EQ(flags_after(0x1002, net_set_flag, 0x0041), 0x1043U);
    EXPECT_EQ(flags_after(0x1043, net_set_flag, 0x0041), 0x1043U);
    EXPECT_EQ(flags_after(0x8001, net_set_flag, 0x4000), 0xC001U);
    EXPECT_EQ(flags_after(0x0001, net_set_flag, SHRT_MIN), 0x8001U);
    EXPECT_EQ(flags_after(0x1043, net_set_flag, 0), 0x1043U);
    EXPECT_EQ(flags_after(0, net_set_flag, -1), 0xFFFFU);
}

TEST_F(InterfaceFlags, ThatAreClearedLeaveTheOthers)
{
    EXPECT_EQ(flags_after(0x1043, net_clr_flag, 0x1002), 0x0041U);
    EXPECT_EQ(flags_after(0x0041, net_clr_flag, 0x1002), 0x0041U);
    EXPECT_EQ(flags_after(0xFFFF, net_clr_flag, SHRT_MIN), 0x7FFFU);
    EXPECT_EQ(flags_after(0xFFFF, net_clr_flag, 0x0001), 0xFFFEU);
    EXPECT_EQ(flags_after(0x1043, net_clr_flag, 0), 0x1043U);
    EXPECT_EQ(flags_after(0xFFFF, net_clr_flag, -1), 0U);
}

TEST_F(InterfaceFlags, OfAnInterfaceBroughtUpAreUpAndRunning)
{
    EXPECT_EQ(outcome_of([] { return net_nic_up("br0"); }), (Outcome{0}));
    EXPECT_EQ(calls(), on_a_socket({"SIOCGIFFLAGS br0", "SIOCSIFFLAGS br0 0x1043"}));
}

TEST_F(InterfaceFlags, OfAnInterfaceTakenDownLoseUpAlone)
{
    interface("br0").flags(0x1043);
    EXPECT_EQ(outcome_of([] { return net_nic_down("br0"); }), (Outcome{0}));
    EXPECT_EQ(calls(), on_a_socket({"SIOCGIFFLAGS br0", "SIOCSIFFLAGS br0 0x1042"}));
}

TEST_F(InterfaceFlags, AreRead)
{
    EXPECT_EQ(outcome_of([] { return net_get_flag("br0"); }), (Outcome{0x1002}));
    EXPECT_EQ(calls(), on_a_socket({"SIOCGIFFLAGS br0"}));
}

TEST_F(InterfaceFlags, AreSixteenBitsWithoutASign)
{
    for (const int flags : {0, 1, 0x7FFF, 0x8000, 0xFFFF}) {
        interface("br0").flags(static_cast<unsigned>(flags));
        EXPECT_EQ(net_get_flag("br0"), flags);
    }
}

TEST_F(InterfaceFlags, AreThoseOfTheInterfaceNamed)
{
    add_interface("eth2").flags(0x10);
    net_nic_up("eth2");
    EXPECT_EQ(interface("eth2").flags(), 0x51U);
    EXPECT_EQ(interface("br0").flags(), 0x1002U);
}

TEST_F(InterfaceFlags, AreAskedForByTheFirst16CharactersOfAName)
{
    add_interface_of_15_characters();
    EXPECT_EQ(net_get_flag((longest_name + "and-more").c_str()), 0x1002);
    EXPECT_EQ(net_get_flag("interface-of-15"), 0x1002);
    EXPECT_EQ(calls("ioctl"), (Calls{"ioctl socket SIOCGIFFLAGS interface-of-15-",
                                     "ioctl socket SIOCGIFFLAGS interface-of-15"}));
}

TEST_F(InterfaceFlags, AreSetWithTheNameCopiedAgain)
{
    add_interface_of_15_characters();
    EXPECT_EQ(net_set_flag((longest_name + "and-more").c_str(), 1), 0);
    EXPECT_EQ(net_clr_flag((longest_name + "and-more").c_str(), 1), 0);
    EXPECT_EQ(calls("ioctl socket SIOCSIFFLAGS"),
              (Calls{"ioctl socket SIOCSIFFLAGS interface-of-15- 0x1003",
                     "ioctl socket SIOCSIFFLAGS interface-of-15- 0x1002"}));
}

TEST_F(InterfaceFlags, AreNotSetWhereTheyCannotBeRead)
{
    for (const auto change : {net_set_flag, net_clr_flag}) {
        forget_calls();
        fail_call("SIOCGIFFLAGS", EPERM);
        EXPECT_EQ(outcome_of([&] { return change("br0", 1); }).result, -1);
        EXPECT_EQ(calls(), on_a_socket({"SIOCGIFFLAGS br0"}));
        EXPECT_EQ(interface("br0").flags(), 0x1002U);
    }
}

TEST_F(InterfaceFlags, OfNoNameAreThoseOfNoInterface)
{
    for (const char *name : {static_cast<const char *>(nullptr), ""})
        EXPECT_EQ(outcome_of([&] { return net_get_flag(name); }),
                  (Outcome{-1, "net_get_flag: ioctl SIOCGIFFLAGS: No such device\n"}));
}

} // namespace
} // namespace plexor::tests
