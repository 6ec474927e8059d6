"""Web servers and proxies that fail at each step of a post, in each way: the operator reads what happened,
what was counted is what the server saw, nothing is lost, and nothing goes past the proxy or to who is not
believed."""
import dataclasses
import re
import unittest

import failing
import harness
import scripted
from scripted import CLOSE, ENDLESS, HANG, LOST, RESET

TIMED_OUT = r"timed out after|[Tt]imeout"
BROKEN = r"Connection reset by peer"
EMPTY = r"Empty reply from server"


def answer(status, *headers, body=""):
    return "\r\n".join((f"HTTP/1.1 {status}", f"Content-Length: {len(body)}", *headers, "", body))


BEGUN_FAILURE = answer("503 Service Unavailable", body="half of it")[:-4]
BEGUN_SUCCESS = answer("202 Accepted", body="half of it")[:-4]
LOGIN_AT_PROXY = answer("407 Proxy Authentication Required", 'Proxy-Authenticate: Basic realm="x"')
CERTIFIED = "its certificate is not accepted: .*"


@dataclasses.dataclass
class Case:
    """What goes wrong at which step, and the words for it."""

    step: str
    fault: str
    words: str
    encrypted: bool = False
    kept_as_well: bool = False  # the server has the message when the sender cannot know
    certificate: dict = None  # how the server's certificate is wrong
    begun: str = ""  # at the step "rest": the answer up to there

    @property
    def options(self):
        return failing.GIVE_UP_SOON if self.fault in (HANG, ENDLESS) else ()


WAITING = {
    "hangs before it reads": Case("connect", HANG, TIMED_OUT),
    "hangs in the handshake": Case("handshake", HANG, TIMED_OUT, encrypted=True),
    "hangs within the message": Case("body", HANG, TIMED_OUT),
    "hangs before it answers": Case("answer", HANG, TIMED_OUT),
    "hangs within the first line": Case("rest", HANG, TIMED_OUT, kept_as_well=True,
                                         begun="HTTP/1.1 20"),
    "hangs within the head": Case("rest", HANG, TIMED_OUT, kept_as_well=True,
                                  begun="HTTP/1.1 200 OK\r\nX-Slow: ye"),
    "breaks off before it reads": Case("connect", RESET, f"{BROKEN}|Couldn't connect"),
    "breaks off in the handshake": Case("handshake", RESET, BROKEN, encrypted=True),
    "breaks off within the message": Case("body", RESET, BROKEN),
    "breaks off before it answers": Case("answer", RESET, BROKEN),
    "closes before it answers": Case("answer", CLOSE, EMPTY),
    "is lost when it has the message": Case("answer", LOST, BROKEN, kept_as_well=True),
    "answers in another protocol": Case("answer", "220 peer.example ESMTP\r\n", "HTTP/0.9"),
    "never comes to its answer": Case("answer", ENDLESS, "the head of its answer is too long|" + TIMED_OUT),
    "speaks no TLS": Case("connect", answer("400 Bad Request"), "wrong version number", encrypted=True),
    "is busy": Case("answer", answer("503 Service Unavailable", "Retry-After: 1"), "HTTP status 503"),
    "breaks off within its words of failure": Case("rest", RESET, "HTTP status 503", begun=BEGUN_FAILURE),
    "has trouble": Case("answer", answer("500 Internal Server Error", body="<h1>oh</h1>"), "HTTP status 500"),
    "wants fewer messages": Case("answer", answer("429 Too Many Requests"), "HTTP status 429"),
    "lost patience": Case("answer", answer("408 Request Timeout"), "HTTP status 408"),
    "shows an expired certificate": Case("handshake", "", CERTIFIED + "expired", True,
                                         certificate={"days": -1}),
    "shows the certificate of another host": Case("handshake", "",
                                                  CERTIFIED + "host name '127.0.0.1'", True,
                                                  certificate={"names": "DNS:other.example.net"}),
    "shows a certificate of somebody unknown": Case("handshake", "",
                                                    CERTIFIED + "local issuer certificate",
                                                    True, certificate={"by": "stranger"}),
}

