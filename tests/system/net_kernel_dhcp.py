# SPDX-License-Identifier: Apache-2.0
"""The DHCP client as a real process: started, told to renew, restarted and stopped."""
import os
import pathlib
import signal
import unittest

from net_kernel import Call, answer
from receivers import await_that, run


class DhcpTest(unittest.TestCase):
    """A stand-in where the product has its DHCP client: it writes its words and then the signals that it gets."""

    FOLDER = pathlib.Path("/opt/ipnc/dhcpcd")
    LOG = pathlib.Path("/tmp/dhcpcd.log")
    CLIENT = """#!/usr/bin/python3
import os, signal, sys
signals = {signal.SIGALRM, signal.SIGINT}
signal.pthread_sigmask(signal.SIG_BLOCK, signals)
def log(*words):
    with open("/tmp/dhcpcd.log", "a") as file:
        print(os.getpid(), *words, file=file)
log(*sys.argv)
while len(sys.argv) > 1:
    got = signal.sigwait(signals)
    log(got.name)
    if got == signal.SIGINT:
        sys.exit(0)
sys.exit(5)
"""

    def setUp(self):
        run("mount", "-t", "tmpfs", "dhcpcd", "/opt")
        self.addCleanup(run, "umount", "--lazy", "/opt")
        self.FOLDER.mkdir(parents=True)
        self.LOG.unlink(missing_ok=True)

    def install(self):
        client = self.FOLDER / "dhcpcd"
        client.write_text(self.CLIENT)
        client.chmod(0o755)

    def log(self):
        return self.LOG.read_text().splitlines() if self.LOG.exists() else []

    def await_log(self, *lines):
        await_that(lambda: len(self.log()) >= len(lines), lines)
        self.assertEqual(self.log(), list(lines))

    def start(self, name="br0"):
        """The process of a client that waits for signals."""
        self.install()
        pid = int(answer("net_start_dhcpcd", name))
        self.addCleanup(lambda: os.path.exists(f"/proc/{pid}") and os.kill(pid, signal.SIGKILL))
        self.await_log(f"{pid} /opt/ipnc/dhcpcd/dhcpcd {name}")
        return pid

    def test_the_client_is_started_for_the_interface(self):
        self.start("apcli0")

    def test_a_client_that_is_missing_is_said_by_the_child(self):
        call = Call("net_start_dhcpcd", "br0")
        self.assertGreater(int(call.answer), 1)
        self.assertEqual(call.said, "exec dhcpcd failed: No such file or directory\n")

    def test_the_client_is_told_to_renew(self):
        pid = self.start()
        self.assertEqual(answer("net_renew_dhcpcd", pid), "0")
        self.await_log(f"{pid} /opt/ipnc/dhcpcd/dhcpcd br0", f"{pid} SIGALRM")

    def test_a_client_that_is_not_there_cannot_renew(self):
        call = Call("net_renew_dhcpcd", 4194304)
        self.assert_not_renewed(call, "net_disable_dhcpcd, kill error: No such process\n")
        for pid in (0, -1):
            self.assert_not_renewed(Call("net_renew_dhcpcd", pid), "")

    def assert_not_renewed(self, call, said):
        self.assertEqual((call.answer, call.printed, call.said), ("-1", "net_disable_dhcpcd, pid error\n", said))

    def test_all_clients_are_stopped(self):
        pid = self.start()
        self.assertEqual(answer("net_disable_dhcpcd"), "0")
        self.await_log(f"{pid} /opt/ipnc/dhcpcd/dhcpcd br0", f"{pid} SIGINT")
        await_that(lambda: not os.path.exists(f"/proc/{pid}"), "the client has ended")
        call = Call("net_disable_dhcpcd")
        self.assertEqual((call.answer, call.said), ("256", "dhcpcd: no process found\n"))

    def test_the_client_is_restarted_without_an_interface(self):
        pid = self.start()
        self.assertEqual(answer("net_enable_dhcpcd"), str(5 << 8))
        await_that(lambda: len(self.log()) == 3, "all is written")
        written = [line.partition(" ")[2] for line in self.log()]
        self.assertEqual(sorted(written), ["/opt/ipnc/dhcpcd/dhcpcd", "/opt/ipnc/dhcpcd/dhcpcd br0", "SIGINT"])
        self.assertEqual(self.log()[0].split()[0], str(pid))
