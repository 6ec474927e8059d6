"""The shell in scripts: what it prints, where, and how it ends. Arguments: the shell, the library of fakes."""
import json
import os
import subprocess
import sys
import tempfile
import unittest

SHELL, LIBRARY = sys.argv[1:3]
LIMIT = 30


def shell(*arguments, text="", merge=False, output=subprocess.PIPE, display=""):
    return subprocess.run(
        [SHELL, "--library", LIBRARY, "--socket", "/nonexistent/socket", "--prompt-name", "sw", *arguments],
        input=text, stdout=output, stderr=subprocess.STDOUT if merge else subprocess.PIPE,
        encoding="utf-8", timeout=LIMIT, env={**os.environ, "FAKE_DISPLAY": display})


class Script(unittest.TestCase):
    def script(self, text):
        file = tempfile.NamedTemporaryFile("w", suffix=".txt", encoding="utf-8")
        self.addCleanup(file.close)
        file.write(text)
        file.flush()
        return file.name

    def test_modes_carry_over_from_one_command_to_the_next(self):
        done = shell("-c", "configure terminal", "-c", "callhome", "-c", "switch-priority 3")
        self.assertEqual(done.stdout, "callhome_mode no=0 id=0\ncallhome_info no=0 id=0 94=switch-priority 7=3\n")
        self.assertEqual((done.stderr, done.returncode), ("", 0))

    def test_a_pasted_configuration_moves_up_by_itself(self):
        done = shell(text="configure terminal\ncallhome\nsite-id a\nsnmp-server enable traps callhome\n"
                          "callhome\nsite-id b\ncallhome test\nsite-id c\n")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual([line.split()[0] for line in done.stdout.splitlines()],
                         ["callhome_mode", "callhome_info", "callhome_traps_enable", "callhome_mode",
                          "callhome_info", "callhome_test", "callhome_info"])

    def test_exit_leaves_one_mode_and_end_all(self):
        done = shell("--echo", text="conf t\ncallhome\ndiagnostic-signature\nexit\nend\nexit\nshow version\n")
        self.assertEqual(done.stdout,
                         "sw# conf t\nsw(config)# callhome\ncallhome_mode no=0 id=0\n"
                         "sw(config-callhome)# diagnostic-signature\nch_config_gch_ds_mode no=0 id=0\n"
                         "sw(config-callhome-signature)# exit\nsw(config-callhome)# end\nsw# exit\n")
        self.assertEqual(done.returncode, 0)

    def test_a_recorded_ctrl_z_goes_back_to_exec_mode(self):
        done = shell("-c", "conf t", "-c", "\x1a", "-c", "snmp-server enable traps callhome")
        self.assertTrue(done.stderr.startswith('command 3: Invalid input at "snmp-server"'), done.stderr)

    def test_an_error_of_a_command_names_its_number(self):
        done = shell("-c", "show version", "-c", "show wrod")
        self.assertEqual(done.stderr,
                         'command 2: Invalid input at "wrod": expected callhome, diagnostic-signature, '
                         'running-config, history, version, tech-support, trace, system, ...\n')
        self.assertEqual(done.returncode, 1)

    def test_an_error_of_a_file_names_file_and_line_and_ends_the_script(self):
        name = self.script("! a comment\n\nshow version\r\nshow\nshow version\n")
        done = shell("-f", name)
        self.assertEqual(done.stdout.count("callhome "), 1)
        self.assertEqual(done.stderr, f"{name}:4: Incomplete command: expected callhome, diagnostic-signature, "
                                      "running-config, history, version, tech-support, trace, system, ...\n")
        self.assertEqual(done.returncode, 1)

    def test_a_file_may_begin_with_a_byte_order_mark(self):
        done = shell("-f", self.script("\ufeffcallhome test\n"))
        self.assertEqual((done.stdout, done.returncode), ("callhome_test no=0 id=0\n", 0), done.stderr)

    INSTALL = "callhome diagnostic-signature install 7"
    ASKED = "ch_exec_gch_ds_install no=0 id=0 107=7\n"

    def test_a_command_that_asks_reads_the_next_lines_of_a_script_on_standard_input(self):
        for arguments in ((), ("-f", "-")):
            done = shell(*arguments, text=f"{self.INSTALL}\nAnn\n\nshow version\n")
            self.assertEqual(done.stdout.split("callhome 1")[0], self.ASKED + "who? who=Ann;\nwhen? when=;\n")
            self.assertEqual((done.stderr, done.returncode), ("", 0))

    def test_beside_a_script_standard_input_holds_the_answers(self):
        name = self.script(f"{self.INSTALL}\nshow version\n")
        for arguments in (("-f", name), ("-c", self.INSTALL, "-c", "show version")):
            done = shell(*arguments, text="Ann\nnow")
            self.assertEqual(done.stdout.split("callhome 1")[0], self.ASKED + "who? who=Ann;\nwhen? when=now;\n")
            self.assertEqual((done.stderr, done.returncode), ("", 0))

    def test_what_is_shown_of_a_script_has_the_answers_too(self):
        asked = f"# {self.INSTALL}\n{self.ASKED}who? Ann\nwho=Ann;\nwhen? \nwhen=;\n"
        lines = f"{self.INSTALL}\nAnn\n\nshow version\n"
        done = shell("--echo", "--prompt-name", "switch", text=lines)
        self.assertEqual(done.stdout.split("switch# show")[0], "switch" + asked)
        done = shell("--echo", "--prompt-name", "switch", "-c", self.INSTALL, text="Ann\n\n")
        self.assertEqual(done.stdout, "switch" + asked)

    def test_an_answer_is_the_same_whether_it_is_shown_or_not(self):
        longest = "x" * 127
        for answer, taken in (("Ann\r", "Ann"), (longest + " show version", longest), ("", "")):
            lines = f"{self.INSTALL}\nAnn\n{answer}\n"
            for options in ((), ("--echo",)):
                done = shell(*options, text=lines)
                self.assertTrue(done.stdout.endswith(f"when={taken};\n"), done.stdout)
                self.assertEqual((done.stderr, done.returncode), ("", 0))

    def test_a_question_without_an_answer_fails_its_command(self):
        done = shell("-c", self.INSTALL, "-c", "show version", text="Ann\n")
        self.assertEqual(done.stdout, self.ASKED + "who? who=Ann;\nwhen? ")
        self.assertEqual(done.stderr, f"command 1: command failed: {self.INSTALL}\n")
        self.assertEqual(done.returncode, 1)

    def test_ten_thousand_piped_lines_arrive(self):
        wanted = [f"number {number}, and what next? | \"so\" # ö" for number in range(10_000)]
        lines = "configure terminal\ncallhome\n" + "".join(f"  site-id {text}\n" for text in wanted)
        for done in (shell(text=lines), shell("-f", self.script(lines))):
            self.assertEqual(done.returncode, 0, done.stderr)
            self.assertEqual([line.split("4=")[1] for line in done.stdout.splitlines()[1:]], wanted)

    def test_standard_input_is_named_in_errors(self):
        self.assertEqual(shell(text="wrod").stderr.split(":")[:2], ["standard input", "1"])

    def test_keep_going_runs_the_rest_and_still_fails(self):
        done = shell("--keep-going", "-c", "wrod", "-c", "callhome test")
        self.assertEqual(done.stdout, "callhome_test no=0 id=0\n")
        self.assertEqual(done.returncode, 1)

    def test_a_handler_that_fails_fails_the_script(self):
        done = shell("-c", "callhome send sw-crash process refuse", "-c", "callhome test")
        self.assertEqual(done.stdout, "callhome_send_swcrash no=0 id=0 69=refuse\n")
        self.assertEqual(done.stderr, "command 1: command failed: callhome send sw-crash process refuse\n")
        self.assertEqual(done.returncode, 1)

    def test_a_mode_is_not_entered_when_its_handler_has_no_such_form(self):
        done = shell("--echo", "-c", "conf t", "-c", "no callhome", "-c", "end")
        self.assertIn("sw(config)# end", done.stdout)

    def test_a_lost_service_ends_the_script_and_what_was_printed_is_seen(self):
        done = shell("--keep-going", "-c", "callhome send sw-crash process lose-service | include swcrash",
                     "-c", "callhome test")
        self.assertEqual(done.stdout, "callhome_send_swcrash no=0 id=0 69=lose-service\n")
        self.assertEqual(done.stderr, "the service is lost\n")
        self.assertEqual(done.returncode, 1)

    def test_a_command_of_the_shell_itself_says_that_the_service_is_lost(self):
        done = shell("-c", "conf t", "-c", "snmp-server contact Ann")
        self.assertTrue(done.stderr.startswith("command 2: The change was not made: "), done.stderr)
        self.assertTrue(done.stderr.endswith("command 2: command failed: snmp-server contact Ann\n"), done.stderr)
        self.assertEqual(done.returncode, 1)

    def test_output_and_errors_stand_in_order(self):
        done = shell("--echo", "--keep-going", "-c", "show version", "-c", "wrod", "-c", "show version", merge=True)
        kinds = [line.split(" ")[0] for line in done.stdout.splitlines()]
        version = ["sw#", "callhome", "kernel", "distribution"]
        self.assertEqual(kinds, [*version, "sw#", "command", *version])

    def test_filters_see_what_handlers_print(self):
        done = shell("-c", "show callhome transport-email | include 9 | exclude 9$ | no-more")
        self.assertEqual(done.stdout, "".join(f"line {n}\n" for n in range(90, 99)))
        self.assertEqual(shell("-c", "show callhome transport-email | count").stdout, "100\n")
        self.assertEqual(shell("-c", "show callhome transport-email | begin 99").stdout, "line 99\nline 100\n")

    def test_a_filter_leaves_the_next_command_alone(self):
        done = shell("-c", "show callhome transport-email | count", "-c", "callhome test")
        self.assertEqual(done.stdout, "100\ncallhome_test no=0 id=0\n")

    def test_a_reader_that_goes_away_ends_nothing_but_the_output(self):
        reading, writing = os.pipe()
        os.close(reading)
        done = subprocess.run([SHELL, "--library", LIBRARY, "-c", "show callhome transport-email | include line"],
                              stdout=writing, stderr=subprocess.PIPE, encoding="utf-8", timeout=LIMIT)
        os.close(writing)
        self.assertEqual((done.stderr, done.returncode), ("", 0))

    def test_output_that_is_lost_fails_the_script(self):
        lost = "callhome: not everything could be written to standard output\n"
        for words in (["-c", "callhome test"], ["-c", "show callhome transport-email | include 9"],
                      ["--keep-going", "-c", "callhome test", "-c", "show callhome transport-email | count"],
                      ["--help"]):
            with self.subTest(words=words), open("/dev/full", "w", encoding="utf-8") as full:
                done = shell(*words, output=full)
                self.assertEqual((done.stderr, done.returncode), (lost, 1))

    def test_a_closed_stream_is_nobody_elses(self):
        for stream, words in ((1, ["-c", "callhome test"]), (0, [])):
            with self.subTest(stream=stream):
                done = subprocess.run(["sh", "-c", f'exec {stream}>&-; exec "$@"', "sh", SHELL, "--library",
                                       LIBRARY, *words], capture_output=True, encoding="utf-8", timeout=LIMIT)
                self.assertEqual((done.stdout, done.returncode), ("", 1))
                self.assertNotEqual(done.stderr, "")

    def test_what_handlers_print_is_utf8(self):
        done = shell("-c", "show callhome transport-email", display="print bytes")
        self.assertEqual((done.stdout, done.returncode), ("M\ufffdller\t\x1b[31m\n", 0))

    def test_a_display_as_json_and_xml_holds_what_was_printed(self):
        done = shell("-c", "show callhome transport-email | json", display="print bytes")
        self.assertEqual(json.loads(done.stdout), {"text": ["M\ufffdller\t\x1b[31m"]})
        done = shell("-c", "show callhome transport-email | xml", display="print bytes")
        self.assertIn("<line>M\ufffdller\t\\x1b[31m</line>", done.stdout)

    def test_a_service_lost_in_a_display_leaves_a_whole_document(self):
        for filters in ("| json", "| json | exclude nothing"):
            done = shell("-c", "show callhome transport-email " + filters, display="lose the service")
            document = json.loads(done.stdout)
            self.assertEqual(len(document["text"]), 50)
            self.assertEqual(document["errors"], ["the command ended before its display was complete"])
            self.assertEqual((done.stderr, done.returncode), ("the service is lost\n", 1))

    def test_a_service_lost_in_a_display_leaves_what_was_printed(self):
        for filters in ("", "| exclude nothing"):
            done = shell("-c", "show callhome transport-email " + filters, display="lose the service")
            self.assertEqual(done.stdout.count("line "), 50)

    def test_a_document_that_is_lost_fails_the_script(self):
        for words in ("show version | json", "show version | xml | include version"):
            with self.subTest(words), open("/dev/full", "w", encoding="utf-8") as full:
                done = shell("-c", words, output=full)
                self.assertEqual((done.stderr, done.returncode),
                                 ("callhome: not everything could be written to standard output\n", 1))

    def test_errors_and_display_stand_in_order_in_one_file(self):
        done = shell("-c", "show callhome transport-email", display="lose the service", merge=True)
        self.assertEqual(done.stdout.splitlines()[49:], ["line 50 \x1b[31mred", "the service is lost"])

    def test_a_text_keeps_bars_quotes_and_blanks(self):
        done = shell("-c", "conf t", "-c", "callhome", "-c", 'streetaddress  12 "B" | gate  b ')
        self.assertTrue(done.stdout.endswith('10=12 "B" | gate  b\n'), done.stdout)

    def test_the_return_receipt_is_cleared_by_an_empty_text(self):
        done = shell("-c", "conf t", "-c", "callhome", "-c", "no transport email return-receipt")
        self.assertTrue(done.stdout.endswith("callhome_email no=1 id=0 13=\n"), done.stdout)

    def test_a_line_beyond_all_measure_is_refused(self):
        done = shell(text="site-id " + "x" * 70000)
        self.assertEqual(done.stderr, "standard input:1: The line is longer than 65536 bytes\n")

    def test_a_file_that_is_not_there_is_named(self):
        done = shell("-f", "/nonexistent/script")
        self.assertEqual(done.stderr, "callhome: /nonexistent/script: No such file or directory\n")
        self.assertEqual(done.returncode, 1)

    def test_a_folder_is_no_script(self):
        done = shell("-f", "/")
        self.assertEqual(done.stderr, "/: cannot be read: Is a directory\n")
        self.assertEqual(done.returncode, 1)

    def run_within(self, script, *arguments, **settings):
        """`show tech-support callhome` of the fake library runs the script."""
        os.environ["FAKE_SCRIPT"] = self.script(script)
        self.addCleanup(os.environ.pop, "FAKE_SCRIPT", None)
        return shell(*arguments, **settings)

    def test_a_command_may_have_a_script_run_in_its_session(self):
        done = self.run_within("show trace callhome\n\n! a comment\ncallhome test\n",
                               "-c", "show tech-support callhome")
        self.assertEqual(done.stdout, "before\nsw# show trace callhome\ncallhome_show_trace\nsw# ! a comment\n"
                                      "sw# callhome test\ncallhome_test no=0 id=0\nafter\n")
        self.assertEqual((done.stderr, done.returncode), ("", 0))

    def test_filters_of_the_script_and_of_its_command_are_each_for_their_own(self):
        script = "show callhome transport-email | include 9 | count\nshow callhome transport-email | begin 99\n"
        lines = ["before", "sw# show callhome transport-email | include 9 | count", "19",
                 "sw# show callhome transport-email | begin 99", "line 99", "line 100", "after"]
        done = self.run_within(script, "-c", "show tech-support callhome")
        self.assertEqual((done.stdout.splitlines(), done.returncode), (lines, 0), done.stderr)
        done = self.run_within(script, "-c", "show tech-support callhome | exclude 100", "-c", "callhome test")
        lines.remove("line 100")
        self.assertEqual(done.stdout.splitlines(), [*lines, "callhome_test no=0 id=0"])

    def test_a_script_of_a_command_as_a_document_is_its_lines(self):
        done = self.run_within("show callhome transport-email | include 42\nshow version\n",
                               "--output", "json", "-c", "show tech-support callhome")
        text = json.loads(done.stdout)["text"]
        self.assertEqual(text[:4], ["before", "sw# show callhome transport-email | include 42", "line 42",
                                    "sw# show version"])
        self.assertTrue(text[4].startswith("callhome "))
        self.assertEqual(text[-1], "after")
        self.assertEqual((done.stderr, done.returncode), ("", 0))

    def test_a_failure_in_the_script_of_a_command_ends_nothing_and_fails_the_command(self):
        done = self.run_within("show nothing\ncallhome test\n", "-c", "show tech-support callhome")
        self.assertEqual(done.stdout.splitlines()[-2:], ["callhome_test no=0 id=0", "after"])
        place, reason = done.stderr.splitlines()
        self.assertTrue(place.startswith(os.environ["FAKE_SCRIPT"] + ':1: Invalid input at "nothing"'), place)
        self.assertEqual(reason, "command 1: command failed: show tech-support callhome")
        self.assertEqual(done.returncode, 1)

    def test_the_session_is_afterwards_where_it_was(self):
        script = "configure terminal\ncallhome\nsite-id a\nexit\nexit\nexit\ncallhome test\n"
        done = self.run_within(script, "-c", "configure terminal", "-c", "show tech-support callhome",
                               "-c", "snmp-server enable traps callhome", "-c", "end", "-c", "callhome test")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertNotIn("sw# callhome test", done.stdout, "the script has left the session")
        self.assertEqual(done.stdout.splitlines()[-3:],
                         ["after", "callhome_traps_enable no=0 id=0", "callhome_test no=0 id=0"])

    def test_a_script_of_a_command_cannot_run_itself_without_end(self):
        done = self.run_within("show tech-support callhome\n", "-c", "show tech-support callhome")
        self.assertEqual(done.stdout, "before\nsw# show tech-support callhome\nbefore\nafter\nafter\n")
        self.assertIn(":1: A script that a command runs cannot run another one\n", done.stderr)
        self.assertEqual(done.returncode, 1)

    def test_a_service_lost_within_the_script_leaves_what_was_printed(self):
        script = "show callhome transport-email | include line [1-3]\n"
        for filters, wanted in (("", 33), ("| include line", 33), ("| json", 33)):
            done = self.run_within(script, "-c", "show tech-support callhome " + filters,
                                   display="lose the service")
            self.assertEqual(sum(done.stdout.count(f"line {digit}") for digit in (1, 2, 3)), wanted)
            self.assertEqual((done.stderr, done.returncode), ("the service is lost\n", 1))

    def test_the_displays_of_the_system_need_no_service(self):
        name, kernel = os.uname().nodename, os.uname().release
        self.assertEqual(shell("-c", "show hostname").stdout, name + "\n")
        self.assertIn(kernel, shell("-c", "show version").stdout)
        document = json.loads(shell("-c", "show version | json").stdout)
        self.assertEqual(set(document), {"version", "kernel", "distribution"})
        self.assertEqual(json.loads(shell("-c", "show hostname | json").stdout), {"host_name": name})
        module = json.loads(shell("-c", "show module | json").stdout)
        self.assertEqual(module["processors"], os.cpu_count())
        self.assertIn(f'{module["memory_mib"]} MiB', shell("-c", "show module").stdout)

    def test_a_missing_library_is_named_when_a_command_needs_it(self):
        command = [SHELL, "--library", "/nonexistent/lib.so", "-c", "show version", "-c", "callhome test"]
        done = subprocess.run(command, capture_output=True, encoding="utf-8", timeout=LIMIT)
        self.assertTrue(done.stdout.startswith("callhome "))
        self.assertIn("command 2: the command library cannot be loaded: /nonexistent/lib.so", done.stderr)
        self.assertEqual(done.returncode, 1)

    def test_wrong_options_end_with_status_2(self):
        self.assertEqual(shell("--nonsense").returncode, 2)
        self.assertEqual(shell("--help").returncode, 0)
        self.assertRegex(shell("--version").stdout, r"^callhome \d+\.\d+\.\d+\n$")


unittest.main(argv=sys.argv[:1])
