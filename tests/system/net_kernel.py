# SPDX-License-Identifier: Apache-2.0
"""What the network functions do to a real kernel, and what they tell of it, beside what iproute2 says."""
import json
import pathlib
import subprocess
import tempfile
import unittest

from receivers import PATIENCE, run

RESOLVER = pathlib.Path("/etc/resolv.conf")
POWERLESS = ["setpriv", "--bounding-set=-net_admin", "--inh-caps=-net_admin"]
NO_ADDRESS = "255.255.255.255"
NIC = "net0"
LONG = "a-15-characters"  # the longest name that the kernel takes
FLAGS = {"UP": 0x1, "BROADCAST": 0x2, "NOARP": 0x80, "ALLMULTI": 0x200, "MULTICAST": 0x1000, "DYNAMIC": 0x8000}


def ip(*words):
    return run("ip", *words)


def ask_ip(*words):
    return json.loads(ip("-json", *words))


def link(name=NIC):
    return ask_ip("link", "show", name)[0]


def addresses(name=NIC):
    found = ask_ip("-4", "address", "show", name)
    return [f"{one['local']}/{one['prefixlen']}" for entry in found for one in entry.get("addr_info", [])]


def gateways(name=NIC):
    """Each route through a gateway, first the one that the kernel lists first."""
    return [f"{one['dst']} via {one['gateway']}" for one in ask_ip("route", "show", "dev", name) if "gateway" in one]


class Call:
    """What a function answered, printed, and said on standard error. A client that it starts keeps both open."""

    def __init__(self, function, *words, within=()):
        with tempfile.TemporaryFile("w+") as output, tempfile.TemporaryFile("w+") as errors:
            subprocess.run([*within, "plexor-net-caller", function, *map(str, words)], stdout=output, stderr=errors,
                           timeout=PATIENCE, check=True)
            self.printed, _, found = self.text_of(output).rpartition("= ")
            self.said = self.text_of(errors)
        self.answer = found.rstrip("\n")

    @staticmethod
    def text_of(file):
        file.seek(0)
        return file.read()


def answer(function, *words):
    """The answer of a function that had nothing to complain of."""
    call = Call(function, *words)
    if call.said:
        raise AssertionError(f"{function} {words}: {call.said}")
    return call.answer


class NetTest(unittest.TestCase):
    """Each test has an interface of its own, up and without an address."""

    def setUp(self):
        self.add_interface(NIC)

    def add_interface(self, name):
        ip("link", "add", name, "type", "veth", "peer", "name", f"{name[:8]}-far")
        self.addCleanup(ip, "link", "delete", name)
        for end in (name, f"{name[:8]}-far"):
            ip("link", "set", end, "addrgenmode", "none", "up")

    def have_address(self, address="10.50.0.1/24", name=NIC):
        ip("address", "add", address, "dev", name)

    def have_gateways(self, *routes):
        """They are listed in this order."""
        self.have_address()
        for route in routes:
            ip("route", "append", *route.split(), "dev", NIC)

    def assert_failed(self, call, answered, message):
        self.assertEqual((call.answer, call.said), (answered, message + "\n"))


