#!/usr/bin/python3
"""Runs the benchmarks of a build folder and writes a table of Corvane beside its peers."""

import argparse
import datetime
import json
import os
import platform
import re
import statistics
import subprocess
import sys
import time
from dataclasses import dataclass
from pathlib import Path


@dataclass
class Bar:
    """What a path should reach. The reference is a peer by name, "peer" for the best of them, or a number. Why it is
    missed, where it is, stands in WHY by title."""
    path: str       # the benchmarks PATH/...
    title: str
    metric: str     # "time" or a counter
    unit: str
    limit: float    # of the ratio, or of the figure itself if the reference is a number
    against: str = "peer"
    more: bool = False  # more is better
    corvane: str = "Corvane"  # how the candidate's name begins
    plus: str | float = 0  # what may be added to it: a figure, or a candidate with one


# Not peers, but the least that the operating system itself needs.
LIMITS = {"one exchange", "futex", "swap-batched deque", "futex ping-pong", "pipe ping-pong", "timerfd", "write(2)",
          "localtime_r alone", "empty program", "fgets", "vector of functions", "two hand-overs", "two clock readings",
          "openat + read of each stat", "std::binary_search", "posix_spawn",
          "posix_spawn with a pipe", "bare Inhibit and close", "bare ListInhibitors",
          "bare GDBus", "hash look-up + clock"}

