"""dibprep info: headers in words, and as JSON."""

import json
import os
import unittest

from tool_test import COLOURS, TOOL, ToolTest, make_bmp, pattern


class Info(ToolTest):
    def info(self, content, *more):
        self.file("in.bmp", content)
        return json.loads(self.tool("info", "in.bmp", "--json", *more))

    def test_json(self):
        found = self.info(make_bmp(pattern(248, 350, 16), 8, COLOURS, header=108))
        self.assertEqual(found, {
            "file": "in.bmp", "bytes": 14 + 108 + 64 + 248 * 350, "format": "BMP", "page_count": 1, "warnings": [],
            "header_size": 108, "top_down": False, "pixel_offset": 186, "width": 248, "height": 350, "bits": 8,
            "page_bits": 8, "compression": "no compression", "layout": "bottom-up, pixels at byte 186 of 86 986",
            "channels": "colour table", "colors": 16, "colors_used": None, "gray": False, "alpha": False,
            "pixels_per_metre": [11811, 11811], "stored_resolution": "11811 pixels per metre", "dpi": [300, 300],
            "conversion": {"dpi": 200, "width": 165, "height": 233, "bytes": 168 * 233 + 1078}})

    def test_memory_of_a_conversion_is_the_library_s_answer(self):
        for bits, dpi, size in ((1, 200, (165, 233, 24 * 233)), (4, 200, (165, 233, 496 * 233)),
                                (24, 600, (496, 700, 1488 * 700)), (32, 100, (82, 116, 248 * 116))):
            palette = COLOURS[:1 << bits] if bits < 16 else ()
            found = self.info(make_bmp([[0] * 248] * 350, bits, palette), "--dpi", dpi)["conversion"]
            self.assertEqual(found, {"dpi": dpi, "width": size[0], "height": size[1], "bytes": size[2] + 1078})

    def test_what_is_not_known_is_null(self):
        found = self.info(make_bmp([[0] * 3], 24, ppm=(0, 0)))
        self.assertEqual((found["dpi"], found["conversion"], found["pixels_per_metre"]), (None, None, [0, 0]))
        found = self.info(make_bmp([[0] * 3], 24, ppm=(0, 0)), "--input-dpi", 100)
        self.assertEqual((found["dpi"], found["conversion"]["width"]), ([100, 100], 6))

    def test_words(self):
        self.file("in.bmp", make_bmp(pattern(248, 350, 2), 1, COLOURS[:2], ppm=(11811, 5906)))
        said = self.tool("info", "in.bmp")
        for words in ("Windows bitmap (BMP), header of 40 bytes", "248 x 350 pixels, 1 bit per pixel",
                      "no compression, bottom-up", "gray, table of 2 entries",
                      "300 x 150 dpi (11811 x 5906 pixels per metre)",
                      "21.0 x 59.3 mm", "at 200 dpi", "165 x 466 pixels"):
            self.assertIn(words, said)
        self.file("in.bmp", make_bmp([[0] * 4], 16, top_down=True, compression=3, masks=(0xF800, 0x7E0, 0x1F),
                                     ppm=(0, 0)))
        said = self.tool("info", "in.bmp")
        for words in ("bit fields, top-down", "red, green, blue", "not recorded", "--input-dpi"):
            self.assertIn(words, said)

    def test_colours_in_use(self):
        for content, count in ((make_bmp([[0, 1, 1, 5]], 8, COLOURS), 3), (make_bmp([[0, 1, 2]], 4, COLOURS[:1] * 3), 1),
                               (make_bmp([[1]], 1, COLOURS[:2]), 1), (make_bmp([[1, 2, 1], [3, 2, 4]], 24), 4),
                               (make_bmp([[1, 0xFF000001, 2]], 32), 2), (make_bmp([[0x7FFF, 0xFFFF, 1]], 16), 2),
                               (make_bmp([[1, 1 << 40, 1]], 48), 2), (make_bmp([[1, 1 | 1 << 50, 2]], 64), 2)):
            self.assertEqual(self.info(content, "--count-colors")["colors_used"], count)
        self.file("in.bmp", make_bmp(pattern(40, 40, 16), 8, COLOURS))
        self.assertIn("colour table of 16 entries; in use: 16", self.tool("info", "in.bmp", "--count-colors"))

    def test_several_files(self):
        self.file("a.bmp", make_bmp([[0] * 4] * 4, 24))
        self.file("b.bmp", make_bmp(pattern(9, 3, 16), 8, COLOURS))
        self.file("bad.bmp", b"BM")
        alone = [self.tool("info", name) for name in ("a.bmp", "b.bmp")]
        self.assertEqual(self.tool("info", "a.bmp", "b.bmp"), "\n".join(alone))
        alone = [json.loads(self.tool("info", name, "--json")) for name in ("a.bmp", "b.bmp")]
        lines = self.tool("info", "--json", "a.bmp", "b.bmp").splitlines()
        self.assertEqual([json.loads(line) for line in lines], alone)
        for names in (("bad.bmp", "a.bmp", "b.bmp"), ("a.bmp", "bad.bmp", "b.bmp"), ("a.bmp", "b.bmp", "bad.bmp")):
            done = self.run_tool("info", "--json", *names)
            self.assertEqual((done.returncode, done.stdout.decode().splitlines()), (1, lines))
            self.assertRegex(done.stderr.decode(), r"^bad\.bmp: .*\n1 of 3 files could not be described\.\n$")
            done = self.run_tool("info", *names)
            self.assertEqual(done.stdout.decode(), self.tool("info", "a.bmp", "b.bmp"))
        self.assertIn("IN is required", self.tool("info", code=2))

    def test_reads_headers_only(self):
        content = make_bmp([[0] * 4] * 4, 24)
        self.file("in.bmp", content[:54] + bytes(48))
        self.assertIn("4 x 4 pixels", self.tool("info", "in.bmp"))

    def test_names_that_are_no_text(self):
        name = os.path.join(os.fsencode(self.folder), b"\xff\xfe.bmp")
        with open(name, "wb") as file:
            file.write(make_bmp([[0] * 4] * 4, 24))
        done = self.run_tool("info", "--json", os.fsdecode(name))
        self.assertEqual((done.returncode, json.loads(done.stdout)["width"]), (0, 4))

    @unittest.skipUnless(os.path.exists("/dev/full"), "no /dev/full here")
    def test_output_that_cannot_be_written(self):
        import subprocess
        self.file("in.bmp", make_bmp([[0] * 4] * 4, 24))
        with open("/dev/full", "wb") as full:
            done = subprocess.run([TOOL, "info", "in.bmp"], cwd=self.folder, stdout=full, stderr=subprocess.PIPE)
        self.assertEqual(done.returncode, 5)


if __name__ == "__main__":
    unittest.main()
