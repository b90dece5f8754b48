#!/usr/bin/env python3
"""The tables of the guide and of the README that are made from other files, so that they cannot drift.

    tables.py [--check]

A page says which one it wants:

    <!-- table platforms -->        what each service of the platform is for, what it needs, what happens without it: the
                                    comments @feature, @needs and @without of the interfaces that Platform.h names
    <!-- table figures PATTERN… --> the rows of bench/results.md where Corvane stands beside candidates of these names
    <!-- table bars PATH; PATH… -->  its rows for these paths

and what follows, up to <!-- end -->, is replaced. With --check nothing is written; it fails if a table is out of date.
"""
import fnmatch
import math
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).parents[2]

# Paths of benchmarks for readers; others stand for themselves.
PATHS = {
    "broadcast.1": "broadcast to 1 listener", "broadcast.10": "broadcast to 10 listeners",
    "broadcast.1000": "broadcast to 1,000 listeners", "lock.alone": "lock and unlock",
    "lock.contended": "lock and unlock, two threads", "mainqueue": "round trip to the main queue",
    "queue.async": "serial queue, items", "queue.sync": "serial queue, round trip", "settings.read": "read of a setting",
    "settings.write": "durable write of a setting", "spawn.small": "start of a program and its end, 10 MiB resident",
    "spawn.large": "the same, 1 GiB resident", "timer.1": "1 timer of 100 ms, lateness and processor time",
    "timer.100": "100 timers of 100 ms", "timer.10000": "10,000 timers of 100 ms", "helper": "request to a helper",
    "icons.hit": "icon from the cache", "desktop.file": "desktop picture of 3840 x 2160", "popover": "popover or menu",
    "richtext": "rich text of 10 MB, or the same as HTML", "stats.10": "table of 10 rows, shown anew",
    "stats.1000": "table of 1,000 rows", "stats.10000": "table of 10,000 rows", "pagesearch": "search in a page of 5 MB",
    "process tree.drag": "tree of processes, dragged", "process tree.drag at 0.2": "the same, all of it in view",
    "process tree.zoom": "the same, zoomed", "timeline.drag, all": "timeline of 130,000 spans, dragged",
    "timeline.drag, a 30th": "the same, a 30th in view", "timeline.drag, a 1000th": "the same, a 1000th in view",
    "timeline.zoom": "the same, zoomed",
}


def texts(service):
    """The three texts of an interface; exits if one is missing."""
    header = ROOT / f"corvane/platform/{service}.h"
    comment = re.search(rf"((?:^///.*\n)+)class (?:CORVANE_API )?{service} \{{", header.read_text(), re.M)[1]
    words = " ".join(re.sub("^///", "", comment, flags=re.M).split()) + " @"
    for tag in ("feature", "needs", "without"):
        found = re.search(rf"@{tag} (.*?)\.? (?=@)", words)
        if not found:
            sys.exit(f"{header}: the comment of {service} has no @{tag}")
        yield found[1].replace("|", r"\|")


def platforms():
    yield "what", "needs on Linux", "without it"
    for service in re.findall(r"ServiceSlot<(\w+)> \w+;", (ROOT / "corvane/platform/Platform.h").read_text()):
        yield tuple(texts(service))


def readable(figure):
    """The same with times in the unit that fits them."""
    def scaled(match):
        number = float(match[1].replace(",", ""))
        power = min(3, int(math.log10(number)) // 3) if number >= 1 else 0
        return f"{number / 1000**power:.3g} {('ns', 'us', 'ms', 's')[power]}"

    return re.sub(r"([\d.,]*\d) ns", scaled, figure)


def figures(*patterns):
    yield "what", "Corvane", "beside"
    rows = (ROOT / "bench/results.md").read_text().split("## All candidates")[1]
    ours = {}
    for path, candidate, figure in re.findall(r"^\| (.*) \| (.*) \| (.*) \|$", rows, re.M):
        figure = re.sub(r"^(time|items) (\S+ \S+)$", r"\2", readable(figure))
        if candidate.startswith("Corvane"):
            ours.setdefault(path, figure)
        elif path in ours and any(fnmatch.fnmatchcase(candidate, pattern) for pattern in patterns):
            yield PATHS.get(path, path), ours[path], f"{candidate}: {figure}"


def bars(*words):
    yield "path", "Corvane", "beside", "ratio"
    results = (ROOT / "bench/results.md").read_text()
    for path in " ".join(words).split("; "):
        row = re.search(rf"^\| {re.escape(path)} \| (.*?) \| (.*?) \| (.*?) \|", results, re.M)
        if not row:
            sys.exit(f"bench/results.md has no row for: {path}")
        yield path, readable(row[1]), readable(row[2]), row[3]


def filled(page):
    def table(match):
        kind, *arguments = match[2].split()
        head, *rows = {"platforms": platforms, "figures": figures, "bars": bars}[kind](*arguments)
        lines = [head, ("---",) * len(head), *rows]
        return match[1] + "\n" + "".join(f"| {' | '.join(line)} |\n" for line in lines) + "\n<!-- end -->"

    return re.sub(r"(<!-- table (.*?) -->\n).*?<!-- end -->", table, page, flags=re.S)


def main():
    stale = []
    for page in [ROOT / "README.md", *sorted((ROOT / "docs").glob("*.md"))]:
        old = page.read_text()
        new = filled(old)
        if new != old:
            stale.append(str(page.relative_to(ROOT)))
            if "--check" not in sys.argv:
                page.write_text(new)
    if stale and "--check" in sys.argv:
        sys.exit(f"out of date, run ./dev docs: {' '.join(stale)}")


if __name__ == "__main__":
    main()
