#!/usr/bin/python3
"""read_bitmap.py FILE: prints the size of a bitmap and its pixels, row after row from the top, as
hexadecimal RGB."""
import sys

from PIL import Image

with Image.open(sys.argv[1]) as image:
    print(*image.size, image.convert('RGB').tobytes().hex())
