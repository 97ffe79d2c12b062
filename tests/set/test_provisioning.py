"""MAC addresses, and configuration files over the line."""

import re
import unittest

import runner
from keylib import KeySet, PreparedSets, entries
from runner import AtOnce
from setlib import Set
from zelfac import result, status
from zelfac.keyfiles import CONFIG, crc

RANDOM_MAC = re.compile(r"00:00:00:[0-9A-F]{2}:[0-9A-F]{2}:[0-9A-F]{2}")
EMPTY = "The line data is empty !"
# number of the line, its label, the record that it sets
LINES = [
    (1, "META_COUNTRY", ("meta", 1)),
    (2, "META_REGION", ("meta", 2)),
    (3, "META_LOGO", ("meta", 4)),
    (4, "BRAND", ("flash", "brand")),
    (5, "META_LAGUAGE", ("meta", 3)),
    (6, "META_PROJECT_ID", ("meta", 0)),
    (7, "META_CUSTOMER_MODEL", ("meta", 6)),
]
VALUES = ["3", "2", "4", "ACME", "5", "6", "ACME-43 ", "eighth", "ninth"]


class Addresses(AtOnce):
    def test_a_new_set_gets_a_random_address_and_keeps_it(self):
        with Set() as tv:
            tv.await_started()
            mac = tv.flash.get("macaddr")
            self.assertRegex(mac, f"^{RANDOM_MAC.pattern}$")
            self.assertEqual(tv.meta.get(8), mac)
            self.assertNotEqual(mac, "00:00:00:00:00:00")
            self.assertIn(f"=========mac test 3333333:{mac} strlen():17\n", tv.output())
            tv.line.connect()
            self.assertEqual(tv.line.ask(0x1279), result(0x1279, mac.encode()))
            tv.stop()
            tv.start()
            tv.await_started()
            self.assertEqual(tv.flash.get("macaddr"), mac)
            self.assertEqual(tv.meta.get(8), mac)
            self.assertEqual(self.writes(tv), [])
            # As an assigned one is.
            tv.line.connect()
            assigned = b"AC:DE:48:00:11:22"
            self.assertEqual(tv.line.ask(0x1278, assigned), status(0x1278, 0))
            tv.stop()
            tv.start()
            tv.await_started()
            self.assertEqual(tv.meta.get(8).encode(), assigned)
            self.assertEqual(tv.flash.get("macaddr").encode(), assigned)
            self.assertEqual(self.writes(tv), [])

    @staticmethod
    def writes(tv):
        rows = tv.trace(who="flash", call="set", name="macaddr") + tv.trace(who="meta", call="write", item=8)
        return [(row["value"], row["status"]) for row in rows]

    def test_two_sets_get_two_addresses(self):
        addresses = set()
        for _ in range(2):
            with Set() as tv:
                tv.await_started()
                addresses.add(tv.meta.get(8))
        self.assertEqual(len(addresses), 2)

    def test_an_address_that_cannot_be_kept_is_tried_again_at_the_next_start(self):
        with Set() as tv:
            tv.await_started()
            for place, item in (("flash", "macaddr"), ("meta", 8)):
                tv.meta.set(8, "")
                tv.ctl(place, "fail", item, 6)
                tv.stop()
                tv.start()
                tv.await_started()
                self.assertRegex(tv.output(), r" ZelCheckIfSetSetRandomMAC \d+ fail ret:6\n")
                written = self.writes(tv)
                self.assertEqual(sorted(code for _, code in written), [0, 6], written)
                self.assertEqual(len({mac for mac, _ in written}), 1, "the one is set although the other fails")
                tv.ctl(place, "fail", item, 0)

    def test_an_address_over_the_line_that_cannot_be_kept_is_refused(self):
        with KeySet() as tv:
            for command, payload in ((0x1278, b"00:11:22:33:44:55"), (0x129D, b"MAC=00:11:22:33:44:55")):
                for place, item in (("flash", "macaddr"), ("meta", 8)):
                    tv.ctl(place, "fail", item, 6, "--times", 1)
                    self.assertEqual(tv.line.ask(command, payload), status(command, 1), (command, place))
                    self.assertEqual(tv.line.ask(command, payload), status(command, 0), (command, place))
            done = tv.zelline("mac", "write", "66:55:44:33:22:11")
            self.assertEqual((done.returncode, done.stdout.strip()), (0, b"success"))
            self.assertEqual(tv.zelline("mac", "read").stdout.strip(), b"66:55:44:33:22:11")
            self.assertEqual(tv.flash.get("macaddr"), "66:55:44:33:22:11")


