"""JPEG files: every kind is read as the picture it holds, written as gray or true colour, and refused when damaged."""

import glob
import json
import os
import struct
import subprocess
import unittest

from pictures import make_pnm
from tool_test import COLOURS, Bmp, ToolTest, make_bmp, pattern

PROBE = os.environ["DIBPREP_FORMAT_PROBE"]
BLACK, WHITE = (0, 0, 0), (255, 255, 255)


def exif(orientation=None, resolution=None, unit=2, order="<"):
    entries = []
    body = b""
    if orientation:
        entries.append((274, 3, 1, struct.pack(order + "HH", orientation, 0)))
    if resolution:
        for tag, value in zip((282, 283), resolution):
            entries.append((tag, 5, 1, struct.pack(order + "I", 8 + 2 + 12 * 4 + 4 + len(body))))
            body += struct.pack(order + "II", *value)
        entries.append((296, 3, 1, struct.pack(order + "HH", unit, 0)))
    table = b"".join(struct.pack(order + "HHI", *entry[:3]) + entry[3] for entry in entries).ljust(48, b"\0")
    tiff = struct.pack(order + "2sHI", b"II" if order == "<" else b"MM", 42, 8) + struct.pack(order + "H", len(entries))
    data = b"Exif\0\0" + tiff + table + bytes(4) + body
    return b"\xff\xe1" + struct.pack(">H", len(data) + 2) + data


class JpegTest(ToolTest):
    def setUp(self):
        super().setUp()
        os.mkdir(self.path("made"))
        subprocess.run([PROBE, "make", self.path("made")], check=True)
        self.content = self.read("made/near-colours.jpg")

    def dump(self, name):
        return json.loads(subprocess.run([PROBE, "dump", self.path(name)], stdout=subprocess.PIPE, check=True).stdout)

    def info(self, content):
        self.file("in.jpg", content)
        return json.loads(self.tool("info", "in.jpg", "--json"))

    def assert_near(self, found, expected, most):
        self.assertEqual(len(found), len(expected))
        self.assertLessEqual(max(abs(a - b) for a, b in zip(found, expected)), most)


