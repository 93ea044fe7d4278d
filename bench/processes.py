"""What the benchmarks of whole processes share: runs in random order, and rows in the form of ratios.py."""
import os
import random
import statistics
import subprocess
import time


def run(command, output=subprocess.PIPE):
    """Seconds that the command took, and what it printed, unless that goes elsewhere. Ends the program when the
    command fails."""
    start = time.monotonic()
    done = subprocess.run(command, stdout=output, stderr=subprocess.PIPE, text=True)
    seconds = time.monotonic() - start
    if done.returncode != 0:
        raise SystemExit(f"{' '.join(command)}: {done.stderr.strip() or done.returncode}")
    return seconds, done.stdout


def settle(names=()):
    """Removes the files and has the disk quiet: nothing of the run before is measured with the next one."""
    for name in names:
        if os.path.exists(name):
            os.remove(name)
    os.sync()


def alternate(ways, rounds, before):
    """{who: [seconds of each round]} of {who: function that gives seconds}. Every round has all of them, in
    an order of its own, with before() ahead of each."""
    times = {who: [] for who in ways}
    for _ in range(rounds):
        for who in random.sample(list(ways), len(ways)):
            before()
            times[who].append(ways[who]())
    return times


def line(work, own, who, peer):
    """A row of the table: medians, their ratio, and the lowest and highest ratio of a single round."""
    mine, other = statistics.median(own), statistics.median(peer)
    ratios = [p / o for o, p in zip(own, peer)]
    print(f"| {work} | {mine * 1e3:,.0f} ms | {who} | {other * 1e3:,.0f} ms | {other / mine:.3f} "
          f"({min(ratios):.2f} to {max(ratios):.2f}) |", flush=True)
