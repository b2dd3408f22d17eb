#!/usr/bin/python3
"""read_ply.py FILE: prints the number of points of a PLY file, the minimum and maximum of z, and
names of the other properties of a point."""
import sys

import meshio

cloud = meshio.read(sys.argv[1])
z = cloud.points[:, 2]
print(len(cloud.points), f'{z.min():.3f}', f'{z.max():.3f}', *cloud.point_data)
