"""The panel: a set with one, what stands on its picture, and keys typed into its window."""

import ctypes
import ctypes.util
import pathlib
import time

from font import DEJAVU, Font
from png import Picture
from runner import AtOnce
from setlib import Set

BLACK, WHITE = (0, 0, 0), (255, 255, 255)
TEXT = (252, 252, 252)
MANAGER_TEXT = (180, 200, 255)
MANAGER_BAND = (0, 0, 37)  # 60 at an opacity of 160, with nothing behind it


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
        return Picture(self.screenshot(self.folder / "panel.png"))

    def await_beat(self, number):
        """Waits for the aging line that comes as the `number`th, from 1."""
        self.await_output("u32Count:", number)
        return time.monotonic()


class PanelTest(AtOnce):
    def check_row(self, picture, height, row, text, colour, column=1, background=BLACK):
        """A row of text stands at its place, in its colour, in the right size and font."""
        top, bottom = row * height, (row + 1) * height
        box = picture.text_box(top, bottom, background)
        self.assertIsNotNone(box, text)
        # Its letters hang below the row's upper edge, not more than accents need.
        self.assertGreaterEqual(box[1], top + height // 10)
        self.assertLessEqual(box[1], top + height // 3)
        self.assertAlmostEqual(box[0], column * height, delta=height // 8)
        width = Font(DEJAVU).width(text, picture.width // 42)
        self.assertAlmostEqual(box[2] - column * height, width, delta=width * 0.02 + height / 8, msg=text)
        colours = picture.colours(top, bottom)
        del colours[background]
        self.assertEqual(colours.most_common(1)[0][0], colour, text)
        if colour == TEXT:
            # Between text and background there is nothing but shades of the text.
            self.assertEqual([c for c in colours if len(set(c)) != 1 or c[0] > colour[0]], [])

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
        tv.am(":am,ui,a1:band=1")
        tv.await_output("s_comment:band\n")
        return self.height_by_band(tv.picture())

    def check_manager_line(self, tv):
        tv.am(":am,ui,a1:hello=world")
        line = "[APP-DEMO][2][recvCmd]s_ack:a1,s_name:world,s_comment:hello"
        tv.await_output(line + "\n")
        picture = tv.picture()
        height = self.height_by_band(picture)
        self.check_row(picture, height, 5, line, MANAGER_TEXT, 0, MANAGER_BAND)
        return height
