"""What is done while a write of the service fails, and what has to be there afterwards."""
import re

import harness
import receivers
import wire

LOST = "not answered"  # instead of a status: the service ended first, or has its trouble still
NOT_ASKED = "not asked"


class Scenario:
    """`prepare` makes the state that each run begins with. `act` asks the service that is spoilt and keeps what it
    was told. `check` is given the service after its fresh start, and what to say where something is wrong."""

    def __init__(self, test):
        self.test = test
        self.begin()

    def begin(self):
        """Before each run: nothing was asked yet."""
        self.is_refused = False  # whether anything was, for want of storage

    def prepare(self, service):
        pass

    def act(self, link):
        pass

    def was_done(self):
        """Whether all was told to be done, as it is when nothing is spoilt."""
        return True

    def check(self, service, where):
        pass

    def ask(self, link, opcode, operation, body):
        """The status, or LOST, and the body of the answer."""
        try:
            status, answer = link.exchange(opcode, operation, body)
        except OSError:
            return LOST, b""
        self.is_refused = self.is_refused or status == wire.STORAGE_FAILED
        return status, answer


class FirstStart(Scenario):
    """There is no state yet."""

    def check(self, service, where):
        self.test.assertEqual(list(wire.configuration(service.socket)["profiles"]),
                              ["full_txt", "short_txt", "ZUVA-profile"], where)


class Configure(Scenario):
    CHANGES = [
        ("contact", wire.CONTACT, wire.CONTACT_RECORD.pack(b"siteId", b"harbour", 0)),
        ("profile", wire.PROFILE, wire.PROFILE_RECORD.pack(b"night", 1, 2, 4321, 0, 1, 0, 0)),
        ("address", wire.PROFILE_EMAIL, wire.ADDRESS_RECORD.pack(b"night", b"late@example.net", 0, 1, 0)),
        ("group", wire.ALERT_GROUP, wire.SUBSCRIPTION_RECORD.pack(b"night", 0, 1, b"license", 0, 0)),
        ("server", wire.MAIL_SERVER,
         wire.MAIL_SERVER_RECORD.pack(b"mail2.example.net", wire.HOST_NAME, 2525, 77, 1, 0, b"", 0)),
        ("command", wire.USER_COMMAND, wire.USER_COMMAND_RECORD.pack(0, b"system", 1, b"show clock", 0)),
    ]

    def begin(self):
        super().begin()
        self.told = {}

    def act(self, link):
        for name, opcode, record in self.CHANGES:
            self.told[name], _ = self.ask(link, opcode, wire.SET, record)
            if self.told[name] == LOST:
                break

    def was_done(self):
        return list(self.told.values()) == [wire.OK] * len(self.CHANGES)

    def found(self, service):
        configuration = wire.configuration(service.socket)
        night = configuration["profiles"].get("night", {})
        return {
            "contact": configuration["contact"].get("siteId") == "harbour",
            "profile": night.get("size") == 4321,
            "address": night.get("email") == ["late@example.net"],
            "group": night.get("groups") == ["license"],
            "server": configuration["servers"].get("mail2.example.net", ())[:2] == (2525, 77),
            "command": ("system", "show clock") in configuration["user_commands"],
        }

    def check(self, service, where):
        for name, is_there in self.found(service).items():
            status = self.told.get(name, NOT_ASKED)
            if status != LOST:
                self.test.assertEqual(is_there, status == wire.OK, f"{name}, {status}: {where}")


class Messages(Scenario):
    """A message is sent; how far it gets is up to who stands at its receivers."""

    mail_port = url = expected = None

    def begin(self):
        super().begin()
        self.status, self.reply = NOT_ASKED, ""
        self.marker = receivers.marker_of("fault", next(self.test.numbers))

    def prepare(self, service):
        receivers.configure(self.test, service, self.mail_port, self.url)
        self.everybody = sorted((*receivers.MAILBOXES, self.url))

    def act(self, link):
        self.status, body = self.ask(link, wire.SEND_MESSAGE, wire.SET, wire.SEND_MESSAGE_RECORD.pack(
            b"OBX_ALERT", 0, b"", b"faults", self.marker.encode()))
        if self.status in (wire.OK, wire.NOT_SENT):
            self.reply = wire.text(wire.SEND_MESSAGE_RECORD.unpack(
                body.ljust(wire.SEND_MESSAGE_RECORD.size, b"\0"))[2])

    def was_done(self):
        return self.status == self.expected

    def recorded(self, service):
        """The receivers for whom the message was recorded."""
        with wire.Connection(service.socket, harness.LIMIT) as link:
            messages = link.walk(wire.MESSAGE_LOG, wire.MESSAGE_LOG_RECORD, bytes(wire.MESSAGE_LOG_RECORD.size),
                                 lambda entry: wire.MESSAGE_LOG_RECORD.pack(*entry))
            texts = [link.exchange(wire.MESSAGE_TEXT, wire.GET, wire.WORD_RECORD.pack(entry[0]))
                     for entry in messages]
            self.test.assertTrue(all(self.marker.encode() in text for _, text in texts))
            return sorted(wire.text(entry[6]) for entry in link.walk(
                wire.DELIVERY_LOG, wire.DELIVERY_LOG_RECORD, bytes(wire.DELIVERY_LOG_RECORD.size),
                lambda entry: wire.DELIVERY_LOG_RECORD.pack(entry[0], 0, 0, 0, 0, 0, b"", b"", b"")))

    def check_recorded(self, service, where):
        """That there is the whole message or none, as was told; gives whether there is one."""
        found = self.recorded(service)
        where = f"{self.status}, {self.reply!r}: {where}"
        self.test.assertIn(found, ([], self.everybody), where)
        if self.reply:
            self.test.assertEqual(found, self.everybody, where)
            for receiver in self.everybody:
                self.test.assertIn(receiver, self.reply, where)
        elif self.status != LOST:
            self.test.assertIn(self.status, (wire.STORAGE_FAILED, NOT_ASKED), where)
            self.test.assertEqual(found, [], where)
        return bool(found)


