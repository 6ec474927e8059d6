"""Connections over which one message goes after the other: encrypted as they began, with one login, and let go of
in good time. A server that ends them costs no try."""
import unittest

import failing
import scripted

SECRET = "correct horse 7"
RECEIVERS = 12  # of one message: each has a transfer of its own, on the four connections that a host may have
MOST_CONNECTIONS = 4


class LeavingMail(scripted.Mail):
    """Ends the connection with each mail that it has taken."""

    def take_content(self, link):
        super().take_content(link)
        raise scripted.Left


class KeptConnections(failing.Cases):
    def setUp(self):
        super().setUp()
        self.servers = self.folder / "servers"
        self.servers.mkdir()
        self.login("switch17", SECRET)

    def login(self, user, secret):
        file = self.servers / "127.0.0.1.mail"
        file.write_text(f"user {user}\nsecret {secret}\n")
        file.chmod(0o600)

    def start(self, peer, *options):
        self.addCleanup(peer.close)
        service = self.start_service("--server-settings", self.servers, "--authorities",
                                     self.authority.certificate, *options)
        self.configure(service, peer.port,
                       *(f"destination-profile ops email-addr r{number}@example.net"
                         for number in range(1, RECEIVERS)))
        return service

    def assert_all_delivered(self, service, peer, messages=1):
        count = messages * RECEIVERS
        self.assertEqual(self.settled_figures(service), {"waiting": 0, "sent": count, "failed": 0})
        self.assertEqual(len(peer.kept), count)
        self.assertEqual({step: peer.in_clear[step] for step in ("AUTH", "MAIL", "content")},
                         {"AUTH": 0, "MAIL": 0, "content": 0})

    def assert_each_tried_once(self, service):
        rows = [row.split() for row in self.shell(service, "show callhome message 1").stdout.splitlines()]
        tries = [row[2] for row in rows if len(row) > 2 and row[1] == "delivered" and "@" in row[0]]
        self.assertEqual(tries, ["1"] * RECEIVERS)

    def test_mails_that_come_together_share_greeting_encryption_and_login(self):
        peer = scripted.Mail(context=self.context, login=True)
        service = self.start(peer)
        self.shell(service, "callhome test")
        self.assert_all_delivered(service, peer)
        self.assertLessEqual(peer.connections, MOST_CONNECTIONS)
        self.assertEqual(peer.steps["AUTH"], peer.connections)
        self.assertEqual(peer.steps["STARTTLS"], peer.connections)
        self.assertEqual(peer.steps["MAIL"], RECEIVERS)

    def test_what_is_idle_is_let_go_of_with_a_goodbye(self):
        peer = scripted.Mail(context=self.context, login=True)
        service = self.start(peer)
        self.shell(service, "callhome test")
        peer.wait(lambda p: p.steps["QUIT"] == p.connections and not p.open)
        self.assert_all_delivered(service, peer)

    def test_the_end_of_the_service_says_goodbye(self):
        peer = scripted.Mail(context=self.context, login=True)
        service = self.start(peer)
        self.shell(service, "callhome test")
        service.stop()
        peer.wait(lambda p: p.steps["QUIT"] == p.connections and not p.open)

    def test_a_server_that_hangs_at_the_goodbye_holds_up_nothing(self):
        peer = scripted.Mail({"QUIT": scripted.HANG}, context=self.context, login=True)
        service = self.start(peer)
        self.shell(service, "callhome test")
        peer.wait(lambda p: p.steps["QUIT"] == p.connections and not p.open)
        self.assert_all_delivered(service, peer)

    def test_a_server_that_ends_each_connection_costs_no_try(self):
        peer = LeavingMail(context=self.context, login=True)
        service = self.start(peer)
        self.shell(service, "callhome test")
        self.assert_all_delivered(service, peer)
        self.assert_each_tried_once(service)
        self.assertEqual(peer.steps["AUTH"], peer.connections)
        self.assertNotIn("closed", service.log.read_text())

    def test_another_secret_is_a_new_login(self):
        peer = scripted.Mail(context=self.context, login=True)
        service = self.start(peer)
        self.shell(service, "callhome test")
        first = peer.connections
        self.login("switch17", SECRET + "8")
        self.shell(service, "callhome test")
        self.assert_all_delivered(service, peer, messages=2)
        self.assertGreater(peer.connections, first)
        self.assertEqual(peer.steps["AUTH"], peer.connections)

    def test_what_began_encrypted_does_not_go_on_in_the_clear(self):
        (self.servers / "127.0.0.1.mail").unlink()
        peer = LeavingMail(context=self.context)
        service = self.start(peer, *failing.RETRY_SOON)
        self.shell(service, "callhome test")
        self.assert_all_delivered(service, peer)
        peer.context = None
        done = self.shell(service, "callhome test", check=False)
        self.assertIn("it does not offer encryption (STARTTLS) any more", done.stdout)
        peer.context = self.context
        self.assert_all_delivered(service, peer, messages=2)


if __name__ == "__main__":
    unittest.main()
