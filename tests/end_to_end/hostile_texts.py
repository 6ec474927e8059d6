"""Every text that can be configured or sent, and values that want to be more than a text."""
import dataclasses
import re
import typing

import harness
import wire

# These have no place in a line.
BREAKING = {
    "carriage return": "a\rBcc: evil@example.net",
    "line feed": "a\nBcc: evil@example.net",
    "both": "a\r\nBcc: evil@example.net\r\n\r\nanother body",
    "end of data": "a\r\n.\r\nMAIL FROM:<evil@example.net>\r\nRCPT TO:<evil@example.net>\r\nDATA\r\n",
    "dot line": "a\n.\n..\n.b",
    "escape sequence": "a\x1b[2J\x1b]0;owned\x07b",
    "escape of eight bits": "a\x9b2Jb",
    "delete": "a\x7f\x08b",
    "tab": "a\tb",
    "line separator": "a\u2028b\u2029c",
    "next line": "a\x85b",
}
NOT_UTF8 = b"a\xff\xfe\xc0\x80b"
# These are texts like any other.
PRINTABLE = {
    "dot": ".",
    "dots": "..",
    "dot first": ".hidden .. text .",
    "markup": "<a href=\"x\">&amp;&lt;]]><!-- --><![CDATA[ x ]]> '\"</a>",
    "entity": "<!DOCTYPE x [<!ENTITY y SYSTEM \"file:///etc/passwd\">]>&y;",
    "shell": "$(touch CANARY);`touch CANARY`|touch CANARY&touch CANARY>CANARY<x*?[a]{b,c}~!#\\ '\"",
    "format": "%s%n%1$s%%d%08x {0} {} ${IFS}",
    "header": "Bcc: evil@example.net, =?utf-8?Q?=0D=0ABcc:_evil@example.net?=",
    "many bytes": "Ärger 漢字 😀 é",
    "right to left": "a\u202egnp.exe",
    "998 characters": "x" * 998,
    "999 characters": "y" * 999,
    "2047 characters": "z" * 2047,
    "long line of words": ("long " * 400).strip(),
}


def values(canary):
    """Name and value of all; `canary` is a file that must not come into being."""
    yield from BREAKING.items()
    for name, value in PRINTABLE.items():
        yield name, value.replace("CANARY", str(canary))


def cut(text, size):
    return text.encode()[:size].decode(errors="ignore")


# A name may not be invisible, not even in part.
INVISIBLE = "right to left"


def as_line(value, size):
    return cut(value, size).strip(" ")


def as_word(value, size):
    return cut(value.replace(" ", ""), size)


def as_address(value, size):
    return "a" + as_word(value, size - 30) + "@example.net"


def as_url(value, size):
    return "http://127.0.0.1:9/x" + as_word(value, size - 30)


def as_host(value, size):
    return "a" + as_word(value, size - 30) + ".example.net"


def as_command(value, size):
    return "show " + as_line(value, size - 5)


def as_variable(value, size):
    return "ds_" + as_word(value, size - 3)


def contact_of(item):
    return lambda link, wanted: wire.Copy(link).contact().get(item)


def mail_of(index):
    def found(link, wanted):
        return wire.Copy(link).shared()["mail"][index]
    return found


def mail_record(**texts):
    names = ("from", "reply_to", "return_receipt", "server", "vrf")
    fields = [texts.get(name, b"") for name in names]
    return wire.MAIL_RECORD.pack(*fields[:4], wire.HOST_NAME, 25, 0, fields[4], 0)


def proxy_of(link, wanted):
    proxy = wire.Copy(link).shared()["proxy"]
    return proxy[0] if proxy else None


def in_list(find):
    """Of a place where there are many: the one that is looked for, or nothing."""
    return lambda link, wanted: wanted if wanted in find(wire.Copy(link)) else None


@dataclasses.dataclass
class Field:
    """A text of the configuration. `typed` is where the grammar has it: parameter and keyword id. `free` says that
    every printable text is good."""
    name: str
    typed: tuple
    size: int  # bytes
    shape: typing.Callable
    opcode: int
    record: typing.Callable  # of the value's bytes
    found: typing.Callable  # of a connection and the value that is looked for: what is configured
    free: bool = False
    operation: int = wire.SET
    # Where in the answer a result code stands; without one, the status says it all.
    code_at: int = None

    def set(self, link, value):
        """The status, or the result code that came with it."""
        status, body = link.exchange(self.opcode, self.operation, self.record(value))
        if status == wire.OK and self.code_at is not None:
            return int.from_bytes(body[self.code_at:self.code_at + 4], "big")
        return status


def contact(name, typed):
    shape, free = (as_address, False) if name == "sysContactEmail" else (as_line, True)
    size = 255 if shape is as_address else 2047
    return Field(name, typed, size, shape, wire.CONTACT,
                 lambda value: wire.CONTACT_RECORD.pack(name.encode(), value, 0), contact_of(name), free)


def mail(name, typed, index, shape, size=255):
    return Field(f"mail {name}", typed, size, shape, wire.MAIL_SETTINGS,
                 lambda value: mail_record(**{name: value}), mail_of(index))


