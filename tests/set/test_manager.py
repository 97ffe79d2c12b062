"""The application manager's way in and out: its lines on the standard input, what it hears in return."""

import os
import random
import re
import select
import threading
import time
import unittest

import runner
import setlib
from runner import AtOnce
from setlib import NEVER, Set
from zelfac import frame, status

BACKLOG = 1 << 20  # what waits for a manager that does not read
PIPE = 1 << 16
FIRST_VOLUME = 10
BURST = 8


class ManagedSet(Set):
    """A set in factory mode whose application is spoken to as its manager does."""

    def callback_line(self, name, acknowledgement, value, comment):
        """The line that the callback `name` logs: 127 characters of it at most."""
        line = f"[APP-DEMO][2][{name}]s_ack:{acknowledgement},s_name:{value},s_comment:{comment}\r\n"
        return line.encode()[:127]

    def await_bytes(self, data, name="out"):
        self.await_true(lambda: data in self.output_bytes(name), f"{data!r} in app.{name}")

    def check_good_line(self, word):
        """A line of the manager's still gets through, and only once."""
        self.am(f":am,ui,{word}:check={word}")
        expected = self.callback_line("recvCmd", word, word, "check")
        self.await_bytes(expected)
        self.await_printed()
        assert self.output_bytes("out").count(expected) == 1, word

    def parse_failures(self):
        return self.output_bytes("err").count(b"[_cmd_convert_parse] parse failed\n")


def read_all(stream, whole):
    """What can be read until `whole(data)` holds and nothing more comes for a while."""
    data = b""
    while select.select([stream], [], [], 0.3 if whole(data) else NEVER)[0]:
        data += os.read(stream.fileno(), PIPE)
    return data


class Chatter:
    """Has the application print something of its own all the time: each volume that is set."""

    def __init__(self, tv):
        self.tv = tv
        self.asked = []
        self.errors = []
        self.ended = threading.Event()
        self.thread = threading.Thread(target=self.run)

    def run(self):
        volume = FIRST_VOLUME
        while not self.ended.is_set():
            # Several in one burst: the set takes half a second of silence for a burst's end.
            volumes = range(volume, volume + BURST)
            answers = self.tv.line.exchange(
                b"".join(frame(0x129F, bytes([each])) for each in volumes), BURST
            )
            if answers != status(0x129F, 0) * BURST:
                self.errors.append((volume, answers.hex()))
            self.asked += volumes
            volume = volumes[-1] + 1 if volumes[-1] + BURST < 100 else FIRST_VOLUME

    def __enter__(self):
        self.thread.start()
        return self

    def __exit__(self, *_):
        self.ended.set()
        self.thread.join()

    def await_more(self, count):
        wanted = len(self.asked) + count
        self.tv.await_true(lambda: len(self.asked) >= wanted, "more chatter")
        return len(self.asked)

    def printed(self):
        """The volumes in the output; what the start's own flow sets is smaller."""
        values = map(int, re.findall(rb"new value = (\d+)\n", self.tv.output_bytes("out")))
        return [value for value in values if value >= FIRST_VOLUME]


