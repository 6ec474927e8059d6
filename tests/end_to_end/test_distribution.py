"""The distribution session: changes collect in the pending copy, one session owns it, and a commit makes
all of them or none, whatever happens to the service."""
import getpass
import os
import pathlib
import random
import signal
import subprocess
import time
import unittest

import harness
import wire

SEED = int(os.environ.get("CALLHOME_SEED", "20261121"))
POINTS = int(os.environ.get("CALLHOME_KILL_POINTS", "25" if harness.PROGRAMS.name == "asan" else "100"))
MODE = ("configure terminal", "callhome")
setUpModule = harness.lead_a_login_session


class Distributing(harness.EndToEnd):
    def start_distributing(self):
        service = self.start_service("--log-level", "warning")
        self.shell(service, "configure terminal", "snmp-server contact Ada Marlowe", "callhome", "distribute")
        return service

    def change(self, service, *commands, **options):
        return self.shell(service, *MODE, *commands, **options)


class Session(Distributing):
    def other_session(self, service, *commands):
        """The same user at another terminal."""
        arguments = [harness.PROGRAMS / "callhome", "--socket", service.socket]
        for command in (*MODE, *commands):
            arguments += ["-c", command]
        done = subprocess.run(arguments, start_new_session=True, stdin=subprocess.DEVNULL,
                              capture_output=True, text=True, timeout=harness.LIMIT)
        return done

    def test_it_needs_the_system_contact(self):
        service = self.start_service()
        refused = self.change(service, "distribute", check=False)
        self.assertEqual(refused.returncode, 1)
        self.assertIn("The system contact is not set\n", refused.stdout)
        self.assertIn("Please configure sysContact before enabling pxd\n", refused.stderr)

    def test_changes_wait_for_the_commit(self):
        service = self.start_distributing()
        before = wire.configuration(service.socket)
        self.change(service, "destination-profile ops format full-txt", "transport email from a@example.net",
                    "transport http use-vrf blue", "periodic-inventory notification interval 3",
                    "alert-group system user-def-cmd show clock",
                    "destination-profile ops alert-group license")
        self.assertEqual(wire.configuration(service.socket), before)
        self.change(service, "commit")
        after = wire.configuration(service.socket)
        self.assertEqual(after["profiles"]["ops"]["groups"], ["license"])
        self.assertEqual(after["mail"][0], "a@example.net")
        self.assertEqual(after["http_vrf"], "blue")
        self.assertEqual(after["inventory"][1], 3)
        self.assertEqual(after["user_commands"], [("system", "show clock")])
        self.assertFalse(wire.session(service.socket)["is_open"])

    def test_discard_and_clear_drop_what_waits(self):
        service = self.start_distributing()
        before = wire.configuration(service.socket)
        for drop in ("discard", "do clear callhome session"):
            self.change(service, "destination-profile ops format full-txt")
            self.assertTrue(wire.session(service.socket)["is_open"])
            self.change(service, drop)
            self.assertFalse(wire.session(service.socket)["is_open"])
            self.assertEqual(wire.configuration(service.socket), before)

    def test_contact_information_stays_while_it_is_on(self):
        service = self.start_distributing()
        refused = self.change(service, "site-id harbour", check=False)
        self.assertEqual(refused.returncode, 1)
        self.assertIn("This cannot be changed while distribution is on\n", refused.stdout)
        self.assertNotIn("siteId", wire.configuration(service.socket)["contact"])

    def test_another_session_is_told_who_has_it_and_since_when(self):
        service = self.start_distributing()
        self.change(service, "destination-profile ops format full-txt")
        since = time.strftime("%F %T", time.localtime(wire.session(service.socket)["opened_at"]))
        for command in ("destination-profile mine format XML", "commit", "discard"):
            refused = self.other_session(service, command)
            self.assertEqual(refused.returncode, 1, refused.stdout)
            self.assertIn(f"locked by {getpass.getuser()} since {since}", refused.stdout)
        self.change(service, "commit")
        self.assertNotIn("mine", wire.configuration(service.socket)["profiles"])
        done = self.other_session(service, "destination-profile mine format XML", "commit")
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        self.assertIn("mine", wire.configuration(service.socket)["profiles"])

    def test_what_waits_survives_a_restart(self):
        service = self.start_distributing()
        self.change(service, "destination-profile ops format full-txt")
        opened = wire.session(service.socket)
        service.kill()
        service.start()
        self.assertEqual(wire.session(service.socket), opened)
        self.change(service, "destination-profile ops email-addr a@example.net", "commit")
        self.assertEqual(wire.configuration(service.socket)["profiles"]["ops"]["email"], ["a@example.net"])

    def test_a_commit_that_fails_can_be_mended_and_made_again(self):
        service = self.start_service()
        self.configure(service, 25)
        self.change(service, "distribute", "no destination-profile ops email-addr ops@example.net",
                    "destination-profile ops message-level 2")
        before = wire.configuration(service.socket)
        refused = self.change(service, "commit", check=False)
        self.assertEqual(refused.returncode, 1)
        self.assertEqual(refused.stdout,
                         "result : fail\ncause : No destination profile has an address to send messages to\n")
        self.assertEqual(wire.configuration(service.socket), before)
        shown = self.shell(service, "show callhome last action status").stdout
        self.assertIn("fail", shown)
        self.assertIn("No destination profile has an address", shown)
        self.change(service, "destination-profile ops email-addr b@example.net", "commit")
        profile = wire.configuration(service.socket)["profiles"]["ops"]
        self.assertEqual((profile["email"], profile["level"]), (["b@example.net"], 2))


