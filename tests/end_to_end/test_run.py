"""./run, as somebody types it in a fresh checkout that has been built."""
import re
import subprocess
import unittest

import harness


@unittest.skipUnless(harness.PROGRAMS.name == "release", "./run plays the release programs")
class Run(unittest.TestCase):
    def run_it(self, *arguments, input=None):
        return subprocess.run(
            [harness.TREE / "run", *arguments], input=input, capture_output=True, text=True,
            stdin=subprocess.DEVNULL if input is None else None, timeout=5 * harness.LIMIT,
        )

    def test_the_first_session_and_the_mail_are_seen(self):
        done = self.run_it()
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        self.assertIn("Successfully sent test callhome message to operations@example.net", done.stdout)
        self.assertIn("mail received: 1.eml", done.stdout)
        self.assertIn("To: operations@example.net", done.stdout)

    def test_commands_of_one_s_own(self):
        done = self.run_it(input="configure terminal\ncallhome\nsite-id x\nshow callhome transport-email\n")
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        self.assertIn("(config-callhome)# site-id x", done.stdout)
        self.assertIn("from email addr:", done.stdout)

    def test_the_readme_shows_this_session(self):
        readme = (harness.TREE / "README.md").read_text()
        section = re.search(r"(?ms)^## A first session$(.*?)^## ", readme)[1]
        shown = re.findall(r"(?m)^    switch\S*# (.*)$", section)
        typed = (harness.TREE / "examples/first-session.txt").read_text().splitlines()
        self.assertEqual([re.sub(r"port \d+", "port @MAIL_PORT@", line) for line in shown], typed)

    def test_the_session_of_a_signature_ends_with_its_mail(self):
        done = subprocess.run([harness.TREE / "examples/signature-session"], capture_output=True, text=True,
                              stdin=subprocess.DEVNULL, timeout=5 * harness.LIMIT)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        self.assertRegex(done.stdout, r"stand\? Harbour 12\n")
        self.assertRegex(done.stdout, r"\n1001 +link-flapping +1\.0 +installed ")
        self.assertRegex(done.stdout, r"\nSubject: Link flapping on \S+ \(Harbour 12, ticket NET-4711\)\n")
        self.assertRegex(done.stdout, r"\n1001 +link-flapping +1/10/N ")
        readme = (harness.TREE / "README.md").read_text()
        section = re.search(r"(?ms)^## Diagnostic signatures$(.*?)^## ", readme)[1]
        for command in re.findall(r"(?m)^    switch# (.*)$", section):
            self.assertRegex(done.stdout, "# " + re.escape(command).replace("/srv", r"\S+"))


if __name__ == "__main__":
    unittest.main()
