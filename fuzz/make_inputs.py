#!/usr/bin/env python3
"""Makes the starting inputs of the fuzz targets: fuzz/seeds/TARGET/NAME, the same bytes on every run.

Each is a valid or slightly odd DIB or file behind the parameter bytes that the target's head comment
lists. They are small on purpose: what is far from them, the fuzzer finds.
"""
import base64
import os
import pathlib
import shutil
import struct
import sys

HERE = pathlib.Path(__file__).resolve().parent
DEPTHS = (1, 4, 8, 16, 24, 32, 48, 64)

os.environ.setdefault("DIBPREP_TOOL", "") # the tests' helpers ask for it; no tool is run
sys.path.insert(0, str(HERE.parent / "tests" / "tools"))
from pictures import TiffPage, make_png, make_pnm, make_tiff

# A sequential JPEG file of 9 x 7 pixels with 300 dots per inch.
JPEG = base64.b64decode("""
/9j/4AAQSkZJRgABAQEBLAEsAAD/2wBDACgcHiMeGSgjISMtKygwPGRBPDc3PHtYXUlkkYCZlo+AjIqgtObDoKrarYqMyP/L2u71////m8H///
/6/+b9//j/2wBDASstLTw1PHZBQXb4pYyl+Pj4+Pj4+Pj4+Pj4+Pj4+Pj4+Pj4+Pj4+Pj4+Pj4+Pj4+Pj4+Pj4+Pj4+Pj4+Pj4+Pj/wAARCAAH
AAkDAREAAhEBAxEB/8QAHwAAAQUBAQEBAQEAAAAAAAAAAAECAwQFBgcICQoL/8QAtRAAAgEDAwIEAwUFBAQAAAF9AQIDAAQRBRIhMUEGE1FhBy
JxFDKBkaEII0KxwRVS0fAkM2JyggkKFhcYGRolJicoKSo0NTY3ODk6Q0RFRkdISUpTVFVWV1hZWmNkZWZnaGlqc3R1dnd4eXqDhIWGh4iJipKT
lJWWl5iZmqKjpKWmp6ipqrKztLW2t7i5usLDxMXGx8jJytLT1NXW19jZ2uHi4+Tl5ufo6erx8vP09fb3+Pn6/8QAHwEAAwEBAQEBAQEBAQAAAA
AAAAECAwQFBgcICQoL/8QAtREAAgECBAQDBAcFBAQAAQJ3AAECAxEEBSExBhJBUQdhcRMiMoEIFEKRobHBCSMzUvAVYnLRChYkNOEl8RcYGRom
JygpKjU2Nzg5OkNERUZHSElKU1RVVldYWVpjZGVmZ2hpanN0dXZ3eHl6goOEhYaHiImKkpOUlZaXmJmaoqOkpaanqKmqsrO0tba3uLm6wsPExc
bHyMnK0tPU1dbX2Nna4uPk5ebn6Onq8vP09fb3+Pn6/9oADAMBAAIRAxEAPwCJbw0qNMt0R/2w12ezJ9if/9k=
""")


def pattern(count, start=1):
    """Bytes that do not repeat soon."""
    value, out = start * 2654435761 % 2**32 | 1, bytearray()
    for _ in range(count):
        value = (value * 1664525 + 1013904223) % 2**32
        out.append(value >> 24)
    return bytes(out)


def stride(width, bits):
    return (width * bits + 31) // 32 * 4


def table(bits, gray=False, entries=None):
    count = {1: 2, 4: 16, 8: 256}.get(bits, 0) if entries is None else entries
    out = bytearray()
    for i in range(count):
        level = i * 255 // max(count - 1, 1)
        out += bytes((level, level, level, 0) if gray else (level, i * 7 % 256, 255 - level, 0))
    return bytes(out)


def header(width, height, bits, compression=0, image_size=0, ppm=(11811, 11811), used=0, size=40):
    return struct.pack("<IiiHHIIiiII", size, width, height, 1, bits, compression, image_size, *ppm, used, 0)


def dib(width, height, bits, gray=False, start=1, **fields):
    rows = pattern(stride(width, bits) * abs(height), start)
    masks = b""
    if fields.get("compression") == 3:
        masks = struct.pack("<III", *((0xF800, 0x07E0, 0x001F) if bits == 16 else (0xFF0000, 0xFF00, 0xFF)))
    return header(width, height, bits, **fields) + table(bits, gray) + masks + rows


