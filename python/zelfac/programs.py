"""Where the programs are."""

from __future__ import annotations

import os
import pathlib
import shutil

from .errors import ProgramMissing

_HERE = pathlib.Path(__file__).resolve().parent
# Beside the sources, with their usual build folder; installed to lib/python3/dist-packages below the same prefix.
_NEAR = (_HERE.parents[1] / "build" / "default" / "bin", _HERE.parents[3] / "bin")


def find(name: str) -> pathlib.Path:
    """The path of a program (`simset`, `zelline`, `ZelFacTest_Eu4K`).

    With the environment variable ZELFAC_BIN it is taken from that folder and from nowhere else. Without it: from the
    build folder or the prefix that this package belongs to, then from PATH.
    """
    chosen = os.environ.get("ZELFAC_BIN")
    for folder in [pathlib.Path(chosen)] if chosen else _NEAR:
        if os.access(folder / name, os.X_OK):
            return folder / name
    if chosen:
        raise ProgramMissing(f"there is no {name} in {chosen}: ZELFAC_BIN has to name the folder of the programs")
    if found := shutil.which(name):
        return pathlib.Path(found)
    raise ProgramMissing(
        f"{name} was not found: build it (cmake --preset default && cmake --build --preset default), put its folder"
        " into PATH, or name the folder in ZELFAC_BIN"
    )
