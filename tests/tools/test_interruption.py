"""Ctrl-C and SIGTERM: the tool stops soon, says so, and leaves nothing."""

import os
import pty
import select
import signal
import subprocess
import time
import unittest

from tool_test import COLOURS, SAMPLES, TOOL, ToolTest, make_bmp, pattern

GOOD = make_bmp(pattern(30, 20, 16), 8, COLOURS)


class Interruption(ToolTest):
    def stop_at_first_progress(self, arguments, number):
        """Runs the tool with a terminal for its messages; sends the signal once the bar shows."""
        terminal, inside = pty.openpty()
        tool = subprocess.Popen([TOOL, *map(str, arguments)], cwd=self.folder, stdin=subprocess.DEVNULL, stderr=inside)
        os.close(inside)
        said, sent = b"", False
        deadline = time.monotonic() + 120
        while time.monotonic() < deadline:
            if not select.select([terminal], [], [], 1)[0]:
                continue
            try:
                piece = os.read(terminal, 4096)
            except OSError:  # the other end is closed
                break
            if not piece:
                break
            said += piece
            if b"%" in said and not sent:
                tool.send_signal(number)
                sent = True
        os.close(terminal)
        tool.wait(timeout=60)
        self.assertTrue(sent, said)
        self.assertEqual(tool.returncode, 128 + number, said)
        self.assertIn(b"Stopped", said)
        self.assertNotIn(b"100 %", said)

    def test_in_the_middle_of_the_work(self):
        page = os.path.join(SAMPLES, "page-24bit.bmp")
        self.stop_at_first_progress(["resample", page, "out.bmp", "--dpi", 450], signal.SIGINT)
        self.only_files()
        self.stop_at_first_progress(["rescale", page, "out.bmp", "--dpi", 600], signal.SIGTERM)
        self.only_files()

    def test_an_old_file_survives(self):
        self.file("out.bmp", b"mine")
        page = os.path.join(SAMPLES, "page-colours.bmp")
        self.stop_at_first_progress(["resample", page, "out.bmp", "--dpi", 300, "--force"], signal.SIGINT)
        self.assertEqual(self.read("out.bmp"), b"mine")
        self.only_files("out.bmp")

    def waiting_tool(self):
        """The tool while it waits for its input from a pipe, whose other end is given too."""
        os.mkfifo(self.path("pipe"))
        tool = subprocess.Popen([TOOL, "normalize", "pipe", "out.bmp"], cwd=self.folder, stderr=subprocess.PIPE)
        pipe = open(self.path("pipe"), "wb", buffering=0)
        return tool, pipe

    def test_while_reading(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            tool, pipe = self.waiting_tool()
            with pipe:
                pipe.write(GOOD[:100])
                time.sleep(0.1)
                tool.send_signal(number)
                said = tool.communicate(timeout=60)[1]
            self.assertEqual(tool.returncode, 128 + number, said)
            self.assertEqual(said, b"Stopped. No file was written.\n")
            self.only_files("pipe")
            os.remove(self.path("pipe"))

    def test_no_bar_without_a_terminal(self):
        self.file("in.bmp", GOOD)
        said = self.tool("resample", "in.bmp", "out.bmp", "--dpi", 200)
        self.assertNotIn("%", said)
        self.assertNotIn("\r", said)


if __name__ == "__main__":
    unittest.main()