class FlagTest(NetTest):
    def test_an_interface_goes_down_and_up(self):
        self.assertEqual(answer("net_nic_down", NIC), "0")
        self.assertNotIn("UP", link()["flags"])
        self.assertEqual(answer("net_nic_up", NIC), "0")
        self.assertIn("UP", link()["flags"])

    def test_going_down_and_up_leaves_the_other_flags(self):
        ip("link", "set", NIC, "arp", "off")
        answer("net_nic_down", NIC)
        answer("net_nic_up", NIC)
        self.assertIn("NOARP", link()["flags"])

    def test_each_flag_is_set_and_cleared_alone(self):
        for name in ("NOARP", "ALLMULTI", "DYNAMIC"):
            before = set(link()["flags"])
            self.assertEqual(answer("net_set_flag", NIC, FLAGS[name]), "0")
            self.assertEqual(set(link()["flags"]), before | {name})
            self.assertEqual(answer("net_clr_flag", NIC, FLAGS[name]), "0")
            self.assertEqual(set(link()["flags"]), before)

    def test_running_is_the_kernels_business(self):
        answer("net_clr_flag", NIC, 0x40)
        self.assertEqual(int(answer("net_get_flag", NIC)) & 0x40, 0x40)
        ip("link", "set", f"{NIC}-far", "down")
        answer("net_set_flag", NIC, 0x40)
        self.assertEqual(int(answer("net_get_flag", NIC)) & 0x41, 0x01)

    def test_the_flags_are_those_that_the_kernel_has(self):
        ip("link", "set", NIC, "arp", "off", "allmulticast", "on", "dynamic", "on")
        flags = int(answer("net_get_flag", NIC))
        self.assertEqual({name for name, bit in FLAGS.items() if flags & bit}, set(link()["flags"]) - {"LOWER_UP"})
        self.assertEqual(flags & ~sum(FLAGS.values()), 0x40)


class AddressTest(NetTest):
    def test_an_address_gets_the_netmask_of_its_class(self):
        for address, length in (("10.1.2.3", 8), ("172.16.5.6", 16), ("192.168.7.8", 24)):
            self.assertEqual(answer("net_set_ifaddr", NIC, address), "0")
            self.assertEqual(addresses(), [f"{address}/{length}"])

    def test_an_address_is_taken_away_by_zeros(self):
        self.have_address()
        self.assertEqual(answer("net_set_ifaddr", NIC, "0.0.0.0"), "0")
        self.assertEqual(addresses(), [])

    def test_a_netmask_is_set(self):
        self.have_address()
        for netmask, length in (("255.255.0.0", 16), ("255.255.255.252", 30), ("255.255.255.255", 32)):
            self.assertEqual(answer("net_set_netmask", NIC, netmask), "0")
            self.assertEqual(addresses(), [f"10.50.0.1/{length}"])

    def test_address_and_netmask_are_told(self):
        self.have_address("10.50.6.7/21")
        self.assertEqual(answer("net_get_ifaddr", NIC), "10.50.6.7")
        self.assertEqual(answer("net_get_ip", NIC), "10.50.6.7")
        self.assertEqual(answer("net_get_netmask", NIC), "255.255.248.0")

    def test_of_several_addresses_the_first_is_told(self):
        self.have_address("10.50.0.1/24")
        self.have_address("10.60.0.1/16")
        self.assertEqual((answer("net_get_ifaddr", NIC), answer("net_get_netmask", NIC)),
                         ("10.50.0.1", "255.255.255.0"))

    def test_a_labelled_address_is_one_of_its_own(self):
        self.have_address()
        self.assertEqual(answer("net_set_ifaddr", f"{NIC}:1", "192.168.7.8"), "0")
        self.assertEqual(addresses(), ["10.50.0.1/24", "192.168.7.8/24"])
        self.assertEqual(answer("net_get_ifaddr", f"{NIC}:1"), "192.168.7.8")

    def test_no_address_is_passed_over_by_the_getter_that_is_polled_alone(self):
        message = "ioctl SIOCGIFADDR: Cannot assign requested address"
        self.assertEqual(answer("net_get_ifaddr", NIC), NO_ADDRESS)
        self.assert_failed(Call("net_get_ip", NIC), NO_ADDRESS, "\n".join(2 * [f"net_get_ip: {message}"]))
        self.assert_failed(Call("net_get_netmask", NIC), NO_ADDRESS,
                           "net_get_netmask: ioctl SIOCGIFNETMASK: Cannot assign requested address")

    def test_what_is_no_netmask_is_refused(self):
        self.have_address()
        self.assert_failed(Call("net_set_netmask", NIC, "255.0.255.0"), "-1",
                           "net_set_netmask: ioctl SIOCSIFNETMASK: Invalid argument")
        self.assertEqual(addresses(), ["10.50.0.1/24"])

    def test_the_hardware_address_is_the_kernels(self):
        ip("link", "set", NIC, "address", "02:fe:80:7f:01:ff")
        self.assertEqual(answer("net_get_hwaddr", NIC), "0 02:fe:80:7f:01:ff")
        self.assertEqual(answer("net_get_hwaddr", "eth2"), "0 " + link("eth2")["address"])
        self.assertEqual(answer("net_get_hwaddr", "lo"), "0 00:00:00:00:00:00")


