#!/usr/bin/env python3
"""The time from the first byte of a key of 255 chunks, sent in one burst, to the answer that it is installed.

    tests/bench/transfer.py [--bin build/release/bin] [--rounds 5]

The floor is what the protocol and the machine prescribe: the wire's time at 115200 baud, the silence of 0.5 s that ends
a burst, a pass of 10 ms for each frame, and two shell commands for each chunk. What a shell command costs is measured in the
same run, before and after each transfer: "touch" and "cat … >> …" of a chunk, started with popen and pclose by a program
of its own. It is measured outside the set, which is the floor that counts: the simulated set's shell, which tells the
trace of each command, is our own expense. The cost inside the set is shown beside it: what it leaves is the
application's.
"""

import argparse
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "set"))

CHUNKS, CHUNK, OVERHEAD = 255, 64, 9
BAUD, BITS = 115200, 10
SILENCE, PASS = 0.5, 0.010
COMMANDS = 510

# popen, pclose and the clock, without a compiler on the machine.
PROBE = """
import ctypes, sys, time
libc = ctypes.CDLL(None)
libc.popen.restype = ctypes.c_void_p
libc.pclose.argtypes = [ctypes.c_void_p]
folder, rounds = sys.argv[1], int(sys.argv[2])
times = []
for i in range(rounds):
    chunk = f"{folder}/chunk_{i % 10}.bin"
    for command in (f"touch {chunk}", f"cat {chunk} >> {folder}/all.bin"):
        begin = time.monotonic()
        libc.pclose(libc.popen(command.encode(), b"r"))
        times.append(time.monotonic() - begin)
print(sum(times) / len(times))
"""


def shell_cost(rounds, pid=None):
    """Mean seconds of a shell command: inside the set of that application, or outside any set."""
    folder = "/tmp/transfer-bench" if pid else tempfile.mkdtemp(prefix="transfer-bench.")
    command = ["python3", "-c", f"import os; os.makedirs({folder!r}, exist_ok=True)\n" + PROBE, folder, str(rounds)]
    environment = dict(os.environ)
    if pid:
        own = pathlib.Path(f"/proc/{pid}/environ").read_bytes().split(b"\0")
        environment.update(entry.decode().split("=", 1) for entry in own if b"=" in entry)
        enter = ["nsenter", f"--target={pid}", "--mount"]
        if os.geteuid() != 0:
            enter += ["--user", "--preserve-credentials"]
        command = enter + command
    done = subprocess.run(command, env=environment, capture_output=True, text=True)
    if done.returncode != 0:
        raise SystemExit(f"the cost of a shell command cannot be measured: {done.stderr}")
    if not pid:
        subprocess.run(["rm", "-rf", folder], check=True)
    return float(done.stdout)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--bin", default="build/release/bin", help="folder of the programs")
    parser.add_argument("--rounds", type=int, default=5)
    options = parser.parse_args()
    os.environ["ZELFAC_BIN"] = str(pathlib.Path(options.bin).resolve())
    from keylib import content
    from setlib import Set
    from zelfac import result, status
    from zelfac.keyfiles import NETFLIX, chunks, crc

    data = content(NETFLIX, CHUNKS * CHUNK)
    burst = b"".join(chunks(NETFLIX, data))
    assert len(burst) == CHUNKS * (CHUNK + OVERHEAD)
    fixed = len(burst) * BITS / BAUD + SILENCE + CHUNKS * PASS
    print(f"wire, silence and passes: {fixed:.3f} s")
    print(f"{'measured':>9}{'floor':>9}{'ratio':>8}{'plain':>8}{'in the set':>12}{'ratio':>8}   (s, s, , ms, ms, )")
    ratios = []
    with Set() as tv:
        tv.line.connect()
        tv.await_started()
        # The radio searches and the settings of the start are not what is measured.
        tv.await_output("pthread_exit ZelWifiScanThread")
        for _ in range(options.rounds):
            before = shell_cost(100), shell_cost(100, tv.ready["pid"])
            begin = time.monotonic()
            answer = tv.line.exchange(burst, seconds=60)
            measured = time.monotonic() - begin
            assert answer == status(NETFLIX.command, 0), answer.hex()
            assert tv.line.ask(NETFLIX.query) == result(NETFLIX.query, crc(data))
            after = shell_cost(100), shell_cost(100, tv.ready["pid"])
            plain, inside = ((one + other) / 2 for one, other in zip(before, after))
            floor = fixed + COMMANDS * plain
            ratios.append(measured / floor)
            print(
                f"{measured:>9.3f}{floor:>9.3f}{ratios[-1]:>8.3f}{plain * 1e3:>8.3f}{inside * 1e3:>12.3f}"
                f"{measured / (fixed + COMMANDS * inside):>8.3f}"
            )
    print(f"\nmedian ratio {statistics.median(ratios):.3f}, goal 1.2")
    return 0 if statistics.median(ratios) <= 1.2 else 1


if __name__ == "__main__":
    sys.exit(main())
