"""Every input of the line: what the source check asks the set, in which order and how often."""

import unittest

import runner
import setlib
from setlib import Set, status

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
UNKNOWN = ["", "HD", "DTV-", "dtv", "AV4", "HDMI5", "HDMI0", "hdmi1", "DTV-S", "DTV-S3", "SCART2", "YPBPR3", "HDMI1 ", "SCART"]

# The radios would write into the trace as well: without Bluetooth and with access points at once their search is
# over before the start-up flow is.
QUIET = [("behave", "wifi", "0"), ("model", "set", "tovix.sl2.vstr.bluetooth.support", '["bt","0","",""]')]

OPEN = [("proxy",), ("interface",), ("root",)]


def cycle(key, *operation):
    return OPEN + [("connect", key), (operation[0], key, *operation[1:]), ("disconnect", key)]


SOUND = (
    cycle("tovix.sl2.i32.sound.volume.automatic", "set", 0)
    + cycle("tovix.sl2.vint32.sound.soc.drc", "set", [[0, 0]])
    + cycle("tovix.sl2.vint32.sound.dts.peq", "set", [[1, 0]])
)


def switch(name):
    return cycle(SOURCE, "invoke", [["0", "ZelFacTestUUID"], ["1", "9"], ["2", name], ["3", "0"]])


def tune(tuner, channel):
    arguments = [["0", "ZelFacTestUUID"], ["1", "8"], ["2", "TV"], ["3", channel], ["4", tuner]]
    return cycle(SOURCE, "invoke", arguments)


def read(table, selection, rows):
    return OPEN + [
        ("connect", table),
        ("iterator", table, selection),
        ("count", table, rows),
        ("rows", table, rows),
        ("disconnect", table),
    ]


def of_tuner(tuner):
    return [[code, 0, ""] for code in (6, 0, 7, 2, 35, 1)] + [[6, 1, tuner]]


def asked(tv):
    """The model's part of the trace, in short."""
    short = []
    for row in tv.trace(who="model"):
        if row["call"] == "result":
            continue
        parts = [row["call"]] + ([row["key"]] if "key" in row else [])
        for name in ("args", "value", "selection"):
            if name in row:
                parts.append(row[name])
        if row["call"] == "rows":
            parts.append(row["count"])
        short.append(tuple(parts))
    return short


class Tables:
    """The tuners and reference channels of a set, from its tables."""

    def __init__(self, tv):
        self.rows = tv.value("model", "get", TUNERS)
        self.tuner = {name: identity for identity, name in self.rows}
        self.channels = tv.value("model", "get", CHANNELS)

    def reference(self, name):
        found = [row[2] for row in self.channels[self.tuner[name]] if REFERENCE[name] + ";" in row[3] + ";"]
        assert len(found) == 1, found
        return found[0]

    def read_tuners(self):
        return read(TUNERS, [], len(self.rows))

    def read_channels(self, name):
        return read(CHANNELS, of_tuner(self.tuner[name]), len(self.channels[self.tuner[name]]))


def check(tv, name):
    """Sends a source check; the answer and what was asked of the model."""
    tv.ctl("trace", "--clear")
    answer = tv.line.ask(0x1288, name.encode())
    return answer, asked(tv)


def connected(*arrange):
    tv = Set(arrange=QUIET + list(arrange))
    tv.__enter__()
    tv.await_started()
    tv.line.connect()
    tv.await_output("pthread_exit ZelWifiScanThread")
    return tv


