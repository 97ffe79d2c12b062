"""A server that does not answer, unlike one that refuses: units that have all they need do not wait for it."""

import contextlib
import json
import pathlib
import select
import socket
import sqlite3
import tempfile
import threading
import time

import runner
import setlib
from pgserver import Server
from quickset import QuickSet
from runner import AtOnce

PLAN = """
[[step]]
run = "mac write @stock"
[[step]]
run = "mac read"
expect = { equals = "${stock.mac}" }
"""
ALONE = "works on with what it has"
MEMORY = 60  # seconds for which the server is left alone


class Doorway:
    """Stands before a server: `silent`, it takes connections and bytes and nothing comes of them. What the server says
    takes it `delay` seconds."""

    def __init__(self, port):
        self.port = port
        self.silent = False
        self.delay = 0
        self.callers = 0
        self.door = socket.create_server(("127.0.0.1", 0))
        self.wake, self.waker = socket.socketpair()
        self.thread = threading.Thread(target=self._run)
        self.thread.start()

    def place(self, url):
        return url.replace(f":{self.port}/", f":{self.door.getsockname()[1]}/")

    def close(self):
        self.waker.close()
        self.thread.join()

    def _run(self):
        far = {}
        while True:
            for end in select.select([self.door, self.wake, *far], [], [])[0]:
                if end is self.wake:
                    for each in (self.door, self.wake, *far):
                        each.close()
                    return
                if end is self.door:
                    self.callers += 1
                    near = self.door.accept()[0]
                    other = socket.create_connection(("127.0.0.1", self.port))
                    far[near], far[other] = other, near
                elif end in far:
                    self._pass_on(end, far)

    def _pass_on(self, end, far):
        try:
            data = end.recv(65536)
            if end.getpeername()[1] == self.port:
                time.sleep(self.delay)
            if data and not self.silent:
                far[end].sendall(data)
        except OSError:
            data = b""
        if not data:
            for each in (end, far[end]):
                del far[each]
                each.close()


class Silence(AtOnce):
    def setUp(self):
        stack = contextlib.ExitStack()
        self.addCleanup(stack.close)
        self.folder = pathlib.Path(stack.enter_context(tempfile.TemporaryDirectory(prefix="zelfac-silent.")))
        self.server = stack.enter_context(Server())
        self.doorway = Doorway(self.server.port)
        stack.callback(self.doorway.close)
        self.onWrite = lambda: None
        self.set = QuickSet(lambda _: self.onWrite())
        stack.callback(self.set.close)
        (self.folder / "plan.toml").write_text(PLAN)
        self.store = self.doorway.place(self.server.url)
        self.ledger = self.folder / "ledger.db"
        added = setlib.run("zelline", "--store", self.server.url, "stock", "add", "mac", "00:00:00:00:01:01", "00:00:00:00:01:28")
        self.assertEqual(added.returncode, 0, added.stderr)

    def unit(self, serial):
        """A unit that passes; whether it was told that the server is away, and how often the server was called."""
        before = self.doorway.callers
        begin = time.monotonic()
        words = ["--json", "--port", self.set.path, "--store", self.store, "run", self.folder / "plan.toml"]
        done = setlib.run("zelline", *words, "--ledger", self.ledger, "--unit", serial)
        print(f"{serial}: {time.monotonic() - begin:.2f} s, {self.doorway.callers - before} calls")
        self.assertEqual(done.returncode, 0, done.stderr)
        return ALONE in done.stderr, self.doorway.callers - before

    def on_server(self):
        return [row[0] for row in self.server.ask("SELECT unit FROM run WHERE verdict = 'PASSED' ORDER BY unit")]

    def test_one_unit_finds_out_and_the_next_do_not_ask(self):
        self.assertEqual(self.unit("U1"), (False, 1))
        self.doorway.silent = True
        self.assertEqual(self.unit("U2"), (True, 1))
        self.assertEqual(self.unit("U3"), (True, 0))
        self.doorway.silent = False
        self.assertEqual(self.unit("U4"), (True, 0), "it is left alone for a while")
        told = setlib.run("zelline", "--json", "--store", self.ledger, "report", "last")
        self.assertIn(ALONE, json.loads(told.stdout.splitlines()[0])["note"])
        self.assertEqual(self.on_server(), ["U1"])
        with contextlib.closing(sqlite3.connect(self.ledger)) as ledger, ledger:
            ledger.execute(f"UPDATE absence SET noted = noted - {MEMORY}")
        self.assertEqual(self.unit("U5"), (False, 1))
        self.assertEqual(self.on_server(), ["U1", "U2", "U3", "U4", "U5"])
        self.assertEqual(self.unit("U6"), (False, 1), "it has answered since")

    def test_a_server_that_falls_silent_in_the_middle(self):
        self.assertEqual(self.unit("U1"), (False, 1))

        def fall_silent():
            self.doorway.silent = True

        self.onWrite = fall_silent
        self.assertEqual(self.unit("U2"), (True, 1))
        self.assertEqual(self.unit("U3"), (True, 0))

    def test_one_that_answers_slowly_has_time_for_much(self):
        """The limit is for the answer to each statement; much is brought up in one transaction."""
        self.assertEqual(self.unit("U1"), (False, 1))
        units = [f"V{number}" for number in range(8)]
        with contextlib.closing(sqlite3.connect(self.ledger)) as ledger, ledger:
            for unit in units:
                for table, key in (("run", "id"), ("step", "run")):
                    ledger.execute(f"CREATE TEMP TABLE copied AS SELECT * FROM {table} WHERE {key} = (SELECT id FROM run WHERE unit = 'U1')")
                    ledger.execute(f"UPDATE copied SET {key} = {key} || ?", [unit])
                    if table == "run":
                        ledger.execute("UPDATE copied SET unit = ?, pushed = 0", [unit])
                    ledger.execute(f"INSERT INTO {table} SELECT * FROM copied")
                    ledger.execute("DROP TABLE copied")
        self.doorway.delay = 0.1
        self.assertEqual(self.unit("U2"), (False, 1))
        self.assertEqual(self.on_server(), ["U1", "U2", *units])

    def test_who_has_nothing_asks_it_all_the_same(self):
        self.doorway.silent = True
        words = ["--port", self.set.path, "--store", self.store, "run", self.folder / "plan.toml", "--ledger", self.ledger, "--unit", "U1"]
        for calls in (1, 2):
            done = setlib.run("zelline", *words)
            self.assertEqual(done.returncode, 6)
            self.assertRegex(done.stderr, f"the stock of mac is empty: .*{ALONE}")
            self.assertEqual(self.doorway.callers, calls)
        self.doorway.silent = False
        self.assertEqual(self.unit("U1"), (False, 1))


if __name__ == "__main__":
    runner.main()
