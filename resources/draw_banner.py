#!/usr/bin/env python3
"""Draws banner.bmp, the picture at the top of the settings editor.

usage: resources/draw_banner.py [--check]
  --check   write nothing: exit with 1 unless banner.bmp is what would be drawn

The picture shows the codec's name and a film whose every frame is whole in itself: the same view,
coded ever more finely from frame to frame. Needs nothing but Python; draws the same bytes
everywhere, as it only adds, multiplies, divides and takes square roots.
"""

import math
import pathlib
import struct
import sys

# The control's size in pixels where a dialog unit is 1.5 x 1.625 pixels, as at 96 dots per inch.
WIDTH, HEIGHT = 366, 52
SAMPLES = 4  # per pixel and direction
MOST_COLOURS = 256

DARK, BRIGHT = (17, 38, 74), (38, 110, 142)  # the ground, left and right
FILM = (12, 20, 34)
PERFORATION = (222, 230, 236)
LETTERS = (255, 255, 255)

STROKE = 4.6
# Strokes of the letters as lines between points, in pixels.
STROKES = [
    # I
    ((50, 14), (50, 37)),
    # V
    ((60, 14), (69, 37)), ((69, 37), (78, 14)),
    # M
    ((88, 37), (88, 14)), ((88, 14), (98, 31)), ((98, 31), (108, 14)), ((108, 14), (108, 37)),
    # the tail of the Q
    ((30, 30), (38, 38.5)),
]
Q_CENTRE, Q_RADIUS = (26.5, 25.5), 11.5

FILM_LEFT = 126
FRAME_WIDTH, FRAME_TOP, FRAME_HEIGHT = 44, 10, 32
FRAME_PITCH = 48
BLOCKS = (16, 8, 4, 2, 1)  # side of a block in the frames, in pixels: from coarse to fine


def mix(a, b, share):
    return tuple(x + (y - x) * share for x, y in zip(a, b))


def distance_to_line(x, y, line):
    (x0, y0), (x1, y1) = line
    dx, dy = x1 - x0, y1 - y0
    along = ((x - x0) * dx + (y - y0) * dy) / (dx * dx + dy * dy)
    along = min(1.0, max(0.0, along))
    return math.sqrt((x - x0 - along * dx) ** 2 + (y - y0 - along * dy) ** 2)


def view(x, y):
    """The colour of the view that every frame shows, at a point of a frame."""
    sun = math.sqrt((x - 35) ** 2 + (y - 9) ** 2)
    if sun < 5:
        return (255, 236, 160)
    far = 20 - 9 * (1 - ((x - 14) / 20) ** 2)
    near = 25 - 5 * (1 - ((x - 38) / 22) ** 2)
    if y > near:
        return mix((58, 128, 62), (22, 70, 44), (y - near) / 14)
    if y > far:
        return mix((92, 122, 168), (64, 92, 134), (y - far) / 14)
    sky = mix((92, 156, 222), (226, 208, 186), y / 22)
    return mix((255, 232, 170), sky, min(1.0, (sun - 5) / 9))


def make_frame(block):
    """The view in square blocks, each of its mean colour."""
    rows = []
    for y in range(FRAME_HEIGHT):
        row = []
        for x in range(FRAME_WIDTH):
            left, top = x - x % block, y - y % block
            colours = [view(left + i + 0.5, top + j + 0.5)
                       for i in range(block) for j in range(block)]
            row.append(tuple(sum(channel) / len(colours) for channel in zip(*colours)))
        rows.append(row)
    return rows


