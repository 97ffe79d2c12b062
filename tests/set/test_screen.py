"""What the panel shows: places, sizes and colours, pixel by pixel."""

import ctypes
import ctypes.util
import pathlib
import re
import struct
import time
import unittest

import setlib
from png import Picture
from setlib import Set, status
from sticks import in_parallel

FONT = pathlib.Path("/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf")
BLACK, WHITE = (0, 0, 0), (255, 255, 255)
TEXT = (252, 252, 252)
MANAGER_TEXT = (180, 200, 255)
MANAGER_BAND = (0, 0, 37)  # 60 at an opacity of 160, with nothing behind it
AGING = [(0, 0, 0), (0, 0, 255), (0, 255, 0), (255, 0, 0), (255, 250, 250)]
BEAT = 2


class Font:
    """The advance widths of a TrueType font's Latin letters, from its own tables."""

    def __init__(self, path):
        self.data = path.read_bytes()
        count = struct.unpack_from(">H", self.data, 4)[0]
        self.tables = {
            self.data[at : at + 4]: struct.unpack_from(">I", self.data, at + 8)[0] for at in range(12, 12 + 16 * count, 16)
        }
        self.units = struct.unpack_from(">H", self.data, self.tables[b"head"] + 18)[0]
        self.metrics = struct.unpack_from(">H", self.data, self.tables[b"hhea"] + 34)[0]
        cmap = self.tables[b"cmap"]
        for index in range(struct.unpack_from(">H", self.data, cmap + 2)[0]):
            platform, encoding, offset = struct.unpack_from(">HHI", self.data, cmap + 4 + 8 * index)
            if (platform, encoding) == (3, 1):
                self.map = cmap + offset
        assert struct.unpack_from(">H", self.data, self.map)[0] == 4

    def glyph(self, character):
        code = ord(character)
        double = struct.unpack_from(">H", self.data, self.map + 6)[0]
        for at in range(self.map + 14, self.map + 14 + double, 2):
            if struct.unpack_from(">H", self.data, at)[0] < code:
                continue
            start, delta, offset = (
                struct.unpack_from(">H", self.data, at + 2 + skip * double)[0] for skip in (1, 2, 3)
            )
            if offset == 0:
                return (code + delta) & 0xFFFF
            place = at + 2 + 3 * double + offset + 2 * (code - start)
            return (struct.unpack_from(">H", self.data, place)[0] + delta) & 0xFFFF
        raise KeyError(character)

    def width(self, text, height):
        """Width in pixels at a font height in pixels."""
        total = 0
        for character in text:
            glyph = min(self.glyph(character), self.metrics - 1)
            total += struct.unpack_from(">H", self.data, self.tables[b"hmtx"] + 4 * glyph)[0]
        return total * height / self.units


class XKeyEvent(ctypes.Structure):
    _fields_ = [
        ("type", ctypes.c_int), ("serial", ctypes.c_ulong), ("send_event", ctypes.c_int), ("display", ctypes.c_void_p),
        ("window", ctypes.c_ulong), ("root", ctypes.c_ulong), ("subwindow", ctypes.c_ulong), ("time", ctypes.c_ulong),
        ("x", ctypes.c_int), ("y", ctypes.c_int), ("x_root", ctypes.c_int), ("y_root", ctypes.c_int),
        ("state", ctypes.c_uint), ("keycode", ctypes.c_uint), ("same_screen", ctypes.c_int),
        ("room", ctypes.c_char * 128),  # an XEvent is larger
    ]


def type_key(display_name, code):
    """A key press in every window of an X display, as its keyboard would send it."""
    library = ctypes.CDLL(ctypes.util.find_library("X11"))
    library.XOpenDisplay.restype = ctypes.c_void_p
    library.XDefaultRootWindow.restype = ctypes.c_ulong
    library.XFree.argtypes = [ctypes.c_void_p]
    display = ctypes.c_void_p(library.XOpenDisplay(display_name.encode()))
    assert display, display_name
    root = ctypes.c_ulong(library.XDefaultRootWindow(display))
    above, parent, count = ctypes.c_ulong(), ctypes.c_ulong(), ctypes.c_uint()
    windows = ctypes.POINTER(ctypes.c_ulong)()
    library.XQueryTree(
        display, root, ctypes.byref(above), ctypes.byref(parent), ctypes.byref(windows), ctypes.byref(count)
    )
    for window in windows[: count.value]:
        for kind, mask in ((2, 1), (3, 2)):  # pressed, released
            event = XKeyEvent(type=kind, display=display, window=window, root=root.value, keycode=code, same_screen=1)
            library.XSendEvent(display, ctypes.c_ulong(window), 0, ctypes.c_long(mask), ctypes.byref(event))
    library.XFree(windows)
    library.XCloseDisplay(display)
    return count.value


