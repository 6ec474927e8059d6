"""Displays of diagnostic signatures, whatever text the service answers with."""
import json
import subprocess
import unittest

import jsonschema

import harness
import wire
from fake_service import FakeService

SHOW = "show diagnostic-signature callhome"
SCHEMAS = harness.TREE / "docs/schemas"

SETTINGS = """
Current diagnostic-signature settings:
 Diagnostic-signature: Enabled
 Profile: ops
 Environment variable:
           ds_site: Dock 5, 100%
           ds_floor: 12:30

Downloaded DSes:
                                                             Last Update
DS ID    DS Name                         Revision State      (100%% UTC)
-------- ------------------------------- -------- ---------- -------------------
8001     link-flapping                   1.2      installed  2026-11-21 16:00:12
8002     high temperature                2        loaded     2026-11-20 09:30:00
"""

FAILURES = """Stage: D - Download, P - Parsing, F - File access
       R - Registration, S - Sign check
                                Last Failed Time
DS ID    DS Name          Stage (UTC)               Reason
-------- ---------------- ----- ------------------- ------
8001     link-flapping    D     2026-11-21 16:00:12 no answer: 100%% lost %s
                                                    for the second time
"""

RUN_TIMES = """                                                          Average Run  Max Run
DS ID     DS Name                          Max/Deinstall  Time(sec)    Time(sec)
--------  -------------------------------  -------------  -----------  ---------
8001      link-flapping                    5/yes          0.25         1.50
"""

DOWNLOADS = """
Download-type    In-queue      Fail    Success   Last request sent
-------------   ----------    -----   -------   -----------------
one                 2          3        40       2026-11-21 16:00:12
all                 0          0        1        never
"""


def answer(text, opcode=wire.SIGNATURE_VIEW):
    body = text if isinstance(text, bytes) else text.encode() + b"\0"
    return wire.header(opcode, wire.GET, len(body), kind=wire.REPLY) + body