BARS = [
    Bar("lock.alone", "lock + unlock", "time", "ns", 1.05, "pthread_mutex"),
    Bar("lock.contended", "lock + unlock, two threads", "time", "ns", 1.05, "pthread_mutex"),
    Bar("wake", "condition wake-up, p50", "p50_us", "us", 1.1, "futex"),
    Bar("wake", "condition wake-up, p99", "p99_us", "us", 1.1, "futex"),
    Bar("wake.held", "condition wake-up, lock held, p50", "p50_us", "us", 1.1),
    Bar("queue.async", "serial queue, async", "items", "M/s", 1.0, more=True, corvane="Corvane Disp"),
    Bar("queue.sync", "serial queue, sync round trip", "time", "ns", 1.0),
    Bar("mainqueue", "main-queue round trip, p50", "p50_us", "us", 1.5, "QMetaObject blocking call"),
    Bar("mainqueue", "main-queue round trip, p99", "p99_us", "us", 1.5, "QMetaObject blocking call"),
    Bar("timerqueue.1ms", "TimerQueue of 1 ms, lateness p50", "p50_us", "us", 1.2, "timerfd"),
    Bar("timerqueue.1ms", "TimerQueue of 1 ms, lateness p99", "p99_us", "us", 1.5, "timerfd"),
    Bar("timerqueue.100ms", "TimerQueue of 100 ms, lateness p50", "p50_us", "us", 1.5, "timerfd"),
    Bar("timer.1", "1 repeater of 100 ms, lateness p50", "p50_us", "us", 1.0, "QTimer, precise"),
    Bar("timer.100", "100 repeaters of 100 ms, lateness p50", "p50_us", "us", 1.0, "QTimer, precise"),
    Bar("timer.10000", "10,000 repeaters of 100 ms, lateness p50", "p50_us", "us", 1.0, "QTimer, precise"),
    Bar("timer.10000", "10,000 repeaters of 100 ms, lateness p99", "p99_us", "us", 1.5, "asio steady_timer"),
    Bar("timer.10000", "10,000 repeaters of 100 ms, processor time in 3 s", "cpu_ms", "ms", 1.0, "asio steady_timer"),
    Bar("scaling.one", "one run, 10,000 registered, one of them busy", "time", "ns", 1.5, "10 registered",
        corvane="10000 "),
    Bar("scaling.all", "one run, 10,000 registered, all busy", "time", "ns", 1.5, "10 registered", corvane="10000 "),
    Bar("log", "log line of 100 bytes, flushed", "time", "ns", 1.3),
    Bar("lines", "lines of a file of 1 GiB, for each MiB", "time", "ns", 2.0, "fgets"),
    Bar("http.get", "GET on loopback, 1 KiB", "time", "ns", 1.3, "libcurl easy handle kept open",
        plus="two hand-overs"),
    Bar("settings.read", "settings, read of an integer", "time", "ns", 1.0, "QSettings, synced"),
    Bar("settings.write", "settings, durable write of an integer", "time", "ns", 1.3, "SQLite WAL"),
    Bar("processes", "snapshot of 2,000 processes", "time", "ns", 0.65, "libproc2"),
    Bar("processes", "snapshot of 2,000 processes, beside the bare reads", "time", "ns", 1.2,
        "openat + read of each stat"),
    Bar("processes.name", "process by name, of 2,000", "time", "ns", 1.2, "openat + read of each stat"),
    Bar("processes.translated", "translated or not, in a snapshot of 2,000", "time", "ns", 1000, "figure"),
    Bar("timestamp", "text of a time stamp", "time", "ns", 1.0),
    Bar("broadcast.1", "broadcast to 1 listener, timed", "time", "ns", 1.0, "boost::signals2, timed",
        corvane="Corvane Broadcast"),
    Bar("broadcast.10", "broadcast to 10 listeners, timed", "time", "ns", 1.0, "boost::signals2, timed",
        corvane="Corvane Broadcast"),
    Bar("broadcast.10", "broadcast to 10 listeners, clock for free", "time", "ns", 1.0, "boost::signals2",
        corvane="Corvane, clock"),
    Bar("broadcast.1000", "broadcast to 1,000 listeners, timed", "time", "ns", 1.0, "boost::signals2, timed",
        corvane="Corvane Broadcast"),
    Bar("plist.xml", "property list of 10 MB, XML", "bytes_per_second", "MB/s", 1.0, "libplist", more=True),
    Bar("plist.binary", "property list of 10 MB, binary", "bytes_per_second", "MB/s", 1.0, "libplist", more=True),
    Bar("pid", "one step of a PID controller", "time", "ns", 1.0, "two clock readings", plus=20),
    *[Bar(f"layout.{shape}", f"tidy layout of 100,000 nodes, {shape}", "nodes100000", "ms", 0.15)
      for shape in ["wide", "deep", "mixed", "comb", "random", "uneven"]],
    Bar("layout.node", "a node of a layout tree, deep", "bytes", "bytes", 160, "figure", corvane="deep"),
    Bar("devices.block", "block devices with their properties", "time", "ns", 1.3, "libudev"),
    Bar("devices.all", "all devices with their properties", "time", "ns", 1.3, "libudev"),
    Bar("edid", "what a display says about itself, parsed", "time", "ns", 1000, "figure"),
    Bar("spawn.small", "spawn + wait, 10 MiB resident", "time", "ns", 1.5, "posix_spawn"),
    Bar("spawn.large", "spawn + wait, 1 GiB resident", "time", "ns", 1.5, "posix_spawn"),
    Bar("readpipe.gib", "1 GiB through readPipe", "time", "ns", 1.5, "cat to dev null"),
    Bar("power.hold", "power assertion, held and released", "time", "ns", 1.1, "bare Inhibit and close"),
    Bar("power.list", "list of 20 power assertions", "time", "ns", 1.2, "bare ListInhibitors"),
    Bar("helper", "request to a helper, round trip", "time", "ns", 1.3, "bare GDBus"),
    Bar("icons.hit", "icon of one of 5,000 paths, from the cache", "time", "ns", 2.0, "hash look-up + clock"),
    Bar("desktop.file", "desktop picture of 3840 x 2160, drawn and written", "time", "ns", 1 / 1.8, "QImage::save"),
    Bar("desktop.main thread", "the same, on the main thread", "time", "ns", 30_000_000, "figure"),
    Bar("popover", "a popover, from the request to its first frame", "time", "ns", 2.5, "QMenu"),
    Bar("richtext", "rich text of 10 MB, read; beside the same as HTML", "time", "ns", 1.0),
    Bar("stats.10", "10 repeaters, shown anew once they have changed", "time", "ns", 1.2),
    Bar("stats.1000", "1,000 repeaters, shown anew", "time", "ns", 1.2),
    Bar("stats.10000", "10,000 repeaters, shown anew", "time", "ns", 1.0),
    Bar("stats.10000", "10,000 repeaters, shown anew, beside QTableWidget", "time", "ns", 0.2, "QTableWidget"),
    Bar("pagesearch", "search in a page of 5 MB, 10,000 occurrences", "time", "ns", 4.0, "QWebEnginePage::findText"),
    Bar("diagnostics.run", "one run of a repeater, diagnostics started", "time", "ns", 1.05, "off", corvane="started"),
    Bar("diagnostics.main", "an item of the main queue, diagnostics started", "time", "ns", 1.05, "off",
        corvane="started"),
    Bar("diagnostics.queue", "an item of a serial queue, diagnostics started", "time", "ns", 1.05, "off",
        corvane="started"),
    Bar("diagnostics.note", "start and end of something noted, 60 ns each, with two clock readings", "time", "ns", 120,
        "figure", corvane="noted"),
    Bar("diagnostics.viewer", "program with 10,000 repeaters of 1 s and a viewer, processor time in 1 s", "time", "ns",
        1.0, "alone", corvane="attached", plus=10_000_000),
    Bar("diagnostics.attach", "connected, and all figures of 10,000 repeaters", "time", "ns", 1_000_000_000, "figure",
        corvane="10,000"),
    Bar("memory.idle", "idle with the master timer, resident above an empty program", "rss", "KiB", 8192,
        "above empty program"),
    Bar("memory.repeater", "a stopped repeater", "bytes", "bytes", 400, "figure", corvane="stopped"),
]

