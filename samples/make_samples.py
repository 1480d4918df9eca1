#!/usr/bin/python3
"""Makes the sample page in four depths, each a BMP file compressed by xz.

An A4 page at 300 dots per inch: headings, running text, type down to 6 point, thin rules, a table, a
gray wedge, a picture, colour blocks. The same run gives the same bytes (with the same versions of
Pillow and the DejaVu fonts). Needs python3-pil and fonts-dejavu-core.

    samples/make_samples.py [FOLDER [PREVIEW.png]]
"""

import lzma
import math
import os
import struct
import sys

from PIL import Image, ImageChops, ImageDraw, ImageFont

sys.dont_write_bytecode = True
import page_text  # noqa: E402

WIDTH, HEIGHT, DPI = 2480, 3508, 300
PIXELS_PER_METRE = 11811
FONTS = "/usr/share/fonts/truetype/dejavu/DejaVu"
MARGIN = 190
GUTTER = 80
COLUMN = (WIDTH - 2 * MARGIN - GUTTER) // 2
LEFT = MARGIN
RIGHT = MARGIN + COLUMN + GUTTER

INK = (24, 24, 28)
ACCENT = (150, 38, 30)
FAINT = (96, 96, 104)
PAPER = (255, 255, 255)


def font(name, points):
    return ImageFont.truetype(f"{FONTS}{name}.ttf", round(points * DPI / 72), layout_engine=0)  # basic layout


class Sheet:
    """The page while it is drawn, and where on it continuous tones lie."""

    def __init__(self):
        self.image = Image.new("RGB", (WIDTH, HEIGHT), PAPER)
        self.draw = ImageDraw.Draw(self.image)
        self.tones = []

    def rule(self, x0, y, x1, thickness, colour=INK):
        self.draw.rectangle((x0, y, x1 - 1, y + thickness - 1), fill=colour)

    def text(self, x, y, words, face, colour=INK, anchor="la"):
        self.draw.text((x, y), words, font=face, fill=colour, anchor=anchor)

    def paragraph(self, x, y, width, words, face, leading, colour=INK, indent=0, justify=True):
        """Sets words in lines of the width, from y down; where the next line would stand."""
        lines, line, used = [], [], indent
        space = face.getlength(" ")
        for word in words.split():
            length = face.getlength(word)
            if line and used + space * len(line) + length > width:
                lines.append(line)
                line, used = [], 0
            line.append((word, length))
            used += length
        for number, current in enumerate(lines + [line]):
            at = x + (indent if number == 0 else 0)
            gaps = len(current) - 1
            gap = space
            if justify and number < len(lines) and gaps:
                gap = (x + width - at - sum(length for _, length in current)) / gaps
            for word, length in current:
                self.text(round(at), y, word, face, colour)
                at += length + gap
            y += leading
        return y


def noise(x, start):
    """A smooth curve through pseudo-random heights at the whole numbers, 0 to 1."""
    def height(n):
        n = (n * 374761393 + start * 668265263) & 0xFFFFFFFF
        n = ((n ^ n >> 13) * 1274126177) & 0xFFFFFFFF
        return (n ^ n >> 16) / 0xFFFFFFFF
    whole = math.floor(x)
    t = x - whole
    t = t * t * (3 - 2 * t)
    return height(whole) * (1 - t) + height(whole + 1) * t


def ridge(x, start, octaves=5):
    return sum((1 - abs(2 * noise(x * 2 ** o, start + o) - 1)) / 2.2 ** o for o in range(octaves)) / 1.8


def mix(a, b, t):
    return tuple(p + (q - p) * t for p, q in zip(a, b))


