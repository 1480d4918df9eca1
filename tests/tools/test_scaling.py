"""What docs/scaling.md shows is run: the command lines of the shards, and with --parallel instead of them GNU
parallel, killed and resumed."""

import json
import os
import re
import shutil
import signal
import subprocess
import sys
import textwrap
import time
import unittest

from tool_test import COLOURS, TOOL, Bmp, ToolTest, make_bmp, pattern

DOCUMENT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "docs", "scaling.md")
PAGES = 24
SHARDS = 16


def example(name):
    with open(DOCUMENT, encoding="utf-8") as file:
        return re.search(rf"<!-- run: {name} -->\n```[a-z]+\n(.*?)^```$", file.read(), re.DOTALL | re.MULTILINE)[1]


class Scaling(ToolTest):
    def setUp(self):
        super().setUp()
        for folder in ("in", "bin", "home"):
            os.mkdir(self.path(folder))
        os.symlink(TOOL, self.path("bin/dibprep"))
        self.names = [f"page {i:03}.bmp" for i in range(PAGES)]
        for name in self.names:
            self.file("in/" + name, make_bmp(pattern(300, 200, 16), 8, COLOURS))
        self.assertEqual(self.shell(example("list")), (0, ""))

    def environment(self, **more):
        return dict(os.environ, PATH=self.path("bin") + ":" + os.environ["PATH"], HOME=self.path("home"), **more)

    def start(self, script, **variables):
        return subprocess.Popen(["bash", "-c", script], cwd=self.folder, stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                env=self.environment(**variables), start_new_session=True)

    def shell(self, script, **variables):
        call = self.start(script, **variables)
        said = call.communicate(timeout=300)[0].decode()
        return call.returncode, said

    def made(self):
        return sorted(os.listdir(self.path("out"))) if os.path.isdir(self.path("out")) else []

    def all_made(self):
        self.assertEqual(self.made(), self.names)
        for name in self.names:
            self.assertEqual(Bmp(self.read("out/" + name)).width, 200)

    def inodes(self):
        return {name: os.stat(self.path("out/" + name)).st_ino for name in self.made()}

    def test_one_call(self):
        self.file("in/" + self.names[7], b"junk")
        code, said = self.shell(example("call"))
        self.assertEqual(code, 1, said)
        failures = self.shell(example("failures"))[1].splitlines()
        self.assertEqual([json.loads(line)["input"] for line in failures], [self.path("in/" + self.names[7])])

    def logged(self):
        """The numbers of the jobs that the log says went well."""
        if not os.path.exists(self.path("jobs.log")):
            return []
        rows = [line.split("\t") for line in self.read("jobs.log").decode().splitlines()[1:]]
        return [int(row[0]) for row in rows if len(row) > 7 and row[6] == "0" and row[7] == "0"]

    def parallel_killed_and_resumed(self):
        # As shown, with chunks and jobs for a small machine and few pages.
        script = example("parallel")
        self.assertIn("-N 50 -j 8", script)
        script = script.replace("-N 50 -j 8", "--will-cite -N 3 -j 2")
        call = self.start(script)
        deadline = time.monotonic() + 120
        while len(self.logged()) < 2 and time.monotonic() < deadline:
            time.sleep(0.02)
        os.killpg(call.pid, signal.SIGKILL)
        call.communicate()
        done, before = self.logged(), self.inodes()
        self.assertGreaterEqual(len(done), 2)
        self.assertLess(len(done), PAGES // 3)
        self.assertGreaterEqual(len(before), 3 * len(done))
        self.assertEqual([name for name in before if name.startswith(".")], [])
        self.assertEqual(self.shell(script), (0, ""))
        self.assertEqual(sorted(self.logged()), list(range(1, PAGES // 3 + 1)))
        self.all_made()
        self.assertEqual(before, {name: inode for name, inode in self.inodes().items() if name in before})

    def run_shards(self, run):
        """Every share of the work once, and one of them again, which leaves all as it is."""
        for index in range(SHARDS):
            self.assertEqual(run(index), (0, ""))
        self.all_made()
        before = self.inodes()
        self.assertEqual(run(3), (0, ""))
        self.assertEqual(self.inodes(), before)

    def test_slurm(self):
        script = example("slurm")
        self.assertIn(f"#SBATCH --array=1-{SHARDS}\n", script)
        self.run_shards(lambda index: self.shell(script, SLURM_ARRAY_TASK_ID=str(index + 1), SLURM_CPUS_PER_TASK="2"))

    def test_kubernetes(self):
        text = example("kubernetes")
        self.assertIn(f"  completions: {SHARDS}\n", text)
        self.assertIn('command: ["bash", "-c"]', text)
        # The folded text of args: its lines joined by spaces.
        script = " ".join(re.search(r"- >-\n((?: {14}\S.*\n)+)", text)[1].split())
        self.run_shards(lambda index: self.shell(script, JOB_COMPLETION_INDEX=str(index)))
        # A bad page is in the report and does not fail the shard.
        self.file("in/" + self.names[2], b"junk")
        os.remove(self.path("out/" + self.names[2]))
        code, said = self.shell(script, JOB_COMPLETION_INDEX="2")
        self.assertEqual(code, 0, said)
        self.assertIn(b'"status":"failed"', self.read("report-2.jsonl"))

    def test_nextflow(self):
        text = example("nextflow")
        self.assertIn(f"params.shards = {SHARDS}\n", text)
        script = textwrap.dedent(re.search(r'"""\n(.*?)"""', text, re.DOTALL)[1])
        values = {"launchDir": self.folder, "params.shards": str(SHARDS), "task.cpus": "2"}

        def run(index):
            filled = re.sub(r"(?<!\\)\$\{([\w.]+)\}", lambda m: {**values, "shard": str(index + 1)}[m[1]], script)
            return self.shell(filled.replace("\\\\", "\\").replace("\\$", "$"))
        self.run_shards(run)


if __name__ == "__main__":
    if sys.argv[1:] == ["--parallel"]:
        if not shutil.which("parallel"):
            print("SKIPPED: GNU parallel is not installed")
            sys.exit(77)
        result = unittest.TextTestRunner().run(Scaling("parallel_killed_and_resumed"))
        sys.exit(0 if result.wasSuccessful() else 1)
    unittest.main()
