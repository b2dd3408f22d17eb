#!/usr/bin/env python3
"""Draws the image of the README from what scripts/demo.sh made.

    readme_image.py RESULTS IMAGE

RESULTS is the folder of the demo. Shown are the first colour, depth and infrared images of its
recording, and its first point cloud from above, to the right of the camera. Needs Debian's python3-pil and python3-numpy.
"""
import pathlib
import re
import sys

import numpy
from PIL import Image, ImageDraw, ImageFont

WIDTH, HEIGHT, GAP, TITLE = 480, 360, 8, 28
BACKGROUND = (24, 26, 30)


def first(folder, pattern):
    found = sorted(folder.glob(pattern))
    if not found:
        sys.exit(f"readme_image.py: no {pattern} in {folder}: run scripts/demo.sh first")
    return found[0]


def read_cloud(path):
    """The points in metres, of shape (n, 3), and their colours, of shape (n, 3), 0 to 255."""
    content = path.read_bytes()
    header, end = content.split(b"end_header\n", 1)
    count = int(re.search(rb"element vertex (\d+)", header).group(1))
    fields = [("xyz", "<f4", 3), ("rgb", "u1", 3)]
    points = numpy.frombuffer(end, numpy.dtype(fields), count)
    return points["xyz"], points["rgb"]


def draw_cloud(xyz, rgb):
    """The cloud as a camera sees it that stands higher and to the right, and looks at the middle."""
    keep = numpy.isfinite(xyz).all(axis=1) & (xyz[:, 2] > 0)
    xyz, rgb = xyz[keep], rgb[keep]
    middle = numpy.median(xyz, axis=0)
    turn, tilt = numpy.radians(24), numpy.radians(22)
    about_y = numpy.array([[numpy.cos(turn), 0, numpy.sin(turn)], [0, 1, 0],
                           [-numpy.sin(turn), 0, numpy.cos(turn)]])
    about_x = numpy.array([[1, 0, 0], [0, numpy.cos(tilt), -numpy.sin(tilt)],
                           [0, numpy.sin(tilt), numpy.cos(tilt)]])
    seen = (xyz - middle) @ about_y.T @ about_x.T + [0, 0, 4]
    scale = 0.95 * WIDTH / seen[:, 2]
    across = (WIDTH / 2 + scale * seen[:, 0]).astype(int)
    down = (HEIGHT / 2 + scale * seen[:, 1]).astype(int)
    inside = (across >= 0) & (across < WIDTH - 1) & (down >= 0) & (down < HEIGHT - 1) & (seen[:, 2] > 0.2)
    order = numpy.argsort(-seen[inside, 2], kind="stable")  # the farthest first
    pixels = numpy.full((HEIGHT, WIDTH, 3), BACKGROUND, numpy.uint8)
    for right, low in ((0, 0), (1, 0), (0, 1), (1, 1)):
        pixels[down[inside][order] + low, across[inside][order] + right] = rgb[inside][order]
    return Image.fromarray(pixels)


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    folder = pathlib.Path(sys.argv[1]) / "recorded"
    images = [("colour", Image.open(first(folder, "color-*.png"))),
              ("depth, coloured", Image.open(first(folder, "depth-*-color.png"))),
              ("infrared", Image.open(first(folder, "ir-*.png"))),
              ("point cloud", draw_cloud(*read_cloud(first(folder, "depth-*.ply"))))]
    sheet = Image.new("RGB", (2 * WIDTH + 3 * GAP, 2 * (HEIGHT + TITLE) + GAP), BACKGROUND)
    draw = ImageDraw.Draw(sheet)
    for index, (title, image) in enumerate(images):
        left = GAP + index % 2 * (WIDTH + GAP)
        top = index // 2 * (HEIGHT + TITLE)
        draw.text((left, top + 8), title, fill=(220, 220, 220), font=ImageFont.load_default())
        sheet.paste(image.convert("RGB").resize((WIDTH, HEIGHT)), (left, top + TITLE))
    sheet.save(sys.argv[2], quality=90)


if __name__ == "__main__":
    main()
