"""What `simset ctl` can do with a set, as methods."""

from __future__ import annotations

import json
import os
import pathlib
import re
import subprocess
import tempfile
import time
from collections.abc import Callable, Iterable
from typing import Any

from . import programs
from .errors import ControlFailed, Row, TimedOut
from .line import TIMEOUT, StrPath


class _Part:
    """A part of the set whose calls can be made to fail."""

    def __init__(self, control: Control, name: str) -> None:
        self._control = control
        self._name = name

    def fail(self, *what: object, times: int | None = None) -> None:
        """Lets calls fail: what is named as `simset ctl` does, then the status; 0 ends it. `times`: so often only."""
        self._control.ctl(self._name, "fail", *what, *(() if times is None else ("--times", times)))

    def failures(self) -> str:
        """The failures that were asked for and have not ended."""
        return self._control.text(self._name, "fail")


class Model(_Part):
    """The television's model."""

    def get(self, key: str) -> Any:
        """A value; a text as it is, unless it is JSON as well: `text` is for those."""
        return _value(self.text(key))

    def text(self, key: str) -> str:
        """A value as `simset ctl` prints it."""
        return self._control.text("model", "get", key)

    def list(self, pattern: str = "*") -> Row:
        """The values of all keys that match, which may have the shell's wildcards."""
        lines = (line.partition(" ") for line in self._control.text("model", "list", pattern).splitlines())
        return {key: json.loads(value) for key, _, value in lines}

    def set(self, key: str, value: Any) -> None:
        """Changes a value as the television would: observers are told. A text goes as it is, the rest as JSON."""
        self._control.ctl("model", "set", key, value if isinstance(value, str) else json.dumps(value))


class Records(_Part):
    """Flash variables by name, or factory metadata by item."""

    def get(self, name: object) -> str:
        """A record's text."""
        return self._control.text(self._name, "get", name)

    def set(self, name: object, value: object) -> None:
        """Changes a record."""
        self._control.ctl(self._name, "set", name, value)


class Flash(Records):
    """Flash variables."""

    def list(self) -> dict[str, str]:
        """All that were ever set."""
        variables: dict[str, str] = self._control.value("flash", "list")
        return variables


class Keys(_Part):
    """The key store."""

    def clear(self) -> None:
        """Removes all installed keys, and the CI+ credentials."""
        self._control.ctl("keys", "clear")

    def list(self) -> list[Row]:
        """The installed keys: `type`, `key`, `size`, `crc32`, `files`."""
        keys: list[Row] = self._control.value("keys", "list")
        return keys


