"""The service's socket protocol, written a second time and in another language: a test that talks
through this file notices when both ends of the product change together by mistake."""
import socket
import struct

MAGIC, VERSION, REQUEST, REPLY = 0x43484D46, 1, 1, 2
HEADER = struct.Struct(">7I")

GET, GET_NEXT, SET, REMOVE, GET_PENDING, GET_NEXT_PENDING = range(1, 7)
MAIL_SETTINGS, PROFILE_EMAIL, PROFILE, CONTACT, FEATURE = 2152, 2153, 2154, 2155, 2156
SEND_MESSAGE, TRAPS, PROFILE_URL, MAIL_SERVER = 2157, 2188, 2190, 2193
MESSAGE_LOG, DELIVERY_LOG, MESSAGE_TEXT, POST_ALERT = 0x4C480, 0x4C481, 0x4C482, 0x4C483

OK, MALFORMED, NOT_FOUND, NO_FURTHER = 0, 0x403B0001, 0x403B000B, 0x403B000C
TOO_MANY_CONNECTIONS, PERMISSION_DENIED, DISTRIBUTION_OFF = 0x403B0003, 0x403B0010, 0x403B0034

CONTACT_RECORD = struct.Struct(">256s2048sB")
SWITCH_RECORD = struct.Struct(">IB")
PROFILE_RECORD = struct.Struct(">32sIIIIBBB")
ADDRESS_RECORD = struct.Struct(">32s256sIIB")
MAIL_RECORD = struct.Struct(">256s256s256s256sIIB256sI")
MAIL_SERVER_RECORD = struct.Struct(">256sIIIIB256sI")
MESSAGE_LOG_RECORD = struct.Struct(">7I64s32s256s")
DELIVERY_LOG_RECORD = struct.Struct(">6I256s512s")


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

    def walk(self, opcode, record, key, next_key):
        """All replies of get-next requests, unpacked, until there is no further entry."""
        found = []
        while True:
            status, body = self.exchange(opcode, GET_NEXT, key)
            if status == NO_FURTHER:
                return found
            assert status == OK, hex(status)
            entry = record.unpack(body)
            found.append(entry)
            key = next_key(entry)


def configuration(path):
    """Everything that the service says of its configuration, in plain Python values."""
    with Connection(path) as link:
        names = ["sysContact", "sysContactEmail", "sysContactPhoneNumber", "sysStreetAddress"]
        names += ["siteId", "custId", "contractId", "priority"]
        contact = {}
        for name in names:
            status, body = link.exchange(CONTACT, GET, CONTACT_RECORD.pack(name.encode(), b"", 0))
            if status == OK:
                contact[name] = text(CONTACT_RECORD.unpack(body)[1])
        profiles = {}
        first = PROFILE_RECORD.pack(b"", 0, 0, 0, 0, 0, 0, 0)
        for entry in link.walk(
            PROFILE, PROFILE_RECORD, first, lambda e: PROFILE_RECORD.pack(e[0], *([0] * 7))
        ):
            profile = {"methods": entry[1], "format": entry[2], "size": entry[3], "level": entry[5]}
            for kind, opcode in (("email", PROFILE_EMAIL), ("url", PROFILE_URL)):
                rows = link.walk(
                    opcode, ADDRESS_RECORD, ADDRESS_RECORD.pack(entry[0], b"", 0, 1, 0),
                    lambda e: ADDRESS_RECORD.pack(e[0], b"", e[2], 1, 0),
                )
                profile[kind] = [text(row[1]) for row in rows]
            profiles[text(entry[0])] = profile
        servers = link.walk(
            MAIL_SERVER, MAIL_SERVER_RECORD, MAIL_SERVER_RECORD.pack(b"", 0, 0, 0, 1, 0, b"", 0),
            lambda e: MAIL_SERVER_RECORD.pack(e[0], 0, 0, 0, 1, 0, b"", 0),
        )
        _, mail = link.exchange(MAIL_SETTINGS, GET, MAIL_RECORD.pack(b"", b"", b"", b"", 0, 0, 0, b"", 0))
        mail = MAIL_RECORD.unpack(mail)
        _, feature = link.exchange(FEATURE, GET, SWITCH_RECORD.pack(0, 0))
        _, traps = link.exchange(TRAPS, GET, SWITCH_RECORD.pack(0, 0))
        return {
            "contact": contact,
            "profiles": profiles,
            "servers": {text(row[0]): (row[2], row[3], text(row[6])) for row in servers},
            "mail": [text(mail[i]) for i in range(4)] + [mail[5], text(mail[7])],
            "enabled": SWITCH_RECORD.unpack(feature)[0],
            "traps": SWITCH_RECORD.unpack(traps)[0],
        }
