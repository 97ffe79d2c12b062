"""A simulated set that this program runs."""

from __future__ import annotations

import json
import pathlib
import signal
import subprocess
import tempfile
import threading
import time
import weakref
from collections.abc import Iterable, Sequence

from . import programs
from .control import Control, matching
from .errors import NoNamespaces, Row, RulesBroken, StartFailed, TimedOut
from .line import TIMEOUT, Line, StrPath

NO_NAMESPACES = 3  # simset's exit status where the machine does not allow them
RULES_BROKEN = 7  # simset's exit status of a strict run in which a rule was broken


class Set(Control):
    """A simulated set, as a context manager: on inside, gone outside.

        with Set() as tv:
            tv.line.connect()

    `options`  further options of `simset run`
    `state`    the state folder; without it a factory-new one that is removed at the end
    `mode`     "1" factory (as without it), "2" aging, "3" USB update, "none"
    `panel`    "1920x1080" or another size; "none" is quickest
    `sticks`   folders that are plugged as copies at power-on
    `app`      another application
    `arrange`  verbs of `simset ctl`, as tuples of words, carried out before the set goes on
    `strict`   a broken rule is an error: `RulesBroken` when the set ends
    `wait`     whether to wait until the line can be opened; without it there is no `line`
    `timeout`  seconds that everything which is waited for may take

    `line` is the equipment's end of the serial line, `ready` what simset said when the set went on (`pid` is the
    application's), `folder` a temporary folder for the script's own files, `process` the running simset, `before` the
    number of the trace's last row before the set was started last, `said` the lines of JSON that simset has printed
    since.
    """

    def __init__(
        self,
        *options: str,
        state: StrPath | None = None,
        mode: str | None = None,
        panel: str = "none",
        sticks: Sequence[StrPath] = (),
        app: StrPath | None = None,
        arrange: Iterable[Sequence[object]] = (),
        strict: bool = False,
        wait: bool = True,
        timeout: float = TIMEOUT,
    ) -> None:
        self._temporary = tempfile.TemporaryDirectory(prefix="zelfac-set.", ignore_cleanup_errors=True)
        self.folder = pathlib.Path(self._temporary.name)
        super().__init__(self.folder / "state" if state is None else state, timeout)
        self.options = list(options)
        self.mode = mode
        self.panel = panel
        self.sticks = list(sticks)
        self.app = app
        self.arrange = list(arrange)
        self.strict = strict
        self.wait_for_line = wait
        self.process: subprocess.Popen[bytes] | None = None
        self._line: Line | None = None
        self.said: list[Row] = []
        self.before = 0
        self._heard = threading.Condition()
        self._listener: threading.Thread | None = None

    def __enter__(self) -> Set:
        for verb in self.arrange:
            self.ctl(*verb)
        self.start()
        return self

    def __exit__(self, _kind: object, error: BaseException | None, _trace: object) -> None:
        try:
            self.close()
        except RulesBroken as broken:
            if error is None:
                raise
            if not isinstance(error, RulesBroken):
                error.add_note(str(broken))

    def close(self) -> None:
        """Ends the set and removes the temporary folder, as the end of the `with` does."""
        try:
            self.stop()
        finally:
            self._temporary.cleanup()

    @property
    def line(self) -> Line:
        """The equipment's end of the serial line."""
        if self._line is None:
            raise RuntimeError("the set has no line: start() it, and with wait=True")
        return self._line

    @property
    def ready(self) -> Row:
        """What simset said when the set went on last: `line`, `control`, `pid`."""
        rows = [row for row in self.said if "ready" in row]
        if not rows:
            raise RuntimeError("the set has not gone on: start() it, and with wait=True")
        return rows[-1]

    @property
    def ended(self) -> str | None:
        """Why the run ended: "application", "killed", "stopped", "power-cut", "no-start" …; None while it has not."""
        return next((row["ended"] for row in self.said if "ended" in row), None)

    def errors(self) -> str:
        """What simset has written to its standard error."""
        return (self.folder / "simset.err").read_text(errors="replace")

    def words(self) -> list[str]:
        """The options of the next start."""
        words = ["--panel", self.panel]
        words += ["--mode", self.mode] if self.mode else []
        words += ["--app", str(self.app)] if self.app else []
        words += ["--strict"] if self.strict else []
        return words + [word for stick in self.sticks for word in ("--usb", str(stick))] + self.options

    def start(self) -> None:
        """Switches the set on."""
        if self.process:
            raise RuntimeError("the set is on: stop() it before")
        self.said = []
        self.before = self._last_in_file()
        with open(self.folder / "simset.err", "ab") as errors:
            self.process = subprocess.Popen(
                [programs.find("simset"), "run", "--state", self.state, *self.words()],
                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=errors,
            )
        weakref.finalize(self, _end, self.process)
        self._listener = threading.Thread(target=self._listen, args=(self.process,), daemon=True)
        self._listener.start()
        if not self.wait_for_line:
            return
        if not self._await_said(1):
            if not self.ended and self.process.poll() is None and self._listener.is_alive():
                self._abandon()
                raise TimedOut(f"the set was not on within {self.timeout:g} s: {self.errors()}")
            code = self.process.wait(self.timeout)
            self._forget()
            raise (NoNamespaces if code == NO_NAMESPACES else StartFailed)(code, self.errors())
        self._line = Line(self.ready["line"], self.timeout)

    def stop(self, number: int = signal.SIGTERM) -> int | None:
        """Ends simset, if it has not ended by itself, and returns its exit status; None when it was not started."""
        if not self.process:
            return None
        if self.process.poll() is None:
            self.process.send_signal(number)
        try:
            return self.await_end()
        except TimedOut:
            self._abandon()
            raise
        finally:
            self._forget()

    def await_end(self) -> int:
        """Waits until simset has ended and returns its exit status: the application's own, or as its manual says."""
        assert self.process and self._listener
        try:
            code = self.process.wait(self.timeout)
        except subprocess.TimeoutExpired:
            raise TimedOut(f"simset did not end within {self.timeout:g} s") from None
        self._listener.join(self.timeout)
        # An end that was not a good one hides whether rules were broken before it.
        if self.strict and code != 0 and (code == RULES_BROKEN or self._violations_told()):
            raise RulesBroken(self._violations_told())
        return code

    def reboot(self) -> None:
        """Stops the application, saves, and powers the set on again; returns when it is on."""
        count = len(self.said)
        super().reboot()
        if not self._await_said(count + 1):
            raise TimedOut(f"the set was not on again within {self.timeout:g} s: {self.errors()}")

    def zelline(
        self, *words: object, timeout: float | None = TIMEOUT, check: bool = False
    ) -> subprocess.CompletedProcess[bytes]:
        """Runs zelline on the line, which this program leaves for that long: zelline takes no port that is in use.

        `timeout` is how many seconds it waits for an answer, None leaves that to itself.
        """
        limit = [] if timeout is None else ["--timeout", str(round(timeout * 1000))]
        command = [programs.find("zelline"), "--port", self.ready["line"], *limit, *map(str, words)]
        was_open = self._line is not None and self._line.is_open
        if was_open:
            self.line.close()
        try:
            return subprocess.run(command, capture_output=True, check=check, timeout=4 * self.timeout)
        finally:
            if was_open:
                self.line.open()

    def _last_in_file(self) -> int:
        """The number of the last whole row of the trace's file."""
        path = self.state / "trace.jsonl"
        if not path.exists():
            return 0
        with open(path, "rb") as file:
            file.seek(max(0, path.stat().st_size - (1 << 16)))
            rows = file.read().rpartition(b"\n")[0].splitlines()
        return int(json.loads(rows[-1])["seq"]) if rows else 0

    def _violations_told(self) -> list[Row]:
        """The rules that were broken since the start, from the file that outlives the set however that ends."""
        return matching(self.trace_file(self.before), who="violation")

    def _listen(self, process: subprocess.Popen[bytes]) -> None:
        assert process.stdout
        with process.stdout:
            for row in process.stdout:
                with self._heard:
                    self.said.append(json.loads(row))
                    self._heard.notify_all()
        with self._heard:
            self._heard.notify_all()

    def _await_said(self, count: int) -> bool:
        """Waits until simset has said so many lines; false when it has ended or the time is over before."""
        end = time.monotonic() + self.timeout
        with self._heard:
            while len(self.said) < count:
                assert self.process and self.process.stdout
                left = end - time.monotonic()
                if left <= 0 or self.process.stdout.closed:
                    return False
                self._heard.wait(left)
        return "ready" in self.said[count - 1]

    def _abandon(self) -> None:
        assert self.process
        self.process.kill()
        self.process.wait()
        self._forget()

    def _forget(self) -> None:
        if self._line:
            self._line.close()
        self._line = None
        self.process = None


def _end(process: subprocess.Popen[bytes]) -> None:
    """No set outlives the script that forgot it."""
    if process.poll() is None:
        process.terminate()
        process.wait()
