"""Key and configuration files over the line, as a sender of its own cuts them and the set is expected to take them."""

import concurrent.futures
import os
import threading
import zlib

from setlib import Set
from zelfac import keyfiles
from zelfac.keyfiles import CONFIG

STAGING = "/tmp/tmpkey"


def content(kind, size):
    """A file of that size which no other kind or size has; a configuration is one that a set can take."""
    if kind is CONFIG:
        text = b"%d\r\n2\r\n1\r\nACME\r\n0\r\n6\r\nZ43\r\n" % (size % 7 + 1) + b"#" * size
        return text[:size]
    seed = b"%s %d" % (kind.name.encode(), size)
    data = b""
    while len(data) < size:
        seed = zlib.crc32(seed).to_bytes(4, "big") + seed[:16]
        data += seed[:4]
    return data[:size]


class KeySet(Set):
    """A connected set on a line whose bytes take no time."""

    def __enter__(self):
        super().__enter__()
        self.await_started()
        self.disturb(baud=0)
        self.line.connect()
        self.clear_trace()
        return self

    def send(self, kind, data):
        """Sends the file in one burst and returns the answer."""
        return keyfiles.send(self.line, kind, data)

    def query(self, kind):
        return self.line.ask(kind.query)

    def key(self, kind):
        """(size, crc32) of the installed key of that number."""
        rows = [row for row in self.keys.list() if row["key"] == kind.key]
        return (rows[0]["size"], int(rows[0]["crc32"], 16)) if rows else None

    def calls(self, who="keys"):
        rows = self.trace(who=who)
        return [(row["call"], row.get("key"), tuple(row.get("files", ()))) for row in rows]

    def received(self):
        """What the set has received of a file that is not complete: its bytes so far, and the numbers of its chunks."""
        chunks = [name for name in entries(self.staging()) if name.startswith("tmp_")]
        return self.cat(STAGING + "/tmp.bin"), [int(name[4:7]) for name in chunks]

    def staging(self):
        """The staging area as the application sees it."""
        return f"/proc/{self.ready['pid']}/root{STAGING}"


def entries(folder):
    """Paths below a folder, with a slash behind folders; None when there is no such folder."""
    if not os.path.isdir(folder):
        return None
    found = []
    for path, folders, files in os.walk(folder):
        relative = os.path.relpath(path, folder)
        found += [os.path.normpath(os.path.join(relative, name)) + "/" for name in folders]
        found += [os.path.normpath(os.path.join(relative, name)) for name in files]
    return sorted(found)


class PreparedSets:
    """A new set for each test of a class: the next one comes up while a test runs, and the last one ends."""

    @classmethod
    def prepare(cls):
        """Starts a set on a thread of its own; returns where it, or what went wrong, is to come."""
        coming = concurrent.futures.Future()

        def start():
            try:
                coming.set_result(KeySet().__enter__())
            except BaseException as trouble:
                coming.set_exception(trouble)

        threading.Thread(target=start).start()
        return coming

    @classmethod
    def setUpClass(cls):
        cls.coming = cls.prepare()

    @classmethod
    def tearDownClass(cls):
        cls.coming.result().close()

    def setUp(self):
        # Only one set is waited for, and no other is held meanwhile.
        self.tv = self.coming.result()
        type(self).coming = self.prepare()
        self.addCleanup(threading.Thread(target=self.tv.close).start)
