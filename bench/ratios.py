#!/usr/bin/env python3
"""Puts the results of one benchmark run side by side.

ratios.py [--files [FILE...]]   reads the JSON of Google Benchmark with repetitions from the files named, or
without --files from standard input; without any file the head of the table is all it prints.

Names have the form WORK/WHO[/SIZE]; for each work and size the entry of "library" is compared with each other
one: median times, for the library with its bytes for each second where the work has bytes, and the ratio of
speeds, above 1 where the library is faster. Runs that kept the time of each call tell in a second table how long
the slowest hundredth and thousandth took at least, and runs that waited how much processor time that was.
"""
import json
import statistics
import sys


def collect(documents):
    """{(work, size): {who: [nanoseconds of each repetition]}}, in the order of appearance, and
    {(work, size): [bytes of the library for each second, in each repetition]}."""
    works, rates = {}, {}
    scale = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}
    for document in documents:
        for run in document["benchmarks"]:
            if run.get("run_type") == "aggregate" or run.get("error_occurred"):
                continue
            parts = [p for p in run["name"].split("/") if not p.endswith("_time")]
            work, who = parts[0], parts[1]
            size = "/".join(p for p in parts[2:] if not p.startswith(("repeats:", "iterations:", "min_time:")))
            times = works.setdefault((work, size), {}).setdefault(who, [])
            if who == "library" and "bytes_per_second" in run:
                rates.setdefault((work, size), []).append(run["bytes_per_second"])
            # Processor time, as others on the machine cost none of it; the clock's where two threads answer
            # each other; and hand-overs of partners that slept tell their own median.
            clock = "real_time" if run["name"].endswith("_time") else "cpu_time"
            times.append(run.get("median_ns") or run[clock] * scale[run["time_unit"]])
    return works, rates


def size_name(size):
    if not size.isdigit():
        return size
    for unit, name in ((1 << 20, "MiB"), (1 << 10, "KiB")):
        if int(size) % unit == 0:
            return f"{int(size) // unit} {name}"
    return size


def time_text(nanoseconds):
    for unit, name in ((1e6, "ms"), (1e4, "µs")):
        if nanoseconds >= unit:
            return f"{nanoseconds / (1e6 if name == 'ms' else 1e3):,.1f} {name}"
    return f"{nanoseconds:,.1f} ns"


def rate_text(rates):
    return f", {statistics.median(rates) / 1e6:,.0f} MB/s" if rates else ""


def counter_texts(documents, counters):
    """{name of a run without its settings: [text of the median over the repetitions, for each counter]}, of the runs
    that have them all."""
    values = {}
    for document in documents:
        for run in document["benchmarks"]:
            if run.get("run_type") != "aggregate" and all(counter in run for counter in counters):
                name = "/".join(run["name"].split("/")[:2])
                values.setdefault(name, []).append([run[counter] for counter in counters])
    return {
        name: [time_text(statistics.median(column)) for column in zip(*rows)] for name, rows in values.items()
    }


def print_counters(head, entries):
    if entries:
        print("\n| " + " | ".join(head) + " |\n" + "|---" * len(head) + "|")
        for name, texts in entries.items():
            print("| " + " | ".join([name] + texts) + " |")


def main():
    if sys.argv[1:2] == ["--files"]:
        documents = [json.load(open(name, encoding="utf-8")) for name in sys.argv[2:]]
    else:
        documents = [json.load(sys.stdin)]
    print("| work | library, median | peer | its median | speed of the library, peer = 1 |")
    print("|---|---|---|---|---|")
    works, rates = collect(documents)
    for (work, size), entries in works.items():
        own = entries.get("library")
        if not own:
            continue
        rate = rate_text(rates.get((work, size)))
        label = f"{work} {size_name(size)}".strip()
        for who, times in entries.items():
            if who == "library":
                continue
            mine, peer = statistics.median(own), statistics.median(times)
            print(f"| {label} | {time_text(mine)}{rate} | {who} | {time_text(peer)} | {peer / mine:.3f} |")
    print_counters(
        ["call", "median", "99 %", "99.9 %"], counter_texts(documents, ["median_ns", "p99_ns", "p999_ns"])
    )
    print_counters(["waiting", "processor time"], counter_texts(documents, ["processor_ns"]))


if __name__ == "__main__":
    main()
