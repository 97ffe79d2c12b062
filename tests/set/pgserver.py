"""A PostgreSQL server of a test's own: on loopback, in a temporary folder, gone with the test."""

import glob
import os
import pathlib
import pwd
import re
import shutil
import socket
import subprocess
import tempfile

from setlib import NEVER

DATABASE = "line"


def programs():
    """The folder of the newest installed server; None when there is none."""
    found = glob.glob("/usr/lib/postgresql/*/bin/initdb")
    newest = sorted(found, key=lambda path: int(re.search(r"(\d+)/bin", path)[1]))
    return pathlib.Path(newest[-1]).parent if newest else None


class Server:
    """`url` names its database. It may be stopped and started again; its data stays until `close`."""

    def __init__(self):
        self.bin = programs()
        if self.bin is None:
            raise RuntimeError("PostgreSQL is missing: scripts/install-deps")
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="zelfac-pg."))
        # The server refuses to run as root.
        self.user = pwd.getpwnam("postgres").pw_name if os.geteuid() == 0 else None
        if self.user:
            shutil.chown(self.folder, self.user)
        self._run("initdb", "-D", self.folder / "data", "-U", "line", "-A", "trust", "--no-sync", "-E", "UTF8")
        with socket.socket() as probe:
            probe.bind(("127.0.0.1", 0))
            self.port = probe.getsockname()[1]
        self.url = f"postgresql://line@127.0.0.1:{self.port}/{DATABASE}"
        self.start()
        self._run("createdb", "-h", "127.0.0.1", "-p", self.port, "-U", "line", DATABASE)

    def __enter__(self):
        return self

    def __exit__(self, *ignored):
        self.close()

    def _run(self, program, *words):
        command = [self.bin / program, *map(str, words)]
        done = subprocess.run(
            command, user=self.user, cwd=self.folder, stdin=subprocess.DEVNULL, capture_output=True, timeout=NEVER
        )
        if done.returncode:
            raise RuntimeError(f"{program}: {done.stderr.decode()}{done.stdout.decode()}")
        return done.stdout.decode()

    def start(self):
        options = f"-h 127.0.0.1 -p {self.port} -k {self.folder} -c fsync=off -c max_connections=200"
        self._run("pg_ctl", "-D", self.folder / "data", "-w", "-l", self.folder / "log", "-o", options, "start")

    def stop(self, mode="immediate"):
        """Ends it at once, as a power cut would for those who are connected; "fast" has it undo what is under way."""
        self._run("pg_ctl", "-D", self.folder / "data", "-w", "-m", mode, "stop")

    def ask(self, query):
        """The rows of a query, each a list of texts."""
        text = self._run("psql", "-h", "127.0.0.1", "-p", self.port, "-U", "line", "-At", "-F", "\t", "-c", query, DATABASE)
        return [line.split("\t") for line in text.splitlines()]

    def close(self):
        if (self.folder / "data" / "postmaster.pid").exists():
            self.stop()
        shutil.rmtree(self.folder, ignore_errors=True)
