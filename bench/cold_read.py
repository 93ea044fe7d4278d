#!/usr/bin/env python3
"""cold_read.py PROGRAM FOLDER: reading a large file from the disk, past the page cache, whole processes.

Alternates the ways of reading, each after the file was dropped from the cache, and prints medians and ratios
in the form of ratios.py, behind them the lowest and highest ratio of a single round. FOLDER lies on the disk to be
measured.

What fio tells is its own time of reading alone, as its start takes longer than that of all others; everybody
else's is that of the whole process.
"""
import hashlib
import json
import os
import random
import shutil
import statistics
import sys
import tempfile

from processes import alternate, line, run

SIZE = 1 << 30
BLOCK = 1 << 20
ROUNDS = 7


def make_file(name):
    """The file, whole on the disk, and its digest."""
    digest = hashlib.md5()
    with open(name, "wb") as file:
        for at in range(0, SIZE, BLOCK):
            block = random.Random(at).randbytes(BLOCK)
            digest.update(block)
            file.write(block)
        file.flush()
        os.fsync(file.fileno())
    return digest.hexdigest()


def drop(name):
    descriptor = os.open(name, os.O_RDONLY)
    try:
        os.posix_fadvise(descriptor, 0, 0, os.POSIX_FADV_DONTNEED)
    finally:
        os.close(descriptor)


def by_fio(name):
    _, out = run(["fio", "--name=cold", f"--filename={name}", "--readonly", "--rw=read", "--direct=1",
                  f"--bs={BLOCK}", f"--size={SIZE}", "--ioengine=psync", "--output-format=json"])
    read = json.loads(out)["jobs"][0]["read"]
    if read["io_bytes"] != SIZE:
        raise SystemExit("fio did not read the whole file")
    return SIZE / read["bw_bytes"]


def by_library(program, name, ring, digest=None):
    seconds, out = run([program, name, str(BLOCK), str(ring)] + ([] if digest is None else ["md5"]))
    expected = f"{SIZE} bytes" + ("" if digest is None else f" {digest}")
    if out.strip() != expected:
        raise SystemExit(f"the library gave '{out.strip()}' and not '{expected}'")
    return seconds


def measure(program, name):
    digest = make_file(name)
    ways = {
        "library": lambda: by_library(program, name, 2),
        "library, 8 MiB": lambda: by_library(program, name, 8),
        "dd": lambda: run(["dd", f"if={name}", "of=/dev/null", "iflag=direct", f"bs={BLOCK}"])[0],
        "library with MD5": lambda: by_library(program, name, 2, digest),
        "MD5 of memory": lambda: run([program, "-", str(SIZE), "-", "md5"])[0],
    }
    if shutil.which("fio"):
        ways["fio"] = lambda: by_fio(name)
    times = alternate(ways, ROUNDS, lambda: drop(name))
    work = f"Cold O_DIRECT read of {SIZE >> 30} GiB"
    for who in ("dd", "fio"):
        if who in times:
            line(work + ", ring of 2 MiB", times["library"], who, times[who])
            line(work + ", ring of 8 MiB", times["library, 8 MiB"], who, times[who])
    longer = max(("library", "MD5 of memory"), key=lambda who: statistics.median(times[who]))
    for who in ("library", "MD5 of memory"):
        name_of_peer = "reading alone" if who == "library" else who
        if who == longer:
            name_of_peer += " (the longer one)"
        line(work + " with MD5", times["library with MD5"], name_of_peer, times[who])


def main():
    if len(sys.argv) != 3:
        raise SystemExit(__doc__)
    with tempfile.TemporaryDirectory(dir=sys.argv[2]) as folder:
        measure(os.path.abspath(sys.argv[1]), os.path.join(folder, "cold.dat"))


if __name__ == "__main__":
    main()
