#!/usr/bin/env python3
"""Fails on an #include that points up between the layers, and on what only Linux or GNU has outside the Linux backend."""
import pathlib
import re
import sys

# What each folder of the library may include, besides itself.
MAY = {
    "platform": [],  # the interfaces
    "core": ["platform"],
    "infra": ["platform", "core"],
    "algorithms": ["platform", "core"],
    "system": ["platform", "core", "infra"],
    "ui": ["platform", "core", "infra", "system"],
    "help": ["platform", "core", "infra", "system", "ui"],  # a module that the user interface loads
    "linux": ["platform", "core"],  # a backend may use the primitives that it helps to implement
    "testing": ["platform", "core"],
    "service": ["platform", "core", "infra", "system", "linux"],  # a program of the Linux backend
}

# What the Inspector's folders may include of each other: a window needs neither the terminal nor its texts. Commands
# may include everything.
INSPECTOR = {
    "model": [],
    "text": ["model"],
    "svg": ["model", "text"],
    "terminal": ["text"],
    "live": ["model", "text", "terminal"],
    "window": ["model", "text", "svg"],
}

# Headers and calls that other POSIX systems lack, or that belong to a library which only a backend may use.
HEADER = re.compile(
    r"<((linux|asm|glib|gio|xcb|X11|dbus|systemd)\b.*|glib.*|libudev\.h|(error|endian|byteswap|malloc|link|mntent)\.h"
    r"|sys/(auxv|epoll|eventfd|inotify|personality|pidfd|prctl|sendfile|signalfd|syscall|sysinfo|sysmacros|timerfd|vfs)\.h)>")
CALL = re.compile(
    r"\b((accept4|asprintf|canonicalize_file_name|clone3?|close_range|closefrom|copy_file_range|dup3|eventfd|get_nprocs"
    r"|getauxval|gettid|memfd_create|mempcpy|pipe2|posix_fallocate|prctl|renameat2|sched_setaffinity|secure_getenv|signalfd"
    r"|sigabbrev_np|splice|strchrnul|strerror(name|desc)_np|syscall|tgkill|unshare|versionsort)\s*\("
    r"|(epoll|inotify|pidfd|timerfd|posix_spawn_file_actions_addclosefrom)_\w+\s*\(|pthread_(get|set)(name|affinity)_np"
    r"|program_invocation_\w+|CLOCK_(BOOTTIME|MONOTONIC_COARSE|REALTIME_COARSE)|O_(PATH|TMPFILE)|SOCK_CLOEXEC|MSG_NOSIGNAL"
    r"|g_[a-z]+_\w+\s*\()")
QT = re.compile(r"<Q\w+")  # for the user interface only, so that daemons and commands stay light
WITH_QT = ("corvane/ui/", "corvane/help/", "apps/inspector/window/")
FOLDER = re.compile(r'"/(proc|sys)/')  # the Inspector's readings may name them: they are found missing at run time
APART = {"apps/common/MainLoopSource.cpp"}  # a source of the main loop that Linux has


def layer(path: str) -> str:
    return "service" if path.startswith("corvane/linux/helper/service/") else path.split("/")[1]


def code_of(text: str) -> str:
    """The text without comments; lines keep their numbers."""
    blank = lambda m: re.sub(r"[^\n]", " ", m.group()) if m.group()[0] == "/" else m.group()
    return re.sub(r'//[^\n]*|/\*.*?\*/|R"(\w*)\(.*?\)\1"|"(\\.|[^"\\\n])*"', blank, text, flags=re.S)


def problems(name: str, text: str):
    here = layer(name) if name.startswith("corvane/") else None
    for number, line in enumerate(code_of(text).splitlines(), 1):
        own = re.match(r'\s*#\s*include\s+"(.*)"', line)
        if own and here:
            target = own.group(1)
            if here == "ui" and re.fullmatch(r"ui_\w+\.h", target):
                continue  # made of an interface file
            if not target.startswith("corvane/"):
                yield number, f"{target} is not written from the repository's root"
            elif target.count("/") > 1 and layer(target) != here and layer(target) not in MAY[here]:
                yield number, f"{target} points from {here} to {layer(target)}"
        if own and name.startswith("apps/inspector/") and own.group(1).startswith("apps/inspector/"):
            folder, other = name.split("/")[2], own.group(1).split("/")[2]
            if other != folder and other not in INSPECTOR.get(folder, [other]):
                yield number, f"{own.group(1)} points from {folder} to {other}"
        if here in ("linux", "service") or name in APART:
            continue
        header = re.match(r"\s*#\s*include\s+(<.*>)", line)
        if header and HEADER.match(header.group(1)):
            yield number, f"{header.group(1)} is for the backend only"
        if header and QT.match(header.group(1)) and not name.startswith(WITH_QT):
            yield number, f"{header.group(1)} is for the user interface only"
        for call in [*CALL.finditer(line), *(FOLDER.finditer(line) if here else [])]:
            yield number, f"{call.group().rstrip(' (')} is for the backend only"


root = pathlib.Path(__file__).resolve().parents[2]
bad = 0
for file in sorted([*(root / "corvane").rglob("*"), *(root / "apps").rglob("*")]):
    if file.suffix in (".h", ".c", ".cpp"):
        name = str(file.relative_to(root))
        for number, problem in problems(name, file.read_text()):
            print(f"{name}:{number}: {problem}")
            bad += 1
sys.exit(1 if bad else 0)
