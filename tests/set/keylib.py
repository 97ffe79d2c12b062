"""Key and configuration files over the line, as a sender of its own cuts them and the set is expected to take them."""

import concurrent.futures
import os
import threading
import zlib
from dataclasses import dataclass

from setlib import Line, Set, frame

CHUNK = 64
STAGING = "/tmp/tmpkey"


@dataclass(frozen=True)
class Kind:
    """One kind of file as the line knows it."""

    name: str  # as zelline has it
    command: int
    query: int
    word: str
    file: str
    key: int = -1  # the key store's number
    ci: str = ""  # the word of CI+ credentials


HDCP1 = Kind("hdcp1", 0x1281, 0x1282, "HDCP1", "ZelHDCP1Key.bin", 5)
HDCP2 = Kind("hdcp2", 0x1283, 0x1284, "HDCP2", "ZelHDCP2Key.bin", 1)
CIPLUS = Kind("ciplus", 0x1285, 0x1286, "CIPLUS", "CIPLUSMTK9602QX00000001.bin", 3, "NON_ECP")
ESN = Kind("esn-ulpk-mac", 0x12A1, 0x12A3, "ESN_ULPK_MAC", "ESN_ULPK_MAC_123.bin", 2)
WIDEVINE = Kind("widevine", 0x12A2, 0x12A4, "WIDEVINE", "KeyBox01.bin", 2)
CONFIG = Kind("config", 0x12A7, 0x12A7, "CONFIG", "config.ini")
NETFLIX = Kind("netflix", 0x12B3, 0x12B4, "NETFLIX", "NETFLIX_123.bin", 0)
CIPLUSECP = Kind("ciplusecp", 0x12B9, 0x12BA, "CIPLUSECP", "ECPCIPLUSMTK96020000QX00000002.bin", 4, "ECP")


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


def pieces(data):
    return [data[at : at + CHUNK] for at in range(0, len(data), CHUNK)]


def chunk(kind, index, total, data):
    return frame(kind.command, data, a=index, b=total)


def chunks(kind, data):
    parts = pieces(data)
    return [chunk(kind, index, len(parts), part) for index, part in enumerate(parts)]


def crc(data):
    return zlib.crc32(data).to_bytes(4, "big")


class KeySet(Set):
    """A connected set on a line whose bytes take no time."""

    def __enter__(self):
        super().__enter__()
        self.await_started()
        self.ctl("line", "--baud", 0)
        self.line.connect()
        self.ctl("trace", "--clear")
        return self

    def send(self, kind, data):
        """Sends the file in one burst and returns the answer."""
        return self.line.exchange(b"".join(chunks(kind, data)))

    def zelline(self, *arguments, **options):
        """zelline takes no port that another program has open."""
        self.line.close()
        try:
            return super().zelline(*arguments, **options)
        finally:
            self.line = Line(self.ready["line"])

    def query(self, kind):
        return self.line.ask(kind.query)

    def key(self, kind):
        """(size, crc32) of the installed key of that number."""
        for row in self.value("keys", "list"):
            if row["key"] == kind.key:
                return row["size"], int(row["crc32"], 16)
        return None

    def calls(self, who="keys"):
        rows = self.trace(who=who)
        return [(row["call"], row.get("key"), tuple(row.get("files", ()))) for row in rows]

    def received(self):
        """What the set has received of a file that is not complete: its bytes so far, and the numbers of its chunks."""
        chunks = [name for name in entries(self.staging()) if name.startswith("tmp_")]
        return self.ctl("cat", STAGING + "/tmp.bin").stdout, [int(name[4:7]) for name in chunks]

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
        cls.coming.result().__exit__()

    def setUp(self):
        # Only one set is waited for, and no other is held meanwhile.
        self.tv = self.coming.result()
        type(self).coming = self.prepare()
        self.addCleanup(threading.Thread(target=self.tv.__exit__).start)
