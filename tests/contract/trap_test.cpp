// SPDX-License-Identifier: Apache-2.0
// The command line that sends an SNMP trap, and what a real shell makes of it.
#include <cstdlib>
#include <filesystem>

#include <plexor/trap.h>

#include "tests/contract/appliance.h"
#include "tests/contract/programs.h"

namespace plexor::tests
{
namespace
{

std::string v1(const std::string &community, const std::string &host, const std::string &message)
{
    return "/bin/snmptrap -v 1 -c \"" + community + "\" " + host +
           " VOLTARA-MIB::outletStatusChanged \"\" 6 1 \"\" SNMPv2-MIB::sysLocation.0 s \"" + message +
           "\" \n";
}

std::string v2c(const std::string &community, const std::string &host, const std::string &message)
{
    return "/bin/snmptrap -v 2c -c \"" + community + "\" " + host +
           " \"\" VOLTARA-MIB::outletStatusChanged SNMPv2-MIB::sysLocation.0 s \"" + message + "\" \n ";
}

class Trap : public Appliance
{
  protected:
    Trap()
    {
        std::filesystem::remove("/tmp/owned");
        set("snmp_enable", "1");
        set_destination("0", "public", "192.0.2.7");
    }
    void set_destination(const std::string &type, const std::string &community, const std::string &host)
    {
        set("snmp_trap_dest_type", type);
        set("snmp_trap_dest_community", community);
        set("snmp_trap_dest_host", host);
    }
    static int send(std::string message) { return SnmpSendTrap(message.data()); }

