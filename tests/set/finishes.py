"""Finishing a set: what the tests of its outcome and of its waits share."""

import contextlib

from setlib import Set

READY = "tovix.sl2.i32.qorfactory.action.factory.ready"
COMMANDS = (0x129A, 0x129B, 0x12A6)


@contextlib.contextmanager
def running(*arrange):
    """A connected set whose flow after the start is over and whose radios are at rest."""
    quiet = ("model", "set", "tovix.sl2.vstr.bluetooth.support", '["bt","0","",""]')
    with Set(arrange=[quiet, *arrange]) as tv:
        tv.await_started()
        tv.line.connect()
        yield tv


def finish(tv, command=COMMANDS[0]):
    """The answer to a finish."""
    return tv.line.ask(command)


def writable(tv):
    """Those of the partitions that a finish closes which can be written."""
    mounts = tv.mounts()
    return [name for name in ("critical", "factory") if "rw" in mounts["/zodata/" + name]]


def records(tv):
    return tv.flash.get("FactoryOpenState"), tv.flash.get("FactoryOK")


def check_closed(test, tv):
    test.assertEqual(records(tv), ("Off", "On"))
    test.assertEqual(tv.text("cat", "/proc/utopia_mdb/xc"), "ForceFreerun=FLASE")
    test.assertEqual(writable(tv), [])


def check_open(test, tv, expected=("", "")):
    test.assertEqual(records(tv), expected)
    test.assertEqual(tv.text("cat", "/proc/utopia_mdb/xc"), "ForceFreerun=TRUE")
    test.assertEqual(writable(tv), ["critical", "factory"])
