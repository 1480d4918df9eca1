"""The pictures of a BMP test suite, when a folder with them is given: each as it must decode."""

import os
import struct
import sys
import unittest
import zlib

from tool_test import Bmp, ToolTest

FOLDER = os.path.join(os.environ.get("DIBPREP_CORPUS", ""), "bmp")


def read_png(path):
    """Rows of (red, green, blue) of a PNG file without interlacing, up to 8 bits per channel."""
    with open(path, "rb") as file:
        content = file.read()
    at, data, palette = 8, b"", []
    while at < len(content):
        length, kind = struct.unpack_from(">I4s", content, at)
        body = content[at + 8:at + 8 + length]
        if kind == b"IHDR":
            width, height, bits, colour, _, _, interlaced = struct.unpack(">IIBBBBB", body)
            assert bits <= 8 and not interlaced
        elif kind == b"PLTE":
            palette = [tuple(body[i:i + 3]) for i in range(0, length, 3)]
        elif kind == b"IDAT":
            data += body
        at += 12 + length
    channels = {0: 1, 2: 3, 3: 1, 4: 2, 6: 4}[colour]
    raw, row_bytes, back = zlib.decompress(data), (width * bits * channels + 7) // 8, max(bits * channels // 8, 1)
    rows, before = [], bytes(row_bytes)
    for y in range(height):
        method, line = raw[y * (row_bytes + 1)], bytearray(raw[y * (row_bytes + 1) + 1:(y + 1) * (row_bytes + 1)])
        for i in range(row_bytes):
            left, up, corner = (line[i - back] if i >= back else 0), before[i], (before[i - back] if i >= back else 0)
            if method == 4:
                guess = left + up - corner
                near = min((abs(guess - left), 0, left), (abs(guess - up), 1, up), (abs(guess - corner), 2, corner))[2]
            else:
                near = (0, left, up, (left + up) // 2)[method]
            line[i] = line[i] + near & 255
        before = bytes(line)
        if bits < 8:
            each = 8 // bits
            values = [line[x // each] >> (each - 1 - x % each) * bits & (1 << bits) - 1 for x in range(width)]
        else:
            values = [tuple(line[x * channels:x * channels + channels]) for x in range(width)]
            values = [value[0] if channels < 3 else value[:3] for value in values]
        if colour == 3:
            values = [palette[value] for value in values]
        elif channels < 3:
            values = [(value * 255 // ((1 << bits) - 1),) * 3 for value in values]
        rows.append(values)
    return rows


class Corpus(ToolTest):
    def test_every_picture(self):
        with open(os.path.join(FOLDER, "EXPECTED.tsv")) as file:
            lines = [line.split() for line in file if line.strip()]
        self.assertGreater(len(lines), 20)
        for name, allowed in lines:
            with self.subTest(name):
                self.tool("rescale", os.path.join(FOLDER, name), "out.bmp", "--input-dpi", 72, "--dpi", 72, "--force")
                rows = Bmp(self.read("out.bmp")).rows()
                pictures = [read_png(os.path.join(FOLDER, "expected", other)) for other in allowed.split(",")]
                self.assertIn(rows, pictures)

    def test_every_picture_through_every_command(self):
        for name in sorted(os.listdir(FOLDER)):
            if not name.endswith(".bmp"):
                continue
            path = os.path.join(FOLDER, name)
            with self.subTest(name):
                before = self.true_picture(path)
                self.tool("normalize", path, "normal.bmp", "--force")
                self.assertEqual(self.true_picture("normal.bmp"), before)
                Bmp(self.read("normal.bmp"))
                for command in (["resample", "--input-dpi", 72, "--dpi", 100], ["convert", "--depth", 24],
                                ["convert", "--depth", 16], ["quantize", "--colors", 16]):
                    self.tool(command[0], path, "out.bmp", *command[1:], "--force")
                    Bmp(self.read("out.bmp"))

    def true_picture(self, path):
        self.tool("rescale", path, "true.bmp", "--input-dpi", 72, "--dpi", 72, "--force")
        return Bmp(self.read("true.bmp")).rows()


if __name__ == "__main__":
    if not os.path.exists(os.path.join(FOLDER, "EXPECTED.tsv")):
        print("SKIPPED: no folder with test pictures (configure with -DDIBPREP_CORPUS=...)")
        sys.exit(77)
    unittest.main()