# What costs the time, for bars that some machine missed: shown for those that are missed.
WHY = {
    "lock + unlock, two threads":
        "The lock is a pthread_mutex and its calls are inline; which of two threads gets it next is chance, and the "
        "ratio of two runs differs by more than what is missing.",
    "condition wake-up, p50":
        "It waits on the C library's condition variable, as std::condition_variable does, with which it is level (all "
        "candidates, below). A futex alone wakes faster, but neither takes the lock back nor counts who waits.",
    "condition wake-up, p99": "As for the median.",
    "TimerQueue of 1 ms, lateness p50":
        "It waits for its time on a condition variable with its lock, so that stop() and a changed period reach it at "
        "once, and looks at the clock again; reading a timerfd does neither.",
    "TimerQueue of 1 ms, lateness p99":
        "The last hundredth is the kernel's choice of what to run on two processors, and differs from run to run.",
    "lines of a file of 1 GiB, for each MiB":
        "A line is a string of its own whose UTF-8 was checked; fgets() copies bytes into the same buffer.",
    "GET on loopback, 1 KiB":
        "Each request has a handle of its own on libcurl's multi interface, so that many run side by side and each can "
        "be cancelled; the peer uses one handle again. The kernel's share on loopback differs from run to run.",
    "settings, durable write of an integer":
        "Beyond SQLite's own write the change is announced to other processes, and the files are looked at in case "
        "somebody removed them.",
    "snapshot of 2,000 processes":
        "Reading a stat file is the kernel's work, for every peer: the row below is the least that it needs.",
    "snapshot of 2,000 processes, beside the bare reads":
        "What is read is parsed, and the owner of each process is looked up.",
    "one step of a PID controller":
        "Beyond the two readings of the clock a step is a virtual call and arithmetic that wait for them.",
    "tidy layout of 100,000 nodes, random":
        "The nodes of this shape lie far apart in memory in the order in which they are visited, so the time is that "
        "of cache misses; the figure depends on the machine's caches (0.06 on others).",
    "an item of a serial queue, diagnostics started":
        "Each item asks whether somebody looks, and tells its queue what it is; the ratio differs from run to run.",
    "power assertion, held and released":
        "The assertion is also kept in the list of those of this program; most of the time is the bus's, and the ratio "
        "differs from run to run.",
    "list of 20 power assertions":
        "The session's own list is asked for while logind answers, and both are made into one; the ratio differs from "
        "run to run.",
    "10 repeaters, shown anew once they have changed":
        "Nearly all of it is Qt's layout and painting of text, as for the peers; the ratio differs from run to run.",
    "10,000 repeaters of 100 ms, lateness p99":
        "A due repeater wakes the timer's thread, which hands it to the main loop: two threads where the peer wakes "
        "one.",
}

SCALE = {"M/s": 1e-6, "KiB": 1 / 1024, "MB/s": 1e-6}
TIME_UNITS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}


# Programs that need the system's services run beside real ones of their own, as root; beside the machine's otherwise.
PRIVATE_SYSTEM = [Path(__file__).parents[1] / "tests/support/system/private-system", "--services=polkit,logind"]
IN_PRIVATE_SYSTEM = {"PowerBench"}


