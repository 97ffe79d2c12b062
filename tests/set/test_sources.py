"""Every input of the line: what the source check switches to, what it resets, and which tables it asks for."""

import contextlib
import json
import unittest

import runner
from runner import AtOnce
from setlib import Set
from zelfac import status

SOURCE = "tovix.sl2.action.source.switch"
TUNERS = "tovix.sl2.table.favouritelist.list"
CHANNELS = "tovix.sl2.table.servicelist.list"
PRESET = "tovix.sl2.table.servicelist.list.preset.database"

EXTERNAL = {
    "VGA": "VGA",
    "AV1": "AVS",
    "AV2": "AVS",
    "AV3": "AVS",
    "HDMI1": "HDMI1",
    "HDMI2": "HDMI2",
    "HDMI3": "HDMI3",
    "HDMI4": "HDMI4",
    "SCART1": "SCART",
    "YPBPR1": "COMPONENT",
    "YPBPR2": "COMPONENT",
}
ANALOGUE, DIGITAL, SATELLITE = "Analog", "Antenna", "Astra 19.2E"
TUNED = {
    "ATV": ANALOGUE,
    "DTV": DIGITAL,
    "DTV-C": DIGITAL,
    "DTV-T": DIGITAL,
    "DTV-T2": DIGITAL,
    "DTV-S2": SATELLITE,
}
REFERENCE = {ANALOGUE: "frequency=60000", DIGITAL: "frequency=666000", SATELLITE: "symbolrate=27500"}
UNKNOWN = ["", "HD", "DTV-", "dtv", "AV4", "HDMI5", "HDMI0", "hdmi1", "DTV-S", "DTV-S3", "SCART2", "YPBPR3", "HDMI1 "]
UNKNOWN += ["SCART"]

# The radios would write into the trace as well: without Bluetooth and with access points at once their search is
# over before the start-up flow is.
QUIET = [("behave", "wifi", "0"), ("model", "set", "tovix.sl2.vstr.bluetooth.support", '["bt","0","",""]')]

# Reset by every check.
AUTOMATIC_VOLUME = "tovix.sl2.i32.sound.volume.automatic"
RESET = {"tovix.sl2.vint32.sound.soc.drc": 0, "tovix.sl2.vint32.sound.dts.peq": 1}  # of each list one place


class Checked:
    """What came of a source check."""

    def __init__(self, tv, name):
        tv.clear_trace()
        tv.model.set(AUTOMATIC_VOLUME, 1)
        for key in RESET:
            tv.model.set(key, [7, 7, 7, 7])
        self.passed = {status(0x1288, 0): True, status(0x1288, 1): False}[tv.line.ask(0x1288, name.encode())]
        places = [tv.model.get(key)[place] for key, place in RESET.items()]
        self.sound_reset = [tv.model.get(AUTOMATIC_VOLUME), *places] == [0, 0, 0]
        self.switched = tv.model.get(SOURCE)
        tables = [row["key"] for row in tv.trace(who="model", call="iterator")]
        self.asked = {table: tables.count(table) for table in set(tables)}


class Tables:
    """The tuners and reference channels of a set, from its tables."""

    def __init__(self, tv):
        self.tuner = {name: identity for identity, name in tv.model.get(TUNERS)}
        self.channels = tv.model.get(CHANNELS)

    def reference(self, name):
        found = [row[2] for row in self.channels[self.tuner[name]] if REFERENCE[name] + ";" in row[3] + ";"]
        assert len(found) == 1, found
        return found[0]


@contextlib.contextmanager
def connected(*arrange):
    with Set(arrange=QUIET + list(arrange)) as tv:
        tv.await_started()
        tv.line.connect()
        tv.await_output("pthread_exit ZelWifiScanThread")
        tv.await_printed()
        yield tv


