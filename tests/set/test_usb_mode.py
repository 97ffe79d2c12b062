"""When a set starts a USB update, what its screen says, and sticks that come and go."""

import time
import unittest

import setlib
from png import Picture
from sticks import COPY, CUSTOMER, Folder, Update, full_stick, in_parallel, write

RED = (252, 0, 0)
GREEN = (0, 252, 0)
BLACK = (0, 0, 0)


class Modes(unittest.TestCase):
    def test_aging_becomes_an_update_when_the_stick_has_work(self):
        def customer(folder):
            return full_stick(folder / "stick", ["hdcp1"])

        def copy(folder):
            write(folder / "stick" / COPY / "CONFIG/CONFIG.bin", "x")
            return folder / "stick"

        def empty_copy(folder):
            (folder / "stick" / COPY).mkdir(parents=True)
            return folder / "stick"

        def oem(folder):
            write(folder / "stick" / "OEM_data.zip", "x")
            return folder / "stick"

        def nothing(folder):
            write(folder / "stick" / "USB.ZEL", "")
            write(folder / "stick" / "CONFIG.bin", "x")
            return folder / "stick"

        cases = [(customer, 1), (copy, 3), (empty_copy, 3), (oem, 1), (nothing, None), (None, None)]

        def run(case):
            make, status = case
            with Folder() as folder:
                with Update(*([make(folder)] if make else []), mode="2") as tv:
                    if status is None:
                        tv.await_output("ZelGetFacAutoTestBurn u32Count:0")
                        self.assertEqual(tv.text("flash", "get", "ZelFacMode"), "2")
                        self.assertNotIn(" ret1:", tv.output())
                        return
                    self.assertEqual(tv.outcome(), (status, ""))
                    self.assertEqual(tv.text("flash", "get", "ZelFacMode"), "0")
                    self.assertNotIn("ZelGetFacAutoTestBurn", tv.output())

        failed = in_parallel(cases, run, 6)
        self.assertEqual([(make and make.__name__, str(error)) for (make, _), error in failed], [])

    def test_the_start_after_such_an_update_is_a_normal_one(self):
        with Folder() as folder:
            state = folder / "state"
            with Update(full_stick(folder / "stick", ["hdcp1"]), mode="2", state=state) as tv:
                tv.outcome()
            with setlib.Set(state=state) as tv:
                self.assertEqual(tv.process.wait(20), 0)
                self.assertIn("=========ZEL_FACMODE:0=========", tv.output())

    def test_the_power_key_ends_the_mode_and_reboots(self):
        with Folder() as folder, Update(full_stick(folder / "stick", ["hdcp1"])) as tv:
            tv.outcome()
            tv.ctl("press", 70)
            tv.await_true(lambda: tv.text("flash", "get", "ZelFacMode") == "0", "the mode's end")
            self.assertEqual(tv.process.wait(30), 0)  # restarted, without a mode


class PortCheck(unittest.TestCase):
    def test_marked_sticks_are_counted_as_they_come_and_go(self):
        with Folder() as folder, setlib.Set() as tv:
            marked, bare = folder / "marked", folder / "bare"
            write(marked / "my USB.ZEL.txt", "")
            write(bare / "usb.zel", "")
            tv.await_started()
            tv.line.close()  # for the line tool
            for port in (1, 2, 3, 4):
                self.assertEqual(tv.zelline("usb", port).returncode, 1)
            tv.ctl("usb", "plug", bare)
            self.assertEqual(tv.zelline("usb", 1).returncode, 1)
            names = [tv.text("usb", "plug", marked, *more) for more in ([], ["--read-only"], ["--name", "vu_x"], [])]
            self.assertEqual(names, ["vu_sdb1", "vu_sdc1", "vu_x", "vu_sdd1"])
            for port in (1, 2, 3, 4):
                self.assertEqual(tv.zelline("usb", port).returncode, 0)
            tv.ctl("usb", "unplug", "vu_x")
            self.assertEqual(tv.zelline("usb", 3).returncode, 0)
            self.assertEqual(tv.zelline("usb", 4).returncode, 1)


class Screen(unittest.TestCase):
    """The two lines of text: their colour, where they begin, and that different texts differ."""

    def picture(self, tv, folder, name):
        tv.ctl("screenshot", folder / f"{name}.png")
        return Picture(folder / f"{name}.png")

    def lines(self, picture):
        """Box and colour of the two lines; the rest has to be black."""
        # The font's height is a 42nd of the width asked for, its pitch somewhat more.
        height = picture.width // 42
        rows = [y for y, row in enumerate(picture.rows) if any(row[x * picture.bytes_per_pixel + c] for x in range(0, picture.width) for c in range(3))]
        gap = max(range(1, len(rows)), key=lambda i: rows[i] - rows[i - 1], default=0)
        self.assertTrue(rows, "nothing on the screen")
        parts = [rows[:gap], rows[gap:]] if gap and rows[gap] - rows[gap - 1] > 3 else [rows]
        lines = []
        for part in parts:
            box = picture.text_box(part[0], part[-1] + 1)
            colours = picture.colours(box[1], box[3], box[0], box[2])
            del colours[BLACK]
            lines.append((box, colours.most_common(1)[0][0]))
        self.assertGreaterEqual(lines[0][0][1], height)
        return lines

    def test_colours_and_places(self):
        def no_key(folder):
            stick = full_stick(folder / "stick", ["hdcp1", "mac"])
            (stick / CUSTOMER / "HDCP14KEY/HDCP14MTK9602_1.bin").unlink()
            return stick

        def bad_range(folder):
            stick = full_stick(folder / "stick", ["hdcp1", "mac"], address_range="no range")
            return stick

        def protected(folder):
            (folder / "stick").mkdir()
            (folder / "stick").chmod(0o555)
            return folder / "stick"

        def bare(folder):
            write(folder / "stick" / "USB.ZEL", "")
            return folder / "stick"

        cases = {
            0: (no_key, RED), 1: (lambda folder: full_stick(folder / "stick", ["hdcp1", "mac"]), GREEN),
            2: (bad_range, RED), 3: (bare, GREEN), 4: (protected, RED),
        }
        boxes = {}

        def run(status):
            make, colour = cases[status]
            with Folder() as folder, Update(make(folder), panel="640x360") as tv:
                if status == 0:
                    tv.sync_with_loop()
                else:
                    self.assertEqual(tv.outcome()[0], status)

                def final():
                    lines = self.lines(self.picture(tv, folder, "now"))
                    return lines if len(lines) == 2 else None

                setlib.Set.await_true(final, "two lines of text")
                time.sleep(0.2)
                lines = final()
                self.assertEqual([line[1] for line in lines], [colour, colour])
                boxes[status] = [line[0] for line in lines]

        failed = in_parallel(cases, run, 5)
        self.assertEqual([(case, str(error)) for case, error in failed], [])
        # Both lines of all begin at the same margin, one line's height below another.
        lefts = [box[0] for pair in boxes.values() for box in pair]
        self.assertLessEqual(max(lefts) - min(lefts), 2)
        margin = 640 // 42
        self.assertTrue(all(margin <= left <= margin + 8 for left in lefts), lefts)
        for first, second in boxes.values():
            self.assertLessEqual(abs((second[1] - first[1]) - margin), margin // 2)
        # What tells the results apart.
        self.assertEqual(len({pair[0][2] for pair in boxes.values()}), 5)
        self.assertGreater(boxes[1][1][2], boxes[3][1][2])  # "… and reboot to take effect"


if __name__ == "__main__":
    setlib.main()
