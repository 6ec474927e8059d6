"""The shipped examples of signatures: signed, loaded, installed, set off by the lines that they wait for."""
import os
import shutil
import socket
import subprocess
import time
import unittest

import harness

EXAMPLES = harness.TREE / "examples/signatures"

LINK_DOWN = "kernel: e1000e 0000:00:1f.6 eno1: NIC Link is Down"
TOO_HOT = "kernel: CPU3: Core temperature above threshold, cpu clock throttled"
RESTARTED = "systemd[1]: bgpd.service: Scheduled restart job, restart counter is at 3."


class SignatureExamples(harness.EndToEnd):
    def setUp(self):
        super().setUp()
        os.chmod(self.folder, 0o755)  # the user of the commands has to reach the socket
        self.keys = self.folder / "keys"
        self.keys.mkdir(mode=0o700)
        self.sign("make-key", self.folder / "mine")
        self.server = self.start_mail_server()
        self.service = self.start_service("--system", "--log-socket", self.folder / "log.sock",
                                          "--signature-keys", self.keys)
        os.chmod(self.service.folder, 0o755)
        self.configure(self.service, self.server.port, "destination-profile ops alert-group all",
                       "diagnostic-signature", "active", "exit")

    def sign(self, *words):
        subprocess.run([harness.PROGRAMS / "callhome-sign", *words], check=True, capture_output=True,
                       timeout=harness.LIMIT)

    def trust_the_key(self):
        shutil.copy(self.folder / "mine.pem", self.keys)
        os.chmod(self.keys / "mine.pem", 0o644)

    def sign_example(self, name):
        file = self.folder / f"{name}.xml"
        shutil.copy(EXAMPLES / file.name, file)
        self.sign("sign", "--key", self.folder / "mine.key", file)
        return file

    def load(self, file):
        return self.shell(self.service, f"callhome diagnostic-signature load {file}").stderr

    def install(self, number, *answers):
        return self.shell(self.service, f"callhome diagnostic-signature install {number}",
                          input="".join(answer + "\n" for answer in answers))

    def listed(self):
        return self.shell(self.service, "show diagnostic-signature callhome").stdout

    def set_up(self, name, number, *answers):
        self.trust_the_key()
        self.assertEqual(self.load(self.sign_example(name)), "")
        self.assertEqual(self.install(number, *answers).stderr, "")

    def log(self, text):
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as sender:
            sender.connect(str(self.folder / "log.sock"))
            sender.send(text.encode())

    def mail_after(self, line):
        """The words of the next mail, wherever its lines end."""
        known = len(self.server.mails)
        self.log(line)
        self.server.wait(lambda server: len(server.mails) > known)
        return " ".join(self.server.mails[known].content.decode().split())

    def wait_until_gone(self, text):
        deadline = time.monotonic() + harness.LIMIT
        while text in self.listed():
            self.assertLess(time.monotonic(), deadline, "it is still there")

    def test_a_link_that_goes_down_is_reported_with_site_and_ticket(self):
        self.set_up("link-flapping", 1001, "Harbour 12", "NET-4711")
        mail = self.mail_after(LINK_DOWN)
        self.assertRegex(mail, r" Subject: Link flapping on \S+ \(Harbour 12, ticket NET-4711\)")
        self.assertIn(LINK_DOWN, mail)
        self.assertIn("Report 1 of at most 10", mail)
        self.assertIn("Output of show callhome queue", mail)
        self.assertIn("Report 2 of at most 10", self.mail_after(LINK_DOWN.replace("eno1", "eno2")))

    def test_a_question_that_has_a_default_may_stay_unanswered(self):
        self.set_up("high-temperature", 1002, "North 3", "")
        mail = self.mail_after(TOO_HOT)
        self.assertIn("On site: nobody.", mail)
        self.assertIn("Output of show callhome messages", mail)

    def test_a_wrong_answer_is_told_and_nothing_is_installed(self):
        self.trust_the_key()
        self.load(self.sign_example("link-flapping"))
        told = self.install(1001, "Harbour 12", "no ticket").stderr
        self.assertIn("DS prompt variable contains invalid value.", told)
        self.assertIn("ds_ticket", told)
        self.assertEqual(self.install(1001, "Harbour 12", "none").stderr, "")

    def test_a_daemon_that_restarts_is_reported_once(self):
        self.set_up("daemon-restarts", 1003)
        self.assertIn("support contract: none", self.mail_after(RESTARTED))
        self.wait_until_gone("daemon-restarts")

    def test_a_variable_that_is_not_asked_for_comes_from_the_settings(self):
        self.shell(self.service, "configure terminal", "callhome", "diagnostic-signature",
                   "environment ds_contract 20260001")
        self.set_up("daemon-restarts", 1003)
        self.assertIn("support contract: 20260001", self.mail_after(RESTARTED))

    def test_a_signature_counts_from_when_its_key_is_there(self):
        file = self.sign_example("link-flapping")
        self.assertEqual(self.load(file), "Failed to verify DS sign.\n")
        self.assertNotIn("link-flapping", self.listed())
        self.trust_the_key()
        self.assertEqual(self.load(file), "")
        self.assertIn("link-flapping", self.listed())

    def test_a_tampered_file_is_not_stored(self):
        self.trust_the_key()
        file = self.sign_example("link-flapping")
        file.write_text(file.read_text().replace("show version", "show history"))
        self.assertEqual(self.load(file), "Failed to verify DS sign.\n")
        self.assertNotIn("link-flapping", self.listed())


if __name__ == "__main__":
    unittest.main()