class EveryInput(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.tv = cls.enterClassContext(connected())
        cls.tables = Tables(cls.tv)

    def test_external_inputs(self):
        for name, source in EXTERNAL.items():
            with self.subTest(name):
                done = Checked(self.tv, name)
                self.assertTrue(done.passed and done.sound_reset)
                self.assertEqual(done.switched["source"], source)
                self.assertEqual(done.asked, {})

    def test_tuners_without_asking_again(self):
        """The start-up flow has learnt everything."""
        for name, tuner in TUNED.items():
            with self.subTest(name):
                Checked(self.tv, "HDMI1")
                done = Checked(self.tv, name)
                self.assertTrue(done.passed and done.sound_reset)
                self.assertEqual(done.switched["source"], "TV")
                arguments = dict(done.switched["args"])
                self.assertEqual(arguments["3"], self.tables.reference(tuner))
                self.assertEqual(arguments["4"], self.tables.tuner[tuner])
                self.assertEqual(done.asked, {})

    def test_unknown_names_reset_the_sound_alone(self):
        before = Checked(self.tv, "HDMI3").switched
        for name in UNKNOWN:
            with self.subTest(name):
                done = Checked(self.tv, name)
                self.assertFalse(done.passed)
                self.assertTrue(done.sound_reset)
                self.assertEqual(done.switched, before)

    def test_a_refused_switch(self):
        before = Checked(self.tv, "HDMI3").switched
        self.tv.model.fail(SOURCE, "operate", 8, times=1)
        done = Checked(self.tv, "HDMI2")
        self.assertFalse(done.passed)
        self.assertTrue(done.sound_reset)
        self.assertEqual(done.switched, before)
        self.tv.await_output("invoke failed, ret = 8\n")

    def test_failed_sound_writes_are_told_and_do_not_count(self):
        self.tv.model.fail("tovix.sl2.*.sound.*", "connect", 9)
        self.tv.await_printed()
        before = self.tv.output().count(" ZelUartCmdSourceCheck ")
        done = Checked(self.tv, "HDMI3")
        self.tv.model.fail("tovix.sl2.*.sound.*", "connect", 0)
        self.assertTrue(done.passed)
        self.assertFalse(done.sound_reset)
        self.assertEqual(done.switched["source"], "HDMI3")
        self.tv.await_printed()
        self.assertEqual(self.tv.output().count(" ZelUartCmdSourceCheck ") - before, 3)


class Learning(AtOnce):
    def check(self, tv, name, passed, asked, source=None):
        done = Checked(tv, name)
        self.assertEqual((done.passed, done.sound_reset, done.asked), (passed, True, asked), name)
        if source:
            self.assertEqual(done.switched["source"], source)

    def test_the_first_check_learns_and_the_second_asks_nothing(self):
        tv = self.enterContext(connected(("model", "fail", TUNERS, "connect", "9", "--times", "1")))
        self.assertIn(" ZelSetPresetChannel 2303 fail\n", tv.output())
        self.assertNotIn("ZelGetDvbChannelList", tv.output())
        self.check(tv, "DTV", True, {TUNERS: 1, CHANNELS: 3}, "TV")
        self.check(tv, "DTV", True, {}, "TV")

    def test_a_list_that_failed_is_asked_for_again_alone(self):
        tv = self.enterContext(connected(("model", "fail", CHANNELS, "rows", "6", "--times", "1")))
        self.assertIn(" ZelSetPresetChannel 2312 fail\n", tv.output())
        self.assertIn("readNextRow failed, ret = 6\n", tv.output())
        self.check(tv, "ATV", True, {CHANNELS: 1}, "TV")
        self.check(tv, "ATV", True, {}, "TV")

    def test_without_a_satellite_tuner(self):
        tuners = [["tuner-a", "Analog"], ["tuner-t", "Antenna"], ["tuner-c", "Cable"]]
        channels = {
            "tuner-a": [["tuner-a", "1", "list-a", "frequency=60000", "ATV", "A"]],
            "tuner-t": [["tuner-t", "1", "list-t", "frequency=666000;system=DVB-T2", "DTV", "T"]],
        }
        tables = ((TUNERS, tuners), (CHANNELS, channels))
        tv = self.enterContext(connected(*(("model", "set", key, json.dumps(rows)) for key, rows in tables)))
        self.assertIn("ZelGetDvbUuid readNextRows delay:500 ms\n", tv.output())
        again = {TUNERS: 1}  # the missing one is looked for with every check
        self.check(tv, "DTV-S2", False, again)
        self.check(tv, "ATV", True, again, "TV")
        self.check(tv, "DTV-T2", True, again, "TV")
        self.check(tv, "HDMI1", True, again, "HDMI1")

    def test_a_tuner_table_that_stays_empty(self):
        tv = self.enterContext(connected(("model", "set", TUNERS, "[]")))
        output = tv.output()
        self.assertIn("ZelGetDvbUuid totalCount delay:500 ms\n ZelGetDvbUuid 3062 m_i32ChannelCount:0\n", output)
        self.assertIn("ZelGetDvbUuid readNextRows delay:500 ms\n", output)
        self.assertNotIn(" ZelSetPresetChannel ", output)  # a time-out is no failure
        self.check(tv, "DTV", False, {TUNERS: 1})
        self.check(tv, "VGA", True, {TUNERS: 1}, "VGA")

    def test_channel_tables_that_stay_empty(self):
        tv = self.enterContext(connected(("model", "set", CHANNELS, "{}")))
        self.assertEqual(tv.output().count(" ZelGetDvbChannelList 2761 m_i32ChannelCount:0 delay:500 ms\n"), 3)
        self.assertNotIn(" ZelSetPresetChannel ", tv.output())
        self.check(tv, "DTV-C", False, {CHANNELS: 3})

    def test_a_preset_that_is_never_reported(self):
        tv = self.enterContext(connected(("behave", "preset", "off")))
        self.assertIn("u8DelayCount = 100 delay:5100 ms\n", tv.output())
        self.assertNotIn(" ZelSetPresetChannel ", tv.output())
        rows = tv.trace(who="model", key=PRESET)
        ms = {row["call"]: row["ms"] for row in rows}
        self.assertGreaterEqual(ms["disconnect"] - ms["invoke"], 5100)
        self.check(tv, "DTV", True, {}, "TV")

    def test_a_preset_that_is_reported_soon(self):
        tv = self.enterContext(connected(("behave", "preset", "0")))
        self.assertIn("u8DelayCount = 0 delay:100 ms\n", tv.output())


if __name__ == "__main__":
    runner.main()
