"""Who may reach the service, and how it comes and goes: two shells at once, the user's own service that
starts by itself, peers that may only read."""
import os
import pathlib
import subprocess
import unittest

import harness
import wire


class OwnService(harness.EndToEnd):
    def environment(self):
        for name in ("run", "state"):
            (self.folder / name).mkdir(mode=0o700, exist_ok=True)
        return dict(os.environ, XDG_RUNTIME_DIR=str(self.folder / "run"),
                    XDG_STATE_HOME=str(self.folder / "state"), HOME=str(self.folder))

    def start_shell(self, *commands):
        arguments = [harness.PROGRAMS / "callhome", "--prompt-name", "switch"]
        for command in commands:
            arguments += ["-c", command]
        return subprocess.Popen(
            arguments, env=self.environment(), stdin=subprocess.PIPE, stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT, text=True,
        )

    def wait_for_end(self):
        """Until the service has released its lock, which it holds as long as it lives."""
        lock = next((self.folder / "state/callhome").glob("*lock*"))
        subprocess.run(["flock", "--timeout", str(harness.LIMIT), lock, "true"], check=True)

    @unittest.skipIf(os.path.exists("/run/callhome/callhomed.sock"), "the system's own service runs here")
    def test_it_starts_with_the_first_command_and_keeps_what_was_set(self):
        first = self.start_shell("configure terminal", "callhome", "site-id harbour-3",
                                 "destination-profile ops email-addr a@example.net")
        out, _ = first.communicate(timeout=harness.LIMIT)
        self.assertEqual(first.returncode, 1, out)  # no such profile yet: the command says so
        self.assertIn("There is no such entry", out)
        out, _ = self.start_shell("show callhome queue").communicate(timeout=harness.LIMIT)
        self.wait_for_end()
        again = self.start_shell("show callhome transport-email")
        out, _ = again.communicate(timeout=harness.LIMIT)
        self.assertEqual(again.returncode, 0, out)
        self.wait_for_end()
        mode = (self.folder / "state/callhome").stat().st_mode & 0o777
        self.assertEqual(mode, 0o700)

    @unittest.skipIf(os.path.exists("/run/callhome/callhomed.sock"), "the system's own service runs here")
    def test_shells_that_start_at_once_share_one_service(self):
        shells = [self.start_shell("configure terminal", "callhome", f"destination-profile p{i} format XML")
                  for i in range(6)]
        for shell in shells:
            out, _ = shell.communicate(timeout=harness.LIMIT)
            self.assertEqual(shell.returncode, 0, out)
        self.wait_for_end()
        self.assertEqual(self.profiles_kept(), {f"p{i}" for i in range(6)})

    def profiles_kept(self):
        kept = harness.Service(self.folder, state=self.folder / "state/callhome")
        self.addCleanup(kept.stop)
        return {name for name in wire.configuration(kept.socket)["profiles"] if name.startswith("p")}


class Peers(harness.EndToEnd):
    def test_two_shells_see_each_other_s_changes(self):
        service = self.start_service()
        self.shell(service, "configure terminal", "callhome", "transport email from a@example.net")
        self.assertIn("from email addr:a@example.net",
                      self.shell(service, "show callhome transport-email").stdout)

    @unittest.skipUnless(os.geteuid() == 0, "only root can become somebody else")
    def test_a_stranger_may_look_but_not_change(self):
        service = self.start_service("--system")
        # A stranger has to get as far as the socket.
        for folder in (self.folder, service.folder):
            pathlib.Path(folder).chmod(0o755)
        program = (
            "import os, sys; sys.path.insert(0, %r); os.setgroups([]); os.setgid(65534); os.setuid(65534)\n"
            "import wire\n"
            "link = wire.Connection(%r)\n"
            "print(link.exchange(wire.FEATURE, wire.GET, wire.SWITCH_RECORD.pack(0, 0))[0])\n"
            "print(link.exchange(wire.TRAPS, wire.SET, wire.SWITCH_RECORD.pack(1, 0))[0])\n"
        ) % (str(pathlib.Path(__file__).parent), str(service.socket))
        done = subprocess.run(["/usr/bin/python3", "-B", "-c", program], capture_output=True, text=True)
        self.assertEqual(done.stdout.split(), ["0", str(wire.PERMISSION_DENIED)], done.stderr)
        self.assertEqual(wire.configuration(service.socket)["traps"], 0)


if __name__ == "__main__":
    unittest.main()
