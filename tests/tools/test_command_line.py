"""The command line: help, version, and what is wrong with it."""

import os
import unittest

from tool_test import COLOURS, ToolTest, make_bmp, pattern

ALL_FORMATS = os.environ.get("DIBPREP_IMAGE_FORMATS") == "ON"
COMMANDS = ("resample", "rescale", "convert", "normalize", "quantize", "palette", "compare", "info", "help")


class CommandLine(ToolTest):
    def setUp(self):
        super().setUp()
        self.file("in.bmp", make_bmp(pattern(30, 20, 16), 8, COLOURS))

    def test_overview_names_every_command_and_exit_code(self):
        said = self.tool("--help")
        for word in COMMANDS + ("Exit codes", "130"):
            self.assertIn(word, said)
        self.assertEqual(self.tool("-h"), said)
        self.assertEqual(self.tool(code=2), said)

    def test_overview_names_the_formats_of_this_build_and_an_example(self):
        said = self.tool("--help")
        names = "BMP, PNG, TIFF, JPEG, PNM and DIB" if ALL_FORMATS else "BMP, PNM and DIB"
        self.assertIn(f"\nFormats: {names}; OUT's ending or --format chooses.\n", said)
        self.assertIn("\nExample: dibprep resample page.bmp page200.bmp --dpi 200\n", said)

    def test_help_of_a_command_fits_a_screen(self):
        for command in COMMANDS:
            said = self.tool(command, "--help")
            self.assertTrue(said.startswith(f"Usage: dibprep {command} "), said)
            self.assertIn(f"Example: dibprep {command} ", said)
            self.fits_a_screen(said)
            self.assertEqual(self.tool("help", command), said)
        for said in (self.tool("--help"), self.tool("help", "many")):
            self.fits_a_screen(said)

    def fits_a_screen(self, said):
        # One line is for the prompt.
        self.assertLess(said.count("\n"), 24, said)
        self.assertLessEqual(max(map(len, said.split("\n"))), 80, said)

    def test_help_of_a_converting_command_names_the_options_for_many_pages(self):
        for command in ("resample", "rescale", "convert", "normalize", "quantize"):
            said = self.tool(command, "--help")
            self.assertIn(f"dibprep {command} -o DIR PAGES...", said)
            self.assertIn("`dibprep help many`", said)

    def test_help_names_the_files_that_a_command_has(self):
        said = self.tool("compare", "--help")
        for words in ("Take only this page of A and of B.", "Replace the file of --picture when it exists already."):
            self.assertIn(words, said)
        for word in (r"\bIN\b", r"\bOUT\b"):
            self.assertNotRegex(said, word)

    def test_help_says_where_there_is_no_jpeg(self):
        for command in ("resample", "palette"):
            said = " ".join(self.tool(command, "--help").split())
            self.assertEqual("Quality of JPEG files (64-bit build only)." in said, not ALL_FORMATS)
            self.assertEqual("Quality of JPEG files. Default: 90." in said, ALL_FORMATS)

    def test_a_file_may_be_called_like_a_command(self):
        self.file("help", make_bmp(pattern(30, 20, 16), 8, COLOURS))
        self.tool("normalize", "help", "palette")
        self.only_files("help", "in.bmp", "palette")

    def test_short_forms(self):
        self.assertEqual(self.tool("normalize", "in.bmp", "quiet.bmp", "-q"), "")
        said = self.tool("normalize", "in.bmp", "verbose.bmp", "-v")
        self.assertRegex(said, r"verbose.bmp: read 758 bytes, wrote 758; up to \d+ MB of memory\.\n$")

    def test_version(self):
        self.assertRegex(self.tool("--version"), r"^dibprep \d+\.\d+\.\d+ \((32|64) bits\)\n$")

    def test_what_is_wrong_is_said(self):
        for arguments, words in (
                (["resmaple", "in.bmp"], "Did you mean resample?"),
                (["help", "resmaple"], "there are many, resample,"),
                (["resample", "in.bmp", "out.bmp", "--dpi", "9", "--threshhold", "3"], "Did you mean --threshold?"),
                (["resample", "in.bmp", "out.bmp", "--dpi", "9", "--threshhold=3"], "no option --threshhold."),
                (["resample", "in.bmp", "out.bmp", "--dpi"], "--dpi"),
                (["palette", "out.bmp", "more.bmp"], '"more.bmp" is one name too many; it takes OUT.'),
                (["normalize", "in.bmp", "out.bmp", "-q", "-v"], "give one of the two"),
                (["normalize", "in.bmp", "out.bmp", "--input-dpi", "9", "--missing-dpi", "9"], "give one of the two"),
                (["normalize", "in.bmp", "out.bmp", "--missing-dpi", "0"], "from 1 to 65535"),
                (["normalize", "in.bmp", "out.bmp", "--jobs", "2"], "--jobs is for many pages"),
                (["normalize", "in.bmp", "out.bmp", "--report", "r"], "--report is for many pages"),
                (["frobnicate"], 'no command "frobnicate"; there are resample,'),
                (["--dpi", "200"], 'no command "--dpi"'),
                (["resample"], "IN is required"),
                (["resample", "in.bmp"], "OUT is required"),
                (["resample", "in.bmp", "out.bmp"], "--dpi is required"),
                (["resample", "in.bmp", "out.bmp", "third.bmp", "--dpi", "200"], 
                 '"third.bmp" is one name too many: IN is in.bmp, OUT is out.bmp. For several pages write -o DIR'),
                (["resample", "in.bmp", "out.bmp", "--dpi", "0"], 'from 1 to 65535, not "0"'),
                (["resample", "in.bmp", "out.bmp", "--dpi", "65536"], 'not "65536"'),
                (["resample", "in.bmp", "out.bmp", "--dpi", "2OO"], 'not "2OO"'),
                (["resample", "in.bmp", "out.bmp", "--dpi", "200.5"], 'not "200.5"'),
                (["resample", "in.bmp", "out.bmp", "--dpi", "99999999999999999999999"], "from 1 to 65535"),
                (["resample", "in.bmp", "out.bmp", "--dpi", "200", "--threshold", "257"], "from 0 to 256"),
                (["resample", "in.bmp", "out.bmp", "--dpi", "200", "--input-dpi", "x"], "--input-dpi"),
                (["resample", "in.bmp", "out.bmp", "--dpi", "200", "--colour"], "--colour"),
                (["rescale", "in.bmp", "out.bmp"], "either --dpi or --square"),
                (["rescale", "in.bmp", "out.bmp", "--dpi", "200", "--square"], "either --dpi or --square"),
                (["rescale", "in.bmp", "out.bmp", "--dpi", "200x"], "200x100"),
                (["rescale", "in.bmp", "out.bmp", "--dpi", "x200"], "200x100"),
                (["rescale", "in.bmp", "out.bmp", "--dpi", "200x100x1"], "200x100"),
                (["rescale", "in.bmp", "out.bmp", "--dpi", "0x100"], "200x100"),
                (["rescale", "in.bmp", "out.bmp", "--dpi", "200", "--crop", "1,2,3"], "--crop wants"),
                (["rescale", "in.bmp", "out.bmp", "--dpi", "200", "--crop", "1,2,0,4"], "--crop wants"),
                (["rescale", "in.bmp", "out.bmp", "--dpi", "200", "--crop", "1,2,3,4,5"], "--crop wants"),
                (["rescale", "in.bmp", "out.bmp", "--dpi", "200", "--crop", "20,0,5,5"], "which has 20 x 13 pixels"),
                (["convert", "in.bmp", "out.bmp", "--depth", "8"], "24 or 16"),
                (["quantize", "in.bmp", "out.bmp", "--colors", "257"], "from 1 to 256"),
                (["quantize", "in.bmp", "out.bmp", "--colors", "9", "--octree-depth", "9"], "from 1 to 8")):
            with self.subTest(arguments=arguments):
                said = self.tool(*arguments, code=2)
                self.assertIn(words, said)
                self.assertEqual(said.count("\n"), 1, said)
        self.only_files("in.bmp")


if __name__ == "__main__":
    unittest.main()
