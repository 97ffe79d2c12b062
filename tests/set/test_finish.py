"""The end of the line: the handshake with the television's service and what is closed after it."""

import concurrent.futures
import time
import unittest

import setlib
from setlib import Set, status

READY = "tovix.sl2.i32.qorfactory.action.factory.ready"
FINISHES = (0x129A, 0x129B, 0x12A6)
OPENED = ["mount -o remount,rw /zodata/critical", "mount -o remount,rw /zodata/factory"]
CLOSED = [
    "echo ForceFreerun=FLASE > /proc/utopia_mdb/xc",
    "mount -o remount,ro /zodata/critical",
    "mount -o remount,ro /zodata/factory",
]


def finish(tv, command=FINISHES[0]):
    """Sends a finish; what came of it."""
    tv.ctl("trace", "--clear")
    started = time.monotonic()
    answer = tv.line.ask(command, seconds=30)
    seconds = time.monotonic() - started
    rows = tv.trace()
    return {
        "answer": answer,
        "seconds": seconds,
        "shell": [row["command"] for row in rows if row["who"] == "shell"],
        "flash": [(row["name"], row["value"]) for row in rows if row["who"] == "flash"],
        "model": [(row["call"], row["ms"]) for row in rows if row.get("key") == READY],
        "freerun": tv.text("cat", "/proc/utopia_mdb/xc"),
        "writable": [path for path in ("critical", "factory") if writable(tv, "/zodata/" + path)],
        "output": tv.output(),
        "kept": (tv.text("flash", "get", "FactoryOpenState"), tv.text("flash", "get", "FactoryOK")),
    }


def writable(tv, path):
    mounts = (line.split() for line in tv.text("mounts").splitlines())
    return ["rw" in mount[3].split(",") for mount in mounts if mount[1] == path][-1]


def run(arrange, *commands, between=()):
    """A set of its own, `commands` in order, `between` after the first."""
    quiet = [("model", "set", "tovix.sl2.vstr.bluetooth.support", '["bt","0","",""]')]
    with Set(arrange=quiet + list(arrange)) as tv:
        tv.await_started()
        tv.line.connect()
        results = [finish(tv, commands[0])]
        for verb in between:
            tv.ctl(*verb)
        return results + [finish(tv, command) for command in commands[1:]]


class Finish(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        """All sets at once: the waiting dominates."""
        delays = {command: ("behave", "factory-ready", "0") for command in FINISHES}
        with concurrent.futures.ThreadPoolExecutor() as pool:
            cls.at_once = {command: pool.submit(run, [delay], command) for command, delay in delays.items()}
            cls.later = pool.submit(run, [("behave", "factory-ready", "3000")], *FINISHES, between=[("behave", "factory-ready", "off")])
            cls.never = pool.submit(run, [("behave", "factory-ready", "off")], 0x129A, 0x129A, between=[("behave", "factory-ready", "0")])
            cls.refused = {
                command: pool.submit(run, [("keys", "fail", key, "check", "4")], command)
                for command, key in zip(FINISHES, ("playready", "youtube", "playready"))
            }
            cls.uninvoked = pool.submit(run, [("model", "fail", READY, "operate", "6")], 0x129A)

    def check_confirmed(self, result, command):
        self.assertEqual(result["answer"], status(command, 0))
        self.assertEqual(result["flash"], [("FactoryOpenState", "Off"), ("FactoryOK", "On")])
        self.assertEqual(result["kept"], ("Off", "On"))
        self.assertEqual(result["shell"], OPENED + CLOSED)
        self.assertEqual(result["freerun"], "ForceFreerun=FLASE")
        self.assertEqual(result["writable"], [])

    def waited(self, result):
        """Milliseconds from invoke to disconnect."""
        ms = dict(result["model"])
        return ms["disconnect"] - ms["invoke"]

    def test_confirmed_at_once(self):
        for command, future in self.at_once.items():
            (result,) = future.result()
            self.check_confirmed(result, command)
            calls = [call for call, _ in result["model"] if call != "result"]
            self.assertEqual(calls, ["connect", "invoke", "disconnect"])
            self.assertGreaterEqual(self.waited(result), 100)
            self.assertLess(self.waited(result), 1400)

    def test_confirmed_after_three_seconds_and_never_waited_for_again(self):
        first, second, third = self.later.result()
        self.check_confirmed(first, FINISHES[0])
        self.assertGreaterEqual(self.waited(first), 3000)
        self.assertLess(self.waited(first), 5500)
        for command, result in zip(FINISHES[1:], (second, third)):
            self.check_confirmed(result, command)
            self.assertNotIn("result", dict(result["model"]))  # nothing confirms it any more
            self.assertLess(self.waited(result), 450)

    def test_never_confirmed_then_tried_again(self):
        first, second = self.never.result()
        self.assertEqual(first["answer"], status(0x129A, 1))
        self.assertGreaterEqual(self.waited(first), 20100)
        self.assertLess(self.waited(first), 23000)
        self.assertEqual(first["flash"], [("FactoryOpenState", "Off"), ("FactoryOK", "On")])
        self.assertEqual(first["shell"], OPENED)
        self.assertEqual(first["freerun"], "ForceFreerun=TRUE")
        self.assertEqual(first["writable"], ["critical", "factory"])
        self.assertRegex(first["output"], r" ZelDecodeFacAutoTestCommand \d+ fail\n")
        self.check_confirmed(second, 0x129A)

    def test_refused_while_a_key_check_failed(self):
        for command, future in self.refused.items():
            (result,) = future.result()
            self.assertEqual(result["answer"], status(command, 1))
            self.assertEqual(result["flash"] + result["shell"] + result["model"], [])
            self.assertEqual(result["kept"], ("", ""))
            self.assertEqual(result["freerun"], "ForceFreerun=TRUE")
            self.assertEqual(result["writable"], ["critical", "factory"])
            self.assertRegex(result["output"], r" ZelDecodeFacAutoTestCommand \d+ fail\n")

    def test_an_action_that_cannot_be_invoked_is_not_waited_for(self):
        (result,) = self.uninvoked.result()
        self.assertEqual(result["answer"], status(0x129A, 1))
        self.assertEqual([call for call, _ in result["model"]], ["connect", "invoke"])
        self.assertLess(result["seconds"], 5)
        self.assertEqual(result["shell"], OPENED)
        self.assertEqual(result["flash"], [("FactoryOpenState", "Off"), ("FactoryOK", "On")])
        self.assertIn("invoke failed, ret = 6\n", result["output"])


if __name__ == "__main__":
    setlib.main()
