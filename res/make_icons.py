#!/usr/bin/env python3
"""Draws quovane.ico (a team of ports) and adapter.ico (one port) into this folder.

Every size has its own measurements, in whole pixels, because a port that is merely scaled down
loses its contacts. Needs nothing but Python's standard library:

    python3 make_icons.py            writes the two .ico files
    python3 make_icons.py --png DIR  also writes every size as a PNG, to look at
"""

import pathlib
import struct
import sys
import zlib
from typing import NamedTuple

# The adapter is shown through an image list of 16 colours with a one-bit mask: its flat colours are
# of the system's 16-colour palette, and the flat sizes have no half-transparent pixel. They are
# stored with 16 colours: Windows chooses by size first.
TEAL = (0x00, 0x80, 0x80)
BLACK = (0x00, 0x00, 0x00)
GOLD = (0xFF, 0xFF, 0x00)
LIME = (0x00, 0xFF, 0x00)
BLUE = (0x2F, 0x62, 0xC8)
GREY = (0x70, 0x7C, 0x84)
RICH_TEAL = ((0x1C, 0xA3, 0xA0), (0x00, 0x6B, 0x6E))
RICH_BLUE = ((0x4A, 0x7B, 0xD8), (0x1B, 0x3F, 0x96))
RICH_BLACK = ((0x18, 0x22, 0x28), (0x18, 0x22, 0x28))
RICH_GREY = ((0x8A, 0x96, 0x9E), (0x6A, 0x76, 0x7E))
RICH_GOLD = ((0xFF, 0xDF, 0x6B), (0xE0, 0xA8, 0x1E))
RICH_LIME = ((0x9C, 0xFF, 0x7A), (0x3E, 0xD0, 0x3A))

RICH = {TEAL: RICH_TEAL, BLUE: RICH_BLUE, BLACK: RICH_BLACK, GREY: RICH_GREY, GOLD: RICH_GOLD,
        LIME: RICH_LIME}
FIRST_RICH_SIZE = 48
FIRST_PNG_SIZE = 64  # Windows XP reads the smaller entries, which are bitmaps.
TEAM_SIZES = (16, 20, 24, 32, 40, 48, 64, 256)
ADAPTER_SIZES = (16, 20, 24, 32, 40, 48)  # shown as a small icon only
SAMPLES = 4


