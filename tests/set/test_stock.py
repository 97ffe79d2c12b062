"""The stock of keys and addresses, in a file and in a PostgreSQL database."""

import json
import pathlib
import tempfile

import runner
import setlib
from pgserver import Server
from runner import AtOnce


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


if __name__ == "__main__":
    runner.main()