FINAL = {
    f"refuses with {status[:3]}": Case("answer", answer(status, *headers), f"HTTP status {status[:3]}")
    for status, *headers in (("400 Bad Request",), ("401 Unauthorized", 'WWW-Authenticate: Basic realm="x"'),
                             ("403 Forbidden",), ("404 Not Found",), ("410 Gone",), ("413 Too Large",),
                             ("415 Unsupported Media Type",), ("302 Found", "Location: /elsewhere"),
                             ("308 Permanent Redirect", "Location: http://127.0.0.1:1/"))
}

# Who has said that it has the message need not say more.
TAKEN = {
    "hangs within its words of success": Case("rest", HANG, "", begun=BEGUN_SUCCESS),
    "breaks off within its words of success": Case("rest", RESET, "", begun=BEGUN_SUCCESS),
}

# Of a proxy; with `encrypted`, the way to the receiver is one that the proxy opens.
PROXY = {
    "hangs": Case("connect", HANG, TIMED_OUT),
    "hangs when it shall open the way": Case("CONNECT", HANG, TIMED_OUT, encrypted=True),
    "breaks off": Case("connect", RESET, f"{BROKEN}|Couldn't connect"),
    "breaks off when it shall open the way": Case("CONNECT", RESET, BROKEN, encrypted=True),
    "closes": Case("connect", CLOSE, f"{EMPTY}|{BROKEN}"),
    "closes when it shall open the way": Case("CONNECT", CLOSE, "Proxy CONNECT aborted", encrypted=True),
    "wants a login": Case("answer", LOGIN_AT_PROXY, "HTTP status 407: a login is wanted there"),
    "wants a login to open the way": Case("CONNECT", LOGIN_AT_PROXY,
                                          "HTTP status 407: a login is wanted there", encrypted=True),
    "does not open the way": Case("CONNECT", answer("403 Forbidden"), "HTTP status 403", encrypted=True),
    "does not reach the receiver": Case("answer", answer("502 Bad Gateway"), "HTTP status 502"),
    "does not reach the receiver by its way": Case("CONNECT", answer("504 Gateway Timeout"),
                                                   "HTTP status 504", encrypted=True),
    "answers in another protocol": Case("CONNECT", "220 peer.example ESMTP\r\n\r\n", ".", encrypted=True),
}


def key_of(head):
    return re.search(r"(?im)^Idempotency-Key: *(\S+)\r$", head)[1]


