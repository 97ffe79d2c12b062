"""One pool of slots for the sets that run on a machine at a time, whatever runs them.

A set that runs holds a lock on one of the slots' files. The kernel gives a lock back when its holder ends, in whatever
way. Several runs of the tests beside each other, each with several test files, share the pool.

Two rules keep anyone from waiting for ever: whoever holds a slot does not wait for another (`take` refuses that), and
whoever wants all of them lets nobody else take one meanwhile.
"""

import fcntl
import os
import pathlib
import threading
import time

COUNT = 4 * (os.cpu_count() or 1)  # most of a set's time is waiting
FOLDER = pathlib.Path(f"/tmp/zelfac-set-slots.{os.getuid()}")

_all_taken = []
_holders = set()


def _open(name):
    FOLDER.mkdir(mode=0o700, exist_ok=True)
    if FOLDER.stat().st_uid != os.getuid():
        raise PermissionError(f"{FOLDER} is somebody else's")
    return os.open(FOLDER / name, os.O_RDWR | os.O_CREAT | os.O_CLOEXEC, 0o600)


def _in_turn(choose):
    """Calls `choose` while nobody else chooses."""
    turn = _open("turn")
    try:
        fcntl.flock(turn, fcntl.LOCK_EX)
        return choose()
    finally:
        os.close(turn)


def _first_free(count):
    taken = []
    while True:
        for number in range(COUNT):
            descriptor = _open(f"slot-{number}")
            try:
                fcntl.flock(descriptor, fcntl.LOCK_EX | fcntl.LOCK_NB)
                taken.append(descriptor)
            except BlockingIOError:
                os.close(descriptor)
            if len(taken) == count:
                return taken
        time.sleep(0.05)  # a lock on any one of several files cannot be waited for


def _every_one():
    for number in range(COUNT):
        _all_taken.append(_open(f"slot-{number}"))
        fcntl.flock(_all_taken[-1], fcntl.LOCK_EX)


class Slot:
    """A slot that is held until `give_back`, or several for sets that run together."""

    def __init__(self, count=1):
        self.thread = threading.current_thread()
        self.descriptors = []
        if self.thread in _holders:
            raise AssertionError("who holds a set does not wait for another: end the first one before")
        if not _all_taken:
            self.descriptors = _in_turn(lambda: _first_free(count))
            _holders.add(self.thread)

    def give_back(self):
        """Any thread may do it."""
        if self.descriptors:
            for descriptor in self.descriptors:
                os.close(descriptor)
            self.descriptors = []
            _holders.discard(self.thread)


def take_all():
    """Waits until no set of anybody's runs. From then on this process alone runs sets, as many as it likes."""
    _in_turn(_every_one)
