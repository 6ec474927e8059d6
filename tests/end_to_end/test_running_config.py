"""The running configuration as text: typed at another switch it gives the same configuration."""
import json
import os
import subprocess
import threading
import unittest

import pexpect

from harness import LIMIT, PROGRAMS, EndToEnd, lead_a_login_session

setUpModule = lead_a_login_session

EMPTY = """configure terminal

callhome
  duplicate-message throttle
  no periodic-inventory notification




end
"""

LONGEST_ADDRESS = "a" * 60 + "@" + ".".join(["b" * 60] * 3) + "." + "c" * 11
LONGEST_NAME = "ö" * 15 + "x"

FULL = [
    "configure terminal",
    'snmp-server contact Ada  Marlowe, "room" 4 | x ? #1 ! é\u00a0',
    "snmp-server enable traps callhome",
    "callhome",
    "email-contact ada@example.net",
    "phone-contact +49 (30) 12?",
    "streetaddress ? Höhe 4   | count",
    "site-id " + "s" * 2047,
    "customer-id no enable",
    "contract-id 'x' \\ $HOME %d",
    "switch-priority 3",
    "destination-profile noc format full-txt",
    "destination-profile noc message-size 4444",
    "destination-profile noc message-level 3",
    "destination-profile noc alert-group test",
    "destination-profile noc alert-group Diagnostic",
    "destination-profile ops format short-txt",
    "destination-profile ops message-size 2500000",
    f"destination-profile ops email-addr {LONGEST_ADDRESS}",
    "destination-profile ops email-addr ops?@example.net",
    "destination-profile pager format short-txt",
    "destination-profile plain format XML",
    "destination-profile |?! format XML",
    f"destination-profile {LONGEST_NAME} message-size 5000000",
    "destination-profile full_txt message-level 2",
    "destination-profile full-txt-destination message-size 99",
    "destination-profile full-txt-destination email-addr full@example.net",
    "destination-profile short-txt-destination message-size 3999",
    "destination-profile ZUVA-profile message-level 2",
    'alert-group test user-def-cmd show clock | include "a b"  ?',
    "alert-group syslog-group-port user-def-cmd show " + "x" * 594,
    "transport email from switch@example.net",
    "transport email reply-to desk@example.net",
    "transport email smtp-server 2001:db8::1 port 2525 use-vrf mail",
    "transport email mail-server 10.0.0.1 port 25 priority 10",
    "transport email mail-server mx.example.net port 25 priority 20 use-vrf other",
    "transport http proxy server proxy.example.org port 3128",
    "transport http proxy enable",
    "transport http use-vrf web",
    "periodic-inventory notification",
    "periodic-inventory notification interval 9",
    "periodic-inventory notification timeofday 09:05",
    "no duplicate-message throttle",
    "enable",
]

DISTRIBUTED = [
    "configure terminal", "snmp-server contact Ada", "callhome", "email-contact ada@example.net",
    "destination-profile ops format XML", "destination-profile ops email-addr ops@example.net",
    "transport email mail-server 10.0.0.1 port 25 priority 10", "enable", "distribute",
]


