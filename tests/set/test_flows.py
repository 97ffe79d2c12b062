"""What is set at start-up, around the start of the link and in burn-in mode, step by step."""

import concurrent.futures
import re
import unittest

import setlib
from setlib import Set

PARTITIONS = [
    "/zodata/critical",
    "/zodata/factory",
    "/zodata/model",
    "/var/local",
    "/var/run",
    "/vendor/tvconfig/config",
    "/config",
    "/serialdata",
    "/certificate",
]
SOURCE = "tovix.sl2.action.source.switch"
TUNERS = "tovix.sl2.table.favouritelist.list"
CHANNELS = "tovix.sl2.table.servicelist.list"
RADIO = ("tovix.sl2.i32.network.", "tovix.sl2.vint32.network.", "tovix.sl2.vstr.bluetooth.", "tovix.sl2.i32.bluetooth.")

PRESET_STEPS = [
    ("set", "tovix.sl2.i32.basic.settings.tvset.location", 8),
    ("set", "tovix.sl2.i32.language.osd", 1),
    ("invoke", "tovix.sl2.table.servicelist.list.preset.database", [["0", "38"]]),
    ("iterator", TUNERS),
]
CHANNEL_STEPS = [("iterator", CHANNELS)] * 3
SOURCE_STEP = [("invoke", SOURCE, [["0", "ZelFacTestUUID"], ["1", "9"], ["2", "HDMI1"], ["3", "0"]])]
MOUNT_STEPS = (
    [("mount", path, 32) for path in PARTITIONS]
    + [("shell", f"mount -o remount,rw {path}") for path in PARTITIONS]
    + [("shell", "echo ForceFreerun=TRUE > /proc/utopia_mdb/xc"), ("shell", "echo 18 > /var/run/superwatch")]
)
MAC_STEPS = [("meta read", 8), ("flash set", "macaddr"), ("meta write", 8)]
SOUND_STEPS = [
    ("set", "tovix.sl2.i32.sound.speaker.arc.mode", 3),
    ("invoke", "tovix.sl2.action.sound.force.speaker.spdif.unmute", []),
]
PICTURE = "tovix.sl2.i32.video.factory.picture.mode"
EQUALIZER = "tovix.sl2.i32.sound.equalizer.freq."
MEASURING_STEPS = (
    [
        ("set", "tovix.sl2.i32.video.apply.mode", 1),
        ("set", PICTURE, 1),
        ("set", PICTURE + ".data.brightness", 50),
        ("set", PICTURE + ".data.contrast", 80),
        ("set", PICTURE + ".data.colorintensity", 50),
        ("set", PICTURE + ".data.sharpness", 50),
        ("set", PICTURE + ".data.hue", 0),
        ("set", "tovix.sl2.i32.video.rgb.only", 0),
        ("set", "tovix.sl2.i32.sound.apply.mode", 1),
        ("set", "tovix.sl2.i32.sound.main.volume", 90),
        ("set", "tovix.sl2.i32.sound.headphone.mode", 1),
        ("set", "tovix.sl2.i32.sound.headphone.volume", 90),
    ]
    + [("set", EQUALIZER + band, 0) for band in ("100hz", "250hz", "600hz", "1khz", "2k5hz", "6khz", "10khz")]
    + [
        ("set", "tovix.sl2.i32.sound.volume.automatic", 0),
        ("set", "tovix.sl2.vint32.sound.soc.drc", [[0, 0]]),
        ("set", "tovix.sl2.vint32.sound.dts.peq", [[1, 0]]),
    ]
)
LAST_STEPS = [
    ("invoke", "tovix.sl2.action.network.wired.set", []),
    ("set", "tovix.sl2.i32.video.format", 0),
    ("keys write", 6, [""]),
    ("keys check", 6),
    ("keys write", 8, [""]),
    ("keys check", 8),
]


