"""Damaged and foreign files: each is refused with code 3 and a sentence that says why; limits with 4."""

import os
import struct
import unittest

from tool_test import COLOURS, ToolTest, make_bmp, pattern

ALL_FORMATS = os.environ.get("DIBPREP_IMAGE_FORMATS") == "ON"
ROWS = pattern(5, 4, 16)


def patched(content, at, form, value):
    return content[:at] + struct.pack(form, value) + content[at + struct.calcsize(form):]


GOOD = make_bmp(ROWS, 8, COLOURS)
GOOD_24 = make_bmp([[1, 2, 3]] * 2, 24)
GOOD_32 = make_bmp([[1, 2, 3]] * 2, 32, compression=3, masks=(0xFF0000, 0xFF00, 0xFF))
RUNS = make_bmp(ROWS, 8, COLOURS, compression=1, data=bytes((5, 1, 0, 0)) * 4 + bytes((0, 1)))

BAD = [
    ("empty", b"", "is empty"),
    ("one byte", b"B", "not a picture of a known kind"),
    ("magic only", b"BM", "ends inside its header"),
    ("file header only", GOOD[:14], "ends inside its header"),
    ("half a header", GOOD[:40], "ends inside its header"),
    ("half a long header", make_bmp(ROWS, 8, COLOURS, header=124)[:100], "ends inside its header"),
    ("half a core header", make_bmp(ROWS, 8, COLOURS, header=12)[:22], "ends inside its header"),
    ("text", b"Dear sir or madam,\n", "not a picture of a known kind"),
    ("png", b"\x89PNG\r\n\x1a\n" + bytes(60), "its PNG data are damaged" if ALL_FORMATS else "a PNG picture"),
    ("jpeg", b"\xff\xd8\xff\xe0" + bytes(60), "inside its JPEG data" if ALL_FORMATS else "a JPEG picture"),
    ("tiff", b"II*\0" + bytes(60), "its directory cannot be read" if ALL_FORMATS else "a TIFF picture"),
    ("big-endian tiff", b"MM\0*" + bytes(60), "its directory cannot be read" if ALL_FORMATS else "a TIFF picture"),
    ("gif", b"GIF89a" + bytes(60), "a GIF picture"),
    ("pdf", b"%PDF-1.4\n", "a PDF document"),
    ("os/2 array", b"BA" + bytes(60), "an OS/2 bitmap array"),
    ("header of 41 bytes", patched(GOOD, 14, "<I", 41), "claims 41 bytes"),
    ("header of 0 bytes", patched(GOOD, 14, "<I", 0), "claims 0 bytes"),
    ("header of 4 GB", patched(GOOD, 14, "<I", 0xFFFFFFFF), "claims 4294967295 bytes"),
    ("width 0", patched(GOOD, 18, "<i", 0), "has no pixels"),
    ("height 0", patched(GOOD, 22, "<i", 0), "has no pixels"),
    ("width below 0", patched(GOOD, 18, "<i", -5), "width is -5"),
    ("lowest height", patched(GOOD, 22, "<i", -2**31), "5 x 2147483648 pixels"),
    ("no plane", patched(GOOD, 26, "<H", 0), "0 colour planes"),
    ("4 planes", patched(GOOD, 26, "<H", 4), "4 colour planes"),
    ("0 bits", patched(GOOD, 28, "<H", 0), "0 bits per pixel"),
    ("3 bits", patched(GOOD, 28, "<H", 3), "3 bits per pixel"),
    ("65535 bits", patched(GOOD, 28, "<H", 65535), "65535 bits per pixel"),
    ("RLE8 with 24 bits", patched(GOOD_24, 30, "<I", 1), "do not belong together"),
    ("RLE4 with 8 bits", patched(GOOD, 30, "<I", 2), "do not belong together"),
    ("masks with 8 bits", patched(GOOD, 30, "<I", 3), "do not belong together"),
    ("jpeg inside", patched(GOOD, 30, "<I", 4), "a JPEG picture inside"),
    ("png inside", patched(GOOD, 30, "<I", 5), "a PNG picture inside"),
    ("compression 77", patched(GOOD, 30, "<I", 77), "unknown number 77"),
    ("RLE24 of OS/2", make_bmp([[1]], 24, header=64, compression=4), "RLE24"),
    ("huffman of OS/2", make_bmp([[1]], 1, COLOURS[:2], header=64, compression=3), "Huffman"),
    ("top-down run lengths", patched(RUNS, 22, "<i", -4), "from the top down"),
    ("masks all 0", patched(patched(patched(GOOD_32, 54, "<I", 0), 58, "<I", 0), 62, "<I", 0), "all 0"),
    ("mask with a gap", patched(GOOD_32, 54, "<I", 0xF0F000), "red mask has a gap"),
    ("mask beyond 16 bits", make_bmp([[1]], 16, compression=3, masks=(0xF800, 0x107E0, 0x1F)), "green mask reaches"),
    ("cut in the masks", GOOD_32[:60], "channel masks"),
    ("pixels in the header", patched(GOOD, 10, "<I", 20), "inside the header"),
    ("pixels behind the end", patched(GOOD, 10, "<I", 100000), "has only"),
    ("no colour table", patched(GOOD, 10, "<I", 54), "no colour table"),
    ("cut in the last row", GOOD[:-4], "ends 1 byte before"),
    ("cut in the first row", GOOD[:-30], "before the end of its last row"),
    ("wider than the file", patched(GOOD_24, 18, "<i", 20000), "before the end of its last row"),
    ("run lengths cut off", RUNS[:-8], "break off"),
]


