"""The application for the set's processor in a simulated set, emulated: the demonstration plan with the panel, beside the
same session of the PC's own application. scripts/check-armv7 runs it.

ZELFAC_ARMV7 is the application, ZELFAC_SYSROOT the root that its libraries are in.
"""

import concurrent.futures
import os
import pathlib

import runner
from panel import TEXT, PanelSet, PanelTest

PLAN = pathlib.Path(__file__).resolve().parents[2] / "docs" / "plans" / "demo.toml"
RECORDS = ("PCB SN     : ZF9602-000001", "Test Result: PASS")
SHADES = 16  # one version of FreeType draws an edge somewhat darker than another


class SessionSet(PanelSet):
    """A set that works through the plan and is switched off and on again, so that it shows its records."""

    def work(self):
        with self:
            self.plan = self.zelline("run", PLAN, timeout=None)
            trace = self.trace()
            self.mounts = [(row["call"], row["target"], row["status"]) for row in trace if row["who"] == "mount"]
            self.commands = [row["command"] for row in trace if row["who"] == "shell"]
            stored = [row for row in trace if row["who"] == "flash" and row["call"] == "set"]
            self.stored = [(row["name"], row["value"]) for row in stored if not row["value"].startswith("00:00:00:")]
            self.stop()
            self.start()
            self.await_started()
            self.last = self.picture()
        return self


class Session(PanelTest):
    def test_demonstration_plan(self):
        emulated = ("--sysroot", os.environ["ZELFAC_SYSROOT"])
        sets = [SessionSet(panel="1920x1080"),
                SessionSet(*emulated, app=os.environ["ZELFAC_ARMV7"], panel="1920x1080")]
        with concurrent.futures.ThreadPoolExecutor() as pool:
            here, there = pool.map(SessionSet.work, sets)
        for tv in (here, there):
            self.assertEqual(tv.plan.returncode, 0, tv.plan.stdout.decode())
        self.assertIn(b"PASSED: 48 of 48 steps passed", there.plan.stdout)
        self.assertEqual(there.mounts, here.mounts)
        self.assertGreater(len(there.mounts), 4)
        self.assertEqual(sorted(there.commands), sorted(here.commands))  # threads may overtake each other
        self.assertEqual(there.stored, here.stored)  # but for the address that a new set draws
        self.check_pictures(here.last, there.last)

    def check_pictures(self, here, there):
        height = here.width // 42 * 7 // 6
        for row, text in enumerate(RECORDS, 1):
            self.assertIsNotNone(there.text_box(row * height, (row + 1) * height), text)
        self.assertEqual((there.width, there.height), (here.width, here.height))
        colours = there.colours(0, there.height)
        self.assertGreater(colours[TEXT], 1000)
        worst = max(
            abs(one - other)
            for mine, theirs in zip(here.rows, there.rows, strict=True)
            if mine != theirs
            for one, other in zip(mine, theirs, strict=True)
        ) if here.rows != there.rows else 0
        self.assertLessEqual(worst, SHADES)


if __name__ == "__main__":
    runner.main()