def picture(width, height):
    """An evening landscape: sky, sun, five ridges in haze, a lake that mirrors them. Computed coarsely
    and enlarged smoothly, which gives it the softness of a lens."""
    w, h = width // 2, height // 2
    shore = int(h * 0.66)
    layers = []
    for n in range(5):
        depth = n / 4
        base = shore * (0.74 + 0.25 * depth)
        tall = shore * (0.62 - 0.46 * depth)
        tops = [base - tall * ridge(x / w * (2.6 + 1.2 * n) + 7 * n, 11 + 17 * n) for x in range(w)]
        layers.append((tops, mix((150, 122, 150), (22, 30, 44), depth ** 0.75)))
    sun_x, sun_y = w * 0.66, shore * 0.36

    def above(x, y):
        colour = None
        for tops, tint in layers:
            cover = min(max(y - tops[x] + 0.5, 0), 1)
            if cover > 0:
                fall = min((y - tops[x]) / shore, 1)
                shade = mix(tint, (206, 158, 140), 0.55 * fall)
                colour = shade if colour is None or cover == 1 else mix(colour, shade, cover)
                if cover < 1 and colour is shade:
                    colour = mix(sky(x, y), shade, cover)
        return colour or sky(x, y)

    def sky(x, y):
        t = min(y / (shore * 0.8), 1)
        colour = mix((58, 82, 140), (246, 190, 128), t ** 1.3)
        away = math.hypot(x - sun_x, (y - sun_y) * 1.1) / h
        colour = mix(colour, (255, 226, 160), 0.8 * math.exp(-away * 7))
        disc = min(max((0.047 - away) * h / 2 + 0.5, 0), 1)
        cloud = max(noise(x / w * 5 + y / h * 3, 5) * noise(y / h * 26 + noise(x / w * 3, 9) * 2, 6) - 0.34, 0) * 1.4
        return mix(mix(colour, (255, 244, 214), disc), (250, 206, 186), cloud * (1 - disc))

    image = Image.new("RGB", (w, h))
    pixels = image.load()
    for y in range(h):
        for x in range(w):
            if y < shore:
                colour = above(x, y)
            else:
                down = y - shore
                wave = math.sin(down * 1.7 + noise(x / 40 + down * 0.37, 3) * 9)
                mirrored = min(max(shore - 1 - down * 1.7 + wave * (0.5 + down * 0.05), 0), shore - 1)
                row = math.floor(mirrored)
                colour = mix(above(x, row), above(x, min(row + 1, shore - 1)), mirrored - row)
                colour = mix(colour, (20, 40, 70), 0.24 + 0.3 * down / (h - shore) + 0.05 * wave)
            pixels[x, y] = tuple(int(c + 0.5) for c in colour)
    return image.resize((width, height), Image.BICUBIC)


def draw_picture(sheet, x, y, width, height):
    sheet.image.paste(picture(width, height), (x, y))
    sheet.tones.append((x, y, x + width, y + height))
    sheet.draw.rectangle((x - 1, y - 1, x + width, y + height), outline=INK, width=2)
    return y + height


