"""A terminal for tests: runs a program on a pseudo-terminal and keeps the screen that it draws."""

import codecs
import fcntl
import os
import re
import resource
import select
import signal
import struct
import subprocess
import tempfile
import termios
import time

TIMEOUT = 30  # seconds; test machines may be busy


class Screen:
    """What a terminal that understands the usual control sequences shows."""

    SEQUENCE = re.compile(r"\x1b\[([?>]?)([\d;]*)([@-~])|\x1b([()])(.)|\x1b([=>78M])|([\x00-\x1f])|([^\x00-\x1f]+)")

    def __init__(self, rows, columns):
        self.pending = ""
        self.alternate = False
        self.resize(rows, columns)

    def resize(self, rows, columns):
        self.rows, self.columns = rows, columns
        self.row = self.column = 0
        self.top, self.bottom = 0, rows - 1
        self.reverse = False
        self.cells = [self.blank() for _ in range(rows)]

    def blank(self):
        return [(" ", False)] * self.columns

    def lines(self):
        return ["".join(character for character, _ in row).rstrip() for row in self.cells]

    def text(self):
        return "\n".join(self.lines())

    def reversed_text(self):
        return "".join(character for row in self.cells for character, reverse in row if reverse)

    def feed(self, text):
        text = self.pending + text
        position = 0
        while position < len(text):
            match = self.SEQUENCE.match(text, position)
            if not match:
                break  # a sequence that has not come whole
            position = match.end()
            private, parameters, command, _, _, escape, control, letters = match.groups()
            if letters:
                for letter in letters:
                    self.put(letter)
            elif control:
                self.control(control)
            elif command:
                self.command(private, [int(p or 0) for p in parameters.split(";")], command)
            elif escape == "M":
                self.row = max(0, self.row - 1)
        self.pending = text[position:]

    def put(self, letter):
        if self.column >= self.columns:
            self.column = 0
            self.control("\n")
        self.cells[self.row][self.column] = (letter, self.reverse)
        self.last = letter
        self.column += 1

    def control(self, control):
        if control == "\n":
            if self.row == self.bottom:
                self.scroll(1)
            else:
                self.row = min(self.rows - 1, self.row + 1)
        elif control == "\r":
            self.column = 0
        elif control == "\b":
            self.column = max(0, self.column - 1)
        elif control == "\t":
            self.column = min(self.columns - 1, (self.column // 8 + 1) * 8)

    def scroll(self, count, top=None):
        top = self.top if top is None else top
        for _ in range(abs(count)):
            if count > 0:
                del self.cells[top]
                self.cells.insert(self.bottom, self.blank())
            else:
                del self.cells[self.bottom]
                self.cells.insert(top, self.blank())

    def command(self, private, parameters, command):
        first = parameters[0]
        count = max(1, first)
        row = self.cells[self.row]
        if private:
            if first == 1049:
                self.alternate = command == "h"
        elif command in "Hf":
            second = parameters[1] if len(parameters) > 1 else 0
            self.row, self.column = min(count, self.rows) - 1, min(max(1, second), self.columns) - 1
        elif command == "A":
            self.row = max(0, self.row - count)
        elif command == "B":
            self.row = min(self.rows - 1, self.row + count)
        elif command == "C":
            self.column = min(self.columns - 1, self.column + count)
        elif command == "D":
            self.column = max(0, self.column - count)
        elif command == "G":
            self.column = min(count, self.columns) - 1
        elif command == "d":
            self.row = min(count, self.rows) - 1
        elif command == "b":
            for _ in range(count):
                self.put(self.last)
        elif command == "J":
            if first == 0:
                row[self.column:] = self.blank()[self.column:]
            for below in range(self.row + 1 if first == 0 else 0, self.rows):
                self.cells[below] = self.blank()
        elif command == "K":
            begin, end = [(self.column, self.columns), (0, self.column + 1), (0, self.columns)][first]
            row[begin:end] = [(" ", False)] * (min(end, self.columns) - begin)
        elif command == "X":
            end = min(self.columns, self.column + count)
            row[self.column:end] = [(" ", False)] * (end - self.column)
        elif command == "P":
            del row[self.column:self.column + count]
            row.extend([(" ", False)] * (self.columns - len(row)))
        elif command == "@":
            row[self.column:self.column] = [(" ", False)] * count
            del row[self.columns:]
        elif command == "L":
            self.scroll(-count, self.row)
        elif command == "M":
            self.scroll(count, self.row)
        elif command == "S":
            self.scroll(count)
        elif command == "T":
            self.scroll(-count)
        elif command == "r":
            last = parameters[1] if len(parameters) > 1 else 0
            self.top, self.bottom = count - 1, (last or self.rows) - 1
            self.row = self.column = 0
        elif command == "m":
            for parameter in parameters:
                self.reverse = parameter == 7 or (self.reverse and parameter not in (0, 27))
        elif command not in "hlt":  # modes of editing, the window's title
            raise AssertionError(f"control sequence {command!r} is not known here")


def environment(home, **changes):
    """A small environment with a home of its own."""
    result = {"HOME": home, "PATH": os.environ["PATH"], "TERM": "xterm-256color", "LC_ALL": "C.UTF-8", "TZ": "UTC",
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
        self.screen = Screen(rows, columns)
        self.raw = b""
        self.decoder = codecs.getincrementaldecoder("utf-8")("replace")
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

    def press(self, keys):
        os.write(self.master, keys.encode())

    def read(self, seconds):
        """Takes in what comes within that time; false if nothing did."""
        if not select.select([self.master], [], [], seconds)[0]:
            return False
        data = os.read(self.master, 65536)
        self.raw += data
        self.screen.feed(self.decoder.decode(data))
        return True

    def settle(self, seconds):
        end = time.monotonic() + seconds
        while (left := end - time.monotonic()) > 0:
            self.read(left)

    def wait_for(self, condition, what="the screen"):
        """Waits until the condition (a text on the screen, or a function) holds."""
        holds = condition if callable(condition) else lambda: condition in self.screen.text()
        end = time.monotonic() + TIMEOUT
        while True:
            while self.read(0.05):
                pass  # until the picture is whole
            if holds():
                return
            assert time.monotonic() < end, f"{what if callable(condition) else condition} did not come:\n{self.screen.text()}"

    def wait_for_end(self):
        """The exit status, negative for a signal."""
        self.wait_for(lambda: self.process.poll() is not None, "the end")
        while self.read(0.1):
            pass
        return self.process.returncode

    def is_restored(self):
        """True if the terminal is as it was before the program."""
        return not self.screen.alternate and termios.tcgetattr(self.slave) == self.settings

    def log(self):
        with open(os.path.join(self.home, "Library/Logs/org.corvane.Inspector/Inspector.log"), encoding="utf-8") as file:
            return file.read()

    def signal(self, number):
        os.kill(self.process.pid, number)
