"""A whole factory session with everything at once: commands, key presses, the manager's lines, a key transfer and the
radio searches. Built with a sanitizer (scripts/tsan-session) it also holds the application to having no data race."""

import itertools
import threading
import unittest
import zlib

import runner
from setlib import Set
from zelfac import frame, result, status

SIGNALS = "tovix.sl2.vint32.network.access-points.signal"
KEY_FILE = bytes(range(256)) * 4 + b"end"


class Session(unittest.TestCase):
    def assert_clean(self, tv):
        for stream in ("app.err", "app.out"):
            text = (tv.state / stream).read_text(errors="replace")
            for word in ("ThreadSanitizer", "AddressSanitizer", "runtime error:"):
                self.assertNotIn(word, text, f"{stream}:\n{text[text.find(word) :][:6000]}" if word in text else "")

    def test_everything_at_once(self):
        with Set() as tv:
            tv.line.connect()
            stop = threading.Event()
            troubles = []

            def keep(act, pause):
                def loop():
                    try:
                        while not stop.wait(pause):
                            act()
                    except Exception as trouble:  # shown by the test, below
                        troubles.append(trouble)

                thread = threading.Thread(target=loop)
                thread.start()
                return thread

            codes = itertools.cycle([70, 161, 162, 163, 164, 166, 168, 105, 106, 1])
            lines = [":am,x,:log=off", ":am,x,:log=on", ":am,x,:pause=1", ":am,x,:resume=[a,b]", "hello", ":x,y:z=1", ":"]
            lines = itertools.cycle(lines)
            workers = [
                keep(lambda: tv.press(next(codes)), 0.3),
                keep(lambda: tv.am(next(lines)), 0.4),
                keep(lambda: tv.ctl("trace"), 0.7),
            ]
            try:
                chunks = [KEY_FILE[at : at + 64] for at in range(0, len(KEY_FILE), 64)]
                tv.line.send(frame(0x1282))
                tv.line.send(b"".join(frame(0x1281, chunk, a=i, b=len(chunks)) for i, chunk in enumerate(chunks)))
                tv.line.await_bytes(status(0x1281, 0))
                orders = ((0x1274, b"SESSION"), (0x1298, b"PASS"), (0x129F, b"\x21"), (0x1288, b"HDMI2"))
                for command, payload in orders:
                    tv.line.send(frame(command, payload))
                    tv.line.await_bytes(status(command, 0))
                tv.line.send(frame(0x1282))
                crc = result(0x1282, zlib.crc32(KEY_FILE).to_bytes(4, "big"))
                tv.line.await_bytes(crc)
            finally:
                stop.set()
                for worker in workers:
                    worker.join()
            self.assertEqual(troubles, [])
            tv.am(":am,x,:log=on")
            tv.await_output("pthread_exit ZelWifiScanThread")
            tv.line.send(frame(0x1299))
            ended = tv.await_end()
            self.assert_clean(tv)
            self.assertEqual(ended, 0)

    def test_leaving_in_the_middle(self):
        """The scan, a key transfer and the manager's lines go on until the process is gone."""
        with Set(arrange=[("behave", "wifi", "0"), ("model", "set", SIGNALS, "[12]")]) as tv:
            tv.line.connect()
            tv.await_output("wifidevice:1 APCount:1 ")
            gone = threading.Event()

            def order():
                while not gone.wait(0.05):
                    tv.ctl("am", ":am,x,:volume=1", check=False)
                    tv.ctl("model", "set", SIGNALS, "[13]", check=False)

            orders = threading.Thread(target=order)
            orders.start()
            try:
                chunks = [KEY_FILE[at : at + 64] for at in range(0, len(KEY_FILE), 64)]
                for i, chunk in enumerate(chunks[:-1]):
                    tv.line.send(frame(0x1281, chunk, a=i, b=len(chunks)))
                tv.line.send(frame(0x1299))
                ended = tv.await_end()
            finally:
                gone.set()
                orders.join()
            self.assert_clean(tv)
            self.assertEqual(ended, 0)
            self.assertIn("==========zel test end==========\n", tv.output())
            self.assertNotIn("pthread_exit ZelWifiScanThread", tv.output())


if __name__ == "__main__":
    runner.main()
