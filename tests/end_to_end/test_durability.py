"""kill -9 of the service at any moment of a session: what was acknowledged is there afterwards."""
import os
import random
import subprocess
import threading
import unittest

import harness
import wire

SEED = int(os.environ.get("CALLHOME_SEED", "20261121"))
POINTS = int(os.environ.get("CALLHOME_KILL_POINTS", "100"))
CHANGES = 24  # commands of one session


def session(number):
    """The commands of one session; each makes exactly one change that can be looked for."""
    setup = ["configure terminal", "callhome"]
    changes = []
    for i in range(CHANGES):
        changes.append([
            f"destination-profile p{number}-{i} message-size {1000 + i}",
            f"site-id site-{number}-{i}",
            f"transport email mail-server host{i % 8} priority {1 + (number + i) % 100}",
            f"destination-profile full-txt-destination email-addr a{number}-{i}@example.net",
        ][i % 4])
    return setup, changes


def expected_of(command, configuration):
    """Whether the effect of an acknowledged command is in the configuration."""
    words = command.split()
    if words[0] == "site-id":
        return configuration["contact"].get("siteId") == words[1]
    if words[0] == "transport":
        return configuration["servers"].get(words[3], (0, 0))[1] == int(words[5])
    if words[2] == "message-size":
        return configuration["profiles"].get(words[1], {}).get("size") == int(words[3])
    return words[3] in configuration["profiles"]["full_txt"]["email"]


class Durability(harness.EndToEnd):
    def run_until_killed(self, service, number, after, microseconds):
        """Types a session, kills the service `microseconds` after change number `after` was
        acknowledged, and gives back the changes that the shell acknowledged."""
        setup, changes = session(number)
        shell = subprocess.Popen(
            [harness.PROGRAMS / "callhome", "--socket", service.socket, "--echo", "--prompt-name", "switch"],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, bufsize=1,
        )
        shell.stdin.write("\n".join(setup + changes) + "\nexit\n")
        shell.stdin.close()
        echoed = []
        timer = None
        for line in shell.stdout:
            command = line.rstrip("\n").split("# ", 1)[-1]
            if command in changes or command == "exit":
                echoed.append(command)
            # The echo of a command says that the one before it was acknowledged.
            if timer is None and len(echoed) > after:
                timer = threading.Timer(microseconds / 1e6, service.process.kill)
                timer.start()
        shell.stdout.close()
        status = shell.wait(harness.LIMIT)
        if timer is not None:
            timer.join()
        service.kill()
        return changes if status == 0 else echoed[: max(0, len(echoed) - 1)]

    def test_every_acknowledged_change_is_there_after_a_kill(self):
        chance = random.Random(SEED)
        service = self.start_service("--log-level", "warning")
        lost, acknowledged_in_all = [], 0
        for number in range(POINTS):
            after, pause = chance.randrange(CHANGES), chance.randrange(0, 3000)
            acknowledged = self.run_until_killed(service, number, after, pause)
            service.start()
            configuration = wire.configuration(service.socket)
            last_of_key = {}
            for command in acknowledged:
                words = command.split()
                last_of_key[words[0] if words[0] == "site-id" else " ".join(words[:4])] = command
            lost += [c for c in last_of_key.values() if not expected_of(c, configuration)
                     and not overtaken(c, acknowledged, number)]
            acknowledged_in_all += len(acknowledged)
            with wire.Connection(service.socket) as link:
                for i in range(CHANGES):
                    name = f"p{number}-{i}".encode()
                    link.exchange(wire.PROFILE, wire.REMOVE, wire.PROFILE_RECORD.pack(name, *([0] * 7)))
                    link.exchange(wire.PROFILE_EMAIL, wire.REMOVE, wire.ADDRESS_RECORD.pack(
                        b"full_txt", f"a{number}-{i}@example.net".encode(), 0, 1, 0))
        self.assertEqual(lost, [], f"seed {SEED}")
        self.assertGreater(acknowledged_in_all, POINTS * CHANGES // 8)


def overtaken(command, acknowledged, number):
    """A later change of the same session, not acknowledged any more, may have been made: the one value
    of a site or of a server's priority is then the later one."""
    _, changes = session(number)
    if len(acknowledged) >= len(changes):
        return False
    in_flight = changes[len(acknowledged)]
    return command.split()[0] == "site-id" == in_flight.split()[0] or (
        command.startswith("transport") and command.split()[:4] == in_flight.split()[:4])


if __name__ == "__main__":
    unittest.main()
