"""The sample page, in all its depths, through every command."""

import json
import os
import unittest

from tool_test import PPM_200, SAMPLES, Bmp, ToolTest

PAGES = {"page-1bit": 1, "page-gray": 8, "page-colours": 8, "page-24bit": 24}
WHITE = (255, 255, 255)


def page(name):
    return os.path.join(SAMPLES, name + ".bmp")


class Samples(ToolTest):
    def test_info(self):
        for name, bits in PAGES.items():
            found = json.loads(self.tool("info", page(name), "--json"))
            self.assertEqual((found["width"], found["height"], found["bits"], found["dpi"]),
                             (2480, 3508, bits, [300, 300]))
            self.assertEqual((found["conversion"]["width"], found["conversion"]["height"]), (1653, 2338))
            self.assertEqual(found["gray"], name in ("page-1bit", "page-gray"))

    def convert(self, *arguments):
        self.tool(*arguments, "--force")
        out = Bmp(self.read("out.bmp"))
        # The corners of the page are paper.
        length = (out.width * out.bits + 31) // 32 * 4
        first = out.content[out.offset]
        if out.bits == 1:
            self.assertEqual(out.palette[first >> 7], WHITE)
        elif out.bits == 8:
            # A reduced white is the mean of the lightest colours.
            self.assertGreaterEqual(min(out.palette[first]), 252)
        else:
            self.assertEqual(out.content[out.offset:out.offset + 3], b"\xff\xff\xff")
        self.assertEqual(len(out.content), out.offset + length * out.height)
        return out

    def test_resample(self):
        for name, bits in PAGES.items():
            with self.subTest(name):
                out = self.convert("resample", page(name), "out.bmp", "--dpi", 200)
                self.assertEqual((out.width, out.height, out.bits, out.x_ppm), (1653, 2338, bits, PPM_200))
                if name == "page-colours":
                    self.assertGreater(out.used, 200)

    def test_rescale(self):
        for name in PAGES:
            with self.subTest(name):
                out = self.convert("rescale", page(name), "out.bmp", "--dpi", 200, "--crop", "0,1400,1653,500")
                self.assertEqual((out.width, out.height, out.bits, out.x_ppm), (1653, 500, 24, PPM_200))

    def test_depth_colours_and_form(self):
        for name, bits in PAGES.items():
            with self.subTest(name):
                self.assertEqual(self.convert("convert", page(name), "out.bmp", "--depth", 24).bits, 24)
                out = self.convert("normalize", page(name), "out.bmp")
                with open(page(name), "rb") as file:
                    self.assertEqual(out.content, file.read())
        self.assertEqual(self.convert("quantize", page("page-24bit"), "out.bmp", "--colors", 64).bits, 8)
        self.assertLessEqual(Bmp(self.read("out.bmp")).used, 64)


if __name__ == "__main__":
    unittest.main()
