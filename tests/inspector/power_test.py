"""The power command beside the real login manager. Root, in a private-system. The program is the first argument."""

import json
import os
import signal
import subprocess
import time
import unittest

import dbus

from inspector import InHome, PROGRAM, live
from terminal import TIMEOUT, environment

SUPPORT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support")
GNOME = "org.gnome.SessionManager"
TYPES = {"PreventUserIdleDisplaySleep": "idle", "PreventUserIdleSystemSleep": "idle", "PreventSystemSleep": "sleep",
         "NoIdleSleepAssertion": "idle", "NoDisplaySleepAssertion": "idle", "NetworkClientActive": "idle"}


class Power(InHome):
    def setUp(self):
        super().setUp()
        self.login = dbus.Interface(dbus.SystemBus().get_object("org.freedesktop.login1", "/org/freedesktop/login1"),
                                    "org.freedesktop.login1.Manager")
        self.variables = {}

    def records(self):
        status, out, err = self.run_program("power", "--json", **self.variables)
        self.assertEqual((status, err), (0, ""))
        return [tuple(json.loads(line).values()) for line in out.splitlines()]

    def wait_for(self, expected, what=None):
        end = time.monotonic() + TIMEOUT
        while (found := (what or self.records)()) != expected:
            self.assertLess(time.monotonic(), end, found)
            time.sleep(0.02)

    def prevent(self, *arguments):
        """Waits until its command runs."""
        process = self.start("power", "--prevent", *arguments, "--", "sh", "-c", "echo $$; exec sleep 1000", **self.variables)
        self.command = int(process.stdout.readline())
        self.addCleanup(lambda: os.path.exists(f"/proc/{self.command}") and os.kill(self.command, signal.SIGKILL))
        return process

    def record(self, process, kind, reason="film"):
        return (process.pid, "corvane-inspector", kind, reason)

    def session(self, *services):
        bus = subprocess.Popen(["dbus-daemon", "--session", "--nofork", "--print-address"], stdout=subprocess.PIPE, text=True)
        self.addCleanup(lambda: (bus.kill(), bus.communicate()))
        address = bus.stdout.readline().strip()
        self.variables = {"DBUS_SESSION_BUS_ADDRESS": address}
        connection = dbus.bus.BusConnection(address)
        self.addCleanup(connection.close)
        for name in services:
            mock = subprocess.Popen(["/usr/bin/python3", "-B", "-m", "dbusmock", "--session", "-t", SUPPORT + "/session_services.py"],
                                    env={**os.environ, **self.variables, "SESSION_SERVICE": name}, stdout=subprocess.DEVNULL)
            self.addCleanup(lambda each: (each.kill(), each.wait()), mock)
            self.wait_for(True, lambda: connection.name_has_owner(name))
        return connection, mock

    def test_each_type_is_held_while_the_command_runs(self):
        for kind, action in TYPES.items():
            process = self.prevent(kind, "--why", "film [x]")
            self.assertEqual(self.records(), [self.record(process, kind, "film [x]")])
            self.assertEqual([str(lock[0]) for lock in self.login.ListInhibitors()], [action])
            process.terminate()
            self.assertEqual(process.wait(TIMEOUT), 128 + signal.SIGTERM)
            self.assertEqual(self.records(), [])

    def test_status_is_the_commands(self):
        shell = "corvane-inspector power --json; exit 3".replace("corvane-inspector", PROGRAM)
        status, out, err = self.run_program("power", "--prevent", "idle", "--prevent=display", "sh", "-c", shell)
        self.assertEqual((status, err), (3, ""))
        self.assertEqual([json.loads(line)["type"] for line in out.splitlines()],
                         ["PreventUserIdleDisplaySleep", "PreventUserIdleSystemSleep"])
        self.assertIn("Running sh -c " + PROGRAM, out)
        for arguments, expected, reason in [
                (("--prevent", "idle", "none"), 127, "none: not found"),
                (("--prevent", "Idle", "true"), 1, 'Idle: There is no assertion type "Idle"'),
                (("--prevent", "idle", "--why", b"\xff", "true"), 1, "PreventUserIdleSystemSleep: The reason is not text in UTF-8")]:
            self.assertEqual(self.run_program("power", *arguments), (expected, "", f"corvane-inspector: {reason}\n"))

    def test_a_killed_holder_frees_its_lock(self):
        process = self.prevent("sleep", "--why", "film")
        # Nobody else holds the lock: the command still runs.
        process.kill()
        self.wait_for([])
        self.assertTrue(os.path.exists(f"/proc/{self.command}"))

    def test_the_list_leaves_out_what_prevents_nothing(self):
        locks = [self.login.Inhibit(what, who, why, mode).take() for what, who, why, mode in [
            ("sleep:idle:shutdown", "Burner", "disc", "block"), ("sleep:shutdown", "Saver", "save", "delay"),
            ("handle-lid-switch", "Lid", "lid", "block"), ("idle", "", "film [PreventSystemSleep]", "block")]]
        own = os.getpid()
        self.assertEqual(self.records(), sorted([
            (own, "Burner", "PreventSystemSleep", "disc"), (own, "Burner", "PreventUserIdleSystemSleep", "disc"),
            (own, "python3", "PreventUserIdleSystemSleep", "film [PreventSystemSleep]")], key=lambda r: (r[2], r[3])))
        process = self.start("power", "--watch")
        first = [process.stdout.readline() for _ in range(3)]
        self.assertRegex(first[0], r"^\d\d:\d\d:\d\d  \+  %d  Burner  PreventSystemSleep  disc\n$" % own)
        for lock in locks:
            os.close(lock)
        self.assertRegex(process.stdout.readline(), r"^\d\d:\d\d:\d\d  -  %d  Burner  PreventSystemSleep  disc\n$" % own)

    def test_nobody_without_a_session_may_not_prevent_a_sleep(self):
        for arguments, kind, expected in [(["none"], "sleep", 1), (["none"], "idle", 0), (["--session", "none"], "sleep", 0)]:
            result = subprocess.run([SUPPORT + "/system/as-user", *arguments, PROGRAM, "power", "--prevent", kind, "true"],
                                    capture_output=True, text=True, timeout=TIMEOUT, check=False)
            self.assertEqual(result.returncode, expected, result.stderr)
            self.assertEqual("Permission denied" in result.stderr, expected == 1)

    def test_a_session_manager_is_not_listed_twice(self):
        connection, mock = self.session(GNOME)
        manager = dbus.Interface(connection.get_object(GNOME, "/org/gnome/SessionManager"), GNOME)
        control = dbus.Interface(manager.proxy_object, "org.freedesktop.DBus.Mock")
        process = self.prevent("display", "--why", "film")
        self.assertEqual(len(self.login.ListInhibitors()), 2, "one for the session manager")
        own = [self.record(process, "PreventUserIdleDisplaySleep")]
        self.assertEqual(self.records(), own)
        cookie = manager.Inhibit("a.b.Editor", dbus.UInt32(0), "film", dbus.UInt32(12))
        self.assertEqual(self.records(), sorted(own + [
            (mock.pid, "a.b.Editor", kind, "film") for kind in ("PreventUserIdleDisplaySleep", "PreventUserIdleSystemSleep")]))
        control.Register(cookie, dbus.UInt32(1))
        self.assertEqual([record[0] for record in self.records()], [1, 1, process.pid])
        control.Behave("hang")
        begin = time.monotonic()
        records = self.records()
        self.assertLess(time.monotonic() - begin, 4)
        self.assertIn(own[0], records)

    def test_locks_outlive_the_login_manager(self):
        process = self.prevent("idle", "--why", "film")
        held = self.records()
        bus = dbus.SystemBus()
        os.kill(bus.call_blocking("org.freedesktop.DBus", "/", "org.freedesktop.DBus", "GetConnectionUnixProcessID", "s",
                                  ["org.freedesktop.login1"]), signal.SIGKILL)
        self.wait_for(False, lambda: bus.name_has_owner("org.freedesktop.login1"))
        without = self.run_program("power")
        self.restarted = subprocess.Popen(["/lib/systemd/systemd-logind"], stderr=subprocess.DEVNULL)  # for all that follow
        self.wait_for(True, lambda: bus.name_has_owner("org.freedesktop.login1"))
        self.assertEqual(self.records(), held)
        self.assertEqual(process.poll(), None)
        self.assertEqual(without, (1, "", 'corvane-inspector: power: The login manager: Name "org.freedesktop.login1" does not exist\n'))

    def test_the_page_follows_and_never_freezes(self):
        connection, _ = self.session(GNOME)
        mock = dbus.Interface(connection.get_object(GNOME, "/org/gnome/SessionManager"), "org.freedesktop.DBus.Mock")
        with live(**self.variables) as terminal:
            terminal.press("w")
            terminal.wait_for("Nobody keeps the machine awake.")
            process = self.prevent("display", "--why", "film")
            terminal.wait_for(f"{process.pid}  corvane-inspector")
            mock.Behave("hang")
            process.terminate()
            for _ in range(5):
                terminal.press("w")
                terminal.wait_for("processor load")
                terminal.press("w")
                terminal.wait_for("Asking who")
            terminal.wait_for("Nobody keeps")


if __name__ == "__main__":
    unittest.main()