class PanelSet(Set):
    def display(self):
        """The X display that the application draws on."""
        environment = pathlib.Path(f"/proc/{self.ready['pid']}/environ").read_bytes().split(b"\0")
        return next(entry[8:].decode() for entry in environment if entry.startswith(b"DISPLAY="))

    def picture(self):
        path = self.folder / "panel.png"
        self.ctl("screenshot", path)
        return Picture(path)

    def await_beat(self, number):
        """Waits for the aging line that comes as the `number`th, from 1."""
        self.await_true(lambda: self.output().count("u32Count:") >= number, f"beat {number}", 30)
        return time.monotonic()


class Screen(unittest.TestCase):
    def test_all(self):
        names = [name for name in dir(self) if name.startswith("screen_")]
        failed = in_parallel(names, lambda name: getattr(self, name)(), len(names))
        self.assertEqual([(name, str(error)) for name, error in failed], [])

    def check_row(self, picture, height, row, text, colour, column=1, background=BLACK):
        """A row of text stands at its place, in its colour, in the right size and font."""
        top, bottom = row * height, (row + 1) * height
        box = picture.text_box(top, bottom, background)
        self.assertIsNotNone(box, text)
        # Its letters hang below the row's upper edge, not more than accents need.
        self.assertGreaterEqual(box[1], top + height // 10)
        self.assertLessEqual(box[1], top + height // 3)
        self.assertAlmostEqual(box[0], column * height, delta=height // 8)
        width = Font(FONT).width(text, picture.width // 42)
        self.assertAlmostEqual(box[2] - column * height, width, delta=width * 0.02 + height / 8, msg=text)
        colours = picture.colours(top, bottom)
        del colours[background]
        self.assertEqual(colours.most_common(1)[0][0], colour, text)
        if colour == TEXT:
            # Between text and background there is nothing but shades of the text.
            self.assertEqual([c for c in colours if len(set(c)) != 1 or c[0] > colour[0]], [])

    def check_records(self, picture, height, serial, test_result):
        rows = [f"PCB SN     : {serial}".rstrip(), f"Test Result: {test_result}".rstrip()]
        for index, text in enumerate(rows):
            self.check_row(picture, height, index + 1, text, TEXT)
        for top, bottom in ((0, height), (3 * height, picture.height)):
            self.assertIsNone(picture.text_box(top, bottom), (top, bottom))

    def height_by_band(self, picture):
        """The font's height by the band behind a line of the manager's, which lies at five times that height."""
        edge = picture.width - 1
        rows = [y for y in range(picture.height) if picture.pixel(edge, y) == MANAGER_BAND]
        height = len(rows)
        self.assertEqual(rows, list(range(5 * height, 6 * height)))
        # A font of a height has lines somewhat further apart than that.
        self.assertGreaterEqual(height, picture.width // 42)
        self.assertLessEqual(height, picture.width // 42 * 1.3)
        return height

    def check_height(self, tv):
        tv.ctl("am", ":am,ui,a1:band=1")
        tv.await_output("s_comment:band\n")
        return self.height_by_band(tv.picture())

    def check_manager_line(self, tv):
        tv.ctl("am", ":am,ui,a1:hello=world")
        line = "[APP-DEMO][2][recvCmd]s_ack:a1,s_name:world,s_comment:hello"
        tv.await_output(line + "\n")
        picture = tv.picture()
        height = self.height_by_band(picture)
        self.check_row(picture, height, 5, line, MANAGER_TEXT, 0, MANAGER_BAND)
        return height

    def factory(self, panel):
        """Empty records, a line of the manager's, new records, and the records at the next start."""
        with PanelSet(panel=panel) as tv:
            tv.await_started()
            first = tv.picture()
            height = self.check_manager_line(tv)
            self.assertEqual(f"{first.width}x{first.height}", panel)
            self.check_records(first, height, "", "")
            tv.line.connect()
            self.assertEqual(tv.line.ask(0x1274, b"PCB-0123456789"), status(0x1274, 0))

            def shown(text, row):
                box = tv.picture().text_box(row * height, (row + 1) * height)
                return box[2] - height > Font(FONT).width(text, first.width // 42) * 0.97

            # The loop looks every 10 s.
            tv.await_true(lambda: shown("PCB SN     : PCB-0123456789", 1), "the serial number", 16)
            drawn = time.monotonic()
            self.check_records(tv.picture(), height, "PCB-0123456789", "")  # the manager's line is gone
            # Nobody touches the set: the loop rests for 30 s.
            self.assertEqual(tv.line.ask(0x1298, b"PASS 1"), status(0x1298, 0))
            tv.await_true(lambda: shown("Test Result: PASS 1", 2), "the test result", 40)
            self.assertGreater(time.monotonic() - drawn, 25)
            self.check_records(tv.picture(), height, "PCB-0123456789", "PASS 1")
            tv.stop()
            tv.start()
            tv.await_started()
            self.check_records(tv.picture(), height, "PCB-0123456789", "PASS 1")

    def screen_factory_1920(self):
        self.factory("1920x1080")

    def screen_factory_1280(self):
        self.factory("1280x720")

    def screen_after_a_key_in_the_window(self):
        """An input event ends the wait behind a redraw: the next look is 10 s later, not 30."""
        with PanelSet(panel="640x360") as tv:
            tv.await_started()
            tv.line.connect()
            height = self.check_height(tv)
            empty = {row: tv.picture().text_box(row * height, (row + 1) * height) for row in (1, 2)}

            def changed(row):
                return tv.picture().text_box(row * height, (row + 1) * height) != empty[row]

            self.assertGreater(type_key(tv.display(), 36), 0)
            self.assertEqual(tv.line.ask(0x1274, b"PCB-0123456789"), status(0x1274, 0))
            tv.await_true(lambda: changed(1), "the serial number", 16)
            drawn = time.monotonic()
            self.assertFalse(changed(2))
            self.assertEqual(tv.line.ask(0x1298, b"PASS 1"), status(0x1298, 0))
            tv.await_true(lambda: changed(2), "the test result", 40)
            self.assertLess(time.monotonic() - drawn, 20)

    def screen_aging(self):
        with PanelSet("--mode", "2", panel="1920x1080") as tv:
            line = "[APP-DEMO][2][onPause]s_ack:a1,s_name:world,s_comment:NULL"
            beats = [tv.await_beat(1)]
            height = int(re.search(r"layer_config.width:1920 layer_config.height:1080 fontheight:(\d+)", tv.output())[1])
            shots = {}
            for number in range(1, 2 * len(AGING) + 1):
                time.sleep(0.3)
                path = tv.folder / f"aging-{number}.png"
                tv.ctl("screenshot", path)
                if time.monotonic() - beats[-1] < BEAT - 0.2:  # else the next beat may be on it
                    shots[number] = path
                beats.append(tv.await_beat(number + 1))
            for earlier, later in zip(beats, beats[1:]):
                self.assertAlmostEqual(later - earlier, BEAT, delta=0.7)
            self.assertAlmostEqual((beats[-1] - beats[0]) / (len(beats) - 1), BEAT, delta=0.15)
            counts = re.findall(r"ZelGetFacAutoTestBurn u32Count:(\d) \n", tv.output())
            self.assertEqual([int(count) for count in counts[: len(beats)]], [n % 5 for n in range(len(beats))])

            for _ in range(3):
                beat = tv.await_beat(tv.output().count("u32Count:") + 1)
                # A line of the manager's: over white, until the next beat.
                heard = tv.output().count(line)
                tv.ctl("am", ":am,ui,a1:pause=world")
                tv.await_true(lambda: tv.output().count(line) > heard, line)
                tv.ctl("screenshot", tv.folder / "line.png")
                if time.monotonic() - beat < BEAT - 0.2:
                    break
            tv.await_beat(tv.output().count("u32Count:") + 1)
            time.sleep(0.3)
            tv.ctl("screenshot", tv.folder / "after.png")

            # What was seen, looked at when nothing is in a hurry any more.
            self.assertEqual({(number - 1) % len(AGING) for number in shots}, set(range(len(AGING))))
            for number, path in shots.items():
                picture = Picture(path)
                self.assertEqual({bytes(row) for row in picture.rows}, {bytes(picture.rows[0])})
                self.assertEqual(set(picture.colours(0, 1)), {AGING[(number - 1) % len(AGING)]})
            picture = Picture(tv.folder / "line.png")
            self.assertEqual(set(picture.colours(0, 5 * height)), {WHITE})
            self.assertEqual(set(picture.colours(6 * height, picture.height)), {WHITE})
            self.check_row(picture, height, 5, line, MANAGER_TEXT, 0, WHITE)
            self.assertIn(Picture(tv.folder / "after.png").pixel(0, 5 * height), AGING)

    def screen_without_a_mode(self):
        with PanelSet("--mode", "none", panel="1280x720") as tv:
            tv.await_output("am client thread start")
            time.sleep(1)
            self.assertEqual(set(tv.picture().colours(0, 720)), {BLACK})


if __name__ == "__main__":
    setlib.main()
