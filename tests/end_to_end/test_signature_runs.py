"""Signatures that are set off: a line is written to the log socket, the commands run, the mail arrives, and the
counters move."""
import re
import socket
import time
import unittest

import harness

SIGNATURE = """<?xml version="1.0" encoding="UTF-8"?>
<diagnosticSignature xmlns="urn:callhome:signature:1" id="{id}">
  <name>{name}</name>
  <revision>1.0</revision>
  <author>Ada Marlowe</author>
  <description>What this test waits for.</description>
  <event>{event}</event>
  <commands>{commands}</commands>
  <message>
    <subject>$ds_name on $ds_host</subject>
    <text>The log says: $ds_event</text>
  </message>
  <alertGroup>crash</alertGroup>
</diagnosticSignature>
"""


class SignatureRuns(harness.SystemWide):
    OPTIONS = ("--allow-unsigned-signatures",)

    def install(self, service, event, *commands, number=4711, name="unit-failed"):
        lines = "".join(f"<command>{command}</command>" for command in commands or ["show version"])
        file = self.folder / f"{number}.xml"
        file.write_text(SIGNATURE.format(id=number, name=name, event=event, commands=lines))
        self.shell(service, f"callhome diagnostic-signature load {file}",
                   f"callhome diagnostic-signature install {number}",
                   "configure terminal", "callhome", "diagnostic-signature", "active")

    def log(self, text):
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as sender:
            sender.connect(str(self.folder / "log.sock"))
            sender.send(text.encode())

    def shows_at_last(self, service, command, pattern):
        end = time.monotonic() + harness.LIMIT
        shown = self.shell(service, command).stdout
        while not re.search(pattern, shown) and time.monotonic() < end:
            shown = self.shell(service, command).stdout
        self.assertRegex(shown, pattern)

    def test_a_log_line_brings_a_mail_with_the_output_of_the_commands(self):
        server = self.start_mail_server()
        service = self.start()
        self.configure(service, server.port, "destination-profile ops alert-group crash")
        self.install(service, "<log>unit7 failed with status [0-9]+</log>", "show version",
                     "show callhome destination-profile ops")
        self.log("<13>Nov 21 08:00:00 init[1]: unit6 failed with status 1")
        self.log("<13>Nov 21 08:00:00 init[1]: unit7 failed with status 203")
        server.wait(lambda s: len(s.mails) == 1)
        mail = server.mails[0].content.decode()
        self.assertIn("\nSubject: unit-failed on ", mail.replace("\r", ""))
        self.assertIn("The log says: init[1]: unit7 failed with status 203", mail.replace("\r\n", " "))
        self.assertIn("Output of show version", mail)
        self.assertIn(self.shell(service, "show version").stdout.splitlines()[0], mail)
        # What the command asked this same service for, while it composed the message.
        self.assertIn("ops@example.net", mail.split("Output of show callhome destination-profile ops")[1])
        self.assertRegex(self.shell(service, "show diagnostic-signature callhome state").stdout,
                         r"Runs: +1 since it was installed")
        # The mail arrives before the service has heard that it did.
        self.shows_at_last(service, "show diagnostic-signature callhome messages", r"Sent: +1\b")

    def test_commands_that_hang_or_flood_are_ended_and_the_service_goes_on(self):
        server = self.start_mail_server()
        (self.programs / "callhome").write_text(
            '#!/bin/sh\n'
            'case "$4" in "show version") exec sleep 1000 ;; *) while :; do echo flood; done ;; esac\n')
        service = self.start("--command-limit", "1")
        self.configure(service, server.port, "destination-profile ops alert-group crash")
        self.install(service, "<log>failed</log>", "show version", "show callhome")
        self.log("unit7 failed")
        self.shell(service, "show callhome")  # while the commands run
        server.wait(lambda s: len(s.mails) == 1)
        mail = server.mails[0].content.decode()
        self.assertIn("(ended after 1 s)", mail.split("Output of show version")[1].split("Output of")[0])
        self.assertIn("(ended after 262144 bytes of output)", mail.split("Output of show callhome")[1])
        failures = self.shell(service, "show diagnostic-signature callhome statistics failure").stdout
        self.assertIn("ended after 262144 bytes of output", failures)


if __name__ == "__main__":
    unittest.main()
