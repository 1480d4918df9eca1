"""Run-length data: everything that RLE8 and RLE4 can say."""

import random
import unittest

from tool_test import COLOURS, Bmp, ToolTest, make_bmp

END_OF_LINE, END = bytes((0, 0)), bytes((0, 1))


def step(right, up):
    return bytes((0, 2, right, up))


def literal(values, bits):
    """An absolute run, padded to an even number of bytes."""
    if bits == 4:
        pairs = list(values) + [0] * (len(values) % 2)
        packed = bytes(pairs[i] << 4 | pairs[i + 1] for i in range(0, len(pairs), 2))
    else:
        packed = bytes(values)
    return bytes((0, len(values))) + packed + bytes(len(packed) % 2)


class RunLengths(ToolTest):
    def picture(self, width, height, bits, stream, **options):
        """Rows from the top as indices, by a table in which each colour is its own name."""
        content = make_bmp([[0] * width] * height, bits, COLOURS, compression=1 if bits == 8 else 2,
                           data=stream, **options)
        names = {colour: index for index, colour in enumerate(COLOURS)}
        return [[names[colour] for colour in row] for row in self.true_colour(content)]

    def test_runs_literals_and_ends(self):
        stream = bytes((3, 5)) + literal([1, 2, 3], 8) + END_OF_LINE + literal([4, 5, 6, 7], 8) + bytes((2, 9)) + END
        self.assertEqual(self.picture(6, 2, 8, stream), [[4, 5, 6, 7, 9, 9], [5, 5, 5, 1, 2, 3]])
        stream = bytes((3, 0x5A)) + literal([1, 2, 3], 4) + END_OF_LINE
        stream += literal([4, 5, 6, 7, 8], 4) + bytes((1, 0x90)) + END
        self.assertEqual(self.picture(6, 2, 4, stream), [[4, 5, 6, 7, 8, 9], [5, 10, 5, 1, 2, 3]])

    def test_four_bit_runs_that_begin_at_odd_columns(self):
        stream = bytes((1, 0x10)) + bytes((4, 0xAB)) + literal([1, 2, 3], 4) + END
        self.assertEqual(self.picture(8, 1, 4, stream), [[1, 10, 11, 10, 11, 1, 2, 3]])

    def test_pixels_stepped_over_keep_index_0(self):
        for bits in (8, 4):
            stream = bytes((1, 0x11 if bits == 4 else 1)) + step(3, 1) + literal([7, 8, 9], bits) + END
            with self.subTest(bits=bits):
                self.assertEqual(self.picture(7, 3, bits, stream), [[0] * 7, [0, 0, 0, 0, 7, 8, 9], [1] + [0] * 6])

    def test_four_bit_steps_from_odd_to_even_columns(self):
        for first in (1, 2):
            for right in (1, 2, 3):
                stream = bytes((first, 0x33)) + step(right, 0) + bytes((1, 0x70)) + END
                expected = [3] * first + [0] * right + [7]
                self.assertEqual(self.picture(8, 1, 4, stream), [expected + [0] * (8 - len(expected))])

    def test_runs_past_the_edge_are_cut_off(self):
        for bits in (8, 4):
            stream = bytes((255, 0x22 if bits == 4 else 2)) + END_OF_LINE + literal([5] * 9, bits) + END
            with self.subTest(bits=bits):
                self.assertEqual(self.picture(4, 2, bits, stream), [[5] * 4, [2] * 4])

    def test_steps_and_lines_past_the_picture(self):
        stream = bytes((2, 3)) + step(255, 0) + bytes((4, 4)) + END_OF_LINE + step(0, 255) + bytes((4, 4)) + END
        self.assertEqual(self.picture(3, 3, 8, stream), [[0, 0, 0], [0, 0, 0], [3, 3, 0]])
        stream = bytes((3, 1)) + END_OF_LINE * 9 + bytes((3, 2)) + END
        self.assertEqual(self.picture(3, 2, 8, stream), [[0, 0, 0], [1, 1, 1]])

    def test_the_last_code_may_be_missing(self):
        stream = bytes((3, 1)) + END_OF_LINE + bytes((3, 2))
        self.assertEqual(self.picture(3, 2, 8, stream), [[2, 2, 2], [1, 1, 1]])

    def test_size_field_of_zero_means_up_to_the_end_of_the_file(self):
        self.assertEqual(self.picture(3, 1, 8, bytes((3, 6)) + END, size_image=0), [[6, 6, 6]])

    def test_size_field_bounds_the_stream(self):
        stream = bytes((3, 6)) + END_OF_LINE + bytes((3, 7)) + END
        content = make_bmp([[0] * 3] * 2, 8, COLOURS, compression=1, data=stream, size_image=2)
        self.file("in.bmp", content)
        self.assertIn("break off", self.tool("rescale", "in.bmp", "out.bmp", "--dpi", 300, code=3))

    def test_data_that_break_off(self):
        whole = bytes((3, 1)) + END_OF_LINE + literal([1, 2, 3], 8) + END
        for length in range(0, len(whole) - 3):
            self.file("in.bmp", make_bmp([[0] * 3] * 2, 8, COLOURS, compression=1, data=whole[:length] or b"\0"))
            with self.subTest(length=length):
                self.assertIn("break off", self.tool("rescale", "in.bmp", "out.bmp", "--dpi", 300, code=3))
        self.only_files("in.bmp")

    def test_random_pictures_survive(self):
        rng = random.Random(20)
        for bits in (8, 4):
            rows = [[rng.choice((0, 1, 1, 1, 15)) for _ in range(37)] for _ in range(9)]
            stream = b""
            for row in rows[::-1]:
                at = 0
                while at < len(row):
                    run = 1
                    while at + run < len(row) and row[at + run] == row[at] and run < 255:
                        run += 1
                    if run > 2 or len(row) - at < 3:
                        stream += bytes((run, row[at] * (17 if bits == 4 else 1)))
                    else:
                        run = min(rng.randint(3, 9), len(row) - at)
                        stream += literal(row[at:at + run], bits)
                    at += run
                stream += END_OF_LINE
            self.assertEqual(self.picture(37, 9, bits, stream + END), rows)


