#!/usr/bin/env python3
"""What the application shell costs above a bare DirectFB program with the same window.

    tests/bench/shell.py [--bin build/release/bin] [--rounds 7] [--panel none]

Both run in a simulated set, in turns, in the same run.

Memory: what is resident of each once it is at rest; the application in factory mode, connected, with a record set.

First screen, own work behind DirectFB's start: the time from the application's first call, at the beginning of main,
to its first call behind the first screen, less the time that the bare program's DirectFB takes to start. Without a mode
that is everything but the two lines of text; what they and their records cost is the difference between factory mode
and mode "0", which both list the processes for the log before the screen is set up, and of which only one has text.
"""

import argparse
import os
import pathlib
import re
import statistics
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "set"))

MEMORY_GOAL_MIB, SCREEN_GOAL_MS = 4, 30


def resident(pid):
    """Resident and proportional size in MiB."""
    fields = dict(line.split(":", 1) for line in open(f"/proc/{pid}/smaps_rollup") if ":" in line and "-" not in line)
    return tuple(int(fields[name].split()[0]) / 1024 for name in ("Rss", "Pss"))


def main():
    parser = argparse.ArgumentParser(description="The application shell against a bare DirectFB program.")
    parser.add_argument("--bin", default="build/release/bin")
    parser.add_argument("--bare", help="the bare program (bare_window in BIN)")
    parser.add_argument("--rounds", type=int, default=7)
    parser.add_argument("--panel", default="none")
    options = parser.parse_args()
    os.environ["ZELFAC_BIN"] = str(pathlib.Path(options.bin).resolve())
    from setlib import Set

    bare_program = pathlib.Path(options.bare or options.bin + "/bare_window").resolve()

    def bare():
        with Set(app=bare_program, panel=options.panel) as tv:
            tv.await_output("shown")
            time.sleep(1)
            started, shown = map(float, re.search(r"started (\S+) shown (\S+)", tv.output()).groups())
            return started, shown, *resident(tv.ready["pid"])

    def screen_time(tv):
        """Milliseconds from the first call of main to the one behind the first screen, at the last power-on."""
        begun, shown = {"who": "apm", "call": "setRpcEnv"}, {"who": "flash", "call": "set", "name": "UARTOnOff"}
        return tv.wait(since=0, **shown)["ms"] - tv.wait(since=0, **begun)["ms"]

    def factory():
        with Set(panel=options.panel) as tv:
            took = screen_time(tv)
            tv.await_started()
            tv.line.connect()
            tv.line.ask(0x1274, b"PCB-0123456789")
            time.sleep(1)
            return took, *resident(tv.ready["pid"])

    def no_mode(text):
        with Set(panel=options.panel, arrange=[("flash", "set", "ZelFacMode", text)]) as tv:
            return screen_time(tv)

    bares, factories, none, zero = [], [], [], []
    for _ in range(options.rounds):
        bares.append(bare())
        factories.append(factory())
        none.append(no_mode(""))
        zero.append(no_mode("0"))

    started, shown, bare_rss, bare_pss = map(statistics.median, zip(*bares))
    took, rss, pss = map(statistics.median, zip(*factories))
    without, listed = statistics.median(none), statistics.median(zero)
    print(f"panel {options.panel}, medians of {options.rounds} rounds")
    print(f"bare program: DirectFB started after {started:.1f} ms, window shown after {shown:.1f} ms")
    print(f"              resident {bare_rss:.1f} MiB, proportional {bare_pss:.1f} MiB")
    print(f"application:  first screen after {took:.0f} ms in factory mode, {listed:.0f} ms in mode '0', "
          f"{without:.0f} ms without a mode")
    print(f"              resident {rss:.1f} MiB, proportional {pss:.1f} MiB")
    met = []
    for what, value, goal, unit in (
        ("memory above bare", rss - bare_rss, MEMORY_GOAL_MIB, "MiB"),
        ("first screen's own work", without - started + max(0, took - listed), SCREEN_GOAL_MS, "ms"),
    ):
        met.append(value <= goal)
        print(f"{what}: {value:.1f} {unit}, goal {goal} {unit}: {'met' if met[-1] else 'MISSED'}")
    return 0 if all(met) else 1


if __name__ == "__main__":
    sys.exit(main())