class Lines(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.tv = cls.enterClassContext(ManagedSet())
        cls.tv.await_started()
        cls.tv.line.connect()

    def still(self, chatter):
        """The output once nothing is added to it while the application goes on printing."""
        before = None
        while (now := (self.tv.output_bytes("out"), self.tv.output_bytes("err"))) != before:
            before = now
            chatter.await_more(3 * BURST)
        return now

    def test_log_off_and_on_while_the_application_prints(self):
        tv = self.tv
        with Chatter(tv) as chatter:
            chatter.await_more(5)
            for value in (":am,ui,1:log=off", ":am,ui,2:log=maybe", ":am,ui,3:log=[on]"):
                tv.am(value)
            outputs, errors = self.still(chatter)
            heard = len(chatter.printed())
            before = len(chatter.asked)
            tv.am(":am,ui,4:unheard=1,volume=[1,2]")
            silent = chatter.await_more(20)
            self.assertEqual(tv.output_bytes("out"), outputs)
            self.assertEqual(tv.output_bytes("err"), errors)
            tv.am(":am,ui,5:log=on")
            tv.await_printed()
            begun = chatter.await_more(BURST)
            ended = chatter.await_more(20)
        tv.await_printed()
        self.assertEqual(chatter.errors, [])
        after = chatter.printed()[heard:]
        # Nothing of the silent time, everything from then on.
        self.assertEqual(after, chatter.asked[-len(after) :])
        self.assertGreaterEqual(len(after), ended - begun)
        self.assertLessEqual(len(after), len(chatter.asked) - silent + BURST)
        self.assertGreaterEqual(silent - before, 20)
        self.assertNotIn(b"unheard", tv.output_bytes("out"))

    def test_a_line_in_two_pieces(self):
        tv = self.tv
        for cut in (1, 20, 77):
            line = f":am,ui,two{cut}:piece=" + "p" * 60 + "\n"
            tv.am(line[:cut].encode())
            time.sleep(0.1)  # a piece that is taken for a line would be answered by then
            self.assertNotIn(f"s_ack:two{cut}".encode(), tv.output_bytes("out"))
            tv.am(line[cut:].encode())
            tv.await_bytes(tv.callback_line("recvCmd", f"two{cut}", "p" * 60, "piece"))

    def test_a_line_in_a_hundred_pieces(self):
        tv = self.tv
        value = "h" * (100 - len(":am,ui,hundred:piece=\n"))
        line = f":am,ui,hundred:piece={value}\n"
        self.assertEqual(len(line), 100)
        for character in line[:-1]:
            tv.am(character.encode())
        self.assertNotIn(b"s_ack:hundred", tv.output_bytes("out"))
        tv.am(line[-1].encode())
        expected = tv.callback_line("recvCmd", "hundred", value, "piece")
        tv.await_bytes(expected)
        tv.await_printed()
        self.assertEqual(tv.output_bytes("out").count(expected), 1)

    def test_lines_for_others_reach_the_standard_input(self):
        tv = self.tv
        lines = [b":cli,x:anything", b":am,cli,ack:stop=1", b":dbg:", b":x,dbg:a=[", b":cli:a:b,,=\xff\t "]
        with open(f"/proc/{tv.ready['pid']}/fd/0", "rb", buffering=0) as standard_input:
            tv.am(b"\n".join(lines) + b"\n:am,ui,own:no=pass\n:other,ui:no=pass\nno line\n")
            tv.check_good_line("passed")
            received = read_all(standard_input, lambda data: len(data) >= len(b"\n".join(lines)) + 1)
        self.assertEqual(received, b"\n".join(lines) + b"\n")
        self.assertNotIn(b"[onStop]", tv.output_bytes("out"))

    def test_lines_for_others_that_nobody_reads(self):
        """More than a pipe holds: the reader goes on, and the pipe is emptied for whoever comes later."""
        tv = self.tv
        tv.am((b":cli,x:" + b"z" * 1000 + b"\n") * 200)
        tv.check_good_line("full")
        with open(f"/proc/{tv.ready['pid']}/fd/0", "rb", buffering=0) as standard_input:
            received = read_all(standard_input, lambda data: data.endswith(b"z\n") and len(data) > PIPE // 2)
        # Whole lines only.
        self.assertEqual(received, (b":cli,x:" + b"z" * 1000 + b"\n") * (len(received) // 1008))
        self.assertGreater(len(received), PIPE // 2)

    def test_lists_and_several_parameters(self):
        tv = self.tv
        tv.am(":am,ui,lists:one=[1],none=[],three=[a,,c],text=x=y[z],bare=,resume=[r]")
        for name, value in (("one", "[1]"), ("none", "[]"), ("three", "[a,,c]"), ("text", "x=y[z]")):
            tv.await_bytes(tv.callback_line("recvCmd", "lists", value, name))
        tv.await_bytes(tv.callback_line("onResume_zel", "lists", "[r]", "NULL"))
        self.assertIn(b"[AM_CLIENT] recvCmd invalid parameter\n", tv.output_bytes("err"))
        self.assertNotIn(b"s_comment:bare", tv.output_bytes("out"))
        names = re.findall(rb"\[AM_CLIENT\]parse cmd (\w+) \n", tv.output_bytes("err"))
        first = names.index(b"one")
        self.assertEqual(names[first : first + 6], [b"one", b"none", b"three", b"text", b"bare", b"resume"])

    def test_line_lengths(self):
        tv = self.tv
        for length, parsed in ((126, True), (127, True), (128, True), (2047, True), (2048, False), (100000, False)):
            failures = tv.parse_failures()
            word = f"L{length}"
            line = f":am,ui,{word}:n=".encode()
            line += b"v" * (length - len(line))
            tv.am(line + b"\n")
            tv.check_good_line(f"after{length}")
            logged = tv.callback_line("recvCmd", word, "v" * (length - len(f":am,ui,{word}:n=")), "n")
            self.assertEqual(tv.output_bytes("out").count(logged), int(parsed), length)
            self.assertEqual(tv.parse_failures() - failures, int(not parsed), length)

    def test_noise(self):
        tv = self.tv
        seed = setlib.seed()
        chance = random.Random(seed)
        for index in range(8):
            noise = chance.randbytes(chance.choice([1, 126, 127, 128, 5000, 60000]))
            # Nothing that a manager could mean.
            noise = noise.replace(b":", b"\0")
            tv.am(noise + b"\n")
            with self.subTest(seed=seed, index=index):
                tv.check_good_line(f"noise{index}")
        failures = tv.parse_failures()
        for line in (":", "::", ":am", ":am,ui,a,b:x=1", ":am,ui:", ":am,ui:=1", ":am,ui:x", ":am,ui:x=[1", " "):
            tv.am(line)
        tv.check_good_line("broken")
        self.assertEqual(tv.parse_failures() - failures, 9)

    def test_reports(self):
        tv = self.tv
        for command, report, callback in (("pause", "paused", "onPause"), ("resume", "resumed", "onResume_zel")):
            tv.am(f":am,ui,{report}7:{command}=now")
            tv.await_bytes(tv.callback_line(callback, report + "7", "now", "NULL"))
            tv.await_bytes(f"\n:hello,am,{report}7:{report}=hello\n".encode())
            tv.am(f":am:{command}=")
            tv.await_bytes(tv.callback_line(callback, "NULL", "NULL", "NULL"))
            tv.await_bytes(f"\n:hello,am,:{report}=hello\n".encode())
        self.assertNotIn(b" error\n", tv.output_bytes("out"))

    def test_names_of_empty_slots(self):
        tv = self.tv
        for name in ("shutdown", "suspend", "wakeup", "foregm", "backgm", "device_ui_chg"):
            tv.am(f":am,ui,slots:{name}=1")
        tv.check_good_line("slots")
        self.assertEqual(tv.output_bytes("out").count(b"s_ack:slots"), 1)


class Streams(AtOnce):
    """Each on a set of its own."""

    def factory_set(self):
        tv = self.enterContext(ManagedSet())
        tv.await_started()
        tv.line.connect()
        return tv

    def test_end_of_input(self):
        tv = self.factory_set()
        tv.am(":am,ui,left:never=ended".encode())
        tv.am_end()
        time.sleep(0.3)  # what it costs to notice is not measured

        def processor_time():
            with open(f"/proc/{tv.ready['pid']}/stat") as fields:
                return sum(map(int, fields.read().rsplit(")", 1)[1].split()[11:13]))

        begin = processor_time()
        time.sleep(2)  # the time that is measured
        self.assertLess(processor_time() - begin, 60)  # hundredths of a second: nobody spins on the closed input
        with Chatter(tv) as chatter:
            chatter.await_more(3)
        tv.await_true(lambda: chatter.printed()[-3:] == chatter.asked[-3:], "the chatter")
        self.assertNotIn(b"s_ack:left", tv.output_bytes("out"))

    def test_a_manager_that_does_not_read_for_a_while(self):
        tv = self.factory_set()
        tv.await_printed()
        tv.await_bytes(b"[AM_CLIENT]parse cmd printed \n", "err")
        begin = len(tv.output_bytes("err"))
        tv.hold_output()
        name = "n" * 1900
        count = 700
        report = f"[AM_CLIENT]parse cmd {name} \n".encode()
        self.assertGreater(len(report) * count, BACKLOG + 2 * PIPE)
        tv.am(b"".join(f":am,ui,p{index}:{name}=v\n".encode() for index in range(count)))
        with Chatter(tv) as chatter:  # the line answers, and what it prints waits
            chatter.await_more(30)
        self.assertEqual(chatter.errors, [])
        self.assertLessEqual(len(tv.output_bytes("err")), begin + PIPE)
        tv.hold_output(False)
        tv.await_true(lambda: b" bytes lost\n" in tv.output_bytes("err"), "the notice")
        tv.check_good_line("reads")
        # Standard output stayed within its bound: nothing of it is lost.
        self.assertEqual(chatter.printed()[-len(chatter.asked) :], chatter.asked)
        out = tv.output_bytes("out")
        self.assertNotIn(b" bytes lost", out)
        self.assertEqual(
            [int(index) for index in re.findall(rb"s_ack:p(\d+),", out)], list(range(count))
        )
        # Standard error lost what exceeds the bound, and says how much.
        last = b"[AM_CLIENT]parse cmd check \n[AM_CLIENT]parse cmd printed \n"
        tv.await_true(lambda: tv.output_bytes("err").endswith(last), "the last line")
        err = tv.output_bytes("err")[begin : -len(last)]
        notices = re.findall(rb"\n\[AM_CLIENT\] (\d+) bytes lost\n", err)
        kept = len(err) - sum(len(f"\n[AM_CLIENT] {int(lost)} bytes lost\n") for lost in notices)
        self.assertEqual(kept + sum(map(int, notices)), len(report) * count)
        self.assertGreaterEqual(kept, BACKLOG)

    def test_stop(self):
        tv = self.factory_set()
        with Chatter(tv) as chatter:
            chatter.await_more(3)
        tv.am(":am,ui,end:stop=now")
        self.assertEqual(tv.await_end(), 1)
        self.assertTrue(tv.output_bytes("out").endswith(tv.callback_line("onStop", "end", "now", "NULL")))

    def test_stop_by_a_manager_that_does_not_read(self):
        tv = self.factory_set()
        tv.hold_output()
        tv.am(b"".join(f":am,ui,q{index}:{'n' * 1900}=v\n".encode() for index in range(100)))
        tv.am(":am,ui,end:stop=now")
        self.assertEqual(tv.await_end(), 1)


if __name__ == "__main__":
    runner.main()