class Reading(JpegTest):
    def test_every_kind(self):
        names = sorted(glob.glob(self.path("made/*.jpg")))
        self.assertEqual(len(names), 5)
        for name in names:
            self.tool("normalize", name, "out.pnm", "--force")
            with open(name.replace(".jpg", ".pnm"), "rb") as file, self.subTest(os.path.basename(name)):
                self.assert_near(self.read("out.pnm"), file.read(), 6)
                found = json.loads(self.tool("info", name, "--json"))
                gray, inks = "gray" in name, "inks" in name
                self.assertEqual((found["bits"], found["page_bits"], found["gray"]),
                                 (8 if gray else 32 if inks else 24, 8 if gray else 24, gray))
                self.assertIn("progressive" if "progressive" in name else "sequential", found["layout"])

    def test_resolution(self):
        at = self.content.index(b"JFIF\0") + 7
        for unit, x, y, ppm, stored in ((1, 300, 200, [11811, 7874], "300 x 200 dots per inch"),
                                        (2, 118, 118, [11800, 11800], "118 dots per centimetre"),
                                        (0, 300, 300, [0, 0], None), (0, 1, 1, [0, 0], None),
                                        (1, 0, 0, [0, 0], None), (1, 65535, 1, [2580118, 39], "65535 x 1 dots per inch")):
            found = self.info(self.content[:at] + struct.pack(">BHH", unit, x, y) + self.content[at + 5:])
            self.assertEqual((found["pixels_per_metre"], found["stored_resolution"]), (ppm, stored))
            if ppm == [0, 0]:
                self.assertIn("in.jpg: the file records no resolution. Give it with --input-dpi",
                              self.tool("resample", "in.jpg", "new.jpg", "--dpi", 200, code=3))

    def test_exif(self):
        start, end = self.content[:2], self.content[20:]  # without the JFIF header
        self.assertEqual(self.content[2:4], b"\xff\xe0")
        for order in "<>":
            found = self.info(start + exif(resolution=((240, 1), (72, 1)), order=order) + end)
            self.assertEqual(found["dpi"], [240, 72])
            found = self.info(start + exif(resolution=((728, 10), (728, 10)), unit=3, order=order) + end)
            self.assertEqual((found["pixels_per_metre"], found["stored_resolution"]),
                             ([7280, 7280], "72.8 dots per centimetre"))
            self.assertIsNone(self.info(start + exif(resolution=((72, 1), (72, 1)), unit=1, order=order) + end)["dpi"])
        # The JFIF header wins, but not with an aspect ratio.
        self.assertEqual(self.info(self.content[:20] + exif(resolution=((72, 1), (72, 1))) + end)["dpi"], [300, 200])

    def test_orientation(self):
        self.file("in.jpg", self.content)
        self.tool("normalize", "in.jpg", "plain.bmp")
        rows = Bmp(self.read("plain.bmp")).rows()
        turned = {1: rows, 2: [row[::-1] for row in rows], 3: [row[::-1] for row in rows[::-1]], 4: rows[::-1],
                  5: list(zip(*rows)), 6: list(zip(*rows[::-1])), 7: list(zip(*[row[::-1] for row in rows[::-1]])),
                  8: list(zip(*[row[::-1] for row in rows])), 9: rows}
        for number, expected in turned.items():
            found = self.info(self.content[:20] + exif(orientation=number) + self.content[20:])
            self.tool("normalize", "in.jpg", "out.bmp", "--force")
            out = Bmp(self.read("out.bmp"))
            self.assertEqual(out.rows(), [list(row) for row in expected], number)
            dpi = [200, 300] if 5 <= number <= 8 else [300, 200]
            self.assertEqual((found["width"], found["height"], found["dpi"]), (out.width, out.height, dpi))
            self.assertEqual((out.x_ppm, out.y_ppm), (7874, 11811) if 5 <= number <= 8 else (11811, 7874))

    def test_damaged_exif_counts_as_none(self):
        marker = exif(orientation=6, resolution=((240, 1), (240, 1)))
        for length in range(4, len(marker), 3):
            cut = marker[:2] + struct.pack(">H", length - 2) + marker[4:length]
            self.info(self.content[:2] + cut + self.content[20:])
        self.info(self.content[:2] + marker.replace(struct.pack("<I", 8), b"\xff" * 4) + self.content[20:])


