"""Many pages in one call: names, lists, shards, reports, and pages that fail."""

import json
import os
import subprocess
import unittest

from tool_test import COLOURS, TOOL, Bmp, ToolTest, make_bmp, pattern

GOOD = make_bmp(pattern(30, 20, 16), 8, COLOURS)


class ManyPages(ToolTest):
    def pages(self, count, folder="in"):
        os.makedirs(self.path(folder), exist_ok=True)
        names = [f"{folder}/page{i:03}.bmp" for i in range(count)]
        for name in names:
            self.file(name, GOOD)
        return names

    def made(self, folder="out"):
        return sorted(os.listdir(self.path(folder)))

    def report(self, name="report.jsonl"):
        return [json.loads(line) for line in self.read(name).decode().splitlines()]

    def test_results_are_those_of_single_calls(self):
        names = self.pages(3)
        for command, *options in (["resample", "--dpi", 200], ["rescale", "--dpi", 100], ["convert", "--depth", 24],
                                  ["normalize"], ["quantize", "--colors", 4]):
            with self.subTest(command):
                self.tool(command, names[0], "one.bmp", "--force", *options)
                said = self.tool(command, "-o", f"by/{command}", *names, *options)
                self.assertRegex(said, r"^(by/.*: .*\. \(A note on one of 3 pages; .*\)\n)?3 of 3 pages done; "
                                       r"\d+\.\d\d s, \d+\.\d pages a second, up to \d+ MB for a page\.\n$")
                self.assertEqual(self.made(f"by/{command}"), ["page000.bmp", "page001.bmp", "page002.bmp"])
                for name in self.made(f"by/{command}"):
                    self.assertEqual(self.read(f"by/{command}/{name}"), self.read("one.bmp"))

    def test_two_hundred_pages_by_two_workers(self):
        names = self.pages(200)
        self.tool("resample", "--dpi", 200, "--output-dir", "out", "--jobs", 2, *names, "--report", "report.jsonl")
        self.assertEqual(len(self.made()), 200)
        *pages, last = self.report()
        self.assertEqual({page["status"] for page in pages}, {"done"})
        self.assertEqual(sorted(page["input"] for page in pages), names)
        self.assertEqual((last["summary"]["pages"], last["summary"]["done"]), (200, 200))
        # The last pages take no more memory than the first ones.
        peaks = [page["peak_memory"] for page in pages]
        self.assertLess(max(peaks[-50:]), 1.2 * max(peaks[:50]), peaks)

    def test_report(self):
        first, second, third = self.pages(3)
        self.file(second, GOOD[:-10])
        self.file(third, make_bmp(pattern(30, 20, 16), 8, COLOURS, ppm=(0, 0)))
        self.tool("convert", "--depth", 24, "-o", "out", first, second, third, "--report", "report.jsonl", code=1)
        good, bad, no_dpi, last = self.report()
        for page in (good, bad, no_dpi):
            self.assertGreater(page.pop("milliseconds"), 0)
            self.assertGreater(page.pop("peak_memory"), 1000000)
        size = {"width": 30, "height": 20}
        self.assertEqual(good, {"input": first, "output": "out/page000.bmp", "status": "done",
                                "input_bytes": len(GOOD), "output_bytes": len(self.read("out/page000.bmp")),
                                "pages": [{"before": {**size, "bits": 8, "dpi": [300, 300]},
                                           "after": {**size, "bits": 24, "dpi": [300, 300]}}]})
        self.assertEqual((bad["input"], bad["status"], bad["code"]), (second, "failed", 3))
        self.assertIn(second + ": ", bad["message"])
        self.assertIsNone(no_dpi["pages"][0]["after"]["dpi"])
        summary = last["summary"]
        self.assertEqual([summary[key] for key in ("pages", "done", "skipped", "failed", "left", "stopped_by")],
                         [3, 2, 0, 1, 0, None])

    def test_report_goes_on_behind_a_broken_line(self):
        self.file("report.jsonl", b'{"input":"a"}\n{"inp')
        self.tool("normalize", "-o", "out", *self.pages(1), "--report", "report.jsonl")
        lines = self.read("report.jsonl").splitlines()
        self.assertEqual(lines[:2], [b'{"input":"a"}', b'{"inp'])
        self.assertEqual([json.loads(line).get("status") for line in lines[2:]], ["done", None])

    def test_report_that_cannot_be_written(self):
        names = self.pages(2)
        said = self.tool("normalize", "-o", "out", *names, "--report", "nowhere/report", code=5)
        self.assertIn("nowhere/report: the report cannot be written: No such file", said)
        self.assertFalse(os.path.exists(self.path("out/page000.bmp")))
        said = self.tool("normalize", "-o", "out", *names, "--report", "/dev/full", code=5)
        self.assertIn("/dev/full: the report cannot be written: No space left", said)
        self.assertEqual(len(self.made()), 2)

    def test_a_bad_page_is_told_and_the_rest_goes_on(self):
        names = self.pages(4)
        self.file(names[1], b"junk")
        os.remove(self.path(names[2]))
        said = self.tool("normalize", "-o", "out", *names, "--quiet", code=1)
        self.assertEqual([line.split(":")[0] for line in said.splitlines()], names[1:3])
        self.assertEqual(self.made(), ["page000.bmp", "page003.bmp"])
        said = self.tool("normalize", "-o", "out", *names, "--force", code=1)
        self.assertIn("2 of 4 pages done, 2 failed; ", said)

    def test_quiet_and_verbose(self):
        names = self.pages(2)
        self.assertEqual(self.tool("normalize", "-o", "out", *names, "-q"), "")
        said = self.tool("normalize", "-o", "out", *names, "-v", "--force").splitlines()
        self.assertEqual(len(said), 5, said)
        self.assertTrue(said[0].startswith("out/page000.bmp: 30 x 20 pixels, 8 bits, 300 dpi (before: "), said)

    def test_lists(self):
        names = self.pages(3)
        odd = "in/two\nlines \xff.bmp".encode("latin-1")
        with open(os.path.join(self.folder.encode(), odd), "wb") as file:
            file.write(GOOD)
        self.file("lines", "\n".join(names).encode())
        self.file("dos-lines", "\r\n".join(names + [""]).encode())
        self.file("zeros", b"".join(name.encode() + b"\0" for name in names) + odd + b"\0")
        for index, (name, count) in enumerate((("lines", 3), ("dos-lines", 3), ("zeros", 4))):
            self.tool("normalize", "-o", f"out{index}", "--from-list", name)
            self.assertEqual(len(self.made(f"out{index}")), count)
            done = self.run_with_input(self.read(name), "normalize", "-o", f"in{index}", "--from-list", "-")
            self.assertEqual(done.returncode, 0, done.stderr)
            self.assertEqual(self.made(f"in{index}"), self.made(f"out{index}"))
        # Names on the command line come first.
        self.tool("normalize", "-o", "both", "--from-list", "lines", *self.pages(1, "more"), code=2)
        self.tool("normalize", "-o", "both", "--from-list", "missing", code=5)
        self.file("none", b"")
        self.assertIn("0 of 0 pages done", self.tool("normalize", "-o", "both", "--from-list", "none"))

    def run_with_input(self, content, *arguments):
        self.file("stdin", content)
        with open(self.path("stdin"), "rb") as file:
            return subprocess.run([TOOL, *arguments], cwd=self.folder, stdin=file, stdout=subprocess.PIPE,
                                  stderr=subprocess.PIPE, timeout=60)

    def test_shards_share_the_pages(self):
        names = self.pages(10)
        shares = []
        for index in (1, 2, 3):
            self.tool("normalize", "-o", "out", "--shard", f"{index}/3", *names, "--report", f"r{index}")
            shares.append([page["input"] for page in self.report(f"r{index}")[:-1]])
        self.assertEqual(shares, [names[0::3], names[1::3], names[2::3]])
        self.assertEqual(len(self.made()), 10)
        self.assertIn("0 of 0 pages done", self.tool("normalize", "-o", "out", "--shard", "12/20", *names))
        for wrong in ("0/3", "4/3", "1", "1/", "/3", "a/b", "1/3/3", "-1/3", ""):
            said = self.tool("normalize", "-o", "new", f"--shard={wrong}", *names, code=2)
            self.assertIn("--shard wants", said)

    def test_format_gives_the_names_their_ending(self):
        self.pages(1)
        for name in ("in/two.PGM", "in/three.pnm", "in/four", "in/five.old.dib", "in/six.x"):
            self.file(name, GOOD)
        os.rename(self.path("in/page000.bmp"), self.path("in/one.bmp"))
        names = ["in/" + name for name in os.listdir(self.path("in"))]
        self.tool("normalize", "-o", "out", "--format", "pnm", *names)
        self.assertEqual(self.made(), ["five.old.pnm", "four.pnm", "one.pnm", "six.x.pnm", "three.pnm", "two.PGM"])
        for name in self.made():
            self.assertTrue(self.read("out/" + name).startswith(b"P6"))
        self.file("in/three.bmp", GOOD)
        self.assertIn("would both become new/three.pnm", self.tool("normalize", "-o", "new", "--format", "pnm", *names,
                                                                   "in/three.bmp", code=2))

    def test_files_of_several_pages(self):
        self.file("a.pgm", b"".join(b"P5 4 2 255 " + bytes([value] * 8) for value in (10, 20, 30)))
        self.tool("convert", "--depth", 24, "-o", "out", "a.pgm", "--report", "report.jsonl")
        self.assertEqual(len(self.report()[0]["pages"]), 3)
        said = self.tool("convert", "--depth", 24, "-o", "out", "a.pgm", "--force", "-v")
        self.assertIn("out/a.pgm: page 3: 4 x 2 pixels, 24 bits", said)
        self.assertIn("holds one", self.tool("convert", "--depth", 24, "-o", "out", "a.pgm", "--format", "bmp", code=1))

    def test_missing_dpi_leaves_recorded_resolutions_alone(self):
        recorded, bare, half = self.pages(3)
        self.file(bare, make_bmp(pattern(30, 20, 16), 8, COLOURS, ppm=(0, 0)))
        self.file(half, make_bmp(pattern(30, 20, 16), 8, COLOURS, ppm=(11811, 0)))
        for command in ("resample", "rescale"):
            said = self.tool(command, "--dpi", 150, "-o", "failed", bare, "--force", code=1)
            self.assertIn(f"{bare}: the file records no resolution. Give it with --missing-dpi, for example", said)
            self.tool(command, "--dpi", 150, "--missing-dpi", 100, "-o", command, recorded, bare, half)
            sizes = [(page.width, page.height) for page in (Bmp(self.read(f"{command}/{name}"))
                                                            for name in self.made(command))]
            self.assertEqual(sizes, [(15, 10), (45, 30), (45, 30)])
        for name, option, ppm in ((recorded, "--missing-dpi", 11811), (bare, "--missing-dpi", 3937),
                                  (recorded, "--input-dpi", 3937), (bare, "--input-dpi", 3937)):
            self.tool("normalize", name, "one.bmp", option, 100, "--force")
            self.assertEqual((Bmp(self.read("one.bmp")).x_ppm, Bmp(self.read("one.bmp")).y_ppm), (ppm, ppm))
            found = json.loads(self.tool("info", name, option, 100, "--json"))
            self.assertEqual(found["pixels_per_metre"], [ppm, ppm])
            self.assertEqual(found["stored_resolution"] == "given", ppm == 3937)

    def test_the_first_note_is_told(self):
        names = self.pages(3)
        self.file(names[0], make_bmp(pattern(30, 20, 16), 8, COLOURS, ppm=(0, 0)))
        lost = "PNM files record no resolution: it is lost."
        command = ["normalize", "-o", "out", "--format", "pnm", "--force"]
        self.assertNotIn("lost", self.tool(*command, names[0]))
        said = self.tool(*command, *names[:2]).splitlines()
        self.assertEqual((len(said), said[0]), (2, f"out/page001.pnm: {lost}"))
        said = self.tool(*command, *names).splitlines()
        self.assertEqual((len(said), said[0]), (2, f"out/page001.pnm: {lost} (A note on one of 2 pages; --verbose and "
                                                   "--report have them all.)"))
        self.assertEqual(self.tool(*command, *names, "--quiet"), "")
        self.assertNotIn("A note on", self.tool(*command, *names, "--verbose"))

    def test_two_pages_of_one_name(self):
        names = self.pages(3) + self.pages(2, "other")
        said = self.tool("normalize", "-o", "out", *names, code=2)
        self.assertIn("in/page000.bmp and other/page000.bmp would both become out/page000.bmp (and 1 more)", said)
        # In another shard too: what one of them refuses all refuse.
        self.tool("normalize", "-o", "out", "--shard", "3/3", *names, code=2)
        said = self.tool("normalize", "-o", "out", *names[:3], names[1], code=2)
        self.assertIn("in/page001.bmp is named twice", said)
        self.assertFalse(os.path.exists(self.path("out")))

    def test_results_that_exist(self):
        names = self.pages(5)
        os.mkdir(self.path("out"))
        self.file("out/page001.bmp", b"mine")
        self.file("out/page003.bmp", b"mine")
        said = self.tool("normalize", "-o", "out", *names, code=5)
        self.assertIn("out/page001.bmp: exists already, and so do 1 more results. Nothing was converted.", said)
        self.assertEqual(len(self.made()), 2)
        said = self.tool("normalize", "-o", "out", *names, "--skip-existing", "--report", "report.jsonl")
        self.assertIn("3 of 5 pages done, 2 skipped; ", said)
        self.assertEqual(self.read("out/page001.bmp"), b"mine")
        self.assertEqual([page.get("status") for page in self.report()],
                         ["done", "skipped", "done", "skipped", "done", None])
        self.tool("normalize", "-o", "out", *names, "--force")
        self.assertEqual(Bmp(self.read("out/page001.bmp")).width, 30)
        said = self.tool("normalize", "-o", "out", *names, "--force", "--skip-existing", code=2)
        self.assertIn("one of the two", said)

    def test_the_folder(self):
        names = self.pages(1)
        self.file("plain", b"")
        self.assertIn("plain: is a file, and -o wants a folder", self.tool("normalize", "-o", "plain", *names, code=5))
        self.assertIn("cannot be made", self.tool("normalize", "-o", "plain/deep", *names, code=5))
        self.assertIn("looks like a file", self.tool("normalize", "-o", "new.bmp", *names, code=2))
        self.tool("normalize", "-o", "new.bmp/", *names)
        self.tool("normalize", "-o", "a/b/c", *names)
        self.assertEqual(self.made("new.bmp") + self.made("a/b/c"), ["page000.bmp"] * 2)
        self.tool("normalize", "-o", "in", *names, "--force")

    def test_what_is_no_page(self):
        self.assertIn("- stands for one page", self.tool("normalize", "-o", "out", "-", code=2))
        self.assertIn("no page is named", self.tool("normalize", "-o", "out", code=2))
        self.pages(1)
        self.assertIn("is a folder", self.tool("normalize", "-o", "out", "in/", code=5))
        self.assertIn("in: is a folder", self.tool("normalize", "-o", "out", "in", code=1))
        self.assertIn("Write -o in", self.tool("normalize", "in/page000.bmp", "in", code=5))

    def test_as_many_jobs_as_processors(self):
        self.tool("normalize", "-o", "out", *self.pages(20), "-j", 0)
        self.assertEqual(len(self.made()), 20)

    def test_a_limit_on_processes_makes_it_slower_only(self):
        if os.geteuid() == 0:
            self.skipTest("the superuser has no such limit")
        done = subprocess.run(["bash", "-c", 'ulimit -u 1; exec "$0" "$@"', TOOL, "normalize", "-o", "out",
                               *self.pages(2)], cwd=self.folder, stderr=subprocess.PIPE, timeout=60)
        self.assertEqual(done.returncode, 1)
        self.assertIn(b"no process can be started", done.stderr)


if __name__ == "__main__":
    unittest.main()
