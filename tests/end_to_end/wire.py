"""The service's socket protocol, written a second time and in another language: a test that talks
through this file notices when both ends of the product change together by mistake."""
import socket
import struct

MAGIC, VERSION, REQUEST, REPLY = 0x43484D46, 1, 1, 2
HEADER = struct.Struct(">7I")

GET, GET_NEXT, SET, REMOVE, GET_PENDING, GET_NEXT_PENDING = range(1, 7)
MAIL_SETTINGS, PROFILE_EMAIL, PROFILE, CONTACT, FEATURE = 2152, 2153, 2154, 2155, 2156
SEND_MESSAGE, TRAPS, PROFILE_URL, MAIL_SERVER = 2157, 2188, 2190, 2193
ALERT_GROUP, SOFTWARE, THROTTLE, INVENTORY = 2162, 2172, 2173, 2175
DISTRIBUTION, COMMIT, CLEAR_SESSION, USER_COMMAND = 2177, 2179, 2182, 2185
HTTP_VRF, HTTP_PROXY, PRIVACY = 2194, 2195, 0x4C40D
SIGNATURE_PROFILE, SIGNATURE_VARIABLE = 0x4C409, 0x4C40A
SERVICE_INFO, SIGNATURE_VIEW, MESSAGE_STATISTICS, SIGNATURE_ACTION = 0x4C404, 0x4C405, 0x4C407, 0x4C40C
MESSAGE_LOG, DELIVERY_LOG, MESSAGE_TEXT, POST_ALERT, SESSION = range(0x4C480, 0x4C485)

OK, MALFORMED, NOT_FOUND, NO_FURTHER = 0, 0x403B0001, 0x403B000B, 0x403B000C
TOO_MANY_CONNECTIONS, PERMISSION_DENIED, DISTRIBUTION_OFF = 0x403B0003, 0x403B0010, 0x403B0034
COMMIT_IN_PROGRESS, COMMIT_INTERRUPTED, NO_SESSION, LOCKED = 0x403B0005, 0x403B0006, 0x403B0032, 0x403B0035
NO_DESTINATION, NOT_SENT, STORAGE_FAILED = 0x403B0017, 0x403B001D, 0x403B0002
INSTALL, INSTALL_ANSWERS, LOAD_FILE = 32, 33, 34
SETTINGS_VIEW = 1
HOST_NAME = 16  # the kind of an address

ACTION_COMMIT, ACTION_DISCARD, ACTION_CLEAR = 4, 5, 6
RESULT_NONE, RESULT_SUCCESS, RESULT_FAIL, RESULT_IN_PROGRESS = 1, 2, 3, 4

CONTACT_RECORD = struct.Struct(">256s2048sB")
SWITCH_RECORD = struct.Struct(">IB")
PROFILE_RECORD = struct.Struct(">32sIIIIBBB")
ADDRESS_RECORD = struct.Struct(">32s256sIIB")
MAIL_RECORD = struct.Struct(">256s256s256s256sIIB256sI")
MAIL_SERVER_RECORD = struct.Struct(">256sIIIIB256sI")
SUBSCRIPTION_RECORD = struct.Struct(">32sII256sIB")
USER_COMMAND_RECORD = struct.Struct(">I256sI600sB")
HTTP_PROXY_RECORD = struct.Struct(">256sIIB93sB")
HTTP_VRF_RECORD = struct.Struct(">256sB")
INVENTORY_RECORD = struct.Struct(">IIBI")
PRIVACY_RECORD = struct.Struct(">IIB")
WORD_RECORD = struct.Struct(">I")
COMMIT_RECORD = struct.Struct(">I20sII12s")
SESSION_RECORD = struct.Struct(">II64sIIII64s")
DS_ACTION_RECORD = struct.Struct(">II201sII")
DS_QUESTION_RECORD = struct.Struct(">16s128s128s128s")
DS_VARIABLE_RECORD = struct.Struct(">16s128sIB")
DS_PROFILE_RECORD = struct.Struct(">32sIB")
SEND_MESSAGE_RECORD = struct.Struct(">64sI2048s256s256s")
ALERT_RECORD = struct.Struct(">64s256s2048sI")
SEVERITY_OF_ITS_NAME = 0xFFFFFFFF
MESSAGE_LOG_RECORD = struct.Struct(">7I64s32s256s")
DELIVERY_LOG_RECORD = struct.Struct(">6I256s512s32s")


