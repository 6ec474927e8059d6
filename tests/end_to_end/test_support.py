"""What support staff get: the tech-support display, the traces and the memory of the service, and events that
are raised by hand."""
import json
import os
import pathlib
import re
import subprocess
import unittest

import pexpect

import harness

COMMANDS = [
    "show hostname", "show module", "show version", "show running-config callhome all",
    "show system internal callhome event-history", "show system internal callhome mem-stats detail",
    "show snmp | include contact", "show callhome", "show trace callhome",
]


class Support(harness.EndToEnd):
    def configured_service(self):
        server = self.start_mail_server()
        service = self.start_service()
        self.configure(service, server.port)
        return service

    def parts_of(self, text):
        """Command to output, in the order in which they stand."""
        parts = {}
        command = None
        for line in text.splitlines():
            if line.startswith("switch# "):
                command = line.removeprefix("switch# ")
                parts[command] = []
            else:
                parts[command].append(line)
        return parts

    def history(self, service):
        return self.shell(service, "show system internal callhome event-history").stdout

    def test_tech_support_has_all_its_parts(self):
        service = self.configured_service()
        self.shell(service, "callhome test")
        shown = self.shell(service, "show tech-support callhome")
        self.assertEqual(shown.stderr, "")
        parts = self.parts_of(shown.stdout)
        self.assertEqual(list(parts), COMMANDS)
        self.assertEqual(parts["show hostname"], [os.uname().nodename])
        self.assertRegex("\n".join(parts["show module"]), r"(?m)^processors : \d+.*\nmemory : \d+ MiB$")
        self.assertTrue(parts["show version"][0].startswith("callhome "))
        self.assertIn("kernel : ", parts["show version"][1])
        self.assertIn("  destination-profile ops email-addr ops@example.net", parts[COMMANDS[3]])
        history = "\n".join(parts[COMMANDS[4]])
        self.assertRegex(history, r"request: set send_message by user \d+: done, ")
        self.assertRegex(history, r"info: Delivery \d+.*delivered")
        self.assertIn("  table deliveries:", "\n".join(parts[COMMANDS[5]]))
        self.assertEqual(parts["show snmp | include contact"], ["contact : Ada Marlowe"])
        self.assertEqual(parts["show callhome"], self.shell(service, "show callhome").stdout.splitlines())
        for number, line in enumerate(filter(None, parts["show trace callhome"]), 1):
            self.assertRegex(line, rf"^{number}\) .*(warning|error): ")  # of the machine, if at all

    def test_tech_support_goes_through_filters_and_into_documents(self):
        service = self.configured_service()
        filtered = self.shell(service, "show tech-support callhome | include contact | exclude request").stdout
        self.assertIn("contact : Ada Marlowe", filtered.splitlines())
        self.assertNotIn("kernel", filtered)
        document = json.loads(self.shell(service, "show tech-support callhome | json").stdout)
        headings = [line for line in document["text"] if line.startswith("switch# ")]
        self.assertEqual(headings, ["switch# " + command for command in COMMANDS])
        self.assertIn("contact : Ada Marlowe", document["text"])

    def test_at_a_terminal_it_is_one_display_that_stops_at_each_screen(self):
        service = self.configured_service()
        terminal = pexpect.spawn(
            str(harness.PROGRAMS / "callhome"), ["--socket", str(service.socket), "--prompt-name", "switch"],
            env={"TERM": "xterm", "PATH": "/usr/bin:/bin", "HOME": str(self.folder),
                 "XDG_STATE_HOME": str(self.folder)},
            encoding="utf-8", timeout=harness.LIMIT, dimensions=(24, 200))
        self.addCleanup(terminal.close, force=True)
        terminal.expect_exact("switch# ")
        terminal.send("configure terminal\r")
        terminal.expect_exact("switch(config)# ")
        terminal.send("show tech-support callhome\r")
        terminal.expect_exact("--More--")
        self.assertIn("switch(config)# show module", terminal.before)
        self.assertNotIn("mem-stats", terminal.before)
        terminal.send("q")
        terminal.expect_exact("switch(config)# ")
        terminal.send("show tech-support callhome | no-more\r")
        for command in COMMANDS:
            terminal.expect_exact("switch(config)# " + command)
        terminal.expect(r"\x1b\[[^#]*switch\(config\)# ")  # the prompt, which is drawn

    def test_without_a_service_there_is_what_needs_none(self):
        service = self.configured_service()
        service.stop()
        shown = self.run_in_place_of(f"echo $$ >{self.folder}/pid", service)
        parts = self.parts_of(shown.stdout)
        self.assertEqual(list(parts), COMMANDS[:8], "the summary ends a shell that has lost its service")
        self.assertTrue(parts["show version"][0].startswith("callhome "))
        self.assertEqual(shown.returncode, 1)
        self.assert_script_is_gone()

    def assert_script_is_gone(self):
        pid = (self.folder / "pid").read_text().strip()
        self.assertFalse(os.path.lexists("/tmp/tech_callhome." + pid))

    def run_in_place_of(self, prepare, service):
        """The shell under the process number that the preparation has as $$."""
        return subprocess.run(
            ["sh", "-c", prepare + '; exec "$@"', "sh", harness.PROGRAMS / "callhome", "--socket", service.socket,
             "--prompt-name", "switch", "-c", "show tech-support callhome"],
            capture_output=True, text=True, stdin=subprocess.DEVNULL, timeout=harness.LIMIT)

    def test_a_link_in_place_of_the_script_is_refused(self):
        service = self.configured_service()
        kept = self.folder / "kept"
        kept.write_text("precious")
        done = self.run_in_place_of(f"ln -s {kept} /tmp/tech_callhome.$$; echo $$ >{self.folder}/pid", service)
        link = pathlib.Path("/tmp/tech_callhome." + (self.folder / "pid").read_text().strip())
        self.addCleanup(link.unlink)
        self.assertEqual((done.stdout, done.returncode), ("Error: unable to open tmp file\n", 1))
        self.assertEqual(kept.read_text(), "precious")

    def test_a_leftover_of_our_own_runs_too_and_is_gone_afterwards(self):
        service = self.configured_service()
        done = self.run_in_place_of(
            f"echo show history >/tmp/tech_callhome.$$; echo $$ >{self.folder}/pid", service)
        self.assertEqual(list(self.parts_of(done.stdout)), ["show history", *COMMANDS])
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assert_script_is_gone()

    def test_errors_have_numbers_that_go_on_within_a_session(self):
        server = self.start_mail_server(RCPT=lambda address: "550 5.1.1 nobody of that name")
        service = self.start_service()
        self.configure(service, server.port)
        for _ in range(2):
            self.shell(service, "callhome test", check=False)
        shown = self.shell(service, "show trace callhome", "show trace callhome").stdout
        numbers = re.findall(r"(?m)^(\d+)\) \d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} (?:warning|error): ", shown)
        self.assertGreaterEqual(len(numbers), 4, shown)
        self.assertEqual(numbers, [str(number) for number in range(1, len(numbers) + 1)])
        self.assertRegex(shown, r"warning: Delivery .*nobody of that name")

    def test_traces_are_lost_with_the_process_and_begin_with_its_start(self):
        service = self.configured_service()
        service.restart()
        first = self.history(service).splitlines()[0]
        self.assertRegex(first, r"info: callhomed \S+ starts$")

    def test_memory_statistics_with_and_without_detail(self):
        service = self.configured_service()
        plain = self.shell(service, "show system internal callhome mem-stats").stdout
        detailed = self.shell(service, "show system internal callhome mem-stats detail").stdout
        for part in ("Configuration", "Messages", "Signatures", "Traces", "Store", "Heap in use", "Resident"):
            self.assertRegex(plain, rf"(?m)^{part}: ")
            self.assertRegex(detailed, rf"(?m)^{part}: ")
        self.assertNotRegex(plain, r"(?m)^  ")
        self.assertRegex(detailed, r"(?m)^  addresses: +1, \d+ bytes$")

    def test_what_is_declared_only_says_so(self):
        service = self.start_service()
        for command in ("show callhome inventory", "show callhome tech-support"):
            self.assertEqual(self.shell(service, command).stdout, "this cli command is not implemented\n")


class EventTrigger(harness.EndToEnd):
    def test_each_type_reaches_the_service(self):
        service = self.start_service()
        for type_ in ("configuration", "diagnostic", "environment", "inventory", "syslog"):
            with self.subTest(type_):
                before = self.alerts(service)
                done = self.shell(service, f"callhome event trigger {type_} text a trial of {type_}")
                self.assertEqual((done.stdout, done.stderr), ("", ""))
                self.assertEqual(self.alerts(service), before + 1)

    def alerts(self, service):
        history = self.shell(service, "show system internal callhome event-history").stdout
        return len(re.findall(r"request: set post_alert by user \d+: ", history))

    def test_the_standby_supervisor_raises_nothing(self):
        service = self.start_service()
        done = self.shell(service, "callhome event trigger syslog", options=["--standby"], check=False)
        self.assertEqual((done.stderr.splitlines()[0], done.returncode),
                         ("This command is supported on active sup only.", 1))
        self.assertEqual(self.alerts(service), 0)


if __name__ == "__main__":
    unittest.main()
