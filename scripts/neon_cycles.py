#!/usr/bin/python3
"""Prints what the inner loops for NEON cost, next to those of other libraries, as a Markdown document.

    neon_cycles.py OBJECTS LIBYUV DEBIAN

OBJECTS is the build folder of src/ for 32-bit ARM, LIBYUV a folder with objects of libyuv that were
compiled with NEON, DEBIAN one with Debian's shared libraries for 32-bit ARM.
"""
import dataclasses
import pathlib
import re
import sys

import arm_loops
import arm_pipelines

TEXT = """# NEON

`scripts/neon_cycles.sh` writes this page. It takes the inner loops of the NEON kernels out of their object
files, and those that do the same job out of other libraries for 32-bit ARM, and states how many cycles
processors need for a pixel. Nothing is measured here: the figures come from models of processors whose caches
always hit. They compare loops; they do not predict times. That the kernels compute the right thing is tested
under emulation.

## The processors

| processor | model |
|---|---|
| Cortex-A9, Cortex-A57 | the models of llvm-mca, LLVM {llvm} |
| Cortex-A15 | llvm-mca has none of its own and takes that of Cortex-A9, so the columns are equal. Cortex-A57, whose NEON resembles that of Cortex-A15 most, is therefore listed, too |
| Cortex-A7, Cortex-A53 | llvm-mca has none for 32-bit code. `scripts/arm_pipelines.py` has a plain one: two instructions a cycle in their order, NEON with 64 bits a cycle (twice 64 in Cortex-A53), one load or store at a time, results of NEON after 4 cycles, of loads after 3 or 4. These are estimates |

The model of Cortex-A9 counts any load or store as one step of the address unit, also those that take pixels
apart, and lacks a few instructions: `vswp` is replaced by `vtrn.32`, a comparison with zero by one of
registers, and what `it` makes conditional is always done.

## The peers

| peer | what it is |
|---|---|
| libyuv | Debian's source of libyuv, compiled with NEON. Debian's own library for 32-bit ARM has {neon} NEON instructions and runs the C loops, which are the last column |
| OpenCV | Debian's library for 32-bit ARM. Its functions are not exported; they are found by the tables and types that lead to them |
| libdeflate | Debian's library |
| plain | our own loop without NEON: no library has a function with the same result |

A loop is found by its function and by the bytes that it stores or loads in a round, and the
script fails when there are not as many as expected: one, or two copies, of which it takes the longer. A job of libyuv that needs two passes is the sum of both. A quarter
turn is one direction; the other has the same tile.

## Cycles for a pixel

Ours / the peer's. For checksums a pixel is a byte.

"""
LAST = """
{met} of {all} comparisons on Cortex-A7 and Cortex-A15 meet the goal of at most the peer's cycles.{missed}

What is not comparable: OpenCV has no point cloud with the same result, so the kernel stands next to the plain
loop. The coloured cloud copies its colours in a loop of its
own and is left out. OpenCV colours a depth image in passes over 8-bit images: it counts 256 values
where ours counts 65,536, in bytes that may overflow, and its look-up of `equalizeHist` writes one byte for a
pixel where ours writes three and keeps the pixels without a depth. The
CRC-32 of recordings begins with the highest bit, so ours has to reverse the bytes of each vector, which
libdeflate's, of the other bit order, has not. Cortex-A7, A9 and A15 have no multiplication of polynomials and
compute it with tables.

## Which instructions

Image kernels use the NEON of ARMv7 with VFPv3. Point clouds need the fused multiply-add of VFPv4 and checksums
the polynomial multiplication of ARMv8; both are looked for at run time. No other source uses NEON. The
test `cpu_test.NoInstructionIsMissingOnAnyProcessor` looks into every object and plug-in of a build for 32-bit ARM.
"""
SHOWN = arm_pipelines.PROCESSORS
GOALS = ("Cortex-A7", "Cortex-A15")


@dataclasses.dataclass
class Loop:
    """A loop that does `pixels` in a round, and how it is recognised."""
    where: str         # the file, and how the function is found in it
    function: object
    pixels: int
    stores: int = 0    # bytes in a round
    loads: int = 0
    advances: int = 0  # by how many bytes an address moves on
    counts: dict = dataclasses.field(default_factory=dict)  # of some of its instructions
    copies: int = 1    # that the compiler made


