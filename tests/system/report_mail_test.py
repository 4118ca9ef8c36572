#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""What a mail server gets when the appliance sends a mail, with the real client in between."""
import os
import pathlib
import socket
import subprocess
import unittest

from receivers import PATIENCE, ApplianceTest, MailServer, run

SNAPSHOT = pathlib.Path("/tmp/uvcmail.jpg")
OWNED = pathlib.Path("/tmp/owned")
HOSTILE = ['"', "'", "$(touch /tmp/owned)", "`touch /tmp/owned`", ";touch${IFS}/tmp/owned;", "a b",
           "a\ntouch /tmp/owned", "-C/tmp/evil,one@plexor.example", "|touch /tmp/owned",
           '"\npreconnect "touch /tmp/owned"\n#',
           "x' preconnect 'touch /tmp/owned"]


class MailTest(ApplianceTest):
    def setUp(self):
        self.server = self.receiver(MailServer)
        self.sent = 0
        SNAPSHOT.unlink(missing_ok=True)

    def command(self, sender="switch@plexor.example", to="one@plexor.example", user="", password="",
                server="127.0.0.1", subject="Alert", body="Outlet3 off to on", tls="0", attach="plain"):
        return ["plexor-reporter", "mail", sender, to, user, password, server, tls, subject, body, attach]

    def call(self, **words):
        return run(*self.command(**words))

    def send(self, **words):
        self.call(**words)
        self.sent += 1
        return self.server.mail(self.sent)

    def subject_of(self, mail):
        return str(mail.message["Subject"])

    def test_one_recipient_gets_subject_and_text(self):
        mail = self.send()
        self.assertEqual((mail.sender, mail.recipients), ("switch@plexor.example", ["one@plexor.example"]))
        self.assertIn(b"\nTo: <one@plexor.example>\r\nCc: \r\nFrom: switch@plexor.example\r\n", b"\n" + mail.raw)
        self.assertEqual((self.subject_of(mail), mail.text), ("Alert", "Outlet3 off to on"))
        self.assertEqual(mail.message.get_content_type(), "multipart/mixed")
        self.assertEqual(len(mail.message.get_payload()), 1)

    def test_three_recipients_each_stand_in_envelope_and_header(self):
        mail = self.send(to="one@plexor.example;two@plexor.example, three@plexor.example")
        names = ["one@plexor.example", "two@plexor.example", "three@plexor.example"]
        self.assertEqual(mail.recipients, sorted(names))
        self.assertEqual([address.addr_spec for address in mail.message["To"].addresses], names)

    def test_subject_and_text_may_be_in_any_language(self):
        mail = self.send(subject="Steckdose 3 für Gerät 電源", body="Größe 5 €\n.\n電源 aus\n")
        self.assertEqual(self.subject_of(mail), "Steckdose 3 für Gerät 電源")
        self.assertEqual(mail.text, "Größe 5 €\n.\n電源 aus\n")
        self.assertEqual(mail.message.get_payload(0).get_content_charset(), "utf-8")

    def test_words_are_cut_at_their_bounds(self):
        text = "".join(chr(ord("a") + i * i % 26) for i in range(7000))
        self.assertEqual(self.send(body=text[:6914]).text, text[:6914])
        self.assertEqual(self.send(body=text).text, text[:6912])
        self.assertEqual(self.subject_of(self.send(subject=text[:98])), text[:98])
        self.assertEqual(self.subject_of(self.send(subject=text[:99])), text[:96])

    def test_a_snapshot_comes_byte_for_byte_with_twenty_zeros_behind_it(self):
        for size in (1, 1006, 1026, 5000):
            SNAPSHOT.write_bytes(os.urandom(size))
            mail = self.send(attach="picture")
            self.assertEqual(mail.text, "Outlet3 off to on")
            self.assertEqual(mail.content(1), SNAPSHOT.read_bytes() + bytes(20))
            picture = mail.message.get_payload(1)
            self.assertEqual(picture.get_content_type(), "image/jpeg")
            self.assertRegex(picture.get_filename(), r"^uvc\d{8}_\d{6}\.jpg$")

    def test_a_missing_snapshot_is_told(self):
        mail = self.send(attach="picture")
        self.assertEqual((mail.text, mail.content(1)), ("Outlet3 off to on", b"NoPicture"))

    def test_the_client_logs_in_with_name_and_password(self):
        self.assertEqual(self.send(user="admin", password="pass word").login, ["admin", "pass word"])
        self.assertEqual(self.send(user="", password="x").login, ["switch@plexor.example", "x"])

    def test_an_old_servers_name_and_password_are_not_kept(self):
        self.send(user="admin", password="first")
        self.assertEqual(self.send(user="other", password="second").login, ["other", "second"])

    def test_quotes_in_name_and_password_reach_the_server(self):
        self.assertEqual(self.send(user='a"b', password='"c"').login, ['a"b', '"c"'])
        self.assertEqual(self.send(user="a'b", password="$(c) `d`;e").login, ["a'b", "$(c) `d`;e"])
        self.assertEqual(self.send(user="'\"'", password="'\"").login, ["'\"'", "'\""])

    def test_backslashes_in_name_and_password_reach_the_server(self):
        self.assertEqual(self.send(user="DOMAIN\\bob", password="s\\t\\").login, ["DOMAIN\\bob", "s\\t\\"])
        self.assertEqual(self.send(user="x\\", password='"\\n\\042').login, ["x\\", '"\\n\\042'])

    def test_no_value_runs_a_command(self):
        pathlib.Path("/tmp/evil").write_text('preconnect "touch /tmp/owned"\nhostname = 127.0.0.1:25\n')
        os.chmod("/tmp/evil", 0o600)
        for value in HOSTILE:
            for word in ("sender", "to", "user", "password", "server", "subject", "body"):
                self.call(**{word: value})
                self.assertFalse(OWNED.exists(), (word, value))

    def test_a_server_value_is_no_further_setting(self):
        self.call(server='127.0.0.1 preconnect "touch /tmp/owned"')
        self.call(server='127.0.0.1:25\npreconnect "touch /tmp/owned"\n#')
        self.assertFalse(OWNED.exists())
        self.assertEqual(self.server.count(), 0)

    def test_a_settings_file_could_run_a_command(self):
        settings = pathlib.Path("/tmp/.esmtprc")
        settings.write_text('hostname = 127.0.0.1:25\npreconnect "touch /tmp/owned"\n')
        settings.chmod(0o600)
        run("sh", "-c", "echo | esmtp one@plexor.example -f switch@plexor.example")
        self.assertTrue(OWNED.exists())
        OWNED.unlink()

    def test_required_encryption_sends_nothing_to_a_server_without_it(self):
        self.call(tls="1", user="admin", password="secret")
        self.assertEqual(self.server.count(), 0)

    def test_a_server_that_is_not_there_does_not_hold_the_caller(self):
        self.server.stop()
        self.assertIn(b"smtp:KSendTextMail end.\n", self.call())

    def test_a_silent_server_holds_the_caller_until_it_hangs_up(self):
        self.server.stop()
        with socket.create_server(("127.0.0.1", 25)) as silent:
            silent.settimeout(PATIENCE)
            caller = subprocess.Popen(self.command(), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            self.addCleanup(caller.kill)
            connection, _ = silent.accept()
            self.assertIsNone(caller.poll())
            connection.close()
        self.assertEqual(caller.wait(PATIENCE), 0)

    def test_the_password_is_not_printed(self):
        self.assertNotIn(b"secret", self.call(user="admin", password="secret"))


if __name__ == "__main__":
    unittest.main()
