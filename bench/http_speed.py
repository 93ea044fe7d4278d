#!/usr/bin/env python3
"""http_speed.py BIN [--rounds N] [WORK...]: reading from a web server over the loopback interface.

Alternates the companion module for URLs, in the programs of the folder BIN, with curl and libavformat, all against
one nginx whose files lie in memory, and prints medians and ratios in the form of ratios.py, behind them the lowest
and highest ratio of a single round. WORK is one of get, jump; all by default.

Beside curl whole processes are measured, from their start to their end; beside libavformat, which takes long to
load, what the processes tell: the time from the open to the close. A GiB of memory holds the file.
"""
import argparse
import os
import signal
import socket
import subprocess
import tempfile
import time

from processes import alternate, line, run

SIZE = 1 << 30
BLOCK = 1 << 20
JUMPS = 1000
NGINX = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../build/servers/usr/sbin/nginx")
MEMORY = "/dev/shm"
HOST = "127.0.0.1"
START_LIMIT = 20.0  # seconds

CONFIGURATION = """{user}worker_processes 1;
pid {folder}/pid;
error_log {folder}/error.log;
daemon off;
events {{}}
http {{
  access_log off;
  sendfile on;
  keepalive_requests 1000000;
  client_body_temp_path {folder}/temp;
  proxy_temp_path {folder}/temp;
  fastcgi_temp_path {folder}/temp;
  uwsgi_temp_path {folder}/temp;
  scgi_temp_path {folder}/temp;
  server {{
    listen {host}:{port};
    root {folder}/root;
  }}
}}
"""


def insist(good, what):
    if not good:
        raise SystemExit(what)


class Nginx:
    """Runs from `with` to its end, and shows the folder `files`. Ends the program where it cannot be started."""

    def __init__(self, folder):
        self.folder = folder
        self.files = os.path.join(folder, "root")
        os.mkdir(self.files)
        with socket.socket() as one:
            one.bind((HOST, 0))
            self.port = one.getsockname()[1]

    def __enter__(self):
        name = os.path.join(self.folder, "conf")
        user = "user root;\n" if os.geteuid() == 0 else ""
        with open(name, "w", encoding="ascii") as file:
            file.write(CONFIGURATION.format(user=user, folder=self.folder, host=HOST, port=self.port))
        self.process = subprocess.Popen(
            [NGINX, "-p", self.folder, "-e", os.path.join(self.folder, "error.log"), "-c", name],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, start_new_session=True)
        end = time.monotonic() + START_LIMIT
        while time.monotonic() < end and self.process.poll() is None:
            try:
                with socket.create_connection((HOST, self.port)):
                    return self
            except OSError:
                time.sleep(0.01)
        self.__exit__()
        raise SystemExit("nginx does not start")

    def __exit__(self, *_):
        try:
            os.killpg(self.process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        self.process.wait()

    def url(self, file):
        return f"http://{HOST}:{self.port}/{file}"


class Reading:
    def __init__(self, programs, server):
        self.programs = programs
        self.server = server
        run([os.path.join(programs, "ftp_work"), "make", os.path.join(server.files, "clip"), str(SIZE)])

    def told(self, program, work, expected):
        """Seconds of the process, and those that it tells."""
        seconds, out = run([os.path.join(self.programs, program), work, self.server.url("clip"), str(BLOCK)])
        insist(out.startswith(f"{expected} "), f"{program} gave '{out.strip()}'")
        return seconds, float(out.split()[-2]) / 1e3

    def get(self, rounds):
        expected = f"{SIZE} bytes"
        times = alternate({
            "library": lambda: self.told("http_work", "get", expected)[0],
            "curl": lambda: run(["curl", "-s", "-S", "-o", "/dev/null", self.server.url("clip")])[0],
        }, rounds, lambda: None)
        line("1 GiB by URL", times["library"], "curl", times["curl"])
        times = alternate({
            "library": lambda: self.told("http_work", "get", expected)[1],
            "libavformat": lambda: self.told("avio_work", "get", expected)[1],
        }, rounds, lambda: None)
        line("the same", times["library"], "libavformat", times["libavformat"])

    def jump(self, rounds):
        expected = f"{JUMPS} reads"
        times = alternate({
            "library": lambda: self.told("http_work", "jump", expected)[1],
            "libavformat": lambda: self.told("avio_work", "jump", expected)[1],
            "its connections stay": lambda: self.told("avio_work", "stay", expected)[1],
        }, rounds, lambda: None)
        line(f"{JUMPS:,} reads of 64 KiB by URL", times["library"], "libavformat", times["libavformat"])
        line("the same", times["library"], "libavformat whose connections stay", times["its connections stay"])


def main():
    works = ["get", "jump"]
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("programs", metavar="BIN")
    parser.add_argument("works", metavar="WORK", nargs="*", help=", ".join(works))
    parser.add_argument("--rounds", type=int, default=9)
    arguments = parser.parse_intermixed_args()
    with tempfile.TemporaryDirectory(dir=MEMORY) as folder:
        with Nginx(folder) as server:
            reading = Reading(os.path.abspath(arguments.programs), server)
            for work in arguments.works or works:
                getattr(reading, work)(arguments.rounds)


if __name__ == "__main__":
    main()
