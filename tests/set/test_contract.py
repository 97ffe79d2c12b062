"""What an application may not do: each case of the wrong application breaks one rule, and simset names it."""

import contextlib
import pathlib
import shutil
import tempfile

import runner
from runner import AtOnce, cases
from setlib import Set
from zelfac import programs, result, status

BROKEN_RULE = 7

# The rule that each case of the wrong application breaks.
RULES = {
    "answer-unsynced": "synced-before-answer",
    "disconnect-twice": "disconnect-without-connect",
    "element-beyond": "element-out-of-range",
    "finish-left-writable": "finish-read-only",
    "finish-unmounted": "finish-prepared",
    "finish-unsynced": "finish-synced",
    "finish-without-flash": "finish-prepared",
    "gpio-pin": "action-arguments",
    "init-twice": "auxiliary-initialised-once",
    "loud": "value-out-of-range",
    "metadata-before-init": "auxiliary-before-init",
    "no-disconnect": "connect-without-disconnect",
    "no-proxy": "interface-before-proxy",
    "no-release": "interface-not-released",
    "no-rpc": "manager-call-order",
    "no-running-status": "manager-call-order",
    "no-settle": "settle-before-disconnect",
    "no-stopped-status": "manager-call-order",
    "observer-gone": "observer-outlives-connection",
    "other-identity": "manager-identity",
    "other-interface": "unknown-interface",
    "other-preset": "action-arguments",
    "radio-off": "search-with-radio-off",
    "removed-unsynced": "synced-before-answer",
    "result-unsynced": "synced-before-answer",
    "source-swapped": "action-arguments",
    "table-before-preset": "table-before-preset",
    "unknown-item": "unknown-metadata-item",
    "unknown-key": "unknown-key",
    "unknown-key-type": "unknown-key-type",
    "unknown-variable": "unknown-flash-variable",
    "write-read-only": "read-only-key",
    "wrong-kind": "wrong-kind",
}


@contextlib.contextmanager
def wrong(case, *options):
    """A running set with the wrong application as `case`."""
    with tempfile.TemporaryDirectory(prefix="zelfac-wrong.") as folder:
        application = pathlib.Path(folder) / case
        shutil.copy(programs.find("wrong_application"), application)
        with Set(*options, app=application, strict=False, wait=False) as tv:
            yield tv


def broken(tv):
    return {row["rule"] for row in tv.trace_file() if row["who"] == "violation"}


def await_work(tv):
    """Until the application has done everything but unregister."""
    tv.await_true(lambda: (tv.state / "control").exists(), "the set is on")
    tv.wait(since=0, who="model", call="result", value="1")


class WrongApplications(AtOnce):
    @cases({case: (case, rule) for case, rule in RULES.items()})
    def test_is_caught(self, given):
        case, rule = given
        with wrong(case, "--strict") as tv:
            self.assertEqual(tv.await_end(), BROKEN_RULE)
            self.assertEqual(broken(tv), {rule})
            self.assertIn(f'"rule":"{rule}"', tv.errors())

    def test_a_right_one_breaks_nothing(self):
        with wrong("right", "--strict") as tv:
            self.assertEqual(tv.await_end(), 0)
            self.assertEqual(broken(tv), set())

    def test_a_set_that_goes_off_asks_its_application_to_stop(self):
        with wrong("no-unregistration", "--strict") as tv:
            await_work(tv)
            self.assertEqual(tv.stop(), BROKEN_RULE)
            self.assertEqual(broken(tv), {"manager-unregistration"})

    def test_the_rows_say_what_was_expected(self):
        with wrong("no-unregistration") as tv:
            await_work(tv)
            self.assertEqual(tv.violations(), [])
            tv.ctl("apm", "request", "requestStop")
            (row,) = tv.violations()
            self.assertEqual((row["rule"], row["call"]), ("manager-unregistration", "requestStop"))
            self.assertIn("unRegisterApp", row["expected"])

    def test_a_stick_is_synced_as_a_partition_is(self):
        with tempfile.TemporaryDirectory() as stick, wrong("stick-unsynced", "--strict", "--usb", stick) as tv:
            self.assertEqual(tv.await_end(), BROKEN_RULE)
            row, = [row for row in tv.trace_file() if row["who"] == "violation"]
            self.assertEqual((row["rule"], row["call"]), ("synced-before-answer", "set"))
            self.assertIn("/mnt/usb/sda1", row["expected"])

    def test_without_strict_the_exit_status_is_the_applications(self):
        with wrong("gpio-pin") as tv:
            self.assertEqual(tv.await_end(), 0)
            self.assertEqual(broken(tv), {"action-arguments"})


class TheApplication(AtOnce):
    def test_it_stops_when_the_manager_asks(self):
        with Set(strict=True) as tv:
            tv.line.connect()
            tv.ctl("apm", "request", "requestStop")
            rows = [(row["call"], row.get("value")) for row in tv.trace(who="apm")]
            self.assertEqual(
                rows[-3:], [("notifyAppStatusInfo", 4), ("unRegisterApp", None), ("requestStop", None)]
            )

    def test_what_others_write_is_not_its_own(self):
        with Set(strict=True) as tv:
            tv.await_started()
            tv.line.connect()
            tv.put(b"OTHER", "/var/local/ZelPcbSn")
            self.assertEqual(tv.line.ask(0x1275), result(0x1275, b"OTHER"))
            self.assertEqual(tv.line.ask(0x12A0, b"RED_ON"), status(0x12A0, 0))
            self.assertIn("/var/local", tv.text("mounts", "--unsynced"))

    def test_it_outlives_services_that_die_and_come_back(self):
        led = (0x12A0, b"RED_ON")
        with Set(strict=True) as tv:
            tv.line.connect()
            self.assertEqual(tv.line.ask(*led), status(0x12A0, 0))
            tv.ctl("services", "down")
            self.assertEqual(tv.line.ask(*led), status(0x12A0, 1))
            tv.ctl("services", "up")
            self.assertEqual(tv.line.ask(*led), status(0x12A0, 0))

    def test_every_request_of_the_manager_is_taken(self):
        requests = (
            "requestStart", "requestPause", "requestResume", "requestSuspend", "requestWakeup", "requestForeground",
            "requestBackground", "requestShow", "requestHide", "requestReload", "requestLanguageChange",
            "requestCountryChange", "requestDisplayChange", "requestUserData", "requestMessage", "requestFocus",
            "requestUnfocus", "requestStatus", "getAppId",
        )
        with Set(strict=True) as tv:
            tv.line.connect()
            for request in requests:
                tv.ctl("apm", "request", request, "--text", "a", "--second", "b")
            rows = {row["call"]: row["status"] for row in tv.trace(who="apm")}
            for request in requests:
                self.assertEqual(rows[request], 0, request)


if __name__ == "__main__":
    runner.main()
