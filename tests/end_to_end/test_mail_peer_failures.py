"""Mail servers that fail at each step of the conversation, in each way: the operator reads what happened,
what was counted is what the server saw, nothing is lost, and nothing that should be encrypted is not."""
import dataclasses
import re
import unittest

import failing
import harness
import scripted
from scripted import CLOSE, ENDLESS, GARBAGE, HANG, LOST, RESET

TIMED_OUT = r"Operation timed out after|server response timeout"
BROKEN = r"Connection reset by peer"
CLOSED = r"it closed the connection"
ENCRYPTED = "encryption required"
LOGIN = ("user switch17", "secret correct horse")


@dataclasses.dataclass
class Case:
    """What goes wrong at which step, and the words for it. `settings` are those of the server."""

    step: str
    fault: str
    words: str
    settings: tuple = ()
    was_encrypted: bool = False  # the server has taken a mail encrypted before
    kept_as_well: bool = False  # it has the mail, but nobody knows
    certificate: dict = None  # how its certificate is wrong

    @property
    def hangs(self):
        return TIMED_OUT in self.words

    @property
    def demands_encryption(self):
        return bool(self.settings) or self.was_encrypted

    @property
    def offers_encryption(self):
        return self.demands_encryption or self.step in ("STARTTLS", "handshake")


# The steps at which a server can hang or break off, and what the operator reads that it did not come to.
COMMANDS = ("EHLO", "STARTTLS", "AUTH", "MAIL", "RCPT", "DATA")
STEPS = {command: f"it was to answer {command}" for command in COMMANDS} | {
    "greeting": "it was to greet", "handshake": "encryption was to begin", "login": "it was to answer AUTH",
    "content": "it was to take the mail", "end": "it was to take the mail"}


def at_each_step(verb, fault, words):
    return {f"{verb} at {step}": Case(step, fault, f"({words}).* while {missed}",
                                      LOGIN if step in ("AUTH", "login") else ())
            for step, missed in STEPS.items()}


HANGING = at_each_step("hangs", HANG, TIMED_OUT)
BREAKING = at_each_step("breaks off", RESET, BROKEN) | {
    # The reset may come before the connection has been noticed.
    "breaks off at greeting": Case("greeting", RESET, f"{BROKEN}.* while it was to greet|Couldn't connect"),
    "breaks off at handshake": Case("handshake", RESET, f"the connection cannot be encrypted: .*{BROKEN}")}

TEMPORARY = {
    "is too busy to greet": Case("greeting", "421 4.3.2 come back later", "421 4.3.2 come back later"),
    "will not greet": Case("greeting", "554 5.7.1 not you", "554 5.7.1 not you"),
    "greets as another kind of server": Case("greeting", "HTTP/1.1 400 Bad Request", TIMED_OUT),
    "never ends its greeting": Case("greeting", ENDLESS, f"Too large response headers|{TIMED_OUT}"),
    "closes before it greets": Case("greeting", CLOSE, f"{CLOSED} while it was to greet"),
    "leaves at EHLO": Case("EHLO", "421 4.3.2 shutting down", "421 4.3.2 shutting down"),
    "cannot encrypt for now": Case("STARTTLS", "454 4.7.0 no entropy",
                                   "it offers encryption and then refuses it: 454 4.7.0 no entropy"),
    "will not encrypt": Case("STARTTLS", "502 5.5.1 no",
                             "it offers encryption and then refuses it: 502 5.5.1 no"),
    "answers STARTTLS with no handshake": Case("handshake", GARBAGE,
                                               "the connection cannot be encrypted: .*wrong version number"),
    "takes no login for now": Case("AUTH", "454 4.7.0 the directory sleeps",
                                   "it refuses the login of switch17 with 454", LOGIN),
    "refuses the login": Case("login", "535 5.7.8 wrong", "it refuses the login of switch17 with 535", LOGIN),
    "puts off the sender": Case("MAIL", "451 4.3.0 try again", "451 4.3.0 try again"),
    "wants a login": Case("MAIL", "530 5.7.0 authentication required", "530 5.7.0 authentication required"),
    "puts off the receiver": Case("RCPT", "450 4.2.1 greylisted", "450 4.2.1 greylisted"),
    "has no room for the content": Case("DATA", "452 4.3.1 disk full", "452 4.3.1 disk full"),
    "puts off the whole mail": Case("end", "451 4.3.0 the scanner is down", "451 4.3.0 the scanner is down"),
    "is lost after the final dot": Case("end", LOST, BROKEN, kept_as_well=True),
    "closes after the final dot": Case("end", CLOSE, f"{CLOSED} while it was to take the mail"),
}