class Configurations(PreparedSets, unittest.TestCase):
    def setUp(self):
        super().setUp()
        self.zero()

    def zero(self):
        for item in range(5):
            self.tv.meta.set(item, 0)
        self.tv.meta.set(6, "")
        self.tv.flash.set("brand", "")
        self.tv.clear_trace()

    def stored(self):
        return {place: self.tv.text(place[0], "get", place[1]) for _, _, place in LINES}

    def send(self, data):
        """What the set answers, and what it printed meanwhile."""
        before = len(self.tv.output())
        answer = self.tv.send(CONFIG, data)
        # The answer comes before the worker's last output has travelled through the manager's pipe.
        self.tv.await_true(lambda: "META_PROJECT_ID is:" in self.tv.output()[before:], "the check's last line")
        return answer, self.tv.output()[before:]

    def expect(self, data, wanted, labels):
        """Sends the file; `wanted` are the values of lines 1 to 7, None where the line says nothing."""
        answer, output = self.send(data)
        # What a line leaves out is 0 after zero(), which is what the check takes an empty line for.
        stored = [self.stored()[place] for _, _, place in LINES]
        zero = ["0", "0", "0", "", "0", "0", ""]
        self.assertEqual(stored, [value if value is not None else none for value, none in zip(wanted, zero)], data)
        self.assertEqual([label for label in labels if label + " " + EMPTY not in output], [], output)
        self.assertEqual(output.count(EMPTY), len(labels), output)
        return answer

    def test_files_of_no_to_nine_lines_with_either_line_end(self):
        for end in ("\r\n", "\n"):
            for count in range(1, 10):  # a file without any line has no chunk
                self.zero()
                data = "".join(value + end for value in VALUES[:count]).encode()
                values = VALUES[: min(count, 7)] + [None] * (7 - min(count, 7))
                labels = [label for number, label, _ in LINES if number > count]
                self.assertEqual(self.expect(data, values, labels), result(CONFIG.command, crc(data)), (count, end))
                # No trace of an eighth line anywhere.
                self.assertFalse([row for row in self.tv.trace() if "eighth" in str(row) or "ninth" in str(row)])
        self.assertEqual(self.tv.line.ask(CONFIG.command, b""), status(CONFIG.command, 1))

    def test_everything_is_set(self):
        for name in ("db_table", "normal_start"):
            self.tv.flash.set(name, "1")
        data = "".join(value + "\r\n" for value in VALUES[:7]).encode()
        self.assertEqual(self.send(data)[0], result(CONFIG.command, crc(data)))
        self.assertEqual([self.stored()[place] for _, _, place in LINES], VALUES[:7])
        country, index = (f"tovix.sl2.i32.qorfactory.{key}" for key in ("country", "serialsdata.model.index"))
        self.assertEqual([self.tv.model.get(key) for key in (country, index)], [3, 6])
        self.assertEqual([self.tv.flash.get(name) for name in ("db_table", "normal_start")], ["0", "0"])
        self.assertEqual([row["value"] for row in self.tv.trace(who="meta", call="createAccessRouteFile")], [6])

    def test_empty_lines(self):
        data = b" 3\r\n\r\n\t4\r\n \n\n\n\r\n"
        labels = [label for _, label, _ in LINES]
        self.assertEqual(self.expect(data, [None] * 7, labels), status(CONFIG.command, 1), "a blank and 3 compare as 3")
        data = b"\r\n\r\n\n\r\n\r\n\n\r\n"
        # The stored brand is empty and agrees with any line; empty numbers are 0.
        self.assertEqual(self.expect(data, [None] * 7, labels), result(CONFIG.command, crc(data)))
        self.tv.meta.set(2, 9)
        self.assertEqual(self.send(data)[0], status(CONFIG.command, 1), "an empty line does not agree with 9")

    def test_lines_of_255_characters(self):
        """254 of them are a line, the rest begins the next one."""
        long = "B" * 254 + "7"
        data = f"1\r\n2\r\n3\r\n{long}\r\n8\r\n9\r\n".encode()
        values = ["1", "2", "3", "B" * 254, "7", "8", "9"]
        # Only 127 characters of the brand are read back, and only these are compared.
        self.assertEqual(self.expect(data, values, []), result(CONFIG.command, crc(data)))
        data = f"1\r\n2\r\n3\r\n{long[:252]}\r\n5\r\n6\r\n{'M' * 254}".encode()
        values = ["1", "2", "3", "B" * 252, "5", "6", "M" * 254]
        self.assertEqual(self.expect(data, values, []), result(CONFIG.command, crc(data)))

    def test_a_binary_file(self):
        """Lines end at their first zero, numbers at the first byte that is no digit."""
        data = b"7\0\xff\xfe\n" + b"8\x80\xff\r\n" + b"\xff9\n" + bytes(range(255, -1, -1)) * 3
        answer, _ = self.send(data)
        self.assertEqual(answer, result(CONFIG.command, crc(data)), "and agree with what was read")
        self.assertEqual([self.tv.meta.get(item) for item in (1, 2, 4, 3, 0)], ["7", "8", "0", "0", "0"])
        self.assertEqual(entries(self.tv.staging()), ["CONFIG/"])
        # The set is as able as before.
        self.tv.flash.set("brand", "")
        data = "".join(value + "\r\n" for value in VALUES[:7]).encode()
        self.assertEqual(self.send(data)[0], result(CONFIG.command, crc(data)))

    def test_faults(self):
        data = "".join(value + "\r\n" for value in VALUES[:7]).encode()
        faults = [("meta", item) for item in (0, 1, 2, 3, 4, 6, "access-route")]
        faults += [("flash", name) for name in ("db_table", "brand", "normal_start")]
        keys = ("country", "serialsdata.model.index")
        faults += [("model", f"tovix.sl2.i32.qorfactory.{key}", "operate") for key in keys]
        for place, *what in faults:
            self.tv.ctl(place, "fail", *what, 5, "--times", 1)
            answer, output = self.send(data)
            self.assertEqual(answer, status(CONFIG.command, 1), what)
            self.assertRegex(output, r" ZelWriteConfigFile \d+ fail\n")
            self.assertEqual(len(self.tv.trace(who="flash", call="set", name="normal_start")), 1, "it goes on")
            self.tv.clear_trace()
        self.assertEqual(self.send(data)[0], result(CONFIG.command, crc(data)))

    def test_a_stored_brand_is_compared_over_its_own_length(self):
        data = b"1\r\n1\r\n1\r\nACME\r\n1\r\n1\r\n"
        self.assertEqual(self.send(data)[0], result(CONFIG.command, crc(data)))
        without = b"1\r\n1\r\n1\r\n\r\n1\r\n1\r\n"
        self.assertEqual(self.send(without)[0], status(CONFIG.command, 1), "ACME is stored, nothing is wanted")
        self.tv.flash.set("brand", "")
        self.assertEqual(self.send(without)[0], result(CONFIG.command, crc(without)))

    def test_zelline(self):
        file = self.tv.folder / "config.ini"
        data = "".join(value + "\r\n" for value in VALUES[:7]).encode()
        file.write_bytes(data)
        done = self.tv.zelline("config", file)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(self.tv.meta.get(6), "ACME-43 ")
        self.tv.meta.fail(1, 5, times=1)
        done = self.tv.zelline("config", file)
        self.assertEqual(done.returncode, 1, done.stderr)


if __name__ == "__main__":
    runner.main()
