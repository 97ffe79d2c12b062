"""The searches of the two radios: what they find, how long they go on, and what the line hears of it."""

import concurrent.futures
import re
import time
import unittest

import setlib
from setlib import Set, result, status

SIGNALS = "tovix.sl2.vint32.network.access-points.signal"
SEARCH = "tovix.sl2.i32.network.enum.access-points.search"
SUPPORT = "tovix.sl2.vstr.bluetooth.support"
BLUETOOTH = "tovix.sl2.action.bluetooth."
RADIO = "tovix.sl2.i32.bluetooth.enum.status"
NO_BLUETOOTH = ("model", "set", SUPPORT, '["bt","0","5.0","ble"]')
PROGRESS = 0x1292
DEVICES = 0x1294
ENDED = " pthread_exit ZelWifiScanThread\n"


def switched_on(*arrange):
    return Set(arrange=[("behave", "wifi", "0"), *arrange])


def invoked(tv, action):
    return tv.trace(who="model", call="invoke", key=BLUETOOTH + action)


def looks(tv):
    """The status line of each turn of the search: level, devices, rounds, attempts."""
    pattern = r"^wifi:(\d+) bt:(\d+) wificount:(\d+) btcount:(\d+)$"
    return [tuple(map(int, found)) for found in re.findall(pattern, tv.output(), re.MULTILINE)]


def progress(tv):
    return tv.line.ask(PROGRESS)


def signals(text, rounds):
    """A set without Bluetooth, the access points `text`; after `rounds` turns."""
    with switched_on(NO_BLUETOOTH, ("model", "set", SIGNALS, text)) as tv:
        tv.line.connect()
        tv.await_true(lambda: len(looks(tv)) >= rounds, f"{rounds} turns", 40)
        time.sleep(0.3)
        return {
            "looks": looks(tv)[:rounds],
            "output": tv.output(),
            "progress": progress(tv),
            "counted": looks(tv)[-1][2],
            "searches": [row["value"] for row in tv.trace(who="model", call="set", key=SEARCH)],
            "starts": len(invoked(tv, "search.start")),
        }


def fourth_attempt():
    with switched_on(("model", "fail", BLUETOOTH + "search.start", "operate", "8", "--times", "3")) as tv:
        tv.line.connect()
        tv.await_output(ENDED, 80)
        return tv.output(), looks(tv), tv.trace(), tv.line.ask(DEVICES), tv.value("model", "get", RADIO)


def never():
    with switched_on(("behave", "bluetooth", "off")) as tv:
        tv.line.connect()
        tv.await_output(ENDED, 80)
        before = tv.output(), looks(tv), tv.trace(), tv.value("model", "get", RADIO)
        started = time.monotonic()
        answer = tv.line.ask(DEVICES, seconds=25)
        return *before, answer, time.monotonic() - started, len(invoked(tv, "search.start")), tv.output()


def under_way(milliseconds):
    """The search command while the thread's own search is at work."""
    with switched_on(("behave", "bluetooth", milliseconds)) as tv:
        tv.line.connect()
        tv.await_true(lambda: invoked(tv, "search.start"), "a search")
        started = time.monotonic()
        answer = tv.line.ask(DEVICES, seconds=25)
        seconds = time.monotonic() - started
        starts = len(invoked(tv, "search.start"))
        again = tv.line.ask(DEVICES, seconds=25) if answer[-4] == 0 else None
        return answer, seconds, starts, again, len(invoked(tv, "search.start")), tv.output()


