"""A station of the line tool, with what it says as it is said."""

import contextlib
import http.client
import json
import pathlib
import signal
import subprocess
import tempfile
import threading
import time
import urllib.parse

import slots as pool
from setlib import NEVER, Set
from zelfac import programs

SERIAL = "[A-Z]{2}[0-9]{4}"
PLAN = """
name = "Station test"
[[step]]
name = "Write the serial number"
run = ["sn", "write", "${unit}"]
[[step]]
name = "Read it again"
run = "sn read"
expect = { equals = "${unit}" }
[[step]]
name = "Lamp"
run = "led red on"
[[teardown]]
name = "Sound"
run = "volume 20"
"""


class LineSet(Set):
    """A set whose line is left to the station."""

    def start(self):
        super().start()
        self.line.close()

    @property
    def place(self):
        """What stands in its slot's table."""
        return f'port = "{pathlib.Path(self.state) / "line"}"'


@contextlib.contextmanager
def two_sets():
    slot = pool.Slot(2)
    try:
        with LineSet(slot=slot) as first, LineSet(slot=slot) as second:
            yield first, second
    finally:
        slot.give_back()


class StationEnded(AssertionError):
    """It has ended before it said what was waited for."""


class Station:
    """`zelline station`, as a context manager. `slots` are names with what stands in each one's table.

    In a `folder` that is given its files stay, for another station that goes on from them.
    """

    def __init__(self, slots, plan=PLAN, more="", page=None, name="Test", folder=None):
        self.held = None if folder else tempfile.TemporaryDirectory(prefix="zelfac-station.")
        self.folder = pathlib.Path(folder or self.held.name)
        (self.folder / "plan.toml").write_text(plan)
        lines = [f'name = "{name}"', 'plan = "plan.toml"', f'scan = "{SERIAL}"', more]
        for slot, place in slots.items():
            lines += ["[[slot]]", f'name = "{slot}"', place]
        if page is not None:
            lines += ["[page]", page]
        self.file = self.folder / "station.toml"
        self.file.write_text("\n".join(lines) + "\n")
        self.rows = []
        self.heard = threading.Condition()

    def __enter__(self):
        self.start()
        try:
            self.await_page()
        except BaseException:
            self.close()
            raise
        return self

    def start(self):
        # A test that was begun with nohup hands its children a SIGHUP that is ignored.
        command = ["env", "--default-signal=HUP", programs.find("zelline"), "--json", "station", self.file]
        self.errors = (self.folder / "err").open("w+")
        self.tool = subprocess.Popen(list(map(str, command)), stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=self.errors, text=True)
        self.reader = threading.Thread(target=self._read)
        self.reader.start()

    def await_page(self):
        self.url = self.wait(type="serving")["page"]

    def __exit__(self, *_):
        self.close()

    def close(self):
        if self.tool.poll() is None:
            self.end()
        self.tool.stdin.close()
        self.reader.join()
        self.tool.stdout.close()
        self.errors.close()
        if self.held:
            self.held.cleanup()

    def troubles(self):
        """What it has written on standard error."""
        return (self.folder / "err").read_text()

    def end(self, number=signal.SIGTERM):
        """Ends it by a signal, as the system does, and returns its exit status."""
        self.tool.send_signal(number)
        return self.tool.wait(NEVER)

    def _read(self):
        for line in self.tool.stdout:
            if not line.endswith("\n"):
                break  # it was killed within a line
            with self.heard:
                self.rows.append(json.loads(line))
                self.heard.notify_all()
        with self.heard:
            self.rows.append({"type": "end"})
            self.heard.notify_all()

    def seen(self):
        """How much has been said, for `since`."""
        with self.heard:
            return len(self.rows)

    def wait(self, since=0, **fields):
        """The first row from `since` on that has these fields."""
        end = time.monotonic() + NEVER
        with self.heard:
            while True:
                for row in self.rows[since:]:
                    if all(row.get(name) == value for name, value in fields.items()):
                        return row
                    if row["type"] == "end":
                        raise StationEnded(f"the station has ended: {self.troubles()}")
                if not self.heard.wait(end - time.monotonic()):
                    raise AssertionError(f"waited in vain for {fields}; last: {self.rows[-5:]}")

    def await_rows(self, count):
        """Until it has said so many."""
        with self.heard:
            self.heard.wait_for(lambda: len(self.rows) >= count or self.rows[-1:] == [{"type": "end"}], NEVER)

    def scan(self, text):
        """What the station says to something that is scanned."""
        since = self.seen()
        self.tool.stdin.write(text + "\n")
        self.tool.stdin.flush()
        row = self.wait(since, type="scan")
        return row["reply"], row["slot"], row["unit"]

    def post(self, path, **fields):
        """What the page's server answers to what acts."""
        page = http.client.HTTPConnection(urllib.parse.urlsplit(self.url).netloc, timeout=NEVER)
        with contextlib.closing(page):
            page.request("POST", path, json.dumps(fields), {"Content-Type": "application/json"})
            return json.loads(page.getresponse().read())

    def shown(self, fits):
        """The first of what a page hears, that is opened now, for which `fits` holds."""
        page = http.client.HTTPConnection(urllib.parse.urlsplit(self.url).netloc, timeout=NEVER)
        with contextlib.closing(page):
            page.request("GET", "/events")
            end = time.monotonic() + NEVER
            heard = []
            for line in page.getresponse():
                if line.startswith(b"data: "):
                    heard.append(json.loads(line.removeprefix(b"data: ")))
                    if fits(heard[-1]):
                        return heard[-1]
                if time.monotonic() > end:
                    break
            raise AssertionError(f"the page waited in vain; last: {heard[-5:]}")
