"""The output file: complete or not there, and never in place of another unless asked."""

import os
import stat
import subprocess
import unittest

from tool_test import COLOURS, TOOL, Bmp, ToolTest, make_bmp, pattern

GOOD = make_bmp(pattern(30, 20, 16), 8, COLOURS)


class OutputFiles(ToolTest):
    def setUp(self):
        super().setUp()
        self.file("in.bmp", GOOD)

    def convert(self, name, *more, code=0):
        return self.tool("normalize", "in.bmp", name, *more, code=code)

    def test_existing_file_is_kept(self):
        self.file("out.bmp", b"mine")
        for command in (["normalize", "in.bmp", "out.bmp"], ["resample", "in.bmp", "out.bmp", "--dpi", 200],
                        ["palette", "out.bmp"]):
            said = self.tool(*command, code=5)
            self.assertIn("out.bmp: exists already", said)
            self.assertIn("--force", said)
        self.assertEqual(self.read("out.bmp"), b"mine")
        self.only_files("in.bmp", "out.bmp")

    def test_existing_file_is_noticed_before_the_input_is_read(self):
        self.file("out.bmp", b"mine")
        self.assertIn("exists already", self.tool("normalize", "missing.bmp", "out.bmp", code=5))

    def test_force_replaces(self):
        self.file("out.bmp", b"mine")
        os.chmod(self.path("out.bmp"), 0o640)
        self.convert("out.bmp", "--force")
        self.assertEqual(Bmp(self.read("out.bmp")).width, 30)
        self.assertEqual(stat.S_IMODE(os.stat(self.path("out.bmp")).st_mode), 0o640)
        self.only_files("in.bmp", "out.bmp")

    def test_failure_with_force_keeps_the_old_file(self):
        self.file("out.bmp", b"mine")
        self.file("bad.bmp", GOOD[:-10])
        self.tool("normalize", "bad.bmp", "out.bmp", "--force", code=3)
        self.assertEqual(self.read("out.bmp"), b"mine")
        self.only_files("bad.bmp", "in.bmp", "out.bmp")

    def test_new_file_has_the_usual_mode(self):
        before = os.umask(0o027)
        try:
            self.convert("out.bmp")
        finally:
            os.umask(before)
        self.assertEqual(stat.S_IMODE(os.stat(self.path("out.bmp")).st_mode), 0o640)

    def test_in_place(self):
        self.tool("resample", "in.bmp", "in.bmp", "--dpi", 600, "--force")
        self.assertEqual(Bmp(self.read("in.bmp")).width, 60)
        self.only_files("in.bmp")

    def test_symbolic_link_is_written_through(self):
        os.mkdir(self.path("far"))
        self.file("far/real.bmp", b"mine")
        os.symlink("far/real.bmp", self.path("link.bmp"))
        self.convert("link.bmp", code=5)
        self.convert("link.bmp", "--force")
        self.assertTrue(os.path.islink(self.path("link.bmp")))
        self.assertEqual(Bmp(self.read("far/real.bmp")).width, 30)
        self.assertEqual(os.listdir(self.path("far")), ["real.bmp"])

    def test_what_is_no_file(self):
        os.mkdir(self.path("folder"))
        os.mkfifo(self.path("pipe"))
        for name in ("folder", "folder/", "pipe"):
            with self.subTest(name):
                self.convert(name, "--force", code=5)
        self.assertTrue(stat.S_ISFIFO(os.stat(self.path("pipe")).st_mode))

    def test_folder_that_is_missing(self):
        said = self.convert("nowhere/out.bmp", code=5)
        self.assertIn("nowhere", said)
        self.assertIn("No such file", said)

    def test_name_too_long(self):
        self.assertIn("too long", self.convert("x" * 300 + ".bmp", code=5))
        self.convert("x" * 250 + ".bmp")

    @unittest.skipIf(os.geteuid() == 0, "a superuser may write anywhere")
    def test_folder_that_may_not_be_written(self):
        os.mkdir(self.path("locked"), 0o555)
        self.assertIn("Permission denied", self.convert("locked/out.bmp", code=5))

    def test_full_disk(self):
        # A limit on the size of files stands in for a disk without room.
        done = subprocess.run(["sh", "-c", 'ulimit -f 1; exec "$0" "$@"', TOOL,
                               "rescale", "in.bmp", "out.bmp", "--dpi", "600"],
                              cwd=self.folder, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=60)
        self.assertEqual(done.returncode, 5, done.stderr)
        self.assertIn(b"out.bmp: cannot be written: File too large", done.stderr)
        self.only_files("in.bmp")

    def test_name_taken_while_the_work_goes_on(self):
        # The output name is looked at first; the pipe then keeps the tool waiting.
        os.mkfifo(self.path("pipe"))
        tool = subprocess.Popen([TOOL, "normalize", "pipe", "out.bmp"], cwd=self.folder, stderr=subprocess.PIPE)
        with open(self.path("pipe"), "wb") as pipe:  # returns once the tool has opened its end
            self.file("out.bmp", b"somebody else's")
            pipe.write(GOOD)
        said = tool.communicate(timeout=60)[1]
        self.assertEqual(tool.returncode, 5, said)
        self.assertIn(b"exists already", said)
        self.assertEqual(self.read("out.bmp"), b"somebody else's")
        self.only_files("in.bmp", "out.bmp", "pipe")

    def test_input_that_cannot_be_read(self):
        self.assertIn("missing.bmp: cannot be opened: No such file", self.tool("info", "missing.bmp", code=5))
        self.assertIn("is a folder", self.tool("info", ".", code=5))


if __name__ == "__main__":
    unittest.main()
