"""The application is killed at random moments of a transfer; the next transfer succeeds all the same.

A few moments, the same in every run; the campaign tries many, ZELFAC_KILLS of them on each of three sets.
"""

import os
import random
import signal
import tempfile
import time
import zlib

import runner
import setlib
from keylib import KeySet, content
from runner import AtOnce, cases
from zelfac import result, status
from zelfac.keyfiles import HDCP1, HDCP2, chunks, crc

KILLS = int(os.environ.get("ZELFAC_KILLS", "6" if setlib.campaign() else "2"))
BIG, SMALL = 2560, 192  # bytes


class Killed(AtOnce):
    def run_set(self, seed, kills):
        """Returns, for each kill, whether the key was installed by then."""
        moments = random.Random(seed)
        reached = []
        before = None
        with tempfile.TemporaryDirectory(prefix="zelfac-kill.") as folder:
            state = folder + "/state"
            for number in range(kills):
                said = f"seed {seed}, kill {number}"
                killed = content(HDCP1, BIG + number)
                with KeySet(state=state) as tv:
                    # 40 chunks take 0.4 s of passes and 80 shell commands; half of the kills hit the installation.
                    tv.line.send(b"".join(chunks(HDCP1, killed)))
                    if number % 2:
                        time.sleep(0.5 + moments.random() * 0.8)  # while its chunks are taken
                    else:
                        tv.wait(who="shell", command="rm /tmp/tmpkey/tmp_*.bin", since=0)
                        time.sleep(moments.random() * 0.05)  # while the worker installs it
                    os.kill(tv.ready["pid"], signal.SIGKILL)
                    self.assertEqual(tv.await_end(), 128 + signal.SIGKILL, said)
                with KeySet(state=state) as tv:
                    whole = (len(killed), zlib.crc32(killed))
                    self.assertIn(tv.key(HDCP1), (before, whole), said + ": the whole key, or the one before")
                    reached.append(tv.key(HDCP1) == whole)
                    # The same kind again by zelline, another one by this program.
                    data = content(HDCP1, SMALL + number)
                    file = tv.folder / "key.bin"
                    file.write_bytes(data)
                    done = tv.zelline("key", "send", "hdcp1", file)
                    self.assertEqual(done.returncode, 0, (said, done.stderr))
                    self.assertEqual(tv.key(HDCP1), (len(data), zlib.crc32(data)), said)
                    self.assertEqual(tv.query(HDCP1), result(HDCP1.query, crc(data)), said)
                    data = content(HDCP2, SMALL + number)
                    self.assertEqual(tv.send(HDCP2, data), status(HDCP2.command, 0), said)
                    self.assertEqual(tv.key(HDCP2), (len(data), zlib.crc32(data)), said)
                    before = tv.key(HDCP1)
        return reached

    @cases(range(3) if setlib.campaign() else range(2))
    def test_at_random_moments(self, number):
        reached = self.run_set(setlib.seed() + number, KILLS)
        print(f"{len(reached)} kills: {reached.count(True)} after the installation")
        self.assertEqual(len(reached), KILLS)


if __name__ == "__main__":
    runner.main()