@dataclasses.dataclass
class Job:
    name: str
    ours: Loop
    peer: str
    peers: list
    debian: list = dataclasses.field(default_factory=list)
    is_same: bool = True  # the peer computes the same
    processors: tuple = tuple(SHOWN)


def image(function, pixels, pixel_bytes, **more):
    return Loop("image/ImageNeon.cpp.o", function, pixels, pixels * pixel_bytes, **more)


def row(function, pixels, pixel_bytes):
    return Loop("row_neon.o", f"^{function}_NEON$", pixels, pixels * pixel_bytes)


def in_c(function, pixels, pixel_bytes):
    return Loop("libyuv.so.0", f"^{function}_C$", pixels, pixels * pixel_bytes)


def opencv(library, find, pixels, **more):
    return Loop(f"libopencv_{library}.so.406", find, pixels, **more)


TRANSPOSE = "-xxxx-x-x---x---x-------x-------x"  # cv::transpose's functions by the size of a pixel
HISTOGRAM, LOOK_UP = "28EqualizeHistCalcHist_Invoker", "23EqualizeHistLut_Invoker"
PACKED = [row("ARGBToRGB24Row", 16, 3)]
PACKED_IN_C = [in_c("ARGBToRGB24Row", 1, 3)]
REVERSED, TILE = "NeonReversed<{}>::{}", "QuarterTurns<.*::{}, .*>::clockwise90"
JOBS = [
    Job("I420 to RGB", image("::i420Rows", 32, 3), "libyuv", [row("I422ToRGB24Row", 8, 3)],
        [in_c("I422ToRGB24Row", 2, 3)]),
    Job("NV21 to RGB", image("::nv21Rows", 32, 3), "libyuv", [row("NV21ToRGB24Row", 8, 3)],
        [in_c("NV21ToRGB24Row", 2, 3)]),
    Job("YUYV to RGB", image("::yuyvGroups", 16, 3), "libyuv", [row("YUY2ToARGBRow", 8, 4), *PACKED],
        [in_c("YUY2ToARGBRow", 2, 4), *PACKED_IN_C]),
    Job("UYVY to RGB", image("::uyvyGroups", 16, 3), "libyuv", [row("UYVYToARGBRow", 8, 4), *PACKED],
        [in_c("UYVYToARGBRow", 2, 4), *PACKED_IN_C]),
    Job("quarter turn, 8 bits", image(TILE.format("NeonByteTile"), 128, 1), "libyuv",
        [Loop("rotate_neon.o", "^TransposeWx8_NEON$", 64, 64)], [in_c("TransposeWx8", 8, 1)]),
    Job("quarter turn, 16 bits", image(TILE.format("NeonPairTile"), 64, 2), "libyuv, C only",
        [in_c("TransposeWx8_16", 8, 2)], [in_c("TransposeWx8_16", 8, 2)]),
    Job("quarter turn, RGB", image(TILE.format("NeonRgbTile"), 64, 3, copies=2), "OpenCV",
        [opencv("core", (TRANSPOSE, 3), 16, stores=48)]),
    Job("half turn, 8 bits", image(REVERSED.format("unsigned char", "reverse"), 64, 1), "libyuv",
        [row("MirrorRow", 32, 1)], [in_c("MirrorRow", 2, 1)]),
    Job("half turn, 16 bits", image(REVERSED.format("nubrix::BytePair", "reverse"), 32, 2), "libyuv",
        [row("MirrorUVRow", 8, 2)], [in_c("MirrorUVRow", 1, 2)]),
    Job("half turn, RGB", image(REVERSED.format("RGB888Pixel", "reverse"), 16, 3), "libyuv",
        [row("RGB24MirrorRow", 8, 3)], [in_c("RGB24MirrorRow", 1, 3)]),
    Job("mirror, 8 bits", image(REVERSED.format("unsigned char", "mirrorRow"), 32, 1), "libyuv",
        [row("MirrorRow", 32, 1)], [in_c("MirrorRow", 2, 1)]),
    Job("mirror, 16 bits", image(REVERSED.format("nubrix::BytePair", "mirrorRow"), 32, 2), "libyuv",
        [row("MirrorUVRow", 8, 2)], [in_c("MirrorUVRow", 1, 2)]),
    Job("mirror, RGB", image(REVERSED.format("RGB888Pixel", "mirrorRow"), 16, 3), "libyuv",
        [row("RGB24MirrorRow", 8, 3)], [in_c("RGB24MirrorRow", 1, 3)]),
    Job("depth, counting", Loop("image/DepthHistogram.cpp.o", "DepthHistogram::fill", 4, 4, advances=8, copies=2), "OpenCV",
        [opencv("imgproc", (HISTOGRAM, 2), 4, stores=16)], is_same=False),
    Job("depth, colours", Loop("image/DepthNeon.cpp.o", "NeonDepthPixels::colours", 16, 48), "plain",
        [Loop("image/ImagePlain.cpp.o", "plainColours", 1, 3)]),
    Job("depth, colours", Loop("image/DepthNeon.cpp.o", "NeonDepthPixels::colours", 16, 48), "OpenCV, grey",
        [opencv("imgproc", (LOOK_UP, 2), 4, stores=4)], is_same=False),
    Job("point cloud", Loop("cloud/PointCloudNeon.cpp.o", "NeonLanes, false>::run", 4, 48), "plain",
        [Loop("cloud/PointCloudKernel.cpp.o", "::plainCloud\\(", 1, 12, counts={"vdiv.f32": 3})],
        processors=("Cortex-A7", "Cortex-A15", "Cortex-A53", "Cortex-A57")),
    Job("CRC-32, tables", Loop("checksum/Crc32.cpp.o", "::crc32Plain", 8, advances=8), "libdeflate",
        [Loop("libdeflate.so.0", None, 8, advances=8, counts={"ldrd": 1, "eor": 8})]),
    Job("CRC-32, ARMv8", Loop("checksum/Crc32Neon.cpp.o", "::foldCrc32Neon", 128, loads=128), "libdeflate",
        [Loop("libdeflate.so.0", None, 128, loads=128, counts={"vmull.p64": 16})],
        processors=("Cortex-A53", "Cortex-A57")),
]


