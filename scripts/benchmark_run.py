#!/usr/bin/env python3
"""Measures everything anew: builds the benchmark in both widths, plays it, and writes the figures and the
plot of docs/benchmarks.md. The playing takes about five minutes; leave the machine alone meanwhile.

    scripts/benchmark_run.py [--rounds 9] [--core 1] [--works PART] [--keep]

With --works only those works are played whose names contain PART, with --keep the document stays as it
is; the tables then go to the standard output. The other libraries are those that happen to be installed
(Debian: libbenchmark-dev libopencv-imgproc-dev libyuv-dev libfreeimage-dev libleptonica-dev libzimg-dev).
"""
import argparse
import os
import subprocess
import sys
import time

import benchmark_table

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
WIDTHS = {"x64": "64.tsv", "x86": "32.tsv"}


def build(preset):
    folder = os.path.join(ROOT, "build", "bench-" + preset)
    quiet = {"cwd": ROOT, "check": True, "stdout": subprocess.DEVNULL}
    subprocess.run(["cmake", "--preset", preset, "-B", folder, "-DDIBPREP_BENCH=ON", "-DDIBPREP_TESTS=OFF",
                    "-DDIBPREP_TOOLS=OFF"], **quiet)
    subprocess.run(["cmake", "--build", folder, "--target", "dibprep_bench"], **quiet)
    return os.path.join(folder, "bench", "dibprep_bench")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--rounds", type=int, default=9)
    parser.add_argument("--core", type=int, default=max(os.sched_getaffinity(0)), help="the processor to use")
    parser.add_argument("--works", default="", metavar="PART", help="only works with this in their names")
    parser.add_argument("--keep", action="store_true", help="leave the document as it is")
    options = parser.parse_args()

    programs = {preset: build(preset) for preset in WIDTHS}
    os.sched_setaffinity(0, {options.core})
    begin = time.monotonic()
    results = []
    for preset, name in WIDTHS.items():
        results.append(os.path.join(ROOT, "build", name))
        with open(results[-1], "w", encoding="utf-8") as file:
            subprocess.run([programs[preset], str(options.rounds), options.works], check=True, stdout=file)
    print(f"Played for {time.monotonic() - begin:.0f} s: {', '.join(results)}", file=sys.stderr)
    if options.works or options.keep:
        print(benchmark_table.figures(*results))
    else:
        benchmark_table.update(*results)


if __name__ == "__main__":
    main()
