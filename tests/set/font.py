"""How wide a text is in a TrueType font."""

import pathlib
import struct

DEJAVU = pathlib.Path("/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf")


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
