"""What zelline captures of a session, as tshark reads it with the dissector: what was on the line and what it means."""

import pathlib
import struct
import subprocess
import tempfile
import time
import unittest

import runner
from runner import AtOnce
from setlib import NEVER, Set
from zelfac import frame, matching, result

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "docs/wireshark/zelfac.lua"
FIELDS = ["frame.time_epoch", "frame.p2p_dir", "frame.interface_name", "frame.comment", "zelfac.role", "zelfac.start",
          "zelfac.kind", "zelfac.id", "zelfac.name", "zelfac.length", "zelfac.payload", "zelfac.text", "zelfac.number",
          "zelfac.crc", "zelfac.status", "zelfac.index", "zelfac.total", "zelfac.checksum", "zelfac.checksum.good",
          "zelfac.end", "zelfac.flush", "zelfac.noise", "zelfac.left_out", "_ws.expert.message", "_ws.col.Info"]
SENT, RECEIVED = "0", "1"

PLAN = """
[[step]]
run = "sn write AB12"
[[step]]
run = "sn read"
[[step]]
run = "uptime"
[[step]]
run = "backlight read"
[[step]]
run = "volume 20"
[[step]]
run = "cam"
expect = { status = "failure" }
[[step]]
run = "key send hdcp1 key.bin"
"""


def dissected(path):
    """The packets of a capture: a dictionary of the fields that are there."""
    command = ["tshark", "-X", f"lua_script:{SCRIPT}", "-r", path, "-T", "fields", "-E", "separator=/t"]
    done = subprocess.run([*command, *(word for name in FIELDS for word in ("-e", name))], capture_output=True, text=True, timeout=NEVER)
    assert done.returncode == 0 and "Lua" not in done.stderr, done.stderr
    packets = []
    for line in done.stdout.splitlines():
        values = zip(FIELDS, line.split("\t"), strict=True)
        truth = {"True": "1", "False": "0"}  # as newer versions write them
        packets.append({name.removeprefix("zelfac."): truth.get(value, value) for name, value in values if value})
    return packets


def block(kind, body):
    body += b"\0" * (-len(body) % 4)
    size = len(body) + 12
    return struct.pack("<II", kind, size) + body + struct.pack("<I", size)


def capture_of(path, *packets, flags=0):
    """Writes a capture as any program may: each packet its bytes, all in the direction that `flags` say, 0: in none."""
    head = block(0x0A0D0D0A, struct.pack("<IHHq", 0x1A2B3C4D, 1, 0, -1)) + block(1, struct.pack("<HHI", 147, 0, 0))
    rows = (block(6, struct.pack("<IIIII", 0, 0, 0, len(data), len(data)) + data + b"\0" * (-len(data) % 4)
                  + struct.pack("<HHI", 2, 4, flags)) for data in packets)
    path.write_bytes(head + b"".join(rows))
    return dissected(path)