def text(field):
    """The text of a fixed field: up to its terminator."""
    return field.split(b"\0", 1)[0].decode()


def header(opcode, operation, length, *, magic=MAGIC, version=VERSION, kind=REQUEST, status=0):
    return HEADER.pack(magic, version, kind, opcode, operation, status, length)


class Connection:
    """One connection to the service; each exchange gives (status, body)."""

    def __init__(self, path, timeout=20):
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.socket.settimeout(timeout)
        self.socket.connect(str(path))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def _read(self, count):
        content = b""
        while len(content) < count:
            piece = self.socket.recv(count - len(content))
            if not piece:
                raise ConnectionError("the service closed the connection")
            content += piece
        return content

    def read_reply(self):
        magic, version, kind, _, _, status, length = HEADER.unpack(self._read(HEADER.size))
        assert (magic, version, kind) == (MAGIC, VERSION, REPLY)
        return status, self._read(length)

    def exchange(self, opcode, operation, body):
        self.socket.sendall(header(opcode, operation, len(body)) + body)
        return self.read_reply()

    def walk(self, opcode, record, key, next_key, operation=GET_NEXT):
        """All replies of get-next requests, unpacked, until there is no further entry."""
        found = []
        while True:
            status, body = self.exchange(opcode, operation, key)
            if status == NO_FURTHER:
                return found
            assert status == OK, hex(status)
            entry = record.unpack(body)
            found.append(entry)
            key = next_key(entry)


CONTACT_ITEMS = ["sysContact", "sysContactEmail", "sysContactPhoneNumber", "sysStreetAddress",
                 "siteId", "custId", "contractId", "priority"]
# Operations that read a copy of the configuration: one entry, and the next one.
EFFECTIVE, PENDING = (GET, GET_NEXT), (GET_PENDING, GET_NEXT_PENDING)