class GatewayTest(NetTest):
    def test_a_gateway_is_added_and_deleted(self):
        self.have_address()
        self.assertEqual(answer("net_add_gateway", NIC, "10.50.0.9"), "0")
        route = [one for one in ask_ip("route", "show", "dev", NIC) if one["dst"] == "default"]
        self.assertEqual(route, [{"dst": "default", "gateway": "10.50.0.9", "flags": []}])
        self.assertEqual(answer("net_del_gateway", NIC, "10.50.0.9"), "0")
        self.assertEqual(gateways(), [])

    def test_a_further_gateway_goes_before_the_first(self):
        self.have_gateways("default via 10.50.0.8")
        self.assertEqual(answer("net_add_gateway", NIC, "10.50.0.9"), "0")
        self.assertEqual(gateways(), ["default via 10.50.0.9", "default via 10.50.0.8"])
        self.assertEqual(Call("net_get_gateway", NIC).answer, "10.50.0.9")

    def test_only_the_named_gateway_is_deleted(self):
        self.have_gateways("default via 10.50.0.8", "default via 10.50.0.9")
        answer("net_del_gateway", NIC, "10.50.0.9")
        self.assertEqual(gateways(), ["default via 10.50.0.8"])

    def test_what_the_kernel_refuses_is_said(self):
        self.have_gateways("default via 10.50.0.9")
        self.assert_failed(Call("net_add_gateway", NIC, "10.50.0.9"), "-1",
                           "net_add_gateway: ioctl SIOCADDRT: File exists")
        self.assert_failed(Call("net_add_gateway", NIC, "10.51.0.9"), "-1",
                           "net_add_gateway: ioctl SIOCADDRT: Network is unreachable")
        self.assert_failed(Call("net_del_gateway", NIC, "10.50.0.8"), "-1",
                           "net_del_gateway: ioctl SIOCDELRT: No such process")

    def test_the_gateway_of_the_first_route_is_told_whatever_the_route_is(self):
        self.have_gateways("10.70.0.0/16 via 10.50.0.7")
        self.assertEqual(Call("net_get_gateway", NIC).answer, "10.50.0.7")
        self.have_gateways_of_another()
        self.assertEqual(Call("net_get_gateway", "net1").answer, "10.51.0.9")

    def have_gateways_of_another(self):
        self.add_interface("net1")
        self.have_address("10.51.0.1/24", "net1")
        ip("route", "append", "default", "via", "10.51.0.9", "dev", "net1")

    def test_no_gateway_is_told_as_zeros(self):
        self.have_address()
        self.assertEqual(Call("net_get_gateway", NIC).answer, "0.0.0.0")

    def test_each_line_of_the_kernel_is_read(self):
        self.have_gateways("default via 10.50.0.9", "10.70.0.0/16 via 10.50.0.7")
        lines = pathlib.Path("/proc/net/route").read_text().splitlines()
        found = [Call("net_search_gateway", NIC, line).answer for line in lines if line.startswith(NIC)]
        self.assertEqual(found, ["0 10.50.0.9", "-1 0.0.0.0", "0 10.50.0.7"])
        other = [line for line in lines if line.startswith("br0")][0]
        self.assertEqual(Call("net_search_gateway", NIC, other).answer, "-1 0.0.0.0")

    def test_each_line_is_printed_once(self):
        self.have_gateways("default via 10.50.0.9")
        lines = pathlib.Path("/proc/net/route").read_text().splitlines()[1:]
        printed = Call("net_clean_gateway", NIC).printed.splitlines()
        self.assertEqual(len(printed), len(lines))
        self.assertIn(f"net_search_gateway:{NIC}, 0, 900320A, 3", printed)
        self.assertIn("net_search_gateway:br0, 0, FE00170A, 3", printed)

    def test_all_gateways_of_an_interface_go_and_no_others(self):
        self.have_gateways_of_another()
        self.have_gateways("default via 10.50.0.7", "default via 10.50.0.8", "default via 10.50.0.9")
        self.assertEqual(answer("net_clean_gateway", NIC), "0")
        self.assertEqual(gateways(), [])
        self.assertEqual(gateways("net1"), ["default via 10.51.0.9"])
        self.assertEqual(gateways("br0"), ["default via 10.23.0.254"])

    def test_routes_through_a_gateway_to_one_host_or_network_stay(self):
        self.have_gateways("default via 10.50.0.9", "10.70.0.1 via 10.50.0.9", "10.71.0.0/16 via 10.50.0.8")
        call = Call("net_clean_gateway", NIC)
        self.assert_failed(call, "0", "\n".join(2 * ["net_del_gateway: ioctl SIOCDELRT: No such process"]))
        self.assertEqual(gateways(), ["10.70.0.1 via 10.50.0.9", "10.71.0.0/16 via 10.50.0.8"])

    def test_a_default_route_with_a_metric_goes_too(self):
        self.have_gateways("default via 10.50.0.9", "default via 10.50.0.9 metric 5")
        self.assertEqual(answer("net_clean_gateway", NIC), "0")
        self.assertEqual(gateways(), [])

    def test_a_gateway_becomes_the_only_one(self):
        self.have_gateways("default via 10.50.0.7", "default via 10.50.0.8")
        self.assertEqual(answer("net_set_gateway", NIC, "10.50.0.9"), "0")
        self.assertEqual(gateways(), ["default via 10.50.0.9"])

    def test_a_new_gateway_leaves_a_route_to_one_host_where_it_is(self):
        self.have_gateways("default via 10.50.0.7", "10.70.0.1 via 10.50.0.8")
        self.assert_failed(Call("net_set_gateway", NIC, "10.50.0.9"), "0",
                           "net_del_gateway: ioctl SIOCDELRT: No such process")
        self.assertEqual(gateways(), ["default via 10.50.0.9", "10.70.0.1 via 10.50.0.8"])

    def test_an_unreachable_gateway_takes_the_others_along(self):
        self.have_gateways("default via 10.50.0.7")
        self.assert_failed(Call("net_set_gateway", NIC, "10.51.0.9"), "-1",
                           "net_add_gateway: ioctl SIOCADDRT: Network is unreachable")
        self.assertEqual(gateways(), [])

    def have_many_gateways(self, count):
        self.have_address("10.50.0.1/16")
        routes = [f"route append default via 10.50.{i // 200 + 1}.{i % 200 + 1} dev {NIC}\n" for i in range(count)]
        subprocess.run(["ip", "-batch", "-"], input="".join(routes), text=True, timeout=PATIENCE, check=True)

    def test_256_gateways_go_at_once(self):
        self.have_many_gateways(256)
        self.assertEqual(answer("net_clean_gateway", NIC), "0")
        self.assertEqual(gateways(), [])

    def test_300_gateways_go(self):
        self.have_many_gateways(300)
        self.assertEqual(answer("net_clean_gateway", NIC), "0")
        self.assertEqual(gateways(), [])


