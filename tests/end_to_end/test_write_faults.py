"""Each system call by which the service writes to its files fails or is the last one that it makes: the next start
finds the state from before or after, nothing that was acknowledged is lost, and what was refused is told why."""
import collections
import contextlib
import dataclasses
import os
import pathlib
import random
import re
import shutil
import signal
import socket
import sqlite3
import subprocess
import sys
import tempfile
import unittest

import fault_scenarios
import harness
import receivers
import wire

SEED = int(os.environ.get("CALLHOME_SEED", "20261121"))
# How many of all points are tried, or "all".
POINTS = os.environ.get("CALLHOME_FAULT_POINTS", "6" if harness.PROGRAMS.name == "asan" else "30")
WRITING = ("openat", "write", "pwrite64", "writev", "pwritev", "fsync", "fdatasync", "ftruncate", "fallocate",
           "rename", "renameat", "renameat2", "unlink", "unlinkat", "link", "linkat", "symlink", "mkdir",
           "mkdirat", "chmod", "fchmod", "fchown", "rmdir")
FAULTS = {"kill": "signal=KILL", "no room": "error=ENOSPC", "broken disk": "error=EIO"}
PATIENCE = 3  # seconds for one answer; when a result could not be recorded, it comes later
OPTIONS = ("--first-retry", "1", "--free-disk", "0", "--allow-unsigned-signatures")
# What the log says of a database that fails, and what the service says when it does not start.
DEGRADED = "degraded: the database fails: .*; (make room on its disk|check its disk)"
NOT_STARTED = "No space left on device|Input/output error|disk I/O error|disk is full|unable to open database"

# strace needs this; and the sanitizer that looks for leaks does not work under it.
os.environ["ASAN_OPTIONS"] = os.environ.get("ASAN_OPTIONS", "") + ":detect_leaks=0"


def why_not_traced():
    if shutil.which("strace") is None:
        return "strace is not installed"
    done = subprocess.run(["strace", "-f", "-o", "/dev/null", "true"], capture_output=True, text=True)
    return None if done.returncode == 0 else "strace may not trace here: " + done.stderr.strip()


@dataclasses.dataclass(frozen=True)
class Fault:
    kind: str
    call: str
    number: int  # of this call in its thread, from 1
    is_lasting: bool = False  # whether all later ones fail, too

    def __str__(self):
        return f"{self.kind} at {self.call} {self.number}"


def is_file_write(call, rest):
    if call == "openat":
        return "O_CREAT" in rest or "O_TRUNC" in rest
    if call in ("write", "writev", "pwritev", "pwrite64", "fsync", "fdatasync", "ftruncate", "fallocate"):
        return re.match(r"\d+</(?!dev/)", rest) is not None
    return True


def writing_calls(listing):
    """All (call, number) of a listing by strace."""
    counts = collections.Counter()
    found = set()
    for line in listing.splitlines():
        entered = re.match(r"(\d+) +(\w+)\((.*)", line)
        if entered is None:
            continue
        thread, call, rest = entered.groups()
        counts[thread, call] += 1
        if is_file_write(call, rest):
            found.add((call, counts[thread, call]))
    return sorted(found)


class TracedService(harness.Service):
    """callhomed under strace, which lists its writing calls in `calls`, and spoils one of them."""

    def __init__(self, folder, fault=None):
        self.calls = folder / "calls"
        self.child = None
        spoil = []
        if fault is not None:
            when = f"{fault.number}{'+' if fault.is_lasting else ''}"
            spoil = [f"--inject={fault.call}:{FAULTS[fault.kind]}:when={when}"]
        # Quicker, but then no signal gets through.
        filtered = [] if fault is not None and fault.kind == "kill" else ["--seccomp-bpf"]
        super().__init__(folder, *OPTIONS, within=["strace", "-f", "-q", "-y", "-o", self.calls, *filtered,
                                                   "--trace=" + ",".join(WRITING), *spoil])

    def start(self):
        try:
            super().start()
        except AssertionError:
            self.process.wait(harness.LIMIT)
            raise
        strace = self.process.pid
        children = pathlib.Path(f"/proc/{strace}/task/{strace}/children").read_text().split()
        self.child = int(children[0]) if children else None

    def stop(self):
        if self.child is not None:
            with contextlib.suppress(ProcessLookupError):
                os.kill(self.child, signal.SIGTERM)
        return self.process.wait(harness.LIMIT)