def benchmarks_of(program):
    listed = subprocess.run([program, "--benchmark_list_tests"], capture_output=True, text=True, check=True)
    return [line for line in listed.stdout.splitlines() if "/" in line]


def run(program, benchmark):
    """One run in a process of its own, so that no candidate is affected by what another leaves behind."""
    pattern = "^" + re.sub(r"([][\\.()*+?^$|{}])", r"\\\1", benchmark) + "$"
    around = PRIVATE_SYSTEM if program.name in IN_PRIVATE_SYSTEM and os.geteuid() == 0 else []
    done = subprocess.run([*around, program, "--benchmark_filter=" + pattern, "--benchmark_format=json",
                           "--benchmark_min_time=0.3"], capture_output=True, text=True, timeout=300)
    try:
        result = json.loads(done.stdout)["benchmarks"][0]
    except (ValueError, KeyError, IndexError):
        print(f"  {benchmark}: no result (status {done.returncode})", file=sys.stderr)
        return {}
    if result.get("error_occurred"):
        print(f"  {benchmark}: {result.get('error_message')}", file=sys.stderr)
        return {}
    figures = {name: value for name, value in result.items() if isinstance(value, float) and name != "cpu_time"}
    figures["time"] = figures.pop("real_time") * TIME_UNITS[result["time_unit"]]
    return figures


def measure(programs, wanted, rounds, budget):
    """{path: {candidate: {metric: median}}}, and the rounds. The rounds go over all candidates, so that a busy minute
    meets each. With a budget of seconds a long run of a peer is not repeated, and no round begins that would not fit."""
    plan = [(program, name) for program in programs for name in benchmarks_of(program)
            if wanted.search("/".join(name.split("/")[:2]))]
    samples = {}
    start = time.monotonic()
    done = 0
    while plan and done < rounds:
        again = []
        round_began = time.monotonic()
        for program, name in plan:
            print(f"round {done + 1} of {rounds}: {name}", file=sys.stderr)
            path, candidate = name.split("/")[:2]
            begin = time.monotonic()
            for repetition in range(3):
                for metric, value in run(program, name).items():
                    samples.setdefault(path, {}).setdefault(candidate, {}).setdefault(metric, []).append(value)
                if time.monotonic() - begin > 1:
                    break  # a long run is a mean by itself
            if not budget or time.monotonic() - begin < 4 or candidate.startswith("Corvane"):
                again.append((program, name))
        done += 1
        now = time.monotonic()
        if budget and now - start + (now - round_began) * len(again) / len(plan) > budget:
            break
        plan = again
    return {path: {candidate: {metric: statistics.median(values) for metric, values in metrics.items()}
                   for candidate, metrics in candidates.items()} for path, candidates in samples.items()}, done


def text(value, unit):
    value *= SCALE.get(unit, 1)
    digits = 0 if value >= 1000 else 1 if value >= 100 else 2 if value >= 10 else 3
    return f"{value:,.{digits}f} {unit}"


def judge(bar, candidates):
    """A row of the first table, or None if the path was not measured."""
    own = next((m[bar.metric] for name, m in candidates.items() if name.startswith(bar.corvane) and bar.metric in m),
               None)
    if own is None:
        return None
    others = {name: m[bar.metric] for name, m in candidates.items()
              if bar.metric in m and not name.startswith(("Corvane", bar.corvane))}
    if bar.path.startswith(("scaling", "memory.repeater", "layout.node")):
        others = {name: value for name, value in others.items() if name == bar.against}
    peers = {name: value for name, value in others.items() if name not in LIMITS} or others
    best = (max if bar.more else min)(peers, key=peers.get, default=None)
    reference = best if bar.against == "peer" else bar.against
    if reference == "figure":
        return row(bar, own, best, peers, f"<= {text(bar.limit, bar.unit)}", own * SCALE.get(bar.unit, 1) <= bar.limit)
    if reference == "above empty program":
        if "empty program" not in others:
            return None
        above = own - others["empty program"]
        return row(bar, above, None, {}, f"<= {bar.limit:g} {bar.unit}", above * SCALE[bar.unit] <= bar.limit)
    if reference not in others:
        return row(bar, own, best, peers, f"{reference} is not installed" if reference else "no peer does it", None)
    extra = others.get(bar.plus, 0) if isinstance(bar.plus, str) else bar.plus / SCALE.get(bar.unit, 1)
    bound = bar.limit * others[reference] + extra
    met = own >= bound if bar.more else own <= bound
    sign = ">=" if bar.more else "<="
    shown = {reference: others[reference]} if best is None or bar.against != "peer" else peers
    plus = f" + {text(extra, bar.unit)}" if extra else ""
    if plus and isinstance(bar.plus, str):
        plus += f" of {bar.plus}"
    limit = f"{sign} {bar.limit:g} x {reference}{plus}"
    return row(bar, own, reference, shown, limit, met)


