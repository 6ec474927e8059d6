"""A service that is not there, lies, or goes away at every byte: the shell says so and comes back."""
import json
import os
import random
import subprocess
import unittest
import xml.dom.minidom

import harness
import wire
from fake_service import FakeService


def reply(body, *, opcode=wire.MAIL_SETTINGS, operation=wire.GET, status=0, **words):
    return wire.header(opcode, operation, len(body), kind=words.pop("kind", wire.REPLY),
                       status=status, **words) + body


RECORD = wire.MAIL_RECORD.pack(b"a@example.net", b"", b"", b"", 0, 0, 0, b"", 0)


class HostileService(harness.EndToEnd):
    def ask(self, answer, form=""):
        """What the shell says when a service answers so."""
        path = self.folder / "fake.sock"
        fake = FakeService(path, answer)
        try:
            return subprocess.run(
                [harness.PROGRAMS / "callhome", "--socket", path, "-c", "show callhome transport-email" + form],
                stdin=subprocess.DEVNULL, capture_output=True, timeout=harness.LIMIT,
            )
        finally:
            fake.close()
            path.unlink()

    def assert_clear_failure(self, done):
        self.assertEqual(done.returncode, 1, done)
        self.assertTrue(done.stderr.strip() or done.stdout.strip(), "nothing was said")
        self.assertNotIn(b"Sanitizer", done.stderr)

    def test_the_fake_speaks_the_protocol(self):
        self.assertEqual(self.ask(reply(RECORD)).returncode, 0)

    def test_it_goes_away_at_every_byte(self):
        whole = reply(RECORD)
        cuts = [*range(0, 30), *range(30, len(whole), 97), len(whole) - 1]
        for count in cuts:
            with self.subTest(bytes=count):
                self.assert_clear_failure(self.ask(whole[:count]))

    def test_replies_of_every_shape(self):
        shapes = {
            "magic": reply(RECORD, magic=1),
            "version": reply(RECORD, version=9),
            "a request": reply(RECORD, kind=wire.REQUEST),
            "another opcode": reply(RECORD, opcode=wire.CONTACT),
            "too long": wire.header(wire.MAIL_SETTINGS, wire.GET, 1 << 30, kind=wire.REPLY),
            "longer than its record": reply(RECORD + b"x" * 100),
            "shorter than its record": reply(RECORD[:100]),
            "empty": reply(b""),
            "garbage": random.Random(3).randbytes(4000),
        }
        for name, answer in shapes.items():
            with self.subTest(name):
                self.assert_clear_failure(self.ask(answer))

    def test_texts_without_an_end_are_read_within_the_record(self):
        done = self.ask(reply(b"\xff" * len(RECORD)))
        self.assertNotIn(b"Sanitizer", done.stderr)
        self.assertIn(done.returncode, (0, 1))
        self.assertLess(len(done.stdout), 20000)

    def test_a_refusal_is_shown_with_its_text(self):
        done = self.ask(reply(b"", status=wire.PERMISSION_DENIED))
        self.assertEqual(done.returncode, 1)
        self.assertIn(b"Permission denied", done.stdout)

    def test_every_answer_becomes_a_whole_document(self):
        for answer in (reply(RECORD), reply(RECORD)[:50], reply(b"\xff" * len(RECORD)), reply(b"\x1b" * len(RECORD)),
                       reply(b"\xef\xbf\xbe" * len(RECORD))[:len(reply(RECORD))],
                       reply(b"", status=wire.PERMISSION_DENIED), reply(b"")):
            json.loads(self.ask(answer, " | json").stdout.decode("utf-8"))
            xml.dom.minidom.parseString(self.ask(answer, " | xml").stdout)
            self.ask(answer).stdout.decode("utf-8")

    def test_nobody_there(self):
        done = subprocess.run(
            [harness.PROGRAMS / "callhome", "--socket", self.folder / "none.sock", "-c",
             "show callhome transport-email"],
            stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=harness.LIMIT,
        )
        self.assertEqual(done.returncode, 1)
        self.assertIn("service", done.stderr)

    @unittest.skipUnless(os.geteuid() == 0, "only root can become somebody else")
    def test_a_stranger_s_service_is_told_nothing(self):
        path = self.folder / "stranger.sock"
        self.folder.chmod(0o777)
        program = (
            "import os, socket, sys\nos.setgroups([]); os.setgid(65534); os.setuid(65534)\n"
            "s = socket.socket(socket.AF_UNIX); s.bind(sys.argv[1]); s.listen(); print(flush=True)\n"
            "peer, _ = s.accept(); print(len(peer.recv(65536)), flush=True)\n"
        )
        stranger = subprocess.Popen(["/usr/bin/python3", "-c", program, path], stdout=subprocess.PIPE, text=True)
        try:
            stranger.stdout.readline()
            done = subprocess.run(
                [harness.PROGRAMS / "callhome", "--socket", path, "-c", "show callhome transport-email"],
                stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=harness.LIMIT,
            )
            self.assertEqual(done.returncode, 1)
            self.assertEqual(stranger.stdout.readline().strip(), "0")
        finally:
            stranger.kill()
            stranger.communicate()


if __name__ == "__main__":
    unittest.main()