class ResolverTest(unittest.TestCase):
    def setUp(self):
        RESOLVER.unlink(missing_ok=True)
        self.addCleanup(RESOLVER.unlink, missing_ok=True)

    def told(self, text):
        RESOLVER.write_text(text)
        return answer("net_get_dns")

    def test_one_name_server_is_written_and_all_others_are_gone(self):
        RESOLVER.write_text("search example\nnameserver 1.1.1.1\nnameserver 2.2.2.2\n")
        call = Call("net_set_dns", "9.8.7.6")
        self.assertEqual((call.answer, call.printed, call.said), ("0", "dns=9.8.7.6\n", ""))
        self.assertEqual(RESOLVER.read_text(), "nameserver 9.8.7.6\n")
        self.assertEqual(answer("net_get_dns"), "9.8.7.6")

    def test_the_first_name_server_is_told(self):
        self.assertEqual(self.told("nameserver 1.2.3.4\nnameserver 5.6.7.8\n"), "1.2.3.4")
        self.assertEqual(self.told("nameserver\t 1.2.3.4"), "1.2.3.4")

    def test_a_first_line_that_is_another_tells_none(self):
        for text in ("# by hand\nnameserver 1.2.3.4\n", "search example\n", "nameserver ::1\n"):
            self.assertEqual(self.told(text), NO_ADDRESS)

    def test_an_empty_file_tells_two_lines_and_a_missing_one_the_second(self):
        second = 'net_get_dns: file "/etc/resolv.conf" opened for reading error!\n'
        missing = Call("net_get_dns")
        self.assertEqual((missing.answer, missing.printed), ("0.0.0.0", second))
        RESOLVER.touch()
        empty = Call("net_get_dns")
        self.assertEqual((empty.answer, empty.printed), ("0.0.0.0", "net_get_dns: scan fail!\n" + second))

    def test_a_file_that_cannot_be_written_is_told(self):
        RESOLVER.mkdir()
        call = Call("net_set_dns", "9.8.7.6")
        RESOLVER.rmdir()
        self.assertEqual((call.answer, call.printed),
                         ("-1", 'net_set_dns: file "/etc/resolv.conf" opened for writing error!\n'))