def can_unshare(*what):
    """Whether a service may be given these namespaces of its own."""
    return os.geteuid() == 0 and subprocess.run(["unshare", *what, "true"], capture_output=True).returncode == 0


@unittest.skipUnless(can_unshare("--mount"), "needs root and mount namespaces")
class TwoUsers(Distributing):
    OPERATORS = 64123  # id of a group callhome that only the service of this test knows
    OTHER_USER = 64124

    def start_distributing(self):
        groups = self.folder / "group"
        groups.write_text(f"root:x:0:\ncallhome:x:{self.OPERATORS}:\n")
        service = self.start_service("--system", "--log-level", "warning", within=[
            "unshare", "--mount", "sh", "-c", 'mount --bind "$0" /etc/group && exec "$@"', groups])
        for folder in (self.folder, service.folder):  # the other user has to get as far as the socket
            folder.chmod(0o755)
        self.change(service, "do configure terminal", "snmp-server contact Ada", "callhome", "distribute")
        return service

    def as_other_user(self, service, *commands):
        arguments = ["setpriv", f"--reuid={self.OTHER_USER}", f"--regid={self.OTHER_USER}",
                     f"--groups={self.OPERATORS}", harness.PROGRAMS / "callhome", "--socket", service.socket]
        for command in (*MODE, *commands):
            arguments += ["-c", command]
        return subprocess.run(arguments, stdin=subprocess.DEVNULL, capture_output=True, text=True,
                              cwd="/", timeout=harness.LIMIT)

    def test_the_other_is_told_who_holds_the_session_and_may_clear_it(self):
        service = self.start_distributing()
        self.change(service, "destination-profile ops format full-txt")
        since = time.strftime("%F %T", time.localtime(wire.session(service.socket)["opened_at"]))
        refused = self.as_other_user(service, "destination-profile mine format XML")
        self.assertEqual(refused.returncode, 1, refused.stderr)
        self.assertIn(f"locked by {getpass.getuser()} since {since}", refused.stdout)
        self.assertIn(f"{getpass.getuser()}", self.as_other_user(service, "show callhome session").stdout)
        cleared = self.as_other_user(service, "do clear callhome session",
                                     "destination-profile mine format XML")
        self.assertEqual(cleared.returncode, 0, cleared.stdout + cleared.stderr)
        refused = self.change(service, "commit", check=False)
        self.assertIn(f"locked by user {self.OTHER_USER} since", refused.stdout)
        self.assertEqual(self.as_other_user(service, "commit").returncode, 0)
        self.assertIn("mine", wire.configuration(service.socket)["profiles"])


