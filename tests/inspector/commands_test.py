"""Corvane Inspector's commands, as their users meet them. Arguments: the program, then names of test classes."""

import calendar
import contextlib
import http.server
import json
import os
import pwd
import re
import select
import shutil
import signal
import subprocess
import sys
import threading
import time
import unittest
from xml.etree import ElementTree

from inspector import InHome, PROGRAM, live
from terminal import TIMEOUT, environment


class Printing(InHome):
    def check_plain(self, text):
        self.assertRegex(text.replace("\r", ""), r"\A(\d\d:\d\d:\d\d  CPU [\d.-]+( %)?  Mem [\d.]+/[\d.]+ GiB  Disk r .*  Procs \d+\n)+"
                         r"\nRepeater +Count +Total s +Interval s +Duration .s\n(.+\n)*plain output")

    def test_plain_lines_on_a_terminal(self):
        cases = [(("--plain",), {}), ((), {"TERM": "dumb"}), ((), {"TERM": "nonsense"})]
        with contextlib.ExitStack() as stack:
            for terminal in [stack.enter_context(live(*arguments, "--for", "1", **variables)) for arguments, variables in cases]:
                self.assertEqual(terminal.wait_for_end(), 0)
                self.assertNotIn(b"\x1b", terminal.raw)
                self.check_plain(terminal.raw.decode())

    def test_closed_pipe_ends_quietly(self):
        processes = [self.start("--plain"), self.start("--json", "--root", self.home)]
        lines = [process.stdout.readline() for process in processes]
        self.assertIn("  CPU ", lines[0])
        self.assertIsNone(json.loads(lines[1], parse_constant=self.fail)["memory"])
        for process in processes:
            process.stdout.close()
        for process in processes:
            self.assertEqual((process.wait(TIMEOUT), process.stderr.read()), (0, ""))

    def test_full_disk_is_an_error(self):
        self.write("Library/Logs/a.b/b.log", b"text")
        for arguments in [("--plain",), ("ps",), ("log", "--identifier", "a.b")]:
            with open("/dev/full", "w", encoding="utf-8") as full:
                self.assertEqual(self.run_program(*arguments, stdout=full),
                                 (1, None, "corvane-inspector: standard output: No space left on device\n"))

    def test_signal_ends_with_the_table(self):
        process = self.start("--for", "1000")
        first = process.stdout.readline()
        process.terminate()
        out, err = process.communicate(timeout=TIMEOUT)
        self.assertEqual((process.returncode, err), (-signal.SIGTERM, ""))
        self.check_plain(first + out)

    def test_bad_options(self):
        self.check_refused(
            ("--nonsense",), ("--for",), ("--for", "x"), ("--for=0",), ("--for=",), ("--for=1.5",), ("--for=1000001",),
            ("--json", "--plain"), ("--json=yes",), ("dance",), ("view", "extra"), ("",),
            ("heater",), ("heater", "--svg="), ("heater", "file"), ("tree", self.home), ("tree", "--svg", "x"),
            ("tree", self.home, "--svg", "x", "--depth", "-1"), ("tree", self.home, "--svg", "x", "--hide", "x"),
            ("log", "x"), ("log", "--lines", "1000001"), ("log", "--archive", "11"), ("log", "--archive", "0", "--follow"),
            ("log", "--archives", "--lines", "1"), ("log", "--identifier", ".."), ("log", "--identifier", "a/b"),
            ("login",), ("login", "maybe"), ("login", "on", "off"),
            ("settings", "colour"), ("settings", "average", "61"), ("settings", "sort", "size"), ("settings", "average", "1", "2"),
            ("get",), ("get", "a", "--limit", "0"), ("get", "a", "--header", "x:y"), ("get", "a", "--post", "b", "--header", "x"),
            ("get", "a", "--post", "b", "--head"), ("ps", "x"), ("ps", "--sort", "path"), ("ps", "--user", "no one"),
            ("ps", "--tree"), ("ps", "--hide", "1"), ("ps", "--tree", "--json", "--svg", "x"),
            ("devices", "a", "b"), ("devices", "--json", "--properties"), ("run",), ("run", "--"), ("run", "--jason", "--", "true"))

    def test_plots_a_heater(self):
        file = os.path.join(self.home, "heater.svg")
        self.assertEqual(self.run_program("heater", "--svg", file), (0, "", ""))
        ElementTree.parse(file)
        self.assertIn(">AMIGO<", self.output("heater", "--svg", "-"))
        self.assertEqual(self.run_program("heater", "--svg", "/dev/full"),
                         (1, "", "corvane-inspector: /dev/full: No space left on device\n"))

    def test_draws_a_folder_as_a_tree(self):
        for path in ["tree/src/deep/er/most.txt", "tree/src/a & <b>.txt", "tree/src/\u540d\u524d.txt", "tree/many/1",
                     "tree/many/2", "tree/many/more/3", "tree/many/more/4", "tree/" + "long" * 20,
                     "tree/bad\n\x01\udcff.txt"]:
            self.write(path, b"")
        os.symlink("..", self.home + "/tree/loop")
        folder, file = self.home + "/tree", self.home + "/tree.svg"

        def drawn(*options):
            self.assertEqual(self.run_program("tree", folder, "--svg", file, *options), (0, "", ""))
            return self.check_picture(file)

        names = drawn("--depth", "9")
        self.assertEqual(list(names), ["tree", "many", "more", "3", "4", "1", "2", "src", "deep", "er", "most.txt",
                                       "a & <b>.txt", "\u540d\u524d.txt", "bad\ufffd\ufffd\ufffd.txt", "longlonglonglonglonglonglon\u2026",
                                       "loop"])
        self.assertIn("er \u2026", drawn())
        names = drawn("--hide", "3", "--depth=9")
        self.assertEqual(list(names)[:3] + list(names)[-1:], ["tree", "many +5", "src +5", "loop"])
        self.assertEqual(list(drawn("--depth", "0")), ["tree \u2026"])
        for path, reason in [(folder + "/none", "No such file or directory"), (file, "Not a directory")]:
            self.assertEqual(self.run_program("tree", path, "--svg", file), (1, "", f"corvane-inspector: {path}: {reason}\n"))

    def test_help_and_version(self):
        self.assertRegex(self.output("-h"), r"\AUsage: corvane-inspector (.*\n)+  tree +draw a folder as a tree\n")
        self.assertRegex(self.output("log", "-h"), r"\AUsage: corvane-inspector log (.*\n)+.*--archives")
        self.assertRegex(self.output("--complete", "ps", "-"), r"\n--hide\thide .* N shown below them \(default: .*\)\n--help\t")
        self.assertRegex(self.output("--version"), r"\ACorvane Inspector-\d+\.\d+\.\d+\(\d+\)\n\Z")

    def test_runs_without_its_bundle(self):
        program = os.path.join(self.home, "alone")
        shutil.copy(PROGRAM, program)
        for arguments, status, shown in [(("--for", "1"), 0, "processor load"), (("login", "on"), 1, "dictionary is missing")]:
            result = subprocess.run([program, *arguments], env=environment(self.home), stdout=subprocess.PIPE,
                                    stderr=subprocess.STDOUT, text=True, timeout=TIMEOUT, check=False)
            self.assertEqual(result.returncode, status)
            self.assertIn(shown, result.stdout)
            self.assertNotIn("log heartbeat", result.stdout)
        self.assertFalse(os.path.exists(os.path.join(self.home, "Library")))