STRIPPED = {
    "knows no EHLO any more": Case("EHLO", "502 5.5.1 what?", "502 5.5.1 what", was_encrypted=True),
    "does not offer encryption any more": Case("EHLO", "250 peer.example",
                                               r"does not offer encryption \(STARTTLS\) any more",
                                               was_encrypted=True),
    "refuses encryption since a while": Case("STARTTLS", "454 4.7.0 no",
                                             "offers encryption and then refuses it", was_encrypted=True),
    "knows no EHLO where encryption is required": Case("EHLO", "502 5.5.1 what?", "502 5.5.1 what",
                                                       (ENCRYPTED,)),
    "does not offer what is required": Case("EHLO", "250 peer.example",
                                            r"does not offer encryption \(STARTTLS\), which its settings",
                                            (ENCRYPTED,)),
    "refuses what is required": Case("STARTTLS", "502 5.5.1 no", "offers encryption and then refuses it",
                                     (ENCRYPTED,)),
    "offers a login in the clear only": Case("EHLO", "250-peer.example\r\n250 AUTH PLAIN",
                                             "without which no login is sent", LOGIN),
}

FINAL = {
    "refuses the sender": Case("MAIL", "550 5.7.1 no mail from there", "550 5.7.1 no mail from there"),
    "refuses the receiver": Case("RCPT", "550 5.1.1 no such mailbox", "550 5.1.1 no such mailbox"),
    "refuses to take content": Case("DATA", "554 5.5.1 no valid recipients", "554 5.5.1 no valid recipients"),
    "refuses the content": Case("end", "554 5.6.0 this is spam", "554 5.6.0 this is spam"),
    "refuses the size": Case("end", "552 5.3.4 too big", "552 5.3.4 too big"),
}


# The certificate of the server that is not believed, by what is wrong with it.
CERTIFIED = "its certificate is not accepted: .*"
CERTIFICATES = {
    "shows an expired certificate": Case("handshake", "", CERTIFIED + "expired",
                                         certificate={"days": -1}),
    "shows the certificate of another host": Case("handshake", "",
                                                  CERTIFIED + "target host name '127.0.0.1'",
                                                  certificate={"names": "DNS:other.example.net"}),
    "shows a certificate of somebody unknown": Case("handshake", "",
                                                    CERTIFIED + "local issuer certificate",
                                                    certificate={"by": "stranger"}),
}
# The same where nothing else would do, and where the service knew the server as one that encrypts.
CERTIFICATES |= {f"{name}, where encryption is required": dataclasses.replace(case, settings=(ENCRYPTED,))
                 for name, case in CERTIFICATES.items()}


def message_id(content):
    return re.search(rb"(?im)^Message-Id: *(?:\r?\n)? *(\S+)", content)[1]


