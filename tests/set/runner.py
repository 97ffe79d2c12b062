"""Runs the tests of a file: `runner.main()` at its end.

A class of `AtOnce` has tests that each bring sets of their own: they run beside each other, as most of a set's time is
waiting. The tests of any other class run one after the other, beside those. Files named `timing_*.py` hold what is held
against the clock: nobody's sets run beside these on this machine.

What failed is told by the name of its function; with names as arguments (`Class.test_name`) only those run.
"""

import concurrent.futures
import io
import pathlib
import sys
import threading
import time
import unittest

import slots

# Tests of one file that run beside each other; the machine's slots decide how many of their sets do.
BESIDE = 8
BESIDE_ALONE = 3


class AtOnce(unittest.TestCase):
    """Tests that share nothing."""


def cases(names):
    """A test for each of `names` (a dictionary from names to arguments, or the names alone)."""
    arguments = names if isinstance(names, dict) else {str(name): name for name in names}

    def mark(function):
        function.cases = arguments
        return function

    return mark


def _make_cases(case_class):
    for name, function in list(vars(case_class).items()):
        if not hasattr(function, "cases"):
            continue
        delattr(case_class, name)
        for case, argument in function.cases.items():

            def test(self, function=function, argument=argument):
                function(self, argument)

            setattr(case_class, f"{name}[{case}]", test)


def _flat(suite):
    for test in suite:
        if isinstance(test, unittest.TestSuite):
            yield from _flat(test)
        else:
            yield test


def _jobs(suite):
    """Suites that may run beside each other."""
    by_class = {}
    for test in _flat(suite):
        by_class.setdefault(type(test), []).append(test)
    for case_class, tests in by_class.items():
        if issubclass(case_class, AtOnce):
            yield from (unittest.TestSuite([test]) for test in tests)
        else:
            yield unittest.TestSuite(tests)


class _Result(unittest.TextTestResult):
    """Tells each test with the time it took."""

    def startTest(self, test):
        self.begin = time.monotonic()
        super().startTest(test)

    def stopTest(self, test):
        super().stopTest(test)
        self.stream.writeln(f"    {time.monotonic() - self.begin:.1f} s")


class _Runner:
    def __init__(self, beside):
        self.beside = beside
        self.printing = threading.Lock()

    def _one(self, job):
        said = unittest.runner._WritelnDecorator(io.StringIO())
        result = _Result(said, descriptions=False, verbosity=2)
        job.run(result)
        result.printErrors()
        with self.printing:
            print(said.getvalue(), end="", flush=True)
        return result

    def run(self, suite):
        total = unittest.TestResult()
        with concurrent.futures.ThreadPoolExecutor(self.beside) as pool:
            for result in pool.map(self._one, list(_jobs(suite))):
                total.testsRun += result.testsRun
                total.failures += result.failures
                total.errors += result.errors
                total.skipped += result.skipped
                total.unexpectedSuccesses += result.unexpectedSuccesses
        failed = [str(test) for test, _ in total.failures + total.errors]
        print(f"{total.testsRun} tests, {len(failed)} failed" + "".join(f"\n  {name}" for name in failed), flush=True)
        if not total.testsRun:
            raise SystemExit("no test was run")
        return total


def main():
    """Runs the tests of the calling file and ends the program."""
    program = sys.modules["__main__"]
    for member in list(vars(program).values()):
        if isinstance(member, type) and issubclass(member, unittest.TestCase):
            _make_cases(member)
    alone = pathlib.Path(program.__file__).name.startswith("timing_")
    if alone:
        slots.take_all()
    unittest.main(module=program, testRunner=_Runner(BESIDE_ALONE if alone else BESIDE))
