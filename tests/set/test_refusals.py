"""What simset refuses says why, and changes nothing."""

import json
import os
import subprocess
import unittest

import runner
from runner import AtOnce
from setlib import Set, run
from sticks import Folder
from zelfac import programs

NOBODY = 65534


class Refusals(AtOnce):
    def test_a_stick_that_holds_the_state(self):
        with Folder() as folder:
            done = run("simset", "run", "--state", folder / "set", "--usb", folder)
            self.assertEqual(done.returncode, 2)
            self.assertEqual(
                done.stderr, f"simset: {folder} holds the set's own state folder: it cannot become a stick\n"
            )

    @unittest.skipUnless(os.geteuid() == 0, "only root can be somebody else")
    def test_a_set_of_another_user(self):
        with Folder() as folder:
            folder.chmod(0o755)
            with Set(app="/bin/cat", state=folder / "set") as tv:
                # This program's own descriptor of the program, which somebody else may not reach by its path.
                with open(programs.find("simset"), "rb") as program:
                    done = subprocess.run(
                        [f"/proc/self/fd/{program.fileno()}", "ctl", "--state", tv.state, "behave"],
                        user=NOBODY, group=NOBODY, extra_groups=[], pass_fds=[program.fileno()], capture_output=True, text=True,
                    )
                self.assertEqual((done.returncode, done.stdout), (1, ""))
                self.assertEqual(done.stderr, "simset: the set belongs to another user\n")

    def test_a_setting_that_is_none_has_no_effect(self):
        with Set(app="/bin/cat") as tv:
            before = json.loads(tv.text("behave"))
            for name in before:
                self.assertEqual(tv.ctl("behave", name, "bogus", check=False).returncode, 1)
            self.assertEqual(json.loads(tv.text("behave")), before)
            tv.behave("supervisor", "wrong")
            self.assertEqual(tv.behaviours()["supervisor"], "wrong")

    def test_a_line_for_the_manager_that_looks_like_an_option(self):
        with Set(app="/bin/cat") as tv:
            done = tv.ctl("am", "--bogus", check=False)
            self.assertEqual(done.returncode, 1)
            self.assertIn(b"usage: am ", done.stderr)
            self.assertEqual(tv.output(), "")

    def test_no_step_at_which_the_power_fails(self):
        with Set("--power-cut-after", "0", app="/bin/sh") as tv:
            tv.power_cut(0)
            tv.am("sh -c 'exit 0'; echo a step is done")
            tv.await_output("a step is done")
            self.assertEqual(tv.trace(who="shell")[0]["command"], "exit 0")
            self.assertEqual(tv.stop(), 0)

    def test_a_long_state_path(self):
        with Folder() as folder:
            state = folder.joinpath(*["d" * 50] * 6)
            with Set(app="/bin/cat", state=state) as tv:
                self.assertEqual(tv.flash.get("ZelFacMode"), "1")
                self.assertTrue((state / "line").exists())


if __name__ == "__main__":
    runner.main()
