#!/usr/bin/env python3
"""Makes the figures of docs/benchmarks.md and its plot out of what dibprep_bench printed in both widths.

    build/x64/bench/dibprep_bench 7 > 64.tsv
    build/x86/bench/dibprep_bench 7 > 32.tsv
    scripts/benchmark_table.py 64.tsv 32.tsv

scripts/benchmark_run.py does all of this. Standard library only.
"""
import csv
import os
import re
import sys

import benchmark_plot

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
DOCUMENT = os.path.join(ROOT, "docs", "benchmarks.md")
PLOT = os.path.join(ROOT, "docs", "pictures", "benchmarks.svg")
BEGIN, END = "<!-- figures: made by scripts/benchmark_run.py -->", "<!-- end of figures -->"
TIERS = ["scalar", "SSE2", "SSSE3", "AVX2", "AVX512"]


class Work:
    """The times of one work: LIMIT, memcpy, our entry, our tiers, other libraries."""

    def __init__(self, rows):
        self.rows = rows
        limits = [row for row in rows if row["contestant"].startswith("LIMIT")]
        self.limit = min((row["min"] for row in limits), default=None)
        self.memcpy = self.find("memcpy of the result")
        self.entry = self.find("dibprep, entry")
        self.call = self.find("dibprep, call")
        self.tiers = {tier: self.find("dibprep, " + tier) for tier in TIERS}
        self.tiers = {tier: row for tier, row in self.tiers.items() if row}
        # What runs when nobody forces a lower tier.
        self.kernel = list(self.tiers.values())[-1] if self.tiers else None
        ours = re.compile("LIMIT|memcpy|dibprep")
        self.peers = sorted((row for row in rows if not ours.match(row["contestant"])), key=lambda row: row["min"])
        self.fastest_peer = next((row for row in self.peers if not row["complaint"]), None)

    def find(self, name):
        return next((row for row in self.rows if row["contestant"] == name), None)


def read(path):
    """The works in order, and what the program said about itself."""
    facts, lines = {}, []
    with open(path, encoding="utf-8") as file:
        for line in file:
            if line.startswith("# "):
                name, _, value = line[2:].rstrip("\n").partition("\t")
                facts[name] = value
            else:
                lines.append(line)
    works = {}
    for row in csv.DictReader(lines, delimiter="\t"):
        row["min"], row["median"] = float(row["min"]), float(row["median"])
        works.setdefault(row["work"], []).append(row)
    return {name: Work(rows) for name, rows in works.items()}, facts


def number(value):
    return f"{value:.2f}" if value < 10 else f"{value:.1f}" if value < 100 else f"{value:.0f}"


def both(row):
    return f"{number(row['min'])} / {number(row['median'])}" if row else "-"


def times(row, reference):
    return f"{row['min'] / reference:.1f}" if row and reference else "-"


def table(heads, rows):
    return "\n".join(["| " + " | ".join(line) + " |" for line in [heads, ["---"] * len(heads), *rows]])


def processor():
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        info = dict(re.split(r"\s*:\s*", line.strip(), maxsplit=1) for line in file.read().split("\n\n")[0].splitlines()
                    if ":" in line)
    flags = info.get("flags", "").split()
    best = "AVX-512" if "avx512_vbmi" in flags else "AVX2" if "avx2" in flags else "no AVX2"
    virtual = "a virtual machine on " if "hypervisor" in flags else ""
    return (f"One processor of {virtual}{info.get('model name', 'unknown')} (family {info.get('cpu family')}, "
            f"model {info.get('model')}; {best})")


def figures(path64, path32):
    wide, facts = read(path64)
    narrow, facts32 = read(path32)
    pages = [name for name, work in wide.items() if work.limit]
    small = [name for name, work in wide.items() if work.call]
    missing = Work([])
    played = [tier for tier in TIERS if any(tier in work.tiers for work in wide.values())]
    parts = [f"{processor()}, Linux {os.uname().release}, {facts['compiler']}, `-O3`. Least and median of "
             f"{facts['rounds']} rounds; timed by {facts['backend']} in 64 bits, {facts32['backend']} in 32. "
             f"Other libraries: {facts['peers'] or 'none'}."]

    parts.append("### 64 bits\n\nMilliseconds, least / median. The kernel writes into a touched block, the entry into "
                 "a fresh one.\n\n" + table(
                     ["work", "LIMIT", "memcpy", "kernel", "× LIMIT", "entry", "× LIMIT", "fastest other library", "ms",
                      "× kernel"],
                     [[name, number(work.limit), both(work.memcpy), both(work.kernel), times(work.kernel, work.limit),
                       both(work.entry), times(work.entry, work.limit),
                       work.fastest_peer["contestant"] if work.fastest_peer else "-", both(work.fastest_peer),
                       times(work.fastest_peer, work.kernel["min"])]
                      for name, work in wide.items() if name in pages]))

    parts.append("### 32 bits\n\n" + table(
        ["work", "LIMIT", "kernel", "× LIMIT", "entry", "× LIMIT", "kernel × 64 bits"],
        [[name, number(work.limit), both(work.kernel), times(work.kernel, work.limit), both(work.entry),
          times(work.entry, work.limit), times(work.kernel, wide[name].kernel["min"])]
         for name, work in narrow.items() if name in pages and work.limit]))

    parts.append("### Instruction sets\n\nLeast milliseconds into a touched block. The scalar code defines the "
                 "results; a column may repeat what a lower one does.\n\n" + table(
                     ["work"] + [f"{bits}: {tier}" for bits in ("64", "32") for tier in played],
                     [[name] + [number(work.tiers[tier]["min"]) if tier in work.tiers else "-"
                                for work in (wide[name], narrow.get(name, missing)) for tier in played]
                      for name in pages]))

    libraries = [[name, row["contestant"], row["memory"], both(row), times(row, work.limit), row["complaint"]]
                 for name, work in wide.items() for row in work.peers]
    if libraries:
        parts.append("### Other libraries, 64 bits\n\nInto a touched block, or into memory that the library "
                     "allocates for itself and that its process touched before (own).\n\n" +
                     table(["work", "library", "memory", "ms, least / median", "× LIMIT", "complaint"], libraries))

    parts.append("### Small images\n\nMicroseconds of a call at 16 × 16 pixels, with host functions that cost next "
                 "to nothing, caches warm.\n\n" + table(
                     ["work", "64 bits", "32 bits"],
                     [[name, number(wide[name].call["min"] * 1e3),
                       number(narrow[name].call["min"] * 1e3) if name in narrow else "-"] for name in small]))
    return "\n\n".join(parts)


def update(path64, path32):
    """Writes figures and plot."""
    with open(DOCUMENT, encoding="utf-8") as file:
        text = file.read()
    head, rest = text.split(BEGIN)
    tail = rest.split(END)[1]
    with open(DOCUMENT, "w", encoding="utf-8") as file:
        file.write(f"{head}{BEGIN}\n\n{figures(path64, path32)}\n\n{END}{tail}")
    works, _ = read(path64)
    with open(PLOT, "w", encoding="utf-8") as file:
        file.write(benchmark_plot.plot({name: work for name, work in works.items() if work.limit}))


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    update(sys.argv[1], sys.argv[2])
