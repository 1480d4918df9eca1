"""What the tests of file formats share: making PNG, TIFF and PNM files byte by byte, and reading PNG files."""

import struct
import zlib

from tool_test import pack_row

GRAY, RGB, PALETTE, GRAY_ALPHA, RGB_ALPHA = 0, 2, 3, 4, 6
CHANNELS = {GRAY: 1, RGB: 3, PALETTE: 1, GRAY_ALPHA: 2, RGB_ALPHA: 4}
ADAM7 = ((0, 0, 8, 8), (4, 0, 8, 8), (0, 4, 4, 8), (2, 0, 4, 4), (0, 2, 2, 4), (1, 0, 2, 2), (0, 1, 1, 2))


def pack_samples(samples, bits):
    """A row of samples, the first in the highest bits, 16 bits with the high byte first."""
    if bits < 8:
        return pack_row(samples, bits)[:(len(samples) * bits + 7) // 8]
    return b"".join(sample.to_bytes(bits // 8, "big") for sample in samples)


def flat(row):
    """Samples of pixels that are numbers or tuples of numbers."""
    return [sample for pixel in row for sample in (pixel if isinstance(pixel, tuple) else (pixel,))]


def chunk(kind, body):
    return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))


def make_png(rows, colour, bits=8, palette=(), transparency=None, ppm=None, unit=1, interlaced=False, extra=b"",
             size=None):
    """A PNG file of rows of pixels, which are numbers or tuples of channels."""
    width, height = size or (len(rows[0]), len(rows))
    passes = [rows]
    if interlaced:
        passes = [[row[x::dx] for row in rows[y::dy]] for x, y, dx, dy in ADAM7]
    raw = b"".join(b"\0" + pack_samples(flat(row), bits) for part in passes for row in part if row)
    content = b"\x89PNG\r\n\x1a\n"
    content += chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, bits, colour, 0, 0, int(interlaced)))
    if ppm:
        content += chunk(b"pHYs", struct.pack(">IIB", *ppm, unit))
    if palette:
        content += chunk(b"PLTE", bytes(flat(palette)))
    if transparency is not None:
        content += chunk(b"tRNS", transparency)
    return content + extra + chunk(b"IDAT", zlib.compress(raw)) + chunk(b"IEND", b"")


