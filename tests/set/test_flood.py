"""What no honest line sends: floods of frames, a line that never falls silent, a line that hangs up."""

import pathlib
import threading
import time

import runner
import setlib
from runner import AtOnce
from setlib import Set
from zelfac import frame, status

LINE_RATE = 11520  # bytes a second, at 115200 baud
FLOOD_SECONDS = 60 if setlib.campaign() else 0  # at the line's pace; else as fast as it goes
FLOOD_BYTES = LINE_RATE * (FLOOD_SECONDS or 100)
ROOM = 2048  # KiB that the memory may differ by, which is a few bursts
ACKNOWLEDGED = 0x1289
READER = "UartManager Tas"  # as the kernel keeps the name


def memory(tv):
    """KiB of memory that the application has in use."""
    text = pathlib.Path(f"/proc/{tv.ready['pid']}/status").read_text()
    return next(int(line.split()[1]) for line in text.splitlines() if line.startswith("VmRSS:"))


def ticks(tv, thread):
    """Processor time of one of the application's threads, in hundredths of a second."""
    for task in pathlib.Path(f"/proc/{tv.ready['pid']}/task").iterdir():
        if (task / "comm").read_text().strip() == thread:
            fields = (task / "stat").read_text().rsplit(")", 1)[1].split()
            return int(fields[11]) + int(fields[12])
    raise AssertionError(f"no thread {thread}")


class Listening:
    """Takes what the set sends, all the while."""

    def __init__(self, line):
        self.line = line
        self.heard = b""
        self.over = False
        self.thread = threading.Thread(target=self.run)

    def run(self):
        while not self.over:
            self.heard += self.line.receive(0.2)

    def __enter__(self):
        self.thread.start()
        return self

    def __exit__(self, *_):
        self.over = True
        self.thread.join()


class Floods(AtOnce):
    def test_a_flood_of_frames_is_worked_off_as_far_as_it_was_taken(self):
        with Set("--baud", "115200" if FLOOD_SECONDS else "0") as tv:
            tv.line.connect()
            tv.await_started()
            before = memory(tv)
            with Listening(tv.line) as listening:
                flood = frame(ACKNOWLEDGED) * (FLOOD_BYTES // 9)
                tv.line.send(flood)
                tv.await_true(lambda: tv.line_settings()["toSet"]["delivered"] >= len(flood), "the end of the flood")
                time.sleep(1)  # the silence behind it, which ends its last burst
                left = len(listening.heard) + 100 * len(status(ACKNOWLEDGED, 0))
                tv.await_true(lambda: len(listening.heard) >= left, "room for another frame")
                tv.line.send(frame(0x1290))
                tv.await_true(lambda: status(0x1290, 0) in listening.heard, "an answer behind the flood")
            answers = listening.heard.count(status(ACKNOWLEDGED, 0))
            self.assertEqual(listening.heard, status(ACKNOWLEDGED, 0) * answers + status(0x1290, 0))
            # At most four full bursts and what is behind them were looked at, each for as many as may wait and those
            # that were carried out meanwhile.
            self.assertGreaterEqual(answers, 1024)
            self.assertLess(answers, FLOOD_BYTES // 9 // 4)
            self.assertLess(memory(tv), before + ROOM)
            self.assertIn(tv.output().count("line flooded"), (1, 2))  # frames, and bursts where it is that fast


class Hanging(AtOnce):
    def test_a_line_that_hangs_up_costs_nothing_and_comes_back(self):
        with Set() as tv:
            tv.line.connect()
            tv.await_started()
            tv.hang_up()
            time.sleep(1)  # what it costs to notice is not measured
            before = ticks(tv, READER)
            time.sleep(3)  # the time that is measured
            self.assertLessEqual(ticks(tv, READER) - before, 10)
            tv.hang_up(False)
            self.assertEqual(tv.line.ask(0x1290), status(0x1290, 0))


class Chattering(AtOnce):
    def test_leaving_does_not_wait_for_silence(self):
        with Set("--baud", "0") as tv:
            tv.line.connect()
            tv.await_started()
            # A whole burst, so that its command is carried out without a silence behind it.
            tv.line.send(bytes(307200 - 9) + frame(0x1299))
            left = "Cus Uart1 Debug Exit!"
            try:
                while left not in tv.output():
                    tv.line.send(b"\0")
                    time.sleep(0.1)  # far less than the silence that ends a burst
            except OSError:
                pass  # the application has ended, without its reader if that was still listening
            self.assertIn(left, tv.output())


if __name__ == "__main__":
    runner.main()
