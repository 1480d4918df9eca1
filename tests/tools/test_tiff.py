"""TIFF files: every kind is read as the picture it holds, written as what the page is, and refused when damaged."""

import glob
import json
import os
import struct
import subprocess
import unittest

from pictures import LONG, SHORT, TiffPage, _entry, make_pnm, make_tiff
from tool_test import COLOURS, PPM_300, Bmp, ToolTest, make_bmp, pattern, triple

PROBE = os.environ["DIBPREP_FORMAT_PROBE"]
BLACK, WHITE = (0, 0, 0), (255, 255, 255)
WHITE_IS_ZERO, BLACK_IS_ZERO, RGB, PALETTE = 0, 1, 2, 3
DEFLATE, PACK_BITS, GROUP_4 = 8, 32773, 4
DPI_300 = ((300, 1), (300, 1))


class TiffTest(ToolTest):
    def to_bmp(self, content, *more):
        self.file("in.tif", content)
        self.tool("normalize", "in.tif", "out.bmp", "--force", *more)
        return Bmp(self.read("out.bmp"))

    def to_pnm(self, content):
        self.file("in.tif", content)
        self.tool("normalize", "in.tif", "out.pnm", "--force")
        return self.read("out.pnm")

    def dump(self, name):
        return json.loads(subprocess.run([PROBE, "dump", self.path(name)], stdout=subprocess.PIPE, check=True).stdout)