class EveryInput(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.tv = connected()
        cls.tables = Tables(cls.tv)

    @classmethod
    def tearDownClass(cls):
        cls.tv.__exit__()

    def test_external_inputs(self):
        for name, source in EXTERNAL.items():
            answer, heard = check(self.tv, name)
            self.assertEqual(answer, status(0x1288, 0), name)
            self.assertEqual(heard, switch(source) + SOUND, name)
            self.assertEqual(self.tv.value("model", "get", SOURCE)["source"], source)

    def test_tuners_without_asking_again(self):
        """The start-up flow has learnt everything."""
        for name, tuner in TUNED.items():
            answer, heard = check(self.tv, name)
            self.assertEqual(answer, status(0x1288, 0), name)
            wanted = tune(self.tables.tuner[tuner], self.tables.reference(tuner))
            self.assertEqual(heard, wanted + SOUND, name)

    def test_unknown_names_reset_the_sound_alone(self):
        for name in UNKNOWN:
            answer, heard = check(self.tv, name)
            self.assertEqual(answer, status(0x1288, 1), name)
            self.assertEqual(heard, SOUND, name)

    def test_a_refused_switch(self):
        self.tv.ctl("model", "fail", SOURCE, "operate", 8, "--times", 1)
        answer, heard = check(self.tv, "HDMI2")
        self.assertEqual(answer, status(0x1288, 1))
        self.assertEqual(heard, switch("HDMI2")[:-1] + SOUND)  # not disconnected
        self.assertIn("invoke failed, ret = 8\n", self.tv.output())

    def test_failed_sound_writes_are_told_and_do_not_count(self):
        self.tv.ctl("model", "fail", "tovix.sl2.*.sound.*", "connect", 9)
        before = self.tv.output().count(" ZelUartCmdSourceCheck ")
        answer, heard = check(self.tv, "HDMI3")
        self.tv.ctl("model", "fail", "tovix.sl2.*.sound.*", "connect", 0)
        self.assertEqual(answer, status(0x1288, 0))
        tried = [row for row in heard if row[0] == "connect"]
        self.assertEqual(tried, [("connect", SOURCE)] + [row for row in SOUND if row[0] == "connect"])
        self.assertEqual(self.tv.output().count(" ZelUartCmdSourceCheck ") - before, 3)


class Learning(unittest.TestCase):
    def test_the_first_check_learns_and_the_second_asks_nothing(self):
        tv = connected(("model", "fail", TUNERS, "connect", "9", "--times", "1"))
        try:
            output = tv.output()
            self.assertIn(" ZelSetPresetChannel 2303 fail\n", output)
            self.assertNotIn("ZelGetDvbChannelList", output)
            tables = Tables(tv)
            wanted = tune(tables.tuner[DIGITAL], tables.reference(DIGITAL)) + SOUND
            answer, heard = check(tv, "DTV")
            self.assertEqual(answer, status(0x1288, 0))
            lists = [tables.read_channels(name) for name in (ANALOGUE, DIGITAL, SATELLITE)]
            self.assertEqual(heard, tables.read_tuners() + sum(lists, []) + wanted)
            answer, heard = check(tv, "DTV")
            self.assertEqual(answer, status(0x1288, 0))
            self.assertEqual(heard, wanted)
        finally:
            tv.__exit__()

    def test_a_list_that_failed_is_asked_for_again_alone(self):
        tv = connected(("model", "fail", CHANNELS, "rows", "6", "--times", "1"))
        try:
            self.assertIn(" ZelSetPresetChannel 2312 fail\n", tv.output())
            self.assertIn("readNextRow failed, ret = 6\n", tv.output())
            tables = Tables(tv)
            tuned = tune(tables.tuner[ANALOGUE], tables.reference(ANALOGUE)) + SOUND
            self.assertEqual(check(tv, "ATV"), (status(0x1288, 0), tables.read_channels(ANALOGUE) + tuned))
            self.assertEqual(check(tv, "ATV"), (status(0x1288, 0), tuned))
        finally:
            tv.__exit__()


class OtherSets(unittest.TestCase):
    def test_without_a_satellite_tuner(self):
        tuners = [["tuner-a", "Analog"], ["tuner-t", "Antenna"], ["tuner-c", "Cable"]]
        channels = {
            "tuner-a": [["tuner-a", "1", "list-a", "frequency=60000", "ATV", "A"]],
            "tuner-t": [["tuner-t", "1", "list-t", "frequency=666000;system=DVB-T2", "DTV", "T"]],
        }
        tv = connected(
            ("model", "set", TUNERS, setlib.json.dumps(tuners)), ("model", "set", CHANNELS, setlib.json.dumps(channels))
        )
        try:
            self.assertIn("ZelGetDvbUuid readNextRows delay:500 ms\n", tv.output())
            again = read(TUNERS, [], 3)  # the missing one is looked for with every check
            self.assertEqual(check(tv, "DTV-S2"), (status(0x1288, 1), again + SOUND))
            self.assertEqual(check(tv, "ATV"), (status(0x1288, 0), again + tune("tuner-a", "list-a") + SOUND))
            self.assertEqual(check(tv, "DTV-T2"), (status(0x1288, 0), again + tune("tuner-t", "list-t") + SOUND))
            self.assertEqual(check(tv, "HDMI1"), (status(0x1288, 0), again + switch("HDMI1") + SOUND))
        finally:
            tv.__exit__()

    def test_a_tuner_table_that_stays_empty(self):
        tv = connected(("model", "set", TUNERS, "[]"))
        try:
            output = tv.output()
            self.assertIn("ZelGetDvbUuid totalCount delay:500 ms\n ZelGetDvbUuid 3062 m_i32ChannelCount:0\n", output)
            self.assertIn("ZelGetDvbUuid readNextRows delay:500 ms\n", output)
            self.assertNotIn(" ZelSetPresetChannel ", output)  # a time-out is no failure
            self.assertEqual(check(tv, "DTV"), (status(0x1288, 1), read(TUNERS, [], 0) + SOUND))
            answer, heard = check(tv, "VGA")
            self.assertEqual((answer, heard), (status(0x1288, 0), read(TUNERS, [], 0) + switch("VGA") + SOUND))
        finally:
            tv.__exit__()

    def test_channel_tables_that_stay_empty(self):
        tv = connected(("model", "set", CHANNELS, "{}"))
        try:
            self.assertEqual(tv.output().count(" ZelGetDvbChannelList 2761 m_i32ChannelCount:0 delay:500 ms\n"), 3)
            self.assertNotIn(" ZelSetPresetChannel ", tv.output())
            tuner = Tables(tv).tuner
            lists = [read(CHANNELS, of_tuner(tuner[name]), 0) for name in (ANALOGUE, DIGITAL, SATELLITE)]
            self.assertEqual(check(tv, "DTV-C"), (status(0x1288, 1), sum(lists, []) + SOUND))
        finally:
            tv.__exit__()

    def test_a_preset_that_is_never_reported(self):
        tv = connected(("behave", "preset", "off"))
        try:
            output = tv.output()
            self.assertIn("u8DelayCount = 100 delay:5100 ms\n", output)
            self.assertNotIn(" ZelSetPresetChannel ", output)
            rows = tv.trace(who="model", key=PRESET)
            self.assertEqual([row["call"] for row in rows if row["call"] != "result"], ["connect", "invoke", "disconnect"])
            self.assertEqual(rows[1]["args"], [["0", "38"]])
            self.assertGreaterEqual(rows[-1]["ms"] - rows[1]["ms"], 5100)
            self.assertEqual(tv.line.ask(0x1288, b"DTV"), status(0x1288, 0))
        finally:
            tv.__exit__()

    def test_a_preset_that_is_reported_soon(self):
        tv = connected(("behave", "preset", "0"))
        try:
            self.assertIn("u8DelayCount = 0 delay:100 ms\n", tv.output())
        finally:
            tv.__exit__()


if __name__ == "__main__":
    runner.main()
