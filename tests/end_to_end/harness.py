"""What the end-to-end tests stand on: the real shell and service in a folder of their own, and mail
servers that are not ours. Everything is gone when a test has ended."""
import asyncio
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import tempfile
import threading
import unittest

from aiosmtpd.smtp import SMTP

PROGRAMS = pathlib.Path(os.environ["CALLHOME_PROGRAMS"])  # where callhome and callhomed were built
TREE = pathlib.Path(__file__).resolve().parents[2]
LOOK_AGAIN = 0.05  # seconds; between two looks whether a program listens
LIMIT = 60  # seconds; a guard against hanging, never what a test waits for


class Service:
    """callhomed with its own state. Ends with the test. `within` is a command that starts it."""

    def __init__(self, folder, *options, state=None, within=()):
        self.folder = pathlib.Path(folder)
        self.options = options
        self.within = within
        self.socket = self.folder / "callhomed.sock"
        self.state = state or self.folder / "state"
        self.log = self.folder / "callhomed.log"
        self.process = None
        self.start()

    def start(self):
        reader, writer = os.pipe()
        with open(self.log, "ab") as log:
            self.process = subprocess.Popen(
                [*self.within, PROGRAMS / "callhomed", "--socket", self.socket, "--state-folder", self.state,
                 "--ready-fd", str(writer), *self.options],
                stdin=subprocess.DEVNULL, stderr=log, pass_fds=[writer],
            )
        os.close(writer)
        ready = os.read(reader, 1)
        os.close(reader)
        if not ready:
            raise AssertionError("callhomed did not start:\n" + self.log.read_text())

    def kill(self):
        self.process.kill()
        self.process.wait(LIMIT)

    def stop(self):
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
        return self.process.wait(LIMIT)

    def restart(self):
        self.stop()
        self.start()


class Mail:
    """One message as a server took it."""

    def __init__(self, sender, recipients, content):
        self.sender, self.recipients, self.content = sender, recipients, content


class MailServer:
    """aiosmtpd on a free port. `answers` maps a command (MAIL, RCPT, DATA) to a function that takes the
    recipient or message and gives the reply line; "hang" as the reply means that none ever comes. `smtp` holds
    options of aiosmtpd's SMTP, `tls` the context of a server that encrypts from the first byte."""

    def __init__(self, port=0, smtp=None, tls=None, **answers):
        self.answers = answers
        self.mails = []
        self.seen = threading.Condition()
        self.attempts = 0
        self.loop = asyncio.new_event_loop()
        self.server = self.loop.run_until_complete(
            self.loop.create_server(lambda: SMTP(self, hostname="peer.example", loop=self.loop, **(smtp or {})),
                                    "127.0.0.1", port, ssl=tls)
        )
        self.port = self.server.sockets[0].getsockname()[1]
        self.thread = threading.Thread(target=self.loop.run_forever, daemon=True)
        self.thread.start()

    async def _answer(self, command, subject, default):
        line = self.answers[command](subject) if command in self.answers else default
        if line == "hang":
            await asyncio.Event().wait()
        return line

    async def handle_MAIL(self, server, session, envelope, address, options):
        with self.seen:
            self.attempts += 1
            self.seen.notify_all()
        line = await self._answer("MAIL", address, "250 2.1.0 ok")
        if line.startswith("250"):
            envelope.mail_from = address
        return line

    async def handle_RCPT(self, server, session, envelope, address, options):
        line = await self._answer("RCPT", address, "250 2.1.5 ok")
        if line.startswith("250"):
            envelope.rcpt_tos.append(address)
        return line

    async def handle_DATA(self, server, session, envelope):
        line = await self._answer("DATA", envelope, "250 2.0.0 kept")
        if line.startswith("250"):
            with self.seen:
                self.mails.append(Mail(envelope.mail_from, list(envelope.rcpt_tos), envelope.content))
                self.seen.notify_all()
        return line

    def wait(self, condition):
        """Waits until `condition(self)` holds; it is asked again after each attempt and each mail."""
        with self.seen:
            assert self.seen.wait_for(lambda: condition(self), LIMIT), "the mail server waited in vain"

    def close(self):
        if self.loop.is_closed():
            return

        def finish():
            self.server.close()
            for task in asyncio.all_tasks(self.loop):
                task.cancel()
            self.loop.call_soon(self.loop.stop)

        self.loop.call_soon_threadsafe(finish)
        self.thread.join(LIMIT)
        self.loop.close()


