#!/usr/bin/env python3
"""Reads every #include of the library and fails on one that points up between its layers."""
import pathlib
import re
import sys

# What each folder may include of the library, besides itself.
MAY = {
    "platform": [],  # the interfaces
    "core": ["platform"],
    "infra": ["platform", "core"],
    "algorithms": ["platform", "core"],
    "system": ["platform", "core", "infra"],
    "ui": ["platform", "core", "infra", "system"],
    "linux": ["platform", "core"],  # a backend may use the primitives that it helps to carry
    "testing": ["platform", "core"],
}


def layer(path: str) -> str:
    return path.split("/")[1]


bad = 0
root = pathlib.Path(__file__).resolve().parents[2]
for file in sorted((root / "corvane").rglob("*")):
    if file.suffix not in (".h", ".cpp"):
        continue
    name = str(file.relative_to(root))
    here = layer(name)
    for number, line in enumerate(file.read_text().splitlines(), 1):
        found = re.match(r'\s*#\s*include\s+"(.*)"', line)
        if not found:
            continue
        target = found.group(1)
        if not target.startswith("corvane/"):
            problem = "is not written from the repository's root"
        elif layer(target) != here and layer(target) not in MAY[here]:
            problem = f"points from {here} to {layer(target)}"
        elif file.suffix == ".h" and here != "linux" and layer(target) == "linux":
            problem = "shows the backend in a public header"
        else:
            continue
        print(f"{name}:{number}: {target} {problem}")
        bad += 1
    if file.suffix == ".h" and here != "linux":
        for number, line in enumerate(file.read_text().splitlines(), 1):
            if re.match(r'\s*#\s*include\s+<(glib|gio|xcb|unicode|ncurses)', line):
                print(f"{name}:{number}: a public header shows a library of the backend")
                bad += 1
sys.exit(1 if bad else 0)
