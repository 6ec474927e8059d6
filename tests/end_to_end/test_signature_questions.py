"""Installing a signature: the service's questions at a terminal, in scripts and on the command line."""
import socket
import subprocess
import threading
import unittest

import pexpect

import harness
import wire

EXEC = "switch# "
INSTALL = "callhome diagnostic-signature install 7"
QUESTIONS = [("Which interface?", "eth0"), ("How many times?", ""), ("Who?", "ops")]


def entry(prompt="", answer="", result=""):
    return wire.DS_QUESTION_RECORD.pack(b"the service's", answer.encode(), prompt.encode(), result.encode())


class AskingService:
    """Answers an installation with questions, keeps what comes back, and has `results` for it."""

    def __init__(self, path, questions, results=(), status=0):
        self.questions, self.results, self.status = questions, results, status
        self.answers = []
        self.listener = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.listener.bind(str(path))
        self.listener.listen()
        self.threads = [threading.Thread(target=self.accept, daemon=True)]
        self.threads[0].start()

    def accept(self):
        while True:
            try:
                peer, _ = self.listener.accept()
            except OSError:
                return
            self.threads.append(threading.Thread(target=self.serve, args=(peer,), daemon=True))
            self.threads[-1].start()

    def serve(self, peer):
        with peer, peer.makefile("rwb") as stream:
            while header := stream.read(wire.HEADER.size):
                _, _, _, opcode, operation, _, length = wire.HEADER.unpack(header)
                body = self.reply_to(opcode, stream.read(length))
                stream.write(wire.header(opcode, operation, len(body), kind=wire.REPLY) + body)
                stream.flush()

    def reply_to(self, opcode, body):
        size = wire.DS_ACTION_RECORD.size
        action, identity, *_ = wire.DS_ACTION_RECORD.unpack(body[:size])
        assert (opcode, identity) == (wire.SIGNATURE_ACTION, 7)
        if action == wire.INSTALL:
            entries = [entry(prompt, answer) for prompt, answer in self.questions]
            return wire.DS_ACTION_RECORD.pack(action, identity, b"", 0, len(entries)) + b"".join(entries)
        assert action == wire.INSTALL_ANSWERS
        entries = list(wire.DS_QUESTION_RECORD.iter_unpack(body[size:]))
        assert all(key == b"the service's".ljust(16, b"\0") for key, *_ in entries)
        self.answers.append([wire.text(answer) for _, answer, _, _ in entries])
        results = b"".join(entry(result=text) for text in self.results)
        return wire.DS_ACTION_RECORD.pack(action, identity, b"", self.status, 0) + results

    def close(self):
        self.listener.shutdown(socket.SHUT_RDWR)
        self.listener.close()
        for thread in self.threads:
            thread.join(harness.LIMIT)


class SignatureQuestions(harness.EndToEnd):
    def ask(self, *questions, **how):
        self.service = AskingService(self.folder / "asking.sock", questions or QUESTIONS, **how)
        self.addCleanup(self.service.close)
        return self.service

    def arguments(self, *more):
        return ["--socket", str(self.folder / "asking.sock"), "--prompt-name", "switch", *more]

    def run_shell(self, *arguments, text=None, **how):
        return subprocess.run(
            [harness.PROGRAMS / "callhome", *self.arguments(*arguments)], capture_output=True, timeout=harness.LIMIT,
            **({"stdin": subprocess.DEVNULL} if text is None else {"input": text.encode()}), **how)

    def open(self, *arguments):
        terminal = pexpect.spawn(
            str(harness.PROGRAMS / "callhome"), self.arguments(*arguments),
            env={"TERM": "xterm", "PATH": "/usr/bin:/bin", "HOME": str(self.folder),
                 "XDG_STATE_HOME": str(self.folder)},
            encoding="utf-8", timeout=harness.LIMIT, dimensions=(24, 100))
        self.addCleanup(terminal.close, force=True)
        return terminal

    def install_at(self, terminal):
        terminal.expect_exact(EXEC)
        terminal.send(INSTALL + "\r")
        terminal.expect_exact("Which interface? [eth0]?")

    def test_questions_are_answered_one_by_one_at_a_terminal(self):
        service = self.ask()
        terminal = self.open()
        self.install_at(terminal)
        terminal.send("eth7\r")
        terminal.expect_exact("How many times? ")
        terminal.send("\r")
        terminal.expect_exact("Who? [ops]?")
        terminal.send("\r")
        terminal.expect_exact("\r\n")
        terminal.expect_exact(EXEC)
        self.assertEqual(service.answers, [["eth7", "", "ops"]])

    def test_a_key_gives_up_without_a_word_and_the_session_goes_on(self):
        service = self.ask()
        terminal = self.open()
        for key in ("\x1a", "eth7\x1a", "\x04", "\x03", "eth7\x16\x03\r", "eth7\x16\x04\r"):
            with self.subTest(repr(key)):
                self.install_at(terminal)
                terminal.send(key)
                terminal.expect("\n")
                self.assertNotIn("%", terminal.before)
                self.assertNotIn("How many", terminal.before)
        self.install_at(terminal)
        terminal.send("\r2\r\r")
        terminal.expect_exact(EXEC)
        self.assertEqual(service.answers, [["eth0", "2", "ops"]])

    def test_a_script_on_standard_input_holds_the_answers_behind_the_command(self):
        service = self.ask()
        done = self.run_shell(text=f"{INSTALL}\neth7\n3\n\nshow version\n")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(service.answers, [["eth7", "3", "ops"]])
        self.assertIn(b"Which interface? [eth0]?How many times? Who? [ops]?callhome 1", done.stdout)

    def test_a_command_on_the_command_line_reads_answers_from_standard_input(self):
        service = self.ask()
        done = self.run_shell("-c", INSTALL, text="\n3\nAnn\n")
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        self.assertEqual(service.answers, [["eth0", "3", "Ann"]])

    def test_a_script_file_asks_at_the_terminal(self):
        service = self.ask()
        script = self.folder / "script.txt"
        script.write_text(f"{INSTALL}\nshow version\n")
        terminal = self.open("-f", str(script))
        terminal.expect_exact("Which interface? [eth0]?")
        terminal.send("eth7\r\r\r")
        terminal.expect_exact("callhome 1")
        terminal.expect(pexpect.EOF)
        self.assertEqual(service.answers, [["eth7", "", "ops"]])

    def test_without_an_answer_nothing_is_installed(self):
        service = self.ask()
        done = self.run_shell("-c", INSTALL)
        self.assertEqual(done.returncode, 1)
        self.assertEqual(done.stdout, b"Which interface? [eth0]?")
        self.assertEqual(done.stderr.decode(), f"command 1: command failed: {INSTALL}\n")
        self.assertEqual(service.answers, [])

    def test_the_service_says_what_is_wrong_with_an_answer(self):
        self.ask(results=["", "\u00bbmany\u00ab is no number", ""], status=1030)
        done = self.run_shell("-c", INSTALL, text="\nmany\n\n")
        self.assertEqual(done.returncode, 0)
        self.assertEqual(done.stderr.decode(),
                         "DS prompt variable contains invalid value.\n\u00bbmany\u00ab is no number\n")

    def test_sixty_four_questions_are_asked(self):
        service = self.ask(*[(f"Question {number}:", "") for number in range(64)])
        done = self.run_shell("-c", INSTALL, text="".join(f"answer {number}\n" for number in range(64)))
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        self.assertEqual(service.answers, [[f"answer {number}" for number in range(64)]])


if __name__ == "__main__":
    unittest.main()