def functions_of(folders, loop):
    """The code in which the loop is."""
    path = next((folder / loop.where for folder in folders if (folder / loop.where).exists()), None)
    if not path:
        raise arm_loops.LoopError(f"{loop.where} is in none of the folders")
    if loop.function is None:
        return [arm_loops.all_of(path)]
    if isinstance(loop.function, str):
        return [arm_loops.function_named(path, loop.function)]
    key, index = loop.function
    tables = arm_loops.Tables(path)
    return tables.entries(key, index) if key.startswith("-") else [tables.virtual_function(key, index)]


def cycles_for_a_pixel(processor, folders, loops):
    total = 0.0
    for each in loops:
        code = arm_loops.the_loop(functions_of(folders, each), each)
        total += arm_pipelines.cycles(processor, code) / each.pixels
    return total


def neon_instructions(folders):
    """In Debian's libyuv."""
    path = next(folder / "libyuv.so.0" for folder in folders if (folder / "libyuv.so.0").exists())
    return sum(1 for each in arm_loops.all_of(path)
               if re.match(r"v(ld|st)[1-4]\.", each.name) or re.search(r"\bq\d", each.operands))


def main():
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    folders = [pathlib.Path(each) for each in sys.argv[1:]]
    lines, met, missed, count = [], 0, [], 0
    for job in JOBS:
        cells = []
        for processor in SHOWN:
            if processor not in job.processors:
                cells.append("-")
                continue
            ours = cycles_for_a_pixel(processor, folders, [job.ours])
            peer = cycles_for_a_pixel(processor, folders, job.peers)
            cells.append(f"{ours:.2f} / {peer:.2f}")
            if processor in GOALS and job.is_same:
                count += 1
                met += round(ours, 2) <= round(peer, 2)
                if round(ours, 2) > round(peer, 2):
                    missed.append(f"{job.name} ({job.peer}) on {processor}")
        debian = f"{cycles_for_a_pixel('Cortex-A15', folders, job.debian):.2f}" if job.debian else ""
        name = job.name + ("" if job.is_same else " (not the same job)")
        lines.append(f"| {name} | {job.peer} | " + " | ".join([*cells, debian]) + " |")
    print(TEXT.format(llvm=arm_pipelines.llvm_version(), neon=neon_instructions(folders) or "no"), end="")
    print("| job | peer | " + " | ".join(SHOWN) + " | Debian's libyuv, Cortex-A15 |")
    print("|---|---|" + "---|" * (len(SHOWN) + 1))
    print("\n".join(lines))
    print(LAST.format(met=met, all=count, missed=f" Not met: {', '.join(missed)}." if missed else ""), end="")


if __name__ == "__main__":
    try:
        main()
    except arm_loops.LoopError as error:
        sys.exit(f"neon_cycles: {error}")