class HttpPeerFailures(failing.Cases):
    def context_of(self, case):
        if not case.encrypted or case.step == "connect":
            return None
        return self.context_with(case.certificate or {})

    def faults_of(self, case):
        if case.step == "rest":
            return {"answer": case.begun, "rest": case.fault}
        return {case.step: case.fault} if case.fault else {}

    def start_peer(self, faults, context=None, port=0):
        peer = scripted.Web(faults, context, port)
        self.addCleanup(peer.close)
        return peer

    def start_case(self, name, url, *lines, options=()):
        service = self.start_service(*failing.RETRY_SOON, *options,
                                     "--authorities", self.authority.certificate, name=name)
        self.shell(
            service, "configure terminal", "snmp-server contact Ada Marlowe", "callhome",
            "email-contact ada@example.net", "destination-profile ops format XML",
            f"destination-profile ops http {url}", "destination-profile ops transport-method http",
            "no destination-profile ops transport-method email", *lines, "enable",
        )
        return service

    def url_of(self, case, port):
        return f"{'https' if case.encrypted else 'http'}://127.0.0.1:{port}/in"

    def assert_delivered_once(self, service, failed=0):
        self.assertEqual(self.settled_figures(service), {"waiting": 0, "sent": 1, "failed": failed})

    def play(self, name, case):
        peer = self.start_peer(self.faults_of(case), self.context_of(case))
        service = self.start_case(name, self.url_of(case, peer.port), options=case.options)
        done = self.shell(service, "callhome test", check=False)
        self.assert_waits(service, done, case.words, f":{peer.port}/in")
        self.assertEqual(len(peer.kept), int(case.kept_as_well))
        with peer.seen:  # the server becomes good
            peer.faults = {}
            peer.context = self.context if case.encrypted else None
            lost = len(peer.kept)
        peer.wait(lambda p: len(p.kept) > lost)
        self.assert_delivered_once(service)
        self.assertEqual(len({key_of(head) for head, _ in peer.kept}), 1)
        self.assertEqual(len({body for _, body in peer.kept}), 1)
        self.assertEqual(len(peer.kept), lost + 1)
        self.assertEqual(peer.connections, self.tries(service))
        if case.encrypted:
            self.assertEqual(peer.in_clear["body"], 0)

    def play_final(self, name, case):
        peer = self.start_peer(self.faults_of(case))
        service = self.start_case(name, self.url_of(case, peer.port), options=case.options)
        done = self.shell(service, "callhome test", check=False)
        self.assert_lost(service, done, case.words)
        self.assertEqual((self.tries(service), peer.connections), (1, 1))
        peer.heal()
        self.shell(service, "callhome test")
        self.assert_delivered_once(service, failed=1)
        self.assertEqual((len(peer.kept), peer.connections), (1, 2))

    def play_taken(self, name, case):
        peer = self.start_peer(self.faults_of(case))
        service = self.start_case(name, self.url_of(case, peer.port), options=case.options)
        self.assertIn("Successfully sent", self.shell(service, "callhome test").stdout)
        self.assert_delivered_once(service)
        self.assertEqual((len(peer.kept), peer.connections, self.tries(service)), (1, 1, 1))

    def play_proxy(self, name, case):
        """The proxy fails, the receiver behind it gets nothing past it; then another proxy is configured."""
        receiver = self.start_peer({}, self.context if case.encrypted else None)
        proxy = self.start_peer(self.faults_of(case))
        service = self.start_case(name, self.url_of(case, receiver.port),
                                  f"transport http proxy server 127.0.0.1 port {proxy.port}",
                                  "transport http proxy enable", options=case.options)
        done = self.shell(service, "callhome test", check=False)
        self.assert_waits(service, done, case.words, f":{receiver.port}/in")
        self.assertIn(f"the proxy 127.0.0.1:{proxy.port}: ", done.stdout)
        self.assertEqual((receiver.connections, len(proxy.kept)), (0, 0))
        self.shell(service, "configure terminal", "callhome", "no transport http proxy enable")
        receiver.wait(lambda r: r.kept)
        self.assert_delivered_once(service)
        self.assertEqual(receiver.connections, 1)
        self.assertEqual(proxy.connections + receiver.connections, self.tries(service))
        self.assertEqual(proxy.steps["body"] if case.encrypted else 0, 0)

    def play_unreachable(self, name, case):
        url, lines, words = case
        service = self.start_case(name, url, *lines, options=failing.GIVE_UP_SOON)
        done = self.shell(service, "callhome test", check=False)
        self.assert_waits(service, done, words, url)
        good = self.start_peer({}, port=int(url.split(":")[2].split("/")[0]))
        # Who is not at home where the name says so comes to where it is looked for.
        self.shell(service, "configure terminal", "callhome", "no transport http proxy enable")
        good.wait(lambda g: g.kept)
        self.assert_delivered_once(service)

    def test_a_server_that_fails_for_a_while_gets_the_message_in_the_end_and_once_if_it_can(self):
        self.play_all(WAITING)

    def test_a_refusal_is_final_and_the_next_message_is_sent_all_the_same(self):
        self.play_all(FINAL, self.play_final)

    def test_a_server_that_fails_after_it_has_said_yes_gets_no_second_post(self):
        self.play_all(TAKEN, self.play_taken)

    def test_a_proxy_that_fails_costs_no_message_and_is_not_passed_by(self):
        self.play_all(PROXY, self.play_proxy)

    def test_a_server_or_proxy_that_cannot_be_reached_costs_no_message(self):
        def proxy(host):
            port = harness.free_port()
            return (f"transport http proxy server {host} port {port}", "transport http proxy enable")

        def url():
            return f"http://127.0.0.1:{harness.free_port()}/in"

        refused = "Failed to connect|Couldn't connect"
        unknown = "Could not resolve (host|proxy)|Resolving timed out"
        self.play_all({
            "refuses connections": (url(), (), refused),
            "stands behind a proxy that refuses connections": (url(), proxy("127.0.0.1"), refused),
            "stands behind a proxy without a name": (url(), proxy("nowhere.invalid"), unknown),
        }, self.play_unreachable)

    def test_a_server_without_a_name_keeps_the_message_waiting(self):
        service = self.start_case("nameless", "http://nowhere.invalid/in", options=failing.GIVE_UP_SOON)
        done = self.shell(service, "callhome test", check=False)
        self.assert_waits(service, done, "Could not resolve host|Resolving timed out", "nowhere.invalid")


if __name__ == "__main__":
    unittest.main()
