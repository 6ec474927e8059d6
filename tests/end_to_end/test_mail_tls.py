"""Mail servers that encrypt and want a login, and those that fail to: nothing goes on in the clear, and the
operator reads why."""
import logging
import os
import pathlib
import unittest

from aiosmtpd.smtp import AuthResult

import certificates
import harness

logging.getLogger("mail.log").setLevel(logging.CRITICAL)  # what fails here is meant to

SECRET = "correct horse 7%&$"


class MailTls(harness.EndToEnd):
    def setUp(self):
        super().setUp()
        self.authority = certificates.Authority(self.folder)
        self.servers = self.folder / "servers"
        self.servers.mkdir()

    def service_with(self, *options):
        return self.start_service("--authorities", str(self.authority.certificate),
                                  "--server-settings", str(self.servers), "--log-level", "debug", *options)

    def settings(self, *lines, host="127.0.0.1", ending="mail", mode=0o600):
        file = self.servers / f"{host}.{ending}"
        file.write_text("".join(f"{line}\n" for line in lines))
        file.chmod(mode)

    def encrypting_server(self, context=None, port=0, smtp=None, **answers):
        context = context or self.authority.context()
        return self.start_mail_server(port, smtp={"tls_context": context, **(smtp or {})}, **answers)

    def send_test(self, server, *options, check=False):
        self.service = self.service_with(*options)
        self.configure(self.service, server.port)
        return self.shell(self.service, "callhome test", check=check)

    def assert_kept_back(self, done, server, *reasons):
        self.assertEqual(done.returncode, 1, done.stdout)
        for reason in reasons:
            self.assertIn(reason, done.stdout)
        self.assertIn("it stays in the queue", done.stdout)
        self.assertEqual(server.mails, [])
        self.assertIn("ops@example.net", self.shell(self.service, "show callhome queue").stdout)

    def test_a_mail_goes_encrypted_where_the_server_offers_it(self):
        server = self.encrypting_server(smtp={"require_starttls": True})
        self.send_test(server, check=True)
        self.assertEqual(len(server.mails), 1)

    def test_a_mail_goes_encrypted_from_the_first_byte(self):
        server = self.start_mail_server(tls=self.authority.context())
        self.settings("encryption on-connect")
        self.send_test(server, check=True)
        self.assertEqual(len(server.mails), 1)

    def test_an_expired_certificate_keeps_the_mail_back(self):
        server = self.encrypting_server(self.authority.context(days=-1))
        self.assert_kept_back(self.send_test(server), server, "its certificate is not accepted:",
                              "certificate has expired")

    def test_a_certificate_for_another_host_keeps_the_mail_back(self):
        server = self.encrypting_server(self.authority.context("DNS:other.example.net"))
        self.assert_kept_back(self.send_test(server), server, "its certificate is not accepted:",
                              "matches target host name '127.0.0.1'")

    def test_a_certificate_for_another_name_is_good_where_the_settings_expect_it(self):
        server = self.encrypting_server(self.authority.context("DNS:mail.example.net"))
        self.settings("certificate-name mail.example.net")
        self.send_test(server, check=True)
        self.assertEqual(len(server.mails), 1)

    def test_a_certificate_of_an_unknown_authority_keeps_the_mail_back(self):
        stranger = certificates.Authority(self.folder, "stranger")
        server = self.encrypting_server(stranger.context())
        self.assert_kept_back(self.send_test(server), server, "its certificate is not accepted:",
                              "unable to get local issuer certificate")

    def test_an_authority_of_one_server_alone_is_believed_for_it(self):
        stranger = certificates.Authority(self.folder, "stranger")
        server = self.encrypting_server(stranger.context())
        self.settings(f"authorities {stranger.certificate}")
        self.send_test(server, check=True)
        self.assertEqual(len(server.mails), 1)

    def test_a_server_that_stops_encrypting_gets_nothing_until_the_settings_allow_it(self):
        server = self.encrypting_server()
        self.send_test(server, "--first-retry", "1", check=True)
        server.close()
        stripped = self.start_mail_server(server.port)
        done = self.shell(self.service, "callhome test", check=False)
        self.assert_kept_back(done, stripped, "it does not offer encryption (STARTTLS) any more")
        self.service.restart()
        done = self.shell(self.service, "callhome test", check=False)
        self.assert_kept_back(done, stripped, "it does not offer encryption (STARTTLS) any more")
        self.settings("encryption offered")
        stripped.wait(lambda s: len(s.mails) == 2)

    def test_required_encryption_that_is_not_offered_keeps_the_mail_back(self):
        server = self.start_mail_server()
        self.settings("encryption required")
        self.assert_kept_back(self.send_test(server), server,
                              "it does not offer encryption (STARTTLS), which its settings require")

    def test_where_the_first_server_cannot_encrypt_the_next_one_gets_the_mail_and_the_operator_knows(self):
        first = self.encrypting_server(self.authority.context(days=-1))
        second = self.encrypting_server()
        service = self.service_with()
        self.configure(service, first.port,
                       f"transport email mail-server localhost port {second.port} priority 20")
        done = self.shell(service, "callhome test")
        self.assertIn(f"through localhost:{second.port}", done.stdout)
        self.assertIn(f"A mail server failed, and another one took the mail: 127.0.0.1:{first.port}: "
                      "its certificate is not accepted", done.stdout)
        self.assertIn("A mail server failed, and another one took the mail", service.log.read_text())
        self.assertEqual((len(first.mails), len(second.mails)), (0, 1))

    def server_with_login(self, logins, accept=True):
        def authenticate(server, session, envelope, mechanism, data):
            logins.append((mechanism, data.login.decode(), data.password.decode()))
            return AuthResult(success=accept, handled=False)

        return self.encrypting_server(smtp={"authenticator": authenticate, "auth_required": True})

    def assert_secret_nowhere(self, *texts):
        state = b"".join(path.read_bytes() for path in self.service.state.rglob("*") if path.is_file())
        self.assertNotIn(SECRET.encode(), state)
        process = pathlib.Path(f"/proc/{self.service.process.pid}")
        self.assertNotIn(SECRET.encode(), (process / "cmdline").read_bytes() + (process / "environ").read_bytes())
        for text in (self.service.log.read_text(), *texts):
            self.assertNotIn(SECRET, text)

    def test_a_login_goes_to_the_server_and_nowhere_else(self):
        logins = []
        server = self.server_with_login(logins)
        self.settings("user switch 17", f"secret {SECRET}")
        done = self.send_test(server, check=True)
        self.assertEqual([login[1:] for login in logins], [("switch 17", SECRET)])
        self.assertEqual(len(server.mails), 1)
        shown = self.shell(self.service, "show callhome messages", "show callhome message 1",
                           "show callhome information configuration").stdout
        self.assert_secret_nowhere(done.stdout, shown)

    def test_a_login_that_is_refused_keeps_the_mail_back_without_showing_it(self):
        logins = []
        server = self.server_with_login(logins, accept=False)
        self.settings("user switch17", f"secret {SECRET}")
        done = self.send_test(server)
        self.assert_kept_back(done, server, "it refuses the login of switch17 with 535")
        self.assert_secret_nowhere(done.stdout)

    def test_a_login_is_not_sent_in_the_clear(self):
        server = self.start_mail_server(smtp={"auth_require_tls": False})
        self.settings("user switch17", f"secret {SECRET}")
        self.assert_kept_back(self.send_test(server), server, "without which no login is sent")

    def test_a_file_that_others_may_read_is_not_believed(self):
        server = self.encrypting_server()
        self.settings("user switch17", f"secret {SECRET}", mode=0o640)
        done = self.send_test(server)
        self.assert_kept_back(done, server, "make its mode 0600")
        self.assert_secret_nowhere(done.stdout)
        self.settings("user switch17")
        (self.servers / "127.0.0.1.mail").unlink()
        os.symlink("elsewhere", self.servers / "127.0.0.1.mail")
        done = self.shell(self.service, "callhome test", check=False)
        self.assertIn("is a link; name the file itself", done.stdout)


if __name__ == "__main__":
    unittest.main()
