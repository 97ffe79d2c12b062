"""The searches of the two radios: what the tests of their outcome and of their waits share."""

import contextlib

from setlib import Set

BLUETOOTH = "tovix.sl2.action.bluetooth."
DEVICES = 0x1294
ENDED = " pthread_exit ZelWifiScanThread\n"


def switched_on(*arrange):
    """A set whose access points are there at once."""
    return Set(arrange=[("behave", "wifi", "0"), *arrange])


def starts(tv):
    """How often a search for devices was started."""
    return len(tv.trace(who="model", call="invoke", key=BLUETOOTH + "search.start"))


@contextlib.contextmanager
def searching(*arrange):
    """A connected set whose search for devices is under way."""
    with switched_on(*arrange) as tv:
        tv.line.connect()
        tv.wait(who="model", call="invoke", key=BLUETOOTH + "search.start", since=0)
        yield tv


@contextlib.contextmanager
def ended_search(*arrange):
    """A connected set whose searches of the start are over."""
    with switched_on(*arrange) as tv:
        tv.line.connect()
        tv.await_output(ENDED)
        yield tv
