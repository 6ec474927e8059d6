"""From a typed command to a delivered mail: the session of the README, with mail servers of two kinds."""
import email
import email.policy
import pathlib
import re
import subprocess
import unittest

import harness


class SmtpSink:
    """Postfix's test sink: takes every mail and writes it to a file, envelope first."""

    def __init__(self, folder):
        self.folder = pathlib.Path(folder)
        self.folder.mkdir()
        self.folder.chmod(0o777)
        self.port = harness.free_port()
        self.process = subprocess.Popen(
            ["/usr/sbin/smtp-sink", "-u", "nobody", "-v", "-d", "mail.", f"127.0.0.1:{self.port}", "16"],
            cwd=self.folder, stdin=subprocess.DEVNULL, stderr=subprocess.PIPE,
        )

    def mails(self):
        return [path.read_bytes() for path in sorted(self.folder.glob("mail.*"))]

    def close(self):
        self.process.kill()
        self.process.communicate()


def parsed(content):
    return email.message_from_bytes(content, policy=email.policy.default)


class FirstSession(harness.EndToEnd):
    def play(self, service, port):
        script = (harness.TREE / "examples/first-session.txt").read_text().replace("@MAIL_PORT@", str(port))
        return self.shell(service, input=script, options=["--echo"])

    def test_a_mail_arrives_for_each_receiver(self):
        server = self.start_mail_server()
        done = self.play(self.start_service(), server.port)
        self.assertIn("switch(config-callhome)# enable", done.stdout)
        self.assertIn("switch# callhome test", done.stdout)
        self.assertIn("trying to send test callhome message", done.stdout)
        for receiver in ("operations@example.net", "pager@example.net"):
            self.assertRegex(done.stdout, rf"(?m)^Successfully sent test callhome message to {receiver} ")
        self.assertEqual(
            sorted(mail.recipients for mail in server.mails),
            [["operations@example.net"], ["pager@example.net"]],
        )
        self.assertEqual({mail.sender for mail in server.mails}, {"switch@example.net"})

    def test_the_mail_is_what_a_mail_reader_expects(self):
        server = self.start_mail_server()
        self.play(self.start_service(), server.port)
        mail = next(m for m in server.mails if m.recipients == ["operations@example.net"])
        message = parsed(mail.content)
        self.assertEqual(message.defects, [])
        self.assertEqual(message["Auto-Submitted"], "auto-generated")
        self.assertEqual(message["From"].addresses[0].addr_spec, "switch@example.net")
        self.assertEqual(message["To"].addresses[0].addr_spec, "operations@example.net")
        self.assertRegex(message["Message-ID"], r"^<[^<>@\s]+@[^<>@\s]+>$")
        self.assertIsNotNone(message["Date"].datetime)
        self.assertTrue(message["Subject"])
        body = message.get_body(("plain",)).get_content()
        for told in ("Ada Marlowe, network operations", "ada.marlowe@example.net", "+1-555-0100",
                     "12 Harbour Road, Building 3", "harbour-3", "operations"):
            self.assertIn(told, body)
        self.assertTrue(all(len(line) <= 998 for line in mail.content.split(b"\r\n")))

    def test_another_kind_of_mail_server_takes_it_too(self):
        sink = SmtpSink(self.folder / "sink")
        self.addCleanup(sink.close)
        done = self.play(self.start_service(), sink.port)
        self.assertEqual(done.stdout.count("Successfully sent"), 2)
        mails = sink.mails()
        self.assertEqual(len(mails), 2)
        for mail in mails:
            message = parsed(mail)
            self.assertEqual(message["Auto-Submitted"], "auto-generated")
            self.assertIn(message["X-Rcpt-Args"] or "", ("<operations@example.net>", "<pager@example.net>"))

    def test_what_was_sent_can_be_seen_afterwards(self):
        server = self.start_mail_server()
        service = self.start_service()
        self.play(service, server.port)
        listed = self.shell(service, "show callhome messages").stdout
        self.assertIn("operations", listed)
        number = re.search(r"(?m)^\s*(\d+)\b.*operations", listed).group(1)
        shown = self.shell(service, f"show callhome message {number}").stdout
        mail = next(m for m in server.mails if m.recipients == ["operations@example.net"])
        self.assertIn(parsed(mail.content)["Message-ID"], shown)
        self.assertNotIn("ops", self.shell(service, "show callhome queue").stdout)

    def test_every_xml_message_validates(self):
        server = self.start_mail_server()
        service = self.start_service()
        self.configure(
            service, server.port, 'streetaddress <Street> & "Co" ]]> Zürich',
            "destination-profile ops format XML",
            "destination-profile ZUVA-profile email-addr tac@example.net",
        )
        for command in ("callhome test", "callhome test inventory", "callhome send configuration",
                        "callhome send diagnostic",
                        "callhome send sw-crash process routed reason <signal> & 11",
                        "callhome send obx-action policy p1 text a&b"):
            self.shell(service, command)
        documents = 0
        for mail in server.mails:
            for part in parsed(mail.content).walk():
                if part.get_content_type() == "application/xml":
                    path = self.folder / f"{documents}.xml"
                    path.write_bytes(part.get_payload(decode=True))
                    documents += 1
                    checked = subprocess.run(
                        ["xmllint", "--noout", "--nonet", "--schema",
                         harness.TREE / "docs/schemas/message-1.xsd", path],
                        capture_output=True, text=True,
                    )
                    self.assertEqual(checked.returncode, 0, checked.stderr + path.read_text())
        self.assertGreaterEqual(documents, 7)


if __name__ == "__main__":
    unittest.main()
