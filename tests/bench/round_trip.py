#!/usr/bin/env python3
"""The round trip of a command over the line against its own floor, and what the idle application costs.

    tests/bench/round_trip.py [--bin build/release/bin] [--rounds 40]

The floor of a round trip is made of what the protocol prescribes: the silence of 0.5 s that ends a burst, as this
machine's kernel really times it (measured here on a pseudo terminal, the same road), up to 10 ms until the next pass
of the command thread, 50 ms of settling per model key. The line is not paced, so that the wire's time is not in it.
"""

import argparse
import os
import pathlib
import pty
import statistics
import sys
import termios
import time
import tty

sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "set"))


def silence(rounds):
    """Seconds from the last byte to the read that returns nothing, with the application's settings."""
    outer, inner = pty.openpty()
    tty.setraw(inner)
    attributes = termios.tcgetattr(inner)
    attributes[6][termios.VMIN] = 0
    attributes[6][termios.VTIME] = 5
    termios.tcsetattr(inner, termios.TCSANOW, attributes)
    times = []
    for _ in range(rounds):
        os.write(outer, b"x")
        begin = time.monotonic()
        while os.read(inner, 4096):
            pass
        times.append(time.monotonic() - begin)
    os.close(outer)
    os.close(inner)
    return times


def cpu_seconds(pid):
    fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def schedstat_seconds(pid):
    """Processor time of all threads with the scheduler's resolution."""
    total = 0
    for task in pathlib.Path(f"/proc/{pid}/task").iterdir():
        total += int((task / "schedstat").read_text().split()[0])
    return total / 1e9


def idle_passes(seconds):
    """What 10 ms passes cost by themselves on this machine: a bare thread that sleeps 10 ms at a time."""
    pid = os.fork()
    if pid == 0:
        while True:
            time.sleep(0.01)
    time.sleep(0.2)
    begin = schedstat_seconds(pid)
    time.sleep(seconds)
    spent = schedstat_seconds(pid) - begin
    os.kill(pid, 9)
    os.waitpid(pid, 0)
    return spent / seconds


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--bin", default="build/release/bin")
    parser.add_argument("--rounds", type=int, default=40)
    options = parser.parse_args()
    os.environ["ZELFAC_BIN"] = str(pathlib.Path(options.bin).resolve())
    from setlib import Set  # after ZELFAC_BIN is set

    floor_silence = silence(options.rounds)
    with Set("--baud", "0") as tv:
        tv.line.connect()
        tv.await_started()
        # The radio searches end by themselves; they are not what is measured.
        tv.await_output("pthread_exit ZelWifiScanThread")
        print(f"{'command':<22}{'keys':>5}{'median':>10}{'floor':>10}{'over':>9}   (ms)")
        for name, command, payload, keys in (
            ("acknowledge", 0x1290, b"", 0),
            ("read serial number", 0x1275, b"", 0),
            ("set volume", 0x129F, b"\x20", 1),
            ("read backlight", 0x1295, b"", 1),
        ):
            times = []
            for _ in range(options.rounds):
                begin = time.monotonic()
                assert tv.line.ask(command, payload), "no answer"
                times.append(time.monotonic() - begin)
            # On average half a pass goes by until the command thread looks.
            floor = statistics.median(floor_silence) + 0.005 + keys * 0.050
            median = statistics.median(times)
            print(f"{name:<22}{keys:>5}{median * 1e3:>10.1f}{floor * 1e3:>10.1f}{(median - floor) * 1e3:>9.1f}")

        pid = tv.ready["pid"]
        seconds = 10
        begin = schedstat_seconds(pid)
        time.sleep(seconds)
        idle = (schedstat_seconds(pid) - begin) / seconds
        bare = idle_passes(seconds)
        status = pathlib.Path(f"/proc/{pid}/status").read_text()
        resident = next(line.split()[1] for line in status.splitlines() if line.startswith("VmRSS"))
        print(f"\nidle application: {idle * 100:.3f} % of a processor; bare 10 ms passes: {bare * 100:.3f} %")
        print(f"resident memory: {int(resident) / 1024:.1f} MiB")


if __name__ == "__main__":
    main()
