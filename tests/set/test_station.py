"""A station of several slots: scans, two sets at a time, one that fails, a lost port, stopping."""

import json
import pathlib
import signal
import tempfile

import runner
import setlib
from runner import AtOnce, cases
from stationlib import PLAN, LineSet, Station, two_sets

SLOW = PLAN.replace('run = "led red on"', 'run = "led red on"\nwait = 3600000')

VOLUME = "tovix.sl2.i32.sound.main.volume"


class Units(AtOnce):
    def test_two_sets_at_a_time_of_which_one_fails(self):
        with two_sets() as (first, second):
            second.model.fail("tovix.sl2.system.ctrl.led.gpio", "connect", 7)
            with Station({"A": first.place, "B": second.place}) as station:
                self.assertEqual(station.scan("AB0001"), ("which-slot", None, "AB0001"))
                self.assertEqual(station.wait(type="station", unit="AB0001")["name"], "Test")
                self.assertEqual(station.scan("A"), ("begun", "A", "AB0001"))
                self.assertEqual(station.scan("AB0001")[0], "twice")
                self.assertEqual(station.scan("AB0002"), ("begun", "B", "AB0002"), "the only one that is free")
                passed = station.wait(type="slot", slot="A", phase="over")
                failed = station.wait(type="slot", slot="B", phase="over")
                self.assertEqual((passed["verdict"], passed["unit"], passed["failed"]), ("PASSED", "AB0001", None))
                self.assertEqual((failed["verdict"], failed["unit"], failed["failed"], failed["reason"]),
                                 ("FAILED", "AB0002", "Lamp", "failure"))
                self.assertEqual(first.cat("/var/local/ZelPcbSn"), b"AB0001")
                self.assertEqual(second.cat("/var/local/ZelPcbSn"), b"AB0002")
                self.assertEqual(station.end(), 0)

    def test_a_slot_named_first(self):
        with LineSet() as tv, Station({"A": tv.place, "B": 'port = "nowhere"'}) as station:
            self.assertEqual(station.scan("12"), ("no-unit", None, "12"))
            self.assertEqual(station.scan("A"), ("which-unit", "A", None))
            self.assertEqual(station.scan("AB0001"), ("begun", "A", "AB0001"))
            self.assertEqual(station.scan("A")[:2], ("busy", "A"))
            self.assertEqual(station.scan("AB0002"), ("begun", "B", "AB0002"))
            self.assertEqual(station.wait(type="slot", slot="B", phase="port")["port"], None)
            self.assertEqual(station.wait(type="slot", slot="A", phase="over")["verdict"], "PASSED")

    def test_the_records(self):
        store = """
store = "line.db"
reports = ["{unit}.json"]
"""
        with LineSet() as tv, Station({"A": tv.place}, more=store) as station:
            self.assertEqual(station.scan("AB0001")[0], "begun")
            station.wait(type="slot", slot="A", phase="over", verdict="PASSED")
            line = station.wait(type="line", units=1)
            self.assertEqual((line["first_pass"], line["passed"], line["problem"]), (1, 1, None))
            told = setlib.run("zelline", "--json", "--store", station.folder / "line.db", "report", "last").stdout
            self.assertIn('"station":"Test","slot":"A"', told.replace('": ', '":'))
            self.assertIn("AB0001", (station.folder / "AB0001.json").read_text())


class Ports(AtOnce):
    def test_a_set_that_comes_later(self):
        with tempfile.TemporaryDirectory(prefix="zelfac-station.") as folder:
            link = pathlib.Path(folder) / "port"
            with Station({"A": f'port = "{link}"'}) as station:
                self.assertEqual(station.scan("AB0001")[0], "begun")
                station.wait(type="slot", phase="port", port=None)
                with LineSet() as tv:
                    link.symlink_to(pathlib.Path(tv.state) / "line")
                    self.assertEqual(station.wait(type="slot", phase="over")["verdict"], "PASSED")
                    self.assertEqual(tv.cat("/var/local/ZelPcbSn"), b"AB0001")
                since = station.seen()
                station.wait(since - 1, type="slot", phase="over", port=None)

    def test_a_port_that_is_lost(self):
        """The unit at work has failed, and the port is found again for the next one."""
        with tempfile.TemporaryDirectory(prefix="zelfac-station.") as folder:
            link = pathlib.Path(folder) / "port"
            with Station({"A": f'port = "{link}"'}, plan=SLOW) as station:
                with LineSet() as tv:
                    link.symlink_to(pathlib.Path(tv.state) / "line")
                    station.scan("AB0001")
                    station.wait(type="slot", phase="running", step="Lamp")
                lost = station.wait(type="slot", phase="over")
                self.assertEqual((lost["verdict"], lost["reason"], lost["failed"]), ("FAILED", "port", "Lamp"))
                (station.folder / "plan.toml").write_text(PLAN)
                link.unlink()
                since = station.seen()
                self.assertEqual(station.scan("AB0002")[0], "begun")
                station.wait(since, type="slot", phase="port")
                with LineSet() as tv:
                    link.symlink_to(pathlib.Path(tv.state) / "line")
                    self.assertEqual(station.wait(since, type="slot", phase="over")["verdict"], "PASSED")
                    self.assertEqual(tv.cat("/var/local/ZelPcbSn"), b"AB0002")


