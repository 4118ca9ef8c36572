# SPDX-License-Identifier: Apache-2.0
"""Who gets what an appliance reports, and words for tests that look at it. For tests inside plexor-run."""
import email
import email.policy
import json
import pathlib
import subprocess
import tempfile
import time
import unittest

HERE = pathlib.Path(__file__).parent
PATIENCE = 60  # seconds; for what has gone wrong, nothing that works comes near it


def run(*command):
    """The standard output of a command that has to succeed."""
    done = subprocess.run(command, capture_output=True, timeout=PATIENCE, check=False)
    if done.returncode != 0:
        raise AssertionError(f"{command}: {done.returncode}, {done.stderr.decode(errors='replace')}")
    return done.stdout


def await_that(condition, what):
    """What condition() returns once that is something."""
    end = time.monotonic() + PATIENCE
    while time.monotonic() < end:
        found = condition()
        if found:
            return found
        time.sleep(0.01)
    raise AssertionError(f"in vain: {what}")


def set_params(**params):
    for key, value in params.items():
        run("boardctl", "set", f"param.{key}", "--", value)


class Receiver:
    """A program that waits for reports, with a folder for what comes."""

    def __init__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.process = None

    def start(self, *command, ready):
        with open(self.folder / "output", "wb") as output:
            self.process = subprocess.Popen(command, stdout=output, stderr=output)
        await_that(lambda: self.process.poll() is not None or ready(), f"{command[0]} gets ready")
        if self.process.poll() is not None:
            raise AssertionError(f"{command[0]} has ended: {(self.folder / 'output').read_text()}")

    def stop(self):
        self.process.kill()
        self.process.wait()


class Mail:
    """One message as the server got it."""

    def __init__(self, path):
        self.raw = path.with_suffix(".eml").read_bytes()
        self.message = email.message_from_bytes(self.raw, policy=email.policy.default)
        envelope = json.loads(path.read_text())
        self.sender, self.recipients, self.login = envelope["from"], envelope["to"], envelope["login"]

    def content(self, number):
        return self.message.get_payload(number).get_payload(decode=True)

    @property
    def text(self):
        return self.content(0).decode()


class MailServer(Receiver):
    def __init__(self):
        super().__init__()
        self.start(str(HERE / "mail_server"), str(self.folder), ready=(self.folder / "ready").exists)

    def mail(self, number):
        """The message of that number, which may still be on its way."""
        path = self.folder / f"{number}.json"
        await_that(path.exists, f"mail {number}")
        return Mail(path)

    def count(self):
        return len(list(self.folder.glob("*.json")))


class TrapReceiver(Receiver):
    """Each trap is a dictionary: version, community, enterprise, generic, specific, and the variables by name."""

    MARK = "\x01"
    VALUE = "\x02"
    FORMAT = MARK.join(["%s", "%%P", "%%N", "%%w", "%%q", "%%V" + VALUE + "%%v"]) + "\\n" + MARK + MARK

    def __init__(self):
        super().__init__()
        self.log = self.folder / "log"
        settings = self.folder / "settings"
        settings.write_text("disableAuthorization yes\n"
                            f"format1 {self.FORMAT % 'v1'}\nformat2 {self.FORMAT % 'v2c'}\n")
        self.start("/usr/sbin/snmptrapd", "-f", "-C", "-c", str(settings), "-Lf", str(self.log), "-OQ",
                   "127.0.0.1:162", ready=lambda: ":00A2 " in pathlib.Path("/proc/net/udp").read_text())

    def traps(self):
        _, _, log = self.log.read_text(errors="replace").partition("NET-SNMP version ")
        _, _, log = log.partition("\n")
        return [self.parse(trap) for trap in log.split("\n" + self.MARK * 2)[:-1]]

    def parse(self, text):
        version, community, enterprise, generic, specific, variables = text.split(self.MARK)
        pairs = [pair.split(" = ", 1) for pair in variables.split(self.VALUE) if pair]
        return {"version": version, "community": community.partition(", community ")[2], "enterprise": enterprise,
                "generic": generic, "specific": specific.lstrip("."), "variables": dict(pairs)}

    def trap(self, number):
        """The trap of that number, from 1, which may still be on its way."""
        await_that(lambda: len(self.traps()) >= number, f"trap {number}")
        return self.traps()[number - 1]


class ApplianceTest(unittest.TestCase):
    """Tests of one appliance, with the receivers that they ask for, each of its own."""

    def receiver(self, kind):
        made = kind()
        self.addCleanup(made.stop)
        return made

    def mail_settings(self, **more):
        set_params(email_smtp="127.0.0.1", email_port="25", email_from="switch@plexor.example",
                   email_to="one@plexor.example", email_to_PX="two@plexor.example", email_user="", email_pwd="",
                   email_tls="", email_pic="", **more)

    def trap_settings(self, kind):
        set_params(snmp_enable="1", snmp_trap_dest_type=kind, snmp_trap_dest_community="public",
                   snmp_trap_dest_host="127.0.0.1")
