#!/usr/bin/env python3
"""The demonstration plan against its floor, its steps together and one by one.

    tests/bench/plan.py [--bin build/release/bin] [--rounds 3]

The floor is what the protocol and the set prescribe: the silence that ends a burst, as this machine's kernel times it
(round_trip.py), once for each burst that was sent; 10 ms for each frame; 50 ms for each model key that was used, as the
set's trace counts them; and the 0.6 s that a finish waits for its confirmation. The radios' searches, which begin when
the set is switched on, have ended before the plan begins: they would be waited for otherwise.
"""

import argparse
import json
import os
import pathlib
import statistics
import sys

sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "set"))

from round_trip import silence

PLAN = pathlib.Path(__file__).parents[2] / "docs/plans/demo.toml"
PASS, MODEL_KEY, CONFIRMATION = 0.010, 0.050, 0.6
GOAL, MOST = 1.15, 8.0


def rows(text):
    return [json.loads(line) for line in text.splitlines()]


def bursts(trace):
    """How many bursts and frames were sent: requests with an answer in between are of different bursts."""
    directions = [row["dir"] for row in trace if "hex" in row]
    begun = [now for before, now in zip(["rx", *directions], directions) if (before, now) == ("rx", "tx")]
    return len(begun), directions.count("tx")


def measure(Set, *how):
    with Set() as tv:
        tv.await_started()
        tv.await_output("pthread_exit ZelWifiScanThread")
        begin, record = tv.seq(), tv.folder / "trace.jsonl"
        done = tv.zelline("--json", "--trace", record, "run", PLAN, *how, timeout=None)
        summary = rows(done.stdout.decode())[-1]
        assert summary["verdict"] == "PASSED", done.stdout.decode()
        keys = len(tv.trace(who="model", call="disconnect", since=begin))
        return summary["ms"] / 1000, *bursts(rows(record.read_text())), keys


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--bin", default="build/release/bin")
    parser.add_argument("--rounds", type=int, default=3)
    options = parser.parse_args()
    os.environ["ZELFAC_BIN"] = str(pathlib.Path(options.bin).resolve())
    from setlib import Set  # after ZELFAC_BIN is set

    quiet = statistics.median(silence(10))
    print(f"silence {quiet:.3f} s")
    print(f"{'':<12}{'measured':>9}{'bursts':>8}{'frames':>8}{'keys':>6}{'floor':>8}{'ratio':>7}")
    times, ratios = [], []
    for name, how in [("together", [])] * options.rounds + [("one by one", ["--one-by-one"])]:
        took, count, frames, keys = measure(Set, *how)
        floor = count * quiet + frames * PASS + keys * MODEL_KEY + CONFIRMATION
        print(f"{name:<12}{took:>9.2f}{count:>8}{frames:>8}{keys:>6}{floor:>8.2f}{took / floor:>7.3f}", flush=True)
        if not how:
            times.append(took)
            ratios.append(took / floor)
    print(f"\nmedian of the plan together {statistics.median(times):.2f} s, goal {MOST:.0f};"
          f" {statistics.median(ratios):.3f} of its floor, goal {GOAL}")
    return 0 if statistics.median(ratios) <= GOAL else 1


if __name__ == "__main__":
    sys.exit(main())