class Logs(InHome):
    FOLDER = "Library/Logs/org.corvane.Inspector/"
    LOG = FOLDER + "Inspector.log"

    def show(self, *arguments):
        return self.output("log", *arguments)

    def lines(self, first, last):
        return "".join(f"line {number}\n" for number in range(first, last))

    def wait_for(self, process, text):
        """Reads what the program shows until it is this text."""
        seen, end = "", time.monotonic() + TIMEOUT
        while seen != text:
            self.assertLess(time.monotonic(), end, f"shown: {seen!r}")
            self.assertTrue(text.startswith(seen), f"shown: {seen!r}")
            if select.select([process.stdout], [], [], 1)[0]:
                seen += os.read(process.stdout.fileno(), 65536).decode()

    def append(self, text, path=LOG):
        with open(os.path.join(self.home, path), "a", encoding="utf-8") as file:
            file.write(text)

    def rotate(self):
        path = os.path.join(self.home, self.LOG)
        for number in range(9, -1, -1):
            if os.path.exists(f"{path}.{number}"):
                os.rename(f"{path}.{number}", f"{path}.{number + 1}")
        os.rename(path, path + ".0")

    def test_shows_the_last_lines(self):
        for content, shown in [(b"", {"1": ""}), (b"\n\n\n", {"1": "\n", "2": "\n\n"}),
                               (b"one\ntwo\n", {"0": "", "1": "two\n", "2": "one\ntwo\n", "1000000": "one\ntwo\n"}),
                               (b"one\ntwo", {"1": "two", "2": "one\ntwo"}),
                               (b"a\n" + b"x" * 100_000 + b"\nb\n", {"2": "x" * 100_000 + "\nb\n"})]:
            self.write(self.LOG, content)
            for count, text in shown.items():
                self.assertEqual(self.show("--lines", count), text)
        self.write(self.LOG, self.lines(0, 30_000).encode())
        self.assertEqual(self.show(), self.lines(29_990, 30_000))
        self.assertEqual(self.show("--lines=20001"), self.lines(9_999, 30_000))

    def test_other_applications_and_archives(self):
        log = "Library/Logs/a.b.Other/Other.log"
        for suffix, content in [("", b"other\n"), (".0", b"newest\n"), (".10", b"older\noldest\n")]:
            self.write(log + suffix, content)
        os.utime(os.path.join(self.home, log + ".10"), (0, 86399))
        other = ("--identifier", "a.b.Other")
        self.assertEqual(self.show(*other), "older\noldest\nnewest\nother\n")
        self.assertEqual(self.show("--lines", "3", *other), "oldest\nnewest\nother\n")
        os.remove(os.path.join(self.home, log))
        self.assertEqual(self.show("--lines", "2", *other), "oldest\nnewest\n")
        self.assertEqual(self.show("--archive", "10", "--lines", "1", *other), "oldest\n")
        _, newest, oldest = self.show("--archives", *other).splitlines()
        self.assertRegex(newest, r"^ +0 +7  20\d\d/")
        self.assertEqual(oldest.split(), ["10", "13", "1970/01/01", "23:59:59"])

    def test_follows_across_rotations(self):
        self.write(self.LOG, self.lines(0, 5).encode())
        process = self.start("log", "--follow", "--lines", "1")
        self.wait_for(process, "line 4\n")
        for text in ["par", "tly\n"]:
            self.append(text)
            self.wait_for(process, text)
        self.append("last of the first\n")
        self.rotate()
        self.wait_for(process, "last of the first\n")
        self.append("second\n")
        self.wait_for(process, "second\n")
        # More often than the program looks.
        for number in range(3):
            self.append(f"end {number}\n")
            self.rotate()
            self.append(f"begin {number}\n")
        self.wait_for(process, "".join(f"end {number}\nbegin {number}\n" for number in range(3)))
        self.write(self.LOG, b"new\n")  # shorter, and the same file
        self.wait_for(process, "new\n")
        os.remove(os.path.join(self.home, self.LOG))
        self.append("another\n")
        self.wait_for(process, "another\n")
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(TIMEOUT), -signal.SIGINT)

    def test_follows_a_log_that_is_not_there_yet(self):
        process = self.start("log", "--follow")
        time.sleep(0.5)
        self.write(self.LOG, b"first\n")
        self.wait_for(process, "first\n")
        process.stdout.close()
        self.assertEqual(process.wait(TIMEOUT), 0, "nobody reads any longer")
        self.assertEqual(process.stderr.read(), "")

    def test_what_cannot_be_shown(self):
        for path, make in [("none", None), ("folder", os.makedirs), ("pipe", os.mkfifo)]:
            self.write(f"Library/Logs/a.{path}/other", b"")
            if make:
                make(os.path.join(self.home, f"Library/Logs/a.{path}/{path}.log"))
            status, out, err = self.run_program("log", "--identifier", "a." + path)
            self.assertEqual((status, out), (1, ""))
            self.assertRegex(err, rf"^corvane-inspector: /.*/{path}\.log: .+\n$")


