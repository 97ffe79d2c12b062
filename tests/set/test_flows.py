"""What is set at start-up, around the start of the link and in burn-in mode."""

import re

import runner
from runner import AtOnce, cases
from setlib import Set
from zelfac import status

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
PICTURE = "tovix.sl2.i32.video.factory.picture.mode"
EQUALIZER = "tovix.sl2.i32.sound.equalizer.freq."
# What the flow leaves in the model.
SETTINGS = {
    "tovix.sl2.i32.basic.settings.tvset.location": 8,
    "tovix.sl2.i32.language.osd": 1,
    "tovix.sl2.i32.sound.speaker.arc.mode": 3,
    "tovix.sl2.i32.video.apply.mode": 1,
    PICTURE: 1,
    PICTURE + ".data.brightness": 50,
    PICTURE + ".data.contrast": 80,
    PICTURE + ".data.colorintensity": 50,
    PICTURE + ".data.sharpness": 50,
    PICTURE + ".data.hue": 0,
    "tovix.sl2.i32.video.rgb.only": 0,
    "tovix.sl2.i32.sound.apply.mode": 1,
    "tovix.sl2.i32.sound.main.volume": 90,
    "tovix.sl2.i32.sound.headphone.mode": 1,
    "tovix.sl2.i32.sound.headphone.volume": 90,
    **{EQUALIZER + band: 0 for band in ("100hz", "250hz", "600hz", "1khz", "2k5hz", "6khz", "10khz")},
    "tovix.sl2.i32.sound.volume.automatic": 0,
    "tovix.sl2.i32.video.format": 0,
}
# Lists, of which the flow sets one place.
PLACES = {"tovix.sl2.vint32.sound.soc.drc": 0, "tovix.sl2.vint32.sound.dts.peq": 1}


def writable(tv):
    """The partitions by whether their mount flags let write."""
    mounts = tv.mounts()
    return {path: "rw" in mounts[path] for path in PARTITIONS}


def fails(output, name):
    return sum(line.startswith(f" {name} ") and line.endswith(" fail") for line in output.splitlines())


class AutoTest(AtOnce):
    def test_what_it_leaves_behind(self):
        # Everything has another value before.
        arrange = [("model", "set", key, 1 if value == 0 else 0) for key, value in SETTINGS.items()]
        with Set(arrange=arrange) as tv:
            tv.await_started()
            self.assertEqual({key: tv.model.get(key) for key in SETTINGS}, SETTINGS)
            for key, place in PLACES.items():
                self.assertEqual(tv.model.get(key)[place], 0, key)
            self.assertEqual(tv.model.get("tovix.sl2.action.source.switch")["source"], "HDMI1")
            self.assertLessEqual({"playready", "youtube"}, {key["type"] for key in tv.keys.list()})
            self.assertEqual([row["status"] for row in tv.trace(who="mount")], [0] * 9)
            self.assertEqual(writable(tv), dict.fromkeys(PARTITIONS, True))
            self.assertEqual(tv.text("cat", "/proc/utopia_mdb/xc"), "ForceFreerun=TRUE")
            self.assertEqual(tv.text("cat", "/var/run/superwatch"), "18")
            output = tv.output()
            self.assertNotIn("mount fail", output)
            self.assertNotIn(" fail\n", output.split("u8DelayCount")[1])
            self.assertRegex(output, r" ZelFacAutoTestAfterSetDefaultSetting \d+ m_i32RetCheckPlayreadyYoutube:0\n")

    def test_nothing_is_open_before(self):
        with Set(mode="none") as resting:
            self.assertEqual(writable(resting), dict.fromkeys(PARTITIONS, False))
            self.assertNotIn("ForceFreerun", resting.text("cat", "/proc/utopia_mdb/xc"))

    def test_the_link_answers_between_the_halves(self):
        """The second half may still be running when the first command comes."""
        with Set() as tv:
            tv.await_output("cus uart debug test loop start")
            tv.line.connect()
            tv.await_started()
            self.assertEqual(tv.line.ask(0x1290), status(0x1290, 0))

    def test_no_failure_stops_it(self):
        arrange = [("model", "fail", "*", "operate", 7), ("keys", "fail", "*", "write", 3), ("keys", "fail", "*", "check", 4)]
        arrange += [("meta", "fail", 8, 5), ("flash", "fail", "macaddr", 6)]
        with Set(arrange=arrange) as tv:
            tv.await_started()
            output = tv.output()
            for step in (2277, 2283, 2296, 2303):
                self.assertIn(f" ZelSetPresetChannel {step} fail\n", output)
            self.assertIn("unable to create table iterator for service list!\n\n", output)
            self.assertEqual(fails(output, "ZelSetPQBypass"), 8)
            self.assertEqual(fails(output, "ZelSetAQEnable"), 14)
            self.assertEqual(fails(output, "ZelFacAutoTestAfterSetDefaultSetting"), 4)
            self.assertGreaterEqual(fails(output, "ZelFacAutoTestBeforSetDefaultSetting"), 4)
            self.assertEqual(writable(tv), dict.fromkeys(PARTITIONS, True))


# faults, the lines of what failed, the joined result
OWN_KEYS = {
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


class OwnKeys(AtOnce):
    """PlayReady and YouTube: the lines of what failed, and the joined result."""

    @cases(OWN_KEYS)
    def test_lines_and_result(self, case):
        faults, lines, joined = case
        with Set(arrange=[("keys", "fail", *fault) for fault in faults]) as tv:
            tv.await_output(re.compile(r"m_i32RetCheckPlayreadyYoutube:\d+\n"))
            tv.line.connect()
            output = tv.output()
            self.assertEqual(tv.line.ask(0x129A), status(0x129A, 1))
        printed = [line.strip("=") for line in output.splitlines() if "writeKeys" in line or "checkKeyFile" in line]
        self.assertEqual(printed, lines)
        for line in lines:
            self.assertIn(f"========={line}=========\n", output)
        self.assertIn(f"m_i32RetCheckPlayreadyYoutube:{joined}\n", output)


class BurnIn(AtOnce):
    def test_three_settings_and_nothing_else(self):
        led = "tovix.sl2.system.ctrl.led.flicker"
        pattern = "tovix.sl2.i32.video.factory.testPattern"
        wanted = {"tovix.sl2.i32.video.apply.mode": 1, led: 1, pattern: 0}
        arrange = [("model", "set", key, 1 - value) for key, value in wanted.items()]
        with Set(mode="2", arrange=arrange) as tv:
            tv.await_output("ZelGetFacAutoTestBurn u32Count:0")
            self.assertEqual({key: tv.model.get(key) for key in wanted}, wanted)
            self.assertEqual({row["key"] for row in tv.trace(who="model", call="set")}, set(wanted))
            self.assertEqual(tv.trace(who="mount") + tv.trace(who="keys"), [])
            self.assertEqual(writable(tv), dict.fromkeys(PARTITIONS, False))

    def test_failures_are_told_and_passed_over(self):
        with Set(mode="2", arrange=[("model", "fail", "*", "operate", "7")]) as tv:
            tv.await_output("ZelGetFacAutoTestBurn u32Count:0")
            self.assertEqual(fails(tv.output(), "ZelBurnModeBeforSetDefaultSetting"), 3)


if __name__ == "__main__":
    runner.main()
