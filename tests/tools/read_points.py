#!/usr/bin/python3
"""read_points.py FILE: prints the points of a PLY file, one per line: x, y, z in thousandths and the
other properties, which are bytes."""
import sys

import meshio

cloud = meshio.read(sys.argv[1])
for i, place in enumerate(cloud.points):
    values = [round(1000 * float(each)) for each in place]
    print(*values, *(int(each[i]) & 255 for each in cloud.point_data.values()))