def film(x, y, frames):
    """The colour of the film strip at a point, or None beside it."""
    along = x - FILM_LEFT
    if along < 0:
        return None
    hole = along % 8
    if (2.5 <= y < 6.5 or HEIGHT - 6.5 <= y < HEIGHT - 2.5) and 2 <= hole < 6:
        return PERFORATION
    index, inside = int(along // FRAME_PITCH), along % FRAME_PITCH - (FRAME_PITCH - FRAME_WIDTH) / 2
    if index < len(frames) and 0 <= inside < FRAME_WIDTH and 0 <= y - FRAME_TOP < FRAME_HEIGHT:
        return frames[index][int(y - FRAME_TOP)][int(inside)]
    return FILM


def sample(x, y, frames):
    radius = math.sqrt((x - Q_CENTRE[0]) ** 2 + (y - Q_CENTRE[1]) ** 2)
    if abs(radius - Q_RADIUS) < STROKE / 2:
        return LETTERS
    if any(distance_to_line(x, y, stroke) < STROKE / 2 for stroke in STROKES):
        return LETTERS
    colour = film(x, y, frames)
    return colour if colour is not None else mix(DARK, BRIGHT, x / WIDTH)


def draw():
    """The picture as rows of (red, green, blue), from the top."""
    frames = [make_frame(block) for block in BLOCKS]
    offsets = [(i + 0.5) / SAMPLES for i in range(SAMPLES)]
    rows = []
    for y in range(HEIGHT):
        row = []
        for x in range(WIDTH):
            colours = [sample(x + i, y + j, frames) for j in offsets for i in offsets]
            row.append(tuple(int(sum(channel) / len(colours) + 0.5) for channel in zip(*colours)))
        rows.append(row)
    return rows


def choose_palette(rows):
    """Returns at most 256 colours and each of the picture's colours' place among them: boxes of
    colours are halved at the median of their longest side, the largest first, until there are
    enough."""
    counts = {}
    for row in rows:
        for colour in row:
            counts[colour] = counts.get(colour, 0) + 1
    boxes = [sorted(counts)]

    def extent(box):
        return max((max(c[i] for c in box) - min(c[i] for c in box), -i) for i in range(3))

    while len(boxes) < MOST_COLOURS:
        box = max(boxes, key=lambda b: (extent(b)[0], b[0]))
        side, negative_channel = extent(box)
        if side == 0:
            break
        boxes.remove(box)
        box = sorted(box, key=lambda c: (c[-negative_channel], c))
        total, seen, cut = sum(counts[c] for c in box), 0, 1
        for cut in range(1, len(box)):
            seen += counts[box[cut - 1]]
            if seen * 2 >= total:
                break
        boxes += [box[:cut], box[cut:]]
    palette, places = [], {}
    for box in sorted(sorted(b) for b in boxes):
        weight = sum(counts[c] for c in box)
        for colour in box:
            places[colour] = len(palette)
        sums = (sum(c[i] * counts[c] for c in box) for i in range(3))
        palette.append(tuple((total + weight // 2) // weight for total in sums))
    return palette, places


def bitmap(rows):
    """A BMP file with 8 bits a pixel, from the bottom row up."""
    palette, places = choose_palette(rows)
    padding = bytes(-WIDTH % 4)
    pixels = b"".join(bytes(places[colour] for colour in row) + padding for row in reversed(rows))
    table = b"".join(struct.pack("<BBBx", b, g, r) for r, g, b in palette)
    offset = 14 + 40 + len(table)
    header = struct.pack("<2sIHHI", b"BM", offset + len(pixels), 0, 0, offset)
    info = struct.pack("<IiiHHIIiiII", 40, WIDTH, HEIGHT, 1, 8, 0, len(pixels), 3780, 3780,
                       len(palette), 0)
    return header + info + table + pixels


def main(arguments):
    target = pathlib.Path(__file__).resolve().with_name("banner.bmp")
    if arguments not in ([], ["--check"]):
        sys.exit(__doc__)
    drawn = bitmap(draw())
    if not arguments:
        target.write_bytes(drawn)
    elif not target.is_file() or target.read_bytes() != drawn:
        sys.exit(f"{target.name} is not what {pathlib.Path(__file__).name} draws")


main(sys.argv[1:])
