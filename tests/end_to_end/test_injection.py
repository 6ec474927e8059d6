"""Texts that want to be headers, commands, markup or the end of a message: each place where a text goes in refuses
them with a word for it, or carries them as the texts that they are, to the receiver."""
import email
import email.policy
import re
import socket
import subprocess
import unittest
import xml.etree.ElementTree
from urllib.parse import quote

import harness
import hostile_texts
import test_http_delivery
import wire

USER_COMMAND_REFUSED = 0x403B0041
NAMESPACE = {"m": "urn:callhome:message:1"}
SCHEMA = harness.TREE / "docs/schemas/message-1.xsd"
LONGEST_LINE = 998  # bytes of a line of mail
MAIL_HEADERS = ["Auto-Submitted", "Content-Type", "Date", "Disposition-Notification-To", "From", "MIME-Version",
                "Message-Id", "Reply-To", "Subject", "To"]
POST_HEADERS = ["Accept", "Content-Length", "Content-Type", "Host", "Idempotency-Key"]
ELEMENTS = {"sysContact": "name", "sysContactPhoneNumber": "phone", "sysStreetAddress": "streetAddress",
            "siteId": "siteId", "custId": "customerId", "contractId": "contractId"}
CONTROL = re.compile("[\x00-\x09\x0b-\x1f\x7f-\x9f]")  # but the ends of lines
UNSEEN = re.compile("[\x00-\x09\x0b-\x1f\x7f-\x9f\u2028\u2029]")

SIGNATURE = """<?xml version="1.0" encoding="UTF-8"?>
<diagnosticSignature xmlns="urn:callhome:signature:1" id="{number}">
  <name>hostile-{number}</name>
  <revision>1.0</revision>
  <author>Ada Marlowe</author>
  <description>What a variable holds.</description>
  <variables><variable name="ds_hostile"/></variables>
  <event><log>unit{number} failed</log></event>
  <commands><command>show version</command></commands>
  <message>
    <subject>[$ds_hostile]</subject>
    <text>[$ds_hostile]</text>
  </message>
  <alertGroup>crash</alertGroup>
</diagnosticSignature>
"""


def carried(text):
    """What becomes of the text of an event: its lines stay lines, and what does nothing but control is a blank."""
    return CONTROL.sub(" ", text.replace("\r\n", "\n"))


def words(text):
    return " ".join(text.split())


