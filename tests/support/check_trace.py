#!/usr/bin/env python3
"""Checks that a file is a trace in the JSON object form of the trace-event format, as viewers of timelines need it:
check_trace.py FILE [NAME...]: and that it has events with these names."""

import json
import math
import sys

NUMBERS = {"M": ["pid", "tid"], "X": ["pid", "tid", "ts", "dur"], "B": ["pid", "tid", "ts"], "E": ["pid", "tid", "ts"]}
METADATA = {"process_name": ("name", str), "thread_name": ("name", str), "thread_sort_index": ("sort_index", int)}


def require(condition, message, *about):
    if not condition:
        sys.exit(" ".join([message, *map(str, about)]))


def check_event(event):
    phase = event.get("ph")
    require(phase in NUMBERS, "unknown phase:", event)
    require(isinstance(event.get("name"), str), "no name:", event)
    for field in NUMBERS[phase]:
        value = event.get(field)
        require(type(value) in (int, float) and math.isfinite(value), "no number", field, event)
    require(event.get("dur", 0) >= 0, "negative duration:", event)
    require(isinstance(event.get("args", {}), dict), "arguments are no object:", event)
    if phase == "M":
        require(event["name"] in METADATA, "unknown metadata:", event)
        key, kind = METADATA[event["name"]]
        require(isinstance(event["args"].get(key), kind), "no", key, event)
    else:
        require(isinstance(event.get("cat"), str), "no category:", event)


def check_nesting(events):
    stack = []
    spans = [(round(event["ts"] * 1000), round(event.get("dur", 1e15) * 1000), event) for event in events]
    for begin, length, event in sorted(spans, key=lambda span: (span[0], -span[1])):
        while stack and stack[-1] <= begin:
            stack.pop()
        require("dur" not in event or not stack or begin + length <= stack[-1], "overlaps another one:", event)
        stack.append(begin + length)


def main(path, *names):
    with open(path, encoding="utf-8") as file:
        trace = json.load(file)
    require(trace.get("displayTimeUnit") in ("ms", "ns"), "no unit")
    events = trace["traceEvents"]
    named, threads = set(), {}
    for event in events:
        check_event(event)
        if event["ph"] == "M" and event["name"] == "thread_name":
            named.add((event["pid"], event["tid"]))
        elif event["ph"] in "XB":
            threads.setdefault((event["pid"], event["tid"]), []).append(event)
    require({"process_name"} <= {event["name"] for event in events}, "the process has no name")
    require(named >= threads.keys(), "threads without names:", threads.keys() - named)
    for thread in threads.values():
        check_nesting(thread)
    missing = set(names) - {event["name"] for event in events}
    require(not missing, "no events named", missing)


if __name__ == "__main__":
    main(*sys.argv[1:])
