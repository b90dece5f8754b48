"""Types the beginnings of command lines into a shell and compares what it completes them to.

Usage: completion_test.py SHELL BIN SCRIPT...
"""
import fcntl
import os
import pathlib
import pty
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import termios

SHELL, BIN, *SCRIPTS = sys.argv[1:]
ROWS = [
    ("corvane-inspector sta", "corvane-inspector stalls"),
    ("corvane-inspector help sta", "corvane-inspector help stalls"),
    ("corvane-defaults --he", "corvane-defaults --help"),
    ("corvane-inspector tree --hi", "corvane-inspector tree --hide"),
    ("corvane-inspector login of", "corvane-inspector login off"),
    ("corvane-inspector settings av", "corvane-inspector settings average"),
    ("corvane-inspector ps --user roo", "corvane-inspector ps --user root"),
    ("corvane-inspector ps --sort=com", "corvane-inspector ps --sort=command"),
    ("corvane-inspector log --identifier org.ex", "corvane-inspector log --identifier org.example.Ticker"),
    ("corvane-inspector tree --svg pic", "corvane-inspector tree --svg picture.svg"),
    ("corvane-inspector --json --root fo", "corvane-inspector --json --root folder"),
    ("corvane-inspector power --prevent idle -- corvane-d", "corvane-inspector power --prevent idle -- corvane-defaults"),
    ("corvane-inspector run corvane-defaults 1 pic", "corvane-inspector run corvane-defaults 1 picture.svg"),
    ("corvane-defaults read a.", "corvane-defaults read a.b"),
    ("corvane-defaults rename -- a.b one", r"corvane-defaults rename -- a.b one\ key"),
    ("corvane-defaults export --binary a.b pic", "corvane-defaults export --binary a.b picture.svg"),
    ("corvane-defaults write a.b k -dic", "corvane-defaults write a.b k -dict"),
    ("corvane-inspector-window --page ti", "corvane-inspector-window --page timeline"),
]
ROWS = [row for row in ROWS if os.path.exists(f"{BIN}/{row[0].split()[0]}")]  # the window needs Qt




def setup(home):
    """What the user's start-up file of the shell would have: where the completions are."""
    if SHELL != "zsh":
        return "".join(f"source '{script}'\n" for script in SCRIPTS)
    for script in SCRIPTS:
        (home / "functions").mkdir(exist_ok=True)
        shutil.copy(script, home / "functions" / ("_" + pathlib.Path(script).stem))
    return "fpath=(~/functions $fpath); autoload -U compinit; compinit -D\n"


def in_terminal(environment, home):
    """The lines as they stand after the Tab key."""
    keys = setup(home)
    for line, _ in ROWS:
        keys += f"{line}\t\x01printf '<%s>\\n' '\x05'\n"  # to the line's begin and end
    child, terminal = pty.fork()
    if child == 0:
        os.chdir(home)
        os.execvpe(SHELL, [SHELL, *{"bash": ["--norc", "--noprofile"], "zsh": ["-f"]}[SHELL], "-i"], environment)
    fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 250, 0, 0))
    if os.fork() == 0:
        os.write(terminal, (keys + "exit\n").encode())
        os._exit(0)
    output = b""
    try:
        while chunk := os.read(terminal, 65536):
            output += chunk
    except OSError:  # the shell has ended
        pass
    os.waitpid(child, 0)
    return [found.rstrip(" /") for found in re.findall(r"[\r\n]<(.*)>\r*$", output.decode(errors="replace"), re.M)]


def in_fish(environment, home):
    """The same lines with the word that fish offers, if it is one."""
    lines = []
    for line, _ in ROWS:
        offered = subprocess.run([SHELL, "--no-config", "-c", setup(home) + 'complete -C "$argv"', line], cwd=home,
                                 env=environment, stdout=subprocess.PIPE, text=True, timeout=60).stdout.splitlines()
        word = offered[0].split("\t")[0].replace(" ", "\\ ") if len(offered) == 1 else " ".join(offered)
        lines.append(line[:line.rindex(" ") + 1] + word.rstrip("/"))
    return lines


with tempfile.TemporaryDirectory() as name:
    home = pathlib.Path(name)
    environment = {"HOME": name, "XDG_RUNTIME_DIR": name, "PATH": f"{BIN}:/usr/bin:/bin", "LC_ALL": "C.UTF-8",
                   "TERM": "xterm", **{key: value for key, value in os.environ.items() if key.endswith("SAN_OPTIONS")}}
    log = home / "Library/Logs/org.example.Ticker/Ticker.log"
    log.parent.mkdir(parents=True)
    log.touch()
    (home / "folder").mkdir()
    (home / "picture.svg").touch()
    subprocess.run(["corvane-defaults", "write", "a.b", "one key", "1"], env=environment, check=True)
    lines = (in_fish if SHELL == "fish" else in_terminal)(environment, home)
    wrong = [f"{typed!r} became {line!r}, not {expected!r}"
             for (typed, expected), line in zip(ROWS, lines, strict=True) if line != expected]
    sys.exit("\n".join(wrong) or 0)