def draw_table(sheet, x, y, width):
    bold, plain = font("Sans-Bold", 7.5), font("Sans", 7.5)
    sheet.text(x, y, page_text.TABLE_TITLE, font("Sans-Bold", 8), ACCENT)
    y += 52
    stops = [x + width * share // 100 for share in (12, 41, 59, 79, 100)]
    heads = ("dpi", "pixels", "1 bit", "8 bits", "24 bits")
    sheet.rule(x, y, x + width, 4)
    for stop, head in zip(stops, heads):
        sheet.text(stop - 8, y + 16, head, bold, anchor="ra")
    sheet.rule(x, y + 64, x + width, 2)
    y += 66
    for row, dpi in enumerate((600, 300, 200, 100)):
        if row % 2:
            sheet.draw.rectangle((x, y, x + width - 1, y + 49), fill=(232, 236, 242))
        across, down = 2480 * dpi // 300, 3508 * dpi // 300
        cells = [str(dpi), f"{across} × {down}"]
        for bits in (1, 8, 24):
            cells.append(f"{(across * bits + 31) // 32 * 4 * down / 1e6:.2f} MB")
        for stop, cell in zip(stops, cells):
            sheet.text(stop - 8, y + 9, cell, plain, anchor="ra")
        y += 50
    sheet.rule(x, y, x + width, 4)
    return y + 4


def draw_wedge(sheet, x, y, width):
    sheet.text(x, y, page_text.WEDGE_TITLE, font("Sans-Bold", 8), ACCENT)
    y += 52
    small = font("Sans", 6)
    for step in range(17):
        x0, x1 = x + width * step // 17, x + width * (step + 1) // 17
        level = min(step * 16, 255)
        sheet.draw.rectangle((x0, y, x1 - 1, y + 89), fill=(level,) * 3)
        sheet.text((x0 + x1) // 2, y + 100, str(level), small, FAINT, anchor="ma")
    ramp = Image.new("L", (width, 1))
    ramp.putdata([round(i * 255 / (width - 1)) for i in range(width)])
    sheet.image.paste(Image.merge("RGB", (ramp.resize((width, 60)),) * 3), (x, y + 140))
    sheet.tones += [(x, y, x + width, y + 90), (x, y + 140, x + width, y + 200)]
    sheet.draw.rectangle((x - 1, y + 139, x + width, y + 200), outline=INK)
    sheet.draw.rectangle((x - 1, y - 1, x + width, y + 90), outline=INK)
    return y + 202


def draw_blocks(sheet, x, y, width):
    sheet.text(x, y, page_text.BLOCKS_TITLE, font("Sans-Bold", 8), ACCENT)
    y += 52
    colours = [("red", (200, 30, 36)), ("orange", (238, 126, 22)), ("yellow", (246, 208, 30)), ("green", (34, 140, 62)),
               ("cyan", (0, 158, 208)), ("blue", (32, 62, 150)), ("violet", (112, 46, 134)), ("brown", (116, 74, 44))]
    small = font("Sans", 6)
    for n, (name, colour) in enumerate(colours):
        x0, x1 = x + width * n // 8, x + width * (n + 1) // 8 - 10
        for row, share in enumerate((1, 0.5, 0.2)):
            tint = tuple(round(255 - (255 - c) * share) for c in colour)
            sheet.draw.rectangle((x0, y + row * 62, x1, y + row * 62 + 57), fill=tint)
        sheet.text((x0 + x1) // 2, y + 194, name, small, FAINT, anchor="ma")
    sheet.tones.append((x, y, x + width, y + 186))
    return y + 226


def draw_rules(sheet, x, y, width):
    sheet.text(x, y, page_text.RULES_TITLE, font("Sans-Bold", 8), ACCENT)
    y += 56
    small = font("Sans", 6)
    for thickness in range(1, 7):
        sheet.text(x, y - 10, str(thickness), small, FAINT)
        sheet.rule(x + 40, y, x + width // 2, thickness)
        y += 34
    top = y - 6 * 34
    at = x + width // 2 + 40
    for thickness in (1, 1, 1, 2, 2, 2, 3, 3, 3):
        sheet.draw.rectangle((at, top - 6, at + thickness - 1, y - 30), fill=INK)
        at += 22
    centre_x, centre_y, reach = x + width - 112, (top + y - 36) // 2, 98
    for ray in range(24):
        angle = math.pi * ray / 12
        inner = 26
        sheet.draw.line((centre_x + inner * math.cos(angle), centre_y + inner * math.sin(angle),
                         centre_x + reach * math.cos(angle), centre_y + reach * math.sin(angle)), fill=INK, width=2)
    return y + 20


def draw_ladder(sheet, x, y, width):
    for points, words in page_text.LADDER:
        face = font("Serif", points)
        y = sheet.paragraph(x, y, width, words, face, round(points * DPI / 72 * 1.24), justify=False) + 8
    return y


def draw_reversed(sheet, x, y, width):
    height = 40 + sum(round(points * DPI / 72 * 1.5) for points, _ in page_text.REVERSED)
    sheet.draw.rectangle((x, y, x + width - 1, y + height), fill=INK)
    at = y + 26
    for points, words in page_text.REVERSED:
        sheet.text(x + 34, at, words, font("Sans", points), PAPER)
        at += round(points * DPI / 72 * 1.5)
    return y + height


def set_column(sheet, x, y, pieces):
    body, heading = font("Serif", 9), font("Sans-Bold", 11)
    first = True
    for kind, words in pieces:
        if kind == "h":
            y += 0 if y == 500 else 34
            sheet.text(x, y, words, heading, ACCENT)
            y += 70
            first = True
        else:
            y = sheet.paragraph(x, y, COLUMN, words, body, 52, indent=0 if first else 46)
            first = False
    return y


def draw_page():
    sheet = Sheet()
    sheet.text(MARGIN, 120, "PAGE PREPARATION", font("Sans-Bold", 7), FAINT)
    sheet.text(WIDTH - MARGIN, 120, "Test sheet 1", font("Sans", 7), FAINT, anchor="ra")
    sheet.rule(MARGIN, 160, WIDTH - MARGIN, 2)
    sheet.text(MARGIN, 205, page_text.TITLE, font("Serif-Bold", 30))
    sheet.text(MARGIN, 362, page_text.SUBTITLE, font("Serif-Italic", 9.4), FAINT)
    sheet.rule(MARGIN, 440, WIDTH - MARGIN, 6)
    top = 500

    y = set_column(sheet, LEFT, top, page_text.LEFT)
    y = draw_ladder(sheet, LEFT, y + 44, COLUMN)
    left_end = draw_reversed(sheet, LEFT, y + 30, COLUMN)

    y = draw_picture(sheet, RIGHT, top + 8, COLUMN, 758)
    y = sheet.paragraph(RIGHT, y + 22, COLUMN, page_text.CAPTION, font("Serif-Italic", 7), 38, FAINT)
    y = set_column(sheet, RIGHT, y + 20, page_text.RIGHT)
    y = draw_table(sheet, RIGHT, y + 44, COLUMN)
    y = draw_wedge(sheet, RIGHT, y + 48, COLUMN)
    y = draw_blocks(sheet, RIGHT, y + 48, COLUMN)
    right_end = draw_rules(sheet, RIGHT, y + 40, COLUMN)

    sheet.rule(MARGIN, HEIGHT - 190, WIDTH - MARGIN, 2)
    sheet.text(MARGIN, HEIGHT - 172, page_text.FOOT, font("Sans", 6.5), FAINT)
    sheet.text(WIDTH - MARGIN, HEIGHT - 172, "dibprep", font("Sans-Bold", 6.5), FAINT, anchor="ra")
    print(f"left column ends at {left_end}, right at {right_end}, of {HEIGHT - 190}", file=sys.stderr)
    return sheet


def black_and_white(sheet):
    """Ink where it is dark; continuous tones through a screen of dots, 8 squares apart."""
    gray = sheet.image.convert("L")
    order = sorted(((x, y) for y in range(8) for x in range(8)),
                   key=lambda p: (round(math.hypot(p[0] - 3.4, p[1] - 3.6), 6), p))
    tile = Image.new("L", (8, 8))
    for rank, place in enumerate(order):
        tile.putpixel(place, 252 - rank * 4)
    screen = Image.new("L", gray.size, 128)
    for x0, y0, x1, y1 in sheet.tones:
        for y in range(y0 // 8 * 8, y1, 8):
            for x in range(x0 // 8 * 8, x1, 8):
                box = (max(x, x0), max(y, y0), min(x + 8, x1), min(y + 8, y1))
                screen.paste(tile.crop((box[0] - x, box[1] - y, box[2] - x, box[3] - y)), box[:2])
    white = ImageChops.subtract(gray, screen, offset=1)  # over 0 where the paper shows
    return white.point(lambda level: 255 if level else 0).convert("1")


def bmp(image):
    """A BMP file: 40-byte header, full colour table, rows from the bottom up."""
    bits = {"1": 1, "L": 8, "P": 8, "RGB": 24}[image.mode]
    table = b""
    if image.mode == "1":
        table = bytes((0, 0, 0, 0, 255, 255, 255, 0))
    elif image.mode == "L":
        table = b"".join(bytes((i, i, i, 0)) for i in range(256))
    elif image.mode == "P":
        colours = image.getpalette()[:768]
        colours += [0] * (768 - len(colours))
        table = b"".join(bytes((colours[i + 2], colours[i + 1], colours[i], 0)) for i in range(0, 768, 3))
    stride = (image.width * bits + 31) // 32 * 4
    raw = {"1": "1", "L": "L", "P": "P", "RGB": "BGR"}[image.mode]
    rows = image.tobytes("raw", raw, stride, -1)
    offset = 54 + len(table)
    return (struct.pack("<2sIHHI", b"BM", offset + len(rows), 0, 0, offset)
            + struct.pack("<IiiHHIIiiII", 40, image.width, image.height, 1, bits, 0, len(rows),
                          PIXELS_PER_METRE, PIXELS_PER_METRE, len(table) // 4, 0) + table + rows)


def main():
    folder = sys.argv[1] if len(sys.argv) > 1 else os.path.dirname(os.path.abspath(__file__))
    sheet = draw_page()
    if len(sys.argv) > 2:
        sheet.image.save(sys.argv[2], dpi=(DPI, DPI))
    depths = {
        "page-1bit": black_and_white(sheet),
        "page-gray": sheet.image.convert("L"),
        "page-colours": sheet.image.quantize(256, Image.MEDIANCUT, dither=0),
        "page-24bit": sheet.image,
    }
    for name, image in depths.items():
        packed = lzma.compress(bmp(image), preset=9 | lzma.PRESET_EXTREME)
        with open(os.path.join(folder, name + ".bmp.xz"), "wb") as file:
            file.write(packed)
        print(f"{name}.bmp.xz: {len(packed)} bytes", file=sys.stderr)


if __name__ == "__main__":
    main()