def steps(tv):
    """The trace from the flow's first step on, in short; without reads, and without the radios' search."""
    short = []
    for row in tv.trace():
        who, call = row["who"], row.get("call")
        if who == "mount":
            short.append(("mount", row["target"], row["flags"]))
        elif who == "shell":
            short.append(("shell", row["command"]))
        elif who == "keys":
            short.append((f"keys {call}", row["key"]) + ((row["files"],) if call == "write" else ()))
        elif who == "flash" and call == "set":
            short.append(("flash set", row["name"]))
        elif who == "meta" and call in ("read", "write") and row["item"] == 8:
            short.append((f"meta {call}", 8))
        elif who == "model" and not row.get("key", "").startswith(RADIO):
            if call == "set":
                short.append((call, row["key"], row["value"]))
            elif call == "invoke" and ".bluetooth." not in row["key"]:
                short.append((call, row["key"], row["args"]))
            elif call == "iterator":
                short.append((call, row["key"]))
    return short[short.index(PRESET_STEPS[0]) :] if PRESET_STEPS[0] in short else short


def writable(tv):
    """The partitions by whether their mount flags let write."""
    flags = {fields[1]: fields[3].split(",") for fields in map(str.split, tv.text("mounts").splitlines())}
    return {path: "rw" in flags[path] for path in PARTITIONS}


def fails(output, name):
    return sum(line.startswith(f" {name} ") and line.endswith(" fail") for line in output.splitlines())


class AutoTest(unittest.TestCase):
    def test_every_step_in_order(self):
        with Set("--mode", "none") as resting:
            self.assertEqual(writable(resting), dict.fromkeys(PARTITIONS, False))
            self.assertNotIn("ForceFreerun", resting.text("cat", "/proc/utopia_mdb/xc"))
        with Set() as tv:
            tv.await_started()
            wanted = PRESET_STEPS + CHANNEL_STEPS + SOURCE_STEP + MOUNT_STEPS + MAC_STEPS + SOUND_STEPS
            wanted += MEASURING_STEPS + LAST_STEPS
            self.assertEqual(steps(tv), wanted)
            self.assertEqual([row["status"] for row in tv.trace(who="mount")], [0] * 9)
            self.assertEqual(writable(tv), dict.fromkeys(PARTITIONS, True))
            self.assertEqual(tv.text("cat", "/proc/utopia_mdb/xc"), "ForceFreerun=TRUE")
            self.assertEqual(tv.text("cat", "/var/run/superwatch"), "18")
            self.assertEqual(tv.value("model", "get", "tovix.sl2.vint32.sound.soc.drc")[0], 0)
            self.assertEqual(tv.value("model", "get", "tovix.sl2.vint32.sound.dts.peq")[1], 0)
            output = tv.output()
            self.assertNotIn("mount fail", output)
            self.assertNotIn(" fail\n", output.split("u8DelayCount")[1])
            self.assertRegex(output, r" ZelFacAutoTestAfterSetDefaultSetting \d+ m_i32RetCheckPlayreadyYoutube:0\n")

    def test_the_link_answers_between_the_halves(self):
        """The second half may still be running when the first command comes."""
        with Set() as tv:
            tv.await_output("cus uart debug test loop start")
            tv.line.connect()
            tv.await_started()
            self.assertEqual(tv.line.ask(0x1290), setlib.status(0x1290, 0))

    def test_no_failure_stops_it(self):
        arrange = [("model", "fail", "*", "operate", "7"), ("keys", "fail", "*", "write", "3"), ("keys", "fail", "*", "check", "4")]
        arrange += [("meta", "fail", "8", "5"), ("flash", "fail", "macaddr", "6")]
        with Set(arrange=arrange) as tv:
            tv.await_started()
            made = [step for step in steps(tv) if not step[0].startswith(("meta", "flash"))]
            wanted = PRESET_STEPS + SOURCE_STEP + MOUNT_STEPS + SOUND_STEPS + MEASURING_STEPS + LAST_STEPS
            self.assertEqual(made, wanted)
            output = tv.output()
            for step in (2277, 2283, 2296, 2303):
                self.assertIn(f" ZelSetPresetChannel {step} fail\n", output)
            self.assertIn("unable to create table iterator for service list!\n\n", output)
            self.assertEqual(fails(output, "ZelSetPQBypass"), 8)
            self.assertEqual(fails(output, "ZelSetAQEnable"), 14)
            self.assertEqual(fails(output, "ZelFacAutoTestAfterSetDefaultSetting"), 4)
            self.assertGreaterEqual(fails(output, "ZelFacAutoTestBeforSetDefaultSetting"), 4)
            self.assertEqual(writable(tv), dict.fromkeys(PARTITIONS, True))


