"""FTP servers for the benchmarks, each with one user on the loopback interface and its files in a folder."""
import os
import shutil
import signal
import socket
import subprocess
import time

START_LIMIT = 20.0  # seconds
HOST = "127.0.0.1"
# The account that vsftpd's anonymous user has: one of every Debian, not root's, with a home folder.
ACCOUNT, ACCOUNT_NUMBER = "daemon", 1
ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))

PYFTPDLIB = """
import sys
from pyftpdlib.authorizers import DummyAuthorizer
from pyftpdlib.handlers import FTPHandler
from pyftpdlib.servers import FTPServer
FTPHandler.authorizer = DummyAuthorizer()
FTPHandler.authorizer.add_user("anonymous", "bench", sys.argv[2], perm="elradfmwMT")
FTPServer(("127.0.0.1", int(sys.argv[1])), FTPHandler).serve_forever()
"""

VSFTPD = """listen=YES
listen_ipv6=NO
background=NO
listen_address={host}
listen_port={port}
anonymous_enable=YES
no_anon_password=YES
local_enable=NO
write_enable=YES
anon_root={root}
ftp_username={account}
anon_umask=022
anon_upload_enable=YES
anon_mkdir_write_enable=YES
anon_other_write_enable=YES
anon_world_readable_only=NO
secure_chroot_dir={empty}
pasv_enable=YES
pasv_address={host}
seccomp_sandbox=NO
isolate=NO
isolate_network=NO
xferlog_enable=NO
"""


def find_vsftpd():
    """Among the servers that scripts/test has unpacked, or installed."""
    for folder in (os.path.join(ROOT, "build/servers/usr/sbin"), "/usr/sbin", "/usr/local/sbin"):
        name = os.path.join(folder, "vsftpd")
        if os.access(name, os.X_OK):
            return name
    return shutil.which("vsftpd")


def free_port():
    with socket.socket() as one:
        one.bind((HOST, 0))
        return one.getsockname()[1]


class FtpServer:
    """Runs from `with` to its end. What lies in `files`, a folder that it makes below the one given, is the
    user's folder /files. Ends the program where the server cannot be started."""

    def __init__(self, kind, folder):
        self.kind = kind
        self.folder = folder
        self.files = os.path.join(folder, "root", "files")
        self.port = free_port()
        os.makedirs(self.files)
        os.chmod(folder, 0o711)
        if os.geteuid() == 0:
            os.chown(self.files, ACCOUNT_NUMBER, ACCOUNT_NUMBER)

    def command(self):
        root = os.path.dirname(self.files)
        if self.kind == "pyftpdlib":
            return ["/usr/bin/python3", "-W", "ignore", "-c", PYFTPDLIB, str(self.port), root]
        program = find_vsftpd()
        if program is None or os.geteuid() != 0:
            raise SystemExit("vsftpd is not there, or not started by root; --server pyftpdlib needs neither")
        empty, name = os.path.join(self.folder, "empty"), os.path.join(self.folder, "conf")
        os.mkdir(empty)
        with open(name, "w", encoding="ascii") as file:
            file.write(VSFTPD.format(host=HOST, port=self.port, root=root, account=ACCOUNT, empty=empty))
        return [program, name]

    def __enter__(self):
        self.log = open(os.path.join(self.folder, "log"), "w+", encoding="utf-8")
        self.process = subprocess.Popen(self.command(), stdout=self.log, stderr=self.log,
                                        stdin=subprocess.DEVNULL, start_new_session=True)
        end = time.monotonic() + START_LIMIT
        while time.monotonic() < end and self.process.poll() is None:
            try:
                with socket.create_connection((HOST, self.port)) as one:
                    if one.recv(3) == b"220":
                        return self
            except OSError:
                time.sleep(0.01)
        self.__exit__()
        with open(os.path.join(self.folder, "log"), encoding="utf-8") as log:
            raise SystemExit(f"{self.kind} does not start: {log.read()}")

    def __exit__(self, *_):
        try:
            os.killpg(self.process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        self.process.wait()
        self.log.close()

    def words(self):
        """Host, port, user and password as ftp_work takes them."""
        return f"{HOST}:{self.port}:anonymous:bench"

    def url(self, path=""):
        return f"ftp://anonymous:bench@{HOST}:{self.port}/files/{path}"
