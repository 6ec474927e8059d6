"""Thousands of lines at once: all of them arrive, also on a machine that has other things to do."""
import subprocess
import unittest

import harness
import wire

LINES = 2000 if harness.PROGRAMS.name == "asan" else 10000


class ManyLines(harness.EndToEnd):
    def test_ten_thousand_lines_all_arrive_while_the_machine_is_busy(self):
        service = self.start_service(name="busy")
        profiles = LINES // 100
        lines = [f"destination-profile p{i:03} format XML" for i in range(profiles)]
        lines += [f"destination-profile p{i:03} email-addr a{k:02}@example.net"
                  for i in range(profiles) for k in range(100)]
        idlers = [subprocess.Popen(["/usr/bin/python3", "-c", "while True: pass"]) for _ in range(2)]
        try:
            self.shell(service, input="\n".join(["configure terminal", "callhome", *lines, ""]))
        finally:
            for idler in idlers:
                idler.kill()
                idler.wait()
        kept = wire.configuration(service.socket)["profiles"]
        addresses = [f"a{k:02}@example.net" for k in range(100)]
        self.assertEqual({name: kept[name]["email"] for name in kept if name.startswith("p")},
                         {f"p{i:03}": addresses for i in range(profiles)})
        shown = self.shell(service, "show running-config callhome").stdout.splitlines()
        shown = [line.strip() for line in shown if "email-addr" in line]
        self.assertEqual(shown, lines[profiles:])


if __name__ == "__main__":
    unittest.main()
