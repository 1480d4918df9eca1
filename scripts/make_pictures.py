#!/usr/bin/python3
"""Makes the pictures of the documentation from the sample pages, with the built tool.

    scripts/make_pictures.py [TOOL]

Panels of one picture show the same piece of paper. One pixel of a page becomes a square, so that the
pixels themselves can be seen: at a scale of 2 squares of 2 at 300 dots per inch, of 3 at 200 and of 6
at 100; at a scale of 4 twice as much, and squares of 3 at 400. Colours are those of the page. Writes
docs/pictures/. Needs python3-pil and fonts-dejavu-core; unpacks the samples when they are not there.
"""

import os
import re
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
        self.tool, self.folder, self.pages = tool, folder, {}

    def page(self, sample, *commands):
        """The file of the sample page, or of what the commands (without IN and OUT) make of it in turn."""
        if not commands:
            return os.path.join(SAMPLES, sample + ".bmp")
        key = (sample, *commands)
        if key not in self.pages:
            before = self.page(sample, *commands[:-1])
            self.pages[key] = os.path.join(self.folder, f"{len(self.pages)}.bmp")
            command, *options = commands[-1].split()
            subprocess.run([self.tool, command, before, self.pages[key], *options, "--quiet"], check=True)
        return self.pages[key]

    def panel(self, box, sample, *commands, scale=2):
        """The box (left, top, right, bottom at 300 dpi) of the page, enlarged without smoothing."""
        asked = re.search(r"--dpi (\d+)", commands[-1]) if commands else None
        dpi = int(asked[1]) if asked else 300
        with Image.open(self.page(sample, *commands)) as page:
            cut = page.convert("RGB").crop([side * dpi // 300 for side in box])
        return cut.resize((scale * (box[2] - box[0]), scale * (box[3] - box[1])), Image.NEAREST)


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
    colours = sheet.getcolors(256)
    if colours:  # exactly these, in a table: nothing is lost
        sheet = sheet.quantize(len(colours), Image.MEDIANCUT, dither=0)
    sheet.save(path, optimize=True)
    print(f"{path}: {sheet.width} x {sheet.height}, {os.path.getsize(path)} bytes", file=sys.stderr)


def before_after(workshop):
    box = (1272, 2562, 1476, 2706)
    return arrange([
        [("the page: 300 dpi, 24 bits", workshop.panel(box, "page-24bit")),
         ("resample --dpi 200", workshop.panel(box, "page-24bit", "resample --dpi 200"))],
        [("resample --dpi 100", workshop.panel(box, "page-24bit", "resample --dpi 100")),
         ("the 1-bit page, resample --dpi 200", workshop.panel(box, "page-1bit", "resample --dpi 200"))],
    ])


def roads(workshop, sample, left, top, height, width=102):
    """Both roads to three resolutions; above them the page, twice as wide."""
    double = (left, top, left + 2 * width + GAP // 4, top + height)
    box = (left, top, left + width, top + height)
    rows = [[("300 dpi, the page; its left half below", workshop.panel(double, sample, scale=4))]]
    for dpi in (200, 100, 400):
        rows.append([(f"{command} --dpi {dpi}", workshop.panel(box, sample, f"{command} --dpi {dpi}", scale=4))
                     for command in ("resample", "rescale")])
    return arrange(rows)


def steps(workshop):
    """Rules at a third of the size: at once, and in steps."""
    box = (1818, 2928, 2022, 2958)
    rows = [[("300 dpi, the page", workshop.panel(box, "page-gray", scale=2)),
             ("300 dpi, the page", workshop.panel(box, "page-gray", scale=2))]]
    for way in ((100,), (150, 100), (225, 150, 100)):
        rows.append([])
        for command in ("resample", "rescale"):
            commands = [f"{command} --dpi {dpi}" for dpi in way]
            label = f"{command} " + ", ".join(map(str, way))
            rows[-1].append((label, workshop.panel(box, "page-gray", *commands)))
    return arrange(rows)


def thresholds(workshop):
    """Small type, the same in white, and rules, all of the 1-bit page."""
    rows = []
    for box in ((186, 2892, 285, 2964), (222, 3114, 321, 3150), (1278, 2934, 1377, 3006)):
        rows.append([("300 dpi, the page", workshop.panel(box, "page-1bit"))])
        for threshold in (64, 128, 192):
            command = f"resample --dpi 200 --threshold {threshold}"
            rows[-1].append((f"200 dpi, threshold {threshold}", workshop.panel(box, "page-1bit", command)))
    return arrange(rows)


def quantized(workshop):
    box = (1704, 564, 2112, 834)
    panels = [("the page: 24 bits", workshop.panel(box, "page-24bit", scale=1))]
    for colours in (256, 64, 16):
        panels.append((f"quantize --colors {colours}",
                       workshop.panel(box, "page-24bit", f"quantize --colors {colours}", scale=1)))
    return arrange([panels[:2], panels[2:]])


def main():
    subprocess.run([os.path.join(ROOT, "scripts", "unpack-samples.sh"), SAMPLES], check=True)
    os.makedirs(PICTURES, exist_ok=True)
    with tempfile.TemporaryDirectory() as folder:
        workshop = Workshop(find_tool(), folder)
        save(before_after(workshop), "before-after.png")
        save(roads(workshop, "page-1bit", 186, 2892, 39), "roads-text.png")
        save(roads(workshop, "page-gray", 1818, 2928, 30), "roads-rules.png")
        save(roads(workshop, "page-24bit", 1266, 738, 48), "roads-photograph.png")
        save(steps(workshop), "roads-steps.png")
        save(thresholds(workshop), "thresholds.png")
        save(quantized(workshop), "quantized.png")


if __name__ == "__main__":
    main()