class Canvas:
    def __init__(self, size, rich):
        self.size = size
        self.rich = rich
        self.pixels = [[(0.0, 0.0, 0.0, 0.0)] * size for _ in range(size)]

    def box(self, x, y, width, height, colour, radius=0):
        """A rectangle, its corners rounded; colour runs from top to bottom in the large sizes."""
        top, bottom = RICH[colour] if self.rich else (colour, colour)
        for row in range(y, y + height):
            share = (row - y) / max(height - 1, 1)
            shade = tuple(a + (b - a) * share for a, b in zip(top, bottom))
            for column in range(x, x + width):
                cover = self._coverage(column - x, row - y, width, height, radius)
                if not self.rich:
                    cover = 1.0 if cover > 0.5 else 0.0
                if cover:
                    self._blend(column, row, shade, cover)

    @staticmethod
    def _coverage(column, row, width, height, radius):
        if radius <= column < width - radius or radius <= row < height - radius:
            return 1.0
        inside = 0
        for i in range(SAMPLES * SAMPLES):
            px = column + (i % SAMPLES + 0.5) / SAMPLES
            py = row + (i // SAMPLES + 0.5) / SAMPLES
            dx = max(radius - px, px - (width - radius))
            dy = max(radius - py, py - (height - radius))
            inside += dx * dx + dy * dy <= radius * radius
        return inside / (SAMPLES * SAMPLES)

    def _blend(self, x, y, shade, cover):
        red, green, blue, under = self.pixels[y][x]
        alpha = cover + under * (1 - cover)
        mix = [(new * cover + old * under * (1 - cover)) / alpha
               for new, old in zip(shade, (red, green, blue))]
        self.pixels[y][x] = (*mix, alpha)

    def rgba_rows(self):
        for row in self.pixels:
            yield [tuple(round(c) for c in pixel[:3]) + (round(pixel[3] * 255),) for pixel in row]


class Port(NamedTuple):
    """Measurements of a socket seen from the front, in pixels from its own corner."""

    side: int
    radius: int
    mouth: tuple  # x, y, width, height of the opening
    steps: tuple  # (x, width, height) of the narrower parts above it, where the latch goes
    pins: tuple  # first x, width, distance, count, height: the contacts, along the mouth's bottom
    lamps: tuple  # x of each lamp, y, width, height; no x, no lamps


PORTS = {port.side: port for port in (
    Port(7, 1, (1, 2, 5, 4), ((2, 3, 1),), (2, 1, 2, 2, 2), ((), 0, 0, 0)),
    Port(8, 1, (1, 3, 6, 4), ((2, 4, 1),), (2, 1, 3, 2, 2), ((), 0, 0, 0)),
    Port(10, 2, (2, 4, 6, 4), ((3, 4, 2),), (3, 1, 3, 2, 2), ((), 0, 0, 0)),
    Port(14, 2, (2, 6, 10, 5), ((4, 6, 2), (5, 4, 1)), (3, 2, 3, 3, 3), ((2, 10), 2, 2, 2)),
    Port(18, 3, (2, 8, 14, 6), ((5, 8, 2), (7, 4, 2)), (4, 2, 4, 3, 4), ((3, 12), 3, 3, 2)),
    Port(21, 3, (3, 9, 15, 7), ((6, 9, 2), (8, 5, 3)), (5, 1, 2, 6, 4), ((3, 15), 4, 3, 2)),
    Port(22, 3, (3, 9, 16, 8), ((6, 10, 2), (8, 6, 3)), (4, 2, 4, 4, 4), ((3, 16), 4, 3, 2)),
    Port(28, 4, (4, 13, 20, 9), ((7, 14, 3), (10, 8, 4)), (7, 2, 4, 4, 5), ((4, 20), 6, 4, 3)),
    Port(36, 4, (5, 16, 26, 12), ((9, 18, 4), (13, 10, 5)), (7, 2, 4, 6, 6), ((5, 26), 7, 5, 3)),
    Port(42, 5, (6, 18, 30, 15), ((11, 20, 4), (15, 12, 6)), (10, 2, 4, 6, 7), ((6, 31), 8, 5, 4)),
    Port(112, 14, (16, 50, 80, 40), ((28, 56, 12), (40, 32, 16)), (22, 5, 9, 8, 20),
         ((16, 80), 22, 16, 10)),
)}


def draw_port(canvas, side, x, y, colour):
    port = PORTS[side]
    canvas.box(x, y, side, side, colour, port.radius)
    mouth_x, mouth_y, width, height = port.mouth
    canvas.box(x + mouth_x, y + mouth_y, width, height, BLACK)
    step_y = mouth_y
    for step_x, step_width, step_height in port.steps:
        step_y -= step_height
        canvas.box(x + step_x, y + step_y, step_width, step_height, BLACK)
    first, pin_width, distance, count, pin_height = port.pins
    for i in range(count):
        canvas.box(x + first + i * distance, y + mouth_y + height - pin_height, pin_width,
                   pin_height, GOLD)
    columns, lamp_y, lamp_width, lamp_height = port.lamps
    for lamp_x in columns:
        canvas.box(x + lamp_x, y + lamp_y, lamp_width, lamp_height, LIME)


def draw_adapter(size):
    canvas = Canvas(size, rich=False)
    side = {16: 14, 20: 18, 24: 22, 32: 28, 40: 36, 48: 42}[size]
    draw_port(canvas, side, (size - side) // 2, (size - side) // 2, TEAL)
    return canvas


class Team(NamedTuple):
    """The virtual port above, two physical ports below, and the cable that joins them."""

    side: int
    left: int  # x of the left port
    right: int
    top: int  # x of the virtual port
    bottom: int  # y of the physical ports
    cable: int  # thickness


TEAMS = {
    16: Team(7, 0, 8, 4, 9, 1),
    20: Team(8, 1, 11, 6, 12, 2),
    24: Team(10, 1, 13, 7, 14, 2),
    32: Team(14, 1, 17, 9, 18, 2),
    40: Team(18, 1, 21, 11, 22, 2),
    48: Team(21, 2, 25, 13, 27, 3),
    64: Team(28, 2, 34, 18, 36, 4),
    256: Team(112, 8, 136, 72, 144, 16),
}


def draw_team(size):
    canvas = Canvas(size, rich=size >= FIRST_RICH_SIZE)
    team = TEAMS[size]
    middle = (team.side - team.cable) // 2
    gap = team.bottom - team.side
    bar = team.side + (gap - team.cable) // 2
    canvas.box(team.top + middle, team.side, team.cable, bar - team.side, GREY)
    canvas.box(team.left + middle, bar, team.right - team.left + team.cable, team.cable, GREY)
    for x in (team.left, team.right):
        canvas.box(x + middle, bar, team.cable, team.bottom - bar, GREY)
        draw_port(canvas, team.side, x, team.bottom, TEAL)
    draw_port(canvas, team.side, team.top, 0, BLUE)
    return canvas


def filtered(rows, kind):
    """The bytes of each row less those to the left (1) or above (2), or as they are (0)."""
    above = bytes(len(rows[0]))
    for row in rows:
        before = {0: bytes(len(row)), 1: bytes(4) + row[:-4], 2: above}[kind]
        yield bytes([kind]) + bytes((a - b) % 256 for a, b in zip(row, before))
        above = row


def png(canvas):
    def chunk(kind, body):
        return (struct.pack(">I", len(body)) + kind + body
                + struct.pack(">I", zlib.crc32(kind + body)))

    # What cannot be seen has no colour.
    rows = [bytes(c if pixel[3] else 0 for pixel in row for c in pixel)
            for row in canvas.rgba_rows()]
    data = min((zlib.compress(b"".join(filtered(rows, kind)), 9) for kind in range(3)), key=len)
    header = struct.pack(">IIBBBBB", canvas.size, canvas.size, 8, 6, 0, 0, 0)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", data)
            + chunk(b"IEND", b""))


def bitmap(canvas):
    """An icon bitmap from the bottom up: 16 colours where they are enough, else colours with alpha;
    then the one-bit mask. Returns the bits of a pixel and the bitmap."""
    size = canvas.size
    rows = list(reversed(list(canvas.rgba_rows())))
    clear = (0, 0, 0, 0)
    palette = sorted({pixel if pixel[3] else clear for row in rows for pixel in row})
    flat = len(palette) <= 16 and all(pixel[3] in (0, 255) for pixel in palette)
    depth = 4 if flat else 32
    table, colours, mask = b"", b"", b""
    if flat:
        table = b"".join(bytes((b, g, r, 0)) for r, g, b, _ in palette).ljust(16 * 4, b"\0")
    for row in rows:
        if flat:
            colours += packed([palette.index(p if p[3] else clear) for p in row], 4)
        else:
            colours += bytes(c for r, g, b, a in row for c in (b, g, r, a))
        mask += packed([int(pixel[3] < 128) for pixel in row], 1)
    header = struct.pack("<IiiHHIIiiII", 40, size, 2 * size, 1, depth, 0, len(colours) + len(mask),
                         0, 0, 0, 0)
    return depth, header + table + colours + mask


def packed(numbers, bits):
    """A row of a bitmap: numbers of so many bits, filled up to four bytes."""
    size = (len(numbers) * bits + 31) // 32 * 4
    value = 0
    for number in numbers:
        value = value << bits | number
    return (value << (size * 8 - len(numbers) * bits)).to_bytes(size, "big")


def ico(canvases):
    images = [(32, png(c)) if c.size >= FIRST_PNG_SIZE else bitmap(c) for c in canvases]
    offset = 6 + 16 * len(images)
    directory = struct.pack("<HHH", 0, 1, len(images))
    for canvas, (depth, image) in zip(canvases, images):
        side = canvas.size % 256  # 0 stands for 256
        colours = 16 if depth == 4 else 0
        directory += struct.pack("<BBBBHHII", side, side, colours, 0, 1, depth, len(image), offset)
        offset += len(image)
    return directory + b"".join(image for _, image in images)


def main():
    here = pathlib.Path(__file__).resolve().parent
    previews = pathlib.Path(sys.argv[2]) if sys.argv[1:2] == ["--png"] else None
    for name, draw, sizes in (("quovane", draw_team, TEAM_SIZES),
                              ("adapter", draw_adapter, ADAPTER_SIZES)):
        canvases = [draw(size) for size in sizes]
        (here / f"{name}.ico").write_bytes(ico(canvases))
        if previews:
            for canvas in canvases:
                (previews / f"{name}-{canvas.size}.png").write_bytes(png(canvas))


if __name__ == "__main__":
    main()
