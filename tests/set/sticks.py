"""Customer sticks, and updates from them: what the tests of the USB update mode share."""

import concurrent.futures
import pathlib
import re
import tempfile
import threading
import zlib

from setlib import Set
from zelfac.sticks import FILES, address_range, make, write

CONFIG = "1\r\n2\r\n3\r\nACME\r\n4\r\n5\r\nACME-43\r\n"
RANGE = address_range("00-11-22-33-44-FE", "00-11-22-33-44-FF")
FLICKER = "tovix.sl2.system.ctrl.led.flicker"
LED = "tovix.sl2.system.ctrl.led.gpio"
ENCRYPT = "tovix.sl2.common.intf.action.encrypt.key"
CHECK = "tovix.sl2.common.intf.action.check.ciplus.key"

# What the set calls an item that failed.
ERRORS = {
    "config": "config Err;",
    "hdcp1": "hdcp14 Err;",
    "hdcp2": "hdcp22 Err;",
    "widevine": "wvcenc Err;",
    "netflix": "netflix Err;",
    "ciplus": "ci Err;",
    "ciplusecp": "ci ecp Err;",
    "mac": "mac Err;",
}
KEYS = [name for name in FILES if name not in ("config", "mac")]


def key_content(name, number=1):
    return f"content of {name} {number}\n".encode() * 20


def full_stick(root, items=tuple(FILES), marker=True, oem=False, addresses=RANGE):
    """A customer's stick with one file for each of `items`."""
    own = {"config": CONFIG, "mac": addresses}
    stick = make(root, {name: own[name] if name in own else key_content(name) for name in items}, marker)
    if oem:
        write(stick / "OEM_data" / "logo.bin", "logo")
    return stick


def files(root):
    """The files of a folder with their contents, by their paths in it."""
    root = pathlib.Path(root)
    return {str(path.relative_to(root)): path.read_bytes() for path in root.rglob("*") if path.is_file()}


class Folder(tempfile.TemporaryDirectory):
    """A temporary folder for sticks and states, as a path."""

    def __init__(self):
        super().__init__(prefix="zelfac-usb.", ignore_cleanup_errors=True)

    def __enter__(self):
        return pathlib.Path(self.name)


def installed(tv):
    """The installed keys: their types with the checksums of their content."""
    return {key["type"]: key["crc32"] for key in tv.keys.list()}


class Update(Set):
    """A set that is switched on in USB update mode with sticks."""

    def __init__(self, *sticks, options=(), mode="3", **more):
        super().__init__(*options, sticks=sticks, mode=mode, **more)

    def outcome(self):
        """Status and message as the set prints them at the end."""
        pattern = re.compile(r"^ m_secondUpdateStatus:(-?\d+) m_strSecondUpdateMessage:(.*)\n", re.MULTILINE)
        status, message = self.await_output(pattern).groups()
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

    def led(self):
        return self.model.get(FLICKER), self.model.get(LED)

    def configuration(self):
        """What a configuration sets, metadata as numbers by item."""
        numbers = {item: int(self.meta.get(item)) for item in (0, 1, 2, 3, 4)}
        return {**numbers, "brand": self.flash.get("brand")}


def crc(content):
    return f"{zlib.crc32(content):08x}"


def in_parallel(cases, run, width=4):
    """Runs `run(case)` for every case, `width` at a time, and returns (case, failure) for those that failed."""

    def one(case):
        try:
            run(case)
            return None
        except Exception as error:  # everything is told at the end
            return case, error

    with concurrent.futures.ThreadPoolExecutor(width) as pool:
        return [failure for failure in pool.map(one, cases) if failure]
