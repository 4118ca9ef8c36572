#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""What a management station gets when the appliance sends a trap, with the real tools on both sides."""
import pathlib
import unittest

from receivers import ApplianceTest, TrapReceiver, run, set_params

V1, V2C = "0", "2"
HOSTILE = ['say "hello"', "$(touch /tmp/owned)", "`touch /tmp/owned`", "x; touch /tmp/owned", "'; touch /tmp/owned '",
           "a\ntouch /tmp/owned", "-v 3", "%s%n%d", "back\\slash \\", "Größe 5 €"]
SHOWN_HOSTILE = [text for text in HOSTILE if text.isascii() and text.isprintable()]  # the station dots out others


class TrapTest(ApplianceTest):
    def setUp(self):
        self.station = self.receiver(TrapReceiver)
        self.sent = 0

    def trap(self, message):
        run("plexor-reporter", "trap", message)
        self.sent += 1
        return self.station.trap(self.sent)

    def test_a_v1_trap_names_the_enterprise_and_its_first_specific_trap(self):
        self.trap_settings(V1)
        self.assertEqual(self.trap("Outlet3 off to on"), {
            "version": "v1", "community": "public", "enterprise": "VOLTARA-MIB::outletStatusChanged",
            "generic": "6", "specific": "1", "variables": {"SNMPv2-MIB::sysLocation.0": "Outlet3 off to on"}})

    def test_a_v2c_trap_names_the_notification(self):
        self.trap_settings(V2C)
        trap = self.trap("Outlet3 on to off")
        uptime = trap["variables"].pop("SNMPv2-MIB::sysUpTime.0")
        self.assertRegex(uptime, r"^\d+:\d+:\d+:\d+\.\d+$")
        self.assertEqual((trap["version"], trap["community"]), ("v2c", "public"))
        self.assertEqual(trap["variables"], {"SNMPv2-MIB::snmpTrapOID.0": "VOLTARA-MIB::outletStatusChanged",
                                             "SNMPv2-MIB::sysLocation.0": "Outlet3 on to off"})

    def test_hostile_messages_arrive_as_they_are_and_run_nothing(self):
        for kind in (V1, V2C):
            self.trap_settings(kind)
            for message in HOSTILE:
                self.assertEqual(self.trap(message)["variables"]["SNMPv2-MIB::sysLocation.0"], message)
        self.assertFalse(pathlib.Path("/tmp/owned").exists())

    def test_hostile_communities_arrive_as_they_are_and_run_nothing(self):
        self.trap_settings(V1)
        for community in SHOWN_HOSTILE:
            set_params(snmp_trap_dest_community=community)
            self.assertEqual(self.trap("x")["community"], community)
        self.assertFalse(pathlib.Path("/tmp/owned").exists())

    def test_hostile_hosts_get_nothing_and_run_nothing(self):
        self.trap_settings(V2C)
        for host in HOSTILE:
            set_params(snmp_trap_dest_host=host)
            run("plexor-reporter", "trap", "lost")
        self.assertFalse(pathlib.Path("/tmp/owned").exists())
        set_params(snmp_trap_dest_host="127.0.0.1")
        self.assertEqual(self.trap("first")["variables"]["SNMPv2-MIB::sysLocation.0"], "first")

    def test_nothing_is_sent_for_type_9_or_while_traps_are_off(self):
        self.trap_settings("9")
        run("plexor-reporter", "trap", "lost")
        self.trap_settings(V2C)
        set_params(snmp_enable="0")
        run("plexor-reporter", "trap", "lost")
        set_params(snmp_enable="1")
        self.assertEqual(self.trap("first")["variables"]["SNMPv2-MIB::sysLocation.0"], "first")


if __name__ == "__main__":
    unittest.main()