class Login(InHome):
    AGENT = "Library/LaunchAgents/org.corvane.Inspector.launchAtLogin.plist"
    ENTRY = ".config/autostart/org.corvane.Inspector.launchAtLogin.desktop"

    def test_switches_the_start(self):
        for command, on in [("status", False), ("on", True), ("on", True), ("status", True), ("off", False), ("off", False)]:
            status, out, err = self.run_program("login", command)
            self.assertEqual((status, out, err),
                             (0, f"Corvane Inspector {'starts' if on else 'does not start'} at login\n", ""))
            for path in (self.AGENT, self.ENTRY):
                self.assertEqual(os.path.exists(os.path.join(self.home, path)), on)

    def test_failures(self):
        self.write(self.AGENT + "/in the way", b"")
        self.assertEqual(self.run_program("login", "off"),
                         (1, "", "corvane-inspector: login: the launch agent could not be changed\n"))


class Settings(InHome):
    def settings(self, *arguments):
        return self.output("settings", *arguments)

    def test_remembers_the_view(self):
        with live(HOME=self.home) as terminal:
            terminal.wait_for("averaged over 10 s")
            terminal.press("+dpn")
            expected = "average = 11\nsort = -duration\nprocesses = name\n"
            terminal.wait_for(lambda: self.settings() == expected, "the stored settings")
            terminal.press("p")
            self.settings("average", "30")
            terminal.wait_for("averaged over 30 s")
        self.assertEqual(self.settings("average"), "30\n")
        with live(HOME=self.home) as terminal:
            terminal.wait_for("averaged over 30 s")
            terminal.wait_for("▼ Duration")
            self.settings("--reset")
            terminal.wait_for("averaged over 10 s")
            terminal.wait_for("Name ▲")

    def test_folder_that_may_not_be_made(self):
        self.write(".config", b"a file")
        status, out, err = self.run_program("settings", "average", "20")
        self.assertEqual((status, out), (1, ""))
        self.assertRegex(err, r"^corvane-inspector: settings: .+\n$")