class InfoTest(NetTest):
    def setUp(self):
        super().setUp()
        RESOLVER.write_text("nameserver 9.8.7.6\n")
        self.addCleanup(RESOLVER.unlink)

    def test_everything_about_an_interface(self):
        hwaddr = link("br0")["address"]
        call = Call("net_get_info", "br0")
        self.assertEqual(call.answer, f"0 {hwaddr} 10.23.0.1 255.255.255.0 10.23.0.254 9.8.7.6")
        self.assertEqual([line for line in call.printed.splitlines() if not line.startswith("net_search_gateway:")],
                         ["ifaddr=0x100170a", "netmask=0xffffff", f"hwaddr={hwaddr}", "gateway=0xfe00170a",
                          "dns=9.8.7.6"])

    def test_an_interface_without_a_gateway(self):
        self.have_address("10.50.0.1/30")
        self.assertEqual(answer("net_get_info", NIC),
                         f"0 {link()['address']} 10.50.0.1 255.255.255.252 0.0.0.0 9.8.7.6")

    def test_without_an_address_nothing_more_is_told(self):
        call = Call("net_get_info", NIC)
        self.assert_failed(call, "-1 00:00:00:00:00:00 0.0.0.0 0.0.0.0 0.0.0.0 0.0.0.0",
                           "net_get_info: ioctl SIOCGIFADDR: Cannot assign requested address")
        self.assertEqual(call.printed, "")


