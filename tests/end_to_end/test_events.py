"""Alerts of the switch: which profile takes them, what the operator's commands add to them, and what becomes
of those that repeat themselves."""
import os
import unittest

import harness
import wire


class Events(harness.SystemWide):
    def post(self, service, alert, source="fan tray", text="it is hot", severity=wire.SEVERITY_OF_ITS_NAME):
        """Raises an alert; gives its status and the reply's text."""
        with wire.Connection(service.socket, harness.LIMIT) as link:
            status, body = link.exchange(wire.POST_ALERT, wire.SET, wire.ALERT_RECORD.pack(
                alert.encode(), source.encode(), text.encode(), severity))
        return status, body.decode()

    def content(self, mail):
        return mail.content.decode().replace("\r\n", "\n")

    def test_an_event_goes_to_who_takes_its_group_and_level_with_the_output_of_the_groups_commands(self):
        server = self.start_mail_server()
        service = self.start()
        self.configure(
            service, server.port, "destination-profile ops alert-group environmental",
            "destination-profile ops message-level 4",
            "destination-profile crashes format full-txt",
            "destination-profile crashes email-addr crashes@example.net",
            "destination-profile crashes alert-group crash",
            "alert-group environmental user-def-cmd show version",
            "alert-group environmental user-def-cmd show callhome destination-profile ops",
            "alert-group crash user-def-cmd show callhome transport-email")
        status, reply = self.post(service, "TEMPERATURE_MINOR_ALARM")
        self.assertEqual(status, wire.OK, reply)
        self.assertRegex(reply, r"^Successfully sent temperature-alarm callhome message to ops@example.net "
                                r"\(profile ops\) through 127.0.0.1:\d+$")
        self.assertEqual([mail.recipients for mail in server.mails], [["ops@example.net"]])
        mail = self.content(server.mails[0])
        self.assertIn("\nSubject: Call home: Temperature alarm from ", mail)
        self.assertIn("\nAlert group:          environmental\n", mail)
        self.assertIn("\nSource:               fan tray\nText:                 it is hot\n", mail)
        version = self.shell(service, "show version").stdout.splitlines()[0]
        self.assertIn(f"\nOutput of show version\n----------------------\n  {version}\n", mail)
        # What the command asked this same service for, while it made the message.
        self.assertIn("ops@example.net", mail.split("Output of show callhome destination-profile ops\n")[1])
        self.assertNotIn("transport-email", mail)

        status, reply = self.post(service, "HARDWARE_INSERTION")
        self.assertEqual(status, wire.NOT_SENT)
        self.assertIn("takes messages of the alert group inventory at level 2", reply)
        self.shell(service, "configure terminal", "callhome",
                   "no destination-profile ops alert-group environmental",
                   "destination-profile ops alert-group syslog-group-port")
        for severity, expected in ((4, wire.NOT_SENT), (3, wire.OK)):
            status, reply = self.post(service, "SYSLOG_ALERT", "ethport", f"severity {severity}", severity)
            self.assertEqual(status, expected, reply)
        self.assertIn("\nSeverity:             minor\n", self.content(server.mails[-1]))

    def test_what_repeats_itself_is_counted_and_the_next_message_tells_how_often(self):
        server = self.start_mail_server()
        service = self.start("--throttle-window", "3")
        self.configure(service, server.port, "destination-profile ops alert-group all")
        self.assertEqual(self.post(service, "TEMPERATURE_MINOR_ALARM")[0], wire.OK)
        status, reply = self.post(service, "TEMPERATURE_MINOR_ALARM")
        repeats = 0
        while status == wire.NOT_SENT:
            repeats += 1
            times = "once" if repeats == 1 else f"{repeats} times"
            self.assertRegex(reply, "^The temperature-alarm callhome message was not sent: the same event had "
                                    f"its message at .* and has come {times} since then; ")
            self.assertEqual(len(server.mails), 1)
            status, reply = self.post(service, "TEMPERATURE_MINOR_ALARM")
        self.assertEqual(status, wire.OK, reply)
        self.assertGreater(repeats, 0)
        self.assertEqual(len(server.mails), 2)
        self.assertNotIn("Repeated:", self.content(server.mails[0]))
        self.assertRegex(self.content(server.mails[1]),
                         f"\nRepeated: +{'once' if repeats == 1 else f'{repeats} times'} since [0-9]{{4}}-")

    def test_events_that_are_raised_by_hand_go_to_their_groups_and_are_throttled(self):
        server = self.start_mail_server()
        service = self.start()
        self.configure(service, server.port, "destination-profile ops alert-group all")
        groups = {"environment": "environmental", "inventory": "inventory", "diagnostic": "Diagnostic",
                  "configuration": "configuration", "syslog": "syslog-group-port"}
        for number, (event, group) in enumerate(groups.items(), 1):
            for _ in range(2):
                self.shell(service, f"callhome event trigger {event} text a trial")
            self.assertEqual(len(server.mails), number, event)
            self.assertIn(f"\nAlert group:          {group}\n", self.content(server.mails[-1]))
            self.assertIn("\nText:                 a trial\n", self.content(server.mails[-1]))
        self.assertRegex(self.shell(service, "show callhome information queue").stdout,
                         r"(?m)^Duplicates not sent: +5$")

    def test_with_throttling_off_and_when_an_operator_asks_each_is_sent(self):
        server = self.start_mail_server()
        service = self.start()
        self.configure(service, server.port, "destination-profile ops alert-group all",
                       "no duplicate-message throttle")
        for _ in range(2):
            self.assertEqual(self.post(service, "SUP_FAILURE")[0], wire.OK)
        self.shell(service, "configure terminal", "callhome", "duplicate-message throttle")
        self.assertEqual(self.post(service, "SUP_FAILURE")[0], wire.NOT_SENT)
        for _ in range(2):
            self.shell(service, "callhome test")
        self.assertEqual(len(server.mails), 4)

    def test_commands_that_hang_or_flood_are_cut_and_the_message_goes_out(self):
        server = self.start_mail_server()
        service = self.start("--command-limit", "1")
        self.configure(service, server.port, "destination-profile ops alert-group all",
                       "alert-group all user-def-cmd show version",
                       "alert-group all user-def-cmd show callhome")
        (self.programs / "callhome.new").write_text(
            '#!/bin/sh\n'
            'case "$4" in "show version") exec sleep 1000 ;; *) while :; do echo flood; done ;; esac\n')
        (self.programs / "callhome.new").chmod(0o755)
        os.replace(self.programs / "callhome.new", self.programs / "callhome")
        status, reply = self.post(service, "SUP_FAILURE")
        self.assertEqual(status, wire.OK, reply)
        mail = self.content(server.mails[0])
        self.assertIn("\n  (ended after 1 s)\n", mail.split("Output of show version")[1])
        self.assertIn("\n  (ended after 262144 bytes of output)\n",
                      mail.split("Output of show callhome\n")[1])


if __name__ == "__main__":
    unittest.main()