class SendMessage(Messages):
    """Nobody is reached, so that the message has to be kept."""

    expected = wire.NOT_SENT

    def prepare(self, service):
        self.mail_port, self.url = self.test.dead_port, f"http://127.0.0.1:{self.test.dead_port}/in"
        super().prepare(service)

    def check(self, service, where):
        self.check_recorded(service, where)


class Deliver(Messages):
    """Everybody is reached at once."""

    expected = wire.OK

    def prepare(self, service):
        self.mail_port, self.url = self.test.receivers.port, self.test.receivers.url
        super().prepare(service)

    def check(self, service, where):
        is_recorded = self.check_recorded(service, where)
        receivers.wait_until_nothing_waits(self.test, service)
        for receiver in self.everybody:
            self.test.receivers.check(self.test, self.marker, receiver, where)
            has_arrived = bool(self.test.receivers.arrivals.get((self.marker, receiver)))
            self.test.assertEqual(has_arrived, is_recorded, f"{receiver}: {where}")


class CommitSession(Scenario):
    def begin(self):
        super().begin()
        self.result = NOT_ASKED

    def prepare(self, service):
        self.test.shell(service, "configure terminal", "snmp-server contact Ada Marlowe", "callhome", "distribute",
                        "destination-profile night message-size 4321",
                        "destination-profile night email-addr late@example.net",
                        "transport email from switch@example.net", "alert-group system user-def-cmd show clock",
                        "transport http use-vrf blue")
        self.old, self.new = self.copy(service, wire.EFFECTIVE), self.copy(service, wire.PENDING)
        self.test.assertNotEqual(self.old, self.new)

    def copy(self, service, operations):
        with wire.Connection(service.socket, harness.LIMIT) as link:
            return wire.Copy(link, operations).shared()

    def act(self, link):
        status, _ = self.ask(link, wire.COMMIT, wire.SET, wire.COMMIT_RECORD.pack(
            wire.ACTION_COMMIT, b"", 0, 0, b""))
        self.result = wire.RESULT_IN_PROGRESS if status == wire.OK else LOST
        while self.result == wire.RESULT_IN_PROGRESS:
            status, body = self.ask(link, wire.COMMIT, wire.GET, bytes(wire.COMMIT_RECORD.size))
            if status == LOST:
                self.result = LOST
                return
            _, _, self.result, cause, _ = wire.COMMIT_RECORD.unpack(body)
            self.is_refused = self.is_refused or cause == wire.STORAGE_FAILED

    def was_done(self):
        return self.result == wire.RESULT_SUCCESS

    def check(self, service, where):
        where = f"{self.result}: {where}"
        found, session = self.copy(service, wire.EFFECTIVE), wire.session(service.socket)
        self.test.assertIn(found, (self.old, self.new), where)
        if self.result == wire.RESULT_SUCCESS:
            self.test.assertEqual(found, self.new, where)
        if self.is_refused or self.result in (wire.RESULT_FAIL, NOT_ASKED):
            self.test.assertEqual(found, self.old, where)
        self.test.assertEqual(session["is_open"], found == self.old, where)
        if session["is_open"]:
            self.test.assertEqual(self.copy(service, wire.PENDING), self.new, where)


class LoadSignature(Scenario):
    FILE = harness.TREE / "examples/signatures/daemon-restarts.xml"
    NAME = re.search("<name>(.*)</name>", FILE.read_text()).group(1)

    def begin(self):
        super().begin()
        self.result = NOT_ASKED

    def act(self, link):
        status, body = self.ask(link, wire.SIGNATURE_ACTION, wire.SET, wire.DS_ACTION_RECORD.pack(
            wire.LOAD_FILE, 0, str(self.FILE).encode(), 0, 0))
        self.result = status if status != wire.OK else wire.DS_ACTION_RECORD.unpack(body)[3]

    def was_done(self):
        return self.result == wire.OK

    def check(self, service, where):
        shown = self.test.shell(service, "show diagnostic-signature callhome").stdout
        if self.result != LOST:
            self.test.assertEqual(self.NAME in shown, self.result == wire.OK, f"{self.result}: {where}")


ALL = (FirstStart, Configure, SendMessage, Deliver, CommitSession, LoadSignature)