class Normalize(ToolTest):
    def test_expands_and_keeps_table_and_resolution(self):
        for bits, packed in ((8, 5), (4, 0x55)):
            stream = bytes((3, packed)) + END_OF_LINE + literal([1, 2, 3], bits) + END
            self.file("in.bmp", make_bmp([[0] * 3] * 2, bits, COLOURS, compression=1 if bits == 8 else 2, data=stream,
                                         ppm=(5000, 6000)))
            self.tool("normalize", "in.bmp", "out.bmp", "--force")
            out = Bmp(self.read("out.bmp"))
            self.assertEqual(out.values(), [[1, 2, 3], [5, 5, 5]])
            self.assertEqual((out.bits, out.palette, out.x_ppm, out.y_ppm), (bits, COLOURS, 5000, 6000))

    def test_what_viewers_show_decides_where_a_run_leaves_its_row(self):
        stream = bytes((5, 1)) + END_OF_LINE + bytes((3, 2)) + END
        self.file("in.bmp", make_bmp([[0] * 3] * 2, 8, COLOURS, compression=1, data=stream))
        self.assertIn("outside the rows", self.tool("normalize", "in.bmp", "out.bmp"))
        self.assertEqual(Bmp(self.read("out.bmp")).values(), [[2, 2, 2], [1, 1, 1]])

    def test_four_bit_steps_between_odd_columns(self):
        stream = bytes((1, 0x30)) + step(1, 0) + bytes((1, 0x70)) + END
        self.file("in.bmp", make_bmp([[0] * 5], 4, COLOURS, compression=2, data=stream))
        self.tool("normalize", "in.bmp", "out.bmp")
        self.assertEqual(Bmp(self.read("out.bmp")).values(), [[3, 0, 7, 0, 0]])

    def test_a_run_at_the_very_end_of_the_data(self):
        # The library may look up to 257 bytes behind the stream for the pixels of its last run.
        stream = bytes((3, 1)) + bytes((0, 255))
        self.file("in.bmp", make_bmp([[0] * 3], 8, COLOURS, compression=1, data=stream))
        self.tool("normalize", "in.bmp", "out.bmp")
        self.assertEqual(Bmp(self.read("out.bmp")).values(), [[1, 1, 1]])


if __name__ == "__main__":
    unittest.main()
