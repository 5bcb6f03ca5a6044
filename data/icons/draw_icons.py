#!/usr/bin/env python3
"""Draws the logo (vyr.bmp), the window icon (morvaneicon.ico) and its PNG. Run it in this folder."""
import struct
import zlib

SAMPLES = 4  # in each direction, for smooth edges

# Strokes of the letters V, Y, R in a box of 3 by 1: from (x, y) to (x, y), y downwards.
STROKES = [
    ((0.05, 0.0), (0.45, 1.0)), ((0.45, 1.0), (0.85, 0.0)),
    ((1.05, 0.0), (1.45, 0.5)), ((1.45, 0.5), (1.85, 0.0)), ((1.45, 0.5), (1.45, 1.0)),
    ((2.15, 1.0), (2.15, 0.0)), ((2.15, 0.0), (2.65, 0.0)), ((2.65, 0.0), (2.85, 0.25)),
    ((2.85, 0.25), (2.65, 0.5)), ((2.65, 0.5), (2.15, 0.5)), ((2.45, 0.5), (2.85, 1.0)),
]
# A tape's M for the icon, in a box of 1 by 1.
ICON = [((0.0, 1.0), (0.0, 0.0)), ((0.0, 0.0), (0.5, 0.6)), ((0.5, 0.6), (1.0, 0.0)),
        ((1.0, 0.0), (1.0, 1.0))]


def near(stroke, x, y, width):
    (ax, ay), (bx, by) = stroke
    dx, dy = bx - ax, by - ay
    along = max(0.0, min(1.0, ((x - ax) * dx + (y - ay) * dy) / (dx * dx + dy * dy)))
    return (x - ax - along * dx) ** 2 + (y - ay - along * dy) ** 2 <= width * width


def draw(width, height, strokes, box, thick, ink, paper):
    """Rows from the top, each of (b, g, r, a)."""
    scale = min(width * 0.6 / box, height * 0.4)
    left, top = (width - box * scale) / 2, (height - scale) / 2
    rows = []
    for j in range(height):
        shade = 1.0 - 0.5 * j / height
        row = []
        for i in range(width):
            hit = 0
            for s in range(SAMPLES * SAMPLES):
                x = (i + (s % SAMPLES + 0.5) / SAMPLES - left) / scale
                y = (j + (s // SAMPLES + 0.5) / SAMPLES - top) / scale
                hit += any(near(stroke, x, y, thick) for stroke in strokes)
            part = hit / (SAMPLES * SAMPLES)
            row.append(tuple(round(p * shade * (1 - part) + k * part)
                             for k, p in zip(ink, paper)) + (255,))
        rows.append(row)
    return rows


def pixels(rows):
    return b"".join(bytes(v for pixel in row for v in pixel) for row in reversed(rows))


def bmp(rows):
    body = pixels(rows)
    offset = 512  # a sector
    head = struct.pack("<2sIHHI", b"BM", offset + len(body), 0, 0, offset)
    head += struct.pack("<IiiHHIIiiII", 40, len(rows[0]), len(rows), 1, 32, 0, len(body), 0, 0, 0, 0)
    return head.ljust(offset, b"\0") + body


def png(rows):
    def chunk(kind, data):
        return (struct.pack(">I", len(data)) + kind + data +
                struct.pack(">I", zlib.crc32(kind + data)))
    raw = b"".join(b"\0" + bytes(v for b, g, r, a in row for v in (r, g, b, a)) for row in rows)
    return (b"\x89PNG\r\n\x1a\n" +
            chunk(b"IHDR", struct.pack(">IIBBBBB", len(rows[0]), len(rows), 8, 6, 0, 0, 0)) +
            chunk(b"IDAT", zlib.compress(raw, 9)) + chunk(b"IEND", b""))


def ico(image, size):
    head = struct.pack("<HHH", 0, 1, 1)
    return head + struct.pack("<BBBBHHII", size, size, 0, 0, 1, 32, len(image), 22) + image


def main():
    ink, paper = (230, 214, 198), (70, 52, 38)
    with open("vyr.bmp", "wb") as out:
        out.write(bmp(draw(256, 144, STROKES, 3, 0.09, ink, paper)))
    paper = (130, 92, 60)
    with open("morvane.png", "wb") as out:
        out.write(png(draw(256, 256, ICON, 1, 0.16, ink, paper)))
    with open("morvaneicon.ico", "wb") as out:
        out.write(ico(png(draw(64, 64, ICON, 1, 0.16, ink, paper)), 64))


main()