class Session(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix="zelfac-capture.")
        cls.addClassCleanup(folder.cleanup)
        folder = pathlib.Path(folder.name)
        (folder / "plan.toml").write_text(PLAN)
        cls.key = bytes(range(100))
        (folder / "key.bin").write_bytes(cls.key)
        with Set() as tv:
            cls.port = str(tv.ready["line"])
            cls.begun = time.time()
            for name, options in {"hidden": [], "shown": ["--trace-key-bytes"]}.items():
                path = folder / f"{name}.pcapng"
                done = tv.zelline("run", folder / "plan.toml", "--trace", path, *options, timeout=None)
                assert done.returncode == 0, done.stdout + done.stderr
                setattr(cls, name, dissected(path))
                rows = [row for row in matching(tv.trace(), who="line") if "id" in row]
                cls.rows = rows[len(getattr(cls, "rows", [])):]
            cls.replayed = tv.zelline("replay", folder / "shown.pcapng", timeout=None)
            cls.ended = time.time()

    def of(self, packets, number, **members):
        """The packet of that id and these members; the first when there are several."""
        members["id"] = f"0x{number:04x}"
        return next(packet for packet in packets if members.items() <= packet.items())

    def test_it_is_what_the_set_saw(self):
        for direction, to in ((SENT, "set"), (RECEIVED, "line")):
            seen = [row for row in self.rows if row["to"] == to]
            captured = [packet for packet in self.shown if packet["frame.p2p_dir"] == direction and "id" in packet]
            self.assertGreater(len(captured), 8)
            self.assertEqual([int(packet["id"], 16) for packet in captured], [int(row["id"], 16) for row in seen])
            for packet, row in zip(captured, seen):
                # The set's trace leaves out the bytes of a key's chunks.
                self.assertEqual(packet.get("payload", ""), row.get("payload", packet.get("payload")), packet)

    def test_frames_are_taken_apart(self):
        times = [float(packet["frame.time_epoch"]) for packet in self.hidden + self.shown]
        self.assertEqual(times, sorted(times))
        self.assertLessEqual(self.begun, times[0])
        self.assertLessEqual(times[-1], self.ended)
        for packet in self.shown:
            if packet["role"] == "flush":
                continue
            self.assertEqual((packet["start"], packet["end"], packet["checksum.good"]), ("0x79", "0xfe", "1"))
            self.assertNotIn("noise", packet)
            self.assertEqual(packet["frame.interface_name"], self.port)
            self.assertTrue(packet["frame.comment"].startswith(packet["role"]), packet)
            self.assertIn(f"{packet['role']} 0x{int(packet['id'], 16):04X} {packet['name']}", packet["_ws.col.Info"])

    def test_values_are_as_the_set_means_them(self):
        write = self.of(self.hidden, 0x1274, role="request")
        self.assertEqual((write["name"], write["text"], write["length"]), ("write PCB serial number", "AB12", "4"))
        self.assertEqual(self.of(self.hidden, 0x1274, role="answer")["status"], "0")
        self.assertEqual(self.of(self.hidden, 0x1275, role="answer")["text"], "AB12")
        uptime = self.of(self.hidden, 0x1296, role="answer")
        self.assertEqual(int(uptime["number"]), int.from_bytes(bytes.fromhex(uptime["payload"]), "little"))
        self.assertLess(int(uptime["number"]), 1 << 24)
        self.assertEqual(self.of(self.hidden, 0x129F, role="request")["number"], "20")
        self.assertEqual(self.of(self.hidden, 0x128A, role="answer")["status"], "1")
        checksum = [packet for packet in self.hidden if packet.get("id") == "0x1282" and packet["role"] == "answer"][-1]
        self.assertEqual(checksum["crc"], "0x" + checksum["payload"])

    def test_key_bytes_are_left_out_unless_asked_for(self):
        hidden = [packet for packet in self.hidden if packet.get("id") == "0x1281" and packet["role"] == "request"]
        self.assertEqual([(packet["length"], packet.get("left_out"), "payload" in packet) for packet in hidden],
                         [("64", "1", False), ("36", "1", False)])
        self.assertIn("chunk 1 of 2", hidden[0]["frame.comment"])
        shown = [packet for packet in self.shown if packet.get("id") == "0x1281" and packet["role"] == "request"]
        self.assertEqual(bytes.fromhex("".join(packet["payload"] for packet in shown)), self.key)
        self.assertEqual([(packet["index"], packet["total"]) for packet in shown], [("0", "2"), ("1", "2")])

    def test_flushes_are_told(self):
        for packets in (self.hidden, self.shown):
            flushes = [at for at, packet in enumerate(packets) if packet["role"] == "flush"]
            # The session begins with a flush and a connect, the transfer with one and a query that is answered empty.
            self.assertEqual((flushes[0], len(flushes)), (0, 2))
            self.assertEqual([packets[at + 1]["id"] for at in flushes], ["0x1273", "0x1277"])
            for at in flushes:
                flush = packets[at]
                self.assertEqual((flush["flush"], flush["frame.p2p_dir"]), ("00" * 73, SENT))
                self.assertEqual(flush["_ws.col.Info"], "flush, 73 zero bytes")
                self.assertTrue(flush["frame.comment"].startswith("flush, "), flush)
                self.assertEqual(flush["_ws.expert.message"], flush["frame.comment"])  # and no complaint

    def test_it_can_be_sent_again(self):
        self.assertIn(b"same    request 0x1275", self.replayed.stdout)


class Others(AtOnce):
    """Captures that another program wrote."""

    def dissect(self, *packets, **how):
        with tempfile.TemporaryDirectory(prefix="zelfac-capture.") as folder:
            return capture_of(pathlib.Path(folder) / "c.pcapng", *packets, **how)

    def test_damage_is_told(self):
        good = bytes(frame(0x1274, b"AB12"))
        wrong = good[:-2] + bytes([good[-2] ^ 1, good[-1]])
        for packet in self.dissect(wrong):
            self.assertEqual((packet["checksum.good"], packet["_ws.expert.message"]), ("0", "The checksum is wrong"))
            self.assertIn("checksum is wrong", packet["_ws.col.Info"])
        noise, cut = self.dissect(b"\x01\x79\x02", good[:-1])
        self.assertEqual((noise["noise"], noise["_ws.expert.message"]), ("017902", "Bytes that are no frame"))
        self.assertEqual(cut["noise"], good[:-1].hex())

    def test_flushes_of_either_direction(self):
        for flags, direction in ((0, None), (1, RECEIVED), (2, SENT)):
            flush, both, short = self.dissect(bytes(73), bytes(80) + bytes(frame(0x1273)), bytes(72), flags=flags)
            self.assertEqual([packet.get("frame.p2p_dir") for packet in (flush, both, short)], [direction] * 3)
            self.assertEqual((flush["role"], flush["flush"]), ("flush", "00" * 73))
            self.assertEqual((both["role"], both["flush"]), ("flush,request", "00" * 80))
            self.assertEqual((short["noise"], "flush" in short), ("00" * 72, False))

    def test_several_frames_in_one_packet(self):
        stream = bytes(frame(0x1273)) + b"\xff" + bytes(result(0x1296, b"\x2c\x01\0\0"))
        [packet] = self.dissect(stream)
        self.assertEqual((packet["role"], packet["number"], packet["noise"]), ("request,answer", "300", "ff"))

    def test_roles_and_forms(self):
        unreadable, key, ready, bits = self.dissect(
            bytes(result(0x1279, b"\x01")), bytes(result(0x1287, b"MENU")), bytes.fromhex("790012720102000178FE"),
            bytes(result(0x1282, b"\x01\x02\x03\x04")))
        self.assertTrue(unreadable["_ws.col.Info"].endswith("cannot be read"))
        self.assertEqual((key["role"], key["text"]), ("key press", "MENU"))
        self.assertEqual((ready["role"], ready["name"]), ("ready", "ready"))
        self.assertEqual(bits["crc"], "0x01020304")


if __name__ == "__main__":
    runner.main()
