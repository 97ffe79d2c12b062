#!/usr/bin/env python3
"""Memory and start of the application on the set's processor, as QEMU emulates it, beside those on the PC's own.

    tests/bench/processor.py [--bin build/release/bin] [--rounds 5]
                             [--app build/armv7-older/bin/ZelFacTest_Eu4K] [--sysroot build/sysroot/bullseye]

Both with the panel, in turns. Start: from the set's power-on to the application's first call (the loader's work, and the
emulator's translating), and from there to its first call behind the first screen. Memory: what is resident once it is
connected and at rest; that of the emulated one is the emulator's as well.
"""

import argparse
import os
import pathlib
import statistics
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "set"))


def main():
    parser = argparse.ArgumentParser(description="The application on the set's processor beside the PC's.")
    parser.add_argument("--bin", default="build/release/bin")
    parser.add_argument("--app", default="build/armv7-older/bin/ZelFacTest_Eu4K")
    parser.add_argument("--sysroot", default="build/sysroot/bullseye")
    parser.add_argument("--rounds", type=int, default=5)
    options = parser.parse_args()
    if not os.access(options.app, os.X_OK):
        print(f"not measured: there is no {options.app} (scripts/check-armv7 --build-only)")
        return
    os.environ["ZELFAC_BIN"] = str(pathlib.Path(options.bin).resolve())
    from setlib import Set

    def measure(*words, **more):
        with Set(*words, panel="1920x1080", **more) as tv:
            on = tv.wait(since=0, who="power", call="on")["ms"]
            begun = tv.wait(since=0, who="apm", call="setRpcEnv")["ms"]
            shown = tv.wait(since=0, who="flash", call="set", name="UARTOnOff")["ms"]
            tv.await_started()
            tv.line.connect()
            time.sleep(1)  # at rest
            rows = dict(line.split(":", 1) for line in open(f"/proc/{tv.ready['pid']}/smaps_rollup") if ": " in line)
            memory = [int(rows[name].split()[0]) / 1024 for name in ("Rss", "Private_Dirty")]
            return begun - on, shown - begun, *memory

    here, there = [], []
    for _ in range(options.rounds):
        here.append(measure())
        there.append(measure("--sysroot", options.sysroot, app=options.app))
    print("             first call   first screen   resident   its own")
    for name, rounds in (("PC", here), ("emulated", there)):
        call, screen, resident, own = map(statistics.median, zip(*rounds))
        print(f"{name:<10} {call:9.0f} ms {screen:11.0f} ms {resident:6.1f} MiB {own:5.1f} MiB")


if __name__ == "__main__":
    main()
