"""The real application in a simulated set, and a line end of its own.

The frames here are made and read by this file alone, so that the tests hold the programs against the wire format
and not against themselves. `runner` tells how a file of tests is run.
"""

import json
import os
import pathlib
import select
import shutil
import signal
import subprocess
import tempfile
import termios
import time
import tty

import slots

BIN = pathlib.Path(os.environ.get("ZELFAC_BIN", pathlib.Path(__file__).parents[2] / "build/default/bin"))
SIMSET = BIN / "simset"
ZELLINE = BIN / "zelline"
NOT_RUN = 77  # what ctest takes for "did not run"
NO_NAMESPACES = 3  # simset's exit status where the machine does not allow them

# Seconds after which what has not happened never will: no measure of how long anything takes.
NEVER = 120

READY_FRAME = bytes.fromhex("790012720102000178FE")


def frame(command, payload=b"", kind=0x00, a=0x00, b=0x00):
    """The wire form of a frame."""
    body = bytes([kind, command >> 8, command & 0xFF, len(payload)]) + payload + bytes([a, b])
    return b"\x79" + body + bytes([-sum(body) & 0xFF, 0xFE])


def status(command, value):
    """The set's status reply."""
    return frame(command, bytes([value]), kind=0x10, b=1)


def result(command, payload):
    """The set's answer that carries a result."""
    return frame(command, payload, kind=0x11, b=1)


def empty(command):
    """The set's answer without data."""
    return frame(command, kind=0x10)


def split_frames(data):
    """The frames of a clean stream."""
    frames = []
    while data:
        if data[0] != 0x79 or len(data) < 9 or len(data) < data[4] + 9:
            raise AssertionError(f"no frame at {data.hex()}")
        frames.append(data[: data[4] + 9])
        data = data[data[4] + 9 :]
    return frames


class Line:
    """The line end of the serial port: a terminal device, raw."""

    def __init__(self, path):
        self.fd = os.open(path, os.O_RDWR | os.O_NOCTTY)
        tty.setraw(self.fd)
        termios.tcflush(self.fd, termios.TCIOFLUSH)

    def close(self):
        if self.fd >= 0:
            os.close(self.fd)
            self.fd = -1

    def send(self, data):
        while data:
            data = data[os.write(self.fd, data) :]

    def receive(self, seconds, until=None):
        """What arrives within `seconds`, or until `until(data)` holds."""
        data = b""
        end = time.monotonic() + seconds
        while (left := end - time.monotonic()) > 0:
            if select.select([self.fd], [], [], left)[0]:
                data += os.read(self.fd, 4096)
                if until and until(data):
                    break
        return data

    def drain(self):
        while select.select([self.fd], [], [], 0.05)[0]:
            os.read(self.fd, 4096)

    def ask(self, command, payload=b"", seconds=NEVER, answers=1, **fields):
        """Sends one frame and returns the answers to it, ready frames left out."""
        return self.exchange(frame(command, payload, **fields), answers, seconds)

    def exchange(self, data, answers=1, seconds=NEVER):
        self.send(data)

        def answered(received):
            received = received.replace(READY_FRAME, b"")
            try:
                return len(split_frames(received)) >= answers
            except AssertionError:
                return False

        received = self.receive(seconds, answered).replace(READY_FRAME, b"")
        return b"".join(split_frames(received))

    def await_bytes(self, wanted):
        """What arrives up to and with `wanted`."""
        data = self.receive(NEVER, lambda received: wanted in received)
        assert wanted in data, f"{wanted.hex()} is not in {data.hex()}"
        return data

    def connect(self):
        answer = self.ask(0x1273)
        assert answer == status(0x1273, 0), answer.hex()


