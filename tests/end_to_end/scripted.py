"""Small servers that go along with a sender up to a point, and then fail in a way that is laid down. They say
what they have seen: how many connections, which steps, what they have kept."""
import collections
import socket
import struct
import threading

import harness

HANG, RESET, CLOSE, ENDLESS, GARBAGE, LOST = "hang", "reset", "close", "endless", "garbage", "lost"
SMALL_WINDOW = 1024  # bytes; what is sent to who does not read them soon waits at the sender
ENOUGH = 300  # bytes of a message, before it is whole


class Left(Exception):
    """The conversation is over."""


class Link:
    """One connection, as a server has it."""

    def __init__(self, connection):
        self.connection = connection
        self.buffer = b""
        self.is_encrypted = False

    def send(self, data):
        self.connection.sendall(data)

    def read(self, whole):
        """Reads until `whole(buffer)` gives a length, and gives so many bytes."""
        while (length := whole(self.buffer)) is None:
            piece = self.connection.recv(65536)
            if not piece:
                raise Left
            self.buffer += piece
        taken, self.buffer = self.buffer[:length], self.buffer[length:]
        return taken

    def read_up_to(self, end):
        return self.read(lambda b: b.index(end) + len(end) if end in b else None)

    def read_bytes(self, count):
        return self.read(lambda b: count if len(b) >= count else None)

    def encrypt(self, context):
        self.connection = context.wrap_socket(self.connection, server_side=True)
        self.is_encrypted = True

    def hang(self):
        """Says nothing and reads nothing, until the other side has left."""
        self.connection.setblocking(True)
        while self.connection.recv(65536):
            pass
        raise Left

    def hang_without_reading(self, closing):
        closing.wait(harness.LIMIT)
        raise Left

    def reset(self):
        self.connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        raise Left

    def repeat(self, data):
        while True:
            self.send(data)


class Peer:
    """Listens on a free port and leads each connection in a thread of its own. `faults` says for a step what
    goes wrong there: one of the words above, or the answer that is given in place of the good one."""

    def __init__(self, faults=None, context=None, port=0):
        self.faults = dict(faults or {})
        self.context = context
        self.connections = 0
        self.steps = collections.Counter()  # how often each was come to
        self.in_clear = collections.Counter()  # of them, on connections that were not encrypted
        self.kept = []
        self.seen = threading.Condition()
        self.closing = threading.Event()
        self.listener = socket.create_server(("127.0.0.1", port), backlog=32)
        self.port = self.listener.getsockname()[1]
        self.open = set()
        self.thread = threading.Thread(target=self._accept, daemon=True)
        self.thread.start()

    def narrow(self):
        """Lets through little of what is not read."""
        self.listener.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, SMALL_WINDOW)

    def heal(self):
        """From now on, nothing goes wrong."""
        with self.seen:
            self.faults = {}

    def wait(self, condition):
        with self.seen:
            assert self.seen.wait_for(lambda: condition(self), harness.LIMIT), "the peer waited in vain"

    def close(self):
        self.closing.set()
        self.listener.shutdown(socket.SHUT_RDWR)
        self.listener.close()
        self.thread.join(harness.LIMIT)
        with self.seen:
            for connection in self.open:
                try:
                    connection.shutdown(socket.SHUT_RDWR)
                except OSError:
                    pass  # the other side was faster
            assert self.seen.wait_for(lambda: not self.open, harness.LIMIT)

    def _accept(self):
        while True:
            try:
                connection, _ = self.listener.accept()
            except OSError:
                return
            with self.seen:
                self.connections += 1
                self.open.add(connection)
                self.seen.notify_all()
            threading.Thread(target=self._serve, args=(connection,), daemon=True).start()

    def _serve(self, connection):
        link = Link(connection)
        try:
            self.converse(link)
        except (Left, OSError):
            pass  # a sender that leaves is what all this is about
        finally:
            link.connection.close()
            connection.close()
            with self.seen:
                self.open.discard(connection)
                self.seen.notify_all()

    def keep(self, item):
        with self.seen:
            self.kept.append(item)
            self.seen.notify_all()

    def come_to(self, link, step):
        """Counts the step; gives what goes wrong there."""
        with self.seen:
            self.steps[step] += 1
            if not link.is_encrypted:
                self.in_clear[step] += 1
            self.seen.notify_all()
            return self.faults.get(step)

    def fault_at(self, link, step):
        """Lets happen what goes wrong at the step; gives the other answer, if there is one."""
        fault = self.come_to(link, step)
        if fault == HANG:
            link.hang()
        elif fault in (RESET, LOST):
            link.reset()
        elif fault == CLOSE:
            raise Left
        return fault


