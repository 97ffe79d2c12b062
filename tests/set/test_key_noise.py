"""Key files over a line that loses and damages bytes: zelline repeats until the set's checksum agrees, and never
counts a wrong key as right.

A few transfers, with the same faults in every run; the campaign tries many, ZELFAC_TRANSFERS of them on each of four
sets.
"""

import json
import os
import random
import zlib
from concurrent.futures import ThreadPoolExecutor

import runner
import setlib
from keylib import KeySet
from runner import AtOnce
from zelfac.keyfiles import CIPLUS, HDCP1, HDCP2, NETFLIX, WIDEVINE

SETS = 4 if setlib.campaign() else 2
TRANSFERS = int(os.environ.get("ZELFAC_TRANSFERS", "6" if setlib.campaign() else "4"))
KINDS = [HDCP1, HDCP2, CIPLUS, WIDEVINE, NETFLIX]
# Probabilities per byte; a transfer of ten chunks is some 900 bytes both ways.
NOISE = [("--flip", 0.0005), ("--drop", 0.0005), ("--flip", 0.001)]
if setlib.campaign():
    NOISE.append(("--flip", 0.002))  # every fifth of these is given up, after long


class Noise(AtOnce):
    def transfers(self, seed, count):
        """(whether it counted, number of tries) of each transfer."""
        draw = random.Random(seed)
        outcomes = []
        with KeySet() as tv:
            for number in range(count):
                kind, noise = draw.choice(KINDS), draw.choice(NOISE)
                data = draw.randbytes(draw.randrange(65, 1000))
                said = (f"seed {seed}, transfer {number}", kind.name, noise, len(data))
                file = tv.folder / "key.bin"
                file.write_bytes(data)
                before = tv.key(kind)
                tv.ctl("line", *noise, "--seed", draw.randrange(1 << 30))
                done = tv.zelline("--json", "--retries", 8, "key", "send", kind.name, file, timeout=None)
                tv.disturb(flip=0, drop=0)
                answer = json.loads(done.stdout.splitlines()[-1])
                self.assertEqual(answer["v"], 1, said)
                right = (len(data), zlib.crc32(data))
                if done.returncode == 0:
                    self.assertEqual(tv.key(kind), right, (said, "counted, and the set has another key"))
                else:
                    self.assertIn(done.returncode, (1, 3), (said, done.stderr))
                outcomes.append((done.returncode == 0, answer.get("transfers", 1), tv.key(kind) not in (before, right)))
        return outcomes

    def test_no_wrong_key_counts_as_right(self):
        seed = setlib.seed()
        with ThreadPoolExecutor(SETS) as pool:
            futures = [pool.submit(self.transfers, seed + number, TRANSFERS) for number in range(SETS)]
            outcomes = [outcome for future in futures for outcome in future.result()]
        counted = [tries for success, tries, _ in outcomes if success]
        print(
            f"{len(outcomes)} transfers: {len(counted)} counted, all of them right;"
            f" {sum(tries > 1 for tries in counted)} of these took more than one try, {max(counted, default=0)} at most;"
            f" {len(outcomes) - len(counted)} given up, of which {sum(other for _, _, other in outcomes)} left"
            " another key behind"
        )
        self.assertEqual(len(outcomes), SETS * TRANSFERS)
        self.assertTrue(any(tries > 1 for tries in counted), "the noise did no harm")
        # Of the campaign's transfers about one in twenty is given up.
        self.assertGreaterEqual(len(counted), 0.7 * len(outcomes), "repeating hardly helps")


if __name__ == "__main__":
    runner.main()
