"""A mail server and an HTTP receiver that keep who got what: each message carries a marker in its text."""
import asyncio
import collections
import re
import time

import harness
import wire

MARKER = re.compile(rb"event-[a-z0-9]+-[0-9]+-end")


def marker_of(name, number):
    return f"event-{name}-{number}-end"


class Receivers(harness.MailServer):
    """Both on one event loop. `is_refused` is asked for each try, by the delivery's identity."""

    def __init__(self, is_refused=lambda identity: False):
        self.is_refused = is_refused
        self.life = 0  # of the service: counts how often it ended
        self.arrivals = collections.defaultdict(list)  # (marker, receiver): [(life, identity, content)]
        super().__init__(DATA=self.take_mail)
        self.http = asyncio.run_coroutine_threadsafe(
            asyncio.start_server(self.serve_http, "127.0.0.1", 0), self.loop).result(harness.LIMIT)
        self.http_port = self.http.sockets[0].getsockname()[1]
        self.url = f"http://127.0.0.1:{self.http_port}/in"

    def take(self, receiver, identity, content):
        """False when it is to be tried again."""
        if self.is_refused(identity):
            return False
        marker = MARKER.search(content).group().decode()
        self.arrivals[marker, receiver].append((self.life, identity, content))
        return True

    def take_mail(self, envelope):
        [receiver] = envelope.rcpt_tos
        message_id = re.search(rb"(?im)^Message-ID:\s*(\S+)", envelope.content).group(1)
        taken = self.take(receiver, (message_id, receiver), envelope.content)
        return "250 2.0.0 kept" if taken else "451 4.3.0 try again"

    async def serve_http(self, reader, writer):
        try:
            while True:
                head = await reader.readuntil(b"\r\n\r\n")
                fields = {name.lower(): value
                          for name, value in re.findall(rb"(?m)^([^:\r\n]+): *(.*?)\r$", head)}
                body = await reader.readexactly(int(fields[b"content-length"]))
                taken = self.take(self.url, fields[b"idempotency-key"], body)
                writer.write(b"HTTP/1.1 %s\r\nContent-Length: 0\r\n\r\n" %
                             (b"200 OK" if taken else b"503 Service Unavailable"))
                await writer.drain()
        except (asyncio.IncompleteReadError, ConnectionError):
            pass  # the service has closed the connection, or was killed
        finally:
            writer.close()

    def next_life(self):
        """After the end of the service: what still comes from it is handled before it starts again."""
        async def all_handled():
            # Connections are accepted in order: behind these two, none of that service waits.
            for port, last_words in ((self.port, b"QUIT\r\n"), (self.http_port, b"")):
                reader, writer = await asyncio.open_connection("127.0.0.1", port)
                writer.write(last_words)
                writer.write_eof()
                await reader.read()
                writer.close()
                await writer.wait_closed()
            while len(asyncio.all_tasks()) > 1:
                await asyncio.sleep(0.001)

        asyncio.run_coroutine_threadsafe(all_handled(), self.loop).result(harness.LIMIT)
        self.life += 1

    def close(self):
        if not self.loop.is_closed():
            self.loop.call_soon_threadsafe(self.http.close)
        super().close()

    def check(self, test, marker, receiver, where):
        """That a message came as one and the same, at most once in a life; gives the number of duplicates."""
        arrivals = self.arrivals.get((marker, receiver), [])
        where = f"{marker} at {receiver}: {where}"
        test.assertLessEqual(len({(identity, content) for _, identity, content in arrivals}), 1, where)
        lives = [life for life, _, _ in arrivals]
        test.assertEqual(len(lives), len(set(lives)), f"{where}: twice in one life, {lives}")
        return max(0, len(arrivals) - 1)

    def check_identities(self, test):
        """That no two deliveries share one."""
        owners = collections.defaultdict(set)
        for place, arrivals in self.arrivals.items():
            for _, identity, _ in arrivals:
                owners[identity].add(place)
        test.assertEqual([places for places in owners.values() if len(places) > 1], [])


WAITING = 1  # the state of a delivery
MAILBOXES = ("one@example.net", "two@example.net")


def configure(test, service, mail_port, url):
    """Profiles that take everything: one by mail, with two receivers, and one by HTTP."""
    test.configure(
        service, mail_port, "no destination-profile ops email-addr ops@example.net",
        *(f"destination-profile ops email-addr {address}" for address in MAILBOXES),
        "destination-profile ops alert-group all", "destination-profile web format XML",
        f"destination-profile web http {url}", "destination-profile web alert-group all",
        "destination-profile web transport-method http", "no destination-profile web transport-method email")


def is_anything_waiting(service):
    with wire.Connection(service.socket, harness.LIMIT) as link:
        status, _ = link.exchange(wire.DELIVERY_LOG, wire.GET_NEXT,
                                  wire.DELIVERY_LOG_RECORD.pack(0, 0, WAITING, 0, 0, 0, b"", b"", b""))
        assert status in (wire.OK, wire.NO_FURTHER), hex(status)
        return status == wire.OK


def wait_until_nothing_waits(test, service):
    end = time.monotonic() + harness.LIMIT
    while is_anything_waiting(service):
        test.assertLess(time.monotonic(), end, test.shell(service, "show callhome queue").stdout)
        time.sleep(0.02)
