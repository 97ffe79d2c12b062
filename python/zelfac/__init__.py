"""Scripts a simulated set and a serial line.

    from zelfac import Set, status

    with Set() as tv:
        tv.line.connect()
        assert tv.line.ask(0x1274, b"AB12CD34") == status(0x1274, 0)

`Set` runs a simulated set, `Control` speaks to one that somebody else runs, `Line` is the equipment's end of a serial
port, also of a real one. `zelfac.keyfiles` has the files that go over the line, `zelfac.sticks` a customer's stick. The
programs are found beside this package, in the folder that ZELFAC_BIN names, or in PATH.
"""

from .control import Control, matching
from .errors import (BadFrame, ControlFailed, NoAnswer, NoNamespaces, ProgramMissing, RulesBroken, StartFailed,
                     TimedOut, ZelfacError)
from .frames import READY_FRAME, Frame, empty, frame, result, split_frames, status
from .line import TIMEOUT, Line
from .simulated import Set

__all__ = [
    "BadFrame", "Control", "ControlFailed", "Frame", "Line", "NoAnswer", "NoNamespaces", "ProgramMissing",
    "READY_FRAME", "RulesBroken", "Set", "StartFailed", "TIMEOUT", "TimedOut", "ZelfacError", "empty", "frame",
    "matching", "result", "split_frames", "status",
]