class Radios(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        """All sets at once: the waiting dominates."""
        with concurrent.futures.ThreadPoolExecutor(10) as pool:
            cls.fourth = pool.submit(fourth_attempt)
            cls.vain = pool.submit(never)
            cls.busy = pool.submit(under_way, "5000")
            cls.weak = pool.submit(signals, "[12,29,7]", 3)
            cls.strong = pool.submit(signals, "[3,30]", 1)
            cls.capped = pool.submit(signals, "[120,45]", 1)
            cls.none = pool.submit(signals, "[]", 2)

    def test_a_weak_signal_goes_on(self):
        seen = self.weak.result()
        self.assertEqual(seen["looks"], [(29, 0, 1, 0), (29, 0, 2, 0), (29, 0, 3, 0)])
        self.assertIn("wifidevice:3 APCount:1 m_u32WifiLevel:29\n", seen["output"])
        self.assertEqual(seen["searches"][:3], [1, 1, 1])
        self.assertNotIn(0, seen["searches"])
        self.assertNotIn(ENDED, seen["output"])
        self.assertEqual(seen["progress"], result(PROGRESS, bytes([101 - seen["counted"]])))

    def test_a_strong_signal_ends_the_search(self):
        for seen, line, level in (
            (self.strong.result(), "wifidevice:2 APCount:1 m_u32WifiLevel:30\n", 30),
            (self.capped.result(), "wifidevice:2 APCount:1 m_u32WifiLevel:99\n", 99),
        ):
            self.assertIn(line, seen["output"])
            self.assertEqual(seen["looks"], [(level, 0, 1, 0)])
            self.assertIn("fWifiScanning:0 fBTSearching:0\n", seen["output"])
            self.assertIn(ENDED, seen["output"])
            self.assertEqual(seen["searches"], [1, 0])
            self.assertEqual(seen["progress"], result(PROGRESS, bytes([100])))

    def test_no_access_point_counts_no_round(self):
        seen = self.none.result()
        self.assertEqual(seen["looks"], [(0, 0, 0, 0)] * 2)
        self.assertIn("wifidevice:0 APCount:0 m_u32WifiLevel:0\n", seen["output"])
        self.assertIn("fWifiScanning:1 fBTSearching:0\n", seen["output"])
        self.assertNotIn(ENDED, seen["output"])
        self.assertEqual(seen["progress"], result(PROGRESS, bytes([101])))

    def test_a_set_without_bluetooth_never_searches_for_devices(self):
        for future in (self.weak, self.strong, self.capped, self.none):
            self.assertEqual(future.result()["starts"], 0)
            self.assertIn("=======iVetorBluetoothSupport[0]:bt [1]:0 [2]:5.0 [3]:ble=======\n", future.result()["output"])

    def test_devices_found_on_the_fourth_attempt(self):
        output, turns, trace, answer, radio = self.fourth.result()
        self.assertEqual([turn[1:] for turn in turns], [(0, 1, 1), (0, 1, 2), (0, 1, 3), (2, 1, 4)])
        self.assertEqual(output.count("whileCount:4 i32BTDeviceCount:0\n"), 3)
        self.assertEqual(output.count("fWifiScanning:0 fBTSearching:1\n"), 3)
        self.assertIn("fWifiScanning:0 fBTSearching:0\n", output)
        self.assertRegex(output, r" ZelBTSearchAP \d+ fail\n")
        actions = [row["key"][len(BLUETOOTH) :] for row in trace if row.get("call") == "invoke" and row["key"].startswith(BLUETOOTH)]
        tried = ["search.start", "search.stop"]
        self.assertEqual(actions, ["enable"] + tried * 4 + ["disable"])
        self.assertEqual(radio, 1)
        self.assertEqual(answer, status(DEVICES, 0))  # at once: they were found

    def test_devices_never_found(self):
        output, turns, trace, radio, answer, seconds, starts, later = self.vain.result()
        self.assertEqual([turn[1:] for turn in turns], [(0, 1, 1), (0, 1, 2), (0, 1, 3), (0, 1, 4)])
        self.assertIn("fWifiScanning:0 fBTSearching:0\n", output)
        names = [row for row in trace if row.get("call") == "get" and row.get("key") == "tovix.sl2.vstr.bluetooth.device.name"]
        self.assertEqual(len(names), 4 * 5)
        self.assertEqual([row for row in trace if row.get("key") == BLUETOOTH + "disable"], [])
        self.assertEqual(radio, 0)  # left on
        # The line may still ask for one more.
        self.assertEqual((answer, starts), (status(DEVICES, 1), 5))
        self.assertGreater(seconds, 8)
        self.assertRegex(later, r"ZelDecodeFacAutoTestCommand \d+ m_u32BTDeviceCount:0\n")

    def test_the_command_waits_for_the_search_under_way(self):
        answer, seconds, starts, again, later_starts, output = self.busy.result()
        self.assertEqual((answer, starts), (status(DEVICES, 0), 1))
        self.assertGreater(seconds, 9)
        self.assertLess(seconds, 14)
        self.assertEqual((again, later_starts), (status(DEVICES, 0), 1))
        self.assertEqual(len(re.findall(r"ZelDecodeFacAutoTestCommand \d+ m_u32BTDeviceCount:2\n", output)), 1)


if __name__ == "__main__":
    setlib.main()