class Requests(InHome):
    """The get command against a server of the test's own."""

    class Handler(http.server.BaseHTTPRequestHandler):
        def do_GET(self):
            if self.path == "/silent":
                time.sleep(3)
                return
            sent = self.rfile.read(int(self.headers.get("Content-Length", 0)))
            body = f"{self.path}|{self.headers.get('X-Name', '')}|".encode() + sent
            self.send_response(404 if self.path == "/404" else 200)
            self.send_header("X-Kind", "test")
            self.send_header("Content-Length", str(len(body)))
            self.end_headers()
            self.wfile.write(body)

        do_POST = do_GET

        def log_message(self, *_):
            pass

    def setUp(self):
        super().setUp()
        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), self.Handler)
        self.url = f"http://127.0.0.1:{server.server_port}"
        threading.Thread(target=server.serve_forever, daemon=True).start()
        self.addCleanup(server.server_close)
        self.addCleanup(server.shutdown)

    def check(self, arguments, status, out, err):
        result = self.run_program("get", *arguments)
        self.assertEqual(result[:2], (status, out), (arguments, result))
        self.assertRegex(result[2], err)
        self.assertEqual(result[2].count("\n"), 1)

    def test_prints_the_body(self):
        self.write("data", b"from a file")
        self.check((self.url + "/a",), 0, "/a||", r"^corvane-inspector: http:.*/a: status 200, \d+\.\d ms, 4 bytes$")
        self.check((self.url + "/404",), 1, "/404||", r": status 404, ")
        self.check((self.url, "--post", "a=b", "--header=X-Name: v:w"), 0, "/|v:w|a=b", r": status 200, ")
        self.check((self.url, "--post", "@" + os.path.join(self.home, "data")), 0, "/||from a file", r": status 200, ")
        self.check((self.url, "--post", "@/nowhere"), 1, "", r": /nowhere: cannot be read$")
        self.assertRegex(self.run_program("get", "--head", self.url)[1], "(?m)^X-Kind: test$")

    def test_says_what_went_wrong(self):
        for arguments, err in [((self.url + "/silent", "--limit", "200"), ": no answer within 200 ms$"),
                               (("ftp://a/",), ": unsupported URL$"), (("http://a b/",), ": not a valid URL$")]:
            self.check(arguments, 1, "", err)


