"""Many pages: workers that die, calls that are stopped or killed, and going on afterwards."""

import json
import os
import signal
import subprocess
import time
import unittest

from tool_test import COLOURS, PRELOAD, TOOL, Bmp, ToolTest, make_bmp, pattern

GOOD = make_bmp(pattern(30, 20, 16), 8, COLOURS)
LARGE = make_bmp(pattern(600, 400, 16), 8, COLOURS)
# The sanitizers' runtime wants to be loaded first, and is content with second place when told so.
HELD = dict(os.environ, LD_PRELOAD=PRELOAD, TEST_PAUSE_AT_SYNC="1", ASAN_OPTIONS="verify_asan_link_order=0")
FILE_SYSTEMS = {"files without a name": HELD, "temporary names": dict(HELD, TEST_NO_TMPFILE="1")}


def wait_for(condition, what):
    deadline = time.monotonic() + 60
    while time.monotonic() < deadline:
        found = condition()
        if found:
            return found
        time.sleep(0.01)
    raise AssertionError(f"this did not happen within a minute: {what}")


def children(process):
    with open(f"/proc/{process}/task/{process}/children", encoding="ascii") as file:
        return [int(child) for child in file.read().split()]


def is_gone(process):
    try:
        with open(f"/proc/{process}/stat", encoding="ascii") as file:
            return file.read().rsplit(")", 1)[1].split()[0] == "Z"
    except OSError:
        return True


def waits(process):
    """The process sleeps in the system: reading from a pipe without a writer, or paused."""
    with open(f"/proc/{process}/stat", encoding="ascii") as file:
        return file.read().rsplit(")", 1)[1].split()[0] == "S"