    // The command that was run; empty when none was.
    std::string command() const
    {
        const Calls run = calls("system ");
        return run.empty() ? "" : run.front().substr(7);
    }
    std::string command_for(const std::string &message)
    {
        forget_calls();
        EXPECT_EQ(send(message), 0);
        return command();
    }
    // What a real shell would give the tool, one argument a line: the command with another tool in
    // its place that writes them down.
    std::vector<std::string> arguments_for(const std::string &message)
    {
        std::string line = command_for(message);
        line.replace(0, std::string("/bin/snmptrap").size(), "printf '%s\\0'");
        line.insert(line.rfind('\n'), ">/tmp/plexor-trap-arguments");
        EXPECT_EQ(std::system(line.c_str()), 0) << line;
        EXPECT_FALSE(exists("/tmp/owned")) << line;
        return arguments_in("/tmp/plexor-trap-arguments");
    }
};

TEST_F(Trap, OfTypeZeroIsOfVersionOne)
{
    EXPECT_EQ(command_for("Outlet1 off to on"), v1("public", "192.0.2.7", "Outlet1 off to on"));
}

TEST_F(Trap, OfAnyOtherTypeIsOfVersionTwo)
{
    for (const char *type : {"1", "2", "3", "-1", "10", "99"}) {
        set_destination(type, "public", "192.0.2.7");
        EXPECT_EQ(command_for("Outlet1 on to off"), v2c("public", "192.0.2.7", "Outlet1 on to off")) << type;
    }
}

TEST_F(Trap, OfAnEmptyTypeOrJunkIsOfVersionOne)
{
    for (const char *type : {"", "x", "0"}) {
        set_destination(type, "public", "192.0.2.7");
        EXPECT_EQ(command_for("m"), v1("public", "192.0.2.7", "m")) << type;
    }
}

TEST_F(Trap, OfTypeNineIsNotSent)
{
    set_destination("9", "public", "192.0.2.7");
    EXPECT_EQ(send("m"), 0);
    EXPECT_EQ(command(), "");
    EXPECT_EQ(debug_print(), "");
}

TEST_F(Trap, IsSentOnlyWhenEnabledWithExactlyOne)
{
    for (const char *enabled : {"0", "", "1 ", "11", "01", "yes", "1\n", "100000"}) {
        set("snmp_enable", enabled);
        forget_calls();
        EXPECT_EQ(send("m"), -1) << enabled;
        EXPECT_EQ(calls(), Calls{"nvram_kget_str snmp_enable 5"});
        EXPECT_EQ(debug_print(), "");
    }
}

TEST_F(Trap, ReadsItsFourParametersThenPrintsThenRuns)
{
    std::string printed;
    at_call("system", [&] { printed = debug_print(); });
    send("m");
    EXPECT_EQ(calls(),
              (Calls{"nvram_kget_str snmp_enable 5", "nvram_kget_str snmp_trap_dest_type 64",
                     "nvram_kget_str snmp_trap_dest_community 64", "nvram_kget_str snmp_trap_dest_host 64",
                     "system " + v1("public", "192.0.2.7", "m")}));
    EXPECT_EQ(printed, v1("public", "192.0.2.7", "m"));
}

TEST_F(Trap, ReturnsWhatTheShellReturned)
{
    system_returns(3 << 8);
    EXPECT_EQ(send("m"), 3 << 8);
}

TEST_F(Trap, HandsAnEmptyCommunityAndHostOnAsTheyAre)
{
    set_destination("0", "", "");
    EXPECT_EQ(command_for(""), v1("", "", ""));
}

TEST_F(Trap, LeavesPlainValuesByteForByte)
{
    set_destination("2", "Comm.unity-1_", "udp6:m\xC3\xBCnchen^1!.example:162");
    EXPECT_EQ(command_for("Outlet8 off to on, (100%) #1!"),
              v2c("Comm.unity-1_", "udp6:m\xC3\xBCnchen^1!.example:162", "Outlet8 off to on, (100%) #1!"));
}

TEST_F(Trap, KeepsBracketsOfAHostFromBeingAPatternOfFiles)
{
    set_destination("2", "public", "udp6:[2001:db8::1]:162");
    EXPECT_EQ(command_for("m"), v2c("public", "'udp6:[2001:db8::1]:162'", "m"));
}

TEST_F(Trap, OfAMessageOf200CharactersFits)
{
    const std::string longest(63, 'c');
    set_destination("0", longest, longest);
    EXPECT_EQ(command_for(std::string(200, 'm')), v1(longest, longest, std::string(200, 'm')));
}

TEST_F(Trap, ThatDoesNotFit511CharactersIsNotSent)
{
    const std::size_t around = v1("public", "192.0.2.7", "").size();
    EXPECT_EQ(command_for(std::string(511 - around, 'm')).size(), 511U);
    forget_calls();
    EXPECT_EQ(send(std::string(512 - around, 'm')), -1);
    EXPECT_EQ(command(), "");
    EXPECT_EQ(debug_print(), "SnmpSendTrap error\n");
}

TEST_F(Trap, OfNoMessageIsNotSent)
{
    EXPECT_EQ(SnmpSendTrap(nullptr), -1);
    EXPECT_EQ(command(), "");
}

TEST_F(Trap, GivesAHostileMessageToTheToolAsItIs)
{
    for (const auto &message : hostile_texts) {
        const auto arguments = arguments_for(message);
        ASSERT_EQ(arguments.size(), 13U) << message;
        EXPECT_EQ(arguments[12], message);
    }
}

TEST_F(Trap, GivesAHostileCommunityToTheToolAsItIs)
{
    for (const auto &community : hostile_texts) {
        set_destination("2", community, "192.0.2.7");
        const auto arguments = arguments_for("m");
        ASSERT_EQ(arguments.size(), 10U) << community;
        EXPECT_EQ(arguments[3], community);
        EXPECT_EQ(arguments[4], "192.0.2.7");
    }
}

TEST_F(Trap, GivesAHostileHostToTheToolAsOneArgumentThatIsNoOption)
{
    for (const auto &host : hostile_texts) {
        set_destination("2", "public", host);
        const auto arguments = arguments_for("m");
        ASSERT_EQ(arguments.size(), 10U) << host;
        EXPECT_EQ(arguments[4], (host[0] == '-' ? "udp:" : "") + host);
    }
}

TEST_F(Trap, PrintsConversionsInItsValuesAsTheyAre)
{
    send("%n%s%d");
    EXPECT_EQ(debug_print(), v1("public", "192.0.2.7", "%n%s%d"));
}

} // namespace
} // namespace plexor::tests