class Stops(AtOnce):
    def test_the_end_of_the_station(self):
        """The unit at work is stopped and its teardown carried out; the other slot has nothing to do."""
        with LineSet() as tv, Station({"A": tv.place, "B": 'port = "nowhere"'}, plan=SLOW) as station:
            station.scan("A")
            station.scan("AB0001")
            station.wait(type="slot", phase="running", step="Lamp")
            begin = tv.seq()
            self.assertEqual(station.end(), 0)
            over = station.wait(type="slot", slot="A", phase="over")
            self.assertEqual((over["verdict"], over["reason"]), ("ABORTED", "interrupted"))
            tv.wait(key=VOLUME, call="set", value=20, since=begin)

    def record(self, station):
        """The verdict of the last run, and the outcomes of its steps."""
        told = setlib.run("zelline", "--json", "--store", station.folder / "line.db", "report", "last").stdout
        run, *steps, _ = [json.loads(row) for row in told.splitlines()]
        self.assertTrue(run["ended"])
        return run["verdict"], [step["outcome"] for step in steps]

    @cases(["SIGINT", "SIGTERM", "SIGHUP"])
    def test_the_record_of_a_unit_that_was_stopped_by(self, name):
        with LineSet() as tv, Station({"A": tv.place}, plan=SLOW, more='store = "line.db"') as station:
            station.scan("AB0001")
            station.wait(type="slot", phase="running", step="Lamp")
            begin = tv.seq()
            self.assertEqual(station.end(signal.Signals[name]), 0)
            self.assertEqual(station.wait(type="slot", phase="over")["verdict"], "ABORTED")
            tv.wait(key=VOLUME, call="set", value=20, since=begin)
            self.assertEqual(self.record(station), ("ABORTED", ["passed", "passed", "not run", "passed"]))

    def test_a_second_signal_leaves_the_teardown_out(self):
        plan = SLOW.replace('run = "volume 20"', 'run = "volume 20"\nwait = 3600000')
        with LineSet() as tv, Station({"A": tv.place}, plan=plan, more='store = "line.db"') as station:
            station.scan("AB0001")
            station.wait(type="slot", phase="running", step="Lamp")
            begin = tv.seq()
            station.tool.send_signal(signal.SIGHUP)
            station.wait(type="slot", phase="running", step="Sound")
            self.assertEqual(station.end(), 0)
            self.assertEqual(station.wait(type="slot", phase="over")["verdict"], "ABORTED")
            self.assertEqual(self.record(station), ("ABORTED", ["passed", "passed", "not run", "not run"]))
            self.assertEqual(tv.trace(key=VOLUME, call="set", value=20, since=begin), [])


class Files(AtOnce):
    def tell(self, text):
        with tempfile.TemporaryDirectory(prefix="zelfac-station.") as folder:
            file = pathlib.Path(folder) / "station.toml"
            file.write_text(text)
            (pathlib.Path(folder) / "plan.toml").write_text(PLAN)
            done = setlib.run("zelline", "station", file)
            self.assertEqual(done.returncode, 2)
            return done.stderr

    def test_mistakes(self):
        told = self.tell('name = "X"\nplan = "plan.toml"\nscan = "A+"\n[page]\naddress = "0.0.0.0:0"\n[[slot]]\nname = "AA"\nport = "x"\n'
                         '[[slot]]\nname = "AA"\nport = "x"\nserial = "1"\n')
        for words in ("station.toml:5: others than this machine can reach that address: 'token' is missing",
                      "the slot's name 'AA' could be a serial number", "the name 'AA' is taken by another slot",
                      "a slot has one of 'port'"):
            self.assertIn(words, told)
        told = self.tell('name = "X"\nplan = "other.toml"\nscan = "A+"\n[[slot]]\nport = "x"\n')
        self.assertIn("there is no such plan", told)


if __name__ == "__main__":
    runner.main()
