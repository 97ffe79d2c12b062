#!/usr/bin/env python3
"""What a simulated set costs: how long it takes to start, and its memory, alone and with others beside it.

    tests/bench/sets.py [--bin build/release/bin] [--sets 20] [--rounds 9] [--panel none]

A start is the time from `simset run` on a new state folder to its line of JSON: the application runs then and the line can
be opened. One more has all the others beside it, at rest; at once is the time until the last of them is on.

Memory is proportional (what several processes share is divided among them), of simset and all that it started, once the
flow after the start is over; the files of its partitions, which are in memory as well, are not in it. No other set runs
meanwhile that holds a slot as those of the tests do.
"""

import argparse
import concurrent.futures
import contextlib
import os
import pathlib
import statistics
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "set"))


def family(pid):
    """A process and all that came of it."""
    below = [int(child) for task in pathlib.Path(f"/proc/{pid}/task").iterdir() for child in (task / "children").read_text().split()]
    return [pid, *(one for child in below for one in family(child))]


def proportional(pid):
    """Proportional size of a process in MiB."""
    fields = dict(line.split(":", 1) for line in open(f"/proc/{pid}/smaps_rollup") if ":" in line and "-" not in line)
    return int(fields["Pss"].split()[0]) / 1024


def main():
    parser = argparse.ArgumentParser(description="What a simulated set costs.")
    parser.add_argument("--bin", default="build/release/bin")
    parser.add_argument("--sets", type=int, default=20)
    parser.add_argument("--rounds", type=int, default=9)
    parser.add_argument("--panel", default="none")
    options = parser.parse_args()
    os.environ["ZELFAC_BIN"] = str(pathlib.Path(options.bin).resolve())
    import setlib
    import slots

    slots.take_all()

    def on(held):
        """A set that is on, and the seconds that its start took."""
        begin = time.monotonic()
        tv = held.enter_context(setlib.zelfac.Set(panel=options.panel))
        return tv, time.monotonic() - begin

    def memory(tv):
        """MiB of a set, of its application alone, and how many processes it has."""
        sizes = [proportional(pid) for pid in family(tv.process.pid)]
        return sum(sizes), proportional(tv.ready["pid"]), len(sizes)

    def one():
        with contextlib.ExitStack() as held:
            tv, took = on(held)
            tv.await_started()
            return took, *memory(tv)

    def said(of):
        size, application, processes = map(statistics.median, zip(*of))
        return f"{size:.1f} MiB in {processes:.0f} processes, {application:.1f} of them the application's"

    def together():
        with contextlib.ExitStack() as held, concurrent.futures.ThreadPoolExecutor(options.sets) as pool:
            begin = time.monotonic()
            list(pool.map(lambda _: on(held), range(options.sets)))
            return time.monotonic() - begin

    alone = [one() for _ in range(options.rounds)]
    with contextlib.ExitStack() as held:
        sets, last = [], []
        for _ in range(options.sets):
            tv, _ = on(held)
            tv.await_started()
            sets.append(tv)
        for _ in range(options.rounds):
            with contextlib.ExitStack() as guest:
                last.append(on(guest)[1])
        time.sleep(1)  # at rest
        among = [memory(tv) for tv in sets]
    starts = [took for took, *_ in alone]
    print(f"panel {options.panel}, {os.cpu_count()} processors, load {os.getloadavg()[0]:.1f}")
    print(f"one alone:      {statistics.median(starts):.2f} s to start (least {min(starts):.2f}), {said([one[1:] for one in alone])}")
    print(f"one more of {options.sets}:  {statistics.median(last):.2f} s to start (least {min(last):.2f}), {said(among)}")
    print(f"{options.sets} at once:     {together():.2f} s until the last is on")
    return 0


if __name__ == "__main__":
    sys.exit(main())
