"""Receivers by HTTP and HTTPS that answer in every way: what they get, and what the operator is told."""
import base64
import http.server
import socketserver
import threading
import unittest

import certificates
import harness

WITHOUT_A_SECOND_TRY = ("--first-retry", "600")  # seconds: none comes within a test


class Collector:
    """A web server that keeps what is posted and answers as `answer(handler, number)` does."""

    def __init__(self, answer, context=None):
        posts = self.posts = []
        seen = self.seen = threading.Condition()

        class Handler(http.server.BaseHTTPRequestHandler):
            protocol_version = "HTTP/1.1"

            def do_POST(self):
                body = self.rfile.read(int(self.headers["Content-Length"]))
                with seen:
                    posts.append((self.path, self.headers, body))
                    number = len(posts)
                    seen.notify_all()
                answer(self, number)

            def log_message(self, *arguments):
                pass

        class Server(socketserver.ThreadingMixIn, http.server.HTTPServer):
            daemon_threads = True

            def handle_error(self, request, client_address):
                pass  # a peer that leaves is what some tests are about

        self.server = Server(("127.0.0.1", 0), Handler)
        if context is not None:
            self.server.socket = context.wrap_socket(self.server.socket, server_side=True)
        self.port = self.server.server_address[1]
        self.thread = threading.Thread(target=self.server.serve_forever)
        self.thread.start()

    def wait(self, count):
        with self.seen:
            assert self.seen.wait_for(lambda: len(self.posts) >= count, harness.LIMIT), "nothing was posted"

    def close(self):
        self.server.shutdown()
        self.thread.join()
        self.server.server_close()


def status(code, **headers):
    def answer(handler, number):
        handler.send_response(code)
        for name, value in {"Content-Length": "0", **headers}.items():
            handler.send_header(name, value)
        handler.end_headers()
    return answer


def endless(handler, number):
    handler.send_response(200)
    handler.end_headers()
    while True:
        handler.wfile.write(b"x" * 65536)


