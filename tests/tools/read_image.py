#!/usr/bin/python3
"""read_image.py FILE: prints the mode of an image (I: grey of 16 bits), its size and its samples, row
after row from the top, as hexadecimal bytes; those of 16 bits with the lower byte first."""
import struct
import sys

from PIL import Image

with Image.open(sys.argv[1]) as image:
    samples = image.tobytes()
    mode = image.mode[0] if image.mode[0] == 'I' else image.mode
    if mode == 'I':
        values = list(image.getdata())
        samples = struct.pack(f'<{len(values)}H', *values)
    print(mode, *image.size, samples.hex())