class MailPeerFailures(failing.Cases):
    def context_of(self, case):
        if case.certificate is None:
            return self.context if case.offers_encryption else None
        return self.context_with(case.certificate)

    def start_peer(self, case):
        peer = scripted.Mail({case.step: case.fault}, self.context_of(case), login=case.settings == LOGIN)
        self.addCleanup(peer.close)
        return peer

    def start_case(self, name, port, settings=(), options=()):
        servers = self.folder / f"servers of {name}"
        servers.mkdir()
        if settings:
            file = servers / "127.0.0.1.mail"
            file.write_text("\n".join((*settings, "")))
            file.chmod(0o600)
        service = self.start_service(*failing.RETRY_SOON, *options, "--server-settings", servers,
                                     "--authorities", self.authority.certificate, name=name)
        self.configure(service, port)
        return service

    def take_one_encrypted(self, peer, service):
        """So that the service knows the server as one that encrypts."""
        faults, peer.faults = peer.faults, {}
        self.shell(service, "callhome test")
        self.shell(service, "clear callhome message statistics sent")
        peer.faults, peer.kept, peer.connections = faults, [], 0
        peer.steps.clear()
        peer.in_clear.clear()

    def deliver_through_another(self, service):
        """A good server comes to the failing one: it gets the mail with the next try."""
        good = self.start_mail_server()
        self.shell(service, "configure terminal", "callhome",
                   f"transport email mail-server localhost port {good.port} priority 90")
        good.wait(lambda server: server.mails)
        return good

    def play(self, name, case):
        peer = self.start_peer(case)
        service = self.start_case(name, peer.port, case.settings, failing.GIVE_UP_SOON if case.hangs else ())
        number = 1
        if case.was_encrypted:
            self.take_one_encrypted(peer, service)
            number = 2
        done = self.shell(service, "callhome test", check=False)
        self.assert_waits(service, done, case.words, "ops@example.net")
        self.assertIn(f"127.0.0.1:{peer.port}: ", done.stdout)
        good = self.deliver_through_another(service)
        self.assert_delivered_once(service, number)
        self.assertEqual(len(good.mails), 1)
        sent = message_id(self.shell(service, f"show callhome message {number}").stdout.encode())
        self.assertEqual({message_id(mail) for mail in (good.mails[0].content, *peer.kept)}, {sent})
        self.assertEqual(bool(peer.kept), case.kept_as_well)
        self.assertEqual(peer.connections, self.tries(service, number))
        self.assertEqual(peer.steps[case.step], peer.connections)
        self.assertIn(f"A mail server failed, and another one took the mail: 127.0.0.1:{peer.port}: ",
                      service.log.read_text())
        self.assert_nothing_in_clear(peer, case)

    def assert_nothing_in_clear(self, peer, case):
        """No login and no content, where the server offers to encrypt; where encryption is demanded, not even
        who writes to whom."""
        never = ["AUTH", "login", "content", "end"] if case.offers_encryption else []
        never += ["MAIL", "RCPT"] if case.demands_encryption else []
        self.assertEqual({step: peer.in_clear[step] for step in never}, dict.fromkeys(never, 0))

    def play_final(self, name, case):
        peer = self.start_peer(case)
        service = self.start_case(name, peer.port)
        done = self.shell(service, "callhome test", check=False)
        self.assert_lost(service, done, case.words)
        self.assertIn(f"was refused by 127.0.0.1:{peer.port}: ", done.stdout)
        self.assertEqual((self.tries(service), peer.connections, peer.steps[case.step]), (1, 1, 1))
        self.assertEqual(service.log.read_text().count("it will not be tried again"), 1)
        peer.heal()
        self.shell(service, "callhome test")
        self.assertEqual(self.figures(service), {"waiting": 0, "sent": 1, "failed": 1})
        self.assertEqual((len(peer.kept), peer.connections), (1, 2))

    def play_unreachable(self, name, case):
        host, words = case
        service = self.start_case(name, harness.free_port(), options=failing.GIVE_UP_SOON)
        self.shell(service, "configure terminal", "callhome", "no transport email mail-server 127.0.0.1",
                   f"transport email mail-server {host} port {harness.free_port()}")
        done = self.shell(service, "callhome test", check=False)
        self.assert_waits(service, done, words, "ops@example.net")
        good = self.deliver_through_another(service)
        self.assert_delivered_once(service, 1)
        self.assertEqual(len(good.mails), 1)

    def assert_delivered_once(self, service, number):
        self.assertEqual(self.settled_figures(service), {"waiting": 0, "sent": 1, "failed": 0})
        shown = self.shell(service, f"show callhome message {number}").stdout
        self.assertIn(" delivered through localhost:", shown)

    def test_a_server_that_hangs_at_any_step_costs_a_bounded_time_and_no_mail(self):
        self.play_all(HANGING)

    def test_a_server_that_breaks_off_at_any_step_costs_no_mail(self):
        self.play_all(BREAKING)

    def test_what_a_server_puts_off_is_told_with_its_words_and_goes_to_the_next_one(self):
        self.play_all(TEMPORARY)

    def test_nothing_is_downgraded_where_encryption_was_there_or_is_required(self):
        self.play_all(STRIPPED)

    def test_a_certificate_that_is_not_believed_gets_no_mail_and_another_server_does(self):
        self.play_all(CERTIFICATES)

    def test_a_refusal_is_final_and_the_next_message_is_sent_all_the_same(self):
        self.play_all(FINAL, self.play_final)

    def test_a_server_that_cannot_be_reached_costs_no_mail(self):
        self.play_all({"refuses connections": ("127.0.0.1", "Failed to connect|Couldn't connect"),
                       "has no name": ("nowhere.invalid", "Could not resolve host|Resolving timed out")},
                      self.play_unreachable)


if __name__ == "__main__":
    unittest.main()
