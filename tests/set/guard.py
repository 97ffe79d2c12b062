"""Runs a program until it ends or this program's standard input does, which its maker's death does as well: then it ends the
program with all that it started, and those that these started.

    guard.py PROGRAM ARGUMENT…
"""

import ctypes
import os
import pathlib
import select
import signal
import subprocess
import sys

PR_SET_CHILD_SUBREAPER = 36


def children():
    return [int(pid) for pid in pathlib.Path(f"/proc/self/task/{os.getpid()}/children").read_text().split()]


def main():
    # Whose parent has ended becomes this program's child, whatever group or session it made for itself.
    ctypes.CDLL(None).prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)
    program = subprocess.Popen(sys.argv[1:], stdin=subprocess.DEVNULL)
    ended = os.pidfd_open(program.pid)
    select.select([sys.stdin, ended], [], [])
    while pids := children():
        for pid in pids:
            os.kill(pid, signal.SIGKILL)
        for pid in pids:
            os.waitpid(pid, 0)


if __name__ == "__main__":
    main()
