"""Two stations with two slots each share one server and are killed at random moments: no two units get the same.

A few kills in every run, the same ones; the campaign has ZELFAC_KILLS of them, 500 unless that says otherwise. The
server is stopped and started in between.
"""

import collections
import concurrent.futures
import contextlib
import json
import os
import pathlib
import random
import signal
import sqlite3
import subprocess
import tempfile
import threading
import time

import runner
import setlib
from pgserver import Server
from quickset import QuickSet
from runner import AtOnce
from zelfac import programs

KILLS = int(os.environ.get("ZELFAC_KILLS", "500" if setlib.campaign() else "40"))
STOPS = 4 if setlib.campaign() else 1  # of the server
ITEMS = 3 * KILLS + 600
STATIONS = 10  # that come at the same moment
BLOCK = 20  # items that each of them is given
RETURNS = 0.3  # part of the runs whose unit was there before
WITH_KEY = 0.15  # part of the runs that send a key as well, which takes long
LONGEST = {"mac": 0.25, "key": 1.0}  # seconds into a run, for a kill
MAC = '[[step]]\nrun = "mac write @stock"\n[[step]]\nrun = "mac read"\nexpect = { equals = "${stock.mac}" }\n'
PLANS = {"mac": MAC, "key": MAC + '[[step]]\nrun = "key send hdcp1 @stock"\n'}
EXPECTED = {
    0: "passed",
    2: "the unit was at another slot",
    6: "nothing left of the station's block while the server is away",
    -signal.SIGKILL: "killed",
}


class Slot:
    """One slot of a station: a set, and one run after the other."""

    def __init__(self, line, station, number):
        self.line = line
        self.station = station
        self.random = random.Random(f"{line.seed} {station} {number}")
        self.unit = ""
        self.set = QuickSet(lambda item: line.given[item].add(self.unit))
        self.thread = threading.Thread(target=self.work)
        self.ended = []  # (status, what it said, what it wrote on standard error)

    def work(self):
        while self.line.kills > 0:
            if self.run(kill=self.random.random() < 0.9) == -signal.SIGKILL:
                with self.line.lock:
                    self.line.kills -= 1

    def run(self, kill, kind=None):
        known = sorted(self.line.units)
        again = known and self.random.random() < RETURNS
        self.unit = self.random.choice(known) if again else f"U{len(known):04}{self.station}{id(self) % 1000:03}"
        self.line.units.add(self.unit)
        kind = kind or ("key" if self.random.random() < WITH_KEY else "mac")
        moment = self.random.random() * LONGEST[kind]
        words = ["--json", "--port", self.set.path, "--store", self.line.server.url, "run", self.line.plans[kind]]
        words += ["--ledger", self.line.ledger(self.station), "--station", self.station, "--unit", self.unit]
        command = [programs.find("zelline"), *map(str, words)]
        with subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True) as tool:
            if kill:
                time.sleep(moment)  # a moment is what is drawn here
                tool.kill()
            said, troubles = tool.communicate(timeout=setlib.NEVER)
        self.set.change()
        rows = [json.loads(row) for row in said.splitlines() if row.endswith("}")]
        self.ended.append((tool.returncode, rows, troubles))
        return tool.returncode