def core_dib(width, height, bits):
    head = struct.pack("<IHHHH", 12, width, height, 1, bits)
    entries = b"".join(entry[:3] for entry in (table(bits)[i:i + 4] for i in range(0, len(table(bits)), 4)))
    return head + entries + pattern(stride(width, bits) * height)


RLE8 = bytes((5, 9, 0, 3, 1, 2, 3, 0, 0, 2, 2, 1, 4, 7, 0, 0, 0, 4, 5, 6, 7, 8, 0, 1))
RLE4 = bytes((4, 0xAB, 0, 5, 0x12, 0x34, 0x50, 0, 0, 0, 0, 2, 1, 1, 3, 0x77, 0, 3, 0x98, 0x70, 0, 1))


def rle(bits, stream, width=12, height=6):
    compression = 1 if bits == 8 else 2
    return header(width, height, bits, compression, len(stream)) + table(bits) + stream


def pages(width=15, height=6):
    """Name and DIB of every kind that a host brings."""
    for bits in DEPTHS:
        yield f"{bits}bit", dib(width, height, bits)
    yield "gray4", dib(width, height, 4, gray=True)
    yield "gray8", dib(width, height, 8, gray=True)
    yield "fields16", dib(width, height, 16, compression=3)
    yield "fields32", dib(width, height, 32, compression=3)
    yield "rle8", rle(8, RLE8)
    yield "rle4", rle(4, RLE4)
    yield "top-down", dib(width, -height, 8)
    yield "core", core_dib(width, height, 8)
    yield "long-header", header(width, height, 24, size=124) + bytes(84) + pattern(stride(width, 24) * height)
    yield "no-resolution", dib(width, height, 24, ppm=(0, 0))
    yield "unequal", dib(width, height, 8, gray=True, ppm=(8031, 3858))
    yield "used", header(width, height, 8, used=20) + table(8, entries=20) + pattern(stride(width, 8) * height)
    yield "cut", dib(width, height, 24)[:130]


def file_of(content, offset=None, kind=b"BM"):
    """The 14 bytes in front of a DIB; rows stand where the table ends."""
    if offset is None:
        offset = 14 + 40
    return kind + struct.pack("<IHHI", 14 + len(content), 0, 0, offset) + content


def bmp(width, height, bits, **fields):
    entries = {1: 2, 2: 4, 4: 16, 8: 256}.get(bits, 0)
    masks = 12 if fields.get("compression") == 3 else 0
    content = dib(width, height, bits, **fields)
    if bits == 2:
        content = content[:40] + table(bits, entries=4) + content[40:]
    return file_of(content, 14 + 40 + 4 * entries + masks)


def v5(width, height, bits):
    masks = struct.pack("<IIII", 0xFF0000, 0xFF00, 0xFF, 0xFF000000)
    head = header(width, height, bits, compression=3, size=124) + masks + bytes(68)
    return file_of(head + pattern(stride(width, bits) * height), 14 + 124)


def conditions(flags=0, allocation=0, lock=0):
    return bytes((flags, allocation, lock))


WITH_CALLBACK, FAILING = 32, 8 | 16


def pipeline(flags, dpi, threshold, stop):
    return conditions(flags) + struct.pack("<HhB", dpi, threshold, stop)


def rectangles(*numbers):
    return struct.pack("<8h", *numbers)


