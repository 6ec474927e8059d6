"""Mail servers of others take the mail whole, encrypted and with a login, and refuse it in their words."""
import email
import email.policy
import re
import unittest

import certificates
import harness
import peers

SECRET = 'correct "horse" 7%&$'


class MailPeers(harness.EndToEnd):
    def setUp(self):
        super().setUp()
        self.authority = certificates.Authority(self.folder)
        self.files = self.authority.files()
        self.end = self.start_mail_server()  # to which the peers hand on what they take
        self.servers = self.folder / "servers"
        self.servers.mkdir()

    def start_peer(self, kind, *arguments, **options):
        peer = kind(self.folder, self.end.port, *self.files, *arguments, **options)
        self.addCleanup(peer.close)
        return peer

    def settings(self, *lines):
        file = self.servers / "127.0.0.1.mail"
        file.write_text("".join(f"{line}\n" for line in lines))
        file.chmod(0o600)

    def start_switch(self, port, *lines, name="service", options=()):
        service = self.start_service("--authorities", self.authority.certificate,
                                     "--server-settings", self.servers, "--first-retry", "1", *options, name=name)
        self.configure(service, port, *lines)
        return service

    def sent(self, service, number=1):
        """The message as it was sent, which is what stands before the table of its receivers."""
        shown = self.shell(service, f"show callhome message {number}").stdout
        return shown.split("\n\nReceiver  ")[0]

    def parsed(self, text):
        return email.message_from_string(text.replace("\r\n", "\n"), policy=email.policy.default)

    def assert_arrived(self, service, mail, number=1):
        """Whole: what was sent is in the mail, below what the servers between have written above it."""
        came, sent = self.parsed(mail.content.decode()), self.parsed(self.sent(service, number))
        self.assertEqual(came["Message-Id"], sent["Message-Id"])
        self.assertEqual(came["Subject"], sent["Subject"])
        self.assertEqual(came.get_content().rstrip(), sent.get_content().rstrip())
        self.assertEqual(mail.recipients, ["ops@example.net"])
        self.assertEqual(mail.sender, "switch@example.net")
        return came

    def arrived(self, service, count=1):
        self.end.wait(lambda server: len(server.mails) == count)
        return self.assert_arrived(service, self.end.mails[-1], count)

    def assert_login_nowhere(self, service, *texts):
        state = b"".join(path.read_bytes() for path in service.state.rglob("*") if path.is_file())
        for text in (service.log.read_text(), state.decode("latin-1"), *texts):
            self.assertNotIn(SECRET, text)

    @unittest.skipIf(peers.why_no_postfix(), peers.why_no_postfix())
    def test_postfix_takes_a_mail_encrypted(self):
        postfix = self.start_peer(peers.Postfix, "smtpd_tls_security_level = encrypt")
        service = self.start_switch(postfix.port)
        done = self.shell(service, "callhome test")
        self.assertIn(f"Successfully sent test callhome message to ops@example.net (profile ops) through "
                      f"127.0.0.1:{postfix.port}\n", done.stdout)
        mail = self.arrived(service)
        self.assertRegex(str(mail["Received"]), r"\(using TLSv1\.[23] with cipher .*by postfix\.example")

    @unittest.skipIf(peers.why_no_postfix(), peers.why_no_postfix())
    def test_postfix_that_does_not_encrypt_gets_nothing_once_it_did(self):
        postfix = self.start_peer(peers.Postfix, "smtpd_tls_security_level = encrypt")
        service = self.start_switch(postfix.port)
        self.shell(service, "callhome test")
        self.arrived(service)
        postfix.settings = ("smtpd_tls_security_level = none",)
        postfix.restart()
        done = self.shell(service, "callhome test", check=False)
        self.assertIn("it does not offer encryption (STARTTLS) any more", done.stdout)
        self.assertIn("ops@example.net", self.shell(service, "show callhome queue").stdout)
        self.assertEqual(len(self.end.mails), 1)

    @unittest.skipIf(peers.why_no_postfix(), peers.why_no_postfix())
    def test_postfix_refuses_one_receiver_and_the_other_gets_the_mail(self):
        postfix = self.start_peer(
            peers.Postfix, "smtpd_tls_security_level = may", "smtpd_recipient_restrictions = "
            "check_recipient_access inline:{ {gone@example.net = 550 5.1.1 she has left} }, permit")
        service = self.start_switch(postfix.port, "destination-profile ops email-addr gone@example.net")
        done = self.shell(service, "callhome test")
        self.assertRegex(done.stdout, r"to gone@example\.net \(profile ops\) was refused by 127\.0\.0\.1:\d+: "
                                      r"550 5\.1\.1 <gone@example\.net>: .*she has left; it will not be tried")
        self.arrived(service)

    @unittest.skipIf(peers.why_no_postfix(), peers.why_no_postfix())
    def test_postfix_refuses_what_is_larger_than_it_takes(self):
        postfix = self.start_peer(peers.Postfix, "smtpd_tls_security_level = may", "message_size_limit = 600")
        service = self.start_switch(postfix.port)
        done = self.shell(service, "callhome test", check=False)
        self.assertRegex(done.stdout, "552 5.3.4 Message size exceeds fixed limit; it will not be tried")
        self.assertIn("Nothing waits to be sent.", self.shell(service, "show callhome queue").stdout)
        self.assertEqual(self.end.mails, [])

    @unittest.skipIf(peers.why_not_unpacked("exim"), peers.why_not_unpacked("exim"))
    def test_exim_takes_a_mail_encrypted_and_with_a_login(self):
        for mechanism in ("PLAIN", "LOGIN"):
            with self.subTest(mechanism):
                exim = self.start_peer(peers.Exim, SECRET, mechanism)
                self.settings("user switch17", f"secret {SECRET}")
                service = self.start_switch(exim.port, name=f"service-{mechanism}")
                done = self.shell(service, "callhome test")
                mail = self.arrived(service)
                self.assertRegex(str(mail["Received"]), "^with esmtpsa as switch17 ")
                self.assert_login_nowhere(service, done.stdout)
                self.end.mails.clear()

    @unittest.skipIf(peers.why_not_unpacked("exim"), peers.why_not_unpacked("exim"))
    def test_exim_takes_a_mail_encrypted_from_the_first_byte(self):
        exim = self.start_peer(peers.Exim, SECRET)
        self.settings("encryption on-connect", "user switch17", f"secret {SECRET}")
        service = self.start_switch(exim.tls_port)
        self.shell(service, "callhome test")
        self.assertRegex(str(self.arrived(service)["Received"]), "^with esmtpsa as switch17 ")

    @unittest.skipIf(peers.why_not_unpacked("exim"), peers.why_not_unpacked("exim"))
    def test_a_login_that_exim_refuses_is_told_and_the_mail_comes_with_the_right_one(self):
        exim = self.start_peer(peers.Exim, SECRET)
        self.settings("user switch17", "secret another")
        service = self.start_switch(exim.port)
        done = self.shell(service, "callhome test", check=False)
        refused = f"127.0.0.1:{exim.port}: it refuses the login of switch17 with 535"
        self.assertIn(f"{refused}; it stays in the queue", done.stdout)
        self.assertIn(refused, self.shell(service, "show callhome queue").stdout)
        self.settings("user switch17", f"secret {SECRET}")
        self.arrived(service)
        self.assert_login_nowhere(service, done.stdout)

    @unittest.skipIf(peers.why_not_unpacked("exim"), peers.why_not_unpacked("exim"))
    def test_what_exim_puts_off_comes_later_and_as_the_same_mail(self):
        exim = self.start_peer(peers.Exim, SECRET, content_rule=(
            "defer ! condition = ${if exists{FOLDER/open}}\n        message = the scanner sleeps"))
        self.settings("user switch17", f"secret {SECRET}")
        service = self.start_switch(exim.port)
        done = self.shell(service, "callhome test", check=False)
        self.assertIn("451 the scanner sleeps; it stays in the queue", done.stdout)
        exim.write("open")
        self.arrived(service)
        self.assertGreater(int(re.search(r"delivered +(\d+) ", self.shell(
            service, "show callhome message 1").stdout)[1]), 1)

    def assert_comes_when_all_is_well(self, peer, service, words, then):
        """It stays in the queue, with these words, and comes after `then`."""
        done = self.shell(service, "callhome test", check=False)
        self.assertRegex(done.stdout, f"127.0.0.1:{peer.port}: .*{words}.*; it stays in the queue")
        self.assertRegex(self.shell(service, "show callhome queue").stdout, words)
        self.assertEqual(self.end.mails, [])
        then()
        self.arrived(service)
        self.end.mails.clear()

    def fail_in_the_ways_of_any_server(self, peer):
        stranger = certificates.Authority(self.folder, "stranger")
        certified = "its certificate is not accepted: .*"
        for name, files, words in (
            ("expired", self.authority.files(days=-1), certified + "certificate has expired"),
            ("wrong", self.authority.files("DNS:other.example.net"),
             certified + "target host name '127.0.0.1'"),
            ("untrusted", stranger.files(), certified + "unable to get local issuer certificate"),
        ):
            with self.subTest(name):
                peer.certify(*files)
                peer.restart()
                service = self.start_switch(peer.port, name=f"service-{name}")
                peer.certify(*self.files)
                self.assert_comes_when_all_is_well(peer, service, words, peer.restart)
        with self.subTest("hangs"):
            service = self.start_switch(peer.port, name="service-hanging", options=("--transfer-limit", "1"))
            peer.freeze()
            self.assert_comes_when_all_is_well(peer, service, "timed out after .* while it was to greet",
                                               peer.thaw)
        with self.subTest("is down"):
            service = self.start_switch(peer.port, name="service-refused")
            peer.stop()
            self.assert_comes_when_all_is_well(peer, service, "Couldn't connect to server", peer.run)

    @unittest.skipIf(peers.why_no_postfix(), peers.why_no_postfix())
    def test_a_mail_that_postfix_fails_to_take_comes_when_all_is_well(self):
        peer = self.start_peer(peers.Postfix, "smtpd_tls_security_level = encrypt")
        self.fail_in_the_ways_of_any_server(peer)

    @unittest.skipIf(peers.why_not_unpacked("exim"), peers.why_not_unpacked("exim"))
    def test_a_mail_that_exim_fails_to_take_comes_when_all_is_well(self):
        self.settings("user switch17", f"secret {SECRET}")
        self.fail_in_the_ways_of_any_server(self.start_peer(peers.Exim, SECRET))


if __name__ == "__main__":
    unittest.main()