CONTAINER = ("--pid", "--fork", "--mount-proc")


class ServiceInContainer(harness.Service):
    """Sees the processes that are in there with it, and no others."""

    def __init__(self, folder, *options):
        super().__init__(folder, *options, within=["unshare", *CONTAINER])

    def number(self):
        """Of the service itself; `process` only waits for it, and hands on no signal."""
        waiting = self.process.pid
        return pathlib.Path(f"/proc/{waiting}/task/{waiting}/children").read_text().strip()

    def stop(self):
        if self.process.poll() is None:
            os.kill(int(self.number()), signal.SIGTERM)
        return self.process.wait(harness.LIMIT)


@unittest.skipUnless(can_unshare(*CONTAINER), "needs root and namespaces of processes")
class LoginOutOfSight(Distributing):
    """The service is in a container, this login is not."""

    def start_distributing(self):
        service = ServiceInContainer(self.folder, "--log-level", "warning")
        self.addCleanup(service.stop)
        self.change(service, "do configure terminal", "snmp-server contact Ada", "callhome", "distribute")
        return service

    def login_beside_it(self, service, *commands):
        """The same user by a login of its own in the container, which ends with the commands."""
        arguments = ["nsenter", "--target", service.number(), "--pid", "--mount", "setsid", "--wait",
                     harness.PROGRAMS / "callhome", "--socket", service.socket]
        for command in (*MODE, *commands):
            arguments += ["-c", command]
        return subprocess.run(arguments, stdin=subprocess.DEVNULL, capture_output=True, text=True,
                              timeout=harness.LIMIT)

    def expect_refused(self, service):
        for command in ("destination-profile mine format XML", "commit", "discard"):
            refused = self.login_beside_it(service, command)
            self.assertEqual(refused.returncode, 1, refused.stdout + refused.stderr)
            self.assertIn(f"locked by {getpass.getuser()} since ", refused.stdout)

    def test_what_it_holds_is_taken_over_by_nobody_and_cleared_by_an_operator(self):
        service = self.start_distributing()
        self.change(service, "destination-profile ops format full-txt")
        self.expect_refused(service)
        service.restart()
        self.expect_refused(service)
        self.assertTrue(wire.session(service.socket)["is_open"])
        done = self.login_beside_it(service, "do clear callhome session", "destination-profile mine format XML",
                                    "commit")
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        profiles = wire.configuration(service.socket)["profiles"]
        self.assertIn("mine", profiles)
        self.assertNotIn("ops", profiles)

    def test_it_goes_on_with_what_it_holds(self):
        service = self.start_distributing()
        self.change(service, "destination-profile ops format full-txt")
        self.expect_refused(service)
        self.change(service, "commit")
        self.assertIn("ops", wire.configuration(service.socket)["profiles"])

    def test_what_a_login_in_sight_held_is_taken_over_when_it_has_ended(self):
        service = self.start_distributing()
        for profile in ("mine", "yours"):
            done = self.login_beside_it(service, f"destination-profile {profile} format XML")
            self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        self.change(service, "commit")
        self.assertIn("yours", wire.configuration(service.socket)["profiles"])