class Png:
    """A PNG file without interlacing, as the tool writes it. Pixels are numbers or tuples of channels."""

    def __init__(self, content):
        at, data = 8, b""
        self.ppm, self.palette, self.kinds = None, [], []
        while at < len(content):
            length, kind = struct.unpack_from(">I4s", content, at)
            body = content[at + 8:at + 8 + length]
            assert struct.unpack_from(">I", content, at + 8 + length)[0] == zlib.crc32(kind + body)
            self.kinds.append(kind)
            if kind == b"IHDR":
                self.width, self.height, self.bits, self.colour, _, _, interlaced = struct.unpack(">IIBBBBB", body)
                assert not interlaced
            elif kind == b"PLTE":
                self.palette = [tuple(body[i:i + 3]) for i in range(0, length, 3)]
            elif kind == b"pHYs":
                x, y, unit = struct.unpack(">IIB", body)
                assert unit == 1
                self.ppm = (x, y)
            elif kind == b"IDAT":
                data += body
            at += 12 + length
        assert self.kinds[-1] == b"IEND"
        self.rows = self._rows(zlib.decompress(data))

    def _rows(self, raw):
        channels = CHANNELS[self.colour]
        row_bytes, back = (self.width * self.bits * channels + 7) // 8, max(self.bits * channels // 8, 1)
        rows, before = [], bytes(row_bytes)
        for y in range(self.height):
            method = raw[y * (row_bytes + 1)]
            line = bytearray(raw[y * (row_bytes + 1) + 1:(y + 1) * (row_bytes + 1)])
            for i in range(row_bytes):
                left, up = (line[i - back] if i >= back else 0), before[i]
                corner = before[i - back] if i >= back else 0
                if method == 4:
                    guess = left + up - corner
                    near = min((abs(guess - left), 0, left), (abs(guess - up), 1, up), (abs(guess - corner), 2, corner))[2]
                else:
                    near = (0, left, up, (left + up) // 2)[method]
                line[i] = line[i] + near & 255
            before = bytes(line)
            whole, bits = int.from_bytes(line, "big"), self.bits
            samples = [whole >> (row_bytes * 8 - (i + 1) * bits) & (1 << bits) - 1 for i in range(self.width * channels)]
            rows.append(samples if channels == 1 else
                        [tuple(samples[i:i + channels]) for i in range(0, len(samples), channels)])
        return rows


SHORT, LONG, RATIONAL = 3, 4, 5


def _entry(tag, kind, values):
    if kind == RATIONAL:
        body = b"".join(struct.pack("<II", *value) for value in values)
    else:
        body = struct.pack(f"<{len(values)}{'H' if kind == SHORT else 'I'}", *values)
    return tag, kind, len(values), body


class TiffPage:
    """One page for make_tiff: rows of pixels, which are numbers or tuples of channels."""

    def __init__(self, rows, bits=8, photometric=1, compression=1, palette=(), extra=(), orientation=None, fill=None,
                 resolution=None, unit=2, separate=False, tile=None, strip_rows=None, subfile=None, size=None, more=()):
        channels = len(rows[0][0]) if isinstance(rows[0][0], tuple) else 1
        self.width, self.height = size or (len(rows[0]), len(rows))
        planes = [rows]
        if separate:
            planes = [[[pixel[c] for pixel in row] for row in rows] for c in range(channels)]
        self.parts = []
        for plane in planes:
            blocks = [plane[i:i + (strip_rows or len(plane))] for i in range(0, len(plane), strip_rows or len(plane))]
            if tile:
                zero = (0,) * channels if channels > 1 and not separate else 0
                blocks = [[[plane[y][x] if y < len(plane) and x < len(plane[0]) else zero
                            for x in range(left, left + tile)] for y in range(top, top + tile)]
                          for top in range(0, len(plane), tile) for left in range(0, len(plane[0]), tile)]
            for block in blocks:
                lines = [self._pack(row, bits) for row in block]
                if fill == 2:
                    lines = [bytes(int(f"{byte:08b}"[::-1], 2) for byte in line) for line in lines]
                if compression == 32773: # no run goes on in the next row
                    lines = [self._pack_bits(line) for line in lines]
                self.parts.append(zlib.compress(b"".join(lines)) if compression == 8 else b"".join(lines))
        self.entries = [_entry(256, LONG, [self.width]), _entry(257, LONG, [self.height]),
                        _entry(258, SHORT, [bits] * channels), _entry(259, SHORT, [compression]),
                        _entry(262, SHORT, [photometric]), _entry(277, SHORT, [channels])]
        if subfile is not None:
            self.entries.append(_entry(254, LONG, [subfile]))
        if fill:
            self.entries.append(_entry(266, SHORT, [fill]))
        if orientation:
            self.entries.append(_entry(274, SHORT, [orientation]))
        if resolution:
            self.entries += [_entry(282, RATIONAL, [resolution[0]]), _entry(283, RATIONAL, [resolution[1]])]
            if unit:
                self.entries.append(_entry(296, SHORT, [unit]))
        if separate:
            self.entries.append(_entry(284, SHORT, [2]))
        if palette:
            full = list(palette) + [(0, 0, 0)] * ((1 << bits) - len(palette))
            self.entries.append(_entry(320, SHORT, [colour[c] * 257 for c in range(3) for colour in full]))
        if extra:
            self.entries.append(_entry(338, SHORT, list(extra)))
        if tile:
            self.entries += [_entry(322, LONG, [tile]), _entry(323, LONG, [tile])]
        else:
            self.entries.append(_entry(278, LONG, [strip_rows or self.height]))
        self.entries = [entry for entry in self.entries if entry[0] not in [other[0] for other in more]] + list(more)
        self.offsets, self.counts = (324, 325) if tile else (273, 279)

    @staticmethod
    def _pack(row, bits):
        if bits == 16:
            return b"".join(sample.to_bytes(2, "little") for sample in flat(row))
        return pack_samples(flat(row), bits)

    @staticmethod
    def _pack_bits(part):
        return b"".join(bytes([len(part[i:i + 128]) - 1]) + part[i:i + 128] for i in range(0, len(part), 128))


def make_tiff(*pages):
    content, link = bytearray(b"II*\0\0\0\0\0"), 4
    for page in pages:
        offsets = []
        for part in page.parts:
            offsets.append(len(content))
            content += part + bytes(len(part) % 2)
        entries = sorted(page.entries + [_entry(page.offsets, LONG, offsets),
                                         _entry(page.counts, LONG, [len(part) for part in page.parts])])
        table = b""
        for tag, kind, count, body in entries:
            if len(body) <= 4:
                table += struct.pack("<HHI", tag, kind, count) + body.ljust(4, b"\0")
            else:
                table += struct.pack("<HHII", tag, kind, count, len(content))
                content += body + bytes(len(body) % 2)
        struct.pack_into("<I", content, link, len(content))
        content += struct.pack("<H", len(entries)) + table
        link = len(content)
        content += bytes(4)
    return bytes(content)


def make_pnm(rows, kind, largest=255, comment=""):
    """PNM of kind 1 to 6; pixels are numbers, or tuples for 3 and 6."""
    head = f"P{kind}\n{comment}{len(rows[0])} {len(rows)}\n" + ("" if kind in (1, 4) else f"{largest}\n")
    if kind < 4:
        return (head + "\n".join(" ".join(map(str, flat(row))) for row in rows) + "\n").encode()
    bits = 1 if kind == 4 else 16 if largest > 255 else 8
    return head.encode() + b"".join(pack_samples(flat(row), bits) for row in rows)