class OwnKeys(unittest.TestCase):
    """PlayReady and YouTube: the lines of what failed, and the joined result."""

    CASES = {
        "playready write": ([("playready", "write", 5)], ["writeKeys PLAYREADY ret:5", "checkKeyFile PLAYREADY ret:5"], 9),
        "playready check": ([("playready", "check", 6)], ["checkKeyFile PLAYREADY ret:0"], 6),
        "both checks": (
            [("playready", "check", 6), ("youtube", "check", 9)],
            ["checkKeyFile PLAYREADY ret:0", "checkKeyFile YOUTUBE ret:0"],
            15,
        ),
        "youtube, both": (
            [("youtube", "write", 2), ("youtube", "check", 4)],
            ["writeKeys YOUTUBE ret:2", "checkKeyFile YOUTUBE ret:2"],
            4,
        ),
    }

    def run_case(self, faults):
        with Set(arrange=[("keys", "fail", *fault) for fault in faults]) as tv:
            tv.await_true(lambda: re.search(r"m_i32RetCheckPlayreadyYoutube:\d+\n", tv.output()), "the joined result")
            tv.line.connect()
            return tv.output(), tv.line.ask(0x129A)

    def test_lines_and_result(self):
        with concurrent.futures.ThreadPoolExecutor(len(self.CASES)) as pool:
            runs = {name: pool.submit(self.run_case, case[0]) for name, case in self.CASES.items()}
        for name, (_, lines, joined) in self.CASES.items():
            output, finish = runs[name].result()
            printed = [line.strip("=") for line in output.splitlines() if "writeKeys" in line or "checkKeyFile" in line]
            self.assertEqual(printed, lines, name)
            for line in lines:
                self.assertIn(f"========={line}=========\n", output)
            self.assertIn(f"m_i32RetCheckPlayreadyYoutube:{joined}\n", output, name)
            self.assertEqual(finish, setlib.status(0x129A, 1), name)


class BurnIn(unittest.TestCase):
    def test_three_writes_and_nothing_else(self):
        with Set("--mode", "2") as tv:
            led = "tovix.sl2.system.ctrl.led.flicker"
            pattern = "tovix.sl2.i32.video.factory.testPattern"
            tv.await_true(lambda: tv.trace(who="model", call="disconnect", key=pattern), "the test pattern")
            rows = [row for row in tv.trace(who="model") if row["call"] in ("set", "invoke", "iterator")]
            writes = [(row["key"], row["value"]) for row in rows]
            self.assertEqual(writes, [("tovix.sl2.i32.video.apply.mode", 1), (led, 1), (pattern, 0)])
            self.assertEqual(tv.trace(who="mount") + tv.trace(who="keys"), [])
            self.assertNotIn("remount", " ".join(tv.shell()))
            self.assertEqual(writable(tv), dict.fromkeys(PARTITIONS, False))

    def test_failures_are_told_and_passed_over(self):
        with Set("--mode", "2", arrange=[("model", "fail", "*", "operate", "7")]) as tv:
            tv.await_true(lambda: fails(tv.output(), "ZelBurnModeBeforSetDefaultSetting") == 3, "three lines")
            self.assertEqual(len(tv.trace(who="model", call="set")), 3)


if __name__ == "__main__":
    setlib.main()
