"""The one-shot ping: who is asked, and that an address never becomes anything but an address."""

import shlex
import time
import unittest

import runner
from setlib import Set
from zelfac import status

ADDRESS = "tovix.sl2.str.network.ip-address"
ETHERNET = 0x12A5
MALFORMED = ["300.300.300.300", "192.168.1.", "1921680101", "........", "-c 99999", "--help ", "192.168.1.1 -f"]
# Each would leave a file behind, or run something else, if the shell read it.
SMUGGLED = [
    "1.1.1.1;touch /tmp/got",
    "127.0.0.1 && touch /tmp/got",
    "127.0.0.1 & touch /tmp/got",
    "|| touch /tmp/got",
    "127.0.0.1|touch /tmp/got",
    "$(touch /tmp/got)",
    "`touch /tmp/got`",
    "127.0.0.1\ntouch /tmp/got",
    "127.0.0.1\r\ntouch /tmp/got\n",
    "1.1.1.1>/tmp/got",
    "127.0.0.1 -w 1 > /tmp/got #",
    "';touch /tmp/got;'",
    '";touch /tmp/got;"',
    "'\"'\"';touch /tmp/got;'",
    "\\';touch /tmp/got",
    "${IFS}touch${IFS}/tmp/got",
    "<(touch /tmp/got)",
    "* ~ ? [a] {1,2}",
]


class Ping(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.tv = cls.enterClassContext(Set(arrange=[("behave", "wired", "off")]))
        cls.tv.await_started()
        cls.tv.line.connect()

    def ping(self, target):
        """Answer and shell commands of one ping command."""
        self.tv.clear_trace()
        answer = self.tv.line.ask(ETHERNET, b"ETHPING=" + target.encode())
        return answer, self.tv.shell()

    def test_answered(self):
        before = self.tv.output().count("ip ok!\n")
        answer, commands = self.ping("192.168.1.1")
        self.assertEqual(answer, status(ETHERNET, 0))
        self.assertEqual(commands, ["ping 192.168.1.1 -w 1"])
        self.assertEqual(self.tv.output().count("ip ok!\n"), before + 1)
        self.assertIn("ret:0, strIPAddress:\n", self.tv.output())

    def test_unanswered(self):
        before = self.tv.output().count("ip ng!\n")
        started = time.monotonic()
        answer, commands = self.ping("192.168.1.200")
        self.assertEqual(answer, status(ETHERNET, 1))
        self.assertGreater(time.monotonic() - started, 1)
        self.assertEqual(commands, ["ping 192.168.1.200 -w 1"])
        self.assertEqual(self.tv.output().count("ip ng!\n"), before + 1)

    def test_malformed(self):
        for target in MALFORMED:
            answer, commands = self.ping(target)
            self.assertEqual(answer, status(ETHERNET, 1), target)
            self.assertEqual([shlex.split(command) for command in commands], [["ping", target, "-w", "1"]])

    def test_too_short_for_an_address(self):
        self.assertEqual(self.ping("1.1.1."), (status(ETHERNET, 1), []))

    def test_nothing_but_ping_runs(self):
        before = self.tv.ls("/tmp"), self.tv.ls("/")
        for target in SMUGGLED:
            answer, commands = self.ping(target)
            self.assertEqual(answer, status(ETHERNET, 1), target)
            self.assertEqual([shlex.split(command) for command in commands], [["ping", target, "-w", "1"]])
        self.assertEqual((self.tv.ls("/tmp"), self.tv.ls("/")), before)

    def test_the_check_would_notice(self):
        """What the smuggled texts would leave behind is seen."""
        self.assertNotIn("got", self.tv.ls("/tmp"))
        self.tv.put(b"", "/tmp/got")
        self.assertIn("got", self.tv.ls("/tmp"))
        self.tv.rm("/tmp/got")

    def test_a_set_with_an_address_does_not_ping(self):
        self.tv.model.set(ADDRESS, "192.168.1.57")
        try:
            for target in ("192.168.1.1", "192.168.1.200"):
                self.assertEqual(self.ping(target), (status(ETHERNET, 0), []))
            self.assertIn("ret:0, strIPAddress:192.168.1.57\n", self.tv.output())
            self.assertRegex(self.tv.output(), r" ZelDecodeFacAutoTestCommand \d+ eth connected!\n")
            self.assertEqual(self.tv.line.ask(0x1293), status(0x1293, 0))
            # An address that cannot be read is none.
            self.tv.model.fail(ADDRESS, "connect", 5)
            self.assertEqual(self.ping("192.168.1.200"), (status(ETHERNET, 1), ["ping 192.168.1.200 -w 1"]))
            self.assertEqual(self.tv.line.ask(0x1293), status(0x1293, 1))
            self.tv.model.fail(ADDRESS, "connect", 0)
        finally:
            self.tv.model.set(ADDRESS, "")
        self.assertEqual(self.tv.line.ask(0x1293), status(0x1293, 1))


if __name__ == "__main__":
    runner.main()
