"""dibprep compare: figures, exit codes, the difference picture."""

import json
import math
import unittest

from tool_test import COLOURS, Bmp, ToolTest, make_bmp, pattern, triple

ROWS = [[triple(COLOURS[value]) for value in row] for row in pattern(30, 20, 16)]
ROWS[0][0] = ROWS[3][0] = ROWS[7][2] = 0  # the pixels that the tests change


def changed(*changes):
    rows = [list(row) for row in ROWS]
    for x, y, by in changes:
        rows[y][x] += by
    return rows


class Compare(ToolTest):
    def setUp(self):
        super().setUp()
        self.file("a.bmp", make_bmp(ROWS, 24))

    def figures(self, *more, code=1):
        done = self.run_tool("compare", "a.bmp", "b.bmp", "--json", *more)
        self.assertEqual(done.returncode, code, done.stderr)
        return json.loads(done.stdout)

    def test_equal(self):
        self.file("b.bmp", make_bmp(ROWS, 24, ppm=(1000, 2000)))
        self.assertEqual(self.tool("compare", "a.bmp", "b.bmp"), "equal: all 600 pixels\n")
        self.assertEqual(self.figures(code=0), {"equal": True, "pixels": 600, "different": 0, "largest": 0,
                                                "range": 255, "mean": 0.0, "psnr": None})

    def test_depths_do_not_matter(self):
        self.file("a.bmp", make_bmp([[triple(COLOURS[value]) for value in row] for row in pattern(30, 20, 16)], 24))
        self.file("b.bmp", make_bmp(pattern(30, 20, 16), 8, COLOURS))
        self.tool("compare", "a.bmp", "b.bmp")
        self.file("c.bmp", make_bmp(pattern(30, 20, 16), 4, COLOURS, top_down=True))
        self.tool("compare", "b.bmp", "c.bmp")

    def test_figures(self):
        # Green 5 higher in one pixel, blue 20 higher in another.
        self.file("b.bmp", make_bmp(changed((0, 3, 5 << 8), (2, 7, 20)), 24))
        found = self.figures()
        self.assertEqual((found["equal"], found["different"], found["largest"]), (False, 2, 20))
        self.assertAlmostEqual(found["mean"], 25 / 1800)
        self.assertAlmostEqual(found["psnr"], 10 * math.log10(255 * 255 / (425 / 1800)))
        said = self.tool("compare", "a.bmp", "b.bmp", code=1)
        for line in ("different  2 of 600 pixels (0.33 %)\n", "largest    20 of 255, at 2,7\n", "mean       0.0139\n",
                     f"PSNR       {found['psnr']:.2f} dB\n", "a.bmp and b.bmp differ.\n"):
            self.assertIn(line, said)

    def test_picture(self):
        self.file("b.bmp", make_bmp(changed((0, 3, 5 << 8), (2, 7, 20)), 24))
        self.tool("compare", "a.bmp", "b.bmp", "--picture", "d.bmp", code=1)
        picture = Bmp(self.read("d.bmp"))
        expected = [[255] * 30 for _ in range(20)]
        expected[3][0] = 255 - 5 * 255 // 20
        expected[7][2] = 0
        self.assertEqual([[red for red, _, _ in row] for row in picture.rows()], expected)
        self.assertEqual((picture.bits, picture.x_ppm), (8, 11811))
        self.assertIn("exists already", self.tool("compare", "a.bmp", "b.bmp", "--picture", "d.bmp", code=5))
        self.tool("compare", "a.bmp", "a.bmp", "--picture", "d.bmp", "--force")
        self.assertEqual(set(sum(Bmp(self.read("d.bmp")).rows(), [])), {(255, 255, 255)})

    def test_a_small_difference_still_shows(self):
        self.file("b.bmp", make_bmp(changed((0, 0, 255), (2, 7, 1)), 24))
        self.tool("compare", "a.bmp", "b.bmp", "--picture", "d.bmp", code=1)
        self.assertEqual(Bmp(self.read("d.bmp")).rows()[7][2], (239, 239, 239))

    def test_alpha_counts(self):
        opaque = [[0xFF000000 | value for value in row] for row in ROWS]
        masks = (0xFF0000, 0xFF00, 0xFF, 0xFF000000)
        self.file("b.bmp", make_bmp(opaque, 32, header=108, compression=3, masks=masks))
        self.tool("compare", "a.bmp", "b.bmp")
        opaque[4][5] ^= 0x30000000
        self.file("b.bmp", make_bmp(opaque, 32, header=108, compression=3, masks=masks))
        self.assertEqual(self.figures()["largest"], 0x30)

    def test_sixteen_bits_per_channel(self):
        rows = [[0x100020003000 + x * 7 + y for x in range(9)] for y in range(5)]
        self.file("a.bmp", make_bmp(rows, 48))
        rows[2][3] += 300
        self.file("b.bmp", make_bmp(rows, 48))
        found = self.figures()
        self.assertEqual((found["different"], found["largest"], found["range"]), (1, 300, 65535))
        self.file("b.bmp", make_bmp([[0] * 9] * 5, 24))
        self.assertIn("16 bits per channel", self.tool("compare", "a.bmp", "b.bmp", code=3))

    def test_sizes_differ(self):
        self.file("b.bmp", make_bmp(ROWS[1:], 24))
        said = self.tool("compare", "a.bmp", "b.bmp", code=1)
        self.assertIn("differ in size: 30 x 20 pixels and 30 x 19 pixels", said)

    def test_files_of_several_pages(self):
        def pages(*values):
            return b"".join(b"P5 4 2 255 " + bytes([10] * 7 + [value]) for value in values)
        self.file("a.pgm", pages(10, 20, 30))
        self.file("b.pgm", pages(10, 25, 31))
        said = self.tool("compare", "a.pgm", "b.pgm", "--picture", "d.pgm", code=1)
        self.assertIn("different  2 of 24 pixels", said)
        self.assertIn("largest    5 of 255, at 3,1 on page 2\n", said)
        self.assertEqual(self.read("d.pgm").count(b"P5"), 3)
        self.tool("compare", "a.pgm", "b.pgm", "--page", 1)
        self.file("b.pgm", pages(10, 20))
        self.assertIn("differ in their number of pages: 3 and 2", self.tool("compare", "a.pgm", "b.pgm", code=1))
        self.tool("compare", "a.pgm", "b.pgm", "--page", 3, code=2)

    def test_bad_files(self):
        self.file("b.bmp", b"junk")
        self.tool("compare", "a.bmp", "b.bmp", code=3)
        self.tool("compare", "a.bmp", "missing.bmp", code=5)


if __name__ == "__main__":
    unittest.main()
