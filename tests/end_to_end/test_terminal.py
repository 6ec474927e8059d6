"""The shell at a real terminal with the real service: what a person sees, also when the service dies."""
import re
import unittest

import pexpect

import harness
import wire

CONTROL = re.compile(r"\x1b\[[?\d;]*[a-zA-Z]")  # what a terminal acts on instead of showing it


class Terminal(harness.EndToEnd):
    def open(self, service):
        terminal = pexpect.spawn(
            str(harness.PROGRAMS / "callhome"),
            ["--socket", str(service.socket), "--prompt-name", "switch"],
            env={"TERM": "xterm", "PATH": "/usr/bin:/bin", "HOME": str(self.folder),
                 "XDG_STATE_HOME": str(self.folder)},
            encoding="utf-8", timeout=harness.LIMIT, dimensions=(24, 100),
        )
        self.addCleanup(terminal.close, force=True)
        terminal.expect_exact("switch# ")
        return terminal

    def type(self, terminal, line, prompt):
        terminal.send(line + "\r")
        terminal.expect_exact(prompt)
        return terminal.before

    def test_modes_show_in_the_prompt(self):
        terminal = self.open(self.start_service())
        self.type(terminal, "configure terminal", "switch(config)# ")
        self.type(terminal, "callhome", "switch(config-callhome)# ")
        self.type(terminal, "site-id harbour-3", "switch(config-callhome)# ")
        terminal.send("\x1a")
        terminal.expect_exact("switch# ")

    def test_the_session_outlives_the_service(self):
        service = self.start_service()
        terminal = self.open(service)
        self.type(terminal, "conf t", "switch(config)# ")
        self.type(terminal, "callhome", "switch(config-callhome)# ")
        self.type(terminal, "site-id first", "switch(config-callhome)# ")
        service.kill()
        said = self.type(terminal, "site-id second", "switch(config-callhome)# ")
        self.assertIn("service", said)
        service.start()
        said = self.type(terminal, "site-id third", "switch(config-callhome)# ")
        self.assertNotIn("%", said)
        # The history goes back past the loss: this types the second line again.
        self.type(terminal, "\x1b[A\x1b[A", "switch(config-callhome)# ")
        self.assertEqual(wire.configuration(service.socket)["contact"]["siteId"], "second")
        self.type(terminal, "end", "switch# ")
        terminal.sendline("exit")
        terminal.expect(pexpect.EOF)
        terminal.close()
        self.assertEqual(terminal.exitstatus, 0)

    def test_a_service_that_was_restarted_between_two_commands_goes_unnoticed(self):
        service = self.start_service()
        terminal = self.open(service)
        self.type(terminal, "show callhome transport-email", "switch# ")
        service.restart()
        said = self.type(terminal, "show callhome transport-email", "switch# ")
        self.assertIn("from email addr:", said)

    def test_ctrl_c_ends_a_command_that_waits(self):
        server = self.start_mail_server(MAIL=lambda sender: "hang")
        service = self.start_service()
        self.configure(service, server.port)
        terminal = self.open(service)
        terminal.send("callhome test\r")
        terminal.expect_exact("trying to send test callhome message")
        server.wait(lambda s: s.attempts == 1)
        terminal.send("\x03")
        terminal.expect_exact("switch# ")
        self.assertIn("from email addr", self.type(terminal, "show callhome transport-email", "switch# "))

    def test_filters(self):
        service = self.start_service()
        terminal = self.open(service)
        said = self.type(terminal, "show callhome transport-email | count", "switch# ")
        self.assertIn("3\r\n", CONTROL.sub("", said))


if __name__ == "__main__":
    unittest.main()