class KilledCommit(Distributing):
    def pending_change(self, link, number):
        """Changes of many kinds that belong together: each carries the number."""
        for name, opcode, record in (
            ("profile", wire.PROFILE, wire.PROFILE_RECORD.pack(
                f"p{number}".encode(), 1, 2, 1000 + number, 0, 1, 0, 0)),
            ("address", wire.PROFILE_EMAIL, wire.ADDRESS_RECORD.pack(
                b"full_txt", f"a{number}@example.net".encode(), 0, 1, 0)),
            ("group", wire.ALERT_GROUP, wire.SUBSCRIPTION_RECORD.pack(
                f"p{number}".encode(), 0, 1, b"license", 0, 0)),
            ("mail", wire.MAIL_SETTINGS, wire.MAIL_RECORD.pack(
                f"m{number}@example.net".encode(), b"", b"", b"", 0, 0, 0, b"", 1)),
            ("vrf", wire.HTTP_VRF, wire.HTTP_VRF_RECORD.pack(f"vrf{number}".encode(), 0)),
            ("inventory", wire.INVENTORY, wire.INVENTORY_RECORD.pack(0, 7, 0, number)),
        ):
            status, _ = link.exchange(opcode, wire.SET, record)
            self.assertEqual(status, wire.OK, name)
        # What came with the commit before goes with this one, so that the copies stay small.
        if number > 0:
            for opcode, record in (
                (wire.PROFILE, wire.PROFILE_RECORD.pack(f"p{number - 1}".encode(), *([0] * 7))),
                (wire.PROFILE_EMAIL, wire.ADDRESS_RECORD.pack(
                    b"full_txt", f"a{number - 1}@example.net".encode(), 0, 1, 0)),
            ):
                self.assertEqual(link.exchange(opcode, wire.REMOVE, record)[0], wire.OK)

    def shared(self, service, operations=wire.EFFECTIVE):
        with wire.Connection(service.socket) as link:
            return wire.Copy(link, operations).shared()

    def commit(self, link):
        return link.exchange(wire.COMMIT, wire.SET, wire.COMMIT_RECORD.pack(wire.ACTION_COMMIT, b"", 0, 0, b""))

    def test_it_leaves_the_old_or_the_new_configuration(self):
        chance = random.Random(SEED)
        service = self.start_distributing()
        seen = {"old": 0, "new": 0}
        latest = 0.004  # seconds; follows how long a commit takes on this machine
        for number in range(POINTS):
            old = self.shared(service)
            with wire.Connection(service.socket) as link:
                self.pending_change(link, number)
                new = wire.Copy(link, wire.PENDING).shared()
                link.socket.sendall(wire.header(wire.COMMIT, wire.SET, wire.COMMIT_RECORD.size) +
                                    wire.COMMIT_RECORD.pack(wire.ACTION_COMMIT, b"", 0, 0, b""))
                time.sleep(chance.uniform(0, latest))
                service.kill()
            service.start()
            found, session = self.shared(service), wire.session(service.socket)
            where = f"seed {SEED}, point {number}"
            self.assertIn(found, (old, new), where)
            if found == new:
                seen["new"] += 1
                latest /= 1.2
                self.assertFalse(session["is_open"], where)
                self.assertEqual((session["action"], session["result"]),
                                 (wire.ACTION_COMMIT, wire.RESULT_SUCCESS), where)
                continue
            seen["old"] += 1
            latest *= 1.2
            self.assertTrue(session["is_open"], where)
            self.assertEqual(self.shared(service, wire.PENDING), new, where)
            if session["result"] == wire.RESULT_FAIL:
                self.assertEqual(session["cause"], wire.COMMIT_INTERRUPTED, where)
            with wire.Connection(service.socket) as link:
                self.assertEqual(self.commit(link)[0], wire.OK, where)
            self.wait_for_commit(service)
            self.assertEqual(self.shared(service), new, where)
        self.assertGreater(min(seen.values()), 0, f"no kill hit the other side of the commit: {seen}")

    def wait_for_commit(self, service):
        with wire.Connection(service.socket) as link:
            for _ in range(10000):
                status, body = link.exchange(wire.COMMIT, wire.GET, bytes(wire.COMMIT_RECORD.size))
                result = wire.COMMIT_RECORD.unpack(body)[2]
                if result != wire.RESULT_IN_PROGRESS:
                    self.assertEqual((status, result), (wire.OK, wire.RESULT_SUCCESS))
                    return
        self.fail("the commit does not end")


if __name__ == "__main__":
    unittest.main()
