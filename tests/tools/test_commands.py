"""What the commands make of a page: sizes, depths, colours, resolutions."""

import unittest

from tool_test import COLOURS, PPM_200, PPM_300, Bmp, ToolTest, make_bmp, pattern, triple

BLACK, WHITE = (0, 0, 0), (255, 255, 255)
GRAYS = [(i * 17,) * 3 for i in range(16)]


class Resample(ToolTest):
    def resample(self, content, *more, dpi=200):
        self.file("in.bmp", content)
        self.tool("resample", "in.bmp", "out.bmp", "--dpi", dpi, "--force", *more)
        out = Bmp(self.read("out.bmp"))
        given = dpi * 10000 // 254
        self.assertEqual((out.x_ppm, out.y_ppm, out.header), (given, given, 40))
        return out

    def test_kinds_of_page(self):
        for bits, palette, result in ((1, [BLACK, WHITE], 1), (2, GRAYS[::5], 8), (4, GRAYS, 8), (8, GRAYS, 8),
                                      (4, COLOURS, 8), (8, COLOURS, 8)):
            count = min(len(palette), 1 << bits)
            out = self.resample(make_bmp(pattern(30, 12, count), bits, palette))
            with self.subTest(bits=bits, palette=palette[1]):
                self.assertEqual((out.width, out.height, out.bits), (20, 8, result))
        for bits in (16, 24, 32):
            out = self.resample(make_bmp([[triple((255, 255, 255)) & (1 << bits) - 1] * 30] * 12, bits))
            self.assertEqual((out.width, out.height, out.bits), (20, 8, 24))
            self.assertEqual(out.rows(), [[WHITE] * 20] * 8)

    def test_same_resolution_keeps_the_pixels(self):
        rows = [[triple(colour) for colour in COLOURS]] * 3
        self.assertEqual(self.resample(make_bmp(rows, 24), dpi=300).rows(), [COLOURS] * 3)
        rows = pattern(17, 5, 16)
        for palette in (GRAYS, COLOURS):
            expected = [[palette[value] for value in row] for row in rows]
            out = self.resample(make_bmp(rows, 8, palette), dpi=300)
            if palette is GRAYS:
                self.assertEqual(out.rows(), expected)
                self.assertEqual(out.palette, [(i, i, i) for i in range(256)])
            else:
                self.assertLessEqual(out.used, 16)
                # Colours are told apart by their top five bits.
                self.assertEqual([[tuple(c >> 3 for c in p) for p in row] for row in out.rows()],
                                 [[tuple(c >> 3 for c in p) for p in row] for row in expected])

    def test_halving_mixes_neighbours(self):
        # At 150 from 200 the second column lies at 4/3, the third at 8/3: a third and two thirds of the way.
        row = [triple((v, v, v)) for v in (0, 30, 91, 242)]
        out = self.resample(make_bmp([row] * 4, 24, ppm=(PPM_200, PPM_200)), dpi=150)
        self.assertEqual(out.rows(), [[(0,) * 3, (50,) * 3, (191,) * 3]] * 3)

    def test_threshold(self):
        # Between a white and a black column the mixture is half black, 127 of 255.
        content = make_bmp([[1, 0, 1, 0]] * 2, 1, [BLACK, WHITE], ppm=(PPM_200, PPM_200))
        whites = {}
        for threshold in (0, 127, 128, 256):
            out = self.resample(content, "--threshold", threshold, dpi=400)
            whites[threshold] = [value for value in out.rows()[0]]
        self.assertEqual(whites[0], [BLACK] * 8)
        self.assertEqual(whites[127], [WHITE, BLACK, BLACK, BLACK, WHITE, BLACK, BLACK, BLACK])
        self.assertEqual(whites[128], [WHITE, WHITE, BLACK, WHITE, WHITE, WHITE, BLACK, BLACK])
        self.assertEqual(whites[256], [WHITE] * 8)

    def test_two_colours_of_any_kind_come_back(self):
        rows = pattern(12, 12, 2)
        for palette in ([WHITE, BLACK], [BLACK, WHITE], [(240, 240, 240), (20, 20, 20)], [(0, 0, 128), (255, 255, 0)],
                        [(255, 255, 0), (0, 0, 128)], [(0, 0, 255), (255, 255, 255)]):
            out = self.resample(make_bmp(rows, 1, palette), dpi=300)
            with self.subTest(palette=palette):
                self.assertEqual(out.rows(), [[palette[value] for value in row] for row in rows])

    def test_gray_tables_in_any_order(self):
        rows = pattern(9, 4, 16)
        out = self.resample(make_bmp(rows, 4, GRAYS[::-1]), dpi=300)
        self.assertEqual((out.bits, out.rows()), (8, [[GRAYS[15 - value] for value in row] for row in rows]))

    def test_unequal_resolutions_become_square(self):
        out = self.resample(make_bmp([[1] * 30] * 10, 8, GRAYS, ppm=(PPM_300, PPM_300 // 3)))
        self.assertEqual((out.width, out.height), (20, 20))

    def test_input_dpi_replaces_what_the_file_says(self):
        out = self.resample(make_bmp([[1] * 30] * 10, 8, GRAYS), "--input-dpi", 100)
        self.assertEqual((out.width, out.height), (60, 20))

    def test_pages_of_every_order_and_packing(self):
        rows = pattern(24, 9, 16)
        whole = self.resample(make_bmp(rows, 8, GRAYS)).rows()
        self.assertEqual(self.resample(make_bmp(rows, 8, GRAYS, top_down=True)).rows(), whole)
        runs = b"".join(bytes(n for value in row for n in (1, value)) + bytes(2) for row in rows[::-1]) + bytes((0, 1))
        self.assertEqual(self.resample(make_bmp(rows, 8, GRAYS, compression=1, data=runs)).rows(), whole)


class Rescale(ToolTest):
    def rescale(self, content, *arguments):
        self.file("in.bmp", content)
        self.tool("rescale", "in.bmp", "out.bmp", "--force", *arguments)
        return Bmp(self.read("out.bmp"))

    def test_depths(self):
        for bits, result in ((1, 24), (2, 24), (4, 24), (8, 24), (16, 24), (24, 24), (32, 32), (48, 48), (64, 64)):
            palette = COLOURS[:1 << bits] if bits <= 8 else ()
            out = self.rescale(make_bmp([[0] * 30] * 12, bits, palette), "--dpi", 200)
            with self.subTest(bits=bits):
                self.assertEqual((out.width, out.height, out.bits), (20, 8, result))
                self.assertEqual((out.x_ppm, out.y_ppm), (PPM_200, PPM_200))

    def test_resolution_for_each_axis(self):
        out = self.rescale(make_bmp([[0] * 30] * 12, 24), "--dpi", "200x150")
        self.assertEqual((out.width, out.height, out.x_ppm, out.y_ppm), (20, 6, PPM_200, 5906))

    def test_square(self):
        out = self.rescale(make_bmp([[0] * 300] * 20, 24, ppm=(5906, 11811)), "--square")
        self.assertEqual((out.width, out.height, out.x_ppm, out.y_ppm), (599, 20, 11811, 11811))
        out = self.rescale(make_bmp([[0] * 103] * 20, 24, ppm=(5670, 2835)), "--square")
        self.assertEqual((out.width, out.height, out.x_ppm, out.y_ppm), (103, 40, 5670, 5670))

    def test_corners_stay(self):
        row = [triple((v, v, v)) for v in (0, 90, 180, 255)]
        out = self.rescale(make_bmp([row] * 3, 24), "--dpi", 600)
        for line in out.rows():
            self.assertEqual((line[0], out.width), (BLACK, 8))
            self.assertLessEqual(254 - line[7][0], 0)

    def test_a_crop_is_that_part_of_the_whole(self):
        content = make_bmp([[triple(COLOURS[value]) for value in row] for row in pattern(40, 30, 16)], 24)
        whole = self.rescale(content, "--dpi", 500).rows()
        self.assertEqual((len(whole), len(whole[0])), (50, 66))
        for x, y, width, height in ((0, 0, 10, 5), (7, 11, 20, 30), (60, 45, 100, 100), (65, 49, 1, 1)):
            part = self.rescale(content, "--dpi", 500, "--crop", f"{x},{y},{width},{height}").rows()
            self.assertEqual(part, [row[x:x + width] for row in whole[y:y + height]])

    def test_rows_of_16_bits_mix_with_the_rows_below(self):
        out = self.rescale(make_bmp([[0x7FFF] * 4, [0] * 4], 16), "--dpi", "300x600")
        column = [row[1][0] for row in out.rows()]
        self.assertEqual((column[0], column[3]), (255, 0))
        self.assertGreater(column[1], column[2])
        self.assertGreater(column[2], 0)

    def test_alpha_is_kept_and_interpolated(self):
        masks = (0xFF000000, 0xFF0000, 0xFF00, 0xFF)
        content = make_bmp([[0x112233FF, 0x112233FF]], 32, header=108, compression=3, masks=masks)
        out = self.rescale(content, "--dpi", 300)
        self.assertEqual((out.header, out.masks), (108, (0xFF0000, 0xFF00, 0xFF, 0xFF000000)))
        self.assertEqual(out.values(), [[0xFF112233, 0xFF112233]])


class Convert(ToolTest):
    def convert(self, content, depth):
        self.file("in.bmp", content)
        self.tool("convert", "in.bmp", "out.bmp", "--depth", depth, "--force")
        out = Bmp(self.read("out.bmp"))
        self.assertEqual((out.bits, out.compression, out.x_ppm, out.y_ppm), (depth, 0, 5000, 6000))
        return out

    def test_to_24_bits(self):
        for bits in (1, 2, 4, 8):
            palette = COLOURS[:1 << bits]
            rows = pattern(11, 5, len(palette))
            out = self.convert(make_bmp(rows, bits, palette, ppm=(5000, 6000)), 24)
            self.assertEqual(out.rows(), [[palette[value] for value in row] for row in rows])
        rows = [[0x7FFF, 0, 0x0421]]
        self.assertEqual(self.convert(make_bmp(rows, 16, ppm=(5000, 6000)), 24).rows(), [[WHITE, BLACK, (15, 15, 15)]])
        rows = [[triple(colour) for colour in COLOURS]]
        for bits in (24, 32):
            self.assertEqual(self.convert(make_bmp(rows, bits, ppm=(5000, 6000)), 24).rows(), [COLOURS])

    def test_white_of_any_masks_is_white(self):
        content = make_bmp([[0xFFFF, 0xF800]], 16, compression=3, masks=(0xF800, 0x07E0, 0x1F), ppm=(5000, 6000))
        self.assertEqual(self.convert(content, 24).rows(), [[WHITE, (255, 0, 0)]])
        self.assertEqual(self.convert(content, 16).values(), [[0x7FFF, 0x7C00]])

    def test_to_16_bits(self):
        expected = [[(r >> 3) << 10 | (g >> 3) << 5 | b >> 3 for r, g, b in COLOURS]]
        rows = [[triple(colour) for colour in COLOURS]]
        for bits in (24, 32):
            self.assertEqual(self.convert(make_bmp(rows, bits, ppm=(5000, 6000)), 16).values(), expected)
        content = make_bmp(rows, 32, compression=3, masks=(0xFF0000, 0xFF00, 0xFF), ppm=(5000, 6000))
        self.assertEqual(self.convert(content, 16).values(), expected)
        self.assertEqual(self.convert(make_bmp([list(range(16))], 8, COLOURS, ppm=(5000, 6000)), 16).values(), expected)
        rows = [[0x1234, 0x7FFF]]
        self.assertEqual(self.convert(make_bmp(rows, 16, ppm=(5000, 6000)), 16).values(), rows)


class Normalize(ToolTest):
    def test_turns_and_keeps(self):
        for bits in (1, 2, 4, 8):
            palette = COLOURS[:1 << bits]
            rows = pattern(11, 5, len(palette))
            self.file("in.bmp", make_bmp(rows, bits, palette, top_down=True, ppm=(5000, 6000)))
            self.tool("normalize", "in.bmp", "out.bmp", "--force")
            out = Bmp(self.read("out.bmp"))
            self.assertEqual((out.values(), out.palette, out.bits), (rows, palette, 4 if bits == 2 else bits))
            self.assertEqual((out.x_ppm, out.y_ppm), (5000, 6000))
        for bits, masks in ((16, ()), (16, (0xF800, 0x07E0, 0x1F)), (24, ()), (32, ()), (32, (0xFF, 0xFF00, 0xFF0000)),
                            (32, (0xFF000000, 0xFF0000, 0xFF00, 0xFF)), (48, ()), (64, ())):
            rows = [[x * 4099 + y * 257 for x in range(5)] for y in range(3)]
            content = make_bmp(rows, bits, top_down=True, compression=3 if masks else 0, masks=masks,
                               header=108 if len(masks) == 4 else 40, ppm=(5000, 6000))
            self.file("in.bmp", content)
            self.tool("normalize", "in.bmp", "out.bmp", "--force")
            out = Bmp(self.read("out.bmp"))
            with self.subTest(bits=bits, masks=masks):
                self.assertEqual((out.values(), out.masks, out.x_ppm, out.y_ppm), (rows, masks, 5000, 6000))

    def test_plain_already(self):
        self.file("in.bmp", make_bmp(pattern(9, 3, 16), 8, COLOURS))
        said = self.tool("normalize", "in.bmp", "out.bmp")
        self.assertTrue(said.endswith("\nout.bmp: the picture was in its plain form already.\n"), said)
        self.assertEqual(Bmp(self.read("out.bmp")).values(), pattern(9, 3, 16))

    def test_convert_without_depth_changes_the_format_alone(self):
        rows = pattern(9, 3, 16)
        for name, content in (("table", make_bmp(rows, 8, COLOURS)), ("down", make_bmp(rows, 4, COLOURS, top_down=True)),
                              ("rle", make_bmp(rows, 8, COLOURS, compression=1, data=b"".join(
                                  bytes(part for value in row for part in (1, value)) + b"\0\0" for row in rows[::-1]))),
                              ("deep", make_bmp([[1 << 40, 77]], 48)), ("alpha", make_bmp(
                                  [[0x80FF0000, 7]], 32, header=108, compression=3,
                                  masks=(0xFF0000, 0xFF00, 0xFF, 0xFF000000)))):
            for ending in ("bmp", "dib", "pnm"):
                with self.subTest(name, ending=ending):
                    self.file("in.bmp", content)
                    self.tool("convert", "in.bmp", "converted." + ending, "--force")
                    self.tool("normalize", "in.bmp", "normal." + ending, "--force")
                    self.assertEqual(self.read("converted." + ending), self.read("normal." + ending))
            out = Bmp(self.read("converted.bmp"))
            self.assertEqual(out.bits, {"table": 8, "down": 4, "rle": 8, "deep": 48, "alpha": 32}[name])
            if out.bits <= 8:
                self.assertEqual(out.values(), rows)

    def test_another_format_is_a_change(self):
        self.file("in.bmp", make_bmp(pattern(9, 3, 16), 8, COLOURS))
        for source, name in (("in.bmp", "out.dib"), ("out.dib", "out.bmp"), ("in.bmp", "out.ppm")):
            self.assertNotIn("plain form", self.tool("normalize", source, name))


class Colours(ToolTest):
    def test_quantize(self):
        rows = [[triple((x * 8 % 256, y * 8 % 256, (x + y) * 4 % 256)) for x in range(40)] for y in range(40)]
        self.file("in.bmp", make_bmp(rows, 24, ppm=(5000, 6000)))
        for count in (1, 2, 16, 64, 256):
            self.tool("quantize", "in.bmp", "out.bmp", "--colors", count, "--force")
            out = Bmp(self.read("out.bmp"))
            self.assertEqual((out.width, out.height, out.bits, out.x_ppm, out.y_ppm), (40, 40, 8, 5000, 6000))
            self.assertLessEqual(out.used, count)
            self.assertEqual(max(map(max, out.values())), out.used - 1)

    def test_few_colours_are_kept_exactly_with_a_deep_tree(self):
        rows = pattern(20, 20, 16)
        self.file("in.bmp", make_bmp(rows, 8, COLOURS))
        self.tool("quantize", "in.bmp", "out.bmp", "--colors", 16, "--octree-depth", 8)
        out = Bmp(self.read("out.bmp"))
        self.assertEqual(out.rows(), [[COLOURS[value] for value in row] for row in rows])

    def test_palette(self):
        self.tool("palette", "out.bmp")
        out = Bmp(self.read("out.bmp"))
        levels = (0, 0x20, 0x50, 0x82, 0xAA, 0xDC, 0xFF)
        grid = [(r, g, b) for r in levels for g in levels for b in (0, 0x40, 0x90, 0xD0, 0xFF)]
        self.assertEqual(out.palette[:245], grid)
        self.assertEqual(out.palette[245:249], [(0, 128, 128), (128, 0, 128), (0, 192, 192), (192, 0, 192)])
        self.assertEqual(out.palette[249:], [(v, v, v) for v in range(0x20, 0x100, 0x20)])
        self.assertEqual((out.used, sorted({v for row in out.values() for v in row})), (256, list(range(256))))


if __name__ == "__main__":
    unittest.main()