class Control:
    """A simulated set by its state folder, whoever runs it. Any thread may use it.

    `timeout` is how many seconds everything that is waited for may take.
    """

    def __init__(self, state: StrPath, timeout: float = TIMEOUT) -> None:
        self.state = pathlib.Path(state)
        self.timeout = timeout
        self.model = Model(self, "model")
        self.flash = Flash(self, "flash")
        self.meta = Records(self, "meta")
        self.keys = Keys(self, "keys")
        self.apm = _Part(self, "apm")
        self.commands = _Part(self, "shell")
        self.mount = _Part(self, "mount")
        self.sync = _Part(self, "sync")
        self._markers = 0

    # The verbs themselves.

    def ctl(self, *words: object, check: bool = True) -> subprocess.CompletedProcess[bytes]:
        """Carries out any verb of `simset ctl`; raises `ControlFailed` with its message unless `check` is false."""
        verb = [str(word) for word in words]
        command = [str(programs.find("simset")), "ctl", "--state", str(self.state), *verb]
        limit = 2 * self.timeout  # `wait` has its own
        try:
            done = subprocess.run(command, capture_output=True, timeout=limit)
        except subprocess.TimeoutExpired:
            raise TimedOut(f"simset ctl {' '.join(verb)} did not end within {limit:g} s") from None
        if check and done.returncode != 0:
            raise ControlFailed(verb, done.returncode, done.stderr.decode(errors="replace"))
        return done

    def text(self, *words: object) -> str:
        """What a verb prints, without the line end."""
        return self.ctl(*words).stdout.decode(errors="replace").rstrip("\n")

    def value(self, *words: object) -> Any:
        """What a verb prints, read as JSON."""
        return json.loads(self.ctl(*words).stdout)

    def behave(self, name: str, setting: object) -> None:
        """Whether and when a part of the television answers: "on", "off" or milliseconds."""
        self.ctl("behave", name, setting)

    def behaviours(self) -> Row:
        """All settings of `behave`."""
        settings: Row = self.value("behave")
        return settings

    def press(self, code: int) -> None:
        """The application manager delivers a key."""
        self.ctl("press", code)

    def screenshot(self, path: StrPath) -> pathlib.Path:
        """Writes a PNG of what the panel shows; the set needs a panel."""
        self.ctl("screenshot", path)
        return pathlib.Path(path)

    # The manager's streams.

    def am(self, line: str | bytes) -> None:
        """A line on the application's standard input; bytes go as they are, without a line end."""
        if isinstance(line, str):
            self.ctl("am", line)
            return
        with tempfile.NamedTemporaryFile(prefix="zelfac-am.") as file:
            file.write(line)
            file.flush()
            self.ctl("am", "--file", file.name)

    def am_end(self) -> None:
        """The end of the application's standard input."""
        self.ctl("am", "--eof")

    def hold_output(self, held: bool = True) -> None:
        """The manager stops reading what the application prints, or goes on."""
        self.ctl("am", "--pause-output" if held else "--resume-output")

    def output(self, stream: str = "out") -> str:
        """What the manager received since simset was started: "out" or "err". Every line end is "\\n" here."""
        path = self.state / f"app.{stream}"
        return path.read_text(errors="replace") if path.exists() else ""

    def output_bytes(self, stream: str = "out") -> bytes:
        """The same, true to the byte."""
        return (self.state / f"app.{stream}").read_bytes()

    def await_output(self, wanted: str | re.Pattern[str], count: int = 1, stream: str = "out") -> re.Match[str]:
        """Waits until the application has printed a text, or what a pattern finds, `count` times; the last match."""
        pattern = re.compile(re.escape(wanted)) if isinstance(wanted, str) else wanted
        found: list[re.Match[str]] = []

        def printed() -> bool:
            found[:] = pattern.finditer(self.output(stream))
            return len(found) >= count

        self.await_true(printed, f"{wanted!r} in app.{stream}")
        return found[count - 1]

    def await_printed(self) -> None:
        """Waits until all that was printed so far is in `output`: what a line of the manager's prints comes after it."""
        self._markers += 1
        self.am(f":am,ui,marker:printed=m{self._markers}")
        self.await_output(f"s_ack:marker,s_name:m{self._markers},s_comment:printed")

    def await_started(self) -> None:
        """Waits until the flow after the link's start has ended."""
        self.await_output("m_i32RetCheckPlayreadyYoutube:")

    def await_true(self, condition: Callable[[], object], what: str) -> None:
        """Waits until a condition holds of which the trace says nothing."""
        end = time.monotonic() + self.timeout
        while not condition():
            if time.monotonic() > end:
                raise TimedOut(f"waited {self.timeout:g} s in vain for {what}")
            time.sleep(0.05)

    # The set's files and sticks.

    def cat(self, path: str) -> bytes:
        """A file of the set."""
        return self.ctl("cat", path).stdout

    def put(self, content: bytes | StrPath, path: str) -> None:
        """Writes a file of the set: bytes, a text, or a copy of a file."""
        if isinstance(content, os.PathLike):
            self.ctl("put", content, path)
            return
        with tempfile.NamedTemporaryFile(prefix="zelfac-put.") as file:
            file.write(content.encode() if isinstance(content, str) else content)
            file.flush()
            self.ctl("put", file.name, path)

    def rm(self, path: str) -> None:
        """Removes a file or folder of the set."""
        self.ctl("rm", path)

    def ls(self, path: str) -> list[str]:
        """Names in a folder of the set."""
        return self.text("ls", path).splitlines()

    def mounts(self) -> dict[str, set[str]]:
        """Mount flags by mount point."""
        rows = (row.split() for row in self.text("mounts").splitlines())
        return {row[1]: set(row[3].split(",")) for row in rows}

    def disks(self) -> dict[str, Row]:
        """`size`, `used` and `free` bytes of partitions and plugged sticks, by path."""
        return {row.pop("path"): row for row in self.value("disk")}

    def resize(self, path: str, size: object) -> None:
        """The size of a partition or stick: bytes, "64K", "2M", "full" (nothing more can be written), "default"."""
        self.ctl("disk", path, size)

    def plug(self, folder: StrPath, name: str | None = None, read_only: bool = False) -> str:
        """Plugs a stick with a copy of a folder; returns the name that it got, "vu_sda1" for one."""
        options = (["--name", name] if name else []) + (["--read-only"] if read_only else [])
        return self.text("usb", "plug", folder, *options)

    def plugged(self) -> list[Row]:
        """The plugged sticks in their order: `name`, `readOnly`."""
        sticks: list[Row] = self.value("usb", "list")
        return sticks

    def unplug(self, name: str = "vu_sda1") -> None:
        """Saves a stick's content and takes it out."""
        self.ctl("usb", "unplug", name)

    def copy_stick(self, folder: StrPath, name: str = "vu_sda1") -> pathlib.Path:
        """Copies a stick's content into a folder, also after it was unplugged."""
        self.ctl("usb", "read", name, folder)
        return pathlib.Path(folder)

    def read_stick(self, name: str = "vu_sda1") -> dict[str, bytes]:
        """A stick's files with their contents, by their paths on it."""
        with tempfile.TemporaryDirectory(prefix="zelfac-stick.") as folder:
            self.copy_stick(folder, name)
            root = pathlib.Path(folder)
            return {str(path.relative_to(root)): path.read_bytes() for path in root.rglob("*") if path.is_file()}

    # The line's faults, and the power.

    def disturb(self, **faults: float) -> None:
        """Faults of the serial line: `baud`, `drop` and `flip` (probabilities per byte), `delay` (ms), `seed`."""
        self.ctl("line", *(word for name, value in faults.items() for word in (f"--{name}", value)))

    def line_settings(self) -> Row:
        """Settings and counters of the line."""
        settings: Row = self.value("line")
        return settings

    def hang_up(self, hung_up: bool = True) -> None:
        """The application's end of the line hangs up, or is back."""
        self.ctl("line", "--unplug" if hung_up else "--plug")

    def reboot(self) -> None:
        """Stops the application, saves, and powers the set on again; returns when it is on."""
        self.ctl("reboot")

    def power_cut(self, after: int | None = None) -> None:
        """Ends everything at once, what was not synced is lost; `after`: at that step from now, 0 takes it back."""
        self.ctl("power-cut", *(() if after is None else ("--after", after)))

    # The trace.

    # `match` is what `simset ctl` takes: terms like "who=model", "key=*volume*" and bare words, all of which hold. Fields
    # are members with their exact values.

    def trace(self, match: str = "", since: int | None = None, **fields: object) -> list[Row]:
        """Rows of the trace: all since simset's start or `clear_trace`, or those above the number `since`."""
        words = ["--since", since] if since is not None else []
        words += ["--match", match] if match else []
        return matching(map(json.loads, self.ctl("trace", *words).stdout.splitlines()), **fields)

    def seq(self) -> int:
        """The number of the last row of this run, 0 when there is none: what comes from now on is above it."""
        rows = self.ctl("trace", "--last", "--since", 0).stdout.splitlines()
        return int(json.loads(rows[-1])["seq"]) if rows else 0

    def wait(self, match: str = "", since: int | None = None, timeout: float | None = None, **fields: object) -> Row:
        """Waits for a row that comes from now on, or for any above the number `since`, and returns it.

        Where the script itself causes the row, take `seq()` before: the row may come before the wait begins. Raises
        `TimedOut` after `timeout` seconds (else the set's own), `ControlFailed` when the set goes off.
        """
        terms = [match] if match else []
        terms += [f'{name}="{_exactly(value)}"' for name, value in fields.items()]
        begun = time.monotonic()
        limit = min(self.timeout if timeout is None else timeout, 1.5 * self.timeout)
        words = ["wait", " ".join(terms), "--timeout", f"{limit:g}", *(() if since is None else ("--since", since))]
        try:
            row: Row = self.value(*words)
        except ControlFailed as failed:
            if time.monotonic() - begun < limit:
                raise
            raise TimedOut(failed.said.strip()) from None
        return row

    def clear_trace(self) -> None:
        """Empties the trace."""
        self.ctl("trace", "--clear")

    def violations(self) -> list[Row]:
        """The rules that the application broke since simset was started."""
        return [json.loads(row) for row in self.ctl("violations").stdout.splitlines()]

    def trace_file(self, since: int = 0) -> list[Row]:
        """The rows above a number that the state folder still tells when the set has gone."""
        path = self.state / "trace.jsonl"
        rows = [json.loads(row) for row in path.open("rb") if row.endswith(b"\n")] if path.exists() else []
        return [row for row in rows if row["seq"] > since]

    def shell(self) -> list[str]:
        """The shell commands of the application, in order."""
        return [row["command"] for row in self.trace(who="shell")]


def matching(rows: Iterable[Row], **fields: object) -> list[Row]:
    """Those rows of a trace whose members equal `fields`."""
    return [row for row in rows if all(row.get(name) == value for name, value in fields.items())]


def _exactly(value: object) -> str:
    """A glob that a member's text matches when it is this value."""
    text = value if isinstance(value, str) else json.dumps(value, separators=(",", ":"))
    return re.sub(r'([*?\[\]\\])', r"\\\1", text).replace('"', '\\"')


def _value(text: str) -> Any:
    """A model value as `ctl` prints it: JSON, but a text as it is."""
    try:
        return json.loads(text)
    except json.JSONDecodeError:
        return text