class Processes(InHome):
    """The ps command beside what the system reports."""

    def child(self, *arguments):
        process = subprocess.Popen(arguments, stdout=subprocess.PIPE, start_new_session=True)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.wait)
        self.addCleanup(os.killpg, process.pid, signal.SIGKILL)  # its children too
        return process

    def test_reports_what_the_system_reports(self):
        path = os.fsencode(self.home) + b"/a) R 1\n\x1b[31m\xff \xe5\x90\x8d"
        shutil.copy(shutil.which("sleep"), path)
        sleeper = self.child(path, b"1000")
        row = json.loads(self.output("ps", "--json", "--filter", str(sleeper.pid)))
        self.assertEqual((row["pid"], row["parent"], row["kind"]), (sleeper.pid, os.getpid(), "native"))
        started = calendar.timegm(time.strptime(row["started"][:19], "%Y-%m-%dT%H:%M:%S"))
        self.assertAlmostEqual(started, time.time(), delta=TIMEOUT)
        self.assertEqual(row["user"], pwd.getpwuid(os.geteuid()).pw_name)
        self.assertEqual(row["name"], os.path.basename(path)[:31].decode(errors="replace"))
        self.assertEqual(row["command"], [path.decode(errors="replace"), "1000"])
        # A table has one line for each, whatever its name.
        out = self.run_program("ps", "--filter", "a) R 1", "--user", str(os.geteuid()))[1]
        self.assertRegex(out, r"^ *PID +Parent .*\n *%d +%d .* a\) R 1\?\?\[31m\? \?  /[^\x1b\n]+ 1000\n$" %
                         (sleeper.pid, os.getpid()))

    def test_fits_the_terminal(self):
        with live("ps", columns=60, rows=50) as terminal:
            self.assertEqual(terminal.wait_for_end(), 0)
            self.assertEqual(max(map(len, terminal.raw.decode().split("\r\n"))), 60)

    def test_draws_the_tree(self):
        shell = self.child("sh", "-c", "sleep 1001 & echo; wait")
        shell.stdout.readline()
        file = self.home + "/processes.svg"
        self.assertEqual(self.run_program("ps", "--tree", "--svg=" + file, "--filter", "1001"), (0, "", ""))
        names = self.check_picture(file)
        sleeper = next(name for name in names if name.endswith(" sleep"))
        self.assertLess(names[f"{shell.pid} sh"], names[sleeper])