def inputs():
    """Target, name, bytes."""
    small = dict(pages())
    for name, page in small.items():
        yield "convert_resolution", name, pipeline(0, 200, 128, 0) + page
        yield "size_queries", name, conditions() + b"\x02" + struct.pack("<H", 200) + page
        yield "resample", name, conditions() + struct.pack("<II", 7874, 7874) + page
        yield "resample_parts", name, conditions() + b"\0\0" + rectangles(0, 0, 30, 14, 2, 1, 25, 12) + page
        for i, way in enumerate(("restore", "rle8", "rle4", "turn", "normal", "to24", "to16")):
            if way.startswith("to") and name not in ("48bit", "64bit", "unequal", "gray8", "no-resolution") or \
                    name.startswith(("rle", "top")):
                yield "dib_convert", f"{way}-{name}", conditions() + bytes((i,)) + page
        yield "dib_utilities", name, conditions() + struct.pack("<IIHIh", 17, 5, 8, 0x112233, 3) + page
        yield "quantize", name, conditions() + struct.pack("<HBBHBB", 256, 5, 0, 0, 0, 0) + page
    for name in ("1bit", "8bit", "gray8", "gray4", "24bit"):
        page = small[name]
        yield "convert_resolution", f"larger-{name}", pipeline(WITH_CALLBACK, 1000, 100, 0) + page
        yield "convert_resolution", f"stopped-{name}", pipeline(WITH_CALLBACK, 300, 128, 3) + page
        yield "convert_resolution", f"failing-{name}", \
            conditions(FAILING, 2, 5) + struct.pack("<HhB", 150, 128, 0) + page
        for target, mode in (("memory", 34), ("file-memory", 33), ("memory-file", 18), ("files", 17)):
            content = file_of(page) if mode & 1 else page
            yield "linear_transform", f"{target}-{name}", \
                conditions(WITH_CALLBACK) + struct.pack("<BHhBH", mode, 200, 128, 0, 65535) + content
    yield "linear_transform", "short-destination", \
        conditions() + struct.pack("<BHhBH", 34, 200, 128, 0, 1100) + small["24bit"]
    yield "size_queries", "file", conditions(32) + b"\x01" + struct.pack("<H", 200) + file_of(small["24bit"])
    for name, page in small.items():
        if name.endswith("bit"):
            yield "resample_parts", f"shrunk-{name}", \
                conditions(WITH_CALLBACK) + b"\0\x3F" + rectangles(-3, -3, 7, 4, -3, -3, 7, 4) + page
    yield "resample_parts", "one-pixel", conditions() + b"\0\0" + rectangles(0, 0, 1, 1, 0, 0, 1, 1) + small["24bit"]

    few = dib(40, 30, 24)
    yield "quantize", "few-allowed", conditions() + struct.pack("<HBBHBB", 5, 5, 0, 0, 0, 0) + few
    yield "quantize", "defaults", conditions(32) + struct.pack("<HBBHBB", 16, 4, 0, 9, 60, 0) + few
    yield "quantize", "no-tree", conditions() + struct.pack("<HBBHBB", 16, 0, 0, 0, 0, 40) + few
    yield "quantize", "mode-666", conditions() + struct.pack("<HBBHBB", 16, 2, 3, 0, 0, 0) + few
    # What is missing of the rows repeats. The fast forms need 4096 pixels, the cube search more than
    # 16384; rows of whole vectors without padding end where the memory does.
    large = {f"{width}x{height}x{bits}": header(width, height, bits) + pattern(700, width)
             for width, height, bits in ((168, 100, 24), (72, 64, 24), (67, 64, 24), (64, 70, 16), (75, 60, 16))}
    for name, page in large.items():
        yield "quantize", name, conditions() + struct.pack("<HBBHBB", 256, 5, 0, 0, 0, 0) + page
        yield "tiers", f"4-{name}", conditions() + struct.pack("<BHHB", 4, 256, 5, 0) + bytes(16) + page

    for i, name in enumerate(("gray256", "gray16", "colour16", "colour256", "full", "pens")):
        parameters = bytes((i,)) + struct.pack("<HBB", 36, 11, 7) + bytes((1, 5, 2, 9)) + b"\x40\x80\xC0\0" + b"\x09"
        yield "image_helpers", name, conditions() + parameters + dib(12, 8, 8, gray=True)[:1200]
    calls = bytes((object_ | call << 2 | ((object_ + 1) % 4) << 6) & 0xFF for call in range(16) for object_ in range(4))
    yield "handles", "every-call", conditions() + calls
    yield "handles", "failing", conditions(FAILING, 3, 2) + calls[::-1]

    for name, page in small.items():
        for function in range(7):
            indexed = name in ("4bit", "8bit", "gray4", "gray8")
            if (function < 2 and (indexed or name in ("1bit", "24bit")) or function == 3 and name.endswith("bit") or
                    function == 4 and name in ("16bit", "24bit", "fields16", "fields32") or
                    function == 5 and name not in ("48bit", "64bit", "unequal", "gray8", "no-resolution", "used") or
                    function == 6 and indexed):
                a, b = {0: (200, 128), 1: (200, 128), 2: (7874, 9000), 4: (256, 5), 5: (4, 0)}.get(function, (0, 0))
                yield "tiers", f"{function}-{name}", conditions(64) + struct.pack("<BHHB", function, a, b, 0) + \
                    rectangles(0, 0, 33, 14, 0, 0, 33, 14) + page
    for function, a, b in ((0, 700, 128), (1, 100, 90), (4, 256, 5), (4, 30, 4)):
        for name in ("1bit", "gray8", "8bit", "24bit"):
            wide = dict(pages(70, 7))[name]
            yield "tiers", f"wide-{function}-{a}-{name}", conditions(32) + struct.pack("<BHHB", function, a, b, 0) + \
                rectangles(0, 0, 90, 20, 0, 0, 90, 20) + wide

    for bits in (1, 2, 4, 8, 16, 24, 32, 48, 64):
        yield "tool_reader", f"bmp-{bits}", b"\x40" + bmp(13, 5, bits)
    yield "tool_reader", "bmp-top-down", b"\x41" + bmp(13, -5, 8)
    yield "tool_reader", "bmp-fields16", b"\x40" + bmp(13, 5, 16, compression=3)
    yield "tool_reader", "bmp-fields32", b"\x40" + bmp(13, 5, 32, compression=3)
    yield "tool_reader", "bmp-v5", b"\x40" + v5(13, 5, 32)
    yield "tool_reader", "bmp-core", b"\x40" + file_of(core_dib(13, 5, 8), 14 + 12 + 768)
    yield "tool_reader", "bmp-rle8", b"\x40" + file_of(rle(8, RLE8), 14 + 40 + 1024)
    yield "tool_reader", "bmp-rle4", b"\x40" + file_of(rle(4, RLE4), 14 + 40 + 64)
    yield "tool_reader", "dib-24", b"\x40" + dib(13, 5, 24)
    yield from other_formats()


