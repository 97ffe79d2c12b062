"""The searches of the two radios: what they find, when they end, and what the line hears of it."""

import re
import time

import runner
from radios import BLUETOOTH, DEVICES, ENDED, ended_search, searching, starts, switched_on
from runner import AtOnce, cases
from zelfac import result, status

SIGNALS = "tovix.sl2.vint32.network.access-points.signal"
SEARCH = "tovix.sl2.i32.network.enum.access-points.search"
SUPPORT = "tovix.sl2.vstr.bluetooth.support"
RADIO = "tovix.sl2.i32.bluetooth.enum.status"
NO_BLUETOOTH = ("model", "set", SUPPORT, '["bt","0","5.0","ble"]')
PROGRESS = 0x1292


def looks(tv):
    """The status line of each turn of the search: level, devices, rounds, attempts."""
    pattern = r"^wifi:(\d+) bt:(\d+) wificount:(\d+) btcount:(\d+)$"
    return [tuple(map(int, found)) for found in re.findall(pattern, tv.output(), re.MULTILINE)]


class WithoutBluetooth(AtOnce):
    """A set that has no Bluetooth, and some access points."""

    def look(self, signals, turns):
        tv = switched_on(NO_BLUETOOTH, ("model", "set", SIGNALS, signals))
        self.enterContext(tv)
        tv.line.connect()
        tv.await_true(lambda: len(looks(tv)) >= turns, f"{turns} turns")
        self.assertEqual(starts(tv), 0, "a search for devices")
        tv.await_output("=======iVetorBluetoothSupport[0]:bt [1]:0 [2]:5.0 [3]:ble=======\n")
        return tv

    def progress(self, tv):
        """What the line is told, and whether it is 101 less the rounds, which go on meanwhile."""
        before = looks(tv)[-1][2]
        answer = tv.line.ask(PROGRESS)
        after = looks(tv)[-1][2]
        return answer in [result(PROGRESS, bytes([101 - rounds])) for rounds in range(before, after + 2)]

    def test_a_weak_signal_goes_on(self):
        tv = self.look("[12,29,7]", 3)
        self.assertEqual(looks(tv)[:3], [(29, 0, 1, 0), (29, 0, 2, 0), (29, 0, 3, 0)])
        self.assertIn("wifidevice:3 APCount:1 m_u32WifiLevel:29\n", tv.output())
        self.assertEqual(tv.model.get(SEARCH), 1)
        self.assertNotIn(ENDED, tv.output())
        self.assertTrue(self.progress(tv))

    @cases({"strong": ("[3,30]", 30), "capped": ("[120,45]", 99)})
    def test_a_strong_signal_ends_the_search(self, case):
        signals, level = case
        tv = self.look(signals, 1)
        tv.await_output(ENDED)
        self.assertIn(f"wifidevice:2 APCount:1 m_u32WifiLevel:{level}\n", tv.output())
        self.assertEqual(looks(tv), [(level, 0, 1, 0)])
        self.assertIn("fWifiScanning:0 fBTSearching:0\n", tv.output())
        self.assertEqual(tv.model.get(SEARCH), 0)
        self.assertEqual(tv.line.ask(PROGRESS), result(PROGRESS, bytes([100])))

    def test_no_access_point_counts_no_round(self):
        tv = self.look("[]", 2)
        self.assertEqual(looks(tv)[:2], [(0, 0, 0, 0)] * 2)
        self.assertIn("wifidevice:0 APCount:0 m_u32WifiLevel:0\n", tv.output())
        self.assertIn("fWifiScanning:1 fBTSearching:0\n", tv.output())
        self.assertNotIn(ENDED, tv.output())
        self.assertEqual(tv.line.ask(PROGRESS), result(PROGRESS, bytes([101])))


class Devices(AtOnce):
    def test_found_on_the_fourth_attempt(self):
        fault = ("model", "fail", BLUETOOTH + "search.start", "operate", "8", "--times", "3")
        with ended_search(fault) as tv:
            self.assertEqual([turn[1:] for turn in looks(tv)], [(0, 1, 1), (0, 1, 2), (0, 1, 3), (2, 1, 4)])
            output = tv.output()
            self.assertEqual(output.count("whileCount:4 i32BTDeviceCount:0\n"), 3)
            self.assertEqual(output.count("fWifiScanning:0 fBTSearching:1\n"), 3)
            self.assertIn("fWifiScanning:0 fBTSearching:0\n", output)
            self.assertRegex(output, r" ZelBTSearchAP \d+ fail\n")
            self.assertEqual(tv.model.get(RADIO), 1)  # off again
            before = starts(tv)
            self.assertEqual(tv.line.ask(DEVICES), status(DEVICES, 0))
            self.assertEqual(starts(tv), before, "they were found: no further search")

    def test_never_found(self):
        with ended_search(("behave", "bluetooth", "off")) as tv:
            self.assertEqual([turn[1:] for turn in looks(tv)], [(0, 1, 1), (0, 1, 2), (0, 1, 3), (0, 1, 4)])
            self.assertIn("fWifiScanning:0 fBTSearching:0\n", tv.output())
            self.assertEqual(tv.model.get(RADIO), 0)  # left on
            before = starts(tv)
            # The line may still ask for one more, which takes its time.
            begin = time.monotonic()
            self.assertEqual(tv.line.ask(DEVICES), status(DEVICES, 1))
            self.assertGreater(time.monotonic() - begin, 8)
            self.assertEqual(starts(tv), before + 1)
            tv.await_output(re.compile(r"ZelDecodeFacAutoTestCommand \d+ m_u32BTDeviceCount:0\n"))

    def test_the_command_takes_what_the_search_under_way_finds(self):
        with searching(("behave", "bluetooth", "5000")) as tv:
            self.assertEqual(tv.line.ask(DEVICES), status(DEVICES, 0))
            self.assertEqual(tv.line.ask(DEVICES), status(DEVICES, 0))
            self.assertEqual(starts(tv), 1)
            tv.await_printed()
            pattern = r"ZelDecodeFacAutoTestCommand \d+ m_u32BTDeviceCount:2\n"
            self.assertEqual(len(re.findall(pattern, tv.output())), 1, "the count, once")


if __name__ == "__main__":
    runner.main()
