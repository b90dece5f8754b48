"""A terminal for tests: runs a program on a pseudo-terminal and keeps the screen that it draws."""

import fcntl
import os
import resource
import select
import signal
import struct
import subprocess
import tempfile
import termios
import time

import pyte

TIMEOUT = 30  # seconds; test machines may be busy
ALTERNATE = 1049 << 5  # the private mode, as pyte numbers it


def environment(home, **changes):
    """A small environment with a home of its own."""
    result = {"HOME": home, "PATH": os.environ["PATH"], "TERM": "screen-256color", "LC_ALL": "C.UTF-8", "TZ": "UTC",
              "XDG_RUNTIME_DIR": home}
    for name in ("ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS", "LSAN_OPTIONS"):
        if name in os.environ:
            result[name] = os.environ[name]
    result.update(changes)
    return result


class Terminal:
    """A program on a pseudo-terminal, with a temporary home. Use it in a with statement."""

    def __init__(self, *arguments, rows=24, columns=80, **variables):
        self.folder = tempfile.TemporaryDirectory(prefix="corvane-test-")
        self.home = self.folder.name
        self.screen = pyte.Screen(columns, rows)
        self.stream = pyte.ByteStream(self.screen)
        self.raw = b""
        self.master, self.slave = os.openpty()  # the other end stays open, so that its settings can be read afterwards
        self.set_size(rows, columns)
        self.settings = termios.tcgetattr(self.slave)

        def prepare():
            os.setsid()
            fcntl.ioctl(0, termios.TIOCSCTTY, 0)
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))

        self.process = subprocess.Popen(arguments, stdin=self.slave, stdout=self.slave, stderr=self.slave,
                                        env=environment(self.home, **variables), preexec_fn=prepare)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()
        os.close(self.master)
        os.close(self.slave)
        self.folder.cleanup()

    def set_size(self, rows, columns):
        fcntl.ioctl(self.master, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))

    def resize(self, rows, columns):
        self.screen.resize(rows, columns)
        self.set_size(rows, columns)

    def lines(self):
        return [line.rstrip() for line in self.screen.display]

    def text(self):
        return "\n".join(self.lines())

    def reversed_text(self):
        cells = (self.screen.buffer[row][column] for row in range(self.screen.lines) for column in range(self.screen.columns))
        return "".join(cell.data for cell in cells if cell.reverse)

    def is_alternate(self):
        return ALTERNATE in self.screen.mode

    def press(self, keys):
        os.write(self.master, keys.encode())

    def read(self, seconds):
        """Reads what comes within that time; false if nothing did."""
        if not select.select([self.master], [], [], seconds)[0]:
            return False
        data = os.read(self.master, 65536)
        self.raw += data
        self.stream.feed(data)
        return True

    def settle(self, seconds):
        end = time.monotonic() + seconds
        while (left := end - time.monotonic()) > 0:
            self.read(left)

    def wait_for(self, condition, what="the screen"):
        """Waits until the condition (a text on the screen, or a function) holds."""
        holds = condition if callable(condition) else lambda: condition in self.text()
        end = time.monotonic() + TIMEOUT
        while True:
            while self.read(0.02):
                pass  # until the screen is complete
            if holds():
                return
            assert time.monotonic() < end, f"{what if callable(condition) else condition} did not come:\n{self.text()}"

    def wait_for_end(self):
        """The exit status, negative for a signal."""
        self.wait_for(lambda: self.process.poll() is not None, "the end")
        while self.read(0.1):
            pass
        return self.process.returncode

    def is_restored(self):
        """True if the terminal is as it was before the program."""
        return not self.is_alternate() and termios.tcgetattr(self.slave) == self.settings

    def log(self):
        with open(os.path.join(self.home, "Library/Logs/org.corvane.Inspector/Inspector.log"), encoding="utf-8") as file:
            return file.read()

    def signal(self, number):
        os.kill(self.process.pid, number)