class Copy:
    """One copy of the configuration, in plain Python values."""

    def __init__(self, link, operations=EFFECTIVE):
        self.link, (self.get, self.get_next) = link, operations

    def one(self, opcode, record, key):
        """An entry, unpacked; nothing when there is none."""
        status, body = self.link.exchange(opcode, self.get, key)
        assert status in (OK, NOT_FOUND), hex(status)
        return record.unpack(body) if status == OK else None

    def walk(self, opcode, record, key, next_key):
        return self.link.walk(opcode, record, key, next_key, self.get_next)

    def contact(self):
        found = {}
        for name in CONTACT_ITEMS:
            entry = self.one(CONTACT, CONTACT_RECORD, CONTACT_RECORD.pack(name.encode(), b"", 0))
            if entry:
                found[name] = text(entry[1])
        return found

    def addresses(self, opcode, profile):
        rows = self.walk(opcode, ADDRESS_RECORD, ADDRESS_RECORD.pack(profile, b"", 0, 1, 0),
                         lambda e: ADDRESS_RECORD.pack(e[0], b"", e[2], 1, 0))
        return [text(row[1]) for row in rows]

    def groups(self, profile):
        rows = self.walk(ALERT_GROUP, SUBSCRIPTION_RECORD,
                         SUBSCRIPTION_RECORD.pack(profile, 0, 1, b"", 0, 0),
                         lambda e: SUBSCRIPTION_RECORD.pack(e[0], e[1], 1, b"", 0, 0))
        return [text(row[3]) for row in rows]

    def profiles(self):
        rows = self.walk(PROFILE, PROFILE_RECORD, PROFILE_RECORD.pack(b"", *([0] * 7)),
                         lambda e: PROFILE_RECORD.pack(e[0], *([0] * 7)))
        return {text(row[0]): {
            "methods": row[1], "format": row[2], "size": row[3], "level": row[5],
            "email": self.addresses(PROFILE_EMAIL, row[0]),
            "url": self.addresses(PROFILE_URL, row[0]),
            "groups": self.groups(row[0]),
        } for row in rows}

    def servers(self):
        rows = self.walk(MAIL_SERVER, MAIL_SERVER_RECORD,
                         MAIL_SERVER_RECORD.pack(b"", 0, 0, 0, 1, 0, b"", 0),
                         lambda e: MAIL_SERVER_RECORD.pack(e[0], 0, 0, 0, 1, 0, b"", 0))
        return {text(row[0]): (row[2], row[3], text(row[6])) for row in rows}

    def user_commands(self):
        rows = self.walk(USER_COMMAND, USER_COMMAND_RECORD, USER_COMMAND_RECORD.pack(0, b"", 1, b"", 0),
                         lambda e: USER_COMMAND_RECORD.pack(*e))
        return [(text(row[1]), text(row[3])) for row in rows]

    def shared(self):
        """What a distribution session collects."""
        mail = self.one(MAIL_SETTINGS, MAIL_RECORD, MAIL_RECORD.pack(b"", b"", b"", b"", 0, 0, 0, b"", 0))
        proxy = self.one(HTTP_PROXY, HTTP_PROXY_RECORD, HTTP_PROXY_RECORD.pack(b"", 0, 0, 0, b"", 0))
        vrf = self.one(HTTP_VRF, HTTP_VRF_RECORD, HTTP_VRF_RECORD.pack(b"", 0))
        inventory = self.one(INVENTORY, INVENTORY_RECORD, INVENTORY_RECORD.pack(0, 0, 0, 0))
        return {
            "profiles": self.profiles(),
            "servers": self.servers(),
            "mail": [text(mail[i]) for i in range(4)] + [mail[5], text(mail[7])],
            "proxy": (text(proxy[0]), proxy[2], proxy[3]) if proxy and text(proxy[0]) else None,
            "http_vrf": text(vrf[0]) if vrf else None,
            "inventory": (inventory[0], inventory[1], inventory[3]),
            "user_commands": self.user_commands(),
        }


def configuration(path):
    """Everything that the service says of its effective configuration."""
    with Connection(path) as link:
        effective = Copy(link)
        switches = {}
        for name, opcode in (("enabled", FEATURE), ("traps", TRAPS), ("throttle", THROTTLE)):
            switches[name] = effective.one(opcode, SWITCH_RECORD, SWITCH_RECORD.pack(0, 0))[0]
        _, privacy = link.exchange(PRIVACY, GET, PRIVACY_RECORD.pack(0, 0, 0))
        _, distribution = link.exchange(DISTRIBUTION, GET, WORD_RECORD.pack(0))
        return {
            "contact": effective.contact(),
            **effective.shared(),
            **switches,
            "privacy": WORD_RECORD.unpack(privacy)[0],
            "distribution": WORD_RECORD.unpack(distribution)[0],
        }


def session(path):
    """The distribution session, and how the last one ended."""
    with Connection(path) as link:
        status, body = link.exchange(SESSION, GET, bytes(SESSION_RECORD.size))
        assert status == OK, hex(status)
        is_open, opened_at, owner, action, result, cause, at, user = SESSION_RECORD.unpack(body)
        return {"is_open": bool(is_open), "opened_at": opened_at, "owner": text(owner), "action": action,
                "result": result, "cause": cause, "at": at, "user": text(user)}


def signature_settings(link):
    """The text of the settings of diagnostic signatures."""
    status, body = link.exchange(SIGNATURE_VIEW, GET, struct.pack(">II", SETTINGS_VIEW, 0))
    assert status == OK, hex(status)
    return body.decode()