class HttpDelivery(harness.EndToEnd):
    services = 0

    def collector(self, answer, context=None):
        collector = Collector(answer, context)
        self.addCleanup(collector.close)
        return collector

    def configured(self, url, *lines, options=WITHOUT_A_SECOND_TRY, format="XML"):
        """Each time a service of its own, so that the parts of a test do not meet."""
        self.services += 1
        service = self.start_service(*options, name=f"service-{self.services}")
        self.configure_http(service, url, *lines, format=format)
        return service

    def send_to(self, collector, scheme="http", options=WITHOUT_A_SECOND_TRY, format="XML"):
        url = f"{scheme}://127.0.0.1:{collector.port}/in"
        self.service = self.configured(url, options=options, format=format)
        return self.shell(self.service, "callhome test", check=False)

    def queue(self):
        return self.shell(self.service, "show callhome queue").stdout

    def assert_delivered(self, done):
        self.assertEqual(done.returncode, 0, done.stdout)
        self.assertIn("Successfully sent", done.stdout)
        self.assertNotIn("/in", self.queue())

    def assert_kept(self, done, reason):
        self.assertEqual(done.returncode, 1, done.stdout)
        self.assertIn(reason, done.stdout)
        self.assertIn("it stays in the queue", done.stdout)
        self.assertIn("/in", self.queue())

    def assert_final(self, done, reason):
        self.assertEqual(done.returncode, 1, done.stdout)
        self.assertIn(reason, done.stdout)
        self.assertIn("it will not be tried again", done.stdout)
        self.assertNotIn("/in", self.queue())

    def test_success_is_any_status_of_two_hundred(self):
        for code in (200, 201, 204):
            with self.subTest(code):
                self.assert_delivered(self.send_to_once(status(code)))

    def send_to_once(self, answer):
        collector = self.collector(answer)
        done = self.send_to(collector, format="short-txt")
        self.assertEqual(len(collector.posts), 1)
        self.assertEqual(collector.posts[0][1]["Content-Type"], "text/plain; charset=utf-8")
        return done

    def test_refusals_and_redirections_are_final(self):
        for code, headers in ((400, {}), (404, {}), (413, {}), (301, {"Location": "/elsewhere"}),
                              (307, {"Location": "http://127.0.0.1:1/"})):
            with self.subTest(code):
                self.assert_final(self.send_to_once(status(code, **headers)), f"HTTP status {code}")

    def test_troubles_of_the_receiver_are_tried_again(self):
        for code in (408, 429, 500, 503):
            with self.subTest(code):
                self.assert_kept(self.send_to_once(status(code)), f"HTTP status {code}")

    def test_the_key_stays_the_same_with_each_try_and_across_a_kill(self):
        def answer(handler, number):
            status(503 if number < 3 else 200)(handler, number)

        collector = self.collector(answer)
        done = self.send_to(collector, options=("--first-retry", "1"))
        self.assert_kept(done, "HTTP status 503")
        self.service.kill()
        self.service.start()
        collector.wait(3)
        keys = {headers["Idempotency-Key"] for _, headers, _ in collector.posts}
        self.assertEqual(len(keys), 1, keys)
        self.assertEqual(len({body for _, _, body in collector.posts}), 1)
        self.shell(self.service, "callhome test")
        collector.wait(4)
        self.assertNotIn(collector.posts[3][1]["Idempotency-Key"], keys)

    def test_an_endless_answer_ends_at_a_limit_and_its_status_counts(self):
        self.assert_delivered(self.send_to(self.collector(endless)))

    def test_a_certificate_is_checked(self):
        authority = certificates.Authority(self.folder)
        stranger = certificates.Authority(self.folder, "stranger")
        trusting = (*WITHOUT_A_SECOND_TRY, "--authorities", str(authority.certificate))
        good = self.collector(status(200), authority.context())
        self.assert_delivered(self.send_to(good, "https", trusting))
        for context, reason in (
            (authority.context(days=-1), "certificate has expired"),
            (authority.context("DNS:other.example.net"), "matches target host name '127.0.0.1'"),
            (stranger.context(), "unable to get local issuer certificate"),
        ):
            with self.subTest(reason):
                bad = self.collector(status(200), context)
                done = self.send_to(bad, "https", trusting)
                self.assert_kept(done, "its certificate is not accepted: ")
                self.assertIn(reason, done.stdout)
                self.assertEqual(bad.posts, [])

    def through_proxy(self, proxy, settings=None):
        servers = self.folder / "servers"
        servers.mkdir(exist_ok=True)
        if settings is not None:
            file = servers / "127.0.0.1.proxy"
            file.write_text(settings)
            file.chmod(0o600)
        self.service = self.configured(
            "http://collector.example.net/in", f"transport http proxy server 127.0.0.1 port {proxy.port}",
            "transport http proxy enable",
            options=(*WITHOUT_A_SECOND_TRY, "--server-settings", str(servers)),
        )
        return self.shell(self.service, "callhome test", check=False)

    def test_a_proxy_that_wants_a_login_is_no_receiver(self):
        proxy = self.collector(status(407, **{"Proxy-Authenticate": 'Basic realm="x"'}))
        self.assert_kept(self.through_proxy(proxy), "HTTP status 407: a login is wanted there")

    def test_a_proxy_gets_the_login_in_its_file(self):
        expected = "Basic " + base64.b64encode(b"switch17:correct horse").decode()

        def answer(handler, number):
            good = handler.headers["Proxy-Authorization"] == expected
            status(200 if good else 407)(handler, number)

        proxy = self.collector(answer)
        done = self.through_proxy(proxy, "user switch17\nsecret correct horse\n")
        self.assert_delivered(done)
        self.assertNotIn("correct horse", self.service.log.read_text() + done.stdout)

    def test_a_login_that_the_proxy_refuses_is_told(self):
        proxy = self.collector(status(407))
        self.assert_kept(self.through_proxy(proxy, "user switch17\nsecret wrong\n"),
                         "HTTP status 407: the login in its settings is refused there")

    def test_a_receiver_that_hangs_delays_neither_mail_nor_shell(self):
        hang = threading.Event()
        self.addCleanup(hang.set)

        def keep_waiting(handler, number):
            hang.wait(harness.LIMIT)
            handler.close_connection = True

        slow = self.collector(keep_waiting)
        mail = self.start_mail_server()
        service = self.start_service("--transfer-limit", "50")
        self.configure(service, mail.port, "destination-profile web format XML", *(
            f"destination-profile web http http://127.0.0.1:{slow.port}/{i}" for i in range(20)
        ), "destination-profile web transport-method http", "no destination-profile web transport-method email")
        waiting = threading.Thread(target=self.shell, args=(service, "callhome test"), kwargs={"check": False})
        waiting.start()
        self.addCleanup(waiting.join)
        self.addCleanup(hang.set)
        mail.wait(lambda server: len(server.mails) == 1)
        self.assertIn("from email addr:", self.shell(service, "show callhome transport-email").stdout)
        self.assertLessEqual(len(slow.posts), 4)


if __name__ == "__main__":
    unittest.main()
