"""What the operator sees of messages on their way, and does about them."""
import email
import email.policy
import json
import re
import subprocess
import unittest

import harness


class Operator(harness.EndToEnd):
    def setUp(self):
        super().setUp()
        self.later = {"slow@example.net"}  # who is told to come back later
        self.never = {"gone@example.net"}  # who is refused for good
        self.server = self.start_mail_server(RCPT=self.answer)
        self.service = self.start_service("--first-retry", "600")
        self.configure(self.service, self.server.port)

    def answer(self, address):
        if address in self.later:
            return "450 4.2.1 come back later"
        return "550 5.1.1 no such mailbox" if address in self.never else "250 2.1.5 ok"

    def add_receivers(self, *addresses):
        self.shell(self.service, "configure terminal", "callhome",
                   *(f"destination-profile ops email-addr {address}" for address in addresses))

    def run_json(self, command, check=True):
        return json.loads(self.shell(self.service, f"{command} | json", check=check).stdout)

    def text(self, command, check=True):
        return self.shell(self.service, command, check=check).stdout

    def mails_to(self, address):
        return [email.message_from_bytes(mail.content, policy=email.policy.default)
                for mail in self.server.mails if mail.recipients == [address]]

    def test_the_queue_shows_what_waits_and_why(self):
        self.add_receivers("slow@example.net")
        self.text("callhome test")
        shown = self.text("show callhome queue")
        self.assertRegex(shown, r"(?m)^1 +ops +slow@example\.net +1 +\d{4}-.*"
                                r"127\.0\.0\.1:\d+: 450 4\.2\.1 come back later")
        self.assertNotIn("ops@example.net", shown)
        self.assertRegex(shown, r"(?m)^messages : 1 of at most 100000$")
        self.assertRegex(shown, r"(?m)^receivers : 1$")
        self.assertRegex(shown, r"(?m)^dropped so far : 0$")
        self.assertRegex(shown, r"(?m)^storage : in order$")
        document = self.run_json("show callhome queue")
        self.assertEqual(document["deliveries"][0]["profile"], "ops")
        self.assertEqual(document["deliveries"][0]["tries"], 1)
        self.assertEqual(document["totals"]["messages"], 1)
        self.assertGreater(document["totals"]["bytes"], 100)
        self.assertEqual(document["storage"], {"is_degraded": False})

    def test_the_newest_messages_are_listed_alone(self):
        for _ in range(3):
            self.text("callhome test")
        self.assertEqual([row["id"] for row in self.run_json("show callhome messages")["messages"]], [1, 2, 3])
        self.assertEqual([row["id"] for row in self.run_json("show callhome messages last 2")["messages"]], [2, 3])
        self.assertEqual(len(self.run_json("show callhome messages last 4000000000")["messages"]), 3)

    def test_a_profile_tells_how_its_messages_have_fared(self):
        before = self.run_json("show callhome destination-profile ops statistics")
        self.assertEqual((before["sent"], before["lost"]), (0, 0))
        self.assertNotIn("last_success_at", before)
        self.add_receivers("slow@example.net", "gone@example.net")
        self.text("callhome test")
        shown = self.run_json("show callhome destination-profile ops statistics")
        self.assertEqual((shown["sent"], shown["recovered"], shown["lost"], shown["waiting"]), (1, 0, 1, 1))
        self.assertRegex(shown["last_error"], r"^127\.0\.0\.1:\d+: (450|550) ")
        self.later.clear()
        self.text("callhome resend 1")
        self.server.wait(lambda s: any(mail.recipients == ["slow@example.net"] for mail in s.mails))
        self.text("callhome test")  # its answer comes when the result before it was recorded
        shown = self.text("show callhome destination-profile ops statistics")
        self.assertRegex(shown, r"(?m)^failed and then delivered : 1$")
        self.assertRegex(shown, r"(?m)^waiting : 0$")
        self.assertRegex(shown, r"(?m)^last success at : \d{4}-")
        self.assertRegex(shown, r"(?m)^latency : \d+ ms the last one, \d+ ms on average, \d+ ms at most$")

    def test_statistics_are_those_of_a_profile_that_there_is(self):
        done = self.shell(self.service, "show callhome destination-profile nobody statistics", check=False)
        self.assertEqual(done.returncode, 1)
        self.assertIn("There is no such entry", done.stdout)
        for name in ("full-txt-destination", "full_txt"):
            self.assertEqual(self.run_json(f"show callhome destination-profile {name} statistics")["profile"],
                             "full_txt")

    def test_a_cleared_queue_is_given_up_and_counted_so(self):
        self.add_receivers("slow@example.net")
        self.text("callhome test")
        self.assertEqual(self.text("clear callhome queue"), "1 receiver was given up.\n")
        self.assertEqual(self.run_json("show callhome queue")["deliveries"], [])
        receivers = self.run_json("show callhome message 1")["receivers"]
        self.assertEqual([row["state"] for row in receivers], ["delivered", "failed"])
        self.assertRegex(receivers[1]["last_result"], "^given up: the queue was cleared by ")
        self.assertEqual(self.run_json("show callhome destination-profile ops statistics")["lost"], 1)
        self.assertEqual(self.text("clear callhome queue"), "Nothing waits that could be given up.\n")

    def test_what_is_being_tried_is_not_cut(self):
        held = self.start_mail_server(RCPT=lambda address: "hang")
        self.shell(self.service, "configure terminal", "callhome",
                   f"transport email mail-server localhost port {held.port} priority 1")
        waiting = subprocess.Popen(
            [harness.PROGRAMS / "callhome", "--socket", self.service.socket, "-c", "callhome test"],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True)
        try:
            held.wait(lambda s: s.attempts == 1)
            self.assertEqual(self.text("clear callhome queue"),
                             "Nothing waits that could be given up.\n"
                             "1 receiver is being tried now, and may wait again.\n")
            self.assertEqual(self.run_json("show callhome message 1")["receivers"][0]["state"], "waiting")
        finally:
            waiting.kill()
            waiting.communicate()

    def test_a_resent_message_reaches_who_did_not_have_it(self):
        self.add_receivers("gone@example.net")
        self.text("callhome test")
        self.never.clear()
        self.assertEqual(self.text("callhome resend 1"),
                         "1 receiver is due now.\n"
                         "1 receiver has the message already: message 2 with an identity of its own goes there.\n")
        self.server.wait(lambda s: len(s.mails) == 3)
        late, = self.mails_to("gone@example.net")
        first, second = self.mails_to("ops@example.net")
        self.assertEqual(late["Message-ID"], first["Message-ID"])
        self.assertNotEqual(second["Message-ID"], first["Message-ID"])
        self.assertEqual(second["References"], first["Message-ID"])
        self.assertEqual(second["Subject"], "Sent again: " + first["Subject"])
        identity = re.compile(r"(?m)^Id: +(\S+)")
        bodies = [mail.get_content() for mail in (first, second)]
        self.assertNotEqual(*(identity.search(body).group(1) for body in bodies))
        self.assertEqual(*(identity.sub("", body) for body in bodies), "nothing else has changed")

    def test_a_message_that_is_not_there_cannot_be_resent(self):
        done = self.shell(self.service, "callhome resend 7", check=False)
        self.assertEqual(done.returncode, 1)
        self.assertIn("There is no such entry", done.stdout)

    def test_a_preview_is_what_would_be_sent_and_nothing_is(self):
        self.shell(self.service, "configure terminal", "callhome", "data-privacy level high",
                   "destination-profile ops alert-group inventory",
                   "destination-profile short-txt-destination email-addr pager@example.net",
                   "destination-profile short-txt-destination message-size 200")
        shown = {row["profile"]: row for row in self.run_json("callhome preview inventory")["messages"]}
        self.assertEqual(sorted(shown), ["ops", "short_txt"])
        self.assertLessEqual(shown["short_txt"]["bytes"], 200)
        self.assertEqual((shown["ops"]["format"], shown["ops"]["transport"], shown["ops"]["receivers"]),
                         ("full-txt", "email", "ops@example.net"))
        self.assertIn("<masked-", shown["ops"]["text"])
        self.assertEqual(self.run_json("callhome preview inventory profile full_txt", check=False)["messages"], [],
                         "it has no receiver")
        self.assertIn("Subject: Call home: Inventory", self.text("callhome preview inventory profile ops"))
        self.assertEqual(self.run_json("show callhome messages")["messages"], [])
        self.assertEqual(self.server.attempts, 0)
        self.text("callhome test inventory")
        sent, = self.mails_to("ops@example.net")
        changing = re.compile(r"(?m)^ *(Id|Time|Uptime|Memory available): .*|\r")
        preview = email.message_from_string(shown["ops"]["text"], policy=email.policy.default)
        self.assertEqual(sent["Subject"], preview["Subject"])
        self.assertEqual(changing.sub("", sent.get_content())[:800], changing.sub("", preview.get_content())[:800])

    def test_a_preview_that_nobody_would_get_says_so(self):
        done = self.shell(self.service, "callhome preview inventory profile short_txt", check=False)
        self.assertEqual(done.returncode, 1)
        self.assertEqual(done.stdout, "The profile short_txt takes no inventory messages, "
                                      "or has nobody to send them to\n")

    def test_a_preview_of_an_event_needs_no_event(self):
        self.shell(self.service, "configure terminal", "callhome",
                   "destination-profile ops alert-group environmental")
        shown = self.text("callhome preview temperature-alarm")
        self.assertIn("Temperature alarm", shown)
        self.assertIn("what has happened stands here", shown)


if __name__ == "__main__":
    unittest.main()