class Writing(JpegTest):
    def written(self, content, *command, name="in.bmp"):
        self.file(name, content)
        self.tool(*(command or ("normalize",)), name, "out.jpg", "--force")
        return self.dump("out.jpg")

    def back(self):
        self.tool("normalize", "out.jpg", "back.pnm", "--force")
        return self.read("back.pnm")

    def test_kinds_of_page(self):
        gray = [[40 + x + y for x in range(40)] for y in range(30)]
        found = self.written(make_pnm(gray, 5), name="in.pnm")
        self.assertEqual((found["components"], found["width"], found["height"]), (1, 40, 30))
        self.assert_near(self.back(), make_pnm(gray, 5), 6)
        colours = [[(40 + x, 100 + y, 90) for x in range(40)] for y in range(30)]
        found = self.written(make_pnm(colours, 6), name="in.pnm")
        self.assertEqual((found["components"], found["sampling"]), (3, 1))
        self.assert_near(self.back(), make_pnm(colours, 6), 12)
        wide = [[tuple(c * 257 for c in pixel) for pixel in row] for row in colours]
        self.written(make_pnm(wide, 6, 65535), name="in.pnm")
        self.assert_near(self.back(), make_pnm(colours, 6), 12)
        halves = [[int(x < 24)] * 1 for x in range(48)] * 1
        self.assertEqual(self.written(make_bmp([[v[0] for v in halves]] * 16, 1, [BLACK, WHITE]))["components"], 1)
        self.assert_near(self.back(), make_pnm([[255 * v[0] for v in halves]] * 16, 5), 12)
        self.assertEqual(self.written(make_bmp([[0] * 8] * 8, 4, COLOURS[5:9]))["components"], 3)
        self.assert_near(self.back(), make_pnm([[COLOURS[5]] * 8] * 8, 6), 4)
        self.written(make_bmp([[0x00000000] * 8] * 8, 32, header=108, compression=3,
                              masks=(0xFF0000, 0xFF00, 0xFF, 0xFF000000)))
        self.assert_near(self.back(), make_pnm([[WHITE] * 8] * 8, 6), 1)

    def test_resolution(self):
        for ppm, stored in (((11811, 11811), (1, 300, 300)), ((11811, 5906), (1, 300, 150)), ((5905, 5905), (1, 150, 150)),
                            ((11800, 11800), (2, 118, 118)), ((7283, 7283), (1, 185, 185)), ((0, 0), (0, 1, 1))):
            found = self.written(make_bmp([[1]], 24, ppm=ppm))
            self.assertEqual((found["unit"], found["x"], found["y"]), stored)
        for dpi in (72, 150, 200, 300, 1200):
            found = self.written(make_bmp([[1] * 40] * 40, 24, ppm=(7874, 7874)), "resample", "--dpi", str(dpi))
            self.assertEqual((found["unit"], found["x"], found["y"]), (1, dpi, dpi))

    def test_quality(self):
        self.file("in.bmp", make_bmp(pattern(64, 64, 16), 8, COLOURS))
        sizes = []
        for quality in (10, 90, 100):
            self.tool("normalize", "in.bmp", "out.jpg", "--quality", quality, "--force")
            sizes.append(len(self.read("out.jpg")))
        self.assertEqual(sizes, sorted(sizes))
        self.tool("normalize", "in.bmp", "standard.jpg")
        self.assertEqual(len(self.read("standard.jpg")), sizes[1])
        self.assertIn("from 1 to 100", self.tool("normalize", "in.bmp", "out.jpg", "--quality", 0, code=2))

    def test_sides_beyond_the_format(self):
        self.file("in.bmp", make_bmp([[1] * 65501], 1, COLOURS[:2]))
        self.assertIn("65500", self.tool("normalize", "in.bmp", "out.jpg", code=4))


class Damaged(JpegTest):
    def refused(self, content, code=3):
        self.file("in.jpg", content)
        done = self.run_tool("normalize", "in.jpg", "out.bmp", "--force")
        said = done.stderr.decode()
        self.assertEqual(done.returncode, code, said)
        self.assertTrue(said.startswith("in.jpg: ") and said.count("\n") == 1, said)
        return said

    def test_many_lengths(self):
        for name in ("near-colours", "near-gray-progressive"):
            content = self.read(f"made/{name}.jpg")
            for length in list(range(0, len(content), 131)) + [len(content) - 2, len(content) - 1]:
                said = self.refused(content[:length])
                if length > 3:
                    self.assertIn("cut short", said)

    def test_a_changed_byte(self):
        content = self.read("made/near-colours-progressive.jpg")
        for at in range(0, len(content), 67):
            self.file("in.jpg", content[:at] + bytes([content[at] ^ 0xFF]) + content[at + 1:])
            done = self.run_tool("normalize", "in.jpg", "out.bmp", "--force")
            self.assertIn(done.returncode, (0, 3, 4), (at, done.stderr))
            self.assertLessEqual(done.stderr.count(b"\n"), 1)

    def test_declared_sizes(self):
        at = self.content.index(b"\xff\xc0") + 5
        big = self.content[:at] + struct.pack(">HH", 65500, 65500) + self.content[at + 4:]
        self.assertIn("--max-pixels", self.refused(big, code=4))
        self.refused(self.content[:at] + struct.pack(">HH", 0, 10) + self.content[at + 4:])
        self.refused(self.content[:at] + struct.pack(">HH", 4000, 4000) + self.content[at + 4:])

    def test_passes_without_end(self):
        content = self.read("made/near-gray-progressive.jpg")
        last = content.rindex(b"\xff\xda")
        scan = content[last:-2]
        self.assertIn("passes over the picture", self.refused(content[:-2] + scan * 200 + content[-2:]))

    def test_bytes_behind_the_end_are_passed_over(self):
        self.file("in.jpg", self.content + b"more")
        self.tool("normalize", "in.jpg", "out.bmp")


if __name__ == "__main__":
    unittest.main()
