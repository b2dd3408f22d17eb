#!/usr/bin/env python3
"""Writes the inputs in corpus/ that are made by hand; others there are left alone.

Inputs that a fuzzer has found are kept with them, named after what they show.
"""
import pathlib
import struct
import zlib

CORPUS = pathlib.Path(__file__).parent / "corpus"


def record(kind=2, index=0, time=0x12345000, pixels=b"\x81" * 12, size=None, width=3, height=2):
    size = len(pixels) if size is None else size
    tag = struct.pack("<HIQIII", kind, index, time, size, width, height)
    return tag + pixels


def header(colour=(1, 3, 2, 30, 640, 480), depth=(2, 3, 1, 30, 320, 240)):
    return struct.pack("<HIHHHH", *colour) + struct.pack("<HIHHHH", *depth) + bytes(42)


def records():
    """Colour, depth and light infrared in turn."""
    return [record(kind, i // 3, 0x1234500000 + i * 33333, bytes([0x80 + i]) * (10 + i), width=i)
            for i, kind in enumerate([1, 2, 32] * 3)]


def record_files():
    nine = b"".join(records())
    first, second, third = records()[:3]
    inside = record(pixels=record(pixels=b"\x01\0") + b"\x7f" * 5)
    yield "empty", b""
    yield "one", record()
    yield "one_pixel", record(pixels=b"\0")
    yield "nine", nine
    yield "every_type", b"".join(record(kind, time=kind) for kind in range(1, 64))
    yield "time_backwards", b"".join(record(time=2 ** 64 - 1 - i * 2 ** 62) for i in range(4))
    yield "same_times", record(time=7) + record(kind=1, time=7) + record(time=9)
    yield "largest_frame", record(width=65535, height=65535)
    yield "larger_than_a_block", record(pixels=b"\x90" * 5000) + first
    yield "cut_type", nine + b"\2"
    yield "cut_tag", nine + record()[:17]
    yield "cut_before_pixels", nine + record()[:26]
    yield "cut_pixels", nine[:-1]
    yield "cut_record_inside", first + record(pixels=second + third + b"\xff" * 9)[:-4]
    yield "cut_between", first + second[:20] + third + first
    yield "cut_pixels_between", first + second[:-3] + third + first
    yield "no_size", first + record(size=0) + second
    yield "largest_size", first + record(size=2 ** 31 - 1) + second
    yield "too_large_size", first + record(size=2 ** 31) + second
    yield "size_wraps", first + record(size=2 ** 32 - 26) + second
    yield "size_one_short", first + record(size=11) + second
    yield "size_one_long", first + record(size=13) + second
    yield "no_type", first + record(kind=0) + second
    yield "type_64", first + record(kind=64) + second
    yield "type_256", first + record(kind=256) + second
    yield "too_wide", first + record(width=65536) + second
    yield "too_high", first + record(height=2 ** 31) + second
    yield "record_in_pixels", inside + first
    yield "header_alone", header()
    yield "header_before", header() + nine
    yield "header_depth_only", header(colour=(0,) * 6) + nine
    yield "header_over", header() + nine[70:]
    yield "header_cut_record", header() + first[:30]
    yield "header_cut", header()[:69]
    yield "zeros", bytes(4096)
    yield "ones", b"\1" * 300
    yield "ones_and_zeros", b"\1\0" * 100
    yield "high_bytes", b"\xff" * 300
    yield "text", b"[Log]\nLogLevel=3\n" * 5


def ini_files():
    def entry(content, section=b"A", key=b"K", value=b"new"):
        return section + b"\0" + key + b"\0" + value + b"\0" + content

    log = b"[Log]\nLogFile=0\nLogLevel=3\nLogConsole=1\n"
    yield "empty", b""
    yield "no_file", entry(b"")
    yield "log", entry(log, b"Log", b"LogLevel", b"4")
    yield "new_section", entry(log, b"Other", b"LogLevel", b"4")
    yield "new_key", entry(log, b"Log", b"New", b"true")
    yield "string", entry(b'[A]\nK="text"\n')
    yield "bare", entry(b"[A]\nK=-12\n", value=b"-2147483648")
    yield "too_large", entry(b"[A]\nK=99999999999999999999\n", value=b"2147483648")
    yield "double", entry(b"[A]\nK=-1.5e3\n", value=b"0.0000004")
    yield "infinite", entry(b"[A]\nK=-inf\n", value=b"1e308")
    yield "not_a_number", entry(b"[A]\nK=nan\n", value=b"nan")
    yield "bool", entry(b"[A]\nK=TRUE\n", value=b"0")
    yield "no_bool", entry(b"[A]\nK=yes\n")
    yield "carriage_returns", entry(b'[A]\r\nK="5"\r\n[B]\r\nK=6\r\n', b"B")
    yield "only_carriage_return", entry(b"[A]\nK=\r", value=b"a\rb")
    yield "quotes", entry(b'[A]\nK="\n', value=b'""')
    yield "no_line_end", entry(b"[A]\nK=1")
    yield "no_value", entry(b"[A]\nK=")
    yield "tag_alone", entry(b"[A]")
    yield "many_line_ends", entry(b"\n\n[A]\n\nK=1\n\n\n\n")
    yield "only_line_ends", entry(b"\n\n\n")
    yield "text_after_tag", entry(b"[A] comment\n[B]\nK=1\n")
    yield "key_after_tag", entry(b"[A]K=1\n")
    yield "tag_in_comment", entry(b"; [A] K=1\n[A]\nK=2\n")
    yield "key_in_longer_key", entry(b"[A]\nLogK=4\nK=5\n")
    yield "key_in_next_section", entry(b"[A]\n[B]\nK=1\n")
    yield "equal_signs", entry(b"[A]\n=K=a=b=\n", key=b"")
    yield "empty_names", entry(b"[]\n=1\n", b"", b"", b"")
    yield "key_like_section", entry(b"[A]\n[K=1\n", key=b"[K")
    yield "line_in_names", entry(b"[A\n[B]\nK\nL=1\n", b"A\n[B", b"K\nL", b"x\n[A]\ny")
    yield "bracket_in_section", entry(b"[[A]]\nK=1\n", b"[A]")
    yield "nul_in_file", entry(b"[A]\nK=1\0\nK=2\n")
    yield "nul_in_first_chunk", entry(b"#" * 100 + b"\0" + b"#" * 154 + b"[A]\nK=1\n")
    yield "tag_over_chunks", entry(b"#" * 253 + b"[A]\nK=1\n")
    yield "nul_ends_chunk", entry(b"#" * 254 + b"\0[A]\nK=1\n")
    yield "long_value", entry(b"[A]\nK=" + b"7" * 600 + b"\n", value=b"8" * 300)
    yield "long_zeros", entry(b"[A]\nK=" + b"0" * 253 + b"12\n")
    yield "high_bytes", entry(b"[\xff\xfe]\n\x80=\xc3\x28\n", b"\xff\xfe", b"\x80", b"\xed\xa0\x80")


FAULTS = """{"faults": [
  {"type": "unplug", "at_frame": 3, "stream": "depth"}, {"type": "plug", "after_ms": 20},
  {"type": "plug", "at_ms": 0}, {"type": "stall", "at_ms": 5, "duration_ms": 1000000000},
  {"type": "drop", "at_frame": 10, "count": 3, "stream": "ir"},
  {"type": "short_frame", "at_frame": 0, "bytes": 16777216},
  {"type": "empty_frame", "at_ms": 9, "stream": "color"},
  {"type": "wrong_type", "at_frame": 1, "as": "light-ir", "count": 1000000000},
  {"type": "clock_jump", "at_ms": 1, "by_ms": -1000000000},
  {"type": "keep_alive_fail", "at_frame": 2, "stream": "ir"},
  {"type": "open_fail", "attempt": 2, "count": 2, "status": -1000000},
  {"type": "start_fail", "stream": "depth", "at_ms": 7},
  {"type": "buffer_size_change", "start": 3, "bytes": 1}]}
"""

IMAGES = """{
    "source": "images",
    "images": {
        "folder": "frames", "repeat": "once", "depth_unit_mm": 0.2,
        "intrinsics": {"fx": 525.0, "fy": 525.0, "cx": 319.5, "cy": -1e5}
    }
}
"""

CAMERAS = """{
    "cameras": ["LEFT", {"serial": "RIGHT", "plugged": false,
                         "faults": [{"type": "plug", "at_ms": 2000}]}],
    "pacing": "free",
    "frame_rate": 15,
    "faults": [{"type": "drop", "at_frame": 10, "count": 3, "stream": "depth"}]
}
"""


def scenario_files():
    yield "empty", ""
    yield "blank", " \r\n\t"
    yield "nothing", "{}"
    yield "cameras", CAMERAS
    yield "carriage_returns", CAMERAS.replace("\n", "\r\n")
    yield "cut", CAMERAS[:len(CAMERAS) // 2]
    yield "cut_text", '{"pacing": "fre'
    yield "two_values", "{} {}"
    yield "images", IMAGES
    yield "absolute_folder", IMAGES.replace("frames", "/frames")
    yield "no_folder", IMAGES.replace("frames", "")
    yield "no_images", '{"source": "images"}'
    yield "images_of_scene", '{"images":\n{}}'
    yield "unit_too_small", IMAGES.replace("0.2", "1e-300")
    yield "lens_too_short", IMAGES.replace("525.0", "-0.0")
    yield "faults", FAULTS
    yield "unknown_fault", FAULTS.replace("clock_jump", "clock")
    yield "no_jump", FAULTS.replace("-1000000000", "0")
    yield "two_moments", FAULTS.replace('"at_ms": 1,', '"at_ms": 1, "at_frame": 1,')
    yield "count_too_large", FAULTS.replace("1000000000}", "1000000001}")
    yield "count_of_64_bits", FAULTS.replace("1000000000}", "18446744073709551615}")
    yield "count_is_real", FAULTS.replace("1000000000}", "1e9}")
    yield "count_below", FAULTS.replace("1000000000}", "-9223372036854775808}")
    yield "number_overflows", '{"images": {"depth_unit_mm":\n1e999}}'
    yield "no_camera", '{"cameras": 0}'
    yield "sixteen", '{"cameras": 16, "faults": [{"type": "drop", "at_frame": 1}]}'
    yield "seventeen", '{"cameras": [' + ",\n".join(f'"C{i}"' for i in range(17)) + "]}"
    yield "same_serial", '{"cameras": ["VIRT0002",\n{}]}'
    yield "odd_serial", '{"cameras": ["a b"]}'
    yield "long_serial", '{"cameras": ["%s"]}' % ("x" * 33)
    yield "key_twice", '{"pacing": "free",\n"pacing": "free"}'
    yield "empty_key", '{"": 1}'
    yield "key_like_path", '{"cameras[0]": 1, "cameras": [{"a.b": 1, "a": {"b": 2}}]}'
    yield "control_in_key", '{"\\u0000\\n\\u001f": 1}'
    yield "surrogate", '{"\\ud83d\\ude00": "\\ud83d"}'
    yield "list", "[1, 2, [3]]"
    yield "number", "-0"
    yield "deep_enough", "[" * 16 + "]" * 16
    yield "too_deep", "[" * 17
    yield "too_deep_objects", '{"a":' * 17
    yield "comment", "// none\n{}"
    yield "byte_order_mark", b"\xef\xbb\xbf{\n}"
    yield "byte_order_mark_cut", b"\xef\xbb{}"
    yield "no_utf8", b'{"\xff\xc0\x80": 1}'
    yield "nul", b"{\0}"
    yield "nul_after", b"{}\0"


def firmware(content, version=(2, 1, 0), size=None, crc=None, magic=b"NUBRIXFW", zero=0, end=(0, 0)):
    size = len(content) if size is None else size
    crc = zlib.crc32(content) if crc is None else crc
    return magic + struct.pack("<HHHHIIII", *version, zero, size, crc, *end) + content


def firmware_files():
    content = bytes(range(256)) * 5
    yield "empty", b""
    yield "sound", firmware(content)
    yield "one_byte", firmware(b"\xff")
    yield "no_firmware", firmware(b"")
    yield "header_cut", firmware(content)[:31]
    yield "cut", firmware(content)[:-1]
    yield "longer", firmware(content) + b"x"
    yield "other_magic", firmware(content, magic=b"NUBRIXFX")
    yield "damaged", firmware(content, crc=0)
    yield "largest_version", firmware(content, version=(65535, 65535, 65535))
    yield "unknown_zero", firmware(content, zero=1)
    yield "unknown_end", firmware(content, end=(0, 1))
    yield "size_wraps", firmware(content, size=2 ** 32 - 32)
    yield "text", b"NUBRIXFW" * 10


def chunk(kind, content, crc=None):
    crc = zlib.crc32(kind + content) if crc is None else crc
    return struct.pack(">I", len(content)) + kind + content + struct.pack(">I", crc)


def png(width=5, height=3, depth=8, kind=2, interlace=0, before=b"", rows=None, end=True):
    channels = {0: 1, 2: 3, 3: 1, 4: 2, 6: 4}[kind]
    if rows is None:
        stride = (min(width, 64) * channels * depth + 7) // 8
        rows = b"".join(bytes([y % 5]) + bytes((y * 31 + x * 7) % 256 for x in range(stride))
                        for y in range(min(height, 64)))
    head = struct.pack(">IIBBBBB", width, height, depth, kind, 0, 0, interlace)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", head) + before +
            chunk(b"IDAT", zlib.compress(rows)) + (chunk(b"IEND", b"") if end else b""))


def segment(marker, content):
    return bytes([0xff, marker]) + struct.pack(">H", len(content) + 2) + content


def jpeg(width=8, height=8, components=3, frame=0xc0, scan=b"\x03", spectrum=(0, 63)):
    """One block of each component, in which every coefficient is 0."""
    tables = segment(0xdb, b"\0" + b"\1" * 64)
    for code in (b"\0", b"\x10"):  # the code "0" means that nothing comes
        tables += segment(0xc4, code + b"\1" + bytes(15) + b"\0")
    numbers = range(1, components + 1)
    head = struct.pack(">BHHB", 8, height, width, components)
    head += b"".join(bytes([n, 0x11, 0]) for n in numbers)
    begin = bytes([components]) + b"".join(bytes([n, 0]) for n in numbers) + bytes([*spectrum, 0])
    return (b"\xff\xd8" + tables + segment(frame, head) + segment(0xda, begin) + scan +
            b"\xff\xd9")


def image_files():
    palette = chunk(b"PLTE", bytes(range(48)))
    yield "empty", b""
    yield "png_rgb", png()
    yield "png_depth", png(depth=16, kind=0)
    yield "png_grey", png(depth=1, kind=0, width=11)
    yield "png_palette", png(kind=3, depth=4, before=palette, rows=bytes(4) * 3)
    yield "png_no_palette", png(kind=3)
    yield "png_palette_too_small", png(kind=3, before=chunk(b"PLTE", bytes(6)))
    yield "png_transparent_palette", png(kind=3, depth=4, before=palette + chunk(b"tRNS", b"\1\2"),
                                         rows=bytes(4) * 3)
    yield "png_grey_alpha", png(kind=4)
    yield "png_rgba_16", png(kind=6, depth=16)
    yield "png_interlaced", png(interlace=1, width=2, height=1, rows=b"\0abc\0def")
    yield "png_interlaced_depth", png(depth=16, kind=0, interlace=1, width=1, height=1, rows=b"\0ab")
    yield "png_cut", png()[:-20]
    yield "png_no_end", png(end=False)
    yield "png_too_few_rows", png(rows=b"\0" * 16)
    yield "png_too_many_rows", png(rows=b"\0" * 160)
    yield "png_unknown_filter", png(rows=(b"\7" + bytes(15)) * 3)
    yield "png_no_width", png(width=0)
    yield "png_too_wide", png(width=8193, height=1)
    yield "png_too_high", png(width=1, height=2 ** 31 - 1)
    yield "png_wraps", png(width=2 ** 32 - 1, height=2 ** 32 - 1)
    yield "png_bad_crc", png(before=chunk(b"PLTE", bytes(6), 0))
    yield "png_long_chunk", png(before=struct.pack(">I", 2 ** 31 - 1) + b"tEXt")
    yield "png_text", png(before=chunk(b"zTXt", b"a\0\0" + zlib.compress(bytes(100000))))
    yield "png_signature", png()[:8]
    yield "jpeg_rgb", jpeg()
    yield "jpeg_grey", jpeg(components=1, scan=b"\x3f")
    yield "jpeg_four_components", jpeg(components=4, scan=b"\0")
    yield "jpeg_progressive", jpeg(components=1, frame=0xc2, scan=b"\x7f", spectrum=(0, 0))
    yield "jpeg_cut", jpeg()[:-3]
    yield "jpeg_no_scan", jpeg()[:60]
    yield "jpeg_no_width", jpeg(width=0)
    yield "jpeg_too_wide", jpeg(width=8193)
    yield "jpeg_largest", jpeg(width=65535, height=65535)
    yield "jpeg_arithmetic", jpeg(frame=0xc9)
    yield "jpeg_start", b"\xff\xd8"
    yield "text", b"no image\n"


def jpeg_files():
    def segment(kind, content):
        return struct.pack(">BBH", 0xff, kind, 2 + len(content)) + content

    def frame(kind=0xc0, width=16, height=8, components=1, sampling=0x11):
        parts = b"".join(bytes([i + 1, sampling, 0]) for i in range(components))
        return segment(kind, struct.pack(">BHHB", 8, height, width, components) + parts)

    def scan(content, first=0, last=63, bits=0, components=1):
        parts = b"".join(bytes([i + 1, 0]) for i in range(components))
        return segment(0xda, bytes([components]) + parts + bytes([first, last, bits])) + content

    start, end = b"\xff\xd8", b"\xff\xd9"
    steps = segment(0xdb, b"\0" + b"\1" * 64)
    # One code of one bit each: no difference, and the end of a block.
    codes = segment(0xc4, b"\0\1" + bytes(15) + b"\0") + segment(0xc4, b"\x10\1" + bytes(15) + b"\0")
    head = start + steps + codes
    grey = b"\x0f"  # two blocks
    dc, ac = scan(b"\x3f", 0, 0), scan(b"\x3f", 1, 63)
    slow = frame(0xc2) + dc + ac
    yield "empty", b""
    yield "grey", head + frame() + scan(grey) + end
    yield "colours", head + frame(components=3) + scan(b"\0\x0f", components=3) + end
    yield "colours_sampled", (head + frame(components=3, sampling=0x22) +
                              scan(bytes(9), components=3) + end)
    yield "no_tables", start + steps + frame() + scan(grey) + end
    yield "progressive", head + slow + end
    yield "refined", head + frame(0xc2) + scan(b"\x3f", 0, 0, 1) + scan(b"\0", 0, 0, 0x10) + end
    yield "hundred_scans", head + slow + 98 * ac + end
    yield "too_many_scans", head + slow + 99 * ac + end
    yield "restarts", head + segment(0xdd, b"\0\1") + frame() + scan(b"\x3f\xff\xd0\x3f") + end
    yield "twelve_bits", head + frame().replace(b"\x08\0\x08", b"\x0c\0\x08") + scan(grey) + end
    yield "arithmetic", head + frame(0xc9) + scan(grey) + end
    yield "lossless", head + frame(0xc3) + scan(grey, 1, 0) + end
    yield "no_width", head + frame(width=0) + scan(grey) + end
    yield "no_height", head + frame(height=0) + scan(grey) + end
    yield "larger_than_it_is", head + frame(width=128, height=128) + scan(grey) + end
    yield "largest", head + frame(width=65535, height=65535) + scan(grey) + end
    yield "cut_header", (head + frame())[:-3]
    yield "cut_scan", head + frame() + scan(b"")
    yield "no_end", head + frame() + scan(grey)
    yield "filled_up", head + frame() + scan(grey + bytes(32)) + end
    yield "comment", start + segment(0xfe, b"text") + head[2:] + frame() + scan(grey) + end
    yield "no_steps", start + codes + frame() + scan(grey) + end
    yield "component_unknown", head + frame() + scan(grey, components=2) + end
    yield "two_images", 2 * (head + frame() + scan(grey) + end)


def uvc_node_files():
    def ok(form="", *values):
        return b"\0" + struct.pack("<" + form, *values)

    def size(width, height):
        return ok("BII", 1, width, height)

    def rate(numerator, denominator):
        return ok("BII", 1, numerator, denominator)

    no_more = b"\x16"
    z16, rgb, yuyv, nv12, mjpeg, grey = (ok("B", code) for code in (0, 1, 2, 5, 6, 8))
    capabilities = ok("II", 0x84000001, 0x04000001)

    def one(code, width=16, height=8):
        return code + size(width, height) + rate(1, 30) + 2 * no_more

    def capture(line, length, used):
        """Set, four buffers, two frames."""
        buffers = 4 * (ok("II", length, 0) + 64 * b"\x80" + ok())
        frames = b"".join(ok("BIII", i, used, i, 0) + ok() for i in range(2))
        return 2 * ok("BII", 0, line, length) + ok("II", 1, 30) + ok("B", 4) + buffers + ok() + frames

    def described():
        yield "depth", one(z16) + no_more + capture(32, 256, 256)
        yield "colours", one(yuyv) + no_more + capture(32, 256, 256)
        yield "colours_short", one(yuyv) + no_more + capture(32, 256, 100)
        yield "planes", one(nv12) + no_more + capture(16, 192, 192)
        yield "planes_short", one(nv12) + no_more + capture(16, 192, 191)
        yield "gaps", one(grey) + no_more + capture(24, 192, 192)
        yield "more_than_there_is", one(z16) + no_more + capture(32, 64, 2 ** 32 - 1)
        yield "compressed", one(mjpeg) + no_more + capture(0, 256, 64)
        yield "through", (one(rgb) + no_more + 2 * ok("BII", 0, 48, 384) + ok("II", 1, 30) + ok("B", 3) +
                          4 * ok() + ok("BIII", 0, 384, 0, 0) + ok() + ok("BIII", 9, 1, 1, 0))
        yield "more_formats", b"".join(one(ok("B", code)) for code in range(11)) + no_more
        yield "unknown_format", ok("BI", 255, 0x20202020) + no_more
        yield "same_format", one(z16) + z16 + no_more
        yield "largest_size", one(z16, 65535, 1024) + no_more
        yield "too_large", one(z16, 65536, 1) + one(grey, 65535, 65535) + no_more
        yield "no_size", one(z16, 0, 0) + no_more
        yield "odd_size", one(yuyv, 15, 7) + one(nv12, 16, 7) + no_more
        yield "range", (z16 + ok("BIIIIII", 3, 16, 1920, 16, 16, 1080, 8) +
                        ok("BIIIIII", 3, 1, 100, 1, 1, 0, 1) + no_more)
        yield "range_backwards", (z16 + ok("BIIIIII", 3, 99, 1, 0, 99, 1, 0) +
                                  ok("BIIIIII", 2, 1, 1, 2 ** 32 - 1, 1, 1, 1) + no_more)
        yield "no_rate", z16 + size(16, 8) + rate(0, 0) + rate(1, 0) + rate(0, 1) + 2 * no_more
        yield "rates_at_limits", (z16 + size(16, 8) + rate(1, 127) + rate(1, 128) + rate(2, 1) +
                                  rate(2 ** 32 - 1, 2 ** 32 - 1) + 2 * no_more)
        yield "not_enumerated", z16 + no_more + ok("BIIII", 1, 16, 8, 32, 256) + no_more + ok("II", 1, 15)
        yield "another_size", one(z16) + no_more + no_more + ok("BIIII", 1, 8, 8, 16, 128)
        yield "many_sizes", z16 + 300 * (size(16, 8) + no_more)

    yield "empty", b""
    yield "nothing", no_more
    yield "gone", b"\x13" * 40
    for name, answers in described():
        yield name, capabilities + answers


def packet(command, content=b"", status=0, number=0x1234):
    return struct.pack(">HHHH", status, command, len(content), number) + content


def identity(texts=b"Maker"):
    registers = bytearray(0xf8)
    registers[0x0a:0x10] = b"\x02\x11\x22\x33\x44\xff"
    registers[0x24:0x28] = b"\x0a\x01\x07\x14"
    for place, room in ((0x48, 32), (0x68, 32), (0xd8, 16)):
        registers[place:place + room] = texts[:room].ljust(room, b"\0")
    return bytes(registers)


def gvcp_files():
    yield "empty", b""
    yield "identity", packet(3, identity())
    yield "identity_full", packet(3, identity(b"x" * 32))
    yield "identity_controls", packet(3, identity(b"\x1b[2J\n\x7f\x9b\xc3"))
    yield "identity_cut", packet(3, identity()[:-1])
    yield "identity_refused", packet(3, identity(), status=0x8001)
    yield "register", packet(0x81, b"\0\0\0\2")
    yield "register_cut", packet(0x81, b"\0\0\0")
    yield "register_refused", packet(0x81, b"\0\0\0\2", status=0x8006)
    yield "memory", packet(0x85, struct.pack(">I", 0x200) + b"Local:a.xml;1000;20".ljust(512, b"\0"))
    yield "written", packet(0x83, b"\0\0\0\1")
    yield "pending", packet(0x89, b"\0\0\xff\xff")
    yield "pending_cut", packet(0x89, b"\0\0\xff")
    yield "header_cut", packet(0x81)[:7]
    yield "local", b"Local:camera.xml;10000;2764"
    yield "local_query", b"local:///camera.zip;0x10000;0x2764?SchemaVersion=1.1.0"
    yield "local_too_large", b"Local:camera.xml;0;f0000000"
    yield "local_wraps", b"Local:camera.xml;ffffffff;2"
    yield "local_path", b"Local:../camera.xml;0;20"
    yield "file", b"File:///dev/zero"
    yield "web", b"http://192.168.7.20/camera.xml"
    archive = b"PK\3\4" + bytes(20) + b"PK\1\2" + bytes(20)
    yield "archive", archive + struct.pack("<I", 2764) + bytes(18)
    yield "archive_bomb", archive + struct.pack("<I", 0xf0000000) + bytes(18)
    yield "archive_cut", archive
    yield "request_read", b"\0\0\5\0Width"
    yield "request_write", b"\1\1\4\0Gain" + struct.pack("<d", 1.5)
    yield "request_long_name", b"\0\0\xff\xffWidth"


def node(kind, name, *content):
    return f'<{kind} Name="{name}">{"".join(content)}</{kind}>'


def tag(name, value):
    return f"<{name}>{value}</{name}>"


def number(name, place, *limits):
    return node("Integer", name, tag("pValue", name + "Reg"), *limits) + node(
        "IntReg", name + "Reg", tag("Address", place), tag("Length", 4), tag("AccessMode", "RW"),
        tag("pPort", "Device"), tag("Sign", "Signed"), tag("Endianess", "BigEndian"))


def entry(name, value):
    return node("EnumEntry", name, tag("Value", value))


def description(*nodes):
    return ('<?xml version="1.0"?><RegisterDescription ModelName="M" VendorName="V"'
            ' xmlns="http://www.genicam.org/GenApi/Version_1_1">' + "".join(nodes)
            + node("Port", "Device") + "</RegisterDescription>")


def genicam_files():
    formats = node("Enumeration", "PixelFormat", entry("Mono8", 0x01080001),
                   entry("Coord3D_C16", 0x011000b8), entry("BayerRG8", 0x01080009),
                   entry("YUV422_8", 0x02100032), tag("pValue", "FormatReg")) + number("Format", 12)
    sizes = number("Width", 0) + number("Height", 4) + number("OffsetX", 16) + number("OffsetY", 20)
    rate = node("Float", "AcquisitionFrameRate", tag("Value", "{}"), tag("Min", "{}"), tag("Max", "{}"))
    depth = node("FloatReg", "Scan3dCoordinateScale", tag("Address", 24), tag("Length", 4),
                 tag("AccessMode", "RO"), tag("pPort", "Device"), tag("Endianess", "BigEndian"))
    usual = struct.pack(">IIIIII f", 640, 480, 0, 0x011000b8, 0, 0, 0.25)

    def camera(*nodes, memory=usual):
        return description(*nodes).encode() + b"\0" + memory

    yield "empty", b""
    yield "no_description", b"\0" + usual
    yield "nothing", camera()
    yield "cut", camera(sizes, formats)[:300]
    yield "usual", camera(sizes, formats, depth, rate.format(30, 1, 120))
    yield "zeros", camera(sizes, formats, depth, memory=bytes(28))
    yield "ones", camera(sizes, formats, depth, memory=b"\xff" * 28)
    yield "smallest", camera(sizes, formats, memory=b"\x80\0\0\0" * 7)
    yield "largest", camera(sizes, formats, memory=b"\x7f\xff\xff\xff" * 7)
    for name in ("NaN", "INF", "-INF", "1e308", "-1e308", "0"):
        yield "rate_" + name, camera(sizes, formats, rate.format(name, name, name))
    for name in ("NaN", "INF"):
        yield "rate_limits_" + name, camera(sizes, formats, rate.format(30, name, "-" + name))
    yield "scale_nan", camera(sizes, formats, depth, memory=usual[:24] + b"\x7f\xc0\0\0")
    yield "least_min", camera(
        number("Width", 0, tag("Min", -2 ** 63), tag("Max", 2 ** 63 - 1), tag("Inc", 2 ** 63 - 1)),
        number("Height", 4, tag("Min", -2 ** 31), tag("Inc", 0)), formats)
    yield "itself", camera(node("Integer", "Width", tag("pValue", "Width")))
    yield "in_turn", camera(node("Integer", "Width", tag("pValue", "Height")),
                            node("Integer", "Height", tag("pValue", "Width")))
    yield "limits_in_turn", camera(number("Width", 0, tag("pMax", "OffsetX")),
                                   number("OffsetX", 4, tag("pMax", "Width")), formats)
    yield "payload", camera(sizes, formats, node(
        "IntSwissKnife", "PayloadSize", '<pVariable Name="W">Width</pVariable>',
        tag("Formula", "W / 0 + (1 &lt;&lt; 70) % 0")))
    yield "length", camera(sizes.replace("<Length>4", "<Length>9223372036854775807"), formats)
    yield "length_from_camera", camera(
        sizes.replace("<Length>4</Length>", "<pLength>Height</pLength>"), formats)
    yield "twofold", camera(*(node(
        "IntSwissKnife", f"N{i}", f'<pVariable Name="A">N{i + 1}</pVariable>',
        f'<pVariable Name="B">N{i + 1}</pVariable>', tag("Formula", "A+B")) for i in range(40)))
    yield "components", camera(sizes, formats, node(
        "Enumeration", "ComponentSelector", entry("Intensity", 0), entry("Range", 1), tag("Value", 1)))


def main():
    for target, inputs in (("record_reader", record_files()), ("ini", ini_files()),
                           ("scenario", scenario_files()), ("firmware", firmware_files()),
                           ("image", image_files()), ("jpeg", jpeg_files()),
                           ("uvc_node", uvc_node_files()), ("gvcp", gvcp_files()),
                           ("genicam", genicam_files())):
        folder = CORPUS / target
        folder.mkdir(parents=True, exist_ok=True)
        for name, content in inputs:
            (folder / name).write_bytes(content if isinstance(content, bytes) else content.encode())


main()