class Mail(Peer):
    """A mail server. Its steps: greeting, EHLO, HELO, STARTTLS, handshake, AUTH, login, MAIL, RCPT, DATA,
    content, end. It offers to encrypt when it has a `context`, and a login when `login` says so."""

    ANSWERS = {
        "greeting": "220 peer.example is ready", "HELO": "250 peer.example", "STARTTLS": "220 go ahead",
        "AUTH": "334 ", "login": "235 2.7.0 welcome", "MAIL": "250 2.1.0 ok", "RCPT": "250 2.1.5 ok",
        "DATA": "354 go on", "end": "250 2.0.0 kept", "QUIT": "221 2.0.0 bye", "*": "500 5.5.1 what?",
    }

    def __init__(self, faults=None, context=None, login=False, port=0):
        self.login = login
        super().__init__(faults, context, port)
        self.narrow()

    def answer(self, link, step, default=None):
        answer = self.fault_at(link, step) or default or self.ANSWERS[step]
        if answer == ENDLESS:
            link.repeat(b"220-and so on\r\n")
        link.send(answer.encode() + b"\r\n")
        if answer.startswith("421"):
            raise Left  # as RFC 5321, 3.8, has it
        return answer

    def features(self, link):
        names = ["peer.example", "8BITMIME"]
        if self.context and not link.is_encrypted:
            names.append("STARTTLS")
        if self.login:
            names.append("AUTH PLAIN")
        lines = [f"250-{name}" for name in names]
        return "\r\n".join((*lines[:-1], lines[-1].replace("-", " ", 1)))

    def converse(self, link):
        self.answer(link, "greeting")
        while True:
            verb = link.read_up_to(b"\r\n").split()[0].upper().decode()
            if verb == "EHLO":
                self.answer(link, "EHLO", self.features(link))
            elif verb == "STARTTLS":
                self.start_encryption(link)
            elif verb == "AUTH":
                if self.answer(link, "AUTH").startswith("334"):
                    link.read_up_to(b"\r\n")
                    self.answer(link, "login")
            elif verb == "DATA":
                if self.answer(link, "DATA").startswith("354"):
                    self.take_content(link)
            elif verb in self.ANSWERS:
                self.answer(link, verb)
            else:
                self.answer(link, "*")

    def start_encryption(self, link):
        if self.answer(link, "STARTTLS").startswith("220"):
            if self.fault_at(link, "handshake") == GARBAGE:
                link.send(b"500 this is no handshake\r\n")
                link.hang()
            link.encrypt(self.context)

    def take_content(self, link):
        if self.faults.get("content") != HANG:
            link.read(lambda buffer: 0 if buffer else None)  # it has come to it with the first byte
        fault = self.come_to(link, "content")
        if fault == HANG:
            link.hang_without_reading(self.closing)
        elif fault == RESET:
            link.read_bytes(ENOUGH)
            link.reset()
        content = link.read_up_to(b"\r\n.\r\n")[:-3]
        fault = self.faults.get("end", "250")
        if fault == LOST or fault.startswith("250"):
            self.keep(content)
        self.answer(link, "end")


class Web(Peer):
    """A web server, or a proxy. Its steps: connect, handshake, body, answer, rest. What it keeps are the head
    and the body of what was posted."""

    GOOD = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"

    def converse(self, link):
        if said := self.fault_at(link, "connect"):
            link.send(said.encode())
            link.hang()
        if self.context:
            link.connection.recv(1, socket.MSG_PEEK)  # the other side has begun
            self.fault_at(link, "handshake")
            link.encrypt(self.context)
        head = link.read_up_to(b"\r\n\r\n").decode("latin-1")
        if head.startswith("CONNECT "):
            answer = self.fault_at(link, "CONNECT") or "HTTP/1.1 502 Bad Gateway\r\nContent-Length: 0\r\n\r\n"
            link.send(answer.encode())
            link.hang()
        length = next(int(line.split(":")[1]) for line in head.split("\r\n")
                      if line.lower().startswith("content-length:"))
        if "body" in self.faults:
            link.read_bytes(ENOUGH)
        self.fault_at(link, "body")
        body = link.read_bytes(length)
        answer = self.faults.get("answer", self.GOOD)
        if answer == LOST or answer.startswith("HTTP/1.1 2"):
            self.keep((head, body))
        answer = self.fault_at(link, "answer") or self.GOOD
        if answer == ENDLESS:
            link.repeat(b"HTTP/1.1 100 Continue\r\n\r\n")
        link.send(answer.encode())
        self.fault_at(link, "rest")