class BadFiles(ToolTest):
    def test_every_kind(self):
        for name, content, message in BAD:
            self.file("in.bmp", content)
            for command in (["resample", "in.bmp", "out.bmp", "--dpi", 200], ["info", "in.bmp"]):
                if command[0] == "info" and "break off" in message:
                    continue  # info reads headers only
                with self.subTest(name, command=command[0]):
                    said = self.tool(*command, code=3)
                    self.assertIn(message, said)
                    self.assertTrue(said.startswith("in.bmp: "), said)
                    self.assertEqual(said.count("\n"), 1)
        self.only_files("in.bmp")

    def test_every_good_one_is_good(self):
        for content in (GOOD, GOOD_24, GOOD_32, RUNS):
            self.file("in.bmp", content)
            self.tool("normalize", "in.bmp", "out.bmp", "--force")

    def test_every_length_of_a_file_is_survived(self):
        for content in (GOOD, GOOD_32, RUNS):
            for length in range(0, len(content), 7):
                self.file("in.bmp", content[:length])
                done = self.run_tool("normalize", "in.bmp", "out.bmp", "--force")
                self.assertIn(done.returncode, (0, 3), (length, done.stderr))

    def test_no_resolution(self):
        self.file("in.bmp", make_bmp(ROWS, 8, COLOURS, ppm=(0, 0)))
        for command in ("resample", "rescale"):
            self.assertIn("--input-dpi", self.tool(command, "in.bmp", "out.bmp", "--dpi", 200, code=3))
        for ppm in ((11811, 0), (-1, 11811), (11811, -2**31)):
            self.file("in.bmp", make_bmp(ROWS, 8, COLOURS, ppm=ppm))
            self.assertIn("--input-dpi", self.tool("resample", "in.bmp", "out.bmp", "--dpi", 200, code=3))

    def test_useless_resolution(self):
        for ppm, words in ((20, "less than 1"), (2**31 - 1, "more than 65535")):
            self.file("in.bmp", make_bmp(ROWS, 8, COLOURS, ppm=(ppm, ppm)))
            said = self.tool("resample", "in.bmp", "out.bmp", "--dpi", 200, code=3)
            self.assertIn(words, said)
            self.assertIn("--input-dpi", said)

    def test_16_bits_per_channel_name_the_other_command(self):
        self.file("in.bmp", make_bmp([[1, 2]], 48))
        self.assertIn("rescale", self.tool("resample", "in.bmp", "out.bmp", "--dpi", 200, code=3))
        for command in (["convert", "--depth", 24], ["quantize", "--colors", 4]):
            self.assertIn("16 bits per channel", self.tool(command[0], "in.bmp", "out.bmp", *command[1:], code=3))


class Limits(ToolTest):
    def test_declared_pixels(self):
        # Nothing is behind the headers: the limit comes first, and before any memory of that size.
        self.file("in.bmp", make_bmp([[0]], 24, width=2**31 - 1, height=2**31 - 1))
        for command in (["resample", "in.bmp", "out.bmp", "--dpi", 200], ["info", "in.bmp"]):
            said = self.tool(*command, code=4)
            self.assertIn("4611686014132420609", said)
            self.assertIn("400000000", said)
            self.assertIn("--max-pixels", said)

    def test_limit_can_be_moved(self):
        self.file("in.bmp", GOOD)
        self.assertIn("limit is 19", self.tool("normalize", "in.bmp", "out.bmp", "--max-pixels", 19, code=4))
        self.tool("normalize", "in.bmp", "out.bmp", "--max-pixels", 20)

    def test_result_beyond_the_limit(self):
        self.file("in.bmp", make_bmp([[1] * 100] * 100, 8, COLOURS))
        for command in ("resample", "rescale"):
            said = self.tool(command, "in.bmp", "out.bmp", "--dpi", 600, "--max-pixels", 39999, "--force", code=4)
            self.assertIn("200 x 200 pixels", said)
            self.assertIn("--max-pixels", said)
            self.tool(command, "in.bmp", "out.bmp", "--dpi", 600, "--max-pixels", 40000, "--force")

    def test_sides_beyond_what_the_library_counts(self):
        self.file("in.bmp", make_bmp([[1] * 65536], 1, COLOURS[:2]))
        for command in ("resample", "rescale"):
            self.assertIn("65535", self.tool(command, "in.bmp", "out.bmp", "--dpi", 300, code=4))
        self.file("in.bmp", make_bmp([[1] * 40000], 1, COLOURS[:2]))
        self.assertIn("65535", self.tool("resample", "in.bmp", "out.bmp", "--dpi", 600, code=4))
        self.tool("rescale", "in.bmp", "out.bmp", "--dpi", "600x300")

    def test_widest_colour_table(self):
        self.file("in.bmp", make_bmp([[1] * 21845] * 2, 8, COLOURS))
        said = self.tool("resample", "in.bmp", "out.bmp", "--dpi", 150, code=4)
        self.assertIn("21844", said)
        self.file("in.bmp", make_bmp([[1] * 21844] * 2, 8, COLOURS))
        self.tool("resample", "in.bmp", "out.bmp", "--dpi", 150)

    def test_nothing_left(self):
        self.file("in.bmp", GOOD)
        for command in ("resample", "rescale"):
            self.assertIn("nothing would be left", self.tool(command, "in.bmp", "out.bmp", "--dpi", 20, code=2))
        self.only_files("in.bmp")


if __name__ == "__main__":
    unittest.main()
