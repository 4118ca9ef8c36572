// SPDX-License-Identifier: Apache-2.0
// The DHCP client: started, told to renew its lease, restarted and stopped.
#include <cerrno>
#include <climits>

#include "tests/contract/forks.h"
#include "tests/contract/net_story.h"

namespace plexor::tests
{
namespace
{

const Calls kill_clients{"system killall -2 dhcpcd"};
const std::string pid_error = "net_disable_dhcpcd, pid error\n";

class DhcpClient : public NetStory
{
  protected:
    static Outcome start(const char *interface)
    {
        return outcome_of([&] { return net_start_dhcpcd(interface); });
    }
    static Outcome renew(int pid)
    {
        return outcome_of([&] { return net_renew_dhcpcd(pid); });
    }
    // What the child says that cannot become the client; its end is waited for.
    static std::string complaint_of_child()
    {
        const Outcome outcome = start("br0");
        EXPECT_EQ(outcome.output, "");
        EXPECT_EQ(exit_status_of(static_cast<int>(outcome.result)), 0);
        return outcome.error;
    }
};

// --- started ---

TEST_F(DhcpClient, IsStartedByItsPathForTheInterface)
{
    complaint_of_child();
    EXPECT_EQ(calls(), Calls{"execlp /opt/ipnc/dhcpcd/dhcpcd /opt/ipnc/dhcpcd/dhcpcd br0"});
}

TEST_F(DhcpClient, GetsTheNameOfItsInterfaceAsOneArgumentHoweverItLooks)
{
    const Outcome outcome = start("a-name-of-more-than-16; $(reboot)");
    EXPECT_EQ(exit_status_of(static_cast<int>(outcome.result)), 0);
    EXPECT_EQ(calls(), Calls{"execlp /opt/ipnc/dhcpcd/dhcpcd /opt/ipnc/dhcpcd/dhcpcd "
                             "a-name-of-more-than-16; $(reboot)"});
}

TEST_F(DhcpClient, ThatIsMissingIsTheChildsComplaintAndTheChildEndsAsIfAllWereWell)
{
    EXPECT_EQ(complaint_of_child(), "exec dhcpcd failed: No such file or directory\n");
    fail_call("execlp", EACCES);
    EXPECT_EQ(complaint_of_child(), "exec dhcpcd failed: Permission denied\n");
}

TEST_F(DhcpClient, IsReportedWhereNoChildCanBeHad)
{
    Outcome outcome{};
    without_forks([&] { outcome = start("br0"); });
    EXPECT_EQ(outcome, (Outcome{-1, "fork dhcpcd failed: Resource temporarily unavailable\n"}));
    EXPECT_EQ(calls(), Calls{});
}

// --- renewed ---

TEST_F(DhcpClient, RenewsItsLeaseOnSignal14)
{
    add_process(431);
    EXPECT_EQ(renew(431), (Outcome{0}));
    EXPECT_EQ(calls(), Calls{"kill 431 14"});
}

TEST_F(DhcpClient, ThatDoesNotRunCannotRenewItsLease)
{
    EXPECT_EQ(renew(431), (Outcome{-1, "net_disable_dhcpcd, kill error: No such process\n", pid_error}));
    add_process(431);
    fail_call("kill", EPERM);
    EXPECT_EQ(renew(431),
              (Outcome{-1, "net_disable_dhcpcd, kill error: Operation not permitted\n", pid_error}));
    EXPECT_EQ(calls(), Calls(2, "kill 431 14"));
}

TEST_F(DhcpClient, ThatIsNoSingleProcessIsNeverSignalled)
{
    for (const int pid : {0, -1, -431, INT_MIN})
        EXPECT_EQ(renew(pid), (Outcome{-1, "", pid_error})) << pid;
    EXPECT_EQ(calls(), Calls{});
}

// --- restarted and stopped ---

TEST_F(DhcpClient, IsStoppedByTheShell)
{
    EXPECT_EQ(outcome_of([] { return net_disable_dhcpcd(); }), (Outcome{0}));
    EXPECT_EQ(calls(), kill_clients);
    system_returns(1 << 8);
    EXPECT_EQ(net_disable_dhcpcd(), 1 << 8);
}

TEST_F(DhcpClient, IsRestartedByTheShellForNoInterfaceInParticular)
{
    EXPECT_EQ(outcome_of([] { return net_enable_dhcpcd(); }), (Outcome{0}));
    EXPECT_EQ(calls(), (Calls{"system killall -2 dhcpcd", "system /opt/ipnc/dhcpcd/dhcpcd"}));
}

TEST_F(DhcpClient, IsRestartedWithTheResultOfItsStart)
{
    system_returns(127 << 8);
    fail_call("system", EAGAIN); // the first
    EXPECT_EQ(net_enable_dhcpcd(), 127 << 8);
    fail_call_after("system", 1, EAGAIN);
    EXPECT_EQ(net_enable_dhcpcd(), -1);
}

} // namespace
} // namespace plexor::tests
