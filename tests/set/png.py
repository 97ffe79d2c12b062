"""Reads the pictures that `simset ctl screenshot` takes: PNG, 8 bits, RGB or RGBA, not interlaced."""

import collections
import pathlib
import struct
import zlib


class Picture:
    def __init__(self, path):
        data = pathlib.Path(path).read_bytes()
        if data[:8] != b"\x89PNG\r\n\x1a\n":
            raise ValueError(f"{path} is no PNG")
        at, packed = 8, b""
        while at < len(data):
            size, kind = struct.unpack(">I4s", data[at : at + 8])
            body = data[at + 8 : at + 8 + size]
            if kind == b"IHDR":
                self.width, self.height, depth, colour, _, _, interlace = struct.unpack(">IIBBBBB", body)
                if depth != 8 or colour not in (2, 6) or interlace:
                    raise ValueError(f"{path}: depth {depth}, colour type {colour}, interlace {interlace}")
                self.bytes_per_pixel = 3 if colour == 2 else 4
            elif kind == b"IDAT":
                packed += body
            at += size + 12
        self.rows = self._unfilter(zlib.decompress(packed))

    def _unfilter(self, raw):
        step, length = self.bytes_per_pixel, self.width * self.bytes_per_pixel
        rows, above = [], bytearray(length)
        for y in range(self.height):
            kind = raw[y * (length + 1)]
            row = bytearray(raw[y * (length + 1) + 1 : (y + 1) * (length + 1)])
            if kind == 2 and not any(above):
                kind = 0  # by far the most common, and no work
            if kind:
                for x in range(length):
                    left = row[x - step] if x >= step else 0
                    corner = above[x - step] if x >= step else 0
                    if kind == 1:
                        guess = left
                    elif kind == 2:
                        guess = above[x]
                    elif kind == 3:
                        guess = (left + above[x]) // 2
                    else:
                        guess = min(
                            (left, above[x], corner), key=lambda value: abs(left + above[x] - corner - value)
                        )
                    row[x] = (row[x] + guess) & 0xFF
            rows.append(row)
            above = row
        return rows

    def pixel(self, x, y):
        at = x * self.bytes_per_pixel
        return tuple(self.rows[y][at : at + 3])

    def colours(self, top, bottom, left=0, right=None):
        """How often each colour occurs in that part."""
        right = self.width if right is None else right
        return collections.Counter(self.pixel(x, y) for y in range(top, bottom) for x in range(left, right))

    def text_box(self, top, bottom, background=(0, 0, 0)):
        """Left, top, right and bottom of what is not background between two rows; None when nothing is."""
        step, blank = self.bytes_per_pixel, bytes(background)
        columns, lines = [], []
        for y in range(top, bottom):
            row = self.rows[y]
            inked = [x for x in range(self.width) if row[x * step : x * step + 3] != blank] if any(row) else []
            if inked:
                lines.append(y)
                columns += [inked[0], inked[-1]]
        return (min(columns), lines[0], max(columns) + 1, lines[-1] + 1) if lines else None
