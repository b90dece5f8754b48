"""Corvane Inspector as its users meet it. Arguments: the program, then names of test classes."""

import json
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest
from xml.etree import ElementTree

from terminal import TIMEOUT, Terminal, environment

PROGRAM = sys.argv.pop(1)
REPEATERS = ["disk throughput", "live view", "log heartbeat", "memory", "network throughput", "processes",
             "processor load"]
UP, DOWN, END = "\x1bOA", "\x1bOB", "\x1bOF"
COLOUR = re.compile(rb"\x1b\[(?:\d+;)*(?:3[0-9]|4[0-9]|9[0-7]|10[0-7])(?:;\d+)*m")


def live(*arguments, **options):
    return Terminal(PROGRAM, *arguments, **options)


def rows(terminal):
    """The table's rows by name, in their order: name, paused, count, total, interval, duration."""
    found = {}
    for line in terminal.screen.lines():
        match = re.match(r"([a-z ]+?)( \(paused\))? +(\d+) +([\d.]+) +([\d.]+) +([\d.]+)$", line)
        if match:
            name, paused, count, *numbers = match.groups()
            found[name] = (paused is not None, int(count), *map(float, numbers))
    return found


def selected(terminal):
    return terminal.screen.reversed_text().split("  ")[0]


class LiveView(unittest.TestCase):
    def test_shows_readings_and_repeaters(self):
        with live() as terminal:
            terminal.wait_for(lambda: set(rows(terminal)) >= set(REPEATERS), "the table")
            terminal.wait_for(lambda: re.search(r"^Network in +[\d.]+ .?B/s", terminal.screen.text(), re.M), "a rate")
            for pattern in [r"^Corvane Inspector .* running for 0:00:\d\d +\d\d:\d\d:\d\d$",
                            r"^Memory +[\d.]+/[\d.]+ GiB +[▁▂▃▄▅▆▇█ ]+$", r"^Processor +\d+\.\d % +[▁▂▃▄▅▆▇█]+$",
                            r"^Processes +\d+",
                            r"^Name ▲ +Count +Total s +Interval s +Duration µs$", r"^q quit  h help .* sort$"]:
                self.assertRegex(terminal.screen.text(), re.compile(pattern, re.M))
            terminal.wait_for(lambda: rows(terminal)["processor load"][1] >= 6, "six runs")
            self.assertAlmostEqual(rows(terminal)["processor load"][3], 0.5, delta=0.4)
            self.assertLess(rows(terminal)["memory"][1], rows(terminal)["processor load"][1])

    def test_sorts_and_keeps_the_selection(self):
        with live() as terminal:
            terminal.wait_for(lambda: list(rows(terminal)) == REPEATERS, "the order of names")
            terminal.press(DOWN * 3)
            terminal.wait_for(lambda: selected(terminal) == "memory", "the selection")
            for key, title, column in [("c", "Count", 1), ("t", "Total s", 2), ("i", "Interval s", 3),
                                       ("d", "Duration µs", 4)]:
                for mark, descending in [("▼", True), ("▲", False)]:
                    terminal.press(key)
                    terminal.wait_for(f"{mark} {title}")
                    values = [row[column] for row in rows(terminal).values()]
                    self.assertEqual(values, sorted(values, reverse=descending), terminal.screen.text())
                    self.assertEqual(selected(terminal), "memory")
            terminal.press("nn")
            terminal.wait_for(lambda: list(rows(terminal)) == REPEATERS[::-1], "names the other way round")
            terminal.press(UP)
            terminal.wait_for(lambda: selected(terminal) == "network throughput", "the row above")

    def test_pauses_and_resumes_one_task(self):
        with live() as terminal:
            terminal.wait_for("processor load")
            terminal.press(END)
            terminal.wait_for(lambda: rows(terminal)["processor load"][1] >= 4, "four runs")
            terminal.press(" ")
            terminal.wait_for("processor load (paused)")
            count, others = rows(terminal)["processor load"][1], rows(terminal)["memory"][1]
            terminal.wait_for(lambda: rows(terminal)["memory"][1] >= others + 2, "runs of other tasks")
            self.assertEqual(rows(terminal)["processor load"][1], count)
            terminal.press("p")
            terminal.wait_for(lambda: not rows(terminal)["processor load"][0], "the end of the pause")
            self.assertLess(rows(terminal)["processor load"][1], count)
            terminal.wait_for(lambda: rows(terminal)["processor load"][1] >= 2, "new runs")

    def test_resets_the_statistics(self):
        with live() as terminal:
            terminal.wait_for(lambda: rows(terminal).get("processor load", (0, 0))[1] >= 5, "five runs")
            terminal.press("r")
            terminal.wait_for(lambda: rows(terminal)["processor load"][1] <= 2, "the reset")

    def test_changes_the_time_constant(self):
        with live() as terminal:
            terminal.wait_for("averaged over 10 s")
            for keys, seconds in [("+", 11), ("--", 9), ("[", 1), ("-", 1), ("]" * 5, 51), ("]", 60), ("+", 60)]:
                terminal.press(keys)
                terminal.wait_for(f"averaged over {seconds} s ")

    def test_ignores_keys_that_it_does_not_know(self):
        with live() as terminal:
            terminal.wait_for("averaged over 10 s")
            terminal.press("\x1b[4~\x1b[1;5c\x1bl\x1b[d\x1bOq#é")
            terminal.press("+")
            terminal.wait_for("averaged over 11 s")
            self.assertIn("Name ▲", terminal.screen.text())

    def test_shows_log_and_help(self):
        with live() as terminal:
            terminal.wait_for("processor load")
            terminal.press("l")
            terminal.wait_for("Logging begins for:")
            terminal.wait_for("heartbeat: running for")
            self.assertIn("Inspector.log", terminal.screen.lines()[0])
            terminal.press("h")
            terminal.wait_for("a second press turns the order round")
            terminal.press("\x1b")
            terminal.wait_for("Repeaters, averaged")

    def test_follows_the_size_of_the_terminal(self):
        with live() as terminal:
            terminal.wait_for("processor load")
            for height, width, piece in [(5, 20, "CPU "), (3, 10, "CPU "), (1, 1, "C"), (40, 120, "processor load"),
                                         (10, 40, "Duration µs"), (24, 80, "Total s")]:
                terminal.resize(height, width)
                terminal.wait_for(piece)
            terminal.press("q")
            self.assertEqual(terminal.wait_for_end(), 0)

    def test_starts_on_small_terminals(self):
        for height, width in [(5, 20), (3, 10), (1, 1)]:
            with live(rows=height, columns=width) as terminal:
                terminal.wait_for("C")
                terminal.press("h")
                terminal.wait_for("K")
                terminal.press("q")
                self.assertEqual(terminal.wait_for_end(), 0)

    def test_colour_only_if_wanted(self):
        with live() as terminal:
            terminal.wait_for(lambda: COLOUR.search(terminal.raw), "colour")
        with live(NO_COLOR="1") as terminal:
            terminal.wait_for("processor load")
            terminal.press("dl")
            terminal.wait_for("Logging begins")
            terminal.press("q")
            terminal.wait_for_end()
            self.assertIsNone(COLOUR.search(terminal.raw))

    def test_ascii_where_the_locale_has_no_more(self):
        with live(LC_ALL="C") as terminal:
            terminal.wait_for("Duration us")
            terminal.wait_for(lambda: re.search(r"^Processor +\d+\.\d % +[_.\-:=+*#]+$", terminal.screen.text(), re.M))
            self.assertLess(max(terminal.raw), 0x80)

    def test_takes_little_of_the_processor(self):
        with live() as terminal:
            terminal.wait_for("processor load")
            terminal.settle(1)  # start-up is not counted
            begin, ticks = time.monotonic(), self.ticks(terminal)
            terminal.settle(8)
            used = (self.ticks(terminal) - ticks) / os.sysconf("SC_CLK_TCK") / (time.monotonic() - begin)
            self.assertLess(used, 0.1 if sanitized() else 0.02)

    @staticmethod
    def ticks(terminal):
        with open(f"/proc/{terminal.process.pid}/stat", encoding="utf-8") as file:
            return sum(map(int, file.read().rpartition(")")[2].split()[11:13]))


