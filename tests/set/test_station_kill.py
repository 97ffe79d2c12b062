"""Two stations with two slots each share one server and are killed at random moments: no two units get the same.

A few kills in every run, the same draws; the campaign draws its own, and ZELFAC_KILLS says how many. The server is
stopped and started in between.
"""

import collections
import concurrent.futures
import http.client
import os
import pathlib
import random
import re
import signal
import tempfile
import threading
import time

import killjudge
import runner
import setlib
from pgserver import Server
from quickset import QuickSet
from runner import AtOnce
from stationlib import Station, StationEnded

KILLS = int(os.environ.get("ZELFAC_KILLS", "160" if setlib.campaign() else "20"))
STOPS = max(2, KILLS // 20)  # of the server
AWAY = 1.0  # seconds that it is away at most
ADDRESSES = 20 * KILLS + 800
KEYS = 2 * KILLS + 300
STATIONS = 10  # that come at the same moment
BLOCK = 20  # items that each of them is given
RETURNS = 0.5  # part of the units that were there before
WITH_KEY = 0.15  # part of the units that get a key as well, which takes long
AT_START = 0.15  # part of the kills that hit a station before its page is there, within
START = 0.1  # seconds
MOST_NEWS = 120  # lines that a station says before it is killed
# What the server's library prints of a server that is stopped while a connection to it is being made.
FAREWELL = re.compile(r"^(WARNING|DETAIL|HINT|FATAL): .*\n", re.MULTILINE)
MAC = '[[step]]\nrun = "mac write @stock"\n[[step]]\nrun = "mac read"\nexpect = { equals = "${stock.mac}" }\n'
PLANS = {"mac": MAC, "key": MAC + '[[step]]\nrun = "key send hdcp1 @stock"\n'}


class Unit:
    """A unit as the line knows it. What is told of it here is true of a set that is in one place at a time."""

    def __init__(self, name, kind):
        self.name = name
        self.kind = kind
        self.home = None  # the station that may know more of its items than the server
        self.settled = True  # the server knows all of it
        self.moves = 0
        self.moved = False  # its items are at another station, as far as is known
        self.may_have_two = False  # of each type: it came to another station while the server could not tell of the first
        self.cut = False  # its last run was


class Line:
    """What the stations share: the server, the stock, the units."""

    def __init__(self, seed, folder):
        self.seed = seed
        self.folder = folder
        self.server = Server()
        self.items = ADDRESSES + KEYS
        self.changes = 0  # of the server: odd while it is away
        self.lock = threading.Lock()
        self.random = random.Random(f"{seed} units")
        self.units = []
        self.waiting = set()  # those that are in no slot
        self.given = collections.defaultdict(set)  # units whose sets got the item, by its content
        self.kills = 0
        self.failed = None  # what ended a station's driver

    def fail(self, failed):
        """The first one counts: what follows comes of it."""
        self.failed = self.failed or failed

    def over(self):
        return self.kills >= KILLS or self.failed is not None

    def take(self, station, again):
        """A unit for a slot: the same `again`, one that was there before, or a new one."""
        with self.lock:
            if again in self.waiting:
                unit = again
            else:
                known = [unit for unit in self.units if unit in self.waiting and (unit.settled or unit.home == station)]
                if known and self.random.random() < RETURNS:
                    unit = self.random.choice(known)
                else:
                    kind = "key" if self.random.random() < WITH_KEY else "mac"
                    unit = Unit(f"UN{len(self.units):04}", kind)
                    self.units.append(unit)
            self.waiting.discard(unit)
            if unit.home not in (None, station):
                unit.moved = True
                unit.moves += 1
            unit.home = station
            return unit

    def give_back(self, unit, ended, reached):
        """`ended` whether its verdict was seen, `reached` whether the server was there from begin to end."""
        with self.lock:
            unit.may_have_two = unit.may_have_two or unit.moved and not reached
            unit.settled = ended and reached
            unit.moved = unit.moved and not unit.settled
            unit.cut = not ended
            self.waiting.add(unit)

    def interrupt(self, draw):
        """The server is away for a while."""
        self.changes += 1
        self.server.stop(draw.choice(["fast", "immediate"]))
        time.sleep(draw.random() * AWAY)
        self.server.start()
        self.changes += 1

    def stock(self, *words):
        done = setlib.run("zelline", "--store", self.server.url, "stock", *words)
        if done.returncode:
            raise AssertionError(done.stderr)

    def fill(self):
        last = ADDRESSES - 1
        self.stock("add", "mac", "00:00:00:01:00:00", f"00:00:00:01:{last >> 8:02X}:{last & 0xFF:02X}")
        keys = self.folder / "keys"
        keys.mkdir()
        for number in range(KEYS):
            (keys / f"{number:05}.bin").write_text(f"key {number:05} " * 10)
        self.stock("add", "hdcp1", keys)


class Slot:
    """One slot of a station: a set's end of its line, and one unit after the other."""

    def __init__(self, line, station, number):
        self.line = line
        self.station = station
        self.name = f"{station.name}{number}"
        self.random = random.Random(f"{line.seed} {self.name}")
        self.unit = None
        self.set = QuickSet(lambda item: line.given[item].add(self.unit.name))
        self.plan = station.folder / f"{self.name}.toml"
        self.runs = []  # (what the station told at the end, whether the server was there from begin to end)

    @property
    def place(self):
        return f'port = "{self.set.path}"\nplan = "{self.plan.name}"'

    def put(self, unit):
        """The unit is in the slot, with the plan for it."""
        self.unit = unit
        fresh = self.plan.with_suffix(".new")
        fresh.write_text(PLANS[unit.kind] if unit else PLANS["mac"])
        fresh.replace(self.plan)

    def work(self, tool):
        """Unit after unit until the station is killed."""
        try:
            self.work_on(tool)
        except Exception as failed:
            self.line.fail(failed)
            tool.tool.kill()

    def work_on(self, tool):
        while True:
            was_cut = self.unit and self.unit.cut
            self.put(self.line.take(self.station.name, self.unit if was_cut and self.random.random() < 0.5 else None))
            before = self.line.changes
            row = None
            try:
                row = self.run(tool)
            except (StationEnded, OSError, http.client.HTTPException) as ended:
                if not self.station.killed:
                    raise AssertionError(f"{self.name}, {self.unit.name}: {ended!r}") from ended
            finally:
                self.set.change()  # it is unplugged
                reached = before % 2 == 0 and self.line.changes == before
                self.line.give_back(self.unit, ended=row is not None, reached=reached)
            if row is None:
                return
            self.runs.append((row, reached))

    def run(self, tool):
        since = tool.seen()
        with self.station.scanner:
            tool.post("/scan", text=self.name)
            reply = tool.post("/scan", text=self.unit.name)
        if (reply["reply"], reply["slot"]) != ("begun", self.name):
            raise AssertionError(f"{self.name}, {self.unit.name}: {reply}")
        return tool.wait(since, type="slot", slot=self.name, unit=self.unit.name, phase="over")


class StationDriver:
    """Starts a station, kills it, and starts it again."""

    def __init__(self, line, name):
        self.line = line
        self.name = name
        self.folder = line.folder / name
        self.folder.mkdir()
        self.random = random.Random(f"{line.seed} {name}")
        self.scanner = threading.Lock()
        self.slots = [Slot(line, self, number) for number in (1, 2)]
        self.begun = {}  # the runs that it told of: (unit, slot) by name
        self.verdicts = {}  # that it told, by run
        self.killed = False
        self.ledger = self.folder / "station.toml.ledger"

    def station(self):
        for slot in self.slots:
            if not slot.plan.exists():
                slot.put(None)
        more = f'store = "{self.line.server.url}"'
        return Station({slot.name: slot.place for slot in self.slots}, more=more, page="", name=self.name, folder=self.folder)

    def work(self):
        while not self.line.over():
            tool = self.station()
            self.killed = False
            tool.start()
            try:
                self.live(tool)
            except Exception as failed:
                self.line.fail(failed)
            finally:
                self.kill(tool)
                if tool.tool.wait() != -signal.SIGKILL or FAREWELL.sub("", tool.troubles()):
                    self.line.fail(AssertionError(f"{self.name} ended by itself or complained: {tool.troubles()}"))
                tool.close()
                self.note(tool)
            with self.line.lock:
                self.line.kills += 1

    def live(self, tool):
        if self.random.random() < AT_START:
            time.sleep(self.random.random() * START)  # a moment is what is drawn here
            return
        tool.await_page()
        news = self.random.randrange(MOST_NEWS)
        with concurrent.futures.ThreadPoolExecutor(len(self.slots)) as pool:
            working = [pool.submit(slot.work, tool) for slot in self.slots]
            try:
                tool.await_rows(news)
                time.sleep(self.random.random() * 0.03)
            finally:
                self.kill(tool)
                concurrent.futures.wait(working)

    def kill(self, tool):
        self.killed = True
        tool.tool.kill()

    def note(self, tool):
        """What the station has told of runs."""
        for row in tool.rows:
            if row["type"] == "slot" and row["run"]:
                self.begun[row["run"]] = (row["unit"], row["slot"])
                if row["phase"] == "over":
                    self.verdicts[row["run"]] = row["verdict"]

    def come_back(self):
        """It is started once more, and has nothing to do but to bring up what the server does not know."""
        with self.station() as tool:
            tool.wait(type="line", known=True, problem=None)
            if tool.end() != 0:
                raise AssertionError(tool.troubles())


class Stations(AtOnce):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="zelfac-stations.")
        self.addCleanup(folder.cleanup)
        self.line = Line(setlib.seed(), pathlib.Path(folder.name))
        self.addCleanup(self.line.server.close)

    def test_many_stations_lease_at_once(self):
        self.line.fill()
        plan = self.line.folder / "plan.toml"
        plan.write_text(MAC)
        ledgers = []
        for meeting in range(3):
            start = threading.Barrier(STATIONS)

            def run(station):
                start.wait()
                words = ["--port", "/dev/null", "--store", self.line.server.url, "run", plan, "--unit", station.stem]
                return setlib.run("zelline", *words, "--ledger", station).returncode

            stations = [self.line.folder / f"S{meeting}{number}.db" for number in range(STATIONS)]
            with concurrent.futures.ThreadPoolExecutor(STATIONS) as pool:
                # They have their blocks before they find that there is no set.
                self.assertEqual(set(pool.map(run, stations)), {4})
            ledgers += stations
            leased = [name for ledger in ledgers for (name,) in killjudge.own(ledger, "SELECT digest FROM item")]
            self.assertEqual(len(leased), BLOCK * STATIONS * (meeting + 1))
            self.assertEqual(len(set(leased)), len(leased))

    def test_no_item_twice(self):
        line = self.line
        line.fill()
        stations = [StationDriver(line, name) for name in "AB"]
        for station in stations:
            for slot in station.slots:
                self.addCleanup(slot.set.close)
        draw = random.Random(f"{line.seed} server")
        begin = time.monotonic()
        with concurrent.futures.ThreadPoolExecutor(len(stations)) as pool:
            working = [pool.submit(station.work) for station in stations]
            for stop in range(STOPS):
                while line.kills * (STOPS + 1) < KILLS * (stop + 1) and not line.over():
                    time.sleep(0.05)  # until so many are done
                line.interrupt(draw)
            for station in working:
                station.result()
        if line.failed:
            raise line.failed
        for station in stations:
            station.come_back()
        print(f"{line.kills} kills and {STOPS} stops of the server in {time.monotonic() - begin:.0f} s")
        killjudge.judge(self, line, stations)


if __name__ == "__main__":
    runner.main()
