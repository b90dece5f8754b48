"""Corvane Inspector in a terminal, as its users meet it. Arguments: the program, then names of test classes."""

import contextlib
import os
import re
import resource
import shutil
import signal
import subprocess
import tempfile
import unittest

from inspector import PROGRAM, live
from terminal import TIMEOUT, Terminal

COLOUR = re.compile(rb"\x1b\[(?:\d+;)*(?:3[0-9]|4[0-9]|9[0-7]|10[0-7])(?:;\d+)*m")


class LiveView(unittest.TestCase):
    def test_shows_what_the_machine_does(self):
        interfaces = len(open("/proc/net/dev").readlines()) - 2
        network = r"[\d.]+ .?B/s" if interfaces > 1 else "-"  # there is always the loopback
        with live() as terminal:
            for pattern in [rf"^Network in +{network}", r"^Memory +[\d.]+/[\d.]+ GiB +[▁▂▃▄▅▆▇█ ]+$",
                            r"^Corvane Inspector .* running for 0:00:\d\d +\d\d:\d\d:\d\d$",
                            r"^processor load +[3-9] +[\d.]+ +0\.[3-8]\d* +[\d.]+$"]:
                terminal.wait_for(lambda: re.search(pattern, terminal.text(), re.M), pattern)
            terminal.wait_for(lambda: COLOUR.search(terminal.raw), "colour")

    def test_ignores_keys_that_it_does_not_know(self):
        with live() as terminal:
            terminal.wait_for("averaged over 10 s")
            terminal.press("\x1b[9~\x1b[1;5c\x1bl\x1b[d\x1bOq#é+")
            terminal.wait_for("averaged over 11 s")
            self.assertIn("Name ▲", terminal.text())

    def test_shows_processes_and_sends_signals(self):
        with live(NO_COLOR="1") as terminal, contextlib.ExitStack() as stack:
            path = os.path.join(terminal.home, "prey\x1b[2J\n\udcff")  # would clear the screen
            shutil.copy("/bin/sleep", path)
            prey = stack.enter_context(subprocess.Popen([path, "1000"]))
            stack.callback(prey.kill)
            terminal.press(f"p/{terminal.home}/PREY\r")
            shown = rf"(?m)^ *{prey.pid} +{os.getpid()} +\S+ +S +native +\d+\.\d +[\d.]+ .iB +1  prey\?\[2J\?\?$"
            terminal.wait_for(lambda: re.search(shown, terminal.text()), "the row")
            terminal.press("\x1bOB")  # down
            terminal.wait_for(lambda: f" {prey.pid} " in terminal.reversed_text(), "the selection")
            terminal.press("kty")
            self.assertEqual(prey.wait(TIMEOUT), -signal.SIGTERM)
            self.assertIsNone(COLOUR.search(terminal.raw))

    def test_follows_the_size_of_the_terminal(self):
        with live(rows=1, columns=1) as terminal:
            terminal.wait_for(lambda: terminal.raw, "a sign")
            for height, width, overview in [(24, 80, "Total s"), (3, 10, "CPU "), (40, 120, "processor load")]:
                terminal.resize(height, width)
                terminal.wait_for(overview)
            terminal.press("q")
            self.assertEqual(terminal.wait_for_end(), 0)

    def test_ascii_where_the_locale_has_nothing_else(self):
        with live(LC_ALL="C") as terminal:
            terminal.wait_for("Duration us")
            terminal.wait_for(lambda: re.search(r"^Processor +\d+\.\d % +[_.\-:=+*#]+$", terminal.text(), re.M))
            self.assertLess(max(terminal.raw), 0x80)

    def test_rests_between_the_seconds(self):
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        with live("--for", "3") as terminal:
            self.assertEqual(terminal.wait_for_end(), 0)
        used = resource.getrusage(resource.RUSAGE_CHILDREN)
        self.assertLess(used.ru_utime + used.ru_stime - before.ru_utime - before.ru_stime, 1.5)


def sanitized():
    with open(PROGRAM, "rb") as file:
        return re.search(rb"lib[at]san\.so|__[at]san_init", file.read()) is not None


class Endings(unittest.TestCase):
    def test_quit_key(self):
        with live("--for", "1000") as terminal:
            terminal.wait_for("processor load")
            self.assertTrue(terminal.is_alternate())
            self.assertFalse(terminal.is_restored())
            terminal.press("q")
            self.assertEqual(terminal.wait_for_end(), 0)
            self.assertTrue(terminal.is_restored())
            self.assertIn("Logging ends for: Corvane Inspector\n", terminal.log())

    def test_signals(self):
        numbers = [signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT, signal.SIGABRT, signal.SIGSEGV, signal.SIGUSR1]
        with contextlib.ExitStack() as stack:
            for number, terminal in [(number, stack.enter_context(live())) for number in numbers]:
                terminal.wait_for("processor load")
                terminal.signal(number)
                status = terminal.wait_for_end()
                # A sanitizer reports a crash and exits.
                if not (sanitized() and number == signal.SIGSEGV):
                    self.assertEqual(status, -number)
                self.assertTrue(terminal.is_restored())
                orderly = number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)
                self.assertEqual("Logging ends" in terminal.log(), orderly)

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
            terminal.wait_for(lambda: not terminal.is_alternate() and b"Stopped" in terminal.raw, "the shell")
            terminal.screen.resize(24, 80)
            terminal.press("fg\n")
            terminal.wait_for(lambda: terminal.is_alternate() and "Repeaters, averaged" in terminal.text())
            terminal.press("q")
            terminal.wait_for(lambda: not terminal.is_alternate(), "the end")
            terminal.press("exit\n")
            self.assertEqual(terminal.wait_for_end(), 0)

    def test_messages_wait_for_the_end_of_the_screen(self):
        for end in ["q", signal.SIGABRT]:
            home = tempfile.TemporaryDirectory(prefix="corvane-test-")
            self.addCleanup(home.cleanup)
            logs = home.name + "/Library/Logs/org.corvane.Inspector"
            os.makedirs(logs)
            with open(logs + "/Inspector.log", "w", encoding="utf-8") as file:
                file.write("x" * 99_900 + "\n")  # the first heartbeat fills it, which is reported
            with self.subTest(end), live(HOME=home.name) as terminal:
                terminal.wait_for("processor load")
                terminal.settle(1.5)
                self.assertNotIn(b"The log is full", terminal.raw)
                if end == "q":
                    terminal.press(end)
                else:
                    terminal.signal(end)
                terminal.wait_for_end()
                self.assertIn(b"The log is full", terminal.raw.rpartition(b"\x1b[?1049l")[2])


if __name__ == "__main__":
    unittest.main()
