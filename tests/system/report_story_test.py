#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""One outlet is switched, and everybody who wants to know gets to know: whole stories with the real programs."""
import json
import os
import pathlib
import signal
import unittest

from receivers import HERE, ApplianceTest, MailServer, TrapReceiver, await_that, run, set_params

JOURNAL = pathlib.Path("/tmp/iomail.txt")
CAMERA = pathlib.Path("/tmp/uvc_pid.txt")
PICTURE = (HERE / "../../board/appliance/picture.jpg").read_bytes()


def contacts():
    return run("boardctl", "get", "contacts").decode().split()


def events(sequence=0):
    """What the board noted after that event, oldest first."""
    lines = run("boardctl", "events", "--json", "--since", str(sequence)).decode().splitlines()
    return [json.loads(line) for line in lines]


def texts(noted, *kinds):
    return [f"{event['subject']} {event['detail']}" for event in noted if event["kind"] in kinds]


class StoryTest(ApplianceTest):
    def setUp(self):
        JOURNAL.unlink(missing_ok=True)
        run("plexord", "--boot")
        set_params(beep_alarm_PX="0;0;1;0;0;0;0;0", email_alarm_PX="0;0;1;0;0;0;0;0", snmp_enable="0")
        run("plexorctl", "outlet", "all", "off")

    def switch(self, outlet, state):
        """The events of one switch by the web interface."""
        before = events()[-1]["sequence"]
        run("plexorctl", "outlet", state, str(outlet), "--source", "web")
        return events(before)

    def test_a_switched_outlet_is_live_beeps_traps_and_is_in_the_journal(self):
        station = self.receiver(TrapReceiver)
        self.trap_settings("0")
        noted = self.switch(3, "on")
        self.assertEqual(contacts(), ["off", "off", "on", "off", "off", "off", "off", "off"])
        self.assertEqual(texts(noted, "relay", "beeper"),
                         ["outlet 3 set coil", "outlet 3 closed", "line 45 on", "line 45 off"])
        self.assertEqual(station.trap(1)["variables"], {"SNMPv2-MIB::sysLocation.0": "Outlet3 off to on"})
        self.assert_entry(JOURNAL.read_bytes()[4:].decode(), "Outlet3 off to on")

    def assert_entry(self, text, description):
        outlets = "".join(f"Power{n}={'ON' if n == 3 else 'OFF'}, 0.00A;" for n in range(1, 9))
        self.assertRegex(text, r"^SOURCE:web \d{4}-\d\d-\d\d \d\d:\d\d:\d\d\n" + description +
                         r"\r\n\t\[" + outlets + r"Temperature=.*℃\(.*℉\);Voltage=.*V DI = OPEN \]\n\n$")

    def test_an_outlet_that_nobody_asked_about_moves_silently_but_for_the_trap(self):
        station = self.receiver(TrapReceiver)
        self.trap_settings("2")
        self.assertEqual(texts(self.switch(4, "on"), "beeper"), [])
        self.assertFalse(JOURNAL.exists())
        self.assertEqual(station.trap(1)["variables"]["SNMPv2-MIB::sysLocation.0"], "Outlet4 off to on")

    def test_an_absent_station_does_not_keep_an_outlet_from_switching(self):
        self.trap_settings("2")
        self.switch(3, "on")
        self.assertEqual(contacts()[2], "on")
        self.assertTrue(JOURNAL.exists())

    def test_what_the_journal_tells_can_be_mailed(self):
        server = self.receiver(MailServer)
        self.mail_settings()
        self.switch(3, "on")
        entry = JOURNAL.read_bytes()[4:].decode()
        run("plexor-reporter", "alert", "Outlet alert", entry)
        self.assertEqual(server.mail(1).text, entry)

    def test_an_alert_goes_to_all_recipients_of_the_settings(self):
        server = self.receiver(MailServer)
        self.mail_settings()
        run("plexor-reporter", "alert", "Outlet alert", "Outlet3 off to on")
        mail = server.mail(1)
        self.assertEqual(mail.recipients, ["one@plexor.example", "two@plexor.example"])
        self.assertEqual((mail.sender, mail.text), ("switch@plexor.example", "Outlet3 off to on"))


class CameraTest(ApplianceTest):
    def setUp(self):
        self.server = self.receiver(MailServer)
        self.mail_settings()
        set_params(email_pic="1", WebCamResolution="640x480", WebCamFPS="5", WebCamPort="8080", WebCamMode="mjpeg")
        self.addCleanup(self.stop_camera)

    def stop_camera(self, how=signal.SIGTERM):
        pid = CAMERA.read_text()
        os.kill(int(pid), how)
        await_that(lambda: not pathlib.Path("/proc", pid).exists(), "the camera's process ends")

    def alert(self, text):
        run("plexor-reporter", "alert", "Look", text)

    def assert_mail(self, number, text):
        mail = self.server.mail(number)
        self.assertEqual((str(mail.message["Subject"]), mail.text), ("Look", text))
        self.assertEqual(mail.content(1), PICTURE + bytes(20))

    def test_the_first_alert_starts_the_camera_and_the_second_one_signals_it(self):
        self.alert("Outlet3 off to on")
        camera = CAMERA.read_text()
        self.assert_mail(1, "Outlet3 off to on")
        self.alert("Outlet3 on to off")
        self.assert_mail(2, "Outlet3 on to off")
        self.assertEqual(CAMERA.read_text(), camera)
        self.assertIn(f"{camera} uvc_stream -r 640x480 -f 5 -p 8080 -b -m mjpeg -mail 1\n", run("ps").decode())

    def test_a_camera_that_was_killed_is_started_again(self):
        self.alert("first")
        self.assert_mail(1, "first")
        first = CAMERA.read_text()
        self.stop_camera(signal.SIGKILL)
        self.alert("second")
        self.assert_mail(2, "second")
        self.assertNotEqual(CAMERA.read_text(), first)


if __name__ == "__main__":
    unittest.main()
