"""Web servers and proxies of others take what is posted whole, encrypted and with a login, and refuse it in
their own ways."""
import re
import unittest
import xml.etree.ElementTree

import certificates
import harness
import peers

SECRET = "correct-horse-7"  # in the characters that both proxies take
REFUSED = "the login in its settings is refused there"
# A proxy, and what it says to a wrong login.
PROXIES = {name: (kind, words) for name, kind, words, is_there in (
    ("squid", peers.Squid, f"HTTP status 407: {REFUSED}", not peers.why_not_unpacked("squid")),
    ("tinyproxy", peers.Tinyproxy, f"HTTP status 401: {REFUSED}", peers.TINYPROXY),
) if is_there}


@unittest.skipUnless(peers.NGINX, "nginx is not installed")
class HttpPeers(harness.EndToEnd):
    def setUp(self):
        super().setUp()
        self.authority = certificates.Authority(self.folder)
        self.servers = self.folder / "servers"
        self.servers.mkdir()

    def start_peer(self, kind, *arguments, **options):
        peer = kind(self.folder, *arguments, **options)
        self.addCleanup(peer.close)
        return peer

    def start_nginx(self, **options):
        return self.start_peer(peers.Nginx, *self.authority.files(), **options)

    def start_switch(self, url, *lines, name="service", options=()):
        service = self.start_service("--authorities", self.authority.certificate,
                                     "--server-settings", self.servers, "--first-retry", "1", *options, name=name)
        self.configure_http(service, url, *lines)
        return service

    def sent(self, service, number=1):
        shown = self.shell(service, f"show callhome message {number}").stdout
        return shown.split("\n\nReceiver  ")[0].rstrip()

    def assert_posted(self, service, nginx, number=1):
        body, words = nginx.post()
        self.assertEqual(body.decode().rstrip(), self.sent(service, number))
        found = re.fullmatch(r'TLSv1\.[23] 204 \\"(\S+)\\" application/xml; charset=utf-8', words)
        self.assertIsNotNone(found, words)
        xml.etree.ElementTree.fromstring(body)
        return found[1]

    def settings(self, *lines):
        file = self.servers / "127.0.0.1.proxy"
        file.write_text("".join(f"{line}\n" for line in lines))
        file.chmod(0o600)

    def through(self, proxy, nginx, name="service", scheme="https", options=()):
        port = nginx.port if scheme == "https" else nginx.plain_port
        return self.start_switch(f"{scheme}://127.0.0.1:{port}/in",
                                 f"transport http proxy server 127.0.0.1 port {proxy.port}",
                                 "transport http proxy enable", name=name, options=options)

    def test_nginx_has_the_body_whole_and_encrypted_and_each_message_a_key_of_its_own(self):
        nginx = self.start_nginx()
        service = self.start_switch(f"https://127.0.0.1:{nginx.port}/in?site=3")
        keys = []
        for number in (1, 2):
            self.assertIn("Successfully sent", self.shell(service, "callhome test").stdout)
            keys.append(self.assert_posted(service, nginx, number))
        self.assertNotEqual(*keys)

    def test_nginx_refuses_for_good_and_nothing_is_tried_again(self):
        nginx = self.start_nginx(most="600")
        for path, status in (("/refused", 403), ("/in", 413)):
            with self.subTest(status):
                service = self.start_switch(f"https://127.0.0.1:{nginx.port}{path}", name=f"service-{status}")
                done = self.shell(service, "callhome test", check=False)
                self.assertIn(f"HTTP status {status}; it will not be tried again", done.stdout)
                self.assertIn("Nothing waits to be sent.", self.shell(service, "show callhome queue").stdout)
                self.assertIn(f" {status} ", nginx.post()[1])

    def test_nginx_that_was_down_gets_the_message_with_the_key_of_the_first_try(self):
        nginx = self.start_nginx()
        service = self.start_switch(f"https://127.0.0.1:{nginx.port}/in")
        nginx.stop()
        done = self.shell(service, "callhome test", check=False)
        self.assertRegex(done.stdout, "Couldn't connect to server; it stays in the queue")
        nginx.run()
        self.assert_posted(service, nginx)

    def test_a_proxy_lets_through_with_the_right_login_and_the_receiver_has_the_message_whole(self):
        for name, (kind, _) in PROXIES.items():
            with self.subTest(name):
                nginx = self.start_nginx()
                proxy = self.start_peer(kind, "switch17", SECRET)
                self.settings("user switch17", f"secret {SECRET}")
                service = self.through(proxy, nginx, f"service-{name}")
                for number in (1, 2, 3):  # over the way that is open
                    done = self.shell(service, "callhome test")
                    self.assertIn(f"through the proxy 127.0.0.1:{proxy.port}\n", done.stdout)
                    self.assert_posted(service, nginx, number)
                self.assertNotIn(SECRET, service.log.read_text() + done.stdout)

    def test_a_proxy_that_wants_a_login_keeps_the_message_until_it_has_the_right_one(self):
        for name, (kind, refused) in PROXIES.items():
            for scheme in ("http", "https"):
                with self.subTest(f"{name}, {scheme}"):
                    self.knock_at(kind, refused, scheme, f"service-{name}-{scheme}")

    def knock_at(self, kind, refused, scheme, name):
        nginx = self.start_nginx()
        proxy = self.start_peer(kind, "switch17", "horse-1")
        (self.servers / "127.0.0.1.proxy").unlink(missing_ok=True)
        service = self.through(proxy, nginx, name, scheme)
        answer = f"the proxy 127.0.0.1:{proxy.port}: {{}}"
        done = self.shell(service, "callhome test", check=False)
        self.assertIn(answer.format("HTTP status 407: a login is wanted there"), done.stdout)
        self.settings("user switch17", "secret horse-2")
        done = self.shell(service, "callhome test", check=False)
        self.assertIn(answer.format(refused), done.stdout)
        self.assertIn("it stays in the queue", done.stdout)
        queue = self.shell(service, "show callhome queue").stdout
        self.assertEqual(queue.count("HTTP status 40"), 2, queue)
        self.settings("user switch17", "secret horse-1")
        bodies = {nginx.post()[0].decode().rstrip() for _ in range(2)}
        self.assertEqual(bodies, {self.sent(service, number) for number in (1, 2)})

    def test_what_hangs_gets_the_message_when_it_goes_on(self):
        nginx = self.start_nginx()
        service = self.start_switch(f"https://127.0.0.1:{nginx.port}/in", options=("--transfer-limit", "1"))
        self.hang_and_go_on(nginx, nginx, service)
        for name, (kind, _) in PROXIES.items():
            with self.subTest(name):
                proxy = self.start_peer(kind, "switch17", SECRET)
                self.settings("user switch17", f"secret {SECRET}")
                self.hang_and_go_on(proxy, nginx, self.through(proxy, nginx, f"service-{name}",
                                                               options=("--transfer-limit", "1")))

    def hang_and_go_on(self, hanging, nginx, service):
        hanging.freeze()
        done = self.shell(service, "callhome test", check=False)
        self.assertRegex(done.stdout, "timed out after .*; it stays in the queue")
        hanging.thaw()
        self.assert_posted(service, nginx)

    def test_nginx_whose_certificate_is_not_believed_gets_the_message_when_it_has_a_good_one(self):
        nginx = self.start_nginx()
        stranger = certificates.Authority(self.folder, "stranger")
        for name, files, words in (
            ("expired", self.authority.files(days=-1), "certificate has expired"),
            ("wrong", self.authority.files("DNS:other.example.net"), "matches target host name '127.0.0.1'"),
            ("untrusted", stranger.files(), "unable to get local issuer certificate"),
        ):
            with self.subTest(name):
                nginx.certify(*files)
                nginx.restart()
                service = self.start_switch(f"https://127.0.0.1:{nginx.port}/in", name=f"service-{name}")
                done = self.shell(service, "callhome test", check=False)
                self.assertRegex(done.stdout, f"its certificate is not accepted: .*{words}.*; it stays in ")
                nginx.certify(*self.authority.files())
                nginx.restart()
                self.assert_posted(service, nginx)

    def test_behind_a_proxy_a_receiver_that_is_down_is_not_lost(self):
        for name, (kind, _) in PROXIES.items():
            with self.subTest(name):
                nginx = self.start_nginx()
                nginx.stop()
                proxy = self.start_peer(kind, "switch17", "horse-1")
                self.settings("user switch17", "secret horse-1")
                service = self.through(proxy, nginx, f"service-{name}")
                done = self.shell(service, "callhome test", check=False)
                self.assertRegex(done.stdout, rf"the proxy 127\.0\.0\.1:{proxy.port}: HTTP status 50[0-9]; "
                                              "it stays in the queue")
                nginx.run()
                self.assert_posted(service, nginx)


if __name__ == "__main__":
    unittest.main()
