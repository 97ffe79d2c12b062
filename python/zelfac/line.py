"""The equipment's end of a set's serial line."""

from __future__ import annotations

import os
import pathlib
import select
import termios
import time
import tty
from collections.abc import Callable
from typing import Union

from .errors import BadFrame, NoAnswer, TimedOut
from .frames import READY_FRAME, REPLY, RESULT, Frame, frame, split_frames

CONNECT = 0x1273
StrPath = Union[str, os.PathLike[str]]
# Seconds after which what has not happened never will: no measure of how long anything takes.
TIMEOUT = 120.0


class Line:
    """A serial port, raw, 8N1, at 115200 baud: a real one, or the `line` of a simulated set. Opened at once.

    `timeout` is how many seconds an answer is waited for. One thread may send while another receives.
    """

    def __init__(self, path: StrPath, timeout: float = TIMEOUT) -> None:
        self.path = pathlib.Path(path)
        self.timeout = timeout
        self.fd = -1
        self.open()

    def open(self) -> None:
        """Opens the port again after `close`; what came meanwhile is dropped."""
        self.close()
        self.fd = os.open(self.path, os.O_RDWR | os.O_NOCTTY | os.O_CLOEXEC)
        tty.setraw(self.fd)
        settings = termios.tcgetattr(self.fd)
        settings[2] = settings[2] & ~(termios.CSTOPB | termios.CRTSCTS) | termios.CLOCAL | termios.CREAD
        settings[4] = settings[5] = termios.B115200
        termios.tcsetattr(self.fd, termios.TCSANOW, settings)
        termios.tcflush(self.fd, termios.TCIOFLUSH)

    def close(self) -> None:
        """Closes the port, so that another program can have it."""
        if self.fd >= 0:
            os.close(self.fd)
            self.fd = -1

    @property
    def is_open(self) -> bool:
        """Whether this program has the port open."""
        return self.fd >= 0

    def __enter__(self) -> Line:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def send(self, data: bytes) -> None:
        """Sends bytes, whatever they are."""
        while data:
            data = data[os.write(self.fd, data) :]

    def receive(self, seconds: float, until: Callable[[bytes], bool] | None = None) -> bytes:
        """What arrives within `seconds`, or before that until `until(data)` holds."""
        data = b""
        end = time.monotonic() + seconds
        while (left := end - time.monotonic()) > 0:
            if select.select([self.fd], [], [], left)[0]:
                data += os.read(self.fd, 4096)
                if until and until(data):
                    break
        return data

    def drain(self) -> None:
        """Drops what has arrived."""
        while select.select([self.fd], [], [], 0.05)[0]:
            os.read(self.fd, 4096)

    def await_bytes(self, wanted: bytes) -> bytes:
        """What arrives up to and with `wanted`; raises `TimedOut` when that does not come."""
        data = self.receive(self.timeout, lambda received: wanted in received)
        if wanted not in data:
            raise TimedOut(f"{wanted.hex()} did not come within {self.timeout:g} s, but {data.hex() or 'nothing'}")
        return data

    def exchange(self, data: bytes, answers: int = 1, seconds: float | None = None) -> bytes:
        """Sends bytes and returns the next `answers` frames, ready frames left out; fewer when `seconds` are over."""
        self.send(data)

        def answered(received: bytes) -> bool:
            try:
                return len(split_frames(received.replace(READY_FRAME, b""))) >= answers
            except BadFrame:
                return False

        received = self.receive(self.timeout if seconds is None else seconds, answered).replace(READY_FRAME, b"")
        return b"".join(split_frames(received))

    def ask(
        self, command: int, payload: bytes = b"", *, answers: int = 1, seconds: float | None = None
    ) -> bytes:
        """Sends a frame and returns the answer's bytes, as `status(...)`, `result(...)` and `empty(...)` make them."""
        return self.exchange(frame(command, payload), answers, seconds)

    def _answer(self, command: int, payload: bytes, kind: int) -> bytes:
        said = self.ask(command, payload)
        if not said:
            raise NoAnswer(f"no answer to {command:#06x} within {self.timeout:g} s: is the line connected?")
        answer = Frame.parse(said)
        if (answer.command, answer.kind) != (command, kind):
            raise NoAnswer(f"{command:#06x} was answered by {said.hex()}")
        return answer.payload

    def order(self, command: int, payload: bytes = b"") -> bool:
        """Sends a command that is answered by a status, and returns whether that is success."""
        return self._answer(command, payload, REPLY) == b"\0"

    def query(self, command: int, payload: bytes = b"") -> bytes:
        """Sends a query that is answered by data, and returns the data."""
        return self._answer(command, payload, RESULT)

    def connect(self) -> None:
        """Connects the line: a set answers nothing else before."""
        if not self.order(CONNECT):
            raise NoAnswer("the set refused to connect")
