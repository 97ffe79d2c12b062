"""Frames of the serial line: building and reading them, independently of the programs.

A frame is 0x79, the kind, the command (two bytes), the payload's length, the payload, two trailer bytes, a checksum
that makes the sum from the kind on zero, and 0xFE.
"""

from __future__ import annotations

from typing import NamedTuple

from .errors import BadFrame

BEGIN, END = 0x79, 0xFE
OVERHEAD = 9  # bytes of a frame that are no payload
MAX_PAYLOAD = 64

REQUEST = 0x00  # from the line
REPLY = 0x10  # the set's, with a status or with nothing
RESULT = 0x11  # the set's, with data

# What a set sends every two seconds until the line has connected.
READY_FRAME = bytes.fromhex("790012720102000178FE")


def frame(command: int, payload: bytes = b"", kind: int = REQUEST, a: int = 0, b: int = 0) -> bytes:
    """The wire form of a frame. A payload of more than 64 bytes is none that a set takes, but can be built."""
    body = bytes([kind, command >> 8, command & 0xFF, len(payload)]) + payload + bytes([a, b])
    return bytes([BEGIN]) + body + bytes([-sum(body) & 0xFF, END])


def status(command: int, value: int) -> bytes:
    """The set's answer that carries a status: 0 is success."""
    return frame(command, bytes([value]), REPLY, b=1)


def result(command: int, payload: bytes) -> bytes:
    """The set's answer that carries data."""
    return frame(command, payload, RESULT, b=1)


def empty(command: int) -> bytes:
    """The set's answer that carries nothing."""
    return frame(command, kind=REPLY)


def split_frames(data: bytes) -> list[bytes]:
    """The frames of a clean stream; raises `BadFrame` for anything else, an unfinished frame at its end included."""
    frames = []
    while data:
        size = data[4] + OVERHEAD if len(data) > 4 else OVERHEAD
        one, data = data[:size], data[size:]
        if len(one) < size or one[0] != BEGIN or one[-1] != END or sum(one[1:-1]) & 0xFF:
            raise BadFrame(f"no frame at {(one + data).hex()}")
        frames.append(one)
    return frames


class Frame(NamedTuple):
    """The parts of a frame."""

    command: int
    payload: bytes
    kind: int
    a: int
    b: int

    @classmethod
    def parse(cls, data: bytes) -> Frame:
        """Reads one whole frame; raises `BadFrame` for anything else."""
        found = split_frames(data)
        if len(found) != 1:
            raise BadFrame(f"{len(found)} frames in {data.hex()}")
        return cls(int.from_bytes(data[2:4], "big"), data[5:-4], data[1], data[-4], data[-3])
