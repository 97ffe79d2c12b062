"""The stock of keys and addresses, in a file and in a PostgreSQL database."""

import json
import pathlib
import subprocess
import tempfile
import zlib

import runner
import setlib
from keylib import KeySet
from pgserver import Server
from runner import AtOnce
from zelfac import programs
from zelfac.keyfiles import HDCP1


class OnServer(AtOnce):
    """The verbs do the same on a server as on a file."""

    def setUp(self):
        self.server = Server()
        self.addCleanup(self.server.close)
        folder = tempfile.TemporaryDirectory(prefix="zelfac-stock.")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def stock(self, *words, store=None):
        done = setlib.run("zelline", "--json", "--store", store or self.server.url, "stock", *words)
        return done.returncode, [json.loads(line) for line in done.stdout.splitlines()]

    def test_the_verbs(self):
        for name in "321":
            (self.folder / f"{name}.bin").write_bytes(b"\0\xff" + name.encode())
        stores = [self.server.url, str(self.folder.parent / (self.folder.name + ".db"))]
        self.addCleanup(lambda: [pathlib.Path(stores[1] + end).unlink(missing_ok=True) for end in ("", ".lock")])
        told = []
        for number, store in enumerate(stores):
            rows = [
                self.stock("add", "hdcp1", self.folder, store=store),
                self.stock("add", "hdcp2", self.folder, store=store),
                self.stock("add", "mac", "00:00:00:00:00:FE", "00:00:00:00:01:01", store=store),
                self.stock("retire", "hdcp1", "2.bin", store=store),
                self.stock("retire", "hdcp1", "2.bin", store=store)[0],
                self.stock("status", store=store),
                self.stock("check", store=store),
            ]
            with tempfile.TemporaryDirectory() as out:
                file = pathlib.Path(out) / "stock.json"
                self.assertEqual(self.stock("export", file, store=store)[0], 0)
                items = json.loads(file.read_text())["items"]
                rows.append([(item["type"], item["name"], item["state"], item["digest"]) for item in items])
            told.append(rows)
        self.assertEqual(told[0], told[1])
        self.assertEqual(told[0][0], (0, [{"v": 1, "type": "stock", "stock": "hdcp1", "added": 3, "known": 0}]))
        self.assertEqual([row["free"] for row in told[0][5][1]], [2, 4])

    def test_a_newer_one_is_refused(self):
        self.assertEqual(self.stock("status")[0], 0)
        self.server.ask("UPDATE schema_version SET version = 1000")
        status, rows = self.stock("status")
        self.assertEqual(status, 2)
        self.assertIn("newer zelline (version 1000", rows[0]["words"])

    def test_one_that_is_away(self):
        self.server.stop()
        self.assertEqual(self.stock("status")[0], 6)


PLAN = """
name = "Items"
[[step]]
run = "mac write @stock"
[[step]]
run = "mac read"
expect = { equals = "${stock.mac}" }
[[step]]
run = "key send hdcp1 @stock"
[[step]]
run = "key crc hdcp1"
expect = { equals = "${stock.hdcp1}" }
"""


class OnSets(AtOnce):
    """Units get their items, whatever happens to the tool."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="zelfac-stock.")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        (self.folder / "plan.toml").write_text(PLAN)
        for number in (1, 2):
            (self.folder / "keys").mkdir(exist_ok=True)
            (self.folder / "keys" / f"{number}.bin").write_bytes(self.key(number))

    def key(self, number):
        return b"key %d" % number * 200

    def zelline(self, tv, *words):
        done = tv.zelline("--json", "--store", self.store, *words)
        return done.returncode, [json.loads(line) for line in done.stdout.splitlines()]

    def states(self, tv):
        return {row["stock"]: row for row in self.zelline(tv, "stock", "status")[1]}

    def units(self, tv):
        """The runs that the tool is asked for, one after the other, and what is on record of them."""
        self.assertEqual(self.zelline(tv, "stock", "add", "hdcp1", self.folder / "keys")[0], 0)
        self.assertEqual(self.zelline(tv, "stock", "add", "mac", "00:00:00:00:00:0A", "00:00:00:00:00:0B")[0], 0)
        plan = [self.folder / "plan.toml", "--ledger", self.folder / "ledger.db"]
        for unit, number in (("A", 1), ("B", 2), ("A", 1)):
            status, rows = self.zelline(tv, "run", *plan, "--unit", unit)
            self.assertEqual(status, 0, rows)
            self.assertEqual(tv.key(HDCP1), (1000, zlib.crc32(self.key(number))))
            self.assertEqual(rows[1]["value"], f"00:00:00:00:00:0{'_AB'[number]}")
        self.assertEqual(self.zelline(tv, "run", *plan, "--unit", "C")[0], 6)
        states = self.states(tv)
        self.assertEqual([states[kind]["verified"] for kind in ("hdcp1", "mac")], [2, 2])
        self.assertEqual([row["verdict"] for row in self.zelline(tv, "history")[1]], ["PASSED"] * 3)
        row = self.zelline(tv, "yield")[1][0]
        self.assertEqual((row["units"], row["first_pass"], row["runs"]), (2, 2, 3))
        status, rows = self.zelline(tv, "report", self.zelline(tv, "history")[1][0]["run"][:-1])
        self.assertEqual(status, 0)
        self.assertEqual([row.get("unit") for row in rows], ["A", None, None, None, None, "A"])

    def test_in_a_file(self):
        self.store = self.folder / "line.db"
        with KeySet() as tv:
            self.units(tv)

    def test_on_a_server(self):
        with Server() as server, KeySet() as tv:
            self.store = server.url
            self.units(tv)

    def test_a_killed_tool_leaves_what_was_done(self):
        self.store = self.folder / "line.db"
        with KeySet() as tv:
            self.zelline(tv, "stock", "add", "hdcp1", self.folder / "keys")
            self.zelline(tv, "stock", "add", "mac", "00:00:00:00:00:0A", "00:00:00:00:00:0B")
            words = ["--port", tv.ready["line"], "--store", self.store, "run", self.folder / "plan.toml", "--unit", "A"]
            tv.line.close()
            with subprocess.Popen([programs.find("zelline"), *map(str, words)], stdout=subprocess.PIPE) as tool:
                tv.wait(who="shell", command="rm /tmp/tmpkey/tmp_*.bin", since=0)  # the key has arrived
                tool.kill()
            tv.line.open()
            states = self.states(tv)
            self.assertEqual((states["hdcp1"]["spent"], states["hdcp1"]["free"]), (1, 1))
            self.assertEqual((states["mac"]["verified"], states["mac"]["free"]), (1, 1))
            row = self.zelline(tv, "history")[1][0]
            self.assertEqual((row["verdict"], row["unit"]), ("UNFINISHED", "A"))
            steps = self.zelline(tv, "report", "last")[1][1:-1]
            self.assertEqual([step["outcome"] for step in steps], ["passed", "passed", "not run", "not run"])
            # Another unit gets another key; the unit itself its own.
            self.assertEqual(self.zelline(tv, "run", self.folder / "plan.toml", "--unit", "B")[0], 0)
            self.assertEqual(tv.key(HDCP1)[1], zlib.crc32(self.key(2)))
            self.assertEqual(self.zelline(tv, "run", self.folder / "plan.toml", "--unit", "A")[0], 0)
            self.assertEqual(tv.key(HDCP1)[1], zlib.crc32(self.key(1)))
            self.assertEqual(self.states(tv)["hdcp1"]["verified"], 2)


if __name__ == "__main__":
    runner.main()
