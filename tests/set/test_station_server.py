"""A station of one slot beside a server: one that is away at the start, goes away, and comes back."""

import contextlib
import fcntl
import os
import socket
import struct
import subprocess
import sys
import tempfile
import unittest

import runner
import setlib
from pgserver import Server
from quickset import QuickSet
from runner import AtOnce
from stationlib import Station

PLAN = '[[step]]\nrun = "mac write @stock"\n[[step]]\nrun = "mac read"\nexpect = { equals = "${stock.mac}" }\n'
ASKS = PLAN + '[[step]]\nrun = "confirm Well?"\n'
OWN_NETWORK = "ZELFAC_OWN_NETWORK"  # set where the test runs in one
SET_FLAGS, IS_UP = 0x8914, 1  # of a network's link, as the kernel has them
FIRST, LAST = "00:00:00:01:00:00", "00:00:00:01:00:27"
RECORDS = "SELECT unit, verdict, station, slot FROM run ORDER BY id"
ITEMS = "SELECT unit, state, content FROM item WHERE unit <> '' ORDER BY unit"


def set_loopback(up):
    """The only link of a network of its own."""
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as any_socket:
        fcntl.ioctl(any_socket, SET_FLAGS, struct.pack("16sh14x", b"lo", IS_UP if up else 0))


class Beside(unittest.TestCase):
    """What these tests have in common."""

    def setUp(self):
        self.server = Server()
        self.addCleanup(self.server.close)
        folder = tempfile.TemporaryDirectory(prefix="zelfac-station.")
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.given = []
        self.set = QuickSet(self.given.append)
        self.addCleanup(self.set.close)
        added = setlib.run("zelline", "--store", self.server.url, "stock", "add", "mac", FIRST, LAST)
        self.assertEqual(added.returncode, 0, added.stderr)

    def station(self, plan=PLAN):
        more = f'store = "{self.server.url}"'
        return Station({"A": f'port = "{self.set.path}"'}, plan=plan, more=more, page="", folder=self.folder)

    def over(self, station, unit):
        """Has the unit worked on, and returns what is said at its end."""
        since = station.seen()
        self.assertEqual(station.scan(unit), ("begun", "A", unit))
        over = station.wait(since, type="slot", unit=unit, phase="over")
        self.set.change()
        return over

    def passes(self, station, *units):
        for unit in units:
            self.assertEqual(self.over(station, unit)["verdict"], "PASSED", unit)

    @contextlib.contextmanager
    def without_server(self, mode="immediate"):
        self.server.stop(mode)
        yield
        self.server.start()

    def told(self, station, units):
        """The server is back, and was told of these units without any other being scanned."""
        line = station.shown(lambda row: row["type"] == "line" and row["problem"] is None and row["units"] == len(units))
        self.assertEqual((line["first_pass"], line["passed"]), (len(units), len(units)))
        self.assertEqual(sorted(self.server.ask(RECORDS)), [[unit, "PASSED", "Test", "A"] for unit in units])
        self.assertEqual(self.server.ask(ITEMS), [[unit, "verified", item] for unit, item in zip(units, self.given)])
        self.assertEqual(len(set(self.given)), len(units))

    def is_away(self, station):
        """The page says so."""
        line = station.shown(lambda row: row["type"] == "line" and row["problem"] is not None)
        self.assertIn("cannot be reached", line["problem"])

    def asked(self, station, unit, number=1):
        """The unit's run is at its question, which is the slot's `number`."""
        station.scan(unit)
        question = {"number": number, "kind": "confirm", "words": "Well?", "key": None, "note": None, "doubt": None, "said": None}
        station.wait(type="slot", unit=unit, question=question)

    def answered(self, station, unit):
        self.assertEqual(station.scan("yes")[0], "answered")
        self.assertEqual(station.wait(type="slot", unit=unit, phase="over")["verdict"], "PASSED")
        self.set.change()


class Away(Beside, AtOnce):
    def test_away_in_the_middle(self):
        with self.station() as station:
            station.shown(lambda row: row["type"] == "line" and row["known"] and row["problem"] is None)
            self.passes(station, "AB0001")
            self.told(station, ["AB0001"])
            with self.without_server():
                self.passes(station, "AB0002", "AB0003")
                self.is_away(station)
            self.told(station, ["AB0001", "AB0002", "AB0003"])
            self.assertEqual(station.end(), 0)

    @runner.cases(["fast", "immediate"])
    def test_it_goes_in_the_middle_of_a_run(self, mode):
        with self.station(plan=ASKS) as station:
            self.asked(station, "AB0001")
            with self.without_server(mode):
                self.answered(station, "AB0001")
                self.is_away(station)
            self.told(station, ["AB0001"])
            self.assertEqual(station.end(), 0)
            self.assertEqual(station.troubles(), "")

    def test_away_at_the_start(self):
        with self.without_server(), self.station() as station:
            self.is_away(station)
            failed = self.over(station, "AB0001")
            self.assertEqual((failed["verdict"], failed["reason"]), ("FAILED", "store"))
            self.assertIn("the stock of mac is empty", failed["words"])
            self.assertIn("cannot be reached", failed["words"])
            self.assertEqual(self.given, [])
            self.assertEqual(station.end(), 0)
        with self.station() as station:
            self.passes(station, "AB0001")
            self.assertEqual(station.end(), 0)
        # Its block is there from now on.
        with self.without_server(), self.station() as station:
            self.is_away(station)
            self.passes(station, "AB0002")
            self.assertEqual(station.end(), 0)
        with self.station() as station:
            self.told(station, ["AB0001", "AB0002"])


class Cut(Beside, AtOnce):
    def setUp(self):
        if OWN_NETWORK in os.environ:
            set_loopback(True)
            super().setUp()

    def test_a_network_that_is_cut(self):
        """Nobody says that the server has gone: the slot does not wait for what does not come."""
        if OWN_NETWORK not in os.environ:
            self.run_in_a_network_of_its_own()
            return
        with self.station(plan=ASKS) as station:
            self.asked(station, "AB0001")
            set_loopback(False)
            self.answered(station, "AB0001")
            self.asked(station, "AB0002", 2)
            self.answered(station, "AB0002")
            set_loopback(True)
            self.told(station, ["AB0001", "AB0002"])
            self.assertEqual(station.end(), 0)

    def run_in_a_network_of_its_own(self):
        options = ["--net"] if os.geteuid() == 0 else ["--net", "--user", "--map-current-user", "--keep-caps"]
        command = ["unshare", *options, sys.executable, __file__, self.id().removeprefix("__main__.")]
        done = subprocess.run(command, env={**os.environ, OWN_NETWORK: "1"}, capture_output=True, text=True)
        if "unshare failed" in done.stderr:
            print(done.stderr, flush=True)
            os._exit(setlib.NOT_RUN)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)


if __name__ == "__main__":
    runner.main()