class Injection(harness.SystemWide):
    OPTIONS = ("--allow-unsigned-signatures",)

    def setUp(self):
        super().setUp()
        traps = self.folder / "traps"
        traps.mkdir()
        traps.chmod(0o777)
        self.canary = traps / "sprung"
        self.addCleanup(lambda: self.assertFalse(self.canary.exists(), "a text was run as a command"))
        self.values = dict(hostile_texts.values(self.canary))

    # --- at the service ---------------------------------------------------------------------------------

    def test_no_text_of_the_grammar_is_forgotten(self):
        tried = {place for field in hostile_texts.FIELDS for place in field.typed}
        tried |= {place for places, *_ in hostile_texts.EVENT_TEXTS for place in places}
        self.assertEqual(tried | hostile_texts.OTHER_TEXTS, hostile_texts.texts_of_the_grammar())

    def try_setting(self, link, field, value, must_be_kept=None):
        """Sets a field; it is there to the letter, or was refused and nothing has changed."""
        before = wire.Copy(link).shared(), wire.Copy(link).contact(), wire.signature_settings(link)
        encoded = value if isinstance(value, bytes) else value.encode()
        status = field.set(link, encoded)
        if status == wire.OK:
            self.assertEqual(field.found(link, value), value)
            self.assertIsNot(must_be_kept, False, "it was taken")
            if field.opcode == wire.USER_COMMAND:  # there may be few of them
                self.assertEqual(link.exchange(field.opcode, wire.REMOVE, field.record(encoded))[0], wire.OK)
            return
        after = wire.Copy(link).shared(), wire.Copy(link).contact(), wire.signature_settings(link)
        self.assertEqual(before, after)
        self.assertIsNot(must_be_kept, True, f"it was refused: {status:#x}")
        if field.code_at is None:
            self.assertIn(status, (wire.MALFORMED, USER_COMMAND_REFUSED), hex(status))

    def test_settings_refuse_what_breaks_lines_and_keep_all_else_to_the_letter(self):
        service = self.start()
        with wire.Connection(service.socket, harness.LIMIT) as link:
            for field in hostile_texts.FIELDS:
                for name, value in self.values.items():
                    shaped = field.shape(value, field.size)
                    breaks = bool(UNSEEN.search(shaped)) or "\n" in shaped
                    is_name = field.shape is hostile_texts.as_word and name == hostile_texts.INVISIBLE
                    must_be_kept = False if breaks else True if field.free and not is_name else None
                    with self.subTest(field=field.name, value=name):
                        self.try_setting(link, field, shaped, must_be_kept)
        running = self.shell(service, "show running-config callhome").stdout
        self.assertIsNone(UNSEEN.search(running))
        for kept in ("email-addr", "mail-server", "site-id " + self.values["long line of words"]):
            self.assertIn(kept, running)

    def test_bytes_that_are_no_text_are_refused(self):
        service = self.start()
        with wire.Connection(service.socket, harness.LIMIT) as link:
            for field in hostile_texts.FIELDS:
                shape = field.shape("@", field.size).encode()
                for name, value in (("not UTF-8", shape.replace(b"@", hostile_texts.NOT_UTF8, 1)),
                                    ("without an end", shape + b"x" * 4096)):
                    with self.subTest(field=field.name, value=name):
                        self.try_setting(link, field, value, False)

    def test_what_stands_behind_a_nul_does_not_count(self):
        service = self.start()
        with wire.Connection(service.socket, harness.LIMIT) as link:
            for field in hostile_texts.FIELDS:
                good = field.shape("b", field.size)
                if field.name in ("group", "signature file", "profile of signatures"):
                    continue  # there is none with that name
                with self.subTest(field=field.name):
                    self.assertEqual(field.set(link, good.encode() + b"\0\r\nBcc: evil@example.net"), wire.OK)
                    self.assertEqual(field.found(link, good), good)
        self.assertNotIn("evil", self.shell(service, "show running-config callhome").stdout)

    def test_at_the_shell_the_refusal_is_a_word_and_has_no_control_in_it(self):
        service = self.start()
        for name, value in hostile_texts.BREAKING.items():
            if "\n" in value or "\r" in value:
                continue  # these end what is typed
            with self.subTest(name):
                done = self.shell(service, "configure terminal", "callhome", "site-id " + value, check=False)
                self.assertNotEqual(done.returncode, 0)
                said = done.stdout + done.stderr
                self.assertTrue(said.strip())
                self.assertIsNone(CONTROL.search(said.replace("\t", " ")), ascii(said))

    def test_what_is_typed_is_the_text_that_is_kept(self):
        service = self.start()
        for name in hostile_texts.PRINTABLE:
            value = hostile_texts.as_line(self.values[name], 2047)
            with self.subTest(name):
                for way in ({"input": f"configure terminal\ncallhome\nsite-id {value}\n"}, {}):
                    commands = () if way else ("configure terminal", "callhome", "site-id " + value)
                    self.shell(service, "configure terminal", "callhome", "site-id nothing")
                    done = self.shell(service, *commands, check=False, **way)
                    self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
                    with wire.Connection(service.socket, harness.LIMIT) as link:
                        self.assertEqual(wire.Copy(link).contact()["siteId"], value)
        typed_again = self.shell(service, "show running-config callhome").stdout
        self.assertIn("site-id " + value, typed_again)

    # --- at the receiver --------------------------------------------------------------------------------

    def start_everything(self):
        """A service, and receivers of all formats, by mail and by HTTP."""
        collector = test_http_delivery.Collector(test_http_delivery.status(200))
        self.addCleanup(collector.close)
        server = self.start_mail_server()
        service = self.start()
        profiles = [line for kind in ("full-txt", "short-txt", "XML") for line in (
            f"destination-profile by-mail-{kind} format {kind}",
            f"destination-profile by-mail-{kind} alert-group all",
            f"destination-profile by-http-{kind} format {kind}",
            f"destination-profile by-http-{kind} alert-group all",
            f"destination-profile by-http-{kind} http http://127.0.0.1:{collector.port}/{kind}",
            f"destination-profile by-http-{kind} transport-method http",
            f"no destination-profile by-http-{kind} transport-method email")]
        self.shell(service, "configure terminal", "snmp-server contact Ada", "callhome",
                   "email-contact ada@example.net", *profiles,
                   "transport email from switch@example.net", "transport email reply-to answers@example.net",
                   "transport email return-receipt receipts@example.net",
                   f"transport email mail-server 127.0.0.1 port {server.port}",
                   "destination-profile by-mail-full-txt email-addr ops@example.net",
                   "destination-profile by-mail-short-txt email-addr pager@example.net",
                   "destination-profile by-mail-XML email-addr machine@example.net", "enable",
                   "no duplicate-message throttle")
        return service, server, collector

    def spread(self, service, value):
        """Sets the fields that stand in messages; gives the values of those that were taken."""
        taken = {}
        with wire.Connection(service.socket, harness.LIMIT) as link:
            for field in hostile_texts.FIELDS:
                if field.name in ELEMENTS or field.name == "user command":
                    shaped = field.shape(value, field.size)
                    if field.set(link, shaped.encode()) == wire.OK:
                        taken[field.name] = shaped
            if "user command" in taken:
                status, _ = link.exchange(wire.USER_COMMAND, wire.SET, wire.USER_COMMAND_RECORD.pack(
                    0, b"environmental", 1, taken["user command"].encode(), 0))
                self.assertEqual(status, wire.OK)
        return taken

    def alert(self, service, source, text):
        with wire.Connection(service.socket, harness.LIMIT) as link:
            status, body = link.exchange(wire.POST_ALERT, wire.SET, wire.ALERT_RECORD.pack(
                b"TEMPERATURE_MINOR_ALARM", source.encode(), text.encode(), wire.SEVERITY_OF_ITS_NAME))
        self.assertEqual(status, wire.OK, body)
        self.assertNotIn("Could not", body.decode())

    def check_mail(self, mail, receiver):
        """The text of the body, after a look at the mail around it."""
        self.assertEqual((mail.sender, mail.recipients), ("switch@example.net", [receiver]))
        self.assertEqual(mail.content.replace(b"\r\n", b"").count(b"\r"), 0)
        self.assertEqual(mail.content.replace(b"\r\n", b"").count(b"\n"), 0)
        self.assertLessEqual(max(map(len, mail.content.split(b"\r\n"))), LONGEST_LINE)
        message = email.message_from_bytes(mail.content, policy=email.policy.default)
        self.assertEqual(message.defects, [])
        has_parts = receiver.startswith("machine")
        expected = MAIL_HEADERS if has_parts else sorted([*MAIL_HEADERS, "Content-Transfer-Encoding"])
        self.assertEqual(sorted(message.keys(), key=expected.index), expected)
        self.assertEqual((message["From"], message["To"], message["Reply-To"]),
                         ("switch@example.net", receiver, "answers@example.net"))
        self.assertEqual(message["Disposition-Notification-To"], "receipts@example.net")
        self.assertRegex(message["Subject"], "^Call home: Temperature alarm from ")
        if not has_parts:
            return message.get_content()
        explanation, document = message.iter_parts()
        self.assertEqual(document.get_content_type(), "application/xml")
        return document.get_payload(decode=True).decode()

    def check_document(self, document, source, text, settings):
        """An XML message: valid, and with the texts as they were."""
        validated = subprocess.run(["xmllint", "--noout", "--nonet", "--schema", SCHEMA, "-"], text=True,
                                   input=document, capture_output=True)
        self.assertEqual(validated.returncode, 0, validated.stderr)
        self.assertNotIn("<!DOCTYPE", document)
        root = xml.etree.ElementTree.fromstring(document)
        self.assertEqual(root.find("m:event/m:source", NAMESPACE).text, carried(source))
        self.assertEqual(root.find("m:event/m:text", NAMESPACE).text, carried(text))
        for item, element in ELEMENTS.items():
            if item in settings:
                self.assertEqual(root.find(f"m:contact/m:{element}", NAMESPACE).text, settings[item])
        if "user command" in settings:
            titles = [section.get("title") for section in root.findall("m:section", NAMESPACE)]
            self.assertIn(f"Output of {settings['user command']}", titles)

    def check_full_text(self, content, source, text, settings):
        shown = [source, carried(text), *(value for item, value in settings.items() if item in ELEMENTS)]
        for value in shown:
            self.assertIn(words(carried(value)), words(content))
        self.assertEqual(len(re.findall(r"(?m)^Severity: ", content)), 1)
        self.assertIsNone(UNSEEN.search(content.replace("\r\n", "\n").replace("\u2028", "").replace("\u2029", "")))

    def check_posts(self, posts, source, text, settings):
        by_path = {path: (headers, body) for path, headers, body in posts}
        self.assertEqual(sorted(by_path), ["/XML", "/full-txt", "/short-txt"])
        self.assertEqual(len(posts), len(by_path))
        for headers, _ in by_path.values():
            self.assertEqual(sorted(headers.keys()), POST_HEADERS)
        self.check_document(by_path["/XML"][1].decode(), source, text, settings)
        self.check_full_text(by_path["/full-txt"][1].decode(), source, text, settings)
        self.assertIn(words(carried(source)), words(by_path["/short-txt"][1].decode()))

    def check_receivers(self, server, collector, source, text, settings):
        self.assertEqual(len(server.mails), 3)
        bodies = {}
        for mail in server.mails:
            bodies[mail.recipients[0]] = self.check_mail(mail, mail.recipients[0])
        self.assertEqual(sorted(bodies), ["machine@example.net", "ops@example.net", "pager@example.net"])
        self.check_document(bodies["machine@example.net"], source, text, settings)
        self.check_full_text(bodies["ops@example.net"], source, text, settings)
        self.assertIn(words(carried(source)), words(bodies["pager@example.net"]))
        self.check_posts(collector.posts, source, text, settings)

    def test_what_is_taken_reaches_the_receivers_as_the_text_that_it_is(self):
        service, server, collector = self.start_everything()
        for name, value in self.values.items():
            with self.subTest(name):
                del server.mails[:], collector.posts[:]
                settings = self.spread(service, value)
                is_printable = name in hostile_texts.PRINTABLE
                self.assertEqual(set(settings), {*ELEMENTS, "user command"} if is_printable else set())
                source, text = hostile_texts.cut(value, 255), hostile_texts.cut(value, 2047)
                self.alert(service, source, text)
                self.check_receivers(server, collector, source, text, settings)
                self.forget_command(service, settings)

    def forget_command(self, service, settings):
        """Few are allowed."""
        with wire.Connection(service.socket, harness.LIMIT) as link:
            for group in (b"license", b"environmental") if "user command" in settings else ():
                status, _ = link.exchange(wire.USER_COMMAND, wire.REMOVE, wire.USER_COMMAND_RECORD.pack(
                    0, group, 1, settings["user command"].encode(), 0))
                self.assertEqual(status, wire.OK)


    def test_texts_of_messages_that_are_asked_for_are_the_texts_in_them(self):
        service, server, collector = self.start_everything()
        for (_, kind, index, element) in hostile_texts.EVENT_TEXTS:
            for name, value in self.values.items():
                with self.subTest(type=kind, element=element, value=name):
                    del server.mails[:], collector.posts[:]
                    shaped = hostile_texts.cut(value, 255)
                    texts = [b"other", b"other"]
                    texts[index] = shaped.encode()
                    with wire.Connection(service.socket, harness.LIMIT) as link:
                        status, _ = link.exchange(wire.SEND_MESSAGE, wire.SET, wire.SEND_MESSAGE_RECORD.pack(
                            kind, 0, b"", *texts))
                    self.assertEqual(status, wire.OK)
                    self.assertEqual(len(server.mails), 3)
                    [document] = [body.decode() for path, _, body in collector.posts if path == "/XML"]
                    root = xml.etree.ElementTree.fromstring(document)
                    self.assertEqual(root.find(f"m:event/m:{element}", NAMESPACE).text, carried(shaped))

    def test_addresses_are_what_the_mail_server_and_the_web_server_hear(self):
        """Each with a profile, a mail address, a sender and a URL of the value's; what is taken is what comes."""
        taken = 0
        service, server, collector = self.start_everything()
        self.shell(service, "configure terminal", "callhome", *(
            f"no destination-profile by-http-{kind} alert-group all" for kind in ("full-txt", "short-txt", "XML")), *(
            f"no destination-profile by-mail-{kind} alert-group all" for kind in ("full-txt", "short-txt", "XML")))
        for name, value in {**self.values, "quotes": "'`$&|*?!#%{}~", "brackets": "<>", "comma": "x@y,z"}.items():
            with self.subTest(name), wire.Connection(service.socket, harness.LIMIT) as link:
                del server.mails[:], collector.posts[:]
                profile = ("p" + hostile_texts.as_word(value, 24)).encode()
                address = hostile_texts.as_address(value, 255).encode()
                target = "/x" + hostile_texts.as_word(value, 200)
                url = f"http://127.0.0.1:{collector.port}{target}".encode()
                if link.exchange(wire.PROFILE, wire.SET, wire.PROFILE_RECORD.pack(
                        profile, 3, 2, 100000, 0, 1, 0, 0))[0] != wire.OK:
                    continue
                made = [link.exchange(opcode, wire.SET, wire.ADDRESS_RECORD.pack(profile, text, 0, 1, 0))[0]
                        for opcode, text in ((wire.PROFILE_EMAIL, address), (wire.PROFILE_URL, url))]
                self.assertEqual(link.exchange(wire.ALERT_GROUP, wire.SET, wire.SUBSCRIPTION_RECORD.pack(
                    profile, 0, 1, b"all", 0, 0))[0], wire.OK)
                try:
                    if wire.OK in made:
                        self.check_addresses(link, server, collector, made, profile, address, target)
                        taken += 1
                finally:
                    link.exchange(wire.PROFILE, wire.REMOVE, wire.PROFILE_RECORD.pack(profile, *([0] * 7)))
        self.assertGreater(taken, 5)

    def check_addresses(self, link, server, collector, made, profile, address, target):
        _, reply = link.exchange(wire.POST_ALERT, wire.SET, wire.ALERT_RECORD.pack(
            b"TEMPERATURE_MINOR_ALARM", b"fan tray", b"it is hot", wire.SEVERITY_OF_ITS_NAME))
        lines = reply.decode().splitlines()
        self.assertEqual(len(lines), made.count(wire.OK), lines)
        sent = [line for line in lines if line.startswith("Successfully sent")]
        for line in lines:
            self.assertIn(f"(profile {profile.decode()})", line)
        self.assertEqual(len(sent), len(server.mails) + len(collector.posts), lines)
        for mail in server.mails:
            self.assertEqual(mail.recipients, [address.decode()])
            message = email.message_from_bytes(mail.content, policy=email.policy.default)
            self.assertIn(message["To"], (address.decode(), "undisclosed-recipients:;"))
            self.assertEqual(sorted(message.keys()),
                             sorted([*MAIL_HEADERS, "Content-Transfer-Encoding"]))
        for path, headers, _ in collector.posts:
            # A fragment is for who asks, not for the server; what is not ASCII has but one form in a request.
            asked = re.sub("[^\0-\x7f]", lambda c: quote(c[0]), target.split("#")[0])
            self.assertEqual(path.lower(), asked.lower())
            self.assertEqual(sorted(headers.keys()), POST_HEADERS)

    def install(self, service, number):
        file = self.folder / f"{number}.xml"
        file.write_text(SIGNATURE.format(number=number))
        self.shell(service, f"callhome diagnostic-signature load {file}",
                   f"callhome diagnostic-signature install {number}")

    def test_the_value_of_a_variable_stays_a_value(self):
        service, server, collector = self.start_everything()
        self.shell(service, "configure terminal", "callhome", "diagnostic-signature", "active",
                   "environment ds_hostile x")
        [field] = [field for field in hostile_texts.FIELDS if field.name == "value of a variable"]
        # One for each, as none may run often.
        for number, (name, value) in enumerate(self.values.items(), 1):
            shaped = field.shape(value, field.size)
            with self.subTest(name):
                del server.mails[:], collector.posts[:]
                with wire.Connection(service.socket, harness.LIMIT) as link:
                    is_taken = field.set(link, shaped.encode()) == wire.OK
                if not is_taken:
                    continue
                self.install(service, number)
                with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as sender:
                    sender.connect(str(self.folder / "log.sock"))
                    sender.send(f"<13>Nov 21 08:00:00 init[1]: unit{number} failed".encode())
                server.wait(lambda s: len(s.mails) == 3)
                collector.wait(3)
                [document] = [body.decode() for path, _, body in collector.posts if path == "/XML"]
                root = xml.etree.ElementTree.fromstring(document)
                self.assertEqual(root.find("m:event/m:text", NAMESPACE).text, f"[{shaped}]")
                for mail in server.mails:
                    message = email.message_from_bytes(mail.content, policy=email.policy.default)
                    self.assertEqual(message.defects, [])
                    self.assertEqual(words(message["Subject"]), words(f"[{shaped}]"))


if __name__ == "__main__":
    unittest.main()
