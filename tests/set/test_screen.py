"""What the panel shows: places, sizes and colours, pixel by pixel."""

import pathlib
import time

import runner
from font import DEJAVU, Font
from panel import TEXT, PanelSet, PanelTest
from runner import cases
from zelfac import status


class Screen(PanelTest):
    def check_records(self, picture, height, serial, test_result):
        rows = [f"PCB SN     : {serial}".rstrip(), f"Test Result: {test_result}".rstrip()]
        for index, text in enumerate(rows):
            self.check_row(picture, height, index + 1, text, TEXT)
        for top, bottom in ((0, height), (3 * height, picture.height)):
            self.assertIsNone(picture.text_box(top, bottom), (top, bottom))

    def test_no_shared_memory_is_left_behind(self):
        def segments():
            rows = pathlib.Path("/proc/sysvipc/shm").read_text().splitlines()
            names = rows[0].split()
            creator = names.index("cpid")
            return [row for row in rows[1:] if row.split()[creator] == str(tv.ready["pid"])]

        with PanelSet(panel="1280x720") as tv:
            tv.await_started()
            self.assertEqual(tv.picture().height, 720)
            self.assertTrue(segments())
            tv.stop()
            tv.await_true(lambda: not segments(), "the display has let go of the memory")

    @cases(["1920x1080", "1280x720"])
    def test_factory(self, panel):
        """Empty records, a line of the manager's, new records, and the records at the next start."""
        with PanelSet(panel=panel) as tv:
            tv.await_started()
            first = tv.picture()
            height = self.check_manager_line(tv)
            self.assertEqual(f"{first.width}x{first.height}", panel)
            self.check_records(first, height, "", "")
            tv.line.connect()
            looks = [time.monotonic()]
            self.assertEqual(tv.line.ask(0x1274, b"PCB-0123456789"), status(0x1274, 0))

            def shown(text, row):
                looks.append(time.monotonic())
                box = tv.picture().text_box(row * height, (row + 1) * height)
                return box[2] - height > Font(DEJAVU).width(text, first.width // 42) * 0.97

            # The loop looks every 10 s.
            tv.await_true(lambda: shown("PCB SN     : PCB-0123456789", 1), "the serial number")
            not_yet = looks[-2]  # it was drawn after that
            self.check_records(tv.picture(), height, "PCB-0123456789", "")  # the manager's line is gone
            # Nobody touches the set: the loop rests for 30 s.
            self.assertEqual(tv.line.ask(0x1298, b"PASS 1"), status(0x1298, 0))
            tv.await_true(lambda: shown("Test Result: PASS 1", 2), "the test result")
            self.assertGreater(time.monotonic() - not_yet, 25)
            self.check_records(tv.picture(), height, "PCB-0123456789", "PASS 1")
            tv.stop()
            tv.start()
            tv.await_started()
            self.check_records(tv.picture(), height, "PCB-0123456789", "PASS 1")


if __name__ == "__main__":
    runner.main()
