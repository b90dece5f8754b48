"""Corvane Inspector looks into another program. Arguments: the Inspector, and the program (Attachable.cpp)."""

import json
import os
import re
import signal
import subprocess
import sys
import time
import unittest

ATTACHABLE = sys.argv.pop(2)

from inspector import InHome, live
from terminal import TIMEOUT, environment

CHECKER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support", "check_trace.py")
LAMBDA = "main::.*"  # compilers name them differently


class Attached(InHome):
    def launch(self, *arguments, home=None):
        process = subprocess.Popen([ATTACHABLE, *arguments], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                   stderr=subprocess.DEVNULL, env=environment(home or self.home), text=True)
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        self.assertEqual(process.stdout.readline(), "ready\n")
        return process

    def block(self, process, milliseconds):
        process.stdin.write(f"{milliseconds}\n")
        process.stdin.flush()

    # A busy machine may make it longer.
    def check_stall(self, stalls, pattern, seconds):
        line = stalls.stdout.readline()
        found = re.search(pattern.replace("TIME", r"([\d.]+) (ms|s)"), line)
        self.assertTrue(found, line)
        took = float(found[1]) / (1000 if found[2] == "ms" else 1)
        self.assertTrue(seconds <= took < seconds + 5, line)

    def test_lists_even_if_one_hangs(self):
        self.assertEqual(self.output("apps", "--json"), "")
        programs = [self.launch("control"), self.launch()]
        listed = [json.loads(line) for line in self.output("apps", "--json").splitlines()]
        self.assertEqual({(p["pid"], p["name"], p["executable"], p["allows_control"]) for p in listed},
                         {(p.pid, "attachable", ATTACHABLE, p is programs[0]) for p in programs})
        programs[0].send_signal(signal.SIGSTOP)
        begin = time.monotonic()
        table = self.output("apps")
        self.assertLess(time.monotonic() - begin, 4)
        self.assertRegex(table, rf"(?m)^ *{programs[0].pid}  \(It does not answer\)")
        self.assertRegex(table, rf"(?m)^ *{programs[1].pid}  attachable .* no ")

    def test_says_which_one_is_meant(self):
        status, out, err = self.run_program("record", "--out", "-", "nothing")
        self.assertEqual((status, out, err), (1, "", "corvane-inspector: nothing: no such application can be looked at; none runs that can\n"))
        first, second = self.launch(), self.launch()
        lines = "".join(sorted(f"\n  {process.pid}  attachable  {ATTACHABLE}" for process in (first, second))) + "\n"
        for name, reason in [("AttachABLE", "several applications, choose one by its process id"),
                             ("nothing", "no such application can be looked at; these can")]:
            status, out, err = self.run_program("stalls", name)
            self.assertEqual((status, out), (1, ""))
            self.assertEqual(err.replace(lines, lines), f"corvane-inspector: {name}: {reason}:{lines}")
        shown = json.loads(self.output("attach", "--json", "--for", "1", str(second.pid)))
        self.assertEqual(shown["program"]["pid"], second.pid)
        self.assertEqual([repeater["name"] for repeater in shown["repeaters"]], ["tick", "tick", "slow report"])
        self.assertEqual([queue["label"] for queue in shown["serial_queues"] if queue["label"] == "mail"], ["mail"])
        self.assertIn(("reading", "(anonymous namespace)::Meter"), [(l["key"], l["listener"]) for l in shown["listeners"]])
        self.check_refused(["attach"], ["attach", "a", "b"], ["attach", "--root", "/", "a"], ["stalls"], ["stalls", "--longer-than", "0", "a"],
                           ["record", "a"], ["record", "--out", "a"], ["apps", "a"])

    def test_stalls_are_told_as_they_happen(self):
        program = self.launch()
        stalls = self.start("stalls", "--longer-than", "300", "attachable")
        time.sleep(1)  # until it watches
        self.block(program, 700)
        self.check_stall(stalls, rf"^\d\d:\d\d:\d\d\.\d\d\d +TIME  {LAMBDA}\n$", 0.7)
        self.block(program, 6000)
        self.check_stall(stalls, rf"  {LAMBDA}, still running after TIME\n$", 5)
        self.check_stall(stalls, rf" TIME  {LAMBDA}\n$", 6)
        program.kill()
        self.assertEqual(stalls.stderr.readline(), "corvane-inspector: attachable has ended; waiting for it to start again.\n")
        program.wait()
        program = self.launch()
        self.assertEqual(stalls.stderr.readline(), f"corvane-inspector: attachable is there: process {program.pid}\n")
        time.sleep(1)
        self.block(program, 500)
        self.check_stall(stalls, rf" TIME  {LAMBDA}\n$", 0.5)
        told = json.loads(self.output("stalls", "--json", "--for", "3", str(program.pid)).splitlines()[0])
        self.assertEqual((told["kind"], told["name"], told["goes_on"]), ("repeater", "slow report", False))
        self.assertTrue(0.15 <= told["duration_seconds"] < 1)

    def test_records_a_trace(self):
        program = self.launch()
        path = os.path.join(self.home, "trace.json")
        self.assertEqual(self.output("record", "--for", "2", "--out", path, "attachable"), "")
        early = self.start("record", "--for", "1000", "--out", "-", str(program.pid))
        time.sleep(2.5)
        early.send_signal(signal.SIGINT)
        self.write("early.json", early.communicate(timeout=TIMEOUT)[0].encode())
        self.assertEqual(early.returncode, 0)
        for file in ["trace.json", "early.json"]:
            subprocess.run([sys.executable, CHECKER, os.path.join(self.home, file), "slow report", "tick", "mail"], check=True)
        status, _, err = self.run_program("record", "--out", "/nowhere/x", "attachable")
        self.assertEqual((status, err), (1, "corvane-inspector: /nowhere/x: No such file or directory\n"))

    def test_the_live_view_waits_for_the_next_run(self):
        home = self.home
        program = self.launch()
        with live("attach", "attachable", XDG_RUNTIME_DIR=home) as terminal:
            terminal.wait_for("Corvane Inspector: attachable ")
            terminal.wait_for("tick (2)")
            terminal.press(" ")
            terminal.wait_for("attachable does not allow others to change it.")
            terminal.press("u")
            terminal.wait_for("Queues of attachable")
            terminal.wait_for(lambda: re.search(r"Longest item  [1-9]\d\d ms from .*, slow report", terminal.text()))
            terminal.wait_for(lambda: re.search(r"(?m)^mail +[1-9]\d* +\d.* m?s  main::", terminal.text()))
            terminal.press("b")
            terminal.wait_for("Meter")
            program.kill()
            terminal.wait_for("attachable has ended; waiting for it to start again.")
            program.wait()
            self.assertIn("Meter", terminal.text())
            self.launch("control")
            terminal.wait_for(lambda: "has ended" not in terminal.text())
            terminal.press("b")
            terminal.wait_for("averaged over 10 s")
            terminal.press("+")
            terminal.wait_for("averaged over 11 s")
            terminal.press(" ")
            terminal.wait_for("slow report (paused)")
            terminal.press("q")
            self.assertEqual(terminal.wait_for_end(), 0)


if __name__ == "__main__":
    unittest.main()
