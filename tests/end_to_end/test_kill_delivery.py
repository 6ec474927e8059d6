"""kill -9 of the service at any moment of continuous events and deliveries: every message that somebody was told
of reaches each of its receivers, and one that comes twice comes with the same identity, because of a kill."""
import os
import random
import re
import subprocess
import sys
import threading
import time
import unittest

import harness
import receivers
import wire

SEED = int(os.environ.get("CALLHOME_SEED", "20261121"))
KILLS = int(os.environ.get("CALLHOME_KILLS", "6" if harness.PROGRAMS.name == "asan" else "40"))
SHELLS, ALERTERS = 2, 2  # who raise messages, all the time
COMMANDS_OF_A_SHELL = 8
REFUSED_AT_FIRST = 0.2  # the share of deliveries that have to be tried again
# What a reply line says of a receiver that has its message, or whose message is kept for it.
KEPT = re.compile("Successfully sent|it stays in the queue|is still being sent")


class FirstRefusals:
    """Refuses some deliveries once, so that they wait in the queue while the service is killed."""

    def __init__(self, chance):
        self.chance = chance
        self.tried, self.refused = set(), set()

    def __call__(self, identity):
        is_first = identity not in self.tried
        self.tried.add(identity)
        if is_first and self.chance.random() < REFUSED_AT_FIRST:
            self.refused.add(identity)
            return True
        return False


class Raiser(threading.Thread):
    """Raises one message after the other and keeps which of them somebody was told of."""

    def __init__(self, service, name, is_running, is_ended):
        super().__init__()
        self.service, self.name = service, name
        self.is_running, self.is_ended = is_running, is_ended
        self.count = 0
        self.acknowledged = []

    def next_marker(self):
        self.count += 1
        return receivers.marker_of(self.name, self.count)

    def take_reply(self, marker, reply):
        if KEPT.search(reply):
            self.acknowledged.append(marker)

    def run(self):
        while self.is_running.wait(harness.LIMIT) and not self.is_ended.is_set():
            try:
                self.raise_some()
            except (OSError, TimeoutError):
                pass  # the service was killed


class Alerter(Raiser):
    def raise_some(self):
        with wire.Connection(self.service.socket, harness.LIMIT) as link:
            while not self.is_ended.is_set():
                marker = self.next_marker()
                _, reply = link.exchange(wire.POST_ALERT, wire.SET, wire.ALERT_RECORD.pack(
                    b"TEMPERATURE_MINOR_ALARM", b"fan tray", marker.encode(), wire.SEVERITY_OF_ITS_NAME))
                self.take_reply(marker, reply.decode())


class Shell(Raiser):
    def raise_some(self):
        commands = [f"callhome send obx-action policy kills text {self.next_marker()}"
                    for _ in range(COMMANDS_OF_A_SHELL)]
        done = subprocess.run(
            [harness.PROGRAMS / "callhome", "--socket", self.service.socket, "--echo", "--prompt-name", "switch"],
            input="\n".join(commands) + "\n", capture_output=True, text=True, timeout=2 * harness.LIMIT)
        # The echo of a command, and what was printed up to the next one.
        parts = re.split(r"(?m)^.*# callhome send obx-action policy kills text (\S+)$", done.stdout)
        for marker, printed in zip(parts[1::2], parts[2::2]):
            self.take_reply(marker, printed)


class KilledDelivery(harness.EndToEnd):
    def start_everything(self):
        self.refusals = FirstRefusals(random.Random(SEED))
        self.receivers = receivers.Receivers(self.refusals)
        self.addCleanup(self.receivers.close)
        self.service = self.start_service("--first-retry", "1", "--log-level", "warning")
        receivers.configure(self, self.service, self.receivers.port, self.receivers.url)

    def time_of_one(self):
        """Seconds from an alert to its receivers."""
        since = time.monotonic()
        with wire.Connection(self.service.socket, harness.LIMIT) as link:
            link.exchange(wire.POST_ALERT, wire.SET, wire.ALERT_RECORD.pack(
                b"TEMPERATURE_MINOR_ALARM", b"fan tray", receivers.marker_of("first", 1).encode(),
                wire.SEVERITY_OF_ITS_NAME))
        return time.monotonic() - since

    def start_raisers(self):
        self.is_running, self.is_ended = threading.Event(), threading.Event()
        self.addCleanup(self.end_raisers)
        self.raisers = [kind(self.service, f"{kind.__name__.lower()}{i}", self.is_running, self.is_ended)
                        for kind, number in ((Shell, SHELLS), (Alerter, ALERTERS)) for i in range(number)]
        self.is_running.set()
        for raiser in self.raisers:
            raiser.start()

    def end_raisers(self):
        self.is_ended.set()
        self.is_running.set()
        for raiser in self.raisers:
            raiser.join()

    def acknowledged(self):
        return [marker for raiser in self.raisers for marker in raiser.acknowledged]

    def test_what_was_acknowledged_reaches_every_receiver(self):
        chance = random.Random(SEED + 1)
        self.start_everything()
        # Follows how long messages take while all raise them.
        longest_life = (SHELLS + ALERTERS) * self.time_of_one()
        self.start_raisers()
        for _ in range(KILLS):
            known = self.acknowledged()
            time.sleep(chance.uniform(0, longest_life))
            longest_life *= 1.1 if len(self.acknowledged()) == len(known) else 0.97
            self.is_running.clear()
            self.service.kill()
            self.receivers.next_life()
            self.service.start()
            self.is_running.set()
        self.end_raisers()
        receivers.wait_until_nothing_waits(self, self.service)

        places = (*receivers.MAILBOXES, self.receivers.url)
        acknowledged = self.acknowledged()
        raised = sum(raiser.count for raiser in self.raisers)
        arrivals = self.receivers.arrivals
        duplicates = sum(self.receivers.check(self, *place, f"seed {SEED}") for place in arrivals)
        print(f"{KILLS} kills: {raised} messages raised, {len(acknowledged)} of them acknowledged; "
              f"{sum(map(len, arrivals.values()))} deliveries of "
              f"{len({marker for marker, _ in arrivals})} messages to {len(places)} receivers, "
              f"{len(self.refusals.refused)} after a refusal; {duplicates} duplicates", file=sys.stderr)
        lost = [(marker, place) for marker in acknowledged for place in places
                if not arrivals.get((marker, place))]
        self.assertEqual(lost, [], f"seed {SEED}")
        self.receivers.check_identities(self)
        for kind in (Shell, Alerter):
            self.assertTrue(any(raiser.acknowledged for raiser in self.raisers if isinstance(raiser, kind)),
                            f"no {kind.__name__} got an answer in {KILLS} kills")
        self.assertGreater(len(acknowledged), KILLS // 4)


if __name__ == "__main__":
    unittest.main()
