#!/usr/bin/env python3
"""ftp_speed.py BIN [--server vsftpd|pyftpdlib] [--rounds N] [WORK...]: FTP transfers over the loopback interface.

Alternates the library, in the programs of the folder BIN, with curl, lftp and libavformat, all against one server
whose files lie in memory, and prints medians and ratios in the form of ratios.py, behind them the lowest and
highest ratio of a single round. WORK is one of get, small, seek, put, list; all by default.

Beside curl and lftp whole processes are measured, from their start to their end; beside libavformat, which takes
long to load, what the processes tell: the time from the logon to the end of the session. Up to 3 GiB of memory hold
the files.
"""
import argparse
import filecmp
import os
import random
import subprocess
import tempfile

from ftp_server import FtpServer
from processes import alternate, line, run

SIZE = 1 << 30
ENTRIES = 10000
SEEKS = {"64 KiB": 64 << 10, "256 KiB": 256 << 10, "1 MiB": 1 << 20, "4 MiB": 4 << 20}
AHEAD = 4 << 20
SMALL = 2048
MEMORY = "/dev/shm"


def insist(good, what):
    if not good:
        raise SystemExit(what)


class Transfers:
    def __init__(self, programs, server):
        self.work = os.path.join(programs, "ftp_work")
        self.avio = os.path.join(programs, "avio_work")
        self.server = server

    def file(self, name):
        return os.path.join(self.server.files, name)

    def make(self, name, *size):
        run([self.work, "make", self.file(name), *map(str, size)])

    def library(self, work, *arguments, expected):
        """Seconds of the process, and those that it tells."""
        return self.told([self.work, work, self.server.words(), *map(str, arguments)], expected)

    @staticmethod
    def told(command, expected):
        seconds, out = run(command)
        insist(out.startswith(f"{expected} "), f"{command[0]} gave '{out.strip()}'")
        return seconds, float(out.split()[-2]) / 1e3

    def lftp(self, script):
        # It keeps to itself what the user has set for it.
        return run(["lftp", "--norc", "-c", f"open {self.server.url()}; {script}"], subprocess.DEVNULL)[0]

    # ---- The works -------------------------------------------------------------------------------------

    def get(self, rounds):
        self.make("get", SIZE)

        def library(ahead):
            return self.library("get", "/files/get", 1 << 20, ahead, expected=f"{SIZE} bytes")[0]

        times = alternate({
            "library": lambda: library(0),
            "ahead": lambda: library(AHEAD),
            "curl": lambda: run(["curl", "-s", "-S", "-o", "/dev/null", self.server.url("get")])[0],
            "lftp": lambda: self.lftp("cat get"),
        }, rounds, lambda: None)
        os.remove(self.file("get"))
        for who in ("curl", "lftp"):
            line("Download of 1 GiB, reads of 1 MiB", times["library"], who, times[who])
            line("the same with read-ahead", times["ahead"], who, times[who])

    def small(self, rounds):
        self.make("get", SIZE)
        bytes_ = f"{SIZE} bytes"
        times = alternate({
            "library": lambda: self.library("get", "/files/get", SMALL, AHEAD, expected=bytes_)[1],
            "avio": lambda: self.told([self.avio, "get", self.server.url("get"), str(SMALL)], bytes_)[1],
        }, rounds, lambda: None)
        os.remove(self.file("get"))
        line("Download of 1 GiB, reads of 2 KiB with read-ahead", times["library"], "libavformat", times["avio"])

    def seek(self, rounds):
        for name, longest in SEEKS.items():
            self.make("seek", "seeks", longest)
            seeks, path = "1000 seeks", "/files/seek"
            times = alternate({
                "library": lambda: self.library("seek", path, longest, 0, expected=seeks)[1],
                "ahead": lambda: self.library("seek", path, longest, AHEAD, expected=seeks)[1],
                "avio": lambda: self.told([self.avio, "seek", self.server.url("seek"), str(longest)], seeks)[1],
            }, rounds, lambda: None)
            work = f"1,000 seeks forward by up to {name}, reads of 2 KiB between them"
            line(work, times["library"], "libavformat", times["avio"])
            line(work + ", with read-ahead", times["ahead"], "libavformat", times["avio"])
        os.remove(self.file("seek"))

    def put(self, rounds):
        local = os.path.join(self.server.folder, "local")
        run([self.work, "make", local, str(SIZE)])
        target = self.file("put")

        def uploaded(seconds):
            insist(filecmp.cmp(local, target, shallow=False), "an upload is not whole")
            return seconds

        def clean():
            if os.path.exists(target):
                os.remove(target)

        times = alternate({
            "library": lambda: uploaded(
                self.library("put", "/files/put", local, expected=f"{SIZE} bytes")[0]),
            "curl": lambda: uploaded(run(["curl", "-s", "-S", "-T", local, self.server.url("put")])[0]),
            "lftp": lambda: uploaded(self.lftp(f"put {local} -o put")),
        }, rounds, clean)
        clean()
        os.remove(local)
        for who in ("curl", "lftp"):
            line("Upload of 1 GiB, writes of 128 KiB", times["library"], who, times[who])

    def list(self, rounds):
        os.mkdir(self.file("many"))
        for number in range(ENTRIES):
            with open(self.file(f"many/clip {number:05} of a long day.mxf"), "wb") as file:
                file.truncate(random.randrange(1 << 31))

        def curl():
            seconds, out = run(["curl", "-s", "-S", self.server.url("many/")])
            insist(out.count("\n") == ENTRIES, "curl's listing is not whole")
            return seconds

        times = alternate({
            "library": lambda: self.library("list", "/files/many", expected=f"{ENTRIES} entries")[0],
            "curl": curl,
        }, 3 * rounds, lambda: None)
        line(f"Listing of {ENTRIES:,} entries", times["library"], "curl", times["curl"])


def main():
    works = ["get", "small", "seek", "put", "list"]
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("programs", metavar="BIN")
    parser.add_argument("works", metavar="WORK", nargs="*", help=", ".join(works))
    parser.add_argument("--server", default="vsftpd", choices=["vsftpd", "pyftpdlib"])
    parser.add_argument("--rounds", type=int, default=9)
    arguments = parser.parse_intermixed_args()
    with tempfile.TemporaryDirectory(dir=MEMORY) as folder:
        with FtpServer(arguments.server, folder) as server:
            transfers = Transfers(os.path.abspath(arguments.programs), server)
            for work in arguments.works or works:
                getattr(transfers, work)(arguments.rounds)


if __name__ == "__main__":
    main()