class SignatureDisplays(harness.EndToEnd):
    def show(self, command, reply):
        path = self.folder / "fake.sock"
        fake = FakeService(path, reply)
        try:
            done = subprocess.run([harness.PROGRAMS / "callhome", "--socket", path, "-c", command],
                                  stdin=subprocess.DEVNULL, capture_output=True, timeout=harness.LIMIT)
        finally:
            fake.close()
            path.unlink()
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        return done.stdout.decode()

    def document(self, command, reply):
        """The display as JSON, after it has been held against its schemas in both forms."""
        schema = SCHEMAS / command.replace(" ", "-")
        document = json.loads(self.show(command + " | json", reply))
        jsonschema.Draft202012Validator(json.loads(schema.with_suffix(".json").read_text())).validate(document)
        done = subprocess.run(["xmllint", "--noout", "--schema", schema.with_suffix(".xsd"), "-"],
                              input=self.show(command + " | xml", reply), capture_output=True, text=True,
                              timeout=harness.LIMIT)
        self.assertEqual(done.returncode, 0, done.stderr)
        return document

    def test_the_settings_look_as_the_service_wrote_them(self):
        self.assertEqual(self.show(SHOW, answer(SETTINGS)), SETTINGS.replace("%%", "%"))

    def test_without_variables_and_signatures(self):
        lines = SETTINGS.splitlines(keepends=True)
        empty = "".join(lines[:5]) + "           Not yet set up\n" + "".join(lines[7:12])
        self.assertEqual(self.show(SHOW, answer(empty)), empty.replace("%%", "%"))
        self.assertEqual(self.document(SHOW, answer(empty)),
                         {"environment_variables": [], "signatures": [], "enabled": True, "profile": "ops"})

    def test_the_settings_are_an_object_with_lists(self):
        self.assertEqual(self.document(SHOW, answer(SETTINGS)), {
            "enabled": True, "profile": "ops",
            "environment_variables": [{"name": "ds_site", "value": "Dock 5, 100%"},
                                      {"name": "ds_floor", "value": "12:30"}],
            "signatures": [
                {"id": "8001", "name": "link-flapping", "revision": "1.2", "state": "installed",
                 "last_update": "2026-11-21 16:00:12"},
                {"id": "8002", "name": "high temperature", "revision": "2", "state": "loaded",
                 "last_update": "2026-11-20 09:30:00"}]})

    def test_texts_are_shown_as_they_are(self):
        text = "<signature>\n  100% %s %%\n</signature>\n"
        for words in ("xml", "events", "prompts", "actions", "state", "messages"):
            self.assertEqual(self.show(f"{SHOW} {words}", answer(text)), text)
            self.assertEqual(self.document(f"{SHOW} {words}", answer(text)), {"content": text[:-1]})
        self.assertEqual(self.show(f"{SHOW} description 8001", answer(text)), text)

    def test_failures(self):
        command = f"{SHOW} statistics failure"
        heading, _ = FAILURES.split("8001")
        self.assertEqual(self.show(command, answer(FAILURES)), FAILURES)
        self.assertEqual(self.document(command, answer(FAILURES)), {"failures": [
            {"id": "8001", "name": "link-flapping", "stage": "D", "last_failed": "2026-11-21 16:00:12",
             "reason": "no answer: 100%% lost %s"},
            {"id": "", "name": "", "stage": "", "last_failed": "", "reason": "for the second time"}]})
        self.assertEqual(self.show(command, answer(heading)), heading)
        self.assertEqual(self.document(command, answer(heading)), {"failures": []})

    def test_run_times(self):
        command = f"{SHOW} statistics"
        shown = RUN_TIMES[:-1] + "     \n"  # the last column is padded, too
        self.assertEqual(self.show(command, answer(RUN_TIMES)), shown)
        self.assertEqual(self.show(command + " run-time", answer(RUN_TIMES)), shown)
        self.assertEqual(self.document(command, answer(RUN_TIMES)), {"signatures": [
            {"id": "8001", "name": "link-flapping", "runs_limit_removal": "5/yes",
             "average_run_seconds": "0.25", "longest_run_seconds": "1.50"}]})

    def test_downloads(self):
        command = f"{SHOW} statistics download"
        text = self.show(command, answer(DOWNLOADS))
        self.assertEqual([line.split() for line in text.splitlines()[3:]],
                         [["one", "2", "3", "40", "2026-11-21", "16:00:12"], ["all", "0", "0", "1", "never"]])
        self.assertEqual(text.splitlines()[:3], DOWNLOADS.splitlines()[:3])
        self.assertEqual(self.document(command, answer(DOWNLOADS)), {"download_types": [
            {"name": "one", "in_queue": 2, "failed": 3, "succeeded": 40, "last_request": "2026-11-21 16:00:12"},
            {"name": "all", "in_queue": 0, "failed": 0, "succeeded": 1, "last_request": "never"}]})

    def test_what_the_service_tells_of_itself(self):
        reply = answer("memory: 12%% of 64 MiB\n100% %s\n", opcode=wire.SERVICE_INFO)
        self.assertEqual(self.show("show callhome information memory", reply), "memory: 12% of 64 MiB\n100% %s\n")
        document = json.loads(self.show("show callhome information memory | json", reply))
        self.assertEqual(document, {"text": ["memory: 12% of 64 MiB", "100% %s"]})

    def test_a_table_as_long_as_a_reply_can_be(self):
        heading, rows = FAILURES.split("8001", 1)
        row = ("8001" + rows).splitlines(keepends=True)[0]
        rows = 100_000
        text = self.show(f"{SHOW} statistics failure", answer(heading + row * rows))
        self.assertEqual(text, heading + row * rows)

    def test_a_long_reply_without_a_line(self):
        most = 16 * 1024 * 1024 - 1024
        for text in (b" " * most, b"           ds_x: Downloaded DSes: 8001     " * (most // 64)):
            self.assertEqual(self.show(SHOW, answer(text)), "\n\n\n\n")
            self.assertEqual(self.show(f"{SHOW} statistics failure", answer(text)), "")


if __name__ == "__main__":
    unittest.main()
