"""What tests of failing peers share: many cases side by side, each with a service of its own, and what has to
hold for each."""
import concurrent.futures
import re
import threading
import time

import certificates
import harness

SIDE_BY_SIDE = 16
RETRY_SOON = ("--first-retry", "1")
# For those who hang: long enough that what comes before is done in time, also when much goes on.
GIVE_UP_SOON = ("--transfer-limit", "2")


class Cases(harness.EndToEnd):
    """`play(name, case)` is one case; it has the name for its folder."""

    def play_all(self, cases, play=None):
        def play_one(name, case):
            try:
                (play or self.play)(name, case)
            finally:
                if name in self.services:
                    self.services[name].stop()  # side by side with the others, too

        with concurrent.futures.ThreadPoolExecutor(SIDE_BY_SIDE) as pool:
            played = {name: pool.submit(play_one, name, case) for name, case in cases.items()}
            concurrent.futures.wait(played.values())
        for name, future in played.items():
            with self.subTest(name):
                future.result()

    def setUp(self):
        super().setUp()
        self.guard = threading.Lock()
        self.services = {}
        self.authority = certificates.Authority(self.folder)
        self.authorities = {"us": self.authority, "stranger": certificates.Authority(self.folder, "stranger")}
        self.context = self.authority.context()

    def context_with(self, certificate):
        """Of a server; `certificate` says what is wrong with it, and "by" who has issued it."""
        wrong = dict(certificate)
        return self.authorities[wrong.pop("by", "us")].context(**wrong)

    def start_service(self, *options, name="service", within=()):
        self.services[name] = super().start_service(*options, name=name, within=within)
        return self.services[name]

    def addCleanup(self, *arguments, **keywords):
        # Cases ask for it from threads of their own; before setUp has ended there is one only.
        if not hasattr(self, "guard"):
            return super().addCleanup(*arguments, **keywords)
        with self.guard:
            return super().addCleanup(*arguments, **keywords)

    def figures(self, service):
        """The service's own account: what waits, what was sent, what was lost."""
        text = self.shell(service, "show callhome information queue").stdout
        names = {"waiting": "Deliveries waiting", "sent": "Sent", "failed": "Failed"}
        return {key: int(re.search(rf"^{name}: +(\d+)", text, re.M)[1]) for key, name in names.items()}

    def settled_figures(self, service):
        """The same, when nothing waits any more: what a server has, the service records a moment later."""
        deadline = time.monotonic() + harness.LIMIT
        while (figures := self.figures(service))["waiting"]:
            self.assertLess(time.monotonic(), deadline, "a delivery still waits")
        return figures

    def tries(self, service, message=1):
        """How often the message was offered to its one receiver, by the service's account."""
        shown = self.shell(service, f"show callhome message {message}").stdout
        return int(re.search(r"^\S+ +(?:delivered|waiting|failed) +(\d+) ", shown, re.M)[1])

    def assert_waits(self, service, done, words, receiver):
        self.assertEqual(done.returncode, 1, done.stdout)
        self.assertIn("The call-home message could not be sent\n", done.stdout)
        self.assertRegex(done.stdout, words)
        self.assertIn("; it stays in the queue, next try in 1 seconds", done.stdout)
        queue = self.shell(service, "show callhome queue").stdout
        self.assertIn(receiver, queue)
        self.assertRegex(queue, words)
        self.assertEqual(self.figures(service), {"waiting": 1, "sent": 0, "failed": 0})

    def assert_lost(self, service, done, words):
        self.assertEqual(done.returncode, 1, done.stdout)
        self.assertRegex(done.stdout, words)
        self.assertIn("; it will not be tried again", done.stdout)
        self.assertIn("Nothing waits to be sent.", self.shell(service, "show callhome queue").stdout)
        self.assertEqual(self.figures(service), {"waiting": 0, "sent": 0, "failed": 1})
        self.assertRegex(service.log.read_text(), words)