def sanitized():
    with open(PROGRAM, "rb") as file:
        return re.search(rb"lib[at]san\.so|__[at]san_init", file.read()) is not None


class Endings(unittest.TestCase):
    def test_quit_key(self):
        with live() as terminal:
            terminal.wait_for("processor load")
            self.assertTrue(terminal.screen.alternate)
            self.assertFalse(terminal.is_restored())
            terminal.press("q")
            self.assertEqual(terminal.wait_for_end(), 0)
            self.assertTrue(terminal.is_restored())
            self.assertIn("Logging ends for: Corvane Inspector\n", terminal.log())

    def test_after_the_given_time(self):
        with live("--for", "2") as terminal:
            terminal.wait_for("processor load")
            self.assertEqual(terminal.wait_for_end(), 0)
            self.assertTrue(terminal.is_restored())

    def test_signals(self):
        for number in [signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT, signal.SIGABRT, signal.SIGSEGV,
                       signal.SIGUSR1]:
            with self.subTest(number), live() as terminal:
                terminal.wait_for("processor load")
                terminal.signal(number)
                status = terminal.wait_for_end()
                # A sanitizer reports a crash and exits.
                if not (sanitized() and number == signal.SIGSEGV):
                    self.assertEqual(status, -number)
                self.assertTrue(terminal.is_restored())
                orderly = number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)
                self.assertEqual("Logging ends" in terminal.log(), orderly)

    def test_interrupt_key(self):
        with live() as terminal:
            terminal.wait_for("processor load")
            terminal.press("\x03")
            self.assertEqual(terminal.wait_for_end(), -signal.SIGINT)
            self.assertTrue(terminal.is_restored())

    def test_terminal_goes_away(self):
        with live() as terminal:
            terminal.wait_for("processor load")
            os.close(terminal.slave)
            os.close(terminal.master)
            try:
                self.assertEqual(terminal.process.wait(TIMEOUT), -signal.SIGHUP)
                self.assertIn("Logging ends", terminal.log())
            finally:
                terminal.master, terminal.slave = os.openpty()  # for the cleanup

    def test_stopped_and_continued_by_the_shell(self):
        with Terminal("bash", "--norc", "--noprofile", "-i", PS1="ready> ") as terminal:
            terminal.wait_for("ready>")
            terminal.press(PROGRAM + "\n")
            terminal.wait_for("processor load")
            terminal.press("\x1a")
            terminal.wait_for(lambda: not terminal.screen.alternate and b"Stopped" in terminal.raw, "the shell")
            terminal.screen.resize(24, 80)
            terminal.press("fg\n")
            terminal.wait_for(lambda: terminal.screen.alternate and "Repeaters, averaged" in terminal.screen.text())
            terminal.press("q")
            terminal.wait_for(lambda: not terminal.screen.alternate, "the end")
            terminal.press("exit\n")
            self.assertEqual(terminal.wait_for_end(), 0)

    def test_messages_wait_for_the_end_of_the_screen(self):
        for end in ["q", signal.SIGABRT]:
            with self.subTest(end), live() as terminal:
                terminal.wait_for("processor load")
                library = os.path.join(terminal.home, "Library")
                shutil.rmtree(library)
                open(library, "w", encoding="utf-8").close()  # now the log's folder cannot be made, which is reported
                terminal.press("l")
                terminal.wait_for("This program keeps no log")
                terminal.settle(1.5)
                self.assertNotIn(b"findLogPath", terminal.raw)
                if end == "q":
                    terminal.press(end)
                else:
                    terminal.signal(end)
                terminal.wait_for_end()
                self.assertIn(b"findLogPath", terminal.raw.rpartition(b"\x1b[?1049l")[2])


