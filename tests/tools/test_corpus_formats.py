"""Scans and photographs made by others, when a folder with them is given: read, kept exactly, and converted."""

import glob
import json
import os
import sys
import unittest

from pictures import Png
from tool_test import ToolTest

FOLDER = os.environ.get("DIBPREP_CORPUS", "")
NAMES = sorted(name for kind in ("png", "tif", "tiff", "jpg", "jpeg", "pgm", "ppm")
               for folder in ("pages", "photos") for name in glob.glob(os.path.join(FOLDER, folder, "*." + kind)))


class Corpus(ToolTest):
    def test_every_picture_is_kept_by_every_lossless_format(self):
        self.assertGreater(len(NAMES), 40)
        for name in NAMES:
            with self.subTest(os.path.basename(name)):
                for out in ("out.png", "out.tif", "out.pnm"):
                    self.tool("normalize", name, out, "--force")
                for other in ("out.png", "out.tif"):
                    self.tool("normalize", other, "back.pnm", "--force")
                    self.assertEqual(self.read("back.pnm"), self.read("out.pnm"))
                found = [json.loads(self.tool("info", each, "--json")) for each in (name, "out.png", "out.tif")]
                self.assertEqual(found[1]["dpi"], found[0]["dpi"])
                self.assertEqual(found[2]["dpi"], found[0]["dpi"])
                if found[0]["page_bits"] == 1:
                    self.assertEqual(found[2]["compression"], "G4 compression")

    def test_every_picture_can_be_converted(self):
        for name in NAMES:
            command = ["rescale" if json.loads(self.tool("info", name, "--json"))["page_bits"] > 32 else "resample"]
            with self.subTest(os.path.basename(name)):
                self.tool(*command, name, "out.png", "--input-dpi", 300, "--dpi", 100, "--force")
                self.tool("info", "out.png")

    def test_the_two_senses_of_black_and_white_are_the_same_picture(self):
        pictures = []
        for name in ("minisblack.tif", "miniswhite.tif"):
            self.tool("normalize", os.path.join(FOLDER, "pages", name), "out.png", "--force")
            pictures.append(Png(self.read("out.png")).rows)
        self.assertEqual(*pictures)


if __name__ == "__main__":
    if not NAMES:
        print("SKIPPED: no folder with test pictures (configure with -DDIBPREP_CORPUS=...)")
        sys.exit(77)
    unittest.main()
