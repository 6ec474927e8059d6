"""Clients that send garbage, halves, floods, or go away: it costs them their own connection, nobody
else's, and the service stays as it was."""
import random
import socket
import unittest

import harness
import wire

SEED = 7


class HostileClients(harness.EndToEnd):
    def setUp(self):
        super().setUp()
        self.service = self.start_service()
        self.before = wire.configuration(self.service.socket)

    def tearDown(self):
        self.assertIsNone(self.service.process.poll(), "the service has ended")
        self.assertEqual(wire.configuration(self.service.socket), self.before)

    def send(self, content):
        """Sends bytes on a connection of their own and reads until the service closes it."""
        with wire.Connection(self.service.socket) as link:
            try:
                link.socket.sendall(content)
                link.socket.shutdown(socket.SHUT_WR)
                while link.socket.recv(65536):
                    pass
            except (ConnectionError, BrokenPipeError):
                pass

    def test_garbage(self):
        chance = random.Random(SEED)
        for _ in range(300):
            self.send(chance.randbytes(chance.randrange(1, 5000)))

    def test_headers_with_one_word_wrong(self):
        for words in ({"magic": 0}, {"version": 2}, {"kind": wire.REPLY}, {"kind": 9}, {"status": 1}):
            with self.subTest(**words):
                self.send(wire.header(wire.FEATURE, wire.SET, 5, **words) + wire.SWITCH_RECORD.pack(1, 0))

    def test_a_length_beyond_the_limit_is_never_waited_for(self):
        for length in (6, 1 << 24, (1 << 24) + 1, 0xFFFFFFFF):
            with self.subTest(length=length), wire.Connection(self.service.socket) as link:
                link.socket.sendall(wire.header(wire.TRAPS, wire.SET, length))
                try:
                    status, _ = link.read_reply()
                    self.assertEqual(status, wire.MALFORMED)
                    self.assertEqual(link.socket.recv(1), b"")
                except ConnectionError:
                    pass  # closed at once is right, too

    def test_records_of_every_wrong_length(self):
        for length in [*range(0, 5), 6]:
            with self.subTest(length=length), wire.Connection(self.service.socket) as link:
                status, _ = link.exchange(wire.TRAPS, wire.SET, b"\0\0\0\1\0\0"[:length])
                self.assertEqual(status, wire.MALFORMED)

    def test_a_text_without_its_end(self):
        with wire.Connection(self.service.socket) as link:
            body = wire.CONTACT_RECORD.pack(b"siteId", b"x" * 2048, 0)
            self.assertEqual(link.exchange(wire.CONTACT, wire.SET, body)[0], wire.MALFORMED)

    def test_every_opcode_and_operation_answers_something(self):
        for opcode in [*range(2150, 2200), 0, 0xFFFFFFFF, *range(0x4C400, 0x4C410), *range(0x4C47F, 0x4C485)]:
            for operation in (0, 7, 0xFFFFFFFF):
                with wire.Connection(self.service.socket) as link:
                    status, _ = link.exchange(opcode, operation, b"")
                    self.assertEqual(status, wire.MALFORMED, (opcode, operation))

    def test_a_client_that_goes_away_at_every_byte(self):
        frame = wire.header(wire.TRAPS, wire.GET, 5) + wire.SWITCH_RECORD.pack(0, 0)
        for count in range(len(frame) + 1):
            with wire.Connection(self.service.socket) as link:
                link.socket.sendall(frame[:count])

    def test_a_flood_of_connections_is_refused_with_words(self):
        held = [wire.Connection(self.service.socket) for _ in range(32)]
        for link in held:  # an answered request says that the connection was taken up
            link.exchange(wire.FEATURE, wire.GET, wire.SWITCH_RECORD.pack(0, 0))
        try:
            with wire.Connection(self.service.socket) as one_more:
                self.assertEqual(one_more.read_reply()[0], wire.TOO_MANY_CONNECTIONS)
            refused = self.shell(self.service, "show callhome transport-email", check=False)
            self.assertNotEqual(refused.returncode, 0)
        finally:
            for link in held:
                link.socket.close()

    def test_many_requests_in_one_piece_are_answered_in_order(self):
        frame = wire.header(wire.CONTACT, wire.GET, wire.CONTACT_RECORD.size)
        with wire.Connection(self.service.socket) as link:
            names = ["priority", "siteId"] * 10
            for name in names:
                link.socket.sendall(frame + wire.CONTACT_RECORD.pack(name.encode(), b"", 0))
            statuses = [link.read_reply()[0] for _ in names]
        self.assertEqual(statuses, [wire.OK, wire.NOT_FOUND] * 10)


if __name__ == "__main__":
    unittest.main()
