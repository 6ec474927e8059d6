"""The shell at a terminal: what a person sees and types. Arguments: the shell, the library of fakes."""
import os
import pathlib
import re
import signal
import stat
import sys
import tempfile
import threading
import unittest

import pexpect

SHELL, LIBRARY = sys.argv[1:3]
LIMIT = 20
EXEC, CONFIG, CALL_HOME = "sw# ", "sw(config)# ", "sw(config-callhome)# "
CTRL_C, CTRL_D, CTRL_V, CTRL_Z = "\x03", "\x04", "\x16", "\x1a"
UP = "\x1b[A"
AT_LINE_START = "\r\n\x1b[?2004h"  # marking of pastes goes on with the prompt


class Terminal(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def open(self, rows=24, term="xterm", arguments=(), display=""):
        child = pexpect.spawn(
            SHELL, ["--library", LIBRARY, "--socket", "/nonexistent/socket", "--prompt-name", "sw", *arguments],
            env={"TERM": term, "PATH": "/usr/bin:/bin", "HOME": str(self.folder),
                 "FAKE_DISPLAY": display,
                 "XDG_STATE_HOME": str(self.folder / "state"),
                 "ASAN_OPTIONS": "handle_segv=0"},  # a crash shall be one also under the sanitizers
            # The terminal may echo half a letter of what is typed ahead, then the shell writes.
            encoding="utf-8", codec_errors="backslashreplace", timeout=LIMIT, dimensions=(rows, 80))
        self.addCleanup(child.close, force=True)
        child.expect_exact(EXEC)
        return child

    def type(self, child, line, prompt=EXEC):
        child.send(line + "\r")
        child.expect_exact(prompt)
        return re.sub(r"\x1b\[[?0-9;]*[a-zA-Z]", "", child.before)

    def in_call_home(self, **how):
        child = self.open(**how)
        self.type(child, "conf t", CONFIG)
        self.type(child, "callhome", CALL_HOME)
        return child

    def leave(self, child):
        child.expect(pexpect.EOF)
        child.close()
        self.assertEqual(child.exitstatus, 0)

    def test_the_prompt_shows_the_mode(self):
        child = self.in_call_home()
        self.type(child, "exit", CONFIG)
        self.type(child, "callhome", CALL_HOME)
        child.send("site-id abandoned" + CTRL_Z)
        child.expect_exact("^Z")
        child.expect_exact(EXEC)
        child.send("exit\r")
        self.leave(child)

    def test_ctrl_d_on_an_empty_line_leaves_one_mode_at_a_time(self):
        child = self.in_call_home()
        child.send(CTRL_D)
        child.expect_exact(CONFIG)
        child.send(CTRL_D)
        child.expect_exact(EXEC)
        child.send(CTRL_D)
        self.leave(child)

    def test_ctrl_c_drops_the_line(self):
        child = self.open()
        child.send("callhome test" + CTRL_C)
        child.expect_exact("^C")
        child.expect_exact(EXEC)
        self.assertIn("callhome 1", self.type(child, "show version"))

    def test_a_question_mark_helps_at_once_and_the_line_stays(self):
        child = self.in_call_home()
        child.send("switch-priority ?")
        child.expect(r"<0-7> +Priority of the switch")
        child.expect_exact(CALL_HOME + "switch-priority ")
        child.send("5\r")
        child.expect_exact("7=5")

    def test_a_question_mark_inside_a_value_belongs_to_it(self):
        child = self.in_call_home()
        said = self.type(child, "destination-profile noc http http://example.org/in?site=1", CALL_HOME)
        self.assertIn("812711940=http://example.org/in?site=1", said)

    def test_ctrl_v_makes_a_question_mark_a_letter(self):
        child = self.in_call_home()
        self.assertIn("4=?", self.type(child, "site-id " + CTRL_V + "?", CALL_HOME))

    def test_tab_completes_a_word_and_lists_several(self):
        child = self.open()
        child.send("sh\tver\t\r")
        child.expect_exact("callhome 1")
        child.expect_exact(EXEC)
        child.send("show callhome mess\t")
        child.expect_exact("age")  # only what is new is drawn
        child.send("\t")
        child.expect(r"message +messages")
        child.expect_exact(EXEC + "show callhome message")

    def test_an_error_points_at_the_word(self):
        child = self.open()
        said = self.type(child, "show wrod")
        self.assertIn("\r\n         ^\r\n% Invalid input\r\n", said)
        self.assertIn("% Incomplete command", self.type(child, "show"))

    def test_history_is_kept_private_and_comes_back(self):
        child = self.open()
        self.type(child, "show version")
        child.send("exit\r")
        self.leave(child)
        file = self.folder / "state" / "callhome" / "history"
        self.assertEqual(stat.S_IMODE(file.stat().st_mode), 0o600)
        self.assertEqual(file.read_text(), "show version\nexit\n")
        again = self.open()
        again.send(UP + UP)
        again.expect_exact("show version")
        again.send("\r")
        again.expect_exact("callhome 1")

    def test_a_history_that_is_a_link_is_not_written(self):
        target = self.folder / "target"
        target.write_text("")
        (self.folder / "state" / "callhome").mkdir(parents=True)
        (self.folder / "state" / "callhome" / "history").symlink_to(target)
        child = self.open()
        self.type(child, "show version")
        self.assertIn("show version", self.type(child, "show history"))
        self.assertEqual(target.read_text(), "")

    def test_a_long_display_stops_at_each_screen(self):
        child = self.open(rows=11)
        child.send("show callhome transport-email\r")
        child.expect_exact("--More--")
        self.assertIn("line 10\r\n", child.before)
        self.assertNotIn("line 11", child.before)
        child.send("\r")
        child.expect_exact("line 11\r\n--More--")
        child.send(" ")
        child.expect_exact("line 21\r\n--More--")
        child.send("q")
        child.expect_exact(EXEC)
        self.assertNotIn("line 22", child.before)
        self.assertIn("callhome 1", self.type(child, "show version"))

    def test_no_more_and_short_displays_do_not_stop(self):
        child = self.open(rows=11)
        self.assertIn("line 100\r\n", self.type(child, "show callhome transport-email | no-more"))
        self.assertIn("100\r\n", self.type(child, "show callhome transport-email | count"))

    def test_a_display_does_not_drive_the_terminal(self):
        child = self.open(rows=11)
        for behind in ("| include red", "| begin red | count", "| begin red | no-more"):
            child.send(f"show callhome transport-email {behind}\r")
            child.expect_exact(EXEC)
            self.assertNotIn("\x1b[31m", child.before)
        self.assertIn("line 50 \\x1b[31mred", child.before)

    def test_a_display_keeps_its_tabs_and_shows_other_bytes(self):
        child = self.open(display="print bytes")
        for behind in ("", "| no-more", "| include ller", "| begin ller | no-more"):
            child.send(f"show callhome transport-email {behind}\r")
            child.expect_exact("M\ufffdller")
            child.expect(r"^(\t| +)\\x1b\[31m\r\n")
            child.expect_exact(EXEC)

    def test_a_document_is_shown_a_screen_at_a_time(self):
        child = self.open(rows=11)
        child.send("show callhome transport-email | json\r")
        child.expect_exact("--More--")
        self.assertIn('"line 8",\r\n', child.before)
        child.send("q")
        child.expect_exact(EXEC)
        shown = self.type(child, "show callhome transport-email | json | include red")
        self.assertIn(r'"line 50 \u001b[31mred"', shown)

    def test_the_form_of_displays_is_chosen_at_the_start(self):
        child = self.open(arguments=("--output", "json"))
        self.assertIn('"version": "', self.type(child, "show version"))

    def test_the_session_outlives_a_service_that_is_lost_in_a_display(self):
        child = self.open(display="lose the service")
        child.send("show callhome transport-email | json | no-more\r")
        child.expect_exact("the command ended before its display was complete")
        child.expect_exact("% The command was ended; the session goes on")
        child.expect_exact(EXEC)

    def test_a_question_is_seen_before_its_answer_is_read(self):
        child = self.open()
        child.send("callhome send sw-crash process ask\r")
        child.expect_exact("sure? ")
        child.send("y\r")
        child.expect_exact("the answer is \\x1by\r\n")
        child.expect_exact(EXEC)

    def install(self, **how):
        child = self.open(**how)
        child.send("callhome diagnostic-signature install 7\r")
        child.expect_exact("who? ")
        return child

    def test_each_answer_is_typed_at_its_question(self):
        child = self.install()
        child.send("Ann\x7f\x7fmy\r")  # the terminal edits it
        child.expect_exact("who=Amy;\r\nwhen? ")
        child.send("\r")
        child.expect_exact("when=;\r\n")
        child.expect_exact(EXEC)
        self.assertIn("callhome 1", self.type(child, "show version"))

    def test_ctrl_z_at_a_question_does_not_wait_for_return(self):
        child = self.install()
        child.send("half an ans" + CTRL_Z)
        child.expect_exact("^Z" + AT_LINE_START + EXEC)
        self.assertIn("callhome 1", self.type(child, "show version"))

    def test_ctrl_d_at_a_question_ends_only_that_input(self):
        child = self.install()
        child.send(CTRL_D)
        child.expect_exact(AT_LINE_START + EXEC)
        child.send("callhome diagnostic-signature install 7\r")
        child.expect_exact("who? ")
        child.send("Ann" + CTRL_D + CTRL_D)
        child.expect_exact("who=Ann;\r\nwhen? ")
        child.expect_exact(EXEC)
        self.assertIn("callhome 1", self.type(child, "show version"))

    def test_ctrl_c_at_a_question_brings_the_prompt_back_in_its_mode(self):
        child = self.in_call_home()
        child.send("callhome diagnostic-signature install 7\r")
        child.expect_exact("who? ")
        child.send("An" + CTRL_C)
        child.expect_exact("^C")
        child.expect_exact(CALL_HOME)
        self.assertNotIn("%", child.before)
        self.assertIn("4=on", self.type(child, "site-id on", CALL_HOME))

    def test_what_does_not_fit_an_answer_is_neither_a_command_nor_another_answer(self):
        child = self.install()
        child.send("\r")
        child.expect_exact("when? ")
        child.send("x" * 130 + "show version\r")
        child.expect_exact("when=" + "x" * 127 + ";")
        child.expect_exact(EXEC)
        child.send("callhome diagnostic-signature install 7\r")
        child.expect_exact("who? ")
        self.assertNotIn("callhome 1", child.before)
        child.send("Ann\r")
        child.expect_exact("who=Ann;")

    def test_answers_may_be_pasted_and_typed_ahead_with_their_command(self):
        lines = ["callhome diagnostic-signature install 7", "Ann", "what?\tnow", "show version"]
        for term, text in (("xterm", "\x1b[200~" + "\n".join(lines) + "\n\x1b[201~"), ("dumb", "\r".join(lines) + "\r")):
            with self.subTest(term):
                child = self.open(term=term)
                child.send(text)
                child.expect_exact("who=Ann;")
                child.expect(r"when=what\?\s+now;")
                child.expect_exact("callhome 1")
                child.expect_exact(EXEC)
                self.assertIn("line 100", self.type(child, "show callhome transport-email | no-more"))

    def test_ctrl_c_at_a_screen_brings_the_prompt_back(self):
        child = self.open(rows=11)
        child.send("show callhome transport-email\r")
        child.expect_exact("--More--")
        child.send(CTRL_C)
        child.expect_exact(EXEC)
        self.assertIn("callhome 1", self.type(child, "show version"))

    def test_the_session_outlives_a_command_that_ends_its_process(self):
        child = self.in_call_home()
        self.type(child, "site-id first", CALL_HOME)
        said = self.type(child, "site-id lose-service", CALL_HOME)
        self.assertIn("the service is lost", said)
        self.assertIn("the session goes on", said)
        self.assertIn("4=second", self.type(child, "site-id second", CALL_HOME))
        self.assertIn("4=first", self.type(child, UP + UP + UP, CALL_HOME))

    def test_the_session_outlives_a_crash(self):
        child = self.in_call_home()
        said = self.type(child, "site-id crash", CALL_HOME)
        self.assertRegex(said, r"% The command ended abnormally \(Segmentation fault\); the session goes on")
        self.assertIn("4=on", self.type(child, "site-id on", CALL_HOME))

    def test_ctrl_c_ends_a_command_that_waits_without_alarm(self):
        child = self.in_call_home()
        child.send("site-id wait\r")
        child.expect_exact("waiting\r\n")
        child.send(CTRL_C)
        child.expect_exact(CALL_HOME)
        self.assertNotIn("%", child.before)
        self.assertIn("4=on", self.type(child, "site-id on", CALL_HOME))

    def test_a_paste_of_several_lines_runs_line_by_line(self):
        child = self.open()
        child.send("\x1b[200~conf t\n\r\ncallhome\n\nsite-id what?\tnow\nsite-id half\x1b[201~")
        child.expect_exact("4=what? now")
        child.expect_exact("site-id half")
        child.send("-way\r")
        child.expect_exact("4=half-way")

    def test_a_pasted_line_is_drawn_over_the_prompt_that_waits(self):
        child = self.open()
        child.send("\x1b[200~conf t\n\x1b[201~")
        child.expect_exact(CONFIG)
        drawn = child.before.rpartition("\r\x1b[K")[2]
        self.assertEqual(re.sub(r"\x1b\[[?0-9;]*[a-zA-Z]", "", drawn).split("\n")[0].strip(), EXEC + "conf t")

    def site_ids(self, child, text, last):
        """Sends text faster than it is read; gives the site-ids that have arrived, up to the last."""
        sender = threading.Thread(target=lambda: self.send_all(child, text))
        sender.start()
        child.expect_exact(" 4=" + last, timeout=6 * LIMIT)
        sender.join(6 * LIMIT)
        # Not from the display: the terminal shows what is typed ahead wherever it comes.
        history = (self.folder / "state" / "callhome" / "history").read_text().splitlines()
        return [line.split("site-id ")[1] for line in history if "site-id " in line]

    def forget_history(self):
        os.truncate(self.folder / "state" / "callhome" / "history", 0)

    @staticmethod
    def send_all(child, text):
        rest = text.encode()
        while rest:
            rest = rest[os.write(child.child_fd, rest[:4096]):]

    TEXTS = ["what? ? why", "? begins", "Köln 東京 é\u00a0ÿ 😀", "a  b   c", "\"quoted\" 'so' | count",
             "! no # comment", "$HOME `x` \\ %d %n", "x" * 2047, "ö?" * 682 + "z"]

    def test_a_paste_arrives_as_it_is(self):
        for term in ("xterm", "dumb"):
            with self.subTest(term):
                child = self.in_call_home(term=term)
                self.forget_history()
                lines = "".join(f"  site-id {text}\n" for text in self.TEXTS)
                pasted = f"\x1b[200~{lines}\x1b[201~" if term == "xterm" else lines.replace("\n", "\r")
                self.assertEqual(self.site_ids(child, pasted, self.TEXTS[-1]), self.TEXTS)

    def test_ten_thousand_pasted_lines_arrive(self):
        wanted = [f"number {number}, and what next?" for number in range(10_000)]
        lines = "".join(f"site-id {text}\n" for text in wanted)
        for term, pasted in (("xterm", f"\x1b[200~{lines}\x1b[201~"), ("dumb", lines.replace("\n", "\r"))):
            with self.subTest(term):
                child = self.in_call_home(term=term)
                self.forget_history()
                self.assertEqual(self.site_ids(child, pasted, wanted[-1]), wanted)

    def test_a_question_mark_in_a_text_is_a_letter(self):
        child = self.in_call_home()
        self.assertIn("4=what ?", self.type(child, "site-id what ?", CALL_HOME))

    def test_typed_ahead_lines_run_too(self):
        child = self.open(term="dumb")
        child.send("conf t\rcallhome\rsite-id a\rsite-id b\r")
        child.expect_exact("4=a")
        child.expect_exact("4=b")
        child.expect_exact(CALL_HOME)

    def test_text_in_other_scripts_can_be_typed(self):
        child = self.in_call_home()
        self.assertIn("4=Köln 東京", self.type(child, "site-id Köln 東京", CALL_HOME))

    def test_the_terminal_is_left_as_it_was_found(self):
        child = pexpect.spawn(
            "/bin/sh", ["-c", f"stty -a; '{SHELL}' --library '{LIBRARY}' --prompt-name sw; stty -a"],
            env={"TERM": "xterm", "PATH": "/usr/bin:/bin", "HOME": str(self.folder)}, encoding="utf-8",
            timeout=LIMIT)
        self.addCleanup(child.close, force=True)
        child.expect(r"speed[^$]*?-?extproc[^\n]*\n")
        before = child.match.group(0)
        child.expect_exact(EXEC)
        child.send("callhome send sw-crash process crash\r")
        child.expect_exact("the session goes on")
        child.expect_exact(EXEC)
        child.send("exit\r")
        child.expect(r"speed[^$]*?-?extproc[^\n]*\n")
        self.assertEqual(child.match.group(0), before)

    def test_a_hangup_ends_the_session(self):
        child = self.open()
        child.kill(signal.SIGHUP)
        child.expect(pexpect.EOF)
        child.close()
        self.assertNotEqual(child.exitstatus, 0)

    def test_a_library_that_cannot_be_loaded_ends_the_shell(self):
        child = pexpect.spawn(SHELL, ["--library", "/nonexistent/lib.so"], encoding="utf-8", timeout=LIMIT,
                              env={"TERM": "xterm", "HOME": str(self.folder)})
        self.addCleanup(child.close, force=True)
        child.expect_exact("the command library cannot be loaded")
        child.expect(pexpect.EOF)
        child.close()
        self.assertEqual(child.exitstatus, 1)


unittest.main(argv=sys.argv[:1])
