"""The Python package by itself: the examples of its page, its frames, and what it says when something is wrong."""

import os
import pathlib
import re
import subprocess
import sys
import unittest

import runner
from runner import AtOnce, cases
from setlib import NEVER, Set
import zelfac
from zelfac import (BadFrame, Control, ControlFailed, Frame, NoAnswer, RulesBroken, StartFailed, TimedOut, frame,
                    split_frames, status)

ROOT = pathlib.Path(__file__).resolve().parents[2]
# Each example, and the output that stands below it.
EXAMPLES = re.findall(r"```python\n(.*?)```\n\n```text\n(.*?)```", (ROOT / "docs/python.md").read_text(), re.DOTALL)


def python(code, **more):
    """Runs a program as one that has nothing to do with the tests."""
    environment = {**os.environ, "PYTHONPATH": str(ROOT / "python"), **more}
    command = [sys.executable, "-B", "-c", code]
    return subprocess.run(command, cwd="/", env=environment, capture_output=True, text=True, timeout=4 * NEVER)


class Page(AtOnce):
    def test_every_example_has_its_output(self):
        self.assertEqual(len(EXAMPLES), (ROOT / "docs/python.md").read_text().count("```python"))

    @cases({f"{number + 1}": example for number, example in enumerate(EXAMPLES)})
    def test_an_example(self, case):
        code, output = case
        done = python(code)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, output, ""))


class Frames(unittest.TestCase):
    def test_what_was_built_is_read(self):
        for command, payload, a, b in ((0x1273, b"", 0, 0), (0x12BA, bytes(64), 7, 255)):
            data = frame(command, payload, 0x11, a, b)
            self.assertEqual(Frame.parse(data), (command, payload, 0x11, a, b))
            self.assertEqual(split_frames(data + status(command, 1)), [data, status(command, 1)])

    def test_damage_is_refused(self):
        good = frame(0x1273, b"abc")
        for at in (0, 1, 5, len(good) - 2, len(good) - 1):
            for data in (good[:at] + bytes([good[at] ^ 1]) + good[at + 1 :], good[:at], good + good[:at]):
                if data not in (b"", good):
                    with self.assertRaises(BadFrame, msg=data.hex()):
                        split_frames(data)


class Refusals(AtOnce):
    def test_a_set_that_does_not_go_on(self):
        tv = zelfac.Set(app="/no/such/application")
        with self.assertRaises(StartFailed) as refused:
            tv.start()
        self.assertEqual(refused.exception.code, 2)
        self.assertIn("/no/such/application", str(refused.exception))
        tv.close()

    def test_a_verb_that_is_refused(self):
        with Set() as tv, self.assertRaisesRegex(ControlFailed, "^simset ctl rm /bin: ."):
            Control(tv.state).rm("/bin")

    def test_what_does_not_happen(self):
        with Set() as tv:
            tv.timeout = tv.line.timeout = 2
            with self.assertRaisesRegex(NoAnswer, "0x1275 within 2 s: is the line connected"):
                tv.line.query(0x1275)
            with self.assertRaisesRegex(TimedOut, "waited 2 s in vain for 'never said'"):
                tv.await_output("never said")
            tv.timeout = NEVER  # for its end

    def test_broken_rules_are_listed(self):
        """Also when the application's end is no good one."""
        for code in (0, 3):
            tv = Set(strict=True)
            tv.app = tv.folder / "application"
            tv.app.write_text("#!/bin/sh\necho sent before the port is set up > /dev/ttyS0\nread code\nexit $code\n")
            tv.app.chmod(0o755)
            with self.assertRaisesRegex(RulesBroken, "^rules were broken:\n  serial-parameters: transmit .expected: ."), tv:
                tv.wait(who="violation", since=0)
                tv.am(str(code))
                tv.await_end()

    def test_a_set_that_is_forgotten_ends_with_the_script(self):
        done = python("import zelfac; tv = zelfac.Set(); tv.start(); print(tv.process.pid); raise SystemExit(3)")
        self.assertEqual(done.returncode, 3, done.stderr)
        self.assertFalse(pathlib.Path(f"/proc/{int(done.stdout)}").exists())

    def test_a_folder_without_programs(self):
        done = python("import zelfac; zelfac.Set().start()", ZELFAC_BIN="/no/such/folder")
        self.assertIn("ProgramMissing: there is no simset in /no/such/folder: ZELFAC_BIN has to name", done.stderr)


if __name__ == "__main__":
    runner.main()
