"""PNG files: every kind is read as the picture it holds, written as what the page is, and refused when damaged."""

import json
import struct
import unittest

from pictures import GRAY, GRAY_ALPHA, PALETTE, RGB, RGB_ALPHA, Png, chunk, make_png, make_pnm
from tool_test import COLOURS, PPM_300, Bmp, ToolTest, make_bmp, pattern, triple

BLACK, WHITE = (0, 0, 0), (255, 255, 255)


def level(value, bits):
    return (value * 255 // ((1 << bits) - 1),) * 3


class Reading(ToolTest):
    def to_bmp(self, content):
        self.file("in.png", content)
        self.tool("normalize", "in.png", "out.bmp", "--force")
        return Bmp(self.read("out.bmp"))

    def through(self, content):
        self.file("in.png", content)
        self.tool("normalize", "in.png", "out.png", "--force")
        return Png(self.read("out.png"))

    def test_grays_keep_their_depth(self):
        for bits in (1, 2, 4, 8):
            for interlaced in (False, True):
                rows = pattern(13, 11, min(1 << bits, 64))
                out = self.to_bmp(make_png(rows, GRAY, bits, interlaced=interlaced))
                self.assertEqual((out.bits, out.used), (4 if bits == 2 else bits, 1 << bits))
                self.assertEqual(out.rows(), [[level(value, bits) for value in row] for row in rows])

    def test_tables_keep_their_depth_and_length(self):
        for bits in (1, 2, 4, 8):
            for interlaced in (False, True):
                palette = COLOURS[2:2 + min(1 << bits, 11)]
                rows = pattern(13, 11, len(palette))
                out = self.to_bmp(make_png(rows, PALETTE, bits, palette, interlaced=interlaced))
                self.assertEqual((out.bits, out.palette), (4 if bits == 2 else bits, palette))
                self.assertEqual(out.values(), rows)

    def test_colours(self):
        rows = [[COLOURS[(x + 3 * y) % 16] for x in range(9)] for y in range(10)]
        for interlaced in (False, True):
            out = self.to_bmp(make_png(rows, RGB, interlaced=interlaced))
            self.assertEqual((out.bits, out.rows()), (24, rows))

    def test_alpha(self):
        rows = [[COLOURS[x] + (x * 17,) for x in range(16)]]
        out = self.to_bmp(make_png(rows, RGB_ALPHA))
        self.assertEqual((out.bits, out.masks), (32, (0xFF0000, 0xFF00, 0xFF, 0xFF000000)))
        self.assertEqual(out.values(), [[triple(COLOURS[x]) | x * 17 << 24 for x in range(16)]])
        self.assertEqual(self.through(make_png(rows, RGB_ALPHA)).rows, rows)
        gray = [[(x * 16, 255 - x) for x in range(16)]]
        self.assertEqual(self.through(make_png(gray, GRAY_ALPHA)).rows, [[(g, g, g, a) for g, a in gray[0]]])

    def test_transparent_colours_become_alpha(self):
        out = self.through(make_png([[0, 1, 2]], PALETTE, 8, COLOURS[2:5], transparency=b"\x00\x80"))
        self.assertEqual(out.rows, [[COLOURS[2] + (0,), COLOURS[3] + (128,), COLOURS[4] + (255,)]])
        out = self.through(make_png([[0, 1, 3]], GRAY, 2, transparency=struct.pack(">H", 1)))
        self.assertEqual(out.rows, [[(0, 0, 0, 255), (85, 85, 85, 0), (255, 255, 255, 255)]])
        out = self.through(make_png([[(1, 2, 3), (4, 5, 6)]], RGB, transparency=struct.pack(">3H", 4, 5, 6)))
        self.assertEqual(out.rows, [[(1, 2, 3, 255), (4, 5, 6, 0)]])
        out = self.through(make_png([[7, 65535]], GRAY, 16, transparency=struct.pack(">H", 7)))
        self.assertEqual((out.bits, out.rows), (16, [[(7, 7, 7, 0), (65535,) * 4]]))

    def test_16_bits_come_back_exactly(self):
        values = [0, 1, 255, 256, 32767, 32768, 65534, 65535]
        for colour, rows in ((GRAY, [values]), (RGB, [[(v, 65535 - v, v // 2) for v in values]]),
                             (RGB_ALPHA, [[(v, 65535 - v, v // 2, v) for v in values]])):
            for interlaced in (False, True):
                content = make_png(rows, colour, 16, ppm=(PPM_300, PPM_300), interlaced=interlaced)
                out = self.through(content)
                self.assertEqual((out.colour, out.bits, out.rows), (colour, 16, rows))
                self.tool("rescale", "in.png", "out.png", "--dpi", 300, "--force")
                self.assertEqual(Png(self.read("out.png")).rows, rows)
        out = self.through(make_png([[(v, 9) for v in values]], GRAY_ALPHA, 16))
        self.assertEqual(out.rows, [[(v, v, v, 9) for v in values]])

    def test_alpha_of_16_bits_is_mixed_over_its_whole_range(self):
        self.file("in.png", make_png([[(0, 0, 0, 0), (65535,) * 4]] * 2, RGB_ALPHA, 16))
        self.tool("rescale", "in.png", "out.png", "--input-dpi", "200", "--dpi", "300x200")
        self.assertEqual(Png(self.read("out.png")).rows, [[(0,) * 4, (32767,) * 4, (65535,) * 4]] * 2)

    def test_resolution(self):
        for ppm in ((PPM_300, PPM_300), (11811, 5906), (2835, 2835), (7280, 7280), (1, 2**31 - 1)):
            out = self.through(make_png([[1, 2]], GRAY, ppm=ppm))
            self.assertEqual(out.ppm, ppm)
        for content in (make_png([[1, 2]], GRAY), make_png([[1, 2]], GRAY, ppm=(300, 300), unit=0),
                        make_png([[1, 2]], GRAY, ppm=(0, 0))):
            self.assertIsNone(self.through(content).ppm)
            said = self.tool("resample", "in.png", "new.png", "--dpi", 200, code=3)
            self.assertIn("in.png: the file records no resolution. Give it with --input-dpi", said)

    def test_info(self):
        self.file("in.png", make_png([[1, 0, 3]] * 2, PALETTE, 2, COLOURS[:4], ppm=(5906, 5906), interlaced=True))
        found = json.loads(self.tool("info", "in.png", "--json", "--dpi", 300))
        expected = {"format": "PNG", "width": 3, "height": 2, "bits": 2, "page_bits": 4, "colors": 4, "gray": False,
                    "alpha": False, "compression": "Deflate compression", "layout": "interlaced", "dpi": [150, 150],
                    "stored_resolution": "5906 pixels per metre", "page_count": 1}
        self.assertEqual({key: found[key] for key in expected}, expected)
        self.assertEqual((found["conversion"]["width"], found["conversion"]["height"]), (6, 4))


class Writing(ToolTest):
    def written(self, content, *command):
        self.file("in.bmp", content)
        self.tool(*(command or ("normalize",)), "in.bmp", "out.png", "--force")
        return Png(self.read("out.png"))

    def test_black_and_white(self):
        rows = pattern(13, 5, 2)
        out = self.written(make_bmp(rows, 1, [BLACK, WHITE]))
        self.assertEqual((out.colour, out.bits, out.rows, out.ppm), (GRAY, 1, rows, (PPM_300, PPM_300)))
        out = self.written(make_bmp(rows, 1, [WHITE, BLACK]))
        self.assertEqual((out.colour, out.bits, out.rows), (GRAY, 1, [[1 - v for v in row] for row in rows]))

    def test_tables(self):
        for bits, count in ((1, 2), (4, 15), (4, 3), (8, 15)):
            rows = pattern(13, 5, count)
            out = self.written(make_bmp(rows, bits, COLOURS[1:1 + count]))
            self.assertEqual((out.colour, out.bits, out.palette, out.rows), (PALETTE, bits, COLOURS[1:1 + count], rows))

    def test_an_index_behind_the_table_is_black(self):
        out = self.written(make_bmp([[0, 1, 5]], 8, COLOURS[1:3]))
        self.assertEqual((out.palette, out.rows), (COLOURS[1:3] + [BLACK] * 4, [[0, 1, 5]]))

    def test_grays(self):
        rows = pattern(13, 5, 16)
        out = self.written(make_bmp(rows, 4, [level(i, 4) for i in range(16)]))
        self.assertEqual((out.colour, out.bits, out.rows), (GRAY, 4, rows))
        out = self.written(make_bmp(rows, 8, [level(i, 8) for i in range(256)]))
        self.assertEqual((out.colour, out.bits, out.rows), (GRAY, 8, rows))

    def test_colours_of_every_layout(self):
        for bits, more, value in ((24, {}, triple), (32, {}, triple),
                                  (32, {"compression": 3, "masks": (0xFF, 0xFF00, 0xFF0000)},
                                   lambda c: c[0] | c[1] << 8 | c[2] << 16)):
            out = self.written(make_bmp([[value(colour) for colour in COLOURS]], bits, **more))
            self.assertEqual((out.colour, out.bits, out.rows), (RGB, 8, [COLOURS]))
        out = self.written(make_bmp([[0x7FFF, 0x7C00, 0x0010]], 16))
        self.assertEqual((out.colour, out.rows), (RGB, [[WHITE, (255, 0, 0), (0, 0, 132)]]))

    def test_words_of_bmp_files(self):
        out = self.written(make_bmp([[0x7FFF_4000_0000, 0x8000_FFFF_0001]], 48))
        self.assertEqual((out.colour, out.bits, out.rows), (RGB, 16, [[(65535, 32769, 0), (0, 0, 2)]]))
        out = self.written(make_bmp([[0x3FFF_7FFF_0000_7FFF, 0x7FFF_0000_0000_0000, 0x1000_0000_0000_0000]], 64))
        self.assertEqual((out.colour, out.rows), (RGB_ALPHA, [[(65535, 0, 65535, 65535), (0, 0, 0, 65535),
                                                               (0, 0, 0, 16385)]]))

    def test_results_of_the_commands(self):
        page = make_bmp(pattern(30, 12, 2), 1, [BLACK, WHITE])
        out = self.written(page, "resample", "--dpi", "200")
        self.assertEqual((out.width, out.height, out.colour, out.bits, out.ppm), (20, 8, GRAY, 1, (7874, 7874)))
        out = self.written(page, "rescale", "--dpi", "150")
        self.assertEqual((out.width, out.height, out.colour, out.bits, out.ppm), (15, 6, RGB, 8, (5906, 5906)))
        out = self.written(make_bmp([[triple(c) for c in COLOURS]] * 8, 24), "quantize", "--colors", "4")
        self.assertEqual((out.colour, out.bits), (PALETTE, 8))
        self.assertLessEqual(len(out.palette), 4)


class Damaged(ToolTest):
    def refused(self, content, code=3):
        self.file("in.png", content)
        done = self.run_tool("normalize", "in.png", "out.bmp", "--force")
        said = done.stderr.decode()
        self.assertEqual(done.returncode, code, said)
        self.assertTrue(said.startswith("in.png: ") and said.count("\n") == 1, said)
        return said

    def test_many_lengths(self):
        for content in (make_png([COLOURS] * 4, RGB, ppm=(1, 1)), make_png(pattern(9, 9, 4), PALETTE, 2, COLOURS[:4],
                                                                          interlaced=True)):
            for length in range(0, len(content), 11):
                said = self.refused(content[:length])
                if length >= 8:
                    self.assertIn("cut short", said, length)

    def test_a_changed_byte(self):
        content = make_png(pattern(9, 9, 4), PALETTE, 4, COLOURS[:4], ppm=(1, 1))
        for at in range(0, len(content), 7):
            self.file("in.png", content[:at] + bytes([content[at] ^ 0x55]) + content[at + 1:])
            done = self.run_tool("normalize", "in.png", "out.bmp", "--force")
            # What is outside header, table, pixels and end may be passed over.
            self.assertIn(done.returncode, (0, 3, 4), (at, done.stderr))
            self.assertLessEqual(done.stderr.count(b"\n"), 1)

    def test_declared_sizes(self):
        self.assertIn("--max-pixels", self.refused(make_png([[1]], GRAY, size=(2**31 - 1, 2**31 - 1)), code=4))
        self.assertIn("PNG data are damaged", self.refused(make_png([[1]], GRAY, size=(0, 1))))
        self.refused(make_png([[1]], GRAY, size=(20000, 20000)))

    def test_a_profile_that_grows(self):
        import zlib
        bomb = chunk(b"iCCP", b"x\0\0" + zlib.compress(bytes(100_000_000)))
        self.file("in.png", make_png([[1, 2]], GRAY, extra=bomb))
        self.tool("normalize", "in.png", "out.pgm")
        self.assertEqual(self.read("out.pgm"), make_pnm([[1, 2]], 5))

    def test_headers_only(self):
        content = make_png([COLOURS] * 4, RGB)
        self.file("in.png", content[:60])
        self.assertIn("16 x 4 pixels", self.tool("info", "in.png"))


if __name__ == "__main__":
    unittest.main()