def other_formats():
    """PNM, PNG, TIFF and JPEG; the 32-bit reader knows only the first of them."""
    levels = [[(x * 20 + y * 9) % 256 for x in range(11)] for y in range(7)]
    bits = [[(x + y) % 3 % 2 for x in range(19)] for y in range(6)]
    colours = [[(level, 255 - level, x) for x, level in enumerate(row)] for row in levels]
    palette = [(i * 16, 255 - i * 16, 40) for i in range(16)]
    few = [[level % 16 for level in row] for row in levels]
    for kind, rows in ((1, bits), (2, levels), (3, colours), (4, bits), (5, levels), (6, colours)):
        yield "tool_reader", f"pnm-{kind}", b"\x40" + make_pnm(rows, kind)
    yield "tool_reader", "pnm-pages", b"\x40" + make_pnm(levels, 5) + make_pnm(bits, 4)
    yield "tool_reader", "png-1", b"\x40" + make_png(bits, 0, 1, ppm=(11811, 11811))
    yield "tool_reader", "png-gray", b"\x40" + make_png(levels, 0)
    yield "tool_reader", "png-colours", b"\x40" + make_png(few, 3, 4, palette, b"\x00\x80")
    yield "tool_reader", "png-24", b"\x40" + make_png(colours, 2, interlaced=True)
    yield "tool_reader", "png-64", b"\x40" + make_png([[(*c, 300) for c in row] for row in colours], 6, 16)
    yield "tool_reader", "tiff-1", b"\x40" + make_tiff(TiffPage(bits, 1, 0, fill=2, orientation=6))
    yield "tool_reader", "tiff-pages", b"\x40" + make_tiff(
        TiffPage(levels, resolution=((300, 1), (300, 1))), TiffPage(few, 4, 3, 32773, palette))
    yield "tool_reader", "tiff-planes", b"\x40" + make_tiff(TiffPage(colours, 16, 2, 8, separate=True))
    yield "tool_reader", "tiff-tiles", b"\x40" + make_tiff(TiffPage(colours, 8, 2, tile=16))
    yield "tool_reader", "jpeg", b"\x40" + JPEG


def main():
    shutil.rmtree(HERE / "seeds", ignore_errors=True)
    total = 0
    for target, name, content in inputs():
        path = HERE / "seeds" / target / name
        path.parent.mkdir(parents=True, exist_ok=True)
        assert not path.exists(), path
        path.write_bytes(content)
        total += len(content)
    print(total, "bytes")


if __name__ == "__main__":
    main()
