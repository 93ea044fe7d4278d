#!/usr/bin/env python3
"""copy_digest.py TOOL FOLDER [OPTION...]: copying a large cached file with its digest, whole processes.

Alternates `TOOL copy OPTION...` with `cp` followed by `md5sum`, each to a new file on a quiet disk, and prints
medians and ratios in the form of ratios.py, behind them the lowest and highest ratio of a single round. FOLDER
lies on the disk to be measured.
"""
import hashlib
import os
import random
import sys
import tempfile

from processes import alternate, line, run, settle

SIZE = 2 << 30
BLOCK = 1 << 20
ROUNDS = 9


class Copying:
    def __init__(self, tool, folder, options):
        self.tool = tool
        self.options = options
        self.source = os.path.join(folder, "source.dat")
        self.target = os.path.join(folder, "target.dat")
        digest = hashlib.md5()
        with open(self.source, "wb") as file:
            for at in range(0, SIZE, BLOCK):
                block = random.Random(at).randbytes(BLOCK)
                digest.update(block)
                file.write(block)
            file.flush()
            os.fsync(file.fileno())
        self.digest = digest.hexdigest()

    def settle(self):
        settle([self.target])

    def check(self, printed):
        if self.digest not in printed:
            raise SystemExit(f"the digest is {self.digest} and not '{printed.strip()}'")
        if os.path.getsize(self.target) != SIZE:
            raise SystemExit("the copy is not whole")

    def by_tool(self, *options):
        seconds, out = run([self.tool, "copy", *self.options, *options, self.source, self.target])
        self.check(out)
        return seconds

    def by_peer(self):
        copying, _ = run(["cp", self.source, self.target])
        digesting, out = run(["md5sum", self.target])
        self.check(out)
        return copying + digesting

    def digest_alone(self):
        seconds, out = run(["md5sum", self.source])
        if self.digest not in out:
            raise SystemExit("md5sum is wrong")
        return seconds


def main():
    if len(sys.argv) < 3:
        raise SystemExit(__doc__)
    with tempfile.TemporaryDirectory(dir=sys.argv[2]) as folder:
        copying = Copying(os.path.abspath(sys.argv[1]), folder, sys.argv[3:])
        times = alternate({
            "tool": copying.by_tool,
            "unbuffered": lambda: copying.by_tool("--unbuffered"),
            "peer": copying.by_peer,
            "digest": copying.digest_alone,
        }, ROUNDS, copying.settle)
    work = f"`vxcio copy` of {SIZE >> 30} GiB with its digest"
    line(work, times["tool"], "`cp` and `md5sum`", times["peer"])
    line(work + ", past the cache", times["unbuffered"], "`cp` and `md5sum`", times["peer"])
    line(work, times["tool"], "`md5sum` alone", times["digest"])


if __name__ == "__main__":
    main()