class Set:
    """A running simulated set. Use as a context manager.

    `arrange` are ctl verbs (tuples of words) that are carried out before the set is switched on. While a set runs it
    holds one of the machine's slots.
    """

    one_ran = False  # the machine allows sets

    def __init__(self, *options, state=None, panel="none", wait=True, arrange=()):
        self.own = state is None
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="zelfac-set."))
        self.state = pathlib.Path(state) if state else self.folder / "state"
        self.options = list(options) + (["--panel", panel] if panel else [])
        self.wait = wait
        self.arrange = arrange
        self.process = None
        self.ready = None
        self.line = None
        self.slot = None
        self.markers = 0

    def __enter__(self):
        if self.arrange:
            with Set("--mode", "none", state=self.state) as resting:
                resting.await_output("am client thread start")  # past the calls that a fault could make it end at
                for verb in self.arrange:
                    resting.ctl(*verb)
                mode = "1" if "--mode" not in self.options else self.options[self.options.index("--mode") + 1]
                resting.ctl("flash", "set", "ZelFacMode", mode)
            # What the resting set did is not what the test is about.
            (self.state / "trace.jsonl").unlink(missing_ok=True)
        self.start()
        return self

    def start(self):
        self.slot = slots.Slot()
        self.errors = open(self.folder / "simset.err", "ab+")
        self.process = subprocess.Popen(
            [SIMSET, "run", "--state", self.state, *self.options], stdout=subprocess.PIPE, stderr=self.errors
        )
        if not self.wait:
            return
        line = self.process.stdout.readline()
        if not line:
            code = self.process.wait(NEVER)
            self.errors.seek(0)
            said = self.errors.read().decode(errors="replace")
            self.stop()
            if code == NO_NAMESPACES and not Set.one_ran:
                print(said, flush=True)
                os._exit(NOT_RUN)
            raise AssertionError(f"simset ended with {code}: {said}")
        Set.one_ran = True
        self.ready = json.loads(line)
        self.line = Line(self.ready["line"])

    def __exit__(self, *_):
        self.stop()
        shutil.rmtree(self.folder, ignore_errors=True)

    def stop(self, number=signal.SIGTERM):
        """Ends simset and returns its exit status."""
        if self.line:
            self.line.close()
            self.line = None
        if not self.process:
            return None
        if self.process.poll() is None:
            self.process.send_signal(number)
        try:
            code = self.process.wait(NEVER)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
            raise AssertionError("simset does not end") from None
        finally:
            self.process.stdout.close()
            self.errors.close()
            self.process = None
            self.slot.give_back()
        return code

    def await_end(self):
        """Waits until simset has ended by itself and returns its exit status."""
        return self.process.wait(NEVER)

    def ctl(self, *arguments, check=True):
        done = subprocess.run(
            [SIMSET, "ctl", "--state", self.state, *map(str, arguments)], capture_output=True, timeout=NEVER
        )
        if check and done.returncode != 0:
            raise AssertionError(f"ctl {arguments}: {done.returncode}: {done.stderr.decode(errors='replace')}")
        return done

    def text(self, *arguments):
        """What ctl prints, without the line end."""
        return self.ctl(*arguments).stdout.decode(errors="replace").rstrip("\n")

    def value(self, *arguments):
        return json.loads(self.ctl(*arguments).stdout)

    def trace(self, **match):
        """Rows of the trace whose fields equal `match`."""
        rows = [json.loads(row) for row in self.ctl("trace").stdout.splitlines()]
        return [row for row in rows if all(row.get(name) == value for name, value in match.items())]

    def shell(self):
        return [row["command"] for row in self.trace(who="shell")]

    def output(self):
        """What the application manager received on the real standard output."""
        return (self.state / "app.out").read_text(errors="replace")

    def await_output(self, text):
        """Waits until the application has printed `text`."""
        return self.await_true(lambda: text in self.output(), f"{text!r} in the output")

    def await_printed(self):
        """Waits until what the application has printed so far is in the output: a line of the manager's comes after it."""
        self.markers += 1
        self.ctl("am", f":am,ui,marker:printed=m{self.markers}")
        self.await_output(f"s_ack:marker,s_name:m{self.markers},s_comment:printed")

    @staticmethod
    def await_true(condition, what):
        end = time.monotonic() + NEVER
        while not condition():
            if time.monotonic() > end:
                raise AssertionError(f"waited {NEVER} s in vain for {what}")
            time.sleep(0.05)
        return True

    def await_started(self):
        """Waits until the flow after the link's start has ended."""
        self.await_output("m_i32RetCheckPlayreadyYoutube:")

    def zelline(self, *arguments, timeout=NEVER, **options):
        """Runs zelline, which waits `timeout` seconds for an answer; None leaves that to itself."""
        words = [ZELLINE, "--port", self.ready["line"]]
        if timeout:
            words += ["--timeout", str(timeout * 1000)]
        return subprocess.run([*words, *map(str, arguments)], capture_output=True, timeout=4 * NEVER, **options)


def seed():
    """The seed of a test that draws: the same in every run but the long one's, and always the one to repeat it with."""
    number = int(os.environ.get("ZELFAC_SEED", "1"))
    print(f"ZELFAC_SEED={number}", flush=True)
    return number


def campaign():
    """Whether this is the long run, for which every test that draws or sweeps has its own measure."""
    return "ZELFAC_CAMPAIGN" in os.environ
