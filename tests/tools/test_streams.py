"""- as a file name: the standard input, the standard output."""

import os
import pty
import signal
import subprocess
import unittest

from tool_test import COLOURS, TOOL, Bmp, ToolTest, make_bmp, pattern

GOOD = make_bmp(pattern(30, 20, 16), 8, COLOURS)


class Streams(ToolTest):
    def run_with(self, arguments, code=0, **options):
        done = subprocess.run([TOOL, *arguments], cwd=self.folder, stderr=subprocess.PIPE, timeout=60, **options)
        self.assertEqual(done.returncode, code, done.stderr)
        return done

    def test_from_a_pipe_to_a_pipe(self):
        self.file("in.bmp", GOOD)
        self.tool("resample", "in.bmp", "out.bmp", "--dpi", 200)
        done = self.run_with(["resample", "-", "-", "--dpi", "200"], input=GOOD, stdout=subprocess.PIPE)
        self.assertEqual(done.stdout, self.read("out.bmp"))
        self.assertIn(b"standard output: 20 x 13 pixels", done.stderr)
        self.only_files("in.bmp", "out.bmp")

    def test_from_a_file_that_was_read_from_already(self):
        self.file("two", b"before" + GOOD)
        with open(self.path("two"), "rb") as two:
            two.seek(6)
            os.lseek(two.fileno(), 6, os.SEEK_SET)
            self.run_with(["normalize", "-", "out.bmp"], stdin=two)
        self.assertEqual(Bmp(self.read("out.bmp")).width, 30)

    def test_into_a_file(self):
        self.file("in.bmp", GOOD)
        with open(self.path("out.bmp"), "wb") as out:
            self.run_with(["normalize", "in.bmp", "-"], stdout=out)
        self.assertEqual(self.read("out.bmp"), GOOD)

    def test_nothing_comes_out_when_the_input_is_bad(self):
        done = self.run_with(["normalize", "-", "-"], code=3, input=GOOD[:-10], stdout=subprocess.PIPE)
        self.assertEqual(done.stdout, b"")
        self.assertIn(b"standard input: ", done.stderr)
        done = self.run_with(["normalize", "-", "out.bmp"], code=3, input=b"")
        self.assertIn(b"standard input: the file is empty", done.stderr)

    def test_a_closed_pipe_is_an_error(self):
        reader, writer = os.pipe()
        os.close(reader)
        self.file("in.bmp", GOOD)
        done = self.run_with(["normalize", "in.bmp", "-"], code=5, stdout=writer)
        os.close(writer)
        self.assertIn(b"standard output: cannot be written: Broken pipe", done.stderr)

    def test_a_terminal_is_no_picture(self):
        terminal, inside = pty.openpty()
        self.file("in.bmp", GOOD)
        self.assertIn(b"is a terminal", self.run_with(["normalize", "in.bmp", "-"], code=2, stdout=inside).stderr)
        self.assertIn(b"is a terminal", self.run_with(["normalize", "-", "out.bmp"], code=2, stdin=inside).stderr)
        os.close(terminal)
        os.close(inside)

    def test_info_and_compare_read_it_too(self):
        self.file("in.bmp", GOOD)
        done = self.run_with(["info", "-"], input=GOOD, stdout=subprocess.PIPE)
        self.assertTrue(done.stdout.startswith(b"standard input: Windows bitmap"), done.stdout)
        done = self.run_with(["compare", "in.bmp", "-"], input=GOOD, stdout=subprocess.PIPE)
        self.assertEqual(done.stdout, b"equal: all 600 pixels\n")

    def test_a_stop_while_waiting(self):
        tool = subprocess.Popen([TOOL, "normalize", "-", "out.bmp"], cwd=self.folder, stdin=subprocess.PIPE,
                                stderr=subprocess.PIPE)
        tool.stdin.write(GOOD[:100])
        tool.stdin.flush()
        with self.assertRaises(subprocess.TimeoutExpired):
            tool.wait(timeout=0.3)
        tool.send_signal(signal.SIGTERM)
        said = tool.communicate(timeout=60)[1]
        self.assertEqual((tool.returncode, said), (143, b"Stopped. No file was written.\n"))
        self.only_files()


if __name__ == "__main__":
    unittest.main()
