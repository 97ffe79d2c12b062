"""Key files of odd senders, faults of what installs them, and who can read them meanwhile."""

import os
import re
import stat
import threading
import unittest
import zlib

import runner
from keylib import KeySet, PreparedSets, content, entries
from runner import AtOnce
from zelfac import frame, result, status
from zelfac.keyfiles import (CHUNK, CIPLUS, CIPLUSECP, CONFIG, ESN, HDCP1, HDCP2, NETFLIX, WIDEVINE, chunk, chunks,
                             crc, pieces)


class OddSenders(PreparedSets, unittest.TestCase):
    def silent(self, seconds=1.5):
        self.assertEqual(self.tv.line.receive(seconds), b"")

    def test_a_repeated_chunk_is_stored_once(self):
        data = content(HDCP1, 150)
        frames = chunks(HDCP1, data)
        answer = self.tv.line.exchange(frames[0] + frames[1] * 3 + frames[0] + frames[2])
        self.assertEqual(answer, status(HDCP1.command, 0))
        self.assertEqual(self.tv.key(HDCP1), (150, zlib.crc32(data)))

    def test_chunks_stand_in_the_order_of_their_arrival(self):
        parts = pieces(content(HDCP2, 180))
        frames = chunks(HDCP2, b"".join(parts))
        answer = self.tv.line.exchange(frames[2] + frames[0] + frames[1])
        self.assertEqual(answer, status(HDCP2.command, 0))
        data = parts[2] + parts[0] + parts[1]
        self.assertEqual(self.tv.key(HDCP2), (180, zlib.crc32(data)))
        self.assertEqual(self.tv.query(HDCP2), result(HDCP2.query, crc(data)))

    def test_a_file_with_a_gap_waits_for_its_chunk(self):
        parts = pieces(content(NETFLIX, 200))
        frames = chunks(NETFLIX, b"".join(parts))
        self.tv.line.send(frames[0] + frames[1] + frames[3])
        self.silent()
        self.assertEqual(self.tv.received(), (parts[0] + parts[1] + parts[3], [0, 1, 3]))
        self.assertIsNone(self.tv.key(NETFLIX))
        self.assertEqual(self.tv.query(NETFLIX), result(NETFLIX.query, bytes(4)))
        self.assertEqual(self.tv.line.exchange(frames[2]), status(NETFLIX.command, 0))
        self.assertEqual(self.tv.key(NETFLIX), (200, zlib.crc32(parts[0] + parts[1] + parts[3] + parts[2])))

    def test_another_id_in_the_middle_starts_from_scratch(self):
        old, new = chunks(HDCP1, content(HDCP1, 192)), content(WIDEVINE, 130)
        answer = self.tv.line.exchange(old[0] + old[1] + b"".join(chunks(WIDEVINE, new)))
        self.assertEqual(answer, status(WIDEVINE.command, 0))
        self.assertEqual(self.tv.key(WIDEVINE), (130, zlib.crc32(new)))
        # What is left of the first file begins a transfer of its own, which lacks the rest.
        self.tv.line.send(old[2])
        self.silent()
        self.assertEqual(self.tv.received(), (pieces(content(HDCP1, 192))[2], [2]))
        self.assertIsNone(self.tv.key(HDCP1))

    def test_a_foreign_chunk_costs_both_files(self):
        data = content(HDCP1, 128)
        frames = chunks(HDCP1, data)
        self.tv.line.send(frames[0] + chunk(NETFLIX, 7, 9, b"stray") + frames[1])
        self.silent()
        self.assertEqual(self.tv.received(), (pieces(data)[1], [1]))
        self.assertIsNone(self.tv.key(HDCP1))
        self.assertIsNone(self.tv.key(NETFLIX))

    def test_totals_that_are_never_reached(self):
        """0 stands for 256 as well: the count never equals it."""
        for total in (0, 1):
            self.tv.line.send(chunk(HDCP2, 0, 3, b"a") + chunk(HDCP2, 1, total, b"b"))
            self.silent()
        self.assertEqual(self.tv.received(), (b"ab", [0, 1]))
        self.assertIsNone(self.tv.key(HDCP2))

    def test_the_last_arrived_total_decides(self):
        frames = chunk(HDCP2, 0, 9, b"a") + chunk(HDCP2, 5, 2, b"b")
        self.assertEqual(self.tv.line.exchange(frames), status(HDCP2.command, 0))
        self.assertEqual(self.tv.key(HDCP2), (2, zlib.crc32(b"ab")))

    def test_what_waits_behind_the_last_chunk_is_dropped(self):
        """The worker empties the list of pending frames, also of queries, and drops chunks of its own file."""
        data = content(HDCP1, 10)
        last = chunks(HDCP1, data)
        self.tv.line.send(b"".join(last) * 30 + frame(0x1290) + frame(HDCP1.query))
        self.assertEqual(self.tv.line.await_bytes(status(HDCP1.command, 0)), status(HDCP1.command, 0))
        self.silent()
        self.assertEqual(self.tv.key(HDCP1), (10, zlib.crc32(data)))
        self.assertIsNone(entries(self.tv.staging()))

    def test_without_the_clearing_query_only_the_first_chunk_is_stored(self):
        first, data = content(HDCP1, 65), content(HDCP2, 192)
        self.assertEqual(self.tv.send(HDCP1, first), status(HDCP1.command, 0))
        frames = chunks(HDCP2, data)
        for _ in range(2):
            self.tv.line.send(b"".join(frames))
            self.silent()
            self.assertEqual(self.tv.received(), (data[:CHUNK], [0]))
        # A file of one chunk gets through, and the mark stays.
        small = content(NETFLIX, 64)
        self.assertEqual(self.tv.send(NETFLIX, small), status(NETFLIX.command, 0))
        self.assertEqual(self.tv.key(NETFLIX), (64, zlib.crc32(small)))
        self.tv.line.send(b"".join(frames))
        self.silent()
        self.assertIsNone(self.tv.key(HDCP2))
        # Any key's query takes the mark away; the chunks that were ignored are taken then.
        self.assertEqual(self.tv.query(NETFLIX), result(NETFLIX.query, crc(small)))
        self.assertEqual(self.tv.send(HDCP2, data), status(HDCP2.command, 0))
        self.assertEqual(self.tv.key(HDCP2), (192, zlib.crc32(data)))

    def test_a_configuration_leaves_the_mark_as_it_is(self):
        data = content(CONFIG, 100)
        self.assertEqual(self.tv.send(CONFIG, data), result(CONFIG.command, crc(data)))
        key = content(HDCP1, 100)
        self.assertEqual(self.tv.send(HDCP1, key), status(HDCP1.command, 0), "not set by the configuration")
        self.tv.line.send(b"".join(chunks(CONFIG, content(CONFIG, 101))))
        self.silent()
        self.assertEqual(self.tv.query(HDCP1), result(HDCP1.query, crc(key)))

    def test_lengths_out_of_range_touch_nothing(self):
        kinds = (HDCP1, HDCP2, CIPLUS, ESN, WIDEVINE, CONFIG, NETFLIX, CIPLUSECP)
        for kind in kinds:
            self.assertEqual(self.tv.line.exchange(chunk(kind, 0, 1, b"")), status(kind.command, 1))
        for kind in kinds:  # 65 bytes are no frame at all
            self.tv.line.send(chunk(kind, 0, 1, b"x" * 65))
        self.silent()
        self.assertIsNone(entries(self.tv.staging()))


