"""When a set starts a USB update, what its screen says, and sticks that come and go."""

import runner
import setlib
from font import DEJAVU, Font
from png import Picture
from runner import AtOnce, cases
from sticks import Folder, Update, full_stick
from zelfac.sticks import COPY, CUSTOMER, write

RED = (252, 0, 0)
GREEN = (0, 252, 0)
BLACK = (0, 0, 0)


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


class Modes(AtOnce):
    @cases({"customer": (customer, 1), "copy": (copy, 3), "empty copy": (empty_copy, 3), "oem": (oem, 1)})
    def test_aging_becomes_an_update_when_the_stick_has_work(self, case):
        make, status = case
        with Folder() as folder, Update(make(folder), mode="2") as tv:
            self.assertEqual(tv.outcome(), (status, ""))
            self.assertEqual(tv.flash.get("ZelFacMode"), "0")
            self.assertNotIn("ZelGetFacAutoTestBurn", tv.output())

    @cases({"stick without work": nothing, "no stick": None})
    def test_aging_stays_aging(self, make):
        with Folder() as folder, Update(*([make(folder)] if make else []), mode="2") as tv:
            tv.await_output("ZelGetFacAutoTestBurn u32Count:0")
            self.assertEqual(tv.flash.get("ZelFacMode"), "2")
            self.assertNotIn(" ret1:", tv.output())

    def test_the_start_after_such_an_update_is_a_normal_one(self):
        with Folder() as folder:
            state = folder / "state"
            with Update(full_stick(folder / "stick", ["hdcp1"]), mode="2", state=state) as tv:
                tv.outcome()
            with setlib.Set(state=state) as tv:
                self.assertEqual(tv.await_end(), 0)
                self.assertIn("=========ZEL_FACMODE:0=========", tv.output())

    def test_the_power_key_ends_the_mode_and_reboots(self):
        with Folder() as folder, Update(full_stick(folder / "stick", ["hdcp1"])) as tv:
            tv.outcome()
            tv.press(70)
            tv.wait(who="flash", call="set", name="ZelFacMode", value="0", since=0)
            self.assertEqual(tv.await_end(), 0)  # restarted, without a mode


class PortCheck(AtOnce):
    def test_marked_sticks_are_counted_as_they_come_and_go(self):
        with Folder() as folder, setlib.Set() as tv:
            marked, bare = folder / "marked", folder / "bare"
            write(marked / "my USB.ZEL.txt", "")
            write(bare / "usb.zel", "")
            tv.await_started()
            for port in (1, 2, 3, 4):
                self.assertEqual(tv.zelline("usb", port).returncode, 1)
            tv.plug(bare)
            self.assertEqual(tv.zelline("usb", 1).returncode, 1)
            names = [tv.plug(marked, **how) for how in ({}, {"read_only": True}, {"name": "vu_x"}, {})]
            self.assertEqual(names, ["vu_sdb1", "vu_sdc1", "vu_x", "vu_sdd1"])
            plugged = [("vu_sda1", False), *((name, name == "vu_sdc1") for name in names)]
            self.assertEqual([(stick["name"], stick["readOnly"]) for stick in tv.plugged()], plugged)
            for port in (1, 2, 3, 4):
                self.assertEqual(tv.zelline("usb", port).returncode, 0)
            tv.unplug("vu_x")
            self.assertEqual(tv.zelline("usb", 3).returncode, 0)
            self.assertEqual(tv.zelline("usb", 4).returncode, 1)


def no_key(folder):
    stick = full_stick(folder / "stick", ["hdcp1", "mac"])
    (stick / CUSTOMER / "HDCP14KEY/HDCP14MTK9602_1.bin").unlink()
    return stick


def key_and_address(folder):
    return full_stick(folder / "stick", ["hdcp1", "mac"])


def bad_range(folder):
    return full_stick(folder / "stick", ["hdcp1", "mac"], addresses="no range")


def protected(folder):
    (folder / "stick").mkdir()
    (folder / "stick").chmod(0o555)
    return folder / "stick"


def bare(folder):
    write(folder / "stick" / "USB.ZEL", "")
    return folder / "stick"


# by the update's status: the stick, both lines and their colour
RESULTS = {
    "0": (no_key, "Update NG,", "Please check the files of the USB", RED),
    "1": (key_and_address, "Update Config OK", "Please unplug the USB and reboot to take effect", GREEN),
    "2": (bad_range, "Update NG:mac Err;", "Please check the files of the USB", RED),
    "3": (bare, "Copy Config OK", "Please unplug the USB and reboot", GREEN),
    "4": (protected, "Copy NG:Config.bin;", "Please check the config of the TV", RED),
}


class Screen(AtOnce):
    """The two lines of text: their colour, where they begin, and how wide they are."""

    def picture(self, tv, folder, name):
        return Picture(tv.screenshot(folder / f"{name}.png"))

    def lines(self, picture):
        """Box and colour of the two lines; the rest has to be black."""
        # The font's height is a 42nd of the width asked for, its pitch somewhat more.
        height = picture.width // 42
        rows = [y for y in range(picture.height) if picture.text_box(y, y + 1)]
        gap = max(range(1, len(rows)), key=lambda i: rows[i] - rows[i - 1], default=0)
        parts = [rows[:gap], rows[gap:]] if gap and rows[gap] - rows[gap - 1] > 3 else [rows] if rows else []
        lines = []
        for part in parts:
            box = picture.text_box(part[0], part[-1] + 1)
            colours = picture.colours(box[1], box[3], box[0], box[2])
            del colours[BLACK]
            lines.append((box, colours.most_common(1)[0][0]))
        self.assertTrue(not lines or lines[0][0][1] >= height, lines)
        return lines

    @cases(RESULTS)
    def test_the_result_of_an_update(self, case):
        make, first, second, colour = case
        with Folder() as folder, Update(make(folder), panel="640x360") as tv:

            def shown():
                return self.lines(self.picture(tv, folder, "now"))

            tv.await_true(lambda: [found for _, found in shown()] == [colour] * 2, f"two lines of the colour {colour}")
            boxes = [box for box, _ in shown()]
        height = 640 // 42
        for text, box in zip((first, second), boxes):
            self.assertTrue(height <= box[0] <= height + 8, (text, box))
            width = Font(DEJAVU).width(text, height)
            self.assertAlmostEqual(box[2] - box[0], width, delta=width * 0.02 + height / 2, msg=text)
        self.assertLessEqual(abs((boxes[1][1] - boxes[0][1]) - height), height // 2)


if __name__ == "__main__":
    runner.main()
