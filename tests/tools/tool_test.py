"""What the tests of the tool share: running it, making BMP files, reading BMP files."""

import os
import shutil
import struct
import subprocess
import tempfile
import unittest

TOOL = os.environ["DIBPREP_TOOL"]
SAMPLES = os.environ.get("DIBPREP_SAMPLES", "")
PRELOAD = os.environ.get("DIBPREP_PRELOAD", "")
PPM_300 = 11811
PPM_200 = 7874

# A mix of light, dark and colour that no two neighbours share.
COLOURS = [(0, 0, 0), (255, 255, 255), (255, 0, 0), (0, 255, 0), (0, 0, 255), (255, 255, 0), (0, 255, 255),
           (255, 0, 255), (128, 64, 32), (10, 20, 30), (200, 100, 50), (77, 77, 77), (1, 2, 3), (254, 253, 252),
           (90, 0, 180), (33, 133, 233)]


class ToolTest(unittest.TestCase):
    """A test with a folder of its own."""

    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="dibprep-test-")
        self.addCleanup(shutil.rmtree, self.folder, True)

    def path(self, name):
        return os.path.join(self.folder, name)

    def file(self, name, content):
        with open(self.path(name), "wb") as out:
            out.write(content)
        return self.path(name)

    def read(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def run_tool(self, *arguments, **options):
        return subprocess.run([TOOL, *map(str, arguments)], cwd=self.folder, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=300, **options)

    def tool(self, *arguments, code=0):
        """Runs the tool, expects the exit code, gives what it printed."""
        done = self.run_tool(*arguments)
        said = done.stdout.decode() + done.stderr.decode()
        self.assertEqual(done.returncode, code, f"{arguments}: {said}")
        return said

    def only_files(self, *names):
        """Nothing else lies in the folder, temporary files included."""
        self.assertEqual(sorted(os.listdir(self.folder)), sorted(names))

    def true_colour(self, content, name="in.bmp"):
        """The rows of a BMP file as the tool sees them, from the top, as (red, green, blue)."""
        self.file(name, content)
        self.tool("rescale", name, "true.bmp", "--dpi", 300, "--input-dpi", 300, "--force")
        return Bmp(self.read("true.bmp")).rows()


def stride(width, bits):
    return (width * bits + 31) // 32 * 4


def pack_row(values, bits):
    """Whole rows of 1, 2, 4, 8, 16, 24, 32, 48 or 64 bits; 24 bits and more as numbers, blue lowest."""
    if bits < 8:
        whole = 0
        for value in values:
            whole = whole << bits | value
        missing = -len(values) * bits % 8
        row = (whole << missing).to_bytes((len(values) * bits + 7) // 8, "big")
    else:
        row = b"".join(value.to_bytes(bits // 8, "little") for value in values)
    return row + bytes(-len(row) % 4)


def triple(colour):
    red, green, blue = colour
    return red << 16 | green << 8 | blue


def make_bmp(rows, bits, palette=(), header=40, top_down=False, compression=0, masks=(), data=None, used=None,
             ppm=(PPM_300, PPM_300), gap=b"", offset=None, size_image=None, planes=1, width=None, height=None):
    """A BMP file of rows of pixel values given from the top."""
    height_field = (len(rows) if height is None else height) * (-1 if top_down else 1)
    width_field = len(rows[0]) if width is None else width
    if data is None:
        data = b"".join(pack_row(row, bits) for row in (rows if top_down else rows[::-1]))
    used = len(palette) if used is None else used
    mask_bytes = struct.pack(f"<{len(masks)}I", *masks)
    if header == 12:
        info = struct.pack("<IHHHH", 12, width_field, height_field, planes, bits)
        table = b"".join(bytes((b, g, r)) for r, g, b in palette)
    else:
        info = struct.pack("<IiiHH", header, width_field, height_field, planes, bits)
        info += struct.pack("<IIiiII", compression, len(data) if size_image is None else size_image, *ppm, used, 0)
        if header > 40:
            info += mask_bytes
            mask_bytes = b""
        info = (info + bytes(header))[:header]
        table = b"".join(bytes((b, g, r, 0)) for r, g, b in palette)
    body = info + mask_bytes + table + gap
    at = 14 + len(body) if offset is None else offset
    return struct.pack("<2sIHHI", b"BM", 14 + len(body) + len(data), 0, 0, at) + body + data


class Bmp:
    """A BMP file as the tool writes it. Refuses what does not agree with itself."""

    def __init__(self, content):
        self.content = content
        magic, size, _, _, self.offset = struct.unpack_from("<2sIHHI", content)
        (self.header, self.width, self.height, planes, self.bits, self.compression, size_image, self.x_ppm, self.y_ppm,
         self.used, _) = struct.unpack_from("<IiiHHIIiiII", content, 14)
        self.masks = ()
        at = 14 + self.header
        if self.compression == 3:
            self.masks = struct.unpack_from("<4I" if self.header > 40 else "<3I", content, 54)
            at += 0 if self.header > 40 else 12
        self.palette = [tuple(content[at + 4 * i:at + 4 * i + 3][::-1]) for i in range(self.used)]
        assert magic == b"BM" and planes == 1 and self.width > 0 and self.height > 0
        assert size == len(content), (size, len(content))
        assert self.offset == at + 4 * self.used, (self.offset, at, self.used)
        assert size_image == stride(self.width, self.bits) * self.height == len(content) - self.offset
        assert self.bits > 8 or 1 <= self.used <= 1 << self.bits
        assert self.bits <= 8 or self.used == 0

    def values(self):
        """Rows of pixel values, from the top."""
        length = stride(self.width, self.bits)
        rows = []
        for y in range(self.height - 1, -1, -1):
            row = self.content[self.offset + y * length:self.offset + (y + 1) * length]
            if self.bits < 8:
                each = 8 // self.bits
                rows.append([row[x // each] >> (each - 1 - x % each) * self.bits & (1 << self.bits) - 1
                             for x in range(self.width)])
            else:
                step = self.bits // 8
                rows.append([int.from_bytes(row[x * step:x * step + step], "little") for x in range(self.width)])
        return rows

    def rows(self):
        """Rows of (red, green, blue), from the top; for tables and 24 or 32 bits."""
        if self.bits <= 8:
            return [[self.palette[value] for value in row] for row in self.values()]
        return [[(value >> 16 & 255, value >> 8 & 255, value & 255) for value in row] for row in self.values()]


def pattern(width, height, colours):
    """Rows of values 0 to colours - 1 in which neighbours differ."""
    return [[(x * 3 + y * 5 + x * y) % colours for x in range(width)] for y in range(height)]
