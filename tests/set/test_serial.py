"""The set's serial port is a real one: an application that does not set it to what the line has sees broken bytes."""

import runner
from runner import AtOnce, cases
from setlib import Set
from zelfac import frame

FRAME = frame(0x1273, b"\x01\x02\x03")

# Sets the port up, tells what it then reads back, sends a frame again and again, and prints what it receives.
APPLICATION = """#!/usr/bin/env python3
import os, select, termios, time
port = os.open("/dev/ttyS0", os.O_RDWR | os.O_NOCTTY)
fresh = termios.tcgetattr(port)
print("fresh", fresh[4] == termios.B9600, bool(fresh[3] & termios.ECHO), bool(fresh[3] & termios.ICANON), flush=True)
wanted = {wanted}
if wanted:
    speed, size, others, raw = wanted
    attributes = termios.tcgetattr(port)
    attributes[2] = attributes[2] & ~(termios.CSIZE | termios.PARENB | termios.PARODD | termios.CSTOPB) | size | others
    attributes[4] = attributes[5] = speed
    if raw:
        attributes[0] = attributes[1] = attributes[3] = 0
    termios.tcsetattr(port, termios.TCSANOW, attributes)
    kept = termios.tcgetattr(port)
    print("kept", kept[2] & (termios.CSIZE | termios.PARENB | termios.PARODD | termios.CSTOPB) == size | others, flush=True)
end = time.monotonic() + 120
while time.monotonic() < end:
    if select.select([port], [], [], 0.2)[0]:
        print("got", os.read(port, 4096).hex(), flush=True)
    os.write(port, {frame!r})
"""

WRONG = {
    "as it was found": (None, "9600 8N1 cooked"),
    "another speed": ("(termios.B9600, termios.CS8, 0, True)", "9600 8N1 raw"),
    "300 7E1": ("(termios.B300, termios.CS7, termios.PARENB, True)", "300 7E1 raw"),
    "seven bits": ("(termios.B115200, termios.CS7, 0, True)", "115200 7N1 raw"),
    "parity": ("(termios.B115200, termios.CS8, termios.PARENB | termios.PARODD, True)", "115200 8O1 raw"),
    "cooked": ("(termios.B115200, termios.CS8, 0, False)", "115200 8N1 cooked"),
}
RIGHT = "(termios.B115200, termios.CS8, 0, True)"
TWO_STOP_BITS = "(termios.B115200, termios.CS8, termios.CSTOPB, True)"


class PortSet(Set):
    """A set whose application sets its port up as told."""

    def __init__(self, wanted):
        super().__init__("--strict", strict=False)  # its exit status is looked at
        self.app = self.folder / "port"
        self.app.write_text(APPLICATION.format(wanted=wanted, frame=FRAME))
        self.app.chmod(0o755)

    def heard(self):
        """What the application has received so far."""
        return bytes.fromhex("".join(row[4:] for row in self.output().splitlines() if row.startswith("got ")))

    def broken_rules(self):
        return {(row["rule"], row["call"], row["settings"]) for row in self.trace(who="violation")}


class Port(AtOnce):
    def test_is_fresh_after_power_on(self):
        with PortSet(None) as tv:
            tv.await_output("fresh True True True")

    def test_set_up_as_the_line_is(self):
        with PortSet(RIGHT) as tv:
            tv.await_output("kept True")
            self.assertIn(FRAME, tv.line.await_bytes(FRAME))
            tv.line.send(FRAME * 20)
            tv.await_true(lambda: len(tv.heard()) >= len(FRAME) * 20, "what the line sent")
            self.assertEqual(tv.heard(), FRAME * 20)
            self.assertEqual(tv.trace(who="violation"), [])
            self.assertEqual(tv.stop(), 0)

    @cases(WRONG)
    def test_set_up_otherwise(self, case):
        wanted, told = case
        with PortSet(wanted) as tv:
            tv.await_output("fresh")
            if wanted:
                tv.await_output("kept True")
            tv.line.send(FRAME * 20)
            rules = {("serial-parameters", call, told) for call in ("receive", "transmit")}
            tv.await_true(lambda: rules <= tv.broken_rules(), f"{told} both ways")
            received = tv.line.receive(1)
            self.assertEqual(tv.broken_rules(), rules)
            if "cooked" in told:
                tv.line.send(b"a\rb\n")  # translated and sent back
                tv.await_true(lambda: tv.heard() != b"", "a line")
            self.assertNotIn(FRAME * 2, tv.heard())
            if told.startswith("115200 8N1"):
                self.assertIn(b"\r\n", tv.line.receive(2, lambda data: b"\r\n" in data), "the echo")
            else:
                self.assertNotIn(FRAME * 2, received)
            self.assertEqual(tv.stop(), 7)

    def test_a_second_stop_bit_is_told_and_heard(self):
        """The line takes it for silence, but the port loses its place where bytes follow each other closely."""
        with PortSet(TWO_STOP_BITS) as tv:
            self.assertIn(FRAME, tv.line.await_bytes(FRAME))
            tv.line.send(FRAME * 20)
            tv.await_true(lambda: ("serial-parameters", "receive", "115200 8N2 raw") in tv.broken_rules(), "the rule")
            tv.await_true(lambda: tv.heard() != b"", "bytes")
            self.assertNotIn(FRAME * 2, tv.heard())
            self.assertEqual(tv.stop(), 7)


if __name__ == "__main__":
    runner.main()