class Commands(InHome):
    """The run command."""

    SUMMARY = r"%s, \d+\.\d{3} s, user \d+\.\d{3} s, system \d+\.\d{3} s, peak memory (at most )?[\d.]+ [KMG]iB\n$"

    def test_status_is_the_commands(self):
        self.write("script", b"#!/bin/sh\nexit 3\n")
        self.write("broken", b"#!/nowhere/at/all\n")
        self.write("text", b"")
        for name in ["script", "broken"]:
            os.chmod(os.path.join(self.home, name), 0o755)
        variables = {"PATH": f"/nowhere:{self.home}:" + os.environ["PATH"]}
        for command, status, summary in [
                (("script", "--help"), 3, "script: status 3"), (("sh", "-c", "kill -KILL $$"), 137, "sh: killed by SIGKILL"),
                (("sh", "-c", "kill -40 $$"), 168, "sh: killed by signal 40")]:
            result = self.run_program("run", "--", *command, **variables)
            self.assertEqual(result[:2], (status, ""))
            self.assertRegex(result[2], r"^corvane-inspector: " + self.SUMMARY % re.escape(summary))
        for command, status, reason in [
                ("none", 127, "not found"), ("./none", 127, "No such file or directory"), ("text", 126, "Permission denied"),
                (self.home + "/broken", 126, "its interpreter is missing"), ("a\nb", 127, "not found")]:
            line = f"corvane-inspector: {command}: {reason}\n".replace("a\nb", "a?b")
            self.assertEqual(self.run_program("run", "--", command, **variables), (status, "", line))
        self.assertEqual(self.run_program("run", "sh", "-c", "echo $0", "--json")[:2], (0, "--json\n"), "without --")

    def test_measures(self):
        work = ("import sys, time; x = bytearray(80 << 20); end = time.process_time() + 0.2\n"
                "while time.process_time() < end: pass\ntime.sleep(0.3); sys.exit(4)")
        status, out, err = self.run_program("run", "--json", "--", sys.executable, "-c", work)
        outcome = json.loads(err)
        self.assertEqual((status, out), (4, ""))
        self.assertEqual((outcome["command"], outcome["status"], outcome["signal"]), ([sys.executable, "-c", work], 4, None))
        self.assertTrue(80 << 20 < outcome["peak_memory_bytes"] < 400 << 20)
        self.assertGreater(outcome["user_seconds"] + outcome["system_seconds"], 0.2)
        self.assertGreater(outcome["wall_seconds"], 0.5)
        outcome = json.loads(self.run_program("run", "--json", "--", "sh", "-c", "kill $$")[2])
        self.assertEqual((outcome["status"], outcome["signal"], outcome["peak_memory_is_bound"]), (None, "SIGTERM", True))

    def test_its_parent_may_ignore_sigchld(self):
        result = subprocess.run([PROGRAM, "run", "--", "sh", "-c", "exit 5"], stderr=subprocess.DEVNULL, check=False,
                                timeout=TIMEOUT, preexec_fn=lambda: signal.signal(signal.SIGCHLD, signal.SIG_IGN))
        self.assertEqual(result.returncode, 5)

    TRAP = "trap 'echo caught; exit 9' HUP INT QUIT TERM; echo ready; for i in $(seq 999); do sleep 0.05; done"

    def test_signals_reach_the_command(self):
        for number in [signal.SIGHUP, signal.SIGINT, signal.SIGQUIT, signal.SIGTERM]:
            process = self.start("run", "--", "sh", "-c", self.TRAP)
            self.assertEqual(process.stdout.readline(), "ready\n")
            process.send_signal(number)
            self.assertEqual(process.communicate(timeout=TIMEOUT)[0], "caught\n")
            self.assertEqual(process.returncode, 9)

    def test_keys_of_the_terminal_reach_the_command(self):
        with live("run", "--", "sh", "-c", "read x; echo got $x; " + self.TRAP) as terminal:
            terminal.press("something\n")
            terminal.wait_for("got something")
            terminal.wait_for("ready")
            terminal.press("\x03")
            self.assertEqual(terminal.wait_for_end(), 9)
            self.assertEqual(terminal.raw.count(b"caught"), 1)


if __name__ == "__main__":
    unittest.main()
