"""A customer's USB stick, as a folder that `Set(sticks=...)` and `Control.plug` take.

The layout is written here by itself and not by `simset stick make`: `simset stick check` can be held against it.
"""

from __future__ import annotations

import pathlib
from collections.abc import Mapping

from .line import StrPath

CUSTOMER = "RW9602CustomerFile"
COPY = "CopyRW9602CustomerFile"  # where a set exports its configuration to
MARKER = "ZelFacTest_Eu4K"
PORT_MARKER = "USB.ZEL"  # what the check of the USB ports looks for

# The file of each item by default, below the customer's folder.
FILES = {
    "config": "CONFIG/CONFIG.bin",
    "hdcp1": "HDCP14KEY/HDCP14MTK9602_1.bin",
    "hdcp2": "HDCP22KEY/HDCP22MTK9602_1.bin",
    "widevine": "widevine_9602/WIDEVNMTK9602_1.bin",
    "netflix": "Netflix_9602/NETFLIXMT9602_1.bin",
    "ciplus": "CI+/CIPLUSMTK9602_1.bin",
    "ciplusecp": "ECP_CI+/ECPCIPLUSMTK9602_1.bin",
    "mac": "MAC/mac.txt",
}


def write(path: pathlib.Path, content: bytes | str = b"") -> None:
    """Writes a file, with the folders that it needs."""
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_bytes(content.encode() if isinstance(content, str) else content)


def address_range(first: str, last: str) -> str:
    """The content of a range file: addresses as XX-XX-XX-XX-XX-XX."""
    return f"{first}--{last}\r\n"


def make(root: StrPath, items: Mapping[str, bytes | str], marker: bool = True) -> pathlib.Path:
    """A customer's stick with the content of each item of `FILES` that it has; returns its folder.

    `marker`: whether it carries the file without which a set reports an update of nothing.
    """
    folder = pathlib.Path(root)
    write(folder / PORT_MARKER)
    (folder / CUSTOMER).mkdir(parents=True, exist_ok=True)
    if marker:
        write(folder / CUSTOMER / MARKER)
    for name, content in items.items():
        write(folder / CUSTOMER / FILES[name], content)
    return folder