FIELDS = [
    contact("sysContact", ("TEXT",)),
    contact("sysContactEmail", ("EMAIL#8",)),
    contact("sysContactPhoneNumber", ("TEXT#9",)),
    contact("sysStreetAddress", ("TEXT#10",)),
    contact("siteId", ("TEXT#4",)),
    contact("custId", ("TEXT#5",)),
    contact("contractId", ("TEXT#6",)),
    mail("from", ("EMAIL#11",), 0, as_address),
    mail("reply_to", ("EMAIL#12",), 1, as_address),
    mail("return_receipt", ("EMAIL#13",), 2, as_address),
    mail("server", ("HOST#14",), 3, as_host),
    mail("vrf", ("VRF#84",), 5, as_word, 31),
    Field("profile", ("PROFILE-NAME#22",), 31, as_word, wire.PROFILE,
          lambda value: wire.PROFILE_RECORD.pack(value, 1, 2, 9000, 0, 0, 0, 0),
          in_list(lambda copy: copy.profiles()), True),
    Field("address", ("EMAIL#16",), 255, as_address, wire.PROFILE_EMAIL,
          lambda value: wire.ADDRESS_RECORD.pack(b"full_txt", value, 0, 1, 0),
          in_list(lambda copy: copy.addresses(wire.PROFILE_EMAIL, b"full_txt"))),
    Field("URL", ("URL#0x30710004",), 255, as_url, wire.PROFILE_URL,
          lambda value: wire.ADDRESS_RECORD.pack(b"full_txt", value, 0, 1, 0),
          in_list(lambda copy: copy.addresses(wire.PROFILE_URL, b"full_txt"))),
    Field("mail server", (), 255, as_host, wire.MAIL_SERVER,
          lambda value: wire.MAIL_SERVER_RECORD.pack(value, wire.HOST_NAME, 25, 10, 1, 0, b"", 0),
          in_list(lambda copy: copy.servers())),
    Field("VRF of a mail server", (), 31, as_word, wire.MAIL_SERVER,
          lambda value: wire.MAIL_SERVER_RECORD.pack(b"vrf.example.net", wire.HOST_NAME, 25, 10, 1, 0, value, 0),
          lambda link, wanted: wire.Copy(link).servers().get("vrf.example.net", (0, 0, None))[2]),
    Field("user command", ("COMMAND#58",), 599, as_command, wire.USER_COMMAND,
          lambda value: wire.USER_COMMAND_RECORD.pack(0, b"license", 1, value, 0),
          in_list(lambda copy: [command for _, command in copy.user_commands()]), True),
    Field("group", (), 255, as_word, wire.ALERT_GROUP,
          lambda value: wire.SUBSCRIPTION_RECORD.pack(b"short_txt", 0, 1, value, 0, 0),
          in_list(lambda copy: copy.groups(b"short_txt"))),
    Field("proxy", ("PROXY#99",), 255, as_host, wire.HTTP_PROXY,
          lambda value: wire.HTTP_PROXY_RECORD.pack(value, wire.HOST_NAME, 8080, 0, b"", 0), proxy_of),
    Field("VRF of HTTP", (), 31, as_word, wire.HTTP_VRF,
          lambda value: wire.HTTP_VRF_RECORD.pack(value, 0),
          lambda link, wanted: wire.Copy(link).shared()["http_vrf"]),
    Field("variable", ("VARIABLE#104",), 15, as_variable, wire.SIGNATURE_VARIABLE,
          lambda value: wire.DS_VARIABLE_RECORD.pack(value, b"x", 0, 0),
          lambda link, wanted: wanted if f" {wanted}" in wire.signature_settings(link) else None, code_at=144),
    Field("value of a variable", ("VALUE#105",), 127, as_line, wire.SIGNATURE_VARIABLE,
          lambda value: wire.DS_VARIABLE_RECORD.pack(b"ds_hostile", value, 0, 0),
          lambda link, wanted: wanted if wanted in wire.signature_settings(link) else None, code_at=144),
    Field("profile of signatures", ("PROFILE-NAME#103",), 31, as_word, wire.SIGNATURE_PROFILE,
          lambda value: wire.DS_PROFILE_RECORD.pack(value, 0, 0),
          lambda link, wanted: wanted if f"Profile: {wanted}" in wire.signature_settings(link) else None,
          code_at=32),
    Field("signature file", ("FILE#109",), 200, as_word, wire.SIGNATURE_ACTION,
          lambda value: wire.DS_ACTION_RECORD.pack(wire.LOAD_FILE, 0, value, 0, 0), lambda link, wanted: None,
          code_at=209),
]

# Texts of events are not kept as a setting: (grammar, type of the message, which parameter).
EVENT_TEXTS = [
    (("NAME#69",), b"SW_CRASH", 0, "process"),
    (("REASON#70",), b"SW_CRASH", 1, "reason"),
    (("NAME#66",), b"OBX_ALERT", 0, "policy"),
    (("REASON#65",), b"OBX_ALERT", 1, "text"),
]
# The shell's own words: a text of an alert, and a time that becomes a number.
OTHER_TEXTS = {"EVENT#104", "TIME#62"}

TEXT_KINDS = ("text", "email", "file", "word", "host", "host-text", "url")


def texts_of_the_grammar():
    """Parameter and keyword id of every text that a command takes."""
    lines = (harness.TREE / "shell/commands.grammar").read_text().splitlines()
    kinds = dict(re.match(r"value (\S+) (\S+)", line).groups() for line in lines if line.startswith("value "))
    found = set()
    for line in lines:
        if re.match(r"(set|exec|configuration|call-home|signature) (?!no |show )", line):
            syntax = line.split(" : ")[0]
            found.update(name + number for name, number in re.findall(r"<([A-Z-]+)>(#\w+)?", syntax)
                         if kinds[name] in TEXT_KINDS)
    return found
