"""Mail servers that fail in every way: what the operator is told, what is tried again, what is lost
(nothing)."""
import re
import subprocess
import unittest

import harness


class MailFailures(harness.EndToEnd):
    def send_test(self, service, check=False):
        return self.shell(service, "callhome test", check=check)

    def queue(self, service):
        return self.shell(service, "show callhome queue").stdout

    def test_a_dead_server_leaves_the_mail_in_the_queue_and_the_next_try_delivers_it(self):
        port = harness.free_port()
        service = self.start_service("--first-retry", "1")
        self.configure(service, port)
        done = self.send_test(service)
        self.assertIn("The call-home message could not be sent", done.stdout)
        self.assertRegex(done.stdout, r"(?m)ops@example\.net.*stays in the queue, next try in 1 second")
        self.assertIn("ops@example.net", self.queue(service))
        server = self.start_mail_server(port)
        server.wait(lambda s: len(s.mails) == 1)
        self.assertEqual(server.mails[0].recipients, ["ops@example.net"])

    def test_a_waiting_mail_survives_a_kill_and_keeps_its_message_id(self):
        seen = []

        def refuse_once(envelope):
            seen.append(re.search(rb"(?im)^Message-ID: *\r?\n? *(\S+)", envelope.content).group(1))
            return "451 4.3.0 try again" if len(seen) == 1 else "250 2.0.0 kept"

        server = self.start_mail_server(DATA=refuse_once)
        service = self.start_service("--first-retry", "1")
        self.configure(service, server.port)
        done = self.send_test(service)
        self.assertIn("451", done.stdout)
        service.kill()
        service.start()
        server.wait(lambda s: len(s.mails) == 1)
        self.assertGreaterEqual(len(seen), 2)
        self.assertEqual(len(set(seen)), 1)

    def test_a_permanent_refusal_is_reported_and_not_tried_again(self):
        server = self.start_mail_server(RCPT=lambda address: "550 5.1.1 no such mailbox")
        service = self.start_service("--first-retry", "1")
        self.configure(service, server.port)
        done = self.send_test(service)
        self.assertEqual(done.returncode, 1)
        self.assertIn("550 5.1.1 no such mailbox", done.stdout)
        self.assertIn("will not be tried again", done.stdout)
        self.assertNotIn("ops@example.net", self.queue(service))

    def test_one_refused_receiver_does_not_hold_up_the_other(self):
        def answer(address):
            return "550 5.1.1 unknown" if address.startswith("gone@") else "250 2.1.5 ok"

        server = self.start_mail_server(RCPT=answer)
        service = self.start_service()
        self.configure(service, server.port, "destination-profile ops email-addr gone@example.net")
        done = self.send_test(service, check=True)
        self.assertIn("Successfully sent test callhome message to ops@example.net", done.stdout)
        warning = done.stdout.split("warning:")[1]
        self.assertIn("gone@example.net", warning)
        self.assertEqual([m.recipients for m in server.mails], [["ops@example.net"]])

    def test_the_next_server_is_tried_by_priority_and_then_the_single_one(self):
        refusing = self.start_mail_server(MAIL=lambda sender: "451 4.3.0 busy")
        taking = self.start_mail_server()
        dead = harness.free_port()
        service = self.start_service()
        self.configure(
            service, dead,
            f"transport email mail-server localhost port {refusing.port} priority 20",
            f"transport email smtp-server 127.0.0.1 port {taking.port}",
        )
        done = self.send_test(service, check=True)
        self.assertIn("Successfully sent", done.stdout)
        self.assertEqual(refusing.attempts, 1)
        self.assertEqual(len(taking.mails), 1)

    def test_a_server_that_hangs_after_the_final_dot_is_left_after_a_bounded_time(self):
        server = self.start_mail_server(DATA=lambda envelope: "hang")
        service = self.start_service("--transfer-limit", "2", "--first-retry", "600")
        self.configure(service, server.port)
        done = self.send_test(service)
        self.assertIn("stays in the queue", done.stdout)
        self.assertIn("ops@example.net", self.queue(service))

    def test_the_shell_is_answered_while_a_mail_server_hangs(self):
        server = self.start_mail_server(MAIL=lambda sender: "hang")
        service = self.start_service("--transfer-limit", "30")
        self.configure(service, server.port)
        waiting = subprocess.Popen(
            [harness.PROGRAMS / "callhome", "--socket", service.socket, "-c", "callhome test"],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
        )
        try:
            server.wait(lambda s: s.attempts == 1)
            shown = self.shell(service, "show callhome transport-email").stdout
            self.assertIn("from email addr:switch@example.net", shown)
            busy = self.send_test(service)
            self.assertEqual(busy.returncode, 1)
            self.assertIn("being processed", busy.stdout)
        finally:
            waiting.kill()
            waiting.communicate()

    def test_values_never_become_headers_or_commands(self):
        server = self.start_mail_server()
        service = self.start_service()
        self.configure(service, server.port)
        for hidden in ("\r\nBcc: evil@example.net", "\rBcc: evil@example.net", "\x1b[2J"):
            refused = self.shell(service, "callhome send obx-action policy p text a" + hidden, check=False)
            self.assertNotEqual(refused.returncode, 0)
        self.assertEqual(server.mails, [])


if __name__ == "__main__":
    unittest.main()