class Faults(PreparedSets, unittest.TestCase):
    def fail_lines(self, operation):
        return [line for line in self.tv.output().splitlines() if line.startswith(f" {operation} ") and "fail" in line]

    def test_the_check_decides(self):
        for kind in (HDCP1, HDCP2, WIDEVINE, NETFLIX):
            data, other = content(kind, 70), content(kind, 71)
            self.tv.keys.fail(kind.name, "write", 17, times=1)
            self.assertEqual(self.tv.send(kind, data), status(kind.command, 1), "neither written nor there")
            self.tv.await_output(f"=========writeKeys {kind.name.upper()} ret:17=========\n")
            self.tv.await_output(f"=========checkKeyFile {kind.name.upper()} ret:9=========\n")
            self.assertEqual(self.tv.query(kind), result(kind.query, crc(data)), "of what was received")
            self.assertEqual(self.tv.send(kind, data), status(kind.command, 0))
            self.tv.query(kind)
            self.tv.keys.fail(kind.name, "write", 18, times=1)
            self.assertEqual(self.tv.send(kind, other), status(kind.command, 0), "the former key passes the check")
            self.assertEqual(self.tv.key(kind), (70, zlib.crc32(data)))
            self.assertEqual(self.tv.query(kind), result(kind.query, crc(other)))
            self.tv.keys.fail(kind.name, "check", 19, times=1)
            self.assertEqual(self.tv.send(kind, other), status(kind.command, 1))
            self.tv.await_output(f"=========checkKeyFile {kind.name.upper()} ret:19=========\n")
            self.assertIsNone(entries(self.tv.staging()))

    def test_a_refusal_leaves_the_mark_alone(self):
        self.tv.keys.fail("hdcp1", "check", 3, times=1)
        self.assertEqual(self.tv.send(HDCP1, content(HDCP1, 100)), status(HDCP1.command, 1))
        self.assertEqual(self.tv.send(HDCP1, content(HDCP1, 100)), status(HDCP1.command, 0), "without a query")

    def test_the_esn_file_goes_by_the_keybox(self):
        self.tv.keys.fail("widevine", "write", 21, times=1)
        self.assertEqual(self.tv.send(ESN, content(ESN, 64)), status(ESN.command, 1))
        self.tv.await_output("=========writeKeys ESN_ULPK_MAC ret:21=========\n")
        self.tv.await_output("=========checkKeyFile ESN_ULPK_MAC ret:9=========\n")
        self.assertNotIn("writeKeys WIDEVINE", self.tv.output())

    def test_ci_plus_credentials(self):
        intf = "tovix.sl2.common.intf.action."
        for kind in (CIPLUS, CIPLUSECP):
            data = content(kind, 66)
            for step in ("connect", "operate"):
                self.tv.clear_trace()
                self.tv.model.fail(intf + "encrypt.key", step, 5, times=1)
                self.assertEqual(self.tv.send(kind, data), status(kind.command, 0), "the check alone decides")
                self.assertEqual(self.tv.calls(), [], "a refused credential is not handed to the key store")
                self.tv.query(kind)
                self.tv.model.fail(intf + "check.ciplus.key", step, 5, times=1)
                self.assertEqual(self.tv.send(kind, data), status(kind.command, 1))
            self.tv.await_printed()  # the former refusals' lines
            before = len(self.fail_lines("ZelKeyUpgradeThread"))
            self.tv.keys.fail(kind.name, "write", 6, times=1)
            self.assertEqual(self.tv.send(kind, data), status(kind.command, 0))
            self.tv.query(kind)
            self.tv.await_true(lambda: len(self.fail_lines("ZelKeyUpgradeThread")) == before + 1, "the failure's line")
        self.tv.await_output("connect failed, ret = 5\n")
        self.tv.await_output("invoke failed, ret = 5\n")

    def test_an_action_that_reports_a_failure_was_accepted_all_the_same(self):
        intf = "tovix.sl2.common.intf.action."
        self.assertEqual(self.tv.send(CIPLUS, b"good"), status(CIPLUS.command, 0))
        self.tv.query(CIPLUS)
        self.tv.await_output("results[0].values:Success \n")
        self.tv.clear_trace()
        self.tv.model.fail(intf + "check.ciplus.key", "execute", 4, times=1)
        before = self.tv.seq()
        self.assertEqual(self.tv.send(CIPLUS, b"bad"), status(CIPLUS.command, 0))
        self.tv.wait(call="result", key=intf + "check.ciplus.key", since=before)
        reports = [(row["key"], row["value"]) for row in self.tv.trace(who="model", call="result")]
        self.assertEqual(reports, [(intf + "encrypt.key", "Success"), (intf + "check.ciplus.key", "Failed")])
        self.tv.await_output("results[0].values:Failed \n")

    def test_a_checksum_of_zero_is_installed_and_never_reported(self):
        data = b"\x9d\x0a\xd9\x6d"
        self.assertEqual(zlib.crc32(data), 0)
        self.assertEqual(self.tv.send(HDCP1, data), status(HDCP1.command, 0))
        self.assertEqual(self.tv.key(HDCP1), (4, 0))
        self.tv.await_output(re.compile(r"^ ZelKeyUpgradeThread .* 32 bit crc fail!!!$", re.MULTILINE))
        self.assertEqual(self.tv.query(HDCP1), result(HDCP1.query, bytes(4)))


class Staging(AtOnce):
    def test_nobody_but_the_owner_gets_in_while_keys_are_there(self):
        with KeySet() as tv:
            folder, seen, done = tv.staging(), set(), threading.Event()
            owner = os.stat(f"/proc/{tv.ready['pid']}").st_uid

            def watch():
                while not done.is_set():
                    try:
                        found = os.stat(folder)
                        seen.add((stat.S_IMODE(found.st_mode), found.st_uid))
                    except FileNotFoundError:
                        seen.add(None)

            watcher = threading.Thread(target=watch)
            watcher.start()
            try:
                for kind in (HDCP1, CONFIG, ESN, CIPLUS):
                    for size in (64, 640):
                        tv.send(kind, content(kind, size))
                        tv.query(HDCP1)
                        self.assertEqual(entries(folder), ["CONFIG/"] if kind is CONFIG else None, kind)
            finally:
                done.set()
                watcher.join()
            self.assertEqual(seen, {None, (0o700, owner)})


if __name__ == "__main__":
    runner.main()
