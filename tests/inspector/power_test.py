"""The power command beside the real login manager. Root, in a private-system. The program is the first argument."""

import json
import os
import signal
import subprocess
import time
import unittest

import dbus

from inspector import InHome, PROGRAM, live
from terminal import TIMEOUT

SUPPORT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support")
DISPLAY, SYSTEM, FORCED = "PreventUserIdleDisplaySleep", "PreventUserIdleSystemSleep", "PreventSystemSleep"


class Power(InHome):
    def setUp(self):
        super().setUp()
        self.login = dbus.Interface(dbus.SystemBus().get_object("org.freedesktop.login1", "/org/freedesktop/login1"),
                                    "org.freedesktop.login1.Manager")

    def records(self):
        status, out, err = self.run_program("power", "--json")
        self.assertEqual((status, err), (0, ""))
        return [tuple(json.loads(line).values()) for line in out.splitlines()]

    def prevent(self, *arguments):
        """The program, whose command is running."""
        process = self.start("power", "--prevent", *arguments, "--", "sh", "-c", "echo $$; exec sleep 1000")
        process.command = process.stdout.readline().strip()
        self.addCleanup(subprocess.call, ["kill", "-KILL", process.command], stderr=subprocess.DEVNULL)
        return process

    def test_holds_while_the_command_runs(self):
        for kind, action in {DISPLAY: "idle", SYSTEM: "idle", FORCED: "sleep", "NoIdleSleepAssertion": "idle",
                             "NoDisplaySleepAssertion": "idle", "NetworkClientActive": "idle"}.items():
            process = self.prevent(kind, "--why", "film [x]")
            self.assertEqual(self.records(), [(process.pid, "corvane-inspector", kind, "film [x]")])
            self.assertEqual([str(lock[0]) for lock in self.login.ListInhibitors()], [action])
            process.terminate()
            self.assertEqual(process.wait(TIMEOUT), 128 + signal.SIGTERM)
            self.assertEqual(self.records(), [])
        process = self.prevent("sleep")
        process.kill()  # the command still runs, and has not inherited the lock
        process.wait(TIMEOUT)
        time.sleep(0.2)
        self.assertEqual(self.records(), [])
        self.assertTrue(os.path.exists("/proc/" + process.command))
        status, out, _ = self.run_program("power", "--prevent=idle", "--prevent", "display", "sh", "-c", PROGRAM + " power --json; exit 3")
        self.assertEqual((status, [json.loads(line)["type"] for line in out.splitlines()]), (3, [DISPLAY, SYSTEM]))
        self.assertIn(f'"Running sh -c {PROGRAM}', out)
        self.assertEqual(self.run_program("power", "--prevent", "Idle", "true"),
                         (1, "", 'corvane-inspector: Idle: There is no assertion type "Idle"\n'))
        # Only users with a session may keep off a sleep that somebody asks for.
        for agent, kind, expected in [(["none"], "sleep", 1), (["none"], "idle", 0), (["--session", "none"], "sleep", 0)]:
            command = [SUPPORT + "/system/as-user", *agent, PROGRAM, "power", "--prevent", kind, "true"]
            self.assertEqual(subprocess.run(command, stderr=subprocess.DEVNULL, timeout=TIMEOUT, check=False).returncode, expected)

    def test_lists_what_prevents_something(self):
        locks = [self.login.Inhibit(*lock).take() for lock in [
            ("sleep:idle:shutdown", "Burner", "disc", "block"), ("sleep:shutdown", "Saver", "save", "delay"),
            ("handle-lid-switch", "Lid", "lid", "block"), ("idle", "", "film [PreventSystemSleep]", "block")]]
        own = os.getpid()
        self.assertEqual(self.records(), [(own, "Burner", FORCED, "disc"), (own, "Burner", SYSTEM, "disc"),
                                          (own, "python3", SYSTEM, "film [PreventSystemSleep]")])
        process = self.start("power", "--watch")
        taken = [process.stdout.readline() for _ in range(3)]
        for lock in locks:
            os.close(lock)
        for line, sign in [(taken[0], r"\+"), (process.stdout.readline(), "-")]:
            self.assertRegex(line, rf"^\d\d:\d\d:\d\d  {sign}  {own}  Burner  PreventSystemSleep  disc\n$")

    def test_a_page_never_freezes(self):
        manager = dbus.SystemBus().call_blocking("org.freedesktop.DBus", "/", "org.freedesktop.DBus", "GetConnectionUnixProcessID",
                                                 "s", ["org.freedesktop.login1"])
        process = self.prevent("display")
        with live() as terminal:
            terminal.press("w")
            terminal.wait_for(f"{process.pid}  corvane-inspector")
            self.addCleanup(os.kill, manager, signal.SIGCONT)
            os.kill(manager, signal.SIGSTOP)
            for _ in range(5):
                terminal.press("w")
                terminal.wait_for("processor load")
                terminal.press("w")
                terminal.wait_for("Asking who")
            terminal.wait_for("The login manager: no answer in time")


if __name__ == "__main__":
    unittest.main()
