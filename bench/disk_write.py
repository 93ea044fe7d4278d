#!/usr/bin/env python3
"""disk_write.py PROGRAM FOLDER: writing a new file to the disk, whole processes, the closing counted.

Alternates the ways of writing, each to a new file on a quiet disk, and prints medians and ratios in the form of
ratios.py, behind them the lowest and highest ratio of a single round. FOLDER lies on the disk to be measured.
Amount and content are alike for all.
"""
import os
import statistics
import sys
import tempfile

from processes import alternate, line, run, settle

SIZE = 512 << 20
PIECES = {"4 KiB": 4096, "64 KiB": 65536, "333,333 bytes": 333333}
RING, BLOCK = 8 << 20, 1 << 20
ROUNDS = 15


class Writing:
    def __init__(self, program, folder):
        self.program = program
        self.target = os.path.join(folder, "target.dat")
        self.source = os.path.join(folder, "source.dat")
        with open(self.source, "wb") as file:
            for _ in range(SIZE >> 20):
                file.write(bytes(1 << 20))
            file.flush()
            os.fsync(file.fileno())

    def settle(self):
        settle([self.target])

    def library(self, piece, way, ring=RING, block=BLOCK, digest=0):
        seconds, out = run([self.program, self.target, str(SIZE), str(piece), way, str(ring), str(block),
                            str(digest)])
        if out.strip() != f"{SIZE} bytes":
            raise SystemExit(f"the library's file has {out.strip()}")
        return seconds

    def compute(self, digest):
        return run([self.program, "-", str(SIZE), "65536", "none", "0", "0", str(digest)])[0]

    def peer(self, *commands):
        seconds = sum(run(command)[0] for command in commands)
        if os.path.getsize(self.target) != SIZE:
            raise SystemExit(f"the file of {commands[0][0]} is not whole")
        return seconds

    def dd(self, *options):
        return self.peer(["dd", "if=/dev/zero", f"of={self.target}", "bs=1M", f"count={SIZE >> 20}", *options])

    def cp(self):
        return self.peer(["cp", self.source, self.target], ["sync", self.target])


def measure_pieces(writing, way, peers, label):
    ways = {piece: lambda piece=piece: writing.library(PIECES[piece], way) for piece in PIECES}
    ways["least"] = lambda: writing.library(65536, way, ring=1)
    ways.update(peers)
    times = alternate(ways, ROUNDS, writing.settle)
    for piece in PIECES:
        for peer in peers:
            line(f"{SIZE >> 20} MiB in writes of {piece}, {label}", times[piece], peer, times[peer])
    for peer in peers:
        line("the same, 64 KiB, ring of 1 MiB", times["least"], peer, times[peer])
    return times


def measure_computing(writing, disk):
    """A caller that computes as long as the disk writes: how long its digest must be is measured first."""
    trial = 1 << 20
    alone = statistics.median(writing.compute(trial) for _ in range(5))
    start = statistics.median(writing.compute(0) for _ in range(5))
    digest = max(int(trial * (disk - start) / (alone - start)), 1)
    times = alternate({
        "both": lambda: writing.library(65536, "direct", digest=digest),
        "writing alone": lambda: writing.library(65536, "direct"),
        "computing alone": lambda: writing.compute(digest),
    }, ROUNDS, writing.settle)
    longer = max(("writing alone", "computing alone"), key=lambda who: statistics.median(times[who]))
    for peer in ("writing alone", "computing alone"):
        line("writing past the cache while the caller computes", times["both"],
             peer + (" (the longer one)" if peer == longer else ""), times[peer])


def main():
    if len(sys.argv) != 3:
        raise SystemExit(__doc__)
    with tempfile.TemporaryDirectory(dir=sys.argv[2]) as folder:
        writing = Writing(os.path.abspath(sys.argv[1]), folder)
        direct = measure_pieces(writing, "direct", {"`dd oflag=direct bs=1M`": lambda: writing.dd("oflag=direct")},
                                "past the cache")
        measure_pieces(writing, "synced", {
            "`dd bs=1M conv=fsync`": lambda: writing.dd("conv=fsync"),
            "`cp` and `sync`": writing.cp,
        }, "cached, on the disk at the end")
        measure_computing(writing, statistics.median(direct["64 KiB"]))


if __name__ == "__main__":
    main()