class ManyStopped(ToolTest):
    def setUp(self):
        super().setUp()
        os.mkdir(self.path("in"))

    def pages(self, count, content=GOOD):
        names = [f"in/page{i:03}.bmp" for i in range(count)]
        for name in names:
            self.file(name, content)
        return names

    def start(self, *arguments, **options):
        tool = subprocess.Popen([TOOL, *map(str, arguments)], cwd=self.folder, stdin=subprocess.DEVNULL,
                                stderr=subprocess.PIPE, **options)
        self.addCleanup(tool.stderr.close)
        self.addCleanup(tool.wait)
        self.addCleanup(tool.kill)
        return tool

    def out(self):
        return sorted(os.listdir(self.path("out")))

    def report(self):
        return [json.loads(line) for line in self.read("report").decode().splitlines()]

    def all_complete(self, names):
        for name in names:
            self.assertEqual(Bmp(self.read("out/" + name)).width % 30, 0)

    def test_a_worker_that_dies_takes_its_page_only(self):
        for number, words in ((signal.SIGKILL, b"was killed (SIGKILL), as happens when memory runs out"),
                              (signal.SIGSEGV, b"was ended by signal 11 (Segmentation fault)"),
                              (signal.SIGABRT, b"was ended by signal 6 (Aborted)")):
            for jobs in (1, 3):
                with self.subTest(number=number, jobs=jobs):
                    names = self.pages(8)
                    os.mkfifo(self.path("in/pipe"))
                    tool = self.start("normalize", "-o", "out", "-j", jobs, *names[:4], "in/pipe", *names[4:],
                                      "--report", "report", "--force")
                    # Without the sanitizers' handler, which turns the signal into an exit code.
                    worker = self.waiting_worker(tool)
                    os.kill(worker, number)
                    said = tool.communicate(timeout=60)[1]
                    self.assertEqual(tool.returncode, 1, said)
                    self.assertEqual(len(self.out()), 8)
                    dead = [page for page in self.report() if page.get("input") == "in/pipe"][-1]
                    self.assertIn(b"in/pipe: its process ", said)
                    self.assertIn(b"8 of 9 pages done, 1 failed", said)
                    if dead["status"] == "died":
                        self.assertIn(words, said)
                        self.assertEqual(dead["signal"], number)
                    else:
                        self.assertIn("libasan", self.libraries(), dead)
                    os.remove(self.path("in/pipe"))

    @staticmethod
    def libraries():
        return subprocess.run(["readelf", "-d", TOOL], stdout=subprocess.PIPE, check=True).stdout.decode()

    def waiting_worker(self, tool):
        """The worker that has the pipe: the only one that stays."""
        def only():
            first = children(tool.pid)
            time.sleep(0.2)
            return first if len(first) == 1 and first == children(tool.pid) and waits(first[0]) else None
        return wait_for(only, "one worker is left")[0]

    def stop_in_the_middle(self, jobs, stop):
        """Starts a call for many pages and stops it when some are done; what was made until then."""
        names = self.pages(60, LARGE)
        tool = self.start("resample", "--dpi", 300, "-o", "out", "-j", jobs, *names, "--report", "report")
        wait_for(lambda: os.path.isdir(self.path("out")) and len(self.out()) > 5, "some pages are done")
        workers = children(tool.pid)
        stop(tool)
        said = tool.communicate(timeout=60)[1]
        for worker in workers:
            wait_for(lambda process=worker: is_gone(process), "the workers end")
        made = self.out()
        self.assertLess(len(made), 60)
        self.assertEqual([name for name in made if name.startswith(".")], [])
        self.all_complete(made)
        return names, tool.returncode, said

    def go_on(self, names):
        before = {name: os.stat(self.path("out/" + name)).st_ino for name in self.out()}
        said = self.tool("resample", "--dpi", 300, "-o", "out", "-j", 2, *names, "--report", "report",
                         "--skip-existing")
        self.assertIn(f"{60 - len(before)} of 60 pages done, {len(before)} skipped", said)
        self.assertEqual(len(self.out()), 60)
        self.all_complete(self.out())
        for name, inode in before.items():
            self.assertEqual(os.stat(self.path("out/" + name)).st_ino, inode)

    def test_stopped_and_gone_on_with(self):
        for number in (signal.SIGTERM, signal.SIGINT):
            with self.subTest(number=number):
                names, code, said = self.stop_in_the_middle(2, lambda tool, n=number: tool.send_signal(n))
                self.assertEqual(code, 128 + number, said)
                self.assertRegex(said, rb"^Stopped\. \d+ of 60 pages done, \d+ left; .*\. The same command with "
                                       rb"--skip-existing goes on\.\n$")
                summary = self.report()[-1]["summary"]
                self.assertEqual((summary["stopped_by"], summary["done"]), (number, len(self.out())))
                self.go_on(names)
                for name in os.listdir(self.path("out")):
                    os.remove(self.path("out/" + name))
                os.rmdir(self.path("out"))

    def test_ctrl_c_reaches_all_at_once(self):
        # A terminal sends the signal to the workers too.
        names = self.pages(40, LARGE)
        tool = self.start("resample", "--dpi", 300, "-o", "out", "-j", 2, *names, start_new_session=True)
        wait_for(lambda: os.path.isdir(self.path("out")) and len(self.out()) > 2, "some pages are done")
        os.killpg(tool.pid, signal.SIGINT)
        said = tool.communicate(timeout=60)[1]
        self.assertEqual(tool.returncode, 130)
        self.assertRegex(said, rb"^Stopped\. \d+ of 40 pages done, \d+ left; ")
        self.all_complete(self.out())

    def test_killed_and_gone_on_with(self):
        names, code, said = self.stop_in_the_middle(2, lambda tool: tool.kill())
        self.assertEqual((code, said), (-9, b""))
        self.go_on(names)

    def test_one_worker_killed_leaves_nothing_behind(self):
        for kind, environment in FILE_SYSTEMS.items():
            with self.subTest(kind):
                names = self.pages(1)
                tool = self.start("normalize", "-o", "out", *names, env=environment)
                worker = self.waiting_worker(tool)
                if kind == "temporary names":
                    self.assertTrue(self.out()[0].startswith(".page000.bmp."))
                os.kill(worker, signal.SIGKILL)
                said = tool.communicate(timeout=60)[1]
                self.assertEqual((tool.returncode, self.out()), (1, []), said)

    def test_a_stop_before_the_file_has_its_name_leaves_nothing_behind(self):
        for kind, environment in FILE_SYSTEMS.items():
            for number in (signal.SIGTERM, signal.SIGINT):
                with self.subTest(kind, number=number):
                    names = self.pages(2)
                    tool = self.start("normalize", "-o", "out", "-j", 2, *names, env=environment)
                    wait_for(lambda t=tool: len(children(t.pid)) == 2 and all(map(waits, children(t.pid))), "two wait")
                    time.sleep(0.2)
                    begin = time.monotonic()
                    tool.send_signal(number)
                    said = tool.communicate(timeout=60)[1]
                    self.assertLess(time.monotonic() - begin, 4)
                    self.assertEqual((tool.returncode, self.out()), (128 + number, []), said)
                    # The same for one page.
                    tool = self.start("normalize", names[0], "out/one.bmp", env=environment)
                    wait_for(lambda t=tool: waits(t.pid), "the tool waits")
                    time.sleep(0.2)
                    tool.send_signal(number)
                    said = tool.communicate(timeout=60)[1]
                    self.assertEqual((tool.returncode, self.out()), (128 + number, []))
                    self.assertEqual(said, b"Stopped. No file was written.\n")

    def test_a_kill_before_the_file_has_its_name_leaves_nothing_behind(self):
        os.mkdir(self.path("out"))
        tool = self.start("normalize", *self.pages(1), "out/one.bmp", env=HELD)
        wait_for(lambda: waits(tool.pid), "the tool waits")
        time.sleep(0.2)
        tool.kill()
        tool.wait()
        self.assertEqual(self.out(), [])

    def test_temporary_names_work_too(self):
        environment = dict(FILE_SYSTEMS["temporary names"])
        del environment["TEST_PAUSE_AT_SYNC"]
        names = self.pages(3)
        for more, words in (((), b"3 of 3 pages done"), (("--force",), b"3 of 3"),
                            (("--skip-existing",), b"3 skipped")):
            tool = self.start("normalize", "-o", "out", *names, *more, env=environment)
            self.assertIn(words, tool.communicate(timeout=60)[1])
            self.assertEqual(self.out(), ["page000.bmp", "page001.bmp", "page002.bmp"])

    def test_two_calls_share_the_work(self):
        names = self.pages(100)
        calls = [self.start("normalize", "-o", "out", "--skip-existing", *names, "--report", "report")
                 for _ in range(2)]
        for call in calls:
            said = call.communicate(timeout=60)[1]
            self.assertEqual(call.returncode, 0, said)
        self.assertEqual(len(self.out()), 100)
        pages = [page for page in self.report() if "status" in page]
        self.assertEqual(len([page for page in pages if page["status"] == "done"]), 100)


if __name__ == "__main__":
    unittest.main()