class Reading(TiffTest):
    def test_every_kind_that_the_library_writes(self):
        os.mkdir(self.path("made"))
        subprocess.run([PROBE, "make", self.path("made")], check=True)
        names = sorted(glob.glob(self.path("made/*.tif")))
        self.assertEqual(len(names), 50)
        for name in names:
            with self.subTest(os.path.basename(name)):
                if "refused" in name:
                    self.assertIn("cannot be read. Save it in a plainer form.",
                                  self.tool("normalize", name, "out.pnm", "--force", code=3))
                    continue
                self.tool("normalize", name, "out.pnm", "--force")
                with open(name.replace(".tif", ".pnm"), "rb") as file:
                    found, expected = self.read("out.pnm"), file.read()
                if "exact" in name:
                    self.assertEqual(found, expected)
                else:
                    self.assertEqual(len(found), len(expected))
                    self.assertLessEqual(max(abs(a - b) for a, b in zip(found, expected)), 6)

    def test_grays(self):
        for bits in (1, 2, 4, 8):
            rows = pattern(13, 7, min(1 << bits, 64))
            for photometric in (BLACK_IS_ZERO, WHITE_IS_ZERO):
                most = (1 << bits) - 1
                expected = [[((v if photometric else most - v) * 255 // most,) * 3 for v in row] for row in rows]
                out = self.to_bmp(make_tiff(TiffPage(rows, bits, photometric)))
                self.assertEqual((out.bits, out.rows()), (4 if bits == 2 else bits, expected))

    def test_tables(self):
        for bits in (1, 2, 4, 8):
            palette = COLOURS[2:2 + min(1 << bits, 11)]
            rows = pattern(13, 7, len(palette))
            out = self.to_bmp(make_tiff(TiffPage(rows, bits, PALETTE, palette=palette)))
            self.assertEqual((out.bits, out.used), (4 if bits == 2 else bits, 1 << bits))
            self.assertEqual(out.rows(), [[palette[v] for v in row] for row in rows])

    def test_colours_in_every_arrangement(self):
        rows = [[COLOURS[(x + 3 * y) % 16] for x in range(37)] for y in range(21)]
        pages = [TiffPage(rows, 8, RGB, compression, **more) for compression in (1, DEFLATE, PACK_BITS)
                 for more in ({}, {"separate": True}, {"tile": 16}, {"tile": 16, "separate": True}, {"strip_rows": 5},
                              {"strip_rows": 4, "separate": True})]
        self.assertEqual(self.to_pnm(make_tiff(*pages)), make_pnm(rows, 6) * len(pages))
        rows = pattern(37, 21, 2)
        pages = [TiffPage(rows, 1, WHITE_IS_ZERO, **more)
                 for more in ({"tile": 16}, {"strip_rows": 3}, {"fill": 2}, {"fill": 2, "tile": 16})]
        self.assertEqual(self.to_pnm(make_tiff(*pages)), make_pnm(rows, 4) * len(pages))

    def test_16_bits(self):
        values = [0, 1, 255, 256, 32767, 32768, 65534, 65535]
        rows = [[(v, 65535 - v, v // 3) for v in values]] * 3
        for more in ({}, {"separate": True}, {"tile": 16}):
            self.assertEqual(self.to_pnm(make_tiff(TiffPage(rows, 16, RGB, **more))), make_pnm(rows, 6, 65535))
        self.assertEqual(self.to_pnm(make_tiff(TiffPage([values], 16))), make_pnm([values], 5, 65535))
        self.assertEqual(self.to_pnm(make_tiff(TiffPage([values], 16, WHITE_IS_ZERO))),
                         make_pnm([[65535 - v for v in values]], 5, 65535))

    def test_alpha(self):
        rows = [[(200, 100, 50, 255), (200, 100, 50, 0), (200, 100, 50, 128)]]
        values = [[0xFFC86432, 0x00C86432, 0x80C86432]]
        for separate in (False, True):
            out = self.to_bmp(make_tiff(TiffPage(rows, 8, RGB, extra=[2], separate=separate)))
            self.assertEqual((out.bits, out.values()), (32, values))
        # Stored multiplied: 100, 50 and 25 of 128 are 199, 100 and 50 of 255.
        out = self.to_bmp(make_tiff(TiffPage([[(100, 50, 25, 128), (9, 9, 9, 0)]], 8, RGB, extra=[1])))
        self.assertEqual(out.values(), [[0x80C76432, 0x00090909]])
        # A further channel that is not called alpha is none.
        out = self.to_bmp(make_tiff(TiffPage(rows, 8, RGB, extra=[0])))
        self.assertEqual((out.bits, out.rows()), (24, [[(200, 100, 50)] * 3]))
        out = self.to_bmp(make_tiff(TiffPage([[(7, 255), (9, 3)]], 8, extra=[2])))
        self.assertEqual(out.values(), [[0xFF070707, 0x03090909]])
        out = self.to_bmp(make_tiff(TiffPage([[(0, 65535), (65535, 0)]], 16, extra=[2])))
        self.assertEqual(out.bits, 64)

    def test_orientations(self):
        upright = [list("abcde"), list("fghij"), list("klmno")]
        stored = {1: upright, 2: [row[::-1] for row in upright], 3: [row[::-1] for row in upright[::-1]],
                  # The first row is the left side in 5 and 8, the right one in 6 and 7; it begins above in 5 and 6.
                  4: upright[::-1], 5: list(zip(*upright)), 6: list(zip(*upright))[::-1],
                  7: [row[::-1] for row in list(zip(*upright))[::-1]], 8: [row[::-1] for row in zip(*upright)]}
        convert = {1: lambda c: ord(c) & 1, 4: lambda c: ord(c) & 15, 8: ord, 24: lambda c: (ord(c), 1, 2),
                   48: lambda c: (ord(c) * 300, 1, 65535)}

        def page(rows, bits, **more):
            return TiffPage([[convert[bits](c) for c in row] for row in rows], {24: 8, 48: 16}.get(bits, bits),
                            RGB if bits > 8 else BLACK_IS_ZERO, resolution=((300, 1), (150, 1)), **more)

        for bits in convert:
            expected = self.to_pnm(make_tiff(page(upright, bits)))
            found = self.to_pnm(make_tiff(*[page(rows, bits, orientation=number) for number, rows in stored.items()]))
            self.assertEqual(found, expected * 8, bits)
            info = json.loads(self.tool("info", "in.tif", "--json"))["pages"]
            self.assertEqual([(each["width"], each["height"]) for each in info], [(5, 3)] * 8)
            self.assertEqual([each["dpi"] for each in info], [[300, 150]] * 4 + [[150, 300]] * 4)

    def test_resolution(self):
        for resolution, unit, ppm in ((DPI_300, 2, (11811, 11811)), (((300, 1), (150, 1)), 2, (11811, 5906)),
                                      (((728, 10), (118, 1)), 3, (7280, 11800)), (DPI_300, None, (11811, 11811)),
                                      (DPI_300, 1, (0, 0)), (((0, 1), (0, 1)), 2, (0, 0)),
                                      (((1, 0), (1, 0)), 2, (0, 0)), (((2**32 - 1, 1), (1, 2**32 - 1)), 2, (0, 0)),
                                      (None, 2, (0, 0))):
            out = self.to_bmp(make_tiff(TiffPage([[1, 2]], 8, resolution=resolution, unit=unit)))
            if resolution and resolution[0][0] > 2**31:
                continue  # read without a fault is enough
            self.assertEqual((out.x_ppm, out.y_ppm), ppm, (resolution, unit))
            if ppm == (0, 0):
                self.assertIn("in.tif: the file records no resolution. Give it with --input-dpi",
                              self.tool("resample", "in.tif", "new.bmp", "--dpi", 200, code=3))

    def test_thumbnails_are_no_pages(self):
        content = make_tiff(TiffPage([[1]], subfile=1), TiffPage([[2, 3]]), TiffPage([[4]], subfile=4))
        self.assertEqual(self.to_pnm(content), make_pnm([[2, 3]], 5))
        self.assertEqual(self.to_pnm(make_tiff(TiffPage([[1]], subfile=1))), make_pnm([[1]], 5))

    def test_info(self):
        self.file("in.tif", make_tiff(TiffPage(pattern(30, 20, 2), 1, WHITE_IS_ZERO, fill=2, resolution=DPI_300),
                                      TiffPage([[(1, 2, 3)] * 9], 8, RGB, DEFLATE, separate=True)))
        found = json.loads(self.tool("info", "in.tif", "--json", "--dpi", 150))
        self.assertEqual((found["format"], found["page_count"], found["warnings"], len(found["pages"])),
                         ("TIFF", 2, [], 2))
        expected = [{"width": 30, "height": 20, "bits": 1, "page_bits": 1, "compression": "no compression",
                     "layout": "1 strip, low bit first, 0 is white", "channels": "black and white", "gray": True,
                     "stored_resolution": "300 dots per inch", "dpi": [300, 300]},
                    {"width": 9, "height": 1, "bits": 24, "page_bits": 24, "compression": "Deflate compression",
                     "layout": "3 strips, separate planes", "channels": "red, green, blue", "gray": False,
                     "stored_resolution": None, "dpi": None, "conversion": None}]
        for page, wanted in zip(found["pages"], expected):
            self.assertEqual({key: page[key] for key in wanted}, wanted)
        self.assertEqual(found["conversion"]["width"], 15)
        said = self.tool("info", "in.tif")
        for words in ("2 pages", "page 2\n", "300 dpi (300 dots per inch)", "low bit first"):
            self.assertIn(words, said)
        self.assertNotIn("page 1\n", self.tool("info", "in.tif", "--page", 2))


class Writing(TiffTest):
    def written(self, content, *command):
        self.file("in.bmp", content)
        self.tool(*(command or ("normalize",)), "in.bmp", "out.tif", "--force")
        pages = self.dump("out.tif")
        self.assertEqual(len(pages), 1)
        return pages[0]

    def back(self):
        self.tool("normalize", "out.tif", "back.bmp", "--force")
        return Bmp(self.read("back.bmp"))

    def test_black_and_white_is_group_4(self):
        rows = pattern(29, 50, 2)
        for palette in ([BLACK, WHITE], [WHITE, BLACK]):
            page = self.written(make_bmp(rows, 1, palette))
            black = [[int(palette[v] == BLACK) for v in row] for row in rows]
            self.assertEqual((page["bits"], page["compression"], page["photometric"], page["strip"]),
                             (1, GROUP_4, WHITE_IS_ZERO, 50))
            bits = [bin(int(row, 16))[2:].zfill(32)[:29] for row in page["rows"]]
            self.assertEqual(bits, ["".join(map(str, row)) for row in black])
            self.assertEqual((page["unit"], page["x"], page["y"]), (2, 300, 300))
            self.assertEqual(self.back().rows(), [[palette[v] for v in row] for row in rows])

    def test_tables(self):
        for bits, count in ((1, 2), (4, 16), (8, 16)):
            rows = pattern(29, 5, count)
            page = self.written(make_bmp(rows, bits, COLOURS[:count] if bits > 1 else COLOURS[2:4]))
            self.assertEqual((page["bits"], page["samples"], page["photometric"]), (bits, 1, PALETTE))
            palette = COLOURS[:count] if bits > 1 else COLOURS[2:4]
            self.assertEqual(page["palette"][:count], [[c * 257 for c in colour] for colour in palette])
            self.assertEqual(self.back().rows(), [[palette[v] for v in row] for row in rows])

    def test_grays_and_colours(self):
        page = self.written(make_bmp([[0, 7, 255]], 8, [(i,) * 3 for i in range(256)]))
        self.assertEqual((page["bits"], page["photometric"], page["rows"]), (8, BLACK_IS_ZERO, ["0007ff"]))
        page = self.written(make_bmp([[0x112233, 0xFFEEDD]], 24))
        self.assertEqual((page["bits"], page["samples"], page["photometric"], page["rows"]),
                         (8, 3, RGB, ["112233ffeedd"]))
        page = self.written(make_bmp([[0x80112233]], 32, header=108, compression=3,
                                     masks=(0xFF0000, 0xFF00, 0xFF, 0xFF000000)))
        self.assertEqual((page["samples"], page["alpha"], page["rows"]), (4, 2, ["11223380"]))

    def test_16_bits_come_back_exactly(self):
        values = [0, 1, 255, 256, 32767, 32768, 65534, 65535]
        for content in (make_pnm([[(v, 65535 - v, 9) for v in values]], 6, 65535), make_pnm([values], 5, 65535)):
            self.file("in.pnm", content)
            self.tool("normalize", "in.pnm", "out.tif", "--force")
            page = self.dump("out.tif")[0]
            self.assertEqual(page["bits"], 16)
            self.tool("rescale", "out.tif", "back.pnm", "--input-dpi", 300, "--dpi", 300, "--force")
            self.assertEqual(self.read("back.pnm"), content)

    def test_resolution_reads_back_the_same(self):
        for ppm, stored in (((11811, 11811), (2, 300, 300)), ((11811, 5906), (2, 300, 150)),
                            ((5905, 5905), (2, 150, 150)), ((7280, 7280), (3, 72.8, 72.8)),
                            ((3661, 3622), (2, 93, 92)), ((2800, 2835), (3, 28, 28.35)),
                            ((1, 10000000), (3, 0.01, 100000))):
            page = self.written(make_bmp([[1]], 24, ppm=ppm))
            self.assertEqual(page["unit"], stored[0])
            self.assertAlmostEqual(page["x"], stored[1], places=5)
            self.assertAlmostEqual(page["y"], stored[2], places=5)
            back = self.back()
            self.assertEqual((back.x_ppm, back.y_ppm), tuple(5906 if v == 5905 else v for v in ppm))
        self.assertEqual(self.written(make_bmp([[1]], 24, ppm=(0, 0)))["x"], 0)
        for dpi in (72, 150, 200, 204, 300, 1200):
            page = self.written(make_bmp([[1] * 40] * 40, 24, ppm=(7874, 7874)), "resample", "--dpi", dpi)
            self.assertEqual((page["unit"], page["x"], page["y"]), (2, dpi, dpi))
            self.assertEqual(json.loads(self.tool("info", "out.tif", "--json"))["dpi"], [dpi, dpi])

    def test_several_pages(self):
        pages = [TiffPage(pattern(30, 20, 2), 1, WHITE_IS_ZERO, resolution=DPI_300),
                 TiffPage([[COLOURS[x % 16] for x in range(30)]] * 12, 8, RGB, resolution=((200, 1), (200, 1))),
                 TiffPage(pattern(30, 6, 16), 4, PALETTE, palette=COLOURS, resolution=DPI_300),
                 TiffPage([[x * 2184 for x in range(30)]] * 3, 16, resolution=DPI_300)]
        self.file("in.tif", make_tiff(*pages))
        said = self.tool("normalize", "in.tif", "out.tif")
        self.assertIn("out.tif: page 4: 30 x 3 pixels, 48 bits, 300 dpi", said)
        found = self.dump("out.tif")
        self.assertEqual([(page["width"], page["height"], page["bits"], page["samples"], page["photometric"],
                           page["compression"], page["x"]) for page in found],
                         [(30, 20, 1, 1, 0, GROUP_4, 300), (30, 12, 8, 3, RGB, DEFLATE, 200),
                          (30, 6, 4, 1, PALETTE, DEFLATE, 300), (30, 3, 16, 1, 1, DEFLATE, 300)])
        for page in range(1, 5):
            self.tool("normalize", "in.tif", "a.pnm", "--page", page, "--force")
            self.tool("normalize", "out.tif", "b.pnm", "--page", page, "--force")
            self.assertEqual(self.read("a.pnm"), self.read("b.pnm"))
        self.tool("rescale", "in.tif", "half.tif", "--dpi", 100)
        self.assertEqual([(page["width"], page["x"]) for page in self.dump("half.tif")],
                         [(10, 100), (15, 100), (10, 100), (10, 100)])
        self.assertIn("has 4 pages, and a PNG file holds one", self.tool("normalize", "in.tif", "out.png", code=2))
        # A page that fails leaves no file.
        self.assertIn("16 bits per channel", self.tool("resample", "in.tif", "new.tif", "--dpi", 100, code=3))
        self.assertFalse(os.path.exists(self.path("new.tif")))

    def test_many_pages(self):
        self.file("in.tif", make_tiff(*[TiffPage([[i % 256, i // 256]], resolution=DPI_300) for i in range(600)]))
        self.tool("normalize", "in.tif", "out.tif")
        self.assertEqual([page["rows"] for page in self.dump("out.tif")],
                         [[f"{i % 256:02x}{i // 256:02x}"] for i in range(600)])


class Damaged(TiffTest):
    def refused(self, content, code=3):
        self.file("in.tif", content)
        done = self.run_tool("normalize", "in.tif", "out.tif", "--force")
        said = done.stderr.decode()
        self.assertEqual(done.returncode, code, said)
        self.assertTrue(said.startswith("in.tif: ") and said.count("\n") == 1, said)
        return said

    def test_many_lengths(self):
        fax = self.path("fax.tif")
        self.file("in.bmp", make_bmp(pattern(99, 90, 2), 1, [BLACK, WHITE]))
        self.tool("normalize", "in.bmp", "fax.tif")
        with open(fax, "rb") as file:
            contents = [file.read(), make_tiff(TiffPage([COLOURS] * 9, 8, RGB, DEFLATE), TiffPage([[1]], strip_rows=1))]
        for content in contents:
            # The last four bytes are the link to a page that is not there.
            for length in list(range(0, len(content) - 4, 29)) + [len(content) - 5]:
                self.refused(content[:length])

    def test_pixels_cut_off_in_front_of_the_directory(self):
        # The strips come first in these files: cutting them leaves the directory whole.
        page = TiffPage(pattern(200, 200, 256), 8, compression=DEFLATE)
        page.parts = [part[:len(part) // 2] for part in page.parts]
        self.assertIn("its pixels cannot be read", self.refused(make_tiff(page)))
        self.file("in.bmp", make_bmp(pattern(200, 200, 2), 1, [BLACK, WHITE]))
        self.tool("normalize", "in.bmp", "fax.tif")
        content = self.read("fax.tif")
        page = TiffPage([[0]], 1, WHITE_IS_ZERO, GROUP_4, size=(200, 200), strip_rows=200)
        page.parts = [content[8:len(content) // 2]]
        self.assertIn("its pixels cannot be read", self.refused(make_tiff(page)))

    def test_a_changed_byte(self):
        for content in (make_tiff(TiffPage(pattern(9, 9, 16), 4, PALETTE, DEFLATE, COLOURS, resolution=DPI_300)),
                        make_tiff(TiffPage([COLOURS] * 20, 8, RGB, tile=16), TiffPage([[1]]))):
            for at in range(0, len(content), 7 if len(content) < 600 else 53):
                self.file("in.tif", content[:at] + bytes([content[at] ^ 0x55]) + content[at + 1:])
                done = self.run_tool("normalize", "in.tif", "out.tif", "--force")
                self.assertIn(done.returncode, (0, 3, 4), (at, done.stderr))
                if done.returncode != 0:
                    self.assertEqual(done.stderr.count(b"\n"), 1, done.stderr)

    def test_declared_sizes(self):
        self.assertIn("--max-pixels", self.refused(make_tiff(TiffPage([[1]], size=(2**31 - 1, 2**31 - 1))), code=4))
        self.assertIn("is damaged", self.refused(make_tiff(TiffPage([[1]], size=(2**32 - 1, 1)))))
        self.refused(make_tiff(TiffPage([[1]], tile=16, size=(10**6, 10**6))))
        self.refused(make_tiff(TiffPage([[1]], tile=16, size=(2**31 - 1, 9999))))
        self.refused(make_tiff(TiffPage([[1]], size=(20000, 20000))))
        self.refused(make_tiff(TiffPage([[1]], size=(20000, 20000), strip_rows=2**32 - 1)))
        huge = [_entry(322, LONG, [2**31 - 16]), _entry(323, LONG, [2**31 - 16])]
        self.refused(make_tiff(TiffPage([[1]], tile=16, more=huge)))
        self.refused(make_tiff(TiffPage([[1]], more=[_entry(277, SHORT, [65535])])))
        self.refused(make_tiff(TiffPage([[1]], more=[_entry(258, SHORT, [0])])))
        self.refused(make_tiff(TiffPage([[1]], more=[_entry(259, SHORT, [34661])])))

    def test_pages_that_go_round(self):
        content = bytearray(make_tiff(TiffPage([[1]]), TiffPage([[2]])))
        content[-4:] = content[4:8]
        self.refused(bytes(content))
        self.assertIn("page 3 cannot be read", self.refused(bytes(content[:-4]) + struct.pack("<I", len(content) + 99)))


if __name__ == "__main__":
    unittest.main()
