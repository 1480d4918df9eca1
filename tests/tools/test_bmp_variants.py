"""Every kind of BMP file that people have is read as the picture it holds."""

import unittest

from tool_test import COLOURS, Bmp, ToolTest, make_bmp, pattern, stride, triple


def colours_of(rows, palette):
    return [[palette[value] for value in row] for row in rows]


class Tables(ToolTest):
    def test_every_depth_and_every_header(self):
        for bits, count in ((1, 2), (2, 4), (4, 16), (8, 16)):
            palette = COLOURS[:count]
            rows = pattern(13, 5, count)
            for header in (12, 40, 52, 56, 64, 108, 124):
                # The short header of OS/2 has no count, so its table is as long as the depth allows.
                stored = palette + [(9, 9, 9)] * ((1 << bits) - count) if header == 12 else palette
                with self.subTest(bits=bits, header=header):
                    self.assertEqual(self.true_colour(make_bmp(rows, bits, stored, header=header)),
                                     colours_of(rows, palette))

    def test_header_of_16_bytes_has_four_byte_entries(self):
        rows = pattern(9, 3, 2)
        self.assertEqual(self.true_colour(make_bmp(rows, 1, COLOURS[2:4], header=16)), colours_of(rows, COLOURS[2:4]))

    def test_top_down(self):
        rows = pattern(11, 4, 16)
        for bits in (4, 8):
            self.assertEqual(self.true_colour(make_bmp(rows, bits, COLOURS, top_down=True)), colours_of(rows, COLOURS))

    def test_index_behind_a_short_table_is_black(self):
        rows = [[0, 1, 2, 3, 4, 5]]
        self.assertEqual(self.true_colour(make_bmp(rows, 8, COLOURS[1:4])),
                         [[COLOURS[1], COLOURS[2], COLOURS[3], (0, 0, 0), (0, 0, 0), (0, 0, 0)]])

    def test_no_count_means_a_full_table(self):
        palette = [(i, 255 - i, i // 2) for i in range(256)]
        rows = [[0, 17, 255, 128]]
        self.assertEqual(self.true_colour(make_bmp(rows, 8, palette, used=0)), colours_of(rows, palette))

    def test_table_cut_off_by_the_start_of_the_pixels(self):
        rows = [[0, 1, 2]]
        self.assertEqual(self.true_colour(make_bmp(rows, 8, COLOURS[1:4], used=256)), colours_of(rows, COLOURS[1:4]))

    def test_count_beyond_the_depth(self):
        palette = [(i % 256, i // 2, 7) for i in range(300)]
        rows = [[0, 255, 100]]
        self.assertEqual(self.true_colour(make_bmp(rows, 8, palette)), colours_of(rows, palette))

    def test_gap_before_the_pixels(self):
        rows = pattern(5, 3, 16)
        self.assertEqual(self.true_colour(make_bmp(rows, 4, COLOURS, gap=b"\xAA" * 37)), colours_of(rows, COLOURS))

    def test_no_pixel_offset_means_right_behind_the_table(self):
        rows = pattern(5, 3, 16)
        self.assertEqual(self.true_colour(make_bmp(rows, 8, COLOURS, offset=0)), colours_of(rows, COLOURS))

    def test_last_row_without_padding(self):
        rows = pattern(5, 3, 16)
        content = make_bmp(rows, 8, COLOURS)
        self.assertEqual(self.true_colour(content[:-3]), colours_of(rows, COLOURS))


class TrueColour(ToolTest):
    ROWS = [COLOURS[0:5], COLOURS[5:10], COLOURS[10:15]]

    def test_24_bits_in_every_header(self):
        values = [[triple(colour) for colour in row] for row in self.ROWS]
        for header in (12, 16, 40, 52, 56, 64, 108, 124):
            with self.subTest(header=header):
                self.assertEqual(self.true_colour(make_bmp(values, 24, header=header)), self.ROWS)
        self.assertEqual(self.true_colour(make_bmp(values, 24, top_down=True)), self.ROWS)
        # A table for displays that cannot show them all lies between header and pixels.
        self.assertEqual(self.true_colour(make_bmp(values, 24, COLOURS)), self.ROWS)

    def test_32_bits_plain(self):
        values = [[triple(colour) | 0xFF000000 for colour in row] for row in self.ROWS]
        self.assertEqual(self.true_colour(make_bmp(values, 32)), self.ROWS)
        self.assertEqual(self.true_colour(make_bmp(values, 32, header=124)), self.ROWS)

    def test_32_bits_with_masks_in_any_order(self):
        for shifts in ((0, 8, 16), (8, 24, 0), (24, 16, 8)):
            values = [[sum(channel << shift for channel, shift in zip(colour, shifts)) for colour in row]
                      for row in self.ROWS]
            masks = [255 << shift for shift in shifts]
            for header in (40, 52, 56, 108, 124):
                fourth = [] if header in (40, 52) else [0]
                with self.subTest(shifts=shifts, header=header):
                    content = make_bmp(values, 32, header=header, compression=3, masks=masks + fourth)
                    self.assertEqual(self.true_colour(content), self.ROWS)

    def test_four_masks_behind_a_short_header(self):
        values = [[0x11223344]]
        content = make_bmp(values, 32, compression=6, masks=(0xFF000000, 0xFF0000, 0xFF00, 0xFF))
        self.assertEqual(self.true_colour(content), [[(0x11, 0x22, 0x33)]])
        self.assertEqual(Bmp(self.read("true.bmp")).values(), [[0x44112233]])

    def test_masks_of_ten_bits_are_scaled(self):
        values = [[1023 << 20 | 512 << 10 | 0, 0, 1 << 20 | 1023]]
        content = make_bmp(values, 32, compression=3, masks=(1023 << 20, 1023 << 10, 1023))
        self.assertEqual(self.true_colour(content), [[(255, 128, 0), (0, 0, 0), (0, 0, 255)]])

    def test_a_mask_of_32_bits(self):
        content = make_bmp([[0xFFFFFFFF, 0x80000000, 0]], 32, compression=3, masks=(0xFFFFFFFF, 0, 0))
        self.assertEqual(self.true_colour(content), [[(255, 0, 0), (128, 0, 0), (0, 0, 0)]])

    def test_16_bits_plain_and_with_masks(self):
        values = [[0x7FFF, 0x7C00, 0x03E0, 0x001F, 0, 0x8000, 16 << 10 | 1 << 5 | 30]]
        white, red, green, blue, black = (255, 255, 255), (255, 0, 0), (0, 255, 0), (0, 0, 255), (0, 0, 0)
        expected = [[white, red, green, blue, black, black, (132, 8, 247)]]
        self.assertEqual(self.true_colour(make_bmp(values, 16)), expected)
        content = make_bmp(values, 16, compression=3, masks=(0x7C00, 0x03E0, 0x001F))
        self.assertEqual(self.true_colour(content), expected)
        content = make_bmp([[0xFFFF, 0xF800, 0x07E0, 0x001F, 0x0020]], 16, compression=3, masks=(0xF800, 0x07E0, 0x1F))
        self.assertEqual(self.true_colour(content), [[white, red, green, blue, (0, 4, 0)]])
        content = make_bmp([[0x0FFF, 0x0F00, 0x0080]], 16, compression=3, masks=(0xF00, 0xF0, 0xF))
        self.assertEqual(self.true_colour(content), [[white, red, (0, 136, 0)]])

    def test_48_and_64_bits_keep_their_channels(self):
        for bits, value in ((48, 0x1FFF_0123_2000), (64, 0x2000_1FFF_0123_0001)):
            self.file("in.bmp", make_bmp([[value, 0, value]], bits))
            self.tool("rescale", "in.bmp", "out.bmp", "--dpi", 300, "--force")
            out = Bmp(self.read("out.bmp"))
            self.assertEqual((out.bits, out.values()), (bits, [[value, 0, value]]))

    def test_a_pipe_is_read_like_a_file(self):
        import os
        import threading
        content = make_bmp([[triple(colour) for colour in row] for row in self.ROWS], 24)
        os.mkfifo(self.path("pipe"))

        def feed():
            with open(self.path("pipe"), "wb") as pipe:
                pipe.write(content)
        writer = threading.Thread(target=feed)
        writer.start()
        self.tool("rescale", "pipe", "out.bmp", "--dpi", 300)
        writer.join()
        self.assertEqual(Bmp(self.read("out.bmp")).rows(), self.ROWS)


class Wide(ToolTest):
    def test_rows_longer_than_one_read(self):
        width = 60000
        rows = [[(x * y) % 256 for x in range(width)] for y in (3, 7)]
        palette = [(i, i, 255 - i) for i in range(256)]
        self.assertEqual(stride(width, 8), 60000)
        self.assertEqual(self.true_colour(make_bmp(rows, 8, palette)), colours_of(rows, palette))


if __name__ == "__main__":
    unittest.main()
