"""PNM files: every kind is read as the picture it holds and written as what the page is."""

import unittest

from pictures import make_pnm
from tool_test import COLOURS, Bmp, ToolTest, make_bmp, pattern, triple

BLACK, WHITE = (0, 0, 0), (255, 255, 255)


class Pnm(ToolTest):
    def to_bmp(self, content, *more):
        self.file("in.pnm", content)
        self.tool("normalize", "in.pnm", "out.bmp", "--force", *more)
        return Bmp(self.read("out.bmp"))

    def test_bitmaps(self):
        for width in (1, 7, 8, 9, 33):
            rows = pattern(width, 5, 2)
            for kind in (1, 4):
                out = self.to_bmp(make_pnm(rows, kind))
                self.assertEqual((out.bits, out.palette, out.values()), (1, [WHITE, BLACK], rows))

    def test_bitmap_digits_need_no_space(self):
        out = self.to_bmp(b"P1 3 2 101\n0 1\n1")
        self.assertEqual(out.values(), [[1, 0, 1], [0, 1, 1]])

    def test_grays(self):
        rows = pattern(7, 5, 16)
        for kind in (2, 5):
            out = self.to_bmp(make_pnm(rows, kind))
            self.assertEqual((out.bits, out.used, out.palette[9], out.values()), (8, 256, (9, 9, 9), rows))
            out = self.to_bmp(make_pnm(rows, kind, 15))
            self.assertEqual((out.bits, out.palette, out.values()), (8, [(i * 17,) * 3 for i in range(16)], rows))

    def test_colours(self):
        rows = [COLOURS[:5], COLOURS[5:10]]
        for kind in (3, 6):
            self.assertEqual(self.to_bmp(make_pnm(rows, kind, comment="# one\n# two\n")).rows(), rows)
        self.assertEqual(self.to_bmp(make_pnm([[(0, 2, 4)]], 6, 4)).rows(), [[(0, 128, 255)]])

    def test_sixteen_bits_come_back_exactly(self):
        rows = [[(0, 1, 65535), (32767, 32768, 40000)], [(5, 6, 7), (65534, 2, 256)]]
        gray = [[0, 1, 32767, 32768, 65534, 65535]]
        for content in (make_pnm(rows, 6, 65535), make_pnm(gray, 5, 65535)):
            self.file("in.ppm", content)
            self.tool("normalize", "in.ppm", "out.ppm", "--force")
            self.assertEqual(self.read("out.ppm"), content)
            self.tool("rescale", "in.ppm", "out.ppm", "--input-dpi", 300, "--dpi", 300, "--force")
            self.assertEqual(self.read("out.ppm"), content)

    def test_sixteen_bits_are_mixed_over_their_whole_range(self):
        # The corners stay, and the pixel in the middle is half of both.
        self.file("in.pgm", make_pnm([[0, 65535]] * 2, 5, 65535))
        self.tool("rescale", "in.pgm", "out.pgm", "--input-dpi", "200", "--dpi", "300x200")
        self.assertEqual(self.read("out.pgm"), make_pnm([[0, 32767, 65535]] * 2, 5, 65535))

    def test_sixteen_bits_in_a_bmp_file_are_the_library_s(self):
        out = self.to_bmp(make_pnm([[(0, 32768, 65535)]], 6, 65535))
        self.assertEqual((out.bits, out.values()), (48, [[32767 | 16384 << 16]]))
        self.tool("normalize", "out.bmp", "back.ppm")
        self.assertEqual(self.read("back.ppm"), make_pnm([[(0, 32769, 65535)]], 6, 65535))

    def test_what_is_written(self):
        rows = pattern(11, 4, 2)
        for palette in ([BLACK, WHITE], [WHITE, BLACK]):
            self.file("in.bmp", make_bmp(rows, 1, palette))
            self.tool("normalize", "in.bmp", "out.pbm", "--force")
            self.assertEqual(self.read("out.pbm"), make_pnm([[int(palette[v] == BLACK) for v in row] for row in rows], 4))
        self.file("in.bmp", make_bmp(rows, 1, COLOURS[2:4]))
        self.tool("normalize", "in.bmp", "out.ppm")
        self.assertEqual(self.read("out.ppm"), make_pnm([[COLOURS[2:4][v] for v in row] for row in rows], 6))
        rows = pattern(11, 4, 16)
        self.file("in.bmp", make_bmp(rows, 4, [(i * 17,) * 3 for i in range(16)]))
        self.tool("normalize", "in.bmp", "out.pgm")
        self.assertEqual(self.read("out.pgm"), make_pnm([[v * 17 for v in row] for row in rows], 5))
        self.file("in.bmp", make_bmp([[triple(c) for c in COLOURS]], 24))
        self.tool("normalize", "in.bmp", "out.pnm")
        self.assertEqual(self.read("out.pnm"), make_pnm([COLOURS], 6))

    def test_transparent_pixels_are_laid_on_white(self):
        masks = (0xFF0000, 0xFF00, 0xFF, 0xFF000000)
        self.file("in.bmp", make_bmp([[0x00112233, 0xFF112233, 0x80000000]], 32, header=108, compression=3, masks=masks))
        expected = [[WHITE, (0x11, 0x22, 0x33), (127, 127, 127)]]
        self.tool("normalize", "in.bmp", "out.ppm")
        self.assertEqual(self.read("out.ppm"), make_pnm(expected, 6))
        self.tool("convert", "in.bmp", "out.bmp", "--depth", 24)
        self.assertEqual(Bmp(self.read("out.bmp")).rows(), expected)

    def test_several_pictures(self):
        parts = [make_pnm(pattern(9, 3, 2), 4), make_pnm(pattern(4, 4, 16), 5), make_pnm([COLOURS[:3]], 6)]
        self.file("in.pnm", b"".join(parts))
        self.assertIn("3 pages", self.tool("info", "in.pnm"))
        self.tool("normalize", "in.pnm", "out.pnm")
        self.assertEqual(self.read("out.pnm"), b"".join(parts))
        for page, part in enumerate(parts, 1):
            self.tool("normalize", "in.pnm", "one.pnm", "--page", page, "--force")
            self.assertEqual(self.read("one.pnm"), part)

    def test_no_resolution(self):
        self.file("in.pgm", make_pnm([[1, 2], [3, 4]], 5))
        for command in ("resample", "rescale"):
            said = self.tool(command, "in.pgm", "out.pgm", "--dpi", 200, code=3)
            self.assertIn("in.pgm: the file records no resolution. Give it with --input-dpi", said)
        self.tool("resample", "in.pgm", "out.pgm", "--dpi", 200, "--input-dpi", 200)
        self.assertEqual(self.read("out.pgm"), make_pnm([[1, 2], [3, 4]], 5))

    def test_damaged_files(self):
        for content, words in (
                (b"P5 3", "ends inside its header"), (b"P5 3 x 255\n", "where a number belongs"),
                (b"P5 3 3 0\n" + bytes(9), "0 as the value of white"), (b"P5 3 3 65536\n" + bytes(18), "65536"),
                (b"P5 0 3 255\n", "no pixels"), (b"P5 3 3 255\n" + bytes(8), "ends 1 byte before"),
                (b"P6 99999 99999 255\n", "--max-pixels"), (b"P4 9999999999 1\n", "9999999999"),
                (b"P2 2 1 7\n3 8\n", "the sample 8"), (b"P2 2 1 7\n3\n", "before the end of its last row"),
                (b"P3 20000 20000 255\n1 2 3", "before the end of its last row"), (b"P1 2 1\n1 x\n", "a sample belongs"),
                (b"P1 2 1\n1 7\n", "the sample 7"), (b"P7\nWIDTH 1\n", "a PAM picture")):
            self.file("in.pnm", content)
            done = self.run_tool("normalize", "in.pnm", "out.bmp")
            said = done.stderr.decode()
            with self.subTest(content):
                self.assertEqual(done.returncode, 4 if "--max" in words else 3, said)
                self.assertIn(words, said)
                self.assertTrue(said.startswith("in.pnm: ") and said.count("\n") == 1, said)
        self.only_files("in.pnm")

    def test_many_lengths_of_a_file(self):
        for content in (make_pnm(pattern(9, 3, 16), 2), make_pnm([COLOURS[:4]], 6), make_pnm(pattern(9, 3, 2), 4)):
            for length in range(0, len(content), 3):
                self.file("in.pnm", content[:length])
                done = self.run_tool("normalize", "in.pnm", "out.bmp", "--force")
                # Digits may be complete before the end of the line is.
                self.assertIn(done.returncode, (0, 3) if content[1:2] == b"2" else (3,), (length, done.stderr))


if __name__ == "__main__":
    unittest.main()
