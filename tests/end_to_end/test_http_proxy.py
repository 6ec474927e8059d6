"""Messages by HTTP through a proxy that is not ours: what the receiver gets, and what the operator is told
when the proxy does not let them through."""
import http.server
import shutil
import subprocess
import threading
import unittest
import xml.etree.ElementTree

import harness

TINYPROXY = shutil.which("tinyproxy", path="/usr/bin:/usr/sbin:/usr/local/bin")


class Collector:
    """A web server that keeps what is posted to it: path, headers, body."""

    def __init__(self):
        posts = self.posts = []

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_POST(self):
                body = self.rfile.read(int(self.headers["Content-Length"]))
                posts.append((self.path, self.headers, body))
                self.send_response(200)
                self.send_header("Content-Length", "0")
                self.end_headers()

            def log_message(self, *arguments):
                pass

        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self.port = self.server.server_address[1]
        self.thread = threading.Thread(target=self.server.serve_forever)
        self.thread.start()

    def close(self):
        self.server.shutdown()
        self.thread.join()
        self.server.server_close()


class Proxy:
    """tinyproxy with the given lines in its configuration."""

    def __init__(self, folder, *lines):
        self.port = harness.free_port()
        self.log = folder / "tinyproxy.log"
        configuration = folder / "tinyproxy.conf"
        configuration.write_text("\n".join((
            f"Port {self.port}", "Listen 127.0.0.1", "Allow 127.0.0.1", "Timeout 20", "MaxClients 10",
            f'LogFile "{self.log}"', "LogLevel Connect", 'ViaProxyName "between"', *lines, "",
        )))
        self.process = subprocess.Popen(
            [TINYPROXY, "-d", "-c", configuration], stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
        )
        harness.wait_until_it_listens(self.process, self.port)

    def close(self):
        self.process.terminate()
        self.process.wait(harness.LIMIT)


@unittest.skipUnless(TINYPROXY, "tinyproxy is not installed")
class HttpProxy(harness.EndToEnd):
    def setUp(self):
        super().setUp()
        self.collector = Collector()
        self.addCleanup(self.collector.close)

    def start_proxy(self, *lines):
        proxy = Proxy(self.folder, *lines)
        self.addCleanup(proxy.close)
        return proxy

    def configured_service(self, proxy, url):
        service = self.start_service()
        self.shell(
            service, "configure terminal", "snmp-server contact Ada Marlowe", "callhome",
            "email-contact ada@example.net", "destination-profile ops format XML",
            f"destination-profile ops http {url}", "destination-profile ops transport-method http",
            "no destination-profile ops transport-method email",
            f"transport http proxy server 127.0.0.1 port {proxy.port}", "transport http proxy enable",
            "enable",
        )
        return service

    def address(self):
        return f"http://127.0.0.1:{self.collector.port}/in?site=3"

    def test_a_message_goes_through_the_proxy_and_arrives_whole(self):
        proxy = self.start_proxy()
        service = self.configured_service(proxy, self.address())
        done = self.shell(service, "callhome test")
        self.assertIn(f"through the proxy 127.0.0.1:{proxy.port}", done.stdout)
        ((path, headers, body),) = self.collector.posts
        self.assertEqual(path, "/in?site=3")
        self.assertIn("between", headers["Via"])
        self.assertEqual(headers["Content-Type"], "application/xml; charset=utf-8")
        xml.etree.ElementTree.fromstring(body)

    def test_a_proxy_that_is_switched_off_is_not_asked(self):
        proxy = self.start_proxy()
        service = self.configured_service(proxy, self.address())
        self.shell(service, "configure terminal", "callhome", "no transport http proxy enable")
        self.shell(service, "callhome test")
        ((_, headers, _),) = self.collector.posts
        self.assertIsNone(headers["Via"])

    def test_a_proxy_that_wants_a_login_keeps_the_message_in_the_queue(self):
        proxy = self.start_proxy("BasicAuth somebody secret")
        service = self.configured_service(proxy, self.address())
        done = self.shell(service, "callhome test", check=False)
        self.assertEqual(done.returncode, 1)
        self.assertIn(f"the proxy 127.0.0.1:{proxy.port}: HTTP status 407: a login is wanted there",
                      done.stdout)
        self.assertIn("HTTP status 407", self.shell(service, "show callhome queue").stdout)
        self.assertEqual(self.collector.posts, [])

    def test_a_way_that_the_proxy_does_not_open_keeps_the_message_in_the_queue(self):
        proxy = self.start_proxy("ConnectPort 443")
        service = self.configured_service(proxy, f"https://127.0.0.1:{self.collector.port}/in")
        done = self.shell(service, "callhome test", check=False)
        self.assertEqual(done.returncode, 1)
        self.assertRegex(done.stdout, rf"the proxy 127\.0\.0\.1:{proxy.port}: HTTP status 403; it stays in")

    def test_behind_an_open_way_it_is_not_the_proxy_that_fails(self):
        proxy = self.start_proxy()
        service = self.configured_service(proxy, f"https://127.0.0.1:{self.collector.port}/in")
        done = self.shell(service, "callhome test", check=False)
        self.assertEqual(done.returncode, 1)
        self.assertIn("CONNECT", proxy.log.read_text())
        self.assertNotIn("the proxy", done.stdout)


if __name__ == "__main__":
    unittest.main()