class RunningConfig(EndToEnd):
    def type(self, service, lines, check=True):
        return self.shell(service, input="\n".join(lines) + "\n", check=check)

    def running(self, service, what="show running-config"):
        return self.shell(service, what).stdout

    def assert_gives_the_same(self, text, wanted):
        other = self.start_service(name=f"other-{len(list(self.folder.iterdir()))}")
        self.shell(other, input=text)
        self.assertEqual(self.running(other), wanted)

    def test_without_configuration_there_is_a_text_too(self):
        service = self.start_service()
        self.assertEqual(self.running(service), EMPTY)
        self.assertEqual(self.running(service, "show running-config callhome"), EMPTY)
        self.assert_gives_the_same(EMPTY, EMPTY)

    def test_everything_comes_back_from_a_script(self):
        service = self.start_service()
        self.type(service, FULL)
        text = self.running(service)
        shown = {" ".join(line.split(" ")).strip(" ") for line in text.splitlines()}
        for line in ("snmp-server enable traps callhome", FULL[1], FULL[5], FULL[6], FULL[7], FULL[9],
                     FULL[18], FULL[22], FULL[29], FULL[30], "use-vrf mail", "enable"):
            self.assertIn(line, shown)
        self.assert_gives_the_same(text, text)
        file = self.folder / "text"
        file.write_text(text)
        other = self.start_service(name="from-a-file")
        self.shell(other, options=["-f", file])
        self.assertEqual(self.running(other), text)

    def test_the_feature_is_switched_on_when_all_else_is_there(self):
        service = self.start_service()
        self.type(service, FULL)
        self.assertTrue(self.running(service).endswith("\n  enable\n\nend\n"))

    def test_everything_comes_back_from_a_terminal(self):
        service = self.start_service()
        self.type(service, FULL)
        text = self.running(service)
        for term, pasted in (("xterm", f"\x1b[200~{text}\x1b[201~"), ("dumb", text.replace("\n", "\r"))):
            with self.subTest(term):
                other = self.start_service(name=term)
                self.paste(other, term, pasted)
                self.assertEqual(self.running(other), text)

    def paste(self, service, term, text):
        child = pexpect.spawn(
            str(PROGRAMS / "callhome"), ["--socket", str(service.socket), "--prompt-name", "sw"],
            env={"TERM": term, "PATH": "/usr/bin:/bin", "HOME": str(self.folder / "home")},
            encoding="utf-8", codec_errors="replace", timeout=LIMIT, dimensions=(24, 80))
        self.addCleanup(child.close, force=True)
        child.expect_exact("sw# ")
        sender = threading.Thread(target=self.send_all, args=(child, text + "\rshow version\r"))
        sender.start()
        child.expect(r"callhome \d+\.\d")
        sender.join(LIMIT)

    @staticmethod
    def send_all(child, text):
        rest = text.encode()
        while rest:
            rest = rest[os.write(child.child_fd, rest[:4096]):]

    def test_defaults_can_be_shown_and_typed_too(self):
        for lines in (["configure terminal"], FULL):
            service = self.start_service(name=f"service-{len(lines)}")
            self.type(service, lines)
            text = self.running(service, "show running-config callhome all")
            settings = [" ".join(line.split()[:-1]) for line in text.splitlines()]
            for setting in ("switch-priority", "destination-profile ZUVA-profile message-size",
                            "destination-profile short_txt message-level",
                            "periodic-inventory notification interval"):
                self.assertEqual(settings.count(setting), 1, setting)
            self.assertEqual(sum(line.strip() in ("enable", "no enable") for line in text.splitlines()), 1)
            self.assert_gives_the_same(text, self.running(service))
        for name in ("plain", "|?!", LONGEST_NAME):
            self.assertIn(f"  destination-profile {name} message-level 0\n", text)

    def test_defaults_set_back_what_another_switch_has(self):
        service = self.start_service()
        other = self.start_service(name="other")
        self.type(other, ["configure terminal", "callhome", "switch-priority 1", "no duplicate-message throttle",
                          "periodic-inventory notification interval 3", "periodic-inventory notification",
                          "destination-profile full_txt message-size 7"])
        self.shell(other, input=self.running(service, "show running-config callhome all"))
        self.assertEqual(self.running(other), EMPTY)

    def test_a_distributed_configuration_comes_back_committed(self):
        service = self.start_service()
        self.type(service, DISTRIBUTED + ["destination-profile ops message-level 3", "commit"])
        text = self.running(service)
        self.assertTrue(text.endswith("  enable\n  distribute\n  no periodic-inventory notification\n  commit\n\n"
                                      "end\n"), text)
        self.assert_gives_the_same(text, text)
        document = json.loads(self.running(service, "show running-config | json"))
        self.assertEqual(document["configuration"][-2:], ["commit", "end"])

    def test_the_pending_copy_and_its_difference(self):
        service = self.start_service()
        self.type(service, DISTRIBUTED)
        for display in ("show callhome pending", "show callhome pending-diff"):
            done = self.shell(service, display, check=False)
            self.assertEqual((done.stdout, done.returncode), ("No distribution session is open\n", 1))
        self.type(service, ["configure terminal", "callhome", "destination-profile ops message-size 777",
                            "destination-profile lab format XML"])
        self.assertIn("destination-profile ops message-size 777\n", self.running(service, "show callhome pending"))
        self.assertEqual(self.running(service, "show callhome pending-diff"),
                         "+destination-profile lab format XML\n+destination-profile ops message-size 777\n")
        self.type(service, ["configure terminal", "callhome", "no destination-profile lab",
                            "destination-profile ops message-size 2500000"])
        self.assertEqual(self.running(service, "show callhome pending-diff"),
                         "There is no difference: the pending configuration is the effective one.\n")

    def test_without_distribution_nothing_is_pending(self):
        done = self.shell(self.start_service(), "show callhome pending", check=False)
        self.assertEqual((done.stdout, done.returncode), ("Distribution is off\n", 1))

    def test_who_holds_the_session_and_what_came_of_it(self):
        service = self.start_service()
        self.assertEqual(self.running(service, "show callhome session"), "No distribution session is open\n")
        self.assertEqual(self.running(service, "show callhome last action status"),
                         "action : none\nresult : none\n")
        self.type(service, DISTRIBUTED + ["destination-profile ops message-size 777"])
        time = r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d"
        self.assertRegex(self.running(service, "show callhome session"), rf"^owner : \S+\nopen since : {time}\n$")
        stranger = subprocess.run(
            [PROGRAMS / "callhome", "--socket", service.socket, "-c", "configure terminal", "-c", "callhome",
             "-c", "destination-profile ops message-size 1"], start_new_session=True, capture_output=True,
            text=True, timeout=LIMIT)
        self.assertRegex(stranger.stdout, rf"^The distribution session is locked by \S+ since {time}; wait")
        self.type(service, ["configure terminal", "callhome", "commit"])
        self.assertRegex(self.running(service, "show callhome last action status"),
                         rf"^action : commit\nresult : success\ntime : {time}\nuser : \S+\n$")


if __name__ == "__main__":
    unittest.main()