class NameTest(NetTest):
    ON_INTERFACE = {  # function: arguments, answer without an interface, request that fails
        "net_set_flag": (["0x80"], "-1", "SIOCGIFFLAGS"),
        "net_clr_flag": (["0x80"], "-1", "SIOCGIFFLAGS"),
        "net_get_flag": ([], "-1", "SIOCGIFFLAGS"),
        "net_set_ifaddr": (["10.50.0.2"], "-1", "SIOCSIFADDR"),
        "net_get_netmask": ([], NO_ADDRESS, "SIOCGIFNETMASK"),
        "net_set_netmask": (["255.255.0.0"], "-1", "SIOCSIFNETMASK"),
        "net_get_hwaddr": ([], "-1 00:00:00:00:00:00", "SIOCGIFHWADDR"),
        "net_add_gateway": (["10.50.0.9"], "-1", "SIOCADDRT"),
        "net_del_gateway": (["10.50.0.9"], "-1", "SIOCDELRT"),
        "net_get_info": ([], "-1 00:00:00:00:00:00 0.0.0.0 0.0.0.0 0.0.0.0 0.0.0.0", "SIOCGIFADDR"),
    }

    def test_an_interface_that_is_missing_is_said_by_each_function(self):
        for function, (words, answered, request) in self.ON_INTERFACE.items():
            self.assert_failed(Call(function, "none7", *words), answered,
                               f"{function}: ioctl {request}: No such device")
        self.assertEqual(answer("net_get_ifaddr", "none7"), NO_ADDRESS)
        self.assertEqual(Call("net_get_gateway", "none7").answer, "0.0.0.0")

    def test_the_longest_name_is_a_name_like_any(self):
        self.add_interface(LONG)
        answer("net_set_ifaddr", LONG, "10.60.0.1")
        answer("net_set_gateway", LONG, "10.60.0.9")
        self.assertEqual((addresses(LONG), gateways(LONG)), (["10.60.0.1/8"], ["default via 10.60.0.9"]))
        self.assertEqual(answer("net_get_info", LONG).split()[:4],
                         ["0", link(LONG)["address"], "10.60.0.1", "255.0.0.0"])
        self.assertEqual(Call("net_get_gateway", LONG).answer, "10.60.0.9")

    def test_of_a_longer_name_the_kernel_takes_the_first_15_characters(self):
        self.add_interface(LONG)
        for name in (LONG + "6", LONG + "67"):
            answer("net_set_ifaddr", name, "10.60.0.1")
            self.assertEqual(addresses(LONG), ["10.60.0.1/8"])
            self.assertEqual(answer("net_get_hwaddr", name), "0 " + link(LONG)["address"])
            answer("net_add_gateway", name, "10.60.0.9")
            self.assertEqual(gateways(LONG), ["default via 10.60.0.9"])
            answer("net_del_gateway", name, "10.60.0.9")
            answer("net_set_ifaddr", name, "0.0.0.0")

    def test_the_routes_of_a_longer_name_are_nobodys(self):
        self.add_interface(LONG)
        answer("net_set_ifaddr", LONG, "10.60.0.1")
        answer("net_add_gateway", LONG, "10.60.0.9")
        self.assertEqual(Call("net_get_gateway", LONG + "6").answer, "0.0.0.0")
        self.assertEqual(answer("net_clean_gateway", LONG + "6"), "0")
        self.assertEqual(gateways(LONG), ["default via 10.60.0.9"])


class PowerTest(NetTest):
    REFUSED = {  # function: arguments, request
        "net_set_flag": (["0x80"], "SIOCSIFFLAGS"),
        "net_clr_flag": (["0x1"], "SIOCSIFFLAGS"),
        "net_set_ifaddr": (["10.50.0.2"], "SIOCSIFADDR"),
        "net_set_netmask": (["255.255.0.0"], "SIOCSIFNETMASK"),
        "net_add_gateway": (["10.50.0.8"], "SIOCADDRT"),
        "net_del_gateway": (["10.50.0.9"], "SIOCDELRT"),
    }

    def test_without_the_capability_nothing_is_changed_and_the_kernels_reason_is_said(self):
        self.have_gateways("default via 10.50.0.9")
        before = link(), addresses(), gateways()
        for function, (words, request) in self.REFUSED.items():
            self.assert_failed(Call(function, NIC, *words, within=POWERLESS), "-1",
                               f"{function}: ioctl {request}: Operation not permitted")
        self.assertEqual((link(), addresses(), gateways()), before)

    def test_without_the_capability_everything_is_told(self):
        self.have_gateways("default via 10.50.0.9")
        for function in ("net_get_ifaddr", "net_get_netmask", "net_get_hwaddr", "net_get_flag", "net_get_gateway"):
            self.assertEqual(Call(function, NIC, within=POWERLESS).answer, Call(function, NIC).answer)
