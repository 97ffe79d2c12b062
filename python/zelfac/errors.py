"""What can go wrong. Every exception of this package is a `ZelfacError`, and says what to do where that is known."""

from __future__ import annotations

from collections.abc import Sequence
from typing import Any

Row = dict[str, Any]  # a line of JSON


class ZelfacError(Exception):
    """Anything that went wrong with a set, its line or the programs."""


class ProgramMissing(ZelfacError):
    """`simset`, `zelline` or the application was not found."""


class StartFailed(ZelfacError):
    """simset ended before its set was on. `code` is its exit status, `said` what it wrote to its standard error."""

    def __init__(self, code: int, said: str) -> None:
        super().__init__(f"the set did not go on, simset ended with {code}: {said.strip() or '(it said nothing)'}")
        self.code = code
        self.said = said


class NoNamespaces(StartFailed):
    """This machine does not allow the namespaces that a simulated set lives in; the message names what forbids them."""


class ControlFailed(ZelfacError):
    """`simset ctl` refused a verb. `said` is its message."""

    def __init__(self, words: Sequence[str], code: int, said: str) -> None:
        super().__init__(f"simset ctl {' '.join(words)}: {said.strip() or f'ended with {code}'}")
        self.words = list(words)
        self.code = code
        self.said = said


class TimedOut(ZelfacError, TimeoutError):
    """Something did not happen in the time that it was given."""


class BadFrame(ZelfacError, ValueError):
    """Bytes that are no frame of the line."""


class NoAnswer(ZelfacError):
    """The set did not answer a frame as the caller expects."""


class RulesBroken(ZelfacError):
    """A set that ran with `strict=True` broke rules. `violations` are their rows of the trace."""

    def __init__(self, violations: Sequence[Row]) -> None:
        lines = [
            f"{row.get('rule')}: {row.get('call')}" + (f" (expected: {row['expected']})" if "expected" in row else "")
            for row in violations
        ]
        super().__init__("rules were broken:" + "".join(f"\n  {line}" for line in lines))
        self.violations = list(violations)
