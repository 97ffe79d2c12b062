"""Customer sticks, and updates from them: what the tests of the USB update mode share.

The folders are made here by hand and not by `simset stick make`, so that the set is held against the layout itself.
"""

import json
import pathlib
import re
import shutil
import tempfile
import threading
import zlib

from setlib import Set

CUSTOMER = "RW9602CustomerFile"
COPY = "CopyRW9602CustomerFile"
CONFIG = "1\r\n2\r\n3\r\nACME\r\n4\r\n5\r\nACME-43\r\n"
RANGE = "00-11-22-33-44-FE--00-11-22-33-44-FF\r\n"
FLICKER = "tovix.sl2.system.ctrl.led.flicker"
LED = "tovix.sl2.system.ctrl.led.gpio"
ENCRYPT = "tovix.sl2.common.intf.action.encrypt.key"
CHECK = "tovix.sl2.common.intf.action.check.ciplus.key"

# folder, name of its file, empty word, error word, key number
CONFIGURATION = ("CONFIG", "CONFIG.bin", "config Err;", None)
KEYS = {
    "hdcp1": ("HDCP14KEY", "HDCP14MTK9602_1.bin", "hdcp14 Err;", 5),
    "hdcp2": ("HDCP22KEY", "HDCP22MTK9602_1.bin", "hdcp22 Err;", 1),
    "widevine": ("widevine_9602", "WIDEVNMTK9602_1.bin", "wvcenc Err;", 2),
    "netflix": ("Netflix_9602", "NETFLIXMT9602_1.bin", "netflix Err;", 0),
    "ciplus": ("CI+", "CIPLUSMTK9602_1.bin", "ci Err;", 3),
    "ciplusecp": ("ECP_CI+", "ECPCIPLUSMTK9602_1.bin", "ci ecp Err;", 4),
}
MAC = ("MAC", "mac.txt", "mac Err;", None)
ITEMS = {"config": CONFIGURATION, **KEYS, "mac": MAC}


def key_content(name, number=1):
    return f"content of {name} {number}\n".encode() * 20


def write(path, content):
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_bytes(content.encode() if isinstance(content, str) else content)


def full_stick(root, items=ITEMS, marker=True, oem=False, address_range=RANGE):
    """A customer's stick with one file for each of `items`."""
    root = pathlib.Path(root)
    write(root / "USB.ZEL", "")
    (root / CUSTOMER).mkdir(parents=True)
    if marker:
        write(root / CUSTOMER / "ZelFacTest_Eu4K", "")
    for name in items:
        folder, file, _, _ = ITEMS[name]
        content = {"config": CONFIG, "mac": address_range}.get(name) or key_content(name)
        write(root / CUSTOMER / folder / file, content)
    if oem:
        write(root / "OEM_data" / "logo.bin", "logo")
    return root


def files(root):
    """The files of a folder with their contents, by their paths in it."""
    root = pathlib.Path(root)
    return {str(path.relative_to(root)): path.read_bytes() for path in root.rglob("*") if path.is_file()}


class Folder:
    """A temporary folder for sticks and states."""

    def __enter__(self):
        self.path = pathlib.Path(tempfile.mkdtemp(prefix="zelfac-usb."))
        return self.path

    def __exit__(self, *_):
        shutil.rmtree(self.path, ignore_errors=True)


class Looking(Set):
    """A set whose sticks and keys can be looked at."""

    def read_stick(self, name="vu_sda1"):
        """The files of a plugged stick with their contents."""
        with Folder() as folder:
            self.ctl("usb", "read", name, folder)
            return files(folder)

    def keys(self):
        """The installed keys: their types with the checksums of their content."""
        return {key["type"]: key["crc32"] for key in self.value("keys", "list")}


class Idle(Looking):
    """A set that has power while its application does nothing."""

    def __init__(self, state):
        super().__init__("--app", "/bin/cat", state=state)


class Update(Looking):
    """A set that is switched on in USB update mode with sticks."""

    def __init__(self, *sticks, state=None, mode="3", panel="none", faults=(), options=(), wait=True):
        plugged = [word for stick in sticks for word in ("--usb", str(stick))]
        super().__init__("--mode", mode, *plugged, *options, state=state, panel=panel, wait=wait)
        self.faults = [list(map(str, fault)) for fault in faults]

    def start(self):
        if self.faults:
            with Idle(state=self.state) as idle:
                for fault in self.faults:
                    idle.ctl(*fault)
            self.faults = []
        super().start()

    def outcome(self):
        """Status and message as the set prints them at the end."""
        pattern = re.compile(r"^ m_secondUpdateStatus:(-?\d+) m_strSecondUpdateMessage:(.*)$", re.MULTILINE)
        self.await_true(lambda: pattern.search(self.output()), "the update's result")
        status, message = pattern.search(self.output()).groups()
        return int(status), message

    def sync_with_loop(self):
        """Waits until nothing has happened for a while: an import that ends early tells nothing."""
        calm = threading.Event()
        before = None
        for _ in range(60):
            now = len(self.trace())
            if now == before and " ret1:" in self.output():
                return
            before = now
            calm.wait(2.5)
        raise AssertionError("the update does not come to an end")

    def update_shell(self):
        """The shell commands after the partitions were made writable."""
        commands = self.shell()
        return commands[commands.index("echo ForceFreerun=TRUE > /proc/utopia_mdb/xc") + 1 :]

    def led(self):
        return self.value("model", "get", FLICKER), self.value("model", "get", LED)

    def configuration(self):
        """What a configuration sets, metadata as numbers by item."""
        numbers = {item: int(self.text("meta", "get", item)) for item in (0, 1, 2, 3, 4)}
        return {**numbers, "brand": self.text("flash", "get", "brand")}


def crc(content):
    return f"{zlib.crc32(content):08x}"


def trace_file(state):
    """The rows since the last power-on that the trace file still tells, after the set has gone."""
    rows = [json.loads(row) for row in (pathlib.Path(state) / "trace.jsonl").read_text().splitlines()]
    start = max(index for index, row in enumerate(rows) if row["seq"] == 1)
    return rows[start:]


def in_parallel(cases, run, width=4):
    """Runs `run(case)` for every case, `width` at a time, and returns (case, failure) for those that failed."""
    failed, left, lock = [], list(cases), threading.Lock()

    def work():
        while True:
            with lock:
                if not left:
                    return
                case = left.pop(0)
            try:
                run(case)
            except Exception as error:  # everything is told at the end
                with lock:
                    failed.append((case, error))

    threads = [threading.Thread(target=work) for _ in range(width)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    return failed
