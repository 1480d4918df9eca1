#!/usr/bin/env python3
"""Makes the table of docs/benchmarks.md out of what entries_bench printed in both widths.

    build/x64/bench/entries_bench 15 > 64.tsv
    build/x86/bench/entries_bench 15 > 32.tsv
    scripts/benchmark_table.py 64.tsv 32.tsv
"""
import csv
import sys


def read(path):
    works = {}
    with open(path, encoding="utf-8") as file:
        for row in csv.DictReader(file, delimiter="\t"):
            works.setdefault(row["work"], {})[row["contestant"]] = row
    return works


def cell(contestants):
    ours = contestants["dibprep"]
    limit = float(contestants["LIMIT"]["min ms"])
    return f"{ours['min ms']} / {ours['median ms']} | {limit:.2f} | {float(ours['min ms']) / limit:.1f}"


def main():
    wide, narrow = (read(path) for path in sys.argv[1:3])
    print("| work | 64 bits: min / median ms | LIMIT | ratio | 32 bits: min / median ms | LIMIT | ratio |")
    print("|---|---|---|---|---|---|---|")
    for work, contestants in wide.items():
        print(f"| {work} | {cell(contestants)} | {cell(narrow[work])} |")


if __name__ == "__main__":
    main()