def lead_a_login_session():
    """For tests in which the login that they come from matters: where its leader has ended or is out of
    sight, as under a job runner or in a container, this process leads one of its own."""
    if not os.path.exists(f"/proc/{os.getsid(0)}/stat"):
        os.setsid()


def wait_until_it_listens(process, port, why=lambda: ""):
    """For programs that do not tell by themselves. `why` adds to the error of one that has ended."""
    while True:
        try:
            socket.create_connection(("127.0.0.1", port), LIMIT).close()
            return
        except ConnectionRefusedError:
            pass
        try:
            raise AssertionError(f"{process.args[0]} has ended with {process.wait(LOOK_AGAIN)} {why()}")
        except subprocess.TimeoutExpired:
            pass


def free_port():
    """A port that nobody listens on."""
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class EndToEnd(unittest.TestCase):
    """A folder, a service on demand, and the shell."""

    maxDiff = None

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="callhome-"))
        self.addCleanup(shutil.rmtree, self.folder)

    def start_service(self, *options, name="service", within=()):
        home = self.folder / name
        home.mkdir()
        service = Service(home, *options, within=within)
        self.addCleanup(service.stop)
        return service

    def start_mail_server(self, port=0, smtp=None, tls=None, **answers):
        server = MailServer(port, smtp, tls, **answers)
        self.addCleanup(server.close)
        return server

    def shell(self, service, *commands, input=None, options=(), check=True):
        """Runs commands (or the script given as input) through the real shell."""
        arguments = [PROGRAMS / "callhome", "--socket", service.socket, "--prompt-name", "switch", *options]
        for command in commands:
            arguments += ["-c", command]
        done = subprocess.run(
            arguments, input=input, stdin=subprocess.DEVNULL if input is None else None,
            capture_output=True, text=True, timeout=2 * LIMIT,
        )
        if check:
            self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        return done

    def configure(self, service, port, *more):
        """The least that sends a mail to ops@example.net through 127.0.0.1:port, then `more`."""
        return self.shell(
            service, "configure terminal", "snmp-server contact Ada Marlowe", "callhome",
            "email-contact ada@example.net", "destination-profile ops format full-txt",
            "destination-profile ops email-addr ops@example.net",
            "transport email from switch@example.net",
            f"transport email mail-server 127.0.0.1 port {port} priority 10", *more, "enable",
        )

    def configure_http(self, service, url, *more, format="XML"):
        """The profile "ops" posts to this address, and nothing else takes messages."""
        self.shell(
            service, "configure terminal", "snmp-server contact Ada Marlowe", "callhome",
            "email-contact ada@example.net", f"destination-profile ops format {format}",
            f"destination-profile ops http {url}", "destination-profile ops transport-method http",
            "no destination-profile ops transport-method email", *more, "enable",
        )


class SystemWide(EndToEnd):
    """A service for all users: where this is root, commands run as another one, who has to reach programs and
    socket."""

    OPTIONS = ()

    def setUp(self):
        super().setUp()
        self.folder.chmod(0o755)
        self.programs = self.folder / "bin"
        self.programs.mkdir(mode=0o755)
        for name in ("callhome", "callhomed", "libcallhome.so"):
            shutil.copy(PROGRAMS / name, self.programs)
            (self.programs / name).chmod(0o755)

    def start(self, *options):
        service = self.start_service(
            "--system", "--log-socket", self.folder / "log.sock", *self.OPTIONS, *options,
            within=("/bin/sh", "-c", 'shift; exec "$0" "$@"', self.programs / "callhomed"))
        service.folder.chmod(0o755)
        return service