def row(bar, own, peer, peers, limit, met):
    beside = f"{peer}: {text(peers[peer], bar.unit)}" if peer else "-"
    ratio = f"{own / peers[peer]:.2f}" if peer and peers[peer] else "-"
    verdict = {True: "yes", False: "**no**", None: "-"}[met]
    return f"| {bar.title} | {text(own, bar.unit)} | {beside} | {ratio} | {limit} | {verdict} |"


def details(results):
    units = {"time": "ns", "p50_us": "us", "p99_us": "us", "cpu_ms": "ms", "items": "M/s", "bytes_per_second": "MB/s", "rss": "KiB", "pss": "KiB",
             "private": "KiB", "bytes": "bytes", "nodes1000": "ms", "nodes10000": "ms", "nodes100000": "ms",
             "nodes1000000": "ms"}
    lines = ["| path | candidate | figures |", "|---|---|---|"]
    for path, candidates in results.items():
        for candidate, metrics in candidates.items():
            # Where latencies or counts are taken, the time of the whole run adds nothing.
            shown = {name: value for name, value in metrics.items() if name in units}
            if len(shown) > 1 and path not in ("log", "lines"):
                shown.pop("time", None)
            figures = ", ".join(f"{name.split('_')[0]} {text(value, units[name])}" for name, value in shown.items())
            lines.append(f"| {path} | {candidate} | {figures} |")
    return lines


def machine():
    model = platform.machine()
    for line in Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            model = line.split(":", 1)[1].strip()
            break
    return f"{os.cpu_count()} processors ({model}), Linux {platform.release()}"


def report(results, rounds, loads):
    rows = {bar.title: judge(bar, results[bar.path]) for bar in BARS if bar.path in results}
    missed = [title for title, line in rows.items() if line and line.endswith("**no** |")]
    why = [f"- {title}: {WHY.get(title, 'at the edge of its bar; other runs meet it.')}" for title in missed]
    return "\n".join([
        "# Benchmarks", "",
        f"{machine()}, {datetime.date.today()}, load average {loads[0]:.1f} at the beginning and {loads[1]:.1f} at the "
        f"end. Every candidate ran up to {rounds} times (short ones {3 * rounds}), each time in a process of its own and "
        "in turn with the others; a figure is the median of its runs. Compare ratios within this table only: the "
        "figures of another day or machine differ.", "",
        "Round trips and wake-ups have both threads on one processor, so that the hand-over is compared and not how "
        "long an idle processor takes to rouse. 100 timers or more fall due in groups, a group every millisecond; "
        "lateness is the start of a run minus its due time. Processor time is that of the whole process.", "",
        "| path | Corvane | beside | ratio | bar | met |", "|---|---|---|---|---|---|",
        *[line for line in rows.values() if line], "",
        *(["## Bars that are missed", "", *why, ""] if why else []),
        "## All candidates", "", *details(results), ""])


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("build", type=Path, metavar="BUILD_DIR")
    parser.add_argument("--out", type=Path, default=Path(__file__).parent / "results.md")
    parser.add_argument("--filter", default="", metavar="X", help="only benchmarks whose name matches this expression")
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--full", action="store_true", help="all rounds for all candidates; without it, 12 minutes at most")
    arguments = parser.parse_args()
    programs = sorted((arguments.build / "bin" / "bench").glob("*Bench"))
    if not programs:
        sys.exit(f"{arguments.build} contains no benchmarks; is Google Benchmark installed?")
    before = os.getloadavg()[0]
    results, rounds = measure(programs, re.compile(arguments.filter), arguments.rounds, 0 if arguments.full else 600)
    if not results:
        sys.exit("no benchmark matches")
    arguments.out.write_text(report(results, rounds, (before, os.getloadavg()[0])))
    print(f"wrote {arguments.out}")


if __name__ == "__main__":
    main()
