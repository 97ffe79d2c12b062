"""The sets of the tests: those of the Python package, which hold one of the machine's slots while they run.

`runner` tells how a file of tests is run.
"""

import os
import pathlib
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "python"))

import slots
import zelfac
from zelfac import TIMEOUT as NEVER
from zelfac import programs

NOT_RUN = 77  # what ctest takes for "did not run"
STRICT = True  # whether a broken rule fails the test of the set that broke it


class Set(zelfac.Set):
    """A set with a slot, which is strict unless a test breaks rules on purpose. Sets that run together share `slot`,
    which has room for them, and whoever made it gives it back."""

    one_ran = False  # the machine allows sets

    def __init__(self, *options, strict=STRICT, slot=None, **more):
        super().__init__(*options, strict=strict, **more)
        self.shared = slot
        self.slot = None

    def start(self):
        self.slot = slots.Slot() if self.shared is None else None
        try:
            super().start()
        except zelfac.NoNamespaces as refused:
            if Set.one_ran:
                raise
            print(refused, flush=True)
            os._exit(NOT_RUN)
        except zelfac.ZelfacError:
            if self.slot:
                self.slot.give_back()
            raise
        Set.one_ran = True

    def stop(self, *how):
        try:
            return super().stop(*how)
        finally:
            if self.slot:
                self.slot.give_back()


def run(program, *words):
    """Runs a program, one of ours or another, to its end; its output is text."""
    path = programs.find(program) if program in ("simset", "zelline") else program
    command = [path, *map(str, words)]
    return subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=NEVER)


def seed():
    """The seed of a test that draws: the same in every run but the long one's, and always the one to repeat it with."""
    number = int(os.environ.get("ZELFAC_SEED", "1"))
    print(f"ZELFAC_SEED={number}", flush=True)
    return number


def campaign():
    """Whether this is the long run, for which every test that draws or sweeps has its own measure."""
    return "ZELFAC_CAMPAIGN" in os.environ