@unittest.skipIf(why_not_traced(), why_not_traced())
class WriteFaults(harness.EndToEnd):
    def setUp(self):
        super().setUp()
        self.numbers = iter(range(1, 1_000_000))
        self.receivers = receivers.Receivers()
        self.addCleanup(self.receivers.close)
        # Bound, and nobody listens: whoever connects is refused, and no other test gets the port.
        occupied = socket.socket()
        self.addCleanup(occupied.close)
        occupied.bind(("127.0.0.1", 0))
        self.dead_port = occupied.getsockname()[1]
        self.figures = collections.Counter()
        self.calls_of_start = []

    def prepare(self, kind):
        """The scenario, and the state that each run begins with; no state where it has none."""
        scenario = kind(self)
        if kind is fault_scenarios.FirstStart:
            return scenario, None
        service = self.start_service(*OPTIONS, name=kind.__name__)
        scenario.prepare(service)
        service.stop()
        return scenario, service.state

    def run_spoilt(self, scenario, state, fault=None):
        """One run, its end and a fresh start. Gives the writing calls of the run."""
        with tempfile.TemporaryDirectory(dir=self.folder) as name:
            folder = pathlib.Path(name)
            if state is not None:
                shutil.copytree(state, folder / "state")
            where = f"{type(scenario).__name__}, {fault}, seed {SEED}"
            scenario.begin()
            has_started = self.act_spoilt(scenario, folder, fault)
            self.check_words(scenario, folder, fault, has_started, where)
            self.check_fresh_start(scenario, folder, where)
            return (folder / "calls").read_text(errors="replace")

    def act_spoilt(self, scenario, folder, fault):
        """Whether the service has started at all."""
        try:
            service = TracedService(folder, fault)
        except AssertionError:
            return False
        self.calls_of_start = writing_calls(service.calls.read_text(errors="replace"))
        try:
            with contextlib.suppress(ConnectionError), wire.Connection(service.socket, PATIENCE) as link:
                scenario.act(link)
        finally:
            service.stop()
        return True

    def check_words(self, scenario, folder, fault, has_started, where):
        log = (folder / "callhomed.log").read_text()
        if fault is None:
            self.assertTrue(has_started and scenario.was_done(), log)
        if fault is None or fault.kind == "kill":
            return
        if scenario.is_refused:
            self.figures["told that it was not made"] += 1
            self.assertRegex(log, DEGRADED, where)
        if not has_started:
            self.figures["told why it does not start"] += 1
            self.assertRegex(log, NOT_STARTED, where)

    def check_fresh_start(self, scenario, folder, where):
        self.receivers.next_life()
        service = harness.Service(folder, *OPTIONS)
        try:
            scenario.check(service, where)
        finally:
            self.assertEqual(service.stop(), 0, where)
            self.receivers.next_life()
        with contextlib.closing(sqlite3.connect(folder / "state/callhome.db")) as database:
            self.assertEqual(database.execute("PRAGMA integrity_check").fetchall(), [("ok",)], where)

    def test_what_was_acknowledged_is_there_and_what_was_not_is_told(self):
        points, places = [], {}
        for kind in fault_scenarios.ALL:
            scenario, state = places[kind] = self.prepare(kind)
            calls = set(writing_calls(self.run_spoilt(scenario, state)))
            # A start is a start: the first one, and one with a state, stand for all of them.
            if kind not in (fault_scenarios.FirstStart, fault_scenarios.Configure):
                calls -= set(self.calls_of_start)
            self.assertTrue(calls, kind.__name__)
            self.figures[kind.__name__] = len(calls)
            points += [(kind, Fault(fault, *call)) for call in sorted(calls) for fault in FAULTS]
        tried = points if POINTS == "all" else random.Random(SEED).sample(points, int(POINTS))
        for kind, fault in tried:
            with self.subTest(scenario=kind.__name__, fault=str(fault)):
                listing = self.run_spoilt(*places[kind], fault)
                is_hit = "(INJECTED)" in listing or "killed by SIGKILL" in listing
                self.figures["hit" if is_hit else "missed"] += 1
        print(f"{len(tried)} of {len(points)} points: {dict(self.figures)}", file=sys.stderr)
        # A call less here or there moves the last ones.
        self.assertGreater(self.figures["hit"], 0.8 * len(tried))

    def test_a_disk_that_stays_bad_is_told_at_the_shell_and_all_that_can_be_read_is_answered(self):
        scenario, state = self.prepare(fault_scenarios.SendMessage)
        self.run_spoilt(scenario, state)
        first = 1 + max(number for call, number in self.calls_of_start if call == "pwrite64")
        for kind, remedy in (("no room", "make room on its disk"), ("broken disk", "check its disk")):
            with self.subTest(kind):
                folder = self.folder / kind
                shutil.copytree(state, folder / "state")
                service = TracedService(folder, Fault(kind, "pwrite64", first, is_lasting=True))
                try:
                    self.check_at_the_shell(service, remedy)
                finally:
                    service.stop()

    def check_at_the_shell(self, service, remedy):
        for commands in (("configure terminal", "callhome", "site-id harbour"), ("callhome test",)):
            refused = self.shell(service, *commands, check=False)
            self.assertEqual(refused.returncode, 1, refused.stdout)
            self.assertIn("could not be stored and was not made; check the disk space of the service", refused.stdout)
        shown = self.shell(service, "show callhome information state").stdout
        self.assertRegex(shown, f"(?s)degraded.*{remedy}")
        self.assertNotIn("harbour", self.shell(service, "show callhome").stdout)
        self.assertIn("one@example.net", self.shell(service, "show callhome destination-profile ops").stdout)


if __name__ == "__main__":
    unittest.main()
