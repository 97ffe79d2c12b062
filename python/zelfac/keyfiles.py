"""Key and configuration files on the line: their commands, and how a file is cut into chunks."""

from __future__ import annotations

import zlib
from dataclasses import dataclass

from .frames import MAX_PAYLOAD, frame
from .line import Line

CHUNK = MAX_PAYLOAD  # bytes of a file that one frame carries


@dataclass(frozen=True)
class Kind:
    """A kind of file: zelline's name, the command that takes it, its checksum's query, and the key store's number."""

    name: str
    command: int
    query: int
    key: int | None


HDCP1 = Kind("hdcp1", 0x1281, 0x1282, 5)
HDCP2 = Kind("hdcp2", 0x1283, 0x1284, 1)
CIPLUS = Kind("ciplus", 0x1285, 0x1286, 3)
ESN = Kind("esn-ulpk-mac", 0x12A1, 0x12A3, 2)  # installed as the Widevine keybox
WIDEVINE = Kind("widevine", 0x12A2, 0x12A4, 2)
CONFIG = Kind("config", 0x12A7, 0x12A7, None)
NETFLIX = Kind("netflix", 0x12B3, 0x12B4, 0)
CIPLUSECP = Kind("ciplusecp", 0x12B9, 0x12BA, 4)


def pieces(data: bytes) -> list[bytes]:
    """A file in the parts that its chunks carry."""
    return [data[at : at + CHUNK] for at in range(0, len(data), CHUNK)]


def chunk(kind: Kind, index: int, total: int, data: bytes) -> bytes:
    """The frame of one chunk."""
    return frame(kind.command, data, a=index, b=total)


def chunks(kind: Kind, data: bytes) -> list[bytes]:
    """The frames of a file of 1 to 16320 bytes."""
    parts = pieces(data)
    return [chunk(kind, index, len(parts), part) for index, part in enumerate(parts)]


def crc(data: bytes) -> bytes:
    """A file's checksum as the set answers it."""
    return zlib.crc32(data).to_bytes(4, "big")


def send(line: Line, kind: Kind, data: bytes) -> bytes:
    """Sends a file in one burst and returns the answer; `line.query(kind.query)` is what the set has received then."""
    return line.exchange(b"".join(chunks(kind, data)))
