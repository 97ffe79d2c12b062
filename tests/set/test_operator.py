"""`zelline run` asks the operator at its terminal: answers, wrong ones, Ctrl-C, and where there is no terminal; and
a set that restarts at a question."""

import contextlib
import os
import pathlib
import select
import subprocess
import tempfile
import threading
import time

import runner
import setlib
from runner import AtOnce
from setlib import NEVER
from stationlib import LineSet
from zelfac import programs

PLAN = """
[[step]]
id = "label"
run = "ask Which label?"
expect = { matches = "L[0-9]" }
until = 3600000
save = "label"
[[step]]
name = "Key"
run = "await key MENU"
[[step]]
name = "Picture"
run = "confirm Is ${label} fine?"
[[step]]
run = ["sn", "write", "${label}"]
[[teardown]]
name = "Sound"
run = "volume 20"
"""


class Terminal:
    """A program at a terminal of its own, whose keys a test presses."""

    def __init__(self, *command):
        self.master, slave = os.openpty()
        # Not a new session from here: setsid makes one, and the terminal its own, which Ctrl-C needs.
        self.program = subprocess.Popen(["setsid", "--ctty", *map(str, command)], stdin=slave, stdout=slave, stderr=slave)
        os.close(slave)
        self.said = ""

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.program.poll() is None:
            self.program.kill()
            self.program.wait()
        os.close(self.master)

    def _read(self, end):
        """False when the program has closed the terminal."""
        if not select.select([self.master], [], [], max(0, end - time.monotonic()))[0]:
            raise AssertionError(f"waited in vain; it said: {self.said}")
        try:
            data = os.read(self.master, 65536)
        except OSError:
            return False
        self.said += data.decode()
        return bool(data)

    def await_text(self, words):
        """Waits until it says so, and forgets that and what was said before."""
        end = time.monotonic() + NEVER
        while words not in self.said:
            if not self._read(end):
                raise AssertionError(f"it has ended and did not say {words!r}: {self.said}")
        self.said = self.said.split(words, 1)[1]

    def type(self, keys):
        os.write(self.master, keys.encode())

    def end(self):
        """Waits for its end; returns its exit status and what else it said."""
        end = time.monotonic() + NEVER
        while self._read(end):
            pass
        return self.program.wait(NEVER), self.said


@contextlib.contextmanager
def plan_file(text):
    with tempfile.TemporaryDirectory(prefix="zelfac-operator.") as folder:
        file = pathlib.Path(folder) / "plan.toml"
        file.write_text(text)
        yield file


class AtTheTerminal(AtOnce):
    @contextlib.contextmanager
    def asked(self):
        with plan_file(PLAN) as plan, LineSet() as tv:
            with Terminal(programs.find("zelline"), "--port", tv.ready["line"], "run", plan) as terminal:
                yield tv, terminal

    def answer(self, tv, terminal):
        """What comes before the last question."""
        terminal.await_text(">>> Which label? ")
        terminal.type("\n")
        terminal.await_text("an empty answer is none")
        terminal.await_text(">>> Which label? ")
        terminal.type("M1\n")
        terminal.await_text('"M1" does not match L[0-9]')
        terminal.await_text(">>> Which label? ")
        terminal.type(" L7 \n")
        terminal.await_text(">>> Press MENU (or type no if the set does not react): ")
        terminal.type("yes\n")
        terminal.await_text("press MENU, or answer no when the set does not react")
        terminal.await_text(">>> Press MENU")
        tv.press(164)
        terminal.await_text(">>> Is L7 fine? (yes/no) ")
        terminal.type("perhaps\n")
        terminal.await_text('"perhaps" is neither yes nor no')
        terminal.await_text(">>> Is L7 fine? (yes/no) ")

    def test_wrong_answers_are_asked_again(self):
        with self.asked() as (tv, terminal):
            self.answer(tv, terminal)
            terminal.type("Y\n")
            status, said = terminal.end()
            self.assertEqual(status, 0, said)
            self.assertIn("PASSED", said)
            self.assertEqual(tv.cat("/var/local/ZelPcbSn"), b"L7")

    def test_no_is_a_bad_unit(self):
        with self.asked() as (tv, terminal):
            self.answer(tv, terminal)
            before = tv.seq()
            terminal.type("no\n")
            status, said = terminal.end()
            self.assertEqual(status, 1, said)
            self.assertIn("the operator said no", said)
            self.assertIn("FAILED", said)
            tv.wait(key="tovix.sl2.i32.sound.main.volume", call="set", since=before)

    def test_interrupt_in_the_question(self):
        """The teardown runs, and the question's line is ended."""
        with self.asked() as (tv, terminal):
            self.answer(tv, terminal)
            before = tv.seq()
            terminal.type("\x03")
            status, said = terminal.end()
            self.assertEqual(status, 130, said)
            self.assertIn("ABORTED", said)
            self.assertRegex(said, r"^(\^C)?\r\n")
            tv.wait(key="tovix.sl2.i32.sound.main.volume", call="set", since=before)


class Restarts(AtOnce):
    def test_a_set_that_restarts_and_finds_the_next_requests_in_its_port(self):
        """None of them may end its ready frames, by which it is known."""
        plan = """
[[step]]
run = "sn read"
[[step]]
run = "confirm Go?"
[[step]]
run = "led red on"
timeout = 700
retries = 150
"""
        with plan_file(plan) as file, LineSet() as tv:
            with Terminal(programs.find("zelline"), "--port", tv.ready["line"], "run", file) as terminal:
                terminal.await_text(">>> Go?")
                before = tv.seq()
                reboot = threading.Thread(target=tv.ctl, args=("reboot",))
                reboot.start()
                tv.wait(who="power", call="on", since=before)
                terminal.type("yes\n")
                status, said = terminal.end()
                reboot.join()
                self.assertEqual(status, 1, said)
                self.assertIn("the set has restarted", said)


class WithoutATerminal(AtOnce):
    def test_a_missing_answer_is_told_before_anything_is_sent(self):
        with plan_file(PLAN.replace('name = "Key"\nrun = "await key MENU"', 'run = "version"')) as plan, LineSet() as tv:
            words = ["--port", "nowhere", "run", plan]  # it would be 4 if the port were opened
            done = setlib.run("zelline", *words)
            self.assertEqual(done.returncode, 2)
            self.assertRegex(done.stderr, r"plan.toml:4: .*standard input is no terminal: write --answer 'label=TEXT' --answer 'Picture=yes\|no'; nothing was sent")
            words += ["--answer", "label=L7", "--answer"]
            done = setlib.run("zelline", *words, "Picture=perhaps")
            self.assertEqual(done.returncode, 2)
            self.assertIn("wants yes or no", done.stderr)
            words[1] = tv.ready["line"]
            self.assertEqual(setlib.run("zelline", *words, "Picture=no").returncode, 1)
            done = setlib.run("zelline", *words, "Picture=yes")
            self.assertEqual(done.returncode, 0, done.stderr)
            self.assertNotIn(">>>", done.stderr)
            self.assertEqual(tv.cat("/var/local/ZelPcbSn"), b"L7")

    def test_with_json_nobody_is_asked(self):
        with plan_file(PLAN) as plan, Terminal(programs.find("zelline"), "--json", "--port", "nowhere", "run", plan) as terminal:
            status, said = terminal.end()
            self.assertEqual(status, 2)
            self.assertIn("with --json nobody is asked", said)


if __name__ == "__main__":
    runner.main()