class Printing(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory(prefix="corvane-test-")
        self.home = self.folder.name

    def tearDown(self):
        self.folder.cleanup()

    def start(self, *arguments, stdout=subprocess.PIPE, **variables):
        return subprocess.Popen([PROGRAM, *arguments], stdin=subprocess.DEVNULL, stdout=stdout, stderr=subprocess.PIPE,
                                env=environment(self.home, **variables), text=True)

    def run_program(self, *arguments, **options):
        process = self.start(*arguments, **options)
        out, err = process.communicate(timeout=TIMEOUT)
        return process.returncode, out, err

    def write(self, path, content):
        path = os.path.join(self.home, path)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as file:
            file.write(content)

    def check_plain(self, text, count):
        lines, _, table = text.replace("\r", "").partition("\n\n")
        for line in lines.split("\n"):
            self.assertRegex(line, r"^\d\d:\d\d:\d\d  CPU [\d.-]+( %)?  Mem [\d.]+/[\d.]+ GiB  Disk r .*  Procs \d+")
        self.assertEqual(len(lines.split("\n")), count)
        self.assertRegex(table, r"^Repeater +Count +Total s +Interval s +Duration .s\n")
        self.assertEqual({line[:20].strip() for line in table.strip().split("\n")[1:]},
                         {"plain output", *REPEATERS} - {"live view"})

    def test_plain_lines_for_a_pipe(self):
        status, out, err = self.run_program("--for", "3")
        self.assertEqual((status, err), (0, ""))
        self.check_plain(out, 3)

    def test_plain_lines_for_ten_seconds(self):
        status, out, _ = self.run_program()
        self.assertEqual(status, 0)
        self.check_plain(out, 10)

    def test_plain_lines_on_a_terminal(self):
        for arguments, variables in [(("--plain",), {}), ((), {"TERM": "dumb"}), ((), {"TERM": "nonsense"})]:
            with self.subTest(variables), live(*arguments, "--for", "1", **variables) as terminal:
                self.assertEqual(terminal.wait_for_end(), 0)
                self.assertNotIn(b"\x1b", terminal.raw)
                self.check_plain(terminal.raw.decode(), 1)

    def test_json(self):
        self.write("proc/stat", b"cpu  1 2 3 4 5 6 7 8\n")
        self.write("proc/meminfo", b"MemTotal: 1000 kB\nMemAvailable: 400 kB\n")
        self.write("sys/class/hwmon/hwmon0/temp1_input", b"54321\n")
        self.write("sys/class/hwmon/hwmon0/name", b"bad \"name\"\\ \x01\xff\n")
        for arguments in [(), ("--root", self.home)]:
            status, out, err = self.run_program("--json", "--for", "2", *arguments)
            self.assertEqual((status, err), (0, ""))
            objects = [json.loads(line, parse_constant=self.fail) for line in out.splitlines()]
            self.assertEqual(len(objects), 2)
            for value in objects:
                self.assertRegex(value["time"], r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z$")
                names = [repeater["name"] for repeater in value["repeaters"]]
                self.assertIn("processor load", names)
                self.assertTrue(all(repeater["count"] >= 1 for repeater in value["repeaters"]
                                    if repeater["name"] != "JSON output"))
        self.assertEqual(value["memory"], {"used": 600 * 1024, "total": 1000 * 1024})
        self.assertIsNone(value["processor_percent"])
        self.assertIsNone(value["disk"])
        self.assertEqual(value["temperatures"], [{"sensor": 'bad "name"\\ \x01\ufffd temp1', "celsius": 54.3}])

    def test_closed_pipe_ends_quietly(self):
        for arguments in [("--plain",), ("--json",)]:
            process = self.start(*arguments)
            self.assertTrue(process.stdout.readline())
            process.stdout.close()
            self.assertEqual(process.wait(TIMEOUT), 0)
            self.assertEqual(process.stderr.read(), "")
            process.stderr.close()

    def test_full_disk_is_an_error(self):
        with open("/dev/full", "w", encoding="utf-8") as full:
            status, _, err = self.run_program("--plain", stdout=full)
        self.assertEqual(status, 1)
        self.assertEqual(err, "corvane-inspector: standard output: No space left on device\n")

    def test_signal_ends_with_the_table(self):
        process = self.start("--for", "1000")
        first = process.stdout.readline()
        process.terminate()
        out, _ = process.communicate(timeout=TIMEOUT)
        self.assertEqual(process.returncode, -signal.SIGTERM)
        self.check_plain(first + out, (first + out).partition("\n\n")[0].count("\n") + 1)

    def test_bad_options(self):
        for arguments in [("--nonsense",), ("--for",), ("--for", "x"), ("--for=0"), ("--json", "--plain"), ("-x",), ("dance",),
                          ("watch", "extra"), ("",)]:
            arguments = arguments if isinstance(arguments, tuple) else (arguments,)
            status, out, err = self.run_program(*arguments)
            self.assertEqual((status, out), (2, ""), arguments)
            self.assertRegex(err, r"^corvane-inspector: .+\n$")
            self.assertEqual(err.count("\n"), 1)
        self.assertFalse(os.path.exists(os.path.join(self.home, "Library")))

    def test_plots_the_pid_controller(self):
        file = os.path.join(self.home, "pid.svg")
        for arguments in [("--svg", file), ("--svg=" + file,)]:
            self.assertEqual(self.run_program("pid", *arguments), (0, "", ""))
            texts = [text.text for text in ElementTree.parse(file).iter("{http://www.w3.org/2000/svg}text")]
            for text in ["Time, s", "Temperature (input), °C", "Power (output), %", "Setpoint", "Proportional", "AMIGO",
                         "Ziegler–Nichols", "100"]:
                self.assertEqual(texts.count(text), 1, text)
            os.remove(file)
        for path, reason in [(self.home, "Is a directory"), (self.home + "/no/file", "No such file or directory"),
                             ("/dev/full", "No space left on device")]:
            self.assertEqual(self.run_program("pid", "--svg", path), (1, "", f"corvane-inspector: {path}: {reason}\n"))
        for arguments in [(), ("--svg",), ("--svg=",), ("--svg", ""), (file,), ("--svg", file, file)]:
            self.assertEqual(self.run_program("pid", *arguments),
                             (2, "", "corvane-inspector: pid: expects --svg FILE (see --help)\n"))

    def test_help_and_version(self):
        status, out, err = self.run_program("--help")
        self.assertEqual((status, err), (0, ""))
        for option in ["watch", "--for", "--json", "--plain", "--root", "pid", "--svg", "--help", "--version"]:
            self.assertIn(option, out)
        status, out, _ = self.run_program("--version")
        self.assertEqual(status, 0)
        self.assertRegex(out, r"^Corvane Inspector-\d+\.\d+\.\d+\(\d+\)\n$")

    def test_runs_without_its_bundle(self):
        program = os.path.join(self.home, "alone")
        shutil.copy(PROGRAM, program)
        result = subprocess.run([program, "--for", "1"], env=environment(self.home), capture_output=True, text=True,
                                stdin=subprocess.DEVNULL, timeout=TIMEOUT, check=True)
        self.assertIn("processor load", result.stdout)
        self.assertNotIn("log heartbeat", result.stdout)
        self.assertFalse(os.path.exists(os.path.join(self.home, "Library")))


if __name__ == "__main__":
    unittest.main()
