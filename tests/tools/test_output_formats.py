"""Which format a file is read and written in, bare DIBs, and what a build without the others says."""

import os
import unittest

from pictures import GRAY, RGB, make_png, make_pnm
from tool_test import COLOURS, Bmp, ToolTest, make_bmp, pattern

ALL_FORMATS = os.environ.get("DIBPREP_IMAGE_FORMATS") == "ON"
STARTS = {"bmp": b"BM", "pnm": b"P6", "dib": b"\x28\0\0\0"}
if ALL_FORMATS:
    STARTS.update({"png": b"\x89PNG", "tiff": b"II*\0", "jpeg": b"\xff\xd8\xff"})
IN = make_bmp([[0xFF0000, 0xFF00, 0xFF]] * 2, 24)


class OutputFormats(ToolTest):
    def setUp(self):
        super().setUp()
        self.file("in.bmp", IN)

    def written(self, name, *more, source="in.bmp"):
        self.tool("normalize", source, name, "--force", *more)
        content = self.read(name)
        return [key for key, start in STARTS.items() if content.startswith(start)]

    def test_by_the_ending_of_the_name(self):
        for ending, key in ((".bmp", "bmp"), (".BMP", "bmp"), (".ppm", "pnm"), (".pnm", "pnm"), (".dib", "dib"),
                            (".png", "png"), (".tif", "tiff"), (".tiff", "tiff"), (".jpg", "jpeg"), (".JPeG", "jpeg")):
            if key in STARTS:
                self.assertEqual(self.written("out" + ending), [key], ending)

    def test_by_option(self):
        for key in STARTS:
            self.assertEqual(self.written("out.bmp", "--format", key), [key])
            self.assertEqual(self.written("out", "--format", key), [key])
        self.assertIn("--format wants bmp or", self.tool("normalize", "in.bmp", "o", "--format", "gif", code=2))

    def test_no_ending_means_the_format_of_the_input(self):
        self.file("in.ppm", make_pnm([COLOURS[:3]], 6))
        os.mkdir(self.path("folder.bmp"))
        for name in ("out", "out.", ".out", "folder.bmp/out", "folder.bmp/.out"):
            self.assertEqual(self.written(name), ["bmp"])
            self.assertEqual(self.written(name, source="in.ppm"), ["pnm"])

    def test_unknown_endings_are_refused_without_format(self):
        os.mkdir(self.path("folder"))
        known = "BMP, PNG, TIFF, JPEG, PNM and DIB" if ALL_FORMATS else "BMP, PNM and DIB"
        self.file("kept.gif", b"kept")
        for name, ending in (("q.gif", ".gif"), ("folder/page.old.GIF", ".GIF"), ("kept.gif", ".gif"), ("q.2", ".2")):
            begin = (f"{name}: the ending {ending} stands for none of the formats that this build writes ({known}): "
                     "choose one of their endings")
            for command in (["normalize", "in.bmp", name], ["palette", name]):
                self.assertEqual(self.tool(*command, "--force", code=2),
                                 begin + ", or name a format with --format.\n")
            self.assertEqual(self.tool("compare", "in.bmp", "in.bmp", "--picture", name, "--force", code=2),
                             begin + ".\n")
        self.only_files("in.bmp", "folder", "kept.gif")
        self.assertEqual((os.listdir(self.path("folder")), self.read("kept.gif")), ([], b"kept"))
        self.assertEqual(self.written("q.gif", "--format", "pnm"), ["pnm"])
        self.tool("palette", "p.gif", "--format", "dib")
        self.assertEqual(self.read("p.gif")[:4], STARTS["dib"])

    def test_pages_in_a_folder_keep_their_names_whatever_they_end_with(self):
        self.file("page.scan", IN)
        self.tool("normalize", "-o", "out", "page.scan")
        self.assertEqual(self.read("out/page.scan")[:2], b"BM")

    def test_the_palette_is_a_bmp_file_unless_said(self):
        for name, start in (("out", b"BM"), ("out.ppm", b"P6")):
            self.tool("palette", name)
            self.assertTrue(self.read(name).startswith(start))

    def test_content_counts_and_not_the_name(self):
        self.file("in.png", IN)
        self.assertEqual(self.written("out.dib", source="in.png"), ["dib"])
        self.file("in.bmp", make_pnm([COLOURS[:3]], 6))
        self.tool("normalize", "in.bmp", "out.ppm")
        self.assertEqual(self.read("out.ppm"), self.read("in.bmp"))
        if ALL_FORMATS:
            self.file("in.bmp", make_png([COLOURS[:3]], RGB))
            self.tool("normalize", "in.bmp", "out.ppm", "--force")
            self.assertEqual(self.read("out.ppm"), make_pnm([COLOURS[:3]], 6))

    def test_bare_dibs_are_bmp_files_without_their_first_bytes(self):
        cases = [make_bmp(pattern(9, 4, 1 << bits), bits, COLOURS[:min(1 << bits, 16)]) for bits in (1, 4)]
        cases += [make_bmp(pattern(9, 4, 16), 8, COLOURS), IN, make_bmp([[1, 2]], 16), make_bmp([[1, 2]], 48),
                  make_bmp([[1, 2]], 32, header=108, compression=3, masks=(0xFF0000, 0xFF00, 0xFF, 0xFF000000))]
        for content in cases:
            self.file("in.bmp", content)
            self.tool("normalize", "in.bmp", "plain.bmp", "--force")
            self.tool("normalize", "in.bmp", "out.dib", "--force")
            self.assertEqual(self.read("out.dib"), self.read("plain.bmp")[14:])
            self.tool("normalize", "out.dib", "back.bmp", "--force")
            self.assertEqual(self.read("back.bmp"), self.read("plain.bmp"))
        self.file("core.dib", make_bmp(pattern(5, 4, 2), 1, COLOURS[:2], header=12)[14:])
        self.tool("normalize", "core.dib", "back.bmp", "--force")
        self.assertEqual(Bmp(self.read("back.bmp")).values(), pattern(5, 4, 2))
        self.assertIn("bare DIB, header of 12 bytes", self.tool("info", "core.dib"))
        for length in (0, 3, 15, 20, 40, 50):
            self.file("cut.dib", self.read("out.dib")[:length])
            self.tool("info", "cut.dib", code=3)

    def test_several_pages_need_a_format_that_holds_them(self):
        self.file("in.pnm", make_pnm(pattern(9, 3, 2), 4) * 3)
        said = self.tool("normalize", "in.pnm", "out.bmp", code=2)
        self.assertIn("in.pnm: has 3 pages, and a BMP file holds one. Choose one with --page", said)
        self.tool("normalize", "in.pnm", "out.bmp", "--page", 2)
        self.assertIn("has 3 pages; there is no page 4", self.tool("normalize", "in.pnm", "o.bmp", "--page", 4, code=2))
        self.assertIn("has 1 page; there", self.tool("normalize", "out.bmp", "o.bmp", "--page", 2, code=2))
        self.only_files("in.bmp", "in.pnm", "out.bmp")

    @unittest.skipIf(ALL_FORMATS, "this build has all formats")
    def test_the_other_build_is_named(self):
        self.file("in.png", make_png([[1, 2]], GRAY))
        for command in (["info", "in.png"], ["normalize", "in.png", "out.bmp"]):
            said = self.tool(*command, code=3)
            self.assertEqual(said, "in.png: this is a PNG picture; this build reads and writes BMP, DIB and PNM files, "
                                   "the 64-bit build also PNG, TIFF and JPEG. Use that build, or save it as one of "
                                   "these.\n")
        for name in ("out.png", "out.tif", "out.TIFF", "out.jpg", "out.jpeg"):
            self.assertIn("the 64-bit build also PNG, TIFF and JPEG", self.tool("normalize", "in.bmp", name, code=2))
        self.only_files("in.bmp", "in.png")


if __name__ == "__main__":
    unittest.main()
