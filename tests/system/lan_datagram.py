# SPDX-License-Identifier: Apache-2.0
"""Datagrams of one appliance as the other one gets them, and as a packet analyser on the wire between them does.

To be run by plexor-lan; appliance a has eight outlets, b has two.
"""
import ctypes
import ipaddress
import json
import pathlib
import socket
import struct
import subprocess
import tempfile
import time
import unittest
from typing import NamedTuple

from receivers import HERE, PATIENCE, await_that, run

WAKE_PORT = 4471
OFF_DELAY_PORT = 9258
EVERYBODY = "255.255.255.255"
HOSTILE = ['"; touch /tmp/owned; "', "$(touch /tmp/owned)", "a'b", "%s%n%08X", " a  b ", "pass;word", "Größe 電源",
           "-n", "a\\nb", "first\nsecond"]


def on(appliance, *command):
    return run("on", appliance, *command)


def set_params(appliance, **params):
    loop = 'for (( ; $#; )); do boardctl set "param.$1" -- "$2" || exit; shift 2; done'
    on(appliance, "bash", "-c", loop, "set", *[word for pair in params.items() for word in pair])


class Interface(NamedTuple):
    address: str
    hwaddr: str
    state: str


def interfaces(appliance):
    """What iproute2 says of them, by name."""
    told = json.loads(on(appliance, "ip", "-json", "address", "show"))
    return {one["ifname"]: Interface(next((entry["local"] for entry in one["addr_info"]), None), one["address"],
                                     one["operstate"]) for one in told}


def mask(states):
    """Bit i is set for outlet i."""
    return sum(1 << i for i, state in enumerate(states) if state)


def outlets(appliance, what):
    return [outlet[what] for outlet in json.loads(on(appliance, "boardctl", "show", "--json"))["outlets"]]


class Ear:
    """Somebody on an appliance who waits for one datagram."""

    def __init__(self, appliance, port):
        self.process = subprocess.Popen(["on", appliance, "/usr/bin/python3", str(HERE / "lan_datagram_ear.py"),
                                         str(port)], stdout=subprocess.PIPE, text=True)
        if self.process.stdout.readline() != "ready\n":
            raise AssertionError(f"{appliance} cannot listen on {port}")

    def hear(self):
        sender, digits = self.process.stdout.readline().split()
        self.process.stdout.close()
        self.process.wait(PATIENCE)
        return sender, bytes.fromhex(digits)


def heard(listener, port, *command):
    """Sender and bytes of the datagram that a command has sent to an appliance."""
    ear = Ear(listener, port)
    run(*command)
    return ear.hear()


class Analyser:
    """tshark on the wire, whose own dissector finds the magic packets.

    It takes any UDP packet of that form for one, whatever its port; but first it asks who knows the ports, and the
    sender's is a new one each time. Hence the heuristics come first.
    """

    FIELDS = ["wol.mac", "wol.sync", "ip.src", "ip.dst", "udp.dstport", "udp.length", "eth.src", "eth.dst"]

    def __init__(self, folder):
        self.folder = pathlib.Path(folder)
        fields = [word for field in self.FIELDS for word in ("-e", field)]
        with open(self.folder / "packets", "w") as packets, open(self.folder / "errors", "w") as errors:
            self.process = subprocess.Popen(
                ["tshark", "-i", "wire", "-l", "-f", "udp", "-Y", "wol", "-o", "udp.try_heuristic_first:TRUE",
                 "-T", "fields", *fields], stdout=packets, stderr=errors)
        await_that(self.captures, "tshark captures")

    def captures(self):
        return "Capture started" in (self.folder / "errors").read_text()

    def packet(self):
        """The first magic packet, field by field."""
        first = await_that(self.lines, "a magic packet")[0]
        return dict(zip(self.FIELDS, first.split("\t")))

    def lines(self):
        return (self.folder / "packets").read_text().split("\n")[:-1]

    def stop(self):
        self.process.terminate()
        self.process.wait(PATIENCE)


class WakeTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.analyser = Analyser(folder.name)
        self.addCleanup(self.analyser.stop)
        set_params("a", WakeOnLan_PX="a0B1c2D3e4F5;001122334455")

    def wake(self, *command):
        """The packet as appliance b got it."""
        sender, packet = heard("b", WAKE_PORT, "on", "a", *command)
        self.assertEqual(sender, interfaces("a")["br0"].address)
        return packet

    def assert_analysed(self, hwaddr):
        br0 = interfaces("a")["br0"]
        self.assertEqual(self.analyser.packet(), {
            "wol.mac": ",".join(16 * [hwaddr]), "wol.sync": "ffffffffffff", "ip.src": br0.address,
            "ip.dst": EVERYBODY, "udp.dstport": "4471", "udp.length": "110", "eth.src": br0.hwaddr,
            "eth.dst": "ff:ff:ff:ff:ff:ff"})

    def test_the_computer_of_the_outlet_is_woken(self):
        packet = self.wake("plexorctl", "wol", "1")
        self.assertEqual(packet, 6 * b"\xff" + 16 * bytes.fromhex("a0b1c2d3e4f5"))
        self.assert_analysed("a0:b1:c2:d3:e4:f5")

    def test_an_outlet_without_a_field_is_sent_zeros(self):
        self.assertEqual(self.wake("plexor-datagram-sender", "wake", "3"), 6 * b"\xff" + bytes(96))
        self.assert_analysed("00:00:00:00:00:00")

    def test_for_what_is_no_outlet_nothing_is_sent(self):
        self.wake("plexor-datagram-sender", "wake", "0", "9", "-1", "2")
        self.assert_analysed("00:11:22:33:44:55")

    def test_the_analyser_takes_no_packet_with_a_wrong_byte(self):
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sender:
            sender.setsockopt(socket.SOL_SOCKET, socket.SO_BROADCAST, 1)
            sender.sendto(6 * b"\xff" + 15 * b"\1\2\3\4\5\6" + b"\1\2\3\4\5\7", (EVERYBODY, WAKE_PORT))
        self.wake("plexorctl", "wol", "2")
        self.assert_analysed("00:11:22:33:44:55")


class OffDelay(NamedTuple):
    """The datagram as a receiver takes it apart that knows its layout alone."""

    tag: bytes
    address: str
    port: int
    on: int
    stay: int
    nonce: bytes
    digest: bytes
    hwaddr: str
    hwaddr_again: str
    wifi_address: str
    zero: int

    @classmethod
    def from_bytes(cls, datagram):
        fields = struct.unpack(">16s4sHBB9s16s6s6s4sB", datagram)
        found = cls(*fields)
        return found._replace(address=str(ipaddress.ip_address(found.address)), hwaddr=found.hwaddr.hex(":"),
                              hwaddr_again=found.hwaddr_again.hex(":"),
                              wifi_address=str(ipaddress.ip_address(found.wifi_address)))

    def is_signed_by(self, login, password):
        signed = subprocess.run(["openssl", "dgst", "-md5", "-binary"], timeout=PATIENCE, check=True,
                                input=login + password + self.nonce[:8], capture_output=True)
        return signed.stdout == self.digest


class OffDelayTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        for appliance in "ab":
            on(appliance, "plexord", "--boot")

    def setUp(self):
        set_params("a", web_port="8080", Login="admin", Password="pass word")

    def switch(self, state, *numbers, appliance="a"):
        for number in numbers:
            on(appliance, "plexorctl", "outlet", state, str(number))

    def heard_of(self, *command, teller="a", listener="b"):
        sender, datagram = heard(listener, OFF_DELAY_PORT, "on", teller, *command)
        told = OffDelay.from_bytes(datagram)
        self.assertEqual(sender, told.address)
        return told

    def told(self, outlet, **ends):
        return self.heard_of("plexor-datagram-sender", "off-delay", str(outlet), **ends)

    def assert_tells(self, told, outlet, port, teller="a"):
        own = interfaces(teller)
        self.assertEqual(told._replace(digest=b""), OffDelay(
            tag=b"PowerOFFDelay10\0", address=own["br0"].address, port=port,
            on=mask(outlets(teller, "closed" if teller == "a" else "led")), stay=0xFF - (1 << (outlet - 1)),
            nonce=told.nonce, digest=b"", hwaddr=own["eth2"].hwaddr, hwaddr_again=own["eth2"].hwaddr,
            wifi_address=own["apcli0"].address, zero=0))
        self.assertRegex(told.nonce, rb"\A[0-9A-F]{8}\0\Z")
        self.assertTrue(told.is_signed_by(b"admin", b"pass word"))

    def test_each_outlet_is_told_of_with_those_that_are_on(self):
        for outlet in range(1, 9):
            self.switch("on", outlet)
            self.switch("off", *{(outlet + 3) % 8 + 1, 3} - {outlet})
            self.assert_tells(self.told(outlet), outlet, 8080)

    def test_an_appliance_with_two_outlets_tells_of_those_whose_leds_are_lit(self):
        set_params("b", web_port="80", Login="admin", Password="pass word")
        on("b", "plexorctl", "outlet", "all", "off")
        self.switch("on", 2, appliance="b")
        self.assertEqual((outlets("b", "closed"), outlets("b", "led")), ([False, True], [False, False]))
        self.assert_tells(self.told(2, teller="b", listener="a"), 2, 80, teller="b")
        on("b", "plexorctl", "outlet", "all", "on")
        self.assertEqual(outlets("b", "led"), [True, True])
        self.assert_tells(self.told(1, teller="b", listener="a"), 1, 80, teller="b")

    def test_an_off_delay_that_plexord_is_asked_for_is_told(self):
        set_params("a", OFFDelay_PX="600;600;600;600")
        on("a", "plexord", "--no-boot")
        self.addCleanup(on, "a", "sh", "-c", "kill $(cat /var/run/plexord.pid)")
        self.switch("on", 2, 3)
        self.assert_tells(self.heard_of("plexorctl", "off-delay", "3"), 3, 8080)
        self.assert_tells(self.heard_of("plexorctl", "off-delay", "4"), 4, 8080)

    def test_a_delay_that_is_armed_is_told_and_none_is_not(self):
        set_params("a", OFFDelay_PX="0;x;600;600")
        self.assert_tells(self.heard_of("plexor-datagram-sender", "arm", "1", "2", "5", "9", "4"), 4, 8080)

    def test_for_what_is_no_outlet_nothing_is_told(self):
        self.assert_tells(self.heard_of("plexor-datagram-sender", "off-delay", "0", "9", "-1", "7"), 7, 8080)

    def test_the_nonce_is_the_time_and_a_random_number(self):
        c = ctypes.CDLL(None)
        c.srand(1)  # what a program starts with that does not seed
        random = c.rand()
        before = int(time.time())
        nonce = int(self.told(1).nonce[:8], 16)
        self.assertIn((nonce - random) % 2**32, range(before, int(time.time()) + 1))

    def test_a_wrong_name_or_password_is_found_out(self):
        told = self.told(1)
        for login, password in ((b"admin", b"pass wore"), (b"root", b"pass word"), (b"admin", b""), (b"", b"pass word"),
                                (b"admin\0", b"pass word"), (b"pass word", b"admin")):
            self.assertFalse(told.is_signed_by(login, password), (login, password))
        set_params("a", Password="another")
        self.assertFalse(self.told(1).is_signed_by(b"admin", b"pass word"))

    def assert_signs(self, login, password, *, cut=100):
        set_params("a", Login=login, Password=password)
        told = self.told(1)
        self.assertTrue(told.is_signed_by(login.encode()[:cut], password.encode()[:cut]), (login, password))

    def test_any_name_and_password_sign(self):
        self.assert_signs("", "")
        for text, other in zip(HOSTILE[::2], HOSTILE[1::2]):
            self.assert_signs(text, other)
        on("a", "test", "!", "-e", "/tmp/owned")

    def test_names_and_passwords_count_up_to_63_characters(self):
        login, password = "0123456789abcdef" * 4, "ghijklmnopqrstuvwxyz" * 4
        self.assert_signs(login[:63], password[:63])
        self.assert_signs(login, password, cut=63)

    def test_the_port_is_two_bytes(self):
        for value, port in (("1", 1), ("65535", 65535), ("258", 258), ("", 0)):
            set_params("a", web_port=value)
            self.assert_tells(self.told(1), 1, port)


class MissingTest(unittest.TestCase):
    """Interfaces of appliance a that are not there for a while."""

    def setUp(self):
        self.usual = interfaces("a")

    def told(self):
        _, datagram = heard("b", OFF_DELAY_PORT, "on", "a", "plexor-datagram-sender", "off-delay", "1")
        return OffDelay.from_bytes(datagram)

    def rename(self, interface, name):
        on("a", "ip", "link", "set", interface, "down")
        on("a", "ip", "link", "set", interface, "name", name)
        on("a", "ip", "link", "set", name, "up")
        await_that(lambda: interfaces("a")[name].state == interfaces("a")["br0"].state == "UP", f"{name} is up")
        await_that(lambda: b" UP " in run("ip", "-brief", "link", "show", "wire-a"), "the wire is up")

    def lose(self, interface):
        self.rename(interface, "gone0")
        self.addCleanup(self.rename, "gone0", interface)

    def test_without_wifi_its_address_is_none(self):
        self.lose("apcli0")
        told = self.told()
        self.assertEqual((told.wifi_address, told.address), (EVERYBODY, self.usual["br0"].address))
        self.assertEqual((told.hwaddr, told.zero), (self.usual["eth2"].hwaddr, 0))

    def test_without_a_wifi_address_it_is_none(self):
        on("a", "ip", "address", "flush", "dev", "apcli0")
        self.addCleanup(on, "a", "ip", "address", "add", "10.24.0.1/24", "brd", "+", "dev", "apcli0")
        self.assertEqual(self.told().wifi_address, EVERYBODY)

    def test_without_ethernet_its_hardware_address_is_zeros(self):
        self.lose("eth2")
        told = self.told()
        self.assertEqual((told.hwaddr, told.hwaddr_again), 2 * ("00:00:00:00:00:00",))
        self.assertEqual((told.address, told.wifi_address), (self.usual["br0"].address, self.usual["apcli0"].address))


if __name__ == "__main__":
    unittest.main()
