#!/usr/bin/python3
"""Makes the pictures of the documentation from the sample pages, with the built tool.

    scripts/make_pictures.py [TOOL]

Every panel shows the same piece of paper; one pixel of a page becomes a square of 2 at 300 dots per
inch, of 3 at 200 and of 6 at 100, so that the pixels themselves can be seen. Writes docs/pictures/.
Needs python3-pil and fonts-dejavu-core; unpacks the samples when they are not there.
"""

import os
import subprocess
import sys
import tempfile

from PIL import Image, ImageDraw, ImageFont

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
SAMPLES = os.path.join(ROOT, "build", "samples")
PICTURES = os.path.join(ROOT, "docs", "pictures")
FONTS = "/usr/share/fonts/truetype/dejavu/DejaVu"
GAP = 12
LABEL = 22
INK, FAINT, PAPER = (30, 30, 34), (150, 150, 156), (255, 255, 255)


def find_tool():
    if len(sys.argv) > 1:
        return os.path.abspath(sys.argv[1])
    for preset in ("x86", "x64"):
        tool = os.path.join(ROOT, "build", preset, "tools", "dibprep")
        if os.path.exists(tool):
            return tool
    sys.exit("There is no built tool. Run ./run.sh first, or name the tool.")


class Workshop:
    """Runs the tool in a temporary folder and cuts panels out of what it makes."""

    def __init__(self, tool, folder):
        self.tool, self.folder = tool, folder

    def page(self, sample, dpi=300, command=None):
        path = os.path.join(SAMPLES, sample + ".bmp")
        if command:
            made = os.path.join(self.folder, f"{sample}-{command}-{dpi}.bmp")
            subprocess.run([self.tool, command, path, made, "--dpi", str(dpi), "--force"], check=True,
                           stderr=subprocess.DEVNULL)
            path = made
        return Image.open(path)

    def panel(self, box, sample, dpi=300, command=None):
        """The box (left, top, right, bottom at 300 dpi) of the page, enlarged without smoothing."""
        page = self.page(sample, dpi, command)
        cut = page.crop([side * dpi // 300 for side in box])
        size = (2 * (box[2] - box[0]), 2 * (box[3] - box[1]))
        return cut.convert("RGB").resize(size, Image.NEAREST)


def arrange(rows):
    """A sheet of labelled panels: rows of (label, picture)."""
    face = ImageFont.truetype(FONTS + "Sans.ttf", 14, layout_engine=0)
    width = max(sum(picture.width + GAP for _, picture in row) for row in rows) + GAP
    height = sum(max(picture.height for _, picture in row) + LABEL + GAP for row in rows) + GAP
    sheet = Image.new("RGB", (width, height), PAPER)
    draw = ImageDraw.Draw(sheet)
    y = GAP
    for row in rows:
        x = GAP
        for label, picture in row:
            draw.text((x, y), label, font=face, fill=INK)
            sheet.paste(picture, (x, y + LABEL))
            draw.rectangle((x - 1, y + LABEL - 1, x + picture.width, y + LABEL + picture.height), outline=FAINT)
            x += picture.width + GAP
        y += max(picture.height for _, picture in row) + LABEL + GAP
    return sheet


def save(sheet, name):
    path = os.path.join(PICTURES, name)
    # A table of colours halves the file; nothing of these few tones is lost to the eye.
    sheet.quantize(128, Image.MEDIANCUT, dither=0).save(path, optimize=True)
    print(f"{path}: {sheet.width} x {sheet.height}, {os.path.getsize(path)} bytes", file=sys.stderr)


def before_after(workshop):
    box = (1272, 2562, 1476, 2706)
    return arrange([
        [("the page: 300 dpi, 24 bits", workshop.panel(box, "page-24bit")),
         ("resample --dpi 200", workshop.panel(box, "page-24bit", 200, "resample"))],
        [("resample --dpi 100", workshop.panel(box, "page-24bit", 100, "resample")),
         ("the 1-bit page, resample --dpi 200", workshop.panel(box, "page-1bit", 200, "resample"))],
    ])


def roads(workshop):
    rows = []
    for box, sample, depth in (((186, 2892, 324, 2958), "page-1bit", "1 bit"),
                               ((1854, 588, 1992, 654), "page-colours", "8 bits, 256 colours")):
        rows.append([(f"300 dpi: {depth}", workshop.panel(box, sample)),
                     (f"resample --dpi 200: {depth}", workshop.panel(box, sample, 200, "resample")),
                     ("rescale --dpi 200: 24 bits", workshop.panel(box, sample, 200, "rescale"))])
    return arrange(rows)


def main():
    subprocess.run([os.path.join(ROOT, "scripts", "unpack-samples.sh"), SAMPLES], check=True)
    os.makedirs(PICTURES, exist_ok=True)
    with tempfile.TemporaryDirectory() as folder:
        workshop = Workshop(find_tool(), folder)
        save(before_after(workshop), "before-after.png")
        save(roads(workshop), "roads.png")


if __name__ == "__main__":
    main()