class Stations(AtOnce):
    def setUp(self):
        self.seed = setlib.seed()
        self.server = Server()
        self.addCleanup(self.server.close)
        folder = tempfile.TemporaryDirectory(prefix="zelfac-stations.")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.plans = {kind: self.folder / f"{kind}.toml" for kind in PLANS}
        for kind, text in PLANS.items():
            self.plans[kind].write_text(text)
        self.given = collections.defaultdict(set)  # units whose sets got the item, by its content
        self.units = set()
        self.kills = KILLS
        self.lock = threading.Lock()

    def ledger(self, station):
        return self.folder / f"{station}.db"

    def stock(self, *words):
        done = setlib.run("zelline", "--json", "--store", self.server.url, "stock", *words)
        self.assertEqual(done.returncode, 0, done.stderr)

    def fill(self):
        self.stock("add", "mac", "00:00:00:01:00:00", f"00:00:00:01:{ITEMS - 1 >> 8:02X}:{ITEMS - 1 & 0xFF:02X}")
        keys = self.folder / "keys"
        keys.mkdir()
        for number in range(ITEMS):
            (keys / f"{number:05}.bin").write_text(f"key {number:05} " * 10)
        self.stock("add", "hdcp1", keys)

    def own(self, query):
        """The rows of a query in all the stations' own files."""
        rows = []
        for file in sorted(self.folder.glob("*.db")):
            with contextlib.closing(sqlite3.connect(file)) as store:
                rows += [[str(value) for value in row] for row in store.execute(query)]
        return rows

    def test_many_stations_lease_at_once(self):
        self.fill()
        plan = self.plans["mac"]
        for meeting in range(3):
            start = threading.Barrier(STATIONS)

            def run(station):
                start.wait()
                words = ["--port", "/dev/null", "--store", self.server.url, "run", plan, "--unit", station]
                return setlib.run("zelline", *words, "--ledger", self.ledger(station)).returncode

            stations = [f"S{meeting}{number}" for number in range(STATIONS)]
            with concurrent.futures.ThreadPoolExecutor(STATIONS) as pool:
                # They have their blocks before they find that there is no set.
                self.assertEqual(set(pool.map(run, stations)), {4})
            leased = [name for (name,) in self.own("SELECT digest FROM item")]
            self.assertEqual(len(leased), BLOCK * STATIONS * (meeting + 1))
            self.assertEqual(len(set(leased)), len(leased))

    def test_no_item_twice(self):
        self.fill()
        slots = [Slot(self, station, number) for station in "AB" for number in (1, 2)]
        for slot in slots:
            self.addCleanup(slot.set.close)
            slot.thread.start()
        for stop in range(STOPS):
            while self.kills > KILLS * (STOPS - stop) / (STOPS + 1):
                time.sleep(0.05)  # until so many are done
            self.server.stop()
            time.sleep(1)  # a while without it
            self.server.start()
        for slot in slots:
            slot.thread.join()
        # The server is there: each station's next run brings up what it has.
        for slot in slots[::2]:
            self.assertEqual(slot.run(kill=False, kind="key"), 0, slot.ended[-1])

        ended = collections.Counter(status for slot in slots for status, _, _ in slot.ended)
        print({EXPECTED.get(status, status): count for status, count in ended.items()})
        for slot in slots:
            for status, rows, troubles in slot.ended:
                self.assertIn(status, EXPECTED, (rows, troubles))
        self.assertGreaterEqual(ended[-signal.SIGKILL], KILLS)
        self.assertGreater(ended[0], 0)
        alone = sum("works on with what it has" in troubles for slot in slots for _, _, troubles in slot.ended)
        print(f"{alone} runs told that the server was away")
        self.assertGreater(alone, 0)
        self.judge(slots)

    def judge(self, slots):
        shared = {item: units for item, units in self.given.items() if len(units) != 1}
        self.assertEqual(shared, {}, "items that several units got")
        rows = self.server.ask("SELECT type, CASE type WHEN 'mac' THEN content ELSE name END, state, unit FROM item")
        self.assertEqual(len(rows), 2 * ITEMS, "none is lost")
        given = {(item if ":" in item else f"{item[4:9]}.bin"): units for item, units in self.given.items()}
        sent = collections.Counter()
        for kind, name, state, unit in rows:
            if name in given:
                self.assertIn(state, ("written", "verified", "spent"), (kind, name, unit))
                self.assertEqual({unit}, given[name], name)
                sent[kind] += 1
            self.assertEqual(unit == "", state == "free", (kind, name, state, unit))
        self.assertEqual(sum(sent.values()), len(given))
        self.assertGreater(min(sent["mac"], sent["hdcp1"]), 0)
        print(f"{dict(sent)} given, states {collections.Counter(row[2] for row in rows)}")
        # Every run is in the records, as its station has it.
        query = "SELECT id, verdict, unit FROM run ORDER BY id"
        records = self.server.ask(query)
        self.assertEqual(sorted(self.own(query)), sorted(records))
        verdicts = {run: verdict for run, verdict, _ in records}
        for slot in slots:
            for _, said, _ in slot.ended:
                for row in said:
                    if row["type"] == "summary":
                        self.assertEqual(verdicts[row["run"]], row["verdict"])
        self.assertEqual(setlib.run("zelline", "--store", self.server.url, "stock", "check").stderr, "")


if __name__ == "__main__":
    runner.main()
